// Kernels of the symmetric product from one stored triangle: a row gather of the stored part,
// then a scatter of the implied part. The triangle is a run-time argument.
#pragma once

#include <cstddef>
#include <vector>

#include <sycl/sycl.hpp>

#include "containers/views.hpp"
#include "gpu/mv/atomic_add.hpp"
#include "gpu/operand_binding.hpp"

namespace orvane::vrt::sparse::gpu::symv {

namespace kernels {
template <typename T, typename I, containerType C>
class symvPartialNonAtomicMV;
template <typename T, typename I, containerType C>
class symvPartialAtomicMV;
template <typename T, typename I>
class symvKernel;
}  // namespace kernels

template <typename T, typename I, containerType C>
struct symv_operands : product_arrays<T, I, C> {
  std::int64_t nrows;
  I index;
  T alpha;
  T beta;
  bool upper;
};

// Whether column col of row i lies in the stored triangle, diagonal included.
template <typename I>
bool in_stored_part(bool upper, I col, I i) {
  return upper ? col >= i : col <= i;
}

// Whether column col of row i is mirrored into the implied triangle: strictly off the diagonal.
template <typename I>
bool mirrored(bool upper, I col, I i) {
  return upper ? col > i : col < i;
}

// Each row sums its stored entries and applies beta, so the scatter only adds.
template <typename T, typename I, containerType C>
sycl::event gather_stored(sycl::queue& queue, const symv_operands<T, I, C>& op,
                          const std::vector<sycl::event>& deps) {
  return queue.submit([&](sycl::handler& h) {
    const auto [rp, ci, va, xv, yv] = bind_product<C>(h, deps, op);
    const I index = op.index;
    const T alpha = op.alpha, beta = op.beta;
    const bool upper = op.upper;
    h.parallel_for<kernels::symvPartialNonAtomicMV<T, I, C>>(
        sycl::range<1>(static_cast<std::size_t>(op.nrows)), [=](sycl::id<1> id) {
          const auto i = static_cast<I>(id[0]);
          const I* row_ptr = raw(rp);
          const I* col_ind = raw(ci);
          T sum = T(0);
          for (I j = row_ptr[i] - index; j < row_ptr[i + 1] - index; ++j) {
            const I col = col_ind[j] - index;
            if (in_stored_part(upper, col, i)) sum += raw(va)[j] * raw(xv)[col];
          }
          T* y = raw(yv);
          y[i] = beta == T(0) ? alpha * sum : beta * y[i] + alpha * sum;
        });
  });
}

// The implied triangle by device atomics, a work-item per row.
template <typename T, typename I, containerType C>
sycl::event scatter_atomic(sycl::queue& queue, const symv_operands<T, I, C>& op,
                           const sycl::event& gathered) {
  return queue.submit([&](sycl::handler& h) {
    const auto [rp, ci, va, xv, yv] = bind_product<C>(h, {gathered}, op);
    const I index = op.index;
    const T alpha = op.alpha;
    const bool upper = op.upper;
    h.parallel_for<kernels::symvPartialAtomicMV<T, I, C>>(
        sycl::range<1>(static_cast<std::size_t>(op.nrows)), [=](sycl::id<1> id) {
          const auto i = static_cast<I>(id[0]);
          const I* row_ptr = raw(rp);
          const I* col_ind = raw(ci);
          const T t = raw(xv)[i] * alpha;
          for (I j = row_ptr[i] - index; j < row_ptr[i + 1] - index; ++j) {
            const I col = col_ind[j] - index;
            if (mirrored(upper, col, i)) atomic_add(raw(yv)[col], raw(va)[j] * t);
          }
        });
  });
}

// USM y that cannot take atomics: one work-item walks all rows in order.
template <typename T, typename I>
sycl::event scatter_single(sycl::queue& queue, const symv_operands<T, I, container_usm>& op,
                           const sycl::event& gathered) {
  return queue.submit([&](sycl::handler& h) {
    h.depends_on(gathered);
    const I* row_ptr = op.row_ptr;
    const I* col_ind = op.col_ind;
    const T* values = op.values;
    const T* x = op.x;
    T* y = op.y;
    const auto nrows = static_cast<I>(op.nrows);
    const I index = op.index;
    const T alpha = op.alpha;
    const bool upper = op.upper;
    h.single_task<kernels::symvKernel<T, I>>([=] {
      for (I i = 0; i < nrows; ++i) {
        const T t = x[i] * alpha;
        for (I j = row_ptr[i] - index; j < row_ptr[i + 1] - index; ++j) {
          const I col = col_ind[j] - index;
          if (mirrored(upper, col, i)) y[col] += values[j] * t;
        }
      }
    });
  });
}

}  // namespace orvane::vrt::sparse::gpu::symv
