// Work-item bodies of the column scatter: structure row i of A is column i of op(A), and its
// entries add x[i] * alpha * value into y at their column.
#pragma once

#include <cstddef>
#include <sycl/sycl.hpp>

#include "common/portability.hpp"
#include "gpu/mv/atomic_add.hpp"
#include "handle/value_types.hpp"

namespace orvane::vrt::sparse::gpu::csc::kernels {

template <typename T, typename I>
void scatter_default_row(std::size_t row, const I* row_ptr, const I* col_ind, const T* values,
                         const T* x, T* y, I index, T alpha, bool conj) {
  const T t = x[row] * alpha;
  const I end = row_ptr[row + 1] - index;
  for (I j = row_ptr[row] - index; j < end; ++j)
    atomic_add(y[col_ind[j] - index], conjugate_if(values[j], conj) * t);
}

// Real values: L entries at a time in sycl::vec lanes, then one add per lane.
template <typename T, typename I, int L>
void scatter_syclvec_row(std::size_t row, const I* row_ptr, const I* col_ind, const T* values,
                         const T* x, T* y, I index, T alpha) {
  const T t = x[row] * alpha;
  const I begin = row_ptr[row] - index;
  const I end = row_ptr[row + 1] - index;
  const I stop = end - (end - begin) % L;
  I j = begin;
  for (; j < stop; j += L) {
    sycl::vec<T, L> v;
    sycl::vec<I, L> cols;
    for (int k = 0; k < L; ++k) {
      v[k] = values[j + k];
      cols[k] = col_ind[j + k];
    }
    v *= t;
    for (int k = 0; k < L; ++k) atomic_add(y[cols[k] - index], static_cast<T>(v[k]));
  }
  for (; j < end; ++j) atomic_add(y[col_ind[j] - index], values[j] * t);
}

// One sub-group on one structure row: lanes take consecutive entries and add one each.
template <typename T, typename I, int SG>
void scatter_subgroup_row(const sycl::sub_group& sg, std::size_t row, const I* row_ptr,
                          const I* col_ind, const T* values, const T* x, T* y, I index, T alpha,
                          bool conj) {
  const T t = x[row] * alpha;
  const I begin = row_ptr[row] - index;
  const I end = row_ptr[row + 1] - index;
  const I lane = static_cast<I>(sg.get_local_linear_id());
  I j = begin;
  for (; j + SG <= end; j += SG) {
    const I col = portable::sub_group_load<1>(sg, col_ind + j)[0];
    const T v = conjugate_if(values[j + lane], conj);
    atomic_add(y[col - index], v * t);
  }
  // The tail: reads are masked at the row's end.
  const auto left = static_cast<std::size_t>(end - j);
  const I col = portable::sub_group_load<1>(sg, col_ind + j, left, I(0))[0];
  if (j + lane < end) atomic_add(y[col - index], conjugate_if(values[j + lane], conj) * t);
}

}  // namespace orvane::vrt::sparse::gpu::csc::kernels
