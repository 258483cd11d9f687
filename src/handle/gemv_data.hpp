// gemvInternalData: the plan of gemv on one structure, made by the first call or optimize_gemv.
#pragma once

#include <cstdint>
#include <sycl/sycl.hpp>

#include "common/internal_types.hpp"
#include "common/variants.hpp"
#include "handle/device_internal_data.hpp"

namespace orvane::vrt::sparse {

// Kernel families a plan can choose; the values are those the plan record has always stored.
enum class gemv_kind : std::int32_t {
  default_kernel = -1,
  syclvec = 1,
  marray = 2,
  subgroup = 3,
  esimd = 4,
  merge = 5,
};

// What a kind's group_param and vector_param mean, in the units a report prints them in.
struct gemv_kind_meaning {
  gemv_kind kind;
  const char* name;
  const char* group_unit;   // group_param counts these
  const char* vector_unit;  // vector_param counts these
};

inline constexpr gemv_kind_meaning gemv_kind_meanings[] = {
    // The default kernels demand no launch shape: both parameters are ignored.
    {gemv_kind::default_kernel, "default", "(ignored)", "(ignored)"},
    // Work-group size; length of the sycl::vec accumulator.
    {gemv_kind::syclvec, "sycl::vec rows", "work-items", "lanes"},
    // Work-group size; length of the sycl::marray accumulator.
    {gemv_kind::marray, "sycl::marray rows", "work-items", "lanes"},
    // Sub-groups per work-group; sub-group size.
    {gemv_kind::subgroup, "sub-group", "sub-groups", "lanes"},
    // Rows per explicit-SIMD thread; SIMD width.
    {gemv_kind::esimd, "explicit SIMD", "rows per thread", "lanes"},
    // Sub-groups per work-group; sub-group size.
    {gemv_kind::merge, "merge path", "sub-groups", "lanes"},
};

// The table's entry of a kind; null for a value no kind has (a record written by hand).
constexpr const gemv_kind_meaning* meaning_of(gemv_kind kind) {
  for (const gemv_kind_meaning& m : gemv_kind_meanings)
    if (m.kind == kind) return &m;
  return nullptr;
}

// The kind's name for reports, "unknown" for a value no kind has.
constexpr const char* kind_name(gemv_kind kind) {
  const gemv_kind_meaning* m = meaning_of(kind);
  return m != nullptr ? m->name : "unknown";
}

constexpr std::int32_t kind_code(gemv_kind kind) { return static_cast<std::int32_t>(kind); }

struct gemvInternalData {
  std::uint8_t cached;
  std::uint8_t optimized;
  deviceInternalData* device_data;
  gemv_kind kernel_kind;  // 32 bits, as the record has always laid it out
  std::int32_t group_param;
  std::int32_t vector_param;
  std::int64_t max_row_nnz;
  std::int64_t min_row_nnz;
  double avg_row_nnz;
  double row_nnz_stddev;
  double row_spread_ratio;
  double density;
  std::int32_t num_partitions;
  void* partition_rows;
  void* partition_nnz;
  void* carry_rows;
  void* carry_values;
};

// Allocates the record and its device record; host_bad_alloc("sparse", "") on failure.
void initGemvInternalData(gemvInternalData** slot);

// Fills the device record and sets the default plan once; idempotent.
void cache_gemv_internals(sycl::queue& queue, gemvInternalData* data);

// Frees the merge-path arrays (when the current kind is the merge path), the device record and
// the record; an empty slot is left alone.
template <typename T, typename I, containerType C>
void gemvInternalDataRelease(gemvInternalData** slot, const sycl::context* context);

static_assert(sizeof(gemv_kind) == sizeof(std::int32_t));

}  // namespace orvane::vrt::sparse
