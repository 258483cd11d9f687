// Life of the gemm plan record.
#include "gpu/gemm/gemm_data.hpp"

#include <complex>
#include <cstring>

#include <orvane/vrt/sparse.hpp>

#include "containers/containers.hpp"
#include "platform/services.hpp"

namespace orvane::vrt::sparse {

void initGemmInternalData(gemmInternalData** slot) {
  void* memory = vrt_serv_malloc(sizeof(gemmInternalData), 64);
  if (memory == nullptr) throw host_bad_alloc("sparse", "");
  std::memset(memory, 0, sizeof(gemmInternalData));
  auto* data = static_cast<gemmInternalData*>(memory);
  try {
    initDeviceInternalData(&data->device_data);
  } catch (...) {
    vrt_serv_free(data);
    throw;
  }
  *slot = data;
}

void cache_gemm_internals(sycl::queue& queue, gemmInternalData* data) {
  if (data == nullptr || data->plan_failed)
    throw computation_error("sparse", "gemm", "internal error");
  if (data->cached) return;
  if (data->device_data == nullptr) {
    try {
      initDeviceInternalData(&data->device_data);
    } catch (const host_bad_alloc&) {
      throw host_bad_alloc("sparse", "");
    }
  }
  if (!data->device_data->cached) cache_device_internals(queue, data->device_data);
  data->tune_a = 3;
  data->tune_b = 256;
  data->tune_c = 16;
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

template void gemmInternalDataRelease<float>(gemmInternalData**, const sycl::context*,
                                             containerType);
template void gemmInternalDataRelease<double>(gemmInternalData**, const sycl::context*,
                                              containerType);
template void gemmInternalDataRelease<std::complex<float>>(gemmInternalData**,
                                                           const sycl::context*, containerType);
template void gemmInternalDataRelease<std::complex<double>>(gemmInternalData**,
                                                            const sycl::context*, containerType);

}  // namespace orvane::vrt::sparse
