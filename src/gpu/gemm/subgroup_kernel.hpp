// The sub-group product on one full column block: a work-group of one sub-group per sparse row,
// each lane holding `VEC` columns of the block in registers and reading the staged tile of B by
// sub-group block reads.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <sycl/sycl.hpp>

#include "common/portability.hpp"
#include "gpu/gemm/element_kernel.hpp"

namespace orvane::vrt::sparse::gpu::gemm {

namespace kernels {
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
      const T value = portable::group_broadcast(sg, v[0], from);
      const auto col = static_cast<std::int64_t>(portable::group_broadcast(sg, k[0], from) - index);
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

}  // namespace orvane::vrt::sparse::gpu::gemm
