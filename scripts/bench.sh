# shellcheck shell=bash
#: ./run bench     compare the module with other binding tools; write docs/performance.md and its chart
#:                 (./run bench --counts compares the instructions per call with bench/counts.json,
#:                 ./run bench --counts --update updates that file)

readonly BENCH_PACKAGES=(valgrind openssl)
readonly PEER_PACKAGES=(pybind11 nanobind Cython cffi) # names in the index and for import
readonly COUNTED_PYTHON=/usr/bin/python3 # the interpreter of the counts in bench/counts.json

configure_bench() { # configure_bench DIR PYTHON [cmake option…]
    local dir=$1 python=$2
    shift 2
    configure "$dir" "$python" -DPYQUELT_BENCH=ON -DPYQUELT_TESTS=OFF \
        -DPYQUELT_HOST_LIBRARY="$PWD/$BUILD/lib/libquelt.so" "$@"
}

bench_counts() { # bench_counts check | update
    [[ -x $COUNTED_PYTHON ]] || {
        say "Not counting instructions: $COUNTED_PYTHON does not exist"
        return
    }
    # The product's optimisation level; without debug information it compiles faster.
    configure_bench "$BUILD/counts" "$COUNTED_PYTHON" \
        -DCMAKE_CXX_FLAGS_RELWITHDEBINFO="-O2 -DNDEBUG"
    cmake --build "$BUILD/counts" --target pyquelt memory_host counter >"$BUILD/counts/compile.log"
    "$COUNTED_PYTHON" bench/counts.py "$1" "$BUILD/counts"
}

# bench_peers VENV: installs the peers for $PYTHON into build/venv/VENV and prints the names of those
# that can be imported, separated by semicolons.
bench_peers() {
    local package dir=$BUILD/venv/$1 peers=()
    ensure_venv "$1" "${PEER_PACKAGES[@]}" >&2 ||
        for package in "${PEER_PACKAGES[@]}"; do # not all are available: install the others
            "$dir/bin/pip" install -q "$package" >/dev/null 2>&1 || true
        done
    for package in "${PEER_PACKAGES[@]}"; do
        if [[ -x $dir/bin/python ]] && "$dir/bin/python" -c "import $package" 2>/dev/null; then
            peers+=("${package,,}")
        else
            say "Skipping $package: its package cannot be installed" >&2
        fi
    done
    (IFS=';' && printf '%s' "${peers[*]}")
}

# bench_build NAME: builds the module and the peers for $PYTHON into build/NAME, and sets BENCH_PYTHON
# to the interpreter that can import them.
bench_build() {
    local peers
    peers=$(bench_peers "$1")
    # shellcheck disable=SC2153
    BENCH_PYTHON=$PYTHON
    [[ -z $peers ]] || BENCH_PYTHON=$PWD/$BUILD/venv/$1/bin/python
    say "Building the benchmarks for $("$PYTHON" --version 2>&1): plain ctypes ${peers//;/ }"
    configure_bench "$BUILD/$1" "$PYTHON" "-DPYQUELT_BENCH_PEERS=$peers" \
        "-DPYQUELT_BENCH_VENV=$PWD/$BUILD/venv/$1"
    compile "$BUILD/$1"
}

# Prints the newest interpreter with a GIL if it is newer than $PYTHON.
newer_interpreter() {
    local python newest=
    while read -r python; do
        "$python" -c 'import sysconfig, sys; sys.exit(bool(sysconfig.get_config_var("Py_GIL_DISABLED")))' &&
            newest=$python
    done < <(interpreters)
    [[ $(version_of "$newest") == "$(version_of "$PYTHON")" ]] || printf '%s' "$newest"
}

command_bench() { # bench [--counts [--update]]
    build # sets PYTHON
    ensure_packages "${BENCH_PACKAGES[@]}" python3-dev
    case "$*" in
        --counts)
            bench_counts check
            return
            ;;
        "--counts --update")
            bench_counts update
            return
            ;;
        "") ;;
        *) fail "usage: ./run bench [--counts [--update]]" ;;
    esac
    local arguments=("$BUILD/bench" "$BUILD/lib" docs) newest free_threaded
    newest=$(newer_interpreter)
    if [[ -n $newest ]]; then
        PYTHON=$newest bench_build bench-newest
        arguments+=("$BENCH_PYTHON" "$BUILD/bench-newest")
    else
        arguments+=("" "")
    fi
    free_threaded=$(free_threaded_interpreter)
    if [[ -n $free_threaded ]]; then
        configure_bench "$BUILD/bench-free-threaded" "$free_threaded"
        compile "$BUILD/bench-free-threaded" pyquelt plain_crypto
    else
        say "No free-threaded interpreter is installed: the page omits its figures"
    fi
    arguments+=("$free_threaded" "$BUILD/bench-free-threaded")
    bench_build bench
    say "Measuring; this takes some minutes"
    "$BENCH_PYTHON" bench/bench.py "${arguments[@]}"
}
