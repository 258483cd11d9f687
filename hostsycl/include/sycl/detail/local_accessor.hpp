// local_accessor: work-group local memory, one allocation per work-group.
#pragma once

#include <cstddef>
#include <sycl/detail/handler.hpp>
#include <sycl/detail/identity.hpp>
#include <sycl/detail/multi_ptr.hpp>
#include <sycl/detail/runtime_services.hpp>
#include <sycl/detail/subscript.hpp>

namespace sycl {

template <typename DataT, int Dimensions = 1>
class local_accessor {
  static_assert(Dimensions >= 0 && Dimensions <= 3, "local accessors have 0 to 3 dimensions");
  static constexpr int range_dims = Dimensions == 0 ? 1 : Dimensions;

 public:
  using value_type = DataT;
  using reference = DataT&;
  using const_reference = const DataT&;
  using iterator = DataT*;
  using const_iterator = const DataT*;
  using size_type = std::size_t;
  template <access::decorated IsDecorated>
  using accessor_ptr = multi_ptr<value_type, access::address_space::local_space, IsDecorated>;

  local_accessor() = default;
  local_accessor(handler& cgh, const property_list& = {}) requires(Dimensions == 0)
      : range_(1), slot_(cgh.detail_add_local_slot(sizeof(DataT), alignof(DataT))) {}
  local_accessor(range<range_dims> allocation, handler& cgh,
                 const property_list& = {}) requires(Dimensions > 0)
      : range_(allocation),
        slot_(cgh.detail_add_local_slot(allocation.size() * sizeof(DataT), alignof(DataT))) {}

  size_type byte_size() const noexcept { return size() * sizeof(DataT); }
  size_type size() const noexcept { return range_.size(); }
  bool empty() const noexcept { return size() == 0; }
  range<range_dims> get_range() const requires(Dimensions > 0) { return range_; }

  reference operator[](id<range_dims> i) const requires(Dimensions > 0) {
    const std::size_t lin = detail::linearize(i, range_);
    if (detail::strict_mode() && lin >= size()) report_out_of_range(lin);
    return data()[lin];
  }
  reference operator[](std::size_t i) const requires(Dimensions == 1) {
    if (detail::strict_mode() && i >= size()) report_out_of_range(i);
    return data()[i];
  }
  // An item converts to both id<1> and std::size_t: index by its id.
  template <bool WithOffset>
  reference operator[](const item<1, WithOffset>& i) const requires(Dimensions == 1) {
    return (*this)[i.get_id()];
  }
  auto operator[](std::size_t i) const requires(Dimensions > 1) {
    return detail::first_subscript<Dimensions>(*this, i);
  }
  operator reference() const requires(Dimensions == 0) { return *data(); }

  DataT* get_pointer() const noexcept { return data(); }
  template <access::decorated IsDecorated>
  accessor_ptr<IsDecorated> get_multi_ptr() const noexcept {
    return accessor_ptr<IsDecorated>(data());
  }
  iterator begin() const noexcept { return data(); }
  iterator end() const noexcept { return data() + size(); }

  void swap(local_accessor& other) { std::swap(*this, other); }
  friend bool operator==(const local_accessor& a, const local_accessor& b) noexcept {
    return a.identity_ == b.identity_;
  }
  friend bool operator!=(const local_accessor& a, const local_accessor& b) noexcept {
    return !(a == b);
  }
  const detail::object_identity& detail_identity() const { return identity_; }

 private:
  DataT* data() const noexcept { return static_cast<DataT*>(detail::local_memory_slot(slot_)); }
  [[noreturn]] void report_out_of_range(std::size_t i) const noexcept {
    detail::report_accessor_out_of_range(i, size());
  }
  range<range_dims> range_{};
  std::size_t slot_ = 0;
  detail::object_identity identity_;
};

}  // namespace sycl

template <typename DataT, int Dimensions>
struct std::hash<sycl::local_accessor<DataT, Dimensions>>
    : sycl::detail::identity_hash<sycl::local_accessor<DataT, Dimensions>> {};
