// The refusal of a pattern that a symmetric property vouches for but that is not symmetric: the
// levels read the entries above the diagonal as the rows that wait, so an unmirrored pattern could
// put a row in the same color as a row it waits for, and the solve would read an unsolved value.
#pragma once

#include <cstdint>
#include <orvane/vrt/sparse.hpp>
#include <vector>

#include "containers/containers.hpp"
#include "containers/views.hpp"
#include "gpu/triangular/coloring/level_launch.hpp"
#include "gpu/triangular/design_names.hpp"
#include "handle/handle.hpp"
#include "handle/triangular_data.hpp"

namespace orvane::vrt::sparse::gpu {

// Refuses, with computation_error, a sorted structure whose strict entries are not mirrored.
// Returns once the check has finished.
template <typename I, containerType C>
void refuse_unmirrored_pattern(sycl::queue& queue, const sparseStructure* s,
                               const diagonalStructData* positions,
                               const std::vector<sycl::event>& deps) {
  const char* const word = triangular_names::optimize_trsv;
  void* flag = allocate_or_throw<I>(1, queue, C, word);
  bool mirrored = false;
  try {
    const auto out = as_container<C, I>(flag);
    sycl::event e = fill_container<I>(queue, out, I(0), 1, deps);
    const level_arrays<I, C> a{static_cast<std::size_t>(s->nrows),
                               static_cast<I>(s->index),
                               as_container<C, I>(s->row_ptr),
                               as_container<C, I>(s->col_ind),
                               as_container<C, I>(positions->lower_end),
                               as_container<C, I>(positions->upper_start),
                               nullptr,
                               nullptr,
                               nullptr,
                               nullptr};
    if (a.nrows > 0) e = submit_mirror_check<I, C>(queue, a, out, {e});
    mirrored = read_on_host<I, C>(queue, out, {e}) == I(0);
  } catch (...) {
    queue.wait();
    deallocate_container<I>(flag, queue, C);
    throw;
  }
  deallocate_container<I>(flag, queue, C);
  if (!mirrored) throw computation_error("sparse", word, triangular_names::unmirrored);
}

}  // namespace orvane::vrt::sparse::gpu
