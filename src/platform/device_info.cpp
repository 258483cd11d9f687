// Device information from the device's profile on the host runtime, or from standard queries.
#include "platform/device_info.hpp"

#include <stdexcept>

#ifdef HOSTSYCL
#include <hostsycl/hostsycl.hpp>
#endif

namespace orvane::vrt::gpu {

namespace {
sycl::device device_of(sycl::queue* queue) {
  if (queue == nullptr) throw std::invalid_argument("device information needs a queue");
  return queue->get_device();
}
}  // namespace

void get_architecture(int* code, sycl::queue* queue) {
  if (code == nullptr) throw std::invalid_argument("get_architecture needs an output");
  const sycl::device device = device_of(queue);
  *code = 0;
  if (!device.is_gpu()) return;
#ifdef HOSTSYCL
  if (const auto* profile = hostsycl::profile_of(device)) *code = profile->architecture;
#endif
}

std::uint32_t get_eu_count(sycl::queue* queue) {
  const sycl::device device = device_of(queue);
#ifdef HOSTSYCL
  if (const auto* profile = hostsycl::profile_of(device)) return profile->eu_count;
#endif
  return device.get_info<sycl::info::device::max_compute_units>();
}

std::uint32_t get_tile_count(sycl::queue* queue) {
  const sycl::device device = device_of(queue);
#ifdef HOSTSYCL
  if (const auto* profile = hostsycl::profile_of(device)) return profile->tile_count;
#endif
  return 1;
}

}  // namespace orvane::vrt::gpu
