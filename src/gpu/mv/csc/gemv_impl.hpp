// The column-scatter product on the device: the structure's plan (first use fixes it from the
// architecture code) and the launcher of its kind.
#pragma once

#include <orvane/vrt/sparse.hpp>

#include "gpu/mv/csc/gemv_entry.hpp"
#include "gpu/mv/csc/scatter_launchers.hpp"
#include "gpu/mv/csr/first_use_plan.hpp"
#include "handle/handle.hpp"
#include "handle/value_types.hpp"

namespace orvane::vrt::sparse::gpu::csc {

// Real values run the vector or sub-group family; complex values have no vector family. A real
// plan of any other kind becomes the default kernel's, and stays so.
template <typename T, typename I, containerType C>
scatter_launcher<T, I, C> launcher_for(gemvInternalData* plan) {
  if (plan->kernel_kind == gemv_kind_subgroup) return gemv_with_subgroup<T, I, C>;
  if constexpr (!is_complex_v<T>) {
    if (plan->kernel_kind == gemv_kind_syclvec) return gemv_with_syclvec<T, I, C>;
    plan->kernel_kind = gemv_kind_default;
  }
  return gemv_default<T, I, C>;
}

template <typename T, typename I, containerType C>
sycl::event gemv_impl(sycl::queue& queue, transpose op, bool conj, T alpha, sparseStructure* A,
                      container_t<C, T> x, T beta, container_t<C, T> y,
                      const std::vector<sycl::event>& deps) {
  if (A == nullptr) throw uninitialized("sparse", "gemv", "Matrix is not initialized");
  if (A->format != format_csr || op == transpose::nontrans)
    throw computation_error("sparse", "gemv", "internal error");
  if (A->gemv_data == nullptr) initGemvInternalData(&A->gemv_data);
  gemvInternalData* plan = A->gemv_data;
  if (!plan->cached) {
    cache_gemv_internals(queue, plan);
    // The column scatter's first-use table is the row kernels' one.
    csr::set_first_use_plan<T>(plan);
  }
  const scatter_launcher<T, I, C> launch = launcher_for<T, I, C>(plan);
  const scatter_operands<T, I, C> operands{as_container<C, I>(A->row_ptr),
                                           as_container<C, I>(A->col_ind),
                                           as_container<C, T>(A->values),
                                           x,
                                           y,
                                           A->nrows,
                                           A->ncols,
                                           static_cast<I>(A->index != 0 ? 1 : 0),
                                           alpha,
                                           beta,
                                           conj};
  return launch(queue, *plan, operands, deps);
}

}  // namespace orvane::vrt::sparse::gpu::csc

#define VRT_INSTANTIATE_GPU_CSC_GEMV(T, I, C)                                                 \
  namespace orvane::vrt::sparse::gpu::csc {                                                   \
  template sycl::event gemv_impl<T, I, C>(sycl::queue&, transpose, bool, T, sparseStructure*, \
                                          container_t<C, T>, T, container_t<C, T>,            \
                                          const std::vector<sycl::event>&);                   \
  template sycl::event gemv_default<T, I, C>(sycl::queue&, const gemvInternalData&,           \
                                             const scatter_operands<T, I, C>&,                \
                                             const std::vector<sycl::event>&);                \
  }
