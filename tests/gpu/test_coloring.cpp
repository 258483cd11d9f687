// The level-set coloring checked structurally against the tests' own level computation: colors
// exact and contiguous, the permutation and its inverse, head and tail runs, chunk tables and the
// coloured strict parts, on generated triangles and on the shared matrix corpus.
#include <gtest/gtest.h>

#include <filesystem>
#include <hostsycl/hostsycl.hpp>
#include <string>

#include "gpu/levelset_support.hpp"
#include "matrix_market.hpp"
#include "support/test_helpers.hpp"

namespace {

using namespace lvt;
using vrt_test::all_variants;

constexpr std::int64_t narrow = 256;

struct expected_classes {
  int head, tail;
};

// Head and tail from the level widths, written independently of the library.
template <typename T, typename I>
expected_classes classes_of(const expansion<T, I>& e) {
  std::vector<std::int64_t> width(static_cast<std::size_t>(e.num_levels), 0);
  for (auto l : e.level) ++width[l];
  int first_wide = -1, last_wide = -1;
  for (int c = 0; c < static_cast<int>(width.size()); ++c)
    if (width[c] > narrow) {
      if (first_wide < 0) first_wide = c;
      last_wide = c;
    }
  if (first_wide < 0) return {static_cast<int>(width.size()), 0};
  return {first_wide, static_cast<int>(width.size()) - 1 - last_wide};
}

template <typename T, typename I>
void check_coloring(const expansion<T, I>& e, const coloring_snapshot<T, I>& s, int want_mode,
                    const std::string& what) {
  const std::int64_t n = e.n;
  const int base = e.base;
  ASSERT_EQ(s.nrows, n) << what;
  ASSERT_EQ(s.num_colors, e.num_levels) << what;
  // Colors: contiguous ranges covering every position, each row in exactly its level.
  ASSERT_EQ(s.color_ptr_host[0], I(0)) << what;
  ASSERT_EQ(s.color_ptr_host[s.num_colors], static_cast<I>(n)) << what;
  EXPECT_EQ(s.color_ptr_device, s.color_ptr_host) << what;
  for (int c = 0; c < s.num_colors; ++c) {
    ASSERT_LE(s.color_ptr_host[c], s.color_ptr_host[c + 1]) << what;
    for (I p = s.color_ptr_host[c]; p < s.color_ptr_host[c + 1]; ++p) {
      const I r = s.row_of_position[p];
      ASSERT_TRUE(r >= 0 && r < n) << what;
      ASSERT_EQ(e.level[r], c) << what << ": row " << r;
    }
  }
  std::vector<int> seen(static_cast<std::size_t>(n), 0);
  for (std::int64_t p = 0; p < n; ++p) {
    const I r = s.row_of_position[p];
    ASSERT_EQ(++seen[r], 1) << what << ": row " << r << " placed twice";
    ASSERT_EQ(s.position_of_row[r], static_cast<I>(p)) << what;
  }
  // Every dependency of a row lies in an earlier color.
  for (std::int64_t r = 0; r < n; ++r)
    for (I k = e.row_ptr[r] - base; k < e.lower_end[r] - base; ++k) {
      const I j = e.col_ind[k] - base;
      ASSERT_LT(e.level[j], e.level[r]) << what;
    }
  const expected_classes want = classes_of(e);
  EXPECT_EQ(s.head, want.head) << what;
  EXPECT_EQ(s.tail, want.tail) << what;
  EXPECT_EQ(s.sync_mode, want_mode) << what;
  // Chunk tables only when the middle is synchronised by atomics.
  const int middle_end = s.num_colors - s.tail;
  if (want_mode == 2 && s.head < middle_end) {
    std::vector<I> per_color(static_cast<std::size_t>(s.num_colors), 0), start, color;
    int chunks = 0, widest = 0;
    for (int c = s.head; c < middle_end; ++c) {
      const I w = s.color_ptr_host[c + 1] - s.color_ptr_host[c];
      per_color[c] = (w + 15) / 16;
      chunks += static_cast<int>(per_color[c]);
      widest = std::max(widest, static_cast<int>(per_color[c]));
      for (I p = s.color_ptr_host[c]; p < s.color_ptr_host[c + 1]; p += 16) {
        start.push_back(p);
        color.push_back(static_cast<I>(c));
      }
    }
    start.push_back(s.color_ptr_host[middle_end]);
    EXPECT_EQ(s.num_chunks, chunks) << what;
    EXPECT_EQ(s.max_chunks, widest) << what;
    EXPECT_EQ(s.chunks_per_color, per_color) << what;
    EXPECT_EQ(s.chunk_start, start) << what;
    EXPECT_EQ(s.chunk_color, color) << what;
    EXPECT_EQ(s.chunks_per_color_device, per_color) << what;
    EXPECT_EQ(s.chunk_start_device, start) << what;
    EXPECT_EQ(s.chunk_color_device, color) << what;
    EXPECT_TRUE(s.counters_allocated) << what;
  } else {
    EXPECT_EQ(s.num_chunks, 0) << what;
    EXPECT_EQ(s.max_chunks, 0) << what;
    EXPECT_TRUE(s.chunk_start.empty()) << what;
    EXPECT_FALSE(s.counters_allocated) << what;
  }
  // Coloured strict parts: source order kept, columns translated to positions.
  ASSERT_EQ(s.lower_ptr[0], I(0)) << what;
  ASSERT_EQ(s.upper_ptr[0], I(0)) << what;
  for (std::int64_t p = 0; p < n; ++p) {
    const I r = s.row_of_position[p];
    EXPECT_EQ(s.inv_diag_colored[p], e.inv_diag[r]) << what;
    const I lower_len = e.lower_end[r] - e.row_ptr[r];
    const I upper_len = e.row_ptr[r + 1] - e.upper_start[r];
    ASSERT_EQ(s.lower_ptr[p + 1] - s.lower_ptr[p], lower_len) << what;
    ASSERT_EQ(s.upper_ptr[p + 1] - s.upper_ptr[p], upper_len) << what;
    for (I k = 0; k < lower_len; ++k) {
      const I src = e.row_ptr[r] - base + k;
      ASSERT_EQ(s.lower_col[s.lower_ptr[p] + k], s.position_of_row[e.col_ind[src] - base]);
      ASSERT_EQ(s.lower_val[s.lower_ptr[p] + k], e.values[src]);
    }
    for (I k = 0; k < upper_len; ++k) {
      const I src = e.upper_start[r] - base + k;
      ASSERT_EQ(s.upper_col[s.upper_ptr[p] + k], s.position_of_row[e.col_ind[src] - base]);
      ASSERT_EQ(s.upper_val[s.upper_ptr[p] + k], e.values[src]);
    }
  }
}

template <typename T>
int mode_for(const char* profile) {
  const bool atomics_arch = std::string(profile) == "emu-a4";
  return atomics_arch && !vrt_test::is_complex<T> ? 2 : 1;
}

// Colours the chosen triangle of m on a profile in one memory model, checks it and returns
// the snapshot.
template <typename T, typename I, vs::containerType C>
coloring_snapshot<T, I> color_and_check(const triangle_matrix<T>& m, bool lower, int base,
                                        const char* profile, const std::string& what) {
  sycl::queue q{hostsycl::emulated_gpu(profile)};
  const auto e = expand<T, I>(m, lower, base);
  bound_expansion<T, I, C> b(q, e, lower);
  b.color().wait();
  EXPECT_NE(*b.slot(), nullptr);
  auto s = snapshot<T, I, C>(q, **b.slot());
  const std::string full = what + (lower ? " lower" : " upper") + " on " + profile +
                           (C == vs::container_usm ? " (USM)" : " (buffers)");
  check_coloring(e, s, mode_for<T>(profile), full);
  // A second call finds the slot filled and leaves it alone.
  vs::coloringData* before = *b.slot();
  b.color().wait();
  EXPECT_EQ(*b.slot(), before);
  return s;
}

template <typename T, typename I>
coloring_snapshot<T, I> color_both_models(const triangle_matrix<T>& m, bool lower,
                                          const char* profile, const std::string& what) {
  color_and_check<T, I, vs::container_buffer>(m, lower, 1, profile, what);
  return color_and_check<T, I, vs::container_usm>(m, lower, 0, profile, what);
}

template <typename V>
class Coloring : public ::testing::Test {};
TYPED_TEST_SUITE(Coloring, all_variants);

TYPED_TEST(Coloring, DiagonalMatrixIsOneColor) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  for (const char* profile : {"emu-a3", "emu-a4"}) {
    auto wide = color_both_models<T, I>(levels_triangle<T>({300}, 1), true, profile, "diag 300");
    EXPECT_EQ(wide.num_colors, 1);
    EXPECT_EQ(wide.head, 0);
    EXPECT_EQ(wide.tail, 0);
    auto small = color_both_models<T, I>(levels_triangle<T>({256}, 2), true, profile, "diag 256");
    EXPECT_EQ(small.num_colors, 1);
    EXPECT_EQ(small.head, 1);
  }
}

