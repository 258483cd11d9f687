// The row update of the head, tail and per-color kernels: one position solved from the
// positions of earlier colors, with four accumulators to break the dependency chain of the sum.
#pragma once

#include <cstddef>

namespace orvane::vrt::sparse::gpu::kernels {

inline constexpr int row_accumulators = 4;

// sol[p] = (rhs[p] * alpha - sum of the row) times inv_diag[p] when nonunit. The diagonal is
// not among the coloured entries, so the unit case needs no test per entry.
template <typename T, typename I>
void levelset_update_position(std::size_t p, const I* ptr, const I* col, const T* val,
                              const T* inv_diag, const T* rhs, T* sol, T alpha, bool nonunit) {
  const I begin = ptr[p];
  const I end = ptr[p + 1];
  const I rest = (end - begin) % row_accumulators;
  T acc[row_accumulators] = {T(0), T(0), T(0), T(0)};
  I k = begin;
  for (; k < end - rest; k += row_accumulators)
    for (int j = 0; j < row_accumulators; ++j) acc[j] += val[k + j] * sol[col[k + j]];
  for (int j = 0; k < end; ++k, ++j) acc[j] += val[k] * sol[col[k]];
  const T sum = (acc[0] + acc[1]) + (acc[2] + acc[3]);
  const T result = rhs[p] * alpha - sum;
  sol[p] = nonunit ? result * inv_diag[p] : result;
}

}  // namespace orvane::vrt::sparse::gpu::kernels
