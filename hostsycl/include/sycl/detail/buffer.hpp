// buffer: runtime-owned storage whose uses in command groups are ordered by the runtime.
#pragma once

#include <algorithm>
#include <cstring>
#include <functional>
#include <iterator>
#include <memory>
#include <mutex>
#include <sycl/detail/context.hpp>
#include <sycl/detail/device.hpp>
#include <sycl/detail/exception.hpp>
#include <sycl/detail/index.hpp>
#include <sycl/detail/properties.hpp>
#include <type_traits>

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

// Storage of one buffer with its dependency tracking (scheduler.cpp). Reinterpreted buffers and
// sub-buffers share the state of the buffer they come from.
struct buffer_state;

// `host_mutex`, when given, is held while the runtime reads or writes the application's memory.
std::shared_ptr<buffer_state> make_buffer_state(std::size_t bytes, const void* initial,
                                                std::mutex* host_mutex = nullptr);
unsigned char* buffer_data(const buffer_state& state) noexcept;
// What the destruction of the last reference does with the data: copy it out through `sink`.
void set_buffer_write_back(buffer_state& state,
                           std::function<void(const unsigned char*, std::size_t)> sink);
void enable_buffer_write_back(buffer_state& state, bool enabled);
// Copies the data out through the sink now, as the destruction would (handler::update_host).
void write_buffer_back(buffer_state& state);
void note_buffer_write(buffer_state& state);
std::uint32_t buffer_base_alignment_bits();

// One buffer object, shared by its copies: equality and hashing go by this record. A
// sub-buffer or a reinterpreted buffer is a new record over the same storage.
template <int Dimensions, typename AllocatorT>
struct buffer_record {
  std::shared_ptr<buffer_state> state;
  range<Dimensions> extent;
  std::size_t byte_offset = 0;
  bool sub_buffer = false;
  AllocatorT allocator;
  property_list props;
};

inline std::mutex* host_mutex_of(const property_list& props) {
  return props.has_property<property::buffer::use_mutex>()
             ? props.get_property<property::buffer::use_mutex>().get_mutex_ptr()
             : nullptr;
}

struct buffer_storage_tag {};
struct buffer_access;
}  // namespace detail

template <typename T, int Dimensions = 1,
          typename AllocatorT = buffer_allocator<std::remove_const_t<T>>>
class buffer {
  static_assert(Dimensions >= 1 && Dimensions <= 3, "buffers have 1, 2 or 3 dimensions");
  using element = std::remove_const_t<T>;
  using record = detail::buffer_record<Dimensions, AllocatorT>;

 public:
  using value_type = T;
  using reference = value_type&;
  using const_reference = const value_type&;
  using allocator_type = AllocatorT;

  buffer(const range<Dimensions>& r, const property_list& p = {}) : buffer(r, AllocatorT(), p) {}
  buffer(const range<Dimensions>& r, AllocatorT a, const property_list& p = {})
      : buffer(detail::buffer_storage_tag{}, nullptr, r, std::move(a), p) {}

  buffer(T* host, const range<Dimensions>& r, const property_list& p = {})
      : buffer(host, r, AllocatorT(), p) {}
  buffer(T* host, const range<Dimensions>& r, AllocatorT a, const property_list& p = {})
      : buffer(detail::buffer_storage_tag{}, host, r, std::move(a), p) {
    if constexpr (!std::is_const_v<T>) {
      if (host != nullptr) write_back_to(host);
    }
  }
  buffer(const T* host, const range<Dimensions>& r,
         const property_list& p = {}) requires(!std::is_const_v<T>)
      : buffer(host, r, AllocatorT(), p) {}
  buffer(const T* host, const range<Dimensions>& r, AllocatorT a,
         const property_list& p = {}) requires(!std::is_const_v<T>)
      : buffer(detail::buffer_storage_tag{}, host, r, std::move(a), p) {}

