// Atomics under contention and kernels that rely on forward progress of running groups.
#include <gtest/gtest.h>

#include <hostsycl/hostsycl.hpp>
#include <numeric>
#include <vector>

#include "test_scale.hpp"

namespace {

template <typename T>
using device_atomic = sycl::atomic_ref<T, sycl::memory_order::relaxed, sycl::memory_scope::device>;

TEST(Atomics, IntegerAndFloatingAddUnderContentionAreExact) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  constexpr std::size_t n = (1 << 16) / test_scale::divisor;
  auto* i32 = sycl::malloc_shared<int>(1, q);
  auto* u64 = sycl::malloc_shared<unsigned long long>(1, q);
  auto* f64 = sycl::malloc_shared<double>(1, q);
  auto* f32 = sycl::malloc_shared<float>(1, q);
  *i32 = 0;
  *u64 = 0;
  *f64 = 0;
  *f32 = 0;
  q.parallel_for(sycl::nd_range<1>(n, 128), [=](sycl::nd_item<1> it) {
     const auto g = it.get_global_id(0);
     device_atomic<int>(*i32).fetch_add(1);
     device_atomic<unsigned long long>(*u64) += g;
     device_atomic<double>(*f64).fetch_add(0.5);  // exact in binary
     device_atomic<float>(*f32).fetch_add(1.0f);
   }).wait();
  EXPECT_EQ(*i32, static_cast<int>(n));
  EXPECT_EQ(*u64, static_cast<unsigned long long>(n) * (n - 1) / 2);
  EXPECT_EQ(*f64, 0.5 * n);
  EXPECT_EQ(*f32, static_cast<float>(n));
  for (void* p : {static_cast<void*>(i32), static_cast<void*>(u64), static_cast<void*>(f64),
                  static_cast<void*>(f32)})
    sycl::free(p, q);
}

TEST(Atomics, MinMaxExchangeAndCompareExchange) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  constexpr std::size_t n = 10000;
  auto* v = sycl::malloc_shared<long>(4, q);
  v[0] = 1 << 30;
  v[1] = -(1 << 30);
  v[2] = 0;
  v[3] = 0;
  auto* fmin = sycl::malloc_shared<float>(1, q);
  *fmin = 1e9f;
  q.parallel_for(sycl::range<1>(n), [=](sycl::id<1> i) {
     const long x = static_cast<long>((i[0] * 7919) % n) - 17;
     device_atomic<long>(v[0]).fetch_min(x);
     device_atomic<long>(v[1]).fetch_max(x);
     device_atomic<float>(*fmin).fetch_min(static_cast<float>(x));
     // A CAS loop that increments: the classic lock-free pattern.
     device_atomic<long> counter(v[2]);
     long expected = counter.load();
     while (!counter.compare_exchange_weak(expected, expected + 2)) {
     }
     device_atomic<long>(v[3]).exchange(7);
   }).wait();
  EXPECT_EQ(v[0], -17);
  EXPECT_EQ(v[1], static_cast<long>(n) - 1 - 17);
  EXPECT_EQ(*fmin, -17.0f);
  EXPECT_EQ(v[2], 2 * static_cast<long>(n));
  EXPECT_EQ(v[3], 7);
  sycl::free(v, q);
  sycl::free(fmin, q);
}

TEST(Atomics, BitwiseOperationsAndIncrementForms) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a2")};
  auto* bits = sycl::malloc_shared<unsigned>(3, q);
  auto* count = sycl::malloc_shared<long long>(1, q);
  bits[0] = 0;
  bits[1] = ~0u;
  bits[2] = 0;
  *count = 0;
  q.parallel_for(sycl::range<1>(32), [=](sycl::id<1> i) {
     const unsigned bit = 1u << i[0];
     device_atomic<unsigned>(bits[0]).fetch_or(bit);
     device_atomic<unsigned>(bits[1]).fetch_and(~bit | 1u);
     device_atomic<unsigned>(bits[2]) ^= bit;
     device_atomic<long long> c(*count);
     ++c;
     c++;
     c += 3;
     c -= 1;
   }).wait();
  EXPECT_EQ(bits[0], ~0u);
  EXPECT_EQ(bits[1], 1u);
  EXPECT_EQ(bits[2], ~0u);
  EXPECT_EQ(*count, 32 * 4);
  sycl::free(bits, q);
  sycl::free(count, q);
}

