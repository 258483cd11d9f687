// The plan of the column scatter as its launchers read it. Its first use takes the row kernels'
// table (csr_gemv_plan.hpp); this is the kind a value type runs a plan as.
#pragma once

#include <cstdint>

#include "gpu/mv/csr/csr_gemv_plan.hpp"
#include "gpu/sub_group_check.hpp"
#include "handle/gemv_data.hpp"
#include "handle/value_types.hpp"

namespace orvane::vrt::sparse::gpu::csc {

// The sub-group size the scatter runs a sub-group plan with: 16 as planned, anything else 32.
inline std::int64_t scatter_sub_group(const gemvInternalData& plan) {
  return plan.vector_param == 16 ? 16 : 32;
}

// Real values run the sycl::vec or sub-group family; complex values have no vector family. A
// real plan of any other kind becomes the default kernel's and stays so; a complex one runs the
// default kernel and keeps its kind. A sub-group plan whose size the device lacks runs the
// default kernel and keeps its kind, which the row-wise product may still run.
template <typename T>
gemv_kind settle_kind(gemvInternalData* plan, const sub_group_offer& offer) {
  if (plan->kernel_kind == gemv_kind::subgroup)
    return offer.has(scatter_sub_group(*plan)) ? gemv_kind::subgroup : gemv_kind::default_kernel;
  if constexpr (!is_complex_v<T>) {
    if (plan->kernel_kind == gemv_kind::syclvec) return gemv_kind::syclvec;
    plan->kernel_kind = gemv_kind::default_kernel;
  }
  return gemv_kind::default_kernel;
}

}  // namespace orvane::vrt::sparse::gpu::csc
