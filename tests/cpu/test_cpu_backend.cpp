// Every routine on a CPU queue, through the public API and the host engine, against plain
// references; the status of the engine as exceptions; concurrent handles on one queue.
#include <gtest/gtest.h>

#include <thread>

#include "handle/handle.hpp"
#include "support/sparse_matrices.hpp"
#include "support/test_helpers.hpp"
#include "vrt/host_sparse.h"

namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;
using vrt::transpose;
using vrt_test::csr_matrix;

namespace {

using vrt_test::all_variants;
using vrt_test::expect_message;

// A square matrix with a strong diagonal, so that its triangles are well conditioned.
template <typename T, typename I>
csr_matrix<T, I> square_matrix(std::int64_t n, unsigned seed, int base) {
  auto A = vrt_test::random_csr<T, I>(n, n, 6, seed, base);
  csr_matrix<T, I> out = A;
  out.row_ptr = {static_cast<I>(base)};
  out.col_ind.clear();
  out.values.clear();
  for (std::int64_t i = 0; i < n; ++i) {
    out.col_ind.push_back(static_cast<I>(i + base));
    out.values.push_back(T(20));
    for (I k = A.row_ptr[i] - base; k < A.row_ptr[i + 1] - base; ++k) {
      out.col_ind.push_back(A.col_ind[k]);
      out.values.push_back(A.values[k]);
    }
    out.row_ptr.push_back(static_cast<I>(out.col_ind.size() + base));
  }
  return out;
}

// The matrix bound in USM (shared memory) or buffers on a CPU queue.
template <typename T, typename I>
struct cpu_matrix {
  sycl::queue& q;
  bool usm;
  vs::matrix_handle* h = nullptr;
  csr_matrix<T, I> A;
  std::unique_ptr<sycl::buffer<I, 1>> rows, cols;
  std::unique_ptr<sycl::buffer<T, 1>> vals;
  I *r = nullptr, *c = nullptr;
  T* v = nullptr;
  cpu_matrix(sycl::queue& queue, bool in_usm, csr_matrix<T, I> m) : q(queue), usm(in_usm), A(std::move(m)) {
    vs::init_matrix_handle(&h);
    const auto base = static_cast<vrt::index_base>(A.base);
    if (usm) {
      r = sycl::malloc_shared<I>(A.row_ptr.size(), q);
      c = sycl::malloc_shared<I>(std::max<std::size_t>(A.col_ind.size(), 1), q);
      v = sycl::malloc_shared<T>(std::max<std::size_t>(A.values.size(), 1), q);
      std::copy(A.row_ptr.begin(), A.row_ptr.end(), r);
      std::copy(A.col_ind.begin(), A.col_ind.end(), c);
      std::copy(A.values.begin(), A.values.end(), v);
      vs::set_csr_data(q, h, static_cast<I>(A.nrows), static_cast<I>(A.ncols), base, r, c, v).wait();
    } else {
      rows = std::make_unique<sycl::buffer<I, 1>>(A.row_ptr.data(), sycl::range<1>(A.row_ptr.size()));
      cols = std::make_unique<sycl::buffer<I, 1>>(A.col_ind.data(), sycl::range<1>(A.col_ind.size()));
      vals = std::make_unique<sycl::buffer<T, 1>>(A.values.data(), sycl::range<1>(A.values.size()));
      vs::set_csr_data(q, h, static_cast<I>(A.nrows), static_cast<I>(A.ncols), base, *rows, *cols, *vals);
    }
  }
  ~cpu_matrix() {
    if (usm) {
      vs::release_matrix_handle(q, &h).wait();
      sycl::free(r, q);
      sycl::free(c, q);
      sycl::free(v, q);
    } else {
      vs::release_matrix_handle(&h);
    }
  }
};

// Runs f(x, y) with x and y as USM shared arrays or buffers, returning y.
template <typename T, typename F>
std::vector<T> with_vectors(sycl::queue& q, bool usm, std::vector<T> x, std::vector<T> y, F&& f) {
  if (usm) {
    T* dx = sycl::malloc_shared<T>(x.size(), q);
    T* dy = sycl::malloc_shared<T>(y.size(), q);
    std::copy(x.begin(), x.end(), dx);
    std::copy(y.begin(), y.end(), dy);
    sycl::event e = f(dx, dy);
    EXPECT_EQ(e.template get_info<sycl::info::event::command_execution_status>(),
              sycl::info::event_command_status::complete)
        << "a CPU queue's routine is synchronous";
    std::copy(dy, dy + y.size(), y.begin());
    sycl::free(dx, q);
    sycl::free(dy, q);
  } else if constexpr (std::is_invocable_v<F, sycl::buffer<T, 1>&, sycl::buffer<T, 1>&>) {
    sycl::buffer<T, 1> bx(x.data(), sycl::range<1>(x.size()));
    {
      sycl::buffer<T, 1> by(y.data(), sycl::range<1>(y.size()));
      f(bx, by);
    }
  } else {
    ADD_FAILURE() << "this call has no buffer form here";
  }
  return y;
}

template <typename T>
std::vector<T> random_vector(std::size_t n, unsigned seed) {
  std::mt19937 rng(seed);
  std::vector<T> v(n);
  for (auto& e : v) e = vrt_test::random_value<T>(rng);
  return v;
}

template <typename V>
class CpuBackend : public ::testing::Test {};
TYPED_TEST_SUITE(CpuBackend, all_variants);

TYPED_TEST(CpuBackend, GemvInEveryOperationAndMemoryModel) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{sycl::cpu_selector_v};
  const auto A = vrt_test::random_csr<T, I>(300, 200, 12, 3, 1, 2, 150);
  for (bool usm : {true, false}) {
    cpu_matrix<T, I> M(q, usm, A);
    for (transpose op : {transpose::nontrans, transpose::trans, transpose::conjtrans}) {
      const bool t = op != transpose::nontrans;
      const auto x = random_vector<T>(t ? 300 : 200, 1);
      const auto y0 = random_vector<T>(t ? 200 : 300, 2);
      const T alpha(2), beta(-0.5);
      const auto got = with_vectors<T>(q, usm, x, y0, [&](auto xs, auto ys) {
        if constexpr (std::is_pointer_v<decltype(xs)>)
          return vs::gemv(q, op, alpha, M.h, xs, beta, ys);
        else
          return vs::gemv(q, op, alpha, M.h, xs, beta, ys), sycl::event();
      });
      vrt_test::expect_near_vectors(got, vrt_test::reference_gemv(A, op, alpha, x, beta, y0),
                                    vrt_test::error_scale(A, op, alpha, x, beta, y0), "cpu gemv");
    }
    // Hints and optimisation change nothing in the result.
    vs::optimize_gemv(q, transpose::trans, M.h).wait();
    const auto x = random_vector<T>(300, 5);
    const auto y0 = random_vector<T>(200, 6);
    const auto got = with_vectors<T>(q, usm, x, y0, [&](auto xs, auto ys) {
      if constexpr (std::is_pointer_v<decltype(xs)>)
        return vs::gemv(q, transpose::trans, T(1), M.h, xs, T(0), ys);
      else
        return vs::gemv(q, transpose::trans, T(1), M.h, xs, T(0), ys), sycl::event();
    });
    vrt_test::expect_near_vectors(got, vrt_test::reference_gemv(A, transpose::trans, T(1), x, T(0), y0),
                                  vrt_test::error_scale(A, transpose::trans, T(1), x, T(0), y0), "after optimize");
  }
}

