// Binds a host matrix in CSR or COO form on an emulated GPU, runs one product with y (and d) in
// the chosen memory, and returns y and d: the harness of the transposed, COO, symmetric and fused
// product tests.
#pragma once

#include <hostsycl/hostsycl.hpp>

#include <string>
#include <vector>

#include "support/sparse_matrices.hpp"

namespace vrt_mv_test {

namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;

enum class model { device, shared, host, buffer };
enum class storage { csr, coo };

inline const char* name_of(model m) {
  switch (m) {
    case model::device: return "device USM";
    case model::shared: return "shared USM";
    case model::host: return "host USM";
    default: return "buffers";
  }
}

template <typename T>
struct outputs {
  std::vector<T> y;
  T d;
};

template <typename V>
V padded(V v) {
  if (v.empty()) v.resize(1);
  return v;
}

// The row index of every nonzero, in the matrix's base.
template <typename T, typename I>
std::vector<I> row_indices(const vrt_test::csr_matrix<T, I>& A) {
  std::vector<I> rows;
  for (std::int64_t r = 0; r < A.nrows; ++r)
    for (I j = A.row_ptr[r] - A.base; j < A.row_ptr[r + 1] - A.base; ++j)
      rows.push_back(static_cast<I>(r + A.base));
  return rows;
}

// call(handle, x, y, d, deps...) runs the product: with pointers and a dependency list in the USM
// models, with buffers and no list else.
template <typename T, typename I, typename Call>
outputs<T> run(sycl::queue& q, const vrt_test::csr_matrix<T, I>& A, storage s, model m,
               const std::vector<T>& x, std::vector<T> y, T d0, Call call) {
  vs::matrix_handle* h = nullptr;
  vs::init_matrix_handle(&h);
  const auto base = static_cast<vrt::index_base>(A.base);
  const auto nrows = static_cast<I>(A.nrows);
  const auto ncols = static_cast<I>(A.ncols);
  const auto nnz = static_cast<I>(A.nnz());
  auto first = padded(s == storage::csr ? A.row_ptr : row_indices(A));
  auto col_ind = padded(A.col_ind);
  auto values = padded(A.values);
  auto xs = padded(x);
  const std::size_t ylen = y.size();
  y = padded(y);
  std::vector<T> d{d0};
  if (m != model::buffer) {
    auto to_device = [&](const auto& v, sycl::usm::alloc kind) {
      using E = typename std::decay_t<decltype(v)>::value_type;
      E* p = sycl::malloc<E>(v.size(), q, kind);
      q.memcpy(p, v.data(), v.size() * sizeof(E)).wait();
      return p;
    };
    const auto dev = sycl::usm::alloc::device;
    const auto ykind = m == model::device ? dev
                       : m == model::shared ? sycl::usm::alloc::shared
                                            : sycl::usm::alloc::host;
    I* d_first = to_device(first, dev);
    I* d_col = to_device(col_ind, dev);
    T* d_val = to_device(values, dev);
    T* d_x = to_device(xs, dev);
    T* d_y = to_device(y, ykind);
    T* d_d = to_device(d, ykind);
    sycl::event bound =
        s == storage::csr
            ? vs::set_csr_data(q, h, nrows, ncols, base, d_first, d_col, d_val)
            : vs::set_coo_data(q, h, nrows, ncols, nnz, base, d_first, d_col, d_val);
    auto release = [&](const sycl::event& after) {
      vs::release_matrix_handle(q, &h, {after}).wait();
      for (void* p : {static_cast<void*>(d_first), static_cast<void*>(d_col),
                      static_cast<void*>(d_val), static_cast<void*>(d_x), static_cast<void*>(d_y),
                      static_cast<void*>(d_d)})
        sycl::free(p, q);
    };
    sycl::event done;
    try {
      done = call(h, d_x, d_y, d_d, std::vector<sycl::event>{bound});
      done.wait();
    } catch (...) {
      // A refusal still leaves nothing behind.
      release(bound);
      throw;
    }
    q.memcpy(y.data(), d_y, y.size() * sizeof(T)).wait();
    q.memcpy(d.data(), d_d, sizeof(T)).wait();
    release(done);
  } else {
    {
      sycl::buffer<I, 1> b_first(first.data(), sycl::range<1>(first.size()));
      sycl::buffer<I, 1> b_col(col_ind.data(), sycl::range<1>(col_ind.size()));
      sycl::buffer<T, 1> b_val(values.data(), sycl::range<1>(values.size()));
      sycl::buffer<T, 1> b_x(xs.data(), sycl::range<1>(xs.size()));
      sycl::buffer<T, 1> b_y(y.data(), sycl::range<1>(y.size()));
      sycl::buffer<T, 1> b_d(d.data(), sycl::range<1>(1));
      if (s == storage::csr)
        vs::set_csr_data(q, h, nrows, ncols, base, b_first, b_col, b_val);
      else
        vs::set_coo_data(q, h, nrows, ncols, nnz, base, b_first, b_col, b_val);
      try {
        call(h, b_x, b_y, b_d);
      } catch (...) {
        vs::release_matrix_handle(&h);
        throw;
      }
      vs::release_matrix_handle(&h);
    }
  }
  y.resize(ylen);
  return {y, d[0]};
}

}  // namespace vrt_mv_test
