// trsm on the device: the refusals, the diagonal check of a non-unit solve, then per side the
// tile solve where the triangle has been analysed (by optimize_trsm or optimize_trsv) and the
// default solve otherwise.
#pragma once

#include <cstdint>
#include <orvane/vrt/sparse.hpp>
#include <vector>

#include "common/internal_error.hpp"
#include "containers/views.hpp"
#include "gpu/entry_points.hpp"
#include "gpu/triangular/analysis/diag_data.hpp"
#include "gpu/triangular/design_names.hpp"
#include "gpu/triangular/triangle_side.hpp"
#include "gpu/triangular/trsm/default_trsm_launch.hpp"
#include "gpu/triangular/trsm/tile_solve.hpp"

namespace orvane::vrt::sparse::gpu {

namespace csr {

// deps carries the diagonal check's event.
template <typename T, typename I, containerType C>
sycl::event trsm_impl(sycl::queue& queue, layout dense_layout, transpose opA, transpose opX,
                      uplo which, diag diagonal, T alpha, matrix_handle* A, container_t<C, T> x,
                      std::int64_t columns, std::int64_t ldx, container_t<C, T> y, std::int64_t ldy,
                      const event_list& deps) {
  namespace names = triangular_names;
  if (opA != transpose::nontrans || opX != transpose::nontrans)
    throw unimplemented("sparse", names::trsm, names::nontrans_only);
  if (A->primary == nullptr) throw uninitialized("sparse", names::trsm, names::not_initialized);
  if (A->primary->format != format_csr) internal_error(names::trsm);
  const triangle side = side_of(which);
  const coloringData* coloring = side == triangle::lower ? A->coloring_lower : A->coloring_upper;
  return coloring != nullptr ? opt_trsm<T, I, C>(queue, side, dense_layout, diagonal, alpha, A, x,
                                                 columns, ldx, y, ldy, deps)
                             : def_trsm<T, I, C>(queue, side, dense_layout, diagonal, alpha, A, x,
                                                 columns, ldx, y, ldy, deps);
}

}  // namespace csr

template <typename T, typename I, containerType C>
sycl::event trsm_impl(sycl::queue& queue, layout dense_layout, transpose opA, transpose opX,
                      uplo which, diag diagonal, T alpha, matrix_handle* A, container_t<C, T> x,
                      std::int64_t columns, std::int64_t ldx, container_t<C, T> y, std::int64_t ldy,
                      const event_list& deps) {
  namespace names = triangular_names;
  if (!is_uplo(which)) throw invalid_argument("sparse", names::trsm, names::uplo_flag_invalid);
  if (A->primary == nullptr) throw uninitialized("sparse", names::trsm, names::not_initialized);
  if constexpr (C == container_usm)
    if (memory_kind<C>(queue, y) == sycl::usm::alloc::unknown)
      throw invalid_argument("sparse", names::trsm, names::unknown_usm_kind);
  std::vector<sycl::event> chain = deps;
  if (diagonal == diag::nonunit)
    chain.push_back(updateDiagData_and_check_for_missing_diags<T, I, C>(
        queue, A->primary, &A->diag_values, false, &A->diag_struct, diagonal, names::trsm, deps));
  if (A->primary->format != format_csr)
    throw unimplemented("sparse", names::trsm, names::csr_only_on_gpu);
  return csr::trsm_impl<T, I, C>(queue, dense_layout, opA, opX, which, diagonal, alpha, A, x,
                                 columns, ldx, y, ldy, chain);
}

}  // namespace orvane::vrt::sparse::gpu

#define VRT_INSTANTIATE_GPU_TRSM(T, I, C)                                                         \
  namespace orvane::vrt::sparse::gpu {                                                            \
  template sycl::event trsm_impl<T, I, C>(sycl::queue&, layout, transpose, transpose, uplo, diag, \
                                          T, matrix_handle*, container_t<C, T>, std::int64_t,     \
                                          std::int64_t, container_t<C, T>, std::int64_t,          \
                                          const event_list&);                                     \
  }
