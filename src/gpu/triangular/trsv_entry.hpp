// trsv on the device: the level-set solve where optimize_trsv has coloured the triangle, the
// default solve otherwise.
#pragma once

#include <orvane/vrt/sparse.hpp>

#include "gpu/entry_points.hpp"
#include "gpu/triangular/default/default_trsv_launch.hpp"
#include "gpu/triangular/levelset/levelset_trsv.hpp"

namespace orvane::vrt::sparse::gpu {

template <typename T, typename I, containerType C>
sycl::event trsv_impl(sycl::queue& queue, uplo triangle, transpose op, diag diagonal, T alpha,
                      matrix_handle* A, container_t<C, T> x, container_t<C, T> y,
                      const event_list& deps) {
  if (static_cast<int>(triangle) > 1) throw invalid_argument("sparse", "trsv", "uplo_flag");
  if (diagonal != diag::nonunit && diagonal != diag::unit)
    throw invalid_argument("sparse", "trsv", "diag_flag");
  if (op != transpose::nontrans)
    throw unimplemented("sparse", "trsv",
                        "currently only supports the orvane::vrt::transpose::nontrans op");
  if (A->primary == nullptr) throw uninitialized("sparse", "trsv", "Matrix is not initialized");
  if (A->primary->format != format_csr)
    throw unimplemented("sparse", "trsv",
                        "currently only supports the CSR matrix format on GPU devices");
  if (triangle == uplo::lower)
    return A->coloring_lower != nullptr
               ? levelsetTrsvLower_impl<T, I, C>(queue, triangle, op, diagonal, alpha, A, x, y,
                                                 deps)
               : defTrsvLower_impl<T, I, C>(queue, triangle, op, diagonal, alpha, A, x, y, deps);
  return A->coloring_upper != nullptr
             ? levelsetTrsvUpper_impl<T, I, C>(queue, triangle, op, diagonal, alpha, A, x, y,
                                               deps)
             : defTrsvUpper_impl<T, I, C>(queue, triangle, op, diagonal, alpha, A, x, y, deps);
}

}  // namespace orvane::vrt::sparse::gpu

#define VRT_INSTANTIATE_GPU_TRSV(T, I, C)                                                       \
  namespace orvane::vrt::sparse::gpu {                                                          \
  template sycl::event trsv_impl<T, I, C>(sycl::queue&, uplo, transpose, diag, T,               \
                                          matrix_handle*, container_t<C, T>, container_t<C, T>, \
                                          const event_list&);                                   \
  }
