// Accessors: ranged windows of two and three dimensions (iteration, fill, every copy form),
// indexing by item and by a[i][j][k], placeholder ranged accessors from tags, and identity.
#include <gtest/gtest.h>

#include <iterator>
#include <memory>
#include <numeric>
#include <sycl/sycl.hpp>
#include <type_traits>
#include <vector>

namespace {

constexpr int untouched = -1;

// A 2-D buffer of 4 x 5 elements and the window of 2 x 3 at (1, 1) inside it.
const sycl::range<2> grid{4, 5};
const sycl::range<2> window{2, 3};
const sycl::id<2> origin{1, 1};

bool inside(std::size_t i, std::size_t j) {
  return i >= origin[0] && i < origin[0] + window[0] && j >= origin[1] && j < origin[1] + window[1];
}

// The host contents of the grid after the buffer is gone.
template <typename F>
std::vector<int> run_on_grid(F&& commands) {
  std::vector<int> host(grid.size(), untouched);
  {
    sycl::queue q{sycl::cpu_selector_v};
    sycl::buffer<int, 2> b{host.data(), grid};
    commands(q, b);
    q.wait();
  }
  return host;
}

TEST(RangedAccessorWindow, IterationVisitsTheWindowInLinearOrder) {
  std::vector<int> host(grid.size());
  std::iota(host.begin(), host.end(), 0);
  sycl::buffer<int, 2> b{host.data(), grid};
  sycl::host_accessor acc{b, window, origin, sycl::read_only};
  std::vector<int> seen(acc.begin(), acc.end());
  EXPECT_EQ(seen, (std::vector<int>{6, 7, 8, 11, 12, 13}));
  EXPECT_EQ(std::distance(acc.begin(), acc.end()), 6);
  std::vector<int> backwards(acc.rbegin(), acc.rend());
  EXPECT_EQ(backwards, (std::vector<int>{13, 12, 11, 8, 7, 6}));
  std::vector<int> through_const(acc.cbegin(), acc.cend());
  EXPECT_EQ(through_const, seen);
  EXPECT_EQ(acc.begin()[4], 12);
  EXPECT_TRUE(acc.begin() < acc.end());
}

TEST(RangedAccessorWindow, ThreeDimensionalIterationVisitsThePlanesOfTheWindow) {
  const sycl::range<3> extent{3, 4, 5};
  std::vector<int> host(extent.size());
  std::iota(host.begin(), host.end(), 0);
  sycl::buffer<int, 3> b{host.data(), extent};
  sycl::host_accessor acc{b, sycl::range<3>(2, 2, 2), sycl::id<3>(1, 1, 2), sycl::read_only};
  std::vector<int> seen(acc.begin(), acc.end());
  EXPECT_EQ(seen, (std::vector<int>{27, 28, 32, 33, 47, 48, 52, 53}));
}

TEST(RangedAccessorWindow, FillWritesOnlyTheWindow) {
  auto host = run_on_grid([](sycl::queue& q, sycl::buffer<int, 2>& b) {
    q.submit([&](sycl::handler& h) {
      sycl::accessor acc{b, h, window, origin, sycl::write_only};
      h.fill(acc, 7);
    });
  });
  for (std::size_t i = 0; i < grid[0]; ++i)
    for (std::size_t j = 0; j < grid[1]; ++j)
      EXPECT_EQ(host[i * grid[1] + j], inside(i, j) ? 7 : untouched) << i << "," << j;
}

TEST(RangedAccessorWindow, CopyFromHostPointerFillsTheWindowInOrder) {
  const int source[6] = {10, 11, 12, 13, 14, 15};
  auto host = run_on_grid([&](sycl::queue& q, sycl::buffer<int, 2>& b) {
    q.submit([&](sycl::handler& h) {
      sycl::accessor acc{b, h, window, origin, sycl::write_only};
      h.copy(source, acc);
    });
  });
  int next = 10;
  for (std::size_t i = 0; i < grid[0]; ++i)
    for (std::size_t j = 0; j < grid[1]; ++j)
      EXPECT_EQ(host[i * grid[1] + j], inside(i, j) ? next++ : untouched);
}

TEST(RangedAccessorWindow, CopyFromSharedPointerFillsTheWindowInOrder) {
  std::shared_ptr<int> source(new int[6]{20, 21, 22, 23, 24, 25}, std::default_delete<int[]>());
  auto host = run_on_grid([&](sycl::queue& q, sycl::buffer<int, 2>& b) {
    q.submit([&](sycl::handler& h) {
      sycl::accessor acc{b, h, window, origin, sycl::write_only};
      h.copy(source, acc);
    });
  });
  EXPECT_EQ(host[1 * 5 + 1], 20);
  EXPECT_EQ(host[1 * 5 + 3], 22);
  EXPECT_EQ(host[2 * 5 + 1], 23);
  EXPECT_EQ(host[2 * 5 + 4], untouched);
  EXPECT_EQ(host[1 * 5 + 4], untouched);
}

std::vector<int> numbered_grid() {
  std::vector<int> host(grid.size());
  std::iota(host.begin(), host.end(), 0);
  return host;
}

TEST(RangedAccessorWindow, CopyToHostPointerAndSharedPointerReadsTheWindow) {
  auto host = numbered_grid();
  int plain[6] = {};
  std::shared_ptr<int> shared(new int[6](), std::default_delete<int[]>());
  {
    sycl::queue q{sycl::cpu_selector_v};
    sycl::buffer<int, 2> b{host.data(), grid};
    q.submit([&](sycl::handler& h) {
      sycl::accessor acc{b, h, window, origin, sycl::read_only};
      h.copy(acc, plain);
    });
    q.submit([&](sycl::handler& h) {
      sycl::accessor acc{b, h, window, origin, sycl::read_only};
      h.copy(acc, shared);
    });
    q.wait();
  }
  const int expected[6] = {6, 7, 8, 11, 12, 13};
  for (int k = 0; k < 6; ++k) {
    EXPECT_EQ(plain[k], expected[k]);
    EXPECT_EQ(shared.get()[k], expected[k]);
  }
}

TEST(RangedAccessorWindow, CopyBetweenAccessorsMovesWindowToWindow) {
  auto source_host = numbered_grid();
  auto host = run_on_grid([&](sycl::queue& q, sycl::buffer<int, 2>& b) {
    sycl::buffer<int, 2> source{source_host.data(), grid};
    q.submit([&](sycl::handler& h) {
      // The source window (2 x 3 at (2, 2)) lands in the destination window (2 x 3 at (1, 1)).
      sycl::accessor from{source, h, window, sycl::id<2>(2, 2), sycl::read_only};
      sycl::accessor to{b, h, window, origin, sycl::write_only};
      h.copy(from, to);
    });
  });
  const int expected[2][3] = {{12, 13, 14}, {17, 18, 19}};
  for (std::size_t i = 0; i < grid[0]; ++i)
    for (std::size_t j = 0; j < grid[1]; ++j)
      EXPECT_EQ(host[i * grid[1] + j],
                inside(i, j) ? expected[i - origin[0]][j - origin[1]] : untouched);
}

TEST(RangedAccessorWindow, ThreeDimensionalFillAndCopyStayInTheWindow) {
  const sycl::range<3> extent{3, 4, 5};
  const sycl::range<3> box{2, 2, 3};
  const sycl::id<3> corner{1, 2, 1};
  std::vector<int> host(extent.size(), untouched);
  int out[24] = {};
  {
    sycl::queue q{sycl::cpu_selector_v};
    sycl::buffer<int, 3> b{host.data(), extent};
    q.submit([&](sycl::handler& h) {
      sycl::accessor acc{b, h, box, corner, sycl::write_only};
      h.fill(acc, 3);
    });
    q.submit([&](sycl::handler& h) {
      sycl::accessor acc{b, h, sycl::range<3>(3, 4, 2), sycl::id<3>(0, 0, 0), sycl::read_only};
      h.copy(acc, out);
    });
    q.wait();
  }
  std::size_t filled = 0;
  for (std::size_t i = 0; i < 3; ++i)
    for (std::size_t j = 0; j < 4; ++j)
      for (std::size_t k = 0; k < 5; ++k) {
        const bool in = i >= 1 && j >= 2 && k >= 1 && k < 4;
        EXPECT_EQ(host[(i * 4 + j) * 5 + k], in ? 3 : untouched);
        filled += in;
      }
  EXPECT_EQ(filled, box.size());
  // The copy read columns 0 and 1 of every row; only column 1 of the filled rows holds 3.
  EXPECT_EQ(out[0], untouched);                    // (0,0,0)
  EXPECT_EQ(out[(1 * 4 + 2) * 2 + 1], 3);          // (1,2,1)
  EXPECT_EQ(out[(1 * 4 + 2) * 2 + 0], untouched);  // (1,2,0)
}

TEST(AccessorIndexing, OneDimensionalAccessorsIndexByAnItemsId) {
  std::vector<int> host(8, 0);
  {
    sycl::queue q{sycl::cpu_selector_v};
    sycl::buffer<int> b{host.data(), sycl::range<1>(8)};
    q.submit([&](sycl::handler& h) {
      sycl::accessor acc{b, h, sycl::write_only};
      h.parallel_for(sycl::range<1>(8), [=](sycl::item<1> it) { acc[it] = int(it.get_id(0)) + 1; });
    });
    q.submit([&](sycl::handler& h) {
      // Ranged: the item's id is relative to the offset.
      sycl::accessor acc{b, h, sycl::range<1>(2), sycl::id<1>(5), sycl::read_write};
      h.parallel_for(sycl::range<1>(2), [=](sycl::item<1> it) { acc[it] *= 100; });
    });
  }
  EXPECT_EQ(host, (std::vector<int>{1, 2, 3, 4, 5, 600, 700, 8}));
}

TEST(AccessorIndexing, MultiDimensionalSubscriptsEqualIndexingById) {
  std::vector<int> flat2(12), flat3(24);
  {
    sycl::queue q{sycl::cpu_selector_v};
    sycl::buffer<int, 2> b2{flat2.data(), sycl::range<2>(3, 4)};
    sycl::buffer<int, 3> b3{flat3.data(), sycl::range<3>(2, 3, 4)};
    q.submit([&](sycl::handler& h) {
      sycl::accessor a2{b2, h, sycl::write_only};
      sycl::accessor a3{b3, h, sycl::write_only};
      h.parallel_for(sycl::range<3>(2, 3, 4), [=](sycl::id<3> i) {
        a3[i[0]][i[1]][i[2]] = int(100 * i[0] + 10 * i[1] + i[2]);
        if (i[0] == 0) a2[i[1]][i[2]] = int(10 * i[1] + i[2]);
      });
    });
    sycl::host_accessor h2{b2};
    EXPECT_EQ(h2[2][3], 23);
    EXPECT_EQ(&h2[1][2], &h2[sycl::id<2>(1, 2)]);
    h2[0][1] = -5;
    sycl::host_accessor h3{b3, sycl::read_only};
    EXPECT_EQ(h3[1][2][3], 123);
    // A ranged accessor's subscripts are relative to its offset, like its ids.
    sycl::host_accessor ranged{b3, sycl::range<3>(1, 2, 2), sycl::id<3>(1, 1, 1), sycl::read_only};
    EXPECT_EQ(ranged[0][1][1], 122);
  }
  EXPECT_EQ(flat2[1], -5);
  EXPECT_EQ(flat3[23], 123);
}

TEST(AccessorIndexing, LocalAccessorsTakeSubscriptsAndItems) {
  sycl::queue q{sycl::cpu_selector_v};
  int* out = sycl::malloc_shared<int>(8, q);
  q.submit([&](sycl::handler& h) {
     sycl::local_accessor<int, 2> tile{sycl::range<2>(2, 4), h};
     h.parallel_for(sycl::nd_range<2>({2, 4}, {2, 4}), [=](sycl::nd_item<2> it) {
       const std::size_t i = it.get_local_id(0), j = it.get_local_id(1);
       tile[i][j] = int(10 * i + j);
       sycl::group_barrier(it.get_group());
       out[i * 4 + j] = tile[1 - i][3 - j];
     });
   }).wait();
  EXPECT_EQ(out[0], 13);
  EXPECT_EQ(out[7], 0);
  sycl::free(out, q);
}

TEST(PlaceholderAccessors, RangedPlaceholdersFromTagsDeduceTheirType) {
  std::vector<int> host(8, 1);
  {
    sycl::queue q{sycl::cpu_selector_v};
    sycl::buffer<int> b{host.data(), sycl::range<1>(8)};
    sycl::accessor reader{b, sycl::range<1>(4), sycl::read_only};
    static_assert(
        std::is_same_v<decltype(reader),
                       sycl::accessor<const int, 1, sycl::access_mode::read, sycl::target::device,
                                      sycl::access::placeholder::true_t>>);
    sycl::accessor writer{b, sycl::range<1>(4), sycl::id<1>(4), sycl::write_only};
    static_assert(
        std::is_same_v<decltype(writer),
                       sycl::accessor<int, 1, sycl::access_mode::write, sycl::target::device,
                                      sycl::access::placeholder::true_t>>);
    sycl::accessor untagged{b, sycl::range<1>(2), sycl::id<1>(1)};
    EXPECT_TRUE(untagged.is_placeholder());
    EXPECT_TRUE(reader.is_placeholder());
    EXPECT_TRUE(writer.is_placeholder());
    EXPECT_EQ(writer.get_offset(), sycl::id<1>(4));
    q.submit([&](sycl::handler& h) {
      h.require(reader);
      h.require(writer);
      h.single_task([=] {
        for (int k = 0; k < 4; ++k) writer[k] = reader[k] + k;
      });
    });
  }
  EXPECT_EQ(host, (std::vector<int>{1, 1, 1, 1, 1, 2, 3, 4}));
}

template <typename T>
void expect_identity(const T& a, const T& distinct) {
  const T copy = a;
  EXPECT_TRUE(copy == a);
  EXPECT_FALSE(copy != a);
  EXPECT_EQ(std::hash<T>()(copy), std::hash<T>()(a));
  EXPECT_TRUE(a != distinct);
  EXPECT_NE(std::hash<T>()(a), std::hash<T>()(distinct));
}

TEST(AccessorReferenceSemantics, CopiesAreEqualAndDistinctAccessorsAreNot) {
  sycl::queue q{sycl::cpu_selector_v};
  sycl::buffer<int> b{sycl::range<1>(4)};
  q.submit([&](sycl::handler& h) {
    sycl::accessor first{b, h, sycl::read_write};
    sycl::accessor second{b, h, sycl::read_write};  // same buffer, same range: still distinct
    expect_identity(first, second);
    h.single_task([=] { first[0] = 1; });
  });
  q.submit([&](sycl::handler& h) {
    sycl::local_accessor<int> l1{sycl::range<1>(4), h}, l2{sycl::range<1>(4), h};
    expect_identity(l1, l2);
    h.parallel_for(sycl::nd_range<1>(4, 4), [=](sycl::nd_item<1> it) {
      l1[it.get_local_id(0)] = 0;
      l2[it.get_local_id(0)] = 0;
    });
  });
  q.wait();
  sycl::accessor<int> empty_a, empty_b;
  expect_identity(empty_a, empty_b);
  sycl::host_accessor h1{b, sycl::read_only};
  sycl::host_accessor h2{b, sycl::read_only};
  expect_identity(h1, h2);
}

TEST(AccessorReferenceSemantics, AKernelsCopyOfAnAccessorEqualsTheOriginal) {
  sycl::queue q{sycl::cpu_selector_v};
  sycl::buffer<int> b{sycl::range<1>(1)};
  bool* same = sycl::malloc_shared<bool>(1, q);
  q.submit([&](sycl::handler& h) {
     sycl::accessor acc{b, h, sycl::write_only};
     const auto original = acc;
     h.host_task([=] { *same = (acc == original); });
   }).wait();
  EXPECT_TRUE(*same);
  sycl::free(same, q);
}

}  // namespace
