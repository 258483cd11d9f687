// Public interface of libvrt_sycl_sparse: enumerations, exceptions and the sparse routines.
#pragma once

#include <complex>
#include <cstdint>
#include <exception>
#include <orvane/vrt/version.hpp>
#include <string>
#include <sycl/sycl.hpp>
#include <vector>

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

// The public routines, one declaration per value type, index type and memory model (buffer forms
// first, then USM), grouped by family.

// ---- handle and binding -------------------------------------------------------------------------

// Creates an empty handle in *handle; set_csr_data or set_coo_data bind arrays to it.
VRT_SPARSE_API void init_matrix_handle(matrix_handle_t* handle);

// Frees the handle and all it derived; a USM handle's queue form frees in a host task after deps.
VRT_SPARSE_API sycl::event release_matrix_handle(sycl::queue& queue, matrix_handle_t* handle,
                                                 const event_list& deps = {});
VRT_SPARSE_API void release_matrix_handle(matrix_handle_t* handle, const event_list& deps = {});

// Must follow the binding: the property lands in the bound matrix.
VRT_SPARSE_API void set_matrix_property(matrix_handle_t handle, property p);

// Binds the caller's CSR arrays: referenced, never copied; buffers must outlive the handle.
VRT_SPARSE_API void set_csr_data(matrix_handle_t handle, std::int32_t nrows, std::int32_t ncols,
                                 index_base index, sycl::buffer<std::int32_t, 1>& row_ptr,
                                 sycl::buffer<std::int32_t, 1>& col_ind,
                                 sycl::buffer<float, 1>& values);
VRT_SPARSE_API void set_csr_data(sycl::queue& queue, matrix_handle_t handle, std::int32_t nrows,
                                 std::int32_t ncols, index_base index,
                                 sycl::buffer<std::int32_t, 1>& row_ptr,
                                 sycl::buffer<std::int32_t, 1>& col_ind,
                                 sycl::buffer<float, 1>& values);
VRT_SPARSE_API void set_csr_data(matrix_handle_t handle, std::int32_t nrows, std::int32_t ncols,
                                 index_base index, std::int32_t* row_ptr, std::int32_t* col_ind,
                                 float* values);
VRT_SPARSE_API sycl::event set_csr_data(sycl::queue& queue, matrix_handle_t handle,
                                        std::int32_t nrows, std::int32_t ncols, index_base index,
                                        std::int32_t* row_ptr, std::int32_t* col_ind, float* values,
                                        const event_list& deps = {});
VRT_SPARSE_API void set_csr_data(matrix_handle_t handle, std::int64_t nrows, std::int64_t ncols,
                                 index_base index, sycl::buffer<std::int64_t, 1>& row_ptr,
                                 sycl::buffer<std::int64_t, 1>& col_ind,
                                 sycl::buffer<float, 1>& values);
VRT_SPARSE_API void set_csr_data(sycl::queue& queue, matrix_handle_t handle, std::int64_t nrows,
                                 std::int64_t ncols, index_base index,
                                 sycl::buffer<std::int64_t, 1>& row_ptr,
                                 sycl::buffer<std::int64_t, 1>& col_ind,
                                 sycl::buffer<float, 1>& values);
VRT_SPARSE_API void set_csr_data(matrix_handle_t handle, std::int64_t nrows, std::int64_t ncols,
                                 index_base index, std::int64_t* row_ptr, std::int64_t* col_ind,
                                 float* values);
VRT_SPARSE_API sycl::event set_csr_data(sycl::queue& queue, matrix_handle_t handle,
                                        std::int64_t nrows, std::int64_t ncols, index_base index,
                                        std::int64_t* row_ptr, std::int64_t* col_ind, float* values,
                                        const event_list& deps = {});
VRT_SPARSE_API void set_csr_data(matrix_handle_t handle, std::int32_t nrows, std::int32_t ncols,
                                 index_base index, sycl::buffer<std::int32_t, 1>& row_ptr,
                                 sycl::buffer<std::int32_t, 1>& col_ind,
                                 sycl::buffer<double, 1>& values);
VRT_SPARSE_API void set_csr_data(sycl::queue& queue, matrix_handle_t handle, std::int32_t nrows,
                                 std::int32_t ncols, index_base index,
                                 sycl::buffer<std::int32_t, 1>& row_ptr,
                                 sycl::buffer<std::int32_t, 1>& col_ind,
                                 sycl::buffer<double, 1>& values);
VRT_SPARSE_API void set_csr_data(matrix_handle_t handle, std::int32_t nrows, std::int32_t ncols,
                                 index_base index, std::int32_t* row_ptr, std::int32_t* col_ind,
                                 double* values);
VRT_SPARSE_API sycl::event set_csr_data(sycl::queue& queue, matrix_handle_t handle,
                                        std::int32_t nrows, std::int32_t ncols, index_base index,
                                        std::int32_t* row_ptr, std::int32_t* col_ind,
                                        double* values, const event_list& deps = {});
VRT_SPARSE_API void set_csr_data(matrix_handle_t handle, std::int64_t nrows, std::int64_t ncols,
                                 index_base index, sycl::buffer<std::int64_t, 1>& row_ptr,
                                 sycl::buffer<std::int64_t, 1>& col_ind,
                                 sycl::buffer<double, 1>& values);
