// Launchers of the fused product and dot: the product with one partial per group, the reduce
// passes over the partials and the final sum.
#pragma once

#include <algorithm>
#include <cstddef>
#include <sycl/sycl.hpp>
#include <vector>

#include "containers/views.hpp"
#include "gpu/mv/design_names.hpp"
#include "gpu/mv/gemvdot/gemvdot_kernel.hpp"
#include "gpu/mv/gemvdot/gemvdot_operands.hpp"
#include "gpu/operand_binding.hpp"

namespace orvane::vrt::sparse::gpu::gemvdot {

// y = alpha * A * x + beta * y on two rows per work-item; partial[group] gets the group's part
// of the dot, and d the whole dot when there is one group.
template <typename T, typename I, containerType C>
sycl::event product_and_partials(sycl::queue& queue, const gemvdot_operands<T, I, C>& op,
                                 container_t<C, T> partial, std::size_t wg, std::size_t groups,
                                 const std::vector<sycl::event>& deps) {
  return queue.submit([&](sycl::handler& h) {
    const auto a = bind_product<C>(h, deps, op);
    auto dv = bind(h, op.d, sycl::write_only);
    auto pv = bind(h, partial, sycl::write_only);
    sycl::local_accessor<T, 1> lm(sycl::range<1>(wg), h);
    const auto nrows = static_cast<I>(op.nrows);
    const I index = op.index;
    const T alpha = op.alpha, beta = op.beta;
    h.parallel_for<kernels::gemvdotKernel<T, I, C>>(
        sycl::nd_range<1>(groups * wg, wg), [=](sycl::nd_item<1> item) {
          product_and_partial<T, I>(item, &lm[0], wg, groups, nrows, raw(a.row_ptr), raw(a.col_ind),
                                    raw(a.values), raw(a.x), raw(a.y), raw(pv), raw(dv), index,
                                    alpha, beta);
        });
  });
}

// One reduce pass: count partials at offset `from` become one per group at offset `to`.
template <typename T, containerType C>
sycl::event reduce_partials(sycl::queue& queue, container_t<C, T> partial, container_t<C, T> d,
                            std::size_t from, std::size_t to, std::size_t count, std::size_t wg,
                            const sycl::event& before) {
  const std::size_t groups = (count + rows_per_item * wg - 1) / (rows_per_item * wg);
  const std::size_t width = std::min(wg, (count + 1) / 2);
  return queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, {before});
    auto pv = bind(h, partial, sycl::read_write);
    auto dv = bind(h, d, sycl::write_only);
    sycl::local_accessor<T, 1> lm(sycl::range<1>(wg), h);
    h.parallel_for<kernels::gemvdotReduceKernel<T, C>>(
        sycl::nd_range<1>(groups * wg, wg), [=](sycl::nd_item<1> item) {
          reduce_pass<T>(item, &lm[0], raw(pv), raw(dv), from, to, count, width, groups);
        });
  });
}

// d = the sum of count partials at offset `from`, in order.
template <typename T, containerType C>
sycl::event sum_partials(sycl::queue& queue, container_t<C, T> partial, container_t<C, T> d,
                         std::size_t from, std::size_t count, const sycl::event& before) {
  return queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, {before});
    auto pv = bind(h, partial, sycl::read_only);
    auto dv = bind(h, d, sycl::write_only);
    h.single_task<kernels::sumArrayKernel<T, C>>(
        [=] { sum_in_order<T>(raw(pv), raw(dv), from, count); });
  });
}

}  // namespace orvane::vrt::sparse::gpu::gemvdot
