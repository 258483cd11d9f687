// gemmInternalData: the plan of gemm on one structure, made by its first call.
#pragma once

#include <cstdint>
#include <sycl/sycl.hpp>

#include "common/internal_types.hpp"
#include "handle/device_internal_data.hpp"

namespace orvane::vrt::sparse {

struct gemmInternalData {
  std::uint8_t cached;
  std::uint8_t plan_failed;
  deviceInternalData* device_data;
  std::int32_t tune_a;
  std::int32_t tune_b;
  std::int64_t tune_c;
  std::int64_t b_tmp_bytes;
  void* b_tmp;
  std::int64_t c_tmp_bytes;
  void* c_tmp;
};

// Allocates the record and its device record; host_bad_alloc("sparse", "") on failure.
void initGemmInternalData(gemmInternalData** slot);
// Fills the device record and the tuning presets once; idempotent.
void cache_gemm_internals(sycl::queue& queue, gemmInternalData* data);
// Frees the staging containers, the device record and the record; an empty slot is left alone.
template <typename T>
void gemmInternalDataRelease(gemmInternalData** slot, const sycl::context* context,
                             containerType container);

}  // namespace orvane::vrt::sparse
