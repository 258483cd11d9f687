// Instances of the device entry points that still refuse (gpu/pending.hpp), so that the frames
// link against every variant. Each body only throws, so one unit holds them all.
#include "gpu/pending.hpp"

#define VRT_INSTANTIATE_GPU_MATMAT(I, C)                                                      \
  template sycl::event orvane::vrt::sparse::gpu::matmat_impl<I, C>(                           \
      sycl::queue&, orvane::vrt::sparse::matrix_handle*, orvane::vrt::sparse::matrix_handle*, \
      orvane::vrt::sparse::matrix_handle*, orvane::vrt::sparse::matmat_request,               \
      orvane::vrt::sparse::matmat_descr*, orvane::vrt::sparse::container_t<C, std::int64_t>,  \
      orvane::vrt::sparse::container_t<C, std::uint8_t>, const std::vector<sycl::event>&);
VRT_INSTANTIATE_GPU_MATMAT(std::int32_t, orvane::vrt::sparse::container_usm)
VRT_INSTANTIATE_GPU_MATMAT(std::int32_t, orvane::vrt::sparse::container_buffer)
VRT_INSTANTIATE_GPU_MATMAT(std::int64_t, orvane::vrt::sparse::container_usm)
VRT_INSTANTIATE_GPU_MATMAT(std::int64_t, orvane::vrt::sparse::container_buffer)
