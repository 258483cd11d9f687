// property_list and the properties of queues, buffers and accessors.
#pragma once

#include <memory>
#include <mutex>
#include <sycl/detail/exception.hpp>
#include <typeindex>
#include <vector>

namespace sycl {

template <typename T>
struct is_property : std::false_type {};
template <typename T>
inline constexpr bool is_property_v = is_property<T>::value;
template <typename T, typename SyclObject>
struct is_property_of : std::false_type {};
template <typename T, typename SyclObject>
inline constexpr bool is_property_of_v = is_property_of<T, SyclObject>::value;

class property_list {
 public:
  property_list() = default;
  template <typename... Properties>
  requires(is_property_v<Properties>&&...) property_list(Properties... props) { (add(props), ...); }

  template <typename P>
  bool has_property() const noexcept {
    for (const auto& e : entries_)
      if (e.type == std::type_index(typeid(P))) return true;
    return false;
  }
  template <typename P>
  P get_property() const {
    for (const auto& e : entries_)
      if (e.type == std::type_index(typeid(P))) return *static_cast<const P*>(e.value.get());
    detail::throw_error(errc::invalid, "property not in the property list");
  }

 private:
  struct entry {
    std::type_index type;
    std::shared_ptr<const void> value;
  };
  template <typename P>
  void add(const P& p) {
    entries_.push_back({std::type_index(typeid(P)), std::make_shared<const P>(p)});
  }
  std::vector<entry> entries_;
};

namespace property {
namespace queue {
struct in_order {};
struct enable_profiling {};
}  // namespace queue
namespace buffer {
struct use_host_ptr {};
class use_mutex {
 public:
  explicit use_mutex(std::mutex& m) : mutex_(&m) {}
  std::mutex* get_mutex_ptr() const { return mutex_; }

 private:
  std::mutex* mutex_;
};
}  // namespace buffer
struct no_init {};
}  // namespace property

inline constexpr property::no_init no_init{};

template <>
struct is_property<property::queue::in_order> : std::true_type {};
template <>
struct is_property<property::queue::enable_profiling> : std::true_type {};
template <>
struct is_property<property::buffer::use_host_ptr> : std::true_type {};
template <>
struct is_property<property::buffer::use_mutex> : std::true_type {};
template <>
struct is_property<property::no_init> : std::true_type {};

}  // namespace sycl
