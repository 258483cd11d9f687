// What every public routine does before it dispatches: argument tests and the context cache.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <sycl/sycl.hpp>

#include <orvane/vrt/sparse.hpp>

#include "common/variants.hpp"
#include "handle/handle.hpp"

namespace orvane::vrt::sparse {

using event_list = std::vector<sycl::event>;

// A USM pointer is missing when null, a buffer when its byte size is zero.
template <typename T>
bool present(const T* pointer) {
  return pointer != nullptr;
}
template <typename T>
bool present(const sycl::buffer<T, 1>& buffer) {
  return buffer.byte_size() != 0;
}
template <typename T>
bool present(const sycl::buffer<T, 1>* buffer) {
  return buffer->byte_size() != 0;
}
inline bool present(const matrix_handle* handle) { return handle != nullptr; }

// Throws uninitialized with the word of the first argument that is missing, in the given order.
inline void require_present(const char* function,
                            std::initializer_list<std::pair<bool, const char*>> arguments) {
  for (const auto& [is_present, word] : arguments)
    if (!is_present) throw uninitialized("sparse", function, word);
}

void verify_double_support(sycl::queue& queue, const std::string& function);

// The fp64 test that depends on the handle's value type.
inline void verify_double_support_for(sycl::queue& queue, const matrix_handle* handle,
                                      const char* function) {
  if (is_double_precision(handle->fp_type)) verify_double_support(queue, function);
}

// For buffer handles, which have no event chain, deps are honoured by waiting on them here.
void wait_for_buffer_handle_deps(sycl::queue& queue, const matrix_handle* handle,
                                 const event_list& deps);

// Index-width selection of the dispatch functions of one value type: calls
// run.template operator()<I>() for the handle's index type. A value type left out of a developer
// build is refused here.
template <typename T = void, typename Run>
sycl::event visit_int_type(const matrix_handle* handle, const char* function, Run&& run) {
  if constexpr (!std::is_void_v<T> && !value_type_built<T>) {
    throw unimplemented("sparse", function, "value type left out of this build");
  } else {
    switch (handle->int_type) {
    case int_32:
      return run.template operator()<std::int32_t>();
    case int_64:
      return run.template operator()<std::int64_t>();
    case int_unset:
      throw invalid_argument("sparse", function,
                             "integer type is unset in matrix handle, meaning set_xxx_data was "
                             "not called after initialization");
    default:
      throw computation_error("sparse", function, "internal error");
    }
  }
}

}  // namespace orvane::vrt::sparse
