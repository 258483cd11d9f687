// Writing results.
#include "output.hpp"

#include <fstream>
#include <iomanip>
#include <iostream>
#include <limits>
#include <sstream>
#include <stdexcept>

namespace vrt_driver {

namespace {

void write_to(std::ostream& out, const result& r, bool complex_values) {
  if (r.sparse) {
    mm::write_coordinate(out, *r.sparse, complex_values);
    return;
  }
  if (!r.dot) {
    mm::write_array(out, r.rows, r.cols, r.dense, complex_values);
    return;
  }
  // Readers skip comment lines, so the dot result travels in the same file as y.
  std::ostringstream text;
  mm::write_array(text, r.rows, r.cols, r.dense, complex_values);
  const std::string body = text.str();
  const auto header_end = body.find('\n') + 1;
  out << body.substr(0, header_end) << std::setprecision(std::numeric_limits<double>::max_digits10)
      << "% dot " << r.dot->real() << ' ' << r.dot->imag() << '\n'
      << body.substr(header_end);
}

}  // namespace

void write_result(const std::string& file, const result& r, bool complex_values) {
  if (file.empty()) {
    write_to(std::cout, r, complex_values);
    return;
  }
  std::ofstream out(file);
  write_to(out, r, complex_values);
  if (!out) throw std::runtime_error("cannot write " + file);
}

}  // namespace vrt_driver
