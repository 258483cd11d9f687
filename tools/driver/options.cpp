// Parsing and checking the command line.
#include "options.hpp"

#include <algorithm>
#include <functional>
#include <limits>
#include <map>
#include <string_view>
#include <vector>

#include "numbers.hpp"

namespace vrt_driver {

const char* const usage = R"(usage: vrt_sparse_driver --matrix FILE [options]

Binds a Matrix Market matrix A (coordinate; real, integer, complex or pattern; general,
symmetric, skew-symmetric or Hermitian, expanded to the full matrix) to a matrix handle, runs
one routine and writes its result to --output:

  gemv         y = alpha op(A) x + beta y                              writes y
  gemvdot      gemv, and d = sum x[k] y[k] over k < min(rows, cols)    writes y, d in a comment
               (the new y, no conjugation)                             line "% dot RE IM"
  symv         y = alpha S x + beta y, S the --uplo triangle of A       writes y
               mirrored (not conjugated)
  trmv         y = alpha op(T) x + beta y, T the --uplo triangle of A   writes y
               with its diagonal (--diag unit: ones)
  trsv         solves op(T) y = alpha x; without --alpha the overload   writes y
               without alpha runs
  trsm         solves op(T) Y = alpha X for --columns right-hand sides  writes Y
  gemm         C = alpha op(A) B + beta C, B and C with --columns       writes C
  matmat       C = op(A) op(B), B = A or --matrix-b, through every      writes C (coordinate)
               staged request with a matmat descriptor, C bound CSR
               with the --base of A
  matmat_estimate
               the row estimate of C = op(A) op(B): the estimate's     writes the row counts, the
               size request, then the estimate in a workspace of that  total in a comment line
               size; counts read back from inside the workspace        "% estimate TOTAL"
  sort_matrix  A with each row sorted in place, in row order           writes A (coordinate)
  omatcopy     op(A) copied or transposed into a second handle         writes it (coordinate)

Vectors and dense matrices are written in Matrix Market array format, sparse results in
coordinate format. Dense operands are --layout row or col with leading dimensions of the
minimum plus --ld-pad; the padding holds NaN and is not written.

  --matrix FILE        input matrix A (required)
  --routine NAME       one of the routines above (default gemv)
  --device NAME        cpu (the host sparse engine), gpu, or an emulated GPU profile such as
                       emu-a2 (default emu-a2)
  --value s|d|c|z      float, double, complex<float>, complex<double> (default d)
  --index 32|64        index width (default 32); sizes and entries must fit it
  --base 0|1           index base of the bound arrays (default 0)
  --memory usm|buffer  memory model (default usm)
  --y-memory device|shared|host
                       USM kind of y of gemv, gemvdot, symv, trmv and trsv (default device;
                       needs --memory usm)
  --format csr|coo     storage format of A and B (default csr)
  --op n|t|c           op(A): nontrans, trans, conjtrans (default n)
  --op-b n|t|c         op(B) of matmat and matmat_estimate (default n)
  --matrix-b FILE      B of matmat and matmat_estimate (default: the handle of A)
  --uplo lower|upper   triangle of symv, trmv, trsv, trsm (default lower)
  --diag nonunit|unit  diagonal of trmv, trsv, trsm (default nonunit)
  --layout row|col     dense layout of trsm and gemm (default row)
  --columns N          columns of the dense operands of trsm and gemm (default 3)
  --ld-pad N           leading dimensions exceed the minimum by N (default 0)
  --alpha RE[,IM]      scalar alpha (default 1)
  --beta RE[,IM]       scalar beta (default 0)
  --optimize           call the routine's optimize_* first with its arguments (gemv and
                       gemvdot: optimize_gemv; trmv, trsv, trsm: optimize_trmv, optimize_trsv,
                       optimize_trsm); a plan must not change results
  --dominant           before binding, divide each row i of A by s_i, the smallest power of two
                       greater than 4 n_i m_i (n_i: the row's entries with a nonzero value, m_i:
                       their largest real or imaginary magnitude; s_i = 1 for m_i = 0), then add
                       1 to the diagonal of rows i < min(rows, cols), inserting it when missing:
                       every triangle becomes diagonally dominant, so solves are well conditioned
  --update-diagonal    run the routine once, replace the diagonal of A on the device with
                       update_diagonal_values (new entry of row i: 4 + (i mod 5) / 2
                       + i (i mod 2) / 4), then run it again and write that second result: the
                       analyses and plans of the first run must follow the new diagonal (gemv,
                       gemvdot, symv, trmv, trsv, trsm, gemm; A must store every diagonal
                       entry, which --dominant ensures; CPU devices refuse it)
  --output FILE        result file (default: standard output)
  --help               this text

