// Releasing structures and handles.
#pragma once

#include <sycl/sycl.hpp>

#include "common/variants.hpp"
#include "interface/handle.hpp"

namespace orvane::vrt::sparse {

// Frees a structure (its arrays only if it owns them) with its plans; an empty slot is left
// alone. A structure that owns arrays needs the context they were allocated in.
template <typename T, typename I, containerType C>
void sparseStructureRelease(void** slot, const sycl::context* context);

// Frees a handle and everything it derived; null is a no-op.
template <typename T, typename I, containerType C>
void release_matrix_handle_impl(matrix_handle* handle);

// Picks the variant from the handle's types; a handle that never received data is released as
// double precision, since its slots are empty.
void dispatch_release_matrix_handle(matrix_handle* handle);

#define VRT_DECLARE_RELEASE(p, T, i, I)                                                  \
  void p##sparseStructureRelease_##i##_usm(void** slot, const sycl::context* context);   \
  void p##sparseStructureRelease_##i##_buf(void** slot, const sycl::context* context);   \
  void p##release_matrix_handle_impl_##i##_usm(matrix_handle* handle);                   \
  void p##release_matrix_handle_impl_##i##_buf(matrix_handle* handle);
VRT_FOR_EACH_VARIANT(VRT_DECLARE_RELEASE)
#undef VRT_DECLARE_RELEASE

}  // namespace orvane::vrt::sparse
