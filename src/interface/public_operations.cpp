// The public overloads of every value type and memory model. Each forwards to its routine's frame
// (operation_frames.cpp), where the argument tests and the dispatch live; the buffer forms pass
// the address of the caller's buffer, the USM forms the pointer.
#include <orvane/vrt/sparse.hpp>

#include "interface/operation_frames.hpp"

namespace orvane::vrt::sparse {

// ---- float
void gemv(sycl::queue& q, transpose op, float alpha, matrix_handle_t A, sycl::buffer<float, 1>& x,
          float beta, sycl::buffer<float, 1>& y) {
  gemv_frame<float, container_buffer>(q, op, alpha, A, &x, beta, &y, {});
}
sycl::event gemv(sycl::queue& q, transpose op, float alpha, matrix_handle_t A, const float* x,
                 float beta, float* y, const event_list& deps) {
  return gemv_frame<float, container_usm>(q, op, alpha, A, const_cast<float*>(x), beta, y, deps);
}
void gemvdot(sycl::queue& q, transpose op, float alpha, matrix_handle_t A,
             sycl::buffer<float, 1>& x, float beta, sycl::buffer<float, 1>& y,
             sycl::buffer<float, 1>& d) {
  gemvdot_frame<float, container_buffer>(q, op, alpha, A, &x, beta, &y, &d, {});
}
sycl::event gemvdot(sycl::queue& q, transpose op, float alpha, matrix_handle_t A, float* x,
                    float beta, float* y, float* d, const event_list& deps) {
  return gemvdot_frame<float, container_usm>(q, op, alpha, A, x, beta, y, d, deps);
}
void symv(sycl::queue& q, uplo ul, float alpha, matrix_handle_t A, sycl::buffer<float, 1>& x,
          float beta, sycl::buffer<float, 1>& y) {
  symv_frame<float, container_buffer>(q, ul, alpha, A, &x, beta, &y, {});
}
sycl::event symv(sycl::queue& q, uplo ul, float alpha, matrix_handle_t A, float* x, float beta,
                 float* y, const event_list& deps) {
  return symv_frame<float, container_usm>(q, ul, alpha, A, x, beta, y, deps);
}
void trmv(sycl::queue& q, uplo ul, transpose op, diag dg, float alpha, matrix_handle_t A,
          sycl::buffer<float, 1>& x, float beta, sycl::buffer<float, 1>& y) {
  trmv_frame<float, container_buffer>(q, ul, op, dg, alpha, A, &x, beta, &y, {});
}
sycl::event trmv(sycl::queue& q, uplo ul, transpose op, diag dg, float alpha, matrix_handle_t A,
                 float* x, float beta, float* y, const event_list& deps) {
  return trmv_frame<float, container_usm>(q, ul, op, dg, alpha, A, x, beta, y, deps);
}
void trsv(sycl::queue& q, uplo ul, transpose op, diag dg, float alpha, matrix_handle_t A,
          sycl::buffer<float, 1>& x, sycl::buffer<float, 1>& y) {
  trsv_frame<float, container_buffer>(q, ul, op, dg, alpha, A, &x, &y, {});
}
void trsv(sycl::queue& q, uplo ul, transpose op, diag dg, matrix_handle_t A,
          sycl::buffer<float, 1>& x, sycl::buffer<float, 1>& y) {
  trsv_frame<float, container_buffer>(q, ul, op, dg, float(1), A, &x, &y, {});
}
sycl::event trsv(sycl::queue& q, uplo ul, transpose op, diag dg, float alpha, matrix_handle_t A,
                 float* x, float* y, const event_list& deps) {
  return trsv_frame<float, container_usm>(q, ul, op, dg, alpha, A, x, y, deps);
}
sycl::event trsv(sycl::queue& q, uplo ul, transpose op, diag dg, matrix_handle_t A, float* x,
                 float* y, const event_list& deps) {
  return trsv_frame<float, container_usm>(q, ul, op, dg, float(1), A, x, y, deps);
}
void trsm(sycl::queue& q, layout lay, transpose opA, transpose opX, uplo ul, diag dg, float alpha,
          matrix_handle_t A, sycl::buffer<float, 1>& x, std::int64_t columns, std::int64_t ldx,
          sycl::buffer<float, 1>& y, std::int64_t ldy) {
  trsm_frame<float, container_buffer>(q, lay, opA, opX, ul, dg, alpha, A, &x, columns, ldx, &y, ldy,
                                      {});
}
sycl::event trsm(sycl::queue& q, layout lay, transpose opA, transpose opX, uplo ul, diag dg,
                 float alpha, matrix_handle_t A, const float* x, std::int64_t columns,
                 std::int64_t ldx, float* y, std::int64_t ldy, const event_list& deps) {
  return trsm_frame<float, container_usm>(q, lay, opA, opX, ul, dg, alpha, A, const_cast<float*>(x),
                                          columns, ldx, y, ldy, deps);
}
void gemm(sycl::queue& q, layout lay, transpose opA, transpose opB, float alpha, matrix_handle_t A,
          sycl::buffer<float, 1>& b, std::int64_t columns, std::int64_t ldb, float beta,
          sycl::buffer<float, 1>& c, std::int64_t ldc) {
  gemm_frame<float, container_buffer>(q, lay, opA, opB, alpha, A, &b, columns, ldb, beta, &c, ldc,
                                      {});
}
sycl::event gemm(sycl::queue& q, layout lay, transpose opA, transpose opB, float alpha,
                 matrix_handle_t A, float* b, std::int64_t columns, std::int64_t ldb, float beta,
                 float* c, std::int64_t ldc, const event_list& deps) {
  return gemm_frame<float, container_usm>(q, lay, opA, opB, alpha, A, b, columns, ldb, beta, c, ldc,
                                          deps);
}
void update_diagonal_values(sycl::queue& q, matrix_handle_t A, sycl::buffer<float, 1>& diagonal) {
  update_diagonal_values_frame<float, container_buffer>(
      q, A, static_cast<std::int64_t>(diagonal.size()), &diagonal, {});
}
sycl::event update_diagonal_values(sycl::queue& q, matrix_handle_t A, std::int64_t length,
                                   const float* diagonal, const event_list& deps) {
  return update_diagonal_values_frame<float, container_usm>(q, A, length,
                                                            const_cast<float*>(diagonal), deps);
}

// ---- double
void gemv(sycl::queue& q, transpose op, double alpha, matrix_handle_t A, sycl::buffer<double, 1>& x,
          double beta, sycl::buffer<double, 1>& y) {
  gemv_frame<double, container_buffer>(q, op, alpha, A, &x, beta, &y, {});
}
sycl::event gemv(sycl::queue& q, transpose op, double alpha, matrix_handle_t A, const double* x,
                 double beta, double* y, const event_list& deps) {
  return gemv_frame<double, container_usm>(q, op, alpha, A, const_cast<double*>(x), beta, y, deps);
}
void gemvdot(sycl::queue& q, transpose op, double alpha, matrix_handle_t A,
             sycl::buffer<double, 1>& x, double beta, sycl::buffer<double, 1>& y,
             sycl::buffer<double, 1>& d) {
  gemvdot_frame<double, container_buffer>(q, op, alpha, A, &x, beta, &y, &d, {});
}
sycl::event gemvdot(sycl::queue& q, transpose op, double alpha, matrix_handle_t A, double* x,
                    double beta, double* y, double* d, const event_list& deps) {
  return gemvdot_frame<double, container_usm>(q, op, alpha, A, x, beta, y, d, deps);
}
void symv(sycl::queue& q, uplo ul, double alpha, matrix_handle_t A, sycl::buffer<double, 1>& x,
          double beta, sycl::buffer<double, 1>& y) {
  symv_frame<double, container_buffer>(q, ul, alpha, A, &x, beta, &y, {});
}
sycl::event symv(sycl::queue& q, uplo ul, double alpha, matrix_handle_t A, double* x, double beta,
                 double* y, const event_list& deps) {
  return symv_frame<double, container_usm>(q, ul, alpha, A, x, beta, y, deps);
}
void trmv(sycl::queue& q, uplo ul, transpose op, diag dg, double alpha, matrix_handle_t A,
          sycl::buffer<double, 1>& x, double beta, sycl::buffer<double, 1>& y) {
  trmv_frame<double, container_buffer>(q, ul, op, dg, alpha, A, &x, beta, &y, {});
}
sycl::event trmv(sycl::queue& q, uplo ul, transpose op, diag dg, double alpha, matrix_handle_t A,
                 double* x, double beta, double* y, const event_list& deps) {
  return trmv_frame<double, container_usm>(q, ul, op, dg, alpha, A, x, beta, y, deps);
}
void trsv(sycl::queue& q, uplo ul, transpose op, diag dg, double alpha, matrix_handle_t A,
          sycl::buffer<double, 1>& x, sycl::buffer<double, 1>& y) {
  trsv_frame<double, container_buffer>(q, ul, op, dg, alpha, A, &x, &y, {});
}
void trsv(sycl::queue& q, uplo ul, transpose op, diag dg, matrix_handle_t A,
          sycl::buffer<double, 1>& x, sycl::buffer<double, 1>& y) {
  trsv_frame<double, container_buffer>(q, ul, op, dg, double(1), A, &x, &y, {});
}
sycl::event trsv(sycl::queue& q, uplo ul, transpose op, diag dg, double alpha, matrix_handle_t A,
                 double* x, double* y, const event_list& deps) {
  return trsv_frame<double, container_usm>(q, ul, op, dg, alpha, A, x, y, deps);
}
sycl::event trsv(sycl::queue& q, uplo ul, transpose op, diag dg, matrix_handle_t A, double* x,
                 double* y, const event_list& deps) {
  return trsv_frame<double, container_usm>(q, ul, op, dg, double(1), A, x, y, deps);
}
void trsm(sycl::queue& q, layout lay, transpose opA, transpose opX, uplo ul, diag dg, double alpha,
          matrix_handle_t A, sycl::buffer<double, 1>& x, std::int64_t columns, std::int64_t ldx,
          sycl::buffer<double, 1>& y, std::int64_t ldy) {
  trsm_frame<double, container_buffer>(q, lay, opA, opX, ul, dg, alpha, A, &x, columns, ldx, &y,
                                       ldy, {});
}
sycl::event trsm(sycl::queue& q, layout lay, transpose opA, transpose opX, uplo ul, diag dg,
                 double alpha, matrix_handle_t A, const double* x, std::int64_t columns,
                 std::int64_t ldx, double* y, std::int64_t ldy, const event_list& deps) {
  return trsm_frame<double, container_usm>(q, lay, opA, opX, ul, dg, alpha, A,
                                           const_cast<double*>(x), columns, ldx, y, ldy, deps);
}
void gemm(sycl::queue& q, layout lay, transpose opA, transpose opB, double alpha, matrix_handle_t A,
          sycl::buffer<double, 1>& b, std::int64_t columns, std::int64_t ldb, double beta,
          sycl::buffer<double, 1>& c, std::int64_t ldc) {
  gemm_frame<double, container_buffer>(q, lay, opA, opB, alpha, A, &b, columns, ldb, beta, &c, ldc,
                                       {});
}
sycl::event gemm(sycl::queue& q, layout lay, transpose opA, transpose opB, double alpha,
                 matrix_handle_t A, double* b, std::int64_t columns, std::int64_t ldb, double beta,
                 double* c, std::int64_t ldc, const event_list& deps) {
  return gemm_frame<double, container_usm>(q, lay, opA, opB, alpha, A, b, columns, ldb, beta, c,
                                           ldc, deps);
}
void update_diagonal_values(sycl::queue& q, matrix_handle_t A, sycl::buffer<double, 1>& diagonal) {
  update_diagonal_values_frame<double, container_buffer>(
      q, A, static_cast<std::int64_t>(diagonal.size()), &diagonal, {});
}
sycl::event update_diagonal_values(sycl::queue& q, matrix_handle_t A, std::int64_t length,
                                   const double* diagonal, const event_list& deps) {
  return update_diagonal_values_frame<double, container_usm>(q, A, length,
                                                             const_cast<double*>(diagonal), deps);
}

// ---- std::complex<float>
void gemv(sycl::queue& q, transpose op, std::complex<float> alpha, matrix_handle_t A,
          sycl::buffer<std::complex<float>, 1>& x, std::complex<float> beta,
          sycl::buffer<std::complex<float>, 1>& y) {
  gemv_frame<std::complex<float>, container_buffer>(q, op, alpha, A, &x, beta, &y, {});
}
sycl::event gemv(sycl::queue& q, transpose op, std::complex<float> alpha, matrix_handle_t A,
                 const std::complex<float>* x, std::complex<float> beta, std::complex<float>* y,
                 const event_list& deps) {
  return gemv_frame<std::complex<float>, container_usm>(
      q, op, alpha, A, const_cast<std::complex<float>*>(x), beta, y, deps);
}
void gemvdot(sycl::queue& q, transpose op, std::complex<float> alpha, matrix_handle_t A,
             sycl::buffer<std::complex<float>, 1>& x, std::complex<float> beta,
             sycl::buffer<std::complex<float>, 1>& y, sycl::buffer<std::complex<float>, 1>& d) {
  gemvdot_frame<std::complex<float>, container_buffer>(q, op, alpha, A, &x, beta, &y, &d, {});
}
sycl::event gemvdot(sycl::queue& q, transpose op, std::complex<float> alpha, matrix_handle_t A,
                    std::complex<float>* x, std::complex<float> beta, std::complex<float>* y,
                    std::complex<float>* d, const event_list& deps) {
  return gemvdot_frame<std::complex<float>, container_usm>(q, op, alpha, A, x, beta, y, d, deps);
}
void symv(sycl::queue& q, uplo ul, std::complex<float> alpha, matrix_handle_t A,
          sycl::buffer<std::complex<float>, 1>& x, std::complex<float> beta,
          sycl::buffer<std::complex<float>, 1>& y) {
  symv_frame<std::complex<float>, container_buffer>(q, ul, alpha, A, &x, beta, &y, {});
}
sycl::event symv(sycl::queue& q, uplo ul, std::complex<float> alpha, matrix_handle_t A,
                 std::complex<float>* x, std::complex<float> beta, std::complex<float>* y,
                 const event_list& deps) {
  return symv_frame<std::complex<float>, container_usm>(q, ul, alpha, A, x, beta, y, deps);
}
void trmv(sycl::queue& q, uplo ul, transpose op, diag dg, std::complex<float> alpha,
          matrix_handle_t A, sycl::buffer<std::complex<float>, 1>& x, std::complex<float> beta,
          sycl::buffer<std::complex<float>, 1>& y) {
  trmv_frame<std::complex<float>, container_buffer>(q, ul, op, dg, alpha, A, &x, beta, &y, {});
}
sycl::event trmv(sycl::queue& q, uplo ul, transpose op, diag dg, std::complex<float> alpha,
                 matrix_handle_t A, std::complex<float>* x, std::complex<float> beta,
                 std::complex<float>* y, const event_list& deps) {
  return trmv_frame<std::complex<float>, container_usm>(q, ul, op, dg, alpha, A, x, beta, y, deps);
}
void trsv(sycl::queue& q, uplo ul, transpose op, diag dg, std::complex<float> alpha,
          matrix_handle_t A, sycl::buffer<std::complex<float>, 1>& x,
          sycl::buffer<std::complex<float>, 1>& y) {
  trsv_frame<std::complex<float>, container_buffer>(q, ul, op, dg, alpha, A, &x, &y, {});
}
void trsv(sycl::queue& q, uplo ul, transpose op, diag dg, matrix_handle_t A,
          sycl::buffer<std::complex<float>, 1>& x, sycl::buffer<std::complex<float>, 1>& y) {
  trsv_frame<std::complex<float>, container_buffer>(q, ul, op, dg, std::complex<float>(1), A, &x,
                                                    &y, {});
}
sycl::event trsv(sycl::queue& q, uplo ul, transpose op, diag dg, std::complex<float> alpha,
                 matrix_handle_t A, std::complex<float>* x, std::complex<float>* y,
                 const event_list& deps) {
  return trsv_frame<std::complex<float>, container_usm>(q, ul, op, dg, alpha, A, x, y, deps);
}
sycl::event trsv(sycl::queue& q, uplo ul, transpose op, diag dg, matrix_handle_t A,
                 std::complex<float>* x, std::complex<float>* y, const event_list& deps) {
  return trsv_frame<std::complex<float>, container_usm>(q, ul, op, dg, std::complex<float>(1), A, x,
                                                        y, deps);
}
void trsm(sycl::queue& q, layout lay, transpose opA, transpose opX, uplo ul, diag dg,
          std::complex<float> alpha, matrix_handle_t A, sycl::buffer<std::complex<float>, 1>& x,
          std::int64_t columns, std::int64_t ldx, sycl::buffer<std::complex<float>, 1>& y,
          std::int64_t ldy) {
  trsm_frame<std::complex<float>, container_buffer>(q, lay, opA, opX, ul, dg, alpha, A, &x, columns,
                                                    ldx, &y, ldy, {});
}
sycl::event trsm(sycl::queue& q, layout lay, transpose opA, transpose opX, uplo ul, diag dg,
                 std::complex<float> alpha, matrix_handle_t A, const std::complex<float>* x,
                 std::int64_t columns, std::int64_t ldx, std::complex<float>* y, std::int64_t ldy,
                 const event_list& deps) {
  return trsm_frame<std::complex<float>, container_usm>(q, lay, opA, opX, ul, dg, alpha, A,
                                                        const_cast<std::complex<float>*>(x),
                                                        columns, ldx, y, ldy, deps);
}
void gemm(sycl::queue& q, layout lay, transpose opA, transpose opB, std::complex<float> alpha,
          matrix_handle_t A, sycl::buffer<std::complex<float>, 1>& b, std::int64_t columns,
          std::int64_t ldb, std::complex<float> beta, sycl::buffer<std::complex<float>, 1>& c,
          std::int64_t ldc) {
  gemm_frame<std::complex<float>, container_buffer>(q, lay, opA, opB, alpha, A, &b, columns, ldb,
                                                    beta, &c, ldc, {});
}
sycl::event gemm(sycl::queue& q, layout lay, transpose opA, transpose opB,
                 std::complex<float> alpha, matrix_handle_t A, std::complex<float>* b,
                 std::int64_t columns, std::int64_t ldb, std::complex<float> beta,
                 std::complex<float>* c, std::int64_t ldc, const event_list& deps) {
  return gemm_frame<std::complex<float>, container_usm>(q, lay, opA, opB, alpha, A, b, columns, ldb,
                                                        beta, c, ldc, deps);
}
void update_diagonal_values(sycl::queue& q, matrix_handle_t A,
                            sycl::buffer<std::complex<float>, 1>& diagonal) {
  update_diagonal_values_frame<std::complex<float>, container_buffer>(
      q, A, static_cast<std::int64_t>(diagonal.size()), &diagonal, {});
}
sycl::event update_diagonal_values(sycl::queue& q, matrix_handle_t A, std::int64_t length,
                                   const std::complex<float>* diagonal, const event_list& deps) {
  return update_diagonal_values_frame<std::complex<float>, container_usm>(
      q, A, length, const_cast<std::complex<float>*>(diagonal), deps);
}

// ---- std::complex<double>
void gemv(sycl::queue& q, transpose op, std::complex<double> alpha, matrix_handle_t A,
          sycl::buffer<std::complex<double>, 1>& x, std::complex<double> beta,
          sycl::buffer<std::complex<double>, 1>& y) {
  gemv_frame<std::complex<double>, container_buffer>(q, op, alpha, A, &x, beta, &y, {});
}
sycl::event gemv(sycl::queue& q, transpose op, std::complex<double> alpha, matrix_handle_t A,
                 const std::complex<double>* x, std::complex<double> beta, std::complex<double>* y,
                 const event_list& deps) {
  return gemv_frame<std::complex<double>, container_usm>(
      q, op, alpha, A, const_cast<std::complex<double>*>(x), beta, y, deps);
}
void gemvdot(sycl::queue& q, transpose op, std::complex<double> alpha, matrix_handle_t A,
             sycl::buffer<std::complex<double>, 1>& x, std::complex<double> beta,
             sycl::buffer<std::complex<double>, 1>& y, sycl::buffer<std::complex<double>, 1>& d) {
  gemvdot_frame<std::complex<double>, container_buffer>(q, op, alpha, A, &x, beta, &y, &d, {});
}
sycl::event gemvdot(sycl::queue& q, transpose op, std::complex<double> alpha, matrix_handle_t A,
                    std::complex<double>* x, std::complex<double> beta, std::complex<double>* y,
                    std::complex<double>* d, const event_list& deps) {
  return gemvdot_frame<std::complex<double>, container_usm>(q, op, alpha, A, x, beta, y, d, deps);
}
void symv(sycl::queue& q, uplo ul, std::complex<double> alpha, matrix_handle_t A,
          sycl::buffer<std::complex<double>, 1>& x, std::complex<double> beta,
          sycl::buffer<std::complex<double>, 1>& y) {
  symv_frame<std::complex<double>, container_buffer>(q, ul, alpha, A, &x, beta, &y, {});
}
sycl::event symv(sycl::queue& q, uplo ul, std::complex<double> alpha, matrix_handle_t A,
                 std::complex<double>* x, std::complex<double> beta, std::complex<double>* y,
                 const event_list& deps) {
  return symv_frame<std::complex<double>, container_usm>(q, ul, alpha, A, x, beta, y, deps);
}
void trmv(sycl::queue& q, uplo ul, transpose op, diag dg, std::complex<double> alpha,
          matrix_handle_t A, sycl::buffer<std::complex<double>, 1>& x, std::complex<double> beta,
          sycl::buffer<std::complex<double>, 1>& y) {
  trmv_frame<std::complex<double>, container_buffer>(q, ul, op, dg, alpha, A, &x, beta, &y, {});
}
sycl::event trmv(sycl::queue& q, uplo ul, transpose op, diag dg, std::complex<double> alpha,
                 matrix_handle_t A, std::complex<double>* x, std::complex<double> beta,
                 std::complex<double>* y, const event_list& deps) {
  return trmv_frame<std::complex<double>, container_usm>(q, ul, op, dg, alpha, A, x, beta, y, deps);
}
void trsv(sycl::queue& q, uplo ul, transpose op, diag dg, std::complex<double> alpha,
          matrix_handle_t A, sycl::buffer<std::complex<double>, 1>& x,
          sycl::buffer<std::complex<double>, 1>& y) {
  trsv_frame<std::complex<double>, container_buffer>(q, ul, op, dg, alpha, A, &x, &y, {});
}
void trsv(sycl::queue& q, uplo ul, transpose op, diag dg, matrix_handle_t A,
          sycl::buffer<std::complex<double>, 1>& x, sycl::buffer<std::complex<double>, 1>& y) {
  trsv_frame<std::complex<double>, container_buffer>(q, ul, op, dg, std::complex<double>(1), A, &x,
                                                     &y, {});
}
sycl::event trsv(sycl::queue& q, uplo ul, transpose op, diag dg, std::complex<double> alpha,
                 matrix_handle_t A, std::complex<double>* x, std::complex<double>* y,
                 const event_list& deps) {
  return trsv_frame<std::complex<double>, container_usm>(q, ul, op, dg, alpha, A, x, y, deps);
}
sycl::event trsv(sycl::queue& q, uplo ul, transpose op, diag dg, matrix_handle_t A,
                 std::complex<double>* x, std::complex<double>* y, const event_list& deps) {
  return trsv_frame<std::complex<double>, container_usm>(q, ul, op, dg, std::complex<double>(1), A,
                                                         x, y, deps);
}
void trsm(sycl::queue& q, layout lay, transpose opA, transpose opX, uplo ul, diag dg,
          std::complex<double> alpha, matrix_handle_t A, sycl::buffer<std::complex<double>, 1>& x,
          std::int64_t columns, std::int64_t ldx, sycl::buffer<std::complex<double>, 1>& y,
          std::int64_t ldy) {
  trsm_frame<std::complex<double>, container_buffer>(q, lay, opA, opX, ul, dg, alpha, A, &x,
                                                     columns, ldx, &y, ldy, {});
}
sycl::event trsm(sycl::queue& q, layout lay, transpose opA, transpose opX, uplo ul, diag dg,
                 std::complex<double> alpha, matrix_handle_t A, const std::complex<double>* x,
                 std::int64_t columns, std::int64_t ldx, std::complex<double>* y, std::int64_t ldy,
                 const event_list& deps) {
  return trsm_frame<std::complex<double>, container_usm>(q, lay, opA, opX, ul, dg, alpha, A,
                                                         const_cast<std::complex<double>*>(x),
                                                         columns, ldx, y, ldy, deps);
}
void gemm(sycl::queue& q, layout lay, transpose opA, transpose opB, std::complex<double> alpha,
          matrix_handle_t A, sycl::buffer<std::complex<double>, 1>& b, std::int64_t columns,
          std::int64_t ldb, std::complex<double> beta, sycl::buffer<std::complex<double>, 1>& c,
          std::int64_t ldc) {
  gemm_frame<std::complex<double>, container_buffer>(q, lay, opA, opB, alpha, A, &b, columns, ldb,
                                                     beta, &c, ldc, {});
}
sycl::event gemm(sycl::queue& q, layout lay, transpose opA, transpose opB,
                 std::complex<double> alpha, matrix_handle_t A, std::complex<double>* b,
                 std::int64_t columns, std::int64_t ldb, std::complex<double> beta,
                 std::complex<double>* c, std::int64_t ldc, const event_list& deps) {
  return gemm_frame<std::complex<double>, container_usm>(q, lay, opA, opB, alpha, A, b, columns,
                                                         ldb, beta, c, ldc, deps);
}
void update_diagonal_values(sycl::queue& q, matrix_handle_t A,
                            sycl::buffer<std::complex<double>, 1>& diagonal) {
  update_diagonal_values_frame<std::complex<double>, container_buffer>(
      q, A, static_cast<std::int64_t>(diagonal.size()), &diagonal, {});
}
sycl::event update_diagonal_values(sycl::queue& q, matrix_handle_t A, std::int64_t length,
                                   const std::complex<double>* diagonal, const event_list& deps) {
  return update_diagonal_values_frame<std::complex<double>, container_usm>(
      q, A, length, const_cast<std::complex<double>*>(diagonal), deps);
}

}  // namespace orvane::vrt::sparse
