#!/usr/bin/env bash
# Builds a release tree and runs the benchmarks. The figures go to standard output as JSON
# (pass --benchmark_format=csv for CSV lines); further arguments go to the benchmark.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh

build_dir="${BUILD_DIR:-build-release}"
cmake -S . -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=Release -DPLAYERSDK_BUILD_TESTS=OFF >&2
cmake --build "$build_dir" -j 2 >&2
exec "$build_dir/bench/bench_rtpstream" --benchmark_format=json "$@"
