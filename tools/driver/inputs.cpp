// The diagonally dominant variant of the input matrix.
#include "inputs.hpp"

#include <cmath>

namespace vrt_driver {

void make_dominant(mm::coordinate_matrix& m) {
  const auto rows = static_cast<std::size_t>(m.rows);
  std::vector<double> largest(rows, 0.0);
  std::vector<std::int64_t> count(rows, 0);
  for (std::size_t k = 0; k < m.value.size(); ++k) {
    const auto r = static_cast<std::size_t>(m.row[k]);
    const double a = std::max(std::abs(m.value[k].real()), std::abs(m.value[k].imag()));
    largest[r] = std::max(largest[r], a);
    if (a != 0.0) ++count[r];
  }
  // A row's entries add up to at most sqrt(2) n m, so after the scaling the entries off the
  // diagonal add up to less than 0.36 and the diagonal plus 1 dominates.
  std::vector<double> scale(rows, 1.0);
  for (std::size_t r = 0; r < rows; ++r) {
    if (largest[r] == 0.0) continue;
    int exponent = 0;
    std::frexp(4.0 * static_cast<double>(count[r]) * largest[r], &exponent);
    scale[r] = std::ldexp(1.0, exponent);
  }
  const std::int64_t diagonal = std::min(m.rows, m.cols);
  std::vector<bool> raised(static_cast<std::size_t>(diagonal), false);
  for (std::size_t k = 0; k < m.value.size(); ++k) {
    const auto r = static_cast<std::size_t>(m.row[k]);
    m.value[k] /= scale[r];
    if (m.row[k] == m.col[k] && !raised[r]) {
      m.value[k] += 1.0;
      raised[r] = true;
    }
  }
  for (std::int64_t r = 0; r < diagonal; ++r)
    if (!raised[static_cast<std::size_t>(r)]) {
      m.row.push_back(r);
      m.col.push_back(r);
      m.value.emplace_back(1.0, 0.0);
    }
}

}  // namespace vrt_driver
