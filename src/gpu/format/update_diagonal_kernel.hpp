// Device code of the diagonal update: the check that every row stores its diagonal, the write of
// the new diagonal into a structure's values, and the refresh of the analysis records that hold
// copies of the old diagonal or of its reciprocals.
#pragma once

#include <cstdint>
#include <type_traits>

#include "gpu/triangular/analysis/diag_kernel.hpp"

namespace orvane::vrt::sparse::gpu::kernels {

// Raises *flag when row `row` has no entry on the diagonal.
template <typename I>
void flag_missing_diagonal(I row, const I* row_ptr, const I* col_ind, I base, std::uint32_t* flag) {
  if (find_diagonal<I>(row_ptr, col_ind, base, row) < 0) *flag = 1u;
}

// The value a structure stores for a: a itself, or its conjugate in a conjugate transpose.
template <typename T>
T stored_diagonal(const T& a, bool conjugate) {
  if constexpr (std::is_floating_point_v<T>) {
    (void)conjugate;
    return a;
  } else {
    return conjugate ? T(a.real(), -a.imag()) : a;
  }
}

// The first entry of the row on the diagonal takes the new value; a duplicate after it keeps its
// own, as the values of a stored matrix are the caller's.
template <typename T, typename I>
void write_first_diagonal(I row, const I* row_ptr, const I* col_ind, I base, const T* diagonal,
                          T* values, bool conjugate) {
  const I k = find_diagonal<I>(row_ptr, col_ind, base, row);
  if (k >= 0) values[k] = stored_diagonal(diagonal[row], conjugate);
}

// A sorted structure whose split positions are known: the diagonal sits at lower_end when the
// row has one. The position is checked against the row before it is used, so that positions
// made for another structure can only cost the walk, never a wrong write.
template <typename T, typename I>
void write_diagonal_at_split(I row, const I* row_ptr, const I* col_ind, const I* lower_end,
                             const I* upper_start, I base, const T* diagonal, T* values,
                             bool conjugate) {
  const I k = lower_end[row] - base;
  const bool inside = k >= row_ptr[row] - base && k < row_ptr[row + 1] - base;
  if (lower_end[row] < upper_start[row] && inside && col_ind[k] - base == row)
    values[k] = stored_diagonal(diagonal[row], conjugate);
  else
    write_first_diagonal<T, I>(row, row_ptr, col_ind, base, diagonal, values, conjugate);
}

// The diagonal record of the handle: the value, its reciprocal (a zero gives what the division
// on the device gives) and the zero flag, which a later non-unit solve reads.
template <typename T, typename I>
void refresh_diagonal(I row, const T* diagonal, T* diag, T* inv_diag, I* status,
                      std::uint32_t zero_flag) {
  const T value = diagonal[row];
  diag[row] = value;
  inv_diag[row] = diag_reciprocal(value);
  if (diag_is_zero(value)) status[zero_flag] = I(1);
}

// A coloring keeps the reciprocals in position order.
template <typename T, typename I>
void refresh_colored_inverse(I position, const I* row_of_position, const T* inv_diag,
                             T* inv_diag_colored) {
  inv_diag_colored[position] = inv_diag[row_of_position[position]];
}

}  // namespace orvane::vrt::sparse::gpu::kernels
