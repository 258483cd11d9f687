// The column-scatter product on the device: the structure's plan (first use fixes it from the
// architecture code) and the launcher of its kind.
#pragma once

#include <orvane/vrt/sparse.hpp>
#include <vector>

#include "common/internal_error.hpp"
#include "gpu/mv/csc/csc_gemv_plan.hpp"
#include "gpu/mv/csc/csc_operands.hpp"
#include "gpu/mv/csc/csc_scatter_launch.hpp"
#include "gpu/mv/csr/csr_gemv_plan.hpp"
#include "gpu/mv/design_names.hpp"
#include "handle/handle.hpp"
#include "handle/value_types.hpp"

namespace orvane::vrt::sparse::gpu::csc {

template <typename T, typename I, containerType C>
scatter_launcher<T, I, C> launcher_for(gemvInternalData* plan, const sub_group_offer& offer) {
  switch (settle_kind<T>(plan, offer)) {
    case gemv_kind::subgroup:
      return gemv_with_subgroup<T, I, C>;
    case gemv_kind::syclvec:
      return gemv_with_syclvec<T, I, C>;
    default:
      return gemv_default<T, I, C>;
  }
}

// op(A) * x for op trans or conjtrans, reading the CSR arrays of A as the CSC arrays of op(A).
template <typename T, typename I, containerType C>
sycl::event gemv_impl(sycl::queue& queue, transpose op, bool conj, T alpha, sparseStructure* A,
                      container_t<C, T> x, T beta, container_t<C, T> y,
                      const std::vector<sycl::event>& deps) {
  if (A == nullptr) throw uninitialized("sparse", mv_words::gemv, mv_words::not_initialized);
  if (A->format != format_csr || op == transpose::nontrans) internal_error(mv_words::gemv);
  if (A->gemv_data == nullptr) initGemvInternalData(&A->gemv_data);
  gemvInternalData* plan = A->gemv_data;
  const sub_group_offer offer = sub_group_offer::of(queue.get_device());
  if (!plan->cached) {
    cache_gemv_internals(queue, plan);
    // The column scatter's first-use table is the row kernels' one.
    csr::set_first_use_plan<T>(plan, offer);
  }
  const scatter_launcher<T, I, C> launch = launcher_for<T, I, C>(plan, offer);
  const scatter_operands<T, I, C> operands{
      {as_container<C, I>(A->row_ptr), as_container<C, I>(A->col_ind),
       as_container<C, T>(A->values), x, y},
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
