// Level-set solves against a plain forward or backward substitution on the host: both sides,
// unit and non-unit, every value type and index width, USM and buffers, on every emulated
// profile (code 4 synchronises the middle colors of real solves by atomics, the others by one
// kernel per color).
#include <gtest/gtest.h>

#include <cmath>
#include <hostsycl/hostsycl.hpp>
#include <string>

#include "gpu/levelset_support.hpp"
#include "gpu/triangular/levelset/levelset_plan.hpp"
#include "gpu/triangular/levelset/middle_atomic_launch.hpp"
#include "support/test_helpers.hpp"

namespace {

using namespace lvt;
using vrt_test::all_variants;
using vrt_test::expect_close;

constexpr const char* all_profiles[] = {"emu-a0", "emu-a1", "emu-a2", "emu-a3",
                                        "emu-a4", "emu-a5", "emu-a6"};

struct solve_case {
  bool lower;
  bool unit;
  double alpha;
};

// Colours the triangle of m for one side, solves with the library's level-set solve and
// returns y (x is made here, deterministic).
template <typename T, typename I, vs::containerType C>
std::vector<T> levelset_solve(sycl::queue& q, const triangle_matrix<T>& m, const solve_case& s,
                              const std::vector<T>& x, vs::coloringData* inspect = nullptr) {
  const auto e = expand<T, I>(m, s.lower, C == vs::container_usm ? 0 : 1);
  bound_expansion<T, I, C> b(q, e, s.lower);
  b.color().wait();
  if (inspect != nullptr) *inspect = **b.slot();
  const T alpha = static_cast<T>(s.alpha);
  const auto d = s.unit ? vrt::diag::unit : vrt::diag::nonunit;
  const auto side = s.lower ? vs::gpu::triangle::lower : vs::gpu::triangle::upper;
  auto solve = [&](auto xs, auto ys, const std::vector<sycl::event>& deps) {
    return vs::gpu::levelset_trsv<T, I, C>(q, side, d, alpha, b.h, xs, ys, deps);
  };
  const auto n = static_cast<std::size_t>(m.n);
  std::vector<T> y = vrt_test::nan_vector<T>(std::max<std::size_t>(n, 1));
  const auto m_of = C == vs::container_usm ? vrt_test::memory::device : vrt_test::memory::buffer;
  vrt_test::device_array<T> xs(q, x, m_of);
  vrt_test::device_array<T> ys(q, y, m_of);
  // Twice: a solve leaves its work areas stale and the next must reinitialise what it reads.
  for (int round = 0; round < 2; ++round) {
    if constexpr (C == vs::container_usm)
      solve(xs.usm(), ys.usm(), {}).wait();
    else
      solve(&xs.buffer(), &ys.buffer(), {});
  }
  y = ys.read(n);
  return y;
}

template <typename T, typename I>
void check_all_ways(const triangle_matrix<T>& lower_m, const char* profile, const std::string& what,
                    bool lower_side_too = true) {
  sycl::queue q{hostsycl::emulated_gpu(profile)};
  const auto x = vrt_test::random_vector<T>(lower_m.n, 17);
  const auto upper_m = transpose_of(lower_m);
  for (bool lower : {true, false}) {
    if (lower && !lower_side_too) continue;
    const auto& m = lower ? lower_m : upper_m;
    for (bool unit : {false, true}) {
      const solve_case s{lower, unit, 1.5};
      const auto want = reference_solve(m, lower, unit, static_cast<T>(s.alpha), x);
      const std::string tag =
          what + (lower ? " lower" : " upper") + (unit ? " unit" : "") + " on " + profile;
      expect_close(levelset_solve<T, I, vs::container_usm>(q, m, s, x), want, tag + " (USM)");
      expect_close(levelset_solve<T, I, vs::container_buffer>(q, m, s, x), want,
                   tag + " (buffers)");
    }
  }
}

// Head, many middle colors (wide ones with narrow ones between, widths not multiples of 16) and
// a tail.
std::vector<std::int64_t> many_middle_colors() {
  std::vector<std::int64_t> widths{1, 3};
  for (int k = 0; k < 10; ++k) {
    widths.push_back(257 + 13 * k);
    widths.push_back(1 + k);
  }
  widths.push_back(300);
  widths.push_back(5);
  widths.push_back(1);
  return widths;
}

template <typename V>
class LevelsetTrsv : public ::testing::Test {};
TYPED_TEST_SUITE(LevelsetTrsv, all_variants);

TYPED_TEST(LevelsetTrsv, ManyMiddleColorsOnEveryProfile) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto m = levels_triangle<T>(many_middle_colors(), 21);
  for (const char* profile : all_profiles) check_all_ways<T, I>(m, profile, "many middle colors");
}

