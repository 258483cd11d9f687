// What the triangular tests share: matrices with both triangles and rows in random order, a
// handle bound in one memory model, host copies of the handle's containers, and a plain solve.
#pragma once

#include <gtest/gtest.h>
#include <hostsycl/hostsycl.hpp>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <orvane/vrt/sparse.hpp>

#include "handle/handle.hpp"
#include "support/sparse_matrices.hpp"
#include "support/test_helpers.hpp"

namespace vrt_test::triangular {

namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;

enum class memory { device, shared, host, buffer };
constexpr memory all_memories[] = {memory::device, memory::shared, memory::host, memory::buffer};

inline const char* name_of(memory m) {
  switch (m) {
    case memory::device: return "USM device";
    case memory::shared: return "USM shared";
    case memory::host: return "USM host";
    default: return "buffers";
  }
}

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

// Within a few hundred units of rounding of the reference, relative to the solution's size;
// NaN never passes.
template <typename T>
void expect_close(const std::vector<T>& got, const std::vector<T>& want, const std::string& what) {
  ASSERT_EQ(got.size(), want.size()) << what;
  double size = 1;
  for (const T& w : want) size = std::max(size, static_cast<double>(std::abs(w)));
  const double bound = 256.0 * std::numeric_limits<real_t<T>>::epsilon() * size;
  for (std::size_t i = 0; i < got.size(); ++i) {
    const double err = static_cast<double>(std::abs(got[i] - want[i]));
    if (!(err <= bound)) {
      ADD_FAILURE() << what << ": entry " << i << " got " << got[i] << " want " << want[i];
      return;
    }
  }
}

template <typename T>
std::vector<T> random_vector(std::int64_t n, unsigned seed) {
  std::mt19937 rng(seed);
  std::vector<T> v(static_cast<std::size_t>(n));
  for (auto& e : v) e = random_value<T>(rng);
  return v;
}

template <typename T>
T quiet_nan() {
  const auto nan = std::numeric_limits<real_t<T>>::quiet_NaN();
  if constexpr (is_complex<T>)
    return T(nan, nan);
  else
    return nan;
}

template <typename T>
bool is_nan(const T& v) {
  if constexpr (is_complex<T>)
    return std::isnan(v.real()) || std::isnan(v.imag());
  else
    return std::isnan(v);
}

// A container of the handle copied to the host: n elements of E from a USM pointer or buffer.
template <typename E>
std::vector<E> read_container(sycl::queue& q, const void* container, vs::containerType c,
                              std::size_t n) {
  std::vector<E> out(n);
  if (n == 0) return out;
  if (c == vs::container_usm) {
    q.memcpy(out.data(), container, n * sizeof(E)).wait();
  } else {
    auto* b = static_cast<sycl::buffer<E, 1>*>(const_cast<void*>(container));
    sycl::host_accessor a(*b, sycl::read_only);
    for (std::size_t i = 0; i < n; ++i) out[i] = a[i];
  }
  return out;
}

template <typename E>
void write_container(sycl::queue& q, void* container, vs::containerType c,
                     const std::vector<E>& v) {
  if (c == vs::container_usm) {
    q.memcpy(container, v.data(), v.size() * sizeof(E)).wait();
  } else {
    auto* b = static_cast<sycl::buffer<E, 1>*>(container);
    sycl::host_accessor a(*b, sycl::write_only);
    for (std::size_t i = 0; i < v.size(); ++i) a[i] = v[i];
  }
}

// A handle bound to A in one memory model, arrays kept alive until the handle is released.
template <typename T, typename I>
class bound_matrix {
 public:
  bound_matrix(sycl::queue& q, const csr_matrix<T, I>& A, memory m) : q_(q), m_(m), A_(A) {
    vs::init_matrix_handle(&h_);
    pad(A_.row_ptr);
    pad(A_.col_ind);
    pad(A_.values);
    const auto base = static_cast<vrt::index_base>(A.base);
    const auto n = static_cast<I>(A.nrows);
    if (m == memory::buffer) {
      b_row_.emplace(A_.row_ptr.data(), sycl::range<1>(A_.row_ptr.size()));
      b_col_.emplace(A_.col_ind.data(), sycl::range<1>(A_.col_ind.size()));
      b_val_.emplace(A_.values.data(), sycl::range<1>(A_.values.size()));
      vs::set_csr_data(q_, h_, n, n, base, *b_row_, *b_col_, *b_val_);
    } else {
      row_ = to_usm(A_.row_ptr);
      col_ = to_usm(A_.col_ind);
      val_ = to_usm(A_.values);
      vs::set_csr_data(q_, h_, n, n, base, row_, col_, val_).wait();
    }
  }
  bound_matrix(const bound_matrix&) = delete;
  bound_matrix& operator=(const bound_matrix&) = delete;
  ~bound_matrix() {
    if (m_ == memory::buffer) {
      vs::release_matrix_handle(&h_);
    } else {
      vs::release_matrix_handle(q_, &h_, {}).wait();
      for (void* p : {static_cast<void*>(row_), static_cast<void*>(col_), static_cast<void*>(val_)})
        sycl::free(p, q_);
    }
  }