Inputs are deterministic (imaginary parts for complex values only):
  x[j]            = 1 + (j mod 7) / 4 + i (j mod 3) / 2
  y[r]            = 1/2 - (r mod 5) / 8 + i (r mod 4) / 4
  X or B (r, c)   = 1 + ((r + 2c) mod 7) / 4 + i ((r + c) mod 3) / 2
  Y or C (r, c)   = 1/2 - ((r + 3c) mod 5) / 8 + i ((r + c) mod 4) / 4
so that column 0 of the dense operands is x and y and a reference can recompute them. y, Y and
C hold these values before the routine (trsv and trsm overwrite them), except that gemm with a
zero --beta starts from C all NaN: it must not read C.

Exit status 0 on success, 1 on a library exception (its text on standard error, for example
unimplemented for a routine the device does not run yet), 2 on a bad option, an input that is
not exactly the Matrix Market format or does not fit the index width or the machine's memory,
or output that cannot be written. Each error is one line on standard error naming the option,
or the file and its line.
)";

namespace {

namespace mm = orvane::vrt::matrix_market;

const std::vector<std::string> routines = {
    "gemv",   "gemvdot",         "symv",        "trmv",    "trsv", "trsm", "gemm",
    "matmat", "matmat_estimate", "sort_matrix", "omatcopy"};
const std::vector<std::string> optimized = {"gemv", "gemvdot", "trmv", "trsv", "trsm"};
// The routines that run on A with dense operands: they can run again after a diagonal update.
const std::vector<std::string> rerunnable = {"gemv", "gemvdot", "symv", "trmv",
                                             "trsv", "trsm",    "gemm"};

std::string quoted(const std::string& s) { return "'" + s + "'"; }

// "a, b or c"
std::string alternatives(const std::vector<std::string>& words) {
  std::string out;
  for (std::size_t k = 0; k < words.size(); ++k)
    out += (k == 0 ? "" : (k + 1 == words.size() ? " or " : ", ")) + words[k];
  return out;
}

bool contains(const std::vector<std::string>& words, const std::string& w) {
  return std::find(words.begin(), words.end(), w) != words.end();
}

[[noreturn]] void refuse(const std::string& option, const std::string& value,
                         const std::string& expected) {
  throw usage_error(option + " " + quoted(value) + ": expected " + expected);
}

// Each valued option's check and store; option is its name, for messages.
using setter = std::function<void(const std::string& option, const std::string& value)>;

setter choice(std::string& field, std::vector<std::string> allowed) {
  return [&field, allowed](const std::string& option, const std::string& value) {
    if (!contains(allowed, value)) refuse(option, value, alternatives(allowed));
    field = value;
  };
}

// 32|64 and 0|1: numbers that are choices, so "32abc" or "032" are refused like any other word.
setter numeric_choice(int& field, std::vector<std::string> allowed) {
  return [&field, allowed](const std::string& option, const std::string& value) {
    if (!contains(allowed, value)) refuse(option, value, alternatives(allowed));
    field = std::stoi(value);
  };
}

setter whole_number(std::int64_t& field, std::int64_t least) {
  return [&field, least](const std::string& option, const std::string& value) {
    std::int64_t n = 0;
    const auto status = mm::parse_integer(value, n);
    if (status != mm::number_status::ok || n < least)
      refuse(option, value,
             "a whole number from " + std::to_string(least) + " to " +
                 std::to_string(std::numeric_limits<std::int64_t>::max()));
    field = n;
  };
}

// RE or RE,IM, each a real number as a Matrix Market file may write it.
setter scalar(std::complex<double>& field, std::string& text) {
  return [&field, &text](const std::string& option, const std::string& value) {
    const auto comma = value.find(',');
    double re = 0, im = 0;
    if (!mm::parse_real(std::string_view(value).substr(0, comma), re) ||
        (comma != std::string::npos && !mm::parse_real(value.substr(comma + 1), im)))
      refuse(option, value, "RE or RE,IM of real numbers");
    field = {re, im};
    text = value;
  };
}

// Checks between options, once all are read.
void check_together(const options& o, const std::string& alpha_text, const std::string& beta_text) {
  if (o.matrix.empty()) throw usage_error("--matrix FILE is required");
  if (o.optimize && !contains(optimized, o.routine))
    throw usage_error("--optimize: " + o.routine + " has no optimize routine (" +
                      alternatives(optimized) + " have)");
  if (o.update_diagonal && !contains(rerunnable, o.routine))
    throw usage_error("--update-diagonal: " + o.routine + " does not run again on A (" +
                      alternatives(rerunnable) + " do)");
  if (!o.matrix_b.empty() && o.routine != "matmat" && o.routine != "matmat_estimate")
    throw usage_error("--matrix-b: only matmat and matmat_estimate take a second matrix, not " +
                      o.routine);
  if (o.y_memory != "device" && o.memory != "usm")
    throw usage_error("--y-memory " + o.y_memory + ": needs --memory usm");
  const bool real_values = o.value == "s" || o.value == "d";
  if (real_values && o.alpha.imag() != 0)
    throw usage_error("--alpha " + quoted(alpha_text) + ": an imaginary part needs --value c or z");
  if (real_values && o.beta.imag() != 0)
    throw usage_error("--beta " + quoted(beta_text) + ": an imaginary part needs --value c or z");
}

}  // namespace

