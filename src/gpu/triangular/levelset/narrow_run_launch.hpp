// Runs of narrow colors: one work-group per run, the row update and the color starts bound.
#pragma once

#include <cstdint>
#include <sycl/sycl.hpp>
#include <vector>

#include "gpu/triangular/design_names.hpp"
#include "gpu/triangular/levelset/levelset_operands.hpp"
#include "gpu/triangular/levelset/narrow_run_kernel.hpp"

namespace orvane::vrt::sparse::gpu {

// Which run of a solve: the first one it meets or the second.
enum class narrow_run { first, second };

// Colors first, first + step, ... (count of them), step +1 or -1.
template <narrow_run R, typename T, typename I, containerType C>
sycl::event submit_narrow_run(sycl::queue& queue, const levelset_operands<T, I, C>& op,
                              std::int32_t first, std::int32_t count, std::int32_t step,
                              const std::vector<sycl::event>& deps) {
  auto launch = [&](auto name) {
    using Name = typename decltype(name)::type;
    return queue.submit([&](sycl::handler& h) {
      const auto update = bind_row_update(h, deps, op);
      const auto cp = std::get<0>(bind_reads(h, op.color_ptr));
      h.parallel_for<Name>(sycl::nd_range<1>(levelset_group, levelset_group),
                           [=](sycl::nd_item<1> it) {
                             kernels::solve_narrow_run<I>(it.get_group(), it.get_local_id(0),
                                                          raw(cp), first, count, step, update);
                           });
    });
  };
  using namespace kernels;
  if constexpr (R == narrow_run::first)
    return launch_for_side<levelsetTrsvLower1<T, I, C>, levelsetTrsvUpper1<T, I, C>>(op.side,
                                                                                     launch);
  else
    return launch_for_side<levelsetTrsvLower2<T, I, C>, levelsetTrsvUpper2<T, I, C>>(op.side,
                                                                                     launch);
}

}  // namespace orvane::vrt::sparse::gpu
