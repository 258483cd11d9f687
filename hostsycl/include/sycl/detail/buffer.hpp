// buffer: runtime-owned storage whose uses in command groups are ordered by the runtime.
#pragma once

#include <algorithm>
#include <cstring>
#include <functional>
#include <iterator>
#include <memory>
#include <type_traits>

#include <sycl/detail/device.hpp>
#include <sycl/detail/exception.hpp>
#include <sycl/detail/index.hpp>
#include <sycl/detail/properties.hpp>

namespace sycl {

template <typename T>
using buffer_allocator = std::allocator<T>;

template <typename DataT, int Dimensions, access_mode AccessMode, target AccessTarget,
          access::placeholder IsPlaceholder>
class accessor;
template <typename DataT, int Dimensions, access_mode AccessMode>
class host_accessor;
class handler;

namespace detail {

// Storage of one buffer with its dependency tracking (buffer.cpp). Reinterpreted buffers and
// sub-buffers share the state of the buffer they come from.
struct buffer_state;

std::shared_ptr<buffer_state> make_buffer_state(std::size_t bytes, const void* initial);
unsigned char* buffer_data(const buffer_state& state) noexcept;
// What the destruction of the last reference does with the data: copy it out through `sink`.
void set_buffer_write_back(buffer_state& state,
                           std::function<void(const unsigned char*, std::size_t)> sink);
void enable_buffer_write_back(buffer_state& state, bool enabled);
void note_buffer_write(buffer_state& state);
std::uint32_t buffer_base_alignment_bits();

struct buffer_access;
}  // namespace detail

template <typename T, int Dimensions = 1, typename AllocatorT = buffer_allocator<std::remove_const_t<T>>>
class buffer {
  static_assert(Dimensions >= 1 && Dimensions <= 3, "buffers have 1, 2 or 3 dimensions");
  using element = std::remove_const_t<T>;

 public:
  using value_type = T;
  using reference = value_type&;
  using const_reference = const value_type&;
  using allocator_type = AllocatorT;

  buffer(const range<Dimensions>& r, const property_list& = {})
      : state_(detail::make_buffer_state(r.size() * sizeof(T), nullptr)), range_(r) {}
  buffer(const range<Dimensions>& r, AllocatorT, const property_list& p = {}) : buffer(r, p) {}

  buffer(T* host, const range<Dimensions>& r, const property_list& = {})
      : state_(detail::make_buffer_state(r.size() * sizeof(T), host)), range_(r) {
    if constexpr (!std::is_const_v<T>) {
      if (host != nullptr) write_back_to(host);
    }
  }
  buffer(T* host, const range<Dimensions>& r, AllocatorT, const property_list& p = {})
      : buffer(host, r, p) {}
  buffer(const T* host, const range<Dimensions>& r, const property_list& = {})
    requires(!std::is_const_v<T>)
      : state_(detail::make_buffer_state(r.size() * sizeof(T), host)), range_(r) {}
  buffer(const T* host, const range<Dimensions>& r, AllocatorT, const property_list& p = {})
    requires(!std::is_const_v<T>)
      : buffer(host, r, p) {}

  template <typename Container>
    requires(Dimensions == 1 && requires(Container& c) {
      { std::data(c) } -> std::convertible_to<const T*>;
      std::size(c);
    })
  buffer(Container& c, const property_list& p = {})
      : buffer(std::data(c), range<1>(std::size(c)), p) {}
  template <typename Container>
    requires(Dimensions == 1 && requires(Container& c) {
      { std::data(c) } -> std::convertible_to<const T*>;
      std::size(c);
    })
  buffer(Container& c, AllocatorT, const property_list& p = {}) : buffer(c, p) {}

