// Pieces the products share: complex arithmetic without library calls, the part of a row an
// operation reads, and the sum of one row against a vector.
#pragma once

#include <cstdint>
#include <limits>

#include "matrix.hpp"

namespace vrt_host {

// a * b. For complex values the plain formula: the library's product calls out to handle
// infinities, which would dominate these loops.
template <typename T>
inline T mul(const T& a, const T& b) {
  if constexpr (is_complex<T>)
    return T(a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real());
  else
    return a * b;
}

// alpha * s + beta * y, where a zero beta means y is not read.
template <typename T>
inline T finish(T alpha, T s, T beta, const T& y) {
  return beta == T(0) ? mul(alpha, s) : mul(alpha, s) + mul(beta, y);
}

// Columns per block of a dense operand: one cache line of accumulators.
template <typename T>
constexpr int block_columns() {
  return static_cast<int>(64 / sizeof(T));
}

// Which entries (i, j) of a row take part, as a range of j - i: everything, one triangle with
// or without its diagonal, or nothing.
struct part {
  std::int64_t low = std::numeric_limits<std::int64_t>::min();
  std::int64_t high = std::numeric_limits<std::int64_t>::max();
  bool none = false;
  bool all() const {
    return !none && low == std::numeric_limits<std::int64_t>::min() &&
           high == std::numeric_limits<std::int64_t>::max();
  }
  bool has(std::int64_t i, std::int64_t j) const { return j - i >= low && j - i <= high; }
};
inline part everything() { return part{}; }
inline part nothing() {
  part p;
  p.none = true;
  return p;
}
// The triangle of a descriptor (with its diagonal unless `strict`), as rows of A or of A^T.
inline part triangle(bool lower, bool strict) {
  part p;
  if (lower)
    p.high = strict ? -1 : 0;
  else
    p.low = strict ? 1 : 0;
  return p;
}

// The value of entry k of a view, conjugated on request.
template <bool Perm, bool Conj, typename T, typename I>
inline T entry(const csr_view<T, I>& v, std::int64_t k) {
  if constexpr (Perm)
    return maybe_conj<Conj>(v.val[v.perm[k]]);
  else
    return maybe_conj<Conj>(v.val[k]);
}

// sum over the row's entries in the part of a_ij x_j. One sum: the loads of x, not the chain of
// additions, bound this loop, and four sums measured slower on short random rows.
template <bool Filtered, bool Perm, bool Conj, typename T, typename I>
[[gnu::always_inline]] inline T gather_row(const csr_view<T, I>& v, std::int64_t i, const T* x,
                                           const part& p) {
  const I base = v.base;
  const std::int64_t k0 = v.begin[i] - base, k1 = v.end[i] - base;
  const I* col = v.col;
  if constexpr (!Filtered) {
    T s0 = T(0);
    for (std::int64_t k = k0; k < k1; ++k) s0 += mul(entry<Perm, Conj>(v, k), x[col[k] - base]);
    return s0;
  } else {
    T s = T(0);
    for (std::int64_t k = k0; k < k1; ++k) {
      const std::int64_t j = col[k] - base;
      const T t = mul(entry<Perm, Conj>(v, k), x[j]);
      s += p.has(i, j) ? t : T(0);
    }
    return s;
  }
}

// Runs f.template operator()<Filtered, Perm, Conj>() with the flags fixed at compile time.
// Real values never conjugate, so they get half the instances.
template <typename T, typename F>
inline void with_flags(bool filtered, bool perm, bool conj, F&& f) {
  auto pick_conj = [&]<bool Fl, bool Pe>() {
    if constexpr (is_complex<T>) {
      if (conj) return f.template operator()<Fl, Pe, true>();
    }
    return f.template operator()<Fl, Pe, false>();
  };
  if (filtered) {
    if (perm)
      pick_conj.template operator()<true, true>();
    else
      pick_conj.template operator()<true, false>();
  } else {
    if (perm)
      pick_conj.template operator()<false, true>();
    else
      pick_conj.template operator()<false, false>();
  }
}

}  // namespace vrt_host