VRT_SPARSE_API void set_csr_data(sycl::queue& queue, matrix_handle_t handle, std::int64_t nrows,
                                 std::int64_t ncols, index_base index,
                                 sycl::buffer<std::int64_t, 1>& row_ptr,
                                 sycl::buffer<std::int64_t, 1>& col_ind,
                                 sycl::buffer<double, 1>& values);
VRT_SPARSE_API void set_csr_data(matrix_handle_t handle, std::int64_t nrows, std::int64_t ncols,
                                 index_base index, std::int64_t* row_ptr, std::int64_t* col_ind,
                                 double* values);
VRT_SPARSE_API sycl::event set_csr_data(sycl::queue& queue, matrix_handle_t handle,
                                        std::int64_t nrows, std::int64_t ncols, index_base index,
                                        std::int64_t* row_ptr, std::int64_t* col_ind,
                                        double* values, const event_list& deps = {});
VRT_SPARSE_API void set_csr_data(matrix_handle_t handle, std::int32_t nrows, std::int32_t ncols,
                                 index_base index, sycl::buffer<std::int32_t, 1>& row_ptr,
                                 sycl::buffer<std::int32_t, 1>& col_ind,
                                 sycl::buffer<std::complex<float>, 1>& values);
VRT_SPARSE_API void set_csr_data(sycl::queue& queue, matrix_handle_t handle, std::int32_t nrows,
                                 std::int32_t ncols, index_base index,
                                 sycl::buffer<std::int32_t, 1>& row_ptr,
                                 sycl::buffer<std::int32_t, 1>& col_ind,
                                 sycl::buffer<std::complex<float>, 1>& values);
VRT_SPARSE_API void set_csr_data(matrix_handle_t handle, std::int32_t nrows, std::int32_t ncols,
                                 index_base index, std::int32_t* row_ptr, std::int32_t* col_ind,
                                 std::complex<float>* values);
VRT_SPARSE_API sycl::event set_csr_data(sycl::queue& queue, matrix_handle_t handle,
                                        std::int32_t nrows, std::int32_t ncols, index_base index,
                                        std::int32_t* row_ptr, std::int32_t* col_ind,
                                        std::complex<float>* values, const event_list& deps = {});
VRT_SPARSE_API void set_csr_data(matrix_handle_t handle, std::int64_t nrows, std::int64_t ncols,
                                 index_base index, sycl::buffer<std::int64_t, 1>& row_ptr,
                                 sycl::buffer<std::int64_t, 1>& col_ind,
                                 sycl::buffer<std::complex<float>, 1>& values);
VRT_SPARSE_API void set_csr_data(sycl::queue& queue, matrix_handle_t handle, std::int64_t nrows,
                                 std::int64_t ncols, index_base index,
                                 sycl::buffer<std::int64_t, 1>& row_ptr,
                                 sycl::buffer<std::int64_t, 1>& col_ind,
                                 sycl::buffer<std::complex<float>, 1>& values);
VRT_SPARSE_API void set_csr_data(matrix_handle_t handle, std::int64_t nrows, std::int64_t ncols,
                                 index_base index, std::int64_t* row_ptr, std::int64_t* col_ind,
                                 std::complex<float>* values);
VRT_SPARSE_API sycl::event set_csr_data(sycl::queue& queue, matrix_handle_t handle,
                                        std::int64_t nrows, std::int64_t ncols, index_base index,
                                        std::int64_t* row_ptr, std::int64_t* col_ind,
                                        std::complex<float>* values, const event_list& deps = {});
VRT_SPARSE_API void set_csr_data(matrix_handle_t handle, std::int32_t nrows, std::int32_t ncols,
                                 index_base index, sycl::buffer<std::int32_t, 1>& row_ptr,
                                 sycl::buffer<std::int32_t, 1>& col_ind,
                                 sycl::buffer<std::complex<double>, 1>& values);
VRT_SPARSE_API void set_csr_data(sycl::queue& queue, matrix_handle_t handle, std::int32_t nrows,
                                 std::int32_t ncols, index_base index,
                                 sycl::buffer<std::int32_t, 1>& row_ptr,
                                 sycl::buffer<std::int32_t, 1>& col_ind,
                                 sycl::buffer<std::complex<double>, 1>& values);
VRT_SPARSE_API void set_csr_data(matrix_handle_t handle, std::int32_t nrows, std::int32_t ncols,
                                 index_base index, std::int32_t* row_ptr, std::int32_t* col_ind,
                                 std::complex<double>* values);
VRT_SPARSE_API sycl::event set_csr_data(sycl::queue& queue, matrix_handle_t handle,
                                        std::int32_t nrows, std::int32_t ncols, index_base index,
                                        std::int32_t* row_ptr, std::int32_t* col_ind,
                                        std::complex<double>* values, const event_list& deps = {});
VRT_SPARSE_API void set_csr_data(matrix_handle_t handle, std::int64_t nrows, std::int64_t ncols,
                                 index_base index, sycl::buffer<std::int64_t, 1>& row_ptr,
                                 sycl::buffer<std::int64_t, 1>& col_ind,
                                 sycl::buffer<std::complex<double>, 1>& values);
