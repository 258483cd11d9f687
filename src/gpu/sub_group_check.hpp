// The one rule for kernels that demand a sub-group size: they run only on a device that lists
// that size. A compiler may ignore the attribute that demands it, and the kernel would then run
// with sub-groups it was not written for, so plans and launchers ask the device first. Plans
// take the device's sizes as a value (sub_group_offer) and choose a kernel that needs none where
// one exists; launchers refuse with unsupported_device as the last guard.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <orvane/vrt/sparse.hpp>
#include <string>
#include <sycl/sycl.hpp>

namespace orvane::vrt::sparse::gpu {

// The sub-group sizes of a device, as plain data for the plans: one bit per power of two up to
// 64 (the widest any kernel asks for is 32).
struct sub_group_offer {
  std::uint32_t sizes = 0;

  static constexpr bool representable(std::size_t size) {
    return size != 0 && size <= 64 && (size & (size - 1)) == 0;
  }
  static constexpr std::uint32_t bit(std::size_t size) {
    return representable(size) ? std::uint32_t{1} << std::countr_zero(size) : 0;
  }
  constexpr bool has(std::int64_t size) const {
    return size > 0 && (sizes & bit(static_cast<std::size_t>(size))) != 0;
  }

  static constexpr sub_group_offer of_sizes(std::initializer_list<std::size_t> list) {
    sub_group_offer o;
    for (std::size_t s : list) o.sizes |= bit(s);
    return o;
  }
  static sub_group_offer of(const sycl::device& device) {
    sub_group_offer o;
    for (std::size_t s : device.get_info<sycl::info::device::sub_group_sizes>()) o.sizes |= bit(s);
    return o;
  }
};

inline bool supports_sub_group_size(const sycl::device& device, std::size_t size) {
  return sub_group_offer::of(device).has(static_cast<std::int64_t>(size));
}

// unsupported_device naming the routine when the device lacks the size.
inline void require_sub_group_size(const sycl::queue& queue, std::size_t size,
                                   const std::string& routine) {
  if (!supports_sub_group_size(queue.get_device(), size))
    throw unsupported_device("sparse", routine, queue.get_device());
}

}  // namespace orvane::vrt::sparse::gpu
