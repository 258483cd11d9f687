// The default product's row: the entries of the full user row that lie in the triangle, and the
// implied diagonal under diag::unit (a stored one is then ignored).
#pragma once

#include <cstddef>
#include <cstdint>
#include <orvane/vrt/sparse.hpp>

namespace orvane::vrt::sparse::gpu::kernels {

inline constexpr std::uint8_t trmv_unit_code = static_cast<std::uint8_t>(diag::unit);
inline constexpr std::uint8_t trmv_nonunit_code = static_cast<std::uint8_t>(diag::nonunit);

// beta == 0 (ordered compare; both parts for complex) leaves y unread, so a NaN there is cleared.
template <typename T>
void trmv_finish_row(T* y, std::size_t row, T alpha, T beta, T sum) {
  if (beta == T(0))
    y[row] = alpha * sum;
  else
    y[row] = beta * y[row] + alpha * sum;
}

template <typename T, typename I>
void trmv_default_row(bool upper, std::size_t row, const I* row_ptr, const I* col_ind,
                      const T* values, const T* x, T* y, I index, T alpha, T beta,
                      std::uint8_t diag_code) {
  const I i = static_cast<I>(row);
  const bool unit = diag_code == trmv_unit_code;
  T sum(0);
  for (I j = row_ptr[row] - index; j < row_ptr[row + 1] - index; ++j) {
    const I col = col_ind[j] - index;
    const bool inside = upper ? (unit ? col > i : col >= i) : (unit ? col < i : col <= i);
    if (inside) sum += values[j] * x[col];
  }
  if (unit) sum += x[i];
  trmv_finish_row(y, row, alpha, beta, sum);
}

}  // namespace orvane::vrt::sparse::gpu::kernels
