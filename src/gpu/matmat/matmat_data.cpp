// Life of the sparse product's record.
#include "gpu/matmat/matmat_data.hpp"

#include <cstring>

#include <orvane/vrt/sparse.hpp>

#include "platform/services.hpp"

namespace orvane::vrt::sparse {

void initMatmatInternalData(matmatInternalData** slot) {
  void* memory = vrt_serv_malloc(sizeof(matmatInternalData), 64);
  if (memory == nullptr) throw host_bad_alloc("sparse", "");
  std::memset(memory, 0, sizeof(matmatInternalData));
  auto* data = static_cast<matmatInternalData*>(memory);
  try {
    initDeviceInternalData(&data->device_data);
  } catch (...) {
    vrt_serv_free(data);
    throw;
  }
  *slot = data;
}

void cache_matmat_internals_device_data(sycl::queue& queue, matmatInternalData* data) {
  if (data == nullptr) throw computation_error("sparse", "matmat", "internal error");
  if (data->device_data == nullptr) initDeviceInternalData(&data->device_data);
  cache_device_internals(queue, data->device_data);
}

void matmatInternalDataRelease(matmatInternalData** slot, const sycl::context*, containerType) {
  matmatInternalData* data = *slot;
  if (data == nullptr) return;
  deviceInternalDataRelease(&data->device_data);
  vrt_serv_free(data);
  *slot = nullptr;
}

}  // namespace orvane::vrt::sparse
