// Containers and the inclusive scan, in both memory models, against plain host computations.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <hostsycl/hostsycl.hpp>
#include <limits>
#include <numeric>
#include <orvane/vrt/sparse.hpp>
#include <random>
#include <vector>

#include "containers/containers.hpp"
#include "containers/prefix_sum.hpp"

namespace vs = orvane::vrt::sparse;

namespace {

template <typename I>
std::vector<I> random_counts(std::size_t n, unsigned seed) {
  std::mt19937 rng(seed);
  std::vector<I> v(n);
  for (auto& x : v) x = static_cast<I>(rng() % 50);
  return v;
}

// Scans `input` on the device in the chosen memory model; returns the array and the total.
template <typename I>
std::pair<std::vector<I>, long> device_scan(sycl::queue& q, const std::vector<I>& input,
                                            vs::containerType container) {
  std::vector<I> out(input.size());
  long total = -1;
  if (container == vs::container_usm) {
    I* data = sycl::malloc_device<I>(std::max<std::size_t>(input.size(), 1), q);
    long* t = sycl::malloc_shared<long>(1, q);
    *t = -1;
    if (!input.empty()) q.memcpy(data, input.data(), input.size() * sizeof(I)).wait();
    vs::prefix_sum(q, data, input.size(), container, t, {}).wait();
    if (!input.empty()) q.memcpy(out.data(), data, input.size() * sizeof(I)).wait();
    total = *t;
    sycl::free(data, q);
    sycl::free(t, q);
  } else {
    std::vector<I> copy = input;
    copy.resize(std::max<std::size_t>(input.size(), 1));
    {
      sycl::buffer<I, 1> data(copy.data(), sycl::range<1>(copy.size()));
      sycl::buffer<long, 1> t(&total, sycl::range<1>(1));
      vs::prefix_sum(q, &data, input.size(), container, &t, {});
    }
    std::copy_n(copy.begin(), input.size(), out.begin());
  }
  return {out, total};
}

template <typename I>
void check_scan(const char* profile, std::size_t n, vs::containerType container) {
  sycl::queue q{hostsycl::emulated_gpu(profile)};
  const auto input = random_counts<I>(n, static_cast<unsigned>(n));
  std::vector<I> expected(n);
  std::inclusive_scan(input.begin(), input.end(), expected.begin());
  const auto [out, total] = device_scan(q, input, container);
  EXPECT_EQ(out, expected);
  EXPECT_EQ(total, n == 0 ? 0 : static_cast<long>(expected.back()));
}

class PrefixSum : public ::testing::TestWithParam<vs::containerType> {};

// emu-a3 scans in groups of 512 items, emu-a5 in groups of 1024.
TEST_P(PrefixSum, SingleGroupSizesIncludingExactlyOneGroup) {
  for (std::size_t n : {std::size_t{1}, std::size_t{7}, std::size_t{511}, std::size_t{512}}) {
    SCOPED_TRACE(n);
    check_scan<int>("emu-a3", n, GetParam());
    check_scan<long>("emu-a3", n, GetParam());
  }
  check_scan<int>("emu-a5", 1024, GetParam());
}

TEST_P(PrefixSum, OneMoreThanAGroupTakesTheMultiGroupPath) {
  check_scan<int>("emu-a3", 513, GetParam());
  check_scan<long>("emu-a5", 1025, GetParam());
}

TEST_P(PrefixSum, ManyGroupsAndThreeLevelsOfRecursion) {
  check_scan<int>("emu-a3", 3 * 512 + 7, GetParam());
  check_scan<long>("emu-a3", 512 * 512 + 1000, GetParam());  // group sums need a second level
}

TEST_P(PrefixSum, EmptyArrayHasTotalZero) { check_scan<int>("emu-a3", 0, GetParam()); }

INSTANTIATE_TEST_SUITE_P(BothMemoryModels, PrefixSum,
                         ::testing::Values(vs::container_usm, vs::container_buffer));

TEST(Containers, FillAndCopyInBothMemoryModels) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a1")};
  constexpr std::size_t n = 1000;
  auto* a = static_cast<double*>(vs::allocate_device_container<double>(n, q, vs::container_usm));
  auto* b = static_cast<double*>(vs::allocate_shared_container<double>(n, q, vs::container_usm));
  ASSERT_NE(a, nullptr);
  ASSERT_NE(b, nullptr);
  // Outputs start as NaN: only what the routines write can match.
  std::fill(b, b + n, std::numeric_limits<double>::quiet_NaN());
  q.fill(a, std::numeric_limits<double>::quiet_NaN(), n).wait();
  auto filled = vs::fill_container<double>(q, a, 2.5, n, {});
  vs::copy_container<double>(q, a, b, n, {filled}).wait();
  for (std::size_t i = 0; i < n; ++i) ASSERT_EQ(b[i], 2.5);
  vs::deallocate_container<double>(a, q, vs::container_usm);
  vs::deallocate_container<double>(b, q, vs::container_usm);

  void* x = vs::allocate_device_container<std::complex<float>>(n, q, vs::container_buffer);
  void* y = vs::allocate_host_container<std::complex<float>>(n, q, vs::container_buffer);
  auto* bx = static_cast<sycl::buffer<std::complex<float>, 1>*>(x);
  auto* by = static_cast<sycl::buffer<std::complex<float>, 1>*>(y);
  {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    sycl::host_accessor hx(*bx), hy(*by);
    for (std::size_t i = 0; i < n; ++i) hx[i] = hy[i] = {nan, nan};
  }
  vs::fill_container<std::complex<float>>(q, bx, {1.f, -1.f}, n, {});
  vs::copy_container<std::complex<float>>(q, bx, by, n / 2, {});
  {
    sycl::host_accessor h(*by);
    for (std::size_t i = 0; i < n / 2; ++i) ASSERT_EQ(h[i], std::complex<float>(1.f, -1.f));
    EXPECT_TRUE(std::isnan(h[n / 2].real())) << "the copy stops at its count";
  }
  vs::deallocate_container<std::complex<float>>(x, q, vs::container_buffer);
  vs::deallocate_container<std::complex<float>>(y, q, vs::container_buffer);
}

