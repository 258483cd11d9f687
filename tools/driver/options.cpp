// Parsing and checking the command line.
#include "options.hpp"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <map>
#include <stdexcept>

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
  --index 32|64        index width (default 32)
  --base 0|1           index base of the bound arrays (default 0)
  --memory usm|buffer  memory model (default usm)
  --format csr|coo     storage format of A and B (default csr)
  --op n|t|c           op(A): nontrans, trans, conjtrans (default n)
  --op-b n|t|c         op(B) of matmat (default n)
  --matrix-b FILE      B of matmat (default: the handle of A)
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
  --output FILE        result file (default: standard output)
  --help               this text

Inputs are deterministic (imaginary parts for complex values only):
  x[j]            = 1 + (j mod 7) / 4 + i (j mod 3) / 2
  y[r]            = 1/2 - (r mod 5) / 8 + i (r mod 4) / 4
  X or B (r, c)   = 1 + ((r + 2c) mod 7) / 4 + i ((r + c) mod 3) / 2
  Y or C (r, c)   = 1/2 - ((r + 3c) mod 5) / 8 + i ((r + c) mod 4) / 4
so that column 0 of the dense operands is x and y and a reference can recompute them. y, Y and
C hold these values before the routine (trsv and trsm overwrite them).

Exit status 0 on success, 1 on a library exception (its text on standard error, for example
unimplemented for a routine the device does not run yet), 2 on a usage or file error.
)";

namespace {

std::complex<double> parse_scalar(const std::string& text) {
  const auto comma = text.find(',');
  const double re = std::stod(text.substr(0, comma));
  const double im = comma == std::string::npos ? 0.0 : std::stod(text.substr(comma + 1));
  return {re, im};
}

template <std::size_t N>
bool one_of(const std::string& value, const std::array<const char*, N>& allowed) {
  return std::any_of(allowed.begin(), allowed.end(), [&](const char* a) { return value == a; });
}

bool valid(const options& o) {
  static constexpr std::array<const char*, 10> routines = {
      "gemv", "gemvdot", "symv",   "trmv",        "trsv",
      "trsm", "gemm",    "matmat", "sort_matrix", "omatcopy"};
  static constexpr std::array<const char*, 3> ops = {"n", "t", "c"};
  return !o.matrix.empty() && one_of(o.routine, routines) && o.value.size() == 1 &&
         std::string("sdcz").find(o.value) != std::string::npos &&
         (o.index == 32 || o.index == 64) && (o.base == 0 || o.base == 1) &&
         (o.memory == "usm" || o.memory == "buffer") && (o.format == "csr" || o.format == "coo") &&
         one_of(o.op, ops) && one_of(o.op_b, ops) && (o.uplo == "lower" || o.uplo == "upper") &&
         (o.diag == "nonunit" || o.diag == "unit") && (o.layout == "row" || o.layout == "col") &&
         o.columns >= 1 && o.ld_pad >= 0 && (!o.optimize || has_optimize(o.routine)) &&
         (o.matrix_b.empty() || o.routine == "matmat");
}

}  // namespace

bool has_optimize(const std::string& routine) {
  return routine == "gemv" || routine == "gemvdot" || routine == "trmv" || routine == "trsv" ||
         routine == "trsm";
}

std::optional<options> parse(int argc, char** argv) {
  options o;
  using setter = std::function<void(const std::string&)>;
  auto text = [](std::string& field) {
    return setter([&field](const std::string& v) { field = v; });
  };
  const std::map<std::string, setter> valued = {
      {"--matrix", text(o.matrix)},
      {"--matrix-b", text(o.matrix_b)},
      {"--routine", text(o.routine)},
      {"--device", text(o.device)},
      {"--value", text(o.value)},
      {"--index", [&](const std::string& v) { o.index = std::stoi(v); }},
      {"--base", [&](const std::string& v) { o.base = std::stoi(v); }},
      {"--memory", text(o.memory)},
      {"--format", text(o.format)},
      {"--op", text(o.op)},
      {"--op-b", text(o.op_b)},
      {"--uplo", text(o.uplo)},
      {"--diag", text(o.diag)},
      {"--layout", text(o.layout)},
      {"--columns", [&](const std::string& v) { o.columns = std::stoll(v); }},
      {"--ld-pad", [&](const std::string& v) { o.ld_pad = std::stoll(v); }},
      {"--alpha",
       [&](const std::string& v) {
         o.alpha = parse_scalar(v);
         o.alpha_given = true;
       }},
      {"--beta", [&](const std::string& v) { o.beta = parse_scalar(v); }},
      {"--output", text(o.output)},
  };
  try {
    for (int i = 1; i < argc; ++i) {
      const std::string key = argv[i];
      if (key == "--help") {
        std::cout << usage;
        std::exit(0);
      }
      if (key == "--optimize" || key == "--dominant") {
        (key == "--optimize" ? o.optimize : o.dominant) = true;
        continue;
      }
      const auto set = valued.find(key);
      if (set == valued.end() || i + 1 >= argc) return std::nullopt;
      set->second(argv[++i]);
    }
  } catch (const std::logic_error&) {
    return std::nullopt;  // a number that does not parse
  }
  if (!valid(o)) return std::nullopt;
  return o;
}

}  // namespace vrt_driver
