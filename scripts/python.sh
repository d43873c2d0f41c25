# shellcheck shell=bash
#: ./run python …  build, then run Python with the module, e.g. ./run python examples/tour.py
#:                 (in the folder where you are)

command_python() {
    build >&2
    with_module env -C "$CALLER" "$PYTHON" "$@"
}
