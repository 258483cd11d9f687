// Index space value types: range, id, item and nd_range.
#pragma once

#include <cstddef>
#include <sycl/detail/defines.hpp>
#include <type_traits>

namespace sycl {

template <int Dimensions>
class id;
template <int Dimensions, bool WithOffset>
class item;

namespace detail {

// Common storage and element-wise operators of range and id (right-most index fastest).
template <template <int> class Derived, int Dimensions>
class index_array {
  static_assert(Dimensions >= 1 && Dimensions <= 3, "dimensions must be 1, 2 or 3");

 public:
  static constexpr int dimensions = Dimensions;

  std::size_t get(int dimension) const noexcept { return v_[dimension]; }
  std::size_t& operator[](int dimension) noexcept { return v_[dimension]; }
  std::size_t operator[](int dimension) const noexcept { return v_[dimension]; }

  friend bool operator==(const Derived<Dimensions>& a, const Derived<Dimensions>& b) noexcept {
    for (int i = 0; i < Dimensions; ++i)
      if (a.v_[i] != b.v_[i]) return false;
    return true;
  }
  friend bool operator!=(const Derived<Dimensions>& a, const Derived<Dimensions>& b) noexcept {
    return !(a == b);
  }

// Element-wise binary operators: (index, index), (index, integral) and (integral, index).
// Relational and logical ones give 0 or 1 in each element, like the arithmetic ones give values.
#define HOSTSYCL_INDEX_BINARY_OP(op)                                                       \
  friend Derived<Dimensions> operator op(const Derived<Dimensions>& a,                     \
                                         const Derived<Dimensions>& b) noexcept {          \
    Derived<Dimensions> r = a;                                                             \
    for (int i = 0; i < Dimensions; ++i) r.v_[i] = a.v_[i] op b.v_[i];                     \
    return r;                                                                              \
  }                                                                                        \
  template <typename T>                                                                    \
  requires std::is_integral_v<T>                                                           \
  friend Derived<Dimensions> operator op(const Derived<Dimensions>& a, T b) noexcept {     \
    Derived<Dimensions> r = a;                                                             \
    for (int i = 0; i < Dimensions; ++i) r.v_[i] = a.v_[i] op static_cast<std::size_t>(b); \
    return r;                                                                              \
  }                                                                                        \
  template <typename T>                                                                    \
  requires std::is_integral_v<T>                                                           \
  friend Derived<Dimensions> operator op(T a, const Derived<Dimensions>& b) noexcept {     \
    Derived<Dimensions> r = b;                                                             \
    for (int i = 0; i < Dimensions; ++i) r.v_[i] = static_cast<std::size_t>(a) op b.v_[i]; \
    return r;                                                                              \
  }
#define HOSTSYCL_INDEX_COMPOUND_OP(op)                                                         \
  friend Derived<Dimensions>& operator op##=(Derived<Dimensions>& a,                           \
                                             const Derived<Dimensions>& b) noexcept {          \
    for (int i = 0; i < Dimensions; ++i) a.v_[i] = a.v_[i] op b.v_[i];                         \
    return a;                                                                                  \
  }                                                                                            \
  friend Derived<Dimensions>& operator op##=(Derived<Dimensions>& a, std::size_t b) noexcept { \
    for (int i = 0; i < Dimensions; ++i) a.v_[i] = a.v_[i] op b;                               \
    return a;                                                                                  \
  }
#define HOSTSYCL_INDEX_ARITHMETIC_OP(op) HOSTSYCL_INDEX_BINARY_OP(op) HOSTSYCL_INDEX_COMPOUND_OP(op)
  HOSTSYCL_INDEX_ARITHMETIC_OP(+)
  HOSTSYCL_INDEX_ARITHMETIC_OP(-)
  HOSTSYCL_INDEX_ARITHMETIC_OP(*)
  HOSTSYCL_INDEX_ARITHMETIC_OP(/)
  HOSTSYCL_INDEX_ARITHMETIC_OP(%)
  HOSTSYCL_INDEX_ARITHMETIC_OP(<<)
  HOSTSYCL_INDEX_ARITHMETIC_OP(>>)
  HOSTSYCL_INDEX_ARITHMETIC_OP(&)
  HOSTSYCL_INDEX_ARITHMETIC_OP(|)
  HOSTSYCL_INDEX_ARITHMETIC_OP(^)
  HOSTSYCL_INDEX_BINARY_OP(&&)
  HOSTSYCL_INDEX_BINARY_OP(||)
  HOSTSYCL_INDEX_BINARY_OP(<)
  HOSTSYCL_INDEX_BINARY_OP(>)
  HOSTSYCL_INDEX_BINARY_OP(<=)
  HOSTSYCL_INDEX_BINARY_OP(>=)
#undef HOSTSYCL_INDEX_ARITHMETIC_OP
#undef HOSTSYCL_INDEX_COMPOUND_OP
#undef HOSTSYCL_INDEX_BINARY_OP

