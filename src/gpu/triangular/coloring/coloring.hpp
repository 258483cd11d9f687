// Level sets of one analysed triangle: what the triangular analysis calls to colour a
// symmetric-pattern, sorted structure and store the coloured copies in a coloringData slot.
#pragma once

#include <sycl/sycl.hpp>
#include <vector>

#include "containers/views.hpp"
#include "handle/handle.hpp"
#include "handle/triangular_data.hpp"

namespace orvane::vrt::sparse::gpu {

// Fills *slot (left alone when already filled). `matrix` has a symmetric pattern and sorted
// rows; of `values` only inv_diag is read, of `positions` both arrays.
template <typename T, typename I, containerType C>
sycl::event coloring_impl(sycl::queue& queue, sparseStructure* matrix, diagonalValuesData* values,
                          diagonalStructData* positions, coloringData** slot,
                          const std::vector<sycl::event>& dependencies);

}  // namespace orvane::vrt::sparse::gpu
