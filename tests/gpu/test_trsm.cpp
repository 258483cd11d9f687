// trsm and optimize_trsm on emulated GPUs: the tile plan by architecture code and work-group
// limit; the solve against a plain substitution per dense column for both layouts, both
// triangles, unit and non-unit, with and without analysis, on every profile and memory model
// (the padding between the columns of Y untouched); the refusals in their order; and which path
// runs where (tile solve after either analysis, flagged default solve on code 6 only, the plain
// column walk for host memory).
#include <gtest/gtest.h>

#include <hostsycl/hostsycl.hpp>
#include <string>
#include <vector>

#include "gpu/entry_points.hpp"
#include "gpu/levelset_support.hpp"
#include "gpu/triangular/trsm/trsm_plan.hpp"
#include "handle/triangular_data.hpp"
#include "support/test_helpers.hpp"
#include "triangular_support.hpp"

namespace {

namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;
using namespace vrt_test::triangular;
using vrt::layout;
using vrt_test::csr_matrix;
using vrt_test::expect_message;

constexpr const char* gpu_profiles[] = {"emu-a0", "emu-a1", "emu-a2", "emu-a3",
                                        "emu-a4", "emu-a5", "emu-a6"};
constexpr vrt::uplo both_triangles[] = {vrt::uplo::lower, vrt::uplo::upper};
constexpr vrt::diag both_diags[] = {vrt::diag::nonunit, vrt::diag::unit};
constexpr layout both_layouts[] = {layout::row_major, layout::col_major};

// ---- the tile plan -------------------------------------------------------------------------

struct plan_case {
  std::int32_t code;
  std::int64_t columns, limit;
  std::int64_t sg, vec, block, tile, rest, full_blocks, rows_per_group;
};

TEST(TrsmTilePlan, ByArchitectureCodeAndWorkGroupLimit) {
  const plan_case cases[] = {
      // Codes 3 and 5 pair two sub-groups of 16.
      {3, 100, 512, 16, 2, 32, 32, 4, 3, 16},
      {5, 64, 1024, 16, 2, 32, 32, 0, 2, 32},
      {3, 1, 512, 16, 2, 32, 1, 1, 0, 16},
      // At least one sub-group's columns but less than two: one sub-group.
      {5, 20, 1024, 16, 1, 16, 16, 4, 1, 64},
      // A pair above the limit falls back to one sub-group.
      {3, 100, 16, 16, 1, 16, 16, 4, 6, 1},
      // Code 6 takes sub-groups of 32 from 32 columns on.
      {6, 32, 1024, 32, 1, 32, 32, 0, 1, 32},
      {6, 31, 1024, 16, 1, 16, 16, 15, 1, 64},
      {6, 100, 1024, 32, 1, 32, 32, 4, 3, 32},
      {1, 33, 512, 16, 1, 16, 16, 1, 2, 32},
      {4, 15, 512, 16, 1, 16, 15, 15, 0, 32},
      {0, 17, 512, 16, 1, 16, 16, 1, 1, 32},
      // Past the limit the limit counts as 1, and a group keeps one row.
      {1, 40, 8, 16, 1, 16, 16, 8, 2, 1},
      {0, 40, 1, 16, 1, 16, 16, 8, 2, 1},
  };
  for (const plan_case& c : cases) {
    const auto p = vs::gpu::plan_trsm_tiles(c.code, c.columns, c.limit);
    const std::string what = "code " + std::to_string(c.code) + " columns " +
                             std::to_string(c.columns) + " limit " + std::to_string(c.limit);
    EXPECT_EQ(p.sg, c.sg) << what;
    EXPECT_EQ(p.vec, c.vec) << what;
    EXPECT_EQ(p.block, c.block) << what;
    EXPECT_EQ(p.tile, c.tile) << what;
    EXPECT_EQ(p.rest, c.rest) << what;
    EXPECT_EQ(p.full_blocks, c.full_blocks) << what;
    EXPECT_EQ(p.rows_per_group, c.rows_per_group) << what;
  }
}

// ---- matrices and the oracle ---------------------------------------------------------------

// A full matrix whose triangles colour into head, middle (wide colors with a narrow one
// between) and tail: the level triangle of lvt plus its transpose with other values.
template <typename T, typename I>
csr_matrix<T, I> leveled_matrix(const std::vector<std::int64_t>& widths, unsigned seed) {
  const auto m = lvt::levels_triangle<T>(widths, seed);
  std::vector<std::vector<std::pair<I, T>>> rows(static_cast<std::size_t>(m.n));
  for (const auto& [r, c, v] : m.entries) {
    rows[r].push_back({static_cast<I>(c), v});
    if (r != c) rows[c].push_back({static_cast<I>(r), v * T(0.5)});
  }
  csr_matrix<T, I> A;
  A.nrows = A.ncols = m.n;
  A.row_ptr.push_back(0);
  for (auto& row : rows) {
    for (const auto& [c, v] : row) {
      A.col_ind.push_back(c);
      A.values.push_back(v);
    }
    A.row_ptr.push_back(static_cast<I>(A.col_ind.size()));
  }
  return A;
}

// A dense operand of `columns` columns in a layout with a leading dimension 3 above the need.
struct dense_shape {
  layout lay;
  std::int64_t rows, columns, ld;
  std::size_t size() const {
    return static_cast<std::size_t>(lay == layout::row_major ? rows * ld : columns * ld);
  }
  std::size_t at(std::int64_t r, std::int64_t c) const {
    return static_cast<std::size_t>(lay == layout::row_major ? r * ld + c : c * ld + r);
  }
};

dense_shape shape_of(layout lay, std::int64_t rows, std::int64_t columns) {
  return {lay, rows, columns, (lay == layout::row_major ? columns : rows) + 3};
}

template <typename T>
std::vector<T> column_of(const std::vector<T>& dense, const dense_shape& s, std::int64_t c) {
  std::vector<T> out;
  for (std::int64_t r = 0; r < s.rows; ++r) out.push_back(dense[s.at(r, c)]);
  return out;
}

// X with random entries (sentinels in its padding, which no solve may read into Y).
template <typename T>
std::vector<T> dense_x(const dense_shape& s, unsigned seed) {
  std::vector<T> x(std::max<std::size_t>(s.size(), 1), vrt_test::nan_value<T>());
  for (std::int64_t c = 0; c < s.columns; ++c) {
    const auto col = random_vector<T>(s.rows, seed + static_cast<unsigned>(c));
    for (std::int64_t r = 0; r < s.rows; ++r) x[s.at(r, c)] = col[r];
  }
  return x;
}

// trsm through the public routine on a bound matrix; Y starts as NaN everywhere and comes back
// whole. y_memory: the memory of X and Y (USM kinds in the USM models).
template <typename T, typename I>
std::vector<T> run_trsm(sycl::queue& q, vrt_test::bound_matrix<T, I>& b, memory y_memory,
                        vrt::uplo ul, vrt::diag dg, T alpha, const std::vector<T>& x,
                        const dense_shape& s) {
  vrt_test::device_array<T> xs(q, x, y_memory);
  vrt_test::device_array<T> ys(q, std::vector<T>(x.size(), vrt_test::nan_value<T>()), y_memory);
  b.run(
      [&](vs::matrix_handle* h, auto& xa, auto& ya, auto&&... deps) {
        return vs::trsm(q, s.lay, vrt::transpose::nontrans, vrt::transpose::nontrans, ul, dg, alpha,
                        h, xa, s.columns, s.ld, ya, s.ld, deps...);
      },
      xs, ys);
  b.wait();
  return ys.read();
}

// Every column against the plain substitution; every entry outside the columns still NaN.
template <typename T, typename I>
void expect_solved(const csr_matrix<T, I>& A, const std::vector<T>& y, const std::vector<T>& x,
                   const dense_shape& s, bool upper, bool unit, T alpha, const std::string& what) {
  std::vector<bool> inside(y.size(), false);
  for (std::int64_t c = 0; c < s.columns; ++c) {
    const auto want = reference_solve(A, upper, unit, alpha, column_of(x, s, c));
    expect_close(column_of(y, s, c), want, what + " column " + std::to_string(c));
    for (std::int64_t r = 0; r < s.rows; ++r) inside[s.at(r, c)] = true;
  }
  std::size_t touched = 0;
  for (std::size_t i = 0; i < y.size(); ++i)
    if (!inside[i] && !is_nan(y[i])) ++touched;
  EXPECT_EQ(touched, 0u) << what << ": padding of Y written";
}

template <typename T, typename I>
void optimize_trsm(sycl::queue& q, vs::matrix_handle* h, vrt::uplo ul, vrt::diag dg) {
  vs::optimize_trsm(q, layout::row_major, ul, vrt::transpose::nontrans, dg, h, 16, {}).wait();
}

// All layouts, triangles and diagonals for the given column counts, on one handle of memory m
// (X and Y in y_memory), analysed for both triangles first when `analysed`.
template <typename T, typename I>
void check_all(sycl::queue& q, const csr_matrix<T, I>& A, memory m, memory y_memory, bool analysed,
               std::initializer_list<std::int64_t> column_counts, const std::string& what) {
  bound_matrix<T, I> b(q, A, m);
  if (analysed)
    for (vrt::uplo ul : both_triangles) optimize_trsm<T, I>(q, b.handle(), ul, vrt::diag::nonunit);
  ASSERT_EQ(b.handle()->coloring_lower != nullptr, analysed);
  const T alpha = T(1.5);
  for (std::int64_t columns : column_counts)
    for (layout lay : both_layouts)
      for (vrt::uplo ul : both_triangles)
        for (vrt::diag dg : both_diags) {
          const auto s = shape_of(lay, A.nrows, columns);
          const auto x = dense_x<T>(s, 11);
          const bool upper = ul == vrt::uplo::upper, unit = dg == vrt::diag::unit;
          const auto y = run_trsm<T, I>(q, b, y_memory, ul, dg, alpha, x, s);
          expect_solved(A, y, x, s, upper, unit, alpha,
                        what + " " + name_of(y_memory) + (analysed ? " analysed" : " default") +
                            (lay == layout::row_major ? " row" : " col") +
                            (upper ? " upper" : " lower") + (unit ? " unit" : " nonunit") +
                            " columns " + std::to_string(columns));
        }
}

std::vector<std::int64_t> leveled_widths() { return {1, 3, 300, 2, 270, 5, 1}; }

template <typename V>
class Trsm : public ::testing::Test {};
TYPED_TEST_SUITE(Trsm, vrt_test::all_variants);

TYPED_TEST(Trsm, ColoringHasHeadMiddleAndTail) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  bound_matrix<T, I> b(q, leveled_matrix<T, I>(leveled_widths(), 3), memory::device);
  optimize_trsm<T, I>(q, b.handle(), vrt::uplo::lower, vrt::diag::nonunit);
  const vs::coloringData* d = b.handle()->coloring_lower;
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(d->num_colors, 7);
  EXPECT_EQ(d->head_colors, 2);
  EXPECT_EQ(d->tail_colors, 2);
}

