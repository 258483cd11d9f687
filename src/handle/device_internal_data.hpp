// deviceInternalData: the device facts a plan caches from the queue of its first use.
#pragma once

#include <cstdint>
#include <sycl/sycl.hpp>

namespace orvane::vrt::sparse {

struct deviceInternalData {
  sycl::device* device;
  bool cached;
  std::int32_t threads_per_eu;
  std::int32_t eu_count;
  std::int32_t tile_count;
  std::int32_t hw_thread_count;
  std::int32_t cache_line_size;
  std::int32_t cache_size;
  std::int32_t alignment;
  std::int64_t max_alloc_size;
  std::int32_t arch_pair_low;
  std::int32_t arch_pair_high;
  std::int32_t architecture;
};

// Allocates a cleared record into *slot (vrt_serv_malloc, alignment 64); host_bad_alloc on failure.
void initDeviceInternalData(deviceInternalData** slot);
// Frees the record and its device copy; an empty slot is left alone. The slot ends null.
void deviceInternalDataRelease(deviceInternalData** slot);

// Fills an uncached record from the queue's device and marks it cached; a cached record stays
// as it is. A null record, or a cached one without a device, is an internal error.
void cache_device_internals(sycl::queue& queue, deviceInternalData* data);

}  // namespace orvane::vrt::sparse