VRT_SPARSE_API void set_csr_data(sycl::queue& queue, matrix_handle_t handle, std::int64_t nrows,
                                 std::int64_t ncols, index_base index,
                                 sycl::buffer<std::int64_t, 1>& row_ptr,
                                 sycl::buffer<std::int64_t, 1>& col_ind,
                                 sycl::buffer<std::complex<double>, 1>& values);
VRT_SPARSE_API void set_csr_data(matrix_handle_t handle, std::int64_t nrows, std::int64_t ncols,
                                 index_base index, std::int64_t* row_ptr, std::int64_t* col_ind,
                                 std::complex<double>* values);
VRT_SPARSE_API sycl::event set_csr_data(sycl::queue& queue, matrix_handle_t handle,
                                        std::int64_t nrows, std::int64_t ncols, index_base index,
                                        std::int64_t* row_ptr, std::int64_t* col_ind,
                                        std::complex<double>* values, const event_list& deps = {});

// Binds the caller's COO arrays of nnz entries each, referenced like the CSR arrays.
VRT_SPARSE_API void set_coo_data(sycl::queue& queue, matrix_handle_t handle, std::int32_t nrows,
                                 std::int32_t ncols, std::int32_t nnz, index_base index,
                                 sycl::buffer<std::int32_t, 1>& row_ind,
                                 sycl::buffer<std::int32_t, 1>& col_ind,
                                 sycl::buffer<float, 1>& values);
VRT_SPARSE_API sycl::event set_coo_data(sycl::queue& queue, matrix_handle_t handle,
                                        std::int32_t nrows, std::int32_t ncols, std::int32_t nnz,
                                        index_base index, std::int32_t* row_ind,
                                        std::int32_t* col_ind, float* values,
                                        const event_list& deps = {});
VRT_SPARSE_API void set_coo_data(sycl::queue& queue, matrix_handle_t handle, std::int64_t nrows,
                                 std::int64_t ncols, std::int64_t nnz, index_base index,
                                 sycl::buffer<std::int64_t, 1>& row_ind,
                                 sycl::buffer<std::int64_t, 1>& col_ind,
                                 sycl::buffer<float, 1>& values);
VRT_SPARSE_API sycl::event set_coo_data(sycl::queue& queue, matrix_handle_t handle,
                                        std::int64_t nrows, std::int64_t ncols, std::int64_t nnz,
                                        index_base index, std::int64_t* row_ind,
                                        std::int64_t* col_ind, float* values,
                                        const event_list& deps = {});
VRT_SPARSE_API void set_coo_data(sycl::queue& queue, matrix_handle_t handle, std::int32_t nrows,
                                 std::int32_t ncols, std::int32_t nnz, index_base index,
                                 sycl::buffer<std::int32_t, 1>& row_ind,
                                 sycl::buffer<std::int32_t, 1>& col_ind,
                                 sycl::buffer<double, 1>& values);
VRT_SPARSE_API sycl::event set_coo_data(sycl::queue& queue, matrix_handle_t handle,
                                        std::int32_t nrows, std::int32_t ncols, std::int32_t nnz,
                                        index_base index, std::int32_t* row_ind,
                                        std::int32_t* col_ind, double* values,
                                        const event_list& deps = {});
VRT_SPARSE_API void set_coo_data(sycl::queue& queue, matrix_handle_t handle, std::int64_t nrows,
                                 std::int64_t ncols, std::int64_t nnz, index_base index,
                                 sycl::buffer<std::int64_t, 1>& row_ind,
                                 sycl::buffer<std::int64_t, 1>& col_ind,
                                 sycl::buffer<double, 1>& values);
VRT_SPARSE_API sycl::event set_coo_data(sycl::queue& queue, matrix_handle_t handle,
                                        std::int64_t nrows, std::int64_t ncols, std::int64_t nnz,
                                        index_base index, std::int64_t* row_ind,
                                        std::int64_t* col_ind, double* values,
                                        const event_list& deps = {});
VRT_SPARSE_API void set_coo_data(sycl::queue& queue, matrix_handle_t handle, std::int32_t nrows,
                                 std::int32_t ncols, std::int32_t nnz, index_base index,
                                 sycl::buffer<std::int32_t, 1>& row_ind,
                                 sycl::buffer<std::int32_t, 1>& col_ind,
                                 sycl::buffer<std::complex<float>, 1>& values);
VRT_SPARSE_API sycl::event set_coo_data(sycl::queue& queue, matrix_handle_t handle,
                                        std::int32_t nrows, std::int32_t ncols, std::int32_t nnz,
                                        index_base index, std::int32_t* row_ind,
                                        std::int32_t* col_ind, std::complex<float>* values,
                                        const event_list& deps = {});
VRT_SPARSE_API void set_coo_data(sycl::queue& queue, matrix_handle_t handle, std::int64_t nrows,
                                 std::int64_t ncols, std::int64_t nnz, index_base index,
                                 sycl::buffer<std::int64_t, 1>& row_ind,
                                 sycl::buffer<std::int64_t, 1>& col_ind,
                                 sycl::buffer<std::complex<float>, 1>& values);
