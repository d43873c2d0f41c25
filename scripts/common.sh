# shellcheck shell=bash
# What the commands of ./run share: the machine's packages, the interpreter, building, running.

readonly BUILD=build
readonly BUILD_PACKAGES=(g++ cmake ninja-build python3 python3-dev libsqlitecpp-dev libsqlite3-dev
    nlohmann-json3-dev libcli11-dev libssl-dev libgtest-dev openssl)

say() { printf '\n== %s\n' "$*"; }
fail() {
    printf 'run: %s\n' "$*" >&2
    exit 1
}

# --- what the machine needs ---------------------------------------------------------------------

ensure_packages() {
    local package missing=()
    if ! command -v apt-get >/dev/null; then
        say "This system has no apt-get. Its own packages for these are needed: $*"
        return
    fi
    for package in "$@"; do
        [[ $(dpkg-query -W -f='${Status}' "$package" 2>/dev/null) == *"ok installed" ]] ||
            missing+=("$package")
    done
    ((${#missing[@]})) || return 0
    say "Installing Debian packages: ${missing[*]}"
    local as_root=()
    if [[ $(id -u) != 0 ]]; then
        command -v sudo >/dev/null || fail "neither root nor sudo: install ${missing[*]} first"
        as_root=(sudo)
    fi
    "${as_root[@]}" apt-get update -qq
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

# ensure_optional_packages PACKAGE…: installs those that this release has. Tests that need one of the
# others are skipped.
ensure_optional_packages() {
    local package
    command -v apt-get >/dev/null || return 0
    for package in "$@"; do
        [[ -z $(apt-cache show "$package" 2>/dev/null) ]] || (ensure_packages "$package") || true
    done
}

# The absolute path of the interpreter to build for.
interpreter() {
    local python=${PYTHON:-python3}
    "$python" -c 'import sys; sys.exit(sys.version_info < (3, 5)); ' ||
        fail "$python is not CPython 3.5 or newer"
    "$python" -c 'import sys; print(sys.executable)'
}

# version_of PYTHON: 3.11.2, for example.
version_of() { "$1" -c 'import sys; print("%d.%d.%d" % sys.version_info[:3])'; }

# Every CPython from 3.5 on, one path a line: pyenv's, the system's, and PYTHON.
interpreters() {
    local candidate
    {
        for candidate in "${PYENV_ROOT:-$HOME/.pyenv}"/versions/*/bin/python3 \
            /usr/bin/python3 /usr/local/bin/python3 ${PYTHON:+"$PYTHON"}; do
            [[ -x $candidate ]] || continue
            "$candidate" -c '
import os, platform, sys, sysconfig
header = os.path.join(sysconfig.get_path("include"), "Python.h")
if platform.python_implementation() == "CPython" and sys.version_info >= (3, 5):
    if os.path.exists(header):
        print("%d.%02d.%02d\t%s" % (sys.version_info[:3] + (os.path.realpath(sys.executable),)))
' 2>/dev/null || true
        done
    } | sort -u | cut -f2
}

# ensure_venv NAME PACKAGE…: a virtual environment build/venv/NAME of $PYTHON with these packages of
# the Python package index; status 1, and a word, when the index cannot be reached.
ensure_venv() {
    local dir=$BUILD/venv/$1 log
    shift
    ensure_packages python3-venv
    log=$dir.log
    [[ -x $dir/bin/python && $(cat "$dir/packages" 2>/dev/null) == "$PYTHON $*" ]] && return
    say "Installing from the Python package index: $*"
    rm -rf "$dir"
    mkdir -p "$BUILD/venv"
    if "$PYTHON" -m venv "$dir" >"$log" 2>&1 && "$dir/bin/pip" install -q "$@" >>"$log" 2>&1; then
        printf '%s\n' "$PYTHON $*" >"$dir/packages"
    else
        tail -n 5 "$log" >&2
        printf 'run: cannot install %s; is the Python package index reachable?\n' "$*" >&2
        return 1
    fi
}

# --- building -----------------------------------------------------------------------------------

# configure DIR PYTHON [cmake option…]: quietly, unless it fails.
configure() {
    local dir=$1 python=$2 log
    shift 2
    mkdir -p "$dir"
    log=$dir/configure.log
    # Another interpreter than the last time: what CMake found out is void, what is built is not.
    if [[ -f $dir/CMakeCache.txt && $(cat "$dir/interpreter" 2>/dev/null) != "$python" ]]; then
        rm -rf "$dir/CMakeCache.txt" "$dir/CMakeFiles" "$dir/python"
    fi
    cmake -S . -B "$dir" -G Ninja -DPython3_EXECUTABLE="$python" "$@" >"$log" 2>&1 || {
        cat "$log" >&2
        fail "configuring failed"
    }
    printf '%s\n' "$python" >"$dir/interpreter"
}

compile() { # compile DIR [TARGET…]
    local log=$1/compile.log
    cmake --build "$1" ${2:+--target "${@:2}"} >"$log" 2>&1 || {
        tail -n 60 "$log" >&2
        fail "building failed; all of it is in $log"
    }
}

build() {
    ensure_packages "${BUILD_PACKAGES[@]}"
    PYTHON=$(interpreter)
    say "Building for $("$PYTHON" --version 2>&1) into $BUILD/"
    configure "$BUILD" "$PYTHON"
    compile "$BUILD"
}

# dir_for PYTHON: where the module is built for it, beside that of build/.
dir_for() {
    local kind=
    [[ $1 == /usr/* ]] && kind=-system
    [[ $1 == *-dbg ]] && kind=-debug
    printf '%s/matrix/%s%s\n' "$BUILD" "$(version_of "$1")" "$kind"
}

# build_for PYTHON: the module and its tests. The host libraries do not depend on the interpreter:
# they are those of build/.
build_for() {
    local dir
    dir=$(dir_for "$1")
    configure "$dir" "$1" \
        -DPYQUELT_HOST_LIBRARY="$PWD/$BUILD/lib/libquelt.so" \
        -DPYQUELT_SCRIPTED_HOST="$PWD/$BUILD/scripted_host/libquelt.so"
    compile "$dir"
}

# --- running ------------------------------------------------------------------------------------

# Runs a command with the built module importable.
with_module() {
    PYTHONPATH=$PWD/$BUILD/python:$PWD/python${PYTHONPATH:+:$PYTHONPATH} \
        PATH=$PWD/$BUILD/bin:$PATH PYTHONDONTWRITEBYTECODE=1 "$@"
}

run_tests() { # run_tests DIR [ctest option…]
    local dir=$1 status=0
    shift
    ctest --test-dir "$dir" --output-on-failure --timeout 300 -j "$(nproc)" "$@" || status=$?
    report_skipped <"$dir/Testing/Temporary/LastTest.log"
    return "$status"
}

# The skipped tests in a log of ctest, with their reasons: those of Python (tests/support/run_tests.py)
# and of GoogleTest.
report_skipped() {
    awk '/^SKIPPED / { sub("^SKIPPED ", ""); skipped[++count] = $0 }
        /: Skipped$/ { getline reason }
        /^\[  SKIPPED \] .* \(/ { skipped[++count] = $4 ": " reason }
        END {
            if (count) print "\nSkipped tests:"
            for (i = 1; i <= count; ++i) print "  " skipped[i]
        }'
}
