// The portability layer: required sub-group sizes, block loads and stores, explicit SIMD.
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <hostsycl/hostsycl.hpp>
#include <vector>

#include "common/portability.hpp"

namespace portable = orvane::vrt::portable;

namespace {

template <std::size_t S>
struct block_kernel;

template <std::size_t S>
void check_block_layout(const char* profile) {
  sycl::queue q{hostsycl::emulated_gpu(profile)};
  constexpr int per_item = 3;
  const std::size_t n = S * per_item;
  // The source is exactly as long as one sub-group reads: any read past it is a heap overflow.
  int* src = sycl::malloc_shared<int>(n, q);
  int* dst = sycl::malloc_shared<int>(n, q);
  int* seen = sycl::malloc_shared<int>(S * per_item, q);
  std::size_t* size = sycl::malloc_shared<std::size_t>(1, q);
  for (std::size_t i = 0; i < n; ++i) src[i] = static_cast<int>(i * 3 + 1);
  q.parallel_for<portable::sub_group_kernel<block_kernel<S>, S>>(
       sycl::nd_range<1>(S, S),
       [=](sycl::nd_item<1> it) [[sycl::reqd_sub_group_size(S)]] {
         const auto sg = it.get_sub_group();
         const auto values = portable::sub_group_load<per_item>(sg, src);
         for (int k = 0; k < per_item; ++k) seen[it.get_local_id(0) * per_item + k] = values[k];
         portable::sub_group_store<per_item>(sg, dst, values);
         if (it.get_local_id(0) == 0) *size = sg.get_max_local_range()[0];
       })
      .wait();
  EXPECT_EQ(*size, S);
  for (std::size_t lane = 0; lane < S; ++lane)
    for (int k = 0; k < per_item; ++k) ASSERT_EQ(seen[lane * per_item + k], src[lane + k * S]);
  for (std::size_t i = 0; i < n; ++i) ASSERT_EQ(dst[i], src[i]);
  for (void* p : {static_cast<void*>(src), static_cast<void*>(dst), static_cast<void*>(seen),
                  static_cast<void*>(size)})
    sycl::free(p, q);
}

TEST(SubGroupBlocks, LayoutAtSize8) { check_block_layout<8>("emu-a3"); }
TEST(SubGroupBlocks, LayoutAtSize16) { check_block_layout<16>("emu-a6"); }
TEST(SubGroupBlocks, LayoutAtSize32) { check_block_layout<32>("emu-a6"); }

struct masked_kernel;

TEST(SubGroupBlocks, MaskedTailsNeverTouchMemoryPastCount) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  constexpr std::size_t count = 37;  // 16 * 4 would be 64
  double* src = sycl::malloc_device<double>(count, q);
  double* dst = sycl::malloc_device<double>(count, q);
  std::vector<double> host(count), back(count, 0.0);
  for (std::size_t i = 0; i < count; ++i) host[i] = 0.5 * static_cast<double>(i);
  q.memcpy(src, host.data(), count * sizeof(double)).wait();
  q.parallel_for<portable::sub_group_kernel<masked_kernel, 16>>(
       sycl::nd_range<1>(16, 16),
       [=](sycl::nd_item<1> it) [[sycl::reqd_sub_group_size(16)]] {
         const auto sg = it.get_sub_group();
         auto values = portable::sub_group_load<4>(sg, src, count, -1.0);
         for (auto& v : values) v *= 2.0;
         portable::sub_group_store<4>(sg, dst, values, count);
       })
      .wait();
  q.memcpy(back.data(), dst, count * sizeof(double)).wait();
  for (std::size_t i = 0; i < count; ++i) ASSERT_EQ(back[i], host[i] * 2.0);
  sycl::free(src, q);
  sycl::free(dst, q);
}

// Strict mode: a block that reaches past its USM allocation stops the program, as a device
// cannot report it; a masked block is checked up to its count only.
template <bool Store, bool Masked>
struct strict_block_kernel;

template <bool Store, bool Masked>
void run_block(std::size_t allocated, std::size_t count) {
  hostsycl::set_strict_mode(true);
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  double* data = sycl::malloc_device<double>(allocated, q);
  q.parallel_for<portable::sub_group_kernel<strict_block_kernel<Store, Masked>, 16>>(
       sycl::nd_range<1>(16, 16),
       [=](sycl::nd_item<1> it) [[sycl::reqd_sub_group_size(16)]] {
         const auto sg = it.get_sub_group();
         if constexpr (Store && Masked)
           portable::sub_group_store<4>(sg, data, std::array<double, 4>{}, count);
         else if constexpr (Store)
           portable::sub_group_store<4>(sg, data, std::array<double, 4>{});
         else if constexpr (Masked)
           (void)portable::sub_group_load<4>(sg, static_cast<const double*>(data), count, 0.0);
         else
           (void)portable::sub_group_load<4>(sg, static_cast<const double*>(data));
       })
      .wait();
  sycl::free(data, q);
  hostsycl::set_strict_mode(false);
}

