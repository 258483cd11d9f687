// gemv: y = alpha A x + beta y on a GPU queue, after optimize_gemv has planned the product.
#include <orvane/vrt/sparse.hpp>

#include "example_support.hpp"

namespace vs = orvane::vrt::sparse;
using orvane::vrt::index_base;
using orvane::vrt::transpose;

int main() {
  sycl::queue q{sycl::gpu_selector_v};
  const example::csr a = example::poisson(16);
  std::vector<double> x(a.cols), y0(a.rows);
  for (std::int32_t i = 0; i < a.cols; ++i) x[i] = 1.0 + 0.01 * i;
  for (std::int32_t i = 0; i < a.rows; ++i) y0[i] = 0.5 * i;

  // The handle references the caller's arrays (never copies them): they must outlive it.
  std::int32_t* row_ptr = example::shared_copy(q, a.row_ptr);
  std::int32_t* col_ind = example::shared_copy(q, a.col_ind);
  double* values = example::shared_copy(q, a.values);
  double* dx = example::shared_copy(q, x);
  double* dy = example::shared_copy(q, y0);

  vs::matrix_handle_t A = nullptr;
  vs::init_matrix_handle(&A);
  auto bound = vs::set_csr_data(q, A, a.rows, a.cols, index_base::zero, row_ptr, col_ind, values);
  // The plan is made once and reused by every later gemv with the same operation.
  auto planned = vs::optimize_gemv(q, transpose::nontrans, A, {bound});
  const double alpha = 2.0, beta = 0.5;
  // USM forms return an event and wait for nothing but their dependencies.
  vs::gemv(q, transpose::nontrans, alpha, A, dx, beta, dy, {planned}).wait();

  std::vector<double> want = example::multiply(a, x);
  for (std::int32_t i = 0; i < a.rows; ++i) want[i] = alpha * want[i] + beta * y0[i];
  const bool ok = example::close(dy, want, 1e-12, "gemv after optimize_gemv");

  vs::release_matrix_handle(q, &A).wait();
  for (void* p : {(void*)row_ptr, (void*)col_ind, (void*)values, (void*)dx, (void*)dy})
    sycl::free(p, q);
  std::printf("%s\n", ok ? "PASS" : "FAIL");
  return ok ? 0 : 1;
}
