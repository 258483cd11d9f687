// The device path of gemv: the structure an operation runs on, and its format's family.
#pragma once

#include <orvane/vrt/sparse.hpp>

#include "gpu/entry_points.hpp"
#include "gpu/format/select_transposed.hpp"
#include "gpu/mv/csr/csr_gemv_entry.hpp"
#include "gpu/mv/design_names.hpp"

namespace orvane::vrt::sparse::gpu {

// The column-scatter and COO paths, instantiated in units of their own (csc/csc_gemv_entry.hpp,
// coo/coo_gemv_entry.hpp).
namespace csc {
// op(A) * x for op trans or conjtrans, reading the CSR arrays of A as the CSC arrays of op(A).
template <typename T, typename I, containerType C>
sycl::event gemv_impl(sycl::queue& queue, transpose op, bool conj, T alpha, sparseStructure* A,
                      container_t<C, T> x, T beta, container_t<C, T> y,
                      const std::vector<sycl::event>& deps);
}  // namespace csc
namespace coo {
// The product on a COO structure, every op.
template <typename T, typename I, containerType C>
sycl::event gemv_impl(sycl::queue& queue, transpose op, T alpha, sparseStructure* A,
                      container_t<C, T> x, T beta, container_t<C, T> y,
                      const std::vector<sycl::event>& deps);
}  // namespace coo

template <typename T, typename I, containerType C>
sycl::event gemv_impl(sycl::queue& queue, transpose op, T alpha, matrix_handle* A,
                      container_t<C, T> x, T beta, container_t<C, T> y, const event_list& deps) {
  sparseStructure* primary = A->primary;
  if (primary == nullptr) throw uninitialized("sparse", mv_words::gemv, mv_words::not_initialized);
  if (primary->format == format_coo)
    return coo::gemv_impl<T, I, C>(queue, op, alpha, primary, x, beta, y, deps);
  if (primary->format != format_csr)
    throw unimplemented("sparse", mv_words::gemv, mv_words::gemv_formats);

  sparseStructure* structure = nullptr;
  event_list new_deps;
  sparseStructSelection selection;
  // Host USM alone: y the context does not know takes the column scatter as before.
  if (A->container == container_usm && is_host_usm<C>(queue, y)) {
    // The column-oriented kernel adds into y with device atomics, which host memory cannot
    // take: a transposed product on host y runs row-wise on an explicit transpose.
    selection =
        do_transpose_and_select_sparse_struct<T, I, C>(queue, op, A, &structure, deps, new_deps);
  } else {
    selection = select_best_sparse_struct(queue, op, A, &structure);
    new_deps = deps;
  }
  if (structure == nullptr)
    throw uninitialized("sparse", mv_words::gemv, mv_words::not_initialized);
  const bool conj = check_for_conj(op, selection);
  if (!is_transposed(op) || selection != select_primary)
    return csr::gemv_impl<T, I, C>(queue, conj, alpha, structure, x, beta, y, new_deps);
  return csc::gemv_impl<T, I, C>(queue, op, conj, alpha, structure, x, beta, y, new_deps);
}

}  // namespace orvane::vrt::sparse::gpu

#define VRT_INSTANTIATE_GPU_GEMV(T, I, C)                                             \
  namespace orvane::vrt::sparse::gpu {                                                \
  template sycl::event gemv_impl<T, I, C>(sycl::queue&, transpose, T, matrix_handle*, \
                                          container_t<C, T>, T, container_t<C, T>,    \
                                          const event_list&);                         \
  }
