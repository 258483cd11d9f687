// Public interface of libvrt_sycl_sparse: enumerations, exceptions and the sparse routines.
#pragma once

/// @file
/// @brief The whole public interface: enumerations, exceptions and the sparse routines.
///
/// Every routine comes in one overload per value type (float, double, std::complex<float>,
/// std::complex<double>), index type (std::int32_t, std::int64_t, fixed by the binding) and memory
/// model: sycl::buffer forms, ordered by the runtime through accessors, and USM forms, which take a
/// list of events to wait for and return an event.

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

/// The library's namespace: enumerations shared by its routines and the exception family.
namespace orvane::vrt {

// Operations, triangles, diagonals, layouts and index bases travel as bytes.

/// The operation applied to a matrix: op(A).
enum class transpose : std::int8_t {
  nontrans = 0,  ///< A
  trans = 1,     ///< the transpose of A
  conjtrans = 3  ///< the conjugate transpose of A
};
/// The triangle of a matrix a routine reads.
enum class uplo : std::int8_t {
  upper = 0,  ///< the diagonal and above
  lower = 1   ///< the diagonal and below
};
/// Whether a triangle's diagonal is read or taken as ones.
enum class diag : std::int8_t {
  nonunit = 0,  ///< the stored diagonal
  unit = 1      ///< ones, whatever is stored
};
/// How a dense matrix is stored.
enum class layout : std::int8_t {
  row_major = 0,  ///< row i starts at offset i * ld
  col_major = 1   ///< column j starts at offset j * ld
};
/// The index of a matrix's first row and column in the bound arrays.
enum class index_base : std::int8_t {
  zero = 0,  ///< indices count from 0
  one = 1    ///< indices count from 1
};

/// Every failure of the library is one of these. The message reads
/// "orvane::vrt::<domain>::<function>: <info>", with empty parts left out; the derived classes
/// start `info` with their own words ("invalid argument", ...), followed by ": " and the detail
/// when there is one.
class VRT_SPARSE_API exception : public std::exception {
 public:
  /// Composes the message from its parts.
  exception(const std::string& domain, const std::string& function, const std::string& info = "");
  /// The composed message.
  const char* what() const noexcept override;

