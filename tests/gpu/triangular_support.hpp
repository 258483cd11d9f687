// What the triangular tests share: matrices with both triangles and rows in random order, a
// handle bound in one memory model, host copies of the handle's containers, and a plain solve.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <hostsycl/hostsycl.hpp>
#include <limits>
#include <orvane/vrt/sparse.hpp>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "handle/handle.hpp"
#include "support/device_arrays.hpp"
#include "support/sparse_matrices.hpp"
#include "support/test_helpers.hpp"

namespace vrt_test::triangular {

namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;

// The harness's memories, comparison, vectors and container copies, under the names these tests
// use.
using vrt_test::all_memories;
using vrt_test::expect_close;
using vrt_test::memory;
using vrt_test::name_of;
using vrt_test::prefix;
using vrt_test::random_vector;
using vrt_test::read_container;
using vrt_test::write_container;

constexpr const char* all_profiles[] = {"emu-a0", "emu-a1", "emu-a2", "emu-a3",
                                        "emu-a4", "emu-a5", "emu-a6", "emu-a1-nofp64"};

template <typename T>
bool double_precision() {
  return std::is_same_v<real_t<T>, double>;
}

// A square matrix with entries in both triangles, rows in random order, every diagonal entry
// present and larger than the rest of its row together (so both triangular solves are tame).
// missing_diagonal / zero_diagonal rows (if >= 0) lose or zero their diagonal entry.
template <typename T, typename I>
csr_matrix<T, I> dominant_matrix(std::int64_t n, int per_row, unsigned seed, int base = 0,
                                 std::int64_t missing_diagonal = -1,
                                 std::int64_t zero_diagonal = -1) {
  std::mt19937 rng(seed);
  std::uniform_int_distribution<std::int64_t> column(0, n > 0 ? n - 1 : 0);
  csr_matrix<T, I> A;
  A.nrows = A.ncols = n;
  A.base = base;
  A.row_ptr.push_back(static_cast<I>(base));
  for (std::int64_t i = 0; i < n; ++i) {
    std::vector<std::pair<I, T>> row;
    double sum = 0;
    for (int k = 0; k < per_row; ++k) {
      const std::int64_t j = column(rng);
      if (j == i || std::any_of(row.begin(), row.end(),
                                [&](const auto& e) { return e.first == static_cast<I>(j); }))
        continue;
      const T v = random_value<T>(rng);
      sum += std::abs(v);
      row.emplace_back(static_cast<I>(j), v);
    }
    if (i != missing_diagonal)
      row.emplace_back(static_cast<I>(i), i == zero_diagonal ? T(0) : T(real_t<T>(sum + 1.5)));
    std::shuffle(row.begin(), row.end(), rng);
    for (const auto& [c, v] : row) {
      A.col_ind.push_back(static_cast<I>(c + base));
      A.values.push_back(v);
    }
    A.row_ptr.push_back(static_cast<I>(A.col_ind.size() + static_cast<std::size_t>(base)));
  }
  return A;
}

// The same matrix with each row's entries in column order.
template <typename T, typename I>
csr_matrix<T, I> sorted_rows(csr_matrix<T, I> A) {
  for (std::int64_t i = 0; i < A.nrows; ++i) {
    const auto b = static_cast<std::size_t>(A.row_ptr[i] - A.base);
    const auto e = static_cast<std::size_t>(A.row_ptr[i + 1] - A.base);
    std::vector<std::pair<I, T>> row;
    for (std::size_t k = b; k < e; ++k) row.emplace_back(A.col_ind[k], A.values[k]);
    std::sort(row.begin(), row.end(),
              [](const auto& x, const auto& y) { return x.first < y.first; });
    for (std::size_t k = b; k < e; ++k) {
      A.col_ind[k] = row[k - b].first;
      A.values[k] = row[k - b].second;
    }
  }
  return A;
}

// y solving T y = alpha x with the named triangle of A, entries in stored order.
template <typename T, typename I>
std::vector<T> reference_solve(const csr_matrix<T, I>& A, bool upper, bool unit, T alpha,
                               const std::vector<T>& x) {
  const auto n = static_cast<std::size_t>(A.nrows);
  std::vector<T> y(n, T(0));
  for (std::size_t step = 0; step < n; ++step) {
    const std::size_t r = upper ? n - 1 - step : step;
    T t = x[r] * alpha;
    T d(0);
    for (auto k = static_cast<std::size_t>(A.row_ptr[r] - A.base);
         k < static_cast<std::size_t>(A.row_ptr[r + 1] - A.base); ++k) {
      const auto c = static_cast<std::size_t>(A.col_ind[k] - A.base);
      if (c == r)
        d = A.values[k];
      else if (upper ? c > r : c < r)
        t -= A.values[k] * y[c];
    }
    y[r] = unit ? t : t / d;
  }
  return y;
}

template <typename T>
bool is_nan(const T& v) {
  if constexpr (is_complex<T>)
    return std::isnan(v.real()) || std::isnan(v.imag());
  else
    return std::isnan(v);
}

// A square matrix bound to a handle in one memory model, with trsv and optimize_trsv on it.
template <typename T, typename I>
class bound_matrix : public vrt_test::bound_matrix<T, I> {
 public:
  bound_matrix(sycl::queue& q, const csr_matrix<T, I>& A, memory m)
      : vrt_test::bound_matrix<T, I>(q, A, m), q_(q), m_(m) {
    this->wait();
  }

