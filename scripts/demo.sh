#!/usr/bin/env bash
# Installs what is missing, builds the library and the demo player and runs it; arguments go
# to the demo (scripts/demo.sh --help lists them).
# The demo encodes its test pattern with libavcodec (libx264 for H.264, which Debian's
# libavcodec brings along) and draws with Xlib: install-deps.sh covers both.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh

cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build build -j "$(nproc)" --target playersdk-demo

exec build/playersdk-demo "$@"
