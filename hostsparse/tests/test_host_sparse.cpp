// The host sparse engine against dense references: every operation, value type and index width.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstring>
#include <limits>
#include <random>
#include <thread>
#include <vector>

#include "vrt/host_sparse.h"

namespace {

// The C types of each variant and the engine's calls for them, by one template.
template <typename C>
struct cvalue;
template <> struct cvalue<float> { using type = float; };
template <> struct cvalue<double> { using type = double; };
template <> struct cvalue<vrt_complex8> { using type = std::complex<float>; };
template <> struct cvalue<vrt_complex16> { using type = std::complex<double>; };

#define VRT_TEST_API(p, C, i, I)                                                                \
  static sparse_status_t create_csr(host_matrix_t* A, int b, I r, I c, I* rs, I* re, I* ci,     \
                                    C* v) { return vrt_sparse_##p##_create_csr_##i(A, b, r, c, rs, re, ci, v); } \
  static sparse_status_t create_coo(host_matrix_t* A, int b, I r, I c, I n, I* ri, I* ci,       \
                                    C* v) { return vrt_sparse_##p##_create_coo_##i(A, b, r, c, n, ri, ci, v); } \
  static sparse_status_t mv(host_operation_t op, C a, host_matrix_t A, host_matrix_descr d,     \
                            const C* x, C b, C* y) { return vrt_sparse_##p##_mv_##i(op, a, A, d, x, b, y); } \
  static sparse_status_t mm(host_operation_t op, C a, host_matrix_t A, host_matrix_descr d,     \
                            host_layout_t l, const C* x, I n, I ldx, C b, C* y, I ldy) {        \
    return vrt_sparse_##p##_mm_##i(op, a, A, d, l, x, n, ldx, b, y, ldy); }                     \
  static sparse_status_t trsv(host_operation_t op, C a, host_matrix_t A, host_matrix_descr d,   \
                              const C* x, C* y) { return vrt_sparse_##p##_trsv_##i(op, a, A, d, x, y); } \
  static sparse_status_t trsm(host_operation_t op, C a, host_matrix_t A, host_matrix_descr d,   \
                              host_layout_t l, const C* x, I n, I ldx, C* y, I ldy) {           \
    return vrt_sparse_##p##_trsm_##i(op, a, A, d, l, x, n, ldx, y, ldy); }                      \
  static sparse_status_t dotmv(host_operation_t op, C a, host_matrix_t A, host_matrix_descr d,  \
                               const C* x, C b, C* y, C* dot) { return vrt_sparse_##p##_dotmv_##i(op, a, A, d, x, b, y, dot); } \
  static sparse_status_t do_order(host_matrix_t A, C*, I) { return vrt_sparse_##p##_do_order_##i(A); } \
  static sparse_status_t export_csr(host_matrix_t A, int* b, I* r, I* c, I** rs, I** re, I** ci, \
                                    C** v) { return vrt_sparse_##p##_export_csr_##i(A, b, r, c, rs, re, ci, v); } \
  static sparse_status_t destroy(host_matrix_t A, C*, I) { return vrt_sparse_destroy_##i(A); }  \
  static sparse_status_t optimize(host_matrix_t A, C*, I) { return vrt_sparse_optimize_##i(A); } \
  static sparse_status_t mv_hint(host_matrix_t A, C*, I, host_operation_t op, host_matrix_descr d) { \
    return vrt_sparse_set_mv_hint_##i(A, op, d, 100); }                                         \
  static sparse_status_t sv_hint(host_matrix_t A, C*, I, host_operation_t op, host_matrix_descr d) { \
    return vrt_sparse_set_sv_hint_##i(A, op, d, 100); }                                         \
  static sparse_status_t sp2m(host_operation_t oa, host_matrix_t A, host_operation_t ob,         \
                              host_matrix_t B, host_request_t r, host_matrix_t* Cm, C*, I) {    \
    const host_matrix_descr g{HOST_MATRIX_TYPE_GENERAL, HOST_FILL_MODE_LOWER, HOST_DIAG_NON_UNIT}; \
    return vrt_sparse_sp2m_##i(oa, g, A, ob, g, B, r, Cm); }
// api<I>::mv and so on: the engine's calls of one index width, overloaded on the value type.
template <typename I>
struct api;
template <>
struct api<int32_t> {
  VRT_TEST_API(s, float, i4, int32_t)
  VRT_TEST_API(d, double, i4, int32_t)
  VRT_TEST_API(c, vrt_complex8, i4, int32_t)
  VRT_TEST_API(z, vrt_complex16, i4, int32_t)
};
template <>
struct api<int64_t> {
  VRT_TEST_API(s, float, i8, int64_t)
  VRT_TEST_API(d, double, i8, int64_t)
  VRT_TEST_API(c, vrt_complex8, i8, int64_t)
  VRT_TEST_API(z, vrt_complex16, i8, int64_t)
};

// A value as the C interface's type (same layout).
template <typename C, typename T>
C cv(const T& t) {
  C c;
  std::memcpy(static_cast<void*>(&c), &t, sizeof(C));
  return c;
}

template <typename C, typename I>
struct variant {
  using c_value = C;
  using value = typename cvalue<C>::type;
  using index = I;
};
using variants = ::testing::Types<variant<float, int32_t>, variant<float, int64_t>,
                                  variant<double, int32_t>, variant<double, int64_t>,
                                  variant<vrt_complex8, int32_t>, variant<vrt_complex8, int64_t>,
                                  variant<vrt_complex16, int32_t>, variant<vrt_complex16, int64_t>>;

using W = std::complex<double>;
using dense = std::vector<std::vector<W>>;

template <typename T>
T random_value(std::mt19937& rng) {
  std::uniform_real_distribution<double> d(-1, 1);
  if constexpr (std::is_floating_point_v<T>)
    return static_cast<T>(d(rng));
  else
    return T(static_cast<typename T::value_type>(d(rng)), static_cast<typename T::value_type>(d(rng)));
}

template <typename T>
T from_w(W w) {
  if constexpr (std::is_floating_point_v<T>)
    return static_cast<T>(w.real());
  else
    return T(static_cast<typename T::value_type>(w.real()), static_cast<typename T::value_type>(w.imag()));
}

template <typename T>
constexpr double eps() {
  if constexpr (std::is_same_v<T, float> || std::is_same_v<T, std::complex<float>>)
    return std::numeric_limits<float>::epsilon();
  else
    return std::numeric_limits<double>::epsilon();
}

// A CSR matrix with unsorted rows, some empty, with a strong diagonal when square (for solves).
template <typename T, typename I>
struct matrix {
  int64_t rows, cols;
  int base;
  std::vector<I> ptr, col;
  std::vector<T> val;
  dense full() const {
    dense d(rows, std::vector<W>(cols, W(0)));
    for (int64_t i = 0; i < rows; ++i)
      for (I k = ptr[i] - base; k < ptr[i + 1] - base; ++k) d[i][col[k] - base] += W(val[k]);
    return d;
  }
};

template <typename T, typename I>
matrix<T, I> random_matrix(int64_t rows, int64_t cols, int per_row, unsigned seed, int base) {
  std::mt19937 rng(seed);
  matrix<T, I> m{rows, cols, base, {static_cast<I>(base)}, {}, {}};
  for (int64_t i = 0; i < rows; ++i) {
    const int len = (rng() % 4 == 0) ? 0 : static_cast<int>(rng() % (per_row + 1));
    std::vector<int64_t> cs;
    for (int k = 0; k < len; ++k) cs.push_back(rng() % cols);
    if (rows == cols) cs.push_back(i);  // the diagonal, somewhere in the row
    std::shuffle(cs.begin(), cs.end(), rng);
    for (int64_t c : cs) {
      m.col.push_back(static_cast<I>(c + base));
      T v = random_value<T>(rng);
      if (c == i) v = v + T(static_cast<float>(2 * per_row + 4));
      m.val.push_back(v);
    }
    m.ptr.push_back(static_cast<I>(m.col.size() + base));
  }
  if (m.col.empty()) m.col.push_back(0), m.val.push_back(T(0));
  return m;
}

// The matrix an operation sees: the descriptor's part of A, then op.
dense effective(const dense& a, host_operation_t op, host_matrix_descr d) {
  const size_t n = a.size(), m = n ? a[0].size() : 0;
  dense e = a;
  if (d.type != HOST_MATRIX_TYPE_GENERAL) {
    const bool lower = d.mode == HOST_FILL_MODE_LOWER;
    for (size_t i = 0; i < n; ++i)
      for (size_t j = 0; j < m; ++j) {
        const bool in_triangle = lower ? j <= i : j >= i;
        e[i][j] = in_triangle ? a[i][j] : W(0);
        if (i == j && d.diag == HOST_DIAG_UNIT) e[i][j] = W(1);
      }
    if (d.type == HOST_MATRIX_TYPE_SYMMETRIC)
      for (size_t i = 0; i < n; ++i)
        for (size_t j = 0; j < m; ++j)
          if (lower ? j > i : j < i) e[i][j] = e[j][i];
  }
  if (op == HOST_OPERATION_NON_TRANSPOSE) return e;
  dense t(m, std::vector<W>(n));
  for (size_t i = 0; i < n; ++i)
    for (size_t j = 0; j < m; ++j) t[j][i] = op == HOST_OPERATION_CONJUGATE_TRANSPOSE ? std::conj(e[i][j]) : e[i][j];
  return t;
}

template <typename T>
void expect_close(const std::vector<T>& got, const std::vector<W>& want, double scale, const char* what) {
  ASSERT_EQ(got.size(), want.size());
  for (size_t i = 0; i < got.size(); ++i)
    ASSERT_LE(std::abs(W(got[i]) - want[i]), 64 * eps<T>() * scale) << what << " entry " << i;
}

template <typename V>
class HostEngine : public ::testing::Test {};
TYPED_TEST_SUITE(HostEngine, variants);

const host_operation_t all_ops[] = {HOST_OPERATION_NON_TRANSPOSE, HOST_OPERATION_TRANSPOSE,
                                    HOST_OPERATION_CONJUGATE_TRANSPOSE};

std::vector<host_matrix_descr> all_descriptors() {
  std::vector<host_matrix_descr> ds = {{HOST_MATRIX_TYPE_GENERAL, HOST_FILL_MODE_LOWER, HOST_DIAG_NON_UNIT}};
  for (auto type : {HOST_MATRIX_TYPE_SYMMETRIC, HOST_MATRIX_TYPE_TRIANGULAR})
    for (auto mode : {HOST_FILL_MODE_LOWER, HOST_FILL_MODE_UPPER})
      for (auto diag : {HOST_DIAG_NON_UNIT, HOST_DIAG_UNIT}) ds.push_back({type, mode, diag});
  return ds;
}

TYPED_TEST(HostEngine, ProductsWithEveryOperationAndDescriptor) {
  using C = typename TypeParam::c_value;
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  for (int base : {0, 1}) {
    for (auto [rows, cols] : {std::pair<int64_t, int64_t>{520, 520}, {90, 130}}) {
      auto A = random_matrix<T, I>(rows, cols, 7, static_cast<unsigned>(rows + base), base);
      host_matrix_t h = nullptr;
      ASSERT_EQ(api<I>::create_csr(&h, base, I(rows), I(cols), A.ptr.data(), A.ptr.data() + 1,
                           A.col.data(), reinterpret_cast<C*>(A.val.data())), 0);
      const dense full = A.full();
      std::mt19937 rng(5);
      for (auto d : all_descriptors()) {
        if (d.type != HOST_MATRIX_TYPE_GENERAL && rows != cols) continue;
        for (auto op : all_ops) {
          const dense e = effective(full, op, d);
          std::vector<T> x(e[0].size()), y(e.size());
          for (auto& v : x) v = random_value<T>(rng);
          for (auto& v : y) v = random_value<T>(rng);
          const T alpha = from_w<T>(W(1.5, -0.5)), beta = from_w<T>(W(-0.25, 0.75));
          std::vector<W> want(y.size());
          double scale = 1;
          for (size_t i = 0; i < e.size(); ++i) {
            W s = 0;
            for (size_t j = 0; j < x.size(); ++j) s += e[i][j] * W(x[j]), scale += std::abs(e[i][j]);
            want[i] = W(alpha) * s + W(beta) * W(y[i]);
          }
          ASSERT_EQ(api<I>::mv(op, cv<C>(alpha), h, d, reinterpret_cast<C*>(x.data()),
                       cv<C>(beta), reinterpret_cast<C*>(y.data())), 0);
          expect_close(y, want, scale / static_cast<double>(e.size()) * 4, "mv");
        }
      }
      api<I>::destroy(h, (C*)nullptr, I(0));
    }
  }
}

TYPED_TEST(HostEngine, ZeroBetaDoesNotReadYAndCooMatchesCsr) {
  using C = typename TypeParam::c_value;
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  auto A = random_matrix<T, I>(50, 40, 5, 3, 1);
  std::vector<I> coo_rows;
  for (int64_t i = 0; i < A.rows; ++i)
    for (I k = A.ptr[i] - 1; k < A.ptr[i + 1] - 1; ++k) coo_rows.push_back(static_cast<I>(i + 1));
  // COO entries in reverse order: the engine does not need them sorted.
  std::vector<I> rr(coo_rows.rbegin(), coo_rows.rend()), cr(A.col.rbegin() + (A.col.size() - coo_rows.size()), A.col.rend());
  std::vector<T> vr(A.val.rbegin() + (A.val.size() - coo_rows.size()), A.val.rend());
  host_matrix_t csr = nullptr, coo = nullptr;
  ASSERT_EQ(api<I>::create_csr(&csr, 1, I(50), I(40), A.ptr.data(), A.ptr.data() + 1, A.col.data(), reinterpret_cast<C*>(A.val.data())), 0);
  ASSERT_EQ(api<I>::create_coo(&coo, 1, I(50), I(40), I(rr.size()), rr.data(), cr.data(), reinterpret_cast<C*>(vr.data())), 0);
  const host_matrix_descr g{HOST_MATRIX_TYPE_GENERAL, HOST_FILL_MODE_LOWER, HOST_DIAG_NON_UNIT};
  for (auto op : all_ops) {
    const size_t nx = op == HOST_OPERATION_NON_TRANSPOSE ? 40 : 50, ny = 90 - nx;
    std::vector<T> x(nx, from_w<T>(W(0.5, 0.25))), y1(ny, T(std::nanf(""))), y2(ny, T(std::nanf("")));
    const T one = T(1), zero = T(0);
    ASSERT_EQ(api<I>::mv(op, cv<C>(one), csr, g, reinterpret_cast<C*>(x.data()), cv<C>(zero), reinterpret_cast<C*>(y1.data())), 0);
    ASSERT_EQ(api<I>::mv(op, cv<C>(one), coo, g, reinterpret_cast<C*>(x.data()), cv<C>(zero), reinterpret_cast<C*>(y2.data())), 0);
    for (size_t i = 0; i < ny; ++i) {
      ASSERT_FALSE(std::isnan(std::abs(W(y1[i]))));
      ASSERT_LE(std::abs(W(y1[i]) - W(y2[i])), 16 * eps<T>() * 10);
    }
  }
  api<I>::destroy(csr, (C*)nullptr, I(0));
  api<I>::destroy(coo, (C*)nullptr, I(0));
}

TYPED_TEST(HostEngine, DenseProductsInBothLayouts) {
  using C = typename TypeParam::c_value;
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  auto A = random_matrix<T, I>(60, 60, 6, 8, 0);
  host_matrix_t h = nullptr;
  ASSERT_EQ(api<I>::create_csr(&h, 0, I(60), I(60), A.ptr.data(), A.ptr.data() + 1, A.col.data(), reinterpret_cast<C*>(A.val.data())), 0);
  const dense full = A.full();
  std::mt19937 rng(1);
  for (auto d : {host_matrix_descr{HOST_MATRIX_TYPE_GENERAL, HOST_FILL_MODE_LOWER, HOST_DIAG_NON_UNIT},
                 host_matrix_descr{HOST_MATRIX_TYPE_TRIANGULAR, HOST_FILL_MODE_UPPER, HOST_DIAG_UNIT}}) {
    for (auto op : all_ops) {
      const dense e = effective(full, op, d);
      for (int64_t n : {1, 3, 8, 33}) {
        for (auto layout : {HOST_LAYOUT_ROW_MAJOR, HOST_LAYOUT_COLUMN_MAJOR}) {
          const int64_t ld = layout == HOST_LAYOUT_ROW_MAJOR ? n + 2 : 62;
          std::vector<T> x(static_cast<size_t>(ld * (layout == HOST_LAYOUT_ROW_MAJOR ? 60 : n)));
          std::vector<T> y(x.size());
          for (auto& v : x) v = random_value<T>(rng);
          for (auto& v : y) v = random_value<T>(rng);
          auto at = [&](std::vector<T>& m, int64_t i, int64_t c) -> T& {
            return layout == HOST_LAYOUT_ROW_MAJOR ? m[i * ld + c] : m[i + c * ld];
          };
          std::vector<W> want;
          std::vector<T> got;
          const T alpha = from_w<T>(W(2, 1)), beta = from_w<T>(W(0.5, 0));
          for (int64_t c = 0; c < n; ++c)
            for (int64_t i = 0; i < 60; ++i) {
              W s = 0;
              for (int64_t j = 0; j < 60; ++j) s += e[i][j] * W(at(x, j, c));
              want.push_back(W(alpha) * s + W(beta) * W(at(y, i, c)));
            }
          ASSERT_EQ(api<I>::mm(op, cv<C>(alpha), h, d, layout, reinterpret_cast<C*>(x.data()), I(n), I(ld),
                       cv<C>(beta), reinterpret_cast<C*>(y.data()), I(ld)), 0);
          for (int64_t c = 0; c < n; ++c)
            for (int64_t i = 0; i < 60; ++i) got.push_back(at(y, i, c));
          expect_close(got, want, 200, "mm");
        }
      }
    }
  }
  api<I>::destroy(h, (C*)nullptr, I(0));
}

TYPED_TEST(HostEngine, TriangularSolvesBeforeAndAfterOptimize) {
  using C = typename TypeParam::c_value;
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  auto A = random_matrix<T, I>(3000, 3000, 4, 9, 1);
  host_matrix_t h = nullptr;
  ASSERT_EQ(api<I>::create_csr(&h, 1, I(3000), I(3000), A.ptr.data(), A.ptr.data() + 1, A.col.data(), reinterpret_cast<C*>(A.val.data())), 0);
  std::mt19937 rng(2);
  std::vector<T> b(3000);
  for (auto& v : b) v = random_value<T>(rng);
  for (int optimized = 0; optimized < 2; ++optimized) {
    for (auto mode : {HOST_FILL_MODE_LOWER, HOST_FILL_MODE_UPPER})
      for (auto diag : {HOST_DIAG_NON_UNIT, HOST_DIAG_UNIT})
        for (auto op : all_ops) {
          const host_matrix_descr d{HOST_MATRIX_TYPE_TRIANGULAR, mode, diag};
          if (optimized) {
            ASSERT_EQ(api<I>::sv_hint(h, (C*)nullptr, I(0), op, d), 0);
            ASSERT_EQ(api<I>::optimize(h, (C*)nullptr, I(0)), 0);
          }
          std::vector<T> y(3000), r(3000);
          const T alpha = from_w<T>(W(1.25, 0.5)), one = T(1), zero = T(0);
          ASSERT_EQ(api<I>::trsv(op, cv<C>(alpha), h, d, reinterpret_cast<C*>(b.data()), reinterpret_cast<C*>(y.data())), 0);
          // The residual op(A) y - alpha b, through the engine's own product.
          ASSERT_EQ(api<I>::mv(op, cv<C>(one), h, d, reinterpret_cast<C*>(y.data()), cv<C>(zero), reinterpret_cast<C*>(r.data())), 0);
          double worst = 0;
          for (size_t i = 0; i < r.size(); ++i) worst = std::max(worst, std::abs(W(r[i]) - W(alpha) * W(b[i])));
          EXPECT_LE(worst, 2000 * eps<T>()) << "mode " << mode << " diag " << diag << " op " << op;
        }
  }
  // Several right-hand sides in both layouts agree with one solve per column.
  const host_matrix_descr d{HOST_MATRIX_TYPE_TRIANGULAR, HOST_FILL_MODE_LOWER, HOST_DIAG_NON_UNIT};
  for (auto layout : {HOST_LAYOUT_ROW_MAJOR, HOST_LAYOUT_COLUMN_MAJOR}) {
    const int64_t n = 5;
    std::vector<T> x(3000 * n), y(3000 * n);
    for (auto& v : x) v = random_value<T>(rng);
    const T one = T(1);
    const I ld = layout == HOST_LAYOUT_ROW_MAJOR ? I(n) : I(3000);
    ASSERT_EQ(api<I>::trsm(HOST_OPERATION_TRANSPOSE, cv<C>(one), h, d, layout, reinterpret_cast<C*>(x.data()), I(n), ld, reinterpret_cast<C*>(y.data()), ld), 0);
    for (int64_t c = 0; c < n; ++c) {
      std::vector<T> xc(3000), yc(3000);
      for (int64_t i = 0; i < 3000; ++i) xc[i] = layout == HOST_LAYOUT_ROW_MAJOR ? x[i * n + c] : x[i + c * 3000];
      ASSERT_EQ(api<I>::trsv(HOST_OPERATION_TRANSPOSE, cv<C>(one), h, d, reinterpret_cast<C*>(xc.data()), reinterpret_cast<C*>(yc.data())), 0);
      for (int64_t i = 0; i < 3000; ++i)
        ASSERT_LE(std::abs(W(yc[i]) - W(layout == HOST_LAYOUT_ROW_MAJOR ? y[i * n + c] : y[i + c * 3000])), 64 * eps<T>());
    }
  }
  api<I>::destroy(h, (C*)nullptr, I(0));
}

TYPED_TEST(HostEngine, RowOrderAndSparseProducts) {
  using C = typename TypeParam::c_value;
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  auto A = random_matrix<T, I>(80, 60, 6, 4, 1);
  auto B = random_matrix<T, I>(60, 80, 6, 5, 1);
  const dense a = A.full(), b = B.full();
  host_matrix_t ha = nullptr, hb = nullptr;
  ASSERT_EQ(api<I>::create_csr(&ha, 1, I(80), I(60), A.ptr.data(), A.ptr.data() + 1, A.col.data(), reinterpret_cast<C*>(A.val.data())), 0);
  ASSERT_EQ(api<I>::create_csr(&hb, 1, I(60), I(80), B.ptr.data(), B.ptr.data() + 1, B.col.data(), reinterpret_cast<C*>(B.val.data())), 0);
  // do_order: rows sorted in place, the matrix unchanged.
  ASSERT_EQ(api<I>::do_order(ha, (C*)nullptr, I(0)), 0);
  for (int64_t i = 0; i < 80; ++i) EXPECT_TRUE(std::is_sorted(A.col.begin() + (A.ptr[i] - 1), A.col.begin() + (A.ptr[i + 1] - 1)));
  EXPECT_EQ(A.full(), a);
  // C = A * B, A^T * A and A * A^T, with the structure first and the values second.
  struct product { host_operation_t oa; host_matrix_t x; host_operation_t ob; host_matrix_t y; dense want; };
  auto mult = [](const dense& l, const dense& r) {
    dense o(l.size(), std::vector<W>(r[0].size()));
    for (size_t i = 0; i < l.size(); ++i)
      for (size_t k = 0; k < r.size(); ++k)
        for (size_t j = 0; j < r[0].size(); ++j) o[i][j] += l[i][k] * r[k][j];
    return o;
  };
  const host_matrix_descr g{HOST_MATRIX_TYPE_GENERAL, HOST_FILL_MODE_LOWER, HOST_DIAG_NON_UNIT};
  std::vector<product> products = {
      {HOST_OPERATION_NON_TRANSPOSE, ha, HOST_OPERATION_NON_TRANSPOSE, hb, mult(a, b)},
      {HOST_OPERATION_CONJUGATE_TRANSPOSE, ha, HOST_OPERATION_NON_TRANSPOSE, ha, mult(effective(a, HOST_OPERATION_CONJUGATE_TRANSPOSE, g), a)},
      {HOST_OPERATION_NON_TRANSPOSE, ha, HOST_OPERATION_TRANSPOSE, ha, mult(a, effective(a, HOST_OPERATION_TRANSPOSE, g))}};
  for (auto& p : products) {
    host_matrix_t c = nullptr;
    ASSERT_EQ(api<I>::sp2m(p.oa, p.x, p.ob, p.y, HOST_REQUEST_WORK_ESTIMATE, &c, (C*)nullptr, I(0)), 0);
    ASSERT_EQ(api<I>::sp2m(p.oa, p.x, p.ob, p.y, HOST_REQUEST_NNZ_COUNT, &c, (C*)nullptr, I(0)), 0);
    ASSERT_EQ(api<I>::sp2m(p.oa, p.x, p.ob, p.y, HOST_REQUEST_FINALIZE_MULT, &c, (C*)nullptr, I(0)), 0);
    int base = -1;
    I rows = 0, cols = 0, *rs = nullptr, *re = nullptr, *ci = nullptr;
    C* v = nullptr;
    ASSERT_EQ(api<I>::export_csr(c, &base, &rows, &cols, &rs, &re, &ci, &v), 0);
    EXPECT_EQ(base, 1);
    ASSERT_EQ(rows, static_cast<I>(p.want.size()));
    const T* vals = reinterpret_cast<const T*>(v);
    for (I i = 0; i < rows; ++i) {
      std::vector<W> row(cols, W(0));
      for (I k = rs[i] - 1; k < re[i] - 1; ++k) row[ci[k] - 1] += W(vals[k]);
      for (I j = 0; j < cols; ++j) ASSERT_LE(std::abs(row[j] - p.want[i][j]), 5000 * eps<T>()) << i << "," << j;
    }
    vrt_sparse_destroy_i4(nullptr);
    api<I>::destroy(c, (C*)nullptr, I(0));
  }
  api<I>::destroy(ha, (C*)nullptr, I(0));
  api<I>::destroy(hb, (C*)nullptr, I(0));
}

TEST(HostEngineStatus, RefusalsAndTheTestSeam) {
  std::vector<int32_t> ptr = {0, 1, 2}, col = {0, 1};
  std::vector<double> val = {1, 2};
  host_matrix_t h = nullptr;
  const host_matrix_descr g{HOST_MATRIX_TYPE_GENERAL, HOST_FILL_MODE_LOWER, HOST_DIAG_NON_UNIT};
  double x[2] = {1, 1}, y[2];
  EXPECT_EQ(vrt_sparse_d_mv_i4(HOST_OPERATION_NON_TRANSPOSE, 1, nullptr, g, x, 0, y), SPARSE_STATUS_NOT_INITIALIZED);
  EXPECT_EQ(vrt_sparse_d_create_csr_i4(&h, 2, 2, 2, ptr.data(), ptr.data() + 1, col.data(), val.data()), SPARSE_STATUS_INVALID_VALUE);
  ASSERT_EQ(vrt_sparse_d_create_csr_i4(&h, 0, 2, 2, ptr.data(), ptr.data() + 1, col.data(), val.data()), 0);
  EXPECT_EQ(vrt_sparse_d_mv_i4(13, 1, h, g, x, 0, y), SPARSE_STATUS_INVALID_VALUE);
  EXPECT_EQ(vrt_sparse_s_mv_i4(HOST_OPERATION_NON_TRANSPOSE, 1, h, g, nullptr, 0, nullptr), SPARSE_STATUS_INVALID_VALUE)
      << "a float call on a double matrix";
  EXPECT_EQ(vrt_sparse_d_trsv_i4(HOST_OPERATION_NON_TRANSPOSE, 1, h, g, x, y), SPARSE_STATUS_INVALID_VALUE)
      << "a solve needs a triangular descriptor";
  for (sparse_status_t s = 1; s <= 6; ++s) {
    vrt_sparse_testing_force_status(s, 1);
    EXPECT_EQ(vrt_sparse_d_mv_i4(HOST_OPERATION_NON_TRANSPOSE, 1, h, g, x, 0, y), s);
  }
  EXPECT_EQ(vrt_sparse_d_mv_i4(HOST_OPERATION_NON_TRANSPOSE, 1, h, g, x, 0, y), 0);
  EXPECT_EQ(y[0], 1.0);
  EXPECT_EQ(y[1], 2.0);
  // A missing diagonal stops a non-unit solve.
  std::vector<int32_t> p2 = {0, 0, 1}, c2 = {0};
  host_matrix_t t = nullptr;
  ASSERT_EQ(vrt_sparse_d_create_csr_i4(&t, 0, 2, 2, p2.data(), p2.data() + 1, c2.data(), val.data()), 0);
  const host_matrix_descr lower{HOST_MATRIX_TYPE_TRIANGULAR, HOST_FILL_MODE_LOWER, HOST_DIAG_NON_UNIT};
  EXPECT_EQ(vrt_sparse_d_trsv_i4(HOST_OPERATION_NON_TRANSPOSE, 1, t, lower, x, y), SPARSE_STATUS_EXECUTION_FAILED);
  EXPECT_EQ(vrt_sparse_destroy_i4(t), 0);
  EXPECT_EQ(vrt_sparse_destroy_i4(h), 0);
}

TEST(HostEngineConcurrency, ThreadsDriveTheirOwnMatrices) {
  std::vector<std::thread> threads;
  std::atomic<int> failures{0};
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&, t] {
      auto A = random_matrix<double, int64_t>(2000, 2000, 8, static_cast<unsigned>(t), 0);
      host_matrix_t h = nullptr;
      if (vrt_sparse_d_create_csr_i8(&h, 0, 2000, 2000, A.ptr.data(), A.ptr.data() + 1, A.col.data(), A.val.data()) != 0) ++failures;
      std::vector<double> x(2000, 1.0), y(2000), y0(2000);
      const host_matrix_descr g{HOST_MATRIX_TYPE_GENERAL, HOST_FILL_MODE_LOWER, HOST_DIAG_NON_UNIT};
      vrt_sparse_d_mv_i8(HOST_OPERATION_TRANSPOSE, 1, h, g, x.data(), 0, y0.data());
      for (int k = 0; k < 20; ++k) {
        if (vrt_sparse_d_mv_i8(HOST_OPERATION_TRANSPOSE, 1, h, g, x.data(), 0, y.data()) != 0 || y != y0) ++failures;
      }
      vrt_sparse_destroy_i8(h);
    });
  for (auto& th : threads) th.join();
  EXPECT_EQ(failures, 0);
}

}  // namespace
