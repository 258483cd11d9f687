// Test matrices, a plain reference product and precision-scaled comparison, shared by the
// library's tests.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>
#include <orvane/vrt/sparse.hpp>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

namespace vrt_test {

template <typename T>
struct real_of {
  using type = T;
};
template <typename R>
struct real_of<std::complex<R>> {
  using type = R;
};
template <typename T>
using real_t = typename real_of<T>::type;

template <typename T>
constexpr bool is_complex = !std::is_same_v<T, real_t<T>>;

template <typename T>
T random_value(std::mt19937& rng) {
  std::uniform_real_distribution<double> d(-1.0, 1.0);
  if constexpr (is_complex<T>)
    return T(static_cast<real_t<T>>(d(rng)), static_cast<real_t<T>>(d(rng)));
  else
    return static_cast<T>(d(rng));
}

// A CSR matrix held on the host; column order within a row is as generated (not sorted).
template <typename T, typename I>
struct csr_matrix {
  std::int64_t nrows = 0;
  std::int64_t ncols = 0;
  int base = 0;
  std::vector<I> row_ptr;
  std::vector<I> col_ind;
  std::vector<T> values;
  std::int64_t nnz() const { return static_cast<std::int64_t>(values.size()); }
};

// Row lengths drawn from [0, max_row]; a share of rows is empty, and `long_rows` rows get
// `long_length` entries (with repeated columns allowed when the matrix is narrow).
template <typename T, typename I>
csr_matrix<T, I> random_csr(std::int64_t nrows, std::int64_t ncols, int max_row, unsigned seed,
                            int base = 0, int long_rows = 0, int long_length = 0) {
  std::mt19937 rng(seed);
  csr_matrix<T, I> m;
  m.nrows = nrows;
  m.ncols = ncols;
  m.base = base;
  m.row_ptr.push_back(static_cast<I>(base));
  for (std::int64_t r = 0; r < nrows; ++r) {
    int length = ncols == 0 ? 0 : static_cast<int>(rng() % (max_row + 1));
    if (rng() % 5 == 0) length = 0;
    if (r < long_rows && ncols > 0) length = long_length;
    for (int k = 0; k < length; ++k) {
      m.col_ind.push_back(static_cast<I>(rng() % ncols + base));
      m.values.push_back(random_value<T>(rng));
    }
    m.row_ptr.push_back(static_cast<I>(m.values.size() + base));
  }
  return m;
}

// What an output holds before a routine writes it: NaN values and -1 indices, which no routine
// computes and which fail every comparison, so an entry the routine leaves alone shows up.
template <typename T>
T nan_value() {
  constexpr real_t<T> nan = std::numeric_limits<real_t<T>>::quiet_NaN();
  if constexpr (is_complex<T>)
    return T(nan, nan);
  else
    return nan;
}

template <typename T>
std::vector<T> nan_vector(std::size_t n) {
  return std::vector<T>(n, nan_value<T>());
}

// Arrays of a CSR matrix of this shape and count, every one of them holding sentinels.
template <typename T, typename I>
csr_matrix<T, I> sentinel_csr(std::int64_t nrows, std::int64_t ncols, std::int64_t nnz, int base) {
  csr_matrix<T, I> m;
  m.nrows = nrows;
  m.ncols = ncols;
  m.base = base;
  m.row_ptr.assign(static_cast<std::size_t>(nrows + 1), I(-1));
  m.col_ind.assign(static_cast<std::size_t>(nnz), I(-1));
  m.values = nan_vector<T>(static_cast<std::size_t>(nnz));
  return m;
}

template <typename T>
T conj_if(T v, bool conj) {
  if constexpr (is_complex<T>)
    return conj ? std::conj(v) : v;
  else
    return v;
}

// y = alpha * op(A) * x + beta * y on the host, accumulated in double precision.
template <typename T, typename I>
std::vector<T> reference_gemv(const csr_matrix<T, I>& A, orvane::vrt::transpose op, T alpha,
                              const std::vector<T>& x, T beta, const std::vector<T>& y) {
  using W = std::conditional_t<is_complex<T>, std::complex<double>, double>;
  const bool transposed = op != orvane::vrt::transpose::nontrans;
  const bool conj = op == orvane::vrt::transpose::conjtrans;
  const std::int64_t out_rows = transposed ? A.ncols : A.nrows;
  std::vector<W> sum(static_cast<std::size_t>(out_rows), W(0));
  for (std::int64_t r = 0; r < A.nrows; ++r)
    for (I j = A.row_ptr[r] - A.base; j < A.row_ptr[r + 1] - A.base; ++j) {
      const std::int64_t c = A.col_ind[j] - A.base;
      const W a = static_cast<W>(conj_if(A.values[j], conj));
      if (transposed)
        sum[c] += a * static_cast<W>(x[r]);
      else
        sum[r] += a * static_cast<W>(x[c]);
    }
  std::vector<T> out(static_cast<std::size_t>(out_rows));
  for (std::size_t i = 0; i < out.size(); ++i) {
    const W scaled = static_cast<W>(alpha) * sum[i];
    out[i] = beta == T(0) ? static_cast<T>(scaled)
                          : static_cast<T>(scaled + static_cast<W>(beta) * static_cast<W>(y[i]));
  }
  return out;
}

// |a| sums per output row: the scale of the rounding error a row's sum can carry.
template <typename T, typename I>
std::vector<double> error_scale(const csr_matrix<T, I>& A, orvane::vrt::transpose op, T alpha,
                                const std::vector<T>& x, T beta, const std::vector<T>& y) {
  const bool transposed = op != orvane::vrt::transpose::nontrans;
  const std::int64_t out_rows = transposed ? A.ncols : A.nrows;
  std::vector<double> scale(static_cast<std::size_t>(out_rows), 0.0);
  std::vector<double> length(static_cast<std::size_t>(out_rows), 0.0);
  for (std::int64_t r = 0; r < A.nrows; ++r)
    for (I j = A.row_ptr[r] - A.base; j < A.row_ptr[r + 1] - A.base; ++j) {
      const std::int64_t c = A.col_ind[j] - A.base;
      const std::int64_t out = transposed ? c : r;
      scale[out] += std::abs(A.values[j]) * std::abs(transposed ? x[r] : x[c]);
      length[out] += 1.0;
    }
  for (std::size_t i = 0; i < scale.size(); ++i)
    scale[i] = (length[i] + 2.0) * (std::abs(alpha) * scale[i] +
                                    (beta == T(0) ? 0.0 : std::abs(beta) * std::abs(y[i])));
  return scale;
}

// The one comparison of computed against reference values: entry i passes when its error is
// within bound(i); NaN never passes; the first entry that fails is reported, and ends the check.
template <typename T, typename Bound>
void expect_within(const std::vector<T>& got, const std::vector<T>& want, Bound bound,
                   const std::string& what) {
  ASSERT_EQ(got.size(), want.size()) << what;
  for (std::size_t i = 0; i < got.size(); ++i) {
    const double err = static_cast<double>(std::abs(got[i] - want[i]));
    ASSERT_FALSE(!(err <= bound(i)))
        << what << ": entry " << i << " got " << got[i] << " want " << want[i];
  }
}

// Products: a few units of rounding per term of each row's sum (`scale` from error_scale).
template <typename T>
void expect_close(const std::vector<T>& got, const std::vector<T>& want,
                  const std::vector<double>& scale, const std::string& what) {
  const double eps = std::numeric_limits<real_t<T>>::epsilon();
  expect_within(
      got, want,
      [&](std::size_t i) { return 4.0 * eps * scale[i] + std::numeric_limits<real_t<T>>::min(); },
      what);
}

// Solves: a few hundred units of rounding relative to the solution's size (at least 1).
template <typename T>
void expect_close(const std::vector<T>& got, const std::vector<T>& want, const std::string& what) {
  double size = 1;
  for (const T& w : want) size = std::max(size, static_cast<double>(std::abs(w)));
  const double bound = 256.0 * std::numeric_limits<real_t<T>>::epsilon() * size;
  expect_within(
      got, want, [&](std::size_t) { return bound; }, what);
}

// n values drawn from [-1, 1] (both parts for complex types), the same for the same seed.
template <typename T>
std::vector<T> random_vector(std::int64_t n, unsigned seed) {
  std::mt19937 rng(seed);
  std::vector<T> v(static_cast<std::size_t>(n));
  for (auto& e : v) e = random_value<T>(rng);
  return v;
}

}  // namespace vrt_test
