// Run-time selection of a variant from a handle's value type, index type and memory model, for
// the routines that exist once for all variants.
#pragma once

#include <complex>
#include <cstdint>

#include <orvane/vrt/sparse.hpp>

#include "common/variants.hpp"
#include "handle/handle.hpp"

namespace orvane::vrt::sparse {

// Calls run.template operator()<I, C>() for the handle's index type and memory model.
template <typename Run>
decltype(auto) visit_index_and_container(const matrix_handle* handle, const char* function,
                                         Run&& run) {
  if (handle->int_type == int_unset)
    throw invalid_argument("sparse", function,
                           "integer type is unset in matrix handle, meaning set_xxx_data was not "
                           "called after initialization");
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
                             const char* index_function = nullptr) {
  auto with_value = [&]<typename T>() -> sycl::event {
    if constexpr (!value_type_built<T>) {
      throw unimplemented("sparse", function, "value type left out of this build");
    } else {
      return visit_index_and_container(
          handle, index_function != nullptr ? index_function : function,
          [&]<typename I, containerType C>() { return run.template operator()<T, I, C>(); });
    }
  };
  switch (handle->fp_type + 1) {
    case 0:
      throw unimplemented("sparse", function,
                          "structure only is not supported, please call set_xxx_data");
    case 1:
      return with_value.template operator()<double>();
    case 2:
      return with_value.template operator()<float>();
    case 3:
      return with_value.template operator()<std::complex<double>>();
    case 4:
      return with_value.template operator()<std::complex<float>>();
    default:
      throw unimplemented("sparse", function,
                          "currently only supports double, float std::complex<double>, and "
                          "std::complex<float>");
  }
}

}  // namespace orvane::vrt::sparse
