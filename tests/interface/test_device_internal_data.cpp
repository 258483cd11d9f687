// The cached device facts of a plan, and joining events.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <hostsycl/hostsycl.hpp>
#include <orvane/vrt/sparse.hpp>
#include <thread>

#include "handle/coalesce_events.hpp"
#include "handle/device_internal_data.hpp"
#include "platform/testing_hooks.hpp"

namespace vs = orvane::vrt::sparse;

namespace {

struct record {
  vs::deviceInternalData* data = nullptr;
  record() { vs::initDeviceInternalData(&data); }
  ~record() { vs::deviceInternalDataRelease(&data); }
};

TEST(DeviceInternalData, EveryProfileGivesTheFactsOfItsDevice) {
  for (const auto& p : hostsycl::gpu_profiles()) {
    SCOPED_TRACE(p.name);
    sycl::queue q{hostsycl::emulated_gpu(p.name)};
    record r;
    vs::cache_device_internals(q, r.data);
    const auto& d = *r.data;
    ASSERT_TRUE(d.cached);
    EXPECT_EQ(*d.device, q.get_device());
    EXPECT_EQ(d.architecture, p.architecture);
    EXPECT_EQ(d.threads_per_eu, p.architecture >= 4 ? 8 : 7);
    EXPECT_EQ(d.eu_count, static_cast<int>(p.eu_count));
    EXPECT_EQ(d.tile_count, static_cast<int>(p.tile_count));
    EXPECT_EQ(d.hw_thread_count, static_cast<int>(p.eu_count) * d.threads_per_eu);
    EXPECT_EQ(d.cache_line_size, std::max<int>(64, static_cast<int>(p.cache_line_size)));
    EXPECT_EQ(d.cache_size, static_cast<std::int32_t>(static_cast<std::uint32_t>(p.cache_size)));
    EXPECT_EQ(d.alignment,
              std::max<int>(static_cast<int>(p.mem_base_addr_align_bits), d.cache_line_size));
    EXPECT_EQ(d.max_alloc_size, static_cast<std::int64_t>(p.max_mem_alloc_size));
    EXPECT_EQ(d.arch_pair_low, p.architecture < 6 ? 0 : -1);
    EXPECT_EQ(d.arch_pair_high, p.architecture < 6 ? 2 : -1);
  }
}

TEST(DeviceInternalData, CpuDeviceIsArchitectureZeroWithOneThreadPerUnit) {
  sycl::queue q{sycl::cpu_selector_v};
  record r;
  vs::cache_device_internals(q, r.data);
  EXPECT_EQ(r.data->architecture, 0);
  EXPECT_EQ(r.data->threads_per_eu, 1);
  EXPECT_EQ(r.data->arch_pair_low, -1);
  EXPECT_EQ(r.data->arch_pair_high, -1);
}

TEST(DeviceInternalData, ACachedRecordKeepsTheFactsOfItsFirstQueue) {
  sycl::queue first{hostsycl::emulated_gpu("emu-a1")};
  sycl::queue second{hostsycl::emulated_gpu("emu-a6")};
  record r;
  vs::cache_device_internals(first, r.data);
  vs::cache_device_internals(second, r.data);
  EXPECT_EQ(r.data->architecture, 1);
  EXPECT_EQ(*r.data->device, first.get_device());
}

TEST(DeviceInternalData, NullOrDevicelessCachedRecordIsAnInternalError) {
  sycl::queue q{sycl::cpu_selector_v};
  try {
    vs::cache_device_internals(q, nullptr);
    FAIL() << "expected an exception";
  } catch (const orvane::vrt::computation_error& e) {
    EXPECT_STREQ(e.what(), "orvane::vrt::sparse: computation error: internal error");
  }
  record r;
  r.data->cached = true;
  try {
    vs::cache_device_internals(q, r.data);
    FAIL() << "expected an exception for a cached record without a device";
  } catch (const orvane::vrt::computation_error& e) {
    EXPECT_STREQ(e.what(), "orvane::vrt::sparse: computation error: internal error");
  }
}

TEST(DeviceInternalData, FailedRecordAllocationIsAHostBadAlloc) {
  orvane::vrt::testing::fail_next_serv_mallocs(1);
  vs::deviceInternalData* data = nullptr;
  try {
    vs::initDeviceInternalData(&data);
    FAIL() << "expected an exception";
  } catch (const orvane::vrt::host_bad_alloc& e) {
    EXPECT_STREQ(e.what(), "orvane::vrt::sparse: cannot allocate memory on host");
  }
  EXPECT_EQ(data, nullptr);
  vs::deviceInternalDataRelease(&data);
}

TEST(CoalesceEvents, CoversItsDependenciesOnlyForUsm) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  EXPECT_EQ(vs::coalesce_events(q, vs::container_usm, {}, false)
                .get_info<sycl::info::event::command_execution_status>(),
            sycl::info::event_command_status::complete);
  for (bool use_kernel : {false, true}) {
    std::atomic<bool> done{false};
    auto slow = q.submit([&](sycl::handler& h) {
      h.host_task([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        done = true;
      });
    });
    auto joined = vs::coalesce_events(q, vs::container_usm, {slow}, use_kernel);
    EXPECT_NE(joined, slow);
    joined.wait();
    EXPECT_TRUE(done.load());
  }
  std::atomic<bool> go{false};
  auto blocked = q.submit([&](sycl::handler& h) {
    h.host_task([&] {
      while (!go.load()) std::this_thread::yield();
    });
  });
  // A buffer container gets an empty, complete event even with unfinished dependencies.
  auto empty = vs::coalesce_events(q, vs::container_buffer, {blocked}, false);
  EXPECT_EQ(empty.get_info<sycl::info::event::command_execution_status>(),
            sycl::info::event_command_status::complete);
  go = true;
  blocked.wait();
}

}  // namespace
