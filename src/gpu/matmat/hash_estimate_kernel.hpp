// Upper bounds of the row counts of C = A * B by a small private hash table per work-item: W
// items per row of A, each counting the columns of its own slice of B's columns. A table that
// saturates counts a column without storing it, so a repeat of it is counted again: the count
// never falls below the true one and is exact until then.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <sycl/sycl.hpp>

#include "gpu/matmat/work_estimation_arrays.hpp"
#include "gpu/matmat/work_estimation_plan.hpp"

namespace orvane::vrt::sparse::gpu::kernels::csr_times_csr {

inline constexpr std::int32_t empty_slot = -1;
// The table holds 32-bit columns; a wider one (64-bit indices) is counted as a column that found
// no slot, which keeps the estimate at or above the true count.
inline constexpr std::int64_t widest_tabled_column = 0x7fffffff;

template <int Entries>
using hash_table = std::array<std::int32_t, Entries>;

// Inserts col; says whether it counts (a new column, or one that found no slot).
template <int Entries>
bool insert_column(hash_table<Entries>& table, std::int32_t col) {
  static_assert((Entries & (Entries - 1)) == 0, "the table size is a power of two");
  constexpr std::uint32_t mask = Entries - 1;
  const auto start = static_cast<std::uint32_t>(col);
  for (std::uint32_t k = 0; k <= work_estimation::probe_count; ++k) {
    std::int32_t& slot = table[(k * work_estimation::probe_stride + start) & mask];
    if (slot == empty_slot) {
      slot = col;
      return true;
    }
    if (slot == col) return false;
  }
  return true;
}

// The columns [lo, hi) of B's column range: the slice of item t of W over n columns.
struct column_slice {
  std::int64_t lo, hi;
};
inline column_slice slice_of(std::size_t t, std::size_t items, std::int64_t n) {
  const std::int64_t width = (n + static_cast<std::int64_t>(items) - 1) / items;
  const std::int64_t lo = static_cast<std::int64_t>(t) * width;
  return {lo, lo + width < n ? lo + width : n};
}

// The count of one item: the whole A row and each B row walked in full, columns outside the
// slice skipped (Sliced false: no slice, every column taken).
template <int Entries, bool Sliced, typename I>
std::int64_t hash_estimate_slice(const estimate_arrays<I>& m, I begin, I end, column_slice s) {
  hash_table<Entries> table;
  table.fill(empty_slot);
  std::int64_t count = 0;
  for (I k = begin; k < end; ++k) {
    const I b_row = m.b_row_of(k);
    const I b_end = m.b_end(b_row);
    for (I j = m.b_begin(b_row); j < b_end; ++j) {
      const auto col = static_cast<std::int64_t>(m.b_col(j));
      if (Sliced && (col < s.lo || col >= s.hi)) continue;
      count += col > widest_tabled_column ||
                       insert_column<Entries>(table, static_cast<std::int32_t>(col))
                   ? 1
                   : 0;
    }
  }
  return count;
}

// One work-group of Items work-items per row of A.
template <int Entries, int Items, typename I>
void hash_estimate_workgroup_row(const sycl::nd_item<1>& item, const estimate_arrays<I>& m,
                                 std::int64_t b_cols) {
  const std::size_t row = item.get_group(0);
  const std::size_t t = item.get_local_id(0);
  const I begin = m.a_begin(row), end = m.a_end(row);
  if (end - begin < 2) {
    if (t == 0) m.write_count(row, m.short_row_count(begin, end));
    return;
  }
  const std::int64_t count =
      hash_estimate_slice<Entries, true>(m, begin, end, slice_of(t, Items, b_cols));
  const std::int64_t total =
      sycl::reduce_over_group(item.get_group(), count, sycl::plus<std::int64_t>());
  if (t == 0) m.write_count(row, static_cast<I>(total));
}

// One work-item per row of A, with the table to itself.
template <int Entries, typename I>
void hash_estimate_single_row(std::size_t row, const estimate_arrays<I>& m) {
  const I begin = m.a_begin(row), end = m.a_end(row);
  if (end - begin < 2) {
    m.write_count(row, m.short_row_count(begin, end));
    return;
  }
  m.write_count(row, static_cast<I>(hash_estimate_slice<Entries, false>(m, begin, end, {0, 0})));
}

}  // namespace orvane::vrt::sparse::gpu::kernels::csr_times_csr