 private:
  std::string message_;
};

/// The device cannot run the call: "<prefix>: unsupported device: <device name>".
class VRT_SPARSE_API unsupported_device : public exception {
 public:
  /// Composes the message.
  unsupported_device(const std::string& domain, const std::string& function,
                     const sycl::device& device);
};

/// Device memory ran out: "<prefix>: cannot allocate memory on <device name>".
class VRT_SPARSE_API device_bad_alloc : public exception {
 public:
  /// Composes the message.
  device_bad_alloc(const std::string& domain, const std::string& function,
                   const sycl::device& device);
};

/// Host memory ran out: "<prefix>: cannot allocate memory on host".
class VRT_SPARSE_API host_bad_alloc : public exception {
 public:
  /// Composes the message.
  host_bad_alloc(const std::string& domain, const std::string& function);
};

/// A handle, descriptor or array is missing: "<prefix>: uninitialized object[: <detail>]".
class VRT_SPARSE_API uninitialized : public exception {
 public:
  /// Composes the message.
  uninitialized(const std::string& domain, const std::string& function,
                const std::string& detail = "");
};

/// An argument is out of range: "<prefix>: invalid argument[: <detail>]".
class VRT_SPARSE_API invalid_argument : public exception {
 public:
  /// Composes the message.
  invalid_argument(const std::string& domain, const std::string& function,
                   const std::string& detail = "");
};

/// The combination is not implemented (on this device): "<prefix>: unimplemented
/// functionality[: <detail>]".
class VRT_SPARSE_API unimplemented : public exception {
 public:
  /// Composes the message.
  unimplemented(const std::string& domain, const std::string& function,
                const std::string& detail = "");
};

/// The computation failed: "<prefix>: computation error[: <detail>]".
class VRT_SPARSE_API computation_error : public exception {
 public:
  /// Composes the message.
  computation_error(const std::string& domain, const std::string& function,
                    const std::string& detail = "");
};

/// The sparse routines.
///
/// Errors every operation shares (gemv, gemvdot, symv, trmv, trsv, trsm, gemm), each message
/// starting with "orvane::vrt::sparse::<routine>: ": a null handle or array is `uninitialized`
/// with its name as the detail ("hMatrix", "x", "y", ...); a handle never bound is
/// `uninitialized` with "Matrix is not initialized"; a form of the other memory model than the
/// binding's is `invalid_argument` with "USM API called with sycl::buffer data" or "sycl::buffer
/// API called with USM data"; a value type other than the binding's is `invalid_argument` with
/// "the value type of the call differs from the matrix handle's"; double precision on a device
/// without fp64 is `unsupported_device`. A routine a device does not run yet is `unimplemented`
/// (README.md, "What runs where").
namespace sparse {

/// What set_matrix_property can state about a bound matrix.
enum class property : std::int8_t {
  symmetric = 0,  ///< the matrix equals its transpose
  sorted = 1      ///< column indices increase within every row
};
/// How the staged product reads a matrix.
enum class matrix_view_descr : std::int32_t {
  general = 1  ///< every stored entry
};
/// The stages of matmat, in the orders that routine describes.
enum class matmat_request : std::int32_t {
  get_work_estimation_buf_size = 1,    ///< size of the work estimation's work space
  work_estimation = 2,                 ///< estimates the work of the product
  get_compute_structure_buf_size = 3,  ///< size of the structure pass's work space
  compute_structure = 4,               ///< computes C's structure alone
  finalize_structure = 5,              ///< writes C's structure into its bound arrays
  get_compute_buf_size = 6,            ///< size of the compute pass's work space
  compute = 7,                         ///< computes C's structure and values
  get_nnz = 8,                         ///< writes C's entry count
  finalize = 9                         ///< writes C into its bound arrays
};

/// The caller's sparse matrix: opaque, created by init_matrix_handle.
struct matrix_handle;
/// What the routines take: a handle made by init_matrix_handle.
using matrix_handle_t = matrix_handle*;

/// Settings of a staged sparse product: views and operations of A, B and C.
struct matmat_descr;
/// What matmat takes: settings made by init_matmat_descr.
using matmat_descr_t = matmat_descr*;

/// Events a USM form waits for before it touches its operands.
using event_list = std::vector<sycl::event>;

// The public routines, one declaration per value type, index type and memory model (buffer forms
// first, then USM), grouped by family.

// ---- handle and binding -------------------------------------------------------------------------

/// @brief Creates an empty matrix handle.
/// @param handle receives the new handle, owned by the caller until release_matrix_handle.
/// @throws invalid_argument "orvane::vrt::sparse::init_matrix_handle: invalid argument: handle"
///     when `handle` is null.
/// @throws host_bad_alloc when the handle's record cannot be allocated.
///@{
VRT_SPARSE_API void init_matrix_handle(matrix_handle_t* handle);
///@}

/// @brief Frees a handle and everything the library derived from it (copies,
/// transposes, plans). The caller's arrays are never freed.
///
/// The queue form of a USM handle frees in a host task after `deps`; its event completes then. The
/// form without a queue waits for `deps` first. Neither form writes `*handle`: the caller's pointer
/// is left dangling, so set it to null yourself if it may be used again.
/// @throws invalid_argument "orvane::vrt::sparse::release_matrix_handle: invalid argument: handle"
///     when `handle` is null.
///@{
VRT_SPARSE_API sycl::event release_matrix_handle(sycl::queue& queue, matrix_handle_t* handle,
                                                 const event_list& deps = {});
VRT_SPARSE_API void release_matrix_handle(matrix_handle_t* handle, const event_list& deps = {});
///@}

/// @brief Marks the bound matrix symmetric or sorted; call it after the binding.
/// @throws uninitialized "orvane::vrt::sparse::set_matrix_property: uninitialized object: hMatrix"
///     when `handle` is null, and "...: uninitialized object: Matrix is not initialized" before any
///     binding.
///@{
VRT_SPARSE_API void set_matrix_property(matrix_handle_t handle, property p);
///@}

/// @brief Binds the caller's CSR arrays (row_ptr of nrows + 1 entries, col_ind and values of
/// nnz entries) to a handle.
///
/// Memory model: the arrays are referenced, never copied, and must outlive the handle (or the next
/// binding); buffers are read through accessors, USM pointers may be device, shared or host
/// allocations of the queue's context. A new binding drops what the handle derived from the old
/// arrays; plans of an unchanged shape and kind stay. The USM form with a queue returns an event
/// that completes after `deps`.
/// @throws invalid_argument "orvane::vrt::sparse::set_csr_data: invalid argument: nrows is
///     negative", "...: ncols is negative" and "...: index is neither index_base::zero nor
///     index_base::one"; a refused binding leaves the handle as it was.
/// @throws uninitialized "orvane::vrt::sparse::set_csr_data: uninitialized object: hMatrix" (buffer
///     forms) or "...: one or more of hMatrix, row_ptr or col_ind or a_buffer is not initialized"
///     (USM forms) when `handle` is null.
///@{
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
///@}

/// @brief Binds the caller's COO arrays (row_ind, col_ind and values of nnz entries each)
/// to a handle, referenced like the CSR arrays of set_csr_data.
/// @throws invalid_argument "orvane::vrt::sparse::set_coo_data: invalid argument: nrows is
///     negative", "...: ncols is negative", "...: nnz is negative" and "...: index is neither
///     index_base::zero nor index_base::one".
/// @throws uninitialized "orvane::vrt::sparse::set_coo_data: uninitialized object: one or more of
///     hMatrix, row_ind or col_ind or a_buffer is not initialized" when `handle` is null.
///@{
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
///@}

// ---- matrix-vector products ---------------------------------------------------------------------

/// @brief y = alpha op(A) x + beta y (example: examples/gemv.cpp).
///
/// x has op(A)'s column count of entries, y its row count; x and y must not overlap.
/// @par Events
/// The USM forms return an event that completes when the outputs are written; the routine
/// starts after every event of `deps`. Buffer forms return nothing: the runtime orders
/// them through the buffers' accessors.
/// @throws uninitialized "orvane::vrt::sparse::gemv: uninitialized object: <name>" when one of A,
///     x, y is null (the name is the first one missing), and "orvane::vrt::sparse::gemv:
///     uninitialized object: Matrix is not initialized" for a handle never bound.
/// @throws invalid_argument "orvane::vrt::sparse::gemv: invalid argument: USM API called with
///     sycl::buffer data" (or "sycl::buffer API called with USM data") when the form differs from
///     the binding's, and "orvane::vrt::sparse::gemv: invalid argument: the value type of the call
///     differs from the matrix handle's".
/// @throws unsupported_device "orvane::vrt::sparse::gemv: unsupported device: <device name>" for
///     double and complex<double> on a device without fp64.
///@{
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
///@}

/// @brief gemv, and in the same pass d = the dot product of x with the new y.
/// @par Events
/// The USM forms return an event that completes when the outputs are written; the routine
/// starts after every event of `deps`. Buffer forms return nothing: the runtime orders
/// them through the buffers' accessors.
/// @throws uninitialized "orvane::vrt::sparse::gemvdot: uninitialized object: <name>" when one of
///     A, x, y, d is null (the name is the first one missing), and "orvane::vrt::sparse::gemvdot:
///     uninitialized object: Matrix is not initialized" for a handle never bound.
/// @throws invalid_argument "orvane::vrt::sparse::gemvdot: invalid argument: USM API called with
///     sycl::buffer data" (or "sycl::buffer API called with USM data") when the form differs from
///     the binding's, and "orvane::vrt::sparse::gemvdot: invalid argument: the value type of the
///     call differs from the matrix handle's".
/// @throws unsupported_device "orvane::vrt::sparse::gemvdot: unsupported device: <device name>" for
///     double and complex<double> on a device without fp64.
///@{
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
///@}

/// @brief y = alpha A x + beta y for a symmetric A of which only the given triangle is read.
/// @par Events
/// The USM forms return an event that completes when the outputs are written; the routine
/// starts after every event of `deps`. Buffer forms return nothing: the runtime orders
/// them through the buffers' accessors.
/// @throws uninitialized "orvane::vrt::sparse::symv: uninitialized object: <name>" when one of A,
///     x, y is null (the name is the first one missing), and "orvane::vrt::sparse::symv:
///     uninitialized object: Matrix is not initialized" for a handle never bound.
/// @throws invalid_argument "orvane::vrt::sparse::symv: invalid argument: USM API called with
///     sycl::buffer data" (or "sycl::buffer API called with USM data") when the form differs from
///     the binding's, and "orvane::vrt::sparse::symv: invalid argument: the value type of the call
///     differs from the matrix handle's".
/// @throws unsupported_device "orvane::vrt::sparse::symv: unsupported device: <device name>" for
///     double and complex<double> on a device without fp64.
///@{
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
///@}

/// @brief y = alpha op(T) x + beta y for the given triangle T of A (its diagonal as `diagonal`
/// says).
/// @par Events
/// The USM forms return an event that completes when the outputs are written; the routine
/// starts after every event of `deps`. Buffer forms return nothing: the runtime orders
/// them through the buffers' accessors.
/// @throws uninitialized "orvane::vrt::sparse::trmv: uninitialized object: <name>" when one of A,
///     x, y is null (the name is the first one missing), and "orvane::vrt::sparse::trmv:
///     uninitialized object: Matrix is not initialized" for a handle never bound.
/// @throws invalid_argument "orvane::vrt::sparse::trmv: invalid argument: USM API called with
///     sycl::buffer data" (or "sycl::buffer API called with USM data") when the form differs from
///     the binding's, and "orvane::vrt::sparse::trmv: invalid argument: the value type of the call
///     differs from the matrix handle's".
/// @throws unsupported_device "orvane::vrt::sparse::trmv: unsupported device: <device name>" for
///     double and complex<double> on a device without fp64.
/// @par On a GPU queue
/// The device path refuses as follows, beside the errors above.
/// @throws invalid_argument "orvane::vrt::sparse::trmv: invalid argument: uplo_flag" or "...:
///     diag_flag" for a triangle or diagonal outside the enumeration, and "...: This function only
///     supports square matrices".
/// @throws unimplemented "orvane::vrt::sparse::trmv: unimplemented functionality: currently only
///     supports the orvane::vrt::transpose::nontrans op" for another operation, and "...: currently
///     only supports the CSR matrix format on GPU devices" for a COO handle.
///@{
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
///@}

// ---- triangular solves --------------------------------------------------------------------------

/// @brief Solves op(T) y = alpha x for the given triangle T of A; the forms without alpha take 1
/// (example: examples/conjugate_gradient.cpp).
///
/// A plan made by optimize_trsv for the same triangle, operation and diagonal is reused.
/// @par Events
/// The USM forms return an event that completes when the outputs are written; the routine
/// starts after every event of `deps`. Buffer forms return nothing: the runtime orders
/// them through the buffers' accessors.
/// @throws uninitialized "orvane::vrt::sparse::trsv: uninitialized object: <name>" when one of A,
///     x, y is null (the name is the first one missing), and "orvane::vrt::sparse::trsv:
///     uninitialized object: Matrix is not initialized" for a handle never bound.
/// @throws invalid_argument "orvane::vrt::sparse::trsv: invalid argument: USM API called with
///     sycl::buffer data" (or "sycl::buffer API called with USM data") when the form differs from
///     the binding's, and "orvane::vrt::sparse::trsv: invalid argument: the value type of the call
///     differs from the matrix handle's".
/// @throws unsupported_device "orvane::vrt::sparse::trsv: unsupported device: <device name>" for
///     double and complex<double> on a device without fp64.
/// @throws unimplemented "orvane::vrt::sparse::trsv: unimplemented functionality: currently only
///     supports the orvane::vrt::transpose::nontrans op" for another operation on a GPU queue.
///@{
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
///@}

/// @brief Solves op(T) Y = alpha op(X) for the `columns` columns of a dense X in dense_layout.
/// @par Events
/// The USM forms return an event that completes when the outputs are written; the routine
/// starts after every event of `deps`. Buffer forms return nothing: the runtime orders
/// them through the buffers' accessors.
/// @throws uninitialized "orvane::vrt::sparse::trsm: uninitialized object: <name>" when one of A,
///     x, y is null (the name is the first one missing), and "orvane::vrt::sparse::trsm:
///     uninitialized object: Matrix is not initialized" for a handle never bound.
/// @throws invalid_argument "orvane::vrt::sparse::trsm: invalid argument: USM API called with
///     sycl::buffer data" (or "sycl::buffer API called with USM data") when the form differs from
///     the binding's, and "orvane::vrt::sparse::trsm: invalid argument: the value type of the call
///     differs from the matrix handle's".
/// @throws unsupported_device "orvane::vrt::sparse::trsm: unsupported device: <device name>" for
///     double and complex<double> on a device without fp64.
/// @throws invalid_argument "orvane::vrt::sparse::trsm: invalid argument: one or more of columns,
///     ldx and ldy are invalid", "...: incompatible leading dimensions with dense matrix layout",
///     and "...: one of columns, ldx, ldy is invalid" when they exceed 32-bit indices.
/// @throws unimplemented "orvane::vrt::sparse::trsm: unimplemented functionality: Only
///     non-transpose operation is supported for dense matrix in sparse" when opX is not nontrans.
/// @par On a GPU queue
/// The device path refuses as follows, beside the errors above.
/// @throws invalid_argument "orvane::vrt::sparse::trsm: invalid argument: uplo_flag is invalid" for
///     a triangle outside the enumeration, and "...: given usm alloc type is unknown" when y is not
///     USM memory of the queue's context.
/// @throws unimplemented "orvane::vrt::sparse::trsm: unimplemented functionality: currently only
///     supports the orvane::vrt::transpose::nontrans op" for another opA, and "...: currently only
///     supports the CSR matrix format on GPU devices" for a COO handle.
///@{
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
///@}

// ---- sparse-dense products ----------------------------------------------------------------------

/// @brief C = alpha op(A) B + beta C for dense B and C of `columns` columns in dense_layout
/// (example: examples/gemm.cpp).
///
/// Row-major stores row i at offset i * ld, column-major column j at j * ld; entries past the
/// matrix within the leading dimension are left alone.
/// @par Events
/// The USM forms return an event that completes when the outputs are written; the routine
/// starts after every event of `deps`. Buffer forms return nothing: the runtime orders
/// them through the buffers' accessors.
/// @throws uninitialized "orvane::vrt::sparse::gemm: uninitialized object: <name>" when one of A,
///     b, c is null (the name is the first one missing), and "orvane::vrt::sparse::gemm:
///     uninitialized object: Matrix is not initialized" for a handle never bound.
/// @throws invalid_argument "orvane::vrt::sparse::gemm: invalid argument: USM API called with
///     sycl::buffer data" (or "sycl::buffer API called with USM data") when the form differs from
///     the binding's, and "orvane::vrt::sparse::gemm: invalid argument: the value type of the call
///     differs from the matrix handle's".
/// @throws unsupported_device "orvane::vrt::sparse::gemm: unsupported device: <device name>" for
///     double and complex<double> on a device without fp64.
/// @throws invalid_argument "orvane::vrt::sparse::gemm: invalid argument: one or more of columns,
///     ldb and ldc are invalid" and "...: incompatible leading dimensions with dense matrix
///     layout".
/// @throws unimplemented "orvane::vrt::sparse::gemm: unimplemented functionality: Only
///     non-transpose operation is supported for dense matrix in sparse" when opB is not nontrans.
///@{
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
///@}

// ---- staged sparse-sparse product C = op(A) * op(B) ---------------------------------------------

/// @brief Creates the settings of a staged product in *descr: every view general, no operation.
/// @throws uninitialized "orvane::vrt::sparse::matmat: uninitialized object" when `descr` is null.
///@{
VRT_SPARSE_API void init_matmat_descr(matmat_descr_t* descr);
///@}

/// @brief Frees the settings made by init_matmat_descr.
/// @throws invalid_argument "orvane::vrt::sparse::release_matmat_descr: invalid argument: descr"
///     when `descr` is null.
///@{
VRT_SPARSE_API void release_matmat_descr(matmat_descr_t* descr);
///@}

/// @brief Sets the views and operations of A, B and C.
/// @throws uninitialized "orvane::vrt::sparse::set_matmat_data: uninitialized object: matmat
///     descriptor is not initialized" when `descr` is null.
///@{
VRT_SPARSE_API void set_matmat_data(matmat_descr_t descr, matrix_view_descr view_a, transpose op_a,
                                    matrix_view_descr view_b, transpose op_b,
                                    matrix_view_descr view_c);
///@}

/// @brief Reads back what set_matmat_data set.
/// @throws uninitialized "orvane::vrt::sparse::matrix: uninitialized object" when `descr` is null.
///@{
VRT_SPARSE_API void get_matmat_data(matmat_descr_t descr, matrix_view_descr& view_a,
                                    transpose& op_a, matrix_view_descr& view_b, transpose& op_b,
                                    matrix_view_descr& view_c);
///@}

/// @brief Runs one stage (request) of the staged product C = op(A) op(B) (example:
/// examples/matmat.cpp).
///
/// The orders accepted: work estimation (its size, then the stage), then either compute and
/// finalize, or compute_structure and finalize_structure followed by compute and finalize. get_nnz
/// writes C's entry count to *sizeTempBuffer after compute or compute_structure, for the caller to
/// bind C's column indices (and values); the size requests write the work space size there. A null
/// tempBuffer lets the library keep its own work space. C's row pointer is bound before the first
/// stage. Runs on CPU queues. On GPU queues the size requests, work_estimation, get_nnz and the
/// finalize checks run; compute_structure, compute, finalize_structure and finalize refuse with
/// unimplemented naming the stage (for example "orvane::vrt::sparse::matmat: unimplemented
/// functionality: compute").
/// @throws uninitialized "orvane::vrt::sparse::matmat: uninitialized object: One of the matrices is
///     not initialized".
/// @par On a GPU queue
/// The device path refuses as follows, beside the errors here.
/// @throws unimplemented "orvane::vrt::sparse::matmat: unimplemented functionality: unsupported
///     operation" at the next request when a view is not general or an operation unknown, "...:
///     currently only supports the CSR matrix format on GPU devices", and "...: input A and B
///     matrices must be on the same SYCL aware container type (sycl::buffer or USM)".
/// @throws invalid_argument "orvane::vrt::sparse::matmat: invalid argument: matrix dimensions are
///     not aligned" (the two work estimation requests), "...: The temporary workspace, tempBuffer,
///     has been provided for the work_estimation stage, but the array sizeTempBuffer is not
///     provided with the size of the workspace" (or the compute_structure or compute stage).
/// @throws computation_error "orvane::vrt::sparse::matmat: computation error: according to
///     provided sizeTempBuffer, the tempBuffer array is smaller than requested and we cannot
///     reliably proceed", "...: Required memory allocation is larger than the limit for the
///     device", and "...: The memory allocation (<size> bytes) for the temporary array to be
///     requested from user is larger than the limit (<limit> bytes) for the device. Cannot proceed
///     with this workload on this device.".
/// @throws device_bad_alloc when a work space or a scalar slab cannot be allocated.
/// @throws invalid_argument "orvane::vrt::sparse::matmat: invalid argument: invalid matmat
///     request".
/// @throws unimplemented "orvane::vrt::sparse::matmat: unimplemented functionality: nnz is not
///     ready to be retrieved, please call matmat API with matmat_request::compute or
///     matmat_request::compute_structure first".
/// @throws computation_error "orvane::vrt::sparse::matmat: computation error: It appears you have
///     not called matmat compute stage before finalize stage", and "...: It appears you have not
///     called matmat compute or compute_structure stage before finalize_structure stage".
///@{
VRT_SPARSE_API sycl::event matmat(sycl::queue& queue, matrix_handle_t A, matrix_handle_t B,
                                  matrix_handle_t C, matmat_request request, matmat_descr_t descr,
                                  std::int64_t* sizeTempBuffer, void* tempBuffer,
                                  const event_list& deps = {});
VRT_SPARSE_API void matmat(sycl::queue& queue, matrix_handle_t A, matrix_handle_t B,
                           matrix_handle_t C, matmat_request request, matmat_descr_t descr,
                           sycl::buffer<std::int64_t, 1>* sizeTempBuffer,
                           sycl::buffer<std::uint8_t, 1>* tempBuffer);
///@}

// ---- format operations --------------------------------------------------------------------------

/// @brief Sorts the column indices within every row of A in place, values following their
/// columns (example: examples/sort_and_copy.cpp).
/// @par Events
/// The USM forms return an event that completes when the outputs are written; the routine
/// starts after every event of `deps`. Buffer forms return nothing: the runtime orders
/// @throws uninitialized "orvane::vrt::sparse::sort_matrix: uninitialized object" when A is null.
/// @throws unimplemented "orvane::vrt::sparse::sort_matrix: unimplemented functionality:
///     set_csr_data must be called before calling sort_matrix".
///@{
VRT_SPARSE_API sycl::event sort_matrix(sycl::queue& queue, matrix_handle_t A,
                                       const event_list& deps = {});
///@}

/// @brief Copies op(A) into B, bound beforehand with the same types to arrays of op(A)'s sizes
/// (example: examples/sort_and_copy.cpp). On a GPU queue a transpose's rows may come out
/// unsorted.
/// @par Events
/// The USM forms return an event that completes when the outputs are written; the routine
/// starts after every event of `deps`. Buffer forms return nothing: the runtime orders
/// @throws uninitialized "orvane::vrt::sparse::omatcopy: uninitialized object" when A or B is null.
/// @throws invalid_argument "orvane::vrt::sparse::omatcopy: invalid argument: integer type is unset
///     in matrix handle, meaning set_xxx_data was not called after initialization", "...: integer,
///     floating point, and USM/sycl::buffer types must match between matrix handles" and "...:
///     Input and output matrix formats must be same".
/// @throws unimplemented "orvane::vrt::sparse::omatcopy: unimplemented functionality: Only CSR and
///     COO matrix formats are currently supported".
///@{
VRT_SPARSE_API sycl::event omatcopy(sycl::queue& queue, transpose op, matrix_handle_t A,
                                    matrix_handle_t B, const event_list& deps = {});
///@}

/// @brief Replaces the values of A's diagonal (`length` entries in the USM forms) with the given
/// ones, in the caller's bound arrays; plans made for A stay valid (example:
/// examples/shifted_solves.cpp). Runs on GPU queues.
/// @par Events
/// The USM forms return an event that completes when the outputs are written; the routine
/// starts after every event of `deps`. Buffer forms return nothing: the runtime orders
/// them through the buffers' accessors.
/// @throws uninitialized "orvane::vrt::sparse::update_diagonal_values: uninitialized object:
///     hMatrix".
/// @throws unimplemented "orvane::vrt::sparse::update_diagonal_values: unimplemented functionality:
///     currently does not support cpu device".
/// @throws exception "orvane::vrt::sparse::update_diagonal_values: USM API called with sycl::buffer
///     data" (or "sycl::buffer API called with USM data").
///@{
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
///@}

// ---- analysis: plans that later calls reuse; the handle's types are read at run time ------------

/// @brief Plans gemv with `op` for A; later gemv calls with that operation reuse the plan
/// (example: examples/gemv.cpp).
/// @return an event that completes when the plan is made, after `deps`.
/// @throws uninitialized "orvane::vrt::sparse::optimize_gemv: uninitialized object: hMatrix" when A
///     is null.
///@{
VRT_SPARSE_API sycl::event optimize_gemv(sycl::queue& queue, transpose op, matrix_handle_t A,
                                         const event_list& deps = {});
///@}

/// @brief Plans trmv of the given triangle, operation and diagonal.
/// @return an event that completes when the plan is made, after `deps`.
/// @throws uninitialized "orvane::vrt::sparse::optimize_trmv: uninitialized object: hMatrix" when A
///     is null.
/// @throws invalid_argument "orvane::vrt::sparse::optimize_trmv: invalid argument: uplo_flag" on a
///     GPU queue for a triangle outside the enumeration.
/// @throws unimplemented "orvane::vrt::sparse::optimize_trmv: unimplemented functionality:
///     currently only supports the orvane::vrt::transpose::nontrans op" and "...: currently only
///     supports the CSR matrix format on GPU devices" on a GPU queue.
///@{
VRT_SPARSE_API sycl::event optimize_trmv(sycl::queue& queue, uplo triangle, transpose op,
                                         diag diagonal, matrix_handle_t A,
                                         const event_list& deps = {});
///@}

/// @brief Plans trsv of the given triangle, operation and diagonal; later solves reuse it
/// (example: examples/conjugate_gradient.cpp).
/// @return an event that completes when the plan is made, after `deps`.
/// @throws uninitialized "orvane::vrt::sparse::optimize_trsv: uninitialized object: hMatrix" when A
///     is null.
///@{
VRT_SPARSE_API sycl::event optimize_trsv(sycl::queue& queue, uplo triangle, transpose op,
                                         diag diagonal, matrix_handle_t A,
                                         const event_list& deps = {});
///@}

/// @brief Plans trsm of the given triangle, for any dense shape or for `columns` columns in
/// dense_layout.
/// @return an event that completes when the plan is made, after `deps`.
/// @throws uninitialized "orvane::vrt::sparse::optimize_trsm: uninitialized object: hMatrix" when A
///     is null.
/// @throws invalid_argument "orvane::vrt::sparse::optimize_trsm: invalid argument: uplo_val" on a
///     GPU queue for a triangle outside the enumeration.
/// @throws unimplemented "orvane::vrt::sparse::optimize_trsm: unimplemented functionality:
///     currently only supports the orvane::vrt::transpose::nontrans op" and "...: currently only
///     supports the CSR matrix format on GPU devices" on a GPU queue.
///@{
VRT_SPARSE_API sycl::event optimize_trsm(sycl::queue& queue, uplo triangle, transpose op,
                                         diag diagonal, matrix_handle_t A,
                                         const event_list& deps = {});
VRT_SPARSE_API sycl::event optimize_trsm(sycl::queue& queue, layout dense_layout, uplo triangle,
                                         transpose op, diag diagonal, matrix_handle_t A,
                                         std::int64_t columns, const event_list& deps = {});
///@}

}  // namespace sparse
}  // namespace orvane::vrt