VRT_SPARSE_API sycl::event set_coo_data(sycl::queue& queue, matrix_handle_t handle,
                                        std::int64_t nrows, std::int64_t ncols, std::int64_t nnz,
                                        index_base index, std::int64_t* row_ind,
                                        std::int64_t* col_ind, std::complex<float>* values,
                                        const event_list& deps = {});
VRT_SPARSE_API void set_coo_data(sycl::queue& queue, matrix_handle_t handle, std::int32_t nrows,
                                 std::int32_t ncols, std::int32_t nnz, index_base index,
                                 sycl::buffer<std::int32_t, 1>& row_ind,
                                 sycl::buffer<std::int32_t, 1>& col_ind,
                                 sycl::buffer<std::complex<double>, 1>& values);
VRT_SPARSE_API sycl::event set_coo_data(sycl::queue& queue, matrix_handle_t handle,
                                        std::int32_t nrows, std::int32_t ncols, std::int32_t nnz,
                                        index_base index, std::int32_t* row_ind,
                                        std::int32_t* col_ind, std::complex<double>* values,
                                        const event_list& deps = {});
VRT_SPARSE_API void set_coo_data(sycl::queue& queue, matrix_handle_t handle, std::int64_t nrows,
                                 std::int64_t ncols, std::int64_t nnz, index_base index,
                                 sycl::buffer<std::int64_t, 1>& row_ind,
                                 sycl::buffer<std::int64_t, 1>& col_ind,
                                 sycl::buffer<std::complex<double>, 1>& values);
VRT_SPARSE_API sycl::event set_coo_data(sycl::queue& queue, matrix_handle_t handle,
                                        std::int64_t nrows, std::int64_t ncols, std::int64_t nnz,
                                        index_base index, std::int64_t* row_ind,
                                        std::int64_t* col_ind, std::complex<double>* values,
                                        const event_list& deps = {});

// ---- matrix-vector products ---------------------------------------------------------------------

// y = alpha op(A) x + beta y.
VRT_SPARSE_API void gemv(sycl::queue& queue, transpose op, float alpha, matrix_handle_t A,
                         sycl::buffer<float, 1>& x, float beta, sycl::buffer<float, 1>& y);
VRT_SPARSE_API sycl::event gemv(sycl::queue& queue, transpose op, float alpha, matrix_handle_t A,
                                const float* x, float beta, float* y, const event_list& deps = {});
VRT_SPARSE_API void gemv(sycl::queue& queue, transpose op, double alpha, matrix_handle_t A,
                         sycl::buffer<double, 1>& x, double beta, sycl::buffer<double, 1>& y);
VRT_SPARSE_API sycl::event gemv(sycl::queue& queue, transpose op, double alpha, matrix_handle_t A,
                                const double* x, double beta, double* y,
                                const event_list& deps = {});
VRT_SPARSE_API void gemv(sycl::queue& queue, transpose op, std::complex<float> alpha,
                         matrix_handle_t A, sycl::buffer<std::complex<float>, 1>& x,
                         std::complex<float> beta, sycl::buffer<std::complex<float>, 1>& y);
VRT_SPARSE_API sycl::event gemv(sycl::queue& queue, transpose op, std::complex<float> alpha,
                                matrix_handle_t A, const std::complex<float>* x,
                                std::complex<float> beta, std::complex<float>* y,
                                const event_list& deps = {});
VRT_SPARSE_API void gemv(sycl::queue& queue, transpose op, std::complex<double> alpha,
                         matrix_handle_t A, sycl::buffer<std::complex<double>, 1>& x,
                         std::complex<double> beta, sycl::buffer<std::complex<double>, 1>& y);
VRT_SPARSE_API sycl::event gemv(sycl::queue& queue, transpose op, std::complex<double> alpha,
                                matrix_handle_t A, const std::complex<double>* x,
                                std::complex<double> beta, std::complex<double>* y,
                                const event_list& deps = {});

// gemv, and in the same pass d = the dot product of x with the new y.
VRT_SPARSE_API void gemvdot(sycl::queue& queue, transpose op, float alpha, matrix_handle_t A,
                            sycl::buffer<float, 1>& x, float beta, sycl::buffer<float, 1>& y,
                            sycl::buffer<float, 1>& d);
VRT_SPARSE_API sycl::event gemvdot(sycl::queue& queue, transpose op, float alpha, matrix_handle_t A,
                                   float* x, float beta, float* y, float* d,
                                   const event_list& deps = {});
VRT_SPARSE_API void gemvdot(sycl::queue& queue, transpose op, double alpha, matrix_handle_t A,
                            sycl::buffer<double, 1>& x, double beta, sycl::buffer<double, 1>& y,
                            sycl::buffer<double, 1>& d);
VRT_SPARSE_API sycl::event gemvdot(sycl::queue& queue, transpose op, double alpha,
                                   matrix_handle_t A, double* x, double beta, double* y, double* d,
                                   const event_list& deps = {});
VRT_SPARSE_API void gemvdot(sycl::queue& queue, transpose op, std::complex<float> alpha,
                            matrix_handle_t A, sycl::buffer<std::complex<float>, 1>& x,
                            std::complex<float> beta, sycl::buffer<std::complex<float>, 1>& y,
                            sycl::buffer<std::complex<float>, 1>& d);
