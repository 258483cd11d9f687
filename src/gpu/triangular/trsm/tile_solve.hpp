// The tile solve of trsm over the coloured triangle of one side, run once the triangle has been
// analysed (by optimize_trsm or optimize_trsv).
#pragma once

#include <cstdint>
#include <orvane/vrt/sparse.hpp>
#include <sycl/sycl.hpp>
#include <vector>

#include "containers/views.hpp"
#include "gpu/triangular/triangle_side.hpp"
#include "handle/handle.hpp"

namespace orvane::vrt::sparse::gpu {

// Y = the solution of T Y = alpha X for the coloured triangle of `side`.
template <typename T, typename I, containerType C>
sycl::event opt_trsm(sycl::queue& queue, triangle side, layout dense_layout, diag diagonal, T alpha,
                     matrix_handle* handle, container_t<C, T> x, std::int64_t columns,
                     std::int64_t ldx, container_t<C, T> y, std::int64_t ldy,
                     const std::vector<sycl::event>& deps);

}  // namespace orvane::vrt::sparse::gpu
