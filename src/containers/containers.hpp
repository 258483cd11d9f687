// Containers: the library's internal arrays, a sycl::buffer<T, 1>* or a USM pointer by the
// memory model of the matrix they belong to, with allocation, release, fill, copy and carving.
#pragma once

#include <complex>
#include <cstddef>
#include <new>
#include <orvane/vrt/sparse.hpp>
#include <sycl/sycl.hpp>
#include <vector>

#include "common/internal_types.hpp"

namespace orvane::vrt::sparse {

// Allocators return null on failure and never throw for it; the caller throws device_bad_alloc.
// A device or shared USM request that cannot be served falls back to host USM, which kernels
// can still read.
template <typename T>
void* allocate_device_container(std::size_t count, sycl::queue& queue, containerType container);
template <typename T>
void* allocate_shared_container(std::size_t count, sycl::queue& queue, containerType container);
template <typename T>
void* allocate_host_container(std::size_t count, sycl::queue& queue, containerType container);

// A device container of count elements; device_bad_alloc("sparse", function) when it cannot be
// had. Callers that need several arrays free the ones they got before rethrowing.
template <typename T>
void* allocate_or_throw(std::size_t count, sycl::queue& queue, containerType container,
                        const char* function) {
  void* memory = allocate_device_container<T>(count, queue, container);
  if (memory == nullptr) throw device_bad_alloc("sparse", function, queue.get_device());
  return memory;
}

// Frees a container; a null buffer pointer is ignored, a null USM pointer goes to sycl::free.
// Destroying a buffer waits for the commands that use it.
template <typename T>
void deallocate_container(void* ptr, const sycl::context& context, containerType container);
template <typename T>
void deallocate_container(void* ptr, sycl::queue& queue, containerType container) {
  deallocate_container<T>(ptr, queue.get_context(), container);
}

template <typename T>
sycl::event fill_container(sycl::queue& queue, T* ptr, const T& value, std::size_t count,
                           const std::vector<sycl::event>& deps);
template <typename T>
sycl::event fill_container(sycl::queue& queue, sycl::buffer<T, 1>* buffer, const T& value,
                           std::size_t count, const std::vector<sycl::event>& deps);

// Copies count elements from the first container to the second.
template <typename T>
sycl::event copy_container(sycl::queue& queue, const T* src, T* dst, std::size_t count,
                           const std::vector<sycl::event>& deps);
template <typename T>
sycl::event copy_container(sycl::queue& queue, sycl::buffer<T, 1>* src, sycl::buffer<T, 1>* dst,
                           std::size_t count, const std::vector<sycl::event>& deps);

// Carves count elements of U at offset_bytes out of a workspace of total_bytes. The buffer form
// returns a new heap object that the caller deletes.
template <typename T, typename U>
U* convert_sub_type(void* workspace, std::size_t total_bytes, std::size_t offset_bytes,
                    std::size_t count);
template <typename T, typename U>
sycl::buffer<U, 1>* convert_sub_type(sycl::buffer<unsigned char, 1>* workspace,
                                     std::size_t total_bytes, std::size_t offset_bytes,
                                     std::size_t count);

}  // namespace orvane::vrt::sparse
