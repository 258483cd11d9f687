// Exact row counts of C = A * B by a bitmap of B's columns in local memory: one work-group per
// row of A, NSG sub-groups of SG lanes, the columns in chunks as wide as the bitmap.
#pragma once

#include <cstddef>
#include <cstdint>
#include <sycl/sycl.hpp>

#include "gpu/matmat/work_estimation_arrays.hpp"
#include "gpu/matmat/work_estimation_plan.hpp"

namespace orvane::vrt::sparse::gpu::kernels::csr_times_csr {

// The bitmap of one work-group: 256 words of 32 columns per sub-group.
template <int NSG>
inline constexpr std::int64_t bitmap_words = work_estimation::bitmap_words_per_sub_group* NSG;

using bitmap_word = std::uint32_t;
using bitmap_atomic =
    sycl::atomic_ref<bitmap_word, sycl::memory_order::relaxed, sycl::memory_scope::work_group,
                     sycl::access::address_space::local_space>;

// Sets column c's bit in the bitmap of the chunk that holds it.
template <int NSG>
void set_column_bit(bitmap_word* bitmap, std::int64_t c) {
  const auto word = static_cast<std::size_t>((c >> 5) & (bitmap_words<NSG> - 1));
  bitmap_atomic(bitmap[word]).fetch_or(bitmap_word(1) << (c & 31));
}

// Sets the bit of column col if the chunk [lo, hi) holds it; says whether it did.
template <int NSG, typename I>
bool mark_column(bitmap_word* bitmap, I col, std::int64_t lo, std::int64_t hi) {
  const auto c = static_cast<std::int64_t>(col);
  if (c < lo || c >= hi) return false;
  set_column_bit<NSG>(bitmap, c);
  return true;
}

template <int NSG, int SG, typename I>
void dense_estimate_subgroup_row(const sycl::nd_item<2>& item, const estimate_arrays<I>& m,
                                 bitmap_word* bitmap, std::int64_t chunks) {
  constexpr std::int64_t words = bitmap_words<NSG>;
  constexpr std::size_t group_size = static_cast<std::size_t>(NSG) * SG;
  const sycl::group<2> g = item.get_group();
  const sycl::sub_group sg = item.get_sub_group();
  const std::size_t row = item.get_group(0);
  const std::size_t lid = item.get_local_id(1);
  const std::size_t sg_id = sg.get_group_linear_id();
  const std::size_t lane = sg.get_local_linear_id();

  const I begin = m.a_begin(row), end = m.a_end(row);
  if (end - begin < 2) {
    if (lid == 0) m.write_count(row, m.short_row_count(begin, end));
    return;
  }
  for (std::size_t w = lid; w < static_cast<std::size_t>(words); w += group_size) bitmap[w] = 0;
  sycl::group_barrier(g);

  std::int64_t count = 0;
  constexpr std::int64_t width = words * 32;
  for (std::int64_t c = 0; c < chunks; ++c) {
    const std::int64_t lo = c * width, hi = lo + width;
    bool touched = false;
    for (I k = begin + static_cast<I>(sg_id); k < end; k += NSG) {
      const I b_row = m.b_row_of(k);
      const I b_end = m.b_end(b_row);
      for (I j = m.b_begin(b_row) + static_cast<I>(lane); j < b_end; j += SG)
        touched |= mark_column<NSG>(bitmap, m.b_col(j), lo, hi);
    }
    // The barrier makes every bit of the chunk visible to the sweep.
    const bool any = sycl::any_of_group(g, touched);
    sycl::group_barrier(g);
    if (!any) continue;
    for (std::size_t w = lid; w < static_cast<std::size_t>(words); w += group_size) {
      const bitmap_word v = bitmap[w];
      if (v != 0) {
        count += sycl::popcount(v);
        bitmap[w] = 0;
      }
    }
    sycl::group_barrier(g);
  }
  const std::int64_t total = sycl::reduce_over_group(g, count, sycl::plus<std::int64_t>());
  if (lid == 0) m.write_count(row, static_cast<I>(total));
}

}  // namespace orvane::vrt::sparse::gpu::kernels::csr_times_csr