// Every profile (code 6 runs the flagged default solve), both memory models of the handle, with
// and without analysis; the column counts around the blocks of 16 and 32.
TYPED_TEST(Trsm, AgainstSubstitutionOnEveryProfile) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto A = leveled_matrix<T, I>(leveled_widths(), 5);
  for (const char* profile : gpu_profiles) {
    sycl::queue q{hostsycl::emulated_gpu(profile)};
    for (bool analysed : {false, true})
      for (memory m : {memory::device, memory::buffer})
        check_all<T, I>(q, A, m, m, analysed, {1, 17, 33}, profile);
  }
}

TYPED_TEST(Trsm, AllColumnCountsOnWideAndPairedProfiles) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto A = leveled_matrix<T, I>(leveled_widths(), 6);
  for (const char* profile : {"emu-a3", "emu-a6"}) {
    sycl::queue q{hostsycl::emulated_gpu(profile)};
    for (bool analysed : {false, true})
      for (memory m : {memory::shared, memory::buffer})
        check_all<T, I>(q, A, m, m, analysed, {1, 15, 16, 17, 32, 33, 100}, profile);
  }
}

TYPED_TEST(Trsm, UnsortedRowsAndOneBasedIndices) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a6")};
  for (int base : {0, 1}) {
    const auto A = dominant_matrix<T, I>(70, 5, 9 + base, base);
    for (bool analysed : {false, true})
      check_all<T, I>(q, A, memory::device, memory::device, analysed, {16, 33},
                      "base " + std::to_string(base));
  }
}

