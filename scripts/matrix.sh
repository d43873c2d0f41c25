# shellcheck shell=bash
#: ./run matrix    build and test for each CPython 3.5 or newer on this machine

command_matrix() {
    build
    local python name dir passed=0 failed=0
    while read -r python; do
        dir=$(dir_for "$python")
        name=${dir##*/}
        mkdir -p "$dir"
        if (build_for "$python" && run_tests "$dir") </dev/null >"$dir.log" 2>&1; then
            printf 'CPython %-18s passed\n' "$name"
            passed=$((passed + 1))
        else
            printf 'CPython %-18s FAILED, see %s\n' "$name" "$dir.log"
            failed=$((failed + 1))
        fi
    done < <(interpreters)
    printf '%d passed, %d failed\n' "$passed" "$failed"
    ((failed == 0 && passed > 0))
}
