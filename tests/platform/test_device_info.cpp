// Device information: architecture codes, EU and tile counts per device.
#include <gtest/gtest.h>

#include <hostsycl/hostsycl.hpp>
#include <stdexcept>

#include "platform/device_info.hpp"

namespace gpu = orvane::vrt::gpu;

namespace {

TEST(DeviceInfo, CpuDeviceHasArchitectureZero) {
  sycl::queue q{sycl::cpu_selector_v};
  int code = -1;
  gpu::get_architecture(&code, &q);
  EXPECT_EQ(code, 0);
  EXPECT_EQ(gpu::get_eu_count(&q),
            q.get_device().get_info<sycl::info::device::max_compute_units>());
  EXPECT_EQ(gpu::get_tile_count(&q), 1u);
}

TEST(DeviceInfo, EveryEmulatedProfileReportsItsOwnFacts) {
  for (const auto& p : hostsycl::gpu_profiles()) {
    sycl::queue q{hostsycl::emulated_gpu(p.name)};
    int code = -1;
    gpu::get_architecture(&code, &q);
    EXPECT_EQ(code, p.architecture) << p.name;
    EXPECT_EQ(gpu::get_eu_count(&q), p.eu_count) << p.name;
    EXPECT_EQ(gpu::get_tile_count(&q), p.tile_count) << p.name;
  }
}

// The call must throw std::invalid_argument with exactly this text.
template <typename Call>
void expect_refusal(Call call, const char* text) {
  try {
    call();
    ADD_FAILURE() << "expected: " << text;
  } catch (const std::invalid_argument& e) {
    EXPECT_STREQ(e.what(), text);
  }
}

TEST(DeviceInfo, NullArgumentsAreRefused) {
  sycl::queue q{sycl::cpu_selector_v};
  int code = 0;
  expect_refusal([&] { gpu::get_architecture(nullptr, &q); }, "get_architecture needs an output");
  expect_refusal([&] { gpu::get_architecture(&code, nullptr); },
                 "device information needs a queue");
  expect_refusal([&] { gpu::get_eu_count(nullptr); }, "device information needs a queue");
  expect_refusal([&] { gpu::get_tile_count(nullptr); }, "device information needs a queue");
}

}  // namespace
