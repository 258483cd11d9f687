// The one selection of a compile-time variant <T, I, C> from a handle's run-time codes, and the
// one policy for codes the handle does not hold. Every dispatch (the frames, the analysis and
// format routines, matmat, release) goes through visit_variant; the refusal texts live here.
//
// Policy, in the order the codes are read:
//  - value type: a code outside the four known ones is refused as unimplemented
//    (unsupported_value_type_message); an unset one ("structure only") by policy.unset_value:
//    unimplemented with unset_value_message (the default) or invalid_argument with
//    unset_float_type_message; a type left out of this build as unimplemented (not_built_message);
//  - index type: an unset one by policy.unset_index: invalid_argument (the default) or
//    unimplemented, with unset_index_message, under policy.index_function when the routine names
//    itself differently there ("optimized_trsv", "optimized_trsm"); a code outside the enumeration
//    is an internal error;
//  - memory model: a handle that is neither buffer nor USM (never bound) is visited as USM.
// Release visits with release_forms instead: it must free any handle, bound or not, so it refuses
// nothing and compiles every value type. An unset value type or an unbound handle takes the double
// USM form (an unbound handle holds no typed arrays, so any form frees it), an unset index type the
// 32-bit form and any other index code the 64-bit one; only a value code outside the enumeration is
// an internal error.
#pragma once

#include <complex>
#include <cstdint>
#include <orvane/vrt/sparse.hpp>
#include <sycl/sycl.hpp>
#include <type_traits>

#include "common/internal_error.hpp"
#include "common/variants.hpp"
#include "handle/handle.hpp"
#include "handle/value_types.hpp"

namespace orvane::vrt::sparse {

// The refusal texts of the dispatch, written once.
inline constexpr const char* unsupported_value_type_message =
    "currently only supports double, float std::complex<double>, and std::complex<float>";
inline constexpr const char* unset_value_message =
    "structure only is not supported, please call set_xxx_data";
inline constexpr const char* unset_float_type_message =
    "float type is unset in matrix handle, meaning set_xxx_data was not called after "
    "initialization";
inline constexpr const char* unset_index_message =
    "integer type is unset in matrix handle, meaning set_xxx_data was not called after "
    "initialization";
inline constexpr const char* not_built_message = "value type left out of this build";

// Which exception refuses an unset code.
enum class on_unset { invalid_argument, unimplemented };

struct visit_policy {
  const char* function;  // the word of every refusal
  on_unset unset_value = on_unset::unimplemented;
  on_unset unset_index = on_unset::invalid_argument;
  const char* index_function = nullptr;  // the unset index refusal's word, when it differs
};

// First template argument of visit_variant: where the value type comes from.
struct values_from_handle {};  // the handle's code; types left out of the build are refused
struct release_forms {};       // the handle's code, every type, nothing refused (release)
// Second template argument: the memory model comes from the handle.
inline constexpr auto model_from_handle = static_cast<containerType>(-1);

// Calls f.template operator()<T>() for the value type T whose run-time code is type; any other
// code (unset included) goes to otherwise(), which returns what f returns or throws.
template <typename F, typename Otherwise>
decltype(auto) visit_value_type(fpType type, F&& f, Otherwise&& otherwise) {
  switch (type) {
    case fp_double:
      return f.template operator()<double>();
    case fp_float:
      return f.template operator()<float>();
    case fp_complex_double:
      return f.template operator()<std::complex<double>>();
    case fp_complex_float:
      return f.template operator()<std::complex<float>>();
    default:
      return otherwise();
  }
}

namespace visit_detail {

[[noreturn]] inline void refuse(on_unset how, const char* function, const char* text) {
  if (how == on_unset::unimplemented) throw unimplemented("sparse", function, text);
  throw invalid_argument("sparse", function, text);
}

// The handle's value code once it is one of the four; the refusals of the others.
inline fpType checked_value_code(const matrix_handle* handle, const visit_policy& policy) {
  const fpType code = handle->fp_type;
  if (code == fp_unset)
    refuse(policy.unset_value, policy.function,
           policy.unset_value == on_unset::unimplemented ? unset_value_message
                                                         : unset_float_type_message);
  if (code < fp_double || code > fp_complex_float)
    throw unimplemented("sparse", policy.function, unsupported_value_type_message);
  return code;
}

template <typename T, containerType C, bool Release, typename Run>
sycl::event with_index(const matrix_handle* handle, const visit_policy& policy, Run& run) {
  switch (handle->int_type) {
    case int_32:
      return run.template operator()<T, std::int32_t, C>();
    case int_64:
      return run.template operator()<T, std::int64_t, C>();
    case int_unset:
      if constexpr (Release) return run.template operator()<T, std::int32_t, C>();
      refuse(policy.unset_index,
             policy.index_function != nullptr ? policy.index_function : policy.function,
             unset_index_message);
    default:
      if constexpr (Release) return run.template operator()<T, std::int64_t, C>();
      internal_error(policy.function);
  }
}

template <typename T, containerType FixedC, bool Release, typename Run>
sycl::event with_model(const matrix_handle* handle, const visit_policy& policy, Run& run) {
  if constexpr (FixedC != model_from_handle) {
    return with_index<T, FixedC, Release>(handle, policy, run);
  } else {
    if (handle->container == container_buffer)
      return with_index<T, container_buffer, Release>(handle, policy, run);
    if constexpr (Release) {
      if (handle->container != container_usm)
        return with_index<double, container_usm, Release>(handle, policy, run);
    }
    return with_index<T, container_usm, Release>(handle, policy, run);
  }
}

}  // namespace visit_detail

// Calls run.template operator()<T, I, C>() for the handle's variant under policy (above) and
// returns its event. FixedT says where T comes from: values_from_handle, release_forms, or a type
// the routine's overload fixes (the handle's code is then not read, the frame compares it; only
// whether T is built is), or void for a routine that does not depend on the value type (the code
// is checked but not visited; run receives void). FixedC fixes the memory model the same way.
template <typename FixedT = values_from_handle, containerType FixedC = model_from_handle,
          typename Run>
sycl::event visit_variant(const matrix_handle* handle, const visit_policy& policy, Run&& run) {
  using namespace visit_detail;
  if constexpr (std::is_same_v<FixedT, release_forms>) {
    const fpType code = handle->fp_type == fp_unset ? fp_double : handle->fp_type;
    return visit_value_type(
        code, [&]<typename T>() { return with_model<T, FixedC, true>(handle, policy, run); },
        [&]() -> sycl::event { internal_error(policy.function); });
  } else if constexpr (std::is_same_v<FixedT, values_from_handle>) {
    return visit_value_type(
        checked_value_code(handle, policy),
        [&]<typename T>() -> sycl::event {
          if constexpr (!value_type_built<T>)
            throw unimplemented("sparse", policy.function, not_built_message);
          else
            return with_model<T, FixedC, false>(handle, policy, run);
        },
        [&]() -> sycl::event { internal_error(policy.function); });
  } else if constexpr (std::is_void_v<FixedT>) {
    checked_value_code(handle, policy);
    return with_model<void, FixedC, false>(handle, policy, run);
  } else if constexpr (!value_type_built<FixedT>) {
    throw unimplemented("sparse", policy.function, not_built_message);
  } else {
    return with_model<FixedT, FixedC, false>(handle, policy, run);
  }
}

}  // namespace orvane::vrt::sparse
