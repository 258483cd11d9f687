// Launcher of the product counts: the row counter reset, the persistent work-items that count,
// and the scan behind them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <sycl/sycl.hpp>
#include <vector>

#include "containers/containers.hpp"
#include "gpu/matmat/design_names.hpp"
#include "gpu/matmat/product_count_kernel.hpp"
#include "gpu/matmat/work_estimation_binding.hpp"
#include "gpu/matmat/work_estimation_entry.hpp"
#include "gpu/matmat/work_estimation_plan.hpp"

namespace orvane::vrt::sparse::gpu {

template <typename I, containerType C>
sycl::event estimate_rows_by_products(sycl::queue& queue, const work_estimation_operands<I, C>& op,
                                      const std::vector<sycl::event>& deps) {
  if (op.a_rows == 0) return scan_row_counts(queue, op, deps);
  std::vector<sycl::event> after_reset = deps;
  after_reset.push_back(fill_container<std::int32_t>(queue, op.row_counter, 0, 1, deps));
  const auto items = static_cast<std::size_t>(work_estimation::product_count_launch(op.a_rows));
  const std::int64_t rows = op.a_rows;
  const sycl::event counted = queue.submit([&](sycl::handler& h) {
    const auto factors = bind_estimate(h, after_reset, op);
    auto counter = bind(h, op.row_counter, sycl::read_write);
    h.parallel_for<kernels::csr_times_csr::matmat_count_nnz_flops<I, C>>(
        sycl::range<1>(items), [=](sycl::id<1>) {
          kernels::csr_times_csr::count_row_products<I>(factors.get(), raw(counter), rows);
        });
  });
  return scan_row_counts(queue, op, {counted});
}

}  // namespace orvane::vrt::sparse::gpu
