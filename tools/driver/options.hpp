// The driver's command line: its options and the --help text.
#pragma once

#include <complex>
#include <cstdint>
#include <stdexcept>
#include <string>

namespace vrt_driver {

struct options {
  std::string matrix, matrix_b, routine = "gemv", device = "emu-a2", value = "d", memory = "usm";
  std::string format = "csr", op = "n", op_b = "n", uplo = "lower", diag = "nonunit";
  std::string layout = "row", output;
  // USM kind of y for the products and solves with one vector.
  std::string y_memory = "device";
  int index = 32, base = 0;
  std::int64_t columns = 3, ld_pad = 0;
  std::complex<double> alpha = 1.0, beta = 0.0;
  // trsv takes the overload without alpha unless --alpha is given.
  bool alpha_given = false, optimize = false, dominant = false;
  // --update-diagonal: run once, replace the diagonal of A, and report the second run.
  bool update_diagonal = false;
  // --help: print the usage and nothing else.
  bool help = false;
};

// A bad command line: the message names the option and what it takes.
class usage_error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

extern const char* const usage;

// Every option checked; throws usage_error for the first bad one.
options parse(int argc, char** argv);

}  // namespace vrt_driver