// Host USM Y: the plain column walk on any architecture, with or without analysis of the other
// triangle; the flagged solve's work areas are not even taken.
TYPED_TEST(Trsm, HostMemoryYRunsTheColumnWalk) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto A = dominant_matrix<T, I>(50, 4, 12);
  for (const char* profile : {"emu-a3", "emu-a6"}) {
    sycl::queue q{hostsycl::emulated_gpu(profile)};
    check_all<T, I>(q, A, memory::host, memory::host, false, {1, 17, 33}, profile);
  }
}

// Whether an injected allocation failure is still pending (nothing allocated since).
bool failure_pending(sycl::queue& q) {
  void* probe = sycl::malloc_device(8, q);
  if (probe != nullptr) sycl::free(probe, q);
  hostsycl::fail_next_allocations(0);
  return probe == nullptr;
}

// Whether the default solve took its work areas: one injected allocation failure is consumed
// by a solve that allocates (and then falls back silently), and left for the next allocation by
// one that does not.
template <typename T, typename I>
bool default_solve_allocates(const char* profile, memory y_memory) {
  sycl::queue q{hostsycl::emulated_gpu(profile)};
  const auto A = dominant_matrix<T, I>(40, 4, 2);
  bound_matrix<T, I> b(q, A, vrt_test::is_usm(y_memory) ? memory::device : memory::buffer);
  const auto s = shape_of(layout::col_major, A.nrows, 20);
  const auto x = dense_x<T>(s, 4);
  vrt_test::device_array<T> xs(q, x, y_memory);
  vrt_test::device_array<T> ys(q, std::vector<T>(x.size(), vrt_test::nan_value<T>()), y_memory);
  hostsycl::fail_next_allocations(1);
  b.run(
      [&](vs::matrix_handle* h, auto& xa, auto& ya, auto&&... deps) {
        return vs::trsm(q, s.lay, vrt::transpose::nontrans, vrt::transpose::nontrans,
                        vrt::uplo::lower, vrt::diag::unit, T(1), h, xa, s.columns, s.ld, ya, s.ld,
                        deps...);
      },
      xs, ys);
  b.wait();
  const bool consumed = !failure_pending(q);
  // Whatever ran, the solution is right.
  expect_solved(A, ys.read(), x, s, false, true, T(1),
                std::string(profile) + " " + name_of(y_memory));
  return consumed;
}

