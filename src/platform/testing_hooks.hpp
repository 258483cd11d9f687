// Test seams of the platform services: make allocations fail, observe exits. They exist only in
// the services built for the tests (VRT_TESTING_SEAMS), never in the shipping library.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orvane::vrt::testing {

// The next `count` calls of vrt_serv_malloc return null.
void fail_next_serv_mallocs(std::size_t count);
// The `skip` calls of vrt_serv_malloc after this one succeed, the `count` after them return null.
void fail_serv_mallocs_after(std::size_t skip, std::size_t count);
// Calls of vrt_serv_malloc since the start, failed ones included: the positions the line above
// counts.
std::uint64_t serv_malloc_calls();
// Blocks vrt_serv_malloc gave that vrt_serv_free has not taken back.
std::int64_t live_serv_mallocs();

// Replaces the process exit of vrt_serv_exit and vrt_serv_iface_exit; null restores it.
using exit_hook = void (*)(int status);
void set_exit_hook(exit_hook hook);

}  // namespace orvane::vrt::testing
