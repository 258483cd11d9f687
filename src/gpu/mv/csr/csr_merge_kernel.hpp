// Merge-path bodies: a sub-group works one part of the path, finishing the rows that end in it
// and leaving the piece of the row it stops in as a carry; the carries are added afterwards.
#pragma once

#include <cstddef>
#include <cstdint>
#include <sycl/sycl.hpp>

#include "gpu/mv/csr/csr_subgroup_kernel.hpp"

namespace orvane::vrt::sparse::gpu::csr::kernels {

template <int SG, typename T, typename I>
void gemv_merge_part(const sycl::sub_group& sg, std::size_t p, const I* partition_rows,
                     const I* partition_nnz, const I* row_ptr, const I* col_ind, const T* values,
                     const T* x, T* y, I* carry_rows, T* carry_values, I index, T alpha, T beta,
                     bool conj) {
  const bool leader = sg.get_local_linear_id() == 0;
  I row = partition_rows[p];
  I j = partition_nnz[p];
  const I row_end = partition_rows[p + 1];
  const I nz_end = partition_nnz[p + 1];
  for (; row < row_end; ++row) {
    const I end = row_ptr[row + 1] - index;
    const T sum = sub_group_row_sum<SG, T, I>(sg, j, end, col_ind, values, x, index, conj);
    if (leader) finish_row(y, static_cast<std::size_t>(row), alpha, beta, sum);
    j = end;
  }
  const T piece = sub_group_row_sum<SG, T, I>(sg, j, nz_end, col_ind, values, x, index, conj);
  if (leader) {
    carry_rows[p] = row_end;
    carry_values[p] = alpha * piece;
  }
}

}  // namespace orvane::vrt::sparse::gpu::csr::kernels
