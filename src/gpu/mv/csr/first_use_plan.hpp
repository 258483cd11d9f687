// The plan of a structure's first gemv when optimize_gemv has not run: fixed by the architecture
// code alone.
#pragma once

#include <complex>
#include <cstdint>
#include <type_traits>

#include "handle/gemv_data.hpp"

namespace orvane::vrt::sparse::gpu::csr {

// A kernel family with its work-group and vector parameters.
struct gemv_preset {
  std::int32_t kernel_kind;
  std::int32_t group_param;
  std::int32_t vector_param;
};

// By architecture code; single precision takes the first vector length where two are given.
inline constexpr gemv_preset preset_code_1_single{gemv_kind_syclvec, 256, 8};
inline constexpr gemv_preset preset_code_1_double{gemv_kind_syclvec, 256, 4};
inline constexpr gemv_preset preset_codes_3_4{gemv_kind_subgroup, 8, 16};
// Kept as first measured: single precision gets the short vector here.
inline constexpr gemv_preset preset_code_5_single{gemv_kind_syclvec, 4, 4};
inline constexpr gemv_preset preset_code_5_double{gemv_kind_syclvec, 4, 16};
inline constexpr gemv_preset preset_code_6{gemv_kind_subgroup, 8, 32};
// Codes 0 (no known architecture) and 2.
inline constexpr gemv_preset preset_generic{gemv_kind_syclvec, 256, 16};

template <typename T>
gemv_preset first_use_preset(std::int32_t architecture) {
  constexpr bool single = std::is_same_v<T, float> || std::is_same_v<T, std::complex<float>>;
  switch (architecture) {
    case 1:
      return single ? preset_code_1_single : preset_code_1_double;
    case 3:
    case 4:
      return preset_codes_3_4;
    case 5:
      return single ? preset_code_5_single : preset_code_5_double;
    case 6:
      return preset_code_6;
    default:
      return preset_generic;
  }
}

template <typename T>
void set_first_use_plan(gemvInternalData* plan) {
  const gemv_preset preset = first_use_preset<T>(plan->device_data->architecture);
  plan->kernel_kind = preset.kernel_kind;
  plan->group_param = preset.group_param;
  plan->vector_param = preset.vector_param;
}

}  // namespace orvane::vrt::sparse::gpu::csr
