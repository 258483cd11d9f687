// In-place inclusive scan of 32- or 64-bit integers, with the total written to a 64-bit slot.
#pragma once

#include <cstddef>
#include <sycl/sycl.hpp>
#include <vector>

#include "common/internal_types.hpp"

namespace orvane::vrt::sparse {

// Up to one work-group of elements the scan is one asynchronous kernel. Larger arrays are
// scanned per work-group, the group sums recursively, and the sums added back; that path waits
// for its last kernel before it returns. An empty array gets a total of zero.
sycl::event prefix_sum(sycl::queue& queue, int* data, std::size_t count, containerType container,
                       long* total, const std::vector<sycl::event>& deps);
sycl::event prefix_sum(sycl::queue& queue, long* data, std::size_t count, containerType container,
                       long* total, const std::vector<sycl::event>& deps);
sycl::event prefix_sum(sycl::queue& queue, sycl::buffer<int, 1>* data, std::size_t count,
                       containerType container, sycl::buffer<long, 1>* total,
                       const std::vector<sycl::event>& deps);
sycl::event prefix_sum(sycl::queue& queue, sycl::buffer<long, 1>* data, std::size_t count,
                       containerType container, sycl::buffer<long, 1>* total,
                       const std::vector<sycl::event>& deps);

// dst[i] = src[i] + (index_c - (index_a & index_b)): indices of a product with base
// index_a & index_b moved to base index_c; a plain copy when the bases agree.
template <typename I>
sycl::event copy_and_adjust_indexing(sycl::queue& queue, I index_a, I index_b, I index_c,
                                     const I* src, I* dst, std::size_t count,
                                     containerType container, const std::vector<sycl::event>& deps);

}  // namespace orvane::vrt::sparse
