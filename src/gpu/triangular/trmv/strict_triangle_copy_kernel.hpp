// Device code of the strict-triangle copy: the length of each row's part (triangleData0) and the
// copy of one row's part with zero-based columns (triangleData2). Positions in row_ptr and split
// and columns in col_ind carry the source's index base.
#pragma once

#include <cstddef>

namespace orvane::vrt::sparse::gpu::kernels {

// Entry i of the n + 1 row starts: 0 for i = 0, else the length of row i - 1's part. split holds
// each row's upper_start (upper) or lower_end (lower).
template <typename I>
void write_part_length(std::size_t i, bool upper, const I* row_ptr, const I* split, I* out) {
  if (i == 0)
    out[0] = I(0);
  else
    out[i] = upper ? row_ptr[i] - split[i - 1] : split[i - 1] - row_ptr[i - 1];
}

// Row `row`'s part into the new structure, whose row starts out_ptr are laid out.
template <typename T, typename I>
void copy_row_part(std::size_t row, bool upper, I base, const I* row_ptr, const I* split,
                   const I* col_ind, const T* values, const I* out_ptr, I* out_col, T* out_val) {
  const I from = (upper ? split[row] : row_ptr[row]) - base;
  const I to = out_ptr[row];
  const I count = out_ptr[row + 1] - to;
  for (I k = 0; k < count; ++k) {
    out_col[to + k] = col_ind[from + k] - base;
    out_val[to + k] = values[from + k];
  }
}

}  // namespace orvane::vrt::sparse::gpu::kernels
