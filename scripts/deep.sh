# shellcheck shell=bash
#: ./run deep      run the tests with their full numbers of repetitions, in stages; takes hours
#:                 (skips stages that passed on this commit; ./run deep STAGE… repeats these)

source scripts/fuzz.sh

# Prints the names of the stages: the tests that use tests/support/deep.py, the test of leaks with a
# debug interpreter, the test of shutdown with each interpreter, the test of threads with each
# free-threaded one, the fuzz targets, the sanitizers.
deep_stages() {
    local python version
    ctest --test-dir "$BUILD" -N -L '^deep$' | sed -n 's/^ *Test *#[0-9]*: //p'
    printf 'leaks_debug_interpreter\n'
    while read -r python; do
        version=$(version_of "$python")
        printf 'exit_%s\n' "$version"
        [[ $version != *t ]] || printf 'threads_%s\n' "$version"
    done < <(interpreters)
    printf 'fuzz_%s\n' "${FUZZ_TARGETS[@]}"
    printf 'sanitize_%s\n' address thread free-threaded
}

deep_test() { # deep_test DIR TEST
    PYQUELT_DEEP=1 ctest --test-dir "$1" -V --no-tests=error --timeout 36000 -R "^$2\$"
}

deep_test_for() { # deep_test_for PYTHON TEST
    build_for "$1"
    deep_test "$(dir_for "$1")" "$2"
}

deep_test_with() { # deep_test_with VERSION TEST
    local python
    while read -r python; do
        [[ $(version_of "$python") == "$1" ]] || continue
        deep_test_for "$python" "$2"
        return
    done < <(interpreters)
    fail "CPython $1 is not installed"
}

deep_stage() { # deep_stage NAME
    case $1 in
        fuzz_*) command_fuzz full "${1#fuzz_}" ;;
        sanitize_*) command_sanitize "${1#sanitize_}" ;;
        exit_*) deep_test_with "${1#exit_}" module.test_exit ;;
        threads_*) deep_test_with "${1#threads_}" host.test_threads ;;
        leaks_debug_interpreter)
            ensure_packages python3-dbg
            deep_test_for /usr/bin/python3-dbg module.test_leaks
            ;;
        *) deep_test "$BUILD" "$1" ;;
    esac
}

command_deep() {
    build
    local stage stages commit stamps=$BUILD/deep failed=()
    commit=$(git describe --always --dirty --abbrev=40)
    mkdir -p "$stamps"
    if (($#)); then
        stages=("$@")
        rm -f "${stages[@]/#/$stamps/}"
    else
        mapfile -t stages < <(deep_stages)
    fi
    for stage in "${stages[@]}"; do
        if [[ $commit != *-dirty && $(cat "$stamps/$stage" 2>/dev/null) == "$commit" ]]; then
            printf '%-32s passed before\n' "$stage"
        elif (deep_stage "$stage") </dev/null >"$stamps/$stage.log" 2>&1; then
            printf '%s\n' "$commit" >"$stamps/$stage"
            printf '%-32s passed\n' "$stage"
        else
            failed+=("$stage")
            printf '%-32s FAILED, see %s\n' "$stage" "$stamps/$stage.log"
        fi
        sed -n 's/^.*figure: /    /p' "$stamps/$stage.log"  # without CTest's line prefix
    done
    ((${#failed[@]} == 0)) || fail "failed: ${failed[*]}"
}
