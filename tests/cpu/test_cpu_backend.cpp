// Every routine on a CPU queue, through the public API and the host engine, against plain
// references; the status of the engine as exceptions; concurrent handles on one queue.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <thread>
#include <tuple>

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
  cpu_matrix(sycl::queue& queue, bool in_usm, csr_matrix<T, I> m)
      : q(queue), usm(in_usm), A(std::move(m)) {
    vs::init_matrix_handle(&h);
    const auto base = static_cast<vrt::index_base>(A.base);
    if (usm) {
      r = sycl::malloc_shared<I>(A.row_ptr.size(), q);
      c = sycl::malloc_shared<I>(std::max<std::size_t>(A.col_ind.size(), 1), q);
      v = sycl::malloc_shared<T>(std::max<std::size_t>(A.values.size(), 1), q);
      std::copy(A.row_ptr.begin(), A.row_ptr.end(), r);
      std::copy(A.col_ind.begin(), A.col_ind.end(), c);
      std::copy(A.values.begin(), A.values.end(), v);
      vs::set_csr_data(q, h, static_cast<I>(A.nrows), static_cast<I>(A.ncols), base, r, c, v)
          .wait();
    } else {
      rows =
          std::make_unique<sycl::buffer<I, 1>>(A.row_ptr.data(), sycl::range<1>(A.row_ptr.size()));
      cols =
          std::make_unique<sycl::buffer<I, 1>>(A.col_ind.data(), sycl::range<1>(A.col_ind.size()));
      vals = std::make_unique<sycl::buffer<T, 1>>(A.values.data(), sycl::range<1>(A.values.size()));
      vs::set_csr_data(q, h, static_cast<I>(A.nrows), static_cast<I>(A.ncols), base, *rows, *cols,
                       *vals);
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

using vrt_test::random_vector;

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
      vrt_test::expect_close(got, vrt_test::reference_gemv(A, op, alpha, x, beta, y0),
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
    vrt_test::expect_close(got, vrt_test::reference_gemv(A, transpose::trans, T(1), x, T(0), y0),
                           vrt_test::error_scale(A, transpose::trans, T(1), x, T(0), y0),
                           "after optimize");
  }
}

// ---- dense oracles: plain loops in double precision, no call of the library ----------------

using W = std::complex<double>;
using dense = std::vector<std::vector<W>>;

template <typename T>
T scalar(double re, double im) {
  if constexpr (vrt_test::is_complex<T>)
    return T(static_cast<vrt_test::real_t<T>>(re), static_cast<vrt_test::real_t<T>>(im));
  else
    return static_cast<T>(re);
}

// A as a dense matrix; repeated entries add up.
template <typename T, typename I>
dense dense_of(const csr_matrix<T, I>& A) {
  dense d(A.nrows, std::vector<W>(A.ncols));
  for (std::int64_t i = 0; i < A.nrows; ++i)
    for (I k = A.row_ptr[i] - A.base; k < A.row_ptr[i + 1] - A.base; ++k)
      d[i][A.col_ind[k] - A.base] += W(A.values[k]);
  return d;
}

dense apply_op(const dense& d, transpose op) {
  if (op == transpose::nontrans) return d;
  dense t(d.empty() ? 0 : d[0].size(), std::vector<W>(d.size()));
  for (std::size_t i = 0; i < d.size(); ++i)
    for (std::size_t j = 0; j < d[i].size(); ++j)
      t[j][i] = op == transpose::conjtrans ? std::conj(d[i][j]) : d[i][j];
  return t;
}

// op(T) with T the chosen triangle of A, its diagonal replaced by ones when it is unit.
template <typename T, typename I>
dense triangle_op(const csr_matrix<T, I>& A, vrt::uplo ul, vrt::diag dg, transpose op) {
  dense t = dense_of(A);
  for (std::size_t i = 0; i < t.size(); ++i)
    for (std::size_t j = 0; j < t[i].size(); ++j) {
      if (ul == vrt::uplo::lower ? j > i : j < i) t[i][j] = 0;
      if (i == j && dg == vrt::diag::unit) t[i][j] = 1;
    }
  return apply_op(t, op);
}

// A's lower or upper triangle mirrored onto the other side, without conjugation.
template <typename T, typename I>
dense symmetric_of(const csr_matrix<T, I>& A, vrt::uplo ul) {
  const dense d = dense_of(A);
  dense s = d;
  for (std::size_t i = 0; i < d.size(); ++i)
    for (std::size_t j = 0; j < d.size(); ++j)
      s[i][j] = (ul == vrt::uplo::lower) == (j <= i) ? d[i][j] : d[j][i];
  return s;
}

// alpha M x + beta y and the bound on its rounding: a few units per term of each row's sum.
struct dense_result {
  std::vector<W> value;
  std::vector<double> bound;
};

template <typename T>
dense_result dense_product(const dense& M, T alpha, const std::vector<T>& x, T beta,
                           const std::vector<T>& y) {
  const double eps = std::numeric_limits<vrt_test::real_t<T>>::epsilon();
  dense_result r;
  for (std::size_t i = 0; i < M.size(); ++i) {
    W sum = 0;
    double scale = 0, terms = 2;
    for (std::size_t j = 0; j < M[i].size(); ++j) {
      if (M[i][j] == W(0)) continue;
      sum += M[i][j] * W(x[j]);
      scale += std::abs(M[i][j]) * std::abs(W(x[j]));
      terms += 1;
    }
    const bool reads_y = beta != T(0);
    r.value.push_back(W(alpha) * sum + (reads_y ? W(beta) * W(y[i]) : W(0)));
    r.bound.push_back(
        8 * eps * terms *
            (std::abs(W(alpha)) * scale + (reads_y ? std::abs(W(beta) * W(y[i])) : 0)) +
        std::numeric_limits<vrt_test::real_t<T>>::min());
  }
  return r;
}

// Solves M y = alpha b by substitution, M lower or upper triangular. The test matrices keep
// substitution well conditioned, so the bound is a multiple of eps times the solution's size.
template <typename T>
dense_result dense_solve(const dense& M, bool lower, T alpha, const std::vector<T>& b) {
  const std::size_t n = M.size();
  std::vector<W> y(n);
  for (std::size_t step = 0; step < n; ++step) {
    const std::size_t i = lower ? step : n - 1 - step;
    W sum = W(alpha) * W(b[i]);
    for (std::size_t j = 0; j < n; ++j)
      if (j != i && M[i][j] != W(0)) sum -= M[i][j] * y[j];
    y[i] = sum / M[i][i];
  }
  double largest = 0;
  for (const W& v : y) largest = std::max(largest, std::abs(v));
  const double eps = std::numeric_limits<vrt_test::real_t<T>>::epsilon();
  return {y, std::vector<double>(n, 256 * eps * largest)};
}

// Every entry within its bound; NaN never is.
template <typename T>
void expect_close(const std::vector<T>& got, const dense_result& want, const std::string& what) {
  ASSERT_EQ(got.size(), want.value.size()) << what;
  for (std::size_t i = 0; i < got.size(); ++i)
    ASSERT_LE(std::abs(W(got[i]) - want.value[i]), want.bound[i])
        << what << ": entry " << i << " got " << got[i] << " want " << want.value[i];
}

// A square matrix whose triangles are well conditioned with either diagonal: each row holds its
// diagonal (4, or 4 + i/2 for complex values) and up to six entries of magnitude at most 1/8,
// at distinct columns in no particular order.
template <typename T, typename I>
csr_matrix<T, I> triangular_test_matrix(std::int64_t n, unsigned seed, int base) {
  std::mt19937 rng(seed);
  csr_matrix<T, I> A;
  A.nrows = A.ncols = n;
  A.base = base;
  A.row_ptr.push_back(static_cast<I>(base));
  for (std::int64_t i = 0; i < n; ++i) {
    std::vector<std::int64_t> cols = {i};
    const std::size_t length = 1 + rng() % 7;
    while (cols.size() < length) {
      const auto c = static_cast<std::int64_t>(rng() % n);
      if (std::find(cols.begin(), cols.end(), c) == cols.end()) cols.push_back(c);
    }
    std::shuffle(cols.begin(), cols.end(), rng);
    for (const std::int64_t c : cols) {
      A.col_ind.push_back(static_cast<I>(c + base));
      A.values.push_back(c == i ? scalar<T>(4, 0.5)
                                : vrt_test::random_value<T>(rng) * scalar<T>(0.125, 0));
    }
    A.row_ptr.push_back(static_cast<I>(A.col_ind.size() + base));
  }
  return A;
}

std::string combination(transpose op, vrt::uplo ul, vrt::diag dg) {
  return std::string("op ") + std::to_string(static_cast<int>(op)) +
         (ul == vrt::uplo::lower ? " lower" : " upper") +
         (dg == vrt::diag::unit ? " unit" : " nonunit");
}

// Calls f(x, y) as USM pointers or buffers, whichever with_vectors hands over.
#define VRT_EITHER_FORM(call)                      \
  [&](auto xs, auto ys) {                          \
    if constexpr (std::is_pointer_v<decltype(xs)>) \
      return call;                                 \
    else                                           \
      return call, sycl::event();                  \
  }

TYPED_TEST(CpuBackend, SymvReadsOneTriangleAndMirrorsIt) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{sycl::cpu_selector_v};
  const std::int64_t n = 120;
  const auto A = triangular_test_matrix<T, I>(n, 7, 0);
  const T alpha = scalar<T>(1.5, -0.5), beta = scalar<T>(-0.5, 0.25);
  for (bool usm : {true, false}) {
    cpu_matrix<T, I> M(q, usm, A);
    const auto x = random_vector<T>(n, 3);
    const auto y0 = random_vector<T>(n, 4);
    for (vrt::uplo ul : {vrt::uplo::lower, vrt::uplo::upper}) {
      const auto got = with_vectors<T>(q, usm, x, y0,
                                       VRT_EITHER_FORM(vs::symv(q, ul, alpha, M.h, xs, beta, ys)));
      expect_close(got, dense_product(symmetric_of(A, ul), alpha, x, beta, y0),
                   ul == vrt::uplo::lower ? "symv lower" : "symv upper");
    }
  }
}

