// queue: submits command groups to one device; commands run asynchronously.
#pragma once

#include <memory>
#include <sycl/detail/context.hpp>
#include <sycl/detail/event.hpp>
#include <sycl/detail/handler.hpp>
#include <vector>

namespace sycl {

namespace detail {
struct queue_impl;
std::shared_ptr<queue_impl> make_queue_impl(const context& ctx, const device& dev,
                                            const async_handler& handler,
                                            const property_list& props);
event submit_command(const std::shared_ptr<queue_impl>& q, handler& cgh);
const device_impl* queue_device(const queue_impl& q);
context queue_context(const queue_impl& q);
bool queue_in_order(const queue_impl& q);
void queue_wait(const std::shared_ptr<queue_impl>& q);
void queue_throw_asynchronous(const std::shared_ptr<queue_impl>& q);
}  // namespace detail

class queue {
 public:
  explicit queue(const property_list& props = {}) : queue(default_selector_v, props) {}
  explicit queue(const async_handler& h, const property_list& props = {})
      : queue(default_selector_v, h, props) {}
  template <typename DeviceSelector>
  requires std::is_invocable_r_v<int, const DeviceSelector&, const device&>
  explicit queue(const DeviceSelector& selector, const property_list& props = {})
      : queue(device(selector), props) {}
  template <typename DeviceSelector>
  requires std::is_invocable_r_v<int, const DeviceSelector&, const device&>
  explicit queue(const DeviceSelector& selector, const async_handler& h,
                 const property_list& props = {})
      : queue(device(selector), h, props) {}
  explicit queue(const device& dev, const property_list& props = {})
      : queue(detail::default_context_for(dev), dev, async_handler(), props) {}
  explicit queue(const device& dev, const async_handler& h, const property_list& props = {})
      : queue(detail::default_context_for(dev), dev, h, props) {}
  template <typename DeviceSelector>
  requires std::is_invocable_r_v<int, const DeviceSelector&, const device&>
  explicit queue(const context& ctx, const DeviceSelector& selector,
                 const property_list& props = {})
      : queue(ctx, device(selector), props) {}
  template <typename DeviceSelector>
  requires std::is_invocable_r_v<int, const DeviceSelector&, const device&>
  explicit queue(const context& ctx, const DeviceSelector& selector, const async_handler& h,
                 const property_list& props = {})
      : queue(ctx, device(selector), h, props) {}
  explicit queue(const context& ctx, const device& dev, const property_list& props = {})
      : queue(ctx, dev, async_handler(), props) {}
  explicit queue(const context& ctx, const device& dev, const async_handler& h,
                 const property_list& props = {})
      : impl_(detail::make_queue_impl(ctx, dev, h, props)), props_(props) {}

  backend get_backend() const noexcept { return backend::hostsycl; }
  context get_context() const { return detail::queue_context(*impl_); }
  device get_device() const { return detail::device_access::make(detail::queue_device(*impl_)); }
  bool is_in_order() const { return detail::queue_in_order(*impl_); }
  template <typename P>
  bool has_property() const noexcept {
    return props_.has_property<P>();
  }
  template <typename P>
  P get_property() const {
    return props_.get_property<P>();
  }
  template <typename Param>
  typename Param::return_type get_info() const {
    if constexpr (std::is_same_v<Param, info::queue::context>)
      return get_context();
    else if constexpr (std::is_same_v<Param, info::queue::device>)
      return get_device();
    else
      static_assert(sizeof(Param) == 0, "unsupported queue info descriptor");
  }

  template <typename T>
  event submit(T cgf) {
    const detail::device_impl* dev = detail::queue_device(*impl_);
    handler cgh(dev, dev->fp64);
    cgf(cgh);
    return detail::submit_command(impl_, cgh);
  }
  template <typename T>
  event submit(T cgf, const queue&) {
    return submit(std::move(cgf));
  }

  void wait() { detail::queue_wait(impl_); }
  void wait_and_throw() {
    detail::queue_wait(impl_);
    detail::queue_throw_asynchronous(impl_);
  }
  void throw_asynchronous() { detail::queue_throw_asynchronous(impl_); }

  // Shortcuts.
  template <typename KernelName = void, typename KernelType>
  event single_task(const KernelType& k) {
    return submit([&](handler& h) { h.single_task<KernelName>(k); });
  }
  template <typename KernelName = void, typename KernelType>
  event single_task(event dep, const KernelType& k) {
    return submit([&](handler& h) {
      h.depends_on(dep);
      h.single_task<KernelName>(k);
    });
  }
  template <typename KernelName = void, typename KernelType>
  event single_task(const std::vector<event>& deps, const KernelType& k) {
    return submit([&](handler& h) {
      h.depends_on(deps);
      h.single_task<KernelName>(k);
    });
  }

#define HOSTSYCL_QUEUE_PARALLEL_FOR(range_type)                                           \
  template <typename KernelName = void, typename KernelType>                              \
  event parallel_for(range_type r, const KernelType& k) {                                 \
    return submit([&](handler& h) { h.parallel_for<KernelName>(r, k); });                 \
  }                                                                                       \
  template <typename KernelName = void, typename KernelType>                              \
  event parallel_for(range_type r, event dep, const KernelType& k) {                      \
    return submit([&](handler& h) {                                                       \
      h.depends_on(dep);                                                                  \
      h.parallel_for<KernelName>(r, k);                                                   \
    });                                                                                   \
  }                                                                                       \
  template <typename KernelName = void, typename KernelType>                              \
  event parallel_for(range_type r, const std::vector<event>& deps, const KernelType& k) { \
    return submit([&](handler& h) {                                                       \
      h.depends_on(deps);                                                                 \
      h.parallel_for<KernelName>(r, k);                                                   \
    });                                                                                   \
  }
  HOSTSYCL_QUEUE_PARALLEL_FOR(range<1>)
  HOSTSYCL_QUEUE_PARALLEL_FOR(range<2>)
  HOSTSYCL_QUEUE_PARALLEL_FOR(range<3>)
  HOSTSYCL_QUEUE_PARALLEL_FOR(nd_range<1>)
  HOSTSYCL_QUEUE_PARALLEL_FOR(nd_range<2>)
  HOSTSYCL_QUEUE_PARALLEL_FOR(nd_range<3>)
#undef HOSTSYCL_QUEUE_PARALLEL_FOR

