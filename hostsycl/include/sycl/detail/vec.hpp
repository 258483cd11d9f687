// vec<T, N>: the SYCL short vector type, with element-wise operators.
#pragma once

#include <cstdint>
#include <cstring>
#include <sycl/detail/defines.hpp>
#include <type_traits>

namespace sycl {

enum class rounding_mode : int { automatic, rte, rtz, rtp, rtn };

struct elem {
  static constexpr int x = 0, y = 1, z = 2, w = 3, r = 0, g = 1, b = 2, a = 3;
  static constexpr int s0 = 0, s1 = 1, s2 = 2, s3 = 3, s4 = 4, s5 = 5, s6 = 6, s7 = 7, s8 = 8,
                       s9 = 9, sA = 10, sB = 11, sC = 12, sD = 13, sE = 14, sF = 15;
};

namespace detail {
template <std::size_t Size>
struct signed_of_size;
template <>
struct signed_of_size<1> {
  using type = std::int8_t;
};
template <>
struct signed_of_size<2> {
  using type = std::int16_t;
};
template <>
struct signed_of_size<4> {
  using type = std::int32_t;
};
template <>
struct signed_of_size<8> {
  using type = std::int64_t;
};
constexpr std::size_t vec_storage_count(int n) { return n == 3 ? 4 : static_cast<std::size_t>(n); }
}  // namespace detail

template <typename DataT, int NumElements>
class alignas(sizeof(DataT) * detail::vec_storage_count(NumElements) > 64
                  ? 64
                  : sizeof(DataT) * detail::vec_storage_count(NumElements)) vec {
  static_assert(NumElements == 1 || NumElements == 2 || NumElements == 3 || NumElements == 4 ||
                    NumElements == 8 || NumElements == 16,
                "vec supports 1, 2, 3, 4, 8 and 16 elements");
  static_assert(std::is_arithmetic_v<DataT>, "vec elements are fundamental scalars");

 public:
  using element_type = DataT;
  using value_type = DataT;
  using mask_type = vec<typename detail::signed_of_size<sizeof(DataT)>::type, NumElements>;

  vec() = default;
  explicit constexpr vec(const DataT& arg) requires(NumElements > 1) {
    for (int i = 0; i < NumElements; ++i) d_[i] = arg;
  }
  constexpr vec(const DataT& arg) requires(NumElements == 1) { d_[0] = arg; }
  template <typename... Args>
  requires(sizeof...(Args) > 1) constexpr vec(const Args&... args) {
    int pos = 0;
    (put(pos, args), ...);
  }
  constexpr vec(const vec&) = default;
  vec& operator=(const vec&) = default;
  template <typename T>
  requires std::is_convertible_v<T, DataT> vec& operator=(const T& rhs) {
    for (int i = 0; i < NumElements; ++i) d_[i] = static_cast<DataT>(rhs);
    return *this;
  }

  operator DataT() const requires(NumElements == 1) { return d_[0]; }

  static constexpr std::size_t byte_size() noexcept {
    return sizeof(DataT) * detail::vec_storage_count(NumElements);
  }
  static constexpr std::size_t size() noexcept { return NumElements; }

  template <typename ConvertT, rounding_mode RoundingMode = rounding_mode::automatic>
  vec<ConvertT, NumElements> convert() const {
    vec<ConvertT, NumElements> r;
    for (int i = 0; i < NumElements; ++i) r[i] = static_cast<ConvertT>(d_[i]);
    return r;
  }
  template <typename AsT>
  AsT as() const {
    static_assert(sizeof(AsT) == sizeof(vec), "as() needs types of the same size");
    AsT r;
    std::memcpy(static_cast<void*>(&r), this, sizeof(vec));
    return r;
  }

  DataT& operator[](int i) { return d_[i]; }
  const DataT& operator[](int i) const { return d_[i]; }

  DataT& x() { return d_[0]; }
  const DataT& x() const { return d_[0]; }
  DataT& y() requires(NumElements >= 2 && NumElements <= 4) { return d_[1]; }
  const DataT& y() const requires(NumElements >= 2 && NumElements <= 4) { return d_[1]; }
  DataT& z() requires(NumElements >= 3 && NumElements <= 4) { return d_[2]; }
  const DataT& z() const requires(NumElements >= 3 && NumElements <= 4) { return d_[2]; }
  DataT& w() requires(NumElements == 4) { return d_[3]; }
  const DataT& w() const requires(NumElements == 4) { return d_[3]; }
  DataT& s0() { return d_[0]; }
  const DataT& s0() const { return d_[0]; }
  DataT& s1() requires(NumElements >= 2) { return d_[1]; }
  const DataT& s1() const requires(NumElements >= 2) { return d_[1]; }
  DataT& s2() requires(NumElements >= 3) { return d_[2]; }
  const DataT& s2() const requires(NumElements >= 3) { return d_[2]; }
  DataT& s3() requires(NumElements >= 4) { return d_[3]; }
  const DataT& s3() const requires(NumElements >= 4) { return d_[3]; }

  template <int... Indexes>
  vec<DataT, sizeof...(Indexes)> swizzle() const {
    return vec<DataT, sizeof...(Indexes)>(d_[Indexes]...);
  }
  auto lo() const requires(NumElements > 1) { return half_at(0); }
  auto hi() const requires(NumElements > 1) { return half_at(half_count()); }

  void load(std::size_t offset, const DataT* ptr) {
    for (int i = 0; i < NumElements; ++i) d_[i] = ptr[offset * NumElements + i];
  }
  void store(std::size_t offset, DataT* ptr) const {
    for (int i = 0; i < NumElements; ++i) ptr[offset * NumElements + i] = d_[i];
  }

#define HOSTSYCL_VEC_ARITH(op)                                                                 \
  friend vec operator op(const vec& a, const vec& b) {                                         \
    vec r;                                                                                     \
    for (int i = 0; i < NumElements; ++i) r.d_[i] = a.d_[i] op b.d_[i];                        \
    return r;                                                                                  \
  }                                                                                            \
  template <typename T>                                                                        \
  requires std::is_convertible_v<T, DataT>                                                     \
  friend vec operator op(const vec& a, const T& b) { return a op vec(static_cast<DataT>(b)); } \
  template <typename T>                                                                        \
  requires std::is_convertible_v<T, DataT>                                                     \
  friend vec operator op(const T& a, const vec& b) { return vec(static_cast<DataT>(a)) op b; } \
  friend vec& operator op##=(vec& a, const vec& b) {                                           \
    a = a op b;                                                                                \
    return a;                                                                                  \
  }                                                                                            \
  template <typename T>                                                                        \
  requires std::is_convertible_v<T, DataT>                                                     \
  friend vec& operator op##=(vec& a, const T& b) {                                             \
    a = a op vec(static_cast<DataT>(b));                                                       \
    return a;                                                                                  \
  }
  HOSTSYCL_VEC_ARITH(+)
  HOSTSYCL_VEC_ARITH(-)
  HOSTSYCL_VEC_ARITH(*)
  HOSTSYCL_VEC_ARITH(/)