  template <typename InputIterator>
    requires(Dimensions == 1 && !std::is_convertible_v<InputIterator, const T*> &&
             requires(InputIterator it) { typename std::iterator_traits<InputIterator>::value_type; })
  buffer(InputIterator first, InputIterator last, const property_list& = {})
      : state_(detail::make_buffer_state(
            static_cast<std::size_t>(std::distance(first, last)) * sizeof(T), nullptr)),
        range_(static_cast<std::size_t>(std::distance(first, last))) {
    std::copy(first, last, reinterpret_cast<element*>(detail::buffer_data(*state_)));
  }

  buffer(const std::shared_ptr<T>& host, const range<Dimensions>& r, const property_list& p = {})
      : buffer(static_cast<const element*>(host.get()), r, p) {
    if constexpr (!std::is_const_v<T>) {
      std::weak_ptr<T> weak = host;
      detail::set_buffer_write_back(*state_, [weak](const unsigned char* data, std::size_t n) {
        if (auto target = weak.lock()) std::memcpy(static_cast<void*>(target.get()), data, n);
      });
    }
  }

  // Sub-buffer: a view of part of a buffer that is not itself a sub-buffer.
  buffer(buffer& parent, const id<Dimensions>& base, const range<Dimensions>& sub_range)
      : state_(parent.state_), range_(sub_range), sub_buffer_(true) {
    if (parent.sub_buffer_)
      detail::throw_error(errc::invalid, "Cannot create sub buffer from sub buffer.");
    for (int d = 0; d < Dimensions; ++d)
      if (base[d] + sub_range[d] > parent.range_[d])
        detail::throw_error(errc::invalid, "sub-buffer exceeds the parent buffer");
    // Contiguous: once a dimension is cut, every earlier dimension must have extent one.
    for (int d = 1; d < Dimensions; ++d)
      if (sub_range[d] != parent.range_[d])
        for (int k = 0; k < d; ++k)
          if (sub_range[k] > 1)
            detail::throw_error(errc::invalid, "sub-buffer is not a contiguous region");
    byte_offset_ = parent.byte_offset_ + detail::linearize(base, parent.range_) * sizeof(T);
    if ((byte_offset_ * 8) % detail::buffer_base_alignment_bits() != 0)
      detail::throw_error(errc::invalid,
                          "sub-buffer offset is not a multiple of the base-address alignment");
  }

  range<Dimensions> get_range() const { return range_; }
  std::size_t size() const noexcept { return range_.size(); }
  std::size_t byte_size() const noexcept { return size() * sizeof(T); }
  std::size_t get_count() const { return size(); }
  std::size_t get_size() const { return byte_size(); }
  AllocatorT get_allocator() const { return AllocatorT(); }
  bool is_sub_buffer() const { return sub_buffer_; }

  template <access_mode Mode = access_mode::read_write, target Targ = target::device>
  accessor<T, Dimensions, Mode, Targ, access::placeholder::false_t> get_access(handler& cgh) {
    return accessor<T, Dimensions, Mode, Targ, access::placeholder::false_t>(*this, cgh);
  }
  template <access_mode Mode = access_mode::read_write, target Targ = target::device>
  accessor<T, Dimensions, Mode, Targ, access::placeholder::false_t> get_access(
      handler& cgh, range<Dimensions> r, id<Dimensions> offset = {}) {
    return accessor<T, Dimensions, Mode, Targ, access::placeholder::false_t>(*this, cgh, r,
                                                                            offset);
  }
  template <typename... Ts>
  auto get_host_access(Ts... args) {
    return host_accessor{*this, args...};
  }

