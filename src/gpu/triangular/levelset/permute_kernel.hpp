// Device code of the permutations around a level-set solve: one gather per position.
#pragma once

#include <cstddef>

namespace orvane::vrt::sparse::gpu::kernels {

// dst[i] = src[index[i]] for i below n; work-items past n do nothing.
template <typename T, typename I>
void permute_entry(std::size_t i, std::size_t n, const T* src, const I* index, T* dst) {
  if (i < n) dst[i] = src[index[i]];
}

}  // namespace orvane::vrt::sparse::gpu::kernels
