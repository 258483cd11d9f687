// Caching the device facts that plans are made from.
#include "handle/device_internal_data.hpp"

#include <algorithm>
#include <orvane/vrt/sparse.hpp>

#include "common/internal_error.hpp"
#include "handle/record.hpp"
#include "platform/architecture.hpp"
#include "platform/device_info.hpp"

namespace orvane::vrt::sparse {

namespace {
// Minimum cache line the planning tables assume.
constexpr std::int32_t min_cache_line_bytes = 64;
// Hardware threads per execution unit on the newer and the older generations.
constexpr std::int32_t eight_threads_per_eu = 8;
constexpr std::int32_t seven_threads_per_eu = 7;
}  // namespace

void initDeviceInternalData(deviceInternalData** slot) {
  *slot = allocate_record<deviceInternalData>();
}

void deviceInternalDataRelease(deviceInternalData** slot) {
  if (*slot == nullptr) return;
  delete (*slot)->device;
  vrt_serv_free(*slot);
  *slot = nullptr;
}

void cache_device_internals(sycl::queue& queue, deviceInternalData* data) {
  if (data == nullptr || (data->cached && data->device == nullptr)) internal_error("");
  if (data->cached) return;
  if (data->device == nullptr) data->device = new sycl::device(queue.get_device());

  const sycl::device device = queue.get_device();
  int code = 0;
  gpu::get_architecture(&code, &queue);
  const bool is_gpu = device.is_gpu();
  const architecture arch = is_gpu ? architecture_from_code(code) : architecture::generic;
  data->architecture = code_of(arch);
  data->threads_per_eu =
      !is_gpu ? 1 : (has_eight_threads_per_eu(arch) ? eight_threads_per_eu : seven_threads_per_eu);
  data->eu_count = static_cast<std::int32_t>(gpu::get_eu_count(&queue));
  data->tile_count = static_cast<std::int32_t>(gpu::get_tile_count(&queue));
  data->hw_thread_count = data->eu_count * data->threads_per_eu;
  data->cache_line_size = std::max<std::int32_t>(
      min_cache_line_bytes,
      static_cast<std::int32_t>(device.get_info<sycl::info::device::global_mem_cache_line_size>()));
  data->cache_size = static_cast<std::int32_t>(
      static_cast<std::uint32_t>(device.get_info<sycl::info::device::global_mem_cache_size>()));
  data->alignment = std::max<std::int32_t>(
      static_cast<std::int32_t>(device.get_info<sycl::info::device::mem_base_addr_align>()),
      data->cache_line_size);
  data->max_alloc_size =
      static_cast<std::int64_t>(device.get_info<sycl::info::device::max_mem_alloc_size>());
  const bool paired = is_gpu && has_paired_sub_slices(arch);
  data->arch_pair_low = paired ? 0 : -1;
  data->arch_pair_high = paired ? 2 : -1;
  data->cached = true;
}

}  // namespace orvane::vrt::sparse
