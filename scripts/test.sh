#!/usr/bin/env bash
# Builds and runs every test suite: optimised, all value types (plain, stress mode and the SciPy
# differentials), then AddressSanitizer with UndefinedBehaviorSanitizer over double and
# complex<double> (no benchmarks, no driver, so no differentials), then ThreadSanitizer, which
# builds and runs only the concurrency tests over double, then half a minute of each fuzz target.
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
# The API reference of the public header; doxygen's warnings are errors.
stage "docs" cmake --build --preset release --target docs

# Memory errors show in the real and the complex code paths alike; the widest element of each
# (double, complex<double>) stands for its kind. The optimised job above ran every value type.
stage "configure asan" cmake --preset asan -DVRT_VALUE_TYPES="d;z" "$@"
stage "build asan" cmake --build --preset asan
stage "test asan" ctest --preset asan

# Only the binaries of the concurrency tests, over double alone: the release and sanitizer jobs
# above ran the rest, and how threads meet in the library does not depend on the value type.
stage "configure tsan" cmake --preset tsan -DVRT_VALUE_TYPES=d "$@"
stage "build tsan" cmake --build --preset tsan --target concurrency_tests
stage "test tsan" ctest --preset tsan

stage "fuzz" scripts/fuzz.sh 30
