// Launchers of the hashed row counts: the plan's form picked from the instantiated list, one
// work-group of W items per row (or one work-item per row when W is 1), and the scan behind.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <sycl/sycl.hpp>
#include <vector>

#include "common/internal_error.hpp"
#include "gpu/matmat/design_names.hpp"
#include "gpu/matmat/hash_estimate_esimd_kernel.hpp"
#include "gpu/matmat/hash_estimate_kernel.hpp"
#include "gpu/matmat/work_estimation_binding.hpp"
#include "gpu/matmat/work_estimation_entry.hpp"
#include "gpu/matmat/work_estimation_plan.hpp"

namespace orvane::vrt::sparse::gpu {

namespace hash_estimate {

namespace cxc = kernels::csr_times_csr;
using work_estimation::hash_kind;

template <work_estimation::hash_choice F, typename I, containerType C>
sycl::event submit(sycl::queue& queue, const work_estimation_operands<I, C>& op,
                   const std::vector<sycl::event>& deps) {
  constexpr int T = F.table, W = F.items, SG = F.sg;
  const auto rows = static_cast<std::size_t>(op.a_rows);
  const std::int64_t b_cols = op.b_cols;
  return queue.submit([&](sycl::handler& h) {
    const auto factors = bind_estimate(h, deps, op);
    if constexpr (F.kind == hash_kind::workgroup_1) {
      using name = cxc::matmat_work_estimation_hash_workgroup_1_kernel<I, C, T, W>;
      h.parallel_for<name>(sycl::range<1>(rows), [=](sycl::id<1> row) {
        cxc::hash_estimate_single_row<T, I>(row[0], factors.get());
      });
    } else if constexpr (F.kind == hash_kind::esimd_wg1) {
      using name = cxc::matmat_work_estimation_hash_esimd_wg1_kernel<I, C, T, W, SG>;
      h.parallel_for<name>(sycl::range<1>(rows), [=](sycl::id<1> row) {
        cxc::hash_estimate_esimd_single_row<T, SG, I>(row[0], factors.get());
      });
    } else if constexpr (F.kind == hash_kind::workgroup) {
      using name = cxc::matmat_work_estimation_hash_workgroup_kernel<I, C, T, W>;
      h.parallel_for<name>(sycl::nd_range<1>(rows * W, W), [=](sycl::nd_item<1> item) {
        cxc::hash_estimate_workgroup_row<T, W, I>(item, factors.get(), b_cols);
      });
    } else {
      using name = cxc::matmat_work_estimation_hash_esimd_kernel<I, C, T, W, SG>;
      h.parallel_for<name>(sycl::nd_range<1>(rows * W, W), [=](sycl::nd_item<1> item) {
        cxc::hash_estimate_esimd_row<T, W, SG, I>(item, factors.get(), b_cols);
      });
    }
  });
}

// The form at position `form` of the list; a plan that names none is an internal error.
template <std::size_t K, typename I, containerType C>
sycl::event launch_form(int form, sycl::queue& queue, const work_estimation_operands<I, C>& op,
                        const std::vector<sycl::event>& deps) {
  if constexpr (K == std::size(work_estimation::hash_forms)) {
    internal_error(matmat_names::matmat);
  } else {
    if (form != static_cast<int>(K)) return launch_form<K + 1, I, C>(form, queue, op, deps);
    return submit<work_estimation::hash_forms[K], I, C>(queue, op, deps);
  }
}

}  // namespace hash_estimate

template <typename I, containerType C>
sycl::event estimate_rows_hash(sycl::queue& queue, const work_estimation_operands<I, C>& op,
                               const std::vector<sycl::event>& deps) {
  if (op.a_rows == 0) return scan_row_counts(queue, op, deps);
  const work_estimation::hash_choice choice = work_estimation::plan_hash(
      sizes_of(op), op.is_gpu, op.architecture, op.sub_group_size, op.estimate_table_size);
  const sycl::event counted = hash_estimate::launch_form<0, I, C>(
      work_estimation::hash_form_index(choice), queue, op, deps);
  return scan_row_counts(queue, op, {counted});
}

}  // namespace orvane::vrt::sparse::gpu
