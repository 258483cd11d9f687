// What the engine's tests share: the C calls of every variant behind one overloaded name per
// operation, random matrices with unsorted and empty rows, and references computed in complex
// double from the list of entries an operation sees.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <type_traits>
#include <vector>

#include "vrt/host_sparse.h"

namespace hs_test {

using W = std::complex<double>;

// The C calls of one index width, overloaded on the C value type.
#define HS_TEST_API(p, C, i, I)                                                                   \
  static sparse_status_t create_csr(host_matrix_t* A, int b, I r, I c, I* rs, I* re, I* ci,       \
                                    C* v) {                                                       \
    return vrt_sparse_##p##_create_csr_##i(A, b, r, c, rs, re, ci, v);                            \
  }                                                                                               \
  static sparse_status_t create_coo(host_matrix_t* A, int b, I r, I c, I n, I* ri, I* ci, C* v) { \
    return vrt_sparse_##p##_create_coo_##i(A, b, r, c, n, ri, ci, v);                             \
  }                                                                                               \
  static sparse_status_t mv(host_operation_t op, C a, host_matrix_t A, host_matrix_descr d,       \
                            const C* x, C b, C* y) {                                              \
    return vrt_sparse_##p##_mv_##i(op, a, A, d, x, b, y);                                         \
  }                                                                                               \
  static sparse_status_t dotmv(host_operation_t op, C a, host_matrix_t A, host_matrix_descr d,    \
                               const C* x, C b, C* y, C* dot) {                                   \
    return vrt_sparse_##p##_dotmv_##i(op, a, A, d, x, b, y, dot);                                 \
  }                                                                                               \
  static sparse_status_t mm(host_operation_t op, C a, host_matrix_t A, host_matrix_descr d,       \
                            host_layout_t l, const C* x, I n, I ldx, C b, C* y, I ldy) {          \
    return vrt_sparse_##p##_mm_##i(op, a, A, d, l, x, n, ldx, b, y, ldy);                         \
  }                                                                                               \
  static sparse_status_t trsv(host_operation_t op, C a, host_matrix_t A, host_matrix_descr d,     \
                              const C* x, C* y) {                                                 \
    return vrt_sparse_##p##_trsv_##i(op, a, A, d, x, y);                                          \
  }                                                                                               \
  static sparse_status_t trsm(host_operation_t op, C a, host_matrix_t A, host_matrix_descr d,     \
                              host_layout_t l, const C* x, I n, I ldx, C* y, I ldy) {             \
    return vrt_sparse_##p##_trsm_##i(op, a, A, d, l, x, n, ldx, y, ldy);                          \
  }                                                                                               \
  static sparse_status_t do_order(host_matrix_t A, const C*) {                                    \
    return vrt_sparse_##p##_do_order_##i(A);                                                      \
  }                                                                                               \
  static sparse_status_t export_csr(host_matrix_t A, int* b, I* r, I* c, I** rs, I** re, I** ci,  \
                                    C** v) {                                                      \
    return vrt_sparse_##p##_export_csr_##i(A, b, r, c, rs, re, ci, v);                            \
  }                                                                                               \
  static sparse_status_t csr_transpose(host_operation_t op, int b, I r, I c, const I* rs,         \
                                       const I* re, const I* ci, const C* v, int ob, I* ors,      \
                                       I* oci, C* ov) {                                           \
    return vrt_sparse_##p##_csr_transpose_##i(op, b, r, c, rs, re, ci, v, ob, ors, oci, ov);      \
  }
#define HS_TEST_INDEXED(i, I)                                                                 \
  static sparse_status_t destroy(host_matrix_t A) { return vrt_sparse_destroy_##i(A); }       \
  static sparse_status_t optimize(host_matrix_t A) { return vrt_sparse_optimize_##i(A); }     \
  static sparse_status_t mv_hint(host_matrix_t A, host_operation_t op, host_matrix_descr d) { \
    return vrt_sparse_set_mv_hint_##i(A, op, d, 100);                                         \
  }                                                                                           \
  static sparse_status_t sv_hint(host_matrix_t A, host_operation_t op, host_matrix_descr d) { \
    return vrt_sparse_set_sv_hint_##i(A, op, d, 100);                                         \
  }                                                                                           \
  static sparse_status_t sm_hint(host_matrix_t A, host_operation_t op, host_matrix_descr d,   \
                                 host_layout_t l, I n) {                                      \
    return vrt_sparse_set_sm_hint_##i(A, op, d, l, n, 100);                                   \
  }                                                                                           \
  static sparse_status_t sp2m(host_operation_t oa, host_matrix_descr da, host_matrix_t A,     \
                              host_operation_t ob, host_matrix_descr db, host_matrix_t B,     \
                              host_request_t r, host_matrix_t* C) {                           \
    return vrt_sparse_sp2m_##i(oa, da, A, ob, db, B, r, C);                                   \
  }                                                                                           \
  static sparse_status_t get_nnz(host_matrix_t A, I* n) { return vrt_sparse_get_nnz_##i(A, n); }

template <typename I>
struct api;
template <>
struct api<int32_t> {
  HS_TEST_API(s, float, i4, int32_t)
  HS_TEST_API(d, double, i4, int32_t)
  HS_TEST_API(c, vrt_complex8, i4, int32_t)
  HS_TEST_API(z, vrt_complex16, i4, int32_t)
  HS_TEST_INDEXED(i4, int32_t)
};
template <>
struct api<int64_t> {
  HS_TEST_API(s, float, i8, int64_t)
  HS_TEST_API(d, double, i8, int64_t)
  HS_TEST_API(c, vrt_complex8, i8, int64_t)
  HS_TEST_API(z, vrt_complex16, i8, int64_t)
  HS_TEST_INDEXED(i8, int64_t)
};

// The C value type and its real precision.
template <typename C>
struct traits {
  using real = C;
  static constexpr bool complex = false;
  static C make(W w) { return static_cast<C>(w.real()); }
  static W wide(C c) { return W(c, 0); }
};
template <>
struct traits<vrt_complex8> {
  using real = float;
  static constexpr bool complex = true;
  static vrt_complex8 make(W w) {
    return {static_cast<float>(w.real()), static_cast<float>(w.imag())};
  }
  static W wide(vrt_complex8 c) { return W(c.real, c.imag); }
};
template <>
struct traits<vrt_complex16> {
  using real = double;
  static constexpr bool complex = true;
  static vrt_complex16 make(W w) { return {w.real(), w.imag()}; }
  static W wide(vrt_complex16 c) { return W(c.real, c.imag); }
};

template <typename C>
double eps() {
  return std::numeric_limits<typename traits<C>::real>::epsilon();
}

template <typename C_, typename I_>
struct variant {
  using C = C_;
  using I = I_;
};
using variants = ::testing::Types<variant<float, int32_t>, variant<float, int64_t>,
                                  variant<double, int32_t>, variant<double, int64_t>,
                                  variant<vrt_complex8, int32_t>, variant<vrt_complex8, int64_t>,
                                  variant<vrt_complex16, int32_t>, variant<vrt_complex16, int64_t>>;

// A random value of the variant (complex values get an imaginary part).
template <typename C>
W random_value(std::mt19937& rng) {
  std::uniform_real_distribution<double> d(-1, 1);
  const double re = d(rng);
  const double im = traits<C>::complex ? d(rng) : 0.0;
  // Round to the variant's precision so that references see the stored values.
  return traits<C>::wide(traits<C>::make(W(re, im)));
}

template <typename C>
std::vector<C> random_vector(std::int64_t n, unsigned seed) {
  std::mt19937 rng(seed);
  std::vector<C> v(static_cast<std::size_t>(n));
  for (auto& e : v) e = traits<C>::make(random_value<C>(rng));
  return v;
}

// A CSR matrix in the caller's arrays.
template <typename C, typename I>
struct csr {
  std::int64_t rows = 0, cols = 0;
  int base = 0;
  std::vector<I> ptr, col;
  std::vector<C> val;
  std::int64_t nnz() const { return static_cast<std::int64_t>(col.size()); }
  host_matrix_t make() {
    host_matrix_t A = nullptr;
    EXPECT_EQ(api<I>::create_csr(&A, base, static_cast<I>(rows), static_cast<I>(cols), ptr.data(),
                                 ptr.data() + 1, col.data(), val.data()),
              SPARSE_STATUS_SUCCESS);
    return A;
  }
};

struct shape {
  std::int64_t rows, cols;
  int per_row;    // up to this many random entries a row
  bool diagonal;  // a strong diagonal entry in every row (square matrices)
  int base;
  unsigned seed;
  std::int64_t band = 0;  // entries within this distance of the diagonal when > 0
};

// Random rows in random order, about a quarter of them empty, no repeated columns.
template <typename C, typename I>
csr<C, I> random_csr(const shape& s) {
  std::mt19937 rng(s.seed);
  csr<C, I> m;
  m.rows = s.rows;
  m.cols = s.cols;
  m.base = s.base;
  m.ptr.push_back(static_cast<I>(s.base));
  std::vector<std::int64_t> cs;
  for (std::int64_t i = 0; i < s.rows; ++i) {
    cs.clear();
    const int len = (rng() % 4 == 0) ? 0 : static_cast<int>(rng() % (s.per_row + 1));
    for (int k = 0; k < len && s.cols > 0; ++k) {
      std::int64_t c;
      if (s.band > 0) {
        const std::int64_t lo = std::max<std::int64_t>(0, i - s.band);
        const std::int64_t hi = std::min<std::int64_t>(s.cols - 1, i + s.band);
        if (hi < lo) break;
        c = lo + static_cast<std::int64_t>(rng() % static_cast<unsigned>(hi - lo + 1));
      } else {
        c = static_cast<std::int64_t>(rng() % static_cast<unsigned>(s.cols));
      }
      if (c == i && s.diagonal) continue;
      if (std::find(cs.begin(), cs.end(), c) == cs.end()) cs.push_back(c);
    }
    if (s.diagonal && i < s.cols) cs.push_back(i);
    std::shuffle(cs.begin(), cs.end(), rng);
    for (std::int64_t c : cs) {
      W v = random_value<C>(rng);
      if (c == i && s.diagonal) v += W(2.0 + s.per_row, 0);
      m.col.push_back(static_cast<I>(c + s.base));
      m.val.push_back(traits<C>::make(v));
    }
    m.ptr.push_back(static_cast<I>(m.col.size() + s.base));
  }
  return m;
}

struct entry {
  std::int64_t i, j;
  W v;
};

// The entries of op(A) under a descriptor, in complex double.
template <typename C, typename I>
std::vector<entry> effective(const csr<C, I>& m, host_operation_t op, host_matrix_descr d) {
  std::vector<entry> e;
  const bool lower = d.mode == HOST_FILL_MODE_LOWER;
  const bool unit = d.type != HOST_MATRIX_TYPE_GENERAL && d.diag == HOST_DIAG_UNIT;
  for (std::int64_t i = 0; i < m.rows; ++i)
    for (I k = m.ptr[i] - m.base; k < m.ptr[i + 1] - m.base; ++k) {
      const std::int64_t j = m.col[k] - m.base;
      const W v = traits<C>::wide(m.val[k]);
      if (d.type == HOST_MATRIX_TYPE_GENERAL) {
        e.push_back({i, j, v});
        continue;
      }
      const bool in = lower ? j <= i : j >= i;
      if (!in || (unit && i == j)) continue;
      e.push_back({i, j, v});
      if (d.type == HOST_MATRIX_TYPE_SYMMETRIC && i != j) e.push_back({j, i, v});
    }
  if (unit)
    for (std::int64_t i = 0; i < m.rows; ++i) e.push_back({i, i, W(1)});
  if (op != HOST_OPERATION_NON_TRANSPOSE)
    for (auto& x : e) {
      std::swap(x.i, x.j);
      if (op == HOST_OPERATION_CONJUGATE_TRANSPOSE) x.v = std::conj(x.v);
    }
  return e;
}

// Reference Y = alpha E X + beta Y for `columns` columns; mag gets the magnitudes summed, for
// tolerances. X(i, c) = x[i * sx + c * cx].
template <typename C>
void reference_mm(const std::vector<entry>& e, std::int64_t out_len, std::int64_t columns, W alpha,
                  const std::vector<C>& x, std::int64_t sx, std::int64_t cx, W beta,
                  const std::vector<C>& y, std::int64_t sy, std::int64_t cy, std::vector<W>& want,
                  std::vector<double>& mag) {
  want.assign(static_cast<std::size_t>(out_len * columns), W(0));
  mag.assign(want.size(), 0.0);
  for (const auto& t : e)
    for (std::int64_t c = 0; c < columns; ++c) {
      const W xv = traits<C>::wide(x[t.j * sx + c * cx]);
      want[t.i * columns + c] += t.v * xv;
      mag[t.i * columns + c] += std::abs(t.v) * std::abs(xv);
    }
  for (std::int64_t i = 0; i < out_len; ++i)
    for (std::int64_t c = 0; c < columns; ++c) {
      const std::size_t k = static_cast<std::size_t>(i * columns + c);
      want[k] *= alpha;
      mag[k] *= std::abs(alpha);
      if (beta != W(0)) {
        const W yv = traits<C>::wide(y[i * sy + c * cy]);
        want[k] += beta * yv;
        mag[k] += std::abs(beta) * std::abs(yv);
      }
    }
}

// |got - want| within a few hundred roundings of the summed magnitudes.
template <typename C>
::testing::AssertionResult close(C got, W want, double mag, double factor = 64) {
  const double err = std::abs(traits<C>::wide(got) - want);
  const double tol = factor * eps<C>() * (mag + 1e-30) + 1e-300;
  if (err <= tol) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure()
         << "got (" << traits<C>::wide(got).real() << ", " << traits<C>::wide(got).imag()
         << ") want " << want << " error " << err << " tolerance " << tol;
}

inline std::vector<host_matrix_descr> all_descriptors() {
  std::vector<host_matrix_descr> ds = {
      {HOST_MATRIX_TYPE_GENERAL, HOST_FILL_MODE_LOWER, HOST_DIAG_NON_UNIT}};
  for (auto type : {HOST_MATRIX_TYPE_SYMMETRIC, HOST_MATRIX_TYPE_TRIANGULAR})
    for (auto mode : {HOST_FILL_MODE_LOWER, HOST_FILL_MODE_UPPER})
      for (auto diag : {HOST_DIAG_NON_UNIT, HOST_DIAG_UNIT}) ds.push_back({type, mode, diag});
  return ds;
}

inline const host_operation_t all_ops[] = {HOST_OPERATION_NON_TRANSPOSE, HOST_OPERATION_TRANSPOSE,
                                           HOST_OPERATION_CONJUGATE_TRANSPOSE};

inline const host_matrix_descr general = {HOST_MATRIX_TYPE_GENERAL, HOST_FILL_MODE_LOWER,
                                          HOST_DIAG_NON_UNIT};

// Reference solve of op(A) y = alpha x for the effective (triangular) entries.
inline std::vector<W> reference_solve(const std::vector<entry>& e, std::int64_t n, bool lower,
                                      const std::vector<W>& rhs) {
  std::vector<std::vector<std::pair<std::int64_t, W>>> rows(static_cast<std::size_t>(n));
  for (const auto& t : e) rows[t.i].push_back({t.j, t.v});
  std::vector<W> y(static_cast<std::size_t>(n));
  for (std::int64_t s = 0; s < n; ++s) {
    const std::int64_t i = lower ? s : n - 1 - s;
    W acc = rhs[i], d = 0;
    for (const auto& [j, v] : rows[i]) {
      if (j == i)
        d += v;
      else
        acc -= v * y[j];
    }
    y[i] = acc / d;
  }
  return y;
}

}  // namespace hs_test
