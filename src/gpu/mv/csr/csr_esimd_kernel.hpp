// Explicit-SIMD body of the CSR product: one work-item owns `Rows` consecutive rows and runs
// each with W-wide vectors. Offsets are 32-bit, which is why the planner asks that the matrix
// fits them before it names this family.
#pragma once

#include <cstddef>
#include <cstdint>
#include <sycl/sycl.hpp>

#include "common/portability.hpp"

namespace orvane::vrt::sparse::gpu::csr::kernels {

// Entries prefetched at a row's start: two vector steps.
inline constexpr int esimd_row_start_prefetch = 64;

template <typename T, typename I>
void prefetch_within(const T* base, I from, I end, I count) {
  if (from < end)
    portable::prefetch(base + from,
                       static_cast<std::size_t>(end - from < count ? end - from : count));
}

// Halves the vector onto its lower part until one lane is left.
template <typename T, int W>
T reduce_by_halves(portable::simd<T, W> v) {
  for (int width = W / 2; width >= 1; width /= 2)
    for (int k = 0; k < width; ++k) v[k] += v[k + width];
  return v[0];
}

template <typename T, typename I, int W>
T esimd_row_sum(I j, I end, const I* col_ind, const T* values, const T* x, I index) {
  using offsets = portable::simd<std::uint32_t, W>;
  prefetch_within(col_ind, j, end, static_cast<I>(esimd_row_start_prefetch));
  prefetch_within(values, j, end, static_cast<I>(esimd_row_start_prefetch));
  portable::simd<T, W> acc(T(0));
  portable::simd_mask<W> all;
  all.lanes.fill(true);
  for (; j <= end - W; j += W) {
    prefetch_within(col_ind, j + W, end, static_cast<I>(W));
    prefetch_within(values, j + W, end, static_cast<I>(W));
    portable::simd<I, W> cols;
    cols.block_load(col_ind + j);
    offsets off;
    for (int k = 0; k < W; ++k) off[k] = static_cast<std::uint32_t>(cols[k] - index);
    portable::simd<T, W> xv;
    xv.gather(x, off, all);
    portable::simd<T, W> vals;
    vals.block_load(values + j);
    acc += vals * xv;
  }
  if (j < end) {
    portable::simd_mask<W> mask;
    for (int k = 0; k < W; ++k) mask[k] = j + k < end;
    const offsets lanes = offsets::iota();
    portable::simd<I, W> cols(index);
    cols.gather(col_ind + j, lanes, mask);
    offsets off(0);
    for (int k = 0; k < W; ++k) off[k] = static_cast<std::uint32_t>(cols[k] - index);
    portable::simd<T, W> xv(T(0));
    xv.gather(x, off, mask);
    portable::simd<T, W> vals(T(0));
    vals.gather(values + j, lanes, mask);
    acc = portable::merge(acc + vals * xv, acc, mask);
  }
  return reduce_by_halves(acc);
}

template <typename T, typename I, int Rows, int W>
void gemv_esimd_rows(std::size_t id, std::size_t nrows, const I* row_ptr, const I* col_ind,
                     const T* values, const T* x, T* y, I index, T alpha, T beta) {
  const std::size_t first = id * Rows;
  if (first >= nrows) return;
  const std::size_t count = first + Rows > nrows ? nrows - first : Rows;
  prefetch_within(row_ptr, static_cast<I>(first + 1), static_cast<I>(nrows + 1),
                  static_cast<I>(Rows));
  I j = row_ptr[first] - index;
  portable::simd<T, Rows> out(T(0));
  for (std::size_t r = 0; r < count; ++r) {
    const I end = row_ptr[first + r + 1] - index;
    out[static_cast<int>(r)] = esimd_row_sum<T, I, W>(j, end, col_ind, values, x, index);
    j = end;
  }
  const bool read_y = !(beta == T(0));
  if (read_y) portable::prefetch(y + first, count);
  out = out * portable::simd<T, Rows>(alpha);
  if (count == Rows) {
    if (read_y) {
      portable::simd<T, Rows> yv;
      yv.block_load(y + first);
      out += portable::simd<T, Rows>(beta) * yv;
    }
    out.block_store(y + first);
  } else {
    portable::simd_mask<Rows> mask;
    for (int k = 0; k < Rows; ++k) mask[k] = first + static_cast<std::size_t>(k) < nrows;
    const auto lanes = portable::simd<std::uint32_t, Rows>::iota();
    if (read_y) {
      portable::simd<T, Rows> yv(T(0));
      yv.gather(y + first, lanes, mask);
      out += portable::simd<T, Rows>(beta) * yv;
    }
    out.scatter(y + first, lanes, mask);
  }
}

}  // namespace orvane::vrt::sparse::gpu::csr::kernels
