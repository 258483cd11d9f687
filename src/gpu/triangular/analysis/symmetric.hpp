// The symmetric expansion of one triangle, as the dispatch and the analysis call it.
#pragma once

#include <orvane/vrt/sparse.hpp>
#include <sycl/sycl.hpp>
#include <vector>

#include "gpu/triangular/design_names.hpp"
#include "handle/handle.hpp"

namespace orvane::vrt::sparse::gpu {

// Fills the expansion slot of `triangle` (src == dst) or dst's primary structure (src != dst).
// A matrix flagged symmetric is its own expansion: both slots then name primary, or its sorted
// copy when primary is unsorted. A device without the counting kernel's sub-group size is
// refused as unsupported under `routine`, before anything is allocated.
template <typename T, typename I, containerType C>
sycl::event symmetric_impl(sycl::queue& queue, uplo triangle, matrix_handle* src,
                           matrix_handle* dst, const std::vector<sycl::event>& deps,
                           const char* routine = triangular_names::unnamed);

}  // namespace orvane::vrt::sparse::gpu
