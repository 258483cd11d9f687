// The product on a COO structure, every op: its entry. The plan is always the default kernel's.
#pragma once

#include <orvane/vrt/sparse.hpp>
#include <vector>

#include "common/internal_error.hpp"
#include "gpu/mv/coo/coo_launch.hpp"
#include "gpu/mv/design_names.hpp"
#include "handle/gemv_data.hpp"
#include "handle/handle.hpp"

namespace orvane::vrt::sparse::gpu::coo {

template <typename T, typename I, containerType C>
sycl::event gemv_impl(sycl::queue& queue, transpose op, T alpha, sparseStructure* A,
                      container_t<C, T> x, T beta, container_t<C, T> y,
                      const std::vector<sycl::event>& deps) {
  if (A == nullptr) throw uninitialized("sparse", mv_words::gemv, mv_words::not_initialized);
  if (A->format != format_coo) internal_error(mv_words::gemv);
  // An operation outside the three is refused as the CSR path's structure choice refuses it,
  // never run as some other product.
  if (op != transpose::nontrans && op != transpose::trans && op != transpose::conjtrans)
    internal_error(mv_words::coo_unknown_op);
  if (A->gemv_data == nullptr) initGemvInternalData(&A->gemv_data);
  A->gemv_data->kernel_kind = gemv_kind::default_kernel;
  return gemv_default<T, I, C>(queue, op, *A, x, alpha, beta, y, deps);
}

}  // namespace orvane::vrt::sparse::gpu::coo

#define VRT_INSTANTIATE_GPU_COO_GEMV(T, I, C)                                           \
  namespace orvane::vrt::sparse::gpu::coo {                                             \
  template sycl::event gemv_impl<T, I, C>(sycl::queue&, transpose, T, sparseStructure*, \
                                          container_t<C, T>, T, container_t<C, T>,      \
                                          const std::vector<sycl::event>&);             \
  }
