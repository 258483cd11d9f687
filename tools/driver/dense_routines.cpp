// Products and solves with dense matrices: trsm and gemm.
#include <complex>
#include <limits>

#include "arrays.hpp"
#include "routines.hpp"

namespace vrt_driver {

template <typename T, typename I>
result run_dense_routine(sycl::queue& q, const options& o, const host_matrix<T, I>& A) {
  const bool solve = o.routine == "trsm";
  const auto op = to_transpose(o.op);
  const auto ul = o.uplo == "lower" ? vrt::uplo::lower : vrt::uplo::upper;
  const auto dg = o.diag == "unit" ? vrt::diag::unit : vrt::diag::nonunit;
  const bool row_major = o.layout == "row";
  const auto lay = row_major ? vrt::layout::row_major : vrt::layout::col_major;
  const bool transposed = op != vrt::transpose::nontrans;
  // op(A) is m x k: the right operand has k rows, the result m.
  const std::int64_t m = transposed ? A.ncols : A.nrows;
  const std::int64_t k = transposed ? A.nrows : A.ncols;
  const std::int64_t n = o.columns;
  const dense_shape in = make_shape(k, n, row_major, o.ld_pad);
  const dense_shape res = make_shape(m, n, row_major, o.ld_pad);
  const T alpha = from_complex<T>(o.alpha), beta = from_complex<T>(o.beta);
  const bool usm = o.memory == "usm";

  bound_matrix<T, I> M(q, usm, A);
  device_array<T> b(q, usm, dense_operand<T>(in, [](auto r, auto j) { return x_entry<T>(r, j); }));
  // gemm with a zero beta must not read C: it then starts as NaN, which a read would carry into
  // the result.
  const bool c_unread = !solve && o.beta == std::complex<double>(0.0);
  const T nan = from_complex<T>(
      {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::quiet_NaN()});
  device_array<T> c(q, usm, dense_operand<T>(res, [&](auto r, auto j) {
                      return c_unread ? nan : y_entry<T>(r, j);
                    }));
  vs::matrix_handle* h = M.handle;
  // The dense operands are never transposed: the library takes only nontrans for them.
  const auto dense_op = vrt::transpose::nontrans;

  with_model(usm, [&](auto model) {
    vs::event_list deps = {M.ready};
    if (o.optimize) deps = {vs::optimize_trsm(q, lay, ul, op, dg, h, n, deps)};
    auto run = [&](device_array<T>& c_out) {
      if (solve)
        return invoke(model, deps, VRT_DRIVER_ROUTINE(trsm), q, lay, op, dense_op, ul, dg, alpha, h,
                      operand(model, b), n, in.ld, operand(model, c_out), res.ld);
      return invoke(model, deps, VRT_DRIVER_ROUTINE(gemm), q, lay, op, dense_op, alpha, h,
                    operand(model, b), n, in.ld, beta, operand(model, c_out), res.ld);
    };
    if (o.update_diagonal) {
      // The first run on a result of its own, so that the reported run starts from the inputs.
      device_array<T> c_first(q, usm, c.read());
      run(c_first).wait();
      update_diagonal(model, q, M, {});
      deps = {};
    }
    sycl::event done = run(c);
    done.wait();
    return 0;
  });

  result out;
  out.rows = m;
  out.cols = n;
  out.dense = column_major(res, c.read());
  return out;
}

#define VRT_DRIVER_INSTANTIATE(T, I) \
  template result run_dense_routine<T, I>(sycl::queue&, const options&, const host_matrix<T, I>&);
VRT_DRIVER_FOR_EACH_VARIANT(VRT_DRIVER_INSTANTIATE)

}  // namespace vrt_driver
