// Containers that kernels update with atomics. A device cannot add into host USM, so these take
// device USM (or a buffer) without the host fall-back of allocate_device_container.
#pragma once

#include <cstddef>
#include <orvane/vrt/sparse.hpp>
#include <sycl/sycl.hpp>

#include "common/internal_types.hpp"

namespace orvane::vrt::sparse {

// Null when the memory cannot be had.
template <typename T>
void* allocate_atomic_container(std::size_t count, sycl::queue& queue, containerType container);

// device_bad_alloc("sparse", function) when the memory cannot be had.
template <typename T>
void* allocate_atomic_or_throw(std::size_t count, sycl::queue& queue, containerType container,
                               const char* function) {
  void* memory = allocate_atomic_container<T>(count, queue, container);
  if (memory == nullptr) throw device_bad_alloc("sparse", function, queue.get_device());
  return memory;
}

}  // namespace orvane::vrt::sparse
