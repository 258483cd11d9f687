// Runs gemv (optionally after optimize_gemv) through the public routines on a host CSR matrix,
// in one memory model, and hands back y and the plans the structure held.
#pragma once

#include <cstdint>
#include <functional>
#include <orvane/vrt/sparse.hpp>
#include <sycl/sycl.hpp>
#include <vector>

#include "handle/gemv_data.hpp"
#include "handle/handle.hpp"
#include "support/device_arrays.hpp"
#include "support/sparse_matrices.hpp"

namespace vrt_test {

struct gemv_run_options {
  // device: every array in device USM; shared: shared USM; host: y in host USM, the rest device
  // USM; buffer: sycl::buffer for everything.
  memory model = memory::device;
  bool optimize = false;
  orvane::vrt::transpose op = orvane::vrt::transpose::nontrans;
  int products = 1;  // gemv calls in a row, each on the previous y
  // Sees the handle after optimize_gemv (if asked) and before the first gemv.
  std::function<void(orvane::vrt::sparse::matrix_handle*)> planned = {};
  // Sees the handle after the products.
  std::function<void(orvane::vrt::sparse::matrix_handle*)> done = {};
};

template <typename T, typename I>
std::vector<T> run_gemv_with(sycl::queue& q, const csr_matrix<T, I>& A, T alpha,
                             const std::vector<T>& x, T beta, std::vector<T> y,
                             const gemv_run_options& o) {
  namespace vrt = orvane::vrt;
  namespace vs = orvane::vrt::sparse;
  const std::size_t out_len =
      static_cast<std::size_t>(o.op == vrt::transpose::nontrans ? A.nrows : A.ncols);
  const memory rest = o.model == memory::host ? memory::device : o.model;
  bound_matrix<T, I> b(q, A, rest);
  device_array<T> xs(q, x, rest);
  device_array<T> ys(q, y, o.model);
  vs::matrix_handle* h = b.handle();
  if (o.optimize)
    b.run([&](vs::matrix_handle* hh, const auto&... deps) {
      return vs::optimize_gemv(q, o.op, hh, deps...);
    });
  b.wait();
  if (o.planned) o.planned(h);
  for (int k = 0; k < o.products; ++k)
    b.run([&](vs::matrix_handle* hh, auto& xv, auto& yv,
              const auto&... deps) { return vs::gemv(q, o.op, alpha, hh, xv, beta, yv, deps...); },
          xs, ys);
  b.wait();
  y = ys.read();
  if (o.done) o.done(h);
  y.resize(out_len);
  return y;
}

}  // namespace vrt_test
