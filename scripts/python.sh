# shellcheck shell=bash
#: ./run python …  build, then run Python with the module in the current folder, for example
#:                 ./run python examples/tour.py

command_python() {
    build >&2
    with_module env -C "$CALLER" "$PYTHON" "$@"
}
