// Host-side choices of gemm: the path by architecture and offsets, the sub-group block plan and
// the explicit-SIMD tile walk. Pure functions of their arguments.
#pragma once

#include <cstdint>
#include <iterator>

#include "platform/architecture.hpp"

namespace orvane::vrt::sparse::gpu::gemm {

// Up to this many columns the explicit-SIMD path takes the whole product.
inline constexpr std::int64_t esimd_max_columns = 127;
// Row counts and element counts below these keep every offset of the explicit-SIMD kernels
// within 32 bits.
inline constexpr std::int64_t rows_32bit_limit = 0x3fffffff;
inline constexpr std::int64_t elements_32bit_limit = 0x1fffffff;

// Whether all offsets of B, C and A fit the 32-bit arithmetic of the explicit-SIMD kernels.
inline bool fits_32bit_offsets(std::int64_t nrows, std::int64_t ncols, std::int64_t nnz,
                               std::int64_t columns, std::int64_t ldb, std::int64_t ldc,
                               bool row_major) {
  if (nrows >= rows_32bit_limit) return false;
  const std::int64_t b_elems = (row_major ? ncols : columns) * ldb;
  const std::int64_t c_elems = (row_major ? nrows : columns) * ldc;
  return b_elems < elements_32bit_limit && c_elems < elements_32bit_limit &&
         nnz < elements_32bit_limit;
}

// Whether the explicit-SIMD path serves all columns of a call (real values only).
inline bool esimd_takes_all_columns(architecture arch, std::int64_t columns, bool fits_32bit) {
  return has_wide_sub_groups(arch) && columns <= esimd_max_columns && fits_32bit;
}

// ---- sub-group kernels -----------------------------------------------------------------------
inline constexpr int narrow_sub_group = 16;
inline constexpr int wide_sub_group = 32;
// Below this many columns the wide architectures take one column per lane of a narrow sub-group.
inline constexpr std::int64_t narrow_columns = 32;
// At or above this density the wide architectures take the longer vectors.
inline constexpr double dense_enough = 0.05;

// Vector length of a lane for the d and z members, indexed by architecture code (the s and c
// members take twice as many); codes without an entry or with 0 choose by density.
inline constexpr int vector_length_by_architecture[] = {0, 1, 0, 4, 2, 4};
inline constexpr int dense_vector_length = 4;
inline constexpr int sparse_vector_length = 2;

inline int subgroup_vector_length(architecture arch, double density) {
  constexpr int known = static_cast<int>(std::size(vector_length_by_architecture));
  const std::int32_t code = code_of(arch);
  const int fixed = code >= 0 && code < known ? vector_length_by_architecture[code] : 0;
  if (fixed != 0) return fixed;
  return density >= dense_enough ? dense_vector_length : sparse_vector_length;
}

struct subgroup_plan {
  int sg;
  int vec;
  std::int64_t limit;  // columns a full block may hold
  std::int64_t block;
  std::int64_t full_blocks;
  std::int64_t rest;
};

// double_width: the d and z members, whose lanes carry half as many columns.
inline subgroup_plan plan_subgroup(architecture arch, double density, std::int64_t columns,
                                   std::int64_t max_group, bool double_width) {
  subgroup_plan p{};
  p.sg = has_wide_sub_groups(arch) ? wide_sub_group : narrow_sub_group;
  int vec = subgroup_vector_length(arch, density);
  if (!double_width) vec *= 2;
  if (has_wide_sub_groups(arch) && columns < narrow_columns) {
    vec = 1;
    p.sg = narrow_sub_group;
  }
  if (columns >= p.sg && columns < static_cast<std::int64_t>(p.sg) * vec)
    while (vec > 1 && columns < static_cast<std::int64_t>(p.sg) * vec) vec /= 2;
  p.vec = vec;
  const std::int64_t lanes = static_cast<std::int64_t>(p.sg) * vec;
  p.limit = lanes < max_group ? lanes : max_group;
  p.block = columns < p.limit ? columns : p.limit;
  p.full_blocks = p.block > 0 ? columns / p.block : 0;
  p.rest = p.block > 0 ? columns % p.block : 0;
  return p;
}

// ---- explicit-SIMD kernels -------------------------------------------------------------------
// The column tile of a number of columns: 8 up to 8, 16 up to 16, 32 beyond.
inline int esimd_width(std::int64_t columns) {
  if (columns <= 8) return 8;
  if (columns <= 16) return 16;
  return 32;
}

// Rows one work-group distributes among its threads: fewer for wider products, whose rows take
// longer each.
inline constexpr std::int64_t esimd_narrow_columns = 128;  // up to here: narrow_product_rows
inline constexpr std::int64_t esimd_medium_columns = 256;  // up to here: medium_product_rows
inline constexpr std::int64_t narrow_product_rows = 64;
inline constexpr std::int64_t medium_product_rows = 128;
inline constexpr std::int64_t wide_product_rows = 1024;

inline std::int64_t esimd_rows_per_group(std::int64_t columns) {
  if (columns <= esimd_narrow_columns) return narrow_product_rows;
  if (columns <= esimd_medium_columns) return medium_product_rows;
  return wide_product_rows;
}

struct esimd_tiles {
  int width;
  std::int64_t full_tiles;
  int rest_width;  // 0 when the tiles of `width` cover all columns
  std::int64_t rest_tiles;
};

inline esimd_tiles plan_esimd_tiles(std::int64_t columns) {
  esimd_tiles t{};
  t.width = esimd_width(columns);
  t.full_tiles = columns / t.width;
  const std::int64_t rest = columns % t.width;
  if (rest > 0) {
    t.rest_width = esimd_width(rest);
    t.rest_tiles = (rest + t.rest_width - 1) / t.rest_width;
  }
  return t;
}

}  // namespace orvane::vrt::sparse::gpu::gemm
