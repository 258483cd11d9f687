// How the sub-group family launches: one sub-group per row while the device has a hardware
// thread for each, else one per bundle of rows in work-groups shrunk to divide the bundles.
#pragma once

#include <cstddef>
#include <cstdint>

#include <orvane/vrt/sparse.hpp>

namespace orvane::vrt::sparse::gpu::csr {

// Sub-groups per work-group of the single-row kernel.
inline constexpr std::int32_t single_row_groups_small = 4;
inline constexpr std::int32_t single_row_groups_large = 8;
// The work-group sizes (in sub-groups) the bundle kernel accepts after halving.
inline constexpr std::int32_t max_bundle_groups = 8;

struct sub_group_launch_shape {
  bool bundles;         // a sub-group per bundle of sub-group-size rows, else one per row
  std::size_t items;    // sub-groups in the launch
  std::int32_t groups;  // sub-groups per work-group
};

// The shape for nrows rows on a device of hw_threads hardware threads, sub-groups of sg lanes
// and the plan's group count; computation_error for a group count the kernels do not take.
inline sub_group_launch_shape sub_group_launch(std::int64_t nrows, std::int64_t hw_threads,
                                               std::int64_t sg, std::int32_t group) {
  if (nrows > (hw_threads - 1) * sg) {
    const auto bundles = static_cast<std::size_t>((nrows + sg - 1) / sg);
    // Work-groups must divide the bundles; the shrunk size is this launch's alone.
    std::int32_t g = group;
    while (g > 0 && bundles % static_cast<std::size_t>(g) != 0) g >>= 1;
    if (g < 1 || g > max_bundle_groups || (g & (g - 1)) != 0)
      throw computation_error("sparse", "gemv csr", "internal error");
    return {true, bundles, g};
  }
  if (group != single_row_groups_small && group != single_row_groups_large)
    throw computation_error("sparse", "gemv csr", "internal error");
  const auto rows = static_cast<std::size_t>(nrows);
  const auto g = static_cast<std::size_t>(group);
  return {false, (rows + g - 1) / g * g, group};
}

}  // namespace orvane::vrt::sparse::gpu::csr
