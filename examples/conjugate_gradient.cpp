// Preconditioned conjugate gradients on a GPU queue: A p by gemv, the symmetric Gauss-Seidel
// preconditioner M = (D + L) D^-1 (D + U) by two trsv solves on the triangles of the same
// handle, each planned once by optimize_trsv, and the dot products on the host over USM shared
// memory. The example checks the answer by its residual, computed on the host.
#include <orvane/vrt/sparse.hpp>

#include "example_support.hpp"

namespace vs = orvane::vrt::sparse;
using orvane::vrt::diag;
using orvane::vrt::index_base;
using orvane::vrt::transpose;
using orvane::vrt::uplo;

int main() {
  sycl::queue q{sycl::gpu_selector_v};
  const example::csr a = example::poisson(24);
  const std::int32_t n = a.rows;
  std::vector<double> b(n);
  for (std::int32_t i = 0; i < n; ++i) b[i] = 1.0 + (i % 7);

  std::int32_t* row_ptr = example::shared_copy(q, a.row_ptr);
  std::int32_t* col_ind = example::shared_copy(q, a.col_ind);
  double* values = example::shared_copy(q, a.values);
  std::vector<double> zero(n, 0.0);
  double* x = example::shared_copy(q, zero);
  double* r = example::shared_copy(q, b);  // r = b - A x with x = 0
  double* z = example::shared_copy(q, zero);
  double* w = example::shared_copy(q, zero);
  double* p = example::shared_copy(q, zero);
  double* ap = example::shared_copy(q, zero);

  vs::matrix_handle_t A = nullptr;
  vs::init_matrix_handle(&A);
  vs::set_csr_data(q, A, n, n, index_base::zero, row_ptr, col_ind, values).wait();
  // One plan per triangle: the solves below reuse them at every iteration.
  vs::optimize_gemv(q, transpose::nontrans, A).wait();
  vs::optimize_trsv(q, uplo::lower, transpose::nontrans, diag::nonunit, A).wait();
  vs::optimize_trsv(q, uplo::upper, transpose::nontrans, diag::nonunit, A).wait();

  auto dot = [n](const double* u, const double* v) {
    double s = 0.0;
    for (std::int32_t i = 0; i < n; ++i) s += u[i] * v[i];
    return s;
  };
  // z = M^-1 r: solve (D + L) w = r, scale by D (4 on this matrix), solve (D + U) z = D w.
  auto precondition = [&] {
    vs::trsv(q, uplo::lower, transpose::nontrans, diag::nonunit, A, r, w).wait();
    for (std::int32_t i = 0; i < n; ++i) w[i] *= 4.0;
    vs::trsv(q, uplo::upper, transpose::nontrans, diag::nonunit, A, w, z).wait();
  };

  precondition();
  for (std::int32_t i = 0; i < n; ++i) p[i] = z[i];
  double rz = dot(r, z);
  const double norm_b = std::sqrt(dot(b.data(), b.data()));
  int iterations = 0;
  while (iterations < 200 && std::sqrt(dot(r, r)) > 1e-10 * norm_b) {
    vs::gemv(q, transpose::nontrans, 1.0, A, p, 0.0, ap).wait();
    const double step = rz / dot(p, ap);
    for (std::int32_t i = 0; i < n; ++i) {
      x[i] += step * p[i];
      r[i] -= step * ap[i];
    }
    precondition();
    const double rz_next = dot(r, z);
    for (std::int32_t i = 0; i < n; ++i) p[i] = z[i] + (rz_next / rz) * p[i];
    rz = rz_next;
    ++iterations;
  }

  // The check: the true residual b - A x, computed on the host from the CSR arrays.
  const std::vector<double> ax = example::multiply(a, std::vector<double>(x, x + n));
  double residual = 0.0;
  for (std::int32_t i = 0; i < n; ++i) residual += (b[i] - ax[i]) * (b[i] - ax[i]);
  residual = std::sqrt(residual) / norm_b;
  // Unpreconditioned CG needs about 60 iterations here; Gauss-Seidel should roughly halve that.
  const bool ok = residual < 1e-9 && iterations < 60;
  std::printf("conjugate gradients: %d iterations, relative residual %.2e\n", iterations, residual);

  vs::release_matrix_handle(q, &A).wait();
  for (void* m : {(void*)row_ptr, (void*)col_ind, (void*)values, (void*)x, (void*)r, (void*)z,
                  (void*)w, (void*)p, (void*)ap})
    sycl::free(m, q);
  std::printf("%s\n", ok ? "PASS" : "FAIL");
  return ok ? 0 : 1;
}
