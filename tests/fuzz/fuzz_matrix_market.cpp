// libFuzzer target of the Matrix Market reader: any input is read or refused with format_error,
// an accepted matrix keeps its indices within its sizes, and its expansion written back reads
// back the same.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>

#include "matrix_market.hpp"

namespace mm = orvane::vrt::matrix_market;

namespace {

void check(bool holds) {
  if (!holds) __builtin_trap();
}

// Equal values, a NaN equal to a NaN of the same sign.
bool same(double a, double b) {
  if (std::isnan(a) || std::isnan(b))
    return std::isnan(a) && std::isnan(b) && std::signbit(a) == std::signbit(b);
  return a == b;
}

void check_indices(const mm::coordinate_matrix& m) {
  check(m.rows >= 0 && m.cols >= 0);
  check(m.row.size() == m.col.size() && m.col.size() == m.value.size());
  for (std::size_t k = 0; k < m.row.size(); ++k)
    check(m.row[k] >= 0 && m.row[k] < m.rows && m.col[k] >= 0 && m.col[k] < m.cols);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::istringstream in(std::string(reinterpret_cast<const char*>(data), size));
  mm::coordinate_matrix m;
  try {
    m = mm::read(in, "input");
  } catch (const mm::format_error&) {
    return 0;
  }
  check_indices(m);
  const mm::coordinate_matrix full = mm::expand_symmetry(m);
  check_indices(full);
  const bool complex_values = m.value_field == mm::field::complex;
  std::ostringstream out;
  mm::write_coordinate(out, full, complex_values);
  std::istringstream written(out.str());
  const mm::coordinate_matrix back = mm::read(written, "written");
  check(back.rows == full.rows && back.cols == full.cols);
  check(back.row == full.row && back.col == full.col);
  for (std::size_t k = 0; k < full.value.size(); ++k)
    check(same(back.value[k].real(), full.value[k].real()) &&
          same(back.value[k].imag(), full.value[k].imag()));
  return 0;
}