VRT_SPARSE_API sycl::event gemvdot(sycl::queue& queue, transpose op, std::complex<float> alpha,
                                   matrix_handle_t A, std::complex<float>* x,
                                   std::complex<float> beta, std::complex<float>* y,
                                   std::complex<float>* d, const event_list& deps = {});
VRT_SPARSE_API void gemvdot(sycl::queue& queue, transpose op, std::complex<double> alpha,
                            matrix_handle_t A, sycl::buffer<std::complex<double>, 1>& x,
                            std::complex<double> beta, sycl::buffer<std::complex<double>, 1>& y,
                            sycl::buffer<std::complex<double>, 1>& d);
VRT_SPARSE_API sycl::event gemvdot(sycl::queue& queue, transpose op, std::complex<double> alpha,
                                   matrix_handle_t A, std::complex<double>* x,
                                   std::complex<double> beta, std::complex<double>* y,
                                   std::complex<double>* d, const event_list& deps = {});

// y = alpha A x + beta y, A symmetric: only the given triangle is read.
VRT_SPARSE_API void symv(sycl::queue& queue, uplo triangle, float alpha, matrix_handle_t A,
                         sycl::buffer<float, 1>& x, float beta, sycl::buffer<float, 1>& y);
VRT_SPARSE_API sycl::event symv(sycl::queue& queue, uplo triangle, float alpha, matrix_handle_t A,
                                float* x, float beta, float* y, const event_list& deps = {});
VRT_SPARSE_API void symv(sycl::queue& queue, uplo triangle, double alpha, matrix_handle_t A,
                         sycl::buffer<double, 1>& x, double beta, sycl::buffer<double, 1>& y);
VRT_SPARSE_API sycl::event symv(sycl::queue& queue, uplo triangle, double alpha, matrix_handle_t A,
                                double* x, double beta, double* y, const event_list& deps = {});
VRT_SPARSE_API void symv(sycl::queue& queue, uplo triangle, std::complex<float> alpha,
                         matrix_handle_t A, sycl::buffer<std::complex<float>, 1>& x,
                         std::complex<float> beta, sycl::buffer<std::complex<float>, 1>& y);
VRT_SPARSE_API sycl::event symv(sycl::queue& queue, uplo triangle, std::complex<float> alpha,
                                matrix_handle_t A, std::complex<float>* x, std::complex<float> beta,
                                std::complex<float>* y, const event_list& deps = {});
VRT_SPARSE_API void symv(sycl::queue& queue, uplo triangle, std::complex<double> alpha,
                         matrix_handle_t A, sycl::buffer<std::complex<double>, 1>& x,
                         std::complex<double> beta, sycl::buffer<std::complex<double>, 1>& y);
VRT_SPARSE_API sycl::event symv(sycl::queue& queue, uplo triangle, std::complex<double> alpha,
                                matrix_handle_t A, std::complex<double>* x,
                                std::complex<double> beta, std::complex<double>* y,
                                const event_list& deps = {});

// y = alpha op(T) x + beta y for the given triangle T of A.
VRT_SPARSE_API void trmv(sycl::queue& queue, uplo triangle, transpose op, diag diagonal,
                         float alpha, matrix_handle_t A, sycl::buffer<float, 1>& x, float beta,
                         sycl::buffer<float, 1>& y);
VRT_SPARSE_API sycl::event trmv(sycl::queue& queue, uplo triangle, transpose op, diag diagonal,
                                float alpha, matrix_handle_t A, float* x, float beta, float* y,
                                const event_list& deps = {});
VRT_SPARSE_API void trmv(sycl::queue& queue, uplo triangle, transpose op, diag diagonal,
                         double alpha, matrix_handle_t A, sycl::buffer<double, 1>& x, double beta,
                         sycl::buffer<double, 1>& y);
VRT_SPARSE_API sycl::event trmv(sycl::queue& queue, uplo triangle, transpose op, diag diagonal,
                                double alpha, matrix_handle_t A, double* x, double beta, double* y,
                                const event_list& deps = {});
VRT_SPARSE_API void trmv(sycl::queue& queue, uplo triangle, transpose op, diag diagonal,
                         std::complex<float> alpha, matrix_handle_t A,
                         sycl::buffer<std::complex<float>, 1>& x, std::complex<float> beta,
                         sycl::buffer<std::complex<float>, 1>& y);
VRT_SPARSE_API sycl::event trmv(sycl::queue& queue, uplo triangle, transpose op, diag diagonal,
                                std::complex<float> alpha, matrix_handle_t A,
                                std::complex<float>* x, std::complex<float> beta,
                                std::complex<float>* y, const event_list& deps = {});
VRT_SPARSE_API void trmv(sycl::queue& queue, uplo triangle, transpose op, diag diagonal,
                         std::complex<double> alpha, matrix_handle_t A,
                         sycl::buffer<std::complex<double>, 1>& x, std::complex<double> beta,
                         sycl::buffer<std::complex<double>, 1>& y);
