#!/usr/bin/env bash
# Sets up (Qt, PostgreSQL), builds, and runs every test: each database test on SQLite and on a
# throwaway PostgreSQL cluster that is started here and stopped at the end; then the fuzz targets.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/setup.sh" --tests
"$root/scripts/build.sh"
build=${BUILD_DIR:-$root/build}
export QT_QPA_PLATFORM=offscreen
"$root/scripts/with-postgres.sh" ctest --test-dir "$build" --output-on-failure -j 2
# The fuzz targets, built with clang apart from the main build, each for a bounded number of inputs.
"$root/scripts/fuzz.sh" --check
