# shellcheck shell=bash
#: ./run coverage  build with gcov, run all tests, and print the line coverage; fails below 100 % of
#:                 the module, or 95 % of the embedded host (a line left out says why: GCOVR_EXCL)

readonly MODULE_ROOMS='(module|config_store|crypto|unicast|network|objects)/'

# lines_covered TITLE LEAST FILTER: prints the figure with the lines that were not reached.
lines_covered() {
    say "$1: lines reached"
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
    lines_covered "Module" 100 "$MODULE_ROOMS" || status=1
    lines_covered "Embedded host" 95 embedded_host/ || status=1
    ((status == 0)) || fail "fewer lines were reached than promised"
}
