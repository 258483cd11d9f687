// accessor and host_accessor: views of buffer data that also declare a command's requirements.
#pragma once

#include <cstddef>
#include <iterator>
#include <memory>
#include <sycl/detail/accessor_view.hpp>
#include <sycl/detail/buffer.hpp>
#include <sycl/detail/identity.hpp>
#include <sycl/detail/multi_ptr.hpp>
#include <sycl/detail/runtime_services.hpp>
#include <sycl/detail/subscript.hpp>
#include <type_traits>

namespace sycl {

namespace detail {
template <access_mode Mode, target Target>
struct access_tag {};
// A host accessor is a command of its own: it waits for conflicting work, and later
// conflicting commands wait for it to be destroyed.
struct host_access_token;
std::shared_ptr<host_access_token> acquire_host_access(const std::shared_ptr<buffer_state>& state,
                                                       access_mode mode);

constexpr bool is_write_mode(access_mode m) { return m != access_mode::read; }
// What a host access requires of the buffer: reading, or reading and writing.
constexpr access_mode host_access_mode(access_mode m) {
  return m == access_mode::read ? access_mode::read : access_mode::read_write;
}
// Accessors of device targets hold no host access.
struct no_host_token {};

// What accessor and host_accessor share: the window, its size, element access (by id, by
// item, by a[i][j][k]), iteration over the window, and identity.
template <typename ValueT, int Dimensions>
class buffer_accessor_base {
  using element = std::remove_const_t<ValueT>;

 public:
  using value_type = ValueT;
  using reference = value_type&;
  using const_reference = const element&;
  using iterator = window_iterator_t<value_type, Dimensions>;
  using const_iterator = window_iterator_t<const element, Dimensions>;
  using reverse_iterator = std::reverse_iterator<iterator>;
  using const_reverse_iterator = std::reverse_iterator<const_iterator>;
  using difference_type = std::ptrdiff_t;
  using size_type = std::size_t;

  size_type byte_size() const noexcept { return size() * sizeof(value_type); }
  size_type size() const noexcept { return view_.access_range.size(); }
  size_type max_size() const noexcept { return size(); }
  bool empty() const noexcept { return size() == 0; }
  std::size_t get_size() const { return byte_size(); }
  std::size_t get_count() const { return size(); }
  range<Dimensions> get_range() const { return view_.access_range; }
  id<Dimensions> get_offset() const { return view_.offset; }

  reference operator[](id<Dimensions> i) const { return view_[i]; }
  reference operator[](std::size_t i) const requires(Dimensions == 1) { return view_[id<1>(i)]; }
  // An item converts to both id<1> and std::size_t: index by its id.
  template <bool WithOffset>
  reference operator[](const item<1, WithOffset>& i) const requires(Dimensions == 1) {
    return view_[i.get_id()];
  }
  auto operator[](std::size_t i) const requires(Dimensions > 1) {
    return first_subscript<Dimensions>(view_, i);
  }

  iterator begin() const noexcept { return window_at<value_type>(view_, 0); }
  iterator end() const noexcept { return window_at<value_type>(view_, size()); }
  const_iterator cbegin() const noexcept { return window_at<const element>(view_, 0); }
  const_iterator cend() const noexcept { return window_at<const element>(view_, size()); }
  reverse_iterator rbegin() const noexcept { return reverse_iterator(end()); }
  reverse_iterator rend() const noexcept { return reverse_iterator(begin()); }
  const_reverse_iterator crbegin() const noexcept { return const_reverse_iterator(cend()); }
  const_reverse_iterator crend() const noexcept { return const_reverse_iterator(cbegin()); }

  // Runtime use.
  const accessor_view<value_type, Dimensions>& detail_view() const { return view_; }
  const object_identity& detail_identity() const { return identity_; }

 protected:
  buffer_accessor_base() = default;
  explicit buffer_accessor_base(const accessor_view<value_type, Dimensions>& view) : view_(view) {}

