#!/usr/bin/env bash
# Installs the Debian packages that the build, the tests (clang-format for the formatting check),
# the fuzz targets (clang with libFuzzer), the benchmarks and the API reference (doxygen) need.
# Idempotent.
set -euo pipefail

packages=(
  g++ cmake ninja-build binutils
  libgtest-dev libgmock-dev libbenchmark-dev
  libboost-context-dev
  libeigen3-dev python3-scipy python3-numpy
  ocl-icd-libopencl1 ocl-icd-opencl-dev pocl-opencl-icd
  clang libclang-rt-14-dev clang-format
  doxygen
)

if [ "$(id -u)" -ne 0 ]; then
  exec sudo "$0" "$@"
fi
export DEBIAN_FRONTEND=noninteractive
apt-get update
apt-get install -y --no-install-recommends "${packages[@]}"
