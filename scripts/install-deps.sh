#!/usr/bin/env bash
# Installs the Debian packages the build needs, only those that are missing.
# Usage: scripts/install-deps.sh [extra-package ...]
set -euo pipefail

# FFmpeg's codec libraries and Xlib for the decoder library; Xvfb for its window test;
# libcrypto for Digest authentication; the RTSP servers whose replies the interop scripts
# capture (GStreamer's server with its plugins, VLC, rtsp-server-perl); doxygen for the
# reference documentation; make and dpkg-dev (dpkg-shlibdeps) for the install checks, which
# build the examples and the Debian packages. The test pattern is encoded with libx264 and
# libx265, which Debian's libavcodec is built with (named here so that they are there even if
# that changes); Debian's ffmpeg is the yardstick of the decoding and ingest benchmarks.
packages=(cmake ninja-build g++ pkg-config libgtest-dev libgmock-dev libbenchmark-dev
          libavcodec-dev libavutil-dev libswscale-dev libx11-dev xvfb libssl-dev
          libx264-164 libx265-199 ffmpeg
          gir1.2-gst-rtsp-server-1.0 python3-gi gstreamer1.0-plugins-base
          gstreamer1.0-plugins-good gstreamer1.0-plugins-ugly vlc-bin vlc-plugin-base
          rtsp-server-perl doxygen make dpkg-dev "$@")

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
