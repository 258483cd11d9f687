// Writing a routine's result: dense results in Matrix Market array format (gemvdot's dot result
// in a comment line "% dot RE IM" after the header), sparse ones in coordinate format.
#pragma once

#include <string>

#include "routines.hpp"

namespace vrt_driver {

// To the file, or to standard output for an empty name; throws when the file cannot be written.
void write_result(const std::string& file, const result& r, bool complex_values);

}  // namespace vrt_driver
