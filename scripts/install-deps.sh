#!/usr/bin/env bash
# Installs the Debian packages the build needs, only those that are missing.
# Usage: scripts/install-deps.sh [extra-package ...]
set -euo pipefail

# FFmpeg's codec libraries and Xlib for the decoder library; Xvfb for its window test. The
# test pattern is encoded with libx264 and libx265, which Debian's libavcodec is built with
# (named here so that they are there even if that changes); Debian's ffmpeg is the yardstick
# of the decoding benchmark.
packages=(cmake ninja-build g++ pkg-config libgtest-dev libgmock-dev libbenchmark-dev
          libavcodec-dev libavutil-dev libswscale-dev libx11-dev xvfb libx264-164 libx265-199
          ffmpeg "$@")

missing=()
for p in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$p")
    fi
done
if [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi

echo "Installing: ${missing[*]}"
sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then
    sudo_cmd=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -qq
"${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
