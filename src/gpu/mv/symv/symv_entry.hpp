// symv on the device: y = alpha * A * x + beta * y where one triangle of A is read and the other
// is implied by symmetry (a plain transpose: no conjugation).
#pragma once

#include <orvane/vrt/sparse.hpp>

#include "containers/views.hpp"
#include "gpu/entry_points.hpp"
#include "gpu/mv/design_names.hpp"
#include "gpu/mv/symv/symv_launch.hpp"

namespace orvane::vrt::sparse::gpu {

namespace detail {

template <typename T, typename I, containerType C>
sycl::event symv_triangle(sycl::queue& queue, bool upper, T alpha, matrix_handle* A,
                          container_t<C, T> x, T beta, container_t<C, T> y,
                          const event_list& deps) {
  const sparseStructure& s = *A->primary;
  const symv::symv_operands<T, I, C> op{
      {as_container<C, I>(s.row_ptr), as_container<C, I>(s.col_ind), as_container<C, T>(s.values),
       x, y},
      s.nrows,
      static_cast<I>(s.index != 0 ? 1 : 0),
      alpha,
      beta,
      upper};
  const sycl::event gathered = symv::gather_stored<T, I, C>(queue, op, deps);
  // The single-item scatter exists for USM alone; buffers are device memory by the rule.
  if constexpr (C == container_usm)
    if (is_host_memory<C>(queue, y)) return symv::scatter_single<T, I>(queue, op, gathered);
  return symv::scatter_atomic<T, I, C>(queue, op, gathered);
}

}  // namespace detail

template <typename T, typename I, containerType C>
sycl::event symv_impl(sycl::queue& queue, uplo triangle, T alpha, matrix_handle* A,
                      container_t<C, T> x, T beta, container_t<C, T> y, const event_list& deps) {
  const sparseStructure* s = A->primary;
  if (s == nullptr) throw uninitialized("sparse", mv_words::symv, mv_words::not_initialized);
  if (s->format != format_csr)
    throw unimplemented("sparse", mv_words::symv, "currently only supports the CSR matrix format");
  if (s->nrows != s->ncols)
    throw unimplemented("sparse", mv_words::symv,
                        "matrix nRows != nCols, symv currently only supports a square matrix");
  switch (triangle) {
    case uplo::upper:
      return detail::symv_triangle<T, I, C>(queue, true, alpha, A, x, beta, y, deps);
    case uplo::lower:
      return detail::symv_triangle<T, I, C>(queue, false, alpha, A, x, beta, y, deps);
    default:
      throw invalid_argument("sparse", mv_words::symv, "uplo_val");
  }
}

}  // namespace orvane::vrt::sparse::gpu

#define VRT_INSTANTIATE_GPU_SYMV(T, I, C)                                          \
  namespace orvane::vrt::sparse::gpu {                                             \
  template sycl::event symv_impl<T, I, C>(sycl::queue&, uplo, T, matrix_handle*,   \
                                          container_t<C, T>, T, container_t<C, T>, \
                                          const event_list&);                      \
  }