TYPED_TEST(Trsm, FlaggedDefaultSolveOnlyOnCode6WithDeviceReachableY) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  EXPECT_TRUE((default_solve_allocates<T, I>("emu-a6", memory::device)));
  EXPECT_TRUE((default_solve_allocates<T, I>("emu-a6", memory::shared)));
  EXPECT_TRUE((default_solve_allocates<T, I>("emu-a6", memory::buffer)));
  EXPECT_FALSE((default_solve_allocates<T, I>("emu-a6", memory::host)));
  EXPECT_FALSE((default_solve_allocates<T, I>("emu-a3", memory::device)));
  EXPECT_FALSE((default_solve_allocates<T, I>("emu-a5", memory::buffer)));
}

// The tile solve takes x_tile and y_tile: a failure is device_bad_alloc with nothing left
// allocated. The default solve (on code 3) allocates nothing, which tells the two paths apart:
// trsm after optimize_trsv takes the tile solve.
TYPED_TEST(Trsm, TileAllocationFailureAndThePathAfterOptimizeTrsv) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  const auto A = leveled_matrix<T, I>(leveled_widths(), 8);
  const std::string bad_alloc = prefix("trsm") + "cannot allocate memory on " +
                                q.get_device().get_info<sycl::info::device::name>();
  for (memory m : {memory::device, memory::buffer}) {
    bound_matrix<T, I> b(q, A, m);
    const auto s = shape_of(layout::row_major, A.nrows, 5);
    const auto x = dense_x<T>(s, 2);
    vrt_test::device_array<T> xs(q, x, m);
    vrt_test::device_array<T> ys(q, std::vector<T>(x.size(), vrt_test::nan_value<T>()), m);
    auto solve = [&](vrt::uplo ul) {
      b.run(
          [&](vs::matrix_handle* h, auto& xa, auto& ya, auto&&... deps) {
            return vs::trsm(q, s.lay, vrt::transpose::nontrans, vrt::transpose::nontrans, ul,
                            vrt::diag::nonunit, T(1), h, xa, s.columns, s.ld, ya, s.ld, deps...);
          },
          xs, ys);
      b.wait();
    };
    // The first non-unit solve takes the diagonal record; later default solves take nothing.
    solve(vrt::uplo::lower);
    hostsycl::fail_next_allocations(1);
    solve(vrt::uplo::lower);
    EXPECT_TRUE(failure_pending(q)) << name_of(m);
    expect_solved(A, ys.read(), x, s, false, false, T(1), name_of(m) + std::string(" default"));

    vs::optimize_trsv(q, vrt::uplo::lower, vrt::transpose::nontrans, vrt::diag::nonunit, b.handle(),
                      {})
        .wait();
    const auto held = hostsycl::live_allocation_bytes(q.get_device());
    // A device allocation falls back to host memory: in USM both must fail.
    hostsycl::fail_next_allocations(m == memory::device ? 2 : 1);
    expect_message<vrt::device_bad_alloc>([&] { solve(vrt::uplo::lower); }, bad_alloc);
    hostsycl::fail_next_allocations(0);
    EXPECT_EQ(hostsycl::live_allocation_bytes(q.get_device()), held) << name_of(m);
    solve(vrt::uplo::lower);
    expect_solved(A, ys.read(), x, s, false, false, T(1), name_of(m) + std::string(" tiles"));
    // The upper triangle was not analysed: the default solve, no allocation.
    hostsycl::fail_next_allocations(1);
    solve(vrt::uplo::upper);
    EXPECT_TRUE(failure_pending(q)) << name_of(m);
    expect_solved(A, ys.read(), x, s, true, false, T(1), name_of(m) + std::string(" upper"));
  }
}

