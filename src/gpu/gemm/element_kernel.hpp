// Element-wise kernel bodies of gemm: the product of one sparse row with one dense column that
// serves wherever no tile is used, and the finish of one element of C that every path shares.
//
// Dense operands are addressed through dense_strides, so one body serves both layouts, the
// staged tiles and the leftover columns.
#pragma once

#include <cstddef>
#include <cstdint>

#include "gpu/gemm/gemm_operands.hpp"

namespace orvane::vrt::sparse::gpu::gemm {

namespace kernels {
// beta == 0 (both parts for complex) leaves C unread, so NaN in C does not survive.
template <typename T>
void finish_element(T& out, T sum, T alpha, T beta) {
  if (beta == T(0))
    out = sum * alpha;
  else
    out = out * beta + sum * alpha;
}

template <typename T, typename I>
void dot_element(std::size_t row, std::size_t column, const I* row_ptr, const I* col_ind,
                 const T* values, I index, const T* src, dense_strides s, T* dst, dense_strides d,
                 T alpha, T beta) {
  T sum = T(0);
  const I end = row_ptr[row + 1] - index;
  for (I k = row_ptr[row] - index; k < end; ++k) {
    const auto col = static_cast<std::int64_t>(col_ind[k] - index);
    sum +=
        values[k] * src[col * s.row_stride + static_cast<std::int64_t>(column) * s.column_stride];
  }
  finish_element(dst[static_cast<std::int64_t>(row) * d.row_stride +
                     static_cast<std::int64_t>(column) * d.column_stride],
                 sum, alpha, beta);
}
}  // namespace kernels

}  // namespace orvane::vrt::sparse::gpu::gemm
