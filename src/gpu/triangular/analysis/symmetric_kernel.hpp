// Device code of the symmetric expansion of one triangle: counting per row (symmetric1,
// symmetric2), scattering entries and their mirrors (symmetric3) and the row pointers
// (symmetric4). Positions in row_ptr and columns in col_ind carry the index base.
#pragma once

#include <cstddef>
#include <sycl/sycl.hpp>

#include "common/portability.hpp"

namespace orvane::vrt::sparse::gpu::kernels {

template <typename I>
using relaxed_counter = sycl::atomic_ref<I, sycl::memory_order::relaxed, sycl::memory_scope::device,
                                         sycl::access::address_space::global_space>;

// Whether column col of row lies in the kept triangle, and whether it is mirrored to row col.
template <typename I>
bool kept(bool upper, I col, I row) {
  return upper ? col >= row : col <= row;
}
template <typename I>
bool mirrored(bool upper, I col, I row) {
  return upper ? col > row : col < row;
}

template <typename I>
void clear_count(std::size_t i, I* counts) {
  counts[i] = I(0);
}

// One sub-group of Lanes lanes per row, one block read covering Lanes columns: counts[row + 1]
// gains the kept entries of row, counts[col + 1] one per mirrored entry.
template <int Lanes, typename I>
void count_row(const sycl::sub_group& sg, I row, bool upper, I base, const I* row_ptr,
               const I* col_ind, I* counts) {
  const I lane = static_cast<I>(sg.get_local_linear_id());
  const I end = row_ptr[row + 1] - base;
  I mine = 0;
  for (I j = row_ptr[row] - base; j < end; j += Lanes) {
    const auto left = static_cast<std::size_t>(end - j);
    const I col = (left >= static_cast<std::size_t>(Lanes)
                       ? portable::sub_group_load<1>(sg, col_ind + j)[0]
                       : portable::sub_group_load<1>(sg, col_ind + j, left, I(0))[0]) -
                  base;
    if (static_cast<std::size_t>(lane) >= left || !kept(upper, col, row)) continue;
    ++mine;
    if (mirrored(upper, col, row)) relaxed_counter<I>(counts[col + 1]).fetch_add(I(1));
  }
  for (int step = Lanes / 2; step >= 1; step /= 2)
    mine += portable::shift_group_left(sg, mine, step);
  if (lane == 0 && mine != 0) relaxed_counter<I>(counts[row + 1]).fetch_add(mine);
}

// With next[r] at the start of row r, writes every kept entry of row and its mirror.
template <typename T, typename I>
void scatter_row(I row, bool upper, I base, const I* row_ptr, const I* col_ind, const T* values,
                 I* next, I* out_col, T* out_val) {
  for (I k = row_ptr[row] - base; k < row_ptr[row + 1] - base; ++k) {
    const I col = col_ind[k] - base;
    if (!kept(upper, col, row)) continue;
    const T v = values[k];
    const I p1 = relaxed_counter<I>(next[row]).fetch_add(I(1));
    out_col[p1] = col;
    out_val[p1] = v;
    if (col == row) continue;
    const I p2 = relaxed_counter<I>(next[col]).fetch_add(I(1));
    out_col[p2] = row;
    out_val[p2] = v;
  }
}

// Work-item i of max(rows, 1): row_ptr[i + 1] = the end of row i that the scatter left in
// next[i]; row_ptr[0] = 0.
template <typename I>
void close_row(std::size_t i, std::size_t rows, const I* next, I* row_ptr) {
  if (i == 0) row_ptr[0] = I(0);
  if (i < rows) row_ptr[i + 1] = next[i];
}

}  // namespace orvane::vrt::sparse::gpu::kernels
