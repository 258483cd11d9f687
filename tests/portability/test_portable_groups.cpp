// The portability layer's group and host paths: broadcasts and sub-group shuffles of complex
// values (part by part), fences that publish data behind an atomic flag, host tasks in queue
// order, sub-buffers and aligned allocation sizes.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <hostsycl/hostsycl.hpp>
#include <limits>
#include <vector>

#include "common/portability.hpp"

namespace portable = orvane::vrt::portable;

namespace {

// Every lane's value differs from every other lane's and its parts from each other, so a part
// taken from the wrong lane, a swapped or a duplicated part all show.
template <typename T>
T lane_value(std::size_t sub_group, std::size_t lane) {
  using R = typename T::value_type;
  const auto s = static_cast<R>(sub_group), l = static_cast<R>(lane);
  return T(R(1000) * s + l + R(0.25), -(R(1000) * s + R(2) * l) - R(0.5));
}

template <typename T>
T nan_value() {
  using R = typename T::value_type;
  return T(std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::quiet_NaN());
}

// Bit-exact: moving a value must not change it.
template <typename T>
::testing::AssertionResult same(const T& got, const T& want, const char* what, std::size_t at) {
  if (got.real() == want.real() && got.imag() == want.imag()) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure()
         << what << " at " << at << ": got (" << got.real() << ", " << got.imag() << "), want ("
         << want.real() << ", " << want.imag() << ")";
}

template <typename T, std::size_t S>
struct broadcast_kernel;
template <typename T, std::size_t S>
struct shuffle_kernel;

constexpr std::size_t sub_groups = 2;  // per work-group, so no value may cross into the other

// out[(g * S + l) * S + from]: what lane l of sub-group g receives from lane `from`.
template <typename T, std::size_t S>
void check_broadcast(const char* profile) {
  sycl::queue q{hostsycl::emulated_gpu(profile)};
  constexpr std::size_t n = sub_groups * S;
  T* out = sycl::malloc_shared<T>(n * S, q);
  std::size_t* size = sycl::malloc_shared<std::size_t>(1, q);
  for (std::size_t i = 0; i < n * S; ++i) out[i] = nan_value<T>();
  *size = 0;
  q.parallel_for<portable::sub_group_kernel<broadcast_kernel<T, S>, S>>(
       sycl::nd_range<1>(n, n),
       [=](sycl::nd_item<1> it) [[sycl::reqd_sub_group_size(S)]] {
         const auto sg = it.get_sub_group();
         const std::size_t g = sg.get_group_linear_id(), l = sg.get_local_linear_id();
         const T mine = lane_value<T>(g, l);
         for (std::size_t from = 0; from < S; ++from)
           out[(g * S + l) * S + from] = portable::group_broadcast(
               sg, mine, static_cast<sycl::sub_group::linear_id_type>(from));
         if (it.get_local_id(0) == 0) *size = sg.get_max_local_range()[0];
       })
      .wait();
  ASSERT_EQ(*size, S);
  for (std::size_t g = 0; g < sub_groups; ++g)
    for (std::size_t l = 0; l < S; ++l)
      for (std::size_t from = 0; from < S; ++from) {
        const std::size_t at = (g * S + l) * S + from;
        ASSERT_TRUE(same(out[at], lane_value<T>(g, from), "broadcast", at));
      }
  sycl::free(out, q);
  sycl::free(size, q);
}

// Per work-item: select from (3l + 1) mod S, shift left by 1 and by 3, shift right by 2, xor 5.
// Entries a shift leaves undefined (past the ends of the sub-group) keep their NaN sentinel.
constexpr int shuffles = 5;

template <typename T, std::size_t S>
void check_shuffles(const char* profile) {
  sycl::queue q{hostsycl::emulated_gpu(profile)};
  constexpr std::size_t n = sub_groups * S;
  T* out = sycl::malloc_shared<T>(n * shuffles, q);
  for (std::size_t i = 0; i < n * shuffles; ++i) out[i] = nan_value<T>();
  q.parallel_for<portable::sub_group_kernel<shuffle_kernel<T, S>, S>>(
       sycl::nd_range<1>(n, n),
       [=](sycl::nd_item<1> it) [[sycl::reqd_sub_group_size(S)]] {
         const auto sg = it.get_sub_group();
         const std::size_t g = sg.get_group_linear_id(), l = sg.get_local_linear_id();
         const T mine = lane_value<T>(g, l);
         T* o = out + (g * S + l) * shuffles;
         // Every member takes part in every shuffle; only defined results are kept.
         const T selected = portable::select_from_group(sg, mine, sycl::id<1>((3 * l + 1) % S));
         const T left1 = portable::shift_group_left(sg, mine);
         const T left3 = portable::shift_group_left(sg, mine, 3);
         const T right2 = portable::shift_group_right(sg, mine, 2);
         const T flipped = portable::permute_group_by_xor(sg, mine, 5);
         o[0] = selected;
         if (l + 1 < S) o[1] = left1;
         if (l + 3 < S) o[2] = left3;
         if (l >= 2) o[3] = right2;
         o[4] = flipped;
       })
      .wait();
  for (std::size_t g = 0; g < sub_groups; ++g)
    for (std::size_t l = 0; l < S; ++l) {
      const T* o = out + (g * S + l) * shuffles;
      const std::size_t at = g * S + l;
      EXPECT_TRUE(same(o[0], lane_value<T>(g, (3 * l + 1) % S), "select_from_group", at));
      if (l + 1 < S) {
        EXPECT_TRUE(same(o[1], lane_value<T>(g, l + 1), "shift_group_left 1", at));
      } else {
        EXPECT_TRUE(std::isnan(o[1].real())) << "lane " << at << " kept no sentinel";
      }
      if (l + 3 < S) {
        EXPECT_TRUE(same(o[2], lane_value<T>(g, l + 3), "shift_group_left 3", at));
      }
      if (l >= 2) {
        EXPECT_TRUE(same(o[3], lane_value<T>(g, l - 2), "shift_group_right 2", at));
      }
      EXPECT_TRUE(same(o[4], lane_value<T>(g, l ^ 5), "permute_group_by_xor 5", at));
    }
  sycl::free(out, q);
}

template <typename T>
class ComplexGroupMoves : public ::testing::Test {};
using complex_types = ::testing::Types<std::complex<float>, std::complex<double>>;
TYPED_TEST_SUITE(ComplexGroupMoves, complex_types);

TYPED_TEST(ComplexGroupMoves, BroadcastReachesEveryLaneAtSubGroupSize8) {
  check_broadcast<TypeParam, 8>("emu-a3");
}
TYPED_TEST(ComplexGroupMoves, BroadcastReachesEveryLaneAtSubGroupSize16) {
  check_broadcast<TypeParam, 16>("emu-a3");
}
TYPED_TEST(ComplexGroupMoves, BroadcastReachesEveryLaneAtSubGroupSize32) {
  check_broadcast<TypeParam, 32>("emu-a6");
}
TYPED_TEST(ComplexGroupMoves, ShufflesAtSubGroupSize8) { check_shuffles<TypeParam, 8>("emu-a3"); }
TYPED_TEST(ComplexGroupMoves, ShufflesAtSubGroupSize16) { check_shuffles<TypeParam, 16>("emu-a6"); }
TYPED_TEST(ComplexGroupMoves, ShufflesAtSubGroupSize32) { check_shuffles<TypeParam, 32>("emu-a6"); }

template <typename T>
struct work_group_broadcast_kernel;

// A work-group broadcast of a complex value, from several members, to every member.
TYPED_TEST(ComplexGroupMoves, WorkGroupBroadcastReachesEveryMember) {
  using T = TypeParam;
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  constexpr std::size_t n = 64, groups = 2;
  constexpr std::size_t sources[] = {0, 17, 63};
  constexpr std::size_t k = sizeof(sources) / sizeof(sources[0]);
  T* out = sycl::malloc_shared<T>(groups * n * k, q);
  for (std::size_t i = 0; i < groups * n * k; ++i) out[i] = nan_value<T>();
  q.parallel_for<work_group_broadcast_kernel<T>>(
       sycl::nd_range<1>(groups * n, n),
       [=](sycl::nd_item<1> it) {
         const auto g = it.get_group();
         const T mine = lane_value<T>(g.get_group_linear_id(), it.get_local_id(0));
         for (std::size_t s = 0; s < k; ++s)
           out[it.get_global_id(0) * k + s] = portable::group_broadcast(g, mine, sources[s]);
       })
      .wait();
  for (std::size_t g = 0; g < groups; ++g)
    for (std::size_t i = 0; i < n; ++i)
      for (std::size_t s = 0; s < k; ++s) {
        const std::size_t at = (g * n + i) * k + s;
        ASSERT_TRUE(same(out[at], lane_value<T>(g, sources[s]), "work-group broadcast", at));
      }
  sycl::free(out, q);
}

struct index_broadcast_kernel;

// Scalars go through unchanged: the index broadcast of the sparse kernels.
TEST(GroupMoves, ScalarBroadcastIsTheStandardOne) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  std::int64_t* out = sycl::malloc_shared<std::int64_t>(16, q);
  for (int i = 0; i < 16; ++i) out[i] = -1;
  q.parallel_for<portable::sub_group_kernel<index_broadcast_kernel, 16>>(
       sycl::nd_range<1>(16, 16),
       [=](sycl::nd_item<1> it) [[sycl::reqd_sub_group_size(16)]] {
         const auto sg = it.get_sub_group();
         const auto mine = static_cast<std::int64_t>(sg.get_local_linear_id()) * 7 + 3;
         out[it.get_local_id(0)] = portable::group_broadcast(sg, mine, 9);
       })
      .wait();
  for (int i = 0; i < 16; ++i) EXPECT_EQ(out[i], 9 * 7 + 3);
  sycl::free(out, q);
}

