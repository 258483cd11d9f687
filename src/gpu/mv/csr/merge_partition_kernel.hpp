// Work-item body of the merge-path partition: one work-item finds one border by a binary search
// on its diagonal.
#pragma once

#include <cstdint>

namespace orvane::vrt::sparse::gpu::csr::kernels {

// Border b = p + 1 of part p. A tie sends the step to the row end: a row end counts before the
// non-zero that follows it on the diagonal.
template <typename I>
void find_merge_path_border(std::int64_t p, std::int64_t q, std::int64_t r, std::int64_t nrows,
                            std::int64_t nnz, const I* row_ptr, I index, I* partition_rows,
                            I* partition_nnz) {
  const std::int64_t b = p + 1;
  const std::int64_t diag = b * q + (b < r ? b : r);
  std::int64_t lo = diag - nnz > 0 ? diag - nnz : 0;
  std::int64_t hi = diag < nrows ? diag : nrows;
  while (lo < hi) {
    const std::int64_t mid = (lo + hi) >> 1;
    if (static_cast<std::int64_t>(row_ptr[mid + 1] - index) > diag - mid - 1)
      hi = mid;
    else
      lo = mid + 1;
  }
  if (p == 0) {
    partition_rows[0] = 0;
    partition_nnz[0] = 0;
  }
  partition_rows[b] = static_cast<I>(lo < nrows ? lo : nrows);
  partition_nnz[b] = static_cast<I>(diag - lo);
}

}  // namespace orvane::vrt::sparse::gpu::csr::kernels
