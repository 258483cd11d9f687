// The memory of the staged product: the scalar slabs, the caller's or the library's temporary
// buffers (the workspace rule), and the arrays carved out of them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <orvane/vrt/sparse.hpp>
#include <sycl/sycl.hpp>
#include <vector>

#include "common/internal_error.hpp"
#include "common/portability.hpp"
#include "containers/atomic_targets.hpp"
#include "containers/containers.hpp"
#include "containers/views.hpp"
#include "gpu/matmat/design_names.hpp"
#include "gpu/matmat/matmat_plan.hpp"
#include "handle/matmat_data.hpp"

namespace orvane::vrt::sparse::gpu {

// A cell of a typed slab: count elements of E at byte_offset of whole, as a heap buffer the record
// owns (workspaces of bytes are carved by the containers' convert_sub_type). An empty range still
// gets one element of its own, since a sub-buffer cannot be empty.
template <typename E, typename W>
sycl::buffer<E, 1>* make_sub_buffer(sycl::buffer<W, 1>& whole, std::size_t byte_offset,
                                    std::size_t count) {
  if (count == 0) return new sycl::buffer<E, 1>(sycl::range<1>(1));
  sycl::buffer<W, 1> part =
      portable::sub_buffer(whole, byte_offset / sizeof(W), count * sizeof(E) / sizeof(W));
  return new sycl::buffer<E, 1>(part.template reinterpret<E, 1>(sycl::range<1>(count)));
}

// ---- scalar slabs -----------------------------------------------------------------------------

inline std::int64_t& host_cell(const matmatInternalData* d, matmat_host_cell cell) {
  return d->host_slab[cell * d->scalar_stride];
}

template <containerType C>
container_t<C, std::int64_t> device_cell(const matmatInternalData* d, matmat_device_cell cell) {
  if constexpr (C == container_usm)
    return static_cast<std::int64_t*>(d->device_slab) + cell * d->scalar_stride;
  else
    return static_cast<sycl::buffer<std::int64_t, 1>*>(d->device_cells[cell]);
}

template <containerType C>
container_t<C, std::int32_t> counter_cell(const matmatInternalData* d, matmat_counter_cell cell) {
  if constexpr (C == container_usm)
    return static_cast<std::int32_t*>(d->counter_slab) + cell * 2 * d->scalar_stride;
  else
    return static_cast<sycl::buffer<std::int32_t, 1>*>(d->counter_cells[cell]);
}

// The three slabs, once per record: cells cleared but nnz_host and nnz_device, which start at -1
// ("not computed" until a compute stage writes the count), counters 0.
template <containerType C>
void allocate_scalar_pools(sycl::queue& queue, matmatInternalData* d) {
  if (d->host_slab != nullptr) return;
  const sycl::device device = queue.get_device();
  const sycl::context context = queue.get_context();
  const std::int64_t stride = d->alignment_bytes / 8;
  const auto device_count = static_cast<std::size_t>(device_cell_count * stride);
  const auto counter_count = static_cast<std::size_t>(counter_cell_count * 2 * stride);
  // All three or none: the record tells a made pool by its host slab, so a failure keeps none.
  // The counters are updated with device atomics, which host memory may not take.
  void* host = portable::aligned_alloc_host<std::int64_t>(64, host_cell_count * stride, queue);
  if (host == nullptr) throw host_bad_alloc("sparse", "");
  void* device_pool = allocate_device_container<std::int64_t>(device_count, queue, C);
  void* counter_pool = device_pool == nullptr
                           ? nullptr
                           : allocate_atomic_container<std::int32_t>(counter_count, queue, C);
  if (counter_pool == nullptr) {
    if (device_pool != nullptr) deallocate_container<std::int64_t>(device_pool, context, C);
    sycl::free(host, context);
    throw device_bad_alloc("sparse", "", device);
  }
  d->scalar_stride = stride;
  d->host_slab = static_cast<std::int64_t*>(host);
  for (std::int64_t k = 0; k < host_cell_count * stride; ++k) d->host_slab[k] = 0;
  host_cell(d, host_nnz) = -1;
  d->device_slab = device_pool;
  d->counter_slab = counter_pool;
  auto device_slab = as_container<C, std::int64_t>(d->device_slab);
  auto counter_slab = as_container<C, std::int32_t>(d->counter_slab);
  if constexpr (C == container_buffer) {
    for (int k = 0; k < device_cell_count; ++k)
      d->device_cells[k] =
          make_sub_buffer<std::int64_t>(*device_slab, static_cast<std::size_t>(k * stride * 8), 1);
    for (int k = 0; k < counter_cell_count; ++k)
      d->counter_cells[k] =
          make_sub_buffer<std::int32_t>(*counter_slab, static_cast<std::size_t>(k * stride * 8), 1);
  }
  const sycl::event cleared =
      fill_container<std::int64_t>(queue, device_slab, std::int64_t{0}, device_count, {});
  const sycl::event unset = fill_container<std::int64_t>(queue, device_cell<C>(d, device_nnz),
                                                         std::int64_t{-1}, 1, {cleared});
  fill_container<std::int32_t>(queue, counter_slab, 0, counter_count, {unset}).wait();
}

// ---- scalars between the host and the caller or the device -----------------------------------

// Writes a host cell into the caller's size argument; returns the copy's event (USM).
template <containerType C>
sycl::event write_size(sycl::queue& queue, container_t<C, std::int64_t> size,
                       const std::int64_t* value, const std::vector<sycl::event>& deps) {
  if (size == nullptr) throw invalid_argument("sparse", names::matmat_word, names::size_argument);
  if constexpr (C == container_usm) {
    return queue.memcpy(size, value, sizeof(std::int64_t), deps);
  } else {
    const std::int64_t copy = *value;
    return queue.submit([&](sycl::handler& h) {
      sycl::accessor out(*size, h, sycl::write_only);
      h.single_task([=] { out[0] = copy; });
    });
  }
}

// Reads a container's first element into a host cell once the work in deps is done.
template <containerType C, typename Container>
std::int64_t read_into(sycl::queue& queue, Container from, std::int64_t& cell,
                       const std::vector<sycl::event>& deps) {
  cell = read_on_host<std::int64_t, C>(queue, from, deps);
  return cell;
}

// ---- temporary buffers -------------------------------------------------------------------------

// Allocates a stage's buffer into an empty slot, within the device's ceilings.
inline void do_allocate_temp_workspace(sycl::queue& queue, void** slot, std::uint64_t size,
                                       matmatInternalData* d) {
  if (*slot != nullptr) throw invalid_argument("sparse", "", internal_error_text);
  if (size > d->max_alloc_bytes || size > d->arch_alloc_limit)
    throw computation_error("sparse", names::matmat_word, names::over_device_limit);
  const sycl::device device = queue.get_device();
  const std::size_t bytes = size == 0 ? 1 : static_cast<std::size_t>(size);
  if (d->container == container_usm) {
    // Pages on a GPU, cache lines elsewhere; host memory when the device has none left.
    void* memory =
        portable::aligned_alloc_device<std::uint8_t>(device.is_gpu() ? 4096 : 64, bytes, queue);
    if (memory == nullptr) memory = portable::aligned_alloc_host<std::uint8_t>(64, bytes, queue);
    if (memory == nullptr) throw device_bad_alloc("sparse", "", device);
    *slot = memory;
  } else if (d->container == container_buffer) {
    // The containers' allocator: a runtime that cannot give the storage is a null, not a throw.
    void* buffer = allocate_device_container<std::uint8_t>(bytes, queue, container_buffer);
    if (buffer == nullptr) throw device_bad_alloc("sparse", "", device);
    *slot = buffer;
  } else {
    internal_error(names::matmat_word);
  }
}
inline void do_allocate_temp_workspace(sycl::queue& queue, sycl::buffer<std::uint8_t, 1>** slot,
                                       std::uint64_t size, matmatInternalData* d) {
  void* memory = *slot;
  do_allocate_temp_workspace(queue, &memory, size, d);
  *slot = static_cast<sycl::buffer<std::uint8_t, 1>*>(memory);
}

// One stage's temporary buffer in the record.
struct stage_workspace {
  const char* stage;  // the word of the refusals
  void** slot;
  bool* owned;
  matmat_host_cell size_cell;
};

inline stage_workspace work_estimation_workspace(matmatInternalData* d) {
  return {names::work_estimation_stage, &d->work_estimation_buffer,
          &d->work_estimation_buffer_owned, host_work_estimation_size};
}
inline stage_workspace compute_structure_workspace(matmatInternalData* d) {
  return {names::compute_structure_stage, &d->compute_structure_buffer,
          &d->compute_structure_buffer_owned, host_compute_structure_size};
}
inline stage_workspace compute_workspace(matmatInternalData* d) {
  return {names::compute_stage, &d->compute_buffer, &d->compute_buffer_owned, host_compute_size};
}

// The workspace rule: the caller's buffer if given (its size read from sizeTempBuffer and checked
// against what the stage needs; a larger one is fine), otherwise one the library allocates and
// frees at release. Returns the bytes the stage may carve from.
template <containerType C>
std::uint64_t take_workspace(sycl::queue& queue, matmatInternalData* d, const stage_workspace& w,
                             container_t<C, std::int64_t> size, container_t<C, std::uint8_t> temp,
                             std::uint64_t needed, const std::vector<sycl::event>& deps) {
  if (temp != nullptr) {
    if (size == nullptr)
      throw invalid_argument("sparse", names::matmat_word, names::size_missing_for(w.stage));
    // The arrays carved from the library's buffer stand, so a caller's buffer could not replace
    // it: refused as a second library buffer is, rather than dropped unfreed.
    if (*w.slot != nullptr && *w.owned) throw invalid_argument("sparse", "", internal_error_text);
    const std::int64_t user = read_into<C>(queue, size, host_cell(d, host_user_size), deps);
    if (user < 0 || needed > static_cast<std::uint64_t>(user))
      throw computation_error("sparse", names::matmat_word, names::user_buffer_too_small);
    *w.slot = temp;
    *w.owned = false;
    std::uint64_t available = static_cast<std::uint64_t>(user);
    if constexpr (C == container_buffer)
      available = std::min<std::uint64_t>(available, temp->byte_size());
    return available;
  }
  host_cell(d, w.size_cell) = static_cast<std::int64_t>(needed);
  do_allocate_temp_workspace(queue, w.slot, needed, d);
  *w.owned = true;
  return needed;
}

// ---- carving -----------------------------------------------------------------------------------

// Walks a buffer from its start: the first array begins at the first cache line of the buffer
// (an address for USM; a buffer's start is one), each later one at the next multiple of its
// alignment from there, and each must fit in what is left.
class carver {
 public:
  carver(std::uintptr_t base, std::uint64_t total) : base_(base), total_(total) {}
  std::uint64_t first(std::uint64_t cache_line, std::uint64_t bytes) {
    origin_ = align_up(base_, cache_line) - base_;
    return fit(origin_, bytes);
  }
  std::uint64_t total() const { return total_; }
  std::uint64_t next(std::uint64_t alignment, std::uint64_t bytes) {
    return fit(origin_ + align_up(next_ - origin_, alignment), bytes);
  }