  vs::matrix_handle* handle() { return h_; }
  bool usm() const { return m_ != memory::buffer; }

  // trsv on x; y starts as NaN (or as *y_start).
  std::vector<T> trsv(vrt::uplo ul, vrt::diag dg, T alpha, const std::vector<T>& x_in,
                      std::vector<T>* y_start = nullptr) {
    std::vector<T> x = x_in;
    std::vector<T> y = y_start != nullptr ? *y_start : std::vector<T>(x.size(), quiet_nan<T>());
    const std::size_t n = x.size();
    pad(x);
    pad(y);
    if (m_ == memory::buffer) {
      {
        sycl::buffer<T, 1> bx(x.data(), sycl::range<1>(x.size()));
        sycl::buffer<T, 1> by(y.data(), sycl::range<1>(y.size()));
        vs::trsv(q_, ul, vrt::transpose::nontrans, dg, alpha, h_, bx, by);
      }
    } else {
      T* dx = to_usm(x);
      T* dy = to_usm(y);
      try {
        vs::trsv(q_, ul, vrt::transpose::nontrans, dg, alpha, h_, dx, dy, {}).wait();
      } catch (...) {
        sycl::free(dx, q_);
        sycl::free(dy, q_);
        throw;
      }
      q_.memcpy(y.data(), dy, y.size() * sizeof(T)).wait();
      sycl::free(dx, q_);
      sycl::free(dy, q_);
    }
    // With no rows the padded element comes back too: it shows whether anything wrote y.
    if (n > 0) y.resize(n);
    return y;
  }

  void optimize(vrt::uplo ul, vrt::diag dg) {
    auto e = vs::optimize_trsv(q_, ul, vrt::transpose::nontrans, dg, h_, {});
    e.wait();
  }

 private:
  template <typename E>
  static void pad(std::vector<E>& v) {
    if (v.empty()) v.resize(1);
  }
  template <typename E>
  E* to_usm(const std::vector<E>& v) {
    E* p = nullptr;
    switch (m_) {
      case memory::device: p = sycl::malloc_device<E>(v.size(), q_); break;
      case memory::shared: p = sycl::malloc_shared<E>(v.size(), q_); break;
      default: p = sycl::malloc_host<E>(v.size(), q_); break;
    }
    q_.memcpy(p, v.data(), v.size() * sizeof(E)).wait();
    return p;
  }

  sycl::queue& q_;
  memory m_;
  csr_matrix<T, I> A_;
  vs::matrix_handle* h_ = nullptr;
  I* row_ = nullptr;
  I* col_ = nullptr;
  T* val_ = nullptr;
  std::optional<sycl::buffer<I, 1>> b_row_, b_col_;
  std::optional<sycl::buffer<T, 1>> b_val_;
};


// The start of every message the library throws for `word` (none for the empty word).
inline std::string prefix(const std::string& word) {
  return word.empty() ? "orvane::vrt::sparse: " : "orvane::vrt::sparse::" + word + ": ";
}

// The refusals optimize_trsv and trsv share, in the order they are checked: the triangle, the
// operation, the format, then a missing structure (through the device entry `call_device`, since
// the public frame answers a null handle first). `call(uplo, op)` runs the public routine on h.
template <typename Public, typename Device>
void expect_triangular_refusals(vs::matrix_handle* h, const std::string& word, Public call,
                                Device call_device) {
  expect_message<vrt::invalid_argument>(
      [&] { call(static_cast<vrt::uplo>(2), vrt::transpose::nontrans); },
      prefix(word) + "invalid argument: uplo_flag");
  expect_message<vrt::unimplemented>(
      [&] { call(vrt::uplo::lower, vrt::transpose::trans); },
      prefix(word) +
          "unimplemented functionality: currently only supports the orvane::vrt::transpose::nontrans op");
  expect_message<vrt::unimplemented>(
      [&] { call(vrt::uplo::upper, vrt::transpose::conjtrans); },
      prefix(word) +
          "unimplemented functionality: currently only supports the orvane::vrt::transpose::nontrans op");
  h->primary->format = vs::format_coo;
  expect_message<vrt::unimplemented>(
      [&] { call(vrt::uplo::lower, vrt::transpose::nontrans); },
      prefix(word) +
          "unimplemented functionality: currently only supports the CSR matrix format on GPU devices");
  h->primary->format = vs::format_csr;
  vs::sparseStructure* primary = h->primary;
  h->primary = nullptr;
  expect_message<vrt::uninitialized>(call_device,
                                     prefix(word) + "uninitialized object: Matrix is not initialized");
  h->primary = primary;
}

}  // namespace vrt_test::triangular
