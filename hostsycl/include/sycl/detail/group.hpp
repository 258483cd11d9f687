// nd_item, group and sub_group: a work-item's view of its nd_range position and its groups.
#pragma once

#include <cstddef>
#include <cstdint>
#include <sycl/detail/defines.hpp>
#include <sycl/detail/index.hpp>
#include <sycl/detail/multi_ptr.hpp>
#include <type_traits>

namespace sycl {

namespace detail {
// Execution state of one running work-group; lives in the runtime (work_group.cpp).
class work_group_state;

// Largest value one work-item can hand to a collective operation.
inline constexpr std::size_t collective_slot_bytes = 128;

// One group function call: every member writes `bytes` of `in` into its slot, the last to
// arrive runs `combine` over the members' slots, and each member copies its output slot to `out`.
struct collective_call {
  const void* in;
  std::size_t in_bytes;
  void* out;
  std::size_t out_bytes;
  void (*combine)(const void* context, const unsigned char* inputs, unsigned char* outputs,
                  std::size_t members, std::size_t stride);
  const void* context;
};
// `sub_group` false: the whole work-group takes part; true: the caller's sub-group.
void run_collective(work_group_state* state, bool sub_group, const collective_call& call);

// Runs `f` once for the group: the last member to arrive runs it, and every member returns
// after it ran. For operations on memory that the whole group names with the same arguments.
template <typename F>
void run_once_in_group(work_group_state* state, bool sub_group, const F& f) {
  char in = 0, out = 0;
  collective_call call{&in,
                       1,
                       &out,
                       1,
                       +[](const void* ctx, const unsigned char*, unsigned char*, std::size_t,
                           std::size_t) { (*static_cast<const F*>(ctx))(); },
                       &f};
  run_collective(state, sub_group, call);
}

struct group_access;
}  // namespace detail

// The completion of a work-group copy. The copy has finished when async_work_group_copy
// returns (the group makes it together), so waiting has nothing left to wait for.
class device_event {
 public:
  device_event() = delete;
  void wait() noexcept {}

 private:
  template <int>
  friend class group;
  explicit device_event(int) noexcept {}
};

template <int Dimensions = 1>
class group {
 public:
  using id_type = id<Dimensions>;
  using range_type = range<Dimensions>;
  using linear_id_type = std::size_t;
  static constexpr int dimensions = Dimensions;
  static constexpr memory_scope fence_scope = memory_scope::work_group;

  group() = delete;

  id<Dimensions> get_group_id() const noexcept { return group_id_; }
  std::size_t get_group_id(int d) const noexcept { return group_id_[d]; }
  id<Dimensions> get_local_id() const noexcept { return local_id_; }
  std::size_t get_local_id(int d) const noexcept { return local_id_[d]; }
  range<Dimensions> get_local_range() const noexcept { return local_range_; }
  std::size_t get_local_range(int d) const noexcept { return local_range_[d]; }
  range<Dimensions> get_group_range() const noexcept { return group_range_; }
  std::size_t get_group_range(int d) const noexcept { return group_range_[d]; }
  range<Dimensions> get_max_local_range() const noexcept { return local_range_; }
  std::size_t operator[](int d) const noexcept { return group_id_[d]; }
  std::size_t get_group_linear_id() const noexcept {
    return detail::linearize(group_id_, group_range_);
  }
  std::size_t get_local_linear_id() const noexcept {
    return detail::linearize(local_id_, local_range_);
  }
  std::size_t get_group_linear_range() const noexcept { return group_range_.size(); }
  std::size_t get_local_linear_range() const noexcept { return local_range_.size(); }
  bool leader() const noexcept { return get_local_linear_id() == 0; }

  // Work-group copies between global and local memory; every work-item of the group calls with
  // the same arguments. Strided forms stride the global side.
  template <typename DestT, access::decorated DestD, typename SrcT, access::decorated SrcD>
  requires std::is_same_v<std::remove_const_t<SrcT>, DestT> device_event
  async_work_group_copy(multi_ptr<DestT, access::address_space::local_space, DestD> dest,
                        multi_ptr<SrcT, access::address_space::global_space, SrcD> src,
                        std::size_t count, std::size_t src_stride = 1)
  const { return copy(dest.get(), 1, src.get(), src_stride, count); }
  template <typename DestT, access::decorated DestD, typename SrcT, access::decorated SrcD>
  requires std::is_same_v<std::remove_const_t<SrcT>, DestT> device_event
  async_work_group_copy(multi_ptr<DestT, access::address_space::global_space, DestD> dest,
                        multi_ptr<SrcT, access::address_space::local_space, SrcD> src,
                        std::size_t count, std::size_t dest_stride = 1)
  const { return copy(dest.get(), dest_stride, src.get(), 1, count); }
  template <typename... Events>
  requires(std::is_same_v<Events, device_event>&&...) void wait_for(Events... events) const {
    (events.wait(), ...);
  }

