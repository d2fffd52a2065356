#!/usr/bin/env bash
# Installs what is missing, builds the library and runs the demo player.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh

cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build build -j "$(nproc)"

if [ -x build/playersdk-demo ]; then
    exec build/playersdk-demo "$@"
fi
echo "libPlayerSDK.so is built in build/. The demo player comes in a later release;"
echo "until then, run the tests with: scripts/test.sh"
