// Launchers of the symmetric product from one stored triangle: the gather of the stored part,
// then the scatter of the implied part by atomics or, for y in host memory, by one work-item.
#pragma once

#include <cstddef>
#include <sycl/sycl.hpp>
#include <vector>

#include "containers/views.hpp"
#include "gpu/mv/design_names.hpp"
#include "gpu/mv/symv/symv_kernel.hpp"
#include "gpu/mv/symv/symv_operands.hpp"
#include "gpu/operand_binding.hpp"

namespace orvane::vrt::sparse::gpu::symv {

// A work-item per row gathers the stored part and applies beta.
template <typename T, typename I, containerType C>
sycl::event gather_stored(sycl::queue& queue, const symv_operands<T, I, C>& op,
                          const std::vector<sycl::event>& deps) {
  return queue.submit([&](sycl::handler& h) {
    const auto a = bind_product<C>(h, deps, op);
    const I index = op.index;
    const T alpha = op.alpha, beta = op.beta;
    const bool upper = op.upper;
    h.parallel_for<kernels::symvPartialNonAtomicMV<T, I, C>>(
        sycl::range<1>(static_cast<std::size_t>(op.nrows)), [=](sycl::id<1> id) {
          kernels::gather_row<T, I>(static_cast<I>(id[0]), raw(a.row_ptr), raw(a.col_ind),
                                    raw(a.values), raw(a.x), raw(a.y), index, alpha, beta, upper);
        });
  });
}

// The implied triangle by device atomics, a work-item per row.
template <typename T, typename I, containerType C>
sycl::event scatter_atomic(sycl::queue& queue, const symv_operands<T, I, C>& op,
                           const sycl::event& gathered) {
  return queue.submit([&](sycl::handler& h) {
    const auto a = bind_product<C>(h, {gathered}, op);
    const I index = op.index;
    const T alpha = op.alpha;
    const bool upper = op.upper;
    h.parallel_for<kernels::symvPartialAtomicMV<T, I, C>>(
        sycl::range<1>(static_cast<std::size_t>(op.nrows)), [=](sycl::id<1> id) {
          kernels::scatter_row_atomic<T, I>(static_cast<I>(id[0]), raw(a.row_ptr), raw(a.col_ind),
                                            raw(a.values), raw(a.x), raw(a.y), index, alpha, upper);
        });
  });
}

// USM y in host memory: one work-item walks all rows in order.
template <typename T, typename I>
sycl::event scatter_single(sycl::queue& queue, const symv_operands<T, I, container_usm>& op,
                           const sycl::event& gathered) {
  return queue.submit([&](sycl::handler& h) {
    const auto a = bind_product<container_usm>(h, {gathered}, op);
    const auto nrows = static_cast<I>(op.nrows);
    const I index = op.index;
    const T alpha = op.alpha;
    const bool upper = op.upper;
    h.single_task<kernels::symvKernel<T, I>>([=] {
      kernels::scatter_all_rows<T, I>(nrows, a.row_ptr, a.col_ind, a.values, a.x, a.y, index, alpha,
                                      upper);
    });
  });
}

}  // namespace orvane::vrt::sparse::gpu::symv
