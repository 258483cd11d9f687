// Device code of the level kernels: the rows without lower entries placed first (coloring1), one
// frontier step (coloring2), and the row lengths and starts of the coloured strict parts
// (coloring3, coloring4). Positions in row_ptr, col_ind, lower_end and upper_start carry the
// index base.
#pragma once

#include <cstddef>
#include <sycl/sycl.hpp>

namespace orvane::vrt::sparse::gpu::kernels {

// The level counters are shared by all work-items of all colours; the host orders the colours.
template <typename I>
using level_atomic = sycl::atomic_ref<I, sycl::memory_order::relaxed, sycl::memory_scope::system,
                                      sycl::access::address_space::global_space>;

// Gives row i the next free position.
template <typename I>
void place_row(I* counter, I* row_of_position, I* position_of_row, I i) {
  const I p = level_atomic<I>(*counter).fetch_add(I(1));
  position_of_row[i] = p;
  row_of_position[p] = i;
}

// The work areas the level kernels fill.
template <typename I>
struct level_places {
  I* in_degree;
  I* counter;  // one entry: positions handed out so far
  I* row_of_position;
  I* position_of_row;
};

// Row i: its in_degree, and a position when it has no lower entries.
template <typename I>
void seed_row(I i, const I* row_ptr, const I* lower_end, const level_places<I>& out) {
  const I degree = lower_end[i] - row_ptr[i];
  out.in_degree[i] = degree;
  if (degree == 0) place_row(out.counter, out.row_of_position, out.position_of_row, i);
}

// The row at position `position` releases its dependants: a row whose last dependency this was
// takes the next position.
template <typename I>
void release_dependants(std::size_t position, I base, const I* row_ptr, const I* col_ind,
                        const I* upper_start, const level_places<I>& out) {
  const I r = out.row_of_position[position];
  // The entries above the diagonal list the rows that wait for r.
  for (I k = upper_start[r] - base; k < row_ptr[r + 1] - base; ++k) {
    const I j = col_ind[k] - base;
    if (level_atomic<I>(out.in_degree[j]).fetch_sub(I(1)) == I(1))
      place_row(out.counter, out.row_of_position, out.position_of_row, j);
  }
}

// Whether `column` lies among the sorted column indices at positions [first, last).
template <typename I>
bool holds_column(const I* col_ind, I first, I last, I column) {
  I low = first, high = last;
  while (low < high) {
    const I middle = low + (high - low) / 2;
    if (col_ind[middle] < column)
      low = middle + 1;
    else
      high = middle;
  }
  return low < last && col_ind[low] == column;
}

// Whether row i's strict entries are mirrored: (i, j) below the diagonal has (j, i) above it, and
// the other way round. The levels rely on it: the entries above the diagonal of a row name the
// rows that wait for it, and the entries below count what a row waits for.
template <typename I>
bool row_is_mirrored(I i, I base, const I* row_ptr, const I* col_ind, const I* lower_end,
                     const I* upper_start) {
  const I column = i + base;
  for (I k = row_ptr[i] - base; k < lower_end[i] - base; ++k) {
    const I j = col_ind[k] - base;
    if (!holds_column(col_ind, upper_start[j] - base, row_ptr[j + 1] - base, column)) return false;
  }
  for (I k = upper_start[i] - base; k < row_ptr[i + 1] - base; ++k) {
    const I j = col_ind[k] - base;
    if (!holds_column(col_ind, row_ptr[j] - base, lower_end[j] - base, column)) return false;
  }
  return true;
}

// The lengths of the strict lower and upper parts of the row at each position.
template <typename I>
struct part_lengths {
  const I* row_ptr;
  const I* lower_end;
  const I* upper_start;
  const I* row_of_position;

  I lower(I r) const { return lower_end[r] - row_ptr[r]; }
  I upper(I r) const { return row_ptr[r + 1] - upper_start[r]; }
  I row_at(std::size_t p) const { return row_of_position[p]; }
};

// Entry p + 1 of each pointer array gets the length of the part at position p; entry 0 gets 0.
template <typename I>
void write_part_lengths(std::size_t p, const part_lengths<I>& parts, I* lower_ptr, I* upper_ptr) {
  const I r = parts.row_at(p);
  if (p == 0) lower_ptr[0] = upper_ptr[0] = I(0);
  lower_ptr[p + 1] = parts.lower(r);
  upper_ptr[p + 1] = parts.upper(r);
}

// The row starts of both parts over n positions, and their totals, in one walk.
template <typename I>
void write_part_starts(std::size_t n, const part_lengths<I>& parts, I* lower_ptr, I* upper_ptr,
                       long* lower_total, long* upper_total) {
  lower_ptr[0] = upper_ptr[0] = I(0);
  for (std::size_t p = 0; p < n; ++p) {
    const I r = parts.row_at(p);
    lower_ptr[p + 1] = lower_ptr[p] + parts.lower(r);
    upper_ptr[p + 1] = upper_ptr[p] + parts.upper(r);
  }
  lower_total[0] = static_cast<long>(lower_ptr[n]);
  upper_total[0] = static_cast<long>(upper_ptr[n]);
}

}  // namespace orvane::vrt::sparse::gpu::kernels
