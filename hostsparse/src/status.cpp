// The test seam: statuses forced onto the next calls, so callers can test every mapping.
#include <atomic>

#include "matrix.hpp"

namespace vrt_host {

namespace {
std::atomic<int> forced_count{0};
std::atomic<sparse_status_t> forced_value{SPARSE_STATUS_SUCCESS};
}  // namespace

bool forced_status(sparse_status_t* status) {
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
  vrt_host::forced_value.store(status, std::memory_order_release);
  vrt_host::forced_count.store(count > 0 ? count : 0, std::memory_order_release);
}
