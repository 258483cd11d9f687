// The launch of gemvdot: the work-group size the device allows and the passes that reduce the
// group partials to d. Pure host functions.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <orvane/vrt/sparse.hpp>
#include <sycl/sycl.hpp>
#include <vector>

#include "gpu/mv/design_names.hpp"
#include "gpu/mv/gemvdot/gemvdot_kernel.hpp"

namespace orvane::vrt::sparse::gpu::detail {

inline constexpr std::size_t gemvdot_cpu_group_cap = 1024;
inline constexpr std::size_t gemvdot_gpu_group_cap = 512;
// Local memory per work-item that the reduction assumes.
inline constexpr std::size_t gemvdot_local_bytes_per_item = 8;
// From this many groups on, a reduce pass is cheaper than the final sum's loop.
inline constexpr std::size_t gemvdot_reduce_from = 33;

// Whether a device's local memory holds the reduction of a work-group of wg items.
inline bool gemvdot_local_memory_fits(sycl::info::local_mem_type type, std::uint64_t bytes,
                                      std::size_t wg) {
  return type != sycl::info::local_mem_type::none && bytes >= wg * gemvdot_local_bytes_per_item;
}

inline std::size_t gemvdot_group_size(const sycl::device& device) {
  const std::size_t cap = device.is_cpu() ? gemvdot_cpu_group_cap : gemvdot_gpu_group_cap;
  const std::size_t wg = std::min(device.get_info<sycl::info::device::max_work_group_size>(), cap);
  if (!gemvdot_local_memory_fits(device.get_info<sycl::info::device::local_mem_type>(),
                                 device.get_info<sycl::info::device::local_mem_size>(), wg))
    throw host_bad_alloc("sparse", mv_words::gemvdot);
  return wg;
}

// The passes of one call: the product kernel's groups leave one partial each; while there are
// gemvdot_reduce_from partials or more, a reduce pass turns them into one per group of its own;
// a final sum adds what is left unless one partial remains, which the last kernel already wrote
// into d.
struct gemvdot_schedule {
  std::size_t groups = 1;
  // The partial count each reduce pass takes in, in order.
  std::vector<std::size_t> reduce_passes;
  // Partials the final sum adds; 0 when it does not run.
  std::size_t final_sum = 0;
};

inline gemvdot_schedule schedule_gemvdot(std::size_t nrows, std::size_t wg) {
  const std::size_t per_group = gemvdot::rows_per_item * wg;
  gemvdot_schedule plan;
  // An empty matrix still runs one group, which writes a zero d.
  plan.groups = std::max<std::size_t>(1, (nrows + per_group - 1) / per_group);
  std::size_t count = plan.groups;
  while (count >= gemvdot_reduce_from) {
    plan.reduce_passes.push_back(count);
    count = (count + per_group - 1) / per_group;
  }
  if (count >= 2) plan.final_sum = count;
  return plan;
}

}  // namespace orvane::vrt::sparse::gpu::detail
