// The plan of the column scatter as its launchers read it. Its first use takes the row kernels'
// table (csr_gemv_plan.hpp); this is the kind a value type runs a plan as.
#pragma once

#include "gpu/mv/csr/csr_gemv_plan.hpp"
#include "handle/gemv_data.hpp"
#include "handle/value_types.hpp"

namespace orvane::vrt::sparse::gpu::csc {

// Real values run the sycl::vec or sub-group family; complex values have no vector family. A
// real plan of any other kind becomes the default kernel's and stays so; a complex one runs the
// default kernel and keeps its kind.
template <typename T>
gemv_kind settle_kind(gemvInternalData* plan) {
  if (plan->kernel_kind == gemv_kind::subgroup) return gemv_kind::subgroup;
  if constexpr (!is_complex_v<T>) {
    if (plan->kernel_kind == gemv_kind::syclvec) return gemv_kind::syclvec;
    plan->kernel_kind = gemv_kind::default_kernel;
  }
  return gemv_kind::default_kernel;
}

}  // namespace orvane::vrt::sparse::gpu::csc
