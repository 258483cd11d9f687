// Device routines whose kernel families have not landed yet. Each refuses with `unimplemented`
// naming its routine; a family that lands removes its definition here and defines the template
// in its own folder.
#pragma once

#include <orvane/vrt/sparse.hpp>

#include "gpu/entry_points.hpp"

namespace orvane::vrt::sparse::gpu {

template <typename I, containerType C>
sycl::event matmat_impl(sycl::queue&, matrix_handle*, matrix_handle*, matrix_handle*,
                        matmat_request, matmat_descr*, container_t<C, std::int64_t>,
                        container_t<C, std::uint8_t>, const event_list&) {
  throw unimplemented("sparse", "matmat");
}

}  // namespace orvane::vrt::sparse::gpu
