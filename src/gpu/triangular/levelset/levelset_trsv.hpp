// The level-set solve of one triangle, run by trsv once the triangle has been coloured.
#pragma once

#include <orvane/vrt/sparse.hpp>
#include <sycl/sycl.hpp>
#include <vector>

#include "containers/views.hpp"
#include "gpu/triangular/triangle_side.hpp"
#include "handle/handle.hpp"

namespace orvane::vrt::sparse::gpu {

// y = the solution of T y = alpha x for the coloured triangle of `side` (the handle's
// coloring_lower or coloring_upper).
template <typename T, typename I, containerType C>
sycl::event levelset_trsv(sycl::queue& queue, triangle side, diag diagonal, T alpha,
                          matrix_handle* handle, container_t<C, T> x, container_t<C, T> y,
                          const std::vector<sycl::event>& deps);

}  // namespace orvane::vrt::sparse::gpu
