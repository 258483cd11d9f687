// Launches of the sub-group kernel (subgroup_kernel.hpp) on one full column block staged
// row-major in a tile: a work-group of one sub-group per sparse row, and the (sg, vec) instance
// the plan names.
#pragma once

#include <complex>
#include <cstdint>
#include <sycl/sycl.hpp>
#include <type_traits>
#include <vector>

#include "common/internal_error.hpp"
#include "common/portability.hpp"
#include "gpu/gemm/design_names.hpp"
#include "gpu/gemm/gemm_operands.hpp"
#include "gpu/gemm/gemm_plan.hpp"
#include "gpu/gemm/subgroup_kernel.hpp"
#include "gpu/operand_binding.hpp"
#include "gpu/sub_group_check.hpp"

namespace orvane::vrt::sparse::gpu::gemm {

// Submits the product of one full block staged in `tile`, into C from column `offset` on.
template <typename T, typename I, containerType C, int SG, int VEC>
sycl::event gemm_subgroup_kernel_wrapper(sycl::queue& queue, const gemm_operands<T, I, C>& op,
                                         container_t<C, T> tile, std::int64_t block,
                                         std::int64_t offset,
                                         const std::vector<sycl::event>& deps) {
  using name =
      portable::sub_group_kernel<kernels::compute_gemm_subgroup_opt_kernel<T, I, C, SG, VEC>, SG>;
  require_sub_group_size(queue, SG, gemm_word);
  return queue.submit([&](sycl::handler& h) {
    const auto a = bind_product<C>(h, deps, op.row_ptr, op.col_ind, op.values, tile, op.c);
    const dense_strides cs = strides_of(op.row_major, op.ldc);
    const std::int64_t c_first = offset * cs.column_stride;
    const I index = op.index;
    const T alpha = op.alpha, beta = op.beta;
    const sycl::nd_range<1> grid(static_cast<std::size_t>(op.nrows) * SG, SG);
    h.parallel_for<name>(grid, [=](sycl::nd_item<1> it) [[sycl::reqd_sub_group_size(SG)]] {
      kernels::gemm_subgroup_row<T, I, SG, VEC>(it.get_sub_group(), it.get_group(0), raw(a.row_ptr),
                                                raw(a.col_ind), raw(a.values), index, raw(a.x),
                                                block, raw(a.y) + c_first, cs, alpha, beta);
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
          return gemm_subgroup_kernel_wrapper<T, I, C, SG, 8>(queue, op, tile, block, offset, deps);
        [[fallthrough]];
      default:
        internal_error(gemm_word, invalid_vec_length);
    }
  };
  if (sg == narrow_sub_group) return by_vec.template operator()<narrow_sub_group>();
  if (sg == wide_sub_group) return by_vec.template operator()<wide_sub_group>();
  internal_error(gemm_word, invalid_vec_length);
}

}  // namespace orvane::vrt::sparse::gpu::gemm
