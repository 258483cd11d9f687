// Device code of one middle color synchronised by kernel boundaries: one position per work-item.
#pragma once

#include <cstddef>

namespace orvane::vrt::sparse::gpu::kernels {

// Work-item `offset` of the color at positions begin .. end; the group's spare work-items do
// nothing. update.solve(p) solves position p.
template <typename RowUpdate>
void solve_color_position(std::size_t offset, std::size_t begin, std::size_t end,
                          const RowUpdate& update) {
  const std::size_t p = begin + offset;
  if (p < end) update.solve(p);
}

}  // namespace orvane::vrt::sparse::gpu::kernels
