// The test seam: statuses forced onto the next calls, so callers can test every mapping.
#include <atomic>

#include "matrix.hpp"
#include "vrt/host_sparse_testing.h"

namespace vrt_host {

namespace {
std::atomic<int> forced_count{0};
std::atomic<int> forced_skip{0};  // calls that run before the forced ones
std::atomic<long> calls{0};
std::atomic<sparse_status_t> forced_value{SPARSE_STATUS_SUCCESS};
}  // namespace

bool forced_status(sparse_status_t* status) {
  calls.fetch_add(1, std::memory_order_relaxed);
  if (forced_count.load(std::memory_order_acquire) == 0) return false;
  int skip = forced_skip.load(std::memory_order_acquire);
  while (skip > 0)
    if (forced_skip.compare_exchange_weak(skip, skip - 1, std::memory_order_acq_rel)) return false;
  int left = forced_count.load(std::memory_order_acquire);
  while (left > 0) {
    if (forced_count.compare_exchange_weak(left, left - 1, std::memory_order_acq_rel)) {
      *status = forced_value.load(std::memory_order_acquire);
      return true;
    }
  }
  return false;
}

}  // namespace vrt_host

extern "C" void vrt_sparse_testing_force_status(sparse_status_t status, int count) {
  vrt_sparse_testing_force_status_after(0, status, count);
}

extern "C" void vrt_sparse_testing_force_status_after(int skip, sparse_status_t status, int count) {
  vrt_host::forced_value.store(status, std::memory_order_release);
  vrt_host::forced_skip.store(skip > 0 ? skip : 0, std::memory_order_release);
  vrt_host::forced_count.store(count > 0 ? count : 0, std::memory_order_release);
}

extern "C" long vrt_sparse_testing_calls(void) {
  return vrt_host::calls.load(std::memory_order_relaxed);
}