TYPED_TEST(Coloring, BidiagonalIsAllHead) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto m = levels_triangle<T>(std::vector<std::int64_t>(300, 1), 3);
  for (bool lower : {true, false}) {
    auto s = color_both_models<T, I>(lower ? m : transpose_of(m), lower, "emu-a4", "bidiagonal");
    EXPECT_EQ(s.num_colors, 300);
    EXPECT_EQ(s.head, 300);
    EXPECT_EQ(s.tail, 0);
  }
}

TYPED_TEST(Coloring, WideAndNarrowAlternate) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto m = levels_triangle<T>({300, 1, 300, 1}, 4);
  for (const char* profile : {"emu-a2", "emu-a4"}) {
    auto s = color_both_models<T, I>(m, true, profile, "300/1/300/1");
    EXPECT_EQ(s.num_colors, 4);
    EXPECT_EQ(s.head, 0);
    EXPECT_EQ(s.tail, 1);
    color_both_models<T, I>(transpose_of(m), false, profile, "300/1/300/1");
  }
}

TYPED_TEST(Coloring, NarrowStopsAt256Rows) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  auto s = color_both_models<T, I>(levels_triangle<T>({1, 256, 1}, 5), true, "emu-a4", "256");
  EXPECT_EQ(s.head, 3);
  EXPECT_EQ(s.tail, 0);
  s = color_both_models<T, I>(levels_triangle<T>({1, 257, 1}, 6), true, "emu-a4", "257");
  EXPECT_EQ(s.head, 1);
  EXPECT_EQ(s.tail, 1);
  EXPECT_EQ(s.num_chunks, 0 + (vrt_test::is_complex<T> ? 0 : 17));
}

