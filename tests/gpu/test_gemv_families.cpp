// Every CSR kernel family of gemv against the reference product: on first use on every
// profile, after optimize_gemv, and under plans set by hand for the sub-group, explicit-SIMD and
// merge-path grids; both bases, USM and buffers; the launchers' refusals.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdint>
#include <hostsycl/hostsycl.hpp>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "gpu/mv/csr/csr_gemv_plan.hpp"
#include "gpu/mv/csr/csr_operands.hpp"
#include "gpu/sub_group_check.hpp"
#include "handle/device_internal_data.hpp"
#include "handle/gemv_data.hpp"
#include "handle/handle.hpp"
#include "support/gemv_runner.hpp"
#include "support/shaped_matrices.hpp"
#include "support/test_helpers.hpp"

namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;
using vrt_test::csr_matrix;
using vrt_test::memory;

namespace {

struct forced_plan {
  int kind, group, vector;
};

using vrt_test::random_vector;

// Runs the product on `profile` with the plan given (or the one the library makes, after
// optimize_gemv when asked) and compares with the reference. y starts as NaN when beta is zero.
template <typename T, typename I>
void check(const char* profile, const csr_matrix<T, I>& A, const forced_plan* plan, bool optimize,
           memory model, T alpha, T beta, const std::string& what, int expected_kind = 0) {
  sycl::queue q{hostsycl::emulated_gpu(profile)};
  const auto x = random_vector<T>(A.ncols, 7);
  auto y0 = random_vector<T>(A.nrows, 11);
  if (beta == T(0))
    for (auto& v : y0) v = T(std::numeric_limits<vrt_test::real_t<T>>::quiet_NaN());
  const auto want = vrt_test::reference_gemv(A, vrt::transpose::nontrans, alpha, x, beta, y0);
  const auto scale = vrt_test::error_scale(A, vrt::transpose::nontrans, alpha, x, beta, y0);
  vrt_test::gemv_run_options o;
  o.model = model;
  o.optimize = optimize;
  if (plan != nullptr)
    o.planned = [&](vs::matrix_handle* h) {
      vs::sparseStructure* s = h->primary;
      if (s->gemv_data == nullptr) vs::initGemvInternalData(&s->gemv_data);
      vs::cache_gemv_internals(q, s->gemv_data);
      s->gemv_data->kernel_kind = vs::gemv_kind{plan->kind};
      s->gemv_data->group_param = plan->group;
      s->gemv_data->vector_param = plan->vector;
    };
  if (expected_kind != 0)
    o.done = [&](vs::matrix_handle* h) {
      EXPECT_EQ(vs::kind_code(h->primary->gemv_data->kernel_kind), expected_kind)
          << what << " on " << profile;
    };
  const auto got = vrt_test::run_gemv_with(q, A, alpha, x, beta, y0, o);
  vrt_test::expect_close(got, want, scale,
                         what + " on " + profile + " (" + vrt_test::name_of(model) + ", base " +
                             std::to_string(A.base) + ")");
}

// Rows shorter than, equal to, and longer than both sub-group widths; empty rows inside and
// at the end.
std::vector<std::int64_t> mixed_lengths(std::size_t repeat) {
  const std::int64_t pattern[] = {0, 1, 15, 16, 17, 31, 32, 33, 64, 0, 5, 100, 47, 0};
  std::vector<std::int64_t> out;
  for (std::size_t k = 0; k < repeat; ++k)
    out.insert(out.end(), std::begin(pattern), std::end(pattern));
  out.push_back(3);
  out.push_back(0);
  out.push_back(0);
  return out;
}

constexpr const char* every_profile[] = {"emu-a0", "emu-a1", "emu-a2", "emu-a3",
                                         "emu-a4", "emu-a5", "emu-a6", "emu-a1-nofp64"};

template <typename T>
bool profile_runs(const char* profile) {
  const bool double_precision =
      std::is_same_v<T, double> || std::is_same_v<T, std::complex<double>>;
  return !double_precision || hostsycl::emulated_gpu(profile).has(sycl::aspect::fp64);
}

template <typename V>
class GemvFamilies : public ::testing::Test {};
TYPED_TEST_SUITE(GemvFamilies, vrt_test::all_variants);

// The first-use plan of each profile, and the plan optimize_gemv makes, in both bases.
TYPED_TEST(GemvFamilies, FirstUseAndOptimizedOnEveryProfile) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  for (int base : {0, 1}) {
    const auto A = vrt_test::shaped_csr<T, I>(mixed_lengths(2), 211, 3, base);
    for (const char* profile : every_profile) {
      if (!profile_runs<T>(profile)) continue;
      for (bool optimize : {false, true})
        for (memory m : {memory::device, memory::buffer})
          check<T, I>(profile, A, nullptr, optimize, m, T(1.5), base ? T(0) : T(-0.5),
                      optimize ? "optimized" : "first use");
    }
  }
}

