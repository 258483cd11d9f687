// Kernel captures: every form of kernel accepts functors that a device compiler would accept,
// accessors, USM pointers, local accessors, the index and vector types, trivially copyable
// records and types declared device-copyable among them. Captures that own host state are
// refused at compile time (compile_fail/kernel_captures.cpp, run by ctest).
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <span>
#include <sycl/sycl.hpp>
#include <utility>
#include <vector>

namespace {

// What a kernel may capture, as types.
static_assert(sycl::is_device_copyable_v<sycl::accessor<int, 1, sycl::access_mode::read>>);
static_assert(sycl::is_device_copyable_v<sycl::accessor<double, 2, sycl::access_mode::write>>);
static_assert(sycl::is_device_copyable_v<sycl::accessor<float, 3>>);
static_assert(sycl::is_device_copyable_v<sycl::local_accessor<int, 1>>);
static_assert(sycl::is_device_copyable_v<sycl::local_accessor<double, 2>>);
static_assert(sycl::is_device_copyable_v<sycl::local_accessor<int, 0>>);
static_assert(sycl::is_device_copyable_v<sycl::id<3>>);
static_assert(sycl::is_device_copyable_v<sycl::range<2>>);
static_assert(sycl::is_device_copyable_v<sycl::nd_range<1>>);
static_assert(sycl::is_device_copyable_v<sycl::vec<float, 4>>);
static_assert(sycl::is_device_copyable_v<sycl::marray<double, 3>>);
static_assert(sycl::is_device_copyable_v<std::span<const int>>);
static_assert(sycl::is_device_copyable_v<std::array<int, 4>>);
static_assert(sycl::is_device_copyable_v<sycl::multi_ptr<
                  int, sycl::access::address_space::global_space, sycl::access::decorated::no>>);
// What it may not.
static_assert(!sycl::is_device_copyable_v<std::vector<int>>);
static_assert(!sycl::is_device_copyable_v<sycl::host_accessor<int, 1>>);

// A trivially copyable record of launch parameters.
struct scale_args {
  int factor;
  std::size_t count;
};

// A type that is not trivially copyable (its copy is user-written) but declares itself
// device-copyable: its copy copies bytes only.
struct counted_pair {
  int first = 0;
  int second = 0;
  counted_pair(int a, int b) : first(a), second(b) {}
  counted_pair(const counted_pair& other) : first(other.first), second(other.second) {}
  counted_pair& operator=(const counted_pair& other) {
    first = other.first;
    second = other.second;
    return *this;
  }
};

// A named kernel functor that is neither trivially copyable nor trivially destructible, and
// passes only because it declares itself device-copyable.
struct add_offset_kernel {
  int* out;
  int offset;
  add_offset_kernel(int* o, int off) : out(o), offset(off) {}
  add_offset_kernel(const add_offset_kernel& other) : out(other.out), offset(other.offset) {}
  ~add_offset_kernel() { out = nullptr; }
  void operator()(sycl::id<1> i) const { out[i] += offset; }
};

}  // namespace

template <>
struct sycl::is_device_copyable<counted_pair> : std::true_type {};
template <>
struct sycl::is_device_copyable<add_offset_kernel> : std::true_type {};

namespace {

static_assert(!std::is_trivially_copyable_v<counted_pair>);
static_assert(sycl::is_device_copyable_v<counted_pair>);
static_assert(!std::is_trivially_copyable_v<add_offset_kernel>);
static_assert(!std::is_trivially_destructible_v<add_offset_kernel>);

class AcceptedCaptures : public ::testing::Test {
 protected:
  sycl::queue q{sycl::cpu_selector_v};
};

TEST_F(AcceptedCaptures, AccessorsAndATriviallyCopyableRecordInARangeKernel) {
  std::vector<int> in{1, 2, 3, 4}, out(4, -1);
  const scale_args args{3, in.size()};
  {
    sycl::buffer<int> bin{in.data(), sycl::range<1>(in.size())};
    sycl::buffer<int> bout{out.data(), sycl::range<1>(out.size())};
    q.submit([&](sycl::handler& h) {
      sycl::accessor a{bin, h, sycl::read_only};
      sycl::accessor b{bout, h, sycl::write_only, sycl::no_init};
      h.parallel_for(sycl::range<1>(args.count),
                     [a, b, args](sycl::id<1> i) { b[i] = a[i] * args.factor; });
    });
  }
  EXPECT_EQ(out, (std::vector<int>{3, 6, 9, 12}));
}

TEST_F(AcceptedCaptures, UsmPointersAndALocalAccessorInAnNdRangeKernel) {
  constexpr std::size_t n = 8;
  int* data = sycl::malloc_shared<int>(n, q);
  for (std::size_t i = 0; i < n; ++i) data[i] = static_cast<int>(i);
  int* sums = sycl::malloc_shared<int>(2, q);
  sums[0] = sums[1] = -1;
  q.submit([&](sycl::handler& h) {
     sycl::local_accessor<int, 1> scratch(sycl::range<1>(4), h);
     h.parallel_for(sycl::nd_range<1>(n, 4), [=](sycl::nd_item<1> it) {
       const std::size_t l = it.get_local_id(0);
       scratch[l] = data[it.get_global_id(0)];
       sycl::group_barrier(it.get_group());
       if (l == 0) {
         int s = 0;
         for (std::size_t k = 0; k < 4; ++k) s += scratch[k];
         sums[it.get_group(0)] = s;
       }
     });
   }).wait();
  EXPECT_EQ(sums[0], 0 + 1 + 2 + 3);
  EXPECT_EQ(sums[1], 4 + 5 + 6 + 7);
  sycl::free(data, q);
  sycl::free(sums, q);
}

TEST_F(AcceptedCaptures, ADeclaredDeviceCopyableValueInASingleTask) {
  int* out = sycl::malloc_shared<int>(1, q);
  *out = -1;
  const counted_pair p{20, 22};
  q.single_task([p, out] { *out = p.first + p.second; }).wait();
  EXPECT_EQ(*out, 42);
  sycl::free(out, q);
}

TEST_F(AcceptedCaptures, ANamedFunctorDeclaredDeviceCopyable) {
  int* out = sycl::malloc_shared<int>(3, q);
  for (int i = 0; i < 3; ++i) out[i] = i;
  q.parallel_for(sycl::range<1>(3), add_offset_kernel(out, 10)).wait();
  EXPECT_EQ(out[0], 10);
  EXPECT_EQ(out[1], 11);
  EXPECT_EQ(out[2], 12);
  sycl::free(out, q);
}

TEST_F(AcceptedCaptures, VectorTypesAndSpansOfUsmMemory) {
  float* out = sycl::malloc_shared<float>(4, q);
  for (int i = 0; i < 4; ++i) out[i] = -1.0f;
  const sycl::vec<float, 4> v{1.0f, 2.0f, 3.0f, 4.0f};
  const sycl::marray<float, 4> m{10.0f, 20.0f, 30.0f, 40.0f};
  const std::span<float> s{out, 4};
  q.parallel_for(sycl::range<1>(4), [=](sycl::id<1> i) {
     const int k = static_cast<int>(i[0]);
     s[k] = v[k] + m[k];
   }).wait();
  EXPECT_EQ(out[0], 11.0f);
  EXPECT_EQ(out[3], 44.0f);
  sycl::free(out, q);
}

}  // namespace
