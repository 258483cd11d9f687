// Life of the sparse product's record: creation with its unset markers, the device facts, and
// the release of everything the stages left in it.
#include "handle/matmat_data.hpp"

#include <algorithm>
#include <complex>
#include <limits>
#include <orvane/vrt/sparse.hpp>

#include "common/internal_error.hpp"
#include "containers/containers.hpp"
#include "handle/record.hpp"
#include "platform/device_info.hpp"

namespace orvane::vrt::sparse {

namespace {
constexpr std::int32_t min_cache_line_bytes = 64;
constexpr std::uint64_t no_alloc_limit = std::numeric_limits<std::uint64_t>::max();
// Older generations cap one allocation at 8 GiB.
constexpr std::uint64_t old_alloc_limit = 0x200000000ULL;
}  // namespace

void initMatmatInternalData(matmatInternalData** slot) {
  auto* d = allocate_record<matmatInternalData>();
  d->container = static_cast<containerType>(-1);
  d->threads_per_eu = d->eu_count = d->tile_count = d->total_threads = -1;
  d->cache_line_bytes = -1;
  d->num_groups = -1;
  d->sub_group_size = -1;
  d->reserved_bytes = ~std::uint64_t{0};
  d->work_estimation_kernel = d->compute_kernel = d->compute_structure_kernel = matmat_kernel_unset;
  d->reserved_word = -1;
  d->compute_memory_kind = d->structure_memory_kind = -1;
  d->value_type = fp_unset;
  *slot = d;
}

void initMatmatComputeDenseData(matmatComputeDenseData** slot) {
  *slot = allocate_record<matmatComputeDenseData>();
}
void initMatmatComputeHashData(matmatComputeHashData** slot) {
  *slot = allocate_record<matmatComputeHashData>();
}
void initMatmatComputeHeapData(matmatComputeHeapData** slot) {
  *slot = allocate_record<matmatComputeHeapData>();
}

matmat_device_facts matmat_facts_of(bool is_gpu, std::int32_t architecture) {
  if (!is_gpu) return {1, 8, 2048, no_alloc_limit};
  if (architecture < 4) return {7, 8, 512, old_alloc_limit};
  if (architecture == 4) return {8, 16, 512, old_alloc_limit};
  if (architecture == 5) return {8, 16, 1024, old_alloc_limit};
  return {8, 16, 1024, no_alloc_limit};
}

void cache_matmat_internals_device_data(sycl::queue& queue, matmatInternalData* data) {
  if (data == nullptr) internal_error("matmat");
  if (data->device_data_cached) return;
  if (data->device == nullptr) data->device = new sycl::device(queue.get_device());
  if (data->context == nullptr) data->context = new sycl::context(queue.get_context());
  const sycl::device device = queue.get_device();
  int code = 0;
  gpu::get_architecture(&code, &queue);
  const bool is_gpu = device.is_gpu();
  data->architecture = is_gpu ? code : 0;
  const matmat_device_facts facts = matmat_facts_of(is_gpu, data->architecture);
  data->threads_per_eu = facts.threads_per_eu;
  data->sub_group_size = facts.sub_group_size;
  data->estimate_table_size = facts.estimate_table_size;
  data->arch_alloc_limit = facts.arch_alloc_limit;
  data->eu_count = static_cast<std::int32_t>(gpu::get_eu_count(&queue));
  data->tile_count = static_cast<std::int32_t>(gpu::get_tile_count(&queue));
  data->total_threads = data->eu_count * data->threads_per_eu;
  data->cache_line_bytes = std::max<std::int32_t>(
      min_cache_line_bytes,
      static_cast<std::int32_t>(device.get_info<sycl::info::device::global_mem_cache_line_size>()));
  data->cache_bytes = static_cast<std::int32_t>(
      static_cast<std::uint32_t>(device.get_info<sycl::info::device::global_mem_cache_size>()));
  data->alignment_bytes = std::max<std::int32_t>(
      static_cast<std::int32_t>(device.get_info<sycl::info::device::mem_base_addr_align>()),
      data->cache_line_bytes);
  data->max_alloc_bytes = device.get_info<sycl::info::device::max_mem_alloc_size>();
  data->device_data_cached = true;
}

namespace {

template <typename E>
void delete_buffer(void*& slot) {
  delete static_cast<sycl::buffer<E, 1>*>(slot);
  slot = nullptr;
}

void delete_index_buffer(void*& slot, std::int32_t index_bytes) {
  if (slot == nullptr) return;
  if (index_bytes == 8)
    delete_buffer<std::int64_t>(slot);
  else
    delete_buffer<std::int32_t>(slot);
}

void delete_value_buffer(void*& slot, fpType value_type) {
  if (slot == nullptr) return;
  switch (value_type) {
    case fp_float:
      return delete_buffer<float>(slot);
    case fp_complex_float:
      return delete_buffer<std::complex<float>>(slot);
    case fp_complex_double:
      return delete_buffer<std::complex<double>>(slot);
    default:
      return delete_buffer<double>(slot);
  }
}

// The sub-buffers made of buffer containers; USM slots point into the buffers and are cleared.
void release_views(matmatInternalData* d, containerType container) {
  if (container == container_buffer) {
    delete_index_buffer(d->row_offsets, d->index_bytes);
    delete_index_buffer(d->structure_cols, d->index_bytes);
    delete_index_buffer(d->compute_cols, d->index_bytes);
    delete_value_buffer(d->compute_values, d->value_type);
    delete_buffer<std::uint8_t>(d->structure_scratch);
    delete_buffer<std::uint8_t>(d->compute_scratch);
    for (void*& cell : d->device_cells) delete_buffer<std::int64_t>(cell);
    for (void*& cell : d->counter_cells) delete_buffer<std::int32_t>(cell);
  }
  d->row_offsets = d->structure_cols = d->compute_cols = d->compute_values = nullptr;
  d->structure_scratch = d->compute_scratch = nullptr;
}

void release_temporary(void*& buffer, bool& owned, const sycl::context* context,
                       containerType container) {
  if (owned && buffer != nullptr) {
    if (container == container_buffer)
      delete_buffer<std::uint8_t>(buffer);
    else if (context != nullptr)
      sycl::free(buffer, *context);
  }
  buffer = nullptr;
  owned = false;
}

template <typename Record>
void free_record(Record*& record) {
  if (record != nullptr) vrt_serv_free(record);
  record = nullptr;
}

}  // namespace

void matmatInternalDataRelease(matmatInternalData** slot, const sycl::context* context,
                               containerType container) {
  matmatInternalData* d = *slot;
  if (d == nullptr) return;
  if (d->container == container_buffer || d->container == container_usm) container = d->container;
  if (d->context != nullptr) context = d->context;
  release_views(d, container);
  release_temporary(d->work_estimation_buffer, d->work_estimation_buffer_owned, context, container);
  release_temporary(d->compute_structure_buffer, d->compute_structure_buffer_owned, context,
                    container);
  release_temporary(d->compute_buffer, d->compute_buffer_owned, context, container);
  if (d->host_slab != nullptr && context != nullptr) sycl::free(d->host_slab, *context);
  d->host_slab = nullptr;
  if (context != nullptr) {
    if (d->device_slab != nullptr)
      deallocate_container<std::int64_t>(d->device_slab, *context, container);
    if (d->counter_slab != nullptr)
      deallocate_container<std::int32_t>(d->counter_slab, *context, container);
  }
  d->device_slab = d->counter_slab = nullptr;
  free_record(d->compute_dense);
  free_record(d->compute_hash);
  free_record(d->compute_heap);
  free_record(d->structure_dense);
  free_record(d->structure_hash);
  free_record(d->structure_heap);
  delete d->device;
  delete d->context;
  vrt_serv_free(d);
  *slot = nullptr;
}

}  // namespace orvane::vrt::sparse
