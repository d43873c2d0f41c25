# shellcheck shell=bash
# The source distribution and the wheels: one wheel for each CPython 3.9 or newer, all with the same
# embedded host, into which SQLite and OpenSSL are linked statically. Then auditwheel has nothing to
# copy or patch: libquelt.so keeps its name, and quelt-host isn't replaced by a script.

readonly WHEEL_HOST=$PACKAGE/wheel-host

# wheel_tag PYTHON: prints the part of the wheel's name that stands for the interpreter, for example
# cp313t, or nothing for a version that the build tools don't support.
wheel_tag() {
    "$1" -c 'import sys
if sys.version_info >= (3, 9):
    print("cp%d%d%s" % (sys.version_info[:2] + (sys.abiflags,)))'
}

# Prints the platform of the wheels: Linux with this machine's version of glibc or a newer one.
wheel_platform() {
    printf 'manylinux_%s_%s\n' "$(getconf GNU_LIBC_VERSION | sed 's/^glibc //; s/\./_/')" "$(uname -m)"
}

build_wheel_host() { # build_wheel_host PYTHON
    local file
    ensure_optional_packages libzstd-dev zlib1g-dev # newer versions of OpenSSL use them
    say "Building the embedded host for all wheels"
    configure "$WHEEL_HOST" "$1" -DPYQUELT_TESTS=OFF -DPYQUELT_STATIC_LIBRARIES=ON
    compile "$WHEEL_HOST" quelt quelt-host
    mkdir -p "$WHEEL_HOST"/stripped/{lib,bin}
    for file in lib/libquelt.so bin/quelt-host; do
        strip -o "$WHEEL_HOST/stripped/$file" "$WHEEL_HOST/$file"
    done
}

# run_build TAG ARGUMENT…: runs the build front end for the Python package.
run_build() {
    local log=$PACKAGE/build-$1.log python=$PWD/$BUILD/venv/wheel-$1/bin/python
    shift
    # The interpreter may record another compiler; use that of the other builds.
    CXX=${CXX:-c++} "$python" -m build --no-isolation "$@" . >"$log" 2>&1 || {
        tail -n 60 "$log" >&2
        fail "building fails; the complete log is $log"
    }
}

build_source_distribution() { # build_source_distribution TAG
    run_build "$1" --sdist -o "$DIST"
    git rev-parse -q --verify HEAD >/dev/null 2>&1 || return 0
    diff <(git ls-files --cached --others --exclude-standard | LC_ALL=C sort) \
        <(tar -tzf "$DIST"/pyquelt-*.tar.gz | sed 's,^[^/]*/,,' | grep -vx PKG-INFO | LC_ALL=C sort) ||
        fail "the source distribution is not the source folder"
}

