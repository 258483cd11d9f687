// gemvInternalData: the plan of gemv on one structure, made by the first call or optimize_gemv.
#pragma once

#include <cstdint>

#include <sycl/sycl.hpp>

#include "common/internal_types.hpp"
#include "common/variants.hpp"
#include "handle/device_internal_data.hpp"

namespace orvane::vrt::sparse {

// Kernel families a plan can choose.
enum gemvKernelKind : std::int32_t {
  gemv_kind_default = -1,
  gemv_kind_syclvec = 1,
  gemv_kind_marray = 2,
  gemv_kind_subgroup = 3,
  gemv_kind_esimd = 4,
  gemv_kind_merge = 5
};

struct gemvInternalData {
  std::uint8_t cached;
  std::uint8_t optimized;
  deviceInternalData* device_data;
  std::int32_t kernel_kind;
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
VRT_NAME_VARIANTS(gemvInternalDataRelease)

}  // namespace orvane::vrt::sparse
