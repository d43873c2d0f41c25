# shellcheck shell=bash
#: ./run sanitize  run all tests under the sanitizers: addresses and undefined behaviour, then threads
#:                 (./run sanitize address | thread: one of them)

# sanitizer_build address|thread [TARGET…]: into build/sanitize-…, all or these targets.
sanitizer_build() {
    local dir=$BUILD/sanitize-$1 compiler=g++
    ensure_packages "${BUILD_PACKAGES[@]}"
    [[ $1 == thread ]] || {
        ensure_packages clang libclang-rt-dev
        compiler=clang++
    }
    PYTHON=$(interpreter)
    say "Building with the $1 sanitizer into $dir/"
    configure "$dir" "$PYTHON" -DCMAKE_CXX_COMPILER=$compiler -DPYQUELT_SANITIZE="$1"
    compile "$dir" "${@:2}"
}

# Also what was reported in a process of which no test saw the status fails the run.
sanitize() { # sanitize address|thread
    local dir=$BUILD/sanitize-$1 status=0
    sanitizer_build "$1"
    rm -f "$dir"/reports/*
    run_tests "$dir" --timeout 1500 || status=1
    if compgen -G "$dir/reports/*" >/dev/null; then
        head -n 60 "$dir"/reports/* >&2
        fail "the $1 sanitizer has something to report: $dir/reports/"
    fi
    return "$status"
}

command_sanitize() {
    local kind
    for kind in ${1:-address thread}; do
        [[ $kind == address || $kind == thread ]] || fail "sanitize takes nothing or: address, thread"
        sanitize "$kind" || fail "the tests fail under the $kind sanitizer"
        printf 'figure: all tests under the %s sanitizer: nothing reported\n' "$kind"
    done
}
