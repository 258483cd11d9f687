// The staging arrays of a gemm plan (b_tmp, c_tmp): they only grow, and a call that needs less
// keeps what is there.
#pragma once

#include <cstddef>
#include <cstdint>
#include <sycl/sycl.hpp>
#include <vector>

#include "containers/containers.hpp"
#include "containers/views.hpp"
#include "handle/gemm_data.hpp"

namespace orvane::vrt::sparse::gpu::gemm {

// Makes `slot` hold at least `count` values; false if it cannot, which callers answer with a
// kernel that needs no staging. A USM array that is replaced is freed behind `deps`, the events
// this call waits for, so that commands of the caller's chain that still read it finish first.
template <typename T, containerType C>
bool ensure_staging(sycl::queue& queue, void*& slot, std::int64_t& bytes, std::size_t count,
                    const std::vector<sycl::event>& deps) {
  const auto needed = static_cast<std::int64_t>(count * sizeof(T));
  if (slot != nullptr && bytes >= needed) return true;
  if (count == 0) return false;
  if (slot != nullptr) {
    release_after<C>(queue, deps, [old = slot, context = queue.get_context()] {
      deallocate_container<T>(old, context, C);
    });
    slot = nullptr;
    bytes = 0;
  }
  void* fresh = nullptr;
  try {
    fresh = allocate_device_container<T>(count, queue, C);
  } catch (const sycl::exception&) {
    fresh = nullptr;  // buffer storage that cannot be had is answered like a null pointer
  }
  if (fresh == nullptr) return false;
  slot = fresh;
  bytes = needed;
  return true;
}

}  // namespace orvane::vrt::sparse::gpu::gemm