// trmv against the dense product of op(triangle) for every op, triangle and diagonal; with beta
// 0 the output starts as NaN, which the routine must not read.
TYPED_TEST(CpuBackend, TrmvMultipliesTheChosenTriangleInEveryCombination) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{sycl::cpu_selector_v};
  const std::int64_t n = 120;
  const auto A = triangular_test_matrix<T, I>(n, 8, 1);
  const T alpha = scalar<T>(1.5, -0.5);
  for (bool usm : {true, false}) {
    cpu_matrix<T, I> M(q, usm, A);
    const auto x = random_vector<T>(n, 3);
    for (transpose op : {transpose::nontrans, transpose::trans, transpose::conjtrans})
      for (vrt::uplo ul : {vrt::uplo::lower, vrt::uplo::upper})
        for (vrt::diag dg : {vrt::diag::nonunit, vrt::diag::unit})
          for (bool reads_y : {true, false}) {
            const T beta = reads_y ? scalar<T>(-0.5, 0.25) : T(0);
            const auto y0 = reads_y ? random_vector<T>(n, 4) : vrt_test::nan_vector<T>(n);
            const auto got = with_vectors<T>(
                q, usm, x, y0, VRT_EITHER_FORM(vs::trmv(q, ul, op, dg, alpha, M.h, xs, beta, ys)));
            expect_close(got, dense_product(triangle_op(A, ul, dg, op), alpha, x, beta, y0),
                         "trmv " + combination(op, ul, dg) + (reads_y ? "" : " beta 0"));
          }
  }
}

