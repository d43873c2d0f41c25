# shellcheck shell=bash
#: ./run sanitize  run all tests under the sanitizers: addresses and undefined behaviour, then threads
#:                 (./run sanitize address | thread: one of them; ./run sanitize quick: both, but with
#:                 the tool quelt-host of build/, which would take longest to build)

# sanitizer_configure address|thread [cmake option…]: build/sanitize-…
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

# sanitize address|thread [TOOL]. Also what was reported in a process of which no test saw the
# status fails the run.
sanitize() {
    local dir=$BUILD/sanitize-$1 status=0
    sanitizer_configure "$1" -DPYQUELT_TOOL="${2:-}"
    compile "$dir"
    rm -f "$dir"/reports/*
    run_tests "$dir" --timeout 1500 || status=1
    if compgen -G "$dir/reports/*" >/dev/null; then
        head -n 60 "$dir"/reports/* >&2
        fail "the $1 sanitizer has something to report: $dir/reports/"
    fi
    ((status == 0)) || fail "the tests fail under the $1 sanitizer"
    printf 'figure: all tests under the %s sanitizer: nothing reported\n' "$1"
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
        *) fail "sanitize takes nothing or: address, thread, quick" ;;
    esac
}
