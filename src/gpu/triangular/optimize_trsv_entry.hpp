// optimize_trsv on the device: the symmetric expansion (or the matrix itself when it is flagged
// symmetric), the diagonal analysis of that structure, then its level sets. optimize_trsm runs
// the same analysis under its own words, so a triangle analysed by either serves both solves.
#pragma once

#include <orvane/vrt/sparse.hpp>
#include <vector>

#include "gpu/entry_points.hpp"
#include "gpu/format/sort_launch.hpp"
#include "gpu/triangular/analysis/diag_data.hpp"
#include "gpu/triangular/analysis/symmetric_entry.hpp"
#include "gpu/triangular/coloring/coloring.hpp"
#include "gpu/triangular/coloring/mirror_check.hpp"
#include "gpu/triangular/design_names.hpp"
#include "gpu/triangular/triangle_side.hpp"
#include "handle/coalesce_events.hpp"

namespace orvane::vrt::sparse::gpu {

// The words an analysis entry refuses with: its routine word and the detail of a bad uplo.
struct analysis_words {
  const char* routine;
  const char* bad_uplo;
};

template <typename T, typename I, containerType C>
sycl::event analyse_triangle(sycl::queue& queue, uplo triangle, transpose op, diag diagonal,
                             matrix_handle* A, const event_list& deps,
                             const analysis_words& words) {
  namespace names = triangular_names;
  const char* const word = words.routine;
  if (!is_uplo(triangle)) throw invalid_argument("sparse", word, words.bad_uplo);
  if (diagonal != diag::nonunit && diagonal != diag::unit)
    throw invalid_argument("sparse", word, names::diag_flag);
  if (op != transpose::nontrans) throw unimplemented("sparse", word, names::nontrans_only);
  const bool lower = triangle == uplo::lower;
  coloringData** coloring = lower ? &A->coloring_lower : &A->coloring_upper;
  sycl::event last;
  if (*coloring == nullptr) {
    if (A->primary == nullptr) throw uninitialized("sparse", word, names::not_initialized);
    if (A->primary->format != format_csr)
      throw unimplemented("sparse", word, names::csr_only_on_gpu);
    if (A->primary->symmetric == 0) {
      last = symmetric_impl<T, I, C>(queue, triangle, A, A, deps, word);
      sparseStructure* expanded = lower ? A->sym_from_lower : A->sym_from_upper;
      diagonalStructData** positions = lower ? &A->diag_struct_lower : &A->diag_struct_upper;
      last = updateDiagData_and_check_for_missing_diags<T, I, C>(
          queue, expanded, &A->diag_values, true, positions, diagonal, word, {last});
      last = coloring_impl<T, I, C>(queue, expanded, A->diag_values, *positions, coloring, {last});
    } else {
      // One analysis serves both triangles: the records are shared by the two slots.
      sparseStructure* analysed = A->primary;
      last = coalesce_events(queue, C, deps, false);
      if (analysed->sorted != 1) {
        if (A->sorted_copy == nullptr)
          last = kernels::copy_and_sort_csr<T, I, C>(
              queue, analysed, reinterpret_cast<void**>(&A->sorted_copy), deps);
        analysed = A->sorted_copy;
      }
      last = updateDiagData_and_check_for_missing_diags<T, I, C>(
          queue, analysed, &A->diag_values, true, &A->diag_struct, diagonal, word, {last});
      A->diag_struct_lower = A->diag_struct;
      A->diag_struct_upper = A->diag_struct;
      // The property is the caller's word only: the levels need the pattern it promises.
      refuse_unmirrored_pattern<I, C>(queue, analysed, A->diag_struct, {last});
      last = coloring_impl<T, I, C>(queue, analysed, A->diag_values, A->diag_struct,
                                    &A->coloring_lower, {last});
      A->coloring_upper = A->coloring_lower;
    }
  }
  if (C == container_usm && !deps.empty()) return coalesce_events(queue, C, deps, false);
  return last;
}

template <typename T, typename I, containerType C>
sycl::event optimize_trsv_impl(sycl::queue& queue, uplo triangle, transpose op, diag diagonal,
                               matrix_handle* A, const event_list& deps) {
  return analyse_triangle<T, I, C>(queue, triangle, op, diagonal, A, deps,
                                   {triangular_names::optimize_trsv, triangular_names::uplo_flag});
}

}  // namespace orvane::vrt::sparse::gpu

#define VRT_INSTANTIATE_GPU_OPTIMIZE_TRSV(T, I, C)                                      \
  namespace orvane::vrt::sparse::gpu {                                                  \
  template sycl::event optimize_trsv_impl<T, I, C>(sycl::queue&, uplo, transpose, diag, \
                                                   matrix_handle*, const event_list&);  \
  }                                                                                     \
  VRT_INSTANTIATE_GPU_SYMMETRIC(T, I, C)