// trsv against dense substitution for every op, triangle and diagonal, with alpha and without
// (alpha 1); the solution starts as NaN.
TYPED_TEST(CpuBackend, TrsvSolvesWithTheChosenTriangleInEveryCombination) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{sycl::cpu_selector_v};
  const std::int64_t n = 120;
  const auto A = triangular_test_matrix<T, I>(n, 9, 0);
  const auto b = random_vector<T>(n, 5);
  const auto unset = vrt_test::nan_vector<T>(n);
  for (bool usm : {true, false}) {
    cpu_matrix<T, I> M(q, usm, A);
    for (transpose op : {transpose::nontrans, transpose::trans, transpose::conjtrans})
      for (vrt::uplo ul : {vrt::uplo::lower, vrt::uplo::upper})
        for (vrt::diag dg : {vrt::diag::nonunit, vrt::diag::unit}) {
          const bool lower = (ul == vrt::uplo::lower) == (op == transpose::nontrans);
          const dense Top = triangle_op(A, ul, dg, op);
          const T alpha = scalar<T>(-1.5, 0.75);
          const auto scaled = with_vectors<T>(
              q, usm, b, unset, VRT_EITHER_FORM(vs::trsv(q, ul, op, dg, alpha, M.h, xs, ys)));
          expect_close(scaled, dense_solve(Top, lower, alpha, b),
                       "trsv alpha " + combination(op, ul, dg));
          const auto plain = with_vectors<T>(q, usm, b, unset,
                                             VRT_EITHER_FORM(vs::trsv(q, ul, op, dg, M.h, xs, ys)));
          expect_close(plain, dense_solve(Top, lower, T(1), b), "trsv " + combination(op, ul, dg));
        }
  }
}