// A chained scan across work-groups: group g spins until group g-1 has published its inclusive
// prefix. Correct only if groups start in order and a spinning group never blocks an earlier one.
TEST(ForwardProgress, GroupsWaitingOnEarlierGroupsComplete) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  constexpr std::size_t wg = 64, groups = 200 / test_scale::divisor + 2, n = wg * groups;
  long* data = sycl::malloc_shared<long>(n, q);
  long* prefix = sycl::malloc_shared<long>(groups, q);
  int* ready = sycl::malloc_shared<int>(groups, q);
  for (std::size_t i = 0; i < n; ++i) data[i] = static_cast<long>(i % 13);
  for (std::size_t g = 0; g < groups; ++g) ready[g] = 0;
  q.parallel_for(sycl::nd_range<1>(n, wg), [=](sycl::nd_item<1> it) {
     const std::size_t g = it.get_group(0);
     const long local = sycl::inclusive_scan_over_group(it.get_group(), data[it.get_global_id(0)],
                                                        sycl::plus<long>());
     long before = 0;
     if (g > 0) {
       sycl::atomic_ref<int, sycl::memory_order::acquire, sycl::memory_scope::device> flag(
           ready[g - 1]);
       while (flag.load() == 0) {
       }
       before = prefix[g - 1];
     }
     data[it.get_global_id(0)] = before + local;
     if (it.get_local_id(0) == wg - 1) {
       prefix[g] = before + local;
       sycl::atomic_ref<int, sycl::memory_order::release, sycl::memory_scope::device>(ready[g])
           .store(1);
     }
   }).wait();
  long acc = 0;
  for (std::size_t i = 0; i < n; ++i) {
    acc += static_cast<long>(i % 13);
    ASSERT_EQ(data[i], acc);
  }
  sycl::free(data, q);
  sycl::free(prefix, q);
  sycl::free(ready, q);
}

// Work-item 0 spins on a flag that the last work-item of its own group sets later.
TEST(ForwardProgress, WorkItemSpinningOnItsOwnGroupCompletes) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a1")};
  int* flag = sycl::malloc_shared<int>(4, q);
  int* seen = sycl::malloc_shared<int>(4, q);
  for (int i = 0; i < 4; ++i) flag[i] = seen[i] = 0;
  q.parallel_for(sycl::nd_range<1>(4 * 128, 128), [=](sycl::nd_item<1> it) {
     const std::size_t g = it.get_group(0);
     sycl::atomic_ref<int, sycl::memory_order::acq_rel, sycl::memory_scope::work_group> f(flag[g]);
     if (it.get_local_id(0) == 0) {
       while (f.load() == 0) {
       }
       seen[g] = f.load();
     } else if (it.get_local_id(0) == 127) {
       f.store(42);
     }
   }).wait();
  for (int i = 0; i < 4; ++i) EXPECT_EQ(seen[i], 42);
  sycl::free(flag, q);
  sycl::free(seen, q);
}

// Persistent work-groups fetch rows from a device counter until none are left.
TEST(ForwardProgress, PersistentGroupsDrainAnAtomicWorkCounter) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a5")};
  constexpr std::size_t rows = 5000 / test_scale::divisor;
  unsigned* next = sycl::malloc_shared<unsigned>(1, q);
  int* hits = sycl::malloc_shared<int>(rows, q);
  *next = 0;
  for (std::size_t r = 0; r < rows; ++r) hits[r] = 0;
  q.parallel_for(sycl::nd_range<1>(8 * 32, 32), [=](sycl::nd_item<1> it) {
     for (;;) {
       unsigned row = 0;
       if (it.get_local_id(0) == 0)
         row = sycl::atomic_ref<unsigned, sycl::memory_order::relaxed, sycl::memory_scope::device>(
                   *next)
                   .fetch_add(1u);
       row = sycl::group_broadcast(it.get_group(), row);
       if (row >= rows) break;
       if (it.get_local_id(0) == 0) hits[row] += 1;
     }
   }).wait();
  for (std::size_t r = 0; r < rows; ++r) ASSERT_EQ(hits[r], 1);
  sycl::free(next, q);
  sycl::free(hits, q);
}

}  // namespace