  template <typename Container>
  requires(Dimensions == 1 &&
           requires(Container & c) {
             { std::data(c) } -> std::convertible_to<const T*>;
             std::size(c);
           }) buffer(Container& c, const property_list& p = {})
      : buffer(c, AllocatorT(), p) {}
  template <typename Container>
  requires(Dimensions == 1 &&
           requires(Container & c) {
             { std::data(c) } -> std::convertible_to<const T*>;
             std::size(c);
           }) buffer(Container& c, AllocatorT a, const property_list& p = {})
      : buffer(std::data(c), range<1>(std::size(c)), std::move(a), p) {}

  template <typename InputIterator>
  requires(Dimensions == 1 && !std::is_convertible_v<InputIterator, const T*> &&
           requires(InputIterator it) { typename std::iterator_traits<InputIterator>::value_type; })
      buffer(InputIterator first, InputIterator last, const property_list& p = {})
      : buffer(first, last, AllocatorT(), p) {}
  template <typename InputIterator>
  requires(Dimensions == 1 && !std::is_convertible_v<InputIterator, const T*> &&
           requires(InputIterator it) { typename std::iterator_traits<InputIterator>::value_type; })
      buffer(InputIterator first, InputIterator last, AllocatorT a, const property_list& p = {})
      : buffer(detail::buffer_storage_tag{}, nullptr,
               range<1>(static_cast<std::size_t>(std::distance(first, last))), std::move(a), p) {
    std::copy(first, last, reinterpret_cast<element*>(detail::buffer_data(*rec_->state)));
  }

  // Shared host data: copied back at destruction only while the application still holds it.
  buffer(const std::shared_ptr<T>& host, const range<Dimensions>& r, const property_list& p = {})
      : buffer(host, r, AllocatorT(), p) {}
  buffer(const std::shared_ptr<T>& host, const range<Dimensions>& r, AllocatorT a,
         const property_list& p = {})
      : buffer(detail::buffer_storage_tag{}, host.get(), r, std::move(a), p) {
    if constexpr (!std::is_const_v<T>) write_back_to_weak(std::weak_ptr<T>(host));
  }
  buffer(const std::shared_ptr<T[]>& host, const range<Dimensions>& r, const property_list& p = {})
      : buffer(host, r, AllocatorT(), p) {}
  buffer(const std::shared_ptr<T[]>& host, const range<Dimensions>& r, AllocatorT a,
         const property_list& p = {})
      : buffer(detail::buffer_storage_tag{}, host.get(), r, std::move(a), p) {
    if constexpr (!std::is_const_v<T>) write_back_to_weak(std::weak_ptr<T[]>(host));
  }

  // Sub-buffer: a view of part of a buffer that is not itself a sub-buffer.
  buffer(buffer& parent, const id<Dimensions>& base, const range<Dimensions>& sub_range) {
    const record& p = *parent.rec_;
    if (p.sub_buffer)
      detail::throw_error(errc::invalid, "Cannot create sub buffer from sub buffer.");
    for (int d = 0; d < Dimensions; ++d)
      if (base[d] + sub_range[d] > p.extent[d])
        detail::throw_error(errc::invalid, "sub-buffer exceeds the parent buffer");
    // Contiguous: once a dimension is cut, every earlier dimension must have extent one.
    for (int d = 1; d < Dimensions; ++d)
      if (sub_range[d] != p.extent[d])
        for (int k = 0; k < d; ++k)
          if (sub_range[k] > 1)
            detail::throw_error(errc::invalid, "sub-buffer is not a contiguous region");
    const std::size_t offset = p.byte_offset + detail::linearize(base, p.extent) * sizeof(T);
    if ((offset * 8) % detail::buffer_base_alignment_bits() != 0)
      detail::throw_error(errc::invalid,
                          "sub-buffer offset is not a multiple of the base-address alignment");
    rec_ = std::make_shared<record>(record{p.state, sub_range, offset, true, p.allocator, p.props});
  }

  range<Dimensions> get_range() const { return rec_->extent; }
  std::size_t size() const noexcept { return rec_->extent.size(); }
  std::size_t byte_size() const noexcept { return size() * sizeof(T); }
  std::size_t get_count() const { return size(); }
  std::size_t get_size() const { return byte_size(); }
  AllocatorT get_allocator() const { return rec_->allocator; }
  bool is_sub_buffer() const { return rec_->sub_buffer; }

