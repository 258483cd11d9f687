// Math, integer and common built-ins, scalar and element-wise over vec and marray.
#pragma once

#include <bit>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <sycl/detail/marray.hpp>
#include <sycl/detail/vec.hpp>
#include <type_traits>

namespace sycl {

namespace detail {
template <typename T>
struct is_nonscalar : std::false_type {};
template <typename T, int N>
struct is_nonscalar<vec<T, N>> : std::true_type {};
template <typename T, std::size_t N>
struct is_nonscalar<marray<T, N>> : std::true_type {};
template <typename T>
concept nonscalar = is_nonscalar<T>::value;
template <typename T>
concept floating = std::is_floating_point_v<T>;
template <typename T>
concept integer = std::is_integral_v<T> && !std::is_same_v<T, bool>;

template <nonscalar V, typename F>
V elementwise(const V& a, F f) {
  V r;
  for (std::size_t i = 0; i < V::size(); ++i) r[i] = f(a[i]);
  return r;
}
template <nonscalar V, typename F>
V elementwise(const V& a, const V& b, F f) {
  V r;
  for (std::size_t i = 0; i < V::size(); ++i) r[i] = f(a[i], b[i]);
  return r;
}
template <nonscalar V, typename F>
V elementwise(const V& a, const V& b, const V& c, F f) {
  V r;
  for (std::size_t i = 0; i < V::size(); ++i) r[i] = f(a[i], b[i], c[i]);
  return r;
}
}  // namespace detail

#define HOSTSYCL_UNARY_FLOAT(name, expr)                                             \
  template <detail::floating T>                                                      \
  T name(T x) {                                                                      \
    return expr;                                                                     \
  }                                                                                  \
  template <detail::nonscalar V>                                                     \
  requires detail::floating<typename V::value_type> V name(const V& x) {             \
    return detail::elementwise(x, [](typename V::value_type v) { return name(v); }); \
  }
HOSTSYCL_UNARY_FLOAT(fabs, std::fabs(x))
HOSTSYCL_UNARY_FLOAT(sqrt, std::sqrt(x))
HOSTSYCL_UNARY_FLOAT(rsqrt, T(1) / std::sqrt(x))
HOSTSYCL_UNARY_FLOAT(exp, std::exp(x))
HOSTSYCL_UNARY_FLOAT(log, std::log(x))
HOSTSYCL_UNARY_FLOAT(sin, std::sin(x))
HOSTSYCL_UNARY_FLOAT(cos, std::cos(x))
HOSTSYCL_UNARY_FLOAT(floor, std::floor(x))
HOSTSYCL_UNARY_FLOAT(ceil, std::ceil(x))
#undef HOSTSYCL_UNARY_FLOAT

#define HOSTSYCL_BINARY_FLOAT(name, expr)                                                          \
  template <detail::floating T>                                                                    \
  T name(T x, T y) {                                                                               \
    return expr;                                                                                   \
  }                                                                                                \
  template <detail::nonscalar V>                                                                   \
  requires detail::floating<typename V::value_type> V name(const V& x, const V& y) {               \
    return detail::elementwise(                                                                    \
        x, y, [](typename V::value_type a, typename V::value_type b) { return name(a, b); });      \
  }                                                                                                \
  template <detail::nonscalar V>                                                                   \
  requires detail::floating<typename V::value_type> V name(const V& x, typename V::value_type y) { \
    return name(x, V(y));                                                                          \
  }
HOSTSYCL_BINARY_FLOAT(fmin, std::fmin(x, y))
HOSTSYCL_BINARY_FLOAT(fmax, std::fmax(x, y))
HOSTSYCL_BINARY_FLOAT(pow, std::pow(x, y))
#undef HOSTSYCL_BINARY_FLOAT

template <detail::floating T>
T fma(T a, T b, T c) {
  return std::fma(a, b, c);
}
template <detail::nonscalar V>
requires detail::floating<typename V::value_type> V fma(const V& a, const V& b, const V& c) {
  using T = typename V::value_type;
  return detail::elementwise(a, b, c, [](T x, T y, T z) { return std::fma(x, y, z); });
}
template <detail::floating T>
T mad(T a, T b, T c) {
  return a * b + c;
}

// Scalar min and max demand one type for both arguments, as the standard does.
template <typename T1, typename T2>
requires(std::is_arithmetic_v<T1>&& std::is_arithmetic_v<T2>) T1 min(T1 x, T2 y) {
  static_assert(std::is_same_v<T1, T2>, "sycl::min needs arguments of the same type");
  return y < x ? y : x;
}
template <typename T1, typename T2>
requires(std::is_arithmetic_v<T1>&& std::is_arithmetic_v<T2>) T1 max(T1 x, T2 y) {
  static_assert(std::is_same_v<T1, T2>, "sycl::max needs arguments of the same type");
  return x < y ? y : x;
}
template <detail::nonscalar V>
V min(const V& x, const V& y) {
  return detail::elementwise(x, y, [](auto a, auto b) { return b < a ? b : a; });
}
template <detail::nonscalar V>
V max(const V& x, const V& y) {
  return detail::elementwise(x, y, [](auto a, auto b) { return a < b ? b : a; });
}
template <detail::nonscalar V>
V min(const V& x, typename V::value_type y) {
  return min(x, V(y));
}
template <detail::nonscalar V>
V max(const V& x, typename V::value_type y) {
  return max(x, V(y));
}
template <typename T>
requires std::is_arithmetic_v<T> T clamp(T x, T lo, T hi) { return min(max(x, lo), hi); }

template <detail::integer T>
T clz(T x) {
  return static_cast<T>(std::countl_zero(static_cast<std::make_unsigned_t<T>>(x)));
}
template <detail::integer T>
T ctz(T x) {
  return static_cast<T>(std::countr_zero(static_cast<std::make_unsigned_t<T>>(x)));
}
template <detail::integer T>
T popcount(T x) {
  return static_cast<T>(std::popcount(static_cast<std::make_unsigned_t<T>>(x)));
}
template <detail::integer T>
std::make_unsigned_t<T> abs(T x) {
  using U = std::make_unsigned_t<T>;
  return x < 0 ? static_cast<U>(0) - static_cast<U>(x) : static_cast<U>(x);
}

template <typename To, typename From>
requires(sizeof(To) == sizeof(From) && std::is_trivially_copyable_v<To> &&
         std::is_trivially_copyable_v<From>) To bit_cast(const From& from)
noexcept { return std::bit_cast<To>(from); }

}  // namespace sycl