// trsv after optimize_trsm runs the level-set solve on the same coloring, and a second analysis
// of either kind finds it and submits nothing.
TYPED_TEST(Trsm, OneAnalysisServesTrsvAndTrsm) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a4")};
  const auto A = leveled_matrix<T, I>(leveled_widths(), 9);
  for (memory m : {memory::device, memory::buffer}) {
    bound_matrix<T, I> b(q, A, m);
    optimize_trsm<T, I>(q, b.handle(), vrt::uplo::upper, vrt::diag::nonunit);
    const vs::coloringData* d = b.handle()->coloring_upper;
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(b.handle()->coloring_lower, nullptr);
    const auto x = random_vector<T>(A.nrows, 3);
    expect_close(b.trsv(vrt::uplo::upper, vrt::diag::nonunit, T(2), x),
                 reference_solve(A, true, false, T(2), x), name_of(m));
    // The level-set solve writes the coloring's right-hand side in position order.
    const auto rhs =
        read_container<T>(q, d->rhs_colored, static_cast<vs::containerType>(d->container), A.nrows);
    const auto rows = read_container<I>(q, d->row_of_position,
                                        static_cast<vs::containerType>(d->container), A.nrows);
    for (std::int64_t p = 0; p < A.nrows; ++p) ASSERT_EQ(rhs[p], x[rows[p]]) << name_of(m);
    vs::optimize_trsv(q, vrt::uplo::upper, vrt::transpose::nontrans, vrt::diag::nonunit, b.handle(),
                      {})
        .wait();
    optimize_trsm<T, I>(q, b.handle(), vrt::uplo::upper, vrt::diag::unit);
    EXPECT_EQ(b.handle()->coloring_upper, d);
  }
}