// ---- fences ------------------------------------------------------------------------------

struct device_fence_kernel;

// A chain across work-groups: each group's leader draws a ticket; the group with ticket t reads
// what the group with ticket t - 1 published and publishes its own. A group only waits for one
// that drew its ticket earlier, so the chain needs no more than the progress of running groups.
// Only the odd work-items publish and wait: a fence binds no other work-item, so a port that
// made it a barrier fails here.
TEST(Fences, DataPublishedBehindADeviceFenceAndFlagIsSeenByTheNextGroup) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  constexpr std::size_t groups = 12, width = 32;
  constexpr std::size_t n = groups * width;
  double* data = sycl::malloc_device<double>(n, q);
  std::uint32_t* flags = sycl::malloc_device<std::uint32_t>(n, q);
  std::uint32_t* ticket = sycl::malloc_device<std::uint32_t>(1, q);
  std::int64_t* order = sycl::malloc_shared<std::int64_t>(groups, q);
  q.fill(data, std::numeric_limits<double>::quiet_NaN(), n).wait();
  q.fill(flags, std::uint32_t{0}, n).wait();
  q.fill(ticket, std::uint32_t{0}, 1).wait();
  for (std::size_t g = 0; g < groups; ++g) order[g] = -1;
  using device_atomic =
      sycl::atomic_ref<std::uint32_t, sycl::memory_order::relaxed, sycl::memory_scope::device>;
  q.parallel_for<device_fence_kernel>(sycl::nd_range<1>(n, width), [=](sycl::nd_item<1> it) {
     const auto g = it.get_group();
     const std::size_t l = it.get_local_id(0);
     std::uint32_t t = 0;
     if (l == 0) t = device_atomic(*ticket).fetch_add(1u);
     t = portable::group_broadcast(g, t, 0);
     if (l == 0) order[g.get_group_linear_id()] = t;
     if (l % 2 == 0) return;
     const std::size_t mine = t * width + l;
     double value = static_cast<double>(l) + 0.5;
     if (t > 0) {
       const std::size_t before = mine - width;
       while (device_atomic(flags[before]).load() == 0u) portable::pause();
       portable::atomic_fence(sycl::memory_order::acquire, sycl::memory_scope::device);
       value += data[before] * 2.0;
     }
     data[mine] = value;
     portable::atomic_fence(sycl::memory_order::release, sycl::memory_scope::device);
     device_atomic(flags[mine]).store(1u);
   }).wait();
  std::vector<double> got(n);
  std::vector<std::uint32_t> set(n);
  q.memcpy(got.data(), data, n * sizeof(double)).wait();
  q.memcpy(set.data(), flags, n * sizeof(std::uint32_t)).wait();
  std::vector<bool> drawn(groups, false);
  for (std::size_t g = 0; g < groups; ++g) {
    ASSERT_GE(order[g], 0);
    ASSERT_LT(order[g], static_cast<std::int64_t>(groups));
    drawn[static_cast<std::size_t>(order[g])] = true;
  }
  for (std::size_t g = 0; g < groups; ++g) EXPECT_TRUE(drawn[g]) << "ticket " << g;
  for (std::size_t l = 0; l < width; ++l) {
    double want = 0.0;
    for (std::size_t t = 0; t < groups; ++t) {
      const std::size_t at = t * width + l;
      if (l % 2 == 0) {
        EXPECT_TRUE(std::isnan(got[at])) << at;
        EXPECT_EQ(set[at], 0u) << at;
        continue;
      }
      want = static_cast<double>(l) + 0.5 + (t > 0 ? 2.0 * want : 0.0);
      EXPECT_EQ(got[at], want) << "ticket " << t << " lane " << l;
      EXPECT_EQ(set[at], 1u) << at;
    }
  }
  sycl::free(data, q);
  sycl::free(flags, q);
  sycl::free(ticket, q);
  sycl::free(order, q);
}

