// Run-time selection of a variant from a handle's value type, index type and memory model, for
// the routines that exist once for all variants.
#pragma once

#include <complex>
#include <cstdint>
#include <vector>

#include <orvane/vrt/sparse.hpp>

#include "common/variants.hpp"
#include "handle/handle.hpp"
#include "handle/value_types.hpp"

namespace orvane::vrt::sparse {

inline constexpr const char* unset_index_message =
    "integer type is unset in matrix handle, meaning set_xxx_data was not called after "
    "initialization";

// How a dispatch refuses a handle whose index type is unset: most as an invalid argument, the
// triangular analysis as unimplemented.
enum class unset_index_refusal { invalid_argument, unimplemented };

// Calls run.template operator()<I, C>() for the handle's index type and memory model.
template <typename Run>
decltype(auto) visit_index_and_container(
    const matrix_handle* handle, const char* function, Run&& run,
    unset_index_refusal refusal = unset_index_refusal::invalid_argument) {
  if (handle->int_type == int_unset) {
    if (refusal == unset_index_refusal::unimplemented)
      throw unimplemented("sparse", function, unset_index_message);
    throw invalid_argument("sparse", function, unset_index_message);
  }
  const bool usm = handle->container != container_buffer;
  if (handle->int_type == int_32) {
    if (usm) return run.template operator()<std::int32_t, container_usm>();
    return run.template operator()<std::int32_t, container_buffer>();
  }
  if (usm) return run.template operator()<std::int64_t, container_usm>();
  return run.template operator()<std::int64_t, container_buffer>();
}

// Calls run.template operator()<T, I, C>() for the handle's three types. Some routines name
// themselves differently in the index-type message (index_function): "optimized_trsv" and
// "optimized_trsm" are the words users know from those messages, so keep them as spelled.
template <typename Run>
decltype(auto) visit_variant(const matrix_handle* handle, const char* function, Run&& run,
                             const char* index_function = nullptr,
                             unset_index_refusal refusal = unset_index_refusal::invalid_argument) {
  auto with_value = [&]<typename T>() -> sycl::event {
    if constexpr (!value_type_built<T>) {
      throw unimplemented("sparse", function, "value type left out of this build");
    } else {
      return visit_index_and_container(
          handle, index_function != nullptr ? index_function : function,
          [&]<typename I, containerType C>() { return run.template operator()<T, I, C>(); },
          refusal);
    }
  };
  return visit_value_type(handle->fp_type, with_value, [&]() -> sycl::event {
    if (handle->fp_type == fp_unset)
      throw unimplemented("sparse", function,
                          "structure only is not supported, please call set_xxx_data");
    throw unimplemented("sparse", function, unsupported_value_type_message);
  });
}

// After a rebinding, runs again on queue the optimize_* calls the handle has seen (after deps)
// and waits for them, so the operation that follows finds its analysis made from the new arrays.
void replay_analyses(sycl::queue& queue, matrix_handle* A, const std::vector<sycl::event>& deps);

// The symmetric expansion of one triangle of src into dst (src == dst: into src's expansion
// slot), on the device only.
sycl::event dispatch_make_symmetric(sycl::queue& queue, uplo triangle, matrix_handle* src,
                                    matrix_handle* dst, const std::vector<sycl::event>& deps);

}  // namespace orvane::vrt::sparse
