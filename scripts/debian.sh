# shellcheck shell=bash
#: ./run debian SUITE [COMMAND…]
#:                 run these commands (default: demo and test) on the last commit in a new, minimal
#:                 Debian of that release, for example trixie or sid, in a folder below build/systems
#:                 (needs root and a Debian mirror)

# shellcheck source=scripts/minimal_debian.sh
source scripts/minimal_debian.sh

command_debian() {
    local suite=${1:-} root archive command
    [[ $suite =~ ^[a-z]+$ ]] || fail "debian needs a Debian release, for example trixie"
    [[ $(id -u) == 0 ]] || fail "debian needs root, to create another system in a folder"
    ensure_packages debootstrap git
    git rev-parse -q --verify HEAD >/dev/null || fail "debian tests the last commit; this is no Git checkout"
    shift
    (($#)) || set -- demo test
    root=$SYSTEMS/$suite
    say "Creating a minimal Debian $suite in ${root#"$PWD/"}"
    archive=$(debian_archive "$suite") || {
        tail -n 5 "$SYSTEMS/$suite.log" >&2
        fail "cannot create it; the complete log is $SYSTEMS/$suite.log"
    }
    new_debian "$archive" "$root"
    mkdir "$root/pyquelt"
    git archive HEAD | tar -C "$root/pyquelt" -x
    in_debian "$root" sh -c 'apt-get -qq update && apt-get -qq -y dist-upgrade' \
        >"$SYSTEMS/$suite.upgrade.log" 2>&1 || fail "apt-get fails, see $SYSTEMS/$suite.upgrade.log"
    for command in "$@"; do
        say "$suite: ./run $command at commit $(git rev-parse --short HEAD)"
        in_debian "$root" sh -c "cd /pyquelt && exec ./run $command" ||
            fail "./run $command fails on $suite; enter the system with: chroot $root"
    done
    rm -rf --one-file-system "$root"
    say "$suite: passed: $*"
}
