// Moving small tables between the host and a container of either memory model.
#pragma once

#include <algorithm>
#include <cstddef>
#include <sycl/sycl.hpp>
#include <vector>

#include "containers/views.hpp"

namespace orvane::vrt::sparse::gpu {

// The first count entries of a container, once the work writing them has finished.
template <typename T, containerType C>
std::vector<T> read_back(sycl::queue& queue, container_t<C, T> src, std::size_t count,
                         const std::vector<sycl::event>& deps) {
  std::vector<T> out(count);
  copy_to_host<T, C>(queue, src, 0, count, out.data(), deps);
  return out;
}

// Writes a host container: host USM directly, a buffer through a host accessor.
template <typename T, containerType C>
void write_host(container_t<C, T> dst, const std::vector<T>& values) {
  if (values.empty()) return;
  if constexpr (C == container_usm) {
    std::copy(values.begin(), values.end(), dst);
  } else {
    sycl::host_accessor acc(*dst, sycl::write_only);
    std::copy(values.begin(), values.end(), acc.get_pointer());
  }
}

// The device copy of a host table. A buffer serves host and device alike, so the buffer form
// has nothing to copy: its device copy is the host container itself.
template <typename T, containerType C>
sycl::event copy_host_to_device(sycl::queue& queue, container_t<C, T> host,
                                container_t<C, T> device, std::size_t count) {
  if constexpr (C == container_usm) {
    if (count > 0) return queue.memcpy(device, host, count * sizeof(T));
  }
  (void)queue;
  (void)host;
  (void)device;
  (void)count;
  return sycl::event();
}

}  // namespace orvane::vrt::sparse::gpu