// Dense reference of op(part of A) for the triangular and symmetric routines.
template <typename T, typename I>
std::vector<std::vector<std::complex<double>>> dense_of(const csr_matrix<T, I>& A) {
  std::vector<std::vector<std::complex<double>>> d(A.nrows, std::vector<std::complex<double>>(A.ncols));
  for (std::int64_t i = 0; i < A.nrows; ++i)
    for (I k = A.row_ptr[i] - A.base; k < A.row_ptr[i + 1] - A.base; ++k)
      d[i][A.col_ind[k] - A.base] += std::complex<double>(A.values[k]);
  return d;
}

TYPED_TEST(CpuBackend, SymmetricTriangularProductsAndSolves) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  using W = std::complex<double>;
  sycl::queue q{sycl::cpu_selector_v};
  const std::int64_t n = 120;
  const auto A = square_matrix<T, I>(n, 7, 0);
  const auto d = dense_of(A);
  const double tolerance = 1e3 * std::numeric_limits<vrt_test::real_t<T>>::epsilon();
  for (bool usm : {true, false}) {
    cpu_matrix<T, I> M(q, usm, A);
    const auto x = random_vector<T>(n, 3);
    const auto y0 = random_vector<T>(n, 4);
    // symv with the lower triangle: y = L x + strict(L)^T x.
    auto sym = with_vectors<T>(q, usm, x, y0, [&](auto xs, auto ys) {
      if constexpr (std::is_pointer_v<decltype(xs)>) return vs::symv(q, vrt::uplo::lower, T(1), M.h, xs, T(0), ys);
      else return vs::symv(q, vrt::uplo::lower, T(1), M.h, xs, T(0), ys), sycl::event();
    });
    for (std::int64_t i = 0; i < n; ++i) {
      W s = 0;
      for (std::int64_t j = 0; j < n; ++j) s += (j <= i ? d[i][j] : d[j][i]) * W(x[j]);
      ASSERT_LE(std::abs(W(sym[i]) - s), tolerance * 40) << "symv row " << i;
    }
    // trsv solves what trmv multiplies: trsv(trmv(x)) = x, with and without alpha.
    for (transpose op : {transpose::nontrans, transpose::trans, transpose::conjtrans})
      for (vrt::uplo ul : {vrt::uplo::lower, vrt::uplo::upper})
        for (vrt::diag dg : {vrt::diag::nonunit, vrt::diag::unit}) {
          auto product = with_vectors<T>(q, usm, x, y0, [&](auto xs, auto ys) {
            if constexpr (std::is_pointer_v<decltype(xs)>) return vs::trmv(q, ul, op, dg, T(1), M.h, xs, T(0), ys);
            else return vs::trmv(q, ul, op, dg, T(1), M.h, xs, T(0), ys), sycl::event();
          });
          auto solved = with_vectors<T>(q, usm, product, y0, [&](auto xs, auto ys) {
            if constexpr (std::is_pointer_v<decltype(xs)>) return vs::trsv(q, ul, op, dg, M.h, xs, ys);
            else return vs::trsv(q, ul, op, dg, M.h, xs, ys), sycl::event();
          });
          for (std::int64_t i = 0; i < n; ++i)
            ASSERT_LE(std::abs(W(solved[i]) - W(x[i])), tolerance) << "trsv(trmv) row " << i;
        }
  }
}

