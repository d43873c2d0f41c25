# shellcheck shell=bash
#: ./run package   build the wheel and the Debian package into build/dist and test each of them in
#:                 a virtual environment (needs the Python package index) or in a minimal Debian
#:                 (needs root and a Debian mirror; otherwise the package is only unpacked)

# shellcheck source=scripts/minimal_debian.sh
source scripts/minimal_debian.sh

readonly DIST=$PWD/$BUILD/dist PACKAGE=$PWD/$BUILD/package

# test_installed COMMAND…: tests an installed pyquelt from a folder other than the source folder.
# COMMAND is the prefix that runs a program where pyquelt is installed, with python3 and quelt-host
# on its PATH.
test_installed() {
    local version state=/tmp/quelt-package-test.$$
    version=$(sed -n 's/^project(pyquelt VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
    # shellcheck disable=SC2016 # for the inner shell
    "$@" sh -euc 'cd / && export PYTHONDONTWRITEBYTECODE=1 QUELT_HOST_STATE="$1/host.db"
        test "$(quelt-host --version)" = "quelt-host $2"
        python3 "$3/examples/tour.py" >/dev/null
        python3 -c "import pyquelt; assert pyquelt.GetHardwareSku() == \"QS-2240-AF\""
        python3 -c "import quelt_testing; quelt_testing.Host().__enter__()"
        test -f "$3/docs/scenario.schema.json"
        rm -r "$1"' sh "$state" "$version" "$INSTALLED_DOCS"
}

# --- the wheel ----------------------------------------------------------------------------------

# Tests the stubs, also with scripts that contain mistakes, and the pytest plug-in, which scripts
# may or may not name in conftest.py.
test_wheel_tools() { # test_wheel_tools VENV
    local folder line
    "$1/bin/python" -m mypy.stubtest pyquelt --allowlist tests/packages/stubs/allowlist.txt
    "$1/bin/mypy" --strict --python-executable "$1/bin/python" --cache-dir "$PACKAGE/mypy" \
        tests/packages/stubs
    "$1/bin/mypy" --strict --python-executable "$1/bin/python" --cache-dir "$PACKAGE/mypy" \
        -p quelt_testing
    folder=$(mktemp -d)
    printf '%s\n' 'def test_host(quelt_host):' \
        '    assert quelt_host.dump()["hardwareSku"] == "QS-2240-AF"' >"$folder/test_host.py"
    for line in "" 'pytest_plugins = "quelt_testing"'; do
        printf '%s\n' "$line" >"$folder/conftest.py"
        (cd "$folder" && "$1/bin/python" -m pytest -q -p no:cacheprovider)
    done
    rm -rf "$folder"
}

files_of() { find "$1" -not -path '*/__pycache__*' | LC_ALL=C sort; }

package_wheel() {
    local venv=$PWD/$BUILD/venv/wheel-test before wheel
    ensure_venv wheel-build scikit-build-core || return 3
    say "Building the wheel"
    # The interpreter may record another compiler; use that of the other builds.
    CXX=${CXX:-c++} "$BUILD/venv/wheel-build/bin/pip" wheel -q . --no-build-isolation --no-deps \
        -w "$DIST" -C build-dir="$PACKAGE/wheel"
    wheel=$(echo "$DIST"/*.whl)
    ensure_venv wheel-test mypy pytest || return 3
    say "Testing the wheel in a virtual environment"
    "$venv/bin/pip" uninstall -q -y pyquelt 2>/dev/null  # left by a failed run
    before=$(files_of "$venv")
    "$venv/bin/pip" install -q --no-index "$wheel"
    INSTALLED_DOCS=$PWD test_installed env -u PYTHONPATH PATH="$venv/bin:$PATH"
    test_wheel_tools "$venv"
    "$venv/bin/pip" uninstall -q -y pyquelt
    diff <(echo "$before") <(files_of "$venv") || fail "uninstalling the wheel leaves files"
}

# --- the Debian package -------------------------------------------------------------------------

test_deb_unpacked() { # test_deb_unpacked DEB
    local root=$PACKAGE/unpacked
    say "$2: testing the Debian package unpacked"
    rm -rf "$root"
    dpkg-deb -x "$1" "$root"
    INSTALLED_DOCS=$root/usr/share/doc/pyquelt test_installed env \
        PYTHONPATH="$root/usr/lib/python3/dist-packages" PATH="$root/usr/bin:/usr/bin:/bin"
    rm -rf "$root"
}

test_deb() { # test_deb DEB
    local codename archive="" root=$SYSTEMS/package before reason="Not root"
    codename=$(sed -n 's/^VERSION_CODENAME=//p' /etc/os-release)
    if [[ $(id -u) == 0 ]]; then
        reason="Cannot create a minimal Debian (see $SYSTEMS/$codename-python3.log)"
        archive=$( (ensure_packages debootstrap >&2) && debian_archive "$codename" python3) ||
            archive=""
    fi
    if [[ ! $archive ]]; then
        test_deb_unpacked "$1" "$reason"
        return
    fi
    say "Testing the Debian package in a minimal Debian $codename"
    new_debian "$archive" "$root"
    before=$(files_of "$root" | grep -v /var/)
    cp "$1" "$root/tmp/"
    in_debian "$root" dpkg -i "/tmp/${1##*/}" >"$PACKAGE/dpkg.log" 2>&1 || {
        cat "$PACKAGE/dpkg.log"
        fail "the Debian package cannot be installed"
    }
    rm "$root/tmp/${1##*/}"
    INSTALLED_DOCS=/usr/share/doc/pyquelt test_installed in_debian "$root"
    in_debian "$root" dpkg --purge pyquelt >>"$PACKAGE/dpkg.log" 2>&1
    diff <(echo "$before") <(files_of "$root" | grep -v /var/) ||
        fail "removing the Debian package leaves files"
    rm -rf --one-file-system "$root"
}

package_deb() {
    local triplet
    command -v dpkg-deb >/dev/null || fail "building a Debian package needs dpkg-deb"
    ensure_packages dpkg-dev file
    triplet=$(dpkg-architecture -qDEB_HOST_MULTIARCH)
    say "Building the Debian package for $(/usr/bin/python3 --version)"
    configure "$PACKAGE/deb" /usr/bin/python3 -DPYQUELT_TESTS=OFF -DCMAKE_INSTALL_PREFIX=/usr \
        -DCMAKE_INSTALL_LIBDIR="lib/$triplet/pyquelt" -DPYQUELT_PYTHON_DIR=lib/python3/dist-packages \
        -DPYQUELT_ZSH_DIR=share/zsh/vendor-completions
    compile "$PACKAGE/deb"
    (cd "$PACKAGE/deb" && cpack -B "$DIST") >"$PACKAGE/cpack.log" 2>&1 ||
        fail "packaging failed, see $PACKAGE/cpack.log"
    rm -rf "$DIST/_CPack_Packages"
    test_deb "$(echo "$DIST"/*.deb)"
}

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
        package_wheel
    )
    status=$?
    set -e
    ((status != 3)) || fail "the Python package index cannot be used: the wheel is not tested; the Debian package works"
    ((status == 0)) || fail "the wheel fails; the Debian package works"
    say "Built and tested: $(cd "$DIST" && echo *)"
}
