// Devices, profiles, selectors and device information.
#include <gtest/gtest.h>

#include <algorithm>
#include <hostsycl/hostsycl.hpp>
#include <set>
#include <utility>
#include <vector>

namespace {

bool has_size(const std::vector<std::size_t>& sizes, std::size_t s) {
  return std::find(sizes.begin(), sizes.end(), s) != sizes.end();
}

TEST(Devices, CpuSelectorGivesTheCpuDeviceAndGpuSelectorAGpu) {
  sycl::device cpu{sycl::cpu_selector_v};
  sycl::device gpu{sycl::gpu_selector_v};
  EXPECT_TRUE(cpu.is_cpu());
  EXPECT_FALSE(cpu.is_gpu());
  EXPECT_TRUE(gpu.is_gpu());
  EXPECT_TRUE(gpu.has(sycl::aspect::emulated));
  EXPECT_EQ(cpu.get_info<sycl::info::device::device_type>(), sycl::info::device_type::cpu);
  EXPECT_EQ(hostsycl::profile_of(cpu), nullptr);
  EXPECT_NE(hostsycl::profile_of(gpu), nullptr);
}

TEST(Devices, DefaultSelectorPrefersTheGpuAndSelectorsAreCallable) {
  EXPECT_TRUE(sycl::device{sycl::default_selector_v}.is_gpu());
  sycl::device cpu{sycl::cpu_selector_v};
  EXPECT_LT(sycl::gpu_selector_v(cpu), 0);
  EXPECT_GT(sycl::cpu_selector_v(cpu), 0);
  EXPECT_THROW((sycl::device{sycl::accelerator_selector_v}), sycl::exception);
  try {
    sycl::device d{sycl::accelerator_selector_v};
  } catch (const sycl::exception& e) {
    EXPECT_EQ(e.code(), sycl::errc::runtime);
  }
}

TEST(Devices, EveryArchitectureCodeHasAProfileAndOneProfileLacksFp64) {
  std::set<int> codes;
  int without_fp64 = 0;
  for (const auto& p : hostsycl::gpu_profiles()) {
    codes.insert(p.architecture);
    sycl::device d = hostsycl::emulated_gpu(p.name);
    EXPECT_TRUE(d.is_gpu());
    EXPECT_EQ(hostsycl::profile_of(d)->name, p.name);
    EXPECT_EQ(d.has(sycl::aspect::fp64), p.fp64);
    if (!p.fp64) ++without_fp64;
    EXPECT_EQ(d.get_info<sycl::info::device::sub_group_sizes>(), p.sub_group_sizes);
    EXPECT_TRUE(has_size(p.sub_group_sizes, p.preferred_sub_group_size));
    EXPECT_EQ(d.get_info<sycl::info::device::max_work_group_size>(), p.max_work_group_size);
    EXPECT_EQ(d.get_info<sycl::info::device::local_mem_size>(), p.local_mem_size);
    EXPECT_GE(p.local_mem_size, 32u * 1024u);
    EXPECT_EQ(d.get_info<sycl::info::device::global_mem_size>(), p.global_mem_size);
    EXPECT_EQ(d.get_info<sycl::info::device::max_mem_alloc_size>(), p.max_mem_alloc_size);
    EXPECT_EQ(d.get_info<sycl::info::device::max_compute_units>(), p.eu_count);
    EXPECT_EQ(d.get_info<sycl::info::device::mem_base_addr_align>(), p.mem_base_addr_align_bits);
    EXPECT_EQ(d.get_info<sycl::info::device::global_mem_cache_line_size>(), p.cache_line_size);
    EXPECT_EQ(d.get_info<sycl::info::device::global_mem_cache_size>(), p.cache_size);
    EXPECT_NE(d.get_info<sycl::info::device::name>().find(p.name), std::string::npos);
  }
  EXPECT_EQ(codes, (std::set<int>{0, 1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(without_fp64, 1);
}

TEST(Devices, ArchitectureSixOffersOnlyWideSubGroups) {
  auto d = hostsycl::emulated_gpu("emu-a6");
  auto sizes = d.get_info<sycl::info::device::sub_group_sizes>();
  EXPECT_FALSE(has_size(sizes, 8));
  EXPECT_TRUE(has_size(sizes, 16));
  EXPECT_TRUE(has_size(sizes, 32));
}

TEST(Devices, UnknownProfileNameIsRefused) {
  try {
    hostsycl::emulated_gpu("no-such-profile");
    FAIL() << "expected an exception";
  } catch (const sycl::exception& e) {
    EXPECT_EQ(e.code(), sycl::errc::invalid);
  }
}

// A profile reachable by name only: little local memory, not among the listed profiles.
TEST(Devices, LittleLocalMemoryProfileByNameOnly) {
  const sycl::device d = hostsycl::emulated_gpu("emu-a1-little-local");
  EXPECT_TRUE(d.is_gpu());
  EXPECT_EQ(d.get_info<sycl::info::device::local_mem_size>(), 2048u);
  const hostsycl::device_profile* p = hostsycl::profile_of(d);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(p->architecture, 1);
  for (const auto& listed : hostsycl::gpu_profiles()) EXPECT_NE(listed.name, "emu-a1-little-local");
}

template <std::size_t Size>
struct requires_sub_group {
  static constexpr std::size_t required_sub_group_size = Size;
};

// Profiles reachable by name only whose one sub-group size is 1: the facts of emu-a4 and emu-a6
// otherwise. A kernel that demands 8, 16 or 32 is refused; one that demands none runs with 1.
TEST(Devices, NarrowSubGroupProfilesByNameOnly) {
  const std::pair<const char*, const char*> pairs[] = {{"emu-a4-narrow-sub-groups", "emu-a4"},
                                                       {"emu-a6-narrow-sub-groups", "emu-a6"}};
  for (const auto& [name, like] : pairs) {
    const sycl::device d = hostsycl::emulated_gpu(name);
    const hostsycl::device_profile* p = hostsycl::profile_of(d);
    const hostsycl::device_profile* q = hostsycl::profile_of(hostsycl::emulated_gpu(like));
    ASSERT_NE(p, nullptr);
    ASSERT_NE(q, nullptr);
    EXPECT_EQ(d.get_info<sycl::info::device::sub_group_sizes>(), std::vector<std::size_t>{1});
    EXPECT_EQ(p->preferred_sub_group_size, 1u);
    EXPECT_EQ(p->architecture, q->architecture) << name;
    EXPECT_EQ(p->eu_count, q->eu_count) << name;
    EXPECT_EQ(p->tile_count, q->tile_count) << name;
    EXPECT_EQ(p->max_work_group_size, q->max_work_group_size) << name;
    for (const auto& listed : hostsycl::gpu_profiles()) EXPECT_NE(listed.name, name);

    sycl::queue queue{d};
    for (auto submit : {+[](sycl::queue& qu) {
                          qu.parallel_for<requires_sub_group<8>>(sycl::nd_range<1>(16, 16),
                                                                 [=](sycl::nd_item<1>) {});
                        },
                        +[](sycl::queue& qu) {
                          qu.parallel_for<requires_sub_group<16>>(sycl::nd_range<1>(16, 16),
                                                                  [=](sycl::nd_item<1>) {});
                        },
                        +[](sycl::queue& qu) {
                          qu.parallel_for<requires_sub_group<32>>(sycl::nd_range<1>(32, 32),
                                                                  [=](sycl::nd_item<1>) {});
                        }}) {
      try {
        submit(queue);
        ADD_FAILURE() << name << ": a demanded sub-group size was not refused";
      } catch (const sycl::exception& e) {
        EXPECT_EQ(e.code(), sycl::errc::kernel_not_supported) << name;
      }
    }
    std::size_t* size = sycl::malloc_shared<std::size_t>(1, queue);
    *size = 0;
    queue
        .parallel_for(sycl::nd_range<1>(16, 16),
                      [=](sycl::nd_item<1> it) {
                        if (it.get_global_id(0) == 0)
                          *size = it.get_sub_group().get_max_local_range()[0];
                      })
        .wait();
    EXPECT_EQ(*size, 1u) << name;
    sycl::free(size, queue);
  }
}

TEST(Devices, DevicesCompareByIdentityAndHash) {
  auto a = hostsycl::emulated_gpu("emu-a2");
  auto b = hostsycl::emulated_gpu("emu-a2");
  auto c = hostsycl::emulated_gpu("emu-a4");
  EXPECT_EQ(a, b);
  EXPECT_NE(a, c);
  EXPECT_EQ(std::hash<sycl::device>()(a), std::hash<sycl::device>()(b));
}

TEST(Devices, PlatformListsCpuAndSelectedGpu) {
  auto devices = sycl::platform().get_devices();
  ASSERT_EQ(devices.size(), 2u);
  EXPECT_EQ(sycl::device::get_devices(sycl::info::device_type::cpu).size(), 1u);
  EXPECT_EQ(sycl::device::get_devices(sycl::info::device_type::gpu).size(), 1u);
  EXPECT_EQ(sycl::platform::get_platforms().size(), 1u);
  EXPECT_FALSE(sycl::platform().get_info<sycl::info::platform::name>().empty());
}

TEST(Devices, QueueOnAnyProfileUsesAContextHoldingItsDevice) {
  for (const auto& p : hostsycl::gpu_profiles()) {
    sycl::queue q{hostsycl::emulated_gpu(p.name)};
    auto devices = q.get_context().get_devices();
    EXPECT_NE(std::find(devices.begin(), devices.end(), q.get_device()), devices.end());
  }
}

TEST(Devices, QueueWithADeviceOutsideItsContextIsRefused) {
  sycl::context ctx{hostsycl::emulated_gpu("emu-a5")};
  try {
    sycl::queue q{ctx, hostsycl::emulated_gpu("emu-a2")};
    FAIL() << "expected an exception";
  } catch (const sycl::exception& e) {
    EXPECT_EQ(e.code(), sycl::errc::invalid);
  }
}

TEST(Devices, ProfilingIsNotSupported) {
  try {
    sycl::queue q{sycl::cpu_selector_v,
                  sycl::property_list{sycl::property::queue::enable_profiling{}}};
    FAIL() << "expected an exception";
  } catch (const sycl::exception& e) {
    EXPECT_EQ(e.code(), sycl::errc::feature_not_supported);
  }
}

TEST(Devices, AspectSelectorHonoursRequiredAndDeniedAspects) {
  sycl::device d{sycl::aspect_selector({sycl::aspect::cpu})};
  EXPECT_TRUE(d.is_cpu());
  sycl::device g{sycl::aspect_selector({sycl::aspect::fp64}, {sycl::aspect::cpu})};
  EXPECT_TRUE(g.is_gpu());
}

}  // namespace