TYPED_TEST(CpuBackend, GemmAndTrsmInBothLayouts) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  using W = std::complex<double>;
  sycl::queue q{sycl::cpu_selector_v};
  const std::int64_t n = 80, columns = 9;
  const auto A = square_matrix<T, I>(n, 11, 1);
  const auto d = dense_of(A);
  const double tolerance = 1e3 * std::numeric_limits<vrt_test::real_t<T>>::epsilon();
  cpu_matrix<T, I> M(q, true, A);
  for (vrt::layout lay : {vrt::layout::row_major, vrt::layout::col_major}) {
    const std::int64_t ld = lay == vrt::layout::row_major ? columns : n;
    auto at = [&](std::int64_t i, std::int64_t c) { return lay == vrt::layout::row_major ? i * ld + c : i + c * ld; };
    const auto b = random_vector<T>(n * columns, 12);
    auto c = with_vectors<T>(q, true, b, std::vector<T>(n * columns), [&](T* bs, T* cs) {
      return vs::gemm(q, lay, transpose::nontrans, transpose::nontrans, T(1), M.h, bs, columns, ld, T(0), cs, ld);
    });
    for (std::int64_t col = 0; col < columns; ++col)
      for (std::int64_t i = 0; i < n; ++i) {
        W s = 0;
        for (std::int64_t j = 0; j < n; ++j) s += d[i][j] * W(b[at(j, col)]);
        ASSERT_LE(std::abs(W(c[at(i, col)]) - s), tolerance * 40);
      }
    // trsm undoes the lower triangle's product column by column.
    auto solved = with_vectors<T>(q, true, b, std::vector<T>(n * columns), [&](T* xs, T* ys) {
      return vs::trsm(q, lay, transpose::nontrans, transpose::nontrans, vrt::uplo::lower, vrt::diag::nonunit, T(1), M.h, xs, columns, ld, ys, ld);
    });
    for (std::int64_t col = 0; col < columns; ++col)
      for (std::int64_t i = 0; i < n; ++i) {
        W s = 0;
        for (std::int64_t j = 0; j <= i; ++j) s += d[i][j] * W(solved[at(j, col)]);
        ASSERT_LE(std::abs(s - W(b[at(i, col)])), tolerance * 40);
      }
  }
}

