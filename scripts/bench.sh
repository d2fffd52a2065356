#!/usr/bin/env bash
# Builds a release tree and runs the benchmarks.
#   scripts/bench.sh [args]            bench_rtpstream (JSON; args go to it), then the ingest table
#   scripts/bench.sh rtpstream [args]  CRtpStream::InputData alone; --benchmark_format=csv for CSV
#   scripts/bench.sh ingest [args]     the end-to-end ingest benchmark alone, e.g. --seconds 5,
#                                      --rows tcp,plays,udp, --rates 4,16, --json
# The ingest benchmark plays a loopback RTSP stream through libPlayerSDK.so and through
# Debian's ffmpeg for comparison; it takes about five minutes with the default 20 s a row.
# On a shared machine run it niced: nice -n 10 scripts/bench.sh ingest
set -euo pipefail
cd "$(dirname "$0")/.."

which=all
case "${1:-}" in
    rtpstream | ingest)
        which="$1"
        shift
        ;;
esac

if [ "$which" = rtpstream ]; then
    scripts/install-deps.sh >&2
else
    scripts/install-deps.sh ffmpeg >&2
fi

build_dir="${BUILD_DIR:-build-release}"
cmake -S . -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=Release -DPLAYERSDK_BUILD_TESTS=OFF >&2
cmake --build "$build_dir" -j 2 >&2

case "$which" in
    rtpstream) exec "$build_dir/bench/bench_rtpstream" --benchmark_format=json "$@" ;;
    ingest) exec "$build_dir/bench/bench_ingest" "$@" ;;
    all)
        "$build_dir/bench/bench_rtpstream" --benchmark_format=json "$@"
        exec "$build_dir/bench/bench_ingest"
        ;;
esac
