// How one kernel body serves both memory models: a container is a USM pointer or a buffer; in a
// command group a buffer becomes an accessor, and inside the kernel both read as raw pointers.
#pragma once

#include <algorithm>
#include <cstddef>
#include <sycl/sycl.hpp>
#include <type_traits>
#include <vector>

#include "common/internal_types.hpp"
#include "common/portability.hpp"

namespace orvane::vrt::sparse {

template <containerType C, typename T>
using container_t = std::conditional_t<C == container_usm, T*, sycl::buffer<T, 1>*>;

template <containerType C, typename T>
container_t<C, T> as_container(void* slot) {
  return static_cast<container_t<C, T>>(slot);
}

// USM pointers pass through a command group unchanged.
template <typename T, typename Mode>
T* bind(sycl::handler&, T* pointer, Mode) {
  return pointer;
}
template <typename T, typename Mode>
auto bind(sycl::handler& h, sycl::buffer<T, 1>* buffer, Mode mode) {
  return sycl::accessor(*buffer, h, mode);
}

template <typename T>
T* raw(T* pointer) {
  return pointer;
}
template <typename Accessor>
auto raw(const Accessor& accessor) {
  return accessor.template get_multi_ptr<sycl::access::decorated::no>().get();
}

// USM work orders itself by events; buffer work by its accessors.
template <containerType C>
void depend_on(sycl::handler& h, const std::vector<sycl::event>& deps) {
  if constexpr (C == container_usm) h.depends_on(deps);
}

// Where a container's memory lives, by one rule for the whole library: a buffer counts as device
// memory; a USM pointer is what the queue's context says of it, unknown (memory the context
// does not know, such as plain heap memory) included.
template <containerType C, typename Pointer>
sycl::usm::alloc memory_kind(const sycl::queue& queue, Pointer container) {
  if constexpr (C == container_usm)
    return sycl::get_pointer_type(container, queue.get_context());
  else
    return sycl::usm::alloc::device;
}

// Host memory by the rule: host USM, or memory the context does not know. Kernels may read and
// write it but not add into it with device atomics.
template <containerType C, typename Pointer>
bool is_host_memory(const sycl::queue& queue, Pointer container) {
  const sycl::usm::alloc kind = memory_kind<C>(queue, container);
  return kind == sycl::usm::alloc::host || kind == sycl::usm::alloc::unknown;
}

// Host USM as the context knows it, memory it does not know excluded: the narrower test of the
// sites that have always let unknown memory go the device way.
template <containerType C, typename Pointer>
bool is_host_usm(const sycl::queue& queue, Pointer container) {
  return memory_kind<C>(queue, container) == sycl::usm::alloc::host;
}

// A per-call USM scratch array is freed by a host task behind the last command that uses it, and
// the task's event is the call's; a buffer lives on in its commands, so the last command's event
// is the call's. Returns the event that marks the end of the call.
template <typename T, containerType C>
sycl::event release_behind(sycl::queue& queue, container_t<C, T> scratch, const sycl::event& last) {
  if constexpr (C == container_usm) {
    const sycl::context context = queue.get_context();
    return queue.submit([&](sycl::handler& h) {
      h.depends_on(last);
      portable::host_task(h, [=] { sycl::free(scratch, context); });
    });
  } else {
    (void)scratch;
    return last;
  }
}

// A call failed part way: a USM scratch array goes once the commands already submitted are done
// (a failure of theirs is dropped: the one being reported matters more); a buffer needs nothing.
template <typename T, containerType C>
void release_after_failure(sycl::queue& queue, container_t<C, T> scratch,
                           sycl::event last) noexcept {
  if constexpr (C == container_usm) {
    try {
      last.wait();
    } catch (...) {
    }
    sycl::free(scratch, queue.get_context());
  } else {
    (void)queue;
    (void)scratch;
    (void)last;
  }
}

// Copies count entries of a container from entry first into out on the host, once the work in
// deps has finished: USM of any kind is copied by the queue, a buffer read through a host
// accessor (which waits for the work writing it).
template <typename T, containerType C>
void copy_to_host(sycl::queue& queue, container_t<C, T> src, std::size_t first, std::size_t count,
                  T* out, const std::vector<sycl::event>& deps) {
  if (count == 0) return;
  if constexpr (C == container_usm) {
    queue.memcpy(out, src + first, count * sizeof(T), deps).wait();
  } else {
    (void)queue;
    (void)deps;
    sycl::host_accessor acc(*src, sycl::read_only);
    std::copy_n(acc.get_pointer() + first, count, out);
  }
}

// One entry of a container (the first by default), read on the host as copy_to_host does.
template <typename T, containerType C>
T read_on_host(sycl::queue& queue, container_t<C, T> src, const std::vector<sycl::event>& deps,
               std::size_t index = 0) {
  T value{};
  copy_to_host<T, C>(queue, src, index, 1, &value, deps);
  return value;
}

// ---- Host steps between device work, by memory model ---------------------------------------

// Waits for work whose result the host reads next. USM work reports its end only through its
// event; the buffer forms of such steps have already finished on the calling thread (they read
// through host accessors), so their event needs no wait.
template <containerType C>
void wait_for_host_read(sycl::event done) {
  if constexpr (C == container_usm)
    done.wait();
  else
    (void)done;
}

// Runs `release` (a host callable that frees a container) once the work in deps is done, without
// waiting for it here: for USM a host task behind deps does it; a buffer is released at once,
// since destroying a buffer itself waits for the commands that use it.
template <containerType C, typename Release>
void release_after(sycl::queue& queue, const std::vector<sycl::event>& deps, Release release) {
  if constexpr (C == container_usm) {
    queue.submit([&](sycl::handler& h) {
      h.depends_on(deps);
      portable::host_task(h, release);
    });
  } else {
    (void)queue;
    (void)deps;
    release();
  }
}

// ---- the frames' view of the two memory models ------------------------------------------------

// A caller's container is missing when a USM pointer is null or a buffer holds no bytes.
template <typename T>
bool present(const T* pointer) {
  return pointer != nullptr;
}
template <typename T>
bool present(const sycl::buffer<T, 1>& buffer) {
  return buffer.byte_size() != 0;
}
template <typename T>
bool present(const sycl::buffer<T, 1>* buffer) {
  return buffer->byte_size() != 0;
}

// Buffer work has no event chain: dependencies given to a routine on buffers are honoured by
// waiting for them before it starts. USM work takes them as events.
inline void wait_for_deps_of_buffers(sycl::queue& queue, containerType container,
                                     const std::vector<sycl::event>& deps) {
  if (container != container_buffer || deps.empty()) return;
  queue
      .submit([&](sycl::handler& h) {
        h.depends_on(deps);
        portable::host_task(h, [] {});
      })
      .wait();
}

// ---- event chaining ---------------------------------------------------------------------------

// Adds a step's event to the dependencies of the steps after it: USM work orders itself only
// through events, while buffer work is ordered by its accessors, so nothing is kept.
template <containerType C>
void chain_event(std::vector<sycl::event>& list, const sycl::event& e) {
  if constexpr (C == container_usm)
    list.push_back(e);
  else
    (void)list, (void)e;
}

}  // namespace orvane::vrt::sparse
