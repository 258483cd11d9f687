// atomic_ref and atomic_fence: real cross-thread atomics over host memory.
#pragma once

#include <atomic>
#include <cstdint>
#include <sycl/detail/defines.hpp>
#include <sycl/detail/runtime_services.hpp>
#include <type_traits>

namespace sycl {

namespace detail {
constexpr std::memory_order to_std(memory_order o) {
  switch (o) {
    case memory_order::relaxed:
      return std::memory_order_relaxed;
    case memory_order::acquire:
      return std::memory_order_acquire;
    case memory_order::release:
      return std::memory_order_release;
    case memory_order::acq_rel:
      return std::memory_order_acq_rel;
    default:
      return std::memory_order_seq_cst;
  }
}
constexpr memory_order read_order_of(memory_order o) {
  return o == memory_order::acq_rel   ? memory_order::acquire
         : o == memory_order::release ? memory_order::relaxed
                                      : o;
}
constexpr memory_order write_order_of(memory_order o) {
  return o == memory_order::acq_rel   ? memory_order::release
         : o == memory_order::acquire ? memory_order::relaxed
                                      : o;
}
template <typename T>
inline constexpr bool is_atomic_type_v =
    std::is_same_v<T, int> || std::is_same_v<T, unsigned int> || std::is_same_v<T, long> ||
    std::is_same_v<T, unsigned long> || std::is_same_v<T, long long> ||
    std::is_same_v<T, unsigned long long> || std::is_same_v<T, float> ||
    std::is_same_v<T, double> || std::is_pointer_v<T>;

void check_atomic_target(const void* p) noexcept;
}  // namespace detail

template <typename T, memory_order DefaultOrder, memory_scope DefaultScope,
          access::address_space AddressSpace = access::address_space::generic_space>
class atomic_ref {
  static_assert(detail::is_atomic_type_v<T>,
                "atomic_ref supports int, unsigned int, long, unsigned long, long long, "
                "unsigned long long, float, double and pointers");

 public:
  using value_type = T;
  using difference_type = std::conditional_t<std::is_pointer_v<T>, std::ptrdiff_t, T>;
  static constexpr std::size_t required_alignment = alignof(T);
  static constexpr bool is_always_lock_free = std::atomic_ref<T>::is_always_lock_free;
  static constexpr memory_order default_read_order = detail::read_order_of(DefaultOrder);
  static constexpr memory_order default_write_order = detail::write_order_of(DefaultOrder);
  static constexpr memory_order default_read_modify_write_order = DefaultOrder;
  static constexpr memory_scope default_scope = DefaultScope;

  explicit atomic_ref(T& ref) : ref_(ref) {
    if (detail::strict_mode()) detail::check_atomic_target(&ref);
  }
  atomic_ref(const atomic_ref&) noexcept = default;
  atomic_ref& operator=(const atomic_ref&) = delete;

  bool is_lock_free() const noexcept { return ref_.is_lock_free(); }

  void store(T v, memory_order o = default_write_order,
             memory_scope = default_scope) const noexcept {
    ref_.store(v, detail::to_std(o));
  }
  T operator=(T v) const noexcept {
    store(v);
    return v;
  }
  // A load is where spin loops poll: let the other work-items of the group run now and then.
  T load(memory_order o = default_read_order, memory_scope = default_scope) const noexcept {
    detail::spin_hint();
    return ref_.load(detail::to_std(o));
  }
  operator T() const noexcept { return load(); }
  T exchange(T v, memory_order o = default_read_modify_write_order,
             memory_scope = default_scope) const noexcept {
    return ref_.exchange(v, detail::to_std(o));
  }
  bool compare_exchange_weak(T& expected, T desired, memory_order success, memory_order failure,
                             memory_scope = default_scope) const noexcept {
    return cas_result(ref_.compare_exchange_weak(expected, desired, detail::to_std(success),
                                                 detail::to_std(failure)));
  }
  bool compare_exchange_weak(T& expected, T desired,
                             memory_order o = default_read_modify_write_order,
                             memory_scope s = default_scope) const noexcept {
    return compare_exchange_weak(expected, desired, o, detail::read_order_of(o), s);
  }
  bool compare_exchange_strong(T& expected, T desired, memory_order success, memory_order failure,
                               memory_scope = default_scope) const noexcept {
    return cas_result(ref_.compare_exchange_strong(expected, desired, detail::to_std(success),
                                                   detail::to_std(failure)));
  }
  bool compare_exchange_strong(T& expected, T desired,
                               memory_order o = default_read_modify_write_order,
                               memory_scope s = default_scope) const noexcept {
    return compare_exchange_strong(expected, desired, o, detail::read_order_of(o), s);
  }

