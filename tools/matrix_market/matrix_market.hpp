// Reading and writing Matrix Market files: coordinate matrices of every field and symmetry, and
// dense results in array format.
#pragma once

#include <complex>
#include <cstdint>
#include <iosfwd>
#include <stdexcept>
#include <string>
#include <vector>

namespace orvane::vrt::matrix_market {

enum class field { real, integer, complex, pattern };
enum class symmetry { general, symmetric, skew_symmetric, hermitian };

// A sparse matrix as the file stores it (zero-based indices, one triangle for the symmetric
// kinds). Values of real, integer and pattern files have a zero imaginary part; pattern entries
// are 1.
struct coordinate_matrix {
  std::int64_t rows = 0;
  std::int64_t cols = 0;
  field value_field = field::real;
  symmetry kind = symmetry::general;
  std::vector<std::int64_t> row;
  std::vector<std::int64_t> col;
  std::vector<std::complex<double>> value;
  // The line of the size line in the file, for refusals of the sizes after reading; 0 if unknown.
  std::int64_t size_line = 0;
};

// A malformed file: the message is "NAME:LINE: reason".
class format_error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Reads exactly the format: whole tokens, numbers read in full, as many entries as the size line
// declares, indices within the sizes. name stands for the input in messages. Throws
// format_error.
coordinate_matrix read(std::istream& in, const std::string& name);
// Also refuses, with std::runtime_error naming the path, what cannot be opened or is not a
// regular file (a folder, a device, a fifo).
coordinate_matrix read_file(const std::string& path);

// The full matrix: entries off the diagonal of a symmetric, skew-symmetric or Hermitian file
// gain their mirror (negated, or conjugated). The result is general.
coordinate_matrix expand_symmetry(const coordinate_matrix& stored);

// A dense matrix in array format, column by column, real or complex.
void write_array(std::ostream& out, std::int64_t rows, std::int64_t cols,
                 const std::vector<std::complex<double>>& column_major, bool complex_values);
// A general coordinate matrix.
void write_coordinate(std::ostream& out, const coordinate_matrix& matrix, bool complex_values);

}  // namespace orvane::vrt::matrix_market
