// Device code of a run of narrow colors inside one work-group: each color's positions go to the
// group's work-items, and a barrier separates one color from the next.
#pragma once

#include <cstddef>
#include <cstdint>
#include <sycl/sycl.hpp>

#include "common/portability.hpp"

namespace orvane::vrt::sparse::gpu::kernels {

// Work-item t of group g walks colors first, first + step, ... (count of them); color_ptr holds
// the color starts over positions, update.solve(p) solves position p.
template <typename I, typename RowUpdate>
void solve_narrow_run(const sycl::group<1>& g, std::size_t t, const I* color_ptr,
                      std::int32_t first, std::int32_t count, std::int32_t step,
                      const RowUpdate& update) {
  for (std::int32_t i = 0; i < count; ++i) {
    const std::int32_t color = first + i * step;
    const auto p = static_cast<std::size_t>(color_ptr[color]) + t;
    if (p < static_cast<std::size_t>(color_ptr[color + 1])) update.solve(p);
    // Every work-item passes, row or not: the next color reads this one.
    portable::atomic_fence(sycl::memory_order::seq_cst, sycl::memory_scope::work_group);
    sycl::group_barrier(g);
  }
}

}  // namespace orvane::vrt::sparse::gpu::kernels