TYPED_TEST(CpuBackend, SortMatrixOrdersEachRow) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{sycl::cpu_selector_v};
  const auto A = vrt_test::random_csr<T, I>(100, 100, 30, 4, 1);
  for (bool usm : {true, false}) {
    cpu_matrix<T, I> M(q, usm, A);
    vs::sort_matrix(q, M.h).wait();
    EXPECT_EQ(M.h->primary->sorted, 1);
    std::vector<I> cols(A.col_ind.size());
    if (usm) {
      std::copy(M.c, M.c + cols.size(), cols.begin());
    } else {
      sycl::host_accessor acc(*M.cols);
      std::copy(acc.begin(), acc.begin() + cols.size(), cols.begin());
    }
    for (std::int64_t i = 0; i < 100; ++i)
      EXPECT_TRUE(std::is_sorted(cols.begin() + (A.row_ptr[i] - 1), cols.begin() + (A.row_ptr[i + 1] - 1)));
  }
}

TEST(CpuBackendRefusals, WordsOfTheHostPath) {
  sycl::queue q{sycl::cpu_selector_v};
  const auto A = square_matrix<double, std::int32_t>(10, 1, 0);
  cpu_matrix<double, std::int32_t> M(q, true, A);
  double* v = sycl::malloc_shared<double>(100, q);
  const std::string p = "orvane::vrt::sparse::";
  expect_message<vrt::invalid_argument>(
      [&] { vs::trmv(q, static_cast<vrt::uplo>(5), transpose::nontrans, vrt::diag::unit, 1.0, M.h, v, 0.0, v); },
      p + "trmv: invalid argument: uplo_flag");
  expect_message<vrt::invalid_argument>(
      [&] { vs::trsm(q, vrt::layout::row_major, transpose::nontrans, transpose::nontrans, static_cast<vrt::uplo>(5), vrt::diag::unit, 1.0, M.h, v, 1, 1, v, 1); },
      p + "trsm: invalid argument: uplo_flag is invalid");
  expect_message<vrt::invalid_argument>(
      [&] { vs::gemm(q, vrt::layout::row_major, transpose::nontrans, transpose::nontrans, 1.0, M.h, v, 1, std::int64_t(1) << 33, 0.0, v, std::int64_t(1) << 33); },
      p + "gemm: invalid argument: one of columns, ldb, ldc is invalid");
  // A COO matrix in two base and layout combinations.
  vs::matrix_handle* coo = nullptr;
  vs::init_matrix_handle(&coo);
  std::int32_t* idx = sycl::malloc_shared<std::int32_t>(4, q);
  idx[0] = idx[1] = idx[2] = idx[3] = 0;
  vs::set_coo_data(q, coo, 2, 2, 1, vrt::index_base::zero, idx, idx, v).wait();
  expect_message<vrt::unimplemented>(
      [&] { vs::gemm(q, vrt::layout::col_major, transpose::nontrans, transpose::nontrans, 1.0, coo, v, 1, 2, 0.0, v, 2); },
      p + "gemm: unimplemented functionality: {index_base::zero, layout::col_major} and {index_base::one, layout::row_major} input cases are not yet supported on CPU device");
  vs::gemm(q, vrt::layout::row_major, transpose::nontrans, transpose::nontrans, 1.0, coo, v, 1, 1, 0.0, v, 1).wait();
  expect_message<vrt::unimplemented>(
      [&] { vs::sort_matrix(q, coo); },
      p + "sort_matrix: unimplemented functionality: Sorting COO matrix format is currently not supported with this API");
  expect_message<vrt::unimplemented>(
      [&] { vs::optimize_trsm(q, vrt::uplo::lower, transpose::nontrans, vrt::diag::unit, coo); },
      p + "optimize_trsm: unimplemented functionality: currently only supports the CSR matrix format on CPU devices");
  vs::release_matrix_handle(q, &coo).wait();
  sycl::free(idx, q);
  sycl::free(v, q);
}

