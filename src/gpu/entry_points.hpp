// The device backend's entry points: what the public frames call for a queue whose device is
// not a CPU; the families define them.
#pragma once

#include <cstdint>
#include <orvane/vrt/sparse.hpp>
#include <sycl/sycl.hpp>
#include <vector>

#include "common/variants.hpp"
#include "containers/views.hpp"
#include "handle/handle.hpp"
#include "handle/matmat_descr.hpp"

namespace orvane::vrt::sparse::gpu {

#include "handle/backend_entry_points.inc"

// The design names each instance <p><entry>_<i4|i8>_<usm|buf> (dgemv_impl_i4_usm is
// gemv_impl<double, std::int32_t, container_usm>); the design_names.hpp of each family lists its
// entries.

}  // namespace orvane::vrt::sparse::gpu
