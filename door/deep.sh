# shellcheck shell=bash
#: ./run deep      run the long forms of the tests, with their full numbers: hours, in stages
#:                 (what passed on this commit is not run again; ./run deep STAGE… runs these)

source door/fuzz.sh
source door/sanitize.sh

# The tests with a long form (tests/python/deep.py), the fuzz targets, the sanitizers.
deep_stages() {
    ctest --test-dir "$BUILD" -N -L '^deep$' | sed -n 's/^ *Test *#[0-9]*: //p'
    printf 'fuzz_%s\n' "${FUZZ_TARGETS[@]}"
    printf 'sanitize_%s\n' address thread
}

deep_stage() { # deep_stage NAME
    case $1 in
        fuzz_*) command_fuzz full "${1#fuzz_}" ;;
        sanitize_*) command_sanitize "${1#sanitize_}" ;;
        *)
            PYQUELT_DEEP=1 ctest --test-dir "$BUILD" -V --no-tests=error --timeout 36000 -R "^$1\$"
            ;;
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
        sed -n 's/^.*figure: /    /p' "$stamps/$stage.log"  # CTest numbers the lines
    done
    ((${#failed[@]} == 0)) || fail "failed: ${failed[*]}"
}
