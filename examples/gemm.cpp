// gemm: C = alpha A B + beta C for a dense B and C of `columns` columns, in both dense layouts,
// on a GPU queue. Row-major stores row i of B at b[i * ldb]; column-major stores column j at
// b[j * ldb]. The leading dimensions here are padded on purpose: entries past the matrix are
// left alone.
#include <orvane/vrt/sparse.hpp>

#include "example_support.hpp"

namespace vs = orvane::vrt::sparse;
using orvane::vrt::index_base;
using orvane::vrt::layout;
using orvane::vrt::transpose;

int main() {
  sycl::queue q{sycl::gpu_selector_v};
  const example::csr a = example::poisson(8);
  const std::int64_t n = a.rows, columns = 3;

  std::int32_t* row_ptr = example::shared_copy(q, a.row_ptr);
  std::int32_t* col_ind = example::shared_copy(q, a.col_ind);
  double* values = example::shared_copy(q, a.values);
  vs::matrix_handle_t A = nullptr;
  vs::init_matrix_handle(&A);
  vs::set_csr_data(q, A, a.rows, a.cols, index_base::zero, row_ptr, col_ind, values).wait();

  const double alpha = 1.5, beta = -1.0;
  bool ok = true;
  for (layout dense : {layout::row_major, layout::col_major}) {
    const bool rows_first = dense == layout::row_major;
    // Element (i, j) of a dense n x columns operand with leading dimension ld.
    const std::int64_t ld = rows_first ? columns + 1 : n + 2;
    const std::size_t size = static_cast<std::size_t>(rows_first ? n * ld : columns * ld);
    auto at = [&](std::int64_t i, std::int64_t j) { return rows_first ? i * ld + j : j * ld + i; };
    std::vector<double> b(size, 0.0), c(size, -7.0);
    for (std::int64_t i = 0; i < n; ++i)
      for (std::int64_t j = 0; j < columns; ++j) {
        b[at(i, j)] = std::cos(0.1 * static_cast<double>(i + 5 * j));
        c[at(i, j)] = static_cast<double>(j) - 0.01 * static_cast<double>(i);
      }
    double* db = example::shared_copy(q, b);
    double* dc = example::shared_copy(q, c);
    vs::gemm(q, dense, transpose::nontrans, transpose::nontrans, alpha, A, db, columns, ld, beta,
             dc, ld)
        .wait();

    // The expected C, column by column with the plain CSR product; padding keeps its -7.
    std::vector<double> want = c;
    for (std::int64_t j = 0; j < columns; ++j) {
      std::vector<double> bj(n);
      for (std::int64_t i = 0; i < n; ++i) bj[i] = b[at(i, j)];
      const std::vector<double> abj = example::multiply(a, bj);
      for (std::int64_t i = 0; i < n; ++i) want[at(i, j)] = alpha * abj[i] + beta * c[at(i, j)];
    }
    ok = example::close(dc, want, 1e-12, rows_first ? "gemm, row-major" : "gemm, column-major") &&
         ok;
    sycl::free(db, q);
    sycl::free(dc, q);
  }

  vs::release_matrix_handle(q, &A).wait();
  for (void* p : {(void*)row_ptr, (void*)col_ind, (void*)values}) sycl::free(p, q);
  std::printf("%s\n", ok ? "PASS" : "FAIL");
  return ok ? 0 : 1;
}
