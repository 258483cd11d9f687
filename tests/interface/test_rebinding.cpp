// Binding new arrays to a handle that has already computed: every device computes with the new
// arrays (the old ones are overwritten with NaN before the second call), and the analysis of an
// unchanged structure is made again from the new values without another optimize call.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <hostsycl/hostsycl.hpp>
#include <limits>
#include <memory>
#include <orvane/vrt/sparse.hpp>
#include <string>
#include <vector>

#include "common/variants.hpp"
#include "handle/handle.hpp"
#include "support/device_arrays.hpp"

namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;
using vrt::transpose;

namespace {

constexpr int n = 6;
// Outputs start from a finite sentinel: some product kernels keep a NaN of y under a zero beta
// on purpose. The spoilt arrays hold NaN, so a product from them cannot pass.
constexpr double sentinel = -12345.0;

// A lower triangle with a strong diagonal: row i holds (i, 0) for i > 1, (i, i - 1) for i > 0
// and (i, i), columns in order. The values depend on `seed`, the pattern does not.
template <typename T, typename I>
struct triangle {
  std::vector<I> row_ptr{0}, row_ind, col_ind;
  std::vector<T> values;
  explicit triangle(int seed) {
    for (int i = 0; i < n; ++i) {
      auto add = [&](int j, double v) {
        row_ind.push_back(static_cast<I>(i));
        col_ind.push_back(static_cast<I>(j));
        values.push_back(static_cast<T>(v));
      };
      if (i > 1) add(0, 0.25 * seed);
      if (i > 0) add(i - 1, -0.5 * seed + 0.125 * i);
      add(i, 4.0 + i + seed);
      row_ptr.push_back(static_cast<I>(col_ind.size()));
    }
  }
  // y = op(A) x; op is nontrans or trans (real values).
  std::vector<double> product(bool transposed, const std::vector<double>& x) const {
    std::vector<double> y(n, 0.0);
    for (std::size_t k = 0; k < values.size(); ++k) {
      const auto i = static_cast<std::size_t>(row_ind[k]), j = static_cast<std::size_t>(col_ind[k]);
      if (transposed)
        y[j] += static_cast<double>(values[k]) * x[i];
      else
        y[i] += static_cast<double>(values[k]) * x[j];
    }
    return y;
  }
  // Solves A y = x by forward substitution.
  std::vector<double> solve(const std::vector<double>& x) const {
    std::vector<double> y(n, 0.0);
    for (int i = 0; i < n; ++i) {
      double sum = x[static_cast<std::size_t>(i)], d = 0.0;
      for (auto k = row_ptr[static_cast<std::size_t>(i)];
           k < row_ptr[static_cast<std::size_t>(i) + 1]; ++k) {
        const auto j = static_cast<std::size_t>(col_ind[static_cast<std::size_t>(k)]);
        const double v = static_cast<double>(values[static_cast<std::size_t>(k)]);
        if (static_cast<int>(j) == i)
          d = v;
        else
          sum -= v * y[j];
      }
      y[static_cast<std::size_t>(i)] = sum / d;
    }
    return y;
  }
};

std::vector<double> inputs() {
  std::vector<double> x(n);
  for (int i = 0; i < n; ++i) x[static_cast<std::size_t>(i)] = 1.0 + 0.5 * i;
  return x;
}

template <typename T, typename Y>
void expect_close(const Y& got, const std::vector<double>& want, const std::string& what) {
  const double bound = (sizeof(T) == 4 ? 1e-4 : 1e-11);
  for (int i = 0; i < n; ++i) {
    const double err = std::abs(static_cast<double>(got[i]) - want[static_cast<std::size_t>(i)]);
    EXPECT_TRUE(err <= bound * (1.0 + std::abs(want[static_cast<std::size_t>(i)])))
        << what << " row " << i << ": " << got[i] << " vs " << want[static_cast<std::size_t>(i)];
  }
}

sycl::queue queue_for(const std::string& device) {
  return device == "cpu" ? sycl::queue{sycl::cpu_selector_v}
                         : sycl::queue{hostsycl::emulated_gpu(device.c_str())};
}

const char* devices[] = {"cpu", "emu-a1"};

// The arrays of one binding in shared USM.
template <typename T, typename I>
struct usm_arrays {
  vrt_test::device_array<I> row_array, col_array;
  vrt_test::device_array<T> value_array;
  I* rows = row_array.usm();
  I* cols = col_array.usm();
  T* vals = value_array.usm();
  usm_arrays(sycl::queue& q, const triangle<T, I>& m, bool coo)
      : row_array(q, coo ? m.row_ind : m.row_ptr, vrt_test::memory::shared),
        col_array(q, m.col_ind, vrt_test::memory::shared),
        value_array(q, m.values, vrt_test::memory::shared) {}
  void spoil(std::size_t count) {
    for (std::size_t k = 0; k < count; ++k) vals[k] = T(std::numeric_limits<double>::quiet_NaN());
  }
};

// x from inputs() in shared USM, and y of sentinels in shared USM (host USM if asked).
template <typename T>
struct usm_vectors {
  vrt_test::device_array<T> x_array, y_array;
  T* xs = x_array.usm();
  T* y = y_array.usm();
  explicit usm_vectors(sycl::queue& q, bool host_y = false)
      : x_array(q, as_values(inputs()), vrt_test::memory::shared),
        y_array(q, std::vector<T>(n, T(sentinel)),
                host_y ? vrt_test::memory::host : vrt_test::memory::shared) {}
  static std::vector<T> as_values(const std::vector<double>& x) {
    std::vector<T> v;
    for (double e : x) v.push_back(static_cast<T>(e));
    return v;
  }
};

template <typename T, typename I>
void bind_usm(sycl::queue& q, vs::matrix_handle_t h, const usm_arrays<T, I>& a, bool coo,
              std::size_t nnz) {
  if (coo)
    vs::set_coo_data(q, h, I{n}, I{n}, static_cast<I>(nnz), vrt::index_base::zero, a.rows, a.cols,
                     a.vals)
        .wait();
  else
    vs::set_csr_data(q, h, I{n}, I{n}, vrt::index_base::zero, a.rows, a.cols, a.vals).wait();
}

// gemv on USM: a product with the first arrays, a rebinding, the first arrays spoilt, a product
// that must come from the second. y in host USM sends a transposed product on a device through
// an explicit transpose of the first values, which the rebinding must not keep.
template <typename T, typename I>
void gemv_after_rebinding_usm(const std::string& device, bool coo, bool host_y) {
  SCOPED_TRACE(device + (coo ? " coo" : " csr") + (host_y ? " host y" : " shared y"));
  sycl::queue q = queue_for(device);
  const triangle<T, I> first(1), second(3);
  const auto x = inputs();
  usm_vectors<T> v(q, host_y);
  T* xs = v.xs;
  T* y = v.y;
  auto old_arrays = std::make_unique<usm_arrays<T, I>>(q, first, coo);
  usm_arrays<T, I> new_arrays(q, second, coo);
  vs::matrix_handle_t h = nullptr;
  vs::init_matrix_handle(&h);
  bind_usm(q, h, *old_arrays, coo, first.values.size());
  for (const transpose op : {transpose::nontrans, transpose::trans}) {
    vs::gemv(q, op, T(1), h, xs, T(0), y).wait();
    expect_close<T>(y, first.product(op == transpose::trans, x), "first binding");
  }
  bind_usm(q, h, new_arrays, coo, second.values.size());
  old_arrays->spoil(first.values.size());
  for (const transpose op : {transpose::nontrans, transpose::trans}) {
    for (int i = 0; i < n; ++i) y[i] = T(sentinel);
    vs::gemv(q, op, T(1), h, xs, T(0), y).wait();
    expect_close<T>(y, second.product(op == transpose::trans, x),
                    op == transpose::trans ? "trans after rebinding" : "after rebinding");
  }
  // The first arrays are gone for good; the handle no longer needs them.
  old_arrays.reset();
  vs::gemv(q, transpose::nontrans, T(1), h, xs, T(0), y).wait();
  expect_close<T>(y, second.product(false, x), "after freeing the first arrays");
  vs::release_matrix_handle(q, &h).wait();
}

// gemv on buffers: the same, with the first buffers overwritten through host accessors.
template <typename T, typename I>
void gemv_after_rebinding_buffers(const std::string& device, bool coo) {
  SCOPED_TRACE(device + (coo ? " coo buffers" : " csr buffers"));
  sycl::queue q = queue_for(device);
  triangle<T, I> first(1), second(2);
  const auto x = inputs();
  std::vector<T> xv(n);
  for (int i = 0; i < n; ++i)
    xv[static_cast<std::size_t>(i)] = static_cast<T>(x[static_cast<std::size_t>(i)]);
  sycl::buffer<T, 1> xb(xv.data(), sycl::range<1>(n));
  sycl::buffer<T, 1> yb{sycl::range<1>(n)};
  std::vector<I>& r1v = coo ? first.row_ind : first.row_ptr;
  std::vector<I>& r2v = coo ? second.row_ind : second.row_ptr;
  sycl::buffer<I, 1> r1(r1v.data(), sycl::range<1>(r1v.size()));
  sycl::buffer<I, 1> c1(first.col_ind.data(), sycl::range<1>(first.col_ind.size()));
  sycl::buffer<T, 1> v1(first.values.data(), sycl::range<1>(first.values.size()));
  sycl::buffer<I, 1> r2(r2v.data(), sycl::range<1>(r2v.size()));
  sycl::buffer<I, 1> c2(second.col_ind.data(), sycl::range<1>(second.col_ind.size()));
  sycl::buffer<T, 1> v2(second.values.data(), sycl::range<1>(second.values.size()));
  vs::matrix_handle_t h = nullptr;
  vs::init_matrix_handle(&h);
  auto bind = [&](sycl::buffer<I, 1>& r, sycl::buffer<I, 1>& c, sycl::buffer<T, 1>& v) {
    if (coo)
      vs::set_coo_data(q, h, I{n}, I{n}, static_cast<I>(v.size()), vrt::index_base::zero, r, c, v);
    else
      vs::set_csr_data(q, h, I{n}, I{n}, vrt::index_base::zero, r, c, v);
  };
  auto check = [&](const triangle<T, I>& m, const char* what) {
    for (const transpose op : {transpose::nontrans, transpose::trans}) {
      {
        sycl::host_accessor y(yb, sycl::write_only);
        for (int i = 0; i < n; ++i) y[i] = T(sentinel);
      }
      vs::gemv(q, op, T(1), h, xb, T(0), yb);
      sycl::host_accessor y(yb, sycl::read_only);
      expect_close<T>(y, m.product(op == transpose::trans, x), what);
    }
  };
  bind(r1, c1, v1);
  check(first, "first binding");
  bind(r2, c2, v2);
  {
    sycl::host_accessor v(v1, sycl::write_only);
    for (std::size_t k = 0; k < v.size(); ++k) v[k] = T(std::numeric_limits<double>::quiet_NaN());
  }
  check(second, "after rebinding");
  vs::release_matrix_handle(q, &h).wait();
}

// optimize_trsv, a solve, a rebinding with new values in the same pattern (the first values
// spoilt), a solve: the solution comes from the new values, and the solve still runs on an
// analysis (the device's level sets, the host engine's matrix) without another optimize call.
template <typename T, typename I>
void trsv_after_rebinding(const std::string& device) {
  SCOPED_TRACE(device);
  sycl::queue q = queue_for(device);
  const triangle<T, I> first(1), second(2);
  const auto x = inputs();
  usm_vectors<T> v(q);
  T* xs = v.xs;
  T* y = v.y;
  usm_arrays<T, I> old_arrays(q, first, false), new_arrays(q, second, false);
  vs::matrix_handle_t h = nullptr;
  vs::init_matrix_handle(&h);
  bind_usm(q, h, old_arrays, false, 0);
  vs::optimize_trsv(q, vrt::uplo::lower, transpose::nontrans, vrt::diag::nonunit, h).wait();
  vs::trsv(q, vrt::uplo::lower, transpose::nontrans, vrt::diag::nonunit, T(1), h, xs, y).wait();
  expect_close<T>(y, first.solve(x), "first binding");
  bind_usm(q, h, new_arrays, false, 0);
  old_arrays.spoil(first.values.size());
  for (int i = 0; i < n; ++i) y[i] = T(sentinel);
  vs::trsv(q, vrt::uplo::lower, transpose::nontrans, vrt::diag::nonunit, T(1), h, xs, y).wait();
  expect_close<T>(y, second.solve(x), "after rebinding");
  // The host engine's analysis lives in its matrix, which the rebinding dropped: the records
  // that made it were replayed. The device's level sets are made again from the new values.
  ASSERT_NE(h->analyses, nullptr);
  EXPECT_FALSE(h->analyses_to_replay);
  if (device == "cpu")
    EXPECT_NE(h->host_matrix, nullptr);
  else
    EXPECT_NE(h->coloring_lower, nullptr);
  vs::release_matrix_handle(q, &h).wait();
}

}  // namespace

