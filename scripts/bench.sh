#!/usr/bin/env bash
# Builds and runs the benchmarks, each next to its peer in the same run: the host SYCL runtime,
# the device format kernels, the host sparse engine against Eigen and a STREAM triad, and the
# engine against SciPy (in a separate process). Medians of repetitions; only ratios within one
# run are meaningful on a shared machine.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset release >/dev/null
cmake --build --preset release --target bench_hostsycl bench_format bench_host_sparse \
  bench_host_vs_scipy
export OMP_NUM_THREADS=${OMP_NUM_THREADS:-$(nproc)}
build/release/bench/bench_hostsycl --benchmark_repetitions=5 \
  --benchmark_report_aggregates_only=true "$@"
build/release/bench/bench_format "$@"
build/release/bench/bench_host_sparse --benchmark_repetitions=7 \
  --benchmark_enable_random_interleaving=true --benchmark_report_aggregates_only=true "$@"
/usr/bin/python3 bench/vs_scipy.py build/release/bench/bench_host_vs_scipy
