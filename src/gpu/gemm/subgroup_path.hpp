// The sub-group gemm path: the columns in blocks of sg * vec, each block of B staged row-major
// in b_tmp and multiplied by the sub-group kernel (subgroup_launch.hpp); the leftover columns go
// to the explicit-SIMD path where offsets fit 32 bits, else to the element-wise rest kernel. A
// device without the plan's sub-group size runs the element-wise product on all columns.
#pragma once

#include <complex>
#include <cstdint>
#include <orvane/vrt/sparse.hpp>
#include <sycl/sycl.hpp>
#include <type_traits>
#include <vector>

#include "common/internal_error.hpp"
#include "gpu/gemm/design_names.hpp"
#include "gpu/gemm/element_launch.hpp"
#include "gpu/gemm/esimd_launch.hpp"
#include "gpu/gemm/gemm_plan.hpp"
#include "gpu/gemm/staging.hpp"
#include "gpu/gemm/subgroup_launch.hpp"
#include "gpu/sub_group_check.hpp"
#include "handle/handle.hpp"
#include "handle/value_types.hpp"

namespace orvane::vrt::sparse::gpu::gemm {

// C = alpha * A * B + beta * C over all columns of the call, block by block.
template <typename T, typename I, containerType C>
sycl::event gemm_opt_subgroup(sycl::queue& queue, const gemm_operands<T, I, C>& op,
                              sparseStructure* A, double density, architecture arch,
                              bool fits_32bit, const std::vector<sycl::event>& deps) {
  gemmInternalData* data = A->gemm_data;
  if (data == nullptr) internal_error(gemm_word);
  const auto max_group = static_cast<std::int64_t>(
      queue.get_device().get_info<sycl::info::device::max_work_group_size>());
  // Untested: every emulated profile reports at least 512, and the size is the device's own, not
  // a value of the plan record that a test could set.
  if (max_group < 1) throw computation_error("sparse", gemm_word, no_work_group_size);
  if constexpr (C == container_usm) {
    if (memory_kind<C>(queue, op.c) == sycl::usm::alloc::unknown)
      throw invalid_argument("sparse", gemm_word, unknown_usm_kind);
  }
  constexpr bool double_width =
      std::is_same_v<T, double> || std::is_same_v<T, std::complex<double>>;
  const subgroup_plan p = plan_subgroup(arch, density, op.columns, max_group, double_width);

  // Without the plan's sub-group size on the device the tiles have no kernel to run them: the
  // product goes straight from B, as when no tile can be had.
  const bool staged = sub_group_offer::of(queue.get_device()).has(p.sg) && op.columns >= p.limit &&
                      ensure_staging<T, C>(queue, data->b_tmp, data->b_tmp_bytes,
                                           static_cast<std::size_t>(op.ncols * p.block), deps);
  if (!staged) {
    const std::int64_t rounded = (op.columns + p.block - 1) / p.block * p.block;
    const dense_area<T, C> from{op.b, 0, strides_of(op.row_major, op.ldb)};
    return submit_dot<kernels::mmNoBtmpKernel<T, I, C>>(queue, op, from, 0, op.columns, rounded,
                                                        deps);
  }

  const container_t<C, T> tile = as_container<C, T>(data->b_tmp);
  const dense_strides b_strides = strides_of(op.row_major, op.ldb);
  std::vector<sycl::event> list = deps;
  std::int64_t offset = 0;
  for (std::int64_t k = 0; k < p.full_blocks; ++k, offset += p.block) {
    const dense_area<T, C> from{op.b, offset * b_strides.column_stride, b_strides};
    const dense_area<T, C> to{tile, 0, strides_of(true, p.block)};
    const sycl::event copied = op.row_major ? submit_copy<kernels::mmCopyBlockRowKernel<T, C>>(
                                                  queue, from, to, op.ncols, p.block, list)
                                            : submit_copy<kernels::mmCopyBlockColumnKernel<T, C>>(
                                                  queue, from, to, op.ncols, p.block, list);
    list = {gemm_subgroup_block<T, I, C>(queue, p.sg, p.vec, op, tile, p.block, offset, {copied})};
  }
  if (p.rest == 0) return list.front();

  if (fits_32bit) return gemm_opt_esimd<T, I, C>(queue, op, A, offset, p.rest, list);
  // The column-major rest keeps its own layout: its tile has stride ncols.
  const dense_area<T, C> from{op.b, offset * b_strides.column_stride, b_strides};
  const dense_area<T, C> to{tile, 0,
                            op.row_major ? strides_of(true, p.rest) : strides_of(false, op.ncols)};
  const sycl::event copied = op.row_major ? submit_copy<kernels::mmCopyRestBlockRowKernel<T, C>>(
                                                queue, from, to, op.ncols, p.rest, list)
                                          : submit_copy<kernels::mmCopyRestBlockColumnKernel<T, C>>(
                                                queue, from, to, op.ncols, p.rest, list);
  return submit_dot<kernels::mmRestKernel<T, I, C>>(queue, op, to, offset, p.rest, p.rest,
                                                    {copied});
}

}  // namespace orvane::vrt::sparse::gpu::gemm
