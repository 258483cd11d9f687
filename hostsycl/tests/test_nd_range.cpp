// nd_range kernels: work-group barriers, local memory, group and sub-group functions.
#include <gtest/gtest.h>

#include <hostsycl/hostsycl.hpp>
#include <numeric>
#include <random>
#include <vector>

#include "test_scale.hpp"
#include "test_support.hpp"

namespace {

template <std::size_t Size>
struct sub_group_probe {
  static constexpr std::size_t required_sub_group_size = Size;
};

using test_support::code_of;

// Multi-group inclusive scan: scan each group in local memory with barriers, scan the group
// totals, then add each group's offset.
TEST(NdRange, MultiGroupInclusiveScanMatchesTheSequentialScan) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3"),
                sycl::property_list{sycl::property::queue::in_order{}}};
  constexpr std::size_t wg = 256, groups = 256 / test_scale::divisor, n = wg * groups;
  std::vector<long> input(n);
  std::mt19937 rng(7);
  for (auto& v : input) v = static_cast<long>(rng() % 1000);
  long* data = sycl::malloc_device<long>(n, q);
  long* totals = sycl::malloc_device<long>(groups, q);
  q.memcpy(data, input.data(), n * sizeof(long));
  q.submit([&](sycl::handler& h) {
    sycl::local_accessor<long, 1> tile(sycl::range<1>(wg), h);
    h.parallel_for(sycl::nd_range<1>(n, wg), [=](sycl::nd_item<1> it) {
      const std::size_t lid = it.get_local_id(0);
      tile[lid] = data[it.get_global_id(0)];
      for (std::size_t stride = 1; stride < wg; stride *= 2) {
        sycl::group_barrier(it.get_group());
        const long add = lid >= stride ? tile[lid - stride] : 0;
        sycl::group_barrier(it.get_group());
        tile[lid] += add;
      }
      sycl::group_barrier(it.get_group());
      data[it.get_global_id(0)] = tile[lid];
      if (lid == wg - 1) totals[it.get_group(0)] = tile[lid];
    });
  });
  q.submit([&](sycl::handler& h) {
    h.parallel_for(sycl::nd_range<1>(groups, groups), [=](sycl::nd_item<1> it) {
      const long x = totals[it.get_global_id(0)];
      totals[it.get_global_id(0)] =
          sycl::exclusive_scan_over_group(it.get_group(), x, sycl::plus<long>());
    });
  });
  q.parallel_for(sycl::nd_range<1>(n, wg), [=](sycl::nd_item<1> it) {
    data[it.get_global_id(0)] += totals[it.get_group(0)];
  });
  std::vector<long> out(n);
  q.memcpy(out.data(), data, n * sizeof(long)).wait();
  std::vector<long> expected(n);
  std::inclusive_scan(input.begin(), input.end(), expected.begin());
  EXPECT_EQ(out, expected);
  sycl::free(data, q);
  sycl::free(totals, q);
}

template <std::size_t Size>
void check_sub_group_functions(const char* profile) {
  sycl::queue q{hostsycl::emulated_gpu(profile)};
  // 100 work-items: the last sub-group is partial at every size.
  constexpr std::size_t wg = 100, groups = 3, n = wg * groups;
  int* in = sycl::malloc_shared<int>(n, q);
  int* out = sycl::malloc_shared<int>(n * 9, q);
  for (std::size_t i = 0; i < n; ++i) in[i] = static_cast<int>((i * 37) % 101) - 50;
  q.parallel_for<sub_group_probe<Size>>(sycl::nd_range<1>(n, wg), [=](sycl::nd_item<1> it) {
     const auto sg = it.get_sub_group();
     const std::size_t g = it.get_global_id(0);
     const int x = in[g];
     out[g * 9 + 0] = sycl::reduce_over_group(sg, x, sycl::plus<int>());
     out[g * 9 + 1] = sycl::inclusive_scan_over_group(sg, x, sycl::plus<int>());
     out[g * 9 + 2] = sycl::exclusive_scan_over_group(sg, x, sycl::plus<int>());
     out[g * 9 + 3] = sycl::group_broadcast(sg, x, 1u);
     out[g * 9 + 4] = sycl::shift_group_left(sg, x, 1u);
     out[g * 9 + 5] = sycl::permute_group_by_xor(sg, x, 1u);
     out[g * 9 + 6] = sycl::reduce_over_group(sg, x, sycl::maximum<int>());
     out[g * 9 + 7] = static_cast<int>(sg.get_max_local_range()[0]);
     out[g * 9 + 8] = sycl::any_of_group(sg, x > 45) ? 1 : 0;
   }).wait();
  for (std::size_t grp = 0; grp < groups; ++grp) {
    for (std::size_t first = 0; first < wg; first += Size) {
      const std::size_t size = std::min(Size, wg - first);
      const std::size_t base = grp * wg + first;
      int sum = 0, mx = -1000, prefix = 0;
      bool any = false;
      for (std::size_t k = 0; k < size; ++k) {
        sum += in[base + k];
        mx = std::max(mx, in[base + k]);
        any = any || in[base + k] > 45;
      }
      for (std::size_t k = 0; k < size; ++k) {
        const int* o = &out[(base + k) * 9];
        ASSERT_EQ(o[0], sum);
        ASSERT_EQ(o[2], prefix);
        prefix += in[base + k];
        ASSERT_EQ(o[1], prefix);
        if (size > 1) {
          ASSERT_EQ(o[3], in[base + 1]);
        }
        if (k + 1 < size) {
          ASSERT_EQ(o[4], in[base + k + 1]);
        }
        if ((k ^ 1) < size) {
          ASSERT_EQ(o[5], in[base + (k ^ 1)]);
        }
        ASSERT_EQ(o[6], mx);
        ASSERT_EQ(o[7], static_cast<int>(Size));
        ASSERT_EQ(o[8], any ? 1 : 0);
      }
    }
  }
  sycl::free(in, q);
  sycl::free(out, q);
}

