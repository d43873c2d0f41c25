# shellcheck shell=bash
#: ./run sanitize  run all tests under the sanitizers: addresses and undefined behaviour, then threads
#:                 (./run sanitize address | thread: one of them)

sanitize() { # sanitize address|thread
    local dir=$BUILD/sanitize-$1
    say "Building with the $1 sanitizer into $dir/"
    configure "$dir" "$PYTHON" -DPYQUELT_SANITIZE="$1"
    compile "$dir"
    run_tests "$dir"
}

command_sanitize() {
    ensure_packages "${BUILD_PACKAGES[@]}"
    PYTHON=$(interpreter)
    local kind
    for kind in ${1:-address thread}; do
        [[ $kind == address || $kind == thread ]] || fail "sanitize takes nothing or: address, thread"
        sanitize "$kind"
    done
}
