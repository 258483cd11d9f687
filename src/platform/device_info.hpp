// Device information the planning code reads: architecture code, EU count, tile count.
#pragma once

#include <cstdint>
#include <sycl/sycl.hpp>

namespace orvane::vrt::gpu {

// Architecture code of the queue's device: 1 to 6 for the GPU generations the planning tables
// know, 0 for a device that is not a GPU and for a GPU that cannot be identified (the generic
// rows of the tables).
void get_architecture(int* code, sycl::queue* queue);

std::uint32_t get_eu_count(sycl::queue* queue);
std::uint32_t get_tile_count(sycl::queue* queue);

}  // namespace orvane::vrt::gpu
