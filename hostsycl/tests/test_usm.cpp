// USM allocation, pointer queries, limits and injected failures.
#include <gtest/gtest.h>

#include <hostsycl/hostsycl.hpp>
#include <vector>

namespace {

TEST(Usm, PointerTypeTellsDeviceSharedAndHostApart) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  auto* d = sycl::malloc_device<double>(100, q);
  auto* s = sycl::malloc_shared<double>(100, q);
  auto* h = sycl::malloc_host<double>(100, q);
  const auto ctx = q.get_context();
  EXPECT_EQ(sycl::get_pointer_type(d, ctx), sycl::usm::alloc::device);
  EXPECT_EQ(sycl::get_pointer_type(s, ctx), sycl::usm::alloc::shared);
  EXPECT_EQ(sycl::get_pointer_type(h, ctx), sycl::usm::alloc::host);
  // Interior pointers belong to their allocation.
  EXPECT_EQ(sycl::get_pointer_type(d + 99, ctx), sycl::usm::alloc::device);
  EXPECT_EQ(sycl::get_pointer_device(s + 50, ctx), q.get_device());
  EXPECT_EQ(sycl::get_pointer_device(h, ctx), ctx.get_devices().front());
  sycl::free(d, q);
  sycl::free(s, q);
  sycl::free(h, ctx);
  EXPECT_EQ(sycl::get_pointer_type(d, ctx), sycl::usm::alloc::unknown);
}

TEST(Usm, ForeignMemoryAndOtherContextsAreUnknown) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  std::vector<int> plain(10);
  EXPECT_EQ(sycl::get_pointer_type(plain.data(), q.get_context()), sycl::usm::alloc::unknown);
  sycl::context other{q.get_device()};
  int* p = sycl::malloc_device<int>(10, q);
  EXPECT_EQ(sycl::get_pointer_type(p, other), sycl::usm::alloc::unknown);
  try {
    sycl::get_pointer_device(plain.data(), q.get_context());
    FAIL() << "expected an exception";
  } catch (const sycl::exception& e) {
    EXPECT_EQ(e.code(), sycl::errc::invalid);
  }
  sycl::free(p, q);
}

TEST(Usm, AlignmentIsHonoured) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  for (std::size_t alignment : {64u, 128u, 4096u}) {
    void* p = sycl::aligned_alloc_device(alignment, 1000, q);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p) % alignment, 0u);
    sycl::free(p, q);
  }
  EXPECT_EQ(sycl::aligned_alloc_shared(48, 100, q), nullptr);  // not a power of two
}

// Strict mode refuses an aligned size that C's aligned_alloc would refuse, so a caller that
// forgets to round shows here rather than on another runtime. Plain mallocs are never refused.
TEST(Usm, StrictModeRefusesAnAlignedSizeThatIsNoMultipleOfTheAlignment) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  hostsycl::set_strict_mode(true);
  try {
    sycl::aligned_alloc_device(4096, 1000, q);
    hostsycl::set_strict_mode(false);
    FAIL() << "expected an exception";
  } catch (const sycl::exception& e) {
    EXPECT_EQ(e.code(), sycl::errc::memory_allocation);
    EXPECT_STREQ(e.what(),
                 "aligned_alloc of 1000 bytes at alignment 4096: the size is not a multiple of "
                 "the alignment");
  }
  EXPECT_THROW(sycl::aligned_alloc_host<double>(64, 3, q), sycl::exception);
  for (void* p : {sycl::aligned_alloc_shared(64, 128, q), sycl::malloc_device(1000, q),
                  static_cast<void*>(sycl::malloc_shared<char>(3, q))}) {
    EXPECT_NE(p, nullptr);
    sycl::free(p, q);
  }
  hostsycl::set_strict_mode(false);
  void* lenient = sycl::aligned_alloc_device(4096, 1000, q);
  EXPECT_NE(lenient, nullptr) << "outside strict mode the runtime rounds as before";
  sycl::free(lenient, q);
}

TEST(Usm, RequestAboveMaxAllocationSizeReturnsNull) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  const auto max = q.get_device().get_info<sycl::info::device::max_mem_alloc_size>();
  EXPECT_EQ(sycl::malloc_device(max + 1, q), nullptr);
}

TEST(Usm, GlobalMemoryCountsLiveAllocations) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a4")};
  const auto global = q.get_device().get_info<sycl::info::device::global_mem_size>();
  const auto max = q.get_device().get_info<sycl::info::device::max_mem_alloc_size>();
  const auto before = hostsycl::live_allocation_bytes(q.get_device());
  // Address space is reserved, not touched: the pages stay unmapped.
  std::vector<void*> held;
  std::uint64_t total = before;
  while (total + max <= global) {
    void* p = sycl::malloc_device(max, q);
    ASSERT_NE(p, nullptr);
    held.push_back(p);
    total += max;
  }
  EXPECT_EQ(hostsycl::live_allocation_bytes(q.get_device()), total);
  EXPECT_EQ(sycl::malloc_shared(global - total + 1, q), nullptr);
  sycl::free(held.back(), q);
  held.pop_back();
  void* again = sycl::malloc_shared(max, q);
  EXPECT_NE(again, nullptr);
  held.push_back(again);
  for (void* p : held) sycl::free(p, q);
  EXPECT_EQ(hostsycl::live_allocation_bytes(q.get_device()), before);
}

