// optimize_trsv then trsv through the public routines: the level-set solve against a plain
// substitution on every profile and memory model, the default solve where no analysis was made,
// and the handle's release leaving no device memory behind.
#include <gtest/gtest.h>

#include <hostsycl/hostsycl.hpp>

#include "gpu/levelset_support.hpp"
#include "support/test_helpers.hpp"
#include "triangular_support.hpp"

namespace {

namespace tri = vrt_test::triangular;
using lvt::triangle_matrix;
using vrt_test::csr_matrix;
namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;

// Head, several wide middle colors with narrow ones between, a tail.
std::vector<std::int64_t> middle_widths() {
  std::vector<std::int64_t> widths{1, 2};
  for (int k = 0; k < 4; ++k) {
    widths.push_back(270 + 11 * k);
    widths.push_back(1 + k);
  }
  widths.push_back(3);
  return widths;
}

// A full matrix: the lower triangle of `lower` and the strict upper triangle of `upper`.
template <typename T, typename I>
csr_matrix<T, I> combine(const triangle_matrix<T>& lower, const triangle_matrix<T>& upper) {
  std::vector<std::vector<std::pair<std::int64_t, T>>> rows(static_cast<std::size_t>(lower.n));
  for (const auto& [r, c, v] : lower.entries)
    if (c <= r) rows[r].push_back({c, v});
  for (const auto& [r, c, v] : upper.entries)
    if (c > r) rows[r].push_back({c, v});
  csr_matrix<T, I> A;
  A.nrows = A.ncols = lower.n;
  A.base = 0;
  A.row_ptr.push_back(0);
  for (auto& row : rows) {
    std::sort(row.begin(), row.end(),
              [](const auto& a, const auto& b) { return a.first < b.first; });
    for (const auto& [c, v] : row) {
      A.col_ind.push_back(static_cast<I>(c));
      A.values.push_back(v);
    }
    A.row_ptr.push_back(static_cast<I>(A.col_ind.size()));
  }
  return A;
}

template <typename T, typename I>
csr_matrix<T, I> test_matrix(unsigned seed) {
  const auto L = lvt::levels_triangle<T>(middle_widths(), seed);
  const auto U = lvt::transpose_of(lvt::levels_triangle<T>(middle_widths(), seed + 1));
  return combine<T, I>(L, U);
}

template <typename V>
class LevelsetTrsvPublic : public ::testing::Test {};
TYPED_TEST_SUITE(LevelsetTrsvPublic, vrt_test::all_variants);

constexpr vrt::uplo both_triangles[] = {vrt::uplo::lower, vrt::uplo::upper};
constexpr vrt::diag both_diags[] = {vrt::diag::nonunit, vrt::diag::unit};

TYPED_TEST(LevelsetTrsvPublic, AnalysedSolvesOnEveryProfileAndMemory) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto A = test_matrix<T, I>(31);
  const auto x = tri::random_vector<T>(A.nrows, 3);
  for (const char* profile : tri::all_profiles) {
    sycl::queue q{hostsycl::emulated_gpu(profile)};
    if (tri::double_precision<T>() && !q.get_device().has(sycl::aspect::fp64)) continue;
    for (tri::memory m : tri::all_memories) {
      tri::bound_matrix<T, I> b(q, A, m);
      for (vrt::uplo ul : both_triangles) {
        b.optimize(ul, vrt::diag::nonunit);
        EXPECT_NE(ul == vrt::uplo::lower ? b.handle()->coloring_lower : b.handle()->coloring_upper,
                  nullptr);
        for (vrt::diag dg : both_diags) {
          const bool upper = ul == vrt::uplo::upper, unit = dg == vrt::diag::unit;
          const T alpha = T(-0.75);
          tri::expect_close(b.trsv(ul, dg, alpha, x),
                            tri::reference_solve(A, upper, unit, alpha, x),
                            std::string(profile) + " " + tri::name_of(m) +
                                (upper ? " upper" : " lower") + (unit ? " unit" : " nonunit"));
        }
      }
    }
  }
}

