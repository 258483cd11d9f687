// Instances of the device entry points that still refuse (gpu/pending.hpp), so that the frames
// link against every variant. Each body only throws, so one unit holds them all.
#include "common/variants.hpp"
#include "gpu/pending.hpp"

#define VRT_INSTANTIATE_GPU_PENDING(T, I, C)                                                      \
  namespace orvane::vrt::sparse::gpu {                                                            \
  template sycl::event trsm_impl<T, I, C>(sycl::queue&, layout, transpose, transpose, uplo, diag, \
                                          T, matrix_handle*, container_t<C, T>, std::int64_t,     \
                                          std::int64_t, container_t<C, T>, std::int64_t,          \
                                          const event_list&);                                     \
  template sycl::event optimize_trsm_impl<T, I, C>(sycl::queue&, layout, uplo, transpose, diag,   \
                                                   matrix_handle*, std::int64_t,                  \
                                                   const event_list&);                            \
  template sycl::event update_diagonal_values_impl<T, I, C>(sycl::queue&, matrix_handle*,         \
                                                            std::int64_t, container_t<C, T>,      \
                                                            const event_list&);                   \
  }
VRT_FOR_EACH_INSTANCE_OF_ALL(VRT_INSTANTIATE_GPU_PENDING)

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
