#!/usr/bin/env bash
# Sets up, builds and starts the agreement register on its embedded SQLite database.
# Without a display it renders the list window to a PNG instead and says where it is.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/setup.sh"
"$root/scripts/build.sh"
host="${BUILD_DIR:-$root/build}/bin/agreement-register"
if [[ -z ${DISPLAY:-} && -z ${WAYLAND_DISPLAY:-} ]]; then
    mkdir -p "$root/out"
    exec "$host" -platform offscreen --screenshot "$root/out/agreement-list.png" "$@"
fi
exec "$host" "$@"
