// The one way the library reports a state its own code should never reach: computation_error
// with the designed text "internal error" and the word of the routine that found it. Builds that
// define VRT_INTERNAL_ERROR_PLACES (CMake's Debug configuration) also print the source place to
// stderr, so a report from the field names the line without changing the exception's text.
#pragma once

#include <cstdio>
#include <orvane/vrt/sparse.hpp>
#include <source_location>

namespace orvane::vrt::sparse {

inline constexpr const char* internal_error_text = "internal error";

// Throws computation_error("sparse", function, text).
[[noreturn]] inline void internal_error(
    const char* function, const char* text,
    std::source_location where = std::source_location::current()) {
#if defined(VRT_INTERNAL_ERROR_PLACES)
  std::fprintf(stderr, "vrt_sycl_sparse: %s: %s at %s:%u (%s)\n", function, text, where.file_name(),
               static_cast<unsigned>(where.line()), where.function_name());
#else
  (void)where;
#endif
  throw computation_error("sparse", function, text);
}

// Throws computation_error("sparse", function, "internal error").
[[noreturn]] inline void internal_error(
    const char* function, std::source_location where = std::source_location::current()) {
  internal_error(function, internal_error_text, where);
}

}  // namespace orvane::vrt::sparse
