// Internal vocabulary shared by every layer: how a container is stored.
#pragma once

#include <cstdint>

namespace orvane::vrt::sparse {

// A container is one void*: a sycl::buffer<T, 1>* or a USM pointer.
enum containerType : std::int32_t { container_buffer = 0, container_usm = 1 };

}  // namespace orvane::vrt::sparse