TEST(Containers, DeviceAllocationUnderPressureFallsBackToHostUsm) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  hostsycl::fail_next_allocations(1);
  void* p = vs::allocate_device_container<int>(100, q, vs::container_usm);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(sycl::get_pointer_type(p, q.get_context()), sycl::usm::alloc::host);
  vs::deallocate_container<int>(p, q.get_context(), vs::container_usm);
  EXPECT_EQ(sycl::get_pointer_type(p, q.get_context()), sycl::usm::alloc::unknown);
  hostsycl::fail_next_allocations(2);
  EXPECT_EQ(vs::allocate_shared_container<int>(100, q, vs::container_usm), nullptr);
  void* d = vs::allocate_device_container<int>(100, q, vs::container_usm);
  EXPECT_EQ(sycl::get_pointer_type(d, q.get_context()), sycl::usm::alloc::device);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(d) % 4096, 0u);
  vs::deallocate_container<int>(d, q, vs::container_usm);
}

TEST(Containers, DeallocatingNullIsHarmless) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  float* kept = sycl::malloc_device<float>(16, q);
  const auto live = hostsycl::live_allocation_bytes(q.get_device());
  EXPECT_NO_THROW(vs::deallocate_container<float>(nullptr, q, vs::container_buffer));
  EXPECT_NO_THROW(vs::deallocate_container<float>(nullptr, q, vs::container_usm));
  EXPECT_EQ(hostsycl::live_allocation_bytes(q.get_device()), live) << "nothing else was freed";
  EXPECT_EQ(sycl::get_pointer_type(kept, q.get_context()), sycl::usm::alloc::device);
  sycl::free(kept, q);
}

TEST(Containers, CarvingAWorkspaceUpToItsExactEnd) {
  alignas(64) unsigned char workspace[256];
  long* tail = vs::convert_sub_type<unsigned char, long>(workspace, 256, 192, 8);
  EXPECT_EQ(reinterpret_cast<unsigned char*>(tail), workspace + 192);
  try {
    vs::convert_sub_type<unsigned char, long>(workspace, 256, 200, 8);
    FAIL() << "expected an exception";
  } catch (const orvane::vrt::computation_error& e) {
    EXPECT_STREQ(e.what(), "orvane::vrt::sparse: computation error: internal error");
  }
}

TEST(Containers, CarvingABufferWorkspaceViewsTheSameBytes) {
  sycl::buffer<unsigned char, 1> workspace{sycl::range<1>(256)};
  {
    sycl::host_accessor h(workspace);
    for (int i = 0; i < 256; ++i) h[i] = static_cast<unsigned char>(i);
  }
  std::unique_ptr<sycl::buffer<int, 1>> whole(
      vs::convert_sub_type<unsigned char, int>(&workspace, 256, 0, 64));
  std::unique_ptr<sycl::buffer<int, 1>> part(
      vs::convert_sub_type<unsigned char, int>(&workspace, 256, 128, 32));
  // An empty array cannot be a sub-buffer: it gets an element of its own.
  std::unique_ptr<sycl::buffer<int, 1>> empty(
      vs::convert_sub_type<unsigned char, int>(&workspace, 256, 128, 0));
  ASSERT_NE(empty, nullptr);
  EXPECT_EQ(empty->size(), 1u);
  int expected_first = 0, expected_part = 0;
  const unsigned char first[4] = {0, 1, 2, 3}, at128[4] = {128, 129, 130, 131};
  std::memcpy(&expected_first, first, 4);
  std::memcpy(&expected_part, at128, 4);
  EXPECT_EQ(sycl::host_accessor(*whole)[0], expected_first);
  EXPECT_EQ(sycl::host_accessor(*part)[0], expected_part);
  try {
    delete vs::convert_sub_type<unsigned char, int>(&workspace, 256, 128, 33);
    FAIL() << "expected an exception";
  } catch (const orvane::vrt::computation_error& e) {
    EXPECT_STREQ(e.what(), "orvane::vrt::sparse: computation error: internal error");
  }
}

TEST(Containers, CopyAndAdjustIndexingShiftsByTheBaseDifference) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  constexpr std::size_t n = 100;
  int* src = sycl::malloc_shared<int>(n, q);
  int* dst = sycl::malloc_shared<int>(n, q);
  std::iota(src, src + n, 0);
  std::fill(dst, dst + n, -1);
  vs::copy_and_adjust_indexing<int>(q, 0, 1, 1, src, dst, n, vs::container_usm, {}).wait();
  for (std::size_t i = 0; i < n; ++i) ASSERT_EQ(dst[i], static_cast<int>(i) + 1);
  std::fill(dst, dst + n, -1);
  vs::copy_and_adjust_indexing<int>(q, 1, 1, 0, src, dst, n, vs::container_usm, {}).wait();
  for (std::size_t i = 0; i < n; ++i) ASSERT_EQ(dst[i], static_cast<int>(i) - 1);
  std::fill(dst, dst + n, -1);
  vs::copy_and_adjust_indexing<int>(q, 1, 1, 1, src, dst, n, vs::container_usm, {}).wait();
  for (std::size_t i = 0; i < n; ++i) ASSERT_EQ(dst[i], static_cast<int>(i));
  sycl::free(src, q);
  sycl::free(dst, q);
}

}  // namespace
