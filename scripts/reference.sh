# shellcheck shell=bash
#: ./run reference update the signatures, exceptions and operations in docs/reference.md

command_reference() {
    build
    PYTHONPATH=$PWD/tests/support with_module "$PYTHON" scripts/reference.py
}
