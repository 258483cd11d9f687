// The plan of the CSR product as its launchers read it: the first-use plan of a structure that
// optimize_gemv has not seen (fixed by the architecture code alone), the kind a value type runs a
// plan as, and the launch shape of the sub-group family. Pure host functions and tables.
#pragma once

#include <complex>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "common/internal_error.hpp"
#include "gpu/mv/design_names.hpp"
#include "gpu/sub_group_check.hpp"
#include "handle/gemv_data.hpp"
#include "handle/value_types.hpp"
#include "platform/architecture.hpp"

namespace orvane::vrt::sparse::gpu::csr {

// A kernel family with its work-group and vector parameters.
struct gemv_preset {
  gemv_kind kernel_kind;
  std::int32_t group_param;
  std::int32_t vector_param;
};

inline void apply_preset(gemvInternalData* plan, const gemv_preset& preset) {
  plan->kernel_kind = preset.kernel_kind;
  plan->group_param = preset.group_param;
  plan->vector_param = preset.vector_param;
}

// By architecture code; single precision takes the first vector length where two are given.
inline constexpr gemv_preset preset_code_1_single{gemv_kind::syclvec, 256, 8};
inline constexpr gemv_preset preset_code_1_double{gemv_kind::syclvec, 256, 4};
inline constexpr gemv_preset preset_codes_3_4{gemv_kind::subgroup, 8, 16};
// Kept as first measured: single precision gets the short vector here.
inline constexpr gemv_preset preset_code_5_single{gemv_kind::syclvec, 4, 4};
inline constexpr gemv_preset preset_code_5_double{gemv_kind::syclvec, 4, 16};
inline constexpr gemv_preset preset_code_6{gemv_kind::subgroup, 8, 32};
// Codes 0 (no known architecture) and 2.
inline constexpr gemv_preset preset_generic{gemv_kind::syclvec, 256, 16};

// The sub-group kinds run only where the device lists their size (vector_param); elsewhere the
// plan is the generic one, which demands no sub-group size, as for a device of unknown code.
inline gemv_preset offered_or_generic(const gemv_preset& preset, const sub_group_offer& offer) {
  const bool demands =
      preset.kernel_kind == gemv_kind::subgroup || preset.kernel_kind == gemv_kind::merge;
  return demands && !offer.has(preset.vector_param) ? preset_generic : preset;
}

template <typename T>
gemv_preset first_use_preset(std::int32_t code, const sub_group_offer& offer) {
  constexpr bool single = std::is_same_v<T, float> || std::is_same_v<T, std::complex<float>>;
  switch (architecture_from_code(code)) {
    case architecture::code1:
      return single ? preset_code_1_single : preset_code_1_double;
    case architecture::code3:
    case architecture::code4:
      return offered_or_generic(preset_codes_3_4, offer);
    case architecture::code5:
      return single ? preset_code_5_single : preset_code_5_double;
    case architecture::code6:
      return offered_or_generic(preset_code_6, offer);
    default:
      return preset_generic;
  }
}

template <typename T>
void set_first_use_plan(gemvInternalData* plan, const sub_group_offer& offer) {
  apply_preset(plan, first_use_preset<T>(plan->device_data->architecture, offer));
}

// The kind the plan runs as for value type T, written back so that it happens once. Real values
// run every kind as planned. No sycl::vec or explicit-SIMD kernels exist for complex values: a
// sycl::vec plan becomes the marray plan of half the length, and any kind but marray, sub-group
// and merge becomes the default kernel where the first use plans it (codes 1 and 5), else the
// sub-group plan of codes 3 and 4, or the default kernel where the device lacks its size.
template <typename T>
gemv_kind settle_kind(gemvInternalData* plan, const sub_group_offer& offer) {
  if constexpr (is_complex_v<T>) {
    switch (plan->kernel_kind) {
      case gemv_kind::syclvec:
        plan->vector_param /= 2;
        plan->kernel_kind = gemv_kind::marray;
        break;
      case gemv_kind::marray:
      case gemv_kind::subgroup:
      case gemv_kind::merge:
        break;
      default:
        if (first_use_gemv_is_default(architecture_from_code(plan->device_data->architecture)) ||
            !offer.has(preset_codes_3_4.vector_param))
          plan->kernel_kind = gemv_kind::default_kernel;
        else
          apply_preset(plan, preset_codes_3_4);
        break;
    }
  }
  return plan->kernel_kind;
}

// Sub-groups per work-group of the single-row kernel.
inline constexpr std::int32_t single_row_groups_small = 4;
inline constexpr std::int32_t single_row_groups_large = 8;
// The work-group sizes (in sub-groups) the bundle kernel accepts after halving.
inline constexpr std::int32_t max_bundle_groups = 8;

// How the sub-group family launches: one sub-group per row while the device has a hardware
// thread for each, else one per bundle of rows in work-groups shrunk to divide the bundles.
struct sub_group_launch_shape {
  bool bundles;         // a sub-group per bundle of sub-group-size rows, else one per row
  std::size_t items;    // sub-groups in the launch
  std::int32_t groups;  // sub-groups per work-group
};

// The shape for nrows rows on a device of hw_threads hardware threads, sub-groups of sg lanes
// and the plan's group count; computation_error for a group count the kernels do not take.
inline sub_group_launch_shape sub_group_launch(std::int64_t nrows, std::int64_t hw_threads,
                                               std::int64_t sg, std::int32_t group) {
  if (nrows > (hw_threads - 1) * sg) {
    const auto bundles = static_cast<std::size_t>((nrows + sg - 1) / sg);
    // Work-groups must divide the bundles; the shrunk size is this launch's alone.
    std::int32_t g = group;
    while (g > 0 && bundles % static_cast<std::size_t>(g) != 0) g >>= 1;
    if (g < 1 || g > max_bundle_groups || (g & (g - 1)) != 0) internal_error(mv_words::gemv_csr);
    return {true, bundles, g};
  }
  if (group != single_row_groups_small && group != single_row_groups_large)
    internal_error(mv_words::gemv_csr);
  const auto rows = static_cast<std::size_t>(nrows);
  const auto g = static_cast<std::size_t>(group);
  return {false, (rows + g - 1) / g * g, group};
}

}  // namespace orvane::vrt::sparse::gpu::csr