build_wheel() { # build_wheel TAG
    local wheel platform
    platform=$(wheel_platform)
    say "Building the wheel for $1"
    run_build "$1" --wheel -o "$PACKAGE/wheels" -Cbuild-dir="$PACKAGE/wheel-$1" \
        -Ccmake.define.PYQUELT_EMBEDDED_HOST="$WHEEL_HOST/stripped"
    wheel=$(echo "$PACKAGE/wheels"/*-"$1"-linux_*.whl)
    "$BUILD/venv/auditwheel/bin/auditwheel" repair --only-plat --plat "$platform" --patcher none \
        -w "$DIST" "$wheel" >"$PACKAGE/auditwheel.log" 2>&1 || {
        cat "$PACKAGE/auditwheel.log" >&2
        fail "the wheel does not work on every $platform"
    }
}

# test_wheel TAG: tests the wheel in the virtual environment of that interpreter.
test_wheel() {
    local venv=$PWD/$BUILD/venv/wheel-$1 before
    say "Testing the wheel for $1"
    "$venv/bin/pip" uninstall -q -y pyquelt 2>/dev/null # left by a failed run
    before=$(files_of "$venv")
    "$venv/bin/pip" install -q --no-index "$DIST"/*-"$1"-manylinux_*.whl
    check_installed "$PWD" env -u PYTHONPATH PATH="$venv/bin:$PATH"
    [[ ! -x $venv/bin/mypy ]] || test_stubs "$venv"
    "$venv/bin/pip" uninstall -q -y pyquelt
    diff <(echo "$before") <(files_of "$venv") || fail "uninstalling the wheel leaves files"
}

# test_stubs VENV: tests the stubs, also with scripts that contain mistakes.
test_stubs() {
    "$1/bin/python" -m mypy.stubtest pyquelt --allowlist tests/packages/stubs/allowlist.txt
    "$1/bin/mypy" --strict --python-executable "$1/bin/python" --cache-dir "$PACKAGE/mypy" \
        tests/packages/stubs
    "$1/bin/mypy" --strict --python-executable "$1/bin/python" --cache-dir "$PACKAGE/mypy" \
        -p quelt_testing
}

# test_wheels_in SUITE: tests the wheel for the release's own python3 in a minimal Debian with Python
# and pip only, unless this machine's glibc is newer than the release's.
test_wheels_in() {
    local archive root=$SYSTEMS/wheels before glibc
    archive=$(debian_archive "$1" python3,python3-venv) || {
        say "Not tested: cannot create a minimal Debian $1 (see $SYSTEMS/$1-python3,python3-venv.log)"
        return
    }
    new_debian "$archive" "$root"
    glibc=$(in_debian "$root" getconf GNU_LIBC_VERSION)
    if [[ $(printf '%s\n' "$glibc" "$(getconf GNU_LIBC_VERSION)" | sort -V | tail -n 1) != "$glibc" ]]; then
        say "Not tested on Debian $1: its glibc is too old for these wheels"
        return
    fi
    say "Testing the wheels in a minimal Debian $1"
    cp -r "$DIST" "$root/wheels"
    cp "$PACKAGE"/pytest/*.whl "$root/wheels"
    cp -r docs examples "$root/srv"
    in_debian "$root" python3 -m venv /venv
    in_debian "$root" /venv/bin/pip install -q --no-index --find-links /wheels pytest
    before=$(files_of "$root/venv")
    in_debian "$root" /venv/bin/pip install -q --no-index --find-links /wheels pyquelt
    check_installed /srv in_debian "$root" env PATH=/venv/bin:/usr/bin:/bin
    in_debian "$root" /venv/bin/pip uninstall -q -y pyquelt
    diff <(echo "$before") <(files_of "$root/venv") || fail "uninstalling the wheel leaves files on $1"
    rm -rf --one-file-system "$root"
}

package_wheels() { # package_wheels PYTHON
    local PYTHON=$1 python pythons tag tags=() suite tools
    ensure_venv auditwheel 'auditwheel>=6.8' || return 3
    build_wheel_host "$PYTHON"
    rm -rf "$PACKAGE/wheels"
    mapfile -t pythons < <(echo "$PYTHON" && interpreters)
    for python in "${pythons[@]}"; do
        tag=$(wheel_tag "$python")
        [[ $tag && " ${tags[*]} " != *" $tag "* ]] || continue
        tools=(build scikit-build-core)
        ((${#tags[@]})) || tools+=(mypy pytest) # tests the stubs and the fixture once
        tags+=("$tag")
        PYTHON=$python ensure_venv "wheel-$tag" "${tools[@]}" || return 3
        ((${#tags[@]} > 1)) || build_source_distribution "$tag"
        build_wheel "$tag"
        test_wheel "$tag"
    done
    [[ $(id -u) == 0 ]] || {
        say "Not root: the wheels are not tested in a minimal Debian"
        return 0
    }
    ensure_packages debootstrap
    "$BUILD/venv/wheel-${tags[0]}/bin/pip" download -q -d "$PACKAGE/pytest" pytest || return 3
    for suite in bookworm trixie; do
        test_wheels_in "$suite"
    done
}
