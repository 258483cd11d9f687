// The plan optimize_gemv makes from the matrix's row statistics and the device's architecture
// code: pure arithmetic, kept apart from the kernels that measure and the allocations.
#pragma once

#include <algorithm>
#include <complex>
#include <cstdint>
#include <type_traits>

#include "gpu/mv/csr/csr_gemv_plan.hpp"
#include "gpu/sub_group_check.hpp"
#include "handle/gemv_data.hpp"
#include "platform/architecture.hpp"

namespace orvane::vrt::sparse::gpu::csr {

// What the choice reads of the matrix.
struct gemv_matrix_facts {
  std::int64_t nrows;
  std::int64_t ncols;
  std::int64_t nnz;
  double avg_row_nnz;
  double row_nnz_stddev;
  double row_spread_ratio;
};

// What the choice reads of the device.
struct gemv_device_facts {
  std::int32_t architecture;
  std::int32_t tile_count;
  std::int32_t hw_thread_count;
};

// The chosen preset; on architecture code 6 the merge path comes first when `merge` is set, and
// `preset` is what applies when its arrays cannot be had.
struct gemv_choice {
  gemv_preset preset;
  bool merge;
  std::int32_t partitions;
};

// Mean row length rounded up, in 64-bit arithmetic.
inline std::int64_t avg_ceil_of(std::int64_t nnz, std::int64_t nrows) {
  return (nnz + nrows - 1) / nrows;
}

// Codes 3 and 4: rows shorter than this go one per work-item.
inline constexpr std::int64_t codes_3_4_long_rows = 13;
inline constexpr gemv_preset opt_codes_3_4_short{gemv_kind::syclvec, 64, 4};
inline constexpr gemv_preset opt_codes_3_4_long{gemv_kind::subgroup, 8, 16};
inline constexpr gemv_preset opt_code_1_single{gemv_kind::syclvec, 256, 8};
inline constexpr gemv_preset opt_code_1_double{gemv_kind::syclvec, 256, 4};
inline constexpr gemv_preset opt_code_5_single{gemv_kind::syclvec, 4, 16};
inline constexpr gemv_preset opt_code_5_double{gemv_kind::syclvec, 4, 4};
inline constexpr gemv_preset opt_generic{gemv_kind::syclvec, 256, 16};
// Code 6 without the merge path, by the rounded-up mean row length.
inline constexpr std::int64_t code_6_short_rows = 4;
inline constexpr std::int64_t code_6_medium_rows = 8;
inline constexpr std::int64_t code_6_long_rows = 16;
inline constexpr gemv_preset opt_code_6_short{gemv_kind::syclvec, 256, 4};
inline constexpr gemv_preset opt_code_6_medium{gemv_kind::syclvec, 256, 8};
inline constexpr gemv_preset opt_code_6_long{gemv_kind::syclvec, 256, 16};
inline constexpr gemv_preset opt_code_6_esimd{gemv_kind::esimd, 8, 32};
inline constexpr gemv_preset opt_code_6_subgroup{gemv_kind::subgroup, 8, 32};
inline constexpr gemv_preset opt_code_6_merge{gemv_kind::merge, 4, 32};

// Merge path thresholds: absolute spread, relative spread, spread across the columns.
inline constexpr double merge_min_stddev = 5.0;
inline constexpr double merge_min_relative_stddev = 1.0;
inline constexpr double merge_min_spread_ratio = 0.01;
// Non-zeros a part should hold at least: one sub-group's width.
inline constexpr std::int64_t merge_part_min_nnz = 32;
// Parts per hardware thread at most.
inline constexpr std::int64_t merge_parts_per_thread = 32;
// Sub-groups per work-group of the merge launch: P is a multiple of it.
inline constexpr std::int64_t merge_part_multiple = 4;

// Cache counted per tile, and the margin the byte count must pass.
inline constexpr std::uint32_t cache_bytes_per_tile = 3u * (1u << 26);
inline constexpr double cache_margin = 1.02;

// Elements kept free below the end of the 32-bit byte range: the kernels' offsets reach this far
// past the last row pointer and the last entry or column.
inline constexpr std::int64_t row_offset_margin = 67;
inline constexpr std::int64_t element_offset_margin = 66;

// The explicit-SIMD kernels form 32-bit byte offsets; these bounds keep them in range.
template <typename T, typename I>
bool fits_32bit(std::int64_t nrows, std::int64_t nnz, std::int64_t ncols) {
  constexpr std::int64_t range = std::int64_t{1} << 32;
  constexpr std::int64_t V = sizeof(T);
  constexpr std::int64_t E = std::max<std::int64_t>(V, sizeof(I));
  return nrows <= range / E - row_offset_margin && nnz <= range / E - element_offset_margin &&
         ncols <= range / V - element_offset_margin;
}

// Whether one product's bytes reach the device cache. The per-device capacity is formed in
// 32-bit arithmetic, wrapping as such.
template <typename T, typename I>
bool exceeds_cache(std::int64_t nrows, std::int64_t nnz, std::int64_t ncols,
                   std::int32_t tile_count) {
  const double index_bytes = sizeof(I), value_bytes = sizeof(T);
  // row_ptr and col_ind, then values, x and y.
  const double bytes = static_cast<double>(nnz + nrows) * index_bytes + index_bytes +
                       static_cast<double>(ncols + nnz + nrows) * value_bytes;
  const auto capacity =
      static_cast<std::int32_t>(static_cast<std::uint32_t>(tile_count) * cache_bytes_per_tile);
  return bytes >= cache_margin * static_cast<double>(capacity);
}

inline bool wants_merge_path(const gemv_matrix_facts& m) {
  if (!(m.row_nnz_stddev >= merge_min_stddev)) return false;
  if (!(m.row_nnz_stddev / m.avg_row_nnz >= merge_min_relative_stddev)) return false;
  return m.row_spread_ratio >= merge_min_spread_ratio;
}

// P: between the hardware threads and 32 per thread, capped so that a part holds a sub-group's
// width of non-zeros, and a multiple of the work-group's sub-groups.
inline std::int32_t merge_partitions(std::int64_t nrows, std::int64_t nnz,
                                     std::int32_t hw_threads) {
  const std::int64_t T = hw_threads;
  std::int64_t limit;
  if (nrows >= merge_parts_per_thread * T) {
    limit = merge_parts_per_thread * T;
  } else {
    limit = nrows - nrows % T;
    if (limit <= T) limit = T;
  }
  std::int64_t P = std::min((nnz + merge_part_min_nnz - 1) / merge_part_min_nnz, limit);
  P -= P % merge_part_multiple;
  if (P < T) P = T;
  return static_cast<std::int32_t>(P);
}

template <typename T, typename I>
gemv_preset code_6_row_plan(const gemv_matrix_facts& m, const gemv_device_facts& d) {
  const std::int64_t avg = avg_ceil_of(m.nnz, m.nrows);
  if (avg <= code_6_short_rows) return opt_code_6_short;
  if (avg <= code_6_medium_rows) return opt_code_6_medium;
  if (avg <= code_6_long_rows) return opt_code_6_long;
  if (exceeds_cache<T, I>(m.nrows, m.nnz, m.ncols, d.tile_count) &&
      fits_32bit<T, I>(m.nrows, m.nnz, m.ncols))
    return opt_code_6_esimd;
  return opt_code_6_subgroup;
}

template <typename T, typename I>
gemv_choice choose_by_architecture(const gemv_matrix_facts& m, const gemv_device_facts& d) {
  constexpr bool single = std::is_same_v<T, float> || std::is_same_v<T, std::complex<float>>;
  switch (architecture_from_code(d.architecture)) {
    case architecture::code1:
      return {single ? opt_code_1_single : opt_code_1_double, false, 0};
    case architecture::code3:
    case architecture::code4:
      return {avg_ceil_of(m.nnz, m.nrows) < codes_3_4_long_rows ? opt_codes_3_4_short
                                                                : opt_codes_3_4_long,
              false, 0};
    case architecture::code5:
      return {single ? opt_code_5_single : opt_code_5_double, false, 0};
    case architecture::code6: {
      const gemv_preset rows = code_6_row_plan<T, I>(m, d);
      if (wants_merge_path(m))
        return {rows, true, merge_partitions(m.nrows, m.nnz, d.hw_thread_count)};
      return {rows, false, 0};
    }
    default:
      return {opt_generic, false, 0};
  }
}

// The choice by architecture code and matrix, then held to the device's sub-group sizes: no
// merge path without its sub-group size, and a sub-group preset the device cannot run becomes the
// generic one.
template <typename T, typename I>
gemv_choice choose_optimized_plan(const gemv_matrix_facts& m, const gemv_device_facts& d,
                                  const sub_group_offer& offer) {
  gemv_choice choice = choose_by_architecture<T, I>(m, d);
  if (choice.merge && !offer.has(opt_code_6_merge.vector_param)) choice = {choice.preset, false, 0};
  choice.preset = offered_or_generic(choice.preset, offer);
  return choice;
}

}  // namespace orvane::vrt::sparse::gpu::csr