VRT_SPARSE_API sycl::event trmv(sycl::queue& queue, uplo triangle, transpose op, diag diagonal,
                                std::complex<double> alpha, matrix_handle_t A,
                                std::complex<double>* x, std::complex<double> beta,
                                std::complex<double>* y, const event_list& deps = {});

// ---- triangular solves --------------------------------------------------------------------------

// Solves op(T) y = alpha x for the given triangle T of A; the forms without alpha take 1.
VRT_SPARSE_API void trsv(sycl::queue& queue, uplo triangle, transpose op, diag diagonal,
                         float alpha, matrix_handle_t A, sycl::buffer<float, 1>& x,
                         sycl::buffer<float, 1>& y);
VRT_SPARSE_API void trsv(sycl::queue& queue, uplo triangle, transpose op, diag diagonal,
                         matrix_handle_t A, sycl::buffer<float, 1>& x, sycl::buffer<float, 1>& y);
VRT_SPARSE_API sycl::event trsv(sycl::queue& queue, uplo triangle, transpose op, diag diagonal,
                                float alpha, matrix_handle_t A, float* x, float* y,
                                const event_list& deps = {});
VRT_SPARSE_API sycl::event trsv(sycl::queue& queue, uplo triangle, transpose op, diag diagonal,
                                matrix_handle_t A, float* x, float* y, const event_list& deps = {});
VRT_SPARSE_API void trsv(sycl::queue& queue, uplo triangle, transpose op, diag diagonal,
                         double alpha, matrix_handle_t A, sycl::buffer<double, 1>& x,
                         sycl::buffer<double, 1>& y);
VRT_SPARSE_API void trsv(sycl::queue& queue, uplo triangle, transpose op, diag diagonal,
                         matrix_handle_t A, sycl::buffer<double, 1>& x, sycl::buffer<double, 1>& y);
VRT_SPARSE_API sycl::event trsv(sycl::queue& queue, uplo triangle, transpose op, diag diagonal,
                                double alpha, matrix_handle_t A, double* x, double* y,
                                const event_list& deps = {});
VRT_SPARSE_API sycl::event trsv(sycl::queue& queue, uplo triangle, transpose op, diag diagonal,
                                matrix_handle_t A, double* x, double* y,
                                const event_list& deps = {});
VRT_SPARSE_API void trsv(sycl::queue& queue, uplo triangle, transpose op, diag diagonal,
                         std::complex<float> alpha, matrix_handle_t A,
                         sycl::buffer<std::complex<float>, 1>& x,
                         sycl::buffer<std::complex<float>, 1>& y);
VRT_SPARSE_API void trsv(sycl::queue& queue, uplo triangle, transpose op, diag diagonal,
                         matrix_handle_t A, sycl::buffer<std::complex<float>, 1>& x,
                         sycl::buffer<std::complex<float>, 1>& y);
VRT_SPARSE_API sycl::event trsv(sycl::queue& queue, uplo triangle, transpose op, diag diagonal,
                                std::complex<float> alpha, matrix_handle_t A,
                                std::complex<float>* x, std::complex<float>* y,
                                const event_list& deps = {});
VRT_SPARSE_API sycl::event trsv(sycl::queue& queue, uplo triangle, transpose op, diag diagonal,
                                matrix_handle_t A, std::complex<float>* x, std::complex<float>* y,
                                const event_list& deps = {});
VRT_SPARSE_API void trsv(sycl::queue& queue, uplo triangle, transpose op, diag diagonal,
                         std::complex<double> alpha, matrix_handle_t A,
                         sycl::buffer<std::complex<double>, 1>& x,
                         sycl::buffer<std::complex<double>, 1>& y);
VRT_SPARSE_API void trsv(sycl::queue& queue, uplo triangle, transpose op, diag diagonal,
                         matrix_handle_t A, sycl::buffer<std::complex<double>, 1>& x,
                         sycl::buffer<std::complex<double>, 1>& y);
VRT_SPARSE_API sycl::event trsv(sycl::queue& queue, uplo triangle, transpose op, diag diagonal,
                                std::complex<double> alpha, matrix_handle_t A,
                                std::complex<double>* x, std::complex<double>* y,
                                const event_list& deps = {});
VRT_SPARSE_API sycl::event trsv(sycl::queue& queue, uplo triangle, transpose op, diag diagonal,
                                matrix_handle_t A, std::complex<double>* x, std::complex<double>* y,
                                const event_list& deps = {});

// Solves op(T) Y = alpha op(X) for the columns of a dense X in dense_layout.
VRT_SPARSE_API void trsm(sycl::queue& queue, layout dense_layout, transpose opA, transpose opX,
                         uplo triangle, diag diagonal, float alpha, matrix_handle_t A,
                         sycl::buffer<float, 1>& x, std::int64_t columns, std::int64_t ldx,
                         sycl::buffer<float, 1>& y, std::int64_t ldy);
VRT_SPARSE_API sycl::event trsm(sycl::queue& queue, layout dense_layout, transpose opA,
                                transpose opX, uplo triangle, diag diagonal, float alpha,
                                matrix_handle_t A, const float* x, std::int64_t columns,
                                std::int64_t ldx, float* y, std::int64_t ldy,
                                const event_list& deps = {});