// Single-row kernels on every grid point, both bases.
TYPED_TEST(GemvFamilies, SubGroupSingleRowGrid) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  for (int base : {0, 1}) {
    const auto A = vrt_test::shaped_csr<T, I>(mixed_lengths(3), 211, 4, base);
    for (const forced_plan plan : {forced_plan{3, 4, 16}, forced_plan{3, 4, 32},
                                   forced_plan{3, 8, 16}, forced_plan{3, 8, 32}}) {
      const std::string what =
          "sub-group " + std::to_string(plan.group) + "x" + std::to_string(plan.vector);
      check<T, I>("emu-a6", A, &plan, false, memory::device, T(2), T(0.5), what, 3);
      check<T, I>("emu-a4", A, &plan, false, memory::buffer, T(-1), T(0), what, 3);
      // Host USM: the kernels read and write it as any other memory (no atomics).
      check<T, I>("emu-a3", A, &plan, false, memory::host, T(1), T(-2), what, 3);
    }
  }
}

// Bundles: emu-a1 has 24 * 7 = 168 hardware threads, so 167 * 16 = 2672 rows still take a
// sub-group each and one row more takes bundles; 2689 rows make 169 bundles (odd: the
// work-group falls to one sub-group) with a last bundle of one row.
TYPED_TEST(GemvFamilies, SubGroupRowBundles) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const forced_plan narrow{3, 8, 16}, wide{3, 8, 32}, four{3, 4, 16};
  for (std::int64_t nrows : {2672, 2673, 2689, 2700}) {
    std::vector<std::int64_t> lengths(static_cast<std::size_t>(nrows));
    for (std::size_t r = 0; r < lengths.size(); ++r) lengths[r] = static_cast<std::int64_t>(r % 37);
    lengths.back() = 0;
    const auto A = vrt_test::shaped_csr<T, I>(lengths, 101, 5, nrows % 2 ? 1 : 0);
    const std::string what = "bundles, " + std::to_string(nrows) + " rows";
    check<T, I>("emu-a1", A, &narrow, false, memory::device, T(1), T(2), what);
    check<T, I>("emu-a1", A, &four, false, memory::buffer, T(1), T(0), what);
    check<T, I>("emu-a1", A, &wide, false, memory::shared, T(1), T(0), what + " (32 wide)");
    check<T, I>("emu-a1", A, &narrow, false, memory::host, T(-1), T(0.5), what);
  }
  // 32 wide: 167 * 32 = 5344 rows single, 5345 bundles (168 bundles).
  for (std::int64_t nrows : {5344, 5345}) {
    const auto A = vrt_test::uniform_csr<T, I>(nrows, 3, 101, 6);
    check<T, I>("emu-a1", A, &wide, false, memory::device, T(1), T(-1),
                "32-wide bundles, " + std::to_string(nrows) + " rows");
  }
}