// Without analysis the default solve runs; after it the level-set solve. Each is held to the
// plain substitution, so that neither vouches for the other.
TYPED_TEST(LevelsetTrsvPublic, DefaultAndLevelsetAgree) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto A = test_matrix<T, I>(32);
  const auto x = tri::random_vector<T>(A.nrows, 4);
  for (const char* profile : {"emu-a3", "emu-a4"}) {
    sycl::queue q{hostsycl::emulated_gpu(profile)};
    tri::bound_matrix<T, I> b(q, A, tri::memory::device);
    for (vrt::uplo ul : both_triangles) {
      const bool upper = ul == vrt::uplo::upper;
      const auto want = tri::reference_solve(A, upper, false, T(1), x);
      const std::string what = std::string(profile) + (upper ? " upper" : " lower");
      vs::coloringData* const* coloring =
          upper ? &b.handle()->coloring_upper : &b.handle()->coloring_lower;
      ASSERT_EQ(*coloring, nullptr) << what << ": the first solve is the default one";
      tri::expect_close(b.trsv(ul, vrt::diag::nonunit, T(1), x), want, what + " default");
      b.optimize(ul, vrt::diag::nonunit);
      ASSERT_NE(*coloring, nullptr) << what;
      tri::expect_close(b.trsv(ul, vrt::diag::nonunit, T(1), x), want, what + " level sets");
    }
  }
}

// An upper solve on a handle analysed for the lower triangle only runs the default solve.
TYPED_TEST(LevelsetTrsvPublic, UpperAfterLowerAnalysisOnly) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto A = test_matrix<T, I>(33);
  const auto x = tri::random_vector<T>(A.nrows, 5);
  sycl::queue q{hostsycl::emulated_gpu("emu-a4")};
  for (tri::memory m : {tri::memory::device, tri::memory::buffer}) {
    tri::bound_matrix<T, I> b(q, A, m);
    b.optimize(vrt::uplo::lower, vrt::diag::nonunit);
    tri::expect_close(b.trsv(vrt::uplo::upper, vrt::diag::nonunit, T(2), x),
                      tri::reference_solve(A, true, false, T(2), x), "upper, not analysed");
    EXPECT_EQ(b.handle()->coloring_upper, nullptr);
  }
}

// A symmetric handle is coloured once; the one coloring serves both triangles.
TYPED_TEST(LevelsetTrsvPublic, SymmetricHandleServesBothTriangles) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto L = lvt::levels_triangle<T>(middle_widths(), 34);
  const auto A = combine<T, I>(L, lvt::transpose_of(L));
  const auto x = tri::random_vector<T>(A.nrows, 6);
  for (const char* profile : {"emu-a2", "emu-a4"}) {
    sycl::queue q{hostsycl::emulated_gpu(profile)};
    for (tri::memory m : {tri::memory::device, tri::memory::buffer}) {
      tri::bound_matrix<T, I> b(q, A, m);
      vs::set_matrix_property(b.handle(), vs::property::symmetric);
      b.optimize(vrt::uplo::upper, vrt::diag::nonunit);
      EXPECT_EQ(b.handle()->coloring_lower, b.handle()->coloring_upper);
      for (vrt::uplo ul : both_triangles) {
        const bool upper = ul == vrt::uplo::upper;
        tri::expect_close(b.trsv(ul, vrt::diag::nonunit, T(1), x),
                          tri::reference_solve(A, upper, false, T(1), x), profile);
      }
    }
  }
}

// A lower coloring whose first color is already wide, with two middle colors or more: chunks of
// color 0 post nothing, so the solve synchronises by kernels and finishes (on code 4 too).
TYPED_TEST(LevelsetTrsvPublic, LowerSolveWithoutHeadColorsFinishes) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto L = lvt::levels_triangle<T>({300, 280, 1}, 36);
  const auto A = combine<T, I>(L, lvt::transpose_of(L));
  const auto x = tri::random_vector<T>(A.nrows, 8);
  sycl::queue q{hostsycl::emulated_gpu("emu-a4")};
  tri::bound_matrix<T, I> b(q, A, tri::memory::device);
  b.optimize(vrt::uplo::lower, vrt::diag::nonunit);
  const vs::coloringData* d = b.handle()->coloring_lower;
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(d->head_colors, 0);
  EXPECT_EQ(d->num_colors - d->tail_colors, 2);
  tri::expect_close(b.trsv(vrt::uplo::lower, vrt::diag::nonunit, T(1.5), x),
                    tri::reference_solve(A, false, false, T(1.5), x), "lower, no head colors");
}

