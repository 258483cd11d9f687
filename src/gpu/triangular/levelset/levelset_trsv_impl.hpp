// Level-set trsv on the device (placeholder until the level-set kernels land).
#pragma once

#include "common/variants.hpp"
#include "gpu/triangular/levelset/levelset_trsv.hpp"

namespace orvane::vrt::sparse::gpu {

template <typename T, typename I, containerType C>
sycl::event levelsetTrsvLower_impl(sycl::queue&, uplo, transpose, diag, T, matrix_handle*,
                                   container_t<C, T>, container_t<C, T>,
                                   const std::vector<sycl::event>&) {
  throw unimplemented("sparse", "trsv");
}

template <typename T, typename I, containerType C>
sycl::event levelsetTrsvUpper_impl(sycl::queue&, uplo, transpose, diag, T, matrix_handle*,
                                   container_t<C, T>, container_t<C, T>,
                                   const std::vector<sycl::event>&) {
  throw unimplemented("sparse", "trsv");
}

}  // namespace orvane::vrt::sparse::gpu

#define VRT_INSTANTIATE_GPU_LEVELSET_TRSV(T, I, C)                                              \
  namespace orvane::vrt::sparse::gpu {                                                          \
  template sycl::event levelsetTrsvLower_impl<T, I, C>(sycl::queue&, uplo, transpose, diag, T,  \
                                                       matrix_handle*, container_t<C, T>,       \
                                                       container_t<C, T>,                       \
                                                       const std::vector<sycl::event>&);        \
  template sycl::event levelsetTrsvUpper_impl<T, I, C>(sycl::queue&, uplo, transpose, diag, T,  \
                                                       matrix_handle*, container_t<C, T>,       \
                                                       container_t<C, T>,                       \
                                                       const std::vector<sycl::event>&);        \
  }
