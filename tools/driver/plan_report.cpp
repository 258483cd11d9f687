// The gemv plan read from the handle's structure records (plain data of the library's sources).
#include "plan_report.hpp"

#include <iostream>

#include "handle/gemv_data.hpp"
#include "handle/handle.hpp"

namespace vrt_driver {

void report_gemv_plan(orvane::vrt::sparse::matrix_handle* handle, orvane::vrt::transpose op) {
  namespace vs = orvane::vrt::sparse;
  const vs::sparseStructure* s = handle->primary;
  if (op == orvane::vrt::transpose::trans && handle->transposed != nullptr) s = handle->transposed;
  if (op == orvane::vrt::transpose::conjtrans && handle->conj_transposed != nullptr)
    s = handle->conj_transposed;
  if (s == nullptr || s->gemv_data == nullptr) return;
  const vs::gemvInternalData* plan = s->gemv_data;
  // The kind by number and name, each parameter with the unit the kind gives it.
  const vs::gemv_kind_meaning* meaning = vs::meaning_of(plan->kernel_kind);
  std::cerr << "vrt_sparse_driver: gemv plan: kind " << vs::kind_code(plan->kernel_kind) << " ("
            << vs::kind_name(plan->kernel_kind) << "), group " << plan->group_param;
  if (meaning != nullptr) std::cerr << ' ' << meaning->group_unit;
  std::cerr << ", vector " << plan->vector_param;
  if (meaning != nullptr) std::cerr << ' ' << meaning->vector_unit;
  std::cerr << (plan->optimized ? " (optimized)" : " (first use)") << '\n';
}

}  // namespace vrt_driver
