// How the tile solve of trsm cuts the dense columns: the block of columns one pass solves, the
// tile (the row length of x_tile and y_tile), the passes and the leftover columns, and the rows
// a work-group takes. Pure host arithmetic, keyed by architecture code and work-group limit.
#pragma once

#include <algorithm>
#include <cstdint>

namespace orvane::vrt::sparse::gpu {

struct trsm_tile_plan {
  std::int64_t sg;
  std::int64_t vec;
  std::int64_t block;           // columns of one full pass
  std::int64_t tile;            // row length of the tiles: min(block, columns)
  std::int64_t rest;            // columns of the leftover pass (0: none)
  std::int64_t full_blocks;     // full passes
  std::int64_t rows_per_group;  // work-group rows of the one-group and per-color kernels
};

// The first rows_per_group tried; it halves until a group of block by it fits the limit.
inline constexpr std::int64_t trsm_max_rows_per_group = 256;

// limit: the device's maximum work-group size (1 for a device that is not a GPU; the caller
// refuses a limit below 1). columns: at least 1.
inline trsm_tile_plan plan_trsm_tiles(std::int32_t architecture_code, std::int64_t columns,
                                      std::int64_t limit) {
  trsm_tile_plan p{};
  if (architecture_code == 3 || architecture_code == 5) {
    p.sg = 16;
    p.vec = 2;
  } else {
    p.vec = 1;
    p.sg = architecture_code >= 6 && columns >= 32 ? 32 : 16;
  }
  p.block = p.sg * p.vec;
  if (columns >= p.sg && columns < p.sg * p.vec) {
    p.block = p.sg;
    p.vec = 1;
  }
  if (p.block > limit && p.vec >= 2) {
    p.block = p.sg;
    p.vec = 1;
  }
  if (p.block > limit) limit = 1;
  p.tile = std::min(p.block, columns);
  p.rest = columns % p.block;
  p.full_blocks = columns / p.block;
  // Never below one row: with the limit taken as 1 the halving would otherwise reach 0.
  p.rows_per_group = trsm_max_rows_per_group;
  while (p.block * p.rows_per_group > limit && p.rows_per_group > 1) p.rows_per_group /= 2;
  return p;
}

}  // namespace orvane::vrt::sparse::gpu
