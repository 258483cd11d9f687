// Device code of the diagonal analysis: a row's diagonal stored with its reciprocal and flags,
// and the walk of a sorted row that finds its split positions.
#pragma once

#include <cstdint>
#include <type_traits>

#include "containers/views.hpp"

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

// Where the kernels put each row's diagonal, bound in one command group (pointers for USM,
// accessors for buffers). store(row, position, values): the value at position (without the
// base) and its reciprocal, or zeros and the missing flag (status[0]) when position is -1; a
// zero value raises the zero flag.
template <typename T, typename I, typename ValueView, typename FlagView>
struct bound_diagonal {
  ValueView diag, inv_diag;
  FlagView status;
  std::uint32_t zero_flag;

  void store(I row, I position, const T* values) const {
    T value(0), inverse(0);
    if (position < 0) {
      raw(status)[0] = I(1);
    } else {
      value = values[position];
      if (diag_is_zero(value))
        raw(status)[zero_flag] = I(1);
      else
        inverse = diag_reciprocal(value);
    }
    raw(diag)[row] = value;
    raw(inv_diag)[row] = inverse;
  }
};

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

}  // namespace orvane::vrt::sparse::gpu::kernels
