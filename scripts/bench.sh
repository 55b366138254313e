#!/usr/bin/env bash
# Builds and runs the benchmarks on SQLite and on a throwaway PostgreSQL cluster. Each prints its
# figures beside a raw baseline measured in the same run.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/setup.sh" --tests
BUILD_DIR=${BUILD_DIR:-$root/build-release}
export BUILD_DIR
cmake -S "$root" -B "$BUILD_DIR" -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$BUILD_DIR" -j "$(nproc)"
export QT_QPA_PLATFORM=offscreen
run_all() {
    for b in "$BUILD_DIR"/bin/bench_*; do
        [[ -n ${1:-} && $b != *"$1"* ]] && continue
        echo "== $(basename "$b")"
        "$b"
    done
}
export -f run_all
"$root/scripts/with-postgres.sh" bash -c "run_all ${1:-}"
