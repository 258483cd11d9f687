// The driver's inputs: the matrix in the bound arrays' types and the deterministic vectors and
// dense matrices (formulas in --help, so that a reference can recompute them).
#pragma once

#include <algorithm>
#include <complex>
#include <cstdint>
#include <limits>
#include <numeric>
#include <type_traits>
#include <vector>

#include "matrix_market.hpp"

namespace vrt_driver {

namespace mm = orvane::vrt::matrix_market;

template <typename T>
constexpr bool is_complex_value = !std::is_same_v<T, float> && !std::is_same_v<T, double>;

template <typename T>
T from_complex(std::complex<double> v) {
  if constexpr (is_complex_value<T>)
    return T(static_cast<typename T::value_type>(v.real()),
             static_cast<typename T::value_type>(v.imag()));
  else
    return static_cast<T>(v.real());
}

// x[j], and entry (r, c) of a dense right operand X or B: column 0 is x.
template <typename T>
T x_entry(std::int64_t r, std::int64_t c = 0) {
  return from_complex<T>(
      {1.0 + static_cast<double>((r + 2 * c) % 7) / 4.0, static_cast<double>((r + c) % 3) / 2.0});
}
// y[r], and entry (r, c) of a dense result Y or C before the routine: column 0 is y.
template <typename T>
T y_entry(std::int64_t r, std::int64_t c = 0) {
  return from_complex<T>(
      {0.5 - static_cast<double>((r + 3 * c) % 5) / 8.0, static_cast<double>((r + c) % 4) / 4.0});
}

template <typename T>
std::vector<T> x_vector(std::int64_t n) {
  std::vector<T> v(static_cast<std::size_t>(n));
  for (std::int64_t j = 0; j < n; ++j) v[static_cast<std::size_t>(j)] = x_entry<T>(j);
  return v;
}
template <typename T>
std::vector<T> y_vector(std::int64_t n) {
  std::vector<T> v(static_cast<std::size_t>(n));
  for (std::int64_t r = 0; r < n; ++r) v[static_cast<std::size_t>(r)] = y_entry<T>(r);
  return v;
}

// A dense operand of rows x columns in a layout, its leading dimension and padding included.
struct dense_shape {
  std::int64_t rows, columns, ld;
  bool row_major;
  std::size_t at(std::int64_t r, std::int64_t c) const {
    return static_cast<std::size_t>(row_major ? r * ld + c : r + c * ld);
  }
  std::size_t size() const {
    return static_cast<std::size_t>(row_major ? rows * ld : columns * ld);
  }
};

inline dense_shape make_shape(std::int64_t rows, std::int64_t columns, bool row_major,
                              std::int64_t pad) {
  return {rows, columns, (row_major ? columns : rows) + pad, row_major};
}

// The padding holds NaN: a routine that reads it spoils its result.
template <typename T, typename Entry>
std::vector<T> dense_operand(const dense_shape& s, Entry entry) {
  std::vector<T> v(s.size(), from_complex<T>({std::numeric_limits<double>::quiet_NaN(),
                                              std::numeric_limits<double>::quiet_NaN()}));
  for (std::int64_t r = 0; r < s.rows; ++r)
    for (std::int64_t c = 0; c < s.columns; ++c) v[s.at(r, c)] = entry(r, c);
  return v;
}

// The logical matrix of a dense operand, column by column.
template <typename T>
std::vector<std::complex<double>> column_major(const dense_shape& s, const std::vector<T>& v) {
  std::vector<std::complex<double>> out;
  out.reserve(static_cast<std::size_t>(s.rows * s.columns));
  for (std::int64_t c = 0; c < s.columns; ++c)
    for (std::int64_t r = 0; r < s.rows; ++r) out.emplace_back(v[s.at(r, c)]);
  return out;
}

// The matrix as the bound arrays hold it: CSR rows keep the file's order within a row, COO the
// file's order. Every array has at least one element: an empty array still needs an address.
template <typename T, typename I>
struct host_matrix {
  std::int64_t nrows = 0, ncols = 0, nnz = 0;
  bool csr = true;
  int base = 0;
  std::vector<I> rows, cols;
  std::vector<T> values;
};

template <typename T, typename I>
host_matrix<T, I> convert(const mm::coordinate_matrix& m, bool csr, int base) {
  host_matrix<T, I> h;
  h.nrows = m.rows;
  h.ncols = m.cols;
  h.nnz = static_cast<std::int64_t>(m.value.size());
  h.csr = csr;
  h.base = base;
  std::vector<std::size_t> order(m.value.size());
  std::iota(order.begin(), order.end(), 0);
  if (csr) {
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t a, std::size_t b) { return m.row[a] < m.row[b]; });
    h.rows.assign(static_cast<std::size_t>(m.rows + 1), 0);
    for (std::size_t k : order) ++h.rows[static_cast<std::size_t>(m.row[k] + 1)];
    for (std::size_t r = 0; r < static_cast<std::size_t>(m.rows); ++r) h.rows[r + 1] += h.rows[r];
    for (auto& r : h.rows) r += static_cast<I>(base);
  }
  for (std::size_t k : order) {
    if (!csr) h.rows.push_back(static_cast<I>(m.row[k] + base));
    h.cols.push_back(static_cast<I>(m.col[k] + base));
    h.values.push_back(from_complex<T>(m.value[k]));
  }
  for (auto* v : {&h.rows, &h.cols})
    if (v->empty()) v->push_back(0);
  if (h.values.empty()) h.values.push_back(T(0));
  return h;
}

// --dominant: rows scaled by powers of two (exact, so a reference gets the same values) and
// the diagonal raised by 1, see --help.
void make_dominant(mm::coordinate_matrix& m);

}  // namespace vrt_driver
