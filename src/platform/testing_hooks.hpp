// Test seams of the platform services: make allocations fail, observe exits. They exist only in
// the services built for the tests (VRT_TESTING_SEAMS), never in the shipping library.
#pragma once

#include <cstddef>

namespace orvane::vrt::testing {

// The next `count` calls of vrt_serv_malloc return null.
void fail_next_serv_mallocs(std::size_t count);

// Replaces the process exit of vrt_serv_exit and vrt_serv_iface_exit; null restores it.
using exit_hook = void (*)(int status);
void set_exit_hook(exit_hook hook);

}  // namespace orvane::vrt::testing
