// multi_ptr: a pointer tagged with its address space; prefetch is a hint and does nothing here.
#pragma once

#include <cstddef>
#include <sycl/detail/defines.hpp>

namespace sycl {

template <typename ElementType, access::address_space Space,
          access::decorated DecorateAddress = access::decorated::legacy>
class multi_ptr {
 public:
  using value_type = ElementType;
  using pointer = ElementType*;
  using reference = ElementType&;
  using difference_type = std::ptrdiff_t;
  static constexpr access::address_space address_space = Space;

  multi_ptr() = default;
  multi_ptr(std::nullptr_t) {}
  explicit multi_ptr(ElementType* p) : p_(p) {}

  ElementType* get() const { return p_; }
  ElementType* get_raw() const { return p_; }
  ElementType* get_decorated() const { return p_; }
  operator ElementType*() const { return p_; }
  reference operator*() const { return *p_; }
  pointer operator->() const { return p_; }
  reference operator[](difference_type i) const { return p_[i]; }
  multi_ptr& operator++() {
    ++p_;
    return *this;
  }
  multi_ptr& operator--() {
    --p_;
    return *this;
  }
  multi_ptr& operator+=(difference_type n) {
    p_ += n;
    return *this;
  }
  multi_ptr& operator-=(difference_type n) {
    p_ -= n;
    return *this;
  }
  friend multi_ptr operator+(multi_ptr p, difference_type n) { return multi_ptr(p.p_ + n); }
  friend multi_ptr operator-(multi_ptr p, difference_type n) { return multi_ptr(p.p_ - n); }
  friend bool operator==(const multi_ptr& a, const multi_ptr& b) { return a.p_ == b.p_; }
  friend bool operator!=(const multi_ptr& a, const multi_ptr& b) { return a.p_ != b.p_; }

  // A hint to bring elements closer to the work-item; no effect on a host device.
  void prefetch(std::size_t) const {}

 private:
  ElementType* p_ = nullptr;
};

template <typename ElementType, access::decorated IsDecorated = access::decorated::legacy>
using global_ptr = multi_ptr<ElementType, access::address_space::global_space, IsDecorated>;
template <typename ElementType, access::decorated IsDecorated = access::decorated::legacy>
using local_ptr = multi_ptr<ElementType, access::address_space::local_space, IsDecorated>;
template <typename ElementType, access::decorated IsDecorated = access::decorated::legacy>
using private_ptr = multi_ptr<ElementType, access::address_space::private_space, IsDecorated>;

template <access::address_space Space, access::decorated IsDecorated, typename ElementType>
multi_ptr<ElementType, Space, IsDecorated> address_space_cast(ElementType* p) {
  return multi_ptr<ElementType, Space, IsDecorated>(p);
}

}  // namespace sycl
