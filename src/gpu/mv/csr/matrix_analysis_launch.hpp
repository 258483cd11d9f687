// Launcher of the row statistics of a CSR matrix for planning: a single task leaves the longest
// and shortest row and the float sum of squared deviations in shared memory.
#pragma once

#include <cmath>
#include <cstdint>
#include <orvane/vrt/sparse.hpp>
#include <sycl/sycl.hpp>
#include <vector>

#include "containers/containers.hpp"
#include "containers/views.hpp"
#include "gpu/mv/csr/matrix_analysis_kernel.hpp"
#include "gpu/mv/design_names.hpp"
#include "handle/gemv_data.hpp"

namespace orvane::vrt::sparse::gpu::csr {

// Fills max_row_nnz, min_row_nnz, avg_row_nnz, row_nnz_stddev, row_spread_ratio and density of
// the plan. Returns false when a shared container cannot be allocated (nothing is left behind).
// Blocks until the statistics are on the host. Name is the kernel's class: each planner that
// shares the analysis names it its own way.
template <typename I, containerType C,
          typename Name = kernels::optimize_gemv_mat_analysis_kernel<I, C>>
bool compute_matrix_property_data(sycl::queue& queue, std::int64_t nrows, std::int64_t ncols,
                                  std::int64_t nnz, container_t<C, I> row_ptr,
                                  gemvInternalData* plan, const std::vector<sycl::event>& deps) {
  void* longest = allocate_shared_container<std::int64_t>(1, queue, C);
  void* shortest = allocate_shared_container<std::int64_t>(1, queue, C);
  void* squares = allocate_shared_container<float>(1, queue, C);
  auto release = [&] {
    if (longest != nullptr) deallocate_container<std::int64_t>(longest, queue, C);
    if (shortest != nullptr) deallocate_container<std::int64_t>(shortest, queue, C);
    if (squares != nullptr) deallocate_container<float>(squares, queue, C);
  };
  if (longest == nullptr || shortest == nullptr || squares == nullptr) {
    release();
    return false;
  }
  const float mean = static_cast<float>(nnz) / static_cast<float>(nrows);
  queue
      .submit([&](sycl::handler& h) {
        depend_on<C>(h, deps);
        auto rp = bind(h, row_ptr, sycl::read_only);
        auto mx = bind(h, as_container<C, std::int64_t>(longest), sycl::write_only);
        auto mn = bind(h, as_container<C, std::int64_t>(shortest), sycl::write_only);
        auto sq = bind(h, as_container<C, float>(squares), sycl::write_only);
        h.single_task<Name>([=]() {
          kernels::row_statistics<I>(raw(rp), nrows, ncols, mean, raw(mx), raw(mn), raw(sq));
        });
      })
      .wait();
  plan->max_row_nnz =
      read_on_host<std::int64_t, C>(queue, as_container<C, std::int64_t>(longest), {});
  plan->min_row_nnz =
      read_on_host<std::int64_t, C>(queue, as_container<C, std::int64_t>(shortest), {});
  const float sumsq = read_on_host<float, C>(queue, as_container<C, float>(squares), {});
  plan->avg_row_nnz = static_cast<double>(mean);
  plan->row_nnz_stddev = std::sqrt(static_cast<double>(sumsq) / static_cast<double>(nrows));
  plan->row_spread_ratio =
      static_cast<double>(plan->max_row_nnz - plan->min_row_nnz) / static_cast<double>(ncols);
  plan->density =
      static_cast<double>(nnz) / (static_cast<double>(ncols) * static_cast<double>(nrows));
  release();
  return true;
}

}  // namespace orvane::vrt::sparse::gpu::csr
