// Symmetry expansion and the Matrix Market writers.
#include "matrix_market.hpp"

#include <iomanip>
#include <limits>
#include <ostream>

namespace orvane::vrt::matrix_market {

coordinate_matrix expand_symmetry(const coordinate_matrix& stored) {
  coordinate_matrix full = stored;
  full.kind = symmetry::general;
  if (stored.kind == symmetry::general) return full;
  for (std::size_t k = 0; k < stored.row.size(); ++k) {
    if (stored.row[k] == stored.col[k]) continue;
    std::complex<double> mirror = stored.value[k];
    if (stored.kind == symmetry::skew_symmetric) mirror = -mirror;
    if (stored.kind == symmetry::hermitian) mirror = std::conj(mirror);
    full.row.push_back(stored.col[k]);
    full.col.push_back(stored.row[k]);
    full.value.push_back(mirror);
  }
  return full;
}

namespace {
void write_value(std::ostream& out, std::complex<double> v, bool complex_values) {
  out << v.real();
  if (complex_values) out << ' ' << v.imag();
  out << '\n';
}
}  // namespace

void write_array(std::ostream& out, std::int64_t rows, std::int64_t cols,
                 const std::vector<std::complex<double>>& column_major, bool complex_values) {
  out << "%%MatrixMarket matrix array " << (complex_values ? "complex" : "real") << " general\n"
      << rows << ' ' << cols << '\n'
      << std::setprecision(std::numeric_limits<double>::max_digits10);
  for (const auto& v : column_major) write_value(out, v, complex_values);
}

void write_coordinate(std::ostream& out, const coordinate_matrix& m, bool complex_values) {
  out << "%%MatrixMarket matrix coordinate " << (complex_values ? "complex" : "real")
      << " general\n"
      << m.rows << ' ' << m.cols << ' ' << m.row.size() << '\n'
      << std::setprecision(std::numeric_limits<double>::max_digits10);
  for (std::size_t k = 0; k < m.row.size(); ++k) {
    out << m.row[k] + 1 << ' ' << m.col[k] + 1 << ' ';
    write_value(out, m.value[k], complex_values);
  }
}

}  // namespace orvane::vrt::matrix_market
