// Strict mode stops on misuse a device cannot report; stress mode reorders independent commands.
#include <gtest/gtest.h>

#include <atomic>
#include <hostsycl/hostsycl.hpp>
#include <vector>

namespace {

TEST(StrictModeDeathTest, AtomicOnHostUsmStops) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        hostsycl::set_strict_mode(true);
        sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
        int* h = sycl::malloc_host<int>(1, q);
        q.single_task([=] {
           sycl::atomic_ref<int, sycl::memory_order::relaxed, sycl::memory_scope::device>(*h)++;
         }).wait();
      },
      "atomic on host USM");
}

TEST(StrictModeDeathTest, AccessorIndexOutOfRangeStops) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        hostsycl::set_strict_mode(true);
        sycl::buffer<int> b{sycl::range<1>(8)};
        sycl::host_accessor a(b);
        a[8] = 1;
      },
      "accessor index out of range");
}

TEST(StrictModeDeathTest, LocalAccessorIndexOutOfRangeStops) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        hostsycl::set_strict_mode(true);
        sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
        q.submit([&](sycl::handler& h) {
           sycl::local_accessor<int, 1> tile(sycl::range<1>(16), h);
           h.parallel_for(sycl::nd_range<1>(16, 16),
                          [=](sycl::nd_item<1> it) { tile[it.get_local_id(0) + 1] = 0; });
         }).wait();
      },
      "accessor index out of range");
}

TEST(StrictModeDeathTest, UsmRangePastItsAllocationStops) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        hostsycl::set_strict_mode(true);
        sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
        int* d = sycl::malloc_device<int>(8, q);
        q.memset(d, 0, 9 * sizeof(int));
      },
      "USM range outside its allocation");
}

TEST(StrictModeDeathTest, MemsetOnNonUsmMemoryStops) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        hostsycl::set_strict_mode(true);
        sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
        std::vector<int> plain(8);
        q.memset(plain.data(), 0, sizeof(int));
      },
      "outside every live allocation");
}

TEST(StrictMode, AtomicsOnSharedAndDeviceUsmAreFine) {
  hostsycl::set_strict_mode(true);
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  int* s = sycl::malloc_shared<int>(1, q);
  *s = 0;
  q.parallel_for(sycl::range<1>(100), [=](sycl::id<1>) {
     sycl::atomic_ref<int, sycl::memory_order::relaxed, sycl::memory_scope::device>(*s)++;
   }).wait();
  EXPECT_EQ(*s, 100);
  sycl::free(s, q);
  hostsycl::set_strict_mode(false);
}

// Over a few seeds, two independent commands submitted in order must sometimes run the other
// way round, while a dependent pair never does.
TEST(StressMode, IndependentCommandsAreReorderedDependentOnesNever) {
  const bool was = hostsycl::stress_mode();
  sycl::queue q{sycl::cpu_selector_v};
  int reordered = 0;
  for (std::uint64_t seed = 1; seed <= 40; ++seed) {
    hostsycl::set_stress_mode(true, seed);
    std::atomic<int> clock{0};
    int first = -1, second = -1, dependent = -1;
    auto a = q.submit([&](sycl::handler& h) { h.host_task([&] { first = clock++; }); });
    auto b = q.submit([&](sycl::handler& h) { h.host_task([&] { second = clock++; }); });
    auto c = q.submit([&](sycl::handler& h) {
      h.depends_on(a);
      h.host_task([&] { dependent = clock++; });
    });
    sycl::event::wait({a, b, c});
    if (second < first) ++reordered;
    ASSERT_GT(dependent, first);
  }
  hostsycl::set_stress_mode(was, 20261122);
  EXPECT_GT(reordered, 0);
}

}  // namespace
