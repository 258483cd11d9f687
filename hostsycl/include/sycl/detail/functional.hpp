// Function objects of the group algorithms and their known identities.
#pragma once

#include <limits>
#include <type_traits>

namespace sycl {

#define HOSTSYCL_BINARY_FUNCTOR(name, expr)                     \
  template <typename T = void>                                  \
  struct name {                                                 \
    T operator()(const T& x, const T& y) const { return expr; } \
  };                                                            \
  template <>                                                   \
  struct name<void> {                                           \
    template <typename T, typename U>                           \
    auto operator()(T&& x, U&& y) const {                       \
      return expr;                                              \
    }                                                           \
  };
HOSTSYCL_BINARY_FUNCTOR(plus, x + y)
HOSTSYCL_BINARY_FUNCTOR(multiplies, x* y)
HOSTSYCL_BINARY_FUNCTOR(bit_and, x& y)
HOSTSYCL_BINARY_FUNCTOR(bit_or, x | y)
HOSTSYCL_BINARY_FUNCTOR(bit_xor, x ^ y)
HOSTSYCL_BINARY_FUNCTOR(logical_and, x&& y)
HOSTSYCL_BINARY_FUNCTOR(logical_or, x || y)
// minimum and maximum return the first argument when the two are equivalent.
HOSTSYCL_BINARY_FUNCTOR(minimum, (y < x) ? y : x)
HOSTSYCL_BINARY_FUNCTOR(maximum, (x < y) ? y : x)
#undef HOSTSYCL_BINARY_FUNCTOR

namespace detail {
template <typename Op, typename T>
struct identity_of {
  static constexpr bool known = false;
};
template <typename U, typename T>
struct identity_of<plus<U>, T> {
  static constexpr bool known = std::is_arithmetic_v<T>;
  static constexpr T value = T{};
};
template <typename U, typename T>
struct identity_of<multiplies<U>, T> {
  static constexpr bool known = std::is_arithmetic_v<T>;
  static constexpr T value = T{1};
};
template <typename U, typename T>
struct identity_of<bit_and<U>, T> {
  static constexpr bool known = std::is_integral_v<T>;
  static constexpr T value = static_cast<T>(~T{});
};
template <typename U, typename T>
struct identity_of<bit_or<U>, T> {
  static constexpr bool known = std::is_integral_v<T>;
  static constexpr T value = T{};
};
template <typename U, typename T>
struct identity_of<bit_xor<U>, T> {
  static constexpr bool known = std::is_integral_v<T>;
  static constexpr T value = T{};
};
template <typename U>
struct identity_of<logical_and<U>, bool> {
  static constexpr bool known = true;
  static constexpr bool value = true;
};
template <typename U>
struct identity_of<logical_or<U>, bool> {
  static constexpr bool known = true;
  static constexpr bool value = false;
};
template <typename U, typename T>
struct identity_of<minimum<U>, T> {
  static constexpr bool known = std::is_arithmetic_v<T>;
  static constexpr T value = std::is_floating_point_v<T> ? std::numeric_limits<T>::infinity()
                                                         : std::numeric_limits<T>::max();
};
template <typename U, typename T>
struct identity_of<maximum<U>, T> {
  static constexpr bool known = std::is_arithmetic_v<T>;
  static constexpr T value = std::is_floating_point_v<T> ? -std::numeric_limits<T>::infinity()
                                                         : std::numeric_limits<T>::lowest();
};
}  // namespace detail

template <typename BinaryOperation, typename AccumulatorT>
struct has_known_identity
    : std::bool_constant<detail::identity_of<BinaryOperation, AccumulatorT>::known> {};
template <typename BinaryOperation, typename AccumulatorT>
inline constexpr bool has_known_identity_v =
    has_known_identity<BinaryOperation, AccumulatorT>::value;

template <typename BinaryOperation, typename AccumulatorT>
struct known_identity {
  static constexpr AccumulatorT value = detail::identity_of<BinaryOperation, AccumulatorT>::value;
};
template <typename BinaryOperation, typename AccumulatorT>
inline constexpr AccumulatorT known_identity_v =
    known_identity<BinaryOperation, AccumulatorT>::value;

}  // namespace sycl
