// Device routines whose kernel families have not landed yet. Each refuses with `unimplemented`
// naming its routine; a family that lands removes its definition here and defines the template
// in its own folder.
#pragma once

#include <orvane/vrt/sparse.hpp>

#include "gpu/entry_points.hpp"

namespace orvane::vrt::sparse::gpu {

template <typename T, typename I, containerType C>
sycl::event trsm_impl(sycl::queue&, layout, transpose, transpose, uplo, diag, T, matrix_handle*,
                      container_t<C, T>, std::int64_t, std::int64_t, container_t<C, T>,
                      std::int64_t, const event_list&) {
  throw unimplemented("sparse", "trsm");
}

template <typename T, typename I, containerType C>
sycl::event optimize_trsm_impl(sycl::queue&, layout, uplo, transpose, diag, matrix_handle*,
                               std::int64_t, const event_list&) {
  throw unimplemented("sparse", "optimize_trsm");
}

template <typename T, typename I, containerType C>
sycl::event update_diagonal_values_impl(sycl::queue&, matrix_handle*, std::int64_t,
                                        container_t<C, T>, const event_list&) {
  throw unimplemented("sparse", "update_diagonal_values");
}

template <typename I, containerType C>
sycl::event matmat_impl(sycl::queue&, matrix_handle*, matrix_handle*, matrix_handle*,
                        matmat_request, matmat_descr*, container_t<C, std::int64_t>,
                        container_t<C, std::uint8_t>, const event_list&) {
  throw unimplemented("sparse", "matmat");
}

}  // namespace orvane::vrt::sparse::gpu
