# shellcheck shell=bash
# Minimal Debian systems in folders below build/systems: creating them and running commands in them.
# All functions need root.

readonly SYSTEMS=$PWD/$BUILD/systems

# Prints the mirror that this system uses, or nothing if it isn't Debian or uses another source.
debian_mirror() {
    local codename
    command -v apt-get >/dev/null || return 0
    codename=$(sed -n 's/^VERSION_CODENAME=//p' /etc/os-release)
    # shellcheck disable=SC2016 # for apt-get
    apt-get indextargets --format '$(REPO_URI)' "Codename: $codename" "Component: main" \
        "Created-By: Packages" | head -n 1
}

# debian_archive SUITE [PACKAGES]: creates the archive of a minimal Debian of that release with these
# packages (separated by commas), unless it exists, and prints its path.
debian_archive() {
    local name=$1${2:+-$2} archive root
    archive=$SYSTEMS/$name.tar
    root=$SYSTEMS/$name.bootstrap
    [[ -f $archive ]] || {
        mkdir -p "$SYSTEMS"
        rm -rf --one-file-system "$root"
        # shellcheck disable=SC2046 # no mirror: debootstrap uses its own
        debootstrap --variant=minbase ${2:+--include="$2"} "$1" "$root" $(debian_mirror) \
            >"$SYSTEMS/$name.log" 2>&1 || return 1
        tar -C "$root" --one-file-system --exclude=./proc/* --exclude=./sys/* -cf "$archive.part" . &&
            mv "$archive.part" "$archive"
        rm -rf --one-file-system "$root"
    }
    echo "$archive"
}

# new_debian ARCHIVE ROOT: extracts the archive into the folder ROOT, which is emptied first. The
# system resolves names like this one and accepts a mirror that is no longer updated, for example a
# snapshot.
new_debian() {
    rm -rf --one-file-system "$2"
    mkdir -p "$2"
    tar -C "$2" -xf "$1"
    cp -L /etc/resolv.conf "$2/etc/resolv.conf"
    echo 'Acquire::Check-Valid-Until "false";' >"$2/etc/apt/apt.conf.d/99snapshot"
}

# in_debian ROOT COMMAND…: runs the command in the system with a clean environment and an empty home
# folder. Its mounts and processes end with it, also when it is killed: they are in namespaces.
in_debian() {
    # shellcheck disable=SC2016 # for the inner shell
    unshare --mount --pid --fork --kill-child sh -euc 'root=$1
        shift
        mount -t proc proc "$root/proc"
        mount --rbind /dev "$root/dev"
        chroot "$root" env -i HOME=/home PATH=/usr/sbin:/usr/bin:/sbin:/bin "$@"' sh "$@"
}
