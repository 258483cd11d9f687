// Entry points of the two backends. A public routine checks its arguments, dispatches by device
// (CPU queues to cpu::, every other device to gpu::) and by the handle's types to these.
// Each is a template over value type T, index type I and memory model C, instantiated for the
// sixteen variants of both memory models.
#pragma once

#include <cstdint>
#include <vector>

#include <sycl/sycl.hpp>

#include <orvane/vrt/sparse.hpp>

#include "containers/views.hpp"
#include "interface/handle.hpp"

namespace orvane::vrt::sparse {

struct matmat_descr;

#define VRT_BACKEND_ENTRY_POINTS                                                                \
  template <typename T, typename I, containerType C>                                            \
  sycl::event gemv_impl(sycl::queue& queue, transpose op, T alpha, matrix_handle* A,            \
                        container_t<C, T> x, T beta, container_t<C, T> y,                       \
                        const std::vector<sycl::event>& deps);                                  \
  template <typename T, typename I, containerType C>                                            \
  sycl::event gemvdot_impl(sycl::queue& queue, transpose op, T alpha, matrix_handle* A,         \
                           container_t<C, T> x, T beta, container_t<C, T> y,                    \
                           container_t<C, T> d, const std::vector<sycl::event>& deps);          \
  template <typename T, typename I, containerType C>                                            \
  sycl::event symv_impl(sycl::queue& queue, uplo triangle, T alpha, matrix_handle* A,           \
                        container_t<C, T> x, T beta, container_t<C, T> y,                       \
                        const std::vector<sycl::event>& deps);                                  \
  template <typename T, typename I, containerType C>                                            \
  sycl::event trmv_impl(sycl::queue& queue, uplo triangle, transpose op, diag diagonal,         \
                        T alpha, matrix_handle* A, container_t<C, T> x, T beta,                 \
                        container_t<C, T> y, const std::vector<sycl::event>& deps);             \
  template <typename T, typename I, containerType C>                                            \
  sycl::event trsv_impl(sycl::queue& queue, uplo triangle, transpose op, diag diagonal,         \
                        T alpha, matrix_handle* A, container_t<C, T> x, container_t<C, T> y,    \
                        const std::vector<sycl::event>& deps);                                  \
  template <typename T, typename I, containerType C>                                            \
  sycl::event trsm_impl(sycl::queue& queue, layout dense_layout, transpose opA, transpose opX,  \
                        uplo triangle, diag diagonal, T alpha, matrix_handle* A,                \
                        container_t<C, T> x, std::int64_t columns, std::int64_t ldx,            \
                        container_t<C, T> y, std::int64_t ldy,                                  \
                        const std::vector<sycl::event>& deps);                                  \
  template <typename T, typename I, containerType C>                                            \
  sycl::event gemm_impl(sycl::queue& queue, layout dense_layout, transpose opA, transpose opB,  \
                        T alpha, matrix_handle* A, container_t<C, T> b, std::int64_t columns,   \
                        std::int64_t ldb, T beta, container_t<C, T> c, std::int64_t ldc,        \
                        const std::vector<sycl::event>& deps);                                  \
  template <typename T, typename I, containerType C>                                            \
  sycl::event optimize_gemv_impl(sycl::queue& queue, transpose op, matrix_handle* A,            \
                                 const std::vector<sycl::event>& deps);                         \
  template <typename T, typename I, containerType C>                                            \
  sycl::event optimize_trmv_impl(sycl::queue& queue, uplo triangle, transpose op,               \
                                 diag diagonal, matrix_handle* A,                               \
                                 const std::vector<sycl::event>& deps);                         \
  template <typename T, typename I, containerType C>                                            \
  sycl::event optimize_trsv_impl(sycl::queue& queue, uplo triangle, transpose op,               \
                                 diag diagonal, matrix_handle* A,                               \
                                 const std::vector<sycl::event>& deps);                         \
  /* columns < 0: the form without a dense layout and column count. */                          \
  template <typename T, typename I, containerType C>                                            \
  sycl::event optimize_trsm_impl(sycl::queue& queue, layout dense_layout, uplo triangle,        \
                                 transpose op, diag diagonal, matrix_handle* A,                 \
                                 std::int64_t columns, const std::vector<sycl::event>& deps);   \
  template <typename T, typename I, containerType C>                                            \
  sycl::event sort_matrix_impl(sycl::queue& queue, matrix_handle* A,                            \
                               const std::vector<sycl::event>& deps);                           \
  template <typename T, typename I, containerType C>                                            \
  sycl::event omatcopy_impl(sycl::queue& queue, transpose op, matrix_handle* A,                 \
                            matrix_handle* B, const std::vector<sycl::event>& deps);            \
  template <typename I, containerType C>                                                        \
  sycl::event matmat_impl(sycl::queue& queue, matrix_handle* A, matrix_handle* B,               \
                          matrix_handle* C_, matmat_request request, matmat_descr* descr,       \
                          container_t<C, std::int64_t> sizeTempBuffer,                          \
                          container_t<C, std::uint8_t> tempBuffer,                              \
                          const std::vector<sycl::event>& deps);

namespace gpu {
VRT_BACKEND_ENTRY_POINTS
// Builds the explicit transpose or conjugate transpose of A into B (B may be A itself).
template <typename T, typename I, containerType C>
sycl::event make_transpose_impl(sycl::queue& queue, transpose op, matrix_handle* A,
                                matrix_handle* B, const std::vector<sycl::event>& deps);
template <typename T, typename I, containerType C>
sycl::event update_diagonal_values_impl(sycl::queue& queue, matrix_handle* A, std::int64_t length,
                                        container_t<C, T> diagonal,
                                        const std::vector<sycl::event>& deps);
}  // namespace gpu

namespace cpu {
VRT_BACKEND_ENTRY_POINTS
template <typename T, typename I, containerType C>
sycl::event make_transpose_impl(sycl::queue& queue, transpose op, matrix_handle* A,
                                matrix_handle* B, const std::vector<sycl::event>& deps);
}  // namespace cpu

#undef VRT_BACKEND_ENTRY_POINTS

}  // namespace orvane::vrt::sparse