struct work_group_fence_kernel;

// Inside one work-group: the first work-item fills local memory, fences at work-group scope and
// raises a local flag; the work-items of the last sub-group wait for the flag, fence and copy
// the data out. The others never fence.
TEST(Fences, LocalDataPublishedBehindAWorkGroupFenceAndFlagIsSeenByTheGroup) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a6")};
  constexpr std::size_t width = 64, sub_group = 16, items = 8;
  float* out = sycl::malloc_shared<float>(width * items, q);
  for (std::size_t i = 0; i < width * items; ++i) out[i] = std::numeric_limits<float>::quiet_NaN();
  q.submit([&](sycl::handler& h) {
     sycl::local_accessor<float, 1> tile(sycl::range<1>(items), h);
     sycl::local_accessor<std::uint32_t, 1> flag(sycl::range<1>(1), h);
     h.parallel_for<portable::sub_group_kernel<work_group_fence_kernel, sub_group>>(
         sycl::nd_range<1>(width, width),
         [=](sycl::nd_item<1> it) [[sycl::reqd_sub_group_size(sub_group)]] {
           using local_atomic = sycl::atomic_ref<std::uint32_t, sycl::memory_order::relaxed,
                                                 sycl::memory_scope::work_group,
                                                 sycl::access::address_space::local_space>;
           const std::size_t l = it.get_local_id(0);
           if (l == 0) local_atomic(flag[0]).store(0u);
           sycl::group_barrier(it.get_group());
           if (l == 0) {
             for (std::size_t k = 0; k < items; ++k) tile[k] = 1.5f * static_cast<float>(k) - 2.f;
             portable::atomic_fence(sycl::memory_order::release, sycl::memory_scope::work_group);
             local_atomic(flag[0]).store(1u);
           } else if (l >= width - sub_group) {
             while (local_atomic(flag[0]).load() == 0u) portable::pause();
             portable::atomic_fence(sycl::memory_order::acquire, sycl::memory_scope::work_group);
             for (std::size_t k = 0; k < items; ++k) out[l * items + k] = tile[k];
           }
         });
   }).wait();
  for (std::size_t l = 0; l < width; ++l)
    for (std::size_t k = 0; k < items; ++k) {
      const float v = out[l * items + k];
      if (l >= width - sub_group)
        EXPECT_EQ(v, 1.5f * static_cast<float>(k) - 2.f) << l << "," << k;
      else
        EXPECT_TRUE(std::isnan(v)) << l << "," << k;
    }
  sycl::free(out, q);
}

