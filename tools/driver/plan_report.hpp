// After a gemv on a GPU queue: the plan the library holds for the structure the operation ran
// on, written to stderr so that result files stay as they are.
#pragma once

#include <orvane/vrt/sparse.hpp>

namespace vrt_driver {

void report_gemv_plan(orvane::vrt::sparse::matrix_handle* handle, orvane::vrt::transpose op);

}  // namespace vrt_driver
