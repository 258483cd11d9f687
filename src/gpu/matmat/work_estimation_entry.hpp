// The device's row-count estimates of C = A * B, the first stage of the staged product. The
// bodies and their instances for both index widths and memory models live in the
// work_estimation_*.cpp units.
#pragma once

#include <cstdint>
#include <sycl/sycl.hpp>
#include <vector>

#include "gpu/matmat/work_estimation_operands.hpp"

namespace orvane::vrt::sparse::gpu {

// Each leaves row i's count in row_offsets[i + 1], row_offsets[0] = 0, then the exclusive scan
// over a_rows + 1 elements, and the total in estimate_total; returns the scan's event. The
// factors' nnz must already be resolved (a_nnz, b_nnz are read as given).
template <typename I, containerType C>
sycl::event estimate_rows_dense(sycl::queue& queue, const work_estimation_operands<I, C>& op,
                                const std::vector<sycl::event>& deps);  // exact counts (kernel 1)
template <typename I, containerType C>
sycl::event estimate_rows_hash(sycl::queue& queue, const work_estimation_operands<I, C>& op,
                               const std::vector<sycl::event>& deps);  // upper bounds (kernel 5)
template <typename I, containerType C>
sycl::event estimate_rows_by_products(sycl::queue& queue, const work_estimation_operands<I, C>& op,
                                      const std::vector<sycl::event>& deps);  // noaccum (kernel 0)

}  // namespace orvane::vrt::sparse::gpu
