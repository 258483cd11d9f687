// The CPU backend's entry points: what the public frames call for a queue whose device is a
// CPU; each is one call of the host sparse engine in a host task.
#pragma once

#include <cstdint>
#include <orvane/vrt/sparse.hpp>
#include <sycl/sycl.hpp>
#include <vector>

#include "common/variants.hpp"
#include "containers/views.hpp"
#include "handle/handle.hpp"
#include "handle/matmat_descr.hpp"

namespace orvane::vrt::sparse::cpu {

#include "handle/backend_entry_points.inc"

// Each entry is one template over <T, I, C>: dgemv_impl_i4_usm is gemv_impl<double, std::int32_t,
// container_usm>, and so on for the letters s, d, c, z, the widths i4, i8 and usm, buf.

}  // namespace orvane::vrt::sparse::cpu
