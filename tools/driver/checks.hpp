// Checks of the input matrices against the options before the driver allocates for them: the
// index width must hold every size and row pointer, and the arrays must fit 64-bit sizes and the
// machine's memory.
#pragma once

#include <stdexcept>
#include <string>

#include "inputs.hpp"
#include "options.hpp"

namespace vrt_driver {

// An input the driver cannot run with as asked; the message names the file or the options.
class input_error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// --index 32: rows, columns, and the entries plus the base (the last row pointer, COO's count)
// must fit 32 bits. m is the matrix as it will be bound: expanded, made dominant.
void check_index_width(const options& o, const std::string& file, const mm::coordinate_matrix& m);

// The bytes of the arrays the driver allocates for A (and B, when given) and the dense operands
// of the routine: refused when a size overflows 64 bits or the sum exceeds physical memory.
void check_memory(const options& o, const mm::coordinate_matrix& a, const mm::coordinate_matrix* b);

}  // namespace vrt_driver
