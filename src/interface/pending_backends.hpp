// Backend entry points whose implementation has not landed yet. Each refuses with
// `unimplemented` naming its routine; a family's implementation removes its line here and
// instantiates the real template in its own translation unit.
#pragma once

#include <orvane/vrt/sparse.hpp>

#include "interface/backends.hpp"

namespace orvane::vrt::sparse {

using event_list = std::vector<sycl::event>;

#define VRT_PENDING_ENTRY(NAME, WORD, ...)                       \
  template <typename T, typename I, containerType C>             \
  sycl::event NAME(__VA_ARGS__) {                                \
    throw unimplemented("sparse", WORD);                         \
  }

namespace gpu {
VRT_PENDING_ENTRY(gemvdot_impl, "gemvdot",
                  sycl::queue&, transpose, T, matrix_handle*, container_t<C, T>, T, container_t<C, T>, container_t<C, T>, const event_list&)
VRT_PENDING_ENTRY(symv_impl, "symv",
                  sycl::queue&, uplo, T, matrix_handle*, container_t<C, T>, T, container_t<C, T>, const event_list&)
VRT_PENDING_ENTRY(trmv_impl, "trmv",
                  sycl::queue&, uplo, transpose, diag, T, matrix_handle*, container_t<C, T>, T, container_t<C, T>, const event_list&)
VRT_PENDING_ENTRY(trsv_impl, "trsv",
                  sycl::queue&, uplo, transpose, diag, T, matrix_handle*, container_t<C, T>, container_t<C, T>, const event_list&)
VRT_PENDING_ENTRY(trsm_impl, "trsm",
                  sycl::queue&, layout, transpose, transpose, uplo, diag, T, matrix_handle*, container_t<C, T>, std::int64_t, std::int64_t, container_t<C, T>, std::int64_t, const event_list&)
VRT_PENDING_ENTRY(gemm_impl, "gemm",
                  sycl::queue&, layout, transpose, transpose, T, matrix_handle*, container_t<C, T>, std::int64_t, std::int64_t, T, container_t<C, T>, std::int64_t, const event_list&)
VRT_PENDING_ENTRY(optimize_gemv_impl, "optimize_gemv",
                  sycl::queue&, transpose, matrix_handle*, const event_list&)
VRT_PENDING_ENTRY(optimize_trmv_impl, "optimize_trmv",
                  sycl::queue&, uplo, transpose, diag, matrix_handle*, const event_list&)
VRT_PENDING_ENTRY(optimize_trsv_impl, "optimize_trsv",
                  sycl::queue&, uplo, transpose, diag, matrix_handle*, const event_list&)
VRT_PENDING_ENTRY(optimize_trsm_impl, "optimize_trsm",
                  sycl::queue&, layout, uplo, transpose, diag, matrix_handle*, std::int64_t, const event_list&)
VRT_PENDING_ENTRY(update_diagonal_values_impl, "update_diagonal_values",
                  sycl::queue&, matrix_handle*, std::int64_t, container_t<C, T>, const event_list&)
}  // namespace gpu

#undef VRT_PENDING_ENTRY

template <typename I, containerType C>
sycl::event gpu::matmat_impl(sycl::queue&, matrix_handle*, matrix_handle*, matrix_handle*,
                             matmat_request, matmat_descr*, container_t<C, std::int64_t>,
                             container_t<C, std::uint8_t>, const event_list&) {
  throw unimplemented("sparse", "matmat");
}

}  // namespace orvane::vrt::sparse