TYPED_TEST(GemvFamilies, ExplicitSimdGrid) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  if constexpr (vrt_test::is_complex<T>) {
    // Rewritten to the sub-group kernel with 8 sub-groups of 16 on code 6.
    const auto A = vrt_test::shaped_csr<T, I>(mixed_lengths(1), 211, 7);
    const forced_plan esimd{4, 8, 32};
    sycl::queue q{hostsycl::emulated_gpu("emu-a6")};
    vrt_test::gemv_run_options o;
    o.planned = [&](vs::matrix_handle* h) {
      vs::sparseStructure* s = h->primary;
      vs::initGemvInternalData(&s->gemv_data);
      vs::cache_gemv_internals(q, s->gemv_data);
      s->gemv_data->kernel_kind = vs::gemv_kind{esimd.kind};
      s->gemv_data->group_param = esimd.group;
      s->gemv_data->vector_param = esimd.vector;
    };
    o.done = [&](vs::matrix_handle* h) {
      const vs::gemvInternalData* p = h->primary->gemv_data;
      EXPECT_EQ(vs::kind_code(p->kernel_kind), 3);
      EXPECT_EQ(p->group_param, 8);
      EXPECT_EQ(p->vector_param, 16);
    };
    const auto x = random_vector<T>(211, 1);
    const auto got = vrt_test::run_gemv_with(q, A, T(1), x, T(0), std::vector<T>(A.nrows), o);
    const auto want = vrt_test::reference_gemv(A, vrt::transpose::nontrans, T(1), x, T(0),
                                               std::vector<T>(A.nrows));
    vrt_test::expect_close(
        got, want,
        vrt_test::error_scale(A, vrt::transpose::nontrans, T(1), x, T(0), std::vector<T>(A.nrows)),
        "complex explicit-SIMD plan");
  } else {
    for (int base : {0, 1}) {
      // 47 rows: not a multiple of 4 or 8, so the last thread owns a partial set.
      auto lengths = mixed_lengths(3);
      lengths.resize(47);
      const auto A = vrt_test::shaped_csr<T, I>(lengths, 211, 8, base);
      for (const forced_plan plan : {forced_plan{4, 8, 32}, forced_plan{4, 4, 32}}) {
        const std::string what = "explicit SIMD, " + std::to_string(plan.group) + " rows";
        for (const char* profile : {"emu-a5", "emu-a6"}) {
          check<T, I>(profile, A, &plan, false, memory::device, T(3), T(0), what, 4);
          check<T, I>(profile, A, &plan, false, memory::buffer, T(1), T(0.25), what, 4);
          check<T, I>(profile, A, &plan, false, memory::host, T(2), T(0), what, 4);
        }
      }
    }
  }
}

// A matrix whose lengths spread widely takes the merge path on code 6.
template <typename T, typename I>
csr_matrix<T, I> spread_matrix(int base, std::int64_t long_length) {
  std::vector<std::int64_t> lengths(500, 2);
  lengths[7] = long_length;                                // one row across several parts
  for (std::size_t i = 100; i < 120; ++i) lengths[i] = 0;  // empty rows inside
  for (std::size_t i = 480; i < 500; ++i) lengths[i] = 0;  // and at the end
  return vrt_test::shaped_csr<T, I>(lengths, 20011, 9, base);
}

TYPED_TEST(GemvFamilies, MergePathAfterOptimize) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  for (int base : {0, 1}) {
    const auto A = spread_matrix<T, I>(base, 20000);
    for (memory m : {memory::device, memory::shared, memory::host, memory::buffer}) {
      check<T, I>("emu-a6", A, nullptr, true, m, T(1.25), T(0.5), "merge path", 5);
      check<T, I>("emu-a6", A, nullptr, true, m, T(-1), T(0), "merge path, beta 0", 5);
    }
  }
  // total (= nnz + nrows) below the part count.
  const auto small = spread_matrix<T, I>(0, 400);
  check<T, I>("emu-a6", small, nullptr, true, memory::device, T(1), T(1), "merge path, few steps",
              5);
  check<T, I>("emu-a6", small, nullptr, true, memory::host, T(1), T(1), "merge path, few steps", 5);
}

