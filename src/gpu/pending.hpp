// Device routines whose kernel families have not landed yet. Each refuses with `unimplemented`
// naming its routine; a family that lands removes its definition here and defines the template
// in its own folder.
#pragma once

#include <orvane/vrt/sparse.hpp>

#include "gpu/entry_points.hpp"
#include "gpu/mv/csr/gemv_operands.hpp"

namespace orvane::vrt::sparse::gpu {

template <typename T, typename I, containerType C>
sycl::event gemvdot_impl(sycl::queue&, transpose, T, matrix_handle*, container_t<C, T>, T,
                         container_t<C, T>, container_t<C, T>, const event_list&) {
  throw unimplemented("sparse", "gemvdot");
}

template <typename T, typename I, containerType C>
sycl::event symv_impl(sycl::queue&, uplo, T, matrix_handle*, container_t<C, T>, T,
                      container_t<C, T>, const event_list&) {
  throw unimplemented("sparse", "symv");
}

template <typename T, typename I, containerType C>
sycl::event trmv_impl(sycl::queue&, uplo, transpose, diag, T, matrix_handle*, container_t<C, T>,
                      T, container_t<C, T>, const event_list&) {
  throw unimplemented("sparse", "trmv");
}

template <typename T, typename I, containerType C>
sycl::event trsv_impl(sycl::queue&, uplo, transpose, diag, T, matrix_handle*, container_t<C, T>,
                      container_t<C, T>, const event_list&) {
  throw unimplemented("sparse", "trsv");
}

template <typename T, typename I, containerType C>
sycl::event trsm_impl(sycl::queue&, layout, transpose, transpose, uplo, diag, T, matrix_handle*,
                      container_t<C, T>, std::int64_t, std::int64_t, container_t<C, T>,
                      std::int64_t, const event_list&) {
  throw unimplemented("sparse", "trsm");
}

template <typename T, typename I, containerType C>
sycl::event optimize_gemv_impl(sycl::queue&, transpose, matrix_handle*, const event_list&) {
  throw unimplemented("sparse", "optimize_gemv");
}

template <typename T, typename I, containerType C>
sycl::event optimize_trmv_impl(sycl::queue&, uplo, transpose, diag, matrix_handle*,
                               const event_list&) {
  throw unimplemented("sparse", "optimize_trmv");
}

template <typename T, typename I, containerType C>
sycl::event optimize_trsv_impl(sycl::queue&, uplo, transpose, diag, matrix_handle*,
                               const event_list&) {
  throw unimplemented("sparse", "optimize_trsv");
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

// The column-oriented product of a transposed operation on the primary structure.
namespace csc {
template <typename T, typename I, containerType C>
sycl::event gemv_impl(sycl::queue&, bool, T, sparseStructure*, container_t<C, T>, T,
                      container_t<C, T>, const event_list&) {
  throw unimplemented("sparse", "gemv");
}
}  // namespace csc

namespace coo {
template <typename T, typename I, containerType C>
sycl::event gemv_impl(sycl::queue&, transpose, T, sparseStructure*, container_t<C, T>, T,
                      container_t<C, T>, const event_list&) {
  throw unimplemented("sparse", "gemv");
}
}  // namespace coo

// CSR kernel families that plans of architecture codes 3, 4 and 6 and optimize_gemv name.
namespace csr {
template <typename T, typename I, containerType C>
sycl::event gemv_with_subgroup(sycl::queue&, const gemvInternalData&,
                               const gemv_operands<T, I, C>&, const event_list&) {
  throw unimplemented("sparse", "gemv", "sub-group kernels are not available yet");
}

template <typename T, typename I, containerType C>
sycl::event gemv_with_esimd(sycl::queue&, const gemvInternalData&,
                            const gemv_operands<T, I, C>&, const event_list&) {
  throw unimplemented("sparse", "gemv", "explicit-SIMD kernels are not available yet");
}

template <typename T, typename I, containerType C>
sycl::event gemv_merge_based_subgroup(sycl::queue&, const gemvInternalData&,
                                      const gemv_operands<T, I, C>&, const event_list&) {
  throw unimplemented("sparse", "gemv", "merge-path kernels are not available yet");
}
}  // namespace csr

}  // namespace orvane::vrt::sparse::gpu
