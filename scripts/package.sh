# shellcheck shell=bash
#: ./run package   build the Debian package, the source distribution and a wheel for each CPython 3.9
#:                 or newer on this machine into build/dist. Test the wheels in virtual environments
#:                 (needs the Python package index) and all packages in a minimal Debian (needs root
#:                 and a Debian mirror)

# shellcheck source=scripts/minimal_debian.sh
source scripts/minimal_debian.sh

readonly DIST=$PWD/$BUILD/dist PACKAGE=$PWD/$BUILD/package

# shellcheck source=scripts/debian_package.sh
source scripts/debian_package.sh
# shellcheck source=scripts/wheels.sh
source scripts/wheels.sh

# check_installed FOLDER COMMAND…: tests an installed pyquelt. FOLDER contains docs/ and examples/.
# COMMAND is the prefix that runs a program where pyquelt is installed.
check_installed() {
    local folder=$1 version
    shift
    version=$(sed -n 's/^project(pyquelt VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
    "$@" python3 - "$version" "$folder" <tests/packages/check_installed.py
}

files_of() { find "$1" -not -path '*/__pycache__*' | LC_ALL=C sort; }

command_package() {
    local status=0
    ensure_packages "${BUILD_PACKAGES[@]}"
    # shellcheck disable=SC2034 # ensure_venv reads it
    PYTHON=$(interpreter)
    rm -rf "$DIST"
    mkdir -p "$DIST" "$PACKAGE"
    package_deb
    set +e  # instead of "||", which would disable -e inside the subshell
    (
        set -e
        package_wheels "$PYTHON"
    )
    status=$?
    set -e
    ((status != 3)) || fail "the Python package index cannot be used: the wheels are not tested; the Debian package works"
    ((status == 0)) || fail "a wheel fails; the Debian package works"
    say "Built and tested: $(cd "$DIST" && echo *)"
}
