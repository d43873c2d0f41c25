# shellcheck shell=bash
#: ./run sanitize  run all tests with the sanitizers of addresses and undefined behaviour, then with
#:                 the one for threads (./run sanitize address | thread: only these; ./run sanitize
#:                 quick: both, with the uninstrumented quelt-host of build/ to save time)

# sanitizer_configure address|thread [cmake option…]: configures build/sanitize-…
sanitizer_configure() {
    local dir=$BUILD/sanitize-$1 compiler=g++
    ensure_packages "${BUILD_PACKAGES[@]}"
    [[ $1 == thread ]] || {
        ensure_packages clang libclang-rt-dev
        compiler=clang++
    }
    PYTHON=$(interpreter)
    say "Building with the $1 sanitizer into $dir/"
    configure "$dir" "$PYTHON" -DCMAKE_CXX_COMPILER=$compiler -DPYQUELT_SANITIZE="$1" "${@:2}"
}

# sanitize address|thread [TOOL]: also fails for reports of processes whose exit status no test
# checks.
sanitize() {
    local dir=$BUILD/sanitize-$1 status=0
    sanitizer_configure "$1" -DPYQUELT_TOOL="${2:-}"
    compile "$dir"
    rm -f "$dir"/reports/*
    run_tests "$dir" --timeout 1500 || status=1
    if compgen -G "$dir/reports/*" >/dev/null; then
        head -n 60 "$dir"/reports/* >&2
        fail "the $1 sanitizer reported errors, see $dir/reports/"
    fi
    ((status == 0)) || fail "the tests fail under the $1 sanitizer"
    printf 'figure: all tests under the %s sanitizer: no reports\n' "$1"
}

command_sanitize() { # sanitize [address | thread | quick]
    case ${1:-} in
        "")
            sanitize address
            sanitize thread
            ;;
        address | thread) sanitize "$1" ;;
        quick)
            build
            sanitize address "$PWD/$BUILD/bin/quelt-host"
            sanitize thread "$PWD/$BUILD/bin/quelt-host"
            ;;
        *) fail "usage: ./run sanitize [address | thread | quick]" ;;
    esac
}
