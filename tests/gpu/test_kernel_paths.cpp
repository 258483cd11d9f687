// Which kernels a call submits, counted by the runtime under their kernel names: the passes of
// gemvdot at 32 and 33 groups, the coloring's row-start kernels at 256 and 257 rows, a level-set
// solve whose colors are all narrow, and an analysis that is already there.
#include <gtest/gtest.h>

#include <hostsycl/hostsycl.hpp>
#include <string>

#include "gpu/levelset_support.hpp"
#include "support/device_arrays.hpp"
#include "support/sparse_matrices.hpp"
#include "support/test_helpers.hpp"
#include "triangular_support.hpp"

namespace {

namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;
using vrt_test::memory;

// Groups of 512 work-items and two rows each on emu-a3: 32767 rows make 32 groups, whose
// partials one work-item adds; 33791 rows make 33, which one reduce pass turns into d.
TEST(KernelPaths, GemvdotPassesAtThirtyTwoAndThirtyThreeGroups) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  for (std::int64_t rows : {32767, 33791}) {
    const bool reduce = rows == 33791;
    const auto A = vrt_test::random_csr<double, std::int32_t>(rows, rows, 3, 53);
    vrt_test::bound_matrix<double, std::int32_t> b(q, A, memory::device);
    b.wait();
    const auto n = static_cast<std::size_t>(rows);
    vrt_test::device_array<double> x(q, std::vector<double>(n, 1.0), memory::device),
        y(q, std::vector<double>(n, -1.0), memory::device), d(q, {-1.0}, memory::device);
    hostsycl::reset_kernel_counts();
    vs::gemvdot(q, vrt::transpose::nontrans, 1.0, b.handle(), x.usm(), 0.0, y.usm(), d.usm(), {})
        .wait();
    const std::string what = std::to_string(rows) + " rows";
    EXPECT_EQ(hostsycl::kernels_submitted("gemvdotKernel"), 1u) << what;
    EXPECT_EQ(hostsycl::kernels_submitted("gemvdotReduceKernel"), reduce ? 1u : 0u) << what;
    EXPECT_EQ(hostsycl::kernels_submitted("sumArrayKernel"), reduce ? 0u : 1u) << what;
    EXPECT_EQ(hostsycl::kernels_submitted(), 2u) << what;
  }
}

// Fewer than 257 rows: one work-item lays out the row starts (coloring4); from 257 rows the
// lengths kernel (coloring3) and prefix sums do.
TEST(KernelPaths, ColoringRowStartsAt256And257Rows) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a2")};
  for (std::int64_t rows : {256, 257}) {
    const auto e =
        lvt::expand<double, std::int32_t>(lvt::levels_triangle<double>({rows}, 61), true, 0);
    lvt::bound_expansion<double, std::int32_t, vs::container_usm> b(q, e, true);
    hostsycl::reset_kernel_counts();
    b.color().wait();
    const bool single = rows < 257;
    EXPECT_EQ(hostsycl::kernels_submitted("coloring4"), single ? 1u : 0u) << rows;
    EXPECT_EQ(hostsycl::kernels_submitted("coloring3"), single ? 0u : 1u) << rows;
    EXPECT_EQ(hostsycl::kernels_submitted("coloring5"), 1u) << rows;
  }
}

// Every color narrow: the whole solve is the head run in one work-group between the two
// permutations; no middle kernel and no second run.
TEST(KernelPaths, AllHeadColoringRunsThePermutationsAndTheHeadOnly) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a4")};
  const auto L = lvt::levels_triangle<double>({3, 4, 2, 5}, 62);
  const auto e = lvt::expand<double, std::int32_t>(L, true, 0);
  lvt::bound_expansion<double, std::int32_t, vs::container_usm> b(q, e, true);
  b.color().wait();
  const vs::coloringData* d = *b.slot();
  ASSERT_EQ(d->head_colors, d->num_colors);
  const auto n = static_cast<std::size_t>(L.n);
  const auto x = vrt_test::random_vector<double>(L.n, 5);
  vrt_test::device_array<double> xs(q, x, memory::device),
      ys(q, std::vector<double>(n, -1.0), memory::device);
  hostsycl::reset_kernel_counts();
  vs::gpu::levelset_trsv<double, std::int32_t, vs::container_usm>(
      q, vs::gpu::triangle::lower, vrt::diag::nonunit, 1.0, b.h, xs.usm(), ys.usm(), {})
      .wait();
  EXPECT_EQ(hostsycl::kernels_submitted("permVectorXl_class"), 1u);
  EXPECT_EQ(hostsycl::kernels_submitted("levelsetTrsvLower1"), 1u);
  EXPECT_EQ(hostsycl::kernels_submitted("permVectorYl_class"), 1u);
  EXPECT_EQ(hostsycl::kernels_submitted(), 3u);
  vrt_test::expect_close(ys.read(n), lvt::reference_solve(L, true, false, 1.0, x), "all head");
}

// A second optimize_trsv for a triangle already coloured submits nothing.
TEST(KernelPaths, SecondAnalysisSubmitsNoKernel) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a1")};
  const auto L = lvt::levels_triangle<double>({2, 300, 3}, 63);
  const auto e = lvt::expand<double, std::int32_t>(L, true, 0);
  vrt_test::bound_matrix<double, std::int32_t> b(q, e.n, e.n, 0, e.row_ptr, e.col_ind, e.values,
                                                 memory::device);
  b.wait();
  vs::optimize_trsv(q, vrt::uplo::lower, vrt::transpose::nontrans, vrt::diag::nonunit, b.handle(),
                    {})
      .wait();
  ASSERT_NE(b.handle()->coloring_lower, nullptr);
  EXPECT_GT(hostsycl::kernels_submitted(), 0u);
  hostsycl::reset_kernel_counts();
  vs::optimize_trsv(q, vrt::uplo::lower, vrt::transpose::nontrans, vrt::diag::nonunit, b.handle(),
                    {})
      .wait();
  EXPECT_EQ(hostsycl::kernels_submitted(), 0u);
}

}  // namespace
