// Launchers of the sub-group, explicit-SIMD and merge-path families. Their kernels come with the
// matrix-driven planning of gemv; until then a plan that names them is refused.
#pragma once

#include <orvane/vrt/sparse.hpp>

#include "gpu/mv/csr/gemv_launchers.hpp"

namespace orvane::vrt::sparse::gpu::csr::kernels {

template <typename T, typename I, containerType C>
sycl::event gemv_with_subgroup(VRT_GEMV_LAUNCHER_TYPES(T, I, C)) {
  throw unimplemented("sparse", "gemv", "sub-group kernels are not available yet");
}

template <typename T, typename I, containerType C>
sycl::event gemv_with_esimd(VRT_GEMV_LAUNCHER_TYPES(T, I, C)) {
  throw unimplemented("sparse", "gemv", "explicit-SIMD kernels are not available yet");
}

template <typename T, typename I, containerType C>
sycl::event gemv_merge_based_subgroup(VRT_GEMV_LAUNCHER_TYPES(T, I, C)) {
  throw unimplemented("sparse", "gemv", "merge-path kernels are not available yet");
}

}  // namespace orvane::vrt::sparse::gpu::csr::kernels