// A handle analysed for the lower triangle solving the upper one: the default solve.
TYPED_TEST(Trsm, LowerAnalysisSolvingUpperRunsTheDefaultSolve) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  const auto A = leveled_matrix<T, I>(leveled_widths(), 10);
  bound_matrix<T, I> b(q, A, memory::device);
  optimize_trsm<T, I>(q, b.handle(), vrt::uplo::lower, vrt::diag::nonunit);
  EXPECT_EQ(b.handle()->coloring_upper, nullptr);
  const auto s = shape_of(layout::col_major, A.nrows, 17);
  const auto x = dense_x<T>(s, 6);
  const auto y =
      run_trsm<T, I>(q, b, memory::device, vrt::uplo::upper, vrt::diag::nonunit, T(-1), x, s);
  expect_solved(A, y, x, s, true, false, T(-1), "upper after lower analysis");
}

// Which kernels a solve submits, by column count on code 3 (blocks of 32 columns): one column
// still runs the tile kernels (as the leftover pass, with a tile of 1), a multiple of the block
// runs no leftover kernels, and the triangle that was not analysed runs the default solve only.
TYPED_TEST(Trsm, TileKernelsByColumnCountAndTheDefaultSolveForTheOtherTriangle) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  const auto A = leveled_matrix<T, I>(leveled_widths(), 12);
  bound_matrix<T, I> b(q, A, memory::device);
  optimize_trsm<T, I>(q, b.handle(), vrt::uplo::lower, vrt::diag::nonunit);
  struct expected_counts {
    std::int64_t columns;
    std::uint64_t full, rest;
  };
  for (const expected_counts& e : {expected_counts{1, 0, 1}, expected_counts{32, 1, 0},
                                   expected_counts{64, 2, 0}, expected_counts{33, 1, 1}}) {
    const auto s = shape_of(layout::row_major, A.nrows, e.columns);
    const auto x = dense_x<T>(s, 4);
    const std::string what = "columns " + std::to_string(e.columns);
    hostsycl::reset_kernel_counts();
    const auto y =
        run_trsm<T, I>(q, b, memory::device, vrt::uplo::lower, vrt::diag::nonunit, T(1), x, s);
    EXPECT_EQ(hostsycl::kernels_submitted("permMatX_lower_class"), e.full) << what;
    EXPECT_EQ(hostsycl::kernels_submitted("permMatY_lower_class"), e.full) << what;
    EXPECT_EQ(hostsycl::kernels_submitted("firstColorsTrsmLower"), e.full) << what;
    EXPECT_EQ(hostsycl::kernels_submitted("remPermMatX_lower_class"), e.rest) << what;
    EXPECT_EQ(hostsycl::kernels_submitted("remPermMatY_lower_class"), e.rest) << what;
    EXPECT_EQ(hostsycl::kernels_submitted("remLastColorsTrsmLower"), e.rest) << what;
    EXPECT_EQ(hostsycl::kernels_submitted("trsm_lower_kernel"), 0u) << what;
    expect_solved(A, y, x, s, false, false, T(1), what);
  }
  const auto s = shape_of(layout::col_major, A.nrows, 17);
  const auto x = dense_x<T>(s, 6);
  hostsycl::reset_kernel_counts();
  const auto y =
      run_trsm<T, I>(q, b, memory::device, vrt::uplo::upper, vrt::diag::nonunit, T(1), x, s);
  EXPECT_EQ(hostsycl::kernels_submitted("def_notmp_trsm_upper_kernel"), 1u);
  EXPECT_EQ(hostsycl::kernels_submitted("ColorsTrsm"), 0u);
  EXPECT_EQ(hostsycl::kernels_submitted("PermMat"), 0u);
  EXPECT_EQ(hostsycl::kernels_submitted("permMat"), 0u);
  expect_solved(A, y, x, s, true, false, T(1), "upper after lower analysis");
}

