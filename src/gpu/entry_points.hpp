// The device backend's entry points: what the public frames call for a queue whose device is
// not a CPU. Each is a template over value type T, index type I and memory model C; the
// families define them and instantiate all sixteen variants.
#pragma once

#include <cstdint>
#include <vector>

#include <sycl/sycl.hpp>

#include <orvane/vrt/sparse.hpp>

#include "common/variants.hpp"
#include "containers/views.hpp"
#include "handle/handle.hpp"
#include "handle/matmat_descr.hpp"

namespace orvane::vrt::sparse::gpu {

using event_list = std::vector<sycl::event>;

template <typename T, typename I, containerType C>
sycl::event gemv_impl(sycl::queue& queue, transpose op, T alpha, matrix_handle* A,
                      container_t<C, T> x, T beta, container_t<C, T> y, const event_list& deps);
template <typename T, typename I, containerType C>
sycl::event gemvdot_impl(sycl::queue& queue, transpose op, T alpha, matrix_handle* A,
                         container_t<C, T> x, T beta, container_t<C, T> y, container_t<C, T> d,
                         const event_list& deps);
template <typename T, typename I, containerType C>
sycl::event symv_impl(sycl::queue& queue, uplo triangle, T alpha, matrix_handle* A,
                      container_t<C, T> x, T beta, container_t<C, T> y, const event_list& deps);
template <typename T, typename I, containerType C>
sycl::event trmv_impl(sycl::queue& queue, uplo triangle, transpose op, diag diagonal, T alpha,
                      matrix_handle* A, container_t<C, T> x, T beta, container_t<C, T> y,
                      const event_list& deps);
template <typename T, typename I, containerType C>
sycl::event trsv_impl(sycl::queue& queue, uplo triangle, transpose op, diag diagonal, T alpha,
                      matrix_handle* A, container_t<C, T> x, container_t<C, T> y,
                      const event_list& deps);
template <typename T, typename I, containerType C>
sycl::event trsm_impl(sycl::queue& queue, layout dense_layout, transpose opA, transpose opX,
                      uplo triangle, diag diagonal, T alpha, matrix_handle* A,
                      container_t<C, T> x, std::int64_t columns, std::int64_t ldx,
                      container_t<C, T> y, std::int64_t ldy, const event_list& deps);
template <typename T, typename I, containerType C>
sycl::event gemm_impl(sycl::queue& queue, layout dense_layout, transpose opA, transpose opB,
                      T alpha, matrix_handle* A, container_t<C, T> b, std::int64_t columns,
                      std::int64_t ldb, T beta, container_t<C, T> c, std::int64_t ldc,
                      const event_list& deps);
template <typename T, typename I, containerType C>
sycl::event optimize_gemv_impl(sycl::queue& queue, transpose op, matrix_handle* A,
                               const event_list& deps);
template <typename T, typename I, containerType C>
sycl::event optimize_trmv_impl(sycl::queue& queue, uplo triangle, transpose op, diag diagonal,
                               matrix_handle* A, const event_list& deps);
template <typename T, typename I, containerType C>
sycl::event optimize_trsv_impl(sycl::queue& queue, uplo triangle, transpose op, diag diagonal,
                               matrix_handle* A, const event_list& deps);
// columns < 0: the form without a dense layout and column count.
template <typename T, typename I, containerType C>
sycl::event optimize_trsm_impl(sycl::queue& queue, layout dense_layout, uplo triangle,
                               transpose op, diag diagonal, matrix_handle* A,
                               std::int64_t columns, const event_list& deps);
template <typename T, typename I, containerType C>
sycl::event sort_matrix_impl(sycl::queue& queue, matrix_handle* A, const event_list& deps);
template <typename T, typename I, containerType C>
sycl::event omatcopy_impl(sycl::queue& queue, transpose op, matrix_handle* A, matrix_handle* B,
                          const event_list& deps);
// The explicit transpose or conjugate transpose of A into B (B may be A itself).
template <typename T, typename I, containerType C>
sycl::event make_transpose_impl(sycl::queue& queue, transpose op, matrix_handle* A,
                                matrix_handle* B, const event_list& deps);
template <typename T, typename I, containerType C>
sycl::event update_diagonal_values_impl(sycl::queue& queue, matrix_handle* A,
                                        std::int64_t length, container_t<C, T> diagonal,
                                        const event_list& deps);
// The staged product reads the handles' value type at run time.
template <typename I, containerType C>
sycl::event matmat_impl(sycl::queue& queue, matrix_handle* A, matrix_handle* B,
                        matrix_handle* C_, matmat_request request, matmat_descr* descr,
                        container_t<C, std::int64_t> sizeTempBuffer,
                        container_t<C, std::uint8_t> tempBuffer, const event_list& deps);

VRT_NAME_VARIANTS(gemv_impl)
VRT_NAME_VARIANTS(sort_matrix_impl)
VRT_NAME_VARIANTS(omatcopy_impl)
VRT_NAME_VARIANTS(make_transpose_impl)

}  // namespace orvane::vrt::sparse::gpu