// ---- host tasks, sub-buffers, aligned sizes ----------------------------------------------

struct before_host_task_kernel;

TEST(HostTasks, RunInQueueOrderBehindTheirDependencies) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  constexpr std::size_t n = 1000;
  int* d = sycl::malloc_shared<int>(n, q);
  long* sum = sycl::malloc_host<long>(1, q);
  *sum = -1;
  sycl::event wrote = q.parallel_for<before_host_task_kernel>(
      sycl::range<1>(n), [=](sycl::id<1> i) { d[i] = static_cast<int>(i[0]) * 3; });
  q.submit([&](sycl::handler& h) {
     h.depends_on(wrote);
     portable::host_task(h, [=] {
       long s = 0;
       for (std::size_t i = 0; i < n; ++i) s += d[i];
       *sum = s;
     });
   }).wait();
  EXPECT_EQ(*sum, 3L * static_cast<long>(n * (n - 1) / 2));
  sycl::free(d, q);
  sycl::free(sum, q);
}

struct sub_buffer_kernel;

TEST(SubBuffers, AreAWindowOnTheWholeBuffer) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  // A sub-buffer starts on the device's base-address alignment (given in bits).
  const std::size_t first =
      q.get_device().get_info<sycl::info::device::mem_base_addr_align>() / 8 / sizeof(int);
  const std::size_t count = 8, total = 3 * first;
  ASSERT_GT(first, count);
  sycl::buffer<int, 1> whole{sycl::range<1>(total)};
  {
    sycl::host_accessor h(whole, sycl::write_only);
    for (std::size_t i = 0; i < total; ++i) h[i] = -1;
  }
  {
    sycl::buffer<int, 1> part = portable::sub_buffer(whole, first, count);
    EXPECT_EQ(part.size(), count);
    q.submit([&](sycl::handler& h) {
      sycl::accessor a(part, h, sycl::write_only);
      h.parallel_for<sub_buffer_kernel>(
          sycl::range<1>(count), [=](sycl::id<1> i) { a[i] = 100 + static_cast<int>(i[0]); });
    });
  }
  sycl::host_accessor h(whole, sycl::read_only);
  for (std::size_t i = 0; i < total; ++i)
    EXPECT_EQ(h[i], i >= first && i < first + count ? 100 + static_cast<int>(i - first) : -1) << i;
}

