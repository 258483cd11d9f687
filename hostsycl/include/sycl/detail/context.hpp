// context: a set of devices and an asynchronous error handler, with reference semantics.
#pragma once

#include <algorithm>
#include <memory>
#include <sycl/detail/device.hpp>
#include <sycl/detail/properties.hpp>
#include <vector>

namespace sycl {

namespace detail {
struct context_impl;
struct context_access;
}  // namespace detail

class context {
 public:
  explicit context(const property_list& props = {});
  explicit context(async_handler handler, const property_list& props = {});
  explicit context(const device& dev, const property_list& props = {});
  explicit context(const device& dev, async_handler handler, const property_list& props = {});
  explicit context(const platform& plt, const property_list& props = {});
  explicit context(const platform& plt, async_handler handler, const property_list& props = {});
  explicit context(const std::vector<device>& devices, const property_list& props = {});
  explicit context(const std::vector<device>& devices, async_handler handler,
                   const property_list& props = {});

  backend get_backend() const noexcept { return backend::hostsycl; }
  platform get_platform() const { return platform(); }
  std::vector<device> get_devices() const;
  template <typename Param>
  typename Param::return_type get_info() const {
    if constexpr (std::is_same_v<Param, info::context::platform>)
      return platform();
    else if constexpr (std::is_same_v<Param, info::context::devices>)
      return get_devices();
    else if constexpr (std::is_same_v<Param, info::context::atomic_memory_order_capabilities>)
      return common_capability<info::device::atomic_memory_order_capabilities>();
    else if constexpr (std::is_same_v<Param, info::context::atomic_fence_order_capabilities>)
      return common_capability<info::device::atomic_fence_order_capabilities>();
    else if constexpr (std::is_same_v<Param, info::context::atomic_memory_scope_capabilities>)
      return common_capability<info::device::atomic_memory_scope_capabilities>();
    else if constexpr (std::is_same_v<Param, info::context::atomic_fence_scope_capabilities>)
      return common_capability<info::device::atomic_fence_scope_capabilities>();
    else
      static_assert(sizeof(Param) == 0, "unsupported context info descriptor");
  }
  template <typename P>
  bool has_property() const noexcept {
    return false;
  }

  friend bool operator==(const context& a, const context& b) noexcept { return a.impl_ == b.impl_; }
  friend bool operator!=(const context& a, const context& b) noexcept { return a.impl_ != b.impl_; }

 private:
  // What every device of the context offers: the first device's list less what another lacks.
  template <typename DeviceParam>
  typename DeviceParam::return_type common_capability() const {
    const std::vector<device> devices = get_devices();
    auto common = devices.front().get_info<DeviceParam>();
    for (const device& d : devices) {
      const auto offered = d.get_info<DeviceParam>();
      std::erase_if(common, [&](auto c) {
        return std::find(offered.begin(), offered.end(), c) == offered.end();
      });
    }
    return common;
  }

  friend struct detail::context_access;
  explicit context(std::shared_ptr<detail::context_impl> impl) : impl_(std::move(impl)) {}
  std::shared_ptr<detail::context_impl> impl_;
};

namespace detail {
struct context_access {
  static const std::shared_ptr<context_impl>& impl(const context& c) { return c.impl_; }
  static context make(std::shared_ptr<context_impl> impl) { return context(std::move(impl)); }
};
// The default context of the platform: every root device, no handler.
context default_context();
// The context a queue made from a device alone uses: the platform's default context, or for an
// emulated GPU outside the platform's device list, one default context of that device.
context default_context_for(const device& d);
bool context_has_device(const context& c, const device& d);
}  // namespace detail

namespace property::buffer {
// Ties a buffer to one context; a host runtime has one memory, so it only records the context.
class context_bound {
 public:
  explicit context_bound(context bound) : context_(std::move(bound)) {}
  context get_context() const { return context_; }

 private:
  context context_;
};
}  // namespace property::buffer

template <>
struct is_property<property::buffer::context_bound> : std::true_type {};

}  // namespace sycl

template <>
struct std::hash<sycl::context> {
  std::size_t operator()(const sycl::context& c) const noexcept {
    return std::hash<const void*>()(sycl::detail::context_access::impl(c).get());
  }
};
