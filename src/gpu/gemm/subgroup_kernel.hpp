// The sub-group product on one full column block: a work-group of one sub-group per sparse row,
// each lane holding `VEC` columns of the block in registers and reading the staged tile of B by
// sub-group block reads.
#pragma once

#include <array>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

#include <sycl/sycl.hpp>

#include <orvane/vrt/sparse.hpp>

#include "common/portability.hpp"
#include "gpu/gemm/element_kernels.hpp"
#include "gpu/gemm/plan.hpp"

namespace orvane::vrt::sparse::gpu::gemm {

namespace kernels {
template <typename T, typename I, containerType C, int SG, int VEC>
class compute_gemm_subgroup_opt_kernel;

// Row `row` of A times the tile (row i of B at tile[i * block]), into C at `c` (the block's
// first column). Element m of a lane stands for the block's column m * SG + lane.
template <typename T, typename I, int SG, int VEC>
void gemm_subgroup_row(const sycl::sub_group& sg, std::size_t row, const I* row_ptr,
                       const I* col_ind, const T* values, I index, const T* tile,
                       std::int64_t block, T* c, dense_strides cs, T alpha, T beta) {
  const std::size_t lane = sg.get_local_linear_id();
  const I begin = row_ptr[row] - index;
  const I end = row_ptr[row + 1] - index;
  std::array<T, VEC> acc;
  acc.fill(T(0));
  const auto tile_columns = static_cast<std::size_t>(block);
  for (I base = begin; base < end; base += SG) {
    const auto count = static_cast<std::size_t>(end - base < SG ? end - base : SG);
    const auto v = portable::sub_group_load<1>(sg, values + base, count, T(0));
    const auto k = portable::sub_group_load<1>(sg, col_ind + base, count, index);
    for (std::size_t e = 0; e < count; ++e) {
      const auto from = static_cast<sycl::sub_group::linear_id_type>(e);
      const T value = sycl::group_broadcast(sg, v[0], from);
      const auto col = static_cast<std::int64_t>(sycl::group_broadcast(sg, k[0], from) - index);
      const auto b = portable::sub_group_load<VEC>(sg, tile + col * block, tile_columns, T(0));
      for (int m = 0; m < VEC; ++m) acc[m] += value * b[m];
    }
  }
  for (int m = 0; m < VEC; ++m) {
    const auto j = static_cast<std::int64_t>(static_cast<std::size_t>(m) * SG + lane);
    if (j < block)
      finish_element(c[static_cast<std::int64_t>(row) * cs.row_stride + j * cs.column_stride],
                     acc[m], alpha, beta);
  }
}
}  // namespace kernels

// Submits the product of one full block staged in `tile`, into C from column `offset` on.
template <typename T, typename I, containerType C, int SG, int VEC>
sycl::event gemm_subgroup_kernel_wrapper(sycl::queue& queue, const gemm_operands<T, I, C>& op,
                                         container_t<C, T> tile, std::int64_t block,
                                         std::int64_t offset,
                                         const std::vector<sycl::event>& deps) {
  using name = portable::sub_group_kernel<kernels::compute_gemm_subgroup_opt_kernel<T, I, C, SG, VEC>, SG>;
  return queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, deps);
    auto rp = bind(h, op.row_ptr, sycl::read_only);
    auto ci = bind(h, op.col_ind, sycl::read_only);
    auto va = bind(h, op.values, sycl::read_only);
    auto bt = bind(h, tile, sycl::read_only);
    auto cv = bind(h, op.c, sycl::read_write);
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
        throw computation_error("sparse", "gemm", "internal error -- invalid vec_length");
    }
  };
  if (sg == narrow_sub_group) return by_vec.template operator()<narrow_sub_group>();
  if (sg == wide_sub_group) return by_vec.template operator()<wide_sub_group>();
  throw computation_error("sparse", "gemm", "internal error -- invalid vec_length");
}

}  // namespace orvane::vrt::sparse::gpu::gemm
