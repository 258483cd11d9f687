// Kernels that find the level sets of a symmetric-pattern structure and the row lengths of its
// coloured strict parts. They never read values, so they exist per index type and memory model.
#pragma once

#include <cstddef>
#include <sycl/sycl.hpp>
#include <vector>

#include "containers/views.hpp"

namespace orvane::vrt::sparse::gpu {

// The arrays the level kernels share: the structure's, its split positions and the level work
// areas. Positions in row_ptr, col_ind, lower_end and upper_start carry the index base.
template <typename I, containerType C>
struct level_arrays {
  std::size_t nrows;
  I index;
  container_t<C, I> row_ptr;
  container_t<C, I> col_ind;
  container_t<C, I> lower_end;
  container_t<C, I> upper_start;
  container_t<C, I> in_degree;
  container_t<C, I> counter;  // one entry: positions handed out so far
  container_t<C, I> row_of_position;
  container_t<C, I> position_of_row;
};

// in_degree of every row; rows without lower entries take the first positions.
template <typename I, containerType C>
sycl::event submit_coloring1(sycl::queue& queue, const level_arrays<I, C>& a,
                             const std::vector<sycl::event>& deps);

// One frontier step: the rows at positions start .. start + width release their dependants.
template <typename I, containerType C>
sycl::event submit_coloring2(sycl::queue& queue, const level_arrays<I, C>& a, std::size_t start,
                             std::size_t width, const std::vector<sycl::event>& deps);

// Lengths of the coloured strict parts at entry p + 1 of each pointer array, 0 at entry 0.
template <typename I, containerType C>
sycl::event submit_coloring3(sycl::queue& queue, const level_arrays<I, C>& a,
                             container_t<C, I> lower_ptr, container_t<C, I> upper_ptr,
                             const std::vector<sycl::event>& deps);

// Row starts of both coloured parts and their totals, walked by one work-item.
template <typename I, containerType C>
sycl::event submit_coloring4(sycl::queue& queue, const level_arrays<I, C>& a,
                             container_t<C, I> lower_ptr, container_t<C, I> upper_ptr,
                             container_t<C, long> lower_total, container_t<C, long> upper_total,
                             const std::vector<sycl::event>& deps);

// Sets flag[0], which the caller clears, when a row's strict entries are not mirrored in the
// rows they name (a pattern that is not symmetric).
template <typename I, containerType C>
sycl::event submit_mirror_check(sycl::queue& queue, const level_arrays<I, C>& a,
                                container_t<C, I> flag, const std::vector<sycl::event>& deps);

}  // namespace orvane::vrt::sparse::gpu
