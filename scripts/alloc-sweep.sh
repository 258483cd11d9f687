#!/usr/bin/env bash
# The whole allocation-failure sweep: every failure point of every public routine, on the CPU
# device and the emulated GPUs, in device USM and with buffers (ctest's label alloc_sweep tries a
# sample of them). Builds the sweep's test in a build folder (default build/asan, made with the
# asan preset; build/release works too), runs it in shards with VRT_ALLOC_SWEEP=full, prints the
# counts per routine, device, memory model and allocator, and exits non-zero on any failure.
# Usage: scripts/alloc-sweep.sh [build folder] [shards]
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build/asan}
shards=${2:-2}
cmake --build "$build" --target alloc_sweep_tests
binary="$build/tests/alloc_sweep_tests"
export VRT_ALLOC_SWEEP=full HOSTSYCL_STRICT=1
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:detect_stack_use_after_return=0}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
logs=$(mktemp -d)
trap 'rm -rf "$logs"' EXIT
pids=()
for ((i = 0; i < shards; i++)); do
  GTEST_TOTAL_SHARDS=$shards GTEST_SHARD_INDEX=$i "$binary" >"$logs/$i.log" 2>&1 &
  pids+=($!)
done
status=0
for i in "${!pids[@]}"; do
  if ! wait "${pids[$i]}"; then
    status=1
    echo "== shard $i failed:"
    grep -E "Failure|error:|ERROR|^\[  FAILED" "$logs/$i.log" | head -40 || true
  fi
done
echo "== counts: allocations of a clean call, failure points tried, refused, passed"
for ((i = 0; i < shards; i++)); do
  sed -n '/^alloc sweep/,/^total:/p' "$logs/$i.log" | grep -v '^alloc sweep\|^routine |\|^total:\|^refusal' || true
done | sort
echo "== refusal texts (device names cut off)"
grep -h '^refusal' "$logs"/*.log |
  awk '{ c[substr($0, index($0, $3))] += $2 } END { for (t in c) printf "%7d  %s\n", c[t], t }' |
  sort -k2 || true
awk '/^total:/ { rows += $2; tried += $10; passed += $14; failed += $16 }
     END { printf "total: %d routine x device x memory x allocator, %d failure points tried, %d passed, %d failed\n", rows, tried, passed, failed }' "$logs"/*.log
exit $status
