// Where the caller's y lives, for the kernels that would add into it with device atomics.
#pragma once

#include <sycl/sycl.hpp>

#include "containers/views.hpp"

namespace orvane::vrt::sparse::gpu {

// The USM kind of y; buffers count as device memory.
template <containerType C, typename T>
sycl::usm::alloc y_memory(sycl::queue& queue, container_t<C, T> y) {
  if constexpr (C == container_usm)
    return sycl::get_pointer_type(y, queue.get_context());
  else
    return sycl::usm::alloc::device;
}

// Host USM cannot take device atomics; memory the context does not know is treated alike.
template <containerType C, typename T>
bool y_refuses_atomics(sycl::queue& queue, container_t<C, T> y) {
  const sycl::usm::alloc kind = y_memory<C, T>(queue, y);
  return kind == sycl::usm::alloc::host || kind == sycl::usm::alloc::unknown;
}

}  // namespace orvane::vrt::sparse::gpu