#undef HOSTSYCL_VEC_ARITH

#define HOSTSYCL_VEC_INT_OP(op)                                                           \
  friend vec operator op(const vec& a, const vec& b) requires std::is_integral_v<DataT> { \
    vec r;                                                                                \
    for (int i = 0; i < NumElements; ++i) r.d_[i] = a.d_[i] op b.d_[i];                   \
    return r;                                                                             \
  }                                                                                       \
  friend vec& operator op##=(vec& a, const vec& b) requires std::is_integral_v<DataT> {   \
    a = a op b;                                                                           \
    return a;                                                                             \
  }
  HOSTSYCL_VEC_INT_OP(%)
  HOSTSYCL_VEC_INT_OP(&)
  HOSTSYCL_VEC_INT_OP(|)
  HOSTSYCL_VEC_INT_OP(^)
  HOSTSYCL_VEC_INT_OP(<<)
  HOSTSYCL_VEC_INT_OP(>>)
#undef HOSTSYCL_VEC_INT_OP

  friend vec operator-(const vec& a) {
    vec r;
    for (int i = 0; i < NumElements; ++i) r.d_[i] = -a.d_[i];
    return r;
  }
  friend vec operator+(const vec& a) { return a; }
  friend vec operator~(const vec& a) requires std::is_integral_v<DataT> {
    vec r;
    for (int i = 0; i < NumElements; ++i) r.d_[i] = ~a.d_[i];
    return r;
  }

  // Comparisons give -1 (all bits set) for true and 0 for false, as on a device.
