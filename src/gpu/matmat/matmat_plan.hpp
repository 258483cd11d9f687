// The planner of the staged product: which estimate runs, how many persistent work-groups a
// launch has and how much memory each may own, which accumulator computes C, and how large the
// temporary buffers are. Pure host arithmetic over the record; nothing is submitted here.
#pragma once

#include <algorithm>
#include <cstdint>
#include <orvane/vrt/sparse.hpp>

#include "gpu/matmat/design_names.hpp"
#include "handle/matmat_data.hpp"

namespace orvane::vrt::sparse::gpu {

// x rounded up to a multiple of a.
constexpr std::uint64_t align_up(std::uint64_t x, std::uint64_t a) { return (x + a - 1) / a * a; }

// Dense bitmaps beyond this many columns of B are worth it only for rows with enough products.
inline constexpr std::int64_t dense_estimate_column_limit = 65536;
inline constexpr std::int64_t hash_estimate_min_a_row = 5;
inline constexpr std::int64_t hash_estimate_min_b_row = 17;

// Exact counts from a dense bitmap (1) unless B is wide and its rows or A's are short (5).
inline matmat_kernel work_estimation_kernel_dispatch(std::int64_t a_rows, std::int64_t,
                                                     std::int64_t a_nnz, std::int64_t b_rows,
                                                     std::int64_t b_cols, std::int64_t b_nnz) {
  if (b_cols <= dense_estimate_column_limit) return matmat_accum_dense;
  // A factor without rows has no average row: it counts as short (a division by zero otherwise).
  const std::int64_t avg_a = a_rows > 0 ? a_nnz / a_rows : 0;
  const std::int64_t avg_b = b_rows > 0 ? b_nnz / b_rows : 0;
  if (avg_a < hash_estimate_min_a_row || avg_b < hash_estimate_min_b_row) return matmat_accum_mixed;
  return matmat_accum_dense;
}

// Local memory thought of as 2 KiB per hardware thread, shared among fewer groups up to 16 KiB;
// global scratch of 2 GiB, or 4 GiB per tile on the newest GPUs.
inline constexpr std::uint64_t slm_bytes_per_thread = 2048;
inline constexpr std::uint64_t slm_cap_bytes = 16384;
inline constexpr std::uint64_t global_budget_before_code6 = 0x80000000ULL;

// Each value only if still unset. At least one group, so that a factor without rows still plans.
inline void set_bounds_on_workspace_data(matmatInternalData* d, std::int64_t a_rows) {
  if (d->num_groups < 0)
    d->num_groups = static_cast<std::int32_t>(
        std::max<std::int64_t>(1, std::min<std::int64_t>(d->total_threads, a_rows)));
  if (d->slm_budget == 0)
    d->slm_budget = d->num_groups == d->total_threads
                        ? slm_bytes_per_thread
                        : std::min<std::uint64_t>(static_cast<std::uint64_t>(d->total_threads) *
                                                      slm_bytes_per_thread /
                                                      static_cast<std::uint64_t>(d->num_groups),
                                                  slm_cap_bytes);
  if (d->global_budget == 0)
    d->global_budget = d->architecture < 6 ? global_budget_before_code6
                                           : static_cast<std::uint64_t>(d->tile_count) << 32;
}

// The plan of one accumulating stage: the compute stage's fields or compute_structure's.
struct accumulator_plan {
  matmat_kernel* kernel;
  matmatComputeDenseData** dense;
  matmatComputeHashData** hash;
  matmatComputeHeapData** heap;
  std::uint64_t* group_bytes;
  std::uint64_t* local_bytes;
  std::int32_t* memory_kind;
};

inline accumulator_plan compute_plan_of(matmatInternalData* d) {
  return {&d->compute_kernel,     &d->compute_dense,       &d->compute_hash,
          &d->compute_heap,       &d->compute_group_bytes, &d->compute_local_bytes,
          &d->compute_memory_kind};
}
inline accumulator_plan structure_plan_of(matmatInternalData* d) {
  return {&d->compute_structure_kernel, &d->structure_dense,       &d->structure_hash,
          &d->structure_heap,           &d->structure_group_bytes, &d->structure_local_bytes,
          &d->structure_memory_kind};
}

// Group scratch (global bytes, local bytes) of an accumulator in a memory plan.
struct group_scratch {
  std::uint64_t global_bytes;
  std::uint64_t local_bytes;
};
inline group_scratch group_scratch_of(matmat_kernel kernel, std::int32_t memory_kind,
                                      const matmatComputeDenseData& dense,
                                      const matmatComputeHashData& hash,
                                      const matmatComputeHeapData* heap) {
  const bool local = memory_kind == matmat_local_memory_plan;
  switch (kernel) {
    case matmat_noaccum:
      return {0, 0};
    case matmat_accum_dense:
    case matmat_accum_dense2:
      return local ? group_scratch{dense.local_value_bytes, dense.local_bitmap_bytes}
                   : group_scratch{dense.global_total_bytes, dense.global_local_bytes};
    case matmat_accum_heap:
    case matmat_accum_heap2:
      return heap == nullptr ? group_scratch{0, 0}
                             : group_scratch{heap->global_bytes, heap->local_bytes};
    case matmat_accum_mixed:
      return local ? group_scratch{std::max(hash.global_bytes, dense.local_value_bytes),
                                   std::max(hash.local_bytes, dense.local_bitmap_bytes)}
                   : group_scratch{std::max(hash.global_bytes, dense.global_total_bytes),
                                   std::max(hash.local_bytes, dense.global_local_bytes)};
    default:
      throw computation_error("sparse", names::matmat_word, names::plan_internal_error_text);
  }
}

// Sizes the dense and hash accumulators within the budgets and chooses one, once per C and stage.
// value_bytes 0 plans compute_structure (no values).
inline void plan_accumulator(matmatInternalData* d, const accumulator_plan& p, std::int64_t a_rows,
                             std::int64_t b_cols, std::int64_t estimate, std::int64_t index_bytes,
                             std::int64_t value_bytes) {
  if (*p.kernel != matmat_kernel_unset) return;
  const std::int64_t L = d->cache_line_bytes;
  const std::int64_t sg = d->sub_group_size;
  const std::int64_t n = b_cols;
  const auto align = [&](std::int64_t x) {
    return static_cast<std::uint64_t>(align_up(static_cast<std::uint64_t>(x), L));
  };
  const auto down = [&](std::int64_t x) { return x / sg * sg; };

  const std::int64_t small = static_cast<std::int64_t>(d->slm_budget) - 2 * L;
  const std::int64_t large =
      static_cast<std::int64_t>(d->global_budget / static_cast<std::uint64_t>(d->num_groups)) -
      2 * L;

  if (*p.dense == nullptr) initMatmatComputeDenseData(p.dense);
  matmatComputeDenseData& dense = **p.dense;
  const std::int64_t full_words = (n + 31) / 32 + sg - 1 - ((n + 31) / 32 + sg - 1) % sg;
  const std::int64_t small_words = down(small / 4);
  if (value_bytes > 0) {
    const std::int64_t value_cols = (large - L) / value_bytes;
    const std::int64_t words = std::min({small_words, full_words, down((value_cols + 31) / 32)});
    dense.local_words = static_cast<std::uint64_t>(words);
    dense.local_columns = static_cast<std::uint64_t>(32 * words);
    dense.local_value_bytes = align(32 * words * value_bytes);
    dense.local_bitmap_bytes = align(4 * words);
    // A column costs value_bytes and one bit.
    const std::int64_t cols2 = (8 * large - 16 * L) / (8 * value_bytes + 1);
    const std::int64_t words2 = std::min(down((cols2 + 31) / 32), full_words);
    dense.global_words = static_cast<std::uint64_t>(words2);
    dense.global_columns = static_cast<std::uint64_t>(32 * words2);
    dense.global_total_bytes = align(value_bytes * 32 * words2) + align(4 * words2);
    dense.global_local_bytes = 0;
  } else {
    const std::int64_t words = std::min(full_words, small_words);
    dense.local_words = static_cast<std::uint64_t>(words);
    dense.local_columns = static_cast<std::uint64_t>(32 * words);
    dense.local_value_bytes = 0;
    dense.local_bitmap_bytes = align(4 * words);
    const std::int64_t words2 = std::min(down((8 * (large - L) + 31) / 32), full_words);
    dense.global_words = static_cast<std::uint64_t>(words2);
    dense.global_columns = static_cast<std::uint64_t>(32 * words2);
    dense.global_total_bytes = align(4 * words2);
    dense.global_local_bytes = 0;
  }

  if (*p.hash == nullptr) initMatmatComputeHashData(p.hash);
  matmatComputeHashData& hash = **p.hash;
  if (value_bytes > 0) {
    const std::int64_t entry = index_bytes + value_bytes;
    const std::int64_t local_entries = std::min((small - 2 * L) / entry, 2 * n);
    const std::int64_t global_entries = std::min((large - 2 * L) / entry, 2 * n);
    hash.local_entries = static_cast<std::uint64_t>(local_entries);
    hash.global_entries = static_cast<std::uint64_t>(global_entries);
    hash.global_bytes = align(value_bytes * global_entries) + align(index_bytes * global_entries);
    hash.local_bytes = align(value_bytes * local_entries) + align(index_bytes * local_entries);
  } else {
    const std::int64_t local_entries = std::min((small - L) / index_bytes, 2 * n);
    const std::int64_t global_entries = std::min((large - L) / index_bytes, 2 * n);
    hash.local_entries = static_cast<std::uint64_t>(local_entries);
    hash.global_entries = static_cast<std::uint64_t>(global_entries);
    hash.global_bytes = align(index_bytes * global_entries);
    hash.local_bytes = align(index_bytes * local_entries);
  }

  // An exact estimate allows the plain dense accumulator.
  const matmat_kernel accum =
      d->work_estimation_kernel == matmat_accum_dense ? matmat_accum_dense : matmat_accum_dense2;
  matmat_kernel kernel = accum;
  if (8 * static_cast<std::int64_t>(dense.local_columns) >= n) {
    // The window covers C in at most eight passes.
    *p.memory_kind = matmat_local_memory_plan;
  } else {
    *p.memory_kind = matmat_global_memory_plan;
    if (8 * static_cast<std::int64_t>(dense.global_columns) < n) {
      const std::int64_t avg = a_rows > 0 ? (estimate + a_rows - 1) / a_rows : 0;
      // A row of average length fits a half-full hash table.
      if (avg <= static_cast<std::int64_t>(hash.global_entries / 2)) kernel = matmat_accum_mixed;
    }
  }
  *p.kernel = kernel;
  const group_scratch s = group_scratch_of(kernel, *p.memory_kind, dense, hash, *p.heap);
  *p.group_bytes = s.global_bytes == 0 ? 1 : s.global_bytes;
  *p.local_bytes = s.local_bytes;
}

// `ignored` is passed as all ones by the stages.
inline void set_compute_alg_and_workspace_sizes(matmatInternalData* d, std::int64_t a_rows,
                                                std::int64_t b_cols, std::int64_t /*ignored*/,
                                                std::int64_t estimate, std::int64_t index_bytes,
                                                std::int64_t value_bytes) {
  plan_accumulator(d, compute_plan_of(d), a_rows, b_cols, estimate, index_bytes, value_bytes);
}
inline void set_compute_structure_alg_and_workspace_sizes(matmatInternalData* d,
                                                          std::int64_t a_rows, std::int64_t b_cols,
                                                          std::int64_t /*ignored*/,
                                                          std::int64_t estimate,
                                                          std::int64_t index_bytes) {
  plan_accumulator(d, structure_plan_of(d), a_rows, b_cols, estimate, index_bytes, 0);
}

// Finalize follows the estimate, not the accumulator: exact offsets or upper bounds.
inline matmat_kernel finalize_kernel_dispatch(matmat_kernel work_estimation_kernel,
                                              matmat_kernel /*compute_kernel*/) {
  return work_estimation_kernel < matmat_accum_mixed ? work_estimation_kernel : matmat_accum_mixed;
}

// ---- buffer sizes ------------------------------------------------------------------------------

// row_offsets (a_rows + 1 indices) with room to move its start to a cache line.
inline std::uint64_t work_estimation_buffer_size(const matmatInternalData* d, std::int64_t a_rows,
                                                 std::int64_t index_bytes) {
  return align_up(static_cast<std::uint64_t>(index_bytes * (a_rows + 1) + d->cache_line_bytes),
                  static_cast<std::uint64_t>(d->alignment_bytes));
}

// The structure's columns, then the groups' scratch.
inline std::uint64_t compute_structure_buffer_size(const matmatInternalData* d,
                                                   std::int64_t estimate,
                                                   std::int64_t index_bytes) {
  return align_up(static_cast<std::uint64_t>(index_bytes * estimate),
                  static_cast<std::uint64_t>(d->alignment_bytes)) +
         align_up(static_cast<std::uint64_t>(d->num_groups) * d->structure_group_bytes,
                  static_cast<std::uint64_t>(d->cache_line_bytes));
}

// Columns, values, then the groups' scratch.
inline std::uint64_t compute_buffer_size(const matmatInternalData* d, std::int64_t estimate,
                                         std::int64_t index_bytes, std::int64_t value_bytes) {
  const auto a = static_cast<std::uint64_t>(d->alignment_bytes);
  return align_up(static_cast<std::uint64_t>(index_bytes * estimate), a) +
         align_up(static_cast<std::uint64_t>(value_bytes * estimate), a) +
         align_up(static_cast<std::uint64_t>(d->num_groups) * d->compute_group_bytes,
                  static_cast<std::uint64_t>(d->cache_line_bytes));
}

// The checks of a planned accumulating stage's buffer size: all groups' scratch within the global
// budget, the size within both allocation ceilings.
inline void check_planned_size(const matmatInternalData* d, std::uint64_t group_bytes,
                               std::uint64_t size) {
  if (static_cast<std::uint64_t>(d->num_groups) * group_bytes > d->global_budget)
    throw computation_error("sparse", names::matmat_word, names::workspace_sizes_text);
  if (size > d->max_alloc_bytes || size > d->arch_alloc_limit)
    throw computation_error("sparse", names::matmat_word,
                            names::requested_size_too_large(size, d->max_alloc_bytes));
}

}  // namespace orvane::vrt::sparse::gpu