  T fetch_add(difference_type v, memory_order o = default_read_modify_write_order,
              memory_scope = default_scope) const noexcept {
    return ref_.fetch_add(v, detail::to_std(o));
  }
  T fetch_sub(difference_type v, memory_order o = default_read_modify_write_order,
              memory_scope = default_scope) const noexcept {
    return ref_.fetch_sub(v, detail::to_std(o));
  }
  T fetch_and(T v, memory_order o = default_read_modify_write_order,
              memory_scope = default_scope) const noexcept requires std::is_integral_v<T> {
    return ref_.fetch_and(v, detail::to_std(o));
  }
  T fetch_or(T v, memory_order o = default_read_modify_write_order,
             memory_scope = default_scope) const noexcept requires std::is_integral_v<T> {
    return ref_.fetch_or(v, detail::to_std(o));
  }
  T fetch_xor(T v, memory_order o = default_read_modify_write_order,
              memory_scope = default_scope) const noexcept requires std::is_integral_v<T> {
    return ref_.fetch_xor(v, detail::to_std(o));
  }
  T fetch_min(T v, memory_order o = default_read_modify_write_order,
              memory_scope = default_scope) const noexcept requires(!std::is_pointer_v<T>) {
    T old = ref_.load(std::memory_order_relaxed);
    while (v < old &&
           !ref_.compare_exchange_weak(old, v, detail::to_std(o), std::memory_order_relaxed)) {
    }
    return old;
  }
  T fetch_max(T v, memory_order o = default_read_modify_write_order,
              memory_scope = default_scope) const noexcept requires(!std::is_pointer_v<T>) {
    T old = ref_.load(std::memory_order_relaxed);
    while (old < v &&
           !ref_.compare_exchange_weak(old, v, detail::to_std(o), std::memory_order_relaxed)) {
    }
    return old;
  }

  T operator++(int) const noexcept requires(!std::is_floating_point_v<T>) { return fetch_add(1); }
  T operator--(int) const noexcept requires(!std::is_floating_point_v<T>) { return fetch_sub(1); }
  T operator++() const noexcept requires(!std::is_floating_point_v<T>) { return fetch_add(1) + 1; }
  T operator--() const noexcept requires(!std::is_floating_point_v<T>) { return fetch_sub(1) - 1; }
  T operator+=(difference_type v) const noexcept { return fetch_add(v) + v; }
  T operator-=(difference_type v) const noexcept { return fetch_sub(v) - v; }
  T operator&=(T v) const noexcept requires std::is_integral_v<T> { return fetch_and(v) & v; }
  T operator|=(T v) const noexcept requires std::is_integral_v<T> { return fetch_or(v) | v; }
  T operator^=(T v) const noexcept requires std::is_integral_v<T> { return fetch_xor(v) ^ v; }

 private:
  // A failed compare-exchange is the other place where spin loops wait.
  static bool cas_result(bool ok) noexcept {
    if (!ok) detail::spin_hint();
    return ok;
  }
  mutable std::atomic_ref<T> ref_;
};

inline void atomic_fence(memory_order order, memory_scope) {
  if (order != memory_order::relaxed) std::atomic_thread_fence(detail::to_std(order));
}

}  // namespace sycl