  friend bool operator==(const group& a, const group& b) noexcept {
    return a.group_id_ == b.group_id_ && a.group_range_ == b.group_range_ &&
           a.local_range_ == b.local_range_;
  }
  friend bool operator!=(const group& a, const group& b) noexcept { return !(a == b); }

 private:
  friend struct detail::group_access;
  template <int>
  friend class nd_item;
  template <typename DestT, typename SrcT>
  device_event copy(DestT* dest, std::size_t dest_stride, SrcT* src, std::size_t src_stride,
                    std::size_t count) const {
    detail::run_once_in_group(state_, false, [=] {
      for (std::size_t i = 0; i < count; ++i) dest[i * dest_stride] = src[i * src_stride];
    });
    return device_event(0);
  }

  group(id<Dimensions> gid, id<Dimensions> lid, range<Dimensions> lr, range<Dimensions> gr,
        detail::work_group_state* s)
      : group_id_(gid), local_id_(lid), local_range_(lr), group_range_(gr), state_(s) {}
  id<Dimensions> group_id_;
  id<Dimensions> local_id_;
  range<Dimensions> local_range_;
  range<Dimensions> group_range_;
  detail::work_group_state* state_;
};

class sub_group {
 public:
  using id_type = id<1>;
  using range_type = range<1>;
  using linear_id_type = std::uint32_t;
  static constexpr int dimensions = 1;
  static constexpr memory_scope fence_scope = memory_scope::sub_group;

  sub_group() = delete;

  id<1> get_group_id() const noexcept { return id<1>(group_id_); }
  id<1> get_local_id() const noexcept { return id<1>(local_id_); }
  range<1> get_local_range() const noexcept { return range<1>(size_); }
  range<1> get_group_range() const noexcept { return range<1>(count_); }
  range<1> get_max_local_range() const noexcept { return range<1>(max_size_); }
  std::uint32_t get_group_linear_id() const noexcept { return group_id_; }
  std::uint32_t get_group_linear_range() const noexcept { return count_; }
  std::uint32_t get_local_linear_id() const noexcept { return local_id_; }
  std::uint32_t get_local_linear_range() const noexcept { return size_; }
  bool leader() const noexcept { return local_id_ == 0; }

  friend bool operator==(const sub_group& a, const sub_group& b) noexcept {
    return a.group_id_ == b.group_id_ && a.state_ == b.state_;
  }
  friend bool operator!=(const sub_group& a, const sub_group& b) noexcept { return !(a == b); }

 private:
  friend struct detail::group_access;
  template <int>
  friend class nd_item;
  sub_group(std::uint32_t gid, std::uint32_t lid, std::uint32_t size, std::uint32_t max_size,
            std::uint32_t count, detail::work_group_state* s)
      : group_id_(gid),
        local_id_(lid),
        size_(size),
        max_size_(max_size),
        count_(count),
        state_(s) {}
  std::uint32_t group_id_;
  std::uint32_t local_id_;
  std::uint32_t size_;
  std::uint32_t max_size_;
  std::uint32_t count_;
  detail::work_group_state* state_;
};

template <int Dimensions = 1>
class nd_item {
 public:
  static constexpr int dimensions = Dimensions;
  nd_item() = delete;

