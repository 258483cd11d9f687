// Where an accessor's elements are: the buffer view, the accessed window inside it, and walks
// over that window (iterators and contiguous runs) that touch the window's elements only.
#pragma once

#include <compare>
#include <cstddef>
#include <iterator>
#include <sycl/detail/buffer.hpp>
#include <sycl/detail/runtime_services.hpp>
#include <type_traits>

namespace sycl::detail {

[[noreturn]] void report_accessor_out_of_range(std::size_t index, std::size_t size) noexcept;

// The data of the whole buffer view (used to linearise) and the accessed window in it.
template <typename T, int Dimensions>
struct accessor_view {
  T* data = nullptr;  // first element of the buffer view (sub-buffer offset included)
  range<Dimensions> buffer_range;
  range<Dimensions> access_range;
  id<Dimensions> offset;

  // Position in `data` of element `i` of the window.
  std::size_t linear(const id<Dimensions>& i) const noexcept {
    std::size_t lin = 0;
    for (int d = 0; d < Dimensions; ++d) lin = lin * buffer_range[d] + (offset[d] + i[d]);
    if (strict_mode()) {
      for (int d = 0; d < Dimensions; ++d)
        if (i[d] >= access_range[d]) report_accessor_out_of_range(i[d], access_range[d]);
    }
    return lin;
  }
  T& operator[](const id<Dimensions>& i) const noexcept { return data[linear(i)]; }

  // Calls f(first element, count) for each contiguous run of the window in linear order: one
  // run when the window spans whole rows (or planes), else one per row.
  template <typename F>
  void for_each_run(F&& f) const {
    const std::size_t total = access_range.size();
    if (total == 0) return;
    std::size_t run = access_range[Dimensions - 1];
    for (int d = Dimensions - 1; d > 0 && access_range[d] == buffer_range[d]; --d)
      run *= access_range[d - 1];
    for (std::size_t start = 0; start < total; start += run)
      f(data + linear(delinearize(start, access_range)), run);
  }

  template <typename Buffer>
  void bind(Buffer& buf, range<Dimensions> r, id<Dimensions> o) {
    const auto& state = buffer_access::state(buf);
    data = reinterpret_cast<T*>(buffer_data(*state) + buffer_access::byte_offset(buf));
    buffer_range = buf.get_range();
    access_range = r;
    offset = o;
    for (int d = 0; d < Dimensions; ++d)
      if (o[d] + r[d] > buffer_range[d])
        throw_error(errc::invalid, "accessor range exceeds the buffer");
  }
};

// Random-access iterator over the window of a multi-dimensional view, in linear window order.
// It copies the view, so it stays valid as long as the buffer does.
template <typename T, int Dimensions>
class window_iterator {
 public:
  using iterator_category = std::random_access_iterator_tag;
  using value_type = std::remove_const_t<T>;
  using difference_type = std::ptrdiff_t;
  using pointer = T*;
  using reference = T&;

  window_iterator() = default;
  template <typename U>
  requires std::is_convertible_v<U*, T*> window_iterator(const accessor_view<U, Dimensions>& view,
                                                         std::size_t index)
  noexcept : view_{view.data, view.buffer_range, view.access_range, view.offset}, index_(index) {}
  // iterator to const_iterator
  template <typename U>
  requires(!std::is_same_v<U, T> && std::is_convertible_v<U*, T*>)
      window_iterator(const window_iterator<U, Dimensions>& other)
  noexcept : window_iterator(other.detail_view(), other.detail_index()) {}

  reference operator*() const noexcept { return view_[delinearize(index_, view_.access_range)]; }
  pointer operator->() const noexcept { return &**this; }
  reference operator[](difference_type n) const noexcept { return *(*this + n); }

  window_iterator& operator++() noexcept {
    ++index_;
    return *this;
  }
  window_iterator& operator--() noexcept {
    --index_;
    return *this;
  }
  window_iterator operator++(int) noexcept {
    auto old = *this;
    ++index_;
    return old;
  }
  window_iterator operator--(int) noexcept {
    auto old = *this;
    --index_;
    return old;
  }
  window_iterator& operator+=(difference_type n) noexcept {
    index_ = static_cast<std::size_t>(static_cast<difference_type>(index_) + n);
    return *this;
  }
  window_iterator& operator-=(difference_type n) noexcept { return *this += -n; }
  friend window_iterator operator+(window_iterator it, difference_type n) noexcept {
    return it += n;
  }
  friend window_iterator operator+(difference_type n, window_iterator it) noexcept {
    return it += n;
  }
  friend window_iterator operator-(window_iterator it, difference_type n) noexcept {
    return it -= n;
  }
  friend difference_type operator-(const window_iterator& a, const window_iterator& b) noexcept {
    return static_cast<difference_type>(a.index_) - static_cast<difference_type>(b.index_);
  }
  friend bool operator==(const window_iterator& a, const window_iterator& b) noexcept {
    return a.index_ == b.index_;
  }
  friend std::strong_ordering operator<=>(const window_iterator& a,
                                          const window_iterator& b) noexcept {
    return a.index_ <=> b.index_;
  }

  const accessor_view<T, Dimensions>& detail_view() const noexcept { return view_; }
  std::size_t detail_index() const noexcept { return index_; }

 private:
  accessor_view<T, Dimensions> view_;
  std::size_t index_ = 0;
};

// One-dimensional windows are contiguous: plain pointers serve as iterators.
template <typename T, int Dimensions>
using window_iterator_t = std::conditional_t<Dimensions == 1, T*, window_iterator<T, Dimensions>>;

template <typename T, typename U, int Dimensions>
window_iterator_t<T, Dimensions> window_at(const accessor_view<U, Dimensions>& view,
                                           std::size_t index) noexcept {
  if constexpr (Dimensions == 1)
    return view.data + view.offset[0] + index;
  else
    return window_iterator<T, Dimensions>(view, index);
}

// Copies the window of `src` into the window of `dest`, element by element in linear order,
// `src`'s size elements.
template <typename S, int SD, typename D, int DD>
void copy_window(const accessor_view<S, SD>& src, const accessor_view<D, DD>& dest) {
  auto out = window_at<D>(dest, 0);
  src.for_each_run([&](S* p, std::size_t n) {
    for (std::size_t k = 0; k < n; ++k, ++out) *out = p[k];
  });
}

}  // namespace sycl::detail
