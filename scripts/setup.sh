#!/usr/bin/env bash
# Installs from Debian's archive what building (and, with --tests, testing) needs and is missing.
set -euo pipefail

packages=(g++ cmake ninja-build pkg-config qt6-base-dev libqt6sql6-sqlite libqt6sql6-psql libqt6sql6-odbc
          libsqlite3-dev libgl-dev fonts-dejavu-core libxlsxwriter-dev libical-dev
          # The icon's PNG sizes are rendered from its SVG at build time.
          qt6-svg-dev
          # Fonts for what DejaVu lacks, so that Tamil, Chinese and emoji are shown and printed, not dropped.
          fonts-lohit-taml fonts-wqy-microhei fonts-symbola
          # Text of the scanned pages: the engine and its English and Tamil data, and libjpeg, which decodes
          # a JPEG scan's grey alone.
          libtesseract-dev tesseract-ocr-eng tesseract-ocr-tam libjpeg-dev)
if [[ ${1:-} == --tests ]]; then
    packages+=(postgresql poppler-utils unixodbc odbc-postgresql libsqliteodbc python3-openpyxl
               clang libfuzzer-14-dev libclang-rt-14-dev
               # The package's own checks: the desktop entry's and metainfo's validators, and the .deb's
               # dependencies computed by dpkg-shlibdeps.
               desktop-file-utils appstream dpkg-dev
               # A calendar program that imports the renewals' .ics file and lists its events and reminders.
               khal)
fi

missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if ((${#missing[@]})); then
    echo "Installing: ${missing[*]}"
    SUDO=""
    [[ $(id -u) -ne 0 ]] && SUDO=sudo
    $SUDO apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
