// The device entry of sort_matrix: a CSR handle's rows sorted in place.
#pragma once

#include <orvane/vrt/sparse.hpp>

#include "gpu/entry_points.hpp"
#include "gpu/format/design_names.hpp"
#include "gpu/format/sort_launch.hpp"
#include "handle/handle.hpp"

namespace orvane::vrt::sparse::gpu {

template <typename T, typename I, containerType C>
sycl::event sort_matrix_impl(sycl::queue& queue, matrix_handle* A, const event_list& deps) {
  sparseStructure* s = A->primary;
  if (s == nullptr) throw unimplemented("sparse", sort_matrix_word, sort_before_binding);
  if (s->format != format_csr) throw unimplemented("sparse", sort_matrix_word, sort_of_coo);
  return kernels::sort_csr<T, I, C>(queue, s, deps);
}

}  // namespace orvane::vrt::sparse::gpu

#define VRT_INSTANTIATE_GPU_SORT(T, I, C)                                                          \
  namespace orvane::vrt::sparse::gpu {                                                             \
  template sycl::event sort_matrix_impl<T, I, C>(sycl::queue&, matrix_handle*, const event_list&); \
  }