TYPED_TEST(LevelsetTrsv, RandomTrianglesAllHead) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto m = random_triangle<T>(500, 4, 22);
  for (const char* profile : {"emu-a3", "emu-a4"}) check_all_ways<T, I>(m, profile, "random");
}

TYPED_TEST(LevelsetTrsv, LaplacianLowerTriangle) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto m = laplacian_lower<T>(30);
  for (const char* profile : {"emu-a1", "emu-a4"}) check_all_ways<T, I>(m, profile, "laplacian");
}

// Only a head: neither per-color kernels nor the atomics kernel have work.
TYPED_TEST(LevelsetTrsv, AllColorsInTheHead) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto m = levels_triangle<T>({1, 200, 3, 256, 1}, 23);
  for (const char* profile : {"emu-a3", "emu-a4"}) check_all_ways<T, I>(m, profile, "head only");
}

// A wide first color gives no head: the lower side then needs per-color kernels (the atomics
// solve of the lower side expects a head color), the upper side runs on every profile.
TYPED_TEST(LevelsetTrsv, WideFirstColor) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto m = levels_triangle<T>({300, 1, 300, 1}, 24);
  check_all_ways<T, I>(m, "emu-a3", "300/1/300/1");
  check_all_ways<T, I>(m, "emu-a4", "300/1/300/1", false);
  const auto diagonal = levels_triangle<T>({300}, 25);
  for (const char* profile : {"emu-a3", "emu-a4"})
    check_all_ways<T, I>(diagonal, profile, "diagonal 300");
}

TYPED_TEST(LevelsetTrsv, ZeroAlphaGivesZero) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto m = levels_triangle<T>(many_middle_colors(), 26);
  const auto x = vrt_test::random_vector<T>(m.n, 5);
  for (const char* profile : {"emu-a3", "emu-a4"}) {
    sycl::queue q{hostsycl::emulated_gpu(profile)};
    for (bool lower : {true, false}) {
      const auto y = levelset_solve<T, I, vs::container_usm>(q, lower ? m : transpose_of(m),
                                                             {lower, false, 0.0}, x);
      for (const auto& v : y) ASSERT_EQ(v, T(0)) << profile;
    }
  }
}

// The diagonal is a run-time choice of the solve: a unit solve ignores the stored diagonal.
TYPED_TEST(LevelsetTrsv, UnitSolveIgnoresTheDiagonal) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  auto m = levels_triangle<T>(many_middle_colors(), 27);
  for (auto& [r, c, v] : m.entries)
    if (r == c) v = T(1000);
  const auto x = vrt_test::random_vector<T>(m.n, 6);
  sycl::queue q{hostsycl::emulated_gpu("emu-a4")};
  for (bool lower : {true, false}) {
    const auto& side = lower ? m : transpose_of(m);
    const auto want = reference_solve(side, lower, true, T(1), x);
    expect_close(levelset_solve<T, I, vs::container_usm>(q, side, {lower, true, 1.0}, x), want,
                 "unit");
  }
}

// Upper chunks hold rows that nobody depends on: coloured rows of length 0.
TYPED_TEST(LevelsetTrsv, EmptyColouredRowsInChunks) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto m = levels_triangle<T>({2, 400, 290, 1}, 28);
  sycl::queue q{hostsycl::emulated_gpu("emu-a4")};
  vs::coloringData seen{};
  const auto upper_m = transpose_of(m);
  const auto x = vrt_test::random_vector<T>(m.n, 7);
  const auto y = levelset_solve<T, I, vs::container_usm>(q, upper_m, {false, false, 1.0}, x, &seen);
  expect_close(y, reference_solve(upper_m, false, false, T(1), x), "empty rows");
  EXPECT_EQ(seen.head_colors, 1);
  EXPECT_EQ(seen.tail_colors, 1);
  // Real values on this profile go through the atomics solve.
  EXPECT_EQ(seen.sync_mode, vrt_test::is_complex<T> ? 1 : 2);
  EXPECT_EQ(seen.num_chunks, vrt_test::is_complex<T> ? 0 : 25 + 19);
}

TYPED_TEST(LevelsetTrsv, EmptyMatrix) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a4")};
  const triangle_matrix<T> m{};
  for (bool lower : {true, false}) {
    EXPECT_TRUE((levelset_solve<T, I, vs::container_usm>(q, m, {lower, false, 1.0}, {}).empty()));
    EXPECT_TRUE(
        (levelset_solve<T, I, vs::container_buffer>(q, m, {lower, false, 1.0}, {}).empty()));
  }
}

