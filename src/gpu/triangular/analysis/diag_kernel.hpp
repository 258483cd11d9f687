// Device code of the diagonal analysis: a row's diagonal stored with its reciprocal and flags,
// and the walk of a sorted row that finds its split positions.
#pragma once

#include <cstdint>
#include <type_traits>

namespace orvane::vrt::sparse::gpu::kernels {

// Complex values count as zero only when both parts are.
template <typename T>
bool diag_is_zero(const T& v) {
  return v == T(0);
}

// 1 / a; for complex values written out, so that every device rounds it the same way.
template <typename T>
T diag_reciprocal(const T& a) {
  if constexpr (std::is_floating_point_v<T>) {
    return T(1) / a;
  } else {
    using R = typename T::value_type;
    const R re = a.real(), im = a.imag();
    const R norm = re * re + im * im;
    return T(re / norm, -im / norm);
  }
}

// Row `row`'s diagonal: the value at position (without the base) and its reciprocal, or zeros
// and the missing flag (status[0]) when position is -1; a zero value raises the zero flag
// (status[zero_flag]).
template <typename T, typename I>
void store_diagonal(I row, I position, const T* values, T* diag, T* inv_diag, I* status,
                    std::uint32_t zero_flag) {
  T value(0), inverse(0);
  if (position < 0) {
    status[0] = I(1);
  } else {
    value = values[position];
    if (diag_is_zero(value))
      status[zero_flag] = I(1);
    else
      inverse = diag_reciprocal(value);
  }
  diag[row] = value;
  inv_diag[row] = inverse;
}

// Unsorted rows: the position (without the base) of the first entry on the diagonal, or -1.
template <typename I>
I find_diagonal(const I* row_ptr, const I* col_ind, I base, I row) {
  I position = -1;
  for (I k = row_ptr[row] - base; k < row_ptr[row + 1] - base; ++k)
    if (col_ind[k] - base == row) {
      position = k;
      break;
    }
  return position;
}

// Sorted rows: where the strict lower part ends and the strict upper part starts, with the base.
template <typename I>
struct split_walk {
  I lower_end;
  I upper_start;
  I diagonal;  // position of the diagonal entry without the base, or -1
};

template <typename I>
split_walk<I> walk_sorted_row(const I* row_ptr, const I* col_ind, I base, I row) {
  const I start = row_ptr[row];
  const I length = row_ptr[row + 1] - start;
  split_walk<I> w{start, row_ptr[row + 1], I(-1)};
  for (I k = 0; k < length; ++k) {
    const I col = col_ind[start - base + k] - base;
    if (col < row) {
      w.lower_end = start + k + 1;
    } else if (col == row) {
      w.diagonal = start - base + k;
    } else {
      w.upper_start = start + k;
      break;
    }
  }
  return w;
}

template <typename I>
void store_split(I row, const split_walk<I>& w, I* lower_end, I* upper_start) {
  lower_end[row] = w.lower_end;
  upper_start[row] = w.upper_start;
}

}  // namespace orvane::vrt::sparse::gpu::kernels