 private:
  std::uint64_t fit(std::uint64_t start, std::uint64_t bytes) {
    if (start > total_ || total_ - start < bytes) internal_error("");
    next_ = start + bytes;
    return start;
  }
  std::uintptr_t base_;
  std::uint64_t total_;
  std::uint64_t origin_ = 0;
  std::uint64_t next_ = 0;
};

template <containerType C>
carver carver_of(void* buffer, std::uint64_t total) {
  if constexpr (C == container_usm)
    return carver(reinterpret_cast<std::uintptr_t>(buffer), total);
  else
    return carver(0, total);
}

// count elements of E at offset of the stage's buffer of total bytes: a pointer into it, or a
// sub-buffer, as the containers carve any workspace.
template <typename E, containerType C>
void* carve(void* buffer, std::uint64_t total, std::uint64_t offset, std::uint64_t count) {
  if constexpr (C == container_usm)
    return convert_sub_type<unsigned char, E>(buffer, static_cast<std::size_t>(total),
                                              static_cast<std::size_t>(offset),
                                              static_cast<std::size_t>(count));
  else
    return convert_sub_type<unsigned char, E>(
        static_cast<sycl::buffer<unsigned char, 1>*>(buffer), static_cast<std::size_t>(total),
        static_cast<std::size_t>(offset), static_cast<std::size_t>(count));
}

}  // namespace orvane::vrt::sparse::gpu