// A symmetric property on a matrix whose pattern is not symmetric: the levels of the stored lower
// triangle, read as their own mirror, would never reach every row. The analysis finds the
// pattern unmirrored before the levels, says so, and takes nothing with it.
TEST(LevelsetTrsvPublicRefusal, SymmetricPropertyOnAnUnsymmetricPattern) {
  const auto L = lvt::levels_triangle<double>({1, 2, 3}, 37);
  const auto A = combine<double, std::int32_t>(L, L);  // lower triangle only
  for (const char* profile : {"emu-a3", "emu-a4"}) {
    sycl::queue q{hostsycl::emulated_gpu(profile)};
    const auto before = hostsycl::live_allocation_bytes(q.get_device());
    {
      tri::bound_matrix<double, std::int32_t> b(q, A, tri::memory::device);
      vs::set_matrix_property(b.handle(), vs::property::symmetric);
      vrt_test::expect_message<vrt::computation_error>(
          [&] { b.optimize(vrt::uplo::lower, vrt::diag::nonunit); },
          "orvane::vrt::sparse::optimize_trsv: computation error: the sparsity pattern is not "
          "symmetric although the matrix has the symmetric property");
      EXPECT_EQ(b.handle()->coloring_lower, nullptr) << profile;
    }
    EXPECT_EQ(hostsycl::live_allocation_bytes(q.get_device()), before) << profile;
  }
}

// Analysis and solves leave no device memory behind once the handle is released.
TEST(LevelsetTrsvPublicRelease, NothingStaysAllocated) {
  const auto A = test_matrix<double, std::int32_t>(35);
  const auto x = tri::random_vector<double>(A.nrows, 7);
  for (const char* profile : {"emu-a3", "emu-a4"}) {
    sycl::queue q{hostsycl::emulated_gpu(profile)};
    const auto before = hostsycl::live_allocation_bytes(q.get_device());
    {
      tri::bound_matrix<double, std::int32_t> b(q, A, tri::memory::device);
      for (vrt::uplo ul : both_triangles) {
        b.optimize(ul, vrt::diag::nonunit);
        b.trsv(ul, vrt::diag::nonunit, 1.0, x);
      }
    }
    EXPECT_EQ(hostsycl::live_allocation_bytes(q.get_device()), before) << profile;
  }
}

// ---- devices without the sub-group sizes of the analysis and the solve ----------------------

// The facts of emu-a4 and emu-a6 with sub-groups of 1 only.
constexpr const char* narrow_profiles[] = {"emu-a4-narrow-sub-groups", "emu-a6-narrow-sub-groups"};

std::string unsupported(const std::string& routine, const sycl::queue& q) {
  return vrt_test::prefix(routine) +
         "unsupported device: " + q.get_device().get_info<sycl::info::device::name>();
}

// The expansion of an unsymmetric matrix counts each row with a sub-group of 16 and has no other
// form: optimize_trsv and optimize_trsm refuse the device before anything runs or is allocated,
// and the solves run by the default substitution.
TYPED_TEST(LevelsetTrsvPublic, NarrowSubGroupsRefuseTheSymmetricExpansion) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto A = test_matrix<T, I>(38);
  const auto x = tri::random_vector<T>(A.nrows, 9);
  for (const char* profile : narrow_profiles) {
    sycl::queue q{hostsycl::emulated_gpu(profile)};
    for (tri::memory m : tri::all_memories) {
      tri::bound_matrix<T, I> b(q, A, m);
      const std::string what = std::string(profile) + " " + tri::name_of(m);
      for (vrt::uplo ul : both_triangles) {
        const auto before = hostsycl::live_allocation_bytes(q.get_device());
        hostsycl::reset_kernel_counts();
        vrt_test::expect_message<vrt::unsupported_device>(
            [&] { b.optimize(ul, vrt::diag::nonunit); }, unsupported("optimize_trsv", q));
        vrt_test::expect_message<vrt::unsupported_device>(
            [&] {
              vs::optimize_trsm(q, ul, vrt::transpose::nontrans, vrt::diag::unit, b.handle(), {})
                  .wait();
            },
            unsupported("optimize_trsm", q));
        EXPECT_EQ(hostsycl::kernels_submitted(), 0u) << what;
        EXPECT_EQ(hostsycl::live_allocation_bytes(q.get_device()), before) << what;
        EXPECT_EQ(b.handle()->sym_from_lower, nullptr) << what;
        EXPECT_EQ(b.handle()->sym_from_upper, nullptr) << what;
        EXPECT_EQ(b.handle()->coloring_lower, nullptr) << what;
        EXPECT_EQ(b.handle()->coloring_upper, nullptr) << what;
        for (vrt::diag dg : both_diags) {
          const bool upper = ul == vrt::uplo::upper, unit = dg == vrt::diag::unit;
          tri::expect_close(b.trsv(ul, dg, T(1.25), x),
                            tri::reference_solve(A, upper, unit, T(1.25), x),
                            what + (upper ? " upper" : " lower") + (unit ? " unit" : " nonunit"));
        }
      }
    }
  }
}

