#!/usr/bin/env bash
# Builds the libFuzzer targets with clang++ (tests/fuzz is a project of its own: the main build
# uses g++) and runs each for a bounded time from its committed seed corpus, with AddressSanitizer
# and UndefinedBehaviorSanitizer. A crash, leak, sanitizer report, timeout or memory blow-up fails
# the script; the reproducer is left in build/fuzz/artifacts/.
# usage: scripts/fuzz.sh [SECONDS per target, default 60]
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}

# matrix_market: the reader; api_arguments: the public API's argument checks, against the
# library of the release preset (built first by scripts/test.sh).
targets=(matrix_market)

cmake -S tests/fuzz -B build/fuzz -G Ninja -DCMAKE_CXX_COMPILER=clang++ \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build build/fuzz -j2
if [ -x build/fuzz/fuzz_api_arguments ]; then targets+=(api_arguments); fi

mkdir -p build/fuzz/artifacts
for target in "${targets[@]}"; do
  # New inputs go to the build folder; the committed seeds are only read.
  found=build/fuzz/corpus/${target}
  mkdir -p "${found}"
  dict=()
  if [ -f "tests/fuzz/${target}.dict" ]; then dict=(-dict="tests/fuzz/${target}.dict"); fi
  log=build/fuzz/${target}.log
  start=$SECONDS
  status=0
  "build/fuzz/fuzz_${target}" -max_total_time="${seconds}" -timeout=10 -rss_limit_mb=2048 \
    -print_final_stats=1 -artifact_prefix="build/fuzz/artifacts/${target}-" "${dict[@]}" \
    "${found}" "tests/fuzz/corpus/${target}" >"${log}" 2>&1 || status=$?
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "${log}")
  echo "== fuzz ${target}: ${runs:-?} runs in $((SECONDS - start)) s, exit ${status}"
  if [ "${status}" -ne 0 ]; then
    tail -n 60 "${log}"
    exit "${status}"
  fi
done
