#!/usr/bin/env bash
# Installs the Debian packages that building, running and testing need.
# Idempotent: asks apt only for what is missing.
# Usage: scripts/install-deps.sh [coverage]
set -euo pipefail

packages=(
    build-essential cmake ninja-build pkg-config ccache
    qt6-base-dev qt6-base-private-dev qt6-base-dev-tools qt6-tools-dev qt6-tools-dev-tools qt6-l10n-tools qt6-translations-l10n
    qt6-svg-dev libqt6sql6-sqlite libqt6svg6 libgl-dev
    libxcb1-dev libxcb-res0-dev libxcb-xtest0-dev libxcb-keysyms1-dev
    libbenchmark-dev
    xvfb xauth openbox xclip xdotool x11-utils trayer imagemagick
    fonts-noto-cjk
    libtesseract-dev tesseract-ocr-script-hans tesseract-ocr-eng
)
if [ "${1:-}" = coverage ]; then
    packages+=(gcovr)
fi

missing=()
for p in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$p")
    fi
done

if [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi

echo "installing: ${missing[*]}"
sudo=""
if [ "$(id -u)" -ne 0 ]; then
    sudo="sudo"
fi
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
