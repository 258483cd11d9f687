// trmv on the device: the planned product on the strict triangle where optimize_trmv has made it
// for this side (and the diagonal values exist), the default product on the full rows otherwise.
#pragma once

#include <cstdint>
#include <orvane/vrt/sparse.hpp>
#include <vector>

#include "gpu/entry_points.hpp"
#include "gpu/triangular/design_names.hpp"
#include "gpu/triangular/triangle_side.hpp"
#include "gpu/triangular/trmv/default_trmv_launch.hpp"
#include "gpu/triangular/trmv/trmv_merge_launch.hpp"
#include "gpu/triangular/trmv/trmv_vector_launch.hpp"
#include "handle/gemv_data.hpp"
#include "handle/handle.hpp"
#include "handle/triangular_data.hpp"

namespace orvane::vrt::sparse::gpu {

// The planned product on strict triangle t (zero-based) with the diagonal values d: merge path
// when the triangle's plan says so, the vector kernel otherwise.
template <typename T, typename I, containerType C>
sycl::event opt_trmv_kernel_impl(sycl::queue& queue, diag diagonal, T alpha, sparseStructure* t,
                                 const diagonalValuesData* d, container_t<C, T> x, T beta,
                                 container_t<C, T> y, const std::vector<sycl::event>& deps) {
  const trmv_operands<T, I, C> op{{as_container<C, I>(t->row_ptr), as_container<C, I>(t->col_ind),
                                   as_container<C, T>(t->values), x, y},
                                  as_container<C, T>(d->diag),
                                  triangle::lower,  // the triangle's own rows: no side to filter
                                  t->nrows,
                                  I(0),
                                  alpha,
                                  beta,
                                  static_cast<std::uint8_t>(diagonal)};
  const gemvInternalData* plan = t->gemv_data;
  if (plan != nullptr && plan->kernel_kind == gemv_kind::merge)
    return trmv_merge_based_subgroup<T, I, C>(queue, *plan, op, deps);
  return trmv_with_syclvec<T, I, C>(queue, op, deps);
}

template <typename T, typename I, containerType C>
sycl::event trmv_impl(sycl::queue& queue, uplo which, transpose op, diag diagonal, T alpha,
                      matrix_handle* A, container_t<C, T> x, T beta, container_t<C, T> y,
                      const event_list& deps) {
  namespace names = triangular_names;
  const char* const word = names::trmv;
  if (!is_uplo(which)) throw invalid_argument("sparse", word, names::uplo_flag);
  if (diagonal != diag::nonunit && diagonal != diag::unit)
    throw invalid_argument("sparse", word, names::diag_flag);
  if (op != transpose::nontrans) throw unimplemented("sparse", word, names::nontrans_only);
  sparseStructure* s = A->primary;
  if (s == nullptr) throw uninitialized("sparse", word, names::not_initialized);
  if (s->format != format_csr) throw unimplemented("sparse", word, names::csr_only_on_gpu);
  if (s->nrows != s->ncols) throw invalid_argument("sparse", word, names::square_only);
  sparseStructure* t = which == uplo::upper ? A->upper_triangle : A->lower_triangle;
  if (t != nullptr && A->diag_values != nullptr)
    return opt_trmv_kernel_impl<T, I, C>(queue, diagonal, alpha, t, A->diag_values, x, beta, y,
                                         deps);
  return def_trmv_kernel_impl<T, I, C>(queue, which, diagonal, s, alpha, beta, x, y, deps);
}

}  // namespace orvane::vrt::sparse::gpu

#define VRT_INSTANTIATE_GPU_TRMV(T, I, C)                                                         \
  namespace orvane::vrt::sparse::gpu {                                                            \
  template sycl::event trmv_impl<T, I, C>(sycl::queue&, uplo, transpose, diag, T, matrix_handle*, \
                                          container_t<C, T>, T, container_t<C, T>,                \
                                          const event_list&);                                     \
  }
