# shellcheck shell=bash
#: ./run test      build, then run all tests

command_test() {
    build
    # Contains a KMIP server for the tests, which does not run on Python 3.12 or newer.
    ! /usr/bin/python3 -c 'import sys; sys.exit(sys.version_info >= (3, 12))' 2>/dev/null ||
        ensure_optional_packages python3-pykmip
    say "Testing"
    run_tests "$BUILD"
}
