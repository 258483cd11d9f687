// matmatInternalData: what survives between the stages of a sparse product, kept on C.
#pragma once

#include <sycl/sycl.hpp>

#include "common/internal_types.hpp"
#include "handle/device_internal_data.hpp"

namespace orvane::vrt::sparse {

// The device facts; the stage machine adds its plan and carved workspace beside them.
struct matmatInternalData {
  deviceInternalData* device_data;
};

// Allocates the record and its device record; host_bad_alloc("sparse", "") on failure.
void initMatmatInternalData(matmatInternalData** slot);
void cache_matmat_internals_device_data(sycl::queue& queue, matmatInternalData* data);
// Frees the record and what it owns; an empty slot is left alone.
void matmatInternalDataRelease(matmatInternalData** slot, const sycl::context* context,
                               containerType container);

}  // namespace orvane::vrt::sparse
