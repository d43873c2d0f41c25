# shellcheck shell=bash
#: ./run deep      run the long forms of the tests, with their full numbers: hours, in stages
#:                 (what passed on this commit is not run again; ./run deep STAGE… runs these)

# The tests with a long form (tests/python/deep.py).
deep_tests() {
    ctest --test-dir "$BUILD" -N -L '^deep$' | sed -n 's/^ *Test *#[0-9]*: //p'
}

deep_stage() { # deep_stage NAME: the long form of one test
    PYQUELT_DEEP=1 ctest --test-dir "$BUILD" -V --no-tests=error --timeout 36000 -R "^$1\$"
}

command_deep() {
    build
    local stage commit stamps=$BUILD/deep failed=()
    commit=$(git describe --always --dirty --abbrev=40)
    mkdir -p "$stamps"
    (($#)) || mapfile -t stages < <(deep_tests)
    (($# == 0)) || stages=("$@")
    for stage in "${stages[@]}"; do
        if [[ $commit != *-dirty && $# == 0 && $(cat "$stamps/$stage.passed" 2>/dev/null) == "$commit" ]]; then
            printf '%-32s passed before\n' "$stage"
        elif deep_stage "$stage" </dev/null >"$stamps/$stage.log" 2>&1; then
            printf '%s\n' "$commit" >"$stamps/$stage.passed"
            printf '%-32s passed\n' "$stage"
        else
            failed+=("$stage")
            printf '%-32s FAILED, see %s\n' "$stage" "$stamps/$stage.log"
        fi
        # CTest puts the number of the test before each line.
        sed -n 's/^.*figure: /    /p' "$stamps/$stage.log"
    done
    ((${#failed[@]} == 0)) || fail "failed: ${failed[*]}"
}
