// What every public routine does before it dispatches: argument tests and the context cache.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <orvane/vrt/sparse.hpp>
#include <string>
#include <sycl/sycl.hpp>
#include <utility>
#include <vector>

#include "containers/views.hpp"
#include "handle/handle.hpp"

namespace orvane::vrt::sparse {

using event_list = std::vector<sycl::event>;

// Whether an argument was given: containers by present() of the adaptor (containers/views.hpp),
// a handle when it is not null.
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
inline void wait_for_buffer_handle_deps(sycl::queue& queue, const matrix_handle* handle,
                                        const event_list& deps) {
  wait_for_deps_of_buffers(queue, handle->container, deps);
}

}  // namespace orvane::vrt::sparse