  bool usm() const { return vrt_test::is_usm(m_); }

  // trsv on x; y starts as NaN (or as *y_start).
  std::vector<T> trsv(vrt::uplo ul, vrt::diag dg, T alpha, const std::vector<T>& x_in,
                      std::vector<T>* y_start = nullptr) {
    const std::size_t n = x_in.size();
    vrt_test::device_array<T> x(q_, x_in, m_);
    vrt_test::device_array<T> y(
        q_, y_start != nullptr ? *y_start : std::vector<T>(n, nan_value<T>()), m_);
    this->run(
        [&](vs::matrix_handle* h, auto&... args) {
          return vs::trsv(q_, ul, vrt::transpose::nontrans, dg, alpha, h, args...);
        },
        x, y);
    this->wait();
    // With no rows the padded element comes back too: it shows whether anything wrote y.
    std::vector<T> out = y.read();
    if (n > 0) out.resize(n);
    return out;
  }

  void optimize(vrt::uplo ul, vrt::diag dg) {
    auto e = vs::optimize_trsv(q_, ul, vrt::transpose::nontrans, dg, this->handle(), {});
    e.wait();
  }

 private:
  sycl::queue& q_;
  memory m_;
};

// The refusals optimize_trsv and trsv share, in the order they are checked: the triangle, the
// operation, the format, then a missing structure (through the device entry `call_device`, since
// the public frame answers a null handle first). `call(uplo, op)` runs the public routine on h.
template <typename Public, typename Device>
void expect_triangular_refusals(vs::matrix_handle* h, const std::string& word, Public call,
                                Device call_device) {
  expect_message<vrt::invalid_argument>(
      [&] { call(static_cast<vrt::uplo>(2), vrt::transpose::nontrans); },
      prefix(word) + "invalid argument: uplo_flag");
  expect_message<vrt::unimplemented>([&] { call(vrt::uplo::lower, vrt::transpose::trans); },
                                     prefix(word) +
                                         "unimplemented functionality: currently only supports the "
                                         "orvane::vrt::transpose::nontrans op");
  expect_message<vrt::unimplemented>([&] { call(vrt::uplo::upper, vrt::transpose::conjtrans); },
                                     prefix(word) +
                                         "unimplemented functionality: currently only supports the "
                                         "orvane::vrt::transpose::nontrans op");
  h->primary->format = vs::format_coo;
  expect_message<vrt::unimplemented>([&] { call(vrt::uplo::lower, vrt::transpose::nontrans); },
                                     prefix(word) +
                                         "unimplemented functionality: currently only supports the "
                                         "CSR matrix format on GPU devices");
  h->primary->format = vs::format_csr;
  vs::sparseStructure* primary = h->primary;
  h->primary = nullptr;
  expect_message<vrt::uninitialized>(
      call_device, prefix(word) + "uninitialized object: Matrix is not initialized");
  h->primary = primary;
}

}  // namespace vrt_test::triangular
