#!/usr/bin/env bash
# Builds and runs the benchmarks; medians of five repetitions, each next to its peer.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset release >/dev/null
cmake --build --preset release --target bench_hostsycl bench_format
OMP_NUM_THREADS=${OMP_NUM_THREADS:-$(nproc)} build/release/bench/bench_hostsycl \
  --benchmark_repetitions=5 --benchmark_report_aggregates_only=true "$@"
build/release/bench/bench_format "$@"