// diag::unit on a matrix without a diagonal: solved, without the check, both paths.
TYPED_TEST(Trsm, UnitDiagonalWithAMissingDiagonalIsSolvedUnchecked) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a6")};
  const auto A = dominant_matrix<T, I>(60, 4, 13, 0, 7);
  for (bool analysed : {false, true}) {
    bound_matrix<T, I> b(q, A, memory::device);
    if (analysed) optimize_trsm<T, I>(q, b.handle(), vrt::uplo::lower, vrt::diag::unit);
    const auto s = shape_of(layout::row_major, A.nrows, 16);
    const auto x = dense_x<T>(s, 8);
    expect_solved(
        A, run_trsm<T, I>(q, b, memory::device, vrt::uplo::lower, vrt::diag::unit, T(1), x, s), x,
        s, false, true, T(1), analysed ? "analysed" : "default");
    if (!analysed) {
      EXPECT_EQ(b.handle()->diag_values, nullptr);
    }
    const std::string missing =
        prefix("trsm") +
        "invalid argument: The matrix operation with diag::nonunit is missing diagonal values in "
        "the structure or has zero values set on diagonal, both of which are not supported.";
    expect_message<vrt::invalid_argument>(
        [&] {
          run_trsm<T, I>(q, b, memory::device, vrt::uplo::lower, vrt::diag::nonunit, T(1), x, s);
        },
        missing);
  }
}

// ---- refusals, in the order they are checked -----------------------------------------------

TYPED_TEST(Trsm, RefusalsInOrder) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a2")};
  const auto A = dominant_matrix<T, I>(20, 3, 4);
  bound_matrix<T, I> b(q, A, memory::device);
  vs::matrix_handle* h = b.handle();
  const auto s = shape_of(layout::row_major, A.nrows, 2);
  vrt_test::device_array<T> xs(q, dense_x<T>(s, 1), memory::device);
  vrt_test::device_array<T> ys(q, dense_x<T>(s, 1), memory::device);
  std::vector<T> heap(s.size());
  auto device_trsm = [&](vrt::transpose opA, vrt::transpose opX, vrt::uplo ul, vrt::diag dg, T* y) {
    vs::gpu::trsm_impl<T, I, vs::container_usm>(q, s.lay, opA, opX, ul, dg, T(1), h, xs.usm(),
                                                s.columns, s.ld, y, s.ld, {})
        .wait();
  };
  const auto nt = vrt::transpose::nontrans;
  // 1. uplo, before everything else (the structure is missing too).
  vs::sparseStructure* primary = h->primary;
  h->primary = nullptr;
  expect_message<vrt::invalid_argument>(
      [&] { device_trsm(nt, nt, static_cast<vrt::uplo>(2), vrt::diag::nonunit, heap.data()); },
      prefix("trsm") + "invalid argument: uplo_flag is invalid");
  expect_message<vrt::invalid_argument>(
      [&] { device_trsm(nt, nt, static_cast<vrt::uplo>(-1), vrt::diag::nonunit, heap.data()); },
      prefix("trsm") + "invalid argument: uplo_flag is invalid");
  // 2. the structure, before the memory of Y.
  expect_message<vrt::uninitialized>(
      [&] { device_trsm(nt, nt, vrt::uplo::lower, vrt::diag::nonunit, heap.data()); },
      prefix("trsm") + "uninitialized object: Matrix is not initialized");
  h->primary = primary;
  // 3. Y in memory the context does not know, before the diagonal check (this matrix lacks a
  // diagonal entry), the format and the operations.
  const auto B = dominant_matrix<T, I>(20, 3, 4, 0, 5);
  bound_matrix<T, I> missing(q, B, memory::device);
  missing.handle()->primary->format = vs::format_coo;
  expect_message<vrt::invalid_argument>(
      [&] {
        vs::gpu::trsm_impl<T, I, vs::container_usm>(
            q, s.lay, vrt::transpose::trans, nt, vrt::uplo::lower, vrt::diag::nonunit, T(1),
            missing.handle(), xs.usm(), s.columns, s.ld, heap.data(), s.ld, {});
      },
      prefix("trsm") + "invalid argument: given usm alloc type is unknown");
  missing.handle()->primary->format = vs::format_csr;
  // 4. the diagonal check of a non-unit solve, before the format.
  missing.handle()->primary->format = vs::format_coo;
  expect_message<vrt::unimplemented>(
      [&] {
        vs::gpu::trsm_impl<T, I, vs::container_usm>(q, s.lay, nt, nt, vrt::uplo::lower,
                                                    vrt::diag::nonunit, T(1), missing.handle(),
                                                    xs.usm(), s.columns, s.ld, ys.usm(), s.ld, {});
      },
      prefix("") + "unimplemented functionality: currently only supports the CSR matrix format");
  missing.handle()->primary->format = vs::format_csr;
  expect_message<vrt::invalid_argument>(
      [&] {
        vs::gpu::trsm_impl<T, I, vs::container_usm>(
            q, s.lay, vrt::transpose::trans, nt, vrt::uplo::lower, vrt::diag::nonunit, T(1),
            missing.handle(), xs.usm(), s.columns, s.ld, ys.usm(), s.ld, {});
      },
      prefix("trsm") +
          "invalid argument: The matrix operation with diag::nonunit is missing diagonal values "
          "in the structure or has zero values set on diagonal, both of which are not "
          "supported.");
  // 5. the format (unit: no diagonal check), before the operations.
  h->primary->format = vs::format_coo;
  expect_message<vrt::unimplemented>(
      [&] { device_trsm(vrt::transpose::trans, nt, vrt::uplo::lower, vrt::diag::unit, ys.usm()); },
      prefix("trsm") +
          "unimplemented functionality: currently only supports the CSR matrix format on GPU "
          "devices");
  h->primary->format = vs::format_csr;
  // 6. the operations of A and X.
  for (auto [opA, opX] :
       {std::pair{vrt::transpose::trans, nt}, std::pair{nt, vrt::transpose::conjtrans}})
    expect_message<vrt::unimplemented>(
        [&] { device_trsm(opA, opX, vrt::uplo::upper, vrt::diag::unit, ys.usm()); },
        prefix("trsm") +
            "unimplemented functionality: currently only supports the "
            "orvane::vrt::transpose::nontrans op");
}

