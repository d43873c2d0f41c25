# shellcheck shell=bash
#: ./run coverage  run all tests with gcov and print the line coverage; fails below 100 % of the
#:                 module or 95 % of the embedded host (excluded lines are marked GCOVR_EXCL)

readonly MODULE_FOLDERS='(module|config_store|crypto|unicast|network|objects)/'

# report_coverage TITLE MINIMUM FILTER: prints the line coverage and the uncovered lines.
report_coverage() {
    say "$1: line coverage"
    gcovr --root . --object-directory "$BUILD/coverage" --filter "$3" --exclude-throw-branches \
        --fail-under-line "$2" --sort-uncovered
}

command_coverage() {
    ensure_packages "${BUILD_PACKAGES[@]}" gcovr
    PYTHON=$(interpreter)
    local dir=$BUILD/coverage status=0
    say "Building with gcov for $("$PYTHON" --version 2>&1) into $dir/"
    configure "$dir" "$PYTHON" -DPYQUELT_COVERAGE=ON
    compile "$dir"
    find "$dir" -name '*.gcda' -delete
    say "Testing"
    run_tests "$dir" || fail "the tests fail"
    report_coverage "Module" 100 "$MODULE_FOLDERS" || status=1
    report_coverage "Embedded host" 95 embedded_host/ || status=1
    ((status == 0)) || fail "the line coverage is below its minimum"
}
