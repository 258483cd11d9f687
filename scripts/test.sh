#!/usr/bin/env bash
# Builds and runs every test suite: optimised (plain and stress mode), then AddressSanitizer with
# UndefinedBehaviorSanitizer, then ThreadSanitizer on the concurrency tests, then a minute of each
# fuzz target.
# Extra arguments are passed to the release configure step (CI passes -DVRT_WARNINGS_AS_ERRORS=ON).
set -euo pipefail
cd "$(dirname "$0")/.."

stage() {
  local name=$1
  shift
  local start=$SECONDS
  echo "== ${name}"
  "$@"
  echo "== ${name}: $((SECONDS - start)) s"
}

stage "configure release" cmake --preset release "$@"
stage "build release" cmake --build --preset release
stage "test release" ctest --preset release

stage "configure asan" cmake --preset asan "$@"
stage "build asan" cmake --build --preset asan
stage "test asan" ctest --preset asan

stage "configure tsan" cmake --preset tsan "$@"
stage "build tsan" cmake --build --preset tsan
stage "test tsan" ctest --preset tsan

stage "fuzz" scripts/fuzz.sh 60
