# shellcheck shell=bash
#: ./run sanitize  run all tests with the sanitizers of addresses and undefined behaviour, then with
#:                 the one for threads (./run sanitize address | thread: only these; ./run sanitize
#:                 quick: both, with the uninstrumented quelt-host of build/ to save time;
#:                 ./run sanitize free-threaded: host.test_threads with the sanitizer for threads on
#:                 a free-threaded interpreter)

# sanitizer_configure address|thread|free-threaded [cmake option…]: configures build/sanitize-…
sanitizer_configure() {
    local dir=$BUILD/sanitize-$1 compiler=g++ sanitizer=$1
    ensure_packages "${BUILD_PACKAGES[@]}"
    case $1 in
        address)
            ensure_packages clang libclang-rt-dev
            compiler=clang++
            ;;
        free-threaded)
            sanitizer=thread
            PYTHON=$(free_threaded_interpreter)
            [[ -n $PYTHON ]] || fail "no free-threaded interpreter is installed"
            ;;
    esac
    PYTHON=$(interpreter)
    say "Building with the $sanitizer sanitizer into $dir/"
    configure "$dir" "$PYTHON" -DCMAKE_CXX_COMPILER=$compiler -DPYQUELT_SANITIZE="$sanitizer" "${@:2}"
}

# sanitize address|thread|free-threaded [TOOL]: also fails for reports of processes whose exit status
# no test checks.
sanitize() {
    local dir=$BUILD/sanitize-$1 status=0 tests=all
    sanitizer_configure "$1" -DPYQUELT_TOOL="${2:-}"
    compile "$dir"
    rm -f "$dir"/reports/*
    [[ $1 != free-threaded ]] || tests=host.test_threads
    run_tests "$dir" --timeout 1500 -R "${tests/#all/.}" || status=1
    if compgen -G "$dir/reports/*" >/dev/null; then
        head -n 60 "$dir"/reports/* >&2
        fail "the $1 sanitizer reported errors, see $dir/reports/"
    fi
    ((status == 0)) || fail "the tests fail under the $1 sanitizer"
    printf 'figure: %s tests under the %s sanitizer: no reports\n' "$tests" "$1"
}

command_sanitize() { # sanitize [address | thread | quick | free-threaded]
    case ${1:-} in
        "")
            sanitize address
            sanitize thread
            ;;
        address | thread | free-threaded) sanitize "$1" ;;
        quick)
            build
            sanitize address "$PWD/$BUILD/bin/quelt-host"
            sanitize thread "$PWD/$BUILD/bin/quelt-host"
            ;;
        *) fail "usage: ./run sanitize [address | thread | quick | free-threaded]" ;;
    esac
}