TEST(SubGroupBlocksDeathTest, ABlockPastItsAllocationStopsInStrictMode) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  // 16 work-items times 4 elements: 64 elements, one more than allocated.
  EXPECT_DEATH((run_block<false, false>(63, 0)), "USM range outside its allocation");
  EXPECT_DEATH((run_block<true, false>(63, 0)), "USM range outside its allocation");
  EXPECT_DEATH((run_block<false, true>(40, 41)), "USM range outside its allocation");
  EXPECT_DEATH((run_block<true, true>(40, 41)), "USM range outside its allocation");
}

// Blocks that stay inside: the child ends normally. A masked block reaches its count only,
// though four elements per work-item would reach 64.
void run_blocks_inside() {
  run_block<false, true>(37, 37);
  run_block<true, true>(37, 37);
  run_block<false, false>(64, 0);
  run_block<true, false>(64, 0);
}

TEST(SubGroupBlocksDeathTest, BlocksWithinTheirAllocationPassStrictMode) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        run_blocks_inside();
        std::exit(0);
      },
      ::testing::ExitedWithCode(0), "");
}

struct wide_only_kernel;

TEST(RequiredSubGroupSize, SizeTheDeviceLacksIsRefused) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a6")};
  try {
    q.parallel_for<portable::sub_group_kernel<wide_only_kernel, 8>>(
        sycl::nd_range<1>(8, 8), [=](sycl::nd_item<1>) [[sycl::reqd_sub_group_size(8)]] {});
    FAIL() << "expected an exception";
  } catch (const sycl::exception& e) {
    EXPECT_EQ(e.code(), sycl::errc::kernel_not_supported);
  }
}

TEST(ExplicitSimd, OperationsMatchAScalarReference) {
  constexpr int N = 16;
  std::vector<float> a(N), b(N), base(64), out(64, 0.f);
  for (int i = 0; i < N; ++i) {
    a[i] = static_cast<float>(i) - 4.f;
    b[i] = 0.25f * static_cast<float>(i);
  }
  for (int i = 0; i < 64; ++i) base[i] = static_cast<float>(i * i);
  portable::simd<float, N> va, vb;
  va.block_load(a.data());
  vb.block_load(b.data());
  const auto sum = va + vb;
  const auto f = portable::fma(va, vb, sum);
  const auto mask = va < vb;
  const auto merged = portable::merge(va, vb, mask);
  auto offsets = portable::simd<int, N>::iota(0, 3);
  portable::simd<float, N> gathered(-1.f);
  portable::simd_mask<N> even;
  for (int i = 0; i < N; ++i) even[i] = i % 2 == 0;
  gathered.gather(base.data(), offsets, even);
  gathered.scatter(out.data(), offsets, even);
  float total = 0.f, mx = a[0], mn = a[0];
  for (int i = 0; i < N; ++i) {
    ASSERT_EQ(sum[i], a[i] + b[i]);
    ASSERT_EQ(f[i], std::fma(a[i], b[i], a[i] + b[i]));
    ASSERT_EQ(mask[i], a[i] < b[i]);
    ASSERT_EQ(merged[i], a[i] < b[i] ? a[i] : b[i]);
    ASSERT_EQ(gathered[i], i % 2 == 0 ? base[3 * i] : -1.f);
    total += a[i];
    mx = std::max(mx, a[i]);
    mn = std::min(mn, a[i]);
  }
  for (int i = 0; i < 64; ++i) ASSERT_EQ(out[i], (i % 6 == 0 && i / 3 < N) ? base[i] : 0.f);
  EXPECT_EQ(portable::reduce_add(va), total);
  EXPECT_EQ(portable::reduce_max(va), mx);
  EXPECT_EQ(portable::reduce_min(va), mn);
  EXPECT_TRUE(mask.any());
  EXPECT_FALSE(mask.all());
  std::vector<float> stored(N);
  va.block_store(stored.data());
  EXPECT_EQ(stored, a);
}

TEST(Prefetch, IsAHintWithoutEffect) {
  std::vector<int> v(8, 5);
  portable::prefetch(v.data(), v.size());
  EXPECT_EQ(v[7], 5);
}

}  // namespace
