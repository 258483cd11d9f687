// Row bodies of the CSR product y = alpha * A * x + beta * y: one work-item per row.
//
// Every body reads raw pointers, so one text serves USM pointers and buffer accessors. Indices
// are read as stored and the base is subtracted from each, so no pointer is ever moved outside
// its array.
#pragma once

#include <cstddef>
#include <sycl/sycl.hpp>
#include <utility>

#include "common/portability.hpp"
#include "handle/value_types.hpp"

namespace orvane::vrt::sparse::gpu::csr::kernels {

// beta == 0 (ordered compare; both parts for complex) leaves y unread.
template <typename T>
void finish_row(T* y, std::size_t row, T alpha, T beta, T sum) {
  if (beta == T(0))
    y[row] = alpha * sum;
  else
    y[row] = alpha * sum + beta * y[row];
}

// The default kernel: reads y even for beta == 0, and skips the row for alpha == 0 (an
// unordered compare, so a NaN alpha still reads it).
template <typename T, typename I>
void gemv_default_row(std::size_t row, const I* row_ptr, const I* col_ind, const T* values,
                      const T* x, T* y, I index, T alpha, T beta, bool conj) {
  T sum = T(0);
  if (alpha != T(0)) {
    const I begin = row_ptr[row] - index;
    const I end = row_ptr[row + 1] - index;
    for (I j = begin; j < end; ++j) sum += conjugate_if(values[j], conj) * x[col_ind[j] - index];
  }
  y[row] = alpha * sum + beta * y[row];
}

// Adds entry `stop + K` into lane K for each K below rem: one branch per count, no loop.
template <typename T, typename I, typename Acc, std::size_t... K>
void add_tail(Acc& acc, I stop, I rem, const I* col_ind, const T* values, const T* x, I index,
              std::index_sequence<K...>) {
  ((static_cast<I>(K) < rem ? (acc[K] += values[stop + K] * x[col_ind[stop + K] - index], 0) : 0),
   ...);
}

// sycl::vec accumulator of L lanes; the lanes are summed as a balanced pairwise tree.
template <typename T, typename I, int L>
void gemv_syclvec_row(std::size_t row, const I* row_ptr, const I* col_ind, const T* values,
                      const T* x, T* y, I index, T alpha, T beta) {
  const I begin = row_ptr[row] - index;
  const I end = row_ptr[row + 1] - index;
  const I rem = (end - begin) & static_cast<I>(L - 1);
  const I stop = end - rem;
  sycl::vec<T, L> acc(T(0));
  for (I j = begin; j < stop; j += L) {
    sycl::vec<T, L> v;
    sycl::vec<T, L> xv;
    for (int k = 0; k < L; ++k) {
      v[k] = values[j + k];
      xv[k] = x[col_ind[j + k] - index];
    }
    acc += v * xv;
  }
  add_tail<T, I>(acc, stop, rem, col_ind, values, x, index, std::make_index_sequence<L - 1>{});
  T lanes[L];
  for (int k = 0; k < L; ++k) lanes[k] = acc[k];
  for (int width = L / 2; width >= 1; width /= 2)
    for (int k = 0; k < width; ++k) lanes[k] = lanes[2 * k] + lanes[2 * k + 1];
  finish_row(y, row, alpha, beta, lanes[0]);
}

// Prefetches what lies ahead, never past the row's end.
template <typename T, typename I>
void prefetch_ahead(const T* base, I from, I end, int count) {
  if (from < end) {
    const I available = end - from;
    portable::prefetch(base + from,
                       static_cast<std::size_t>(available < count ? available : count));
  }
}

// sycl::marray accumulator of L lanes with prefetches; lane pairs are added in order.
template <typename T, typename I, int L>
void gemv_marray_row(std::size_t row, const I* row_ptr, const I* col_ind, const T* values,
                     const T* x, T* y, I index, T alpha, T beta) {
  const I begin = row_ptr[row] - index;
  const I end = row_ptr[row + 1] - index;
  const I rem = (end - begin) & static_cast<I>(L - 1);
  const I stop = end - rem;
  prefetch_ahead(col_ind, begin, end, L);
  prefetch_ahead(values, begin, end, L);
  sycl::marray<T, L> acc(T(0));
  for (I j = begin; j < stop; j += L) {
    prefetch_ahead(values, j + L, end, L);
    for (int k = 0; k < L; ++k) acc[k] += values[j + k] * x[col_ind[j + k] - index];
  }
  for (I k = 0; k < rem; ++k) acc[k] += values[stop + k] * x[col_ind[stop + k] - index];
  T sum = acc[0] + acc[1];
  for (int k = 2; k < L; k += 2) sum = sum + (acc[k] + acc[k + 1]);
  finish_row(y, row, alpha, beta, sum);
}

}  // namespace orvane::vrt::sparse::gpu::csr::kernels