// Two products in a row share the carry arrays.
TYPED_TEST(GemvFamilies, MergePathTwice) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto A = spread_matrix<T, I>(0, 5000);
  sycl::queue q{hostsycl::emulated_gpu("emu-a6")};
  const auto x = random_vector<T>(A.ncols, 3);
  const auto y0 = random_vector<T>(A.nrows, 4);
  const auto once = vrt_test::reference_gemv(A, vrt::transpose::nontrans, T(1), x, T(1), y0);
  const auto want = vrt_test::reference_gemv(A, vrt::transpose::nontrans, T(1), x, T(1), once);
  for (memory m : {memory::device, memory::buffer}) {
    vrt_test::gemv_run_options o;
    o.model = m;
    o.optimize = true;
    o.products = 2;
    const auto got = vrt_test::run_gemv_with(q, A, T(1), x, T(1), y0, o);
    vrt_test::expect_close(got, want,
                           vrt_test::error_scale(A, vrt::transpose::nontrans, T(2), x, T(1), once),
                           "two merge products");
  }
}

// ---- behaviour at the edges, and refusals ---------------------------------------------------

template <typename T>
std::vector<T> tiny_product(const char* profile, forced_plan plan, T alpha, T beta, T value, T y0) {
  csr_matrix<T, std::int32_t> A;
  A.nrows = A.ncols = 2;
  A.row_ptr = {0, 1, 2};
  A.col_ind = {0, 1};
  A.values = {value, value};
  sycl::queue q{hostsycl::emulated_gpu(profile)};
  vrt_test::gemv_run_options o;
  o.planned = [&](vs::matrix_handle* h) {
    vs::sparseStructure* s = h->primary;
    vs::initGemvInternalData(&s->gemv_data);
    vs::cache_gemv_internals(q, s->gemv_data);
    s->gemv_data->kernel_kind = vs::gemv_kind{plan.kind};
    s->gemv_data->group_param = plan.group;
    s->gemv_data->vector_param = plan.vector;
  };
  return vrt_test::run_gemv_with(q, A, alpha, std::vector<T>(2, T(1)), beta, std::vector<T>(2, y0),
                                 o);
}

TEST(GemvFamilyEdges, ZeroAlphaStillReadsTheRowAndZeroBetaClearsNaN) {
  const double inf = std::numeric_limits<double>::infinity();
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (const forced_plan plan :
       {forced_plan{3, 8, 16}, forced_plan{3, 4, 32}, forced_plan{4, 8, 32}}) {
    EXPECT_TRUE(std::isnan(tiny_product<double>("emu-a6", plan, 0.0, 2.0, inf, 3.0)[0]));
    EXPECT_EQ(tiny_product<double>("emu-a6", plan, 1.0, 0.0, 2.0, nan)[1], 2.0);
  }
  using Z = std::complex<double>;
  EXPECT_TRUE(
      std::isnan(tiny_product<Z>("emu-a3", {3, 8, 16}, Z(0), Z(2), Z(inf), Z(3))[0].real()));
  EXPECT_EQ((tiny_product<Z>("emu-a3", {3, 8, 16}, Z(1), Z(0), Z(0, 2), Z(nan, nan))[0]), Z(0, 2));
}

// nrows rows of one entry each, in column 0.
template <typename T>
void expect_launch_refused(const char* profile, forced_plan plan, const std::string& message,
                           std::int64_t nrows = 1) {
  // A type left out of this build marks the whole test skipped, its other parts still run.
  if (!orvane::vrt::sparse::value_type_built<T>)
    GTEST_SKIP() << "value type left out of this build: " << vrt_test::value_type_name<T>();
  csr_matrix<T, std::int32_t> A;
  A.nrows = nrows;
  A.ncols = 1;
  for (std::int32_t r = 0; r <= nrows; ++r) A.row_ptr.push_back(r);
  A.col_ind.assign(static_cast<std::size_t>(nrows), 0);
  A.values.assign(static_cast<std::size_t>(nrows), T(1));
  sycl::queue q{hostsycl::emulated_gpu(profile)};
  vrt_test::gemv_run_options o;
  o.planned = [&](vs::matrix_handle* h) {
    vs::sparseStructure* s = h->primary;
    vs::initGemvInternalData(&s->gemv_data);
    vs::cache_gemv_internals(q, s->gemv_data);
    s->gemv_data->kernel_kind = vs::gemv_kind{plan.kind};
    s->gemv_data->group_param = plan.group;
    s->gemv_data->vector_param = plan.vector;
    T* y = sycl::malloc_shared<T>(static_cast<std::size_t>(nrows), q);
    vrt_test::expect_message<vrt::computation_error>(
        [&] { vs::gemv(q, vrt::transpose::nontrans, T(1), h, y, T(0), y).wait(); }, message);
    sycl::free(y, q);
    s->gemv_data->kernel_kind = vs::gemv_kind::syclvec;  // let the runner's own product run
    s->gemv_data->group_param = 64;
    s->gemv_data->vector_param = 4;
  };
  vrt_test::run_gemv_with(q, A, T(1), std::vector<T>(1, T(1)), T(0),
                          std::vector<T>(static_cast<std::size_t>(nrows)), o);
}

