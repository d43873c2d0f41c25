# shellcheck shell=bash
# The Debian package for the system's python3.

test_deb_unpacked() { # test_deb_unpacked DEB
    local root=$PACKAGE/unpacked
    say "$2: testing the Debian package unpacked"
    rm -rf "$root"
    dpkg-deb -x "$1" "$root"
    check_installed "$root/usr/share/doc/pyquelt" env \
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
    check_installed /usr/share/doc/pyquelt in_debian "$root"
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
