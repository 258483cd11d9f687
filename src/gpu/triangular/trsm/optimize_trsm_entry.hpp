// optimize_trsm on the device: the analysis of optimize_trsv under the words of trsm. The dense
// layout and the number of columns play no part in it; the coloring it leaves serves trsv too.
#pragma once

#include <cstdint>
#include <orvane/vrt/sparse.hpp>

#include "gpu/entry_points.hpp"
#include "gpu/triangular/design_names.hpp"
#include "gpu/triangular/optimize_trsv_entry.hpp"

namespace orvane::vrt::sparse::gpu {

template <typename T, typename I, containerType C>
sycl::event optimize_trsm_impl(sycl::queue& queue, layout, uplo triangle, transpose op,
                               diag diagonal, matrix_handle* A, std::int64_t,
                               const event_list& deps) {
  return analyse_triangle<T, I, C>(queue, triangle, op, diagonal, A, deps,
                                   {triangular_names::optimize_trsm, triangular_names::uplo_val});
}

}  // namespace orvane::vrt::sparse::gpu

#define VRT_INSTANTIATE_GPU_OPTIMIZE_TRSM(T, I, C)                                              \
  namespace orvane::vrt::sparse::gpu {                                                          \
  template sycl::event optimize_trsm_impl<T, I, C>(sycl::queue&, layout, uplo, transpose, diag, \
                                                   matrix_handle*, std::int64_t,                \
                                                   const event_list&);                          \
  }
