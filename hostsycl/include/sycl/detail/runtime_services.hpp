// Contract between the scheduling half of the runtime (devices, queues, memory) and the
// kernel-execution half (work-groups, fibers, group functions, atomics).
//
// Implemented in hostsycl/src; header-only code on either side calls only what is declared here.
#pragma once

#include <cstddef>
#include <cstdint>

namespace sycl::detail {

// ---- run-time checks (implemented by the memory side) -------------------------------------

// True when the strict checks are on (hostsycl::set_strict_mode or HOSTSYCL_STRICT=1).
bool strict_mode() noexcept;

// Stops the process with a clear message naming the violated rule. Used by strict checks
// that a real device could not report (atomics on host USM, out-of-range accessor index,
// USM pointer outside every live allocation).
[[noreturn]] void strict_violation(const char* rule, const char* detail) noexcept;

// Kind of the live USM allocation that contains `p` (interior pointers count), whatever the
// context. `none` for memory the runtime did not allocate or that was freed.
enum class usm_region_kind { none, host, device, shared };
usm_region_kind usm_region_of(const void* p) noexcept;

// True when [p, p + bytes) lies inside one live USM allocation or one live buffer storage.
bool is_runtime_memory(const void* p, std::size_t bytes) noexcept;

// ---- work-item cooperation (implemented by the execution side) ----------------------------

// Called by a work-item that waits on memory written by someone else (an atomic load in a
// spin loop, a failed compare-exchange). Inside a work-group's fiber it lets the other
// work-items of the group run now and then; outside a kernel it does nothing.
void spin_hint() noexcept;

// Base address of local-memory slot `slot` of the work-group that the calling work-item
// belongs to. Valid only inside an nd_range kernel.
void* local_memory_slot(std::size_t slot) noexcept;

}  // namespace sycl::detail
