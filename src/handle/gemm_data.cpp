// Life of the gemm plan record.
#include "handle/gemm_data.hpp"

#include <complex>
#include <orvane/vrt/sparse.hpp>

#include "common/internal_error.hpp"
#include "common/variants.hpp"
#include "containers/containers.hpp"
#include "handle/record.hpp"

namespace orvane::vrt::sparse {

namespace {
// The tuning presets a gemm plan starts from, before the path selection refines them.
constexpr std::int32_t gemm_preset_tune_a = 3;
constexpr std::int32_t gemm_preset_tune_b = 256;
constexpr std::int64_t gemm_preset_tune_c = 16;
}  // namespace

void initGemmInternalData(gemmInternalData** slot) {
  *slot = allocate_record<gemmInternalData>(
      [](gemmInternalData* d) { initDeviceInternalData(&d->device_data); });
}

void cache_gemm_internals(sycl::queue& queue, gemmInternalData* data) {
  if (data == nullptr || data->plan_failed) internal_error("gemm");
  if (data->cached) return;
  if (data->device_data == nullptr) initDeviceInternalData(&data->device_data);
  if (!data->device_data->cached) cache_device_internals(queue, data->device_data);
  data->tune_a = gemm_preset_tune_a;
  data->tune_b = gemm_preset_tune_b;
  data->tune_c = gemm_preset_tune_c;
  data->cached = 1;
}

template <typename T>
void gemmInternalDataRelease(gemmInternalData** slot, const sycl::context* context,
                             containerType container) {
  gemmInternalData* data = *slot;
  if (data == nullptr) return;
  deviceInternalDataRelease(&data->device_data);
  if (context != nullptr) {
    deallocate_container<T>(data->b_tmp, *context, container);
    deallocate_container<T>(data->c_tmp, *context, container);
  }
  data->b_tmp = data->c_tmp = nullptr;
  data->b_tmp_bytes = data->c_tmp_bytes = 0;
  vrt_serv_free(data);
  *slot = nullptr;
}

#define VRT_INSTANTIATE_GEMM_DATA_RELEASE(p, T, unused) \
  template void gemmInternalDataRelease<T>(gemmInternalData**, const sycl::context*, containerType);
VRT_FOR_EACH_VALUE(VRT_INSTANTIATE_GEMM_DATA_RELEASE, 0)
#undef VRT_INSTANTIATE_GEMM_DATA_RELEASE

}  // namespace orvane::vrt::sparse