  template <typename Destination = std::nullptr_t>
  void set_final_data(Destination final_data = nullptr) {
    if constexpr (std::is_same_v<Destination, std::nullptr_t>) {
      detail::set_buffer_write_back(*state_, nullptr);
    } else if constexpr (std::is_pointer_v<Destination>) {
      if (final_data == nullptr) {
        detail::set_buffer_write_back(*state_, nullptr);
      } else {
        write_back_to(final_data);
      }
    } else if constexpr (requires { final_data.lock(); }) {
      auto weak = final_data;
      detail::set_buffer_write_back(*state_, [weak](const unsigned char* data, std::size_t n) {
        if (auto target = weak.lock()) std::memcpy(static_cast<void*>(target.get()), data, n);
      });
    } else {
      auto out = final_data;
      const std::size_t count = size();
      detail::set_buffer_write_back(*state_, [out, count](const unsigned char* data, std::size_t) {
        std::copy_n(reinterpret_cast<const element*>(data), count, out);
      });
    }
  }
  void set_write_back(bool flag = true) { detail::enable_buffer_write_back(*state_, flag); }

  template <typename ReinterpretT, int ReinterpretDim>
  buffer<ReinterpretT, ReinterpretDim,
         typename std::allocator_traits<AllocatorT>::template rebind_alloc<ReinterpretT>>
  reinterpret(range<ReinterpretDim> r) const {
    if (r.size() * sizeof(ReinterpretT) != byte_size())
      detail::throw_error(errc::invalid, "reinterpret changes the byte size of the buffer");
    using result = buffer<ReinterpretT, ReinterpretDim,
                          typename std::allocator_traits<AllocatorT>::template rebind_alloc<ReinterpretT>>;
    return result(state_, r, byte_offset_, sub_buffer_);
  }
  template <typename ReinterpretT, int ReinterpretDim = Dimensions>
    requires(ReinterpretDim == 1 || (ReinterpretDim == Dimensions && sizeof(ReinterpretT) == sizeof(T)))
  auto reinterpret() const {
    if constexpr (ReinterpretDim == 1) {
      if (byte_size() % sizeof(ReinterpretT) != 0)
        detail::throw_error(errc::invalid,
                            "the buffer's byte size is not a multiple of the new element size");
      return reinterpret<ReinterpretT, 1>(range<1>(byte_size() / sizeof(ReinterpretT)));
    } else {
      return reinterpret<ReinterpretT, ReinterpretDim>(range_);
    }
  }

  friend bool operator==(const buffer& a, const buffer& b) {
    return a.state_ == b.state_ && a.byte_offset_ == b.byte_offset_ && a.range_ == b.range_;
  }
  friend bool operator!=(const buffer& a, const buffer& b) { return !(a == b); }

 private:
  template <typename, int, typename>
  friend class buffer;
  friend struct detail::buffer_access;

  buffer(std::shared_ptr<detail::buffer_state> state, range<Dimensions> r, std::size_t offset,
         bool sub)
      : state_(std::move(state)), range_(r), byte_offset_(offset), sub_buffer_(sub) {}

  template <typename Ptr>
  void write_back_to(Ptr target) {
    const std::size_t offset = byte_offset_;
    detail::set_buffer_write_back(*state_, [target, offset](const unsigned char* data,
                                                            std::size_t n) {
      std::memcpy(static_cast<void*>(target), data + offset, n - offset);
    });
  }

  std::shared_ptr<detail::buffer_state> state_;
  range<Dimensions> range_;
  std::size_t byte_offset_ = 0;
  bool sub_buffer_ = false;
};

template <typename InputIterator>
buffer(InputIterator, InputIterator, const property_list& = {})
    -> buffer<typename std::iterator_traits<InputIterator>::value_type, 1>;
template <typename T, int Dimensions>
buffer(const T*, const range<Dimensions>&, const property_list& = {}) -> buffer<T, Dimensions>;
template <typename T, int Dimensions>
buffer(T*, const range<Dimensions>&, const property_list& = {}) -> buffer<T, Dimensions>;
template <typename Container>
buffer(Container&, const property_list& = {}) -> buffer<typename Container::value_type, 1>;

namespace detail {
struct buffer_access {
  template <typename B>
  static const std::shared_ptr<buffer_state>& state(const B& b) { return b.state_; }
  template <typename B>
  static std::size_t byte_offset(const B& b) { return b.byte_offset_; }
};
}  // namespace detail

}  // namespace sycl