  id<Dimensions> get_global_id() const noexcept { return global_id_; }
  std::size_t get_global_id(int d) const noexcept { return global_id_[d]; }
  std::size_t get_global_linear_id() const noexcept {
    return detail::linearize(global_id_ - offset_, global_range_);
  }
  id<Dimensions> get_local_id() const noexcept { return local_id_; }
  std::size_t get_local_id(int d) const noexcept { return local_id_[d]; }
  std::size_t get_local_linear_id() const noexcept {
    return detail::linearize(local_id_, local_range_);
  }
  group<Dimensions> get_group() const noexcept {
    return group<Dimensions>(group_id_, local_id_, local_range_, group_range(), state_);
  }
  std::size_t get_group(int d) const noexcept { return group_id_[d]; }
  std::size_t get_group_linear_id() const noexcept {
    return detail::linearize(group_id_, group_range());
  }
  sub_group get_sub_group() const noexcept {
    const std::size_t lid = get_local_linear_id();
    const std::size_t total = local_range_.size();
    const std::size_t sg = lid / sub_group_size_;
    const std::size_t count = (total + sub_group_size_ - 1) / sub_group_size_;
    const std::size_t first = sg * sub_group_size_;
    const std::size_t size = (first + sub_group_size_ <= total) ? sub_group_size_ : total - first;
    return sub_group(static_cast<std::uint32_t>(sg), static_cast<std::uint32_t>(lid - first),
                     static_cast<std::uint32_t>(size), static_cast<std::uint32_t>(sub_group_size_),
                     static_cast<std::uint32_t>(count), state_);
  }
  range<Dimensions> get_group_range() const noexcept { return group_range(); }
  std::size_t get_group_range(int d) const noexcept { return group_range()[d]; }
  range<Dimensions> get_global_range() const noexcept { return global_range_; }
  std::size_t get_global_range(int d) const noexcept { return global_range_[d]; }
  range<Dimensions> get_local_range() const noexcept { return local_range_; }
  std::size_t get_local_range(int d) const noexcept { return local_range_[d]; }
  id<Dimensions> get_offset() const noexcept { return offset_; }
  nd_range<Dimensions> get_nd_range() const noexcept {
    return nd_range<Dimensions>(global_range_, local_range_, offset_);
  }
  // The work-group copies of the item's group.
  template <typename... Args>
  device_event async_work_group_copy(Args... args) const {
    return get_group().async_work_group_copy(args...);
  }
  template <typename... Events>
  requires(std::is_same_v<Events, device_event>&&...) void wait_for(Events... events) const {
    (events.wait(), ...);
  }

  friend bool operator==(const nd_item& a, const nd_item& b) noexcept {
    return a.global_id_ == b.global_id_ && a.global_range_ == b.global_range_ &&
           a.local_range_ == b.local_range_;
  }
  friend bool operator!=(const nd_item& a, const nd_item& b) noexcept { return !(a == b); }

 private:
  friend struct detail::group_access;
  nd_item(id<Dimensions> group_id, id<Dimensions> local_id, range<Dimensions> global_range,
          range<Dimensions> local_range, id<Dimensions> offset, std::size_t sub_group_size,
          detail::work_group_state* s)
      : group_id_(group_id),
        local_id_(local_id),
        global_range_(global_range),
        local_range_(local_range),
        offset_(offset),
        sub_group_size_(sub_group_size),
        state_(s) {
    for (int d = 0; d < Dimensions; ++d)
      global_id_[d] = group_id[d] * local_range[d] + local_id[d] + offset[d];
  }
  range<Dimensions> group_range() const noexcept {
    range<Dimensions> r;
    for (int d = 0; d < Dimensions; ++d) r[d] = global_range_[d] / local_range_[d];
    return r;
  }
  id<Dimensions> group_id_;
  id<Dimensions> local_id_;
  id<Dimensions> global_id_;
  range<Dimensions> global_range_;
  range<Dimensions> local_range_;
  id<Dimensions> offset_;
  std::size_t sub_group_size_;
  detail::work_group_state* state_;
};

template <class T>
struct is_group : std::false_type {};
template <int Dimensions>
struct is_group<group<Dimensions>> : std::true_type {};
template <>
struct is_group<sub_group> : std::true_type {};
template <class T>
inline constexpr bool is_group_v = is_group<T>::value;

namespace detail {
struct group_access {
  template <int Dimensions>
  static nd_item<Dimensions> make_item(id<Dimensions> group_id, id<Dimensions> local_id,
                                       range<Dimensions> global_range,
                                       range<Dimensions> local_range, id<Dimensions> offset,
                                       std::size_t sub_group_size, work_group_state* s) {
    return nd_item<Dimensions>(group_id, local_id, global_range, local_range, offset,
                               sub_group_size, s);
  }
  template <int Dimensions>
  static work_group_state* state(const group<Dimensions>& g) {
    return g.state_;
  }
  static work_group_state* state(const sub_group& g) { return g.state_; }
};
}  // namespace detail

}  // namespace sycl