TEST(GemvFamilyEdges, LaunchersRefuseOutsideTheirGrids) {
  const std::string internal = "orvane::vrt::sparse::gemv csr: computation error: internal error";
  // Explicit SIMD below code 5, with a width other than 32, with rows other than 4 or 8.
  expect_launch_refused<double>("emu-a4", {4, 8, 32}, internal);
  expect_launch_refused<float>("emu-a6", {4, 8, 16}, internal);
  expect_launch_refused<double>("emu-a5", {4, 2, 32}, internal);
  expect_launch_refused<double>("emu-a5", {4, 16, 32}, internal);
  // Single-row sub-group kernels take 4 or 8 sub-groups.
  expect_launch_refused<double>("emu-a6", {3, 2, 16}, internal);
  expect_launch_refused<float>("emu-a6", {3, 16, 32}, internal);
  // Bundles (emu-a1, 16 wide, from 2673 rows): a group count that still divides the bundles
  // after halving but is no power of two up to 8. 2673 rows make 168 bundles, 2801 make 176.
  expect_launch_refused<double>("emu-a1", {3, 3, 16}, internal, 2673);
  expect_launch_refused<double>("emu-a1", {3, 16, 16}, internal, 2801);
  // Merge path: 32 wide, 4 or 8 sub-groups.
  expect_launch_refused<double>("emu-a6", {5, 4, 16}, internal);
  expect_launch_refused<double>("emu-a6", {5, 2, 32}, internal);
}

// The runtime refuses a kernel whose sub-group size the device lacks; launchers ask first.
TEST(GemvFamilyEdges, SubGroupSizeIsCheckedAgainstTheDevice) {
  const sycl::device a6 = hostsycl::emulated_gpu("emu-a6");
  EXPECT_FALSE(vs::gpu::supports_sub_group_size(a6, 8));
  EXPECT_TRUE(vs::gpu::supports_sub_group_size(a6, 16));
  EXPECT_TRUE(vs::gpu::supports_sub_group_size(a6, 32));
  const sycl::queue q{a6};
  vrt_test::expect_message<vrt::unsupported_device>(
      [&] { vs::gpu::require_sub_group_size(q, 8, "gemv"); },
      "orvane::vrt::sparse::gemv: unsupported device: " + a6.get_info<sycl::info::device::name>());
}

// ---- the sub-group launch shape --------------------------------------------------------------

// emu-a1: 24 units of 7 threads. With 16 lanes, 167 * 16 = 2672 rows still get a sub-group each.
TEST(SubGroupLaunchShape, ThresholdAtOneThreadShortOfTheDevice) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a1")};
  vs::deviceInternalData* device = nullptr;
  vs::initDeviceInternalData(&device);
  vs::cache_device_internals(q, device);
  const std::int64_t threads = device->hw_thread_count;
  vs::deviceInternalDataRelease(&device);
  ASSERT_EQ(threads, 168);
  using vs::gpu::csr::sub_group_launch;
  auto single = sub_group_launch(2672, threads, 16, 8);
  EXPECT_FALSE(single.bundles);
  EXPECT_EQ(single.items, 2672u);
  EXPECT_EQ(single.groups, 8);
  auto bundled = sub_group_launch(2673, threads, 16, 8);
  EXPECT_TRUE(bundled.bundles);
  EXPECT_EQ(bundled.items, 168u);
  EXPECT_EQ(bundled.groups, 8);
  // 32 lanes: 167 * 32 = 5344.
  EXPECT_FALSE(sub_group_launch(5344, threads, 32, 4).bundles);
  EXPECT_TRUE(sub_group_launch(5345, threads, 32, 4).bundles);
  // Single rows: the launch is rounded up to whole work-groups.
  single = sub_group_launch(2671, threads, 16, 8);
  EXPECT_EQ(single.items, 2672u);
  single = sub_group_launch(10, threads, 16, 4);
  EXPECT_EQ(single.items, 12u);
  EXPECT_EQ(single.groups, 4);
  EXPECT_EQ(sub_group_launch(0, threads, 16, 4).items, 0u);
}

