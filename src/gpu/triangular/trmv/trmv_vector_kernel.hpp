// Planned product, short rows: one work-item per row of the strict triangle (zero-based) with an
// accumulator of L lanes, then the diagonal term, then the scaling.
#pragma once

#include <cstddef>
#include <cstdint>
#include <sycl/sycl.hpp>
#include <type_traits>

#include "gpu/triangular/trmv/default_trmv_kernel.hpp"
#include "handle/value_types.hpp"

namespace orvane::vrt::sparse::gpu::kernels {

// The term of row i's diagonal: x[i] under diag::unit, diag[i] * x[i] under diag::nonunit.
template <typename T>
T trmv_diagonal_term(std::uint8_t diag_code, T d, T xi) {
  if (diag_code == trmv_unit_code) return xi;
  if (diag_code == trmv_nonunit_code) return d * xi;
  return T(0);
}

// sycl::vec holds arithmetic scalars only: complex lanes live in a sycl::marray.
template <typename T, int L>
using trmv_lanes = std::conditional_t<is_complex_v<T>, sycl::marray<T, L>, sycl::vec<T, L>>;

template <typename T, typename I, int L>
void trmv_syclvec_row(std::size_t row, const I* row_ptr, const I* col_ind, const T* values,
                      const T* x, const T* diag, T* y, T alpha, T beta, std::uint8_t diag_code) {
  const I begin = row_ptr[row];
  const I end = row_ptr[row + 1];
  const I stop = end - ((end - begin) & static_cast<I>(L - 1));
  trmv_lanes<T, L> acc(T(0));
  for (I j = begin; j < stop; j += L)
    for (int k = 0; k < L; ++k) acc[k] += values[j + k] * x[col_ind[j + k]];
  for (I j = stop; j < end; ++j) acc[static_cast<int>(j - stop)] += values[j] * x[col_ind[j]];
  T lanes[L];
  for (int k = 0; k < L; ++k) lanes[k] = acc[k];
  for (int width = L / 2; width >= 1; width /= 2)
    for (int k = 0; k < width; ++k) lanes[k] = lanes[2 * k] + lanes[2 * k + 1];
  const T sum = lanes[0] + trmv_diagonal_term(diag_code, diag[row], x[row]);
  trmv_finish_row(y, row, alpha, beta, sum);
}

}  // namespace orvane::vrt::sparse::gpu::kernels
