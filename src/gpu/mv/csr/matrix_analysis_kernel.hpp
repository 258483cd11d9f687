// Work-item body of the row statistics: one work-item walks the rows in order.
#pragma once

#include <cstdint>

namespace orvane::vrt::sparse::gpu::csr::kernels {

// Longest and shortest row and the float sum of squared deviations from mean, summed in row
// order.
template <typename I>
void row_statistics(const I* row_ptr, std::int64_t nrows, std::int64_t ncols, float mean,
                    std::int64_t* longest, std::int64_t* shortest, float* squares) {
  std::int64_t lo = ncols + 1, hi = 0;
  float sumsq = 0.0f;
  for (std::int64_t i = 1; i <= nrows; ++i) {
    const auto len = static_cast<std::int64_t>(row_ptr[i] - row_ptr[i - 1]);
    lo = len < lo ? len : lo;
    hi = len > hi ? len : hi;
    const float d = static_cast<float>(len) - mean;
    sumsq += d * d;
  }
  longest[0] = hi;
  shortest[0] = lo;
  squares[0] = sumsq;
}

}  // namespace orvane::vrt::sparse::gpu::csr::kernels
