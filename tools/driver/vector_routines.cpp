// Products and solves with one vector: gemv, gemvdot, symv, trmv, trsv.
#include "arrays.hpp"
#include "plan_report.hpp"
#include "routines.hpp"

namespace vrt_driver {

template <typename T, typename I>
result run_vector_routine(sycl::queue& q, const options& o, const host_matrix<T, I>& A) {
  const std::string& routine = o.routine;
  // symv has no operation: it reads the matrix as it is stored.
  const auto op = routine == "symv" ? vrt::transpose::nontrans : to_transpose(o.op);
  const auto ul = o.uplo == "lower" ? vrt::uplo::lower : vrt::uplo::upper;
  const auto dg = o.diag == "unit" ? vrt::diag::unit : vrt::diag::nonunit;
  const bool transposed = op != vrt::transpose::nontrans;
  const std::int64_t nx = transposed ? A.nrows : A.ncols;
  const std::int64_t ny = transposed ? A.ncols : A.nrows;
  const T alpha = from_complex<T>(o.alpha), beta = from_complex<T>(o.beta);
  const bool usm = o.memory == "usm";

  bound_matrix<T, I> M(q, usm, A);
  device_array<T> x(q, usm, x_vector<T>(nx));
  device_array<T> y(q, usm, y_vector<T>(ny), to_usm_kind(o.y_memory));
  device_array<T> d(q, usm, {T(0)});
  vs::matrix_handle* h = M.handle;

  with_model(usm, [&](auto model) {
    vs::event_list deps = {M.ready};
    if (o.optimize) {
      sycl::event planned;
      if (routine == "trmv")
        planned = vs::optimize_trmv(q, ul, op, dg, h, deps);
      else if (routine == "trsv")
        planned = vs::optimize_trsv(q, ul, op, dg, h, deps);
      else
        planned = vs::optimize_gemv(q, op, h, deps);
      deps = {planned};
    }
    auto X = [&](device_array<T>& a) -> decltype(auto) { return operand(model, a); };
    auto run = [&](device_array<T>& y_out, device_array<T>& d_out) {
      if (routine == "gemv")
        return invoke(model, deps, VRT_DRIVER_ROUTINE(gemv), q, op, alpha, h, X(x), beta, X(y_out));
      if (routine == "gemvdot")
        return invoke(model, deps, VRT_DRIVER_ROUTINE(gemvdot), q, op, alpha, h, X(x), beta,
                      X(y_out), X(d_out));
      if (routine == "symv")
        return invoke(model, deps, VRT_DRIVER_ROUTINE(symv), q, ul, alpha, h, X(x), beta, X(y_out));
      if (routine == "trmv")
        return invoke(model, deps, VRT_DRIVER_ROUTINE(trmv), q, ul, op, dg, alpha, h, X(x), beta,
                      X(y_out));
      if (o.alpha_given)
        return invoke(model, deps, VRT_DRIVER_ROUTINE(trsv), q, ul, op, dg, alpha, h, X(x),
                      X(y_out));
      return invoke(model, deps, VRT_DRIVER_ROUTINE(trsv), q, ul, op, dg, h, X(x), X(y_out));
    };
    if (o.update_diagonal) {
      // The first run on arrays of its own, so that the reported run starts from the inputs.
      device_array<T> y_first(q, usm, y_vector<T>(ny), to_usm_kind(o.y_memory));
      device_array<T> d_first(q, usm, {T(0)});
      run(y_first, d_first).wait();
      update_diagonal(model, q, M, {});
      deps = {};
    }
    sycl::event done = run(y, d);
    done.wait();
    if (routine == "gemv" && !q.get_device().is_cpu()) report_gemv_plan(h, op);
    return 0;
  });

  result out;
  out.rows = ny;
  out.cols = 1;
  const std::vector<T> values = y.read();
  out.dense.assign(values.begin(), values.begin() + ny);
  if (routine == "gemvdot") out.dot = std::complex<double>(d.read()[0]);
  return out;
}

#define VRT_DRIVER_INSTANTIATE(T, I) \
  template result run_vector_routine<T, I>(sycl::queue&, const options&, const host_matrix<T, I>&);
VRT_DRIVER_FOR_EACH_VARIANT(VRT_DRIVER_INSTANTIATE)

}  // namespace vrt_driver