TEST(AlignedSizes, RoundUpToTheAlignment) {
  EXPECT_EQ(portable::aligned_size(0, 4096), 0u);
  EXPECT_EQ(portable::aligned_size(1, 4096), 4096u);
  EXPECT_EQ(portable::aligned_size(1000, 4096), 4096u);
  EXPECT_EQ(portable::aligned_size(4096, 4096), 4096u);
  EXPECT_EQ(portable::aligned_size(4097, 4096), 8192u);
  EXPECT_EQ(portable::aligned_size(24, 64), 64u);
  EXPECT_EQ(portable::aligned_size(7, 1), 7u);
  constexpr std::size_t most = std::numeric_limits<std::size_t>::max();
  EXPECT_EQ(portable::aligned_size(most - 5, 64), most - most % 64) << "no wrap to a small size";
  EXPECT_EQ(portable::aligned_size(most - 5, 64) % 64, 0u);
}

// The strict runtime refuses what C's aligned_alloc refuses; the portable forms never ask it.
TEST(AlignedSizes, PortableAllocationsPassTheStrictRuntime) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  const bool was = hostsycl::strict_mode();
  hostsycl::set_strict_mode(true);
  EXPECT_THROW(sycl::aligned_alloc_device(4096, 1000, q), sycl::exception);
  void* shared = portable::aligned_alloc(4096, 1000, q.get_device(), q.get_context(),
                                         sycl::usm::alloc::shared);
  void* host = portable::aligned_alloc_host(64, 24, q.get_context());
  double* typed = portable::aligned_alloc_device<double>(4096, 3, q);
  std::uint32_t* flag = portable::aligned_alloc_host<std::uint32_t>(64, 1, q);
  hostsycl::set_strict_mode(was);
  for (void* p : {shared, host, static_cast<void*>(typed), static_cast<void*>(flag)}) {
    EXPECT_NE(p, nullptr);
    sycl::free(p, q);
  }
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(shared) % 4096, 0u);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(typed) % 4096, 0u);
}

}  // namespace