TYPED_TEST(Trsm, OptimizeRefusalsInOrder) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a1")};
  bound_matrix<T, I> b(q, dominant_matrix<T, I>(20, 3, 4), memory::buffer);
  vs::matrix_handle* h = b.handle();
  auto call = [&](vrt::uplo ul, vrt::transpose op) {
    // The layout is not looked at.
    vs::optimize_trsm(q, static_cast<layout>(7), ul, op, vrt::diag::nonunit, h, 3, {}).wait();
  };
  expect_message<vrt::invalid_argument>(
      [&] { call(static_cast<vrt::uplo>(2), vrt::transpose::nontrans); },
      prefix("optimize_trsm") + "invalid argument: uplo_val");
  expect_message<vrt::unimplemented>([&] { call(vrt::uplo::lower, vrt::transpose::trans); },
                                     prefix("optimize_trsm") +
                                         "unimplemented functionality: currently only supports the "
                                         "orvane::vrt::transpose::nontrans op");
  h->primary->format = vs::format_coo;
  expect_message<vrt::unimplemented>(
      [&] { call(vrt::uplo::lower, vrt::transpose::nontrans); },
      prefix("optimize_trsm") +
          "unimplemented functionality: currently only supports the CSR matrix format on GPU "
          "devices");
  h->primary->format = vs::format_csr;
  vs::sparseStructure* primary = h->primary;
  h->primary = nullptr;
  expect_message<vrt::uninitialized>(
      [&] {
        vs::gpu::optimize_trsm_impl<T, I, vs::container_buffer>(
            q, layout::row_major, vrt::uplo::lower, vrt::transpose::nontrans, vrt::diag::nonunit, h,
            3, {});
      },
      prefix("optimize_trsm") + "uninitialized object: Matrix is not initialized");
  h->primary = primary;
  // A missing diagonal is reported under the analysis' own word.
  bound_matrix<T, I> missing(q, dominant_matrix<T, I>(20, 3, 4, 0, 6), memory::buffer);
  expect_message<vrt::invalid_argument>(
      [&] {
        vs::optimize_trsm(q, layout::col_major, vrt::uplo::upper, vrt::transpose::nontrans,
                          vrt::diag::nonunit, missing.handle(), 3, {})
            .wait();
      },
      prefix("optimize_trsm") +
          "invalid argument: The matrix operation with diag::nonunit is missing diagonal values "
          "in the structure or has zero values set on diagonal, both of which are not "
          "supported.");
  call(vrt::uplo::lower, vrt::transpose::nontrans);
  EXPECT_NE(h->coloring_lower, nullptr);
}

}  // namespace
