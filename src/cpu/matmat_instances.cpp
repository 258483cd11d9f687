// Instances of the staged sparse product on CPU queues, one per index width and memory model.
#include "cpu/matmat.hpp"

#define VRT_INSTANTIATE_CPU_MATMAT(I, C)                                                      \
  template sycl::event orvane::vrt::sparse::cpu::matmat_impl<I, C>(                           \
      sycl::queue&, orvane::vrt::sparse::matrix_handle*, orvane::vrt::sparse::matrix_handle*, \
      orvane::vrt::sparse::matrix_handle*, orvane::vrt::sparse::matmat_request,               \
      orvane::vrt::sparse::matmat_descr*, orvane::vrt::sparse::container_t<C, std::int64_t>,  \
      orvane::vrt::sparse::container_t<C, std::uint8_t>, const std::vector<sycl::event>&);
VRT_INSTANTIATE_CPU_MATMAT(std::int32_t, orvane::vrt::sparse::container_usm)
VRT_INSTANTIATE_CPU_MATMAT(std::int32_t, orvane::vrt::sparse::container_buffer)
VRT_INSTANTIATE_CPU_MATMAT(std::int64_t, orvane::vrt::sparse::container_usm)
VRT_INSTANTIATE_CPU_MATMAT(std::int64_t, orvane::vrt::sparse::container_buffer)
