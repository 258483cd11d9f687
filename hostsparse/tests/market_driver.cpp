// Runs the engine on one Matrix Market file and writes what SciPy checks: A x, A^T x and, for a
// square matrix, A A. Real files run in double with 32-bit indices, complex files in complex
// double with 64-bit indices.
#include <complex>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "matrix_market.hpp"
#include "vrt/host_sparse.h"

namespace mm = orvane::vrt::matrix_market;

namespace {

using W = std::complex<double>;

// x_i as the SciPy script builds it.
W input(std::int64_t i, bool complex) {
  return W(1.0 + static_cast<double>(i % 7) / 7.0,
           complex ? static_cast<double>(i % 3) / 3.0 : 0.0);
}

struct fail {
  std::string what;
};

void check(sparse_status_t s, const char* what) {
  if (s != SPARSE_STATUS_SUCCESS) throw fail{std::string(what) + " returned " + std::to_string(s)};
}

void write_vector(const std::string& path, const std::vector<W>& v, bool complex) {
  std::ofstream out(path);
  mm::write_array(out, static_cast<std::int64_t>(v.size()), 1, v, complex);
}

// The engine's calls for one value type and index width.
template <typename T, typename I>
struct calls;
template <>
struct calls<double, int32_t> {
  static constexpr auto create = vrt_sparse_d_create_csr_i4;
  static constexpr auto mv = vrt_sparse_d_mv_i4;
  static constexpr auto exported = vrt_sparse_d_export_csr_i4;
  static constexpr auto sp2m = vrt_sparse_sp2m_i4;
  static constexpr auto hint = vrt_sparse_set_mv_hint_i4;
  static constexpr auto optimize = vrt_sparse_optimize_i4;
  static constexpr auto destroy = vrt_sparse_destroy_i4;
  static double make(W w) { return w.real(); }
  static W wide(double d) { return W(d, 0); }
};
template <>
struct calls<vrt_complex16, int64_t> {
  static constexpr auto create = vrt_sparse_z_create_csr_i8;
  static constexpr auto mv = vrt_sparse_z_mv_i8;
  static constexpr auto exported = vrt_sparse_z_export_csr_i8;
  static constexpr auto sp2m = vrt_sparse_sp2m_i8;
  static constexpr auto hint = vrt_sparse_set_mv_hint_i8;
  static constexpr auto optimize = vrt_sparse_optimize_i8;
  static constexpr auto destroy = vrt_sparse_destroy_i8;
  static vrt_complex16 make(W w) { return {w.real(), w.imag()}; }
  static W wide(vrt_complex16 c) { return W(c.real, c.imag); }
};

template <typename T, typename I>
void run(const mm::coordinate_matrix& a, const std::string& out, bool complex) {
  using K = calls<T, I>;
  const std::int64_t rows = a.rows, cols = a.cols, nnz = static_cast<std::int64_t>(a.row.size());
  // CSR rows, one-based, entries in reverse file order within a row so rows are not sorted.
  std::vector<I> ptr(static_cast<std::size_t>(rows) + 1, 0), col(static_cast<std::size_t>(nnz));
  std::vector<T> val(static_cast<std::size_t>(nnz));
  for (std::int64_t k = 0; k < nnz; ++k) ++ptr[a.row[k] + 1];
  for (std::int64_t i = 0; i < rows; ++i) ptr[i + 1] += ptr[i];
  std::vector<I> next(ptr.begin() + 1, ptr.end());
  for (std::int64_t k = 0; k < nnz; ++k) {
    const I at = --next[a.row[k]];
    col[at] = static_cast<I>(a.col[k] + 1);
    val[at] = K::make(a.value[k]);
  }
  for (auto& p : ptr) ++p;
  host_matrix_t A = nullptr;
  check(K::create(&A, 1, static_cast<I>(rows), static_cast<I>(cols), ptr.data(), ptr.data() + 1,
                  col.data(), val.data()),
        "create");
  const host_matrix_descr general{HOST_MATRIX_TYPE_GENERAL, HOST_FILL_MODE_LOWER,
                                  HOST_DIAG_NON_UNIT};
  const T one = K::make(1), zero = K::make(0);
  std::vector<T> x(static_cast<std::size_t>(cols)), y(static_cast<std::size_t>(rows));
  for (std::int64_t i = 0; i < cols; ++i) x[i] = K::make(input(i, complex));
  check(K::mv(HOST_OPERATION_NON_TRANSPOSE, one, A, general, x.data(), zero, y.data()), "mv");
  std::vector<W> wide(y.size());
  for (std::size_t i = 0; i < y.size(); ++i) wide[i] = K::wide(y[i]);
  write_vector(out + "/Ax.mtx", wide, complex);

  // A^T x without the transpose's rows (scattered), then with them after a hint.
  std::vector<T> xt(static_cast<std::size_t>(rows)), yt(static_cast<std::size_t>(cols));
  for (std::int64_t i = 0; i < rows; ++i) xt[i] = K::make(input(i, complex));
  check(K::mv(HOST_OPERATION_TRANSPOSE, one, A, general, xt.data(), zero, yt.data()), "mv^T");
  wide.resize(yt.size());
  for (std::size_t i = 0; i < yt.size(); ++i) wide[i] = K::wide(yt[i]);
  write_vector(out + "/ATx.mtx", wide, complex);
  check(K::hint(A, HOST_OPERATION_TRANSPOSE, general, 10), "hint");
  check(K::optimize(A), "optimize");
  check(K::mv(HOST_OPERATION_TRANSPOSE, one, A, general, xt.data(), zero, yt.data()), "mv^T");
  for (std::size_t i = 0; i < yt.size(); ++i) wide[i] = K::wide(yt[i]);
  write_vector(out + "/ATx_optimized.mtx", wide, complex);

  if (rows == cols) {
    host_matrix_t P = nullptr;
    check(K::sp2m(HOST_OPERATION_NON_TRANSPOSE, general, A, HOST_OPERATION_NON_TRANSPOSE, general,
                  A, HOST_REQUEST_FULL_MULT, &P),
          "sp2m");
    int base = 0;
    I prows = 0, pcols = 0, *rs = nullptr, *re = nullptr, *ci = nullptr;
    T* pv = nullptr;
    check(K::exported(P, &base, &prows, &pcols, &rs, &re, &ci, &pv), "export");
    // Binary, since products run to millions of entries: rows, cols, the number of entries
    // written and the row stride, then zero-based row pointers and columns as int64 and the
    // values as doubles (pairs for complex values). Past half a million entries only every
    // stride-th row is written, enough rows to stay below that: SciPy's side would dominate
    // the run otherwise, and a sample of rows still checks every kind of row.
    const std::int64_t count = prows > 0 ? re[prows - 1] - rs[0] : 0;
    const std::int64_t stride = count > 500000 ? (count + 499999) / 500000 : 1;
    std::vector<std::int64_t> ptr = {0}, columns;
    std::vector<W> values;
    for (I i = 0; i < prows; i += static_cast<I>(stride)) {
      for (I k = rs[i] - base; k < re[i] - base; ++k) {
        columns.push_back(ci[k] - base);
        values.push_back(K::wide(pv[k]));
      }
      ptr.push_back(static_cast<std::int64_t>(columns.size()));
    }
    std::vector<std::int64_t> head = {prows, pcols, static_cast<std::int64_t>(columns.size()),
                                      stride};
    head.insert(head.end(), ptr.begin(), ptr.end());
    head.insert(head.end(), columns.begin(), columns.end());
    std::ofstream o(out + "/AA.bin", std::ios::binary);
    o.write(reinterpret_cast<const char*>(head.data()),
            static_cast<std::streamsize>(head.size() * 8));
    o.write(reinterpret_cast<const char*>(values.data()),
            static_cast<std::streamsize>(values.size() * 16));
    K::destroy(P);
  }
  K::destroy(A);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: %s matrix.mtx output-folder\n", argv[0]);
    return 2;
  }
  try {
    const auto a = mm::expand_symmetry(mm::read_file(argv[1]));
    const bool complex = a.value_field == mm::field::complex;
    if (complex)
      run<vrt_complex16, int64_t>(a, argv[2], true);
    else
      run<double, int32_t>(a, argv[2], false);
  } catch (const fail& f) {
    std::fprintf(stderr, "%s: %s\n", argv[1], f.what.c_str());
    return 1;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "%s: %s\n", argv[1], e.what());
    return 1;
  }
  return 0;
}