options parse(int argc, char** argv) {
  options o;
  std::string alpha_text, beta_text;
  auto text = [](std::string& field) {
    return setter([&field](const std::string&, const std::string& v) { field = v; });
  };
  const std::map<std::string, setter> valued = {
      {"--matrix", text(o.matrix)},
      {"--matrix-b", text(o.matrix_b)},
      {"--routine", choice(o.routine, routines)},
      {"--device", text(o.device)},
      {"--value", choice(o.value, {"s", "d", "c", "z"})},
      {"--index", numeric_choice(o.index, {"32", "64"})},
      {"--base", numeric_choice(o.base, {"0", "1"})},
      {"--memory", choice(o.memory, {"usm", "buffer"})},
      {"--y-memory", choice(o.y_memory, {"device", "shared", "host"})},
      {"--format", choice(o.format, {"csr", "coo"})},
      {"--op", choice(o.op, {"n", "t", "c"})},
      {"--op-b", choice(o.op_b, {"n", "t", "c"})},
      {"--uplo", choice(o.uplo, {"lower", "upper"})},
      {"--diag", choice(o.diag, {"nonunit", "unit"})},
      {"--layout", choice(o.layout, {"row", "col"})},
      {"--columns", whole_number(o.columns, 1)},
      {"--ld-pad", whole_number(o.ld_pad, 0)},
      {"--alpha", scalar(o.alpha, alpha_text)},
      {"--beta", scalar(o.beta, beta_text)},
      {"--output", text(o.output)},
  };
  for (int i = 1; i < argc; ++i) {
    const std::string key = argv[i];
    if (key == "--help") {
      o.help = true;
      return o;
    }
    if (key == "--optimize" || key == "--dominant" || key == "--update-diagonal") {
      (key == "--optimize"   ? o.optimize
       : key == "--dominant" ? o.dominant
                             : o.update_diagonal) = true;
      continue;
    }
    const auto set = valued.find(key);
    if (set == valued.end()) throw usage_error("unknown option " + quoted(key));
    if (i + 1 >= argc) throw usage_error(key + " needs a value");
    set->second(key, argv[++i]);
    if (key == "--alpha") o.alpha_given = true;
    if (key == "--device" && o.device.empty()) throw usage_error("--device needs a name");
  }
  check_together(o, alpha_text, beta_text);
  return o;
}

}  // namespace vrt_driver
