// The default solve's row: x[r] * alpha less the solved part of the row, over the diagonal
// entry, on the user's CSR arrays (unsorted rows and entries of the other triangle included).
#pragma once

#include <cstdint>
#include <orvane/vrt/sparse.hpp>

namespace orvane::vrt::sparse::gpu::kernels {

// diag as the kernels receive it.
inline constexpr std::uint8_t unit_diag_code = static_cast<std::uint8_t>(diag::unit);

template <typename T, typename I>
void solve_row(bool upper, I r, const I* rp, const I* ci, const T* va, I base, T alpha, const T* x,
               T* y, std::uint8_t diag_code) {
  T t = x[r] * alpha;
  T d(0);
  for (I k = rp[r] - base; k < rp[r + 1] - base; ++k) {
    const I c = ci[k] - base;
    if (c == r)
      d = va[k];
    else if (upper ? c > r : c < r)
      t -= va[k] * y[c];
  }
  y[r] = t / (diag_code == unit_diag_code ? T(1) : d);
}

// All n rows in order: downward for the upper side, upward for the lower.
template <typename T, typename I>
void solve_rows(bool upper, I n, const I* rp, const I* ci, const T* va, I base, T alpha, const T* x,
                T* y, std::uint8_t diag_code) {
  if (upper) {
    for (I r = n - 1; r >= 0; --r)
      solve_row<T, I>(true, r, rp, ci, va, base, alpha, x, y, diag_code);
  } else {
    for (I r = 0; r < n; ++r) solve_row<T, I>(false, r, rp, ci, va, base, alpha, x, y, diag_code);
  }
}

}  // namespace orvane::vrt::sparse::gpu::kernels
