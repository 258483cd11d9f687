// The device path of gemv: the structure an operation runs on, and its format's family.
#pragma once

#include <orvane/vrt/sparse.hpp>

#include "gpu/entry_points.hpp"
#include "gpu/format/select_transposed.hpp"
#include "gpu/mv/coo/gemv_entry.hpp"
#include "gpu/mv/csc/gemv_entry.hpp"
#include "gpu/mv/csr/gemv_impl.hpp"

namespace orvane::vrt::sparse::gpu {

template <typename T, typename I, containerType C>
sycl::event gemv_impl(sycl::queue& queue, transpose op, T alpha, matrix_handle* A,
                      container_t<C, T> x, T beta, container_t<C, T> y, const event_list& deps) {
  sparseStructure* primary = A->primary;
  if (primary == nullptr) throw uninitialized("sparse", "gemv", "Matrix is not initialized");
  if (primary->format == format_coo)
    return coo::gemv_impl<T, I, C>(queue, op, alpha, primary, x, beta, y, deps);
  if (primary->format != format_csr)
    throw unimplemented("sparse", "gemv",
                        "currently only supports the CSR and COO matrix formats on GPU devices");

  sparseStructure* structure = nullptr;
  event_list new_deps;
  sparseStructSelection selection;
  bool host_y = false;
  if constexpr (C == container_usm)
    host_y = A->container == container_usm &&
             sycl::get_pointer_type(y, queue.get_context()) == sycl::usm::alloc::host;
  if (host_y) {
    // The column-oriented kernel adds into y with device atomics, which host memory cannot
    // take: a transposed product on host y runs row-wise on an explicit transpose.
    selection =
        do_transpose_and_select_sparse_struct<T, I, C>(queue, op, A, &structure, deps, new_deps);
  } else {
    selection = select_best_sparse_struct(queue, op, A, &structure);
    new_deps = deps;
  }
  if (structure == nullptr) throw uninitialized("sparse", "gemv", "Matrix is not initialized");
  const bool conj = check_for_conj(op, selection);
  if (!is_transposed(op) || selection != select_primary)
    return csr::gemv_impl<T, I, C>(queue, conj, alpha, structure, x, beta, y, new_deps);
  return csc::gemv_impl<T, I, C>(queue, op, conj, alpha, structure, x, beta, y, new_deps);
}

}  // namespace orvane::vrt::sparse::gpu

#define VRT_INSTANTIATE_GPU_GEMV(T, I, C)                                                    \
  namespace orvane::vrt::sparse::gpu {                                                       \
  template sycl::event gemv_impl<T, I, C>(sycl::queue&, transpose, T, matrix_handle*,        \
                                          container_t<C, T>, T, container_t<C, T>,           \
                                          const event_list&);                                \
  }
