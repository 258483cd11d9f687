// Public interface of libvrt_sycl_sparse: enumerations, exceptions and the sparse routines.
#pragma once

#include <complex>
#include <cstdint>
#include <exception>
#include <string>
#include <vector>

#include <sycl/sycl.hpp>

#if defined(VRT_SPARSE_BUILDING)
#define VRT_SPARSE_API __attribute__((visibility("default")))
#else
#define VRT_SPARSE_API
#endif

namespace orvane::vrt {

// Operations, triangles, diagonals, layouts and index bases travel as bytes.
enum class transpose : std::int8_t { nontrans = 0, trans = 1, conjtrans = 3 };
enum class uplo : std::int8_t { upper = 0, lower = 1 };
enum class diag : std::int8_t { nonunit = 0, unit = 1 };
enum class layout : std::int8_t { row_major = 0, col_major = 1 };
enum class index_base : std::int8_t { zero = 0, one = 1 };

// Every failure of the library is one of these. The message reads
// "orvane::vrt::<domain>::<function>: <info>", with empty parts left out.
class VRT_SPARSE_API exception : public std::exception {
 public:
  exception(const std::string& domain, const std::string& function, const std::string& info = "");
  const char* what() const noexcept override;

 private:
  std::string message_;
};

class VRT_SPARSE_API unsupported_device : public exception {
 public:
  unsupported_device(const std::string& domain, const std::string& function,
                     const sycl::device& device);
};

class VRT_SPARSE_API device_bad_alloc : public exception {
 public:
  device_bad_alloc(const std::string& domain, const std::string& function,
                   const sycl::device& device);
};

class VRT_SPARSE_API host_bad_alloc : public exception {
 public:
  host_bad_alloc(const std::string& domain, const std::string& function);
};

class VRT_SPARSE_API uninitialized : public exception {
 public:
  uninitialized(const std::string& domain, const std::string& function,
                const std::string& detail = "");
};

class VRT_SPARSE_API invalid_argument : public exception {
 public:
  invalid_argument(const std::string& domain, const std::string& function,
                   const std::string& detail = "");
};

class VRT_SPARSE_API unimplemented : public exception {
 public:
  unimplemented(const std::string& domain, const std::string& function,
                const std::string& detail = "");
};

class VRT_SPARSE_API computation_error : public exception {
 public:
  computation_error(const std::string& domain, const std::string& function,
                    const std::string& detail = "");
};

namespace sparse {

enum class property : std::int8_t { symmetric = 0, sorted = 1 };
enum class matrix_view_descr : std::int32_t { general = 1 };
enum class matmat_request : std::int32_t {
  get_work_estimation_buf_size = 1,
  work_estimation = 2,
  get_compute_structure_buf_size = 3,
  compute_structure = 4,
  finalize_structure = 5,
  get_compute_buf_size = 6,
  compute = 7,
  get_nnz = 8,
  finalize = 9
};

// The caller's sparse matrix: opaque, created by init_matrix_handle.
struct matrix_handle;
using matrix_handle_t = matrix_handle*;

// Settings of a staged sparse product: views and operations of A, B and C.
struct matmat_descr;
using matmat_descr_t = matmat_descr*;

using event_list = std::vector<sycl::event>;

// ---- handle and binding -------------------------------------------------------------------
VRT_SPARSE_API void init_matrix_handle(matrix_handle_t* handle);
// Frees the handle and all it derived. The queue form of a USM handle frees in a host task
// behind deps and returns its event; *handle is left as it was.
VRT_SPARSE_API sycl::event release_matrix_handle(sycl::queue& queue, matrix_handle_t* handle,
                                                 const event_list& deps = {});
VRT_SPARSE_API void release_matrix_handle(matrix_handle_t* handle, const event_list& deps = {});
// Must follow the binding: the property lands in the bound matrix.
VRT_SPARSE_API void set_matrix_property(matrix_handle_t handle, property p);

// The caller's arrays are referenced, never copied; buffers must outlive the handle.
#define VRT_SPARSE_DECLARE_BINDING(T, I)                                                          \
  VRT_SPARSE_API void set_csr_data(matrix_handle_t handle, I nrows, I ncols, index_base index,  \
                                   sycl::buffer<I, 1>& row_ptr, sycl::buffer<I, 1>& col_ind,    \
                                   sycl::buffer<T, 1>& values);                                 \
  VRT_SPARSE_API void set_csr_data(sycl::queue& queue, matrix_handle_t handle, I nrows,        \
                                   I ncols, index_base index, sycl::buffer<I, 1>& row_ptr,      \
                                   sycl::buffer<I, 1>& col_ind, sycl::buffer<T, 1>& values);    \
  VRT_SPARSE_API void set_csr_data(matrix_handle_t handle, I nrows, I ncols, index_base index,  \
                                   I* row_ptr, I* col_ind, T* values);                          \
  VRT_SPARSE_API sycl::event set_csr_data(sycl::queue& queue, matrix_handle_t handle, I nrows, \
                                          I ncols, index_base index, I* row_ptr, I* col_ind,    \
                                          T* values, const event_list& deps = {});              \
  VRT_SPARSE_API void set_coo_data(sycl::queue& queue, matrix_handle_t handle, I nrows,        \
                                   I ncols, I nnz, index_base index,                            \
                                   sycl::buffer<I, 1>& row_ind, sycl::buffer<I, 1>& col_ind,    \
                                   sycl::buffer<T, 1>& values);                                 \
  VRT_SPARSE_API sycl::event set_coo_data(sycl::queue& queue, matrix_handle_t handle, I nrows, \
                                          I ncols, I nnz, index_base index, I* row_ind,         \
                                          I* col_ind, T* values, const event_list& deps = {});

// ---- operations on one value type -----------------------------------------------------------
#define VRT_SPARSE_DECLARE_OPERATIONS(T)                                                          \
  VRT_SPARSE_API void gemv(sycl::queue& queue, transpose op, T alpha, matrix_handle_t A,       \
                           sycl::buffer<T, 1>& x, T beta, sycl::buffer<T, 1>& y);               \
  VRT_SPARSE_API sycl::event gemv(sycl::queue& queue, transpose op, T alpha, matrix_handle_t A, \
                                  const T* x, T beta, T* y, const event_list& deps = {});       \
  VRT_SPARSE_API void gemvdot(sycl::queue& queue, transpose op, T alpha, matrix_handle_t A,    \
                              sycl::buffer<T, 1>& x, T beta, sycl::buffer<T, 1>& y,             \
                              sycl::buffer<T, 1>& d);                                           \
  VRT_SPARSE_API sycl::event gemvdot(sycl::queue& queue, transpose op, T alpha,                \
                                     matrix_handle_t A, T* x, T beta, T* y, T* d,               \
                                     const event_list& deps = {});                              \
  VRT_SPARSE_API void symv(sycl::queue& queue, uplo triangle, T alpha, matrix_handle_t A,      \
                           sycl::buffer<T, 1>& x, T beta, sycl::buffer<T, 1>& y);               \
  VRT_SPARSE_API sycl::event symv(sycl::queue& queue, uplo triangle, T alpha, matrix_handle_t A, \
                                  T* x, T beta, T* y, const event_list& deps = {});             \
  VRT_SPARSE_API void trmv(sycl::queue& queue, uplo triangle, transpose op, diag diagonal,     \
                           T alpha, matrix_handle_t A, sycl::buffer<T, 1>& x, T beta,           \
                           sycl::buffer<T, 1>& y);                                              \
  VRT_SPARSE_API sycl::event trmv(sycl::queue& queue, uplo triangle, transpose op,             \
                                  diag diagonal, T alpha, matrix_handle_t A, T* x, T beta,      \
                                  T* y, const event_list& deps = {});                           \
  VRT_SPARSE_API void trsv(sycl::queue& queue, uplo triangle, transpose op, diag diagonal,     \
                           T alpha, matrix_handle_t A, sycl::buffer<T, 1>& x,                   \
                           sycl::buffer<T, 1>& y);                                              \
  VRT_SPARSE_API void trsv(sycl::queue& queue, uplo triangle, transpose op, diag diagonal,     \
                           matrix_handle_t A, sycl::buffer<T, 1>& x, sycl::buffer<T, 1>& y);    \
  VRT_SPARSE_API sycl::event trsv(sycl::queue& queue, uplo triangle, transpose op,             \
                                  diag diagonal, T alpha, matrix_handle_t A, T* x, T* y,        \
                                  const event_list& deps = {});                                 \
  VRT_SPARSE_API sycl::event trsv(sycl::queue& queue, uplo triangle, transpose op,             \
                                  diag diagonal, matrix_handle_t A, T* x, T* y,                 \
                                  const event_list& deps = {});                                 \
  VRT_SPARSE_API void trsm(sycl::queue& queue, layout dense_layout, transpose opA,             \
                           transpose opX, uplo triangle, diag diagonal, T alpha,                \
                           matrix_handle_t A, sycl::buffer<T, 1>& x, std::int64_t columns,      \
                           std::int64_t ldx, sycl::buffer<T, 1>& y, std::int64_t ldy);          \
  VRT_SPARSE_API sycl::event trsm(sycl::queue& queue, layout dense_layout, transpose opA,      \
                                  transpose opX, uplo triangle, diag diagonal, T alpha,         \
                                  matrix_handle_t A, const T* x, std::int64_t columns,          \
                                  std::int64_t ldx, T* y, std::int64_t ldy,                     \
                                  const event_list& deps = {});                                 \
  VRT_SPARSE_API void gemm(sycl::queue& queue, layout dense_layout, transpose opA,             \
                           transpose opB, T alpha, matrix_handle_t A, sycl::buffer<T, 1>& b,    \
                           std::int64_t columns, std::int64_t ldb, T beta,                      \
                           sycl::buffer<T, 1>& c, std::int64_t ldc);                            \
  VRT_SPARSE_API sycl::event gemm(sycl::queue& queue, layout dense_layout, transpose opA,      \
                                  transpose opB, T alpha, matrix_handle_t A, T* b,              \
                                  std::int64_t columns, std::int64_t ldb, T beta, T* c,         \
                                  std::int64_t ldc, const event_list& deps = {});               \
  VRT_SPARSE_API void update_diagonal_values(sycl::queue& queue, matrix_handle_t A,            \
                                             sycl::buffer<T, 1>& diagonal);                     \
  VRT_SPARSE_API sycl::event update_diagonal_values(sycl::queue& queue, matrix_handle_t A,     \
                                                    std::int64_t length, const T* diagonal,     \
                                                    const event_list& deps = {});

VRT_SPARSE_DECLARE_BINDING(float, std::int32_t)
VRT_SPARSE_DECLARE_BINDING(float, std::int64_t)
VRT_SPARSE_DECLARE_BINDING(double, std::int32_t)
VRT_SPARSE_DECLARE_BINDING(double, std::int64_t)
VRT_SPARSE_DECLARE_BINDING(std::complex<float>, std::int32_t)
VRT_SPARSE_DECLARE_BINDING(std::complex<float>, std::int64_t)
VRT_SPARSE_DECLARE_BINDING(std::complex<double>, std::int32_t)
VRT_SPARSE_DECLARE_BINDING(std::complex<double>, std::int64_t)
VRT_SPARSE_DECLARE_OPERATIONS(float)
VRT_SPARSE_DECLARE_OPERATIONS(double)
VRT_SPARSE_DECLARE_OPERATIONS(std::complex<float>)
VRT_SPARSE_DECLARE_OPERATIONS(std::complex<double>)
#undef VRT_SPARSE_DECLARE_BINDING
#undef VRT_SPARSE_DECLARE_OPERATIONS

// ---- analysis and format operations: the handle's types are read at run time ----------------
VRT_SPARSE_API sycl::event optimize_gemv(sycl::queue& queue, transpose op, matrix_handle_t A,
                                         const event_list& deps = {});
VRT_SPARSE_API sycl::event optimize_trmv(sycl::queue& queue, uplo triangle, transpose op,
                                         diag diagonal, matrix_handle_t A,
                                         const event_list& deps = {});
VRT_SPARSE_API sycl::event optimize_trsv(sycl::queue& queue, uplo triangle, transpose op,
                                         diag diagonal, matrix_handle_t A,
                                         const event_list& deps = {});
VRT_SPARSE_API sycl::event optimize_trsm(sycl::queue& queue, uplo triangle, transpose op,
                                         diag diagonal, matrix_handle_t A,
                                         const event_list& deps = {});
VRT_SPARSE_API sycl::event optimize_trsm(sycl::queue& queue, layout dense_layout, uplo triangle,
                                         transpose op, diag diagonal, matrix_handle_t A,
                                         std::int64_t columns, const event_list& deps = {});
VRT_SPARSE_API sycl::event sort_matrix(sycl::queue& queue, matrix_handle_t A,
                                       const event_list& deps = {});
VRT_SPARSE_API sycl::event omatcopy(sycl::queue& queue, transpose op, matrix_handle_t A,
                                    matrix_handle_t B, const event_list& deps = {});

// ---- staged sparse-sparse product C = op(A) * op(B) -------------------------------------------
VRT_SPARSE_API void init_matmat_descr(matmat_descr_t* descr);
VRT_SPARSE_API void release_matmat_descr(matmat_descr_t* descr);
VRT_SPARSE_API void set_matmat_data(matmat_descr_t descr, matrix_view_descr view_a, transpose op_a,
                                    matrix_view_descr view_b, transpose op_b,
                                    matrix_view_descr view_c);
VRT_SPARSE_API void get_matmat_data(matmat_descr_t descr, matrix_view_descr& view_a,
                                    transpose& op_a, matrix_view_descr& view_b, transpose& op_b,
                                    matrix_view_descr& view_c);
VRT_SPARSE_API sycl::event matmat(sycl::queue& queue, matrix_handle_t A, matrix_handle_t B,
                                  matrix_handle_t C, matmat_request request, matmat_descr_t descr,
                                  std::int64_t* sizeTempBuffer, void* tempBuffer,
                                  const event_list& deps = {});
VRT_SPARSE_API void matmat(sycl::queue& queue, matrix_handle_t A, matrix_handle_t B,
                           matrix_handle_t C, matmat_request request, matmat_descr_t descr,
                           sycl::buffer<std::int64_t, 1>* sizeTempBuffer,
                           sycl::buffer<std::uint8_t, 1>* tempBuffer);

}  // namespace sparse
}  // namespace orvane::vrt
