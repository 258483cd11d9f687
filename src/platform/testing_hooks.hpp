// Test seams of the platform services: make allocations fail, observe exits.
#pragma once

#include <cstddef>

#include "common/export.hpp"

namespace orvane::vrt::testing {

// The next `count` calls of vrt_serv_malloc return null.
VRT_SPARSE_EXPORT void fail_next_serv_mallocs(std::size_t count);

// Replaces the process exit of vrt_serv_exit and vrt_serv_iface_exit; null restores it.
using exit_hook = void (*)(int status);
VRT_SPARSE_EXPORT void set_exit_hook(exit_hook hook);

}  // namespace orvane::vrt::testing
