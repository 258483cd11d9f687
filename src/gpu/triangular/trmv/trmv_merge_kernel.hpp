// Planned product, widely spread rows: a sub-group works one part of the merge path over the
// strict triangle. Lane 0 finishes each row that ends in the part, diagonal term included; the
// piece of the row the part stops in goes out as a carry without it, since the part holding the
// row's end adds it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <sycl/sycl.hpp>

#include "gpu/mv/csr/csr_subgroup_kernel.hpp"
#include "gpu/triangular/trmv/trmv_vector_kernel.hpp"

namespace orvane::vrt::sparse::gpu::kernels {

template <int SG, typename T, typename I>
void trmv_merge_part(const sycl::sub_group& sg, std::size_t p, const I* partition_rows,
                     const I* partition_nnz, const I* row_ptr, const I* col_ind, const T* values,
                     const T* x, const T* diag, T* y, I* carry_rows, T* carry_values, T alpha,
                     T beta, std::uint8_t diag_code) {
  const bool leader = sg.get_local_linear_id() == 0;
  I row = partition_rows[p];
  I j = partition_nnz[p];
  const I row_end = partition_rows[p + 1];
  const I nz_end = partition_nnz[p + 1];
  for (; row < row_end; ++row) {
    const I end = row_ptr[row + 1];
    const T sum =
        csr::kernels::sub_group_row_sum<SG, T, I>(sg, j, end, col_ind, values, x, I(0), false);
    if (leader) {
      const auto r = static_cast<std::size_t>(row);
      trmv_finish_row(y, r, alpha, beta, sum + trmv_diagonal_term(diag_code, diag[r], x[r]));
    }
    j = end;
  }
  const T piece =
      csr::kernels::sub_group_row_sum<SG, T, I>(sg, j, nz_end, col_ind, values, x, I(0), false);
  if (leader) {
    carry_rows[p] = row_end;
    carry_values[p] = alpha * piece;
  }
}

}  // namespace orvane::vrt::sparse::gpu::kernels
