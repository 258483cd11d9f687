// a[i][j][k] on multi-dimensional accessors: each [] fixes one more index, the last one returns
// the element of a[id{i, j, k}].
#pragma once

#include <cstddef>
#include <sycl/detail/index.hpp>

namespace sycl::detail {

// `Indexable` is anything with operator[](id<Dimensions>); `Fixed` indices are already set.
template <typename Indexable, int Dimensions, int Fixed>
class subscript_proxy {
 public:
  subscript_proxy(const Indexable& target, id<Dimensions> index) noexcept
      : target_(&target), index_(index) {}

  decltype(auto) operator[](std::size_t i) const {
    id<Dimensions> next = index_;
    next[Fixed] = i;
    if constexpr (Fixed + 1 == Dimensions)
      return (*target_)[next];
    else
      return subscript_proxy<Indexable, Dimensions, Fixed + 1>(*target_, next);
  }

 private:
  const Indexable* target_;
  id<Dimensions> index_;
};

// The first [] of a multi-dimensional object.
template <int Dimensions, typename Indexable>
subscript_proxy<Indexable, Dimensions, 1> first_subscript(const Indexable& target, std::size_t i) {
  id<Dimensions> index;
  index[0] = i;
  return subscript_proxy<Indexable, Dimensions, 1>(target, index);
}

}  // namespace sycl::detail
