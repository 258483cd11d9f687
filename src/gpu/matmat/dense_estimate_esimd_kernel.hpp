// The dense row counts with SIMD vectors: one work-group per row of A, NSG work-items that each
// walk SG columns of a B row at a time by a vector gather, and sweep the bitmap SG words at a
// time by a vector population count. Offsets into the arrays are 32-bit, which the planner's
// dimension limit guarantees.
#pragma once

#include <cstddef>
#include <cstdint>
#include <sycl/sycl.hpp>

#include "common/portability.hpp"
#include "gpu/matmat/dense_estimate_kernel.hpp"

namespace orvane::vrt::sparse::gpu::kernels::csr_times_csr {

template <int NSG, int SG, typename I>
void dense_estimate_esimd_row(const sycl::nd_item<1>& item, const estimate_arrays<I>& m,
                              bitmap_word* bitmap, std::int64_t chunks) {
  using words_v = portable::simd<bitmap_word, SG>;
  using offsets_v = portable::simd<std::uint32_t, SG>;
  using cols_v = portable::simd<I, SG>;
  using wide_v = portable::simd<std::int64_t, SG>;
  constexpr std::int64_t words = bitmap_words<NSG>;
  static_assert(words % SG == 0, "the bitmap is swept in whole vectors");
  constexpr std::size_t stride = static_cast<std::size_t>(NSG) * SG;
  const sycl::group<1> g = item.get_group();
  const std::size_t row = item.get_group(0);
  const std::size_t thread = item.get_local_id(0);

  const I begin = m.a_begin(row), end = m.a_end(row);
  if (end - begin < 2) {
    if (thread == 0) m.write_count(row, m.short_row_count(begin, end));
    return;
  }
  const words_v zero(0);
  for (std::size_t w = thread * SG; w < static_cast<std::size_t>(words); w += stride)
    zero.block_store(bitmap + w);
  sycl::group_barrier(g);

  const offsets_v lanes = offsets_v::iota();
  std::int64_t count = 0;
  constexpr std::int64_t width = words * 32;
  for (std::int64_t c = 0; c < chunks; ++c) {
    const std::int64_t lo = c * width, hi = lo + width;
    bool touched = false;
    for (I k = begin + static_cast<I>(thread); k < end; k += NSG) {
      const I b_row = m.b_row_of(k);
      const I b_end = m.b_end(b_row);
      for (I j = m.b_begin(b_row); j < b_end; j += SG) {
        portable::simd_mask<SG> live;
        for (int l = 0; l < SG; ++l) live[l] = j + l < b_end;
        cols_v cols(m.b_index);
        cols.gather(m.b_col_ind + j, lanes, live);
        wide_v at;
        for (int l = 0; l < SG; ++l) at[l] = static_cast<std::int64_t>(cols[l] - m.b_index);
        const portable::simd_mask<SG> in_chunk = live & (wide_v(lo) <= at) & (at < wide_v(hi));
        for (int l = 0; l < SG; ++l)
          if (in_chunk[l]) set_column_bit<NSG>(bitmap, at[l]);
        touched = touched || in_chunk.any();
      }
    }
    const bool any = sycl::any_of_group(g, touched);
    sycl::group_barrier(g);
    if (!any) continue;
    for (std::size_t w = thread * SG; w < static_cast<std::size_t>(words); w += stride) {
      words_v v;
      v.block_load(bitmap + w);
      count += portable::reduce_add(portable::popcount(v));
      zero.block_store(bitmap + w);
    }
    sycl::group_barrier(g);
  }
  const std::int64_t total = sycl::reduce_over_group(g, count, sycl::plus<std::int64_t>());
  if (thread == 0) m.write_count(row, static_cast<I>(total));
}

}  // namespace orvane::vrt::sparse::gpu::kernels::csr_times_csr
