// Instances of the staged product on the device, one per index width and memory model.
#include "gpu/matmat/matmat_entry.hpp"

VRT_INSTANTIATE_GPU_MATMAT(std::int32_t, orvane::vrt::sparse::container_usm)
VRT_INSTANTIATE_GPU_MATMAT(std::int32_t, orvane::vrt::sparse::container_buffer)
VRT_INSTANTIATE_GPU_MATMAT(std::int64_t, orvane::vrt::sparse::container_usm)
VRT_INSTANTIATE_GPU_MATMAT(std::int64_t, orvane::vrt::sparse::container_buffer)
