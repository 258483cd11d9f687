// Launchers of the column scatter: y is scaled by beta in a kernel of its own, then a scatter
// kernel adds into it with device atomics. The accumulator length and the sub-group size are
// template arguments; the work-group size is not, since the bodies never read it.
#pragma once

#include <cstddef>
#include <orvane/vrt/sparse.hpp>
#include <vector>

#include "common/internal_error.hpp"
#include "common/portability.hpp"
#include "containers/views.hpp"
#include "gpu/mv/csc/csc_gemv_plan.hpp"
#include "gpu/mv/csc/csc_operands.hpp"
#include "gpu/mv/csc/csc_scatter_kernel.hpp"
#include "gpu/mv/design_names.hpp"
#include "gpu/mv/scale_y_launch.hpp"
#include "gpu/operand_binding.hpp"
#include "gpu/sub_group_check.hpp"

namespace orvane::vrt::sparse::gpu::csc {

namespace detail {

inline constexpr std::int32_t narrow_subgroup_group = 4;
inline constexpr std::int32_t wide_subgroup_group = 8;
inline constexpr std::int32_t short_sub_group = 16;
inline constexpr std::int32_t long_sub_group = 32;

[[noreturn]] inline void off_grid() { internal_error(mv_words::gemv_csc); }

// Every launcher refuses host USM y: the scatter adds into it with device atomics. Host USM
// alone: y the context does not know is let through, as it always has been.
template <typename T, typename I, containerType C>
void refuse_host_y(sycl::queue& queue, const scatter_operands<T, I, C>& op) {
  if (is_host_usm<C>(queue, op.y))
    throw computation_error("sparse", mv_words::gemv_default_kernel, mv_words::host_y_refused);
}

// y *= beta over the output length; the scatter then only adds.
template <typename T, typename I, containerType C>
sycl::event scale_output(sycl::queue& queue, const scatter_operands<T, I, C>& op,
                         const std::vector<sycl::event>& deps) {
  return scale_y<T, C>(queue, op.y, op.ncols, op.beta, deps);
}

template <typename T, typename I, containerType C, int L>
sycl::event submit_syclvec(sycl::queue& queue, std::size_t group,
                           const scatter_operands<T, I, C>& op, const sycl::event& scaled) {
  const auto nrows = static_cast<std::size_t>(op.nrows);
  const sycl::nd_range<1> grid((nrows + group - 1) / group * group, group);
  return queue.submit([&](sycl::handler& h) {
    const auto a = bind_product<C>(h, {scaled}, op);
    const I index = op.index;
    const T alpha = op.alpha;
    h.parallel_for<kernels::gemv_syclvec_csc_kernel<T, I, C, L>>(grid, [=](sycl::nd_item<1> item) {
      const std::size_t row = item.get_global_id(0);
      if (row >= nrows) return;
      kernels::scatter_syclvec_row<T, I, L>(row, raw(a.row_ptr), raw(a.col_ind), raw(a.values),
                                            raw(a.x), raw(a.y), index, alpha);
    });
  });
}

// One sub-group per structure row; lanes take consecutive entries and add one each.
template <typename T, typename I, containerType C, int SG>
sycl::event submit_subgroup(sycl::queue& queue, std::size_t group,
                            const scatter_operands<T, I, C>& op, const sycl::event& scaled) {
  const auto nrows = static_cast<std::size_t>(op.nrows);
  const sycl::nd_range<2> grid({(nrows + group - 1) / group * group, SG}, {group, SG});
  using name = portable::sub_group_kernel<kernels::gemv_subgroup_singleRow_csc_kernel<T, I, C>, SG>;
  return queue.submit([&](sycl::handler& h) {
    const auto a = bind_product<C>(h, {scaled}, op);
    const I index = op.index;
    const T alpha = op.alpha;
    const bool conj = op.conj;
    h.parallel_for<name>(grid, [=](sycl::nd_item<2> item) [[sycl::reqd_sub_group_size(SG)]] {
      const std::size_t row = item.get_global_id(0);
      if (row >= nrows) return;
      kernels::scatter_subgroup_row<T, I, SG>(item.get_sub_group(), row, raw(a.row_ptr),
                                              raw(a.col_ind), raw(a.values), raw(a.x), raw(a.y),
                                              index, alpha, conj);
    });
  });
}

}  // namespace detail

// One work-item per structure row over a plain range.
template <typename T, typename I, containerType C>
sycl::event gemv_default(sycl::queue& queue, const gemvInternalData&,
                         const scatter_operands<T, I, C>& op,
                         const std::vector<sycl::event>& deps) {
  detail::refuse_host_y(queue, op);
  const sycl::event scaled = detail::scale_output(queue, op, deps);
  return queue.submit([&](sycl::handler& h) {
    const auto a = bind_product<C>(h, {scaled}, op);
    const I index = op.index;
    const T alpha = op.alpha;
    const bool conj = op.conj;
    h.parallel_for<kernels::gemv_default_csc_kernel<T, I, C>>(
        sycl::range<1>(static_cast<std::size_t>(op.nrows)), [=](sycl::id<1> i) {
          kernels::scatter_default_row<T, I>(i[0], raw(a.row_ptr), raw(a.col_ind), raw(a.values),
                                             raw(a.x), raw(a.y), index, alpha, conj);
        });
  });
}

// Real values only: vector_param 8 or 16 selects that length, anything else 4.
template <typename T, typename I, containerType C>
sycl::event gemv_with_syclvec(sycl::queue& queue, const gemvInternalData& plan,
                              const scatter_operands<T, I, C>& op,
                              const std::vector<sycl::event>& deps) {
  detail::refuse_host_y(queue, op);
  if (!is_row_group(plan.group_param)) detail::off_grid();
  const auto group = static_cast<std::size_t>(plan.group_param);
  if constexpr (is_complex_v<T>) {
    detail::off_grid();
  } else {
    const sycl::event scaled = detail::scale_output(queue, op, deps);
    switch (plan.vector_param) {
      case 8:
        return detail::submit_syclvec<T, I, C, 8>(queue, group, op, scaled);
      case 16:
        return detail::submit_syclvec<T, I, C, 16>(queue, group, op, scaled);
      default:
        return detail::submit_syclvec<T, I, C, 4>(queue, group, op, scaled);
    }
  }
}

// vector_param 16 selects sub-groups of 16, anything else 32; group_param 4 or 8 sub-groups.
template <typename T, typename I, containerType C>
sycl::event gemv_with_subgroup(sycl::queue& queue, const gemvInternalData& plan,
                               const scatter_operands<T, I, C>& op,
                               const std::vector<sycl::event>& deps) {
  detail::refuse_host_y(queue, op);
  if (plan.group_param != detail::narrow_subgroup_group &&
      plan.group_param != detail::wide_subgroup_group)
    detail::off_grid();
  require_sub_group_size(queue, static_cast<std::size_t>(scatter_sub_group(plan)), mv_words::gemv);
  const auto group = static_cast<std::size_t>(plan.group_param);
  const sycl::event scaled = detail::scale_output(queue, op, deps);
  if (plan.vector_param == detail::short_sub_group)
    return detail::submit_subgroup<T, I, C, detail::short_sub_group>(queue, group, op, scaled);
  return detail::submit_subgroup<T, I, C, detail::long_sub_group>(queue, group, op, scaled);
}

}  // namespace orvane::vrt::sparse::gpu::csc