TEST(Rebinding, GemvOnUsmComputesWithTheNewArrays) {
  for (const std::string device : devices)
    for (const bool coo : {false, true}) {
      gemv_after_rebinding_usm<double, std::int32_t>(device, coo, false);
      if (vs::value_type_built<float>)  // a narrowed build may leave float out
        gemv_after_rebinding_usm<float, std::int64_t>(device, coo, false);
    }
  // A transposed product into host USM runs on an explicit transpose on a device.
  gemv_after_rebinding_usm<double, std::int32_t>("emu-a1", false, true);
}

TEST(Rebinding, GemvOnBuffersComputesWithTheNewArrays) {
  for (const std::string device : devices)
    for (const bool coo : {false, true})
      gemv_after_rebinding_buffers<double, std::int64_t>(device, coo);
}

TEST(Rebinding, AnalysedTriangleSolvesWithTheNewValues) {
  for (const std::string device : devices) {
    trsv_after_rebinding<double, std::int32_t>(device);
    if (vs::value_type_built<float>) trsv_after_rebinding<float, std::int64_t>(device);
  }
}

// A rebinding with the other index width on a CPU queue: the host engine's matrix over the
// 32-bit arrays is released as such, and the product comes from the 64-bit arrays.
TEST(Rebinding, AnotherIndexWidthOnACpuQueue) {
  sycl::queue q{sycl::cpu_selector_v};
  const triangle<double, std::int32_t> narrow(1);
  const triangle<double, std::int64_t> wide(2);
  const auto x = inputs();
  usm_vectors<double> v(q);
  double* xs = v.xs;
  double* y = v.y;
  usm_arrays<double, std::int32_t> a(q, narrow, false);
  usm_arrays<double, std::int64_t> b(q, wide, false);
  vs::matrix_handle_t h = nullptr;
  vs::init_matrix_handle(&h);
  bind_usm(q, h, a, false, 0);
  vs::optimize_gemv(q, transpose::nontrans, h).wait();
  vs::gemv(q, transpose::nontrans, 1.0, h, xs, 0.0, y).wait();
  expect_close<double>(y, narrow.product(false, x), "32-bit");
  bind_usm(q, h, b, false, 0);
  a.spoil(narrow.values.size());
  for (int i = 0; i < n; ++i) y[i] = sentinel;
  vs::gemv(q, transpose::nontrans, 1.0, h, xs, 0.0, y).wait();
  expect_close<double>(y, wide.product(false, x), "64-bit");
  EXPECT_EQ(h->int_type, vs::int_64);
  vs::release_matrix_handle(q, &h).wait();
}
