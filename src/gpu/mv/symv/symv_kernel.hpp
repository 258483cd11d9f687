// Work-item bodies of the symmetric product from one stored triangle: a row gather of the stored
// part, then a scatter of the implied part. The triangle is a run-time argument.
#pragma once

#include "gpu/mv/atomic_add.hpp"

namespace orvane::vrt::sparse::gpu::symv::kernels {

// Whether column col of row i lies in the stored triangle, diagonal included.
template <typename I>
bool in_stored_part(bool upper, I col, I i) {
  return upper ? col >= i : col <= i;
}

// Whether column col of row i is mirrored into the implied triangle: strictly off the diagonal.
template <typename I>
bool mirrored(bool upper, I col, I i) {
  return upper ? col > i : col < i;
}

// Row i sums its stored entries and applies beta, so the scatter only adds.
template <typename T, typename I>
void gather_row(I i, const I* row_ptr, const I* col_ind, const T* values, const T* x, T* y, I index,
                T alpha, T beta, bool upper) {
  T sum = T(0);
  for (I j = row_ptr[i] - index; j < row_ptr[i + 1] - index; ++j) {
    const I col = col_ind[j] - index;
    if (in_stored_part(upper, col, i)) sum += values[j] * x[col];
  }
  y[i] = beta == T(0) ? alpha * sum : beta * y[i] + alpha * sum;
}

// Row i adds its mirrored entries into y by device atomics.
template <typename T, typename I>
void scatter_row_atomic(I i, const I* row_ptr, const I* col_ind, const T* values, const T* x, T* y,
                        I index, T alpha, bool upper) {
  const T t = x[i] * alpha;
  for (I j = row_ptr[i] - index; j < row_ptr[i + 1] - index; ++j) {
    const I col = col_ind[j] - index;
    if (mirrored(upper, col, i)) atomic_add(y[col], values[j] * t);
  }
}

// One work-item walks all rows in order: no atomics, for y in host memory.
template <typename T, typename I>
void scatter_all_rows(I nrows, const I* row_ptr, const I* col_ind, const T* values, const T* x,
                      T* y, I index, T alpha, bool upper) {
  for (I i = 0; i < nrows; ++i) {
    const T t = x[i] * alpha;
    for (I j = row_ptr[i] - index; j < row_ptr[i + 1] - index; ++j) {
      const I col = col_ind[j] - index;
      if (mirrored(upper, col, i)) y[col] += values[j] * t;
    }
  }
}

}  // namespace orvane::vrt::sparse::gpu::symv::kernels