TEST(SubGroups, CollectivesAtSize8) { check_sub_group_functions<8>("emu-a3"); }
TEST(SubGroups, CollectivesAtSize16) { check_sub_group_functions<16>("emu-a3"); }
TEST(SubGroups, CollectivesAtSize32) { check_sub_group_functions<32>("emu-a6"); }

TEST(SubGroups, KernelWithoutRequirementRunsAtThePreferredSize) {
  for (const char* profile : {"emu-a3", "emu-a6"}) {
    sycl::queue q{hostsycl::emulated_gpu(profile)};
    std::size_t* size = sycl::malloc_shared<std::size_t>(1, q);
    q.parallel_for(sycl::nd_range<1>(64, 64), [=](sycl::nd_item<1> it) {
       if (it.get_global_id(0) == 0) *size = it.get_sub_group().get_max_local_range()[0];
     }).wait();
    EXPECT_EQ(*size, hostsycl::profile_of(q.get_device())->preferred_sub_group_size);
    sycl::free(size, q);
  }
}

TEST(SubGroups, RequiredSizeTheDeviceLacksIsRefusedAtSubmission) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a6")};
  EXPECT_EQ(code_of([&] {
              q.parallel_for<sub_group_probe<8>>(sycl::nd_range<1>(64, 64),
                                                 [=](sycl::nd_item<1>) {});
            }),
            sycl::errc::kernel_not_supported);
}

TEST(SubGroups, SelectAndShiftRightAndWorkGroupBroadcast) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  constexpr std::size_t n = 64;
  float* out = sycl::malloc_shared<float>(3 * n, q);
  q.parallel_for<sub_group_probe<16>>(sycl::nd_range<1>(n, 32), [=](sycl::nd_item<1> it) {
     const auto sg = it.get_sub_group();
     const float x = static_cast<float>(it.get_global_id(0));
     const std::size_t g = it.get_global_id(0);
     out[g] = sycl::select_from_group(sg, x, sycl::id<1>((sg.get_local_id()[0] + 3) % 16));
     out[n + g] = sycl::shift_group_right(sg, x, 2u);
     out[2 * n + g] = sycl::group_broadcast(it.get_group(), x, std::size_t{5});
   }).wait();
  for (std::size_t g = 0; g < n; ++g) {
    const std::size_t first = g / 16 * 16, k = g % 16;
    ASSERT_EQ(out[g], static_cast<float>(first + (k + 3) % 16));
    if (k >= 2) {
      ASSERT_EQ(out[n + g], static_cast<float>(g - 2));
    }
    ASSERT_EQ(out[2 * n + g], static_cast<float>(g / 32 * 32 + 5));
  }
  sycl::free(out, q);
}