// gemvdot writes y = alpha op(A) x + beta y and d = sum x_i y_i over min(rows, cols). y is
// compared with the reference first; d with the dot of x and the reference y, within the
// rounding of the sum and of y's own bound.
TYPED_TEST(CpuBackend, GemvdotWritesYThenItsDotWithX) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{sycl::cpu_selector_v};
  const auto A = vrt_test::random_csr<T, I>(90, 70, 9, 14, 1, 2, 60);
  const double eps = std::numeric_limits<vrt_test::real_t<T>>::epsilon();
  const T alpha = scalar<T>(1.5, -0.5);
  for (bool usm : {true, false}) {
    cpu_matrix<T, I> M(q, usm, A);
    for (transpose op : {transpose::nontrans, transpose::trans, transpose::conjtrans})
      for (bool reads_y : {true, false}) {
        const bool t = op != transpose::nontrans;
        const std::size_t nx = t ? 90 : 70, ny = t ? 70 : 90;
        const T beta = reads_y ? scalar<T>(-0.5, 0.25) : T(0);
        const auto x = random_vector<T>(nx, 6);
        const auto y0 = reads_y ? random_vector<T>(ny, 7) : vrt_test::nan_vector<T>(ny);
        std::vector<T> y(ny);
        T d = vrt_test::nan_value<T>();
        if (usm) {
          T* xs = sycl::malloc_shared<T>(nx, q);
          T* ys = sycl::malloc_shared<T>(ny, q);
          T* ds = sycl::malloc_shared<T>(1, q);
          std::copy(x.begin(), x.end(), xs);
          std::copy(y0.begin(), y0.end(), ys);
          *ds = d;
          vs::gemvdot(q, op, alpha, M.h, xs, beta, ys, ds).wait();
          std::copy(ys, ys + ny, y.begin());
          d = *ds;
          for (void* p : {static_cast<void*>(xs), static_cast<void*>(ys), static_cast<void*>(ds)})
            sycl::free(p, q);
        } else {
          auto xv = x;
          y = y0;
          sycl::buffer<T, 1> bx(xv.data(), sycl::range<1>(nx)), by(y.data(), sycl::range<1>(ny)),
              bd(&d, sycl::range<1>(1));
          vs::gemvdot(q, op, alpha, M.h, bx, beta, by, bd);
        }
        const std::string what = std::string("gemvdot op ") + std::to_string(static_cast<int>(op)) +
                                 (reads_y ? "" : " beta 0") + (usm ? " usm" : " buffer");
        const auto want = dense_product(apply_op(dense_of(A), op), alpha, x, beta, y0);
        expect_close(y, want, what + " y");
        W dot = 0;
        double bound = std::numeric_limits<vrt_test::real_t<T>>::min();
        const std::size_t m = std::min(nx, ny);
        for (std::size_t i = 0; i < m; ++i) {
          dot += W(x[i]) * want.value[i];
          bound +=
              std::abs(W(x[i])) * (8 * eps * (m + 2) * std::abs(want.value[i]) + want.bound[i]);
        }
        EXPECT_LE(std::abs(W(d) - dot), bound) << what << " d " << d << " want " << dot;
      }
  }
}

