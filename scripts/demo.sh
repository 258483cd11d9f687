#!/usr/bin/env bash
# Builds the demo and runs it on the emulated GPU and the CPU device.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset release >/dev/null
cmake --build --preset release --target sycl_demo
build/release/examples/sycl_demo
