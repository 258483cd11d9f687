// How one kernel body serves both memory models: a container is a USM pointer or a buffer; in a
// command group a buffer becomes an accessor, and inside the kernel both read as raw pointers.
#pragma once

#include <algorithm>
#include <cstddef>
#include <type_traits>
#include <vector>

#include <sycl/sycl.hpp>

#include "common/internal_types.hpp"

namespace orvane::vrt::sparse {

template <containerType C, typename T>
using container_t = std::conditional_t<C == container_usm, T*, sycl::buffer<T, 1>*>;

template <containerType C, typename T>
container_t<C, T> as_container(void* slot) {
  return static_cast<container_t<C, T>>(slot);
}

// USM pointers pass through a command group unchanged.
template <typename T, typename Mode>
T* bind(sycl::handler&, T* pointer, Mode) {
  return pointer;
}
template <typename T, typename Mode>
auto bind(sycl::handler& h, sycl::buffer<T, 1>* buffer, Mode mode) {
  return sycl::accessor(*buffer, h, mode);
}

template <typename T>
T* raw(T* pointer) {
  return pointer;
}
template <typename Accessor>
auto raw(const Accessor& accessor) {
  return accessor.template get_multi_ptr<sycl::access::decorated::no>().get();
}

// USM work orders itself by events; buffer work by its accessors.
template <containerType C>
void depend_on(sycl::handler& h, const std::vector<sycl::event>& deps) {
  if constexpr (C == container_usm) h.depends_on(deps);
}

// Copies count entries of a container from entry first into out on the host, once the work in
// deps has finished: USM of any kind is copied by the queue, a buffer read through a host
// accessor (which waits for the work writing it).
template <typename T, containerType C>
void copy_to_host(sycl::queue& queue, container_t<C, T> src, std::size_t first, std::size_t count,
                  T* out, const std::vector<sycl::event>& deps) {
  if (count == 0) return;
  if constexpr (C == container_usm) {
    queue.memcpy(out, src + first, count * sizeof(T), deps).wait();
  } else {
    (void)queue;
    (void)deps;
    sycl::host_accessor acc(*src, sycl::read_only);
    std::copy_n(acc.get_pointer() + first, count, out);
  }
}

// One entry of a container (the first by default), read on the host as copy_to_host does.
template <typename T, containerType C>
T read_on_host(sycl::queue& queue, container_t<C, T> src, const std::vector<sycl::event>& deps,
               std::size_t index = 0) {
  T value{};
  copy_to_host<T, C>(queue, src, index, 1, &value, deps);
  return value;
}

// ---- the frames' view of the two memory models ------------------------------------------------

// A caller's container is missing when a USM pointer is null or a buffer holds no bytes.
template <typename T>
bool present(const T* pointer) {
  return pointer != nullptr;
}
template <typename T>
bool present(const sycl::buffer<T, 1>& buffer) {
  return buffer.byte_size() != 0;
}
template <typename T>
bool present(const sycl::buffer<T, 1>* buffer) {
  return buffer->byte_size() != 0;
}

// Buffer work has no event chain: dependencies given to a routine on buffers are honoured by
// waiting for them before it starts. USM work takes them as events.
inline void wait_for_deps_of_buffers(sycl::queue& queue, containerType container,
                                     const std::vector<sycl::event>& deps) {
  if (container != container_buffer || deps.empty()) return;
  queue
      .submit([&](sycl::handler& h) {
        h.depends_on(deps);
        h.host_task([] {});
      })
      .wait();
}

}  // namespace orvane::vrt::sparse