// The middle colors' plan: atomics where the coloring chose them, they make progress and the
// device offers their sub-group size, one kernel per color otherwise, an internal error for a
// sync_mode that is neither.
TEST(LevelsetPlan, MiddleSyncFollowsTheColoring) {
  namespace gpu = vs::gpu;
  const auto all = gpu::sub_group_offer::of_sizes({8, 16, 32});
  const auto wide = gpu::sub_group_offer::of_sizes({32});
  const auto single = gpu::sub_group_offer::of_sizes({1});
  vs::coloringData d{};
  d.num_colors = 5;
  d.head_colors = 1;
  d.tail_colors = 1;
  d.sync_mode = gpu::sync_by_atomics;
  EXPECT_EQ(gpu::middle_sync_of(d, gpu::triangle::lower, all), gpu::middle_sync::atomics);
  EXPECT_EQ(gpu::middle_sync_of(d, gpu::triangle::upper, all), gpu::middle_sync::atomics);
  // A device without sub-groups of 16 runs one kernel per color.
  for (const auto& lacking : {wide, single}) {
    EXPECT_EQ(gpu::middle_sync_of(d, gpu::triangle::lower, lacking), gpu::middle_sync::per_color);
    EXPECT_EQ(gpu::middle_sync_of(d, gpu::triangle::upper, lacking), gpu::middle_sync::per_color);
  }
  // A lower middle from color 0 over two colors or more would wait for ever on color 1.
  d.head_colors = 0;
  EXPECT_EQ(gpu::middle_sync_of(d, gpu::triangle::lower, all), gpu::middle_sync::per_color);
  EXPECT_EQ(gpu::middle_sync_of(d, gpu::triangle::upper, all), gpu::middle_sync::atomics);
  d.sync_mode = gpu::sync_by_kernels;
  EXPECT_EQ(gpu::middle_sync_of(d, gpu::triangle::upper, all), gpu::middle_sync::per_color);
  d.sync_mode = -1;
  try {
    (void)gpu::middle_sync_of(d, gpu::triangle::lower, all);
    ADD_FAILURE() << "no refusal";
  } catch (const vrt::computation_error& e) {
    EXPECT_NE(std::string(e.what()).find("trsv"), std::string::npos) << e.what();
    EXPECT_NE(std::string(e.what()).find("internal error"), std::string::npos) << e.what();
  }
}

// The switch reaches the atomics form for real values only; complex values run nothing there.
TEST(LevelsetPlan, VisitMiddleSync) {
  namespace gpu = vs::gpu;
  auto reached = [](auto value, gpu::middle_sync mode) {
    int seen = -1;
    gpu::visit_middle_sync<decltype(value)>(
        mode, [&]<gpu::middle_sync M>() { seen = M == gpu::middle_sync::atomics ? 1 : 0; });
    return seen;
  };
  EXPECT_EQ(reached(double{}, gpu::middle_sync::atomics), 1);
  EXPECT_EQ(reached(double{}, gpu::middle_sync::per_color), 0);
  EXPECT_EQ(reached(std::complex<double>{}, gpu::middle_sync::atomics), -1);
  EXPECT_EQ(reached(std::complex<double>{}, gpu::middle_sync::per_color), 0);
  EXPECT_EQ(gpu::side_of(vrt::uplo::lower), gpu::triangle::lower);
  EXPECT_EQ(gpu::side_of(vrt::uplo::upper), gpu::triangle::upper);
}

// A coloring that synchronises by atomics, handed to their launcher on a device without sub-groups
// of 16 (the facts of emu-a4, whose colorings choose atomics): refused as unsupported before the
// counters are set. The solve itself never gets there (MiddleSyncFollowsTheColoring).
TEST(LevelsetPlan, AtomicsLauncherRefusesNarrowSubGroups) {
  namespace gpu = vs::gpu;
  sycl::queue q{hostsycl::emulated_gpu("emu-a4-narrow-sub-groups")};
  const auto m = levels_triangle<double>(many_middle_colors(), 23);
  const auto e = expand<double, std::int32_t>(m, true, 0);
  bound_expansion<double, std::int32_t, vs::container_usm> b(q, e, true);
  b.color().wait();
  const vs::coloringData* d = *b.slot();
  ASSERT_EQ(d->sync_mode, gpu::sync_by_atomics);
  EXPECT_EQ(gpu::middle_sync_of(*d, gpu::triangle::lower, gpu::sub_group_offer::of(q.get_device())),
            gpu::middle_sync::per_color);
  const auto op = gpu::make_levelset_operands<double, std::int32_t, vs::container_usm>(
      *d, gpu::triangle::lower, 1.0, true);
  std::vector<sycl::event> deps;
  hostsycl::reset_kernel_counts();
  vrt_test::expect_message<vrt::unsupported_device>(
      [&] { gpu::middle_by_atomics<double, std::int32_t, vs::container_usm>(q, op, *d, deps); },
      "orvane::vrt::sparse::trsv: unsupported device: " +
          q.get_device().get_info<sycl::info::device::name>());
  EXPECT_EQ(hostsycl::kernels_submitted(), 0u);
  EXPECT_TRUE(deps.empty());
}

}  // namespace
