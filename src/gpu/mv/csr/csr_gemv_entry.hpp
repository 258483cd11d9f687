// The CSR product on the device: the plan (first use or optimize_gemv), the kind a value type
// runs it as, and the launcher of that kind.
#pragma once

#include <orvane/vrt/sparse.hpp>

#include "common/internal_error.hpp"
#include "gpu/mv/csr/csr_gemv_plan.hpp"
#include "gpu/mv/csr/csr_operands.hpp"
#include "gpu/mv/design_names.hpp"
#include "handle/handle.hpp"
#include "handle/value_types.hpp"

namespace orvane::vrt::sparse::gpu::csr {

// The launcher of the plan's kind, once settle_kind has rewritten what T has no kernels for.
// Real values never reach the default kernel: a real plan of that kind is off the table.
template <typename T, typename I, containerType C>
gemv_launcher<T, I, C> launcher_for(gemvInternalData* plan, const sub_group_offer& offer) {
  const gemv_kind kind = settle_kind<T>(plan, offer);
  if constexpr (is_complex_v<T>) {
    switch (kind) {
      case gemv_kind::marray:
        return gemv_with_marray<T, I, C>;
      case gemv_kind::subgroup:
        return gemv_with_subgroup<T, I, C>;
      case gemv_kind::merge:
        return gemv_merge_based_subgroup<T, I, C>;
      default:
        return gemv_default<T, I, C>;
    }
  } else {
    switch (kind) {
      case gemv_kind::syclvec:
        return gemv_with_syclvec<T, I, C>;
      case gemv_kind::marray:
        return gemv_with_marray<T, I, C>;
      case gemv_kind::subgroup:
        return gemv_with_subgroup<T, I, C>;
      case gemv_kind::esimd:
        return gemv_with_esimd<T, I, C>;
      case gemv_kind::merge:
        return gemv_merge_based_subgroup<T, I, C>;
      default:
        internal_error(mv_words::gemv);
    }
  }
}

template <typename T, typename I, containerType C>
sycl::event gemv_impl(sycl::queue& queue, bool conj, T alpha, sparseStructure* A,
                      container_t<C, T> x, T beta, container_t<C, T> y,
                      const std::vector<sycl::event>& deps) {
  if (A == nullptr) throw uninitialized("sparse", mv_words::gemv, mv_words::not_initialized);
  if (A->format != format_csr) internal_error(mv_words::gemv);
  if (A->row_ptr == nullptr || A->col_ind == nullptr || A->values == nullptr)
    throw uninitialized("sparse", mv_words::gemv, mv_words::not_initialized);
  if (A->gemv_data == nullptr) initGemvInternalData(&A->gemv_data);
  gemvInternalData* plan = A->gemv_data;
  const sub_group_offer offer = sub_group_offer::of(queue.get_device());
  if (!plan->cached) {
    cache_gemv_internals(queue, plan);
    set_first_use_plan<T>(plan, offer);
  }
  const gemv_launcher<T, I, C> launch = launcher_for<T, I, C>(plan, offer);
  const gemv_operands<T, I, C> operands{
      {as_container<C, I>(A->row_ptr), as_container<C, I>(A->col_ind),
       as_container<C, T>(A->values), x, y},
      A->nrows,
      static_cast<I>(A->index != 0 ? 1 : 0),
      alpha,
      beta,
      conj};
  return launch(queue, *plan, operands, deps);
}

}  // namespace orvane::vrt::sparse::gpu::csr
