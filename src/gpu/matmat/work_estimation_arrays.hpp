// The factors of a row-count estimate as its kernels read them: raw index arrays in their own
// base, with the row walks every estimate shares.
#pragma once

#include <cstddef>

namespace orvane::vrt::sparse::gpu::kernels::csr_times_csr {

// The factors inside a kernel; indices are read in their base and moved to 0 on use.
template <typename I>
struct estimate_arrays {
  const I* a_row_ptr;
  const I* a_col_ind;
  const I* b_row_ptr;
  const I* b_col_ind;
  I a_index;
  I b_index;
  I* row_offsets;

  I a_begin(std::size_t row) const { return a_row_ptr[row] - a_index; }
  I a_end(std::size_t row) const { return a_row_ptr[row + 1] - a_index; }
  // B's row for A's entry at position k: its bounds as positions of b_col_ind.
  I b_row_of(I k) const { return a_col_ind[k] - a_index; }
  I b_begin(I b_row) const { return b_row_ptr[b_row] - b_index; }
  I b_end(I b_row) const { return b_row_ptr[b_row + 1] - b_index; }
  I b_col(I j) const { return b_col_ind[j] - b_index; }
  // The count of a row with fewer than two entries, which needs no bitmap or table: none, or
  // the length of the one B row.
  I short_row_count(I begin, I end) const {
    if (end == begin) return I(0);
    const I b_row = b_row_of(begin);
    return b_end(b_row) - b_begin(b_row);
  }
  // Writes a row's count, and the scan's leading zero with row 0.
  void write_count(std::size_t row, I count) const {
    row_offsets[row + 1] = count;
    if (row == 0) row_offsets[0] = I(0);
  }
};

}  // namespace orvane::vrt::sparse::gpu::kernels::csr_times_csr