// The work-group halves until it divides the bundles: 168 bundles keep 8, 170 fall to 2, an odd
// count to 1; the plan's own count is not touched.
TEST(SubGroupLaunchShape, BundleGroupsHalveUntilTheyDivide) {
  using vs::gpu::csr::sub_group_launch;
  const std::int64_t threads = 168;
  const std::pair<std::int64_t, std::int32_t> cases[] = {{2688, 8}, {2689, 1}, {2704, 1}, {2705, 2},
                                                         {2720, 2}, {2721, 1}, {2737, 4}};
  for (const auto& [nrows, groups] : cases) {
    const auto shape = sub_group_launch(nrows, threads, 16, 8);
    EXPECT_TRUE(shape.bundles) << nrows;
    EXPECT_EQ(shape.items, static_cast<std::size_t>((nrows + 15) / 16)) << nrows;
    EXPECT_EQ(shape.groups, groups) << nrows << " rows";
  }
  EXPECT_EQ(sub_group_launch(2705, threads, 16, 4).groups, 2);
  EXPECT_EQ(sub_group_launch(2705, threads, 16, 1).groups, 1);
}

TEST(SubGroupLaunchShape, RefusesGroupCountsTheKernelsDoNotTake) {
  using vs::gpu::csr::sub_group_launch;
  const std::string internal = "orvane::vrt::sparse::gemv csr: computation error: internal error";
  for (std::int32_t g : {0, 1, 2, 3, 16, -8})
    vrt_test::expect_message<vrt::computation_error>([&] { sub_group_launch(100, 168, 16, g); },
                                                     internal);
  // Bundles: 176 bundles keep 16; 168 bundles keep 3; a count of 0 or below never divides.
  for (std::int32_t g : {16, 0, -8})
    vrt_test::expect_message<vrt::computation_error>([&] { sub_group_launch(2801, 168, 16, g); },
                                                     internal);
  vrt_test::expect_message<vrt::computation_error>([&] { sub_group_launch(2673, 168, 16, 3); },
                                                   internal);
  // 3 that does not divide the bundles halves to 1.
  EXPECT_EQ(sub_group_launch(2689, 168, 16, 3).groups, 1);
}

// ---- conjugated values in the sub-group and merge kernels -----------------------------------

template <typename T, typename I>
std::vector<T> conjugated_reference(const csr_matrix<T, I>& A, T alpha, const std::vector<T>& x,
                                    T beta, const std::vector<T>& y) {
  std::vector<T> out(y.size());
  for (std::int64_t r = 0; r < A.nrows; ++r) {
    T sum = T(0);
    for (I j = A.row_ptr[r] - A.base; j < A.row_ptr[r + 1] - A.base; ++j)
      sum += std::conj(A.values[j]) * x[A.col_ind[j] - A.base];
    out[r] = alpha * sum + beta * y[r];
  }
  return out;
}

