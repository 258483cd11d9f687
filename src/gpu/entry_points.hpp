// The device backend's entry points: what the public frames call for a queue whose device is
// not a CPU; the families define them.
#pragma once

#include <cstdint>
#include <vector>

#include <sycl/sycl.hpp>

#include <orvane/vrt/sparse.hpp>

#include "common/variants.hpp"
#include "containers/views.hpp"
#include "handle/handle.hpp"
#include "handle/matmat_descr.hpp"

namespace orvane::vrt::sparse::gpu {

#include "handle/backend_entry_points.inc"

// The names the design gives these entry points (dgemv_impl_i4_usm, ...).
VRT_NAME_VARIANTS(gemv_impl)
VRT_NAME_VARIANTS(sort_matrix_impl)
VRT_NAME_VARIANTS(omatcopy_impl)

}  // namespace orvane::vrt::sparse::gpu
