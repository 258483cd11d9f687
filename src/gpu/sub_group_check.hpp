// Whether the queue's device runs kernels of a required sub-group size: the runtime refuses a
// kernel whose size the device lacks, so launchers ask first.
#pragma once

#include <algorithm>
#include <cstddef>
#include <orvane/vrt/sparse.hpp>
#include <string>
#include <sycl/sycl.hpp>
#include <vector>

namespace orvane::vrt::sparse::gpu {

inline bool supports_sub_group_size(const sycl::device& device, std::size_t size) {
  const auto sizes = device.get_info<sycl::info::device::sub_group_sizes>();
  return std::find(sizes.begin(), sizes.end(), size) != sizes.end();
}

// unsupported_device naming the routine when the device lacks the size.
inline void require_sub_group_size(const sycl::queue& queue, std::size_t size,
                                   const std::string& routine) {
  if (!supports_sub_group_size(queue.get_device(), size))
    throw unsupported_device("sparse", routine, queue.get_device());
}

}  // namespace orvane::vrt::sparse::gpu
