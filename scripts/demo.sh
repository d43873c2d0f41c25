# shellcheck shell=bash
#: ./run demo      build, then demonstrate the module on a new embedded host

command_demo() {
    build
    say "A tour of pyquelt on a new embedded host"
    local state status=0
    state=$(mktemp -d)
    QUELT_HOST_STATE=$state/host.db with_module "$PYTHON" examples/tour.py || status=$?
    rm -rf "$state"
    return "$status"
}
