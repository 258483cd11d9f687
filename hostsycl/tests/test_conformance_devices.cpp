// Contexts, devices and queue shortcuts: the context capability queries, device partitioning
// (which these devices refuse), and prefetch and mem_advise after dependency events.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <hostsycl/hostsycl.hpp>
#include <string>
#include <thread>
#include <vector>

#include "test_support.hpp"

namespace {

template <typename T>
bool contains(const std::vector<T>& list, T value) {
  return std::find(list.begin(), list.end(), value) != list.end();
}

TEST(ContextCapabilities, AtomicOrderCapabilitiesMeetTheMinimumsAndMatchTheDevices) {
  sycl::device d{sycl::cpu_selector_v};
  sycl::context ctx{d};
  const auto memory = ctx.get_info<sycl::info::context::atomic_memory_order_capabilities>();
  EXPECT_TRUE(contains(memory, sycl::memory_order::relaxed));
  const auto fence = ctx.get_info<sycl::info::context::atomic_fence_order_capabilities>();
  for (auto o : {sycl::memory_order::relaxed, sycl::memory_order::acquire,
                 sycl::memory_order::release, sycl::memory_order::acq_rel})
    EXPECT_TRUE(contains(fence, o));
  EXPECT_EQ(memory, d.get_info<sycl::info::device::atomic_memory_order_capabilities>());
  EXPECT_EQ(fence, d.get_info<sycl::info::device::atomic_fence_order_capabilities>());
}

TEST(ContextCapabilities, AtomicScopeCapabilitiesMeetTheMinimumsOverEveryDevice) {
  sycl::context ctx{sycl::platform().get_devices()};
  const auto memory = ctx.get_info<sycl::info::context::atomic_memory_scope_capabilities>();
  EXPECT_TRUE(contains(memory, sycl::memory_scope::sub_group));
  EXPECT_TRUE(contains(memory, sycl::memory_scope::work_group));
  const auto fence = ctx.get_info<sycl::info::context::atomic_fence_scope_capabilities>();
  for (auto s : {sycl::memory_scope::work_item, sycl::memory_scope::sub_group,
                 sycl::memory_scope::work_group})
    EXPECT_TRUE(contains(fence, s));
  // A context offers only what every one of its devices offers.
  for (const auto& d : ctx.get_devices()) {
    const auto device_scopes = d.get_info<sycl::info::device::atomic_fence_scope_capabilities>();
    for (auto s : fence) EXPECT_TRUE(contains(device_scopes, s));
  }
}

TEST(DevicePartition, DevicesReportThatTheyCannotBePartitioned) {
  for (const auto& d : sycl::device::get_devices()) {
    EXPECT_EQ(d.get_info<sycl::info::device::partition_max_sub_devices>(), 0u);
    EXPECT_TRUE(d.get_info<sycl::info::device::partition_properties>().empty());
    EXPECT_TRUE(d.get_info<sycl::info::device::partition_affinity_domains>().empty());
    EXPECT_EQ(d.get_info<sycl::info::device::partition_type_property>(),
              sycl::info::partition_property::no_partition);
    EXPECT_EQ(d.get_info<sycl::info::device::partition_type_affinity_domain>(),
              sycl::info::partition_affinity_domain::not_applicable);
    EXPECT_EQ(test_support::code_of([&] { d.get_info<sycl::info::device::parent_device>(); }),
              sycl::errc::invalid);
  }
}

// The error create_sub_devices throws, with its message.
template <typename F>
std::pair<sycl::errc, std::string> refusal_of(F&& f) {
  try {
    f();
  } catch (const sycl::exception& e) {
    return {static_cast<sycl::errc>(e.code().value()), e.what()};
  }
  return {sycl::errc::success, ""};
}

TEST(DevicePartition, CreateSubDevicesThrowsFeatureNotSupportedWithAMessage) {
  sycl::device d{sycl::cpu_selector_v};
  namespace ip = sycl::info;
  const auto equally =
      refusal_of([&] { d.create_sub_devices<ip::partition_property::partition_equally>(2); });
  const auto counts = refusal_of([&] {
    d.create_sub_devices<ip::partition_property::partition_by_counts>(
        std::vector<std::size_t>{1, 1});
  });
  const auto affinity = refusal_of([&] {
    d.create_sub_devices<ip::partition_property::partition_by_affinity_domain>(
        ip::partition_affinity_domain::next_partitionable);
  });
  for (const auto& [code, message] : {equally, counts, affinity}) {
    EXPECT_EQ(code, sycl::errc::feature_not_supported);
    EXPECT_FALSE(message.empty());
  }
  sycl::device gpu = hostsycl::emulated_gpu("emu-a6");
  EXPECT_EQ(refusal_of([&] {
              gpu.create_sub_devices<ip::partition_property::partition_equally>(2);
            }).first,
            sycl::errc::feature_not_supported);
}

TEST(QueueHints, PrefetchAndMemAdviseWaitForTheirDependencies) {
  sycl::queue q{sycl::cpu_selector_v};
  int* data = sycl::malloc_shared<int>(16, q);
  sycl::event filled = q.fill(data, 3, 16);
  sycl::event prefetched = q.prefetch(data, 16 * sizeof(int), filled);
  sycl::event advised = q.mem_advise(data, 16 * sizeof(int), 0, prefetched);
  sycl::event prefetched_again = q.prefetch(data, 16 * sizeof(int), {filled, advised});
  sycl::event advised_again = q.mem_advise(data, 16 * sizeof(int), 0, {prefetched_again});
  advised_again.wait();
  // Each hint completed after what it depended on, so by now every one has completed.
  for (const auto& e : {filled, prefetched, advised, prefetched_again})
    EXPECT_EQ(e.get_info<sycl::info::event::command_execution_status>(),
              sycl::info::event_command_status::complete);
  const auto deps = advised.get_wait_list();
  EXPECT_TRUE(deps.empty() || std::find(deps.begin(), deps.end(), prefetched) != deps.end());
  EXPECT_EQ(data[15], 3);
  sycl::free(data, q);
}

TEST(QueueHints, AHintWaitsForAnUnfinishedDependency) {
  sycl::queue q{sycl::cpu_selector_v};
  int* data = sycl::malloc_shared<int>(4, q);
  std::atomic<bool> release{false};
  sycl::event blocker = q.submit([&](sycl::handler& h) {
    h.host_task([&] {
      while (!release.load()) std::this_thread::yield();
    });
  });
  sycl::event hint = q.prefetch(data, 4 * sizeof(int), blocker);
  sycl::event advice = q.mem_advise(data, 4 * sizeof(int), 0, std::vector<sycl::event>{blocker});
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_NE(hint.get_info<sycl::info::event::command_execution_status>(),
            sycl::info::event_command_status::complete);
  EXPECT_NE(advice.get_info<sycl::info::event::command_execution_status>(),
            sycl::info::event_command_status::complete);
  release = true;
  hint.wait();
  advice.wait();
  sycl::free(data, q);
}

}  // namespace
