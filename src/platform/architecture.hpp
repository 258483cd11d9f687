// The architecture code of a device as one type, and what each code can do. The codes are the
// platform's (gpu::get_architecture); the planning tables of every family are keyed by them, so
// the thresholds below are the only place a family asks "can this device ...".
#pragma once

#include <cstdint>

namespace orvane::vrt::sparse {

// 0 stands for a device that is not a GPU or a GPU the platform cannot identify (the generic rows
// of the tables); 1 to 6 name GPU generations whose names the planning tables do not need.
enum class architecture : std::int32_t {
  generic = 0,
  code1 = 1,
  code2 = 2,
  code3 = 3,
  code4 = 4,
  code5 = 5,
  code6 = 6,
};

constexpr std::int32_t code_of(architecture a) { return static_cast<std::int32_t>(a); }

// A code as the platform reports it, kept as it is. The predicates below compare codes, so a
// code beyond 6 has every capability of code 6; the plans' tables by code take it as generic.
constexpr architecture architecture_from_code(std::int32_t code) {
  return static_cast<architecture>(code);
}

// Explicit-SIMD gemv kernels (rows of one hardware thread with wide vectors) exist.
constexpr bool has_explicit_simd_gemv(architecture a) { return code_of(a) >= 5; }

// Sub-groups of 32 exist, and with them the explicit-SIMD gemm kernels and the merge path.
constexpr bool has_wide_sub_groups(architecture a) { return code_of(a) >= 6; }

// Eight hardware threads per execution unit (seven before).
constexpr bool has_eight_threads_per_eu(architecture a) { return code_of(a) >= 4; }

// Sub-slices come in pairs (every GPU before code 6, an unidentified one included), which the
// gemv records note. Code 0 is also a device that is no GPU: the caller tests that first.
constexpr bool has_paired_sub_slices(architecture a) { return code_of(a) < 6; }

// The middle colors of a real-valued level-set solve synchronise by atomics rather than kernels.
constexpr bool syncs_levels_by_atomics(architecture a) { return a == architecture::code4; }

// The first-use gemv plan runs the default kernel (codes 1 and 5, the test (code | 4) == 5).
constexpr bool first_use_gemv_is_default(architecture a) { return (code_of(a) | 4) == 5; }

}  // namespace orvane::vrt::sparse
