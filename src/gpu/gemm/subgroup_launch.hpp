// The sub-group gemm path: the columns in blocks of sg * vec, each block of B staged row-major
// in b_tmp and multiplied by the sub-group kernel (subgroup_kernel.hpp); the leftover columns go
// to the explicit-SIMD path where offsets fit 32 bits, else to the element-wise rest kernel.
#pragma once

#include <complex>
#include <cstdint>
#include <type_traits>
#include <vector>

#include <sycl/sycl.hpp>

#include <orvane/vrt/sparse.hpp>

#include "common/internal_error.hpp"
#include "common/portability.hpp"
#include "gpu/gemm/design_names.hpp"
#include "gpu/gemm/element_launch.hpp"
#include "gpu/gemm/esimd_launch.hpp"
#include "gpu/gemm/gemm_plan.hpp"
#include "gpu/gemm/staging.hpp"
#include "gpu/gemm/subgroup_kernel.hpp"
#include "gpu/operand_binding.hpp"
#include "handle/handle.hpp"
#include "handle/value_types.hpp"

namespace orvane::vrt::sparse::gpu::gemm {

// Submits the product of one full block staged in `tile`, into C from column `offset` on.
template <typename T, typename I, containerType C, int SG, int VEC>
sycl::event gemm_subgroup_kernel_wrapper(sycl::queue& queue, const gemm_operands<T, I, C>& op,
                                         container_t<C, T> tile, std::int64_t block,
                                         std::int64_t offset,
                                         const std::vector<sycl::event>& deps) {
  using name = portable::sub_group_kernel<kernels::compute_gemm_subgroup_opt_kernel<T, I, C, SG, VEC>, SG>;
  return queue.submit([&](sycl::handler& h) {
    const auto [rp, ci, va, bt, cv] =
        bind_product<C>(h, deps, op.row_ptr, op.col_ind, op.values, tile, op.c);
    const dense_strides cs = strides_of(op.row_major, op.ldc);
    const std::int64_t c_first = offset * cs.column_stride;
    const I index = op.index;
    const T alpha = op.alpha, beta = op.beta;
    const sycl::nd_range<1> grid(static_cast<std::size_t>(op.nrows) * SG, SG);
    h.parallel_for<name>(grid, [=](sycl::nd_item<1> it) [[sycl::reqd_sub_group_size(SG)]] {
      kernels::gemm_subgroup_row<T, I, SG, VEC>(it.get_sub_group(), it.get_group(0), raw(rp),
                                                raw(ci), raw(va), index, raw(bt), block,
                                                raw(cv) + c_first, cs, alpha, beta);
    });
  });
}

// The vector lengths the plan can name for a value type: the d and z lanes carry at most four
// columns, the s and c lanes at most eight.
template <typename T>
inline constexpr int longest_vec =
    std::is_same_v<T, double> || std::is_same_v<T, std::complex<double>> ? 4 : 8;

// The instance of (sg, vec); a pair the plan cannot name is refused. Only the pairs the plan
// names are instantiated (no vec 16, and no vec 8 for d and z): each pair is a kernel per
// value type, index width and memory model, and build time is paid for every one.
template <typename T, typename I, containerType C>
sycl::event gemm_subgroup_block(sycl::queue& queue, int sg, int vec,
                                const gemm_operands<T, I, C>& op, container_t<C, T> tile,
                                std::int64_t block, std::int64_t offset,
                                const std::vector<sycl::event>& deps) {
  auto by_vec = [&]<int SG>() -> sycl::event {
    switch (vec) {
      case 1:
        return gemm_subgroup_kernel_wrapper<T, I, C, SG, 1>(queue, op, tile, block, offset, deps);
      case 2:
        return gemm_subgroup_kernel_wrapper<T, I, C, SG, 2>(queue, op, tile, block, offset, deps);
      case 4:
        return gemm_subgroup_kernel_wrapper<T, I, C, SG, 4>(queue, op, tile, block, offset, deps);
      case 8:
        if constexpr (longest_vec<T> >= 8)
          return gemm_subgroup_kernel_wrapper<T, I, C, SG, 8>(queue, op, tile, block, offset,
                                                              deps);
        [[fallthrough]];
      default:
        internal_error(gemm_word, invalid_vec_length);
    }
  };
  if (sg == narrow_sub_group) return by_vec.template operator()<narrow_sub_group>();
  if (sg == wide_sub_group) return by_vec.template operator()<wide_sub_group>();
  internal_error(gemm_word, invalid_vec_length);
}

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
  if (max_group < 1)
    throw computation_error("sparse", gemm_word, "device max_work_group_size <= 0");
  if constexpr (C == container_usm) {
    if (sycl::get_pointer_type(op.c, queue.get_context()) == sycl::usm::alloc::unknown)
      throw invalid_argument("sparse", "gemm", "given usm alloc type is unknown");
  }
  constexpr bool double_width =
      std::is_same_v<T, double> || std::is_same_v<T, std::complex<double>>;
  const subgroup_plan p = plan_subgroup(arch, density, op.columns, max_group, double_width);

  const bool staged =
      op.columns >= p.limit &&
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
    const sycl::event copied =
        op.row_major ? submit_copy<kernels::mmCopyBlockRowKernel<T, C>>(queue, from, to, op.ncols,
                                                                        p.block, list)
                     : submit_copy<kernels::mmCopyBlockColumnKernel<T, C>>(queue, from, to,
                                                                           op.ncols, p.block, list);
    list = {gemm_subgroup_block<T, I, C>(queue, p.sg, p.vec, op, tile, p.block, offset, {copied})};
  }
  if (p.rest == 0) return list.front();

  if (fits_32bit) return gemm_opt_esimd<T, I, C>(queue, op, A, offset, p.rest, list);
  // The column-major rest keeps its own layout: its tile has stride ncols.
  const dense_area<T, C> from{op.b, offset * b_strides.column_stride, b_strides};
  const dense_area<T, C> to{tile, 0, op.row_major ? strides_of(true, p.rest)
                                                  : strides_of(false, op.ncols)};
  const sycl::event copied =
      op.row_major ? submit_copy<kernels::mmCopyRestBlockRowKernel<T, C>>(queue, from, to,
                                                                          op.ncols, p.rest, list)
                   : submit_copy<kernels::mmCopyRestBlockColumnKernel<T, C>>(queue, from, to,
                                                                             op.ncols, p.rest, list);
  return submit_dot<kernels::mmRestKernel<T, I, C>>(queue, op, to, offset, p.rest, p.rest,
                                                    {copied});
}

}  // namespace orvane::vrt::sparse::gpu::gemm