// On the listed profile with the same facts the expansion runs its sub-group kernel: the count
// above sees what it looks for.
TEST(LevelsetTrsvPublicNarrowSubGroups, TheListedTwinRunsTheExpansion) {
  const auto A = test_matrix<double, std::int32_t>(38);
  for (const char* profile : {"emu-a4", "emu-a6"}) {
    sycl::queue q{hostsycl::emulated_gpu(profile)};
    tri::bound_matrix<double, std::int32_t> b(q, A, tri::memory::device);
    hostsycl::reset_kernel_counts();
    b.optimize(vrt::uplo::lower, vrt::diag::nonunit);
    EXPECT_EQ(hostsycl::kernels_submitted("symmetric2"), 1u) << profile;
    EXPECT_EQ(hostsycl::kernels_submitted("sub_group_kernel"), 1u) << profile;
  }
}

// A symmetric handle needs no expansion. Its coloring on code 4 synchronises the middle colors
// of real solves by atomics, whose sub-groups of 16 the device lacks: the solve runs one kernel
// per color instead, and is right.
TYPED_TEST(LevelsetTrsvPublic, NarrowSubGroupsSolveByOneKernelPerColor) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto L = lvt::levels_triangle<T>(middle_widths(), 39);
  const auto A = combine<T, I>(L, lvt::transpose_of(L));
  const auto x = tri::random_vector<T>(A.nrows, 10);
  for (const char* profile : narrow_profiles) {
    sycl::queue q{hostsycl::emulated_gpu(profile)};
    for (tri::memory m : tri::all_memories) {
      tri::bound_matrix<T, I> b(q, A, m);
      vs::set_matrix_property(b.handle(), vs::property::symmetric);
      b.optimize(vrt::uplo::lower, vrt::diag::nonunit);
      ASSERT_NE(b.handle()->coloring_lower, nullptr);
      ASSERT_GT(b.handle()->coloring_lower->num_colors - b.handle()->coloring_lower->head_colors -
                    b.handle()->coloring_lower->tail_colors,
                0);
      for (vrt::uplo ul : both_triangles)
        for (vrt::diag dg : both_diags) {
          const bool upper = ul == vrt::uplo::upper, unit = dg == vrt::diag::unit;
          const std::string what = std::string(profile) + " " + tri::name_of(m) +
                                   (upper ? " upper" : " lower") + (unit ? " unit" : " nonunit");
          hostsycl::reset_kernel_counts();
          tri::expect_close(b.trsv(ul, dg, T(-0.5), x),
                            tri::reference_solve(A, upper, unit, T(-0.5), x), what);
          EXPECT_EQ(hostsycl::kernels_submitted("sub_group_kernel"), 0u) << what;
          EXPECT_EQ(hostsycl::kernels_submitted("_atomic"), 0u) << what;
          EXPECT_GT(hostsycl::kernels_submitted("levelsetTrsv"), 0u) << what;
        }
    }
  }
}

// On the listed twin of code 4 the same real solves do synchronise by atomics.
TEST(LevelsetTrsvPublicNarrowSubGroups, TheListedTwinSolvesByAtomics) {
  const auto L = lvt::levels_triangle<double>(middle_widths(), 39);
  const auto A = combine<double, std::int32_t>(L, lvt::transpose_of(L));
  const auto x = tri::random_vector<double>(A.nrows, 10);
  sycl::queue q{hostsycl::emulated_gpu("emu-a4")};
  tri::bound_matrix<double, std::int32_t> b(q, A, tri::memory::device);
  vs::set_matrix_property(b.handle(), vs::property::symmetric);
  b.optimize(vrt::uplo::lower, vrt::diag::nonunit);
  for (vrt::uplo ul : both_triangles) {
    hostsycl::reset_kernel_counts();
    b.trsv(ul, vrt::diag::nonunit, 1.0, x);
    EXPECT_GT(hostsycl::kernels_submitted("_atomic"), 0u);
    EXPECT_GT(hostsycl::kernels_submitted("sub_group_kernel"), 0u);
  }
}

}  // namespace
