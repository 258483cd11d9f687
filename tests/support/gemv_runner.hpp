// Runs gemv (optionally after optimize_gemv) through the public routines on a host CSR matrix,
// in one memory model, and hands back y and the plans the structure held.
#pragma once

#include <sycl/sycl.hpp>

#include <cstdint>
#include <functional>
#include <vector>

#include <orvane/vrt/sparse.hpp>

#include "handle/gemv_data.hpp"
#include "handle/handle.hpp"
#include "support/sparse_matrices.hpp"

namespace vrt_test {

// usm: every array in device USM; shared: shared USM; host_y: y in host USM, the rest device
// USM; buffer: sycl::buffer for everything.
enum class memory { usm, shared, host_y, buffer };

inline const char* memory_name(memory m) {
  switch (m) {
    case memory::usm: return "device USM";
    case memory::shared: return "shared USM";
    case memory::host_y: return "host USM y";
    default: return "buffers";
  }
}

struct gemv_run_options {
  memory model = memory::usm;
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
  vs::matrix_handle* h = nullptr;
  vs::init_matrix_handle(&h);
  const auto base = static_cast<vrt::index_base>(A.base);
  const auto nrows = static_cast<I>(A.nrows);
  const auto ncols = static_cast<I>(A.ncols);
  const std::size_t out_len =
      static_cast<std::size_t>(o.op == vrt::transpose::nontrans ? A.nrows : A.ncols);
  // At least one element everywhere: an empty array still needs an address.
  auto padded = [](auto v) {
    if (v.empty()) v.resize(1);
    return v;
  };
  auto row_ptr = padded(A.row_ptr);
  auto col_ind = padded(A.col_ind);
  auto values = padded(A.values);
  auto xs = padded(x);
  y = padded(y);
  if (o.model != memory::buffer) {
    const auto kind = o.model == memory::shared ? sycl::usm::alloc::shared : sycl::usm::alloc::device;
    auto place = [&](const auto& v, sycl::usm::alloc k) {
      using E = typename std::decay_t<decltype(v)>::value_type;
      E* p = static_cast<E*>(sycl::malloc(v.size() * sizeof(E), q, k));
      q.memcpy(p, v.data(), v.size() * sizeof(E)).wait();
      return p;
    };
    I* d_row = place(row_ptr, kind);
    I* d_col = place(col_ind, kind);
    T* d_val = place(values, kind);
    T* d_x = place(xs, kind);
    T* d_y = place(y, o.model == memory::host_y ? sycl::usm::alloc::host : kind);
    sycl::event last = vs::set_csr_data(q, h, nrows, ncols, base, d_row, d_col, d_val);
    if (o.optimize) last = vs::optimize_gemv(q, o.op, h, {last});
    last.wait();
    if (o.planned) o.planned(h);
    for (int k = 0; k < o.products; ++k) last = vs::gemv(q, o.op, alpha, h, d_x, beta, d_y, {last});
    last.wait();
    q.memcpy(y.data(), d_y, y.size() * sizeof(T)).wait();
    if (o.done) o.done(h);
    vs::release_matrix_handle(q, &h, {last}).wait();
    for (void* p : {static_cast<void*>(d_row), static_cast<void*>(d_col),
                    static_cast<void*>(d_val), static_cast<void*>(d_x), static_cast<void*>(d_y)})
      sycl::free(p, q);
  } else {
    {
      sycl::buffer<I, 1> b_row(row_ptr.data(), sycl::range<1>(row_ptr.size()));
      sycl::buffer<I, 1> b_col(col_ind.data(), sycl::range<1>(col_ind.size()));
      sycl::buffer<T, 1> b_val(values.data(), sycl::range<1>(values.size()));
      sycl::buffer<T, 1> b_x(xs.data(), sycl::range<1>(xs.size()));
      sycl::buffer<T, 1> b_y(y.data(), sycl::range<1>(y.size()));
      vs::set_csr_data(q, h, nrows, ncols, base, b_row, b_col, b_val);
      if (o.optimize) vs::optimize_gemv(q, o.op, h);
      if (o.planned) o.planned(h);
      for (int k = 0; k < o.products; ++k) vs::gemv(q, o.op, alpha, h, b_x, beta, b_y);
      if (o.done) o.done(h);
      vs::release_matrix_handle(&h);
    }
  }
  y.resize(out_len);
  return y;
}

}  // namespace vrt_test