TYPED_TEST(Coloring, LayoutBySingleItemAndByScan) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  for (std::int64_t n : {255, 256, 257, 600}) {
    const auto m = random_triangle<T>(n, 3, static_cast<unsigned>(n));
    for (bool lower : {true, false})
      color_both_models<T, I>(lower ? m : transpose_of(m), lower, "emu-a1",
                              "random " + std::to_string(n));
  }
}

TYPED_TEST(Coloring, NoOffDiagonalEntries) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  const auto e = expand<T, I>(levels_triangle<T>({40}, 7), true, 0);
  bound_expansion<T, I, vs::container_usm> b(q, e, true);
  b.color().wait();
  const vs::coloringData& d = **b.slot();
  for (void* p : {d.lower_col, d.lower_val, d.upper_col, d.upper_val}) EXPECT_NE(p, nullptr);
  const auto s = snapshot<T, I, vs::container_usm>(q, d);
  EXPECT_EQ(s.lower_ptr, std::vector<I>(41, 0));
  EXPECT_EQ(s.upper_ptr, std::vector<I>(41, 0));
}

TYPED_TEST(Coloring, EmptyMatrixHasOneEmptyColor) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  for (const char* profile : {"emu-a3", "emu-a4"}) {
    auto s = color_both_models<T, I>(triangle_matrix<T>{}, true, profile, "empty");
    EXPECT_EQ(s.num_colors, 1);
    EXPECT_EQ(s.head, 1);
  }
}

