#!/usr/bin/env bash
# Installs what is missing, builds everything and runs all tests.
# SANITIZE=address,undefined (or thread) builds with sanitizers; BUILD_DIR picks the folder.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh

sanitize="${SANITIZE:-}"
build_dir="${BUILD_DIR:-build${sanitize:+-${sanitize//,/-}}}"

cmake -S . -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
      -DPLAYERSDK_SANITIZE="$sanitize"
cmake --build "$build_dir" -j "$(nproc)"

export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1:strict_string_checks=1}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"
export TSAN_OPTIONS="${TSAN_OPTIONS:-halt_on_error=1:second_deadlock_stack=1}"
ctest --test-dir "$build_dir" --output-on-failure -j "$(nproc)" ${CTEST_ARGS:-}
