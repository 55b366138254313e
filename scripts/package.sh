#!/usr/bin/env bash
# Builds the Debian package into out/: agreement-register_<version>_<arch>.deb, installed under /usr.
#   ./scripts/package.sh            then, as root:  apt-get install ./out/agreement-register_*.deb
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${PACKAGE_BUILD_DIR:-$root/build-package}
"$root/scripts/setup.sh" --tests # dpkg-dev (dpkg-shlibdeps) comes with the test tools
[[ -f /etc/profile.d/zz-ccache.sh ]] && source /etc/profile.d/zz-ccache.sh
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_INSTALL_PREFIX=/usr \
    -DCMAKE_SKIP_INSTALL_ALL_DEPENDENCY=ON >/dev/null
cmake --build "$build" -j "$(nproc)" --target agreement-register zrtp1003 suite agr-dist
mkdir -p "$root/out"
(cd "$build" && cpack -G DEB -B "$root/out" >/dev/null)
rm -rf "$root/out/_CPack_Packages"
ls "$root"/out/agreement-register_*.deb
