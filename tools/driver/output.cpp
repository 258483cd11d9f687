// Writing results.
#include "output.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
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
  if (!r.dot && !r.estimate) {
    mm::write_array(out, r.rows, r.cols, r.dense, complex_values);
    return;
  }
  // Readers skip comment lines, so a scalar result travels in the same file as its array.
  std::ostringstream text;
  mm::write_array(text, r.rows, r.cols, r.dense, complex_values);
  const std::string body = text.str();
  const auto header_end = body.find('\n') + 1;
  out << body.substr(0, header_end) << std::setprecision(std::numeric_limits<double>::max_digits10);
  if (r.dot) out << "% dot " << r.dot->real() << ' ' << r.dot->imag() << '\n';
  if (r.estimate) out << "% estimate " << *r.estimate << '\n';
  out << body.substr(header_end);
}

// Streams do not report why a write failed; the system call that failed left errno.
[[noreturn]] void fail(const std::string& what, const std::string& name) {
  const int error = errno;
  throw std::runtime_error(what + " " + name + ": " +
                           (error != 0 ? std::strerror(error) : "write failed"));
}

const std::string standard_output = "standard output";

// Buffered text reaches the system only at the flush: its failure is the write's.
void flush_standard_output() {
  std::cout.flush();
  if (!std::cout) fail("cannot write", standard_output);
}

}  // namespace

void write_result(const std::string& file, const result& r, bool complex_values) {
  errno = 0;
  if (file.empty()) {
    write_to(std::cout, r, complex_values);
    flush_standard_output();
    return;
  }
  std::ofstream out(file);
  if (!out) fail("cannot open", file);
  write_to(out, r, complex_values);
  out.close();
  if (out.fail()) fail("cannot write", file);
}

void write_text(const std::string& text) {
  errno = 0;
  std::cout << text;
  flush_standard_output();
}

void check_standard_output() {
  if (fcntl(STDOUT_FILENO, F_GETFD) == -1) fail("cannot write", standard_output);
}

}  // namespace vrt_driver
