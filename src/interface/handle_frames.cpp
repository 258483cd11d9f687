// The public routines of the matrix handle: creation, properties and release.
#include <orvane/vrt/sparse.hpp>

#include "common/portability.hpp"
#include "handle/record.hpp"
#include "handle/release.hpp"

namespace orvane::vrt::sparse {

void init_matrix_handle(matrix_handle_t* out) {
  if (out == nullptr) throw invalid_argument("sparse", "init_matrix_handle", "handle");
  auto* handle = allocate_record<matrix_handle>("init_matrix_handle");
  handle->int_type = int_32;
  handle->fp_type = fp_float;
  // Not bound yet: neither buffer nor USM.
  handle->container = static_cast<containerType>(-1);
  *out = handle;
}

void set_matrix_property(matrix_handle_t handle, property p) {
  if (handle == nullptr) throw uninitialized("sparse", "set_matrix_property", "hMatrix");
  // The property lands in the bound matrix: before set_csr_data or set_coo_data there is none.
  if (handle->primary == nullptr)
    throw uninitialized("sparse", "set_matrix_property", "Matrix is not initialized");
  set_matrix_property_impl(handle, p);
}

sycl::event release_matrix_handle(sycl::queue& queue, matrix_handle_t* handle,
                                  const std::vector<sycl::event>& deps) {
  if (handle == nullptr) throw invalid_argument("sparse", "release_matrix_handle", "handle");
  sycl::event done;
  if (*handle == nullptr) return done;
  matrix_handle* h = *handle;
  if (h->container == container_usm) {
    return queue.submit([&](sycl::handler& cgh) {
      cgh.depends_on(deps);
      portable::host_task(cgh, [h] { dispatch_release_matrix_handle(h); });
    });
  }
  if (!deps.empty()) sycl::event::wait_and_throw(deps);
  dispatch_release_matrix_handle(h);
  return done;
}

void release_matrix_handle(matrix_handle_t* handle, const std::vector<sycl::event>& deps) {
  if (handle == nullptr) throw invalid_argument("sparse", "release_matrix_handle", "handle");
  sycl::event::wait_and_throw(deps);
  if (*handle != nullptr) dispatch_release_matrix_handle(*handle);
}

}  // namespace orvane::vrt::sparse
