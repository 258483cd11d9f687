// Row estimates of C = A * B as the number of products: for each entry of A's row, the length
// of the B row it meets. Persistent work-items fetch rows in batches from a device counter.
#pragma once

#include <cstddef>
#include <cstdint>
#include <sycl/sycl.hpp>

#include "gpu/matmat/work_estimation_arrays.hpp"
#include "gpu/matmat/work_estimation_plan.hpp"

namespace orvane::vrt::sparse::gpu::kernels::csr_times_csr {

using row_counter_atomic =
    sycl::atomic_ref<std::int32_t, sycl::memory_order::relaxed, sycl::memory_scope::device,
                     sycl::access::address_space::global_space>;

template <typename I>
void count_row_products(const estimate_arrays<I>& m, std::int32_t* counter, std::int64_t rows) {
  constexpr std::int32_t batch = work_estimation::rows_per_fetch;
  for (;;) {
    const std::int64_t first = row_counter_atomic(*counter).fetch_add(batch);
    if (first >= rows) return;
    const std::int64_t last = first + batch < rows ? first + batch : rows;
    for (std::int64_t r = first; r < last; ++r) {
      const auto row = static_cast<std::size_t>(r);
      I products = 0;
      for (I k = m.a_begin(row); k < m.a_end(row); ++k) {
        const I b_row = m.b_row_of(k);
        products += m.b_end(b_row) - m.b_begin(b_row);
      }
      m.write_count(row, products);
    }
  }
}

}  // namespace orvane::vrt::sparse::gpu::kernels::csr_times_csr