  template <typename P>
  bool has_property() const noexcept {
    return rec_->props.template has_property<P>();
  }
  template <typename P>
  P get_property() const {
    return rec_->props.template get_property<P>();
  }

  template <access_mode Mode = access_mode::read_write, target Targ = target::device>
  accessor<T, Dimensions, Mode, Targ, access::placeholder::false_t> get_access(handler& cgh) {
    return accessor<T, Dimensions, Mode, Targ, access::placeholder::false_t>(*this, cgh);
  }
  template <access_mode Mode = access_mode::read_write, target Targ = target::device>
  accessor<T, Dimensions, Mode, Targ, access::placeholder::false_t> get_access(
      handler& cgh, range<Dimensions> r, id<Dimensions> offset = {}) {
    return accessor<T, Dimensions, Mode, Targ, access::placeholder::false_t>(*this, cgh, r, offset);
  }
  // Host access through the older accessor target (superseded by host_accessor).
  template <access_mode Mode>
  accessor<T, Dimensions, Mode, target::host_buffer, access::placeholder::false_t> get_access() {
    return accessor<T, Dimensions, Mode, target::host_buffer, access::placeholder::false_t>(*this);
  }
  template <access_mode Mode>
  accessor<T, Dimensions, Mode, target::host_buffer, access::placeholder::false_t> get_access(
      range<Dimensions> r, id<Dimensions> offset = {}) {
    return accessor<T, Dimensions, Mode, target::host_buffer, access::placeholder::false_t>(
        *this, r, offset);
  }
  template <typename... Ts>
  auto get_host_access(Ts... args) {
    return host_accessor{*this, args...};
  }

  template <typename Destination = std::nullptr_t>
  void set_final_data(Destination final_data = nullptr) {
    if constexpr (std::is_same_v<Destination, std::nullptr_t>) {
      detail::set_buffer_write_back(*rec_->state, nullptr);
    } else if constexpr (std::is_pointer_v<Destination>) {
      if (final_data == nullptr) {
        detail::set_buffer_write_back(*rec_->state, nullptr);
      } else {
        write_back_to(final_data);
      }
    } else if constexpr (requires { final_data.lock(); }) {
      write_back_to_weak(final_data);
    } else {
      auto out = final_data;
      const std::size_t count = size();
      detail::set_buffer_write_back(
          *rec_->state, [out, count](const unsigned char* data, std::size_t) {
            std::copy_n(reinterpret_cast<const element*>(data), count, out);
          });
    }
  }
  void set_write_back(bool flag = true) { detail::enable_buffer_write_back(*rec_->state, flag); }

  template <typename ReinterpretT, int ReinterpretDim>
  buffer<ReinterpretT, ReinterpretDim,
         typename std::allocator_traits<AllocatorT>::template rebind_alloc<ReinterpretT>>
  reinterpret(range<ReinterpretDim> r) const {
    if (r.size() * sizeof(ReinterpretT) != byte_size())
      detail::throw_error(errc::invalid, "reinterpret changes the byte size of the buffer");
    using other_alloc =
        typename std::allocator_traits<AllocatorT>::template rebind_alloc<ReinterpretT>;
    using result = buffer<ReinterpretT, ReinterpretDim, other_alloc>;
    return result(typename result::record{rec_->state, r, rec_->byte_offset, rec_->sub_buffer,
                                          other_alloc(rec_->allocator), rec_->props});
  }
  template <typename ReinterpretT, int ReinterpretDim = Dimensions>
  requires(ReinterpretDim == 1 || (ReinterpretDim == Dimensions &&
                                   sizeof(ReinterpretT) == sizeof(T))) auto reinterpret() const {
    if constexpr (ReinterpretDim == 1) {
      if (byte_size() % sizeof(ReinterpretT) != 0)
        detail::throw_error(errc::invalid,
                            "the buffer's byte size is not a multiple of the new element size");
      return reinterpret<ReinterpretT, 1>(range<1>(byte_size() / sizeof(ReinterpretT)));
    } else {
      return reinterpret<ReinterpretT, ReinterpretDim>(rec_->extent);
    }
  }

