// USM allocation with device limits, and the registry that tells memory kinds apart.
#include <cstdio>
#include <hostsycl/hostsycl.hpp>
#include <map>
#include <shared_mutex>
#include <unordered_map>

#include "internal.hpp"

namespace sycl::detail {

struct context_impl;

namespace {

enum class region_kind { usm_host, usm_device, usm_shared, buffer_storage };

struct region {
  std::size_t bytes;
  region_kind kind;
  const device_impl* device;
  const context_impl* ctx;
  std::size_t alignment;
};

struct registry {
  std::shared_mutex mutex;
  std::map<std::uintptr_t, region> regions;
  std::unordered_map<const device_impl*, std::uint64_t> live_bytes;
};
registry& the_registry() {
  static registry* r = new registry();  // outlives every static that frees memory at exit
  return *r;
}

// The region containing p, if any; caller holds the registry lock.
const std::pair<const std::uintptr_t, region>* find_region(const registry& r, const void* p) {
  const auto addr = reinterpret_cast<std::uintptr_t>(p);
  auto it = r.regions.upper_bound(addr);
  if (it == r.regions.begin()) return nullptr;
  --it;
  if (addr >= it->first + it->second.bytes) return nullptr;
  return &*it;
}

region_kind region_kind_of(usm::alloc kind) {
  switch (kind) {
    case usm::alloc::host:
      return region_kind::usm_host;
    case usm::alloc::device:
      return region_kind::usm_device;
    default:
      return region_kind::usm_shared;
  }
}

}  // namespace

void register_runtime_memory(const void* p, std::size_t bytes) {
  registry& r = the_registry();
  std::unique_lock lock(r.mutex);
  r.regions[reinterpret_cast<std::uintptr_t>(p)] = {bytes, region_kind::buffer_storage, nullptr,
                                                    nullptr, 64};
}

void unregister_runtime_memory(const void* p) {
  registry& r = the_registry();
  std::unique_lock lock(r.mutex);
  r.regions.erase(reinterpret_cast<std::uintptr_t>(p));
}

usm_region_kind usm_region_of(const void* p) noexcept {
  registry& r = the_registry();
  std::shared_lock lock(r.mutex);
  const auto* found = find_region(r, p);
  if (found == nullptr) return usm_region_kind::none;
  switch (found->second.kind) {
    case region_kind::usm_host:
      return usm_region_kind::host;
    case region_kind::usm_device:
      return usm_region_kind::device;
    case region_kind::usm_shared:
      return usm_region_kind::shared;
    default:
      return usm_region_kind::none;
  }
}

bool is_runtime_memory(const void* p, std::size_t bytes) noexcept {
  registry& r = the_registry();
  std::shared_lock lock(r.mutex);
  const auto* found = find_region(r, p);
  if (found == nullptr) return false;
  return reinterpret_cast<std::uintptr_t>(p) + bytes <= found->first + found->second.bytes;
}

void check_usm_range(const void* p, std::size_t bytes, const char* operation, bool must_be_usm) {
  if (!strict_mode() || bytes == 0) return;
  const usm_region_kind kind = usm_region_of(p);
  char text[160];
  if (kind == usm_region_kind::none) {
    if (!must_be_usm) return;
    std::snprintf(text, sizeof text, "%s on %p, which is not USM memory of the runtime", operation,
                  p);
    strict_violation("USM pointer outside every live allocation", text);
  }
  if (!is_runtime_memory(p, bytes)) {
    std::snprintf(text, sizeof text, "%s of %zu bytes at %p runs past the end of its allocation",
                  operation, bytes, p);
    strict_violation("USM range outside its allocation", text);
  }
}

void* usm_allocate(std::size_t alignment, std::size_t bytes, usm::alloc kind, const device* dev,
                   const context& ctx) {
  if (kind == usm::alloc::unknown) return nullptr;
  const device_impl* dimpl = nullptr;
  if (kind != usm::alloc::host) {
    if (!context_has_device(ctx, *dev))
      throw_error(errc::invalid, "the device of a USM allocation must belong to the context");
    dimpl = device_access::impl(*dev);
  }
  if (alignment != 0 && (alignment & (alignment - 1)) != 0) return nullptr;
  // C's aligned_alloc, which some runtimes hand the request to, fails unless the size is a
  // multiple of the alignment; a typed malloc always meets this, so only aligned_alloc can miss.
  if (strict_mode() && alignment != 0 && bytes % alignment != 0) {
    char text[160];
    std::snprintf(text, sizeof text,
                  "aligned_alloc of %zu bytes at alignment %zu: the size is not a multiple of "
                  "the alignment",
                  bytes, alignment);
    throw_error(errc::memory_allocation, text);
  }
  if (alignment == 0) alignment = 64;
  if (alignment < 64) alignment = 64;
  const std::uint64_t limit =
      dimpl != nullptr ? dimpl->max_mem_alloc_size : largest_max_alloc_size();
  if (bytes > limit || take_injected_failure()) return nullptr;

  registry& r = the_registry();
  std::unique_lock lock(r.mutex);
  if (dimpl != nullptr && r.live_bytes[dimpl] + bytes > dimpl->global_mem_size) return nullptr;
  // Size zero still gives a distinct registered pointer that free accepts.
  const std::size_t stored = bytes == 0 ? 1 : bytes;
  void* p = ::operator new[](stored, std::align_val_t{alignment}, std::nothrow);
  if (p == nullptr) return nullptr;
  r.regions[reinterpret_cast<std::uintptr_t>(p)] = {stored, region_kind_of(kind), dimpl,
                                                    context_access::impl(ctx).get(), alignment};
  if (dimpl != nullptr) r.live_bytes[dimpl] += stored;
  return p;
}

void usm_free(void* ptr, const context&) {
  if (ptr == nullptr) return;
  registry& r = the_registry();
  std::unique_lock lock(r.mutex);
  auto it = r.regions.find(reinterpret_cast<std::uintptr_t>(ptr));
  if (it == r.regions.end() || it->second.kind == region_kind::buffer_storage) {
    lock.unlock();
    if (strict_mode()) strict_violation("free of memory that is not a live USM allocation", "");
    throw_error(errc::invalid, "sycl::free of a pointer that is not a live USM allocation");
  }
  if (it->second.device != nullptr) r.live_bytes[it->second.device] -= it->second.bytes;
  const std::size_t alignment = it->second.alignment;
  r.regions.erase(it);
  lock.unlock();
  ::operator delete[](ptr, std::align_val_t{alignment});
}

usm::alloc usm_pointer_type(const void* ptr, const context& ctx) {
  registry& r = the_registry();
  std::shared_lock lock(r.mutex);
  const auto* found = find_region(r, ptr);
  if (found == nullptr || found->second.ctx != context_access::impl(ctx).get())
    return usm::alloc::unknown;
  switch (found->second.kind) {
    case region_kind::usm_host:
      return usm::alloc::host;
    case region_kind::usm_device:
      return usm::alloc::device;
    case region_kind::usm_shared:
      return usm::alloc::shared;
    default:
      return usm::alloc::unknown;
  }
}

device usm_pointer_device(const void* ptr, const context& ctx) {
  const device_impl* dev = nullptr;
  bool host = false;
  {
    registry& r = the_registry();
    std::shared_lock lock(r.mutex);
    const auto* found = find_region(r, ptr);
    if (found == nullptr || found->second.ctx != context_access::impl(ctx).get() ||
        found->second.kind == region_kind::buffer_storage)
      throw_error(errc::invalid, "the pointer is not a USM allocation of this context");
    host = found->second.kind == region_kind::usm_host;
    dev = found->second.device;
  }
  if (host) return ctx.get_devices().front();
  return device_access::make(dev);
}

}  // namespace sycl::detail

namespace hostsycl {
std::uint64_t live_allocation_bytes(const sycl::device& device) {
  auto& r = sycl::detail::the_registry();
  std::shared_lock lock(r.mutex);
  auto it = r.live_bytes.find(sycl::detail::device_access::impl(device));
  return it == r.live_bytes.end() ? 0 : it->second;
}
std::size_t live_allocations() {
  auto& r = sycl::detail::the_registry();
  std::shared_lock lock(r.mutex);
  return r.regions.size();
}
}  // namespace hostsycl
