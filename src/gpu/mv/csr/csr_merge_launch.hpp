// Launcher of the merge-path family: the product over the planned partition, then the carries
// of rows cut by part borders.
#pragma once

#include <cstddef>
#include <cstdint>
#include <orvane/vrt/sparse.hpp>
#include <vector>

#include "common/internal_error.hpp"
#include "common/portability.hpp"
#include "gpu/mv/atomic_add.hpp"
#include "gpu/mv/csr/csr_merge_kernel.hpp"
#include "gpu/mv/csr/csr_operands.hpp"
#include "gpu/mv/design_names.hpp"
#include "gpu/operand_binding.hpp"
#include "gpu/sub_group_check.hpp"

namespace orvane::vrt::sparse::gpu::csr {

namespace detail {
inline constexpr int merge_sub_group = 32;
inline constexpr std::int32_t merge_groups_small = 4;
inline constexpr std::int32_t merge_groups_large = 8;
}  // namespace detail

// Adds the carries into y after deps. Host USM y takes no device atomics: one work-item adds
// them in order (host USM alone: y the context does not know takes the atomics, as it always
// has). The last part ends at the path's end, so its carry is never addressed to a row.
template <typename T, typename I, containerType C>
sycl::event compute_sum_carry_out_for_merge_path_mv(
    sycl::queue& queue, std::int64_t nrows, std::int64_t parts, container_t<C, I> carry_rows,
    container_t<C, T> carry_values, container_t<C, T> y, const std::vector<sycl::event>& deps) {
  const bool host_y = is_host_usm<C>(queue, y);
  return queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, deps);
    auto cr = bind(h, carry_rows, sycl::read_only);
    auto cv = bind(h, carry_values, sycl::read_only);
    auto yv = bind(h, y, sycl::read_write);
    const I limit = static_cast<I>(nrows);
    if (host_y) {
      h.single_task<kernels::mv_single_task_sum_carry_out_csr_kernel<T, I, C>>([=]() {
        for (std::int64_t p = 0; p + 1 < parts; ++p) {
          const I row = raw(cr)[p];
          if (row < limit) raw(yv)[row] += raw(cv)[p];
        }
      });
    } else {
      h.parallel_for<kernels::mv_parallel_for_sum_carry_out_csr_kernel<T, I, C>>(
          sycl::range<1>(static_cast<std::size_t>(parts)), [=](sycl::id<1> p) {
            const I row = raw(cr)[p[0]];
            if (row < limit) atomic_add(raw(yv)[row], raw(cv)[p[0]]);
          });
    }
  });
}

template <typename T, typename I, containerType C>
sycl::event gemv_merge_based_subgroup(sycl::queue& queue, const gemvInternalData& plan,
                                      const gemv_operands<T, I, C>& op,
                                      const std::vector<sycl::event>& deps) {
  constexpr int SG = detail::merge_sub_group;
  if (plan.vector_param != SG || (plan.group_param != detail::merge_groups_small &&
                                  plan.group_param != detail::merge_groups_large))
    internal_error(mv_words::gemv_csr);
  require_sub_group_size(queue, SG, mv_words::gemv);
  const auto parts = static_cast<std::size_t>(plan.num_partitions);
  const auto groups = static_cast<std::size_t>(plan.group_param);
  auto partition_rows = as_container<C, I>(plan.partition_rows);
  auto partition_nnz = as_container<C, I>(plan.partition_nnz);
  auto carry_rows = as_container<C, I>(plan.carry_rows);
  auto carry_values = as_container<C, T>(plan.carry_values);
  using name = portable::sub_group_kernel<kernels::gemv_merge_subgroup_csr_kernel<T, I, C>, SG>;
  sycl::event product = queue.submit([&](sycl::handler& h) {
    const auto a = bind_product<C>(h, deps, op);
    auto pr = bind(h, partition_rows, sycl::read_only);
    auto pn = bind(h, partition_nnz, sycl::read_only);
    auto cr = bind(h, carry_rows, sycl::write_only);
    auto cv = bind(h, carry_values, sycl::write_only);
    const I index = op.index;
    const T alpha = op.alpha, beta = op.beta;
    const bool conj = op.conj;
    h.parallel_for<name>(sycl::nd_range<2>({parts, SG}, {groups, SG}),
                         [=](sycl::nd_item<2> item) [[sycl::reqd_sub_group_size(SG)]] {
                           kernels::gemv_merge_part<SG, T, I>(
                               item.get_sub_group(), item.get_global_id(0), raw(pr), raw(pn),
                               raw(a.row_ptr), raw(a.col_ind), raw(a.values), raw(a.x), raw(a.y),
                               raw(cr), raw(cv), index, alpha, beta, conj);
                         });
  });
  return compute_sum_carry_out_for_merge_path_mv<T, I, C>(
      queue, op.nrows, plan.num_partitions, carry_rows, carry_values, op.y, {product});
}

}  // namespace orvane::vrt::sparse::gpu::csr

#define VRT_INSTANTIATE_CSR_MERGE_LAUNCHER(T, I, C)                                       \
  template sycl::event orvane::vrt::sparse::gpu::csr::gemv_merge_based_subgroup<T, I, C>( \
      sycl::queue&, const orvane::vrt::sparse::gemvInternalData&,                         \
      const orvane::vrt::sparse::gpu::csr::gemv_operands<T, I, C>&,                       \
      const std::vector<sycl::event>&);
