#!/usr/bin/env bash
# Builds a release tree and runs the decoding benchmark: CPU milliseconds per frame of the
# reference decoder library and of Debian's ffmpeg on the same 720p H.264 stream.
# Further arguments go to the benchmark (e.g. --benchmark_format=json).
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh

build_dir="${BUILD_DIR:-build-release}"
cmake -S . -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=Release -DPLAYERSDK_BUILD_TESTS=OFF >&2
cmake --build "$build_dir" -j 2 --target bench_decode >&2
exec "$build_dir/bench/bench_decode" "$@"
