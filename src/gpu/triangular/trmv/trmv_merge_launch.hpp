// Launcher of the planned product's merge path: the product over the planned partition, then
// the carries of rows cut by part borders, added by the matrix-vector family's fix-up.
#pragma once

#include <cstddef>
#include <cstdint>
#include <sycl/sycl.hpp>
#include <tuple>
#include <vector>

#include "common/internal_error.hpp"
#include "common/portability.hpp"
#include "containers/views.hpp"
#include "gpu/mv/csr/csr_merge_launch.hpp"
#include "gpu/sub_group_check.hpp"
#include "gpu/triangular/design_names.hpp"
#include "gpu/triangular/trmv/trmv_merge_kernel.hpp"
#include "gpu/triangular/trmv/trmv_operands.hpp"
#include "gpu/triangular/trmv/trmv_plan.hpp"
#include "handle/gemv_data.hpp"

namespace orvane::vrt::sparse::gpu {

namespace detail {

// One instance per sub-group size; the work-group size is a launch value.
template <int SG, typename T, typename I, containerType C>
sycl::event submit_trmv_merge(sycl::queue& queue, const gemvInternalData& plan,
                              const trmv_operands<T, I, C>& op,
                              const std::vector<sycl::event>& deps) {
  require_sub_group_size(queue, SG, triangular_names::trmv);
  const auto parts = static_cast<std::size_t>(plan.num_partitions);
  const auto groups = static_cast<std::size_t>(plan.group_param);
  // The planned P is a multiple of the group unless the hardware threads are not: the sub-groups
  // past P do nothing.
  const std::size_t launched = (parts + groups - 1) / groups * groups;
  auto partition_rows = as_container<C, I>(plan.partition_rows);
  auto partition_nnz = as_container<C, I>(plan.partition_nnz);
  auto carry_rows = as_container<C, I>(plan.carry_rows);
  auto carry_values = as_container<C, T>(plan.carry_values);
  using name = portable::sub_group_kernel<kernels::trmv_merge_subgroup_csr_kernel<T, I, C>, SG>;
  sycl::event product = queue.submit([&](sycl::handler& h) {
    const auto a = bind_product<C>(h, deps, op);
    auto reads = bind_reads(h, op.diag_values, partition_rows, partition_nnz);
    auto dv = std::get<0>(reads);
    auto pr = std::get<1>(reads);
    auto pn = std::get<2>(reads);
    auto cr = bind(h, carry_rows, sycl::write_only);
    auto cv = bind(h, carry_values, sycl::write_only);
    const T alpha = op.alpha, beta = op.beta;
    const std::uint8_t diag_code = op.diag_code;
    h.parallel_for<name>(sycl::nd_range<2>({launched, SG}, {groups, SG}),
                         [=](sycl::nd_item<2> item) [[sycl::reqd_sub_group_size(SG)]] {
                           const std::size_t p = item.get_global_id(0);
                           if (p >= parts) return;
                           kernels::trmv_merge_part<SG, T, I>(
                               item.get_sub_group(), p, raw(pr), raw(pn), raw(a.row_ptr),
                               raw(a.col_ind), raw(a.values), raw(a.x), raw(dv), raw(a.y), raw(cr),
                               raw(cv), alpha, beta, diag_code);
                         });
  });
  return csr::compute_sum_carry_out_for_merge_path_mv<T, I, C>(
      queue, op.nrows, plan.num_partitions, carry_rows, carry_values, op.y, {product});
}

}  // namespace detail

// The instance by exact match of the plan's group_param (4 or 8) and vector_param (16 or 32).
template <typename T, typename I, containerType C>
sycl::event trmv_merge_based_subgroup(sycl::queue& queue, const gemvInternalData& plan,
                                      const trmv_operands<T, I, C>& op,
                                      const std::vector<sycl::event>& deps) {
  if (!trmv_merge_grid_has(plan.group_param, plan.vector_param))
    internal_error(triangular_names::merge_path_trmv);
  if (plan.vector_param == trmv_merge_sub_group_wide)
    return detail::submit_trmv_merge<trmv_merge_sub_group_wide, T, I, C>(queue, plan, op, deps);
  return detail::submit_trmv_merge<trmv_merge_sub_group_narrow, T, I, C>(queue, plan, op, deps);
}

}  // namespace orvane::vrt::sparse::gpu
