// Which forms of a matrix hold its diagonal: the caller's arrays and every copy the handle has
// derived from them. Pure host code over the handle's slots.
#pragma once

#include <cstddef>

#include "handle/handle.hpp"
#include "handle/triangular_data.hpp"

namespace orvane::vrt::sparse::gpu {

// One structure whose values hold the diagonal, with the split positions that locate it when an
// analysis has recorded them (null: the rows are walked).
struct diagonal_copy {
  sparseStructure* structure;
  const diagonalStructData* positions;
  bool conjugate;  // a conjugate transpose stores the conjugated diagonal
};

// At most: primary, sorted copy, two expansions, two transposes.
inline constexpr std::size_t max_diagonal_copies = 6;

struct diagonal_copies {
  diagonal_copy items[max_diagonal_copies];
  std::size_t count = 0;

  // Each structure once: the slots of a symmetric matrix share one.
  void add(sparseStructure* s, const diagonalStructData* positions, bool conjugate) {
    if (s == nullptr || s->format != format_csr) return;
    for (std::size_t i = 0; i < count; ++i)
      if (items[i].structure == s) return;
    items[count++] = {s, positions, conjugate};
  }
};

// The caller's values first (walked, so that its first diagonal entry of a row is the one
// written), then the copies. The strict triangles of optimize_trmv hold no diagonal, and the
// coloured strict parts neither: their diagonal lives in the colorings' reciprocals.
inline diagonal_copies copies_of_diagonal(const matrix_handle& A) {
  diagonal_copies c;
  c.add(A.primary, nullptr, false);
  // The sorted copy is what a symmetric matrix with unsorted rows is analysed on.
  const diagonalStructData* sorted_positions =
      A.diag_struct_sorted != nullptr
          ? A.diag_struct_sorted
          : (A.primary != nullptr && A.primary->symmetric != 0 ? A.diag_struct : nullptr);
  c.add(A.sorted_copy, sorted_positions, false);
  c.add(A.sym_from_lower, A.diag_struct_lower, false);
  c.add(A.sym_from_upper, A.diag_struct_upper, false);
  c.add(A.transposed, nullptr, false);
  c.add(A.conj_transposed, nullptr, true);
  return c;
}

// The colorings of the handle, each once (a symmetric matrix has one for both triangles).
struct colorings_to_refresh {
  coloringData* items[2];
  std::size_t count = 0;
};

inline colorings_to_refresh colorings_of(const matrix_handle& A) {
  colorings_to_refresh c;
  if (A.coloring_lower != nullptr) c.items[c.count++] = A.coloring_lower;
  if (A.coloring_upper != nullptr && A.coloring_upper != A.coloring_lower)
    c.items[c.count++] = A.coloring_upper;
  return c;
}

}  // namespace orvane::vrt::sparse::gpu
