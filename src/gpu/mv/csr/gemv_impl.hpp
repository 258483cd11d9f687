// The CSR product on the device: the plan (first use or optimize_gemv), the complex rewrites and
// the launcher of the plan's kernel family.
#pragma once

#include <orvane/vrt/sparse.hpp>

#include "gpu/mv/csr/first_use_plan.hpp"
#include "gpu/mv/csr/gemv_operands.hpp"
#include "handle/handle.hpp"
#include "handle/value_types.hpp"

namespace orvane::vrt::sparse::gpu::csr {

// The launcher of the plan's kind. No sycl::vec or explicit-SIMD kernels exist for complex
// values: those plans are rewritten once, here.
template <typename T, typename I, containerType C>
gemv_launcher<T, I, C> launcher_for(gemvInternalData* plan) {
  if constexpr (is_complex_v<T>) {
    switch (plan->kernel_kind) {
      case gemv_kind_syclvec:
        plan->vector_param /= 2;
        plan->kernel_kind = gemv_kind_marray;
        return gemv_with_marray<T, I, C>;
      case gemv_kind_marray:
        return gemv_with_marray<T, I, C>;
      case gemv_kind_subgroup:
        return gemv_with_subgroup<T, I, C>;
      case gemv_kind_merge:
        return gemv_merge_based_subgroup<T, I, C>;
      default:
        // Codes 1 and 5 take the default kernel, the others the sub-group preset of codes 3, 4.
        if ((plan->device_data->architecture | 4) == 5) {
          plan->kernel_kind = gemv_kind_default;
          return gemv_default<T, I, C>;
        }
        plan->kernel_kind = preset_codes_3_4.kernel_kind;
        plan->group_param = preset_codes_3_4.group_param;
        plan->vector_param = preset_codes_3_4.vector_param;
        return gemv_with_subgroup<T, I, C>;
    }
  } else {
    switch (plan->kernel_kind) {
      case gemv_kind_syclvec:
        return gemv_with_syclvec<T, I, C>;
      case gemv_kind_marray:
        return gemv_with_marray<T, I, C>;
      case gemv_kind_subgroup:
        return gemv_with_subgroup<T, I, C>;
      case gemv_kind_esimd:
        return gemv_with_esimd<T, I, C>;
      case gemv_kind_merge:
        return gemv_merge_based_subgroup<T, I, C>;
      default:
        throw computation_error("sparse", "gemv", "internal error");
    }
  }
}

template <typename T, typename I, containerType C>
sycl::event gemv_impl(sycl::queue& queue, bool conj, T alpha, sparseStructure* A,
                      container_t<C, T> x, T beta, container_t<C, T> y,
                      const std::vector<sycl::event>& deps) {
  if (A == nullptr) throw uninitialized("sparse", "gemv", "Matrix is not initialized");
  if (A->format != format_csr) throw computation_error("sparse", "gemv", "internal error");
  if (A->row_ptr == nullptr || A->col_ind == nullptr || A->values == nullptr)
    throw uninitialized("sparse", "gemv", "Matrix is not initialized");
  if (A->gemv_data == nullptr) initGemvInternalData(&A->gemv_data);
  gemvInternalData* plan = A->gemv_data;
  if (!plan->cached) {
    cache_gemv_internals(queue, plan);
    set_first_use_plan<T>(plan);
  }
  const gemv_launcher<T, I, C> launch = launcher_for<T, I, C>(plan);
  const gemv_operands<T, I, C> operands{as_container<C, I>(A->row_ptr),
                                        as_container<C, I>(A->col_ind),
                                        as_container<C, T>(A->values),
                                        x,
                                        y,
                                        A->nrows,
                                        static_cast<I>(A->index != 0 ? 1 : 0),
                                        alpha,
                                        beta,
                                        conj};
  return launch(queue, *plan, operands, deps);
}

}  // namespace orvane::vrt::sparse::gpu::csr