  accessor_view<value_type, Dimensions> view_;
  object_identity identity_;
};
}  // namespace detail

inline constexpr detail::access_tag<access_mode::read_write, target::device> read_write{};
inline constexpr detail::access_tag<access_mode::read, target::device> read_only{};
inline constexpr detail::access_tag<access_mode::write, target::device> write_only{};
inline constexpr detail::access_tag<access_mode::read_write, target::host_task>
    read_write_host_task{};
inline constexpr detail::access_tag<access_mode::read, target::host_task> read_only_host_task{};
inline constexpr detail::access_tag<access_mode::write, target::host_task> write_only_host_task{};

class handler;
namespace detail {
void handler_require(handler& cgh, const std::shared_ptr<buffer_state>& state, access_mode mode);
void handler_require_placeholder(handler& cgh, buffer_state* state, access_mode mode);

template <access_mode Mode, typename T>
using accessed_value_t = std::conditional_t<Mode == access_mode::read, const std::remove_const_t<T>,
                                            std::remove_const_t<T>>;
}  // namespace detail

template <typename DataT, int Dimensions = 1,
          access_mode AccessMode =
              (std::is_const_v<DataT> ? access_mode::read : access_mode::read_write),
          target AccessTarget = target::device,
          access::placeholder IsPlaceholder = access::placeholder::false_t>
class accessor
    : public detail::buffer_accessor_base<detail::accessed_value_t<AccessMode, DataT>, Dimensions> {
  static_assert(!std::is_const_v<DataT> || AccessMode == access_mode::read,
                "a const element type needs access_mode::read");
  static constexpr access_mode effective_mode =
      AccessMode == access_mode::discard_write        ? access_mode::write
      : AccessMode == access_mode::discard_read_write ? access_mode::read_write
      : AccessMode == access_mode::atomic             ? access_mode::read_write
                                                      : AccessMode;
  using element = std::remove_const_t<DataT>;
  using base =
      detail::buffer_accessor_base<detail::accessed_value_t<AccessMode, DataT>, Dimensions>;

 public:
  using typename base::value_type;
  template <access::decorated IsDecorated>
  using accessor_ptr = multi_ptr<value_type, access::address_space::global_space, IsDecorated>;

  accessor() = default;

  template <typename AllocatorT>
  accessor(buffer<element, Dimensions, AllocatorT>& buf, const property_list& props = {})
      : accessor(buf, buf.get_range(), id<Dimensions>(), props) {}
  template <typename AllocatorT>
  accessor(buffer<element, Dimensions, AllocatorT>& buf, handler& cgh,
           const property_list& props = {})
      : accessor(buf, cgh, buf.get_range(), id<Dimensions>(), props) {}
  template <typename AllocatorT>
  accessor(buffer<element, Dimensions, AllocatorT>& buf, range<Dimensions> r,
           const property_list& props = {})
      : accessor(buf, r, id<Dimensions>(), props) {}
  // Without a handler: a placeholder, or for the older host_buffer target a host accessor.
  template <typename AllocatorT>
  accessor(buffer<element, Dimensions, AllocatorT>& buf, range<Dimensions> r, id<Dimensions> o,
           const property_list& props = {}) {
    check_props(props);
    this->view_.bind(buf, r, o);
    state_ = detail::buffer_access::state(buf).get();
    if constexpr (AccessTarget == target::host_buffer)
      host_token_ = detail::acquire_host_access(detail::buffer_access::state(buf),
                                                detail::host_access_mode(AccessMode));
    else
      placeholder_ = true;
  }
  template <typename AllocatorT>
  accessor(buffer<element, Dimensions, AllocatorT>& buf, handler& cgh, range<Dimensions> r,
           const property_list& props = {})
      : accessor(buf, cgh, r, id<Dimensions>(), props) {}
  template <typename AllocatorT>
  accessor(buffer<element, Dimensions, AllocatorT>& buf, handler& cgh, range<Dimensions> r,
           id<Dimensions> o, const property_list& props = {}) {
    check_props(props);
    this->view_.bind(buf, r, o);
    state_ = detail::buffer_access::state(buf).get();
    detail::handler_require(cgh, detail::buffer_access::state(buf), effective_mode);
  }
  // Tagged forms (the tag only fixes the template arguments).
  template <typename AllocatorT, access_mode M, target T>
  accessor(buffer<element, Dimensions, AllocatorT>& buf, handler& cgh, detail::access_tag<M, T>,
           const property_list& props = {})
      : accessor(buf, cgh, props) {}
  template <typename AllocatorT, access_mode M, target T>
  accessor(buffer<element, Dimensions, AllocatorT>& buf, handler& cgh, range<Dimensions> r,
           detail::access_tag<M, T>, const property_list& props = {})
      : accessor(buf, cgh, r, props) {}
  template <typename AllocatorT, access_mode M, target T>
  accessor(buffer<element, Dimensions, AllocatorT>& buf, handler& cgh, range<Dimensions> r,
           id<Dimensions> o, detail::access_tag<M, T>, const property_list& props = {})
      : accessor(buf, cgh, r, o, props) {}
  template <typename AllocatorT, access_mode M, target T>
  accessor(buffer<element, Dimensions, AllocatorT>& buf, detail::access_tag<M, T>,
           const property_list& props = {})
      : accessor(buf, props) {}
  template <typename AllocatorT, access_mode M, target T>
  accessor(buffer<element, Dimensions, AllocatorT>& buf, range<Dimensions> r,
           detail::access_tag<M, T>, const property_list& props = {})
      : accessor(buf, r, props) {}
  template <typename AllocatorT, access_mode M, target T>
  accessor(buffer<element, Dimensions, AllocatorT>& buf, range<Dimensions> r, id<Dimensions> o,
           detail::access_tag<M, T>, const property_list& props = {})
      : accessor(buf, r, o, props) {}

  // A read-write accessor converts to a read-only one.
  template <typename OtherT, access_mode OtherMode>
  requires(AccessMode == access_mode::read && OtherMode == access_mode::read_write &&
           std::is_same_v<std::remove_const_t<OtherT>, element>)
      accessor(const accessor<OtherT, Dimensions, OtherMode, AccessTarget, IsPlaceholder>& other)
      : base(reinterpret_cast<const detail::accessor_view<value_type, Dimensions>&>(
            other.detail_view())),
        state_(other.detail_state()),
        placeholder_(other.is_placeholder()),
        host_token_(other.detail_host_token()) {}

  bool is_placeholder() const { return placeholder_; }

  std::add_pointer_t<value_type> get_pointer() const noexcept { return this->view_.data; }
  template <access::decorated IsDecorated>
  accessor_ptr<IsDecorated> get_multi_ptr() const noexcept {
    return accessor_ptr<IsDecorated>(this->view_.data);
  }

  void swap(accessor& other) { std::swap(*this, other); }

  friend bool operator==(const accessor& a, const accessor& b) noexcept {
    return a.identity_ == b.identity_;
  }
  friend bool operator!=(const accessor& a, const accessor& b) noexcept { return !(a == b); }

  // Runtime use.
  detail::buffer_state* detail_state() const { return state_; }
  detail::buffer_state* detail_placeholder_state() const { return placeholder_ ? state_ : nullptr; }
  const auto& detail_host_token() const { return host_token_; }
  static constexpr access_mode detail_mode = effective_mode;

 private:
  static void check_props(const property_list& props) {
    if (props.has_property<property::no_init>() && AccessMode == access_mode::read)
      detail::throw_error(errc::invalid, "no_init cannot be used with access_mode::read");
  }
  detail::buffer_state* state_ = nullptr;
  bool placeholder_ = false;
  [[no_unique_address]] std::conditional_t<AccessTarget == target::host_buffer,
                                           std::shared_ptr<detail::host_access_token>,
                                           detail::no_host_token>
      host_token_;
};

// Deduction from tags: with a handler a plain accessor, without one a placeholder.
template <typename T, int D, typename A, access_mode M, target Tg>
accessor(buffer<T, D, A>&, handler&, detail::access_tag<M, Tg>, const property_list& = {})
    -> accessor<std::conditional_t<M == access_mode::read, const T, T>, D, M, Tg>;
template <typename T, int D, typename A, access_mode M, target Tg>
accessor(buffer<T, D, A>&, handler&, range<D>, detail::access_tag<M, Tg>, const property_list& = {})
    -> accessor<std::conditional_t<M == access_mode::read, const T, T>, D, M, Tg>;
template <typename T, int D, typename A, access_mode M, target Tg>
accessor(buffer<T, D, A>&, handler&, range<D>, id<D>, detail::access_tag<M, Tg>,
         const property_list& = {})
    -> accessor<std::conditional_t<M == access_mode::read, const T, T>, D, M, Tg>;
template <typename T, int D, typename A, access_mode M, target Tg>
accessor(buffer<T, D, A>&, detail::access_tag<M, Tg>, const property_list& = {})
    -> accessor<std::conditional_t<M == access_mode::read, const T, T>, D, M, Tg,
                access::placeholder::true_t>;
template <typename T, int D, typename A, access_mode M, target Tg>
accessor(buffer<T, D, A>&, range<D>, detail::access_tag<M, Tg>, const property_list& = {})
    -> accessor<std::conditional_t<M == access_mode::read, const T, T>, D, M, Tg,
                access::placeholder::true_t>;
template <typename T, int D, typename A, access_mode M, target Tg>
accessor(buffer<T, D, A>&, range<D>, id<D>, detail::access_tag<M, Tg>, const property_list& = {})
    -> accessor<std::conditional_t<M == access_mode::read, const T, T>, D, M, Tg,
                access::placeholder::true_t>;
template <typename T, int D, typename A>
accessor(buffer<T, D, A>&, handler&, const property_list& = {}) -> accessor<T, D>;
template <typename T, int D, typename A>
accessor(buffer<T, D, A>&, handler&, range<D>, const property_list& = {}) -> accessor<T, D>;
template <typename T, int D, typename A>
accessor(buffer<T, D, A>&, handler&, range<D>, id<D>, const property_list& = {}) -> accessor<T, D>;
template <typename T, int D, typename A>
accessor(buffer<T, D, A>&, const property_list& = {})
    -> accessor<T, D, access_mode::read_write, target::device, access::placeholder::true_t>;
template <typename T, int D, typename A>
accessor(buffer<T, D, A>&, range<D>, const property_list& = {})
    -> accessor<T, D, access_mode::read_write, target::device, access::placeholder::true_t>;
template <typename T, int D, typename A>
accessor(buffer<T, D, A>&, range<D>, id<D>, const property_list& = {})
    -> accessor<T, D, access_mode::read_write, target::device, access::placeholder::true_t>;

template <typename DataT, int Dimensions = 1,
          access_mode AccessMode =
              (std::is_const_v<DataT> ? access_mode::read : access_mode::read_write)>
class host_accessor
    : public detail::buffer_accessor_base<detail::accessed_value_t<AccessMode, DataT>, Dimensions> {
  using element = std::remove_const_t<DataT>;

 public:
  using typename detail::buffer_accessor_base<detail::accessed_value_t<AccessMode, DataT>,
                                              Dimensions>::value_type;

  host_accessor() = default;
  template <typename AllocatorT>
  host_accessor(buffer<element, Dimensions, AllocatorT>& buf, const property_list& props = {})
      : host_accessor(buf, buf.get_range(), id<Dimensions>(), props) {}
  template <typename AllocatorT>
  host_accessor(buffer<element, Dimensions, AllocatorT>& buf, range<Dimensions> r,
                const property_list& props = {})
      : host_accessor(buf, r, id<Dimensions>(), props) {}
  template <typename AllocatorT>
  host_accessor(buffer<element, Dimensions, AllocatorT>& buf, range<Dimensions> r, id<Dimensions> o,
                const property_list& props = {}) {
    if (props.has_property<property::no_init>() && AccessMode == access_mode::read)
      detail::throw_error(errc::invalid, "no_init cannot be used with access_mode::read");
    this->view_.bind(buf, r, o);
    token_ = detail::acquire_host_access(detail::buffer_access::state(buf),
                                         detail::host_access_mode(AccessMode));
  }
  template <typename AllocatorT, access_mode M, target T>
  host_accessor(buffer<element, Dimensions, AllocatorT>& buf, detail::access_tag<M, T>,
                const property_list& props = {})
      : host_accessor(buf, props) {}
  template <typename AllocatorT, access_mode M, target T>
  host_accessor(buffer<element, Dimensions, AllocatorT>& buf, range<Dimensions> r,
                detail::access_tag<M, T>, const property_list& props = {})
      : host_accessor(buf, r, props) {}
  template <typename AllocatorT, access_mode M, target T>
  host_accessor(buffer<element, Dimensions, AllocatorT>& buf, range<Dimensions> r, id<Dimensions> o,
                detail::access_tag<M, T>, const property_list& props = {})
      : host_accessor(buf, r, o, props) {}

  std::add_pointer_t<value_type> get_pointer() const noexcept { return this->view_.data; }
  void swap(host_accessor& other) { std::swap(*this, other); }

  friend bool operator==(const host_accessor& a, const host_accessor& b) noexcept {
    return a.identity_ == b.identity_;
  }
  friend bool operator!=(const host_accessor& a, const host_accessor& b) noexcept {
    return !(a == b);
  }

 private:
  std::shared_ptr<detail::host_access_token> token_;
};

template <typename T, int D, typename A>
host_accessor(buffer<T, D, A>&, const property_list& = {}) -> host_accessor<T, D>;
template <typename T, int D, typename A>
host_accessor(buffer<T, D, A>&, range<D>, const property_list& = {}) -> host_accessor<T, D>;
template <typename T, int D, typename A>
host_accessor(buffer<T, D, A>&, range<D>, id<D>, const property_list& = {}) -> host_accessor<T, D>;
template <typename T, int D, typename A, access_mode M, target Tg>
host_accessor(buffer<T, D, A>&, detail::access_tag<M, Tg>, const property_list& = {})
    -> host_accessor<std::conditional_t<M == access_mode::read, const T, T>, D, M>;
template <typename T, int D, typename A, access_mode M, target Tg>
host_accessor(buffer<T, D, A>&, range<D>, detail::access_tag<M, Tg>, const property_list& = {})
    -> host_accessor<std::conditional_t<M == access_mode::read, const T, T>, D, M>;
template <typename T, int D, typename A, access_mode M, target Tg>
host_accessor(buffer<T, D, A>&, range<D>, id<D>, detail::access_tag<M, Tg>,
              const property_list& = {})
    -> host_accessor<std::conditional_t<M == access_mode::read, const T, T>, D, M>;

}  // namespace sycl

template <typename DataT, int Dimensions, sycl::access_mode AccessMode, sycl::target AccessTarget,
          sycl::access::placeholder IsPlaceholder>
struct std::hash<sycl::accessor<DataT, Dimensions, AccessMode, AccessTarget, IsPlaceholder>>
    : sycl::detail::identity_hash<
          sycl::accessor<DataT, Dimensions, AccessMode, AccessTarget, IsPlaceholder>> {};
template <typename DataT, int Dimensions, sycl::access_mode AccessMode>
struct std::hash<sycl::host_accessor<DataT, Dimensions, AccessMode>>
    : sycl::detail::identity_hash<sycl::host_accessor<DataT, Dimensions, AccessMode>> {};