TYPED_TEST(CpuBackend, GemmAndTrsmInBothLayoutsAndEveryCombination) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{sycl::cpu_selector_v};
  const std::int64_t n = 80, columns = 9;
  const auto A = triangular_test_matrix<T, I>(n, 11, 1);
  const T alpha = scalar<T>(1.5, -0.5);
  cpu_matrix<T, I> M(q, true, A);
  const auto b = random_vector<T>(n * columns, 12);
  const auto c0 = random_vector<T>(n * columns, 13);
  for (vrt::layout lay : {vrt::layout::row_major, vrt::layout::col_major}) {
    const bool row_major = lay == vrt::layout::row_major;
    const std::int64_t ld = row_major ? columns : n;
    auto at = [&](std::int64_t i, std::int64_t c) { return row_major ? i * ld + c : i + c * ld; };
    // Column c of a dense operand, and the operand with column c replaced.
    auto column = [&](const std::vector<T>& v, std::int64_t c) {
      std::vector<T> out(n);
      for (std::int64_t i = 0; i < n; ++i) out[i] = v[at(i, c)];
      return out;
    };
    const std::string layout_name = row_major ? " row major" : " column major";
    for (transpose op : {transpose::nontrans, transpose::trans, transpose::conjtrans})
      for (bool reads_c : {true, false}) {
        const T beta = reads_c ? scalar<T>(-0.5, 0.25) : T(0);
        const auto start = reads_c ? c0 : vrt_test::nan_vector<T>(n * columns);
        const auto c = with_vectors<T>(q, true, b, start, [&](T* bs, T* cs) {
          return vs::gemm(q, lay, op, transpose::nontrans, alpha, M.h, bs, columns, ld, beta, cs,
                          ld);
        });
        const dense Aop = apply_op(dense_of(A), op);
        for (std::int64_t col = 0; col < columns; ++col)
          expect_close(column(c, col),
                       dense_product(Aop, alpha, column(b, col), beta, column(start, col)),
                       "gemm op " + std::to_string(static_cast<int>(op)) + layout_name +
                           (reads_c ? "" : " beta 0") + " column " + std::to_string(col));
      }
    for (transpose op : {transpose::nontrans, transpose::trans, transpose::conjtrans})
      for (vrt::uplo ul : {vrt::uplo::lower, vrt::uplo::upper})
        for (vrt::diag dg : {vrt::diag::nonunit, vrt::diag::unit}) {
          const bool lower = (ul == vrt::uplo::lower) == (op == transpose::nontrans);
          const auto solved =
              with_vectors<T>(q, true, b, vrt_test::nan_vector<T>(n * columns), [&](T* xs, T* ys) {
                return vs::trsm(q, lay, op, transpose::nontrans, ul, dg, alpha, M.h, xs, columns,
                                ld, ys, ld);
              });
          const dense Top = triangle_op(A, ul, dg, op);
          for (std::int64_t col = 0; col < columns; ++col)
            expect_close(
                column(solved, col), dense_solve(Top, lower, alpha, column(b, col)),
                "trsm " + combination(op, ul, dg) + layout_name + " column " + std::to_string(col));
        }
  }
}

