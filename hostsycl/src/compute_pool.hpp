// Internal interface of the compute pool.
#pragma once

#include <cstddef>

namespace sycl::detail {

// Runs body(arg) on the calling thread and on every idle pool thread; returns when all of them
// have returned. The body pulls its work from shared counters, so any number may join.
void run_on_pool(void (*body)(void*), void* arg);

// Threads that may run one kernel at once (the caller included).
std::size_t pool_width();

}  // namespace sycl::detail
