#!/usr/bin/env bash
# Builds the fuzz targets (fuzz/, clang and libFuzzer) into $BUILD_DIR/fuzz and runs them.
#
#   scripts/fuzz.sh TARGET [SECONDS]   one target for SECONDS (default 600); what it learns is kept in
#                                      $BUILD_DIR/fuzz/corpus/TARGET, beside the seeds of fuzz/corpus/TARGET
#   scripts/fuzz.sh --check [RUNS]     every target for RUNS inputs each, from the seeds (by default as many
#                                      as each does in about half a minute); what the test command runs
#
# TARGET is dialect, selectionformula or conversions; fuzz/TARGET.dict lists words that help it. An input
# that crashes, or breaks one of a target's rules, stops the run and is saved as
# $BUILD_DIR/fuzz/artifacts/TARGET-crash-...: add it to the seeds and to the unit tests once it is fixed.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${BUILD_DIR:-$root/build}/fuzz
targets=(dialect selectionformula conversions)
# Inputs per target for --check: the dialect target runs statements on SQLite and is the slowest.
declare -A checkRuns=([dialect]=50000 [selectionformula]=300000 [conversions]=200000)

usage() {
    sed -n '2,13p' "$0" | sed 's/^# \{0,1\}//' >&2
    exit 2
}

[[ $# -ge 1 ]] || usage
CXX=${FUZZ_CXX:-clang++} cmake -S "$root/fuzz" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" -j "$(nproc)"
mkdir -p "$build/artifacts"

# -max_len 4096: longer inputs teach the parsers nothing new and slow every run down.
run() {
    local target=$1
    shift
    mkdir -p "$build/corpus/$target"
    "$build/fuzz_$target" -max_len=4096 -print_final_stats=1 -artifact_prefix="$build/artifacts/$target-" \
        -dict="$root/fuzz/$target.dict" "$@" "$build/corpus/$target" "$root/fuzz/corpus/$target"
}

if [[ $1 == --check ]]; then
    for target in "${targets[@]}"; do
        runs=${2:-${checkRuns[$target]}}
        echo "== fuzz_$target: $runs inputs"
        # A fresh corpus folder each time, so that the check is the same on every machine.
        rm -rf "$build/corpus/$target"
        log="$build/fuzz_$target.log"
        start=$SECONDS
        status=0
        run "$target" -runs="$runs" >"$log" 2>&1 || status=$?
        grep -E '^stat::(number_of_executed_units|new_units_added|peak_rss_mb)' "$log" | sed 's/^/   /' || true
        echo "   $((SECONDS - start)) s"
        if [[ $status -ne 0 ]]; then
            tail -n 60 "$log" >&2
            echo "fuzz_$target failed; the input is in $build/artifacts" >&2
            exit 1
        fi
    done
    exit 0
fi

target=$1
seconds=${2:-600}
[[ " ${targets[*]} " == *" $target "* ]] || usage
run "$target" -max_total_time="$seconds"