// Each row ends in ascending column order holding the same (column, value) entries it had.
TYPED_TEST(CpuBackend, SortMatrixOrdersEachRowKeepingItsEntries) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{sycl::cpu_selector_v};
  const auto A = vrt_test::random_csr<T, I>(100, 100, 30, 4, 1);
  using entry = std::tuple<I, double, double>;
  auto row_entries = [&](const std::vector<I>& cols, const std::vector<T>& values, std::int64_t i) {
    std::multiset<entry> row;
    for (I k = A.row_ptr[i] - 1; k < A.row_ptr[i + 1] - 1; ++k) {
      const W v(values[k]);
      row.insert({cols[k], v.real(), v.imag()});
    }
    return row;
  };
  for (bool usm : {true, false}) {
    cpu_matrix<T, I> M(q, usm, A);
    vs::sort_matrix(q, M.h).wait();
    EXPECT_EQ(M.h->primary->sorted, 1);
    std::vector<I> rows(A.row_ptr.size()), cols(A.col_ind.size());
    std::vector<T> values(A.values.size());
    if (usm) {
      std::copy(M.r, M.r + rows.size(), rows.begin());
      std::copy(M.c, M.c + cols.size(), cols.begin());
      std::copy(M.v, M.v + values.size(), values.begin());
    } else {
      sycl::host_accessor r(*M.rows), c(*M.cols), v(*M.vals);
      std::copy(r.begin(), r.begin() + rows.size(), rows.begin());
      std::copy(c.begin(), c.begin() + cols.size(), cols.begin());
      std::copy(v.begin(), v.begin() + values.size(), values.begin());
    }
    EXPECT_EQ(rows, A.row_ptr);
    for (std::int64_t i = 0; i < 100; ++i) {
      EXPECT_TRUE(
          std::is_sorted(cols.begin() + (A.row_ptr[i] - 1), cols.begin() + (A.row_ptr[i + 1] - 1)))
          << "row " << i;
      EXPECT_EQ(row_entries(cols, values, i), row_entries(A.col_ind, A.values, i)) << "row " << i;
    }
  }
}

TEST(CpuBackendRefusals, WordsOfTheHostPath) {
  sycl::queue q{sycl::cpu_selector_v};
  const auto A = square_matrix<double, std::int32_t>(10, 1, 0);
  cpu_matrix<double, std::int32_t> M(q, true, A);
  double* v = sycl::malloc_shared<double>(100, q);
  const std::string p = "orvane::vrt::sparse::";
  expect_message<vrt::invalid_argument>(
      [&] {
        vs::trmv(q, static_cast<vrt::uplo>(5), transpose::nontrans, vrt::diag::unit, 1.0, M.h, v,
                 0.0, v);
      },
      p + "trmv: invalid argument: uplo_flag");
  expect_message<vrt::invalid_argument>(
      [&] {
        vs::trsm(q, vrt::layout::row_major, transpose::nontrans, transpose::nontrans,
                 static_cast<vrt::uplo>(5), vrt::diag::unit, 1.0, M.h, v, 1, 1, v, 1);
      },
      p + "trsm: invalid argument: uplo_flag is invalid");
  expect_message<vrt::invalid_argument>(
      [&] {
        vs::gemm(q, vrt::layout::row_major, transpose::nontrans, transpose::nontrans, 1.0, M.h, v,
                 1, std::int64_t(1) << 33, 0.0, v, std::int64_t(1) << 33);
      },
      p + "gemm: invalid argument: one of columns, ldb, ldc is invalid");
  // A COO matrix in two base and layout combinations.
  vs::matrix_handle* coo = nullptr;
  vs::init_matrix_handle(&coo);
  std::int32_t* idx = sycl::malloc_shared<std::int32_t>(4, q);
  idx[0] = idx[1] = idx[2] = idx[3] = 0;
  vs::set_coo_data(q, coo, 2, 2, 1, vrt::index_base::zero, idx, idx, v).wait();
  expect_message<vrt::unimplemented>(
      [&] {
        vs::gemm(q, vrt::layout::col_major, transpose::nontrans, transpose::nontrans, 1.0, coo, v,
                 1, 2, 0.0, v, 2);
      },
      p + "gemm: unimplemented functionality: {index_base::zero, layout::col_major} and "
          "{index_base::one, layout::row_major} input cases are not yet supported on CPU device");
  vs::gemm(q, vrt::layout::row_major, transpose::nontrans, transpose::nontrans, 1.0, coo, v, 1, 1,
           0.0, v, 1)
      .wait();
  expect_message<vrt::unimplemented>([&] { vs::sort_matrix(q, coo); },
                                     p + "sort_matrix: unimplemented functionality: Sorting COO "
                                         "matrix format is currently not supported with this API");
  expect_message<vrt::unimplemented>(
      [&] { vs::optimize_trsm(q, vrt::uplo::lower, transpose::nontrans, vrt::diag::unit, coo); },
      p + "optimize_trsm: unimplemented functionality: currently only supports the CSR matrix "
          "format on CPU devices");
  vs::release_matrix_handle(q, &coo).wait();
  sycl::free(idx, q);
  sycl::free(v, q);
}

