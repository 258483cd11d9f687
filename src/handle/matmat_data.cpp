// Life of the sparse product's record.
#include "handle/matmat_data.hpp"

#include <orvane/vrt/sparse.hpp>

#include "common/internal_error.hpp"
#include "handle/record.hpp"

namespace orvane::vrt::sparse {

void initMatmatInternalData(matmatInternalData** slot) {
  *slot = allocate_record<matmatInternalData>(
      [](matmatInternalData* d) { initDeviceInternalData(&d->device_data); });
}

void cache_matmat_internals_device_data(sycl::queue& queue, matmatInternalData* data) {
  if (data == nullptr) internal_error("matmat");
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
