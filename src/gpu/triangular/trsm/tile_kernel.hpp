// Device code of the tile solve: the dense columns of a pass gathered into position order, the
// row update of one position and column, the runs of narrow colors inside one work-group and the
// scatter back. x_tile and y_tile hold position p's columns at p * tile + j.
#pragma once

#include <cstddef>
#include <cstdint>
#include <sycl/sycl.hpp>

#include "common/portability.hpp"

namespace orvane::vrt::sparse::gpu::kernels {

inline std::size_t dense_at(bool row_major, std::size_t ld, std::size_t r, std::size_t c) {
  return row_major ? r * ld + c : c * ld + r;
}

// x_tile[p * tile + j] = X(row_of_position[p], offset + j).
template <typename T, typename I>
void gather_tile_entry(std::size_t p, std::size_t j, std::size_t tile, std::size_t offset,
                       bool row_major, std::size_t ld, const T* x, const I* row_of_position,
                       T* x_tile) {
  const auto r = static_cast<std::size_t>(row_of_position[p]);
  x_tile[p * tile + j] = x[dense_at(row_major, ld, r, offset + j)];
}

// Y(row_of_position[p], offset + j) = y_tile[p * tile + j].
template <typename T, typename I>
void scatter_tile_entry(std::size_t p, std::size_t j, std::size_t tile, std::size_t offset,
                        bool row_major, std::size_t ld, const T* y_tile, const I* row_of_position,
                        T* y) {
  const auto r = static_cast<std::size_t>(row_of_position[p]);
  y[dense_at(row_major, ld, r, offset + j)] = y_tile[p * tile + j];
}

// y_tile[p, j] = (x_tile[p, j] * alpha - the row's sum over solved positions) times
// inv_diag[p] when nonunit. Successive entries of a row read one tile row each, contiguous over
// the columns of the tile; one accumulator, since the columns already give parallel work.
template <typename T, typename I>
void tile_update_entry(std::size_t p, std::size_t j, std::size_t tile, const I* ptr, const I* col,
                       const T* val, const T* inv_diag, const T* x_tile, T* y_tile, T alpha,
                       bool nonunit) {
  T sum = T(0);
  for (I k = ptr[p]; k < ptr[p + 1]; ++k)
    sum += val[k] * y_tile[static_cast<std::size_t>(col[k]) * tile + j];
  const T result = x_tile[p * tile + j] * alpha - sum;
  y_tile[p * tile + j] = nonunit ? result * inv_diag[p] : result;
}

// Work-item (j, t) of the one group walks colors first, first + step, ... (count of them): it
// solves column j of the color's positions start + t, start + t + rows, ..., and the whole group
// passes a barrier before the next color, which reads this one.
template <typename I, typename Update>
void solve_tile_run(const sycl::group<2>& g, std::size_t j, std::size_t t, std::size_t rows,
                    const I* color_ptr, std::int32_t first, std::int32_t count, std::int32_t step,
                    const Update& update) {
  for (std::int32_t i = 0; i < count; ++i) {
    const std::int32_t color = first + i * step;
    const auto end = static_cast<std::size_t>(color_ptr[color + 1]);
    for (auto p = static_cast<std::size_t>(color_ptr[color]) + t; p < end; p += rows)
      update.solve(p, j);
    portable::atomic_fence(sycl::memory_order::seq_cst, sycl::memory_scope::work_group);
    sycl::group_barrier(g);
  }
}

// Work-item (j, offset) of one middle color at positions begin .. end; spare work-items idle.
template <typename Update>
void solve_tile_color(std::size_t j, std::size_t offset, std::size_t begin, std::size_t end,
                      const Update& update) {
  const std::size_t p = begin + offset;
  if (p < end) update.solve(p, j);
}

}  // namespace orvane::vrt::sparse::gpu::kernels
