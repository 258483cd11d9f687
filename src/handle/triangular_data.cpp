// Life of the triangular analysis records.
#include "handle/triangular_data.hpp"

#include <cstring>
#include <orvane/vrt/sparse.hpp>

#include "common/variants.hpp"
#include "containers/containers.hpp"
#include "handle/record.hpp"

namespace orvane::vrt::sparse {

namespace {
void preset(coloringData* c) {
  std::memset(static_cast<void*>(c), 0, sizeof(coloringData));
  c->container = -1;
  c->sync_mode = -1;
}
}  // namespace

void initDiagonalValuesData(void** slot) {
  auto* record = allocate_record<diagonalValuesData>();
  record->status_count = ~0u;
  record->status_stride = ~0u;
  *slot = record;
}

void initDiagonalStructData(void** slot) { *slot = allocate_record<diagonalStructData>(); }

void initColoringData(void** slot) {
  auto* record = allocate_record<coloringData>();
  preset(record);
  *slot = record;
}

template <typename T, typename I>
void diagonalValuesDataRelease(void** slot, const sycl::context* context, containerType container) {
  auto* record = static_cast<diagonalValuesData*>(*slot);
  if (record == nullptr) return;
  if (context != nullptr) {
    deallocate_container<T>(record->diag, *context, container);
    deallocate_container<T>(record->inv_diag, *context, container);
    deallocate_container<I>(record->status_host, *context, container);
    deallocate_container<I>(record->status_device, *context, container);
  }
  std::memset(static_cast<void*>(record), 0, sizeof(*record));
  vrt_serv_free(record);
  *slot = nullptr;
}

template <typename I>
void diagonalStructDataRelease(void** slot, const sycl::context* context, containerType container) {
  auto* record = static_cast<diagonalStructData*>(*slot);
  if (record == nullptr) return;
  if (context != nullptr) {
    deallocate_container<I>(record->lower_end, *context, container);
    deallocate_container<I>(record->upper_start, *context, container);
  }
  std::memset(static_cast<void*>(record), 0, sizeof(*record));
  vrt_serv_free(record);
  *slot = nullptr;
}

template <typename T, typename I>
void coloringDataRelease(void** slot, const sycl::context* context, containerType container) {
  auto* c = static_cast<coloringData*>(*slot);
  if (c == nullptr) return;
  if (context != nullptr) {
    for (void* index_array :
         {c->color_ptr_host, c->row_of_position, c->position_of_row, c->chunk_start_host,
          c->chunk_color_host, c->chunks_per_color_host, c->color_counters, c->chunk_ticket,
          c->lower_ptr, c->lower_col, c->upper_ptr, c->upper_col})
      deallocate_container<I>(index_array, *context, container);
    for (void* value_array :
         {c->lower_val, c->upper_val, c->rhs_colored, c->sol_colored, c->inv_diag_colored})
      deallocate_container<T>(value_array, *context, container);
    // The device copies of the colour tables are arrays of their own in USM; with buffers the
    // host buffer serves the device too and has been freed above.
    if (container == container_usm) {
      for (void* device_copy : {c->color_ptr_device, c->chunk_start_device, c->chunk_color_device,
                                c->chunks_per_color_device})
        sycl::free(device_copy, *context);
    }
  }
  preset(c);
  vrt_serv_free(c);
  *slot = nullptr;
}

#define VRT_INSTANTIATE_TRIANGULAR_RELEASE(p, T, i, I, unused)                                \
  template void diagonalValuesDataRelease<T, I>(void**, const sycl::context*, containerType); \
  template void coloringDataRelease<T, I>(void**, const sycl::context*, containerType);
VRT_FOR_EACH_VARIANT(VRT_INSTANTIATE_TRIANGULAR_RELEASE, 0)
#undef VRT_INSTANTIATE_TRIANGULAR_RELEASE
template void diagonalStructDataRelease<std::int32_t>(void**, const sycl::context*, containerType);
template void diagonalStructDataRelease<std::int64_t>(void**, const sycl::context*, containerType);

}  // namespace orvane::vrt::sparse
