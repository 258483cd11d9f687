// What the routines that exist once for all variants share: the replay of analyses after a
// rebinding and the symmetric expansion. Their dispatch is visit_variant
// (handle/visit_variant.hpp).
#pragma once

#include <orvane/vrt/sparse.hpp>
#include <sycl/sycl.hpp>
#include <vector>

#include "handle/handle.hpp"
#include "handle/visit_variant.hpp"

namespace orvane::vrt::sparse {

// After a rebinding, runs again on queue the optimize_* calls the handle has seen (after deps)
// and waits for them, so the operation that follows finds its analysis made from the new arrays.
void replay_analyses(sycl::queue& queue, matrix_handle* A, const std::vector<sycl::event>& deps);

// The symmetric expansion of one triangle of src into dst (src == dst: into src's expansion
// slot), on the device only.
sycl::event dispatch_make_symmetric(sycl::queue& queue, uplo triangle, matrix_handle* src,
                                    matrix_handle* dst, const std::vector<sycl::event>& deps);

}  // namespace orvane::vrt::sparse
