// Binds a host matrix in CSR or COO form on an emulated GPU, runs one product with y (and d) in
// the chosen memory, and returns y and d: the harness of the transposed, COO, symmetric and fused
// product tests.
#pragma once

#include <hostsycl/hostsycl.hpp>
#include <string>
#include <vector>

#include "support/device_arrays.hpp"
#include "support/sparse_matrices.hpp"

namespace vrt_mv_test {

namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;
using vrt_test::memory;
using vrt_test::storage;

template <typename T>
struct outputs {
  std::vector<T> y;
  T d;
};

// call(handle, x, y, d, deps...) runs the product: with pointers and a dependency list in the USM
// models, with buffers and no list else. In the USM models the matrix and x live in device USM,
// y and d in the memory named.
template <typename T, typename I, typename Call>
outputs<T> run(sycl::queue& q, const vrt_test::csr_matrix<T, I>& A, storage s, memory m,
               const std::vector<T>& x, const std::vector<T>& y, T d0, Call call) {
  const memory operands = vrt_test::is_usm(m) ? memory::device : memory::buffer;
  vrt_test::bound_matrix<T, I> b(q, A, operands, s);
  vrt_test::device_array<T> xs(q, x, operands);
  vrt_test::device_array<T> ys(q, y, m);
  vrt_test::device_array<T> ds(q, {d0}, m);
  // A refusal still leaves nothing behind: the arrays and the handle go with their owners.
  b.run(call, xs, ys, ds);
  b.wait();
  auto got = ys.read(y.size());
  return {got, ds.read()[0]};
}

}  // namespace vrt_mv_test
