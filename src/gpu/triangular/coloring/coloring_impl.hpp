// Level-set coloring on the device (placeholder until the coloring kernels land).
#pragma once

#include <orvane/vrt/sparse.hpp>

#include "common/variants.hpp"
#include "gpu/triangular/coloring/coloring.hpp"

namespace orvane::vrt::sparse::gpu {

template <typename T, typename I, containerType C>
sycl::event coloring_impl(sycl::queue&, sparseStructure*, diagonalValuesData*,
                          diagonalStructData*, coloringData**, const std::vector<sycl::event>&) {
  throw unimplemented("sparse", "optimize_trsv");
}

}  // namespace orvane::vrt::sparse::gpu

#define VRT_INSTANTIATE_GPU_COLORING(T, I, C)                                                  \
  template sycl::event orvane::vrt::sparse::gpu::coloring_impl<T, I, C>(                       \
      sycl::queue&, orvane::vrt::sparse::sparseStructure*,                                     \
      orvane::vrt::sparse::diagonalValuesData*, orvane::vrt::sparse::diagonalStructData*,      \
      orvane::vrt::sparse::coloringData**, const std::vector<sycl::event>&);
