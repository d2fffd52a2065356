#!/usr/bin/env bash
# Builds the libFuzzer targets of fuzz/ with clang, AddressSanitizer and UBSan, and runs each
# on its corpus for a while. Any crash, sanitizer report, leak or time-out fails the run; the
# input that caused it is left in <build dir>/artifacts/<target>/.
#   scripts/fuzz.sh --seconds 20        (CI: every target 20 s)
#   scripts/fuzz.sh --minutes 10        (longer runs, for people)
#   scripts/fuzz.sh --minutes 10 url    (only the named targets)
# New inputs found go to <build dir>/corpus/<target>/, not into the repository; copy the ones
# worth keeping to fuzz/corpus/<target>/ by hand (libFuzzer's -merge=1 keeps it small).
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=20
targets=()
while [ $# -gt 0 ]; do
    case "$1" in
        --seconds) seconds="$2"; shift 2 ;;
        --minutes) seconds=$(( $2 * 60 )); shift 2 ;;
        -h|--help) sed -n '2,9p' "$0"; exit 0 ;;
        *) targets+=("$1"); shift ;;
    esac
done

scripts/install-deps.sh clang libclang-rt-14-dev

build_dir="${BUILD_DIR:-build-fuzz}"
CC=clang CXX=clang++ cmake -S . -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
      -DPLAYERSDK_SANITIZE=address,undefined -DPLAYERSDK_FUZZ=ON \
      -DPLAYERSDK_BUILD_TESTS=OFF -DPLAYERSDK_BUILD_BENCH=OFF
cmake --build "$build_dir" -j "$(nproc)" --target fuzz_targets

if [ ${#targets[@]} -eq 0 ]; then
    for program in "$build_dir"/fuzz/fuzz_*; do
        name="${program##*/fuzz_}"
        [ -d "fuzz/corpus/$name" ] && targets+=("$name")
    done
fi

export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"
failed=()
for name in "${targets[@]}"; do
    work="$build_dir/corpus/$name"
    artifacts="$build_dir/artifacts/$name"
    log="$build_dir/fuzz-$name.log"
    mkdir -p "$work" "$artifacts"
    seeds=("fuzz/corpus/$name")
    [ -d "fuzz/repro/$name" ] && seeds+=("fuzz/repro/$name")
    echo "== fuzz_$name: ${seconds} s"
    # The fuzzer's own working folder first: new inputs land there.
    if "$build_dir/fuzz/fuzz_$name" "$work" "${seeds[@]}" -dict=fuzz/rtsp.dict \
           -max_total_time="$seconds" -timeout=10 -print_final_stats=1 \
           -artifact_prefix="$artifacts/" >"$log" 2>&1; then
        grep -E '^#[0-9]+.*DONE' "$log" | tail -1
        grep -E 'stat::(number_of_executed_units|average_exec_per_sec)' "$log"
    else
        failed+=("$name")
        tail -n 60 "$log"
    fi
done
if [ ${#failed[@]} -gt 0 ]; then
    echo "Fuzzing found inputs that break: ${failed[*]} (see $build_dir/artifacts/)" >&2
    exit 1
fi