// Calls the launcher of the plan's family directly with conj set, on the structure's arrays.
template <typename T>
void expect_conjugated(const char* profile, const csr_matrix<T, std::int32_t>& A,
                       const forced_plan* plan, const std::string& what) {
  using I = std::int32_t;
  namespace csr = vs::gpu::csr;
  sycl::queue q{hostsycl::emulated_gpu(profile)};
  const auto x = random_vector<T>(A.ncols, 21);
  const auto y0 = random_vector<T>(A.nrows, 22);
  const T alpha(1.5, -0.5), beta(-0.25, 0.75);
  const auto n = static_cast<std::size_t>(A.nrows);
  std::vector<T> got(n, T(std::numeric_limits<vrt_test::real_t<T>>::quiet_NaN()));
  vrt_test::gemv_run_options o;
  o.optimize = plan == nullptr;
  o.planned = [&](vs::matrix_handle* h) {
    vs::sparseStructure* s = h->primary;
    if (plan != nullptr) {
      if (s->gemv_data == nullptr) vs::initGemvInternalData(&s->gemv_data);
      vs::cache_gemv_internals(q, s->gemv_data);
      s->gemv_data->kernel_kind = vs::gemv_kind{plan->kind};
      s->gemv_data->group_param = plan->group;
      s->gemv_data->vector_param = plan->vector;
    }
    vrt_test::device_array<T> dx(q, x, memory::device);
    vrt_test::device_array<T> dy(q, y0, memory::device);
    const csr::gemv_operands<T, I, vs::container_usm> op{
        vs::as_container<vs::container_usm, I>(s->row_ptr),
        vs::as_container<vs::container_usm, I>(s->col_ind),
        vs::as_container<vs::container_usm, T>(s->values),
        dx.usm(),
        dy.usm(),
        s->nrows,
        static_cast<I>(A.base),
        alpha,
        beta,
        true};
    const vs::gemvInternalData& p = *s->gemv_data;
    if (plan == nullptr) {
      EXPECT_EQ(p.kernel_kind, vs::gemv_kind::merge) << what;
    }
    // Launchers exist only for the value types built.
    if constexpr (vs::value_type_built<T>) {
      if (p.kernel_kind == vs::gemv_kind::merge)
        csr::gemv_merge_based_subgroup<T, I, vs::container_usm>(q, p, op, {}).wait();
      else if (p.kernel_kind == vs::gemv_kind::subgroup)
        csr::gemv_with_subgroup<T, I, vs::container_usm>(q, p, op, {}).wait();
      else
        ADD_FAILURE() << what << ": plan of kind " << vs::kind_code(p.kernel_kind);
    }
    got = dy.read(n);
  };
  vrt_test::run_gemv_with(q, A, alpha, x, beta, y0, o);
  vrt_test::expect_close(got, conjugated_reference(A, alpha, x, beta, y0),
                         vrt_test::error_scale(A, vrt::transpose::nontrans, alpha, x, beta, y0),
                         what + " on " + profile);
}

template <typename T>
void check_conjugation() {
  if (!vs::value_type_built<T>) GTEST_SKIP() << "value type left out of this build";
  using I = std::int32_t;
  // Rows shorter and longer than both widths: full steps and tails.
  const auto rows = vrt_test::shaped_csr<T, I>(mixed_lengths(1), 211, 31, 1);
  for (const forced_plan plan : {forced_plan{3, 8, 16}, forced_plan{3, 4, 32}})
    expect_conjugated<T>(
        "emu-a6", rows, &plan,
        "sub-group " + std::to_string(plan.group) + "x" + std::to_string(plan.vector));
  // Bundles: 2673 rows on emu-a1.
  std::vector<std::int64_t> lengths(2673);
  for (std::size_t r = 0; r < lengths.size(); ++r) lengths[r] = static_cast<std::int64_t>(r % 21);
  const forced_plan bundles{3, 8, 16};
  expect_conjugated<T>("emu-a1", vrt_test::shaped_csr<T, I>(lengths, 101, 32), &bundles,
                       "row bundles");
  // The merge path, planned by optimize_gemv on code 6.
  expect_conjugated<T>("emu-a6", spread_matrix<T, I>(0, 2000), nullptr, "merge path");
}

TEST(GemvFamilyConjugation, ComplexFloat) { check_conjugation<std::complex<float>>(); }
TEST(GemvFamilyConjugation, ComplexDouble) { check_conjugation<std::complex<double>>(); }

}  // namespace
