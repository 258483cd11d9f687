// Launchers of the dense row counts: the plan's form picked from the instantiated list, the
// sub-group form with its required size, the explicit-SIMD form, and the scan behind them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <sycl/sycl.hpp>
#include <vector>

#include "common/internal_error.hpp"
#include "common/portability.hpp"
#include "gpu/matmat/dense_estimate_esimd_kernel.hpp"
#include "gpu/matmat/dense_estimate_kernel.hpp"
#include "gpu/matmat/design_names.hpp"
#include "gpu/matmat/work_estimation_binding.hpp"
#include "gpu/matmat/work_estimation_entry.hpp"
#include "gpu/matmat/work_estimation_plan.hpp"

namespace orvane::vrt::sparse::gpu {

namespace dense_estimate {

template <int NSG, int SG, typename I, containerType C>
sycl::event submit_subgroup(sycl::queue& queue, const work_estimation_operands<I, C>& op,
                            std::int64_t chunks, const std::vector<sycl::event>& deps) {
  require_estimate_sub_group(queue, SG);
  using tag = kernels::csr_times_csr::matmat_work_estimation_dense_subgroup_kernel<I, C, NSG, SG>;
  using name = portable::sub_group_kernel<tag, SG>;
  constexpr std::size_t group = static_cast<std::size_t>(NSG) * SG;
  const sycl::nd_range<2> grid({static_cast<std::size_t>(op.a_rows), group}, {1, group});
  return queue.submit([&](sycl::handler& h) {
    const auto factors = bind_estimate(h, deps, op);
    sycl::local_accessor<kernels::csr_times_csr::bitmap_word, 1> bitmap(
        sycl::range<1>(kernels::csr_times_csr::bitmap_words<NSG>), h);
    h.parallel_for<name>(grid, [=](sycl::nd_item<2> item) [[sycl::reqd_sub_group_size(SG)]] {
      kernels::csr_times_csr::dense_estimate_subgroup_row<NSG, SG, I>(item, factors.get(),
                                                                      &bitmap[0], chunks);
    });
  });
}

template <int NSG, int SG, typename I, containerType C>
sycl::event submit_esimd(sycl::queue& queue, const work_estimation_operands<I, C>& op,
                         std::int64_t chunks, const std::vector<sycl::event>& deps) {
  using name = kernels::csr_times_csr::matmat_work_estimation_dense_esimd_kernel<I, C, NSG, SG>;
  const sycl::nd_range<1> grid(static_cast<std::size_t>(op.a_rows) * NSG, NSG);
  return queue.submit([&](sycl::handler& h) {
    const auto factors = bind_estimate(h, deps, op);
    sycl::local_accessor<kernels::csr_times_csr::bitmap_word, 1> bitmap(
        sycl::range<1>(kernels::csr_times_csr::bitmap_words<NSG>), h);
    h.parallel_for<name>(grid, [=](sycl::nd_item<1> item) {
      kernels::csr_times_csr::dense_estimate_esimd_row<NSG, SG, I>(item, factors.get(), &bitmap[0],
                                                                   chunks);
    });
  });
}

// The form at position `form` of the list; a plan that names none is an internal error.
template <std::size_t K, typename I, containerType C>
sycl::event launch_form(int form, sycl::queue& queue, const work_estimation_operands<I, C>& op,
                        std::int64_t chunks, const std::vector<sycl::event>& deps) {
  if constexpr (K == std::size(work_estimation::dense_forms)) {
    internal_error(matmat_names::matmat);
  } else {
    constexpr work_estimation::dense_form f = work_estimation::dense_forms[K];
    if (form != static_cast<int>(K)) return launch_form<K + 1, I, C>(form, queue, op, chunks, deps);
    if constexpr (f.esimd)
      return submit_esimd<f.nsg, f.sg, I, C>(queue, op, chunks, deps);
    else
      return submit_subgroup<f.nsg, f.sg, I, C>(queue, op, chunks, deps);
  }
}

}  // namespace dense_estimate

template <typename I, containerType C>
sycl::event estimate_rows_dense(sycl::queue& queue, const work_estimation_operands<I, C>& op,
                                const std::vector<sycl::event>& deps) {
  if (op.a_rows == 0) return scan_row_counts(queue, op, deps);
  const work_estimation::dense_choice choice =
      work_estimation::plan_dense(sizes_of(op), op.is_gpu, op.architecture, op.sub_group_size);
  const sycl::event counted = dense_estimate::launch_form<0, I, C>(
      work_estimation::dense_form_index(choice), queue, op, choice.chunks, deps);
  return scan_row_counts(queue, op, {counted});
}

}  // namespace orvane::vrt::sparse::gpu
