// Launcher of the sub-group family: one sub-group per row, or per bundle of rows when the matrix
// has more rows than the device has hardware threads to give each its own sub-group.
#pragma once

#include <cstddef>
#include <cstdint>
#include <orvane/vrt/sparse.hpp>
#include <vector>

#include "common/portability.hpp"
#include "gpu/mv/csr/csr_gemv_plan.hpp"
#include "gpu/mv/csr/csr_operands.hpp"
#include "gpu/mv/csr/csr_subgroup_kernel.hpp"
#include "gpu/mv/design_names.hpp"
#include "gpu/operand_binding.hpp"
#include "gpu/sub_group_check.hpp"

namespace orvane::vrt::sparse::gpu::csr {

namespace detail {

// The sub-group sizes a plan may name; anything but the narrow one selects the wide one.
inline constexpr int narrow_sub_group = 16;
inline constexpr int wide_sub_group = 32;

enum class sub_group_body { single_row, row_bundle };

template <sub_group_body B, int SG, typename T, typename I, containerType C>
sycl::event submit_sub_group_kernel(sycl::queue& queue, std::size_t items, std::size_t groups,
                                    const gemv_operands<T, I, C>& op,
                                    const std::vector<sycl::event>& deps) {
  using tag = std::conditional_t<B == sub_group_body::single_row,
                                 kernels::gemv_subgroup_single_row_csr_kernel<T, I, C>,
                                 kernels::gemv_subgroup_row_bundle_csr_kernel<T, I, C>>;
  using name = portable::sub_group_kernel<tag, SG>;
  const auto nrows = static_cast<std::size_t>(op.nrows);
  const sycl::nd_range<2> grid({items, SG}, {groups, SG});
  return queue.submit([&](sycl::handler& h) {
    const auto a = bind_product<C>(h, deps, op);
    const I index = op.index;
    const T alpha = op.alpha, beta = op.beta;
    const bool conj = op.conj;
    h.parallel_for<name>(grid, [=](sycl::nd_item<2> item) [[sycl::reqd_sub_group_size(SG)]] {
      const sycl::sub_group sg = item.get_sub_group();
      const std::size_t id = item.get_global_id(0);
      if constexpr (B == sub_group_body::single_row) {
        if (id >= nrows) return;
        kernels::gemv_subgroup_single_row<SG, T, I>(sg, id, raw(a.row_ptr), raw(a.col_ind),
                                                    raw(a.values), raw(a.x), raw(a.y), index, alpha,
                                                    beta, conj);
      } else {
        kernels::gemv_subgroup_row_bundle<SG, T, I>(sg, id, nrows, raw(a.row_ptr), raw(a.col_ind),
                                                    raw(a.values), raw(a.x), raw(a.y), index, alpha,
                                                    beta, conj);
      }
    });
  });
}

template <int SG, typename T, typename I, containerType C>
sycl::event launch_sub_group(sycl::queue& queue, const gemvInternalData& plan,
                             const gemv_operands<T, I, C>& op,
                             const std::vector<sycl::event>& deps) {
  require_sub_group_size(queue, SG, mv_words::gemv);
  const sub_group_launch_shape shape =
      sub_group_launch(op.nrows, plan.device_data->hw_thread_count, SG, plan.group_param);
  const auto groups = static_cast<std::size_t>(shape.groups);
  if (shape.bundles)
    return submit_sub_group_kernel<sub_group_body::row_bundle, SG, T, I, C>(queue, shape.items,
                                                                            groups, op, deps);
  return submit_sub_group_kernel<sub_group_body::single_row, SG, T, I, C>(queue, shape.items,
                                                                          groups, op, deps);
}

}  // namespace detail

template <typename T, typename I, containerType C>
sycl::event gemv_with_subgroup(sycl::queue& queue, const gemvInternalData& plan,
                               const gemv_operands<T, I, C>& op,
                               const std::vector<sycl::event>& deps) {
  if (plan.vector_param == detail::narrow_sub_group)
    return detail::launch_sub_group<detail::narrow_sub_group, T, I, C>(queue, plan, op, deps);
  return detail::launch_sub_group<detail::wide_sub_group, T, I, C>(queue, plan, op, deps);
}

}  // namespace orvane::vrt::sparse::gpu::csr

#define VRT_INSTANTIATE_CSR_SUBGROUP_LAUNCHER(T, I, C)                             \
  template sycl::event orvane::vrt::sparse::gpu::csr::gemv_with_subgroup<T, I, C>( \
      sycl::queue&, const orvane::vrt::sparse::gemvInternalData&,                  \
      const orvane::vrt::sparse::gpu::csr::gemv_operands<T, I, C>&,                \
      const std::vector<sycl::event>&);
