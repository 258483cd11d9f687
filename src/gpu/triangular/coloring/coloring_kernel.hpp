// Device code of the coloring's last step (coloring5): each position's row copied into the
// coloured strict parts, its columns renamed to positions, with its diagonal reciprocal.
#pragma once

#include <cstddef>

namespace orvane::vrt::sparse::gpu::kernels {

// Source: the structure (positions in row_ptr, col_ind, lower_end and upper_start carry the
// index base), its diagonal reciprocals and the permutation. Destination: the coloured parts,
// whose row starts lower_ptr and upper_ptr are already laid out.
template <typename T, typename I>
struct colored_layout {
  const I* row_ptr;
  const I* col_ind;
  const T* values;
  const I* lower_end;
  const I* upper_start;
  const I* row_of_position;
  const I* position_of_row;
  const T* inv_diag;
  T* inv_diag_colored;
  const I* lower_ptr;
  I* lower_col;
  T* lower_val;
  const I* upper_ptr;
  I* upper_col;
  T* upper_val;
  I base;
};

template <typename T, typename I>
void lay_out_position(std::size_t p, const colored_layout<T, I>& a) {
  const I base = a.base;
  const I r = a.row_of_position[p];
  a.inv_diag_colored[p] = a.inv_diag[r];
  I out = a.lower_ptr[p];
  for (I k = a.row_ptr[r] - base; k < a.lower_end[r] - base; ++k, ++out) {
    a.lower_col[out] = a.position_of_row[a.col_ind[k] - base];
    a.lower_val[out] = a.values[k];
  }
  out = a.upper_ptr[p];
  for (I k = a.upper_start[r] - base; k < a.row_ptr[r + 1] - base; ++k, ++out) {
    a.upper_col[out] = a.position_of_row[a.col_ind[k] - base];
    a.upper_val[out] = a.values[k];
  }
}

}  // namespace orvane::vrt::sparse::gpu::kernels
