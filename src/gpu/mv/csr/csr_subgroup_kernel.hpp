// Sub-group bodies of the CSR product: a sub-group sums a stretch of one row, SG entries a step,
// and reduces it; the row-bundle body keeps one row's result per lane.
#pragma once

#include <array>
#include <complex>
#include <cstddef>
#include <sycl/sycl.hpp>

#include "common/portability.hpp"
#include "gpu/mv/csr/csr_row_kernel.hpp"
#include "handle/value_types.hpp"

namespace orvane::vrt::sparse::gpu::csr::kernels {

// Indices by block read; complex values per lane (no block read of pairs), real ones by block
// read. Tails read only inside [j, end): the masked load fills the lanes past the end.
template <int SG, typename T, typename I>
T lane_partial_sum(const sycl::sub_group& sg, std::size_t lane, I j, I end, const I* col_ind,
                   const T* values, const T* x, I index, bool conj) {
  T acc = T(0);
  for (; j <= end - SG; j += SG) {
    const I col = portable::sub_group_load<1>(sg, col_ind + j)[0];
    const T xv = x[col - index];
    if constexpr (is_complex_v<T>)
      acc += conjugate_if(values[j + static_cast<I>(lane)], conj) * xv;
    else
      acc += xv * portable::sub_group_load<1>(sg, values + j)[0];
  }
  if (j < end) {
    const auto count = static_cast<std::size_t>(end - j);
    const I col = portable::sub_group_load<1>(sg, col_ind + j, count, index)[0];
    if (lane < count) {
      const T xv = x[col - index];
      if constexpr (is_complex_v<T>)
        acc += conjugate_if(values[j + static_cast<I>(lane)], conj) * xv;
      else
        acc += xv * values[j + static_cast<I>(lane)];
    }
  }
  return acc;
}

// The sub-group's sum, in every lane; complex parts are reduced separately.
template <typename T>
T sub_group_sum(const sycl::sub_group& sg, T part) {
  if constexpr (is_complex_v<T>) {
    using R = typename T::value_type;
    const R re = sycl::reduce_over_group(sg, part.real(), sycl::plus<R>());
    const R im = sycl::reduce_over_group(sg, part.imag(), sycl::plus<R>());
    return T(re, im);
  } else {
    return sycl::reduce_over_group(sg, part, sycl::plus<T>());
  }
}

template <int SG, typename T, typename I>
T sub_group_row_sum(const sycl::sub_group& sg, I begin, I end, const I* col_ind, const T* values,
                    const T* x, I index, bool conj) {
  const std::size_t lane = sg.get_local_linear_id();
  return sub_group_sum(
      sg, lane_partial_sum<SG, T, I>(sg, lane, begin, end, col_ind, values, x, index, conj));
}

// One sub-group per row; lane 0 finishes it.
template <int SG, typename T, typename I>
void gemv_subgroup_single_row(const sycl::sub_group& sg, std::size_t row, const I* row_ptr,
                              const I* col_ind, const T* values, const T* x, T* y, I index, T alpha,
                              T beta, bool conj) {
  const I begin = row_ptr[row] - index;
  const I end = row_ptr[row + 1] - index;
  const T sum = sub_group_row_sum<SG, T, I>(sg, begin, end, col_ind, values, x, index, conj);
  if (sg.get_local_linear_id() == 0) finish_row(y, row, alpha, beta, sum);
}

// One sub-group per bundle of SG consecutive rows: lane r keeps row r's sum, and the bundle's
// part of y is read and written by one block access when the bundle is full.
template <int SG, typename T, typename I>
void gemv_subgroup_row_bundle(const sycl::sub_group& sg, std::size_t bundle, std::size_t nrows,
                              const I* row_ptr, const I* col_ind, const T* values, const T* x, T* y,
                              I index, T alpha, T beta, bool conj) {
  const std::size_t first = bundle * SG;
  if (first >= nrows) return;
  const std::size_t count = first + SG < nrows ? SG : nrows - first;
  const std::size_t lane = sg.get_local_linear_id();
  I j = row_ptr[first] - index;
  T mine = T(0);
  for (std::size_t r = 0; r < count; ++r) {
    const I end = row_ptr[first + r + 1] - index;
    const T sum = sub_group_row_sum<SG, T, I>(sg, j, end, col_ind, values, x, index, conj);
    if (lane == r) mine = sum;
    j = end;
  }
  T result = mine * alpha;
  if (count == SG) {
    if (!(beta == T(0))) result += beta * portable::sub_group_load<1>(sg, y + first)[0];
    portable::sub_group_store<1>(sg, y + first, std::array<T, 1>{result});
  } else if (lane < count) {
    if (!(beta == T(0))) result += beta * y[first + lane];
    y[first + lane] = result;
  }
}

}  // namespace orvane::vrt::sparse::gpu::csr::kernels