VRT_SPARSE_API void trsm(sycl::queue& queue, layout dense_layout, transpose opA, transpose opX,
                         uplo triangle, diag diagonal, double alpha, matrix_handle_t A,
                         sycl::buffer<double, 1>& x, std::int64_t columns, std::int64_t ldx,
                         sycl::buffer<double, 1>& y, std::int64_t ldy);
VRT_SPARSE_API sycl::event trsm(sycl::queue& queue, layout dense_layout, transpose opA,
                                transpose opX, uplo triangle, diag diagonal, double alpha,
                                matrix_handle_t A, const double* x, std::int64_t columns,
                                std::int64_t ldx, double* y, std::int64_t ldy,
                                const event_list& deps = {});
VRT_SPARSE_API void trsm(sycl::queue& queue, layout dense_layout, transpose opA, transpose opX,
                         uplo triangle, diag diagonal, std::complex<float> alpha, matrix_handle_t A,
                         sycl::buffer<std::complex<float>, 1>& x, std::int64_t columns,
                         std::int64_t ldx, sycl::buffer<std::complex<float>, 1>& y,
                         std::int64_t ldy);
VRT_SPARSE_API sycl::event trsm(sycl::queue& queue, layout dense_layout, transpose opA,
                                transpose opX, uplo triangle, diag diagonal,
                                std::complex<float> alpha, matrix_handle_t A,
                                const std::complex<float>* x, std::int64_t columns,
                                std::int64_t ldx, std::complex<float>* y, std::int64_t ldy,
                                const event_list& deps = {});
VRT_SPARSE_API void trsm(sycl::queue& queue, layout dense_layout, transpose opA, transpose opX,
                         uplo triangle, diag diagonal, std::complex<double> alpha,
                         matrix_handle_t A, sycl::buffer<std::complex<double>, 1>& x,
                         std::int64_t columns, std::int64_t ldx,
                         sycl::buffer<std::complex<double>, 1>& y, std::int64_t ldy);
VRT_SPARSE_API sycl::event trsm(sycl::queue& queue, layout dense_layout, transpose opA,
                                transpose opX, uplo triangle, diag diagonal,
                                std::complex<double> alpha, matrix_handle_t A,
                                const std::complex<double>* x, std::int64_t columns,
                                std::int64_t ldx, std::complex<double>* y, std::int64_t ldy,
                                const event_list& deps = {});

// ---- sparse-dense products ----------------------------------------------------------------------

// C = alpha op(A) op(B) + beta C for dense B and C in dense_layout.
VRT_SPARSE_API void gemm(sycl::queue& queue, layout dense_layout, transpose opA, transpose opB,
                         float alpha, matrix_handle_t A, sycl::buffer<float, 1>& b,
                         std::int64_t columns, std::int64_t ldb, float beta,
                         sycl::buffer<float, 1>& c, std::int64_t ldc);
VRT_SPARSE_API sycl::event gemm(sycl::queue& queue, layout dense_layout, transpose opA,
                                transpose opB, float alpha, matrix_handle_t A, float* b,
                                std::int64_t columns, std::int64_t ldb, float beta, float* c,
                                std::int64_t ldc, const event_list& deps = {});
VRT_SPARSE_API void gemm(sycl::queue& queue, layout dense_layout, transpose opA, transpose opB,
                         double alpha, matrix_handle_t A, sycl::buffer<double, 1>& b,
                         std::int64_t columns, std::int64_t ldb, double beta,
                         sycl::buffer<double, 1>& c, std::int64_t ldc);
VRT_SPARSE_API sycl::event gemm(sycl::queue& queue, layout dense_layout, transpose opA,
                                transpose opB, double alpha, matrix_handle_t A, double* b,
                                std::int64_t columns, std::int64_t ldb, double beta, double* c,
                                std::int64_t ldc, const event_list& deps = {});
VRT_SPARSE_API void gemm(sycl::queue& queue, layout dense_layout, transpose opA, transpose opB,
                         std::complex<float> alpha, matrix_handle_t A,
                         sycl::buffer<std::complex<float>, 1>& b, std::int64_t columns,
                         std::int64_t ldb, std::complex<float> beta,
                         sycl::buffer<std::complex<float>, 1>& c, std::int64_t ldc);
VRT_SPARSE_API sycl::event gemm(sycl::queue& queue, layout dense_layout, transpose opA,
                                transpose opB, std::complex<float> alpha, matrix_handle_t A,
                                std::complex<float>* b, std::int64_t columns, std::int64_t ldb,
                                std::complex<float> beta, std::complex<float>* c, std::int64_t ldc,
                                const event_list& deps = {});
VRT_SPARSE_API void gemm(sycl::queue& queue, layout dense_layout, transpose opA, transpose opB,
                         std::complex<double> alpha, matrix_handle_t A,
                         sycl::buffer<std::complex<double>, 1>& b, std::int64_t columns,
                         std::int64_t ldb, std::complex<double> beta,
                         sycl::buffer<std::complex<double>, 1>& c, std::int64_t ldc);
VRT_SPARSE_API sycl::event gemm(sycl::queue& queue, layout dense_layout, transpose opA,
                                transpose opB, std::complex<double> alpha, matrix_handle_t A,
                                std::complex<double>* b, std::int64_t columns, std::int64_t ldb,
                                std::complex<double> beta, std::complex<double>* c,
                                std::int64_t ldc, const event_list& deps = {});

