// Unified shared memory: allocation, release and pointer queries.
#pragma once

#include <cstddef>
#include <sycl/detail/context.hpp>
#include <sycl/detail/device.hpp>
#include <sycl/detail/queue.hpp>

namespace sycl {

namespace usm {
enum class alloc : int { host, device, shared, unknown };
}

namespace detail {
// Every USM allocation goes through here. Returns nullptr when the request exceeds the device's
// limits or an injected failure is due; throws for a device outside the context.
void* usm_allocate(std::size_t alignment, std::size_t bytes, usm::alloc kind, const device* dev,
                   const context& ctx);
void usm_free(void* ptr, const context& ctx);
usm::alloc usm_pointer_type(const void* ptr, const context& ctx);
device usm_pointer_device(const void* ptr, const context& ctx);
}  // namespace detail

inline void* malloc_device(std::size_t bytes, const device& dev, const context& ctx,
                           const property_list& = {}) {
  return detail::usm_allocate(0, bytes, usm::alloc::device, &dev, ctx);
}
inline void* malloc_device(std::size_t bytes, const queue& q, const property_list& p = {}) {
  return malloc_device(bytes, q.get_device(), q.get_context(), p);
}
template <typename T>
T* malloc_device(std::size_t count, const device& dev, const context& ctx,
                 const property_list& = {}) {
  return static_cast<T*>(
      detail::usm_allocate(alignof(T), count * sizeof(T), usm::alloc::device, &dev, ctx));
}
template <typename T>
T* malloc_device(std::size_t count, const queue& q, const property_list& p = {}) {
  return malloc_device<T>(count, q.get_device(), q.get_context(), p);
}
inline void* aligned_alloc_device(std::size_t alignment, std::size_t bytes, const device& dev,
                                  const context& ctx, const property_list& = {}) {
  return detail::usm_allocate(alignment, bytes, usm::alloc::device, &dev, ctx);
}
inline void* aligned_alloc_device(std::size_t alignment, std::size_t bytes, const queue& q,
                                  const property_list& p = {}) {
  return aligned_alloc_device(alignment, bytes, q.get_device(), q.get_context(), p);
}
template <typename T>
T* aligned_alloc_device(std::size_t alignment, std::size_t count, const device& dev,
                        const context& ctx, const property_list& = {}) {
  return static_cast<T*>(detail::usm_allocate(alignment < alignof(T) ? alignof(T) : alignment,
                                              count * sizeof(T), usm::alloc::device, &dev, ctx));
}
template <typename T>
T* aligned_alloc_device(std::size_t alignment, std::size_t count, const queue& q,
                        const property_list& p = {}) {
  return aligned_alloc_device<T>(alignment, count, q.get_device(), q.get_context(), p);
}

inline void* malloc_shared(std::size_t bytes, const device& dev, const context& ctx,
                           const property_list& = {}) {
  return detail::usm_allocate(0, bytes, usm::alloc::shared, &dev, ctx);
}
inline void* malloc_shared(std::size_t bytes, const queue& q, const property_list& p = {}) {
  return malloc_shared(bytes, q.get_device(), q.get_context(), p);
}
template <typename T>
T* malloc_shared(std::size_t count, const device& dev, const context& ctx,
                 const property_list& = {}) {
  return static_cast<T*>(
      detail::usm_allocate(alignof(T), count * sizeof(T), usm::alloc::shared, &dev, ctx));
}
template <typename T>
T* malloc_shared(std::size_t count, const queue& q, const property_list& p = {}) {
  return malloc_shared<T>(count, q.get_device(), q.get_context(), p);
}
inline void* aligned_alloc_shared(std::size_t alignment, std::size_t bytes, const device& dev,
                                  const context& ctx, const property_list& = {}) {
  return detail::usm_allocate(alignment, bytes, usm::alloc::shared, &dev, ctx);
}
inline void* aligned_alloc_shared(std::size_t alignment, std::size_t bytes, const queue& q,
                                  const property_list& p = {}) {
  return aligned_alloc_shared(alignment, bytes, q.get_device(), q.get_context(), p);
}
template <typename T>
T* aligned_alloc_shared(std::size_t alignment, std::size_t count, const device& dev,
                        const context& ctx, const property_list& = {}) {
  return static_cast<T*>(detail::usm_allocate(alignment < alignof(T) ? alignof(T) : alignment,
                                              count * sizeof(T), usm::alloc::shared, &dev, ctx));
}
template <typename T>
T* aligned_alloc_shared(std::size_t alignment, std::size_t count, const queue& q,
                        const property_list& p = {}) {
  return aligned_alloc_shared<T>(alignment, count, q.get_device(), q.get_context(), p);
}

inline void* malloc_host(std::size_t bytes, const context& ctx, const property_list& = {}) {
  return detail::usm_allocate(0, bytes, usm::alloc::host, nullptr, ctx);
}
inline void* malloc_host(std::size_t bytes, const queue& q, const property_list& p = {}) {
  return malloc_host(bytes, q.get_context(), p);
}
template <typename T>
T* malloc_host(std::size_t count, const context& ctx, const property_list& = {}) {
  return static_cast<T*>(
      detail::usm_allocate(alignof(T), count * sizeof(T), usm::alloc::host, nullptr, ctx));
}
template <typename T>
T* malloc_host(std::size_t count, const queue& q, const property_list& p = {}) {
  return malloc_host<T>(count, q.get_context(), p);
}
inline void* aligned_alloc_host(std::size_t alignment, std::size_t bytes, const context& ctx,
                                const property_list& = {}) {
  return detail::usm_allocate(alignment, bytes, usm::alloc::host, nullptr, ctx);
}
inline void* aligned_alloc_host(std::size_t alignment, std::size_t bytes, const queue& q,
                                const property_list& p = {}) {
  return aligned_alloc_host(alignment, bytes, q.get_context(), p);
}
template <typename T>
T* aligned_alloc_host(std::size_t alignment, std::size_t count, const context& ctx,
                      const property_list& = {}) {
  return static_cast<T*>(detail::usm_allocate(alignment < alignof(T) ? alignof(T) : alignment,
                                              count * sizeof(T), usm::alloc::host, nullptr, ctx));
}
template <typename T>
T* aligned_alloc_host(std::size_t alignment, std::size_t count, const queue& q,
                      const property_list& p = {}) {
  return aligned_alloc_host<T>(alignment, count, q.get_context(), p);
}

inline void* malloc(std::size_t bytes, const device& dev, const context& ctx, usm::alloc kind,
                    const property_list& = {}) {
  return detail::usm_allocate(0, bytes, kind, &dev, ctx);
}
inline void* malloc(std::size_t bytes, const queue& q, usm::alloc kind,
                    const property_list& p = {}) {
  return malloc(bytes, q.get_device(), q.get_context(), kind, p);
}
template <typename T>
T* malloc(std::size_t count, const device& dev, const context& ctx, usm::alloc kind,
          const property_list& = {}) {
  return static_cast<T*>(detail::usm_allocate(alignof(T), count * sizeof(T), kind, &dev, ctx));
}
template <typename T>
T* malloc(std::size_t count, const queue& q, usm::alloc kind, const property_list& p = {}) {
  return malloc<T>(count, q.get_device(), q.get_context(), kind, p);
}
inline void* aligned_alloc(std::size_t alignment, std::size_t bytes, const device& dev,
                           const context& ctx, usm::alloc kind, const property_list& = {}) {
  return detail::usm_allocate(alignment, bytes, kind, &dev, ctx);
}
inline void* aligned_alloc(std::size_t alignment, std::size_t bytes, const queue& q,
                           usm::alloc kind, const property_list& p = {}) {
  return aligned_alloc(alignment, bytes, q.get_device(), q.get_context(), kind, p);
}
template <typename T>
T* aligned_alloc(std::size_t alignment, std::size_t count, const device& dev, const context& ctx,
                 usm::alloc kind, const property_list& = {}) {
  return static_cast<T*>(detail::usm_allocate(alignment < alignof(T) ? alignof(T) : alignment,
                                              count * sizeof(T), kind, &dev, ctx));
}
template <typename T>
T* aligned_alloc(std::size_t alignment, std::size_t count, const queue& q, usm::alloc kind,
                 const property_list& p = {}) {
  return aligned_alloc<T>(alignment, count, q.get_device(), q.get_context(), kind, p);
}

inline void free(void* ptr, const context& ctx) { detail::usm_free(ptr, ctx); }
inline void free(void* ptr, const queue& q) { detail::usm_free(ptr, q.get_context()); }

inline usm::alloc get_pointer_type(const void* ptr, const context& ctx) {
  return detail::usm_pointer_type(ptr, ctx);
}
inline device get_pointer_device(const void* ptr, const context& ctx) {
  return detail::usm_pointer_device(ptr, ctx);
}

}  // namespace sycl
