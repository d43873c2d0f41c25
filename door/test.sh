# shellcheck shell=bash
#: ./run test      build, then run all tests

command_test() {
    build
    say "Testing"
    run_tests "$BUILD"
}