TEST(Usm, InjectedFailuresMakeTheNextAllocationsFail) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  hostsycl::fail_next_allocations(2);
  EXPECT_EQ(sycl::malloc_device<int>(4, q), nullptr);
  EXPECT_EQ(sycl::malloc_host<int>(4, q), nullptr);
  int* ok = sycl::malloc_shared<int>(4, q);
  EXPECT_NE(ok, nullptr);
  sycl::free(ok, q);
}

TEST(Usm, InjectedFailuresAfterSomeAllocationsThatSucceed) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  hostsycl::fail_allocations_after(2, 1);
  int* first = sycl::malloc_device<int>(4, q);
  int* second = sycl::malloc_host<int>(4, q);
  EXPECT_NE(first, nullptr);
  EXPECT_NE(second, nullptr);
  EXPECT_EQ(sycl::malloc_shared<int>(4, q), nullptr);
  int* after = sycl::malloc_device<int>(4, q);
  EXPECT_NE(after, nullptr);
  for (int* p : {first, second, after}) sycl::free(p, q);
}

class counted_a;
class counted_b;

TEST(Usm, KernelSubmissionsAreCountedByName) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  hostsycl::reset_kernel_counts();
  int* p = sycl::malloc_shared<int>(8, q);
  q.submit([&](sycl::handler& h) { h.single_task<counted_a>([=] { p[0] = 1; }); }).wait();
  q.submit([&](sycl::handler& h) {
     h.parallel_for<counted_b>(sycl::range<1>(8), [=](sycl::id<1> i) { p[i] = 2; });
   }).wait();
  q.submit([&](sycl::handler& h) {
     h.parallel_for<counted_b>(sycl::nd_range<1>(8, 4),
                               [=](sycl::nd_item<1> i) { p[i.get_global_id(0)] = 3; });
   }).wait();
  q.memset(p, 0, sizeof(int)).wait();  // not a kernel
  EXPECT_EQ(hostsycl::kernels_submitted("counted_a"), 1u);
  EXPECT_EQ(hostsycl::kernels_submitted("counted_b"), 2u);
  EXPECT_EQ(hostsycl::kernels_submitted(), 3u);
  hostsycl::reset_kernel_counts();
  EXPECT_EQ(hostsycl::kernels_submitted(), 0u);
  sycl::free(p, q);
}

TEST(Usm, BufferAllocationFailureThrowsMemoryAllocation) {
  hostsycl::fail_next_allocations(1);
  try {
    sycl::buffer<int> b{sycl::range<1>(16)};
    FAIL() << "expected an exception";
  } catch (const sycl::exception& e) {
    EXPECT_EQ(e.code(), sycl::errc::memory_allocation);
  }
}

TEST(Usm, FreeOfForeignPointerIsRefusedAndNullIsFine) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  sycl::free(nullptr, q);
  int local = 0;
  try {
    sycl::free(&local, q);
    FAIL() << "expected an exception";
  } catch (const sycl::exception& e) {
    EXPECT_EQ(e.code(), sycl::errc::invalid);
  }
}

TEST(Usm, DeviceOutsideTheContextIsRefused) {
  sycl::context ctx{hostsycl::emulated_gpu("emu-a1")};
  try {
    (void)sycl::malloc_device(16, hostsycl::emulated_gpu("emu-a2"), ctx);
    FAIL() << "expected an exception";
  } catch (const sycl::exception& e) {
    EXPECT_EQ(e.code(), sycl::errc::invalid);
  }
}

TEST(Usm, MemcpyMemsetFillAndCopyMoveTheRightBytes) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3"),
                sycl::property_list{sycl::property::queue::in_order{}}};
  constexpr std::size_t n = 1000;
  int* d = sycl::malloc_device<int>(n, q);
  int* s = sycl::malloc_shared<int>(n, q);
  std::vector<int> host(n);
  q.memset(d, 0xff, n * sizeof(int));
  q.copy(d, s, n).wait();
  for (std::size_t i = 0; i < n; ++i) ASSERT_EQ(s[i], -1);
  q.fill(d, 42, n / 2);
  q.memcpy(host.data(), d, n * sizeof(int)).wait();
  for (std::size_t i = 0; i < n; ++i) ASSERT_EQ(host[i], i < n / 2 ? 42 : -1);
  sycl::free(d, q);
  sycl::free(s, q);
}

}  // namespace
