// The level-set solve of one triangle, run by trsv once the triangle has been coloured.
#pragma once

#include <vector>

#include <sycl/sycl.hpp>

#include <orvane/vrt/sparse.hpp>

#include "containers/views.hpp"
#include "handle/handle.hpp"

namespace orvane::vrt::sparse::gpu {

template <typename T, typename I, containerType C>
sycl::event levelsetTrsvLower_impl(sycl::queue& queue, uplo uplo_val, transpose op, diag diag_val,
                                   T alpha, matrix_handle* handle, container_t<C, T> x,
                                   container_t<C, T> y, const std::vector<sycl::event>& deps);

template <typename T, typename I, containerType C>
sycl::event levelsetTrsvUpper_impl(sycl::queue& queue, uplo uplo_val, transpose op, diag diag_val,
                                   T alpha, matrix_handle* handle, container_t<C, T> x,
                                   container_t<C, T> y, const std::vector<sycl::event>& deps);

}  // namespace orvane::vrt::sparse::gpu
