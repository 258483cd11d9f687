// Container allocation, release, fill, copy and carving, for every element type the library
// stores.
#include "containers/containers.hpp"

#include <orvane/vrt/sparse.hpp>

#include "common/internal_error.hpp"
#include "common/portability.hpp"
#include "common/variants.hpp"
#include "containers/atomic_targets.hpp"

namespace orvane::vrt::sparse {

namespace {
// USM alignment: a page on GPU devices, a cache line elsewhere and for host USM.
constexpr std::size_t gpu_usm_alignment = 4096;
constexpr std::size_t cache_line_alignment = 64;

// Device and shared USM share one shape: try the kind asked for, then host USM.
void* allocate_usm_with_fallback(std::size_t bytes, sycl::queue& queue, sycl::usm::alloc kind) {
  const sycl::device device = queue.get_device();
  const sycl::context context = queue.get_context();
  const std::size_t alignment = device.is_gpu() ? gpu_usm_alignment : cache_line_alignment;
  void* p = portable::aligned_alloc(alignment, bytes, device, context, kind);
  if (p == nullptr) p = portable::aligned_alloc_host(cache_line_alignment, bytes, context);
  return p;
}

// A buffer of count elements, or null: a runtime that takes the buffer's storage at construction
// reports running out with an exception, which the allocators' contract turns into null.
template <typename T>
sycl::buffer<T, 1>* new_buffer(std::size_t count) {
  try {
    return new (std::nothrow) sycl::buffer<T, 1>(sycl::range<1>(count));
  } catch (const sycl::exception& e) {
    if (e.code() == sycl::errc::memory_allocation) return nullptr;
    throw;
  }
}
}  // namespace

template <typename T>
void* allocate_device_container(std::size_t count, sycl::queue& queue, containerType container) {
  if (container != container_usm) return new_buffer<T>(count);
  return allocate_usm_with_fallback(count * sizeof(T), queue, sycl::usm::alloc::device);
}

template <typename T>
void* allocate_atomic_container(std::size_t count, sycl::queue& queue, containerType container) {
  if (container != container_usm) return new_buffer<T>(count);
  const sycl::device device = queue.get_device();
  const std::size_t alignment = device.is_gpu() ? gpu_usm_alignment : cache_line_alignment;
  return portable::aligned_alloc(alignment, count * sizeof(T), device, queue.get_context(),
                                 sycl::usm::alloc::device);
}

template <typename T>
void* allocate_shared_container(std::size_t count, sycl::queue& queue, containerType container) {
  if (container != container_usm) return new_buffer<T>(count);
  return allocate_usm_with_fallback(count * sizeof(T), queue, sycl::usm::alloc::shared);
}

template <typename T>
void* allocate_host_container(std::size_t count, sycl::queue& queue, containerType container) {
  if (container != container_usm) return new_buffer<T>(count);
  return portable::aligned_alloc_host(cache_line_alignment, count * sizeof(T), queue.get_context());
}

template <typename T>
void deallocate_container(void* ptr, const sycl::context& context, containerType container) {
  if (container == container_usm) {
    sycl::free(ptr, context);
    return;
  }
  delete static_cast<sycl::buffer<T, 1>*>(ptr);
}

template <typename T>
sycl::event fill_container(sycl::queue& queue, T* ptr, const T& value, std::size_t count,
                           const std::vector<sycl::event>& deps) {
  return queue.submit([&](sycl::handler& h) {
    h.depends_on(deps);
    h.fill(ptr, value, count);
  });
}

template <typename T>
sycl::event fill_container(sycl::queue& queue, sycl::buffer<T, 1>* buffer, const T& value,
                           std::size_t count, const std::vector<sycl::event>&) {
  return queue.submit([&](sycl::handler& h) {
    sycl::accessor target(*buffer, h, sycl::range<1>(count), sycl::write_only);
    h.fill(target, value);
  });
}

template <typename T>
sycl::event copy_container(sycl::queue& queue, const T* src, T* dst, std::size_t count,
                           const std::vector<sycl::event>& deps) {
  return queue.submit([&](sycl::handler& h) {
    h.depends_on(deps);
    h.memcpy(dst, src, count * sizeof(T));
  });
}

template <typename T>
sycl::event copy_container(sycl::queue& queue, sycl::buffer<T, 1>* src, sycl::buffer<T, 1>* dst,
                           std::size_t count, const std::vector<sycl::event>&) {
  return queue.submit([&](sycl::handler& h) {
    sycl::accessor from(*src, h, sycl::range<1>(count), sycl::read_only);
    sycl::accessor to(*dst, h, sycl::range<1>(count), sycl::write_only);
    h.copy(from, to);
  });
}

template <typename T, typename U>
U* convert_sub_type(void* workspace, std::size_t total_bytes, std::size_t offset_bytes,
                    std::size_t count) {
  if (offset_bytes > total_bytes || total_bytes - offset_bytes < count * sizeof(U))
    internal_error("");
  return reinterpret_cast<U*>(static_cast<unsigned char*>(workspace) + offset_bytes);
}

template <typename T, typename U>
sycl::buffer<U, 1>* convert_sub_type(sycl::buffer<unsigned char, 1>* workspace,
                                     std::size_t total_bytes, std::size_t offset_bytes,
                                     std::size_t count) {
  if (offset_bytes > total_bytes || total_bytes - offset_bytes < count * sizeof(U))
    internal_error("");
  // A sub-buffer cannot be empty: an empty array gets one element of its own.
  if (count == 0) return new sycl::buffer<U, 1>(sycl::range<1>(1));
  const std::size_t bytes = count * sizeof(U);
  if (offset_bytes == 0 && bytes == workspace->size())
    return new sycl::buffer<U, 1>(workspace->template reinterpret<U, 1>(sycl::range<1>(count)));
  sycl::buffer<unsigned char, 1> part = portable::sub_buffer(*workspace, offset_bytes, bytes);
  return new sycl::buffer<U, 1>(part.template reinterpret<U, 1>(sycl::range<1>(count)));
}

// Containers hold the value types, the index types and bytes; every function above is
// instantiated for each of them here and nowhere else.
#define VRT_CONTAINER_FUNCTIONS(T)                                                                 \
  template void* allocate_device_container<T>(std::size_t, sycl::queue&, containerType);           \
  template void* allocate_shared_container<T>(std::size_t, sycl::queue&, containerType);           \
  template void* allocate_host_container<T>(std::size_t, sycl::queue&, containerType);             \
  template void* allocate_atomic_container<T>(std::size_t, sycl::queue&, containerType);           \
  template void deallocate_container<T>(void*, const sycl::context&, containerType);               \
  template sycl::event fill_container<T>(sycl::queue&, T*, const T&, std::size_t,                  \
                                         const std::vector<sycl::event>&);                         \
  template sycl::event fill_container<T>(sycl::queue&, sycl::buffer<T, 1>*, const T&, std::size_t, \
                                         const std::vector<sycl::event>&);                         \
  template sycl::event copy_container<T>(sycl::queue&, const T*, T*, std::size_t,                  \
                                         const std::vector<sycl::event>&);                         \
  template sycl::event copy_container<T>(sycl::queue&, sycl::buffer<T, 1>*, sycl::buffer<T, 1>*,   \
                                         std::size_t, const std::vector<sycl::event>&);            \
  template T* convert_sub_type<unsigned char, T>(void*, std::size_t, std::size_t, std::size_t);    \
  template sycl::buffer<T, 1>* convert_sub_type<unsigned char, T>(                                 \
      sycl::buffer<unsigned char, 1>*, std::size_t, std::size_t, std::size_t);
#define VRT_CONTAINER_FUNCTIONS_OF_VALUE(p, T, unused) VRT_CONTAINER_FUNCTIONS(T)
VRT_FOR_EACH_VALUE(VRT_CONTAINER_FUNCTIONS_OF_VALUE, 0)
#undef VRT_CONTAINER_FUNCTIONS_OF_VALUE
VRT_CONTAINER_FUNCTIONS(std::int32_t)
VRT_CONTAINER_FUNCTIONS(std::int64_t)
VRT_CONTAINER_FUNCTIONS(unsigned char)
#undef VRT_CONTAINER_FUNCTIONS

}  // namespace orvane::vrt::sparse
