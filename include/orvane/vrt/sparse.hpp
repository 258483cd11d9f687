// Public interface of libvrt_sycl_sparse: enumerations, exceptions and the sparse routines.
#pragma once

#include <cstdint>
#include <exception>
#include <string>

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

}  // namespace sparse
}  // namespace orvane::vrt
