// Host-side choices of the row-count estimates: which kernel form runs, with how many sub-groups
// or work-items per row, and over how many column chunks. Pure functions of the operands' sizes
// and the planner's device facts; the launchers instantiate exactly the forms listed here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>

#include "platform/architecture.hpp"

namespace orvane::vrt::sparse::gpu::work_estimation {

// ---- limits and constants ----------------------------------------------------------------
// The explicit-SIMD forms address in 32-bit byte offsets: every dimension they walk must stay
// below this, less a sub-group of slack.
inline constexpr std::int64_t esimd_dimension_limit = 0x3fffffff;
// A dense bitmap holds 256 words of 32 columns per sub-group of the work-group.
inline constexpr std::int64_t bitmap_words_per_sub_group = 256;
inline constexpr std::int64_t columns_per_word = 32;
inline constexpr std::int64_t columns_per_sub_group = bitmap_words_per_sub_group * columns_per_word;
// Every probe of a hash insert after the first slot steps this far, this many times.
inline constexpr std::int32_t probe_stride = 17;
inline constexpr std::int32_t probe_count = 16;
// The product count's work-items fetch this many rows at a time, and this many of them run.
inline constexpr std::int32_t rows_per_fetch = 16;
inline constexpr std::int64_t product_count_items = 1024;

// ---- device facts --------------------------------------------------------------------------
// Sub-group size of the dense forms: the widest on the GPUs that have it, else the planner's.
constexpr std::int32_t dense_sub_group(bool is_gpu, std::int32_t arch,
                                       std::int32_t sub_group_size) {
  return is_gpu && has_wide_sub_groups(architecture_from_code(arch)) ? 32 : sub_group_size;
}

struct factor_sizes {
  std::int64_t a_rows, a_cols, a_nnz;
  std::int64_t b_rows, b_cols, b_nnz;
};

// Whether every offset an explicit-SIMD form computes fits its 32-bit arithmetic.
constexpr bool fits_esimd_offsets(const factor_sizes& s, std::int32_t sub_group_size) {
  const std::int64_t limit = esimd_dimension_limit - sub_group_size;
  return s.a_rows + 1 < limit && s.b_rows + 1 < limit && s.a_cols < limit && s.a_nnz < limit &&
         s.b_nnz < limit;
}

// ---- dense family --------------------------------------------------------------------------
// A busy row of A gets more sub-groups: NSG by the average row length, rounded up.
constexpr std::int32_t sub_groups_per_row(std::int64_t a_nnz, std::int64_t a_rows) {
  const std::int64_t avg = a_rows > 0 ? (a_nnz + a_rows - 1) / a_rows : 0;
  return avg > 15 ? 16 : avg >= 4 ? 4 : 1;
}

// Passes over B's columns, each as wide as the bitmap.
constexpr std::int64_t column_chunks(std::int64_t b_cols, std::int32_t nsg) {
  const std::int64_t width = columns_per_sub_group * nsg;
  return (b_cols + width - 1) / width;
}

struct dense_choice {
  bool esimd;
  std::int32_t nsg;
  std::int32_t sg;
  std::int64_t chunks;
};

constexpr dense_choice plan_dense(const factor_sizes& s, bool is_gpu, std::int32_t arch,
                                  std::int32_t sub_group_size) {
  const bool esimd = is_gpu && has_wide_sub_groups(architecture_from_code(arch)) &&
                     fits_esimd_offsets(s, sub_group_size);
  const std::int32_t nsg = sub_groups_per_row(s.a_nnz, s.a_rows);
  return {esimd, nsg, dense_sub_group(is_gpu, arch, sub_group_size), column_chunks(s.b_cols, nsg)};
}

// The forms the dense launcher instantiates. Explicit SIMD runs only on the GPUs with wide
// sub-groups, so only at 32 lanes; the sub-group form at every size a plan can name.
struct dense_form {
  bool esimd;
  std::int32_t nsg;
  std::int32_t sg;
};
// clang-format off
inline constexpr dense_form dense_forms[] = {
    {false, 1, 8},  {false, 4, 8},  {false, 16, 8},
    {false, 1, 16}, {false, 4, 16}, {false, 16, 16},
    {false, 1, 32}, {false, 4, 32}, {false, 16, 32},
    {true, 1, 32},  {true, 4, 32},  {true, 16, 32},
};
// clang-format on

constexpr bool same_form(const dense_form& f, const dense_choice& c) {
  return f.esimd == c.esimd && f.nsg == c.nsg && f.sg == c.sg;
}

// The position of the form that serves a choice, or -1 when none is instantiated.
constexpr int dense_form_index(const dense_choice& c) {
  for (std::size_t i = 0; i < std::size(dense_forms); ++i)
    if (same_form(dense_forms[i], c)) return static_cast<int>(i);
  return -1;
}

// ---- hash family ---------------------------------------------------------------------------
// Work-items per row of A by the table size and B's average row length, rounded up; 0 for a
// table size no device has.
constexpr std::int32_t hash_items_per_row(std::int32_t table, std::int64_t b_nnz,
                                          std::int64_t b_rows) {
  const std::int64_t avg = b_rows > 0 ? (b_nnz + b_rows - 1) / b_rows : 0;
  switch (table) {
    case 512:
      return avg < 6 ? 1 : avg < 50 ? 4 : 16;
    case 1024:
      return avg < 100 ? 1 : avg < 200 ? 4 : 8;
    case 2048:
      return avg < 200 ? 1 : 4;
    default:
      return 0;
  }
}

// The explicit-SIMD hash forms run on every GPU but codes 3 and 5.
constexpr bool hash_esimd_architecture(bool is_gpu, std::int32_t arch) {
  return is_gpu && arch != 3 && arch != 5;
}

enum class hash_kind : std::int32_t { workgroup, workgroup_1, esimd, esimd_wg1 };

struct hash_choice {
  hash_kind kind;
  std::int32_t table;
  std::int32_t items;
  std::int32_t sg;  // lanes of the explicit-SIMD forms; 0 for the others
};

constexpr hash_choice plan_hash(const factor_sizes& s, bool is_gpu, std::int32_t arch,
                                std::int32_t sub_group_size, std::int32_t table) {
  const std::int32_t items = hash_items_per_row(table, s.b_nnz, s.b_rows);
  if (hash_esimd_architecture(is_gpu, arch) && fits_esimd_offsets(s, sub_group_size))
    return {items == 1 ? hash_kind::esimd_wg1 : hash_kind::esimd, table, items, sub_group_size};
  return {items == 1 ? hash_kind::workgroup_1 : hash_kind::workgroup, table, items, 0};
}

// The forms the hash launcher instantiates. The scalar forms serve every table size (devices
// that are no GPU have 2048 entries; codes 3 and 5 have 512 and 1024; any GPU past the 32-bit
// limit has its own size), the one-item kernel only W = 1 and the sliced one only W > 1. The
// explicit-SIMD forms serve GPUs of codes 0 to 2 (512 entries, 8 lanes), 4 (512, 16) and 6 and
// up (1024, 16).
// clang-format off
inline constexpr hash_choice hash_forms[] = {
    {hash_kind::workgroup_1, 512, 1, 0},  {hash_kind::workgroup_1, 1024, 1, 0},
    {hash_kind::workgroup_1, 2048, 1, 0},
    {hash_kind::workgroup, 512, 4, 0},    {hash_kind::workgroup, 512, 16, 0},
    {hash_kind::workgroup, 1024, 4, 0},   {hash_kind::workgroup, 1024, 8, 0},
    {hash_kind::workgroup, 2048, 4, 0},
    {hash_kind::esimd_wg1, 512, 1, 8},    {hash_kind::esimd_wg1, 512, 1, 16},
    {hash_kind::esimd_wg1, 1024, 1, 16},
    {hash_kind::esimd, 512, 4, 8},        {hash_kind::esimd, 512, 16, 8},
    {hash_kind::esimd, 512, 4, 16},       {hash_kind::esimd, 512, 16, 16},
    {hash_kind::esimd, 1024, 4, 16},      {hash_kind::esimd, 1024, 8, 16},
};
// clang-format on

constexpr bool same_form(const hash_choice& f, const hash_choice& c) {
  return f.kind == c.kind && f.table == c.table && f.items == c.items && f.sg == c.sg;
}

constexpr int hash_form_index(const hash_choice& c) {
  for (std::size_t i = 0; i < std::size(hash_forms); ++i)
    if (same_form(hash_forms[i], c)) return static_cast<int>(i);
  return -1;
}

// ---- product count -------------------------------------------------------------------------
// Persistent work-items: enough to give each one fetch, at most product_count_items.
constexpr std::int64_t product_count_launch(std::int64_t a_rows) {
  const std::int64_t fetches = (a_rows + rows_per_fetch - 1) / rows_per_fetch;
  return fetches < product_count_items ? fetches : product_count_items;
}

}  // namespace orvane::vrt::sparse::gpu::work_estimation