  friend bool operator==(const buffer& a, const buffer& b) { return a.rec_ == b.rec_; }
  friend bool operator!=(const buffer& a, const buffer& b) { return !(a == b); }

 private:
  template <typename, int, typename>
  friend class buffer;
  friend struct detail::buffer_access;

  buffer(detail::buffer_storage_tag, const void* initial, const range<Dimensions>& r, AllocatorT a,
         const property_list& p)
      : rec_(std::make_shared<record>(record{
            detail::make_buffer_state(r.size() * sizeof(T), initial, detail::host_mutex_of(p)), r,
            0, false, std::move(a), p})) {}
  explicit buffer(record rec) : rec_(std::make_shared<record>(std::move(rec))) {}

  // Write-back of this buffer's own bytes (a sub-buffer's part, not the rest of its parent).
  template <typename Ptr>
  void write_back_to(Ptr target) {
    const std::size_t offset = rec_->byte_offset, bytes = byte_size();
    detail::set_buffer_write_back(
        *rec_->state, [target, offset, bytes](const unsigned char* data, std::size_t n) {
          std::memcpy(static_cast<void*>(target), data + offset, std::min(bytes, n - offset));
        });
  }
  template <typename Weak>
  void write_back_to_weak(Weak weak) {
    const std::size_t offset = rec_->byte_offset, bytes = byte_size();
    detail::set_buffer_write_back(*rec_->state, [weak, offset, bytes](const unsigned char* data,
                                                                      std::size_t n) {
      if (auto target = weak.lock())
        std::memcpy(static_cast<void*>(target.get()), data + offset, std::min(bytes, n - offset));
    });
  }

  std::shared_ptr<record> rec_;
};

template <typename InputIterator, typename AllocatorT>
buffer(InputIterator, InputIterator, AllocatorT, const property_list& = {})
    -> buffer<typename std::iterator_traits<InputIterator>::value_type, 1, AllocatorT>;
template <typename InputIterator>
buffer(InputIterator, InputIterator, const property_list& = {})
    -> buffer<typename std::iterator_traits<InputIterator>::value_type, 1>;
template <typename T, int Dimensions, typename AllocatorT>
buffer(const T*, const range<Dimensions>&, AllocatorT, const property_list& = {})
    -> buffer<T, Dimensions, AllocatorT>;
template <typename T, int Dimensions>
buffer(const T*, const range<Dimensions>&, const property_list& = {}) -> buffer<T, Dimensions>;
template <typename T, int Dimensions, typename AllocatorT>
buffer(T*, const range<Dimensions>&, AllocatorT, const property_list& = {})
    -> buffer<T, Dimensions, AllocatorT>;
template <typename T, int Dimensions>
buffer(T*, const range<Dimensions>&, const property_list& = {}) -> buffer<T, Dimensions>;
template <typename Container, typename AllocatorT>
buffer(Container&, AllocatorT, const property_list& = {})
    -> buffer<typename Container::value_type, 1, AllocatorT>;
template <typename Container>
buffer(Container&, const property_list& = {}) -> buffer<typename Container::value_type, 1>;

template <typename T, int D, typename A>
struct is_property_of<property::buffer::use_host_ptr, buffer<T, D, A>> : std::true_type {};
template <typename T, int D, typename A>
struct is_property_of<property::buffer::use_mutex, buffer<T, D, A>> : std::true_type {};
template <typename T, int D, typename A>
struct is_property_of<property::buffer::context_bound, buffer<T, D, A>> : std::true_type {};

namespace detail {
struct buffer_access {
  template <typename B>
  static const std::shared_ptr<buffer_state>& state(const B& b) {
    return b.rec_->state;
  }
  template <typename B>
  static std::size_t byte_offset(const B& b) {
    return b.rec_->byte_offset;
  }
  template <typename B>
  static const void* identity(const B& b) {
    return b.rec_.get();
  }
};
}  // namespace detail

}  // namespace sycl

template <typename T, int D, typename A>
struct std::hash<sycl::buffer<T, D, A>> {
  std::size_t operator()(const sycl::buffer<T, D, A>& b) const noexcept {
    return std::hash<const void*>()(sycl::detail::buffer_access::identity(b));
  }
};
