// Releasing structures and handles with all they own.
#pragma once

#include <sycl/sycl.hpp>

#include "common/internal_types.hpp"
#include "handle/handle.hpp"

namespace orvane::vrt::sparse {

// Frees a structure (its arrays only if it owns them) with its plans; an empty slot is left
// alone. A structure that owns arrays needs the context they were allocated in.
template <typename T, typename I, containerType C>
void sparseStructureRelease(void** slot, const sycl::context* context);

// Frees a handle and everything it derived; null is a no-op.
template <typename T, typename I, containerType C>
void release_matrix_handle_impl(matrix_handle* handle);

// Frees what the handle derived from its bound arrays (copies, transposes, triangles, the host
// engine's matrix, analyses) and, with_plans, the plans of the bound structure; the bound
// structure itself stays. Run with the types of the arrays bound so far.
template <typename T, typename I, containerType C>
void drop_derived_impl(matrix_handle* handle, bool with_plans);
void dispatch_drop_derived(matrix_handle* handle, bool with_plans);

// Picks the variant from the handle's types; a handle that never received data is released as
// double precision, since its slots are empty.
void dispatch_release_matrix_handle(matrix_handle* handle);

// dsparseStructureRelease_i4_usm and the like name the instances of the templates above, e.g.
// sparseStructureRelease<double, std::int32_t, container_usm>.

}  // namespace orvane::vrt::sparse