TEST(CpuBackendRefusals, EngineStatusesBecomeExceptions) {
  sycl::queue q{sycl::cpu_selector_v};
  const auto A = square_matrix<float, std::int64_t>(10, 1, 0);
  cpu_matrix<float, std::int64_t> M(q, true, A);
  float* v = sycl::malloc_shared<float>(10, q);
  vs::gemv(q, transpose::nontrans, 1.0f, M.h, v, 0.0f, v).wait();  // makes the engine's matrix
  auto gemv_with_status = [&](sparse_status_t s) {
    vrt_sparse_testing_force_status(s, 1);
    vs::gemv(q, transpose::nontrans, 1.0f, M.h, v, 0.0f, v).wait();
  };
  const std::string p = "orvane::vrt::sparse: ";
  expect_message<vrt::uninitialized>([&] { gemv_with_status(1); }, p + "uninitialized object: SPARSE_STATUS_NOT_INITIALIZED");
  expect_message<vrt::host_bad_alloc>([&] { gemv_with_status(2); }, p + "cannot allocate memory on host");
  expect_message<vrt::invalid_argument>([&] { gemv_with_status(3); }, p + "invalid argument: SPARSE_STATUS_INVALID_VALUE");
  expect_message<vrt::computation_error>([&] { gemv_with_status(4); }, p + "computation error: SPARSE_STATUS_EXECUTION_FAILED");
  expect_message<vrt::computation_error>([&] { gemv_with_status(5); }, p + "computation error: SPARSE_STATUS_INTERNAL_ERROR");
  expect_message<vrt::unimplemented>([&] { gemv_with_status(6); }, p + "unimplemented functionality: SPARSE_STATUS_NOT_SUPPORTED");
  sycl::free(v, q);
}

TEST(CpuBackendRefusals, AHandleBoundWithoutAQueueWorks) {
  sycl::queue q{sycl::cpu_selector_v};
  std::vector<std::int32_t> rows = {0, 1, 2}, cols = {1, 0};
  std::vector<double> vals = {2, 3}, x = {1, 10}, y = {0, 0};
  sycl::buffer<std::int32_t, 1> br(rows.data(), sycl::range<1>(3)), bc(cols.data(), sycl::range<1>(2));
  sycl::buffer<double, 1> bv(vals.data(), sycl::range<1>(2));
  vs::matrix_handle* h = nullptr;
  vs::init_matrix_handle(&h);
  vs::set_csr_data(h, 2, 2, vrt::index_base::zero, br, bc, bv);
  {
    sycl::buffer<double, 1> bx(x.data(), sycl::range<1>(2)), by(y.data(), sycl::range<1>(2));
    vs::gemv(q, transpose::nontrans, 1.0, h, bx, 0.0, by);
  }
  EXPECT_EQ(y[0], 20.0);
  EXPECT_EQ(y[1], 3.0);
  vs::release_matrix_handle(&h);
}

TEST(CpuBackendConcurrency, ThreadsDriveTheirOwnHandlesOnOneQueue) {
  sycl::queue q{sycl::cpu_selector_v};
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&, t] {
      const auto A = vrt_test::random_csr<double, std::int32_t>(400, 400, 8, static_cast<unsigned>(t), 0);
      cpu_matrix<double, std::int32_t> M(q, true, A);
      const auto x = random_vector<double>(400, 9);
      const auto want = vrt_test::reference_gemv(A, transpose::nontrans, 1.0, x, 0.0, std::vector<double>(400));
      for (int k = 0; k < 10; ++k) {
        const auto got = with_vectors<double>(q, true, x, std::vector<double>(400), [&](double* xs, double* ys) {
          return vs::gemv(q, transpose::nontrans, 1.0, M.h, xs, 0.0, ys);
        });
        for (std::size_t i = 0; i < 400; ++i)
          if (std::abs(got[i] - want[i]) > 1e-12 * (1 + std::abs(want[i]))) ++failures;
      }
    });
  for (auto& th : threads) th.join();
  EXPECT_EQ(failures, 0);
}

}  // namespace
