// Matrix Market reader and writers.
#include "matrix_market.hpp"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <iomanip>
#include <limits>
#include <sstream>

namespace orvane::vrt::matrix_market {

namespace {

std::string lower(std::string s) {
  std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return std::tolower(c); });
  return s;
}

[[noreturn]] void fail(std::int64_t line, const std::string& what) {
  throw format_error("Matrix Market line " + std::to_string(line) + ": " + what);
}

field parse_field(const std::string& word, std::int64_t line) {
  if (word == "real" || word == "double") return field::real;
  if (word == "integer") return field::integer;
  if (word == "complex") return field::complex;
  if (word == "pattern") return field::pattern;
  fail(line, "unknown field '" + word + "'");
}

symmetry parse_symmetry(const std::string& word, std::int64_t line) {
  if (word == "general") return symmetry::general;
  if (word == "symmetric") return symmetry::symmetric;
  if (word == "skew-symmetric") return symmetry::skew_symmetric;
  if (word == "hermitian") return symmetry::hermitian;
  fail(line, "unknown symmetry '" + word + "'");
}

}  // namespace

coordinate_matrix read(std::istream& in) {
  coordinate_matrix m;
  std::string text;
  std::int64_t line = 0;
  if (!std::getline(in, text)) fail(1, "empty input");
  ++line;
  std::istringstream banner(text);
  std::string tag, object, format, value_field, kind;
  banner >> tag >> object >> format >> value_field >> kind;
  if (tag != "%%MatrixMarket") fail(line, "missing %%MatrixMarket banner");
  if (lower(object) != "matrix") fail(line, "only matrices are supported");
  if (lower(format) != "coordinate") fail(line, "only coordinate matrices can be read");
  m.value_field = parse_field(lower(value_field), line);
  m.kind = parse_symmetry(lower(kind), line);
  if (m.kind == symmetry::hermitian && m.value_field != field::complex)
    fail(line, "a Hermitian matrix needs complex values");

  std::int64_t entries = -1;
  while (std::getline(in, text)) {
    ++line;
    if (text.empty() || text[0] == '%') continue;
    std::istringstream size_line(text);
    if (!(size_line >> m.rows >> m.cols >> entries) || m.rows < 0 || m.cols < 0 || entries < 0)
      fail(line, "bad size line");
    break;
  }
  if (entries < 0) fail(line, "missing size line");
  if (m.kind != symmetry::general && m.rows != m.cols)
    fail(line, "a symmetric kind needs a square matrix");
  m.row.reserve(entries);
  m.col.reserve(entries);
  m.value.reserve(entries);

  while (static_cast<std::int64_t>(m.row.size()) < entries && std::getline(in, text)) {
    ++line;
    if (text.empty() || text[0] == '%') continue;
    std::istringstream entry(text);
    std::int64_t i = 0, j = 0;
    double re = 1.0, im = 0.0;
    if (!(entry >> i >> j)) fail(line, "bad entry");
    if (m.value_field == field::complex) {
      if (!(entry >> re >> im)) fail(line, "bad complex value");
    } else if (m.value_field != field::pattern) {
      if (!(entry >> re)) fail(line, "bad value");
    }
    if (i < 1 || i > m.rows || j < 1 || j > m.cols) fail(line, "index out of range");
    if (m.kind != symmetry::general && j > i) fail(line, "entry above the diagonal of a symmetric kind");
    if (m.kind == symmetry::skew_symmetric && i == j) fail(line, "diagonal entry in a skew-symmetric matrix");
    m.row.push_back(i - 1);
    m.col.push_back(j - 1);
    m.value.emplace_back(re, im);
  }
  if (static_cast<std::int64_t>(m.row.size()) != entries)
    fail(line, "file ends after " + std::to_string(m.row.size()) + " of " +
                   std::to_string(entries) + " entries");
  return m;
}

coordinate_matrix read_file(const std::string& path) {
  std::ifstream in(path);
  if (!in) throw std::runtime_error("cannot open '" + path + "'");
  return read(in);
}

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
