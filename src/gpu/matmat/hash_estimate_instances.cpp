// The hashed row counts for both index widths and memory models.
#include <cstdint>

#include "gpu/matmat/hash_estimate_launch.hpp"

namespace orvane::vrt::sparse::gpu {

#define VRT_INSTANTIATE_ESTIMATE(I, C)           \
  template sycl::event estimate_rows_hash<I, C>( \
      sycl::queue&, const work_estimation_operands<I, C>&, const std::vector<sycl::event>&);
VRT_INSTANTIATE_ESTIMATE(std::int32_t, container_usm)
VRT_INSTANTIATE_ESTIMATE(std::int32_t, container_buffer)
VRT_INSTANTIATE_ESTIMATE(std::int64_t, container_usm)
VRT_INSTANTIATE_ESTIMATE(std::int64_t, container_buffer)
#undef VRT_INSTANTIATE_ESTIMATE

}  // namespace orvane::vrt::sparse::gpu
