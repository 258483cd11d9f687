// Buffers: update_host, use_mutex, allocators, shared host data, properties, the older host
// get_access forms, and equality and hashing.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <mutex>
#include <sycl/sycl.hpp>
#include <thread>
#include <type_traits>

#include "test_support.hpp"

namespace {

using namespace std::chrono_literals;

// An allocator that carries a tag, so a test can tell which one a buffer kept.
template <typename T>
struct tagged_allocator {
  using value_type = T;
  int tag = 0;
  tagged_allocator() = default;
  explicit tagged_allocator(int t) : tag(t) {}
  template <typename U>
  tagged_allocator(const tagged_allocator<U>& other) : tag(other.tag) {}
  T* allocate(std::size_t n) { return std::allocator<T>().allocate(n); }
  void deallocate(T* p, std::size_t n) { std::allocator<T>().deallocate(p, n); }
  friend bool operator==(const tagged_allocator& a, const tagged_allocator& b) {
    return a.tag == b.tag;
  }
};

void write_iota(sycl::queue& q, sycl::buffer<int>& b, int first) {
  q.submit([&](sycl::handler& h) {
    sycl::accessor acc{b, h, sycl::write_only};
    h.parallel_for(b.get_range(), [=](sycl::id<1> i) { acc[i] = first + int(i[0]); });
  });
}

TEST(BufferUpdateHost, MakesTheHostMemoryCurrentWhileTheBufferLives) {
  sycl::queue q{sycl::cpu_selector_v};
  int host[8] = {};
  sycl::buffer<int> b{host, sycl::range<1>(8)};
  write_iota(q, b, 100);
  q.submit([&](sycl::handler& h) {
     sycl::accessor acc{b, h, sycl::read_only};
     h.update_host(acc);
   }).wait();
  for (int i = 0; i < 8; ++i) EXPECT_EQ(host[i], 100 + i);
}

TEST(BufferUpdateHost, QueueShortcutTakesAPlaceholder) {
  sycl::queue q{sycl::cpu_selector_v};
  int host[4] = {};
  sycl::buffer<int> b{host, sycl::range<1>(4)};
  write_iota(q, b, 7);
  sycl::accessor<int, 1, sycl::access_mode::read, sycl::target::device,
                 sycl::access::placeholder::true_t>
      acc{b};
  q.update_host(acc).wait();
  for (int i = 0; i < 4; ++i) EXPECT_EQ(host[i], 7 + i);
}

TEST(BufferUseMutex, TheRuntimeWritesHostMemoryOnlyWhileHoldingTheMutex) {
  sycl::queue q{sycl::cpu_selector_v};
  std::mutex m;
  int host[4] = {1, 2, 3, 4};
  {
    sycl::buffer<int> b{host, sycl::range<1>(4),
                        sycl::property_list{sycl::property::buffer::use_mutex(m)}};
    ASSERT_TRUE(b.has_property<sycl::property::buffer::use_mutex>());
    EXPECT_EQ(b.get_property<sycl::property::buffer::use_mutex>().get_mutex_ptr(), &m);
    write_iota(q, b, 50);
    sycl::event updated;
    {
      std::lock_guard lock(m);
      updated = q.submit([&](sycl::handler& h) {
        sycl::accessor acc{b, h, sycl::read_only};
        h.update_host(acc);
      });
      std::this_thread::sleep_for(50ms);
      // The update waits for the mutex: host memory is untouched and the command unfinished.
      EXPECT_EQ(host[0], 1);
      EXPECT_NE(updated.get_info<sycl::info::event::command_execution_status>(),
                sycl::info::event_command_status::complete);
    }
    updated.wait();
    EXPECT_EQ(host[0], 50);
    EXPECT_EQ(host[3], 53);
  }
}

TEST(BufferUseMutex, TheBufferCopiesInAndWritesBackOnlyUnderTheMutex) {
  std::mutex m;
  int host[2] = {0, 0};
  std::unique_lock lock(m);
  std::thread owner([&] {
    sycl::buffer<int> b{host, sycl::range<1>(2),
                        sycl::property_list{sycl::property::buffer::use_mutex(m)}};
    sycl::host_accessor acc{b};
    acc[0] = 9;
  });
  std::this_thread::sleep_for(50ms);
  EXPECT_EQ(host[0], 0);
  lock.unlock();
  owner.join();
  EXPECT_EQ(host[0], 9);
}

TEST(BufferAllocator, GetAllocatorReturnsTheAllocatorTheBufferWasBuiltWith) {
  using alloc = tagged_allocator<int>;
  sycl::buffer<int, 1, alloc> plain{sycl::range<1>(4), alloc(7)};
  EXPECT_EQ(plain.get_allocator().tag, 7);
  int host[4] = {};
  sycl::buffer<int, 1, alloc> from_host{host, sycl::range<1>(4), alloc(8)};
  EXPECT_EQ(from_host.get_allocator().tag, 8);
  std::vector<int> v(4);
  sycl::buffer from_container{v, alloc(9)};
  static_assert(std::is_same_v<decltype(from_container), sycl::buffer<int, 1, alloc>>);
  EXPECT_EQ(from_container.get_allocator().tag, 9);
  sycl::buffer from_iterators{v.begin(), v.end(), alloc(10)};
  EXPECT_EQ(from_iterators.get_allocator().tag, 10);
  // Copies, sub-buffers and reinterpreted buffers keep it.
  auto copy = plain;
  EXPECT_EQ(copy.get_allocator().tag, 7);
  auto bytes = plain.reinterpret<char>();
  EXPECT_EQ(bytes.get_allocator().tag, 7);
}

TEST(BufferSharedHostData, SharedPointerFormsCopyInAndBackWhileTheApplicationHoldsTheData) {
  sycl::queue q{sycl::cpu_selector_v};
  auto single = std::shared_ptr<int>(new int[4]{1, 2, 3, 4}, std::default_delete<int[]>());
  std::shared_ptr<int[]> array(new int[4]{5, 6, 7, 8});
  {
    sycl::buffer<int> a{single, sycl::range<1>(4)};
    sycl::buffer<int, 1, tagged_allocator<int>> b{single, sycl::range<1>(4),
                                                  tagged_allocator<int>(3)};
    sycl::buffer<int> c{array, sycl::range<1>(4)};
    sycl::buffer<int, 1, tagged_allocator<int>> d{array, sycl::range<1>(4),
                                                  tagged_allocator<int>(4)};
    EXPECT_EQ(b.get_allocator().tag, 3);
    EXPECT_EQ(d.get_allocator().tag, 4);
    EXPECT_EQ(sycl::host_accessor{a}[3], 4);
    EXPECT_EQ(sycl::host_accessor{d}[0], 5);
    (void)b;
    write_iota(q, c, 40);
  }
  EXPECT_EQ(array[2], 42);
}

TEST(BufferSharedHostData, NothingIsWrittenBackOnceTheApplicationReleasedTheData) {
  auto data = std::make_shared<int>(5);
  sycl::buffer<int> b{data, sycl::range<1>(1)};
  data.reset();  // the buffer must not write into memory the application gave up
  sycl::host_accessor{b}[0] = 6;
}

TEST(BufferProperties, HasPropertyAndGetPropertyReportTheBuffersProperties) {
  sycl::context ctx{sycl::device{sycl::cpu_selector_v}};
  int host[2] = {};
  sycl::buffer<int> b{host, sycl::range<1>(2),
                      sycl::property_list{sycl::property::buffer::use_host_ptr{},
                                          sycl::property::buffer::context_bound{ctx}}};
  EXPECT_TRUE(b.has_property<sycl::property::buffer::use_host_ptr>());
  EXPECT_TRUE(b.has_property<sycl::property::buffer::context_bound>());
  EXPECT_FALSE(b.has_property<sycl::property::buffer::use_mutex>());
  EXPECT_EQ(b.get_property<sycl::property::buffer::context_bound>().get_context(), ctx);
  EXPECT_EQ(test_support::code_of([&] { b.get_property<sycl::property::buffer::use_mutex>(); }),
            sycl::errc::invalid);
  sycl::buffer<int> none{sycl::range<1>(2)};
  EXPECT_FALSE(none.has_property<sycl::property::buffer::use_host_ptr>());
  static_assert(sycl::is_property_v<sycl::property::buffer::context_bound>);
  static_assert(
      sycl::is_property_of_v<sycl::property::buffer::context_bound, sycl::buffer<int, 2>>);
  static_assert(sycl::is_property_of_v<sycl::property::buffer::use_mutex, sycl::buffer<float>>);
}

TEST(BufferHostGetAccess, OlderHostFormWaitsForWritersAndHoldsLaterCommandsBack) {
  sycl::queue q{sycl::cpu_selector_v};
  sycl::buffer<int> b{sycl::range<1>(6)};
  write_iota(q, b, 10);
  sycl::event later;
  {
    auto acc = b.get_access<sycl::access_mode::read_write>();
    static_assert(
        std::is_same_v<decltype(acc), sycl::accessor<int, 1, sycl::access_mode::read_write,
                                                     sycl::target::host_buffer>>);
    EXPECT_FALSE(acc.is_placeholder());
    EXPECT_EQ(acc[5], 15);
    acc[0] = -1;
    later = q.submit([&](sycl::handler& h) {
      sycl::accessor d{b, h, sycl::read_write};
      h.single_task([=] { d[1] = d[0]; });
    });
    std::this_thread::sleep_for(20ms);
    EXPECT_NE(later.get_info<sycl::info::event::command_execution_status>(),
              sycl::info::event_command_status::complete);
  }
  later.wait();
  auto ranged = b.get_access<sycl::access_mode::read>(sycl::range<1>(3), sycl::id<1>(1));
  EXPECT_EQ(ranged.get_range(), sycl::range<1>(3));
  EXPECT_EQ(ranged[0], -1);
  EXPECT_EQ(ranged[1], 12);
}

TEST(BufferReferenceSemantics, CopiesAreEqualAndDistinctBuffersAreNot) {
  sycl::buffer<int> a{sycl::range<1>(256)};
  sycl::buffer<int> b{sycl::range<1>(256)};
  auto copy = a;
  EXPECT_TRUE(copy == a);
  EXPECT_EQ(std::hash<sycl::buffer<int>>()(copy), std::hash<sycl::buffer<int>>()(a));
  EXPECT_TRUE(a != b);
  EXPECT_NE(std::hash<sycl::buffer<int>>()(a), std::hash<sycl::buffer<int>>()(b));
  // Two sub-buffers of the same region are still two buffers.
  sycl::buffer<int> s1{a, sycl::id<1>(0), sycl::range<1>(32)};
  sycl::buffer<int> s2{a, sycl::id<1>(0), sycl::range<1>(32)};
  EXPECT_TRUE(s1 != s2);
  EXPECT_TRUE(s1 != a);
  EXPECT_NE(std::hash<sycl::buffer<int>>()(s1), std::hash<sycl::buffer<int>>()(s2));
}

}  // namespace
