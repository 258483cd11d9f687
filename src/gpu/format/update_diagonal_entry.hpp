// The device entry of update_diagonal_values: the new diagonal into the caller's values and into
// every copy the handle has derived from them, so that solves and products after it use the new
// diagonal without a new analysis.
#pragma once

#include <cstdint>
#include <orvane/vrt/sparse.hpp>
#include <vector>

#include "containers/views.hpp"
#include "gpu/entry_points.hpp"
#include "gpu/format/design_names.hpp"
#include "gpu/format/update_diagonal_launch.hpp"
#include "gpu/format/update_diagonal_plan.hpp"
#include "gpu/triangular/analysis/diag_data.hpp"
#include "handle/handle.hpp"
#include "handle/triangular_data.hpp"

namespace orvane::vrt::sparse::gpu {

template <typename T, typename I, containerType C>
sycl::event update_diagonal_values_impl(sycl::queue& queue, matrix_handle* A, std::int64_t length,
                                        container_t<C, T> diagonal, const event_list& deps) {
  const char* const word = update_diagonal_word;
  sparseStructure* s = A->primary;
  if (s == nullptr) throw uninitialized("sparse", word, update_not_initialized);
  if (s->format != format_csr) throw unimplemented("sparse", word, update_csr_only);
  if (length < s->nrows) throw invalid_argument("sparse", word, update_diagonal_too_short);

  // A handle without a diagonal record is checked for rows that store no diagonal before
  // anything is written (the calling thread waits for the answer). A handle with one has its
  // record brought up to date instead and is written as it stands: a row without a stored
  // diagonal (an analysis under diag::unit keeps a record of such a matrix) keeps its values,
  // and the record takes the new diagonal whole. A handle without a record gets none: the next
  // analysis reads the values afresh.
  std::vector<sycl::event> list = deps;
  if (A->diag_values != nullptr)
    chain_event<C>(list,
                   updateDiagData_and_check_for_missing_diags<T, I, C>(
                       queue, s, &A->diag_values, false, &A->diag_struct, diag::unit, word, deps));
  else if (kernels::rows_without_diagonal<I, C>(queue, *s, deps))
    throw unimplemented("sparse", word, update_missing_diagonal);

  sycl::event last;
  const auto step = [&](const sycl::event& e) {
    last = e;
    chain_event<C>(list, e);
  };
  const diagonal_copies copies = copies_of_diagonal(*A);
  for (std::size_t i = 0; i < copies.count; ++i)
    step(kernels::write_diagonal<T, I, C>(queue, copies.items[i], diagonal, list));

  if (const diagonalValuesData* record = A->diag_values; record != nullptr) {
    const std::uint32_t stride =
        record->status_stride != ~0u ? record->status_stride : default_status_stride;
    step(kernels::refresh_diagonal_record<T, I, C>(queue, *record, s->nrows, diagonal,
                                                   status_entries, stride, list));
    const colorings_to_refresh colorings = colorings_of(*A);
    for (std::size_t i = 0; i < colorings.count; ++i)
      step(kernels::refresh_coloring<T, I, C>(queue, *colorings.items[i], *record, list));
  }
  return last;
}

}  // namespace orvane::vrt::sparse::gpu

#define VRT_INSTANTIATE_GPU_UPDATE_DIAGONAL(T, I, C)                                         \
  namespace orvane::vrt::sparse::gpu {                                                       \
  template sycl::event update_diagonal_values_impl<T, I, C>(sycl::queue&, matrix_handle*,    \
                                                            std::int64_t, container_t<C, T>, \
                                                            const event_list&);              \
  }
