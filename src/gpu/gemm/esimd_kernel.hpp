// The explicit-SIMD gemm kernel body (real values): a work-item is a thread working on whole
// column tiles of `W` values, taking its rows from a counter in work-group local memory.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <sycl/sycl.hpp>

#include "common/portability.hpp"
#include "gpu/gemm/element_kernel.hpp"

namespace orvane::vrt::sparse::gpu::gemm {

// Sparse entries one run of a thread loads at once.
inline constexpr int esimd_run = 16;

namespace kernels {
// Where one launch of the tile kernel reads and writes: B and C row-major with their leading
// dimensions, offsets already at the launch's first column.
struct esimd_frame {
  std::int64_t b_first;
  std::uint32_t ldb;
  std::int64_t c_first;
  std::uint32_t ldc;
  std::uint32_t columns;  // columns of the launch; slices beyond are idle
  std::int64_t nrows;
  std::int64_t rows_per_group;
};

// One thread of the tile kernel: rows of its group, `W` columns of its slice.
template <typename T, typename I, int W>
void gemm_esimd_thread(const sycl::nd_item<2>& it, std::uint32_t* counter, const I* row_ptr,
                       const I* col_ind, const T* values, I index, const T* b, T* c,
                       const esimd_frame& f, T alpha, T beta) {
  using portable::simd;
  const std::size_t stream = it.get_local_id(0);
  const auto group_start = static_cast<std::int64_t>(it.get_group(0)) * f.rows_per_group;
  const std::int64_t group_end = std::min(group_start + f.rows_per_group, f.nrows);
  sycl::atomic_ref<std::uint32_t, sycl::memory_order::relaxed, sycl::memory_scope::work_group,
                   sycl::access::address_space::local_space>
      next_row(*counter);
  if (stream == 0) {
    *counter = static_cast<std::uint32_t>(it.get_local_range(0));
    portable::atomic_fence(sycl::memory_order::release, sycl::memory_scope::work_group);
  }
  std::int64_t row = group_start + static_cast<std::int64_t>(stream);
  I lo = 0, hi = 0;
  if (row < group_end) {
    lo = row_ptr[row] - index;
    hi = row_ptr[row + 1] - index;
  }
  sycl::group_barrier(it.get_group());

  const auto slice_first = static_cast<std::uint32_t>(it.get_group(1)) * W;
  if (slice_first >= f.columns) return;  // a slice wholly beyond the columns
  const std::uint32_t valid = std::min<std::uint32_t>(W, f.columns - slice_first);
  const T* b_slice = b + f.b_first + slice_first;
  T* c_slice = c + f.c_first + slice_first;

  while (row < group_end) {
    const std::int64_t next = group_start + static_cast<std::int64_t>(next_row.fetch_add(1u));
    I next_lo = 0, next_hi = 0;
    if (next < group_end) {
      next_lo = row_ptr[next] - index;
      next_hi = row_ptr[next + 1] - index;
    }
    simd<T, W> acc(T(0));
    for (I run = lo; run < hi; run += esimd_run) {
      const int count = static_cast<int>(std::min<I>(esimd_run, hi - run));
      simd<I, esimd_run> cols(index);
      simd<T, esimd_run> vals(T(0));
      for (int e = 0; e < count; ++e) {
        cols[e] = col_ind[run + e];
        vals[e] = values[run + e];
      }
      if (run + esimd_run < hi) {
        const auto ahead = static_cast<std::size_t>(std::min<I>(esimd_run, hi - run - esimd_run));
        portable::prefetch(col_ind + run + esimd_run, ahead);
        portable::prefetch(values + run + esimd_run, ahead);
      }
      for (int e = 0; e < count; ++e) {
        const T* b_row = b_slice + static_cast<std::uint32_t>(cols[e] - index) * f.ldb;
        simd<T, W> bv(T(0));
        if (valid == static_cast<std::uint32_t>(W))
          bv.block_load(b_row);
        else
          for (std::uint32_t l = 0; l < valid; ++l) bv[static_cast<int>(l)] = b_row[l];
        acc = portable::fma(simd<T, W>(vals[e]), bv, acc);
      }
    }
    T* c_row = c_slice + static_cast<std::uint32_t>(row) * f.ldc;
    for (std::uint32_t l = 0; l < valid; ++l)
      finish_element(c_row[l], acc[static_cast<int>(l)], alpha, beta);
    row = next;
    lo = next_lo;
    hi = next_hi;
  }
}
}  // namespace kernels

}  // namespace orvane::vrt::sparse::gpu::gemm
