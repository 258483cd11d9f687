// The product on a COO structure, every op: its entry.
#pragma once

#include <vector>

#include <sycl/sycl.hpp>

#include <orvane/vrt/sparse.hpp>

#include "containers/views.hpp"
#include "handle/handle.hpp"

namespace orvane::vrt::sparse::gpu::coo {

template <typename T, typename I, containerType C>
sycl::event gemv_impl(sycl::queue& queue, transpose op, T alpha, sparseStructure* A,
                      container_t<C, T> x, T beta, container_t<C, T> y,
                      const std::vector<sycl::event>& deps);

}  // namespace orvane::vrt::sparse::gpu::coo
