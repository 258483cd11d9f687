// The plan optimize_trmv makes from the strict triangle's row statistics: pure arithmetic, apart
// from the kernels that measure and the allocations. Unlike gemv's, the merge-path rule does not
// depend on the architecture code, and it differs between the triangles.
#pragma once

#include <algorithm>
#include <cstdint>
#include <orvane/vrt/sparse.hpp>

#include "gpu/mv/csr/csr_gemv_plan.hpp"
#include "handle/gemv_data.hpp"
#include "platform/architecture.hpp"

namespace orvane::vrt::sparse::gpu {

// What the merge-path rule reads of the triangle's statistics.
struct trmv_row_facts {
  double avg_row_nnz;
  double row_nnz_stddev;
  double row_spread_ratio;
};

// Either triangle: absolute spread of row lengths, or spread across the columns.
inline constexpr double trmv_merge_min_stddev = 50.0;
inline constexpr double trmv_merge_min_spread_ratio = 0.05;
// Upper triangle only: a moderate spread that is large against the mean row length. The rule is
// deliberately asymmetric.
inline constexpr double trmv_upper_merge_min_stddev = 10.0;
inline constexpr double trmv_upper_merge_min_relative_stddev = 5.0;

inline bool trmv_wants_merge_path(uplo which, const trmv_row_facts& f) {
  if (f.row_nnz_stddev >= trmv_merge_min_stddev) return true;
  if (f.row_spread_ratio >= trmv_merge_min_spread_ratio) return true;
  return which == uplo::upper && f.row_nnz_stddev > trmv_upper_merge_min_stddev &&
         f.row_nnz_stddev / f.avg_row_nnz > trmv_upper_merge_min_relative_stddev;
}

// The merge-path grid the launcher has instances for: sub-groups per work-group, sub-group size.
inline constexpr std::int32_t trmv_merge_groups_small = 4;
inline constexpr std::int32_t trmv_merge_groups_large = 8;
inline constexpr int trmv_merge_sub_group_narrow = 16;
inline constexpr int trmv_merge_sub_group_wide = 32;

inline bool trmv_merge_grid_has(std::int32_t group_param, std::int32_t vector_param) {
  return (group_param == trmv_merge_groups_small || group_param == trmv_merge_groups_large) &&
         (vector_param == trmv_merge_sub_group_narrow || vector_param == trmv_merge_sub_group_wide);
}

// The wide sub-group on architecture code 6, the narrow one elsewhere.
inline std::int32_t trmv_merge_sub_group(std::int32_t architecture_code) {
  return architecture_from_code(architecture_code) == architecture::code6
             ? trmv_merge_sub_group_wide
             : trmv_merge_sub_group_narrow;
}

// P: at least the hardware threads T, at most T times the sub-group size (but no more than the
// rows allow), capped so that a part holds a sub-group's width of non-zeros, and a multiple of
// the work-group's sub-groups.
inline std::int32_t trmv_merge_partitions(std::int64_t nrows, std::int64_t nnz,
                                          std::int32_t hw_threads, std::int32_t sub_group) {
  const std::int64_t T = hw_threads;
  std::int64_t limit = T * sub_group;
  if (limit > nrows) limit = std::max(T, nrows - nrows % T);
  std::int64_t P = std::min((nnz + sub_group - 1) / sub_group, limit);
  P -= P % trmv_merge_groups_small;
  return static_cast<std::int32_t>(std::max(T, P));
}

// Rows per vector accumulator length, as gemv's last rows on code 6. The vector kernel has one
// instance whatever this says; the value is recorded for reports.
inline constexpr std::int64_t trmv_short_rows = 4;
inline constexpr std::int64_t trmv_medium_rows = 8;
inline constexpr std::int32_t trmv_vector_group_param = 256;

inline csr::gemv_preset trmv_vector_preset(std::int64_t avg_ceil) {
  const std::int32_t lanes = avg_ceil <= trmv_short_rows    ? 4
                             : avg_ceil <= trmv_medium_rows ? 8
                                                            : 16;
  return {gemv_kind::syclvec, trmv_vector_group_param, lanes};
}

inline csr::gemv_preset trmv_merge_preset(std::int32_t sub_group) {
  return {gemv_kind::merge, trmv_merge_groups_small, sub_group};
}

}  // namespace orvane::vrt::sparse::gpu
