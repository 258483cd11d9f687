// Writing a routine's result: dense results in Matrix Market array format (gemvdot's dot result
// in a comment line "% dot RE IM" after the header), sparse ones in coordinate format. A write
// that fails (a full disk, a closed standard output) throws std::runtime_error naming the output.
#pragma once

#include <string>

#include "routines.hpp"

namespace vrt_driver {

// To the file, or to standard output for an empty name.
void write_result(const std::string& file, const result& r, bool complex_values);

// Text to standard output (the usage).
void write_text(const std::string& text);

// Before any work when the result goes to standard output: a closed descriptor 1 is refused,
// since a file opened later would take its number and receive the result.
void check_standard_output();

}  // namespace vrt_driver