  friend Derived<Dimensions> operator+(const Derived<Dimensions>& a) noexcept { return a; }
  friend Derived<Dimensions> operator-(const Derived<Dimensions>& a) noexcept {
    Derived<Dimensions> r = a;
    for (int i = 0; i < Dimensions; ++i) r.v_[i] = -a.v_[i];
    return r;
  }
  friend Derived<Dimensions>& operator++(Derived<Dimensions>& a) noexcept { return a += 1; }
  friend Derived<Dimensions>& operator--(Derived<Dimensions>& a) noexcept { return a -= 1; }
  friend Derived<Dimensions> operator++(Derived<Dimensions>& a, int) noexcept {
    Derived<Dimensions> old = a;
    a += 1;
    return old;
  }
  friend Derived<Dimensions> operator--(Derived<Dimensions>& a, int) noexcept {
    Derived<Dimensions> old = a;
    a -= 1;
    return old;
  }

 protected:
  std::size_t v_[Dimensions] = {};
};

}  // namespace detail

template <int Dimensions = 1>
class range : public detail::index_array<range, Dimensions> {
 public:
  range() noexcept = default;
  range(std::size_t d0) noexcept requires(Dimensions == 1) { this->v_[0] = d0; }
  range(std::size_t d0, std::size_t d1) noexcept requires(Dimensions == 2) {
    this->v_[0] = d0;
    this->v_[1] = d1;
  }
  range(std::size_t d0, std::size_t d1, std::size_t d2) noexcept requires(Dimensions == 3) {
    this->v_[0] = d0;
    this->v_[1] = d1;
    this->v_[2] = d2;
  }
  std::size_t size() const noexcept {
    std::size_t s = 1;
    for (int i = 0; i < Dimensions; ++i) s *= this->v_[i];
    return s;
  }
};
range(std::size_t)->range<1>;
range(std::size_t, std::size_t)->range<2>;
range(std::size_t, std::size_t, std::size_t)->range<3>;

template <int Dimensions = 1>
class id : public detail::index_array<id, Dimensions> {
 public:
  id() noexcept = default;
  id(std::size_t d0) noexcept requires(Dimensions == 1) { this->v_[0] = d0; }
  id(std::size_t d0, std::size_t d1) noexcept requires(Dimensions == 2) {
    this->v_[0] = d0;
    this->v_[1] = d1;
  }
  id(std::size_t d0, std::size_t d1, std::size_t d2) noexcept requires(Dimensions == 3) {
    this->v_[0] = d0;
    this->v_[1] = d1;
    this->v_[2] = d2;
  }
  id(const range<Dimensions>& r) noexcept {
    for (int i = 0; i < Dimensions; ++i) this->v_[i] = r[i];
  }
  template <bool WithOffset>
  id(const item<Dimensions, WithOffset>& it) noexcept : id(it.get_id()) {}
  operator std::size_t() const noexcept requires(Dimensions == 1) { return this->v_[0]; }
};
id(std::size_t)->id<1>;
id(std::size_t, std::size_t)->id<2>;
id(std::size_t, std::size_t, std::size_t)->id<3>;

