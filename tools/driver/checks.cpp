// Index width and memory checks before allocation.
#include "checks.hpp"

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <limits>

namespace vrt_driver {

namespace {

// Sizes in 64 bits whose overflow is refused with the caller's message.
struct sizes {
  std::string overflow;
  std::uint64_t add(std::uint64_t a, std::uint64_t b) const {
    std::uint64_t r = 0;
    if (__builtin_add_overflow(a, b, &r)) throw input_error(overflow);
    return r;
  }
  std::uint64_t mul(std::uint64_t a, std::uint64_t b) const {
    std::uint64_t r = 0;
    if (__builtin_mul_overflow(a, b, &r)) throw input_error(overflow);
    return r;
  }
};

// Host arrays, their device copies and the copies read back.
constexpr std::uint64_t copies = 3;

std::uint64_t value_bytes(const options& o) {
  return o.value == "s" ? 4 : (o.value == "z" ? 16 : 8);
}

bool dense_routine(const options& o) { return o.routine == "trsm" || o.routine == "gemm"; }
bool vector_routine(const options& o) {
  return o.routine == "gemv" || o.routine == "gemvdot" || o.routine == "symv" ||
         o.routine == "trmv" || o.routine == "trsv";
}

std::string dense_options(const options& o) {
  return "--columns " + std::to_string(o.columns) + " with --ld-pad " + std::to_string(o.ld_pad);
}

std::uint64_t matrix_bytes(const options& o, const std::string& file,
                           const mm::coordinate_matrix& m, bool dominant) {
  const sizes s{file + ": the matrix's arrays overflow 64 bits"};
  const auto rows = static_cast<std::uint64_t>(m.rows), cols = static_cast<std::uint64_t>(m.cols);
  // --dominant may add the whole diagonal.
  const std::uint64_t nnz = s.add(m.row.size(), dominant ? std::min(rows, cols) : 0);
  const std::uint64_t pointers = o.format == "csr" ? s.add(rows, 1) : nnz;
  const std::uint64_t index = static_cast<std::uint64_t>(o.index) / 8;
  const std::uint64_t arrays =
      s.add(s.mul(s.add(pointers, nnz), index), s.mul(nnz, value_bytes(o)));
  std::uint64_t bytes = s.add(s.mul(arrays, copies), s.mul(nnz, sizeof(std::size_t)));
  // --dominant's per-row largest magnitude, count and flag.
  if (dominant) bytes = s.add(bytes, s.mul(rows, 2 * sizeof(double) + 1));
  return bytes;
}

// A dense operand of rows x n with its leading dimension (n or rows, plus the padding), in
// elements; the leading dimension is the library's std::int64_t.
std::uint64_t dense_elements(const options& o, const sizes& s, std::uint64_t rows) {
  const auto n = static_cast<std::uint64_t>(o.columns);
  const bool row_major = o.layout == "row";
  const std::uint64_t ld = s.add(row_major ? n : rows, static_cast<std::uint64_t>(o.ld_pad));
  if (ld > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))
    throw input_error(s.overflow);
  return s.mul(row_major ? rows : n, ld);
}

// The vectors, or the dense operands, and the result as written (complex<double> each).
std::uint64_t dense_bytes(const options& o, const mm::coordinate_matrix& a) {
  const auto rows = static_cast<std::uint64_t>(a.rows), cols = static_cast<std::uint64_t>(a.cols);
  if (vector_routine(o)) {
    const sizes s{o.matrix + ": the vectors' sizes overflow 64 bits"};
    return s.add(s.mul(s.mul(s.add(rows, cols), value_bytes(o)), copies),
                 s.mul(std::max(rows, cols), sizeof(std::complex<double>)));
  }
  if (!dense_routine(o)) return 0;
  const sizes s{dense_options(o) + ": the dense operands' sizes overflow 64 bits"};
  const bool transposed = o.op != "n";
  const std::uint64_t m = transposed ? cols : rows, k = transposed ? rows : cols;
  const std::uint64_t elements = s.add(dense_elements(o, s, k), dense_elements(o, s, m));
  return s.add(
      s.mul(s.mul(elements, value_bytes(o)), copies),
      s.mul(s.mul(m, static_cast<std::uint64_t>(o.columns)), sizeof(std::complex<double>)));
}

std::uint64_t physical_memory() {
  const long pages = sysconf(_SC_PHYS_PAGES), page = sysconf(_SC_PAGESIZE);
  if (pages <= 0 || page <= 0) return std::numeric_limits<std::uint64_t>::max();
  return static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(page);
}

}  // namespace

void check_index_width(const options& o, const std::string& file, const mm::coordinate_matrix& m) {
  if (o.index == 64) return;  // the reader holds sizes and indices in 64 bits already
  constexpr std::int64_t most = std::numeric_limits<std::int32_t>::max();
  const std::string fix =
      " do not fit --index 32 (at most " + std::to_string(most) + "); use --index 64";
  // Sizes, and the count of the entries, stand on the size line.
  const std::string where =
      file + (m.size_line > 0 ? ":" + std::to_string(m.size_line) : std::string()) + ": ";
  if (m.rows > most) throw input_error(where + std::to_string(m.rows) + " rows" + fix);
  if (m.cols > most) throw input_error(where + std::to_string(m.cols) + " columns" + fix);
  const auto nnz = static_cast<std::int64_t>(m.row.size());
  if (nnz + o.base > most)
    throw input_error(where + std::to_string(nnz) + " entries" +
                      (o.base == 1 ? " with --base 1" : "") + fix);
}

void check_memory(const options& o, const mm::coordinate_matrix& a,
                  const mm::coordinate_matrix* b) {
  const std::uint64_t matrices = matrix_bytes(o, o.matrix, a, o.dominant);
  const std::uint64_t second = b != nullptr ? matrix_bytes(o, o.matrix_b, *b, false) : 0;
  const std::uint64_t dense = dense_bytes(o, a);
  const sizes s{o.matrix + ": the arrays' sizes overflow 64 bits"};
  const std::uint64_t total = s.add(s.add(matrices, second), dense);
  const std::uint64_t memory = physical_memory();
  if (total <= memory) return;
  const std::string what = dense_routine(o) && dense > matrices ? dense_options(o) : o.matrix;
  throw input_error(what + ": needs " + std::to_string(total) + " bytes, more than the " +
                    std::to_string(memory) + " bytes of this machine's memory");
}

}  // namespace vrt_driver
