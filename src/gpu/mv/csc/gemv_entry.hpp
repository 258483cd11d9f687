// The column-oriented product of a transposed operation on the primary structure: its entry.
#pragma once

#include <vector>

#include <sycl/sycl.hpp>

#include <orvane/vrt/sparse.hpp>

#include "containers/views.hpp"
#include "handle/handle.hpp"

namespace orvane::vrt::sparse::gpu::csc {

// op(A) * x for op trans or conjtrans, reading the CSR arrays of A as the CSC arrays of op(A).
template <typename T, typename I, containerType C>
sycl::event gemv_impl(sycl::queue& queue, transpose op, bool conj, T alpha, sparseStructure* A,
                      container_t<C, T> x, T beta, container_t<C, T> y,
                      const std::vector<sycl::event>& deps);

}  // namespace orvane::vrt::sparse::gpu::csc