#define HOSTSYCL_VEC_CMP(op)                                                    \
  friend mask_type operator op(const vec& a, const vec& b) {                    \
    mask_type r;                                                                \
    for (int i = 0; i < NumElements; ++i) r[i] = (a.d_[i] op b.d_[i]) ? -1 : 0; \
    return r;                                                                   \
  }                                                                             \
  template <typename T>                                                         \
  requires std::is_convertible_v<T, DataT>                                      \
  friend mask_type operator op(const vec& a, const T& b) { return a op vec(static_cast<DataT>(b)); }
  HOSTSYCL_VEC_CMP(==)
  HOSTSYCL_VEC_CMP(!=)
  HOSTSYCL_VEC_CMP(<)
  HOSTSYCL_VEC_CMP(>)
  HOSTSYCL_VEC_CMP(<=)
  HOSTSYCL_VEC_CMP(>=)
#undef HOSTSYCL_VEC_CMP

 private:
  template <typename, int>
  friend class vec;
  static constexpr int half_count() { return NumElements == 3 ? 2 : NumElements / 2; }
  auto half_at(int start) const {
    vec<DataT, half_count()> r;
    for (int i = 0; i < half_count(); ++i)
      r[i] = (start + i < NumElements) ? d_[start + i] : DataT{};
    return r;
  }
  template <typename Arg>
  constexpr void put(int& pos, const Arg& arg) {
    if constexpr (std::is_arithmetic_v<Arg>) {
      d_[pos++] = static_cast<DataT>(arg);
    } else {
      for (std::size_t i = 0; i < Arg::size(); ++i) d_[pos++] = static_cast<DataT>(arg[i]);
    }
  }
  DataT d_[detail::vec_storage_count(NumElements)] = {};
};

template <class T, class... U>
vec(T, U...) -> vec<T, sizeof...(U) + 1>;

#define HOSTSYCL_VEC_ALIASES(prefix, type) \
  using prefix##2 = vec<type, 2>;          \
  using prefix##3 = vec<type, 3>;          \
  using prefix##4 = vec<type, 4>;          \
  using prefix##8 = vec<type, 8>;          \
  using prefix##16 = vec<type, 16>;
HOSTSYCL_VEC_ALIASES(char, std::int8_t)
HOSTSYCL_VEC_ALIASES(uchar, std::uint8_t)
HOSTSYCL_VEC_ALIASES(short, std::int16_t)
HOSTSYCL_VEC_ALIASES(ushort, std::uint16_t)
HOSTSYCL_VEC_ALIASES(int, std::int32_t)
HOSTSYCL_VEC_ALIASES(uint, std::uint32_t)
HOSTSYCL_VEC_ALIASES(long, std::int64_t)
HOSTSYCL_VEC_ALIASES(ulong, std::uint64_t)
HOSTSYCL_VEC_ALIASES(float, float)
HOSTSYCL_VEC_ALIASES(double, double)
#undef HOSTSYCL_VEC_ALIASES

}  // namespace sycl
