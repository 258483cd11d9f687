// Buffers: dependency ordering, host accessors, write-back, sub-buffers and reinterpretation.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <hostsycl/hostsycl.hpp>
#include <numeric>
#include <thread>
#include <vector>

#include "test_support.hpp"

namespace {

using test_support::code_of;

TEST(Buffers, ReadAfterWriteWriteAfterReadAndWriteAfterWriteAreOrdered) {
  sycl::queue q1{hostsycl::emulated_gpu("emu-a3")};
  sycl::queue q2{sycl::cpu_selector_v};
  constexpr std::size_t n = 4096;
  std::vector<int> result(n);
  std::vector<long> sums(8, 0);
  {
    sycl::buffer<int> a{sycl::range<1>(n)};
    sycl::buffer<long> s{sums.data(), sycl::range<1>(8)};
    for (int round = 0; round < 8; ++round) {
      // write
      q1.submit([&](sycl::handler& h) {
        sycl::accessor w(a, h, sycl::write_only, sycl::no_init);
        h.parallel_for(sycl::range<1>(n),
                       [=](sycl::id<1> i) { w[i] = static_cast<int>(i[0]) + round; });
      });
      // read on another queue (read after write)
      q2.submit([&](sycl::handler& h) {
        sycl::accessor r(a, h, sycl::read_only_host_task);
        sycl::accessor out(s, h, sycl::read_write_host_task);
        h.host_task([=] {
          long t = 0;
          for (std::size_t i = 0; i < n; ++i) t += r[i];
          out[round] = t;
        });
      });
      // the next write must wait for that read (write after read)
    }
    q1.submit([&](sycl::handler& h) {
      sycl::accessor rw(a, h, sycl::read_write);
      h.parallel_for(sycl::range<1>(n), [=](sycl::id<1> i) { rw[i] *= 2; });
    });
    sycl::host_accessor final_view(a, sycl::read_only);
    for (std::size_t i = 0; i < n; ++i) result[i] = final_view[i];
  }
  for (std::size_t i = 0; i < n; ++i) ASSERT_EQ(result[i], 2 * (static_cast<int>(i) + 7));
  const long base = static_cast<long>(n) * (n - 1) / 2;
  for (int round = 0; round < 8; ++round)
    EXPECT_EQ(sums[round], base + static_cast<long>(n) * round);
}

TEST(Buffers, HostAccessorBlocksLaterCommandsUntilDestroyed) {
  sycl::queue q{sycl::cpu_selector_v};
  sycl::buffer<int> b{sycl::range<1>(1)};
  std::atomic<bool> ran{false};
  sycl::event e;
  {
    sycl::host_accessor h(b);
    h[0] = 5;
    e = q.submit([&](sycl::handler& cgh) {
      sycl::accessor a(b, cgh, sycl::read_write_host_task);
      cgh.host_task([=, &ran] {
        a[0] += 1;
        ran = true;
      });
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_FALSE(ran.load());
  }
  e.wait();
  EXPECT_TRUE(ran.load());
  EXPECT_EQ(sycl::host_accessor(b)[0], 6);
}

TEST(Buffers, DestructionWritesBackUnlessSuppressed) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a2")};
  std::vector<int> data(100, 1), kept(100, 1), redirected(100, 0);
  {
    sycl::buffer<int> b{data.data(), sycl::range<1>(100)};
    sycl::buffer<int> c{kept.data(), sycl::range<1>(100)};
    c.set_write_back(false);
    sycl::buffer<int> d{kept.data(), sycl::range<1>(100)};
    d.set_final_data(redirected.data());
    for (auto* buf : {&b, &c, &d})
      q.submit([&](sycl::handler& h) {
        sycl::accessor a(*buf, h);
        h.parallel_for(sycl::range<1>(100), [=](sycl::id<1> i) { a[i] = 9; });
      });
  }
  for (int v : data) ASSERT_EQ(v, 9);
  for (int v : kept) ASSERT_EQ(v, 1);
  for (int v : redirected) ASSERT_EQ(v, 9);
}

TEST(Buffers, ConstHostDataIsNeverWrittenBack) {
  const std::vector<int> source(10, 3);
  sycl::queue q{sycl::cpu_selector_v};
  {
    sycl::buffer<int> b{source.data(), sycl::range<1>(10)};
    q.submit([&](sycl::handler& h) {
      sycl::accessor a(b, h, sycl::read_write_host_task);
      h.host_task([=] { a[0] = 100; });
    });
  }
  EXPECT_EQ(source[0], 3);
}

TEST(Buffers, SubBuffersViewPartsOfTheirParent) {
  std::vector<int> data(512);
  std::iota(data.begin(), data.end(), 0);
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  {
    sycl::buffer<int> b{data.data(), sycl::range<1>(512)};
    sycl::buffer<int> upper{b, sycl::id<1>(256), sycl::range<1>(256)};
    EXPECT_TRUE(upper.is_sub_buffer());
    q.submit([&](sycl::handler& h) {
      sycl::accessor a(upper, h);
      h.parallel_for(sycl::range<1>(256), [=](sycl::id<1> i) { a[i] = -a[i]; });
    });
  }
  for (int i = 0; i < 512; ++i) ASSERT_EQ(data[i], i < 256 ? i : -i);
}

TEST(Buffers, SubBufferRefusals) {
  sycl::buffer<int> b{sycl::range<1>(1024)};
  sycl::buffer<int> sub{b, sycl::id<1>(0), sycl::range<1>(512)};
  EXPECT_EQ(code_of([&] {
              sycl::buffer<int> s2{sub, sycl::id<1>(0), sycl::range<1>(32)};
            }),
            sycl::errc::invalid);
  EXPECT_EQ(code_of([&] {
              sycl::buffer<int> s{b, sycl::id<1>(1000), sycl::range<1>(32)};
            }),
            sycl::errc::invalid);
  // 1024-bit base alignment: an offset of 4 ints is 128 bits.
  EXPECT_EQ(code_of([&] {
              sycl::buffer<int> s{b, sycl::id<1>(4), sycl::range<1>(32)};
            }),
            sycl::errc::invalid);
}

TEST(Buffers, ReinterpretSharesDataAndRefusesSizeChanges) {
  sycl::buffer<std::uint32_t> b{sycl::range<1>(8)};
  {
    sycl::host_accessor h(b);
    for (std::size_t i = 0; i < 8; ++i) h[i] = static_cast<std::uint32_t>(i);
  }
  auto bytes = b.reinterpret<unsigned char>();
  EXPECT_EQ(bytes.size(), 32u);
  {
    sycl::host_accessor h(bytes);
    h[4] = 0xff;  // low byte of element 1
  }
  EXPECT_EQ(sycl::host_accessor(b)[1], 0xffu);
  EXPECT_EQ(code_of([&] { (void)b.reinterpret<std::uint64_t>(sycl::range<1>(5)); }),
            sycl::errc::invalid);
  sycl::buffer<unsigned char> odd{sycl::range<1>(6)};
  EXPECT_EQ(code_of([&] { (void)odd.reinterpret<std::uint32_t>(); }), sycl::errc::invalid);
}

TEST(Buffers, RangedAccessorsIndexFromTheirOffset) {
  sycl::queue q{sycl::cpu_selector_v};
  sycl::buffer<int> b{sycl::range<1>(100)};
  q.submit([&](sycl::handler& h) {
    sycl::accessor a(b, h, sycl::write_only, sycl::no_init);
    h.parallel_for(sycl::range<1>(100), [=](sycl::id<1> i) { a[i] = 0; });
  });
  q.submit([&](sycl::handler& h) {
    sycl::accessor a(b, h, sycl::range<1>(10), sycl::id<1>(50));
    EXPECT_EQ(a.size(), 10u);
    h.parallel_for(sycl::range<1>(10), [=](sycl::id<1> i) { a[i] = 1; });
  });
  sycl::host_accessor h(b);
  for (int i = 0; i < 100; ++i) ASSERT_EQ(h[i], (i >= 50 && i < 60) ? 1 : 0);
  EXPECT_EQ(code_of([&] {
              q.submit([&](sycl::handler& cgh) {
                sycl::accessor a(b, cgh, sycl::range<1>(60), sycl::id<1>(50));
              });
            }),
            sycl::errc::invalid);
}

TEST(Buffers, NoInitWithReadIsRefused) {
  sycl::queue q{sycl::cpu_selector_v};
  sycl::buffer<int> b{sycl::range<1>(4)};
  EXPECT_EQ(code_of([&] {
              q.submit([&](sycl::handler& h) {
                sycl::accessor<int, 1, sycl::access_mode::read> a(
                    b, h, sycl::property_list{sycl::no_init});
              });
            }),
            sycl::errc::invalid);
}

TEST(Buffers, AccessorCopiesAndFill) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  std::vector<float> in(64), out(64, 0.f);
  std::iota(in.begin(), in.end(), 1.f);
  sycl::buffer<float> b{sycl::range<1>(64)};
  q.submit([&](sycl::handler& h) {
    sycl::accessor a(b, h, sycl::write_only);
    h.copy(in.data(), a);
  });
  q.submit([&](sycl::handler& h) {
     sycl::accessor a(b, h, sycl::read_only);
     h.copy(a, out.data());
   }).wait();
  EXPECT_EQ(in, out);
  q.submit([&](sycl::handler& h) {
    sycl::accessor a(b, h, sycl::write_only);
    h.fill(a, 2.5f);
  });
  sycl::host_accessor r(b);
  for (int i = 0; i < 64; ++i) ASSERT_EQ(r[i], 2.5f);
}

TEST(Buffers, GetAccessAccessorToAccessorCopyAndUpdateHost) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a4")};
  std::vector<int> data(32, 4);
  sycl::buffer<int> src{data.data(), sycl::range<1>(32)};
  sycl::buffer<int> dst{sycl::range<1>(32)};
  q.submit([&](sycl::handler& h) {
    auto a = src.get_access<sycl::access_mode::read_write>(h);
    h.parallel_for(sycl::range<1>(32), [=](sycl::id<1> i) { a[i] += static_cast<int>(i[0]); });
  });
  q.submit([&](sycl::handler& h) {
    sycl::accessor from(src, h, sycl::read_only);
    sycl::accessor to(dst, h, sycl::write_only);
    h.copy(from, to);
  });
  q.submit([&](sycl::handler& h) {
    sycl::accessor a(src, h, sycl::read_only);
    h.update_host(a);
  });
  auto view = dst.get_host_access();
  for (int i = 0; i < 32; ++i) ASSERT_EQ(view[i], 4 + i);
}

TEST(Buffers, PlaceholderAccessorIsRequiredExplicitly) {
  sycl::queue q{sycl::cpu_selector_v};
  sycl::buffer<int> b{sycl::range<1>(8)};
  sycl::accessor<int, 1, sycl::access_mode::read_write, sycl::target::device,
                 sycl::access::placeholder::true_t>
      p(b);
  EXPECT_TRUE(p.is_placeholder());
  q.submit([&](sycl::handler& h) {
    h.require(p);
    h.parallel_for(sycl::range<1>(8), [=](sycl::id<1> i) { p[i] = static_cast<int>(i[0]) * 3; });
  });
  sycl::host_accessor h(b);
  for (int i = 0; i < 8; ++i) ASSERT_EQ(h[i], 3 * i);
}

}  // namespace
