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
    sycl::event done;
    if (routine == "gemv")
      done = invoke(model, deps, VRT_DRIVER_ROUTINE(gemv), q, op, alpha, h, X(x), beta, X(y));
    else if (routine == "gemvdot")
      done =
          invoke(model, deps, VRT_DRIVER_ROUTINE(gemvdot), q, op, alpha, h, X(x), beta, X(y), X(d));
    else if (routine == "symv")
      done = invoke(model, deps, VRT_DRIVER_ROUTINE(symv), q, ul, alpha, h, X(x), beta, X(y));
    else if (routine == "trmv")
      done =
          invoke(model, deps, VRT_DRIVER_ROUTINE(trmv), q, ul, op, dg, alpha, h, X(x), beta, X(y));
    else if (o.alpha_given)
      done = invoke(model, deps, VRT_DRIVER_ROUTINE(trsv), q, ul, op, dg, alpha, h, X(x), X(y));
    else
      done = invoke(model, deps, VRT_DRIVER_ROUTINE(trsv), q, ul, op, dg, h, X(x), X(y));
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
