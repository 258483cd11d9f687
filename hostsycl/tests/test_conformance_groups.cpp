// Work-group copies between global and local memory (async_work_group_copy, device_event,
// wait_for) and the joint scans over memory.
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <numeric>
#include <sycl/sycl.hpp>
#include <type_traits>
#include <vector>

namespace {

constexpr std::size_t group_size = 16;

TEST(WorkGroupCopy, CopiesIntoLocalMemoryAndBackWithAndWithoutStrides) {
  sycl::queue q{sycl::cpu_selector_v};
  constexpr std::size_t n = 64, groups = 2;
  int* in = sycl::malloc_shared<int>(2 * n * groups, q);
  int* out = sycl::malloc_shared<int>(2 * n * groups, q);
  std::iota(in, in + 2 * n * groups, 0);
  std::fill(out, out + 2 * n * groups, -1);
  q.submit([&](sycl::handler& h) {
     sycl::local_accessor<int> tile{sycl::range<1>(n), h};
     h.parallel_for(sycl::nd_range<1>(group_size * groups, group_size), [=](sycl::nd_item<1> it) {
       const auto g = it.get_group();
       const std::size_t base = g.get_group_linear_id() * 2 * n;
       auto local = tile.get_multi_ptr<sycl::access::decorated::yes>();
       auto global_in = sycl::address_space_cast<sycl::access::address_space::global_space,
                                                 sycl::access::decorated::yes>(in + base);
       auto global_out = sycl::address_space_cast<sycl::access::address_space::global_space,
                                                  sycl::access::decorated::yes>(out + base);
       // Every second element of the input into local memory...
       sycl::device_event e = g.async_work_group_copy(local, global_in, n, 2);
       g.wait_for(e);
       tile[it.get_local_id(0)] *= 10;  // each work-item touches one element after the wait
       sycl::group_barrier(g);
       // ...and back out to every second element of the output, through the nd_item form.
       sycl::device_event back = it.async_work_group_copy(global_out, local, n, 2);
       sycl::device_event plain = g.async_work_group_copy(global_out + 1, local, 1);
       it.wait_for(back, plain);
     });
   }).wait();
  for (std::size_t grp = 0; grp < groups; ++grp) {
    const std::size_t base = grp * 2 * n;
    for (std::size_t k = 0; k < n; ++k) {
      const int value = in[base + 2 * k] * (k < group_size ? 10 : 1);
      EXPECT_EQ(out[base + 2 * k], value) << grp << " " << k;
    }
    EXPECT_EQ(out[base + 1], in[base] * 10);  // the unstrided one-element copy
    EXPECT_EQ(out[base + 3], -1);
  }
  sycl::free(in, q);
  sycl::free(out, q);
}

TEST(WorkGroupCopy, OlderUndecoratedPointerFormsCopyToo) {
  sycl::queue q{sycl::cpu_selector_v};
  float* data = sycl::malloc_shared<float>(group_size, q);
  float* result = sycl::malloc_shared<float>(group_size, q);
  std::iota(data, data + group_size, 1.0f);
  q.submit([&](sycl::handler& h) {
     sycl::local_accessor<float> tile{sycl::range<1>(group_size), h};
     h.parallel_for(sycl::nd_range<1>(group_size, group_size), [=](sycl::nd_item<1> it) {
       sycl::local_ptr<float> local(tile.get_pointer());
       sycl::global_ptr<float> src(data), dst(result);
       sycl::device_event in = it.async_work_group_copy(local, src, group_size);
       in.wait();
       sycl::device_event out = it.get_group().async_work_group_copy(dst, local, group_size);
       out.wait();
     });
   }).wait();
  for (std::size_t k = 0; k < group_size; ++k) EXPECT_EQ(result[k], data[k]);
  sycl::free(data, q);
  sycl::free(result, q);
}

template <typename Scan>
std::vector<int> run_joint_scan(bool sub_group, std::size_t n, Scan scan) {
  sycl::queue q{sycl::cpu_selector_v};
  int* in = sycl::malloc_shared<int>(n, q);
  int* out = sycl::malloc_shared<int>(n, q);
  int* ends = sycl::malloc_shared<int>(group_size, q);
  for (std::size_t k = 0; k < n; ++k) in[k] = int(k % 7) + 1;
  q.submit([&](sycl::handler& h) {
     h.parallel_for(sycl::nd_range<1>(group_size, group_size), [=](sycl::nd_item<1> it) {
       int* end = sub_group ? scan(it.get_sub_group(), in, in + n, out)
                            : scan(it.get_group(), in, in + n, out);
       ends[it.get_local_id(0)] = int(end - out);
     });
   }).wait();
  std::vector<int> result(out, out + n);
  for (std::size_t k = 0; k < group_size; ++k) EXPECT_EQ(ends[k], int(n));
  sycl::free(in, q);
  sycl::free(out, q);
  sycl::free(ends, q);
  return result;
}

std::vector<int> input(std::size_t n) {
  std::vector<int> v(n);
  for (std::size_t k = 0; k < n; ++k) v[k] = int(k % 7) + 1;
  return v;
}

TEST(JointScan, InclusiveScanOfAGroupEqualsTheSequentialScan) {
  for (std::size_t n : {0u, 1u, 5u, 16u, 100u}) {
    for (bool sub_group : {false, true}) {
      auto got = run_joint_scan(sub_group, n, [](auto g, int* first, int* last, int* result) {
        return sycl::joint_inclusive_scan(g, first, last, result, sycl::plus<int>());
      });
      std::vector<int> expected(n);
      const auto in = input(n);
      std::inclusive_scan(in.begin(), in.end(), expected.begin());
      EXPECT_EQ(got, expected) << n;
    }
  }
}

TEST(JointScan, InclusiveScanWithInitStartsFromInit) {
  auto got = run_joint_scan(false, 20, [](auto g, int* first, int* last, int* result) {
    return sycl::joint_inclusive_scan(g, first, last, result, sycl::plus<>(), 100);
  });
  const auto in = input(20);
  std::vector<int> expected(20);
  std::inclusive_scan(in.begin(), in.end(), expected.begin(), std::plus<>(), 100);
  EXPECT_EQ(got, expected);
}

TEST(JointScan, ExclusiveScanStartsFromTheIdentityOrFromInit) {
  auto plain = run_joint_scan(false, 33, [](auto g, int* first, int* last, int* result) {
    return sycl::joint_exclusive_scan(g, first, last, result, sycl::maximum<int>());
  });
  const auto in = input(33);
  std::vector<int> expected(33);
  std::exclusive_scan(in.begin(), in.end(), expected.begin(), std::numeric_limits<int>::lowest(),
                      [](int a, int b) { return std::max(a, b); });
  EXPECT_EQ(plain, expected);

  auto with_init = run_joint_scan(true, 33, [](auto g, int* first, int* last, int* result) {
    return sycl::joint_exclusive_scan(g, first, last, result, 5, sycl::plus<int>());
  });
  std::exclusive_scan(in.begin(), in.end(), expected.begin(), 5);
  EXPECT_EQ(with_init, expected);
}

}  // namespace
