// marray<T, N>: the SYCL math array, element-wise operators over an array of any length.
#pragma once

#include <cstddef>
#include <type_traits>

namespace sycl {

template <typename DataT, std::size_t NumElements>
class marray {
 public:
  using value_type = DataT;
  using reference = DataT&;
  using const_reference = const DataT&;
  using iterator = DataT*;
  using const_iterator = const DataT*;

  marray() = default;
  explicit constexpr marray(const DataT& arg) {
    for (std::size_t i = 0; i < NumElements; ++i) d_[i] = arg;
  }
  template <typename... Args>
  requires(sizeof...(Args) > 1) constexpr marray(const Args&... args) {
    std::size_t pos = 0;
    (put(pos, args), ...);
  }
  constexpr marray(const marray&) = default;
  constexpr marray(marray&&) = default;
  marray& operator=(const marray&) = default;
  marray& operator=(const DataT& v) {
    for (std::size_t i = 0; i < NumElements; ++i) d_[i] = v;
    return *this;
  }
  operator DataT() const requires(NumElements == 1) { return d_[0]; }

  static constexpr std::size_t size() noexcept { return NumElements; }
  reference operator[](std::size_t i) { return d_[i]; }
  const_reference operator[](std::size_t i) const { return d_[i]; }
  iterator begin() { return d_; }
  const_iterator begin() const { return d_; }
  iterator end() { return d_ + NumElements; }
  const_iterator end() const { return d_ + NumElements; }

#define HOSTSYCL_MARRAY_OP(op, constraint)                                           \
  friend marray operator op(const marray& a, const marray& b) requires(constraint) { \
    marray r;                                                                        \
    for (std::size_t i = 0; i < NumElements; ++i) r.d_[i] = a.d_[i] op b.d_[i];      \
    return r;                                                                        \
  }                                                                                  \
  friend marray operator op(const marray& a, const DataT& b) requires(constraint) {  \
    return a op marray(b);                                                           \
  }                                                                                  \
  friend marray operator op(const DataT& a, const marray& b) requires(constraint) {  \
    return marray(a) op b;                                                           \
  }                                                                                  \
  friend marray& operator op##=(marray& a, const marray& b) requires(constraint) {   \
    a = a op b;                                                                      \
    return a;                                                                        \
  }                                                                                  \
  friend marray& operator op##=(marray& a, const DataT& b) requires(constraint) {    \
    a = a op marray(b);                                                              \
    return a;                                                                        \
  }
  HOSTSYCL_MARRAY_OP(+, true)
  HOSTSYCL_MARRAY_OP(-, true)
  HOSTSYCL_MARRAY_OP(*, true)
  HOSTSYCL_MARRAY_OP(/, true)
  HOSTSYCL_MARRAY_OP(%, std::is_integral_v<DataT>)
  HOSTSYCL_MARRAY_OP(&, std::is_integral_v<DataT>)
  HOSTSYCL_MARRAY_OP(|, std::is_integral_v<DataT>)
  HOSTSYCL_MARRAY_OP(^, std::is_integral_v<DataT>)
  HOSTSYCL_MARRAY_OP(<<, std::is_integral_v<DataT>)
  HOSTSYCL_MARRAY_OP(>>, std::is_integral_v<DataT>)
#undef HOSTSYCL_MARRAY_OP

  friend marray operator-(const marray& a) {
    marray r;
    for (std::size_t i = 0; i < NumElements; ++i) r.d_[i] = -a.d_[i];
    return r;
  }
  friend marray operator+(const marray& a) { return a; }

#define HOSTSYCL_MARRAY_CMP(op)                                                    \
  friend marray<bool, NumElements> operator op(const marray& a, const marray& b) { \
    marray<bool, NumElements> r;                                                   \
    for (std::size_t i = 0; i < NumElements; ++i) r[i] = a.d_[i] op b.d_[i];       \
    return r;                                                                      \
  }                                                                                \
  friend marray<bool, NumElements> operator op(const marray& a, const DataT& b) {  \
    return a op marray(b);                                                         \
  }
  HOSTSYCL_MARRAY_CMP(==)
  HOSTSYCL_MARRAY_CMP(!=)
  HOSTSYCL_MARRAY_CMP(<)
  HOSTSYCL_MARRAY_CMP(>)
  HOSTSYCL_MARRAY_CMP(<=)
  HOSTSYCL_MARRAY_CMP(>=)
#undef HOSTSYCL_MARRAY_CMP

 private:
  template <typename Arg>
  constexpr void put(std::size_t& pos, const Arg& arg) {
    if constexpr (std::is_convertible_v<Arg, DataT>) {
      d_[pos++] = static_cast<DataT>(arg);
    } else {
      for (std::size_t i = 0; i < Arg::size(); ++i) d_[pos++] = static_cast<DataT>(arg[i]);
    }
  }
  DataT d_[NumElements == 0 ? 1 : NumElements] = {};
};

#define HOSTSYCL_MARRAY_ALIASES(prefix, type) \
  using m##prefix##2 = marray<type, 2>;       \
  using m##prefix##3 = marray<type, 3>;       \
  using m##prefix##4 = marray<type, 4>;       \
  using m##prefix##8 = marray<type, 8>;       \
  using m##prefix##16 = marray<type, 16>;
HOSTSYCL_MARRAY_ALIASES(bool, bool)
HOSTSYCL_MARRAY_ALIASES(int, int)
HOSTSYCL_MARRAY_ALIASES(uint, unsigned)
HOSTSYCL_MARRAY_ALIASES(long, long)
HOSTSYCL_MARRAY_ALIASES(float, float)
HOSTSYCL_MARRAY_ALIASES(double, double)
#undef HOSTSYCL_MARRAY_ALIASES

}  // namespace sycl
