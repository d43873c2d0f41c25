# shellcheck shell=bash
#: ./run fuzz      fuzz each target for a short time
#:                 (./run fuzz full: with the full number of executions; ./run fuzz TARGET [RUNS])

source scripts/sanitize.sh

readonly FUZZ_WORK=$BUILD/fuzz
readonly FUZZ_TARGETS=(identifier_text address metadata certificate scenario state_file)
# Number of executions: short and full.
declare -Ar FUZZ_RUNS=(
    [identifier_text]="200000 10000000"
    [address]="200000 10000000"
    [metadata]="50000 1000000"
    [certificate]="20000 1000000"
    [scenario]="2000 1000000"
    [state_file]="1000 200000"
)

# fuzz_target TARGET RUNS SEED: starts from the committed inputs and stores new ones below build/.
# With seed 0 the fuzzer chooses a random seed.
fuzz_target() {
    local target=$1 runs=$2 seed=$3 work=$FUZZ_WORK/found/$1 log=$FUZZ_WORK/$1.log
    local temporary=$PWD/$FUZZ_WORK/tmp inputs=()
    mapfile -t inputs <"$BUILD/sanitize-address/tests/fuzz/$target.inputs"
    mkdir -p "$work" "$temporary"
    if TMPDIR=$temporary "$BUILD/sanitize-address/bin/fuzz_$target" -runs="$runs" -seed="$seed" \
        -timeout=30 -rss_limit_mb=4096 -max_len=300000 -artifact_prefix="$FUZZ_WORK/$target-" \
        "$work" "${inputs[@]}" </dev/null >"$log" 2>&1; then
        printf 'figure: fuzz %-16s %10d executions, no failure\n' "$target" "$runs"
    else
        tail -n 30 "$log" >&2
        fail "$target: an input fails. It is $FUZZ_WORK/$target-…; when the cause is fixed, add it to" \
            "tests/fuzz/corpus/$target/. The complete log is $log"
    fi
}

command_fuzz() { # fuzz [full | TARGET [RUNS]]
    local target counts column=0 seed=1
    [[ ${1:-} == full ]] && column=1 && seed=0 && shift
    (($# == 0)) || [[ -n ${FUZZ_RUNS[$1]:-} ]] || fail "no such target: $1; expected one of ${FUZZ_TARGETS[*]}"
    sanitizer_configure address
    for target in ${1:-"${FUZZ_TARGETS[@]}"}; do
        if [[ ! -f $BUILD/sanitize-address/tests/fuzz/$target.inputs ]]; then
            say "Skipping $target: the interpreter has no shared library"
            continue
        fi
        compile "$BUILD/sanitize-address" "fuzz_$target"
        read -ra counts <<<"${FUZZ_RUNS[$target]}"
        fuzz_target "$target" "${2:-${counts[column]}}" "$seed"
    done
}