TYPED_TEST(Coloring, MissingDiagonalColorsAllTheSame) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto m = levels_triangle<T>({3, 280, 2, 290, 1}, 8, false);
  color_both_models<T, I>(m, true, "emu-a4", "no diagonal");
  color_both_models<T, I>(transpose_of(m), false, "emu-a4", "no diagonal");
}

// The release frees every array of the coloring, the reciprocal diagonal in color order too.
TEST(ColoringRelease, NothingStaysAllocated) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a4")};
  const auto before = hostsycl::live_allocation_bytes(q.get_device());
  {
    const auto e =
        expand<double, std::int32_t>(levels_triangle<double>({2, 300, 1, 280}, 9), true, 0);
    bound_expansion<double, std::int32_t, vs::container_usm> b(q, e, true);
    b.color().wait();
    ASSERT_NE((*b.slot())->inv_diag_colored, nullptr);
    EXPECT_GT(hostsycl::live_allocation_bytes(q.get_device()), before);
  }
  EXPECT_EQ(hostsycl::live_allocation_bytes(q.get_device()), before);
}

// A failed allocation frees what the call had taken, leaves the slot empty and says so.
TEST(ColoringRelease, FailedAllocationTakesNothing) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a4")};
  const auto e =
      expand<double, std::int64_t>(levels_triangle<double>({2, 300, 1, 280}, 10), true, 0);
  bound_expansion<double, std::int64_t, vs::container_usm> b(q, e, true);
  const auto before = hostsycl::live_allocation_bytes(q.get_device());
  // The device allocation and its host fallback.
  hostsycl::fail_next_allocations(2);
  vrt_test::expect_message<vrt::device_bad_alloc>(
      [&] { b.color(); }, "orvane::vrt::sparse::optimize_trsv: cannot allocate memory on " +
                              q.get_device().get_info<sycl::info::device::name>());
  EXPECT_EQ(*b.slot(), nullptr);
  EXPECT_EQ(hostsycl::live_allocation_bytes(q.get_device()), before);
  b.color().wait();
  EXPECT_NE(*b.slot(), nullptr);
}

// ---- the shared corpus -------------------------------------------------------------------

template <typename T>
triangle_matrix<T> from_file(const orvane::vrt::matrix_market::coordinate_matrix& stored) {
  const auto full = orvane::vrt::matrix_market::expand_symmetry(stored);
  triangle_matrix<T> m;
  m.n = full.rows;
  for (std::size_t k = 0; k < full.row.size(); ++k) {
    T v;
    if constexpr (vrt_test::is_complex<T>)
      v = T(static_cast<vrt_test::real_t<T>>(full.value[k].real()),
            static_cast<vrt_test::real_t<T>>(full.value[k].imag()));
    else
      v = static_cast<T>(full.value[k].real());
    m.entries.push_back({full.row[k], full.col[k], v});
  }
  return m;
}

TYPED_TEST(Coloring, SharedSquareMatrices) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const std::filesystem::path dir(VRT_MATRICES_DIR);
  if (!std::filesystem::exists(dir)) GTEST_SKIP() << "no corpus at " << dir;
  int seen = 0;
  std::vector<std::filesystem::path> files;
  for (const auto& f : std::filesystem::directory_iterator(dir))
    if (f.path().extension() == ".mtx") files.push_back(f.path());
  std::sort(files.begin(), files.end());
  for (const auto& path : files) {
    const auto stored = orvane::vrt::matrix_market::read_file(path.string());
    if (stored.rows != stored.cols) continue;
    const auto m = from_file<T>(stored);
    ++seen;
    for (bool lower : {true, false})
      color_both_models<T, I>(m, lower, "emu-a4", path.filename().string());
  }
  EXPECT_GE(seen, 20);
}

}  // namespace
