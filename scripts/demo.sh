#!/usr/bin/env bash
# The library's main job on bundled data: y = alpha * A * x + beta * y with the command-line
# driver on a 2D Laplacian, on an emulated GPU and on the CPU device, in both memory models,
# each result checked against SciPy.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset release >/dev/null
cmake --build --preset release --target vrt_sparse_driver
matrix=examples/data/poisson2d_16x16.mtx
echo "== gemv on $matrix (emulated GPU emu-a2, double, USM), first entries of y:"
build/release/tools/driver/vrt_sparse_driver --matrix "$matrix" --device emu-a2 --alpha 2 \
  --beta 0.5 | sed -n 2,6p
echo "== the same product on the CPU device (host sparse engine):"
build/release/tools/driver/vrt_sparse_driver --matrix "$matrix" --device cpu --alpha 2 \
  --beta 0.5 | sed -n 2,6p
echo "== every value type, both index widths and memory models, GPU profiles and the CPU, vs SciPy:"
/usr/bin/python3 tests/tools/driver_vs_scipy.py build/release/tools/driver/vrt_sparse_driver "$matrix"
