// How one kernel body serves both memory models: a container is a USM pointer or a buffer; in a
// command group a buffer becomes an accessor, and inside the kernel both read as raw pointers.
#pragma once

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

}  // namespace orvane::vrt::sparse