namespace detail {
template <int Dimensions>
std::size_t linearize(const id<Dimensions>& i, const range<Dimensions>& r) noexcept {
  std::size_t lin = 0;
  for (int d = 0; d < Dimensions; ++d) lin = lin * r[d] + i[d];
  return lin;
}
template <int Dimensions>
id<Dimensions> delinearize(std::size_t lin, const range<Dimensions>& r) noexcept {
  id<Dimensions> i;
  for (int d = Dimensions - 1; d >= 0; --d) {
    i[d] = lin % r[d];
    lin /= r[d];
  }
  return i;
}
struct item_access;
}  // namespace detail

template <int Dimensions = 1, bool WithOffset = true>
class item {
 public:
  item() = delete;
  static constexpr int dimensions = Dimensions;

  id<Dimensions> get_id() const noexcept { return id_; }
  std::size_t get_id(int dimension) const noexcept { return id_[dimension]; }
  std::size_t operator[](int dimension) const noexcept { return id_[dimension]; }
  range<Dimensions> get_range() const noexcept { return range_; }
  std::size_t get_range(int dimension) const noexcept { return range_[dimension]; }
  id<Dimensions> get_offset() const noexcept requires WithOffset { return offset_; }
  operator item<Dimensions, true>() const noexcept requires(!WithOffset) {
    return item<Dimensions, true>(id_, range_, id<Dimensions>());
  }
  operator std::size_t() const noexcept requires(Dimensions == 1) { return id_[0]; }
  std::size_t get_linear_id() const noexcept { return detail::linearize(id_ - offset_, range_); }

  friend bool operator==(const item& a, const item& b) noexcept {
    return a.id_ == b.id_ && a.range_ == b.range_ && a.offset_ == b.offset_;
  }
  friend bool operator!=(const item& a, const item& b) noexcept { return !(a == b); }

 private:
  friend struct detail::item_access;
  template <int, bool>
  friend class item;
  item(id<Dimensions> i, range<Dimensions> r, id<Dimensions> o) : id_(i), range_(r), offset_(o) {}
  id<Dimensions> id_;
  range<Dimensions> range_;
  id<Dimensions> offset_;
};

namespace detail {
struct item_access {
  template <int Dimensions, bool WithOffset>
  static item<Dimensions, WithOffset> make(id<Dimensions> i, range<Dimensions> r,
                                           id<Dimensions> o = {}) {
    return item<Dimensions, WithOffset>(i, r, o);
  }
};
}  // namespace detail

template <int Dimensions = 1>
class nd_range {
 public:
  static constexpr int dimensions = Dimensions;
  nd_range(range<Dimensions> global_size, range<Dimensions> local_size,
           id<Dimensions> offset = id<Dimensions>()) noexcept
      : global_(global_size), local_(local_size), offset_(offset) {}
  range<Dimensions> get_global_range() const noexcept { return global_; }
  range<Dimensions> get_local_range() const noexcept { return local_; }
  range<Dimensions> get_group_range() const noexcept {
    range<Dimensions> g;
    for (int i = 0; i < Dimensions; ++i) g[i] = local_[i] == 0 ? 0 : global_[i] / local_[i];
    return g;
  }
  id<Dimensions> get_offset() const noexcept { return offset_; }
  friend bool operator==(const nd_range& a, const nd_range& b) noexcept {
    return a.global_ == b.global_ && a.local_ == b.local_ && a.offset_ == b.offset_;
  }
  friend bool operator!=(const nd_range& a, const nd_range& b) noexcept { return !(a == b); }

 private:
  range<Dimensions> global_;
  range<Dimensions> local_;
  id<Dimensions> offset_;
};

}  // namespace sycl