TEST(CpuBackendRefusals, EngineStatusesBecomeExceptions) {
  VRT_SKIP_UNLESS_BUILT(float);
  sycl::queue q{sycl::cpu_selector_v};
  const auto A = square_matrix<float, std::int64_t>(10, 1, 0);
  cpu_matrix<float, std::int64_t> M(q, true, A);
  float* v = sycl::malloc_shared<float>(10, q);
  vs::gemv(q, transpose::nontrans, 1.0f, M.h, v, 0.0f, v).wait();  // makes the engine's matrix
  auto gemv_with_status = [&](sparse_status_t s) {
    vrt_sparse_testing_force_status(s, 1);
    vs::gemv(q, transpose::nontrans, 1.0f, M.h, v, 0.0f, v).wait();
  };
  // Each failure names the routine that met it.
  const std::string p = "orvane::vrt::sparse::gemv: ";
  expect_message<vrt::uninitialized>([&] { gemv_with_status(1); },
                                     p + "uninitialized object: SPARSE_STATUS_NOT_INITIALIZED");
  expect_message<vrt::host_bad_alloc>([&] { gemv_with_status(2); },
                                      p + "cannot allocate memory on host");
  expect_message<vrt::invalid_argument>([&] { gemv_with_status(3); },
                                        p + "invalid argument: SPARSE_STATUS_INVALID_VALUE");
  expect_message<vrt::computation_error>([&] { gemv_with_status(4); },
                                         p + "computation error: SPARSE_STATUS_EXECUTION_FAILED");
  expect_message<vrt::computation_error>([&] { gemv_with_status(5); },
                                         p + "computation error: SPARSE_STATUS_INTERNAL_ERROR");
  expect_message<vrt::unimplemented>(
      [&] { gemv_with_status(6); }, p + "unimplemented functionality: SPARSE_STATUS_NOT_SUPPORTED");
  // The hint of an analysis, and the making of the engine's matrix on a fresh handle.
  vrt_sparse_testing_force_status(SPARSE_STATUS_INVALID_VALUE, 1);
  expect_message<vrt::invalid_argument>(
      [&] {
        vs::optimize_trsv(q, vrt::uplo::lower, transpose::nontrans, vrt::diag::nonunit, M.h).wait();
      },
      "orvane::vrt::sparse::optimize_trsv: invalid argument: SPARSE_STATUS_INVALID_VALUE");
  cpu_matrix<float, std::int64_t> fresh(q, true, A);
  vrt_sparse_testing_force_status(SPARSE_STATUS_EXECUTION_FAILED, 1);
  expect_message<vrt::computation_error>(
      [&] {
        vs::trsv(q, vrt::uplo::lower, transpose::nontrans, vrt::diag::nonunit, 1.0f, fresh.h, v, v)
            .wait();
      },
      "orvane::vrt::sparse::trsv: computation error: SPARSE_STATUS_EXECUTION_FAILED");
  vrt_sparse_testing_force_status(SPARSE_STATUS_SUCCESS, 0);
  sycl::free(v, q);
}

TEST(CpuBackendRefusals, AHandleBoundWithoutAQueueWorks) {
  sycl::queue q{sycl::cpu_selector_v};
  std::vector<std::int32_t> rows = {0, 1, 2}, cols = {1, 0};
  std::vector<double> vals = {2, 3}, x = {1, 10}, y = {0, 0};
  sycl::buffer<std::int32_t, 1> br(rows.data(), sycl::range<1>(3)),
      bc(cols.data(), sycl::range<1>(2));
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
      const auto A =
          vrt_test::random_csr<double, std::int32_t>(400, 400, 8, static_cast<unsigned>(t), 0);
      cpu_matrix<double, std::int32_t> M(q, true, A);
      const auto x = random_vector<double>(400, 9);
      const auto want =
          vrt_test::reference_gemv(A, transpose::nontrans, 1.0, x, 0.0, std::vector<double>(400));
      for (int k = 0; k < 10; ++k) {
        const auto got =
            with_vectors<double>(q, true, x, std::vector<double>(400), [&](double* xs, double* ys) {
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
