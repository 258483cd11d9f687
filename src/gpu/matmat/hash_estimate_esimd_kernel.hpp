// The hashed row counts with SIMD vectors: each work-item keeps its table in a register array,
// loads SG columns of a B row at a time, filters them by its slice with a vector mask, and
// replaces the scalar probe loop by one gather of all probe slots. The counts follow the scalar
// rule exactly: a column counts again only if every probe fails.
#pragma once

#include <cstddef>
#include <cstdint>
#include <sycl/sycl.hpp>

#include "common/portability.hpp"
#include "gpu/matmat/hash_estimate_kernel.hpp"
#include "gpu/matmat/work_estimation_arrays.hpp"
#include "gpu/matmat/work_estimation_plan.hpp"

namespace orvane::vrt::sparse::gpu::kernels::csr_times_csr {

using probe_offsets = portable::simd<std::uint32_t, work_estimation::probe_count>;
using probe_slots = portable::simd<std::int32_t, work_estimation::probe_count>;

// Inserts col as insert_column does: the first slot alone, then the probes at once, the lowest
// that holds col or is empty deciding.
template <int Entries>
bool insert_column_by_vector(hash_table<Entries>& table, std::int32_t col) {
  constexpr std::uint32_t mask = Entries - 1;
  const auto start = static_cast<std::uint32_t>(col);
  std::int32_t& first = table[start & mask];
  if (first == empty_slot) {
    first = col;
    return true;
  }
  if (first == col) return false;
  const probe_offsets at =
      (probe_offsets::iota(work_estimation::probe_stride, work_estimation::probe_stride) +
       probe_offsets(start)) &
      probe_offsets(mask);
  portable::simd_mask<work_estimation::probe_count> all;
  all.lanes.fill(true);
  probe_slots slots;
  slots.gather(table.data(), at, all);
  const int hit =
      portable::first_set((slots == probe_slots(col)) | (slots == probe_slots(empty_slot)));
  if (hit < 0) return true;
  if (slots[hit] == col) return false;
  table[at[hit]] = col;
  return true;
}

// The count of one item over its slice, SG columns of a B row at a time.
template <int Entries, int SG, bool Sliced, typename I>
std::int64_t hash_estimate_esimd_slice(const estimate_arrays<I>& m, I begin, I end,
                                       column_slice s) {
  using offsets_v = portable::simd<std::uint32_t, SG>;
  using cols_v = portable::simd<I, SG>;
  using wide_v = portable::simd<std::int64_t, SG>;
  hash_table<Entries> table;
  table.fill(empty_slot);
  const offsets_v lanes = offsets_v::iota();
  std::int64_t count = 0;
  for (I k = begin; k < end; ++k) {
    const I b_row = m.b_row_of(k);
    const I b_end = m.b_end(b_row);
    for (I j = m.b_begin(b_row); j < b_end; j += SG) {
      portable::simd_mask<SG> keep;
      for (int l = 0; l < SG; ++l) keep[l] = j + l < b_end;
      cols_v cols(m.b_index);
      cols.gather(m.b_col_ind + j, lanes, keep);
      wide_v at;
      for (int l = 0; l < SG; ++l) at[l] = static_cast<std::int64_t>(cols[l] - m.b_index);
      if (Sliced) keep = keep & (wide_v(s.lo) <= at) & (at < wide_v(s.hi));
      for (int l = 0; l < SG; ++l)
        if (keep[l])
          count += at[l] > widest_tabled_column ||
                           insert_column_by_vector<Entries>(table, static_cast<std::int32_t>(at[l]))
                       ? 1
                       : 0;
    }
  }
  return count;
}

template <int Entries, int Items, int SG, typename I>
void hash_estimate_esimd_row(const sycl::nd_item<1>& item, const estimate_arrays<I>& m,
                             std::int64_t b_cols) {
  const std::size_t row = item.get_group(0);
  const std::size_t t = item.get_local_id(0);
  const I begin = m.a_begin(row), end = m.a_end(row);
  if (end - begin < 2) {
    if (t == 0) m.write_count(row, m.short_row_count(begin, end));
    return;
  }
  const std::int64_t count =
      hash_estimate_esimd_slice<Entries, SG, true>(m, begin, end, slice_of(t, Items, b_cols));
  const std::int64_t total =
      sycl::reduce_over_group(item.get_group(), count, sycl::plus<std::int64_t>());
  if (t == 0) m.write_count(row, static_cast<I>(total));
}

template <int Entries, int SG, typename I>
void hash_estimate_esimd_single_row(std::size_t row, const estimate_arrays<I>& m) {
  const I begin = m.a_begin(row), end = m.a_end(row);
  if (end - begin < 2) {
    m.write_count(row, m.short_row_count(begin, end));
    return;
  }
  m.write_count(
      row, static_cast<I>(hash_estimate_esimd_slice<Entries, SG, false>(m, begin, end, {0, 0})));
}

}  // namespace orvane::vrt::sparse::gpu::kernels::csr_times_csr
