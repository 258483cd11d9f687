// Host decisions of the coloring: head and tail runs of narrow colors, the synchronisation mode
// of the middle, and the chunk tables of the atomics-synchronised solve.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "common/internal_types.hpp"
#include "common/variants.hpp"
#include "handle/value_types.hpp"
#include "platform/architecture.hpp"

namespace orvane::vrt::sparse::gpu {

// A color of at most this many rows runs inside one work-group.
inline constexpr std::int64_t narrow_color_rows = 256;
// Rows of one chunk of the atomics solve: one sub-group of this many lanes serves a chunk.
inline constexpr std::int64_t chunk_rows = 16;

inline constexpr std::int32_t sync_by_kernels = 1;
inline constexpr std::int32_t sync_by_atomics = 2;

struct color_classes {
  std::int32_t head;
  std::int32_t tail;
};

// Head: the narrow colors before the first wide one (all, if none is wide). Tail: the narrow
// colors after the last wide one. Devices that are not GPUs keep every color in the middle.
template <typename I>
color_classes classify_colors(const std::vector<I>& color_ptr, std::int32_t num_colors,
                              bool is_gpu) {
  if (!is_gpu) return {0, 0};
  auto wide = [&](std::int32_t c) {
    return static_cast<std::int64_t>(color_ptr[c + 1] - color_ptr[c]) > narrow_color_rows;
  };
  std::int32_t first = 0;
  while (first < num_colors && !wide(first)) ++first;
  if (first == num_colors) return {num_colors, 0};
  std::int32_t last = num_colors - 1;
  while (!wide(last)) --last;
  return {first, num_colors - 1 - last};
}

// Atomics kernels exist for real values only.
template <typename T>
std::int32_t sync_mode_for(architecture device) {
  if constexpr (is_complex_v<T>)
    return sync_by_kernels;
  else
    return syncs_levels_by_atomics(device) ? sync_by_atomics : sync_by_kernels;
}

template <typename I>
struct chunk_tables {
  std::vector<I> start;      // num_chunks + 1 entries
  std::vector<I> color;      // num_chunks entries
  std::vector<I> per_color;  // num_colors entries, 0 outside the middle
  std::int32_t num_chunks = 0;
  std::int32_t max_per_color = 0;
};

// Chunks of chunk_rows positions over the middle colors, in color order.
template <typename I>
chunk_tables<I> make_chunk_tables(const std::vector<I>& color_ptr, std::int32_t num_colors,
                                  color_classes classes) {
  chunk_tables<I> t;
  t.per_color.assign(static_cast<std::size_t>(num_colors), I(0));
  const std::int32_t middle_end = num_colors - classes.tail;
  for (std::int32_t c = classes.head; c < middle_end; ++c) {
    const std::int64_t width = color_ptr[c + 1] - color_ptr[c];
    const auto chunks = static_cast<std::int32_t>((width + chunk_rows - 1) / chunk_rows);
    t.per_color[c] = static_cast<I>(chunks);
    t.num_chunks += chunks;
    t.max_per_color = std::max(t.max_per_color, chunks);
    for (std::int64_t p = color_ptr[c]; p < color_ptr[c + 1]; p += chunk_rows) {
      t.start.push_back(static_cast<I>(p));
      t.color.push_back(static_cast<I>(c));
    }
  }
  t.start.push_back(color_ptr[middle_end]);
  return t;
}

}  // namespace orvane::vrt::sparse::gpu
