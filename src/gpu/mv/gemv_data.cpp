// Life of the gemv plan record.
#include "gpu/mv/gemv_data.hpp"

#include <cstring>

#include <orvane/vrt/sparse.hpp>

#include "containers/containers.hpp"
#include "platform/services.hpp"

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
}  // namespace

void initGemvInternalData(gemvInternalData** slot) {
  void* memory = vrt_serv_malloc(sizeof(gemvInternalData), 64);
  if (memory == nullptr) throw host_bad_alloc("sparse", "");
  std::memset(memory, 0, sizeof(gemvInternalData));
  auto* data = static_cast<gemvInternalData*>(memory);
  try {
    initDeviceInternalData(&data->device_data);
  } catch (...) {
    vrt_serv_free(data);
    throw;
  }
  clear_device_record(data->device_data);
  data->kernel_kind = gemv_kind_syclvec;
  data->group_param = -1;
  data->vector_param = -1;
  *slot = data;
}

void cache_gemv_internals(sycl::queue& queue, gemvInternalData* data) {
  if (data == nullptr) throw computation_error("sparse", "gemv", "internal error");
  if (data->cached) return;
  if (data->optimized) throw computation_error("sparse", "gemv", "internal error");
  if (data->device_data == nullptr) {
    try {
      initDeviceInternalData(&data->device_data);
    } catch (const host_bad_alloc&) {
      throw host_bad_alloc("sparse", "");
    }
  }
  cache_device_internals(queue, data->device_data);
  data->kernel_kind = gemv_kind_syclvec;
  data->group_param = 256;
  data->vector_param = 16;
  data->cached = 1;
}

template <typename T, typename I>
void gemvInternalDataRelease(gemvInternalData** slot, const sycl::context* context,
                             containerType container) {
  gemvInternalData* data = *slot;
  if (data == nullptr) return;
  // The partition arrays belong to the merge path; a kind rewritten since then keeps them.
  if (data->kernel_kind == gemv_kind_merge && context != nullptr) {
    deallocate_container<I>(data->partition_rows, *context, container);
    deallocate_container<I>(data->partition_nnz, *context, container);
    deallocate_container<I>(data->carry_rows, *context, container);
    deallocate_container<T>(data->carry_values, *context, container);
  }
  deviceInternalDataRelease(&data->device_data);
  vrt_serv_free(data);
  *slot = nullptr;
}

#define VRT_DEFINE_GEMV_DATA_RELEASE(p, T, i, I)                                              \
  template void gemvInternalDataRelease<T, I>(gemvInternalData**, const sycl::context*,       \
                                              containerType);                                 \
  void p##gemvInternalDataRelease_##i##_usm(gemvInternalData** slot,                          \
                                            const sycl::context* context) {                   \
    gemvInternalDataRelease<T, I>(slot, context, container_usm);                              \
  }                                                                                           \
  void p##gemvInternalDataRelease_##i##_buf(gemvInternalData** slot,                          \
                                            const sycl::context* context) {                   \
    gemvInternalDataRelease<T, I>(slot, context, container_buffer);                           \
  }
VRT_FOR_EACH_VARIANT(VRT_DEFINE_GEMV_DATA_RELEASE)
#undef VRT_DEFINE_GEMV_DATA_RELEASE

}  // namespace orvane::vrt::sparse
