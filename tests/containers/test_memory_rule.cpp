// The one rule of where a container's memory lives: what memory_kind says of host, shared and
// device USM, of memory the context does not know and of a buffer, and which of them count as
// host memory (no device atomics into them) under the rule and under the narrower host-USM test.
#include <gtest/gtest.h>

#include <hostsycl/hostsycl.hpp>
#include <vector>

#include "containers/views.hpp"

namespace vs = orvane::vrt::sparse;

namespace {

constexpr auto usm = vs::container_usm;
constexpr auto buf = vs::container_buffer;

TEST(MemoryRule, UsmKindsAsTheContextKnowsThem) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a6")};
  double* host = sycl::malloc_host<double>(4, q);
  double* shared = sycl::malloc_shared<double>(4, q);
  double* device = sycl::malloc_device<double>(4, q);
  std::vector<double> heap(4, 0.0);

  EXPECT_EQ(vs::memory_kind<usm>(q, host), sycl::usm::alloc::host);
  EXPECT_EQ(vs::memory_kind<usm>(q, shared), sycl::usm::alloc::shared);
  EXPECT_EQ(vs::memory_kind<usm>(q, device), sycl::usm::alloc::device);
  EXPECT_EQ(vs::memory_kind<usm>(q, heap.data()), sycl::usm::alloc::unknown);

  // The rule: host USM and memory the context does not know are host memory.
  EXPECT_TRUE(vs::is_host_memory<usm>(q, host));
  EXPECT_TRUE(vs::is_host_memory<usm>(q, heap.data()));
  EXPECT_FALSE(vs::is_host_memory<usm>(q, shared));
  EXPECT_FALSE(vs::is_host_memory<usm>(q, device));

  // The narrower test: host USM alone.
  EXPECT_TRUE(vs::is_host_usm<usm>(q, host));
  EXPECT_FALSE(vs::is_host_usm<usm>(q, heap.data()));
  EXPECT_FALSE(vs::is_host_usm<usm>(q, shared));
  EXPECT_FALSE(vs::is_host_usm<usm>(q, device));

  // A pointer into an allocation reads as the allocation does; const void* as the typed pointer.
  EXPECT_EQ(vs::memory_kind<usm>(q, static_cast<const void*>(host + 2)), sycl::usm::alloc::host);

  for (double* p : {host, shared, device}) sycl::free(p, q);
}

TEST(MemoryRule, BuffersCountAsDeviceMemory) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a2")};
  std::vector<double> data(4, 1.0);
  sycl::buffer<double, 1> buffer(data.data(), sycl::range<1>(data.size()));
  sycl::buffer<double, 1>* container = &buffer;
  EXPECT_EQ(vs::memory_kind<buf>(q, container), sycl::usm::alloc::device);
  EXPECT_FALSE(vs::is_host_memory<buf>(q, container));
  EXPECT_FALSE(vs::is_host_usm<buf>(q, container));
}

}  // namespace