// ---- staged sparse-sparse product C = op(A) * op(B) ---------------------------------------------

// Creates the product's settings in *descr: every view general, no operation.
VRT_SPARSE_API void init_matmat_descr(matmat_descr_t* descr);

// Frees the settings made by init_matmat_descr.
VRT_SPARSE_API void release_matmat_descr(matmat_descr_t* descr);

// Sets the views and operations of A, B and C.
VRT_SPARSE_API void set_matmat_data(matmat_descr_t descr, matrix_view_descr view_a, transpose op_a,
                                    matrix_view_descr view_b, transpose op_b,
                                    matrix_view_descr view_c);

// Reads back what set_matmat_data set.
VRT_SPARSE_API void get_matmat_data(matmat_descr_t descr, matrix_view_descr& view_a,
                                    transpose& op_a, matrix_view_descr& view_b, transpose& op_b,
                                    matrix_view_descr& view_c);

// Runs one stage (request) of the product.
VRT_SPARSE_API sycl::event matmat(sycl::queue& queue, matrix_handle_t A, matrix_handle_t B,
                                  matrix_handle_t C, matmat_request request, matmat_descr_t descr,
                                  std::int64_t* sizeTempBuffer, void* tempBuffer,
                                  const event_list& deps = {});
VRT_SPARSE_API void matmat(sycl::queue& queue, matrix_handle_t A, matrix_handle_t B,
                           matrix_handle_t C, matmat_request request, matmat_descr_t descr,
                           sycl::buffer<std::int64_t, 1>* sizeTempBuffer,
                           sycl::buffer<std::uint8_t, 1>* tempBuffer);

// ---- format operations --------------------------------------------------------------------------

// Sorts the column indices within every row of A.
VRT_SPARSE_API sycl::event sort_matrix(sycl::queue& queue, matrix_handle_t A,
                                       const event_list& deps = {});

// Copies op(A) into B, bound with the same types.
VRT_SPARSE_API sycl::event omatcopy(sycl::queue& queue, transpose op, matrix_handle_t A,
                                    matrix_handle_t B, const event_list& deps = {});

// Replaces the values of A's diagonal with the given ones.
VRT_SPARSE_API void update_diagonal_values(sycl::queue& queue, matrix_handle_t A,
                                           sycl::buffer<float, 1>& diagonal);
VRT_SPARSE_API sycl::event update_diagonal_values(sycl::queue& queue, matrix_handle_t A,
                                                  std::int64_t length, const float* diagonal,
                                                  const event_list& deps = {});
VRT_SPARSE_API void update_diagonal_values(sycl::queue& queue, matrix_handle_t A,
                                           sycl::buffer<double, 1>& diagonal);
VRT_SPARSE_API sycl::event update_diagonal_values(sycl::queue& queue, matrix_handle_t A,
                                                  std::int64_t length, const double* diagonal,
                                                  const event_list& deps = {});
VRT_SPARSE_API void update_diagonal_values(sycl::queue& queue, matrix_handle_t A,
                                           sycl::buffer<std::complex<float>, 1>& diagonal);
VRT_SPARSE_API sycl::event update_diagonal_values(sycl::queue& queue, matrix_handle_t A,
                                                  std::int64_t length,
                                                  const std::complex<float>* diagonal,
                                                  const event_list& deps = {});
VRT_SPARSE_API void update_diagonal_values(sycl::queue& queue, matrix_handle_t A,
                                           sycl::buffer<std::complex<double>, 1>& diagonal);
VRT_SPARSE_API sycl::event update_diagonal_values(sycl::queue& queue, matrix_handle_t A,
                                                  std::int64_t length,
                                                  const std::complex<double>* diagonal,
                                                  const event_list& deps = {});

// ---- analysis: plans that later calls reuse; the handle's types are read at run time ------------

// Plans gemv with op.
VRT_SPARSE_API sycl::event optimize_gemv(sycl::queue& queue, transpose op, matrix_handle_t A,
                                         const event_list& deps = {});

// Plans trmv of the given triangle.
VRT_SPARSE_API sycl::event optimize_trmv(sycl::queue& queue, uplo triangle, transpose op,
                                         diag diagonal, matrix_handle_t A,
                                         const event_list& deps = {});

// Plans trsv of the given triangle.
VRT_SPARSE_API sycl::event optimize_trsv(sycl::queue& queue, uplo triangle, transpose op,
                                         diag diagonal, matrix_handle_t A,
                                         const event_list& deps = {});

// Plans trsm of the given triangle, for any dense shape or for `columns` columns in dense_layout.
VRT_SPARSE_API sycl::event optimize_trsm(sycl::queue& queue, uplo triangle, transpose op,
                                         diag diagonal, matrix_handle_t A,
                                         const event_list& deps = {});
VRT_SPARSE_API sycl::event optimize_trsm(sycl::queue& queue, layout dense_layout, uplo triangle,
                                         transpose op, diag diagonal, matrix_handle_t A,
                                         std::int64_t columns, const event_list& deps = {});

}  // namespace sparse
}  // namespace orvane::vrt
