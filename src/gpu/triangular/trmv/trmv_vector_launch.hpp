// Launcher of the planned product's vector kernel: work-groups of 256 work-items, a row each,
// accumulators of 4 lanes; the only instance, whatever vector_param the plan holds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <sycl/sycl.hpp>
#include <tuple>
#include <vector>

#include "containers/views.hpp"
#include "gpu/triangular/design_names.hpp"
#include "gpu/triangular/trmv/trmv_operands.hpp"
#include "gpu/triangular/trmv/trmv_vector_kernel.hpp"

namespace orvane::vrt::sparse::gpu {

inline constexpr std::size_t trmv_vector_group = 256;
inline constexpr int trmv_vector_lanes = 4;

// op holds the strict triangle (zero-based) and the diagonal values.
template <typename T, typename I, containerType C>
sycl::event trmv_with_syclvec(sycl::queue& queue, const trmv_operands<T, I, C>& op,
                              const std::vector<sycl::event>& deps) {
  constexpr int L = trmv_vector_lanes;
  const auto nrows = static_cast<std::size_t>(op.nrows);
  const std::size_t group = trmv_vector_group;
  const sycl::nd_range<1> grid((nrows + group - 1) / group * group, group);
  return queue.submit([&](sycl::handler& h) {
    const auto a = bind_product<C>(h, deps, op);
    auto dv = std::get<0>(bind_reads(h, op.diag_values));
    const T alpha = op.alpha, beta = op.beta;
    const std::uint8_t diag_code = op.diag_code;
    h.parallel_for<kernels::trmv_syclvec_csr_kernel<T, I, C>>(grid, [=](sycl::nd_item<1> item) {
      const std::size_t row = item.get_global_id(0);
      if (row >= nrows) return;
      kernels::trmv_syclvec_row<T, I, L>(row, raw(a.row_ptr), raw(a.col_ind), raw(a.values),
                                         raw(a.x), raw(dv), raw(a.y), alpha, beta, diag_code);
    });
  });
}

}  // namespace orvane::vrt::sparse::gpu