  event memcpy(void* dest, const void* src, std::size_t n) {
    return submit([&](handler& h) { h.memcpy(dest, src, n); });
  }
  event memcpy(void* dest, const void* src, std::size_t n, event dep) {
    return submit_after(dep, [&](handler& h) { h.memcpy(dest, src, n); });
  }
  event memcpy(void* dest, const void* src, std::size_t n, const std::vector<event>& deps) {
    return submit_after(deps, [&](handler& h) { h.memcpy(dest, src, n); });
  }
  template <typename T>
  event copy(const T* src, T* dest, std::size_t count) {
    return memcpy(dest, src, count * sizeof(T));
  }
  template <typename T>
  event copy(const T* src, T* dest, std::size_t count, event dep) {
    return memcpy(dest, src, count * sizeof(T), dep);
  }
  template <typename T>
  event copy(const T* src, T* dest, std::size_t count, const std::vector<event>& deps) {
    return memcpy(dest, src, count * sizeof(T), deps);
  }
  event memset(void* ptr, int value, std::size_t n) {
    return submit([&](handler& h) { h.memset(ptr, value, n); });
  }
  event memset(void* ptr, int value, std::size_t n, event dep) {
    return submit_after(dep, [&](handler& h) { h.memset(ptr, value, n); });
  }
  event memset(void* ptr, int value, std::size_t n, const std::vector<event>& deps) {
    return submit_after(deps, [&](handler& h) { h.memset(ptr, value, n); });
  }
  template <typename T>
  event fill(void* ptr, const T& pattern, std::size_t count) {
    return submit([&](handler& h) { h.fill(ptr, pattern, count); });
  }
  template <typename T>
  event fill(void* ptr, const T& pattern, std::size_t count, event dep) {
    return submit_after(dep, [&](handler& h) { h.fill(ptr, pattern, count); });
  }
  template <typename T>
  event fill(void* ptr, const T& pattern, std::size_t count, const std::vector<event>& deps) {
    return submit_after(deps, [&](handler& h) { h.fill(ptr, pattern, count); });
  }
  event prefetch(const void* ptr, std::size_t n) {
    return submit([&](handler& h) { h.prefetch(ptr, n); });
  }
  event prefetch(const void* ptr, std::size_t n, event dep) {
    return submit_after(dep, [&](handler& h) { h.prefetch(ptr, n); });
  }
  event prefetch(const void* ptr, std::size_t n, const std::vector<event>& deps) {
    return submit_after(deps, [&](handler& h) { h.prefetch(ptr, n); });
  }
  event mem_advise(const void* ptr, std::size_t n, int advice) {
    return submit([&](handler& h) { h.mem_advise(ptr, n, advice); });
  }
  event mem_advise(const void* ptr, std::size_t n, int advice, event dep) {
    return submit_after(dep, [&](handler& h) { h.mem_advise(ptr, n, advice); });
  }
  event mem_advise(const void* ptr, std::size_t n, int advice, const std::vector<event>& deps) {
    return submit_after(deps, [&](handler& h) { h.mem_advise(ptr, n, advice); });
  }
  template <typename Src, typename Dest>
  event copy(Src src, Dest dest) requires(!std::is_pointer_v<Src> || !std::is_pointer_v<Dest>) {
    return submit([&](handler& h) { h.copy(src, dest); });
  }
  template <typename T, int Dims, access_mode Mode, target Tgt, access::placeholder P>
  event fill(accessor<T, Dims, Mode, Tgt, P> dest, const T& value) {
    return submit([&](handler& h) { h.fill(dest, value); });
  }
  template <typename T, int Dims, access_mode Mode, target Tgt, access::placeholder P>
  event update_host(accessor<T, Dims, Mode, Tgt, P> acc) {
    return submit([&](handler& h) { h.update_host(acc); });
  }

  friend bool operator==(const queue& a, const queue& b) noexcept { return a.impl_ == b.impl_; }
  friend bool operator!=(const queue& a, const queue& b) noexcept { return a.impl_ != b.impl_; }

  const std::shared_ptr<detail::queue_impl>& detail_impl() const { return impl_; }

 private:
  // A shortcut's command group: its dependencies, then the one handler call.
  template <typename Deps, typename Command>
  event submit_after(const Deps& deps, Command&& command) {
    return submit([&](handler& h) {
      h.depends_on(deps);
      command(h);
    });
  }

  std::shared_ptr<detail::queue_impl> impl_;
  property_list props_;
};

}  // namespace sycl

template <>
struct std::hash<sycl::queue> {
  std::size_t operator()(const sycl::queue& q) const noexcept {
    return std::hash<const void*>()(q.detail_impl().get());
  }
};