TEST(NdRange, TwoAndThreeDimensionalIdsAreConsistent) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  sycl::nd_range<3> ndr(sycl::range<3>(4, 6, 8), sycl::range<3>(2, 3, 4));
  const std::size_t n = 4 * 6 * 8;
  int* bad = sycl::malloc_shared<int>(1, q);
  *bad = 0;
  q.parallel_for(ndr, [=](sycl::nd_item<3> it) {
     bool ok = true;
     for (int d = 0; d < 3; ++d)
       ok = ok &&
            it.get_global_id(d) == it.get_group(d) * it.get_local_range(d) + it.get_local_id(d);
     ok = ok && it.get_global_linear_id() ==
                    (it.get_global_id(0) * 6 + it.get_global_id(1)) * 8 + it.get_global_id(2);
     ok = ok && it.get_local_linear_id() ==
                    (it.get_local_id(0) * 3 + it.get_local_id(1)) * 4 + it.get_local_id(2);
     ok = ok &&
          it.get_group_linear_id() == (it.get_group(0) * 2 + it.get_group(1)) * 2 + it.get_group(2);
     ok = ok && it.get_global_linear_id() < n;
     if (!ok)
       sycl::atomic_ref<int, sycl::memory_order::relaxed, sycl::memory_scope::device>(*bad)++;
   }).wait();
  EXPECT_EQ(*bad, 0);
  sycl::free(bad, q);
}

TEST(NdRange, IndivisibleRangeAndOversizedGroupAreRefused) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  EXPECT_EQ(code_of([&] { q.parallel_for(sycl::nd_range<1>(100, 32), [=](sycl::nd_item<1>) {}); }),
            sycl::errc::nd_range);
  EXPECT_EQ(
      code_of([&] { q.parallel_for(sycl::nd_range<1>(2048, 1024), [=](sycl::nd_item<1>) {}); }),
      sycl::errc::nd_range);
  q.parallel_for(sycl::nd_range<1>(0, 32), [=](sycl::nd_item<1>) {}).wait();
}

TEST(NdRange, LocalAccessorWithARangeKernelIsRefused) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  EXPECT_EQ(code_of([&] {
              q.submit([&](sycl::handler& h) {
                sycl::local_accessor<int, 1> l(sycl::range<1>(4), h);
                h.parallel_for(sycl::range<1>(4), [=](sycl::id<1> i) { l[i] = 0; });
              });
            }),
            sycl::errc::kernel_argument);
}

TEST(NdRange, DivergentBarrierIsReportedInsteadOfHanging) {
  sycl::errc code = sycl::errc::success;
  sycl::queue q{hostsycl::emulated_gpu("emu-a3"), test_support::record_code(code)};
  q.parallel_for(sycl::nd_range<1>(64, 32), [=](sycl::nd_item<1> it) {
    if (it.get_local_id(0) < 16) sycl::group_barrier(it.get_group());
  });
  q.wait_and_throw();
  EXPECT_EQ(code, sycl::errc::kernel);
}

TEST(NdRange, LocalMemoryIsPrivateToEachWorkGroup) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a5")};
  constexpr std::size_t wg = 128, groups = 40 / test_scale::divisor + 2;
  int* out = sycl::malloc_shared<int>(groups, q);
  q.submit([&](sycl::handler& h) {
     sycl::local_accessor<int, 1> counter(sycl::range<1>(1), h);
     h.parallel_for(sycl::nd_range<1>(wg * groups, wg), [=](sycl::nd_item<1> it) {
       if (it.get_local_id(0) == 0) counter[0] = 0;
       sycl::group_barrier(it.get_group());
       sycl::atomic_ref<int, sycl::memory_order::relaxed, sycl::memory_scope::work_group,
                        sycl::access::address_space::local_space>(counter[0])
           .fetch_add(1);
       sycl::group_barrier(it.get_group());
       if (it.get_local_id(0) == 0) out[it.get_group(0)] = counter[0];
     });
   }).wait();
  for (std::size_t g = 0; g < groups; ++g) ASSERT_EQ(out[g], static_cast<int>(wg));
  sycl::free(out, q);
}

TEST(NdRange, WorkGroupReduceAndScanOfDoublesAreDeterministic) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a6")};
  constexpr std::size_t wg = 1024;
  double* in = sycl::malloc_shared<double>(wg, q);
  double* out = sycl::malloc_shared<double>(2 * wg, q);
  for (std::size_t i = 0; i < wg; ++i) in[i] = 1.0 / static_cast<double>(i + 1);
  q.parallel_for(sycl::nd_range<1>(wg, wg), [=](sycl::nd_item<1> it) {
     const std::size_t i = it.get_global_id(0);
     out[i] = sycl::reduce_over_group(it.get_group(), in[i], sycl::plus<double>());
     out[wg + i] = sycl::inclusive_scan_over_group(it.get_group(), in[i], sycl::plus<double>());
   }).wait();
  double acc = 0.0;
  for (std::size_t i = 0; i < wg; ++i) {
    acc += in[i];
    ASSERT_EQ(out[wg + i], acc);  // ascending order: bit-for-bit the sequential sum
  }
  for (std::size_t i = 0; i < wg; ++i) ASSERT_EQ(out[i], acc);
  sycl::free(in, q);
  sycl::free(out, q);
}

}  // namespace
