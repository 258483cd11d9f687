// The device entries of omatcopy and the explicit transposes: the frames both backends share,
// with the device's CSR transpose plugged in.
#pragma once

#include "gpu/entry_points.hpp"
#include "gpu/format/csr_transpose_launch.hpp"
#include "transpose/frames.hpp"

namespace orvane::vrt::sparse::gpu {

struct device_csr_transpose {
  template <typename T, typename I, containerType C>
  static sycl::event run(sycl::queue& queue, transpose op, sparseStructure* in,
                         sparseStructure* out, const event_list& deps) {
    return kernels::csr_transpose_kernel<T, I, C>(queue, op, in, out, deps);
  }
};

template <typename T, typename I, containerType C>
sycl::event make_transpose_impl(sycl::queue& queue, transpose op, matrix_handle* A,
                                matrix_handle* B, const event_list& deps) {
  return transpose_frames::make_transpose<T, I, C, device_csr_transpose>(queue, op, A, B, deps);
}

template <typename T, typename I, containerType C>
sycl::event omatcopy_impl(sycl::queue& queue, transpose op, matrix_handle* A, matrix_handle* B,
                          const event_list& deps) {
  return transpose_frames::omatcopy<T, I, C>(queue, op, A, B, deps);
}

}  // namespace orvane::vrt::sparse::gpu

#define VRT_INSTANTIATE_GPU_TRANSPOSE(T, I, C)                                               \
  namespace orvane::vrt::sparse::gpu {                                                       \
  template sycl::event make_transpose_impl<T, I, C>(sycl::queue&, transpose, matrix_handle*, \
                                                    matrix_handle*, const event_list&);      \
  template sycl::event omatcopy_impl<T, I, C>(sycl::queue&, transpose, matrix_handle*,       \
                                              matrix_handle*, const event_list&);            \
  }
