// Life of the gemv plan record.
#include "handle/gemv_data.hpp"

#include <orvane/vrt/sparse.hpp>

#include "common/internal_error.hpp"
#include "containers/containers.hpp"
#include "handle/record.hpp"

namespace orvane::vrt::sparse {

namespace {
// Numeric fields of a fresh device record read -1 until the device is cached.
void clear_device_record(deviceInternalData* d) {
  d->device = nullptr;
  d->cached = false;
  d->threads_per_eu = d->eu_count = d->tile_count = d->hw_thread_count = -1;
  d->cache_line_size = d->cache_size = d->alignment = -1;
  d->max_alloc_size = -1;
  d->arch_pair_low = d->arch_pair_high = d->architecture = -1;
}

// The plan a record holds before the device is known, and once it is cached.
constexpr std::int32_t unset_param = -1;
constexpr std::int32_t cached_group_param = 256;
constexpr std::int32_t cached_vector_param = 16;
}  // namespace

void initGemvInternalData(gemvInternalData** slot) {
  auto* data = allocate_record<gemvInternalData>(
      [](gemvInternalData* d) { initDeviceInternalData(&d->device_data); });
  clear_device_record(data->device_data);
  data->kernel_kind = gemv_kind::syclvec;
  data->group_param = unset_param;
  data->vector_param = unset_param;
  *slot = data;
}

void cache_gemv_internals(sycl::queue& queue, gemvInternalData* data) {
  if (data == nullptr) internal_error("gemv");
  if (data->cached) return;
  if (data->optimized) internal_error("gemv");
  if (data->device_data == nullptr) initDeviceInternalData(&data->device_data);
  cache_device_internals(queue, data->device_data);
  data->kernel_kind = gemv_kind::syclvec;
  data->group_param = cached_group_param;
  data->vector_param = cached_vector_param;
  data->cached = 1;
}

template <typename T, typename I, containerType C>
void gemvInternalDataRelease(gemvInternalData** slot, const sycl::context* context) {
  gemvInternalData* data = *slot;
  if (data == nullptr) return;
  // The partition arrays belong to the merge path; a kind rewritten since then keeps them.
  if (data->kernel_kind == gemv_kind::merge && context != nullptr) {
    deallocate_container<I>(data->partition_rows, *context, C);
    deallocate_container<I>(data->partition_nnz, *context, C);
    deallocate_container<I>(data->carry_rows, *context, C);
    deallocate_container<T>(data->carry_values, *context, C);
  }
  deviceInternalDataRelease(&data->device_data);
  vrt_serv_free(data);
  *slot = nullptr;
}

#define VRT_INSTANTIATE_GEMV_DATA_RELEASE(T, I, C) \
  template void gemvInternalDataRelease<T, I, C>(gemvInternalData**, const sycl::context*);
VRT_FOR_EACH_INSTANCE_OF_ALL(VRT_INSTANTIATE_GEMV_DATA_RELEASE)
#undef VRT_INSTANTIATE_GEMV_DATA_RELEASE

}  // namespace orvane::vrt::sparse
