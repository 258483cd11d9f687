// trsv on the device: the level-set solve where optimize_trsv has coloured the triangle, the
// default solve otherwise. The side is decided here, once.
#pragma once

#include <orvane/vrt/sparse.hpp>

#include "gpu/entry_points.hpp"
#include "gpu/triangular/default/default_trsv_launch.hpp"
#include "gpu/triangular/design_names.hpp"
#include "gpu/triangular/levelset/levelset_trsv.hpp"
#include "gpu/triangular/triangle_side.hpp"

namespace orvane::vrt::sparse::gpu {

template <typename T, typename I, containerType C>
sycl::event trsv_impl(sycl::queue& queue, uplo which, transpose op, diag diagonal, T alpha,
                      matrix_handle* A, container_t<C, T> x, container_t<C, T> y,
                      const event_list& deps) {
  namespace names = triangular_names;
  if (!is_uplo(which)) throw invalid_argument("sparse", names::trsv, names::uplo_flag);
  if (diagonal != diag::nonunit && diagonal != diag::unit)
    throw invalid_argument("sparse", names::trsv, names::diag_flag);
  if (op != transpose::nontrans) throw unimplemented("sparse", names::trsv, names::nontrans_only);
  if (A->primary == nullptr) throw uninitialized("sparse", names::trsv, names::not_initialized);
  if (A->primary->format != format_csr)
    throw unimplemented("sparse", names::trsv, names::csr_only_on_gpu);
  const triangle side = side_of(which);
  const coloringData* coloring = side == triangle::lower ? A->coloring_lower : A->coloring_upper;
  return coloring != nullptr ? levelset_trsv<T, I, C>(queue, side, diagonal, alpha, A, x, y, deps)
                             : default_trsv<T, I, C>(queue, side, diagonal, alpha, A, x, y, deps);
}

}  // namespace orvane::vrt::sparse::gpu

#define VRT_INSTANTIATE_GPU_TRSV(T, I, C)                                                         \
  namespace orvane::vrt::sparse::gpu {                                                            \
  template sycl::event trsv_impl<T, I, C>(sycl::queue&, uplo, transpose, diag, T, matrix_handle*, \
                                          container_t<C, T>, container_t<C, T>,                   \
                                          const event_list&);                                     \
  }
