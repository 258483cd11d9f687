// Diagonal analysis of a CSR structure: the entry points that fill diagonalValuesData (diagonal
// values, reciprocals, missing and zero flags) and diagonalStructData (split positions per row).
#pragma once

#include <orvane/vrt/sparse.hpp>
#include <sycl/sycl.hpp>
#include <vector>

#include "handle/handle.hpp"
#include "handle/triangular_data.hpp"

namespace orvane::vrt::sparse::gpu {

// Where the two status flags stand until a record says otherwise: the missing flag at 0, the
// zero flag one cache line further.
inline constexpr std::uint32_t default_status_count = 2;
inline constexpr std::uint32_t default_status_stride = 16;
inline constexpr std::size_t status_entries = default_status_count * default_status_stride;

// Fills what is missing of *values (and of *positions when want_struct) for structure s. The
// records persist in the handle's slots; a call that finds them filled submits nothing.
template <typename T, typename I, containerType C>
sycl::event diagDataKernel(sycl::queue& queue, sparseStructure* s, diagonalValuesData** values,
                           bool want_struct, diagonalStructData** positions,
                           const std::vector<sycl::event>& deps);

// diagDataKernel behind the refusals of structures it cannot analyse.
template <typename T, typename I, containerType C>
sycl::event diagData_impl(sycl::queue& queue, sparseStructure* s, diagonalValuesData** values,
                          bool want_struct, diagonalStructData** positions,
                          const std::vector<sycl::event>& deps);

// diagData_impl, waited for; then refuses a missing or zero diagonal under diag::nonunit with
// the routine's word. The returned event has completed.
template <typename T, typename I, containerType C>
sycl::event updateDiagData_and_check_for_missing_diags(sycl::queue& queue, sparseStructure* s,
                                                       diagonalValuesData** values,
                                                       bool want_struct,
                                                       diagonalStructData** positions,
                                                       diag diagonal, const char* word,
                                                       const std::vector<sycl::event>& deps);

}  // namespace orvane::vrt::sparse::gpu
