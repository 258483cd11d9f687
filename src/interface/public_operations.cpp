// The definitions of the public overloads declared in <orvane/vrt/sparse.hpp>, one macro for all
// value and index types. Each forwards to its routine's frame (operation_frames.hpp), where the
// argument tests and the dispatch live: the buffer forms pass the address of the caller's buffer
// (and no deps: buffers order themselves), the USM forms the pointer. Routines that exist once
// for all types (handle, analysis, format and matmat) are defined in their frame files.
#include <orvane/vrt/sparse.hpp>

#include "common/variants.hpp"
#include "interface/operation_frames.hpp"

namespace orvane::vrt::sparse {

// The bindings of value type T with index type I.
#define VRT_PUBLIC_BINDING(p, T, i, I, unused)                                                    \
  void set_csr_data(matrix_handle_t handle, I nrows, I ncols, index_base index,                   \
                    sycl::buffer<I, 1>& row_ptr, sycl::buffer<I, 1>& col_ind,                     \
                    sycl::buffer<T, 1>& values) {                                                 \
    set_csr_data_no_queue<T, I>(handle, nrows, ncols, index, row_ptr, col_ind, values);           \
  }                                                                                               \
  void set_csr_data(sycl::queue& queue, matrix_handle_t handle, I nrows, I ncols,                 \
                    index_base index, sycl::buffer<I, 1>& row_ptr, sycl::buffer<I, 1>& col_ind,   \
                    sycl::buffer<T, 1>& values) {                                                 \
    set_csr_data_buffer<T, I>(queue, handle, nrows, ncols, index, row_ptr, col_ind, values);      \
  }                                                                                               \
  void set_csr_data(matrix_handle_t handle, I nrows, I ncols, index_base index, I* row_ptr,       \
                    I* col_ind, T* values) {                                                      \
    set_csr_data_no_queue<T, I>(handle, nrows, ncols, index, row_ptr, col_ind, values);           \
  }                                                                                               \
  sycl::event set_csr_data(sycl::queue& queue, matrix_handle_t handle, I nrows, I ncols,          \
                           index_base index, I* row_ptr, I* col_ind, T* values,                   \
                           const event_list& deps) {                                              \
    return set_csr_data_usm<T, I>(queue, handle, nrows, ncols, index, row_ptr, col_ind, values,   \
                                  deps);                                                          \
  }                                                                                               \
  void set_coo_data(sycl::queue& queue, matrix_handle_t handle, I nrows, I ncols, I nnz,          \
                    index_base index, sycl::buffer<I, 1>& row_ind, sycl::buffer<I, 1>& col_ind,   \
                    sycl::buffer<T, 1>& values) {                                                 \
    set_coo_data_buffer<T, I>(queue, handle, nrows, ncols, nnz, index, row_ind, col_ind, values); \
  }                                                                                               \
  sycl::event set_coo_data(sycl::queue& queue, matrix_handle_t handle, I nrows, I ncols, I nnz,   \
                           index_base index, I* row_ind, I* col_ind, T* values,                   \
                           const event_list& deps) {                                              \
    return set_coo_data_usm<T, I>(queue, handle, nrows, ncols, nnz, index, row_ind, col_ind,      \
                                  values, deps);                                                  \
  }

// The operations of value type T; const USM inputs are read only by the frames.
#define VRT_PUBLIC_OPERATIONS(p, T, unused)                                                        \
  void gemv(sycl::queue& queue, transpose op, T alpha, matrix_handle_t A, sycl::buffer<T, 1>& x,   \
            T beta, sycl::buffer<T, 1>& y) {                                                       \
    gemv_frame<T, container_buffer>(queue, op, alpha, A, &x, beta, &y, {});                        \
  }                                                                                                \
  sycl::event gemv(sycl::queue& queue, transpose op, T alpha, matrix_handle_t A, const T* x,       \
                   T beta, T* y, const event_list& deps) {                                         \
    return gemv_frame<T, container_usm>(queue, op, alpha, A, const_cast<T*>(x), beta, y, deps);    \
  }                                                                                                \
  void gemvdot(sycl::queue& queue, transpose op, T alpha, matrix_handle_t A,                       \
               sycl::buffer<T, 1>& x, T beta, sycl::buffer<T, 1>& y, sycl::buffer<T, 1>& d) {      \
    gemvdot_frame<T, container_buffer>(queue, op, alpha, A, &x, beta, &y, &d, {});                 \
  }                                                                                                \
  sycl::event gemvdot(sycl::queue& queue, transpose op, T alpha, matrix_handle_t A, T* x, T beta,  \
                      T* y, T* d, const event_list& deps) {                                        \
    return gemvdot_frame<T, container_usm>(queue, op, alpha, A, x, beta, y, d, deps);              \
  }                                                                                                \
  void symv(sycl::queue& queue, uplo triangle, T alpha, matrix_handle_t A, sycl::buffer<T, 1>& x,  \
            T beta, sycl::buffer<T, 1>& y) {                                                       \
    symv_frame<T, container_buffer>(queue, triangle, alpha, A, &x, beta, &y, {});                  \
  }                                                                                                \
  sycl::event symv(sycl::queue& queue, uplo triangle, T alpha, matrix_handle_t A, T* x, T beta,    \
                   T* y, const event_list& deps) {                                                 \
    return symv_frame<T, container_usm>(queue, triangle, alpha, A, x, beta, y, deps);              \
  }                                                                                                \
  void trmv(sycl::queue& queue, uplo triangle, transpose op, diag diagonal, T alpha,               \
            matrix_handle_t A, sycl::buffer<T, 1>& x, T beta, sycl::buffer<T, 1>& y) {             \
    trmv_frame<T, container_buffer>(queue, triangle, op, diagonal, alpha, A, &x, beta, &y, {});    \
  }                                                                                                \
  sycl::event trmv(sycl::queue& queue, uplo triangle, transpose op, diag diagonal, T alpha,        \
                   matrix_handle_t A, T* x, T beta, T* y, const event_list& deps) {                \
    return trmv_frame<T, container_usm>(queue, triangle, op, diagonal, alpha, A, x, beta, y,       \
                                        deps);                                                     \
  }                                                                                                \
  void trsv(sycl::queue& queue, uplo triangle, transpose op, diag diagonal, T alpha,               \
            matrix_handle_t A, sycl::buffer<T, 1>& x, sycl::buffer<T, 1>& y) {                     \
    trsv_frame<T, container_buffer>(queue, triangle, op, diagonal, alpha, A, &x, &y, {});          \
  }                                                                                                \
  void trsv(sycl::queue& queue, uplo triangle, transpose op, diag diagonal, matrix_handle_t A,     \
            sycl::buffer<T, 1>& x, sycl::buffer<T, 1>& y) {                                        \
    trsv_frame<T, container_buffer>(queue, triangle, op, diagonal, T(1), A, &x, &y, {});           \
  }                                                                                                \
  sycl::event trsv(sycl::queue& queue, uplo triangle, transpose op, diag diagonal, T alpha,        \
                   matrix_handle_t A, T* x, T* y, const event_list& deps) {                        \
    return trsv_frame<T, container_usm>(queue, triangle, op, diagonal, alpha, A, x, y, deps);      \
  }                                                                                                \
  sycl::event trsv(sycl::queue& queue, uplo triangle, transpose op, diag diagonal,                 \
                   matrix_handle_t A, T* x, T* y, const event_list& deps) {                        \
    return trsv_frame<T, container_usm>(queue, triangle, op, diagonal, T(1), A, x, y, deps);       \
  }                                                                                                \
  void trsm(sycl::queue& queue, layout dense_layout, transpose opA, transpose opX, uplo triangle,  \
            diag diagonal, T alpha, matrix_handle_t A, sycl::buffer<T, 1>& x,                      \
            std::int64_t columns, std::int64_t ldx, sycl::buffer<T, 1>& y, std::int64_t ldy) {     \
    trsm_frame<T, container_buffer>(queue, dense_layout, opA, opX, triangle, diagonal, alpha, A,   \
                                    &x, columns, ldx, &y, ldy, {});                                \
  }                                                                                                \
  sycl::event trsm(sycl::queue& queue, layout dense_layout, transpose opA, transpose opX,          \
                   uplo triangle, diag diagonal, T alpha, matrix_handle_t A, const T* x,           \
                   std::int64_t columns, std::int64_t ldx, T* y, std::int64_t ldy,                 \
                   const event_list& deps) {                                                       \
    return trsm_frame<T, container_usm>(queue, dense_layout, opA, opX, triangle, diagonal, alpha,  \
                                        A, const_cast<T*>(x), columns, ldx, y, ldy, deps);         \
  }                                                                                                \
  void gemm(sycl::queue& queue, layout dense_layout, transpose opA, transpose opB, T alpha,        \
            matrix_handle_t A, sycl::buffer<T, 1>& b, std::int64_t columns, std::int64_t ldb,      \
            T beta, sycl::buffer<T, 1>& c, std::int64_t ldc) {                                     \
    gemm_frame<T, container_buffer>(queue, dense_layout, opA, opB, alpha, A, &b, columns, ldb,     \
                                    beta, &c, ldc, {});                                            \
  }                                                                                                \
  sycl::event gemm(sycl::queue& queue, layout dense_layout, transpose opA, transpose opB, T alpha, \
                   matrix_handle_t A, T* b, std::int64_t columns, std::int64_t ldb, T beta, T* c,  \
                   std::int64_t ldc, const event_list& deps) {                                     \
    return gemm_frame<T, container_usm>(queue, dense_layout, opA, opB, alpha, A, b, columns, ldb,  \
                                        beta, c, ldc, deps);                                       \
  }                                                                                                \
  void update_diagonal_values(sycl::queue& queue, matrix_handle_t A,                               \
                              sycl::buffer<T, 1>& diagonal) {                                      \
    update_diagonal_values_frame<T, container_buffer>(                                             \
        queue, A, static_cast<std::int64_t>(diagonal.size()), &diagonal, {});                      \
  }                                                                                                \
  sycl::event update_diagonal_values(sycl::queue& queue, matrix_handle_t A, std::int64_t length,   \
                                     const T* diagonal, const event_list& deps) {                  \
    return update_diagonal_values_frame<T, container_usm>(queue, A, length,                        \
                                                          const_cast<T*>(diagonal), deps);         \
  }

VRT_FOR_EACH_VARIANT(VRT_PUBLIC_BINDING, 0)
VRT_FOR_EACH_VALUE(VRT_PUBLIC_OPERATIONS, 0)
#undef VRT_PUBLIC_BINDING
#undef VRT_PUBLIC_OPERATIONS

}  // namespace orvane::vrt::sparse
