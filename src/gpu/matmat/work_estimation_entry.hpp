// The device's row-count estimates of C = A * B, the first stage of the staged product. Until the
// estimate kernels are on this branch, each entry refuses.
#pragma once

#include <cstdint>
#include <orvane/vrt/sparse.hpp>
#include <sycl/sycl.hpp>
#include <vector>

#include "gpu/matmat/work_estimation_operands.hpp"

namespace orvane::vrt::sparse::gpu {

// Each leaves row i's count in row_offsets[i + 1], row_offsets[0] = 0, then the exclusive scan
// over a_rows + 1 elements, and the total in estimate_total; returns the scan's event. The
// factors' nnz must already be resolved (a_nnz, b_nnz are read as given).
template <typename I, containerType C>
sycl::event estimate_rows_dense(sycl::queue&, const work_estimation_operands<I, C>&,
                                const std::vector<sycl::event>&) {
  throw unimplemented("sparse", "matmat");
}
template <typename I, containerType C>
sycl::event estimate_rows_hash(sycl::queue&, const work_estimation_operands<I, C>&,
                               const std::vector<sycl::event>&) {
  throw unimplemented("sparse", "matmat");
}
template <typename I, containerType C>
sycl::event estimate_rows_by_products(sycl::queue&, const work_estimation_operands<I, C>&,
                                      const std::vector<sycl::event>&) {
  throw unimplemented("sparse", "matmat");
}

}  // namespace orvane::vrt::sparse::gpu
