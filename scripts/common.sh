# shellcheck shell=bash
# Functions that the commands of ./run share: packages, interpreters, building and running.

readonly BUILD=build
readonly BUILD_PACKAGES=(g++ cmake ninja-build python3 python3-dev libsqlitecpp-dev libsqlite3-dev
    nlohmann-json3-dev libcli11-dev libssl-dev libgtest-dev openssl)

say() { printf '\n== %s\n' "$*"; }
fail() {
    printf 'run: %s\n' "$*" >&2
    exit 1
}

# --- packages and interpreters ------------------------------------------------------------------

ensure_packages() {
    local package missing=()
    if ! command -v apt-get >/dev/null; then
        say "This system has no apt-get. Install its equivalents of these Debian packages: $*"
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
        command -v sudo >/dev/null || fail "installing packages needs root or sudo; missing: ${missing[*]}"
        as_root=(sudo)
    fi
    "${as_root[@]}" apt-get update -qq
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

# ensure_optional_packages PACKAGE…: installs the packages that this Debian release provides. Tests
# that need another one are skipped.
ensure_optional_packages() {
    local package
    command -v apt-get >/dev/null || return 0
    for package in "$@"; do
        [[ -z $(apt-cache show "$package" 2>/dev/null) ]] || (ensure_packages "$package") || true
    done
}

# Prints the absolute path of the interpreter to build for.
interpreter() {
    local python=${PYTHON:-python3}
    "$python" -c 'import platform, sys
sys.exit(platform.python_implementation() != "CPython" or sys.version_info < (3, 5))' ||
        fail "$python is not CPython 3.5 or newer"
    "$python" -c 'import sys; print(sys.executable)'
}

# version_of PYTHON: prints its version, for example 3.11.2, or 3.13.5t for a free-threaded build.
version_of() {
    "$1" -c '
import sys, sysconfig
free_threaded = sysconfig.get_config_var("Py_GIL_DISABLED")
print("%d.%d.%d" % sys.version_info[:3] + ("t" if free_threaded else ""))'
}

# Prints the path of each CPython 3.5 or newer that has headers: pyenv's, the system's, and PYTHON.
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

# Prints the path of the newest free-threaded interpreter, if there is one.
free_threaded_interpreter() {
    local python
    while read -r python; do
        [[ $(version_of "$python") != *t ]] || printf '%s\n' "$python"
    done < <(interpreters) | tail -n 1
}

# ensure_venv NAME PACKAGE…: creates the virtual environment build/venv/NAME of $PYTHON with these
# packages from the Python package index. If they cannot be installed, prints why and returns 1.
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

# configure DIR PYTHON [cmake option…]: prints CMake's output only if it fails.
configure() {
    local dir=$1 python=$2 log
    shift 2
    mkdir -p "$dir"
    log=$dir/configure.log
    # After a change of the interpreter, keep the objects but not what CMake detected.
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
        fail "building failed; the complete log is $log"
    }
}

build() {
    ensure_packages "${BUILD_PACKAGES[@]}"
    PYTHON=$(interpreter)
    say "Building for $("$PYTHON" --version 2>&1) into $BUILD/"
    configure "$BUILD" "$PYTHON"
    compile "$BUILD"
}

# dir_for PYTHON: prints the build folder of the module for that interpreter.
dir_for() {
    local kind=
    [[ $1 == /usr/* ]] && kind=-system
    [[ $1 == *-dbg ]] && kind=-debug
    printf '%s/matrix/%s%s\n' "$BUILD" "$(version_of "$1")" "$kind"
}

# build_for PYTHON: builds the module and its tests with the host libraries of build/, which do not
# depend on the interpreter.
build_for() {
    local dir
    dir=$(dir_for "$1")
    configure "$dir" "$1" \
        -DPYQUELT_HOST_LIBRARY="$PWD/$BUILD/lib/libquelt.so" \
        -DPYQUELT_SCRIPTED_HOST="$PWD/$BUILD/scripted_host/libquelt.so"
    compile "$dir"
}

# --- running ------------------------------------------------------------------------------------

# Runs a command that can import the built module and find quelt-host.
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

# Reads a log of ctest and prints the skipped tests of Python (tests/support/run_tests.py) and of
# GoogleTest, with their reasons.
report_skipped() {
    awk '/^SKIPPED / { sub("^SKIPPED ", ""); skipped[++count] = $0 }
        /: Skipped$/ { getline reason }
        /^\[  SKIPPED \] .* \(/ { skipped[++count] = $4 ": " reason }
        END {
            if (count) print "\nSkipped tests:"
            for (i = 1; i <= count; ++i) print "  " skipped[i]
        }'
}
