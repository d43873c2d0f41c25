# shellcheck shell=bash
#: ./run demo      build, then show what the module does on a fresh embedded host

command_demo() {
    build
    say "A tour of pyquelt on a fresh embedded host"
    local state status=0
    state=$(mktemp -d)
    QUELT_HOST_STATE=$state/host.db with_module "$PYTHON" examples/tour.py || status=$?
    rm -rf "$state"
    return "$status"
}
