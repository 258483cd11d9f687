// optimize_gemv on emulated GPUs: the plan it writes for matrices on both sides of every edge of
// its tables, on every architecture code and for the four precisions, read back from the plan
// record; the merge path's partition; refusals, allocation failures and repeated calls.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <hostsycl/hostsycl.hpp>
#include <limits>
#include <numeric>
#include <string>
#include <vector>

#include "gpu/mv/csc/csc_gemv_plan.hpp"
#include "gpu/mv/csr/optimize_gemv_plan.hpp"
#include "gpu/mv/optimize_gemv_entry.hpp"
#include "handle/gemv_data.hpp"
#include "handle/handle.hpp"
#include "platform/testing_hooks.hpp"
#include "support/gemv_runner.hpp"
#include "support/shaped_matrices.hpp"
#include "support/test_helpers.hpp"

namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;
using vrt_test::csr_matrix;
using vrt_test::memory;

namespace {

using S = float;
using D = double;
using C = std::complex<float>;
using Z = std::complex<double>;

struct plan_triple {
  int kind, group, vector;
  bool operator==(const plan_triple&) const = default;
};
std::ostream& operator<<(std::ostream& os, const plan_triple& p) {
  return os << "(" << p.kind << ", " << p.group << ", " << p.vector << ")";
}
plan_triple triple_of(const vs::gemvInternalData* p) {
  return {vs::kind_code(p->kernel_kind), p->group_param, p->vector_param};
}

template <typename T>
constexpr bool single_v = std::is_same_v<T, S> || std::is_same_v<T, C>;
template <typename T>
constexpr bool complex_v = std::is_same_v<T, C> || std::is_same_v<T, Z>;

// The plan table, written out: what optimize_gemv stores for a matrix whose rows are all as
// long as `avg_ceil` (no merge path: the lengths don't spread) on a small matrix (no cache
// overflow).
template <typename T>
plan_triple expected_table_plan(int code, std::int64_t avg_ceil) {
  switch (code) {
    case 1:
      return {1, 256, single_v<T> ? 8 : 4};
    case 3:
    case 4:
      return avg_ceil < 13 ? plan_triple{1, 64, 4} : plan_triple{3, 8, 16};
    case 5:
      return {1, 4, single_v<T> ? 16 : 4};
    case 6:
      if (avg_ceil <= 4) return {1, 256, 4};
      if (avg_ceil <= 8) return {1, 256, 8};
      if (avg_ceil <= 16) return {1, 256, 16};
      return {3, 8, 32};
    default:
      return {1, 256, 16};
  }
}

// What a product makes of it: complex values have no sycl::vec or explicit-SIMD kernels.
template <typename T>
plan_triple after_product(plan_triple p, int code) {
  if (!complex_v<T>) return p;
  if (p.kind == 1) return {2, p.group, p.vector / 2};
  if (p.kind == 4 || p.kind == -1)
    return (code | 4) == 5 ? plan_triple{-1, p.group, p.vector} : plan_triple{3, 8, 16};
  return p;
}

struct profile_case {
  const char* name;
  int code;
};
constexpr profile_case all_profiles[] = {{"emu-a0", 0}, {"emu-a1", 1},       {"emu-a2", 2},
                                         {"emu-a3", 3}, {"emu-a4", 4},       {"emu-a5", 5},
                                         {"emu-a6", 6}, {"emu-a1-nofp64", 1}};

// Where beta is zero every entry must be written: NaN where it is not.
std::vector<D> unwritten(std::size_t n) {
  return std::vector<D>(n, std::numeric_limits<D>::quiet_NaN());
}

bool runs_on(const char* profile) {
  return hostsycl::emulated_gpu(profile).has(sycl::aspect::fp64);
}

template <typename T, typename I>
void expect_plan_for(const profile_case& profile, const csr_matrix<T, I>& A, plan_triple planned,
                     memory model, const std::string& what) {
  if (!vs::value_type_built<T>) GTEST_SKIP() << "value type left out of this build";
  sycl::queue q{hostsycl::emulated_gpu(profile.name)};
  const std::vector<T> x(static_cast<std::size_t>(A.ncols), T(1));
  const auto want = vrt_test::reference_gemv(A, vrt::transpose::nontrans, T(1), x, T(0),
                                             std::vector<T>(A.nrows, T(0)));
  vrt_test::gemv_run_options o;
  o.model = model;
  o.optimize = true;
  o.planned = [&](vs::matrix_handle* h) {
    const vs::gemvInternalData* plan = h->primary->gemv_data;
    ASSERT_NE(plan, nullptr);
    EXPECT_TRUE(plan->cached);
    EXPECT_TRUE(plan->optimized);
    EXPECT_EQ(triple_of(plan), planned) << what << " on " << profile.name;
  };
  o.done = [&](vs::matrix_handle* h) {
    EXPECT_EQ(triple_of(h->primary->gemv_data), after_product<T>(planned, profile.code))
        << what << " on " << profile.name << " after the product";
  };
  const auto got = vrt_test::run_gemv_with(q, A, T(1), x, T(0), std::vector<T>(A.nrows, T(-1)), o);
  vrt_test::expect_close(got, want,
                         vrt_test::error_scale(A, vrt::transpose::nontrans, T(1), x, T(0),
                                               std::vector<T>(A.nrows, T(0))),
                         what + " on " + profile.name);
}

// Every edge of the mean-row-length tables, every profile, four precisions.
template <typename T>
void check_row_length_edges() {
  for (std::int64_t avg : {4, 5, 8, 9, 12, 13, 16, 17}) {
    const auto A = vrt_test::uniform_csr<T, std::int32_t>(40, avg, 61, 3);
    for (const auto& profile : all_profiles) {
      if (!runs_on(profile.name) && !single_v<T>) continue;
      expect_plan_for(profile, A, expected_table_plan<T>(profile.code, avg), memory::device,
                      "avg_ceil " + std::to_string(avg));
    }
  }
}

TEST(OptimizeGemvTable, RowLengthEdgesFloat) { check_row_length_edges<S>(); }
TEST(OptimizeGemvTable, RowLengthEdgesDouble) { check_row_length_edges<D>(); }
TEST(OptimizeGemvTable, RowLengthEdgesComplexFloat) { check_row_length_edges<C>(); }
TEST(OptimizeGemvTable, RowLengthEdgesComplexDouble) { check_row_length_edges<Z>(); }

// The mean is rounded up: 4 rows of 4 and one of 5 make avg_ceil 5.
TEST(OptimizeGemvTable, MeanRowLengthIsRoundedUp) {
  const auto A = vrt_test::shaped_csr<D, std::int64_t>({4, 4, 4, 4, 5}, 61, 4);
  expect_plan_for<D>({"emu-a6", 6}, A, {1, 256, 8}, memory::buffer, "ceil(21 / 5)");
  const auto B = vrt_test::shaped_csr<D, std::int64_t>({12, 12, 12, 13}, 61, 4);
  expect_plan_for<D>({"emu-a3", 3}, B, {3, 8, 16}, memory::buffer, "ceil(49 / 4)");
}

// Statistics of the analysis kernel: float mean and float sum of squares.
TEST(OptimizeGemvStatistics, RecordedInThePlan) {
  const auto A = vrt_test::shaped_csr<D, std::int32_t>({0, 2, 4, 10}, 100, 5, 1);
  sycl::queue q{hostsycl::emulated_gpu("emu-a2")};
  for (memory m : {memory::device, memory::buffer}) {
    vrt_test::gemv_run_options o;
    o.model = m;
    o.optimize = true;
    o.planned = [&](vs::matrix_handle* h) {
      const vs::gemvInternalData* p = h->primary->gemv_data;
      EXPECT_EQ(p->max_row_nnz, 10);
      EXPECT_EQ(p->min_row_nnz, 0);
      EXPECT_EQ(p->avg_row_nnz, 4.0);
      // deviations -4, -2, 0, 6: squares 56, over 4 rows
      EXPECT_DOUBLE_EQ(p->row_nnz_stddev, std::sqrt(14.0));
      EXPECT_DOUBLE_EQ(p->row_spread_ratio, 0.1);
      EXPECT_DOUBLE_EQ(p->density, 16.0 / 400.0);
      EXPECT_EQ(p->num_partitions, 0);
    };
    vrt_test::run_gemv_with(q, A, D(1), std::vector<D>(100, D(1)), D(0), std::vector<D>(4), o);
  }
}

// Code 6: one long row among short ones spreads the lengths in absolute, relative and column
// terms, so the merge path is planned; each test on its own declines it.
TEST(OptimizeGemvMergeChoice, EachConditionDeclinesOnItsOwn) {
  const profile_case a6{"emu-a6", 6};
  auto with_long_row = [](std::int64_t rows, std::int64_t len, std::int64_t other,
                          std::int64_t ncols) {
    std::vector<std::int64_t> lengths(static_cast<std::size_t>(rows), other);
    lengths[0] = len;
    return vrt_test::shaped_csr<D, std::int32_t>(lengths, ncols, 6);
  };
  // stddev 15.6 >= 5, relative 8.2 >= 1, spread 0.2 >= 0.01: merge.
  expect_plan_for<D>(a6, with_long_row(100, 200, 0, 1000), {5, 4, 32}, memory::device, "spread");
  // Every row alike: stddev 0.
  expect_plan_for<D>(a6, vrt_test::uniform_csr<D, std::int32_t>(100, 30, 1000, 6), {3, 8, 32},
                     memory::device, "uniform");
  // One row holds all entries, but ncols makes the spread 900 / 100003 < 1%.
  expect_plan_for<D>(a6, with_long_row(10, 900, 0, 100003), {3, 8, 32}, memory::device,
                     "narrow spread");
  // stddev just under 5: lengths 0 and 10 alternate... 5 exactly passes, 4.5 does not.
  {
    std::vector<std::int64_t> l(100);
    for (std::size_t i = 0; i < l.size(); ++i) l[i] = i % 2 ? 10 : 0;  // stddev 5, mean 5
    expect_plan_for<D>(a6, vrt_test::shaped_csr<D, std::int32_t>(l, 1000, 7), {5, 4, 32},
                       memory::device, "stddev 5, relative 1");
    for (std::size_t i = 0; i < l.size(); ++i) l[i] = i % 2 ? 9 : 0;  // stddev 4.5
    expect_plan_for<D>(a6, vrt_test::shaped_csr<D, std::int32_t>(l, 1000, 7), {1, 256, 8},
                       memory::device, "stddev 4.5");
    // stddev 5 but a mean of 15: relative 1/3.
    for (std::size_t i = 0; i < l.size(); ++i) l[i] = i % 2 ? 20 : 10;
    expect_plan_for<D>(a6, vrt_test::shaped_csr<D, std::int32_t>(l, 1000, 7), {1, 256, 16},
                       memory::device, "relative 1/3");
  }
  // Spread at exactly 1% of the columns takes it; one column more declines. Lengths 0 and 20
  // alternate: stddev 10, mean 10, spread 20 / 2000.
  {
    std::vector<std::int64_t> l(100);
    for (std::size_t i = 0; i < l.size(); ++i) l[i] = i % 2 ? 20 : 0;
    expect_plan_for<D>(a6, vrt_test::shaped_csr<D, std::int32_t>(l, 2000, 7), {5, 4, 32},
                       memory::device, "spread 0.01");
    expect_plan_for<D>(a6, vrt_test::shaped_csr<D, std::int32_t>(l, 2001, 7), {1, 256, 16},
                       memory::device, "spread 20 / 2001");
  }
  // Other codes never take it.
  for (const auto& profile : all_profiles) {
    if (profile.code == 6 || !runs_on(profile.name)) continue;
    expect_plan_for<D>(profile, with_long_row(100, 200, 0, 1000),
                       expected_table_plan<D>(profile.code, 2), memory::device, "spread");
  }
}

// Complex on code 6 with the merge path keeps it; a complex explicit-SIMD plan is rewritten.
TEST(OptimizeGemvMergeChoice, AllPrecisionsTakeTheMergePath) {
  std::vector<std::int64_t> lengths(300, 1);
  lengths[5] = 400;
  const profile_case a6{"emu-a6", 6};
  expect_plan_for<S>(a6, vrt_test::shaped_csr<S, std::int32_t>(lengths, 1009, 8), {5, 4, 32},
                     memory::device, "merge float");
  expect_plan_for<C>(a6, vrt_test::shaped_csr<C, std::int64_t>(lengths, 1009, 8), {5, 4, 32},
                     memory::buffer, "merge complex float");
  expect_plan_for<Z>(a6, vrt_test::shaped_csr<Z, std::int32_t>(lengths, 1009, 8, 1), {5, 4, 32},
                     memory::host, "merge complex double");
}

// ---- the arithmetic of the tables ------------------------------------------------------------

TEST(OptimizeGemvArithmetic, Fits32BitBoundsByVariant) {
  using vs::gpu::csr::fits_32bit;
  using I4 = std::int32_t;
  using I8 = std::int64_t;
  auto check = [](auto fits, std::int64_t rows, std::int64_t nnz, std::int64_t cols) {
    EXPECT_TRUE(fits(rows, nnz, cols));
    EXPECT_FALSE(fits(rows + 1, nnz, cols));
    EXPECT_FALSE(fits(rows, nnz + 1, cols));
    EXPECT_FALSE(fits(rows, nnz, cols + 1));
  };
  check(fits_32bit<S, I4>, 1073741757, 1073741758, 1073741758);
  check(fits_32bit<S, I8>, 536870845, 536870846, 1073741758);
  check(fits_32bit<D, I4>, 536870845, 536870846, 536870846);
  check(fits_32bit<D, I8>, 536870845, 536870846, 536870846);
  check(fits_32bit<C, I4>, 536870845, 536870846, 536870846);
  check(fits_32bit<C, I8>, 536870845, 536870846, 536870846);
  check(fits_32bit<Z, I4>, 268435389, 268435390, 268435390);
  check(fits_32bit<Z, I8>, 268435389, 268435390, 268435390);
}

TEST(OptimizeGemvArithmetic, ExceedsCacheWithThe32BitProduct) {
  using vs::gpu::csr::exceeds_cache;
  // Two tiles: 1.02 * 402653184 = 410706247.68 bytes. double, i4, nrows = ncols = 1:
  // (nnz + 1) * 4 + 4 + (nnz + 2) * 8 = 12 nnz + 24 bytes.
  const double limit = 1.02 * 402653184.0;
  const auto nnz_at = static_cast<std::int64_t>((limit - 24.0) / 12.0);
  EXPECT_FALSE((exceeds_cache<D, std::int32_t>(1, nnz_at, 1, 2)));
  EXPECT_TRUE((exceeds_cache<D, std::int32_t>(1, nnz_at + 1, 1, 2)));
  // 11 tiles: 11 * 3 * 2^26 wraps to a negative 32-bit value, so anything exceeds it.
  EXPECT_TRUE((exceeds_cache<S, std::int32_t>(1, 1, 1, 11)));
  // 10 tiles still fit in 31 bits.
  EXPECT_FALSE((exceeds_cache<S, std::int32_t>(1, 1, 1, 10)));
}

TEST(OptimizeGemvArithmetic, MergePartitionCount) {
  using vs::gpu::csr::merge_partitions;
  // T = 3584 on code 6.
  EXPECT_EQ(merge_partitions(100, 5000, 3584), 3584) << "raised to T";
  EXPECT_EQ(merge_partitions(200000, 200000 * 40, 3584), 32 * 3584) << "capped at 32 T";
  // nrows between T and 32 T: limit is nrows rounded down to T's multiple.
  EXPECT_EQ(merge_partitions(3584 * 5 + 17, 10'000'000, 3584), 3584 * 5);
  // ceil(nnz / 32) below the limit, rounded down to a multiple of 4.
  EXPECT_EQ(merge_partitions(3584 * 5, 32 * 10000 + 1, 3584), 10000);
  EXPECT_EQ(merge_partitions(3584 * 5, 32 * 10002 + 1, 3584), 10000);
  EXPECT_EQ(merge_partitions(3584 * 5, 32 * 4000, 3584), 4000);
  EXPECT_EQ(merge_partitions(3584 * 5, 32 * 3000, 3584), 3584) << "below T: raised";
}

TEST(OptimizeGemvArithmetic, Code6LongRowsGoToExplicitSimdOnlyWhenTheCacheOverflows) {
  using namespace vs::gpu::csr;
  const gemv_device_facts two_tiles{6, 2, 3584};
  const auto sizes = vs::gpu::sub_group_offer::of_sizes({16, 32});
  // avg_ceil 17 on a matrix too big for the cache and within 32-bit offsets.
  const gemv_matrix_facts big{10'000'000, 10'000'000, 170'000'000, 17.0, 0.0, 0.0};
  const auto esimd = choose_optimized_plan<D, std::int32_t>(big, two_tiles, sizes);
  EXPECT_FALSE(esimd.merge);
  EXPECT_EQ(vs::kind_code(esimd.preset.kernel_kind), 4);
  EXPECT_EQ(esimd.preset.group_param, 8);
  EXPECT_EQ(esimd.preset.vector_param, 32);
  // Too many rows for 32-bit offsets of z: the sub-group kernels.
  const gemv_matrix_facts huge{300'000'000, 10, 300'000'000 * 17LL, 17.0, 0.0, 0.0};
  EXPECT_EQ(vs::kind_code(
                choose_optimized_plan<Z, std::int64_t>(huge, two_tiles, sizes).preset.kernel_kind),
            3);
  // The same matrix on one tile of a smaller device with 16 long rows stays on sycl::vec.
  const gemv_matrix_facts sixteen{10'000'000, 10'000'000, 160'000'000, 16.0, 0.0, 0.0};
  EXPECT_EQ(
      vs::kind_code(
          choose_optimized_plan<D, std::int32_t>(sixteen, two_tiles, sizes).preset.kernel_kind),
      1);
}

// Code 6 with rows of 17: the explicit-SIMD plan once the matrix overflows the cache. Eleven
// tiles make the 32-bit capacity wrap negative, so this small matrix overflows it; ten do not.
template <typename T>
void check_explicit_simd_edge() {
  if (!vs::value_type_built<T>) GTEST_SKIP() << "value type left out of this build";
  using I = std::int32_t;
  const auto A = vrt_test::uniform_csr<T, I>(40, 17, 61, 3);
  sycl::queue q{hostsycl::emulated_gpu("emu-a6")};
  const std::vector<T> x(61, T(1));
  for (const std::int32_t tiles : {11, 10}) {
    const plan_triple planned = tiles == 11 ? plan_triple{4, 8, 32} : plan_triple{3, 8, 32};
    vrt_test::gemv_run_options o;
    o.optimize = true;
    o.planned = [&](vs::matrix_handle* h) {
      // A fresh record whose device claims the tiles, then optimize_gemv again.
      vs::sparseStructure* s = h->primary;
      const sycl::context context = q.get_context();
      vs::gemvInternalDataRelease<T, I, vs::container_usm>(&s->gemv_data, &context);
      vs::initGemvInternalData(&s->gemv_data);
      vs::cache_gemv_internals(q, s->gemv_data);
      s->gemv_data->device_data->tile_count = tiles;
      vs::optimize_gemv(q, vrt::transpose::nontrans, h).wait();
      EXPECT_TRUE(s->gemv_data->optimized);
      EXPECT_EQ(triple_of(s->gemv_data), planned) << tiles << " tiles";
    };
    o.done = [&](vs::matrix_handle* h) {
      EXPECT_EQ(triple_of(h->primary->gemv_data), after_product<T>(planned, 6))
          << tiles << " tiles, after the product";
    };
    const auto got = vrt_test::run_gemv_with(q, A, T(1), x, T(0), std::vector<T>(40, T(-1)), o);
    const std::vector<T> zeros(40, T(0));
    vrt_test::expect_close(
        got, vrt_test::reference_gemv(A, vrt::transpose::nontrans, T(1), x, T(0), zeros),
        vrt_test::error_scale(A, vrt::transpose::nontrans, T(1), x, T(0), zeros),
        std::to_string(tiles) + " tiles");
  }
}

TEST(OptimizeGemvTable, ExplicitSimdEdgeFloat) { check_explicit_simd_edge<S>(); }
TEST(OptimizeGemvTable, ExplicitSimdEdgeDouble) { check_explicit_simd_edge<D>(); }
TEST(OptimizeGemvTable, ExplicitSimdEdgeComplexFloat) { check_explicit_simd_edge<C>(); }
TEST(OptimizeGemvTable, ExplicitSimdEdgeComplexDouble) { check_explicit_simd_edge<Z>(); }

// ---- sequence, structures, failures -----------------------------------------------------------

TEST(OptimizeGemvSequence, SecondCallChangesNothing) {
  const auto A = vrt_test::uniform_csr<D, std::int32_t>(50, 20, 61, 9);
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  vrt_test::gemv_run_options o;
  o.optimize = true;
  o.planned = [&](vs::matrix_handle* h) {
    vs::gemvInternalData* p = h->primary->gemv_data;
    EXPECT_EQ(triple_of(p), (plan_triple{3, 8, 16}));
    p->group_param = 4;  // a mark the second call must leave
    p->max_row_nnz = -5;
    vs::optimize_gemv(q, vrt::transpose::nontrans, h, {}).wait();
    EXPECT_EQ(triple_of(p), (plan_triple{3, 4, 16}));
    EXPECT_EQ(p->max_row_nnz, -5);
  };
  vrt_test::run_gemv_with(q, A, 1.0, std::vector<D>(61, 1.0), 0.0, std::vector<D>(50), o);
}

TEST(OptimizeGemvSequence, ReplacesTheFirstUsePlan) {
  const auto A = vrt_test::uniform_csr<D, std::int32_t>(50, 3, 61, 9);
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  vrt_test::gemv_run_options o;
  o.done = [&](vs::matrix_handle* h) {
    const vs::gemvInternalData* p = h->primary->gemv_data;
    EXPECT_EQ(triple_of(p), (plan_triple{3, 8, 16}));
    EXPECT_FALSE(p->optimized);
    vs::optimize_gemv(q, vrt::transpose::nontrans, h, {}).wait();
    EXPECT_EQ(triple_of(p), (plan_triple{1, 64, 4}));
    EXPECT_TRUE(p->optimized);
  };
  vrt_test::run_gemv_with(q, A, 1.0, std::vector<D>(61, 1.0), 0.0, std::vector<D>(50), o);
}

TEST(OptimizeGemvSequence, TransposedOperationPlansTheExplicitTranspose) {
  const auto A = vrt_test::shaped_csr<D, std::int32_t>({30, 0, 2, 5}, 31, 10);
  sycl::queue q{hostsycl::emulated_gpu("emu-a6")};
  vrt_test::gemv_run_options o;
  o.model = memory::host;
  o.op = vrt::transpose::trans;
  o.optimize = true;
  o.planned = [&](vs::matrix_handle* h) {
    ASSERT_NE(h->transposed, nullptr);
    ASSERT_NE(h->transposed->gemv_data, nullptr);
    EXPECT_TRUE(h->transposed->gemv_data->optimized);
    EXPECT_GE(h->transposed->gemv_data->max_row_nnz, 1);  // a column of A holds at most 3
    EXPECT_LE(h->transposed->gemv_data->max_row_nnz, 3);
    EXPECT_TRUE(h->primary->gemv_data == nullptr || !h->primary->gemv_data->optimized);
  };
  const std::vector<D> x(4, 1.0);
  const auto got = vrt_test::run_gemv_with(q, A, 2.0, x, 0.0, unwritten(31), o);
  const auto want =
      vrt_test::reference_gemv(A, vrt::transpose::trans, 2.0, x, 0.0, std::vector<D>(31));
  vrt_test::expect_close(
      got, want, vrt_test::error_scale(A, vrt::transpose::trans, 2.0, x, 0.0, std::vector<D>(31)),
      "A^T");
}

TEST(OptimizeGemvSequence, CooIsMarkedOptimizedWithoutStatistics) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a6")};
  vrt_test::bound_matrix<double, std::int32_t> A(q, 2, 2, 0, {0, 1, 1}, {0, 0, 1}, {1.0, 1.0, 1.0},
                                                 memory::shared, vrt_test::storage::coo);
  A.wait();
  vs::matrix_handle* h = A.handle();
  vs::optimize_gemv(q, vrt::transpose::nontrans, h, {}).wait();
  const vs::gemvInternalData* p = h->primary->gemv_data;
  ASSERT_NE(p, nullptr);
  EXPECT_TRUE(p->optimized);
  EXPECT_TRUE(p->cached);
  EXPECT_EQ(p->max_row_nnz, 0);
  EXPECT_EQ(p->row_nnz_stddev, 0.0);
  EXPECT_EQ(triple_of(p), (plan_triple{1, 256, 16}));
}

TEST(OptimizeGemvFailures, UnboundMatrixAndSharedAllocationFailure) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a6")};
  vs::matrix_handle* h = nullptr;
  vs::init_matrix_handle(&h);
  // An unbound handle reads as single precision.
  if (vs::value_type_built<float>)
    vrt_test::expect_message<vrt::uninitialized>(
        [&] { vs::optimize_gemv(q, vrt::transpose::nontrans, h, {}); },
        "orvane::vrt::sparse::optimize_gemv: uninitialized object: Matrix is not initialized");
  vs::release_matrix_handle(q, &h).wait();

  const auto A = vrt_test::uniform_csr<D, std::int32_t>(8, 2, 11, 1);
  vrt_test::gemv_run_options o;
  o.planned = [&](vs::matrix_handle* handle) {
    // The first shared container: its shared request and the host fall-back both fail.
    hostsycl::fail_next_allocations(2);
    vrt_test::expect_message<vrt::device_bad_alloc>(
        [&] { vs::optimize_gemv(q, vrt::transpose::nontrans, handle, {}).wait(); },
        "orvane::vrt::sparse::optimize_gemv: cannot allocate memory on " +
            q.get_device().get_info<sycl::info::device::name>());
    hostsycl::fail_next_allocations(0);
    // optimized stays set: a retry plans nothing, gemv runs on the plan as it stands.
    EXPECT_TRUE(handle->primary->gemv_data->optimized);
    EXPECT_EQ(triple_of(handle->primary->gemv_data), (plan_triple{1, 256, 16}));
  };
  const std::vector<D> x(11, 1.0);
  const auto got = vrt_test::run_gemv_with(q, A, 1.0, x, 0.0, unwritten(8), o);
  const auto want =
      vrt_test::reference_gemv(A, vrt::transpose::nontrans, 1.0, x, 0.0, std::vector<D>(8));
  vrt_test::expect_close(
      got, want, vrt_test::error_scale(A, vrt::transpose::nontrans, 1.0, x, 0.0, std::vector<D>(8)),
      "after the failure");
}

// A matrix without rows has no statistics to take; the cached plan stands and gemv runs.
TEST(OptimizeGemvFailures, NoRowsKeepTheCachedPlan) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a6")};
  csr_matrix<D, std::int32_t> A;
  A.ncols = 5;
  A.row_ptr = {0};
  for (memory m : {memory::device, memory::buffer}) {
    vrt_test::gemv_run_options o;
    o.model = m;
    o.optimize = true;
    o.planned = [&](vs::matrix_handle* h) {
      EXPECT_TRUE(h->primary->gemv_data->optimized);
      EXPECT_EQ(triple_of(h->primary->gemv_data), (plan_triple{1, 256, 16}));
    };
    EXPECT_TRUE(vrt_test::run_gemv_with(q, A, 1.0, std::vector<D>(5, 1.0), 0.0, {}, o).empty());
  }
}

// When a partition array can't be had, the plan falls to the table without the merge path and
// nothing stays allocated.
TEST(OptimizeGemvFailures, MergeArraysFallBackToTheRowPlan) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a6")};
  std::vector<std::int64_t> lengths(100, 0);
  lengths[0] = 200;
  const auto A = vrt_test::shaped_csr<D, std::int32_t>(lengths, 1009, 2);
  vrt_test::gemv_run_options o;
  o.planned = [&](vs::matrix_handle* h) {
    vs::sparseStructure* s = h->primary;
    vs::gemvInternalData* p = s->gemv_data;
    // Undo the merge plan as a fresh record would hold it, then store the merge choice again
    // while the first array's request and its fall-back fail.
    const sycl::context context = q.get_context();
    vs::gemvInternalDataRelease<D, std::int32_t, vs::container_usm>(&s->gemv_data, &context);
    vs::initGemvInternalData(&s->gemv_data);
    vs::cache_gemv_internals(q, s->gemv_data);
    const auto before = hostsycl::live_allocation_bytes(q.get_device());
    vs::gpu::csr::gemv_choice choice{vs::gpu::csr::opt_code_6_subgroup, true, 3584};
    std::vector<sycl::event> deps;
    hostsycl::fail_next_allocations(2);
    vs::gpu::detail::store_choice<D, std::int32_t, vs::container_usm>(q, s, choice, deps);
    hostsycl::fail_next_allocations(0);
    EXPECT_TRUE(deps.empty());
    EXPECT_EQ(triple_of(s->gemv_data), (plan_triple{3, 8, 32}));
    EXPECT_EQ(s->gemv_data->partition_rows, nullptr);
    EXPECT_EQ(hostsycl::live_allocation_bytes(q.get_device()), before);
    (void)p;
  };
  o.optimize = true;
  const std::vector<D> x(1009, 1.0);
  const auto got = vrt_test::run_gemv_with(q, A, 1.0, x, 0.0, unwritten(100), o);
  const auto want =
      vrt_test::reference_gemv(A, vrt::transpose::nontrans, 1.0, x, 0.0, std::vector<D>(100));
  vrt_test::expect_close(
      got, want,
      vrt_test::error_scale(A, vrt::transpose::nontrans, 1.0, x, 0.0, std::vector<D>(100)),
      "after the fall-back");
}

// The partition arrays go with the plan only while it names the merge path; a plan rewritten
// since holds arrays that the release leaves alone.
TEST(OptimizeGemvRelease, PartitionArraysAreFreedOnlyWhileTheKindIsTheMergePath) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a6")};
  const sycl::device device = q.get_device();
  std::vector<std::int64_t> lengths(100, 0);
  lengths[0] = 200;
  const auto A = vrt_test::shaped_csr<D, std::int32_t>(lengths, 1009, 2);
  vrt_test::device_array<std::int32_t> rows(q, A.row_ptr, memory::device);
  vrt_test::device_array<std::int32_t> cols(q, A.col_ind, memory::device);
  vrt_test::device_array<D> vals(q, A.values, memory::device);
  for (const bool rewritten : {false, true}) {
    const auto before = hostsycl::live_allocation_bytes(device);
    vs::matrix_handle* h = nullptr;
    vs::init_matrix_handle(&h);
    vs::set_csr_data(q, h, 100, 1009, vrt::index_base::zero, rows.usm(), cols.usm(), vals.usm())
        .wait();
    vs::optimize_gemv(q, vrt::transpose::nontrans, h).wait();
    vs::gemvInternalData* p = h->primary->gemv_data;
    ASSERT_EQ(p->kernel_kind, vs::gemv_kind::merge);
    EXPECT_GT(hostsycl::live_allocation_bytes(device), before);
    void* arrays[] = {p->partition_rows, p->partition_nnz, p->carry_rows, p->carry_values};
    if (rewritten) p->kernel_kind = vs::gemv_kind::subgroup;
    vs::release_matrix_handle(q, &h).wait();
    if (rewritten) {
      EXPECT_GT(hostsycl::live_allocation_bytes(device), before) << "the arrays stay";
      if (hostsycl::live_allocation_bytes(device) > before)
        for (void* a : arrays) sycl::free(a, q);
    }
    EXPECT_EQ(hostsycl::live_allocation_bytes(device), before) << "rewritten " << rewritten;
  }
}

// ---- refusals ----------------------------------------------------------------------------------

TEST(OptimizeGemvRefusals, OnlyCsrAndCooOnGpuDevices) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  vrt_test::bound_matrix<double, std::int32_t> A(q, 2, 2, 0, {0, 1, 2}, {0, 1}, {1.0, 1.0},
                                                 memory::shared);
  A.wait();
  vs::matrix_handle* h = A.handle();
  h->primary->format = 2;  // a format the library does not know
  vrt_test::expect_message<vrt::unimplemented>(
      [&] { vs::optimize_gemv(q, vrt::transpose::nontrans, h).wait(); },
      "orvane::vrt::sparse::optimize_gemv: unimplemented functionality: currently only supports "
      "the CSR and COO matrix formats on GPU devices");
  EXPECT_EQ(h->primary->gemv_data, nullptr) << "no plan is made";
  h->primary->format = 1;
}

TEST(OptimizeGemvRefusals, CachingNeedsARecordNotYetOptimized) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  const std::string internal = "orvane::vrt::sparse::gemv: computation error: internal error";
  vrt_test::expect_message<vrt::computation_error>([&] { vs::cache_gemv_internals(q, nullptr); },
                                                   internal);
  vs::gemvInternalData* data = nullptr;
  vs::initGemvInternalData(&data);
  data->optimized = 1;  // optimized before its device was known
  vrt_test::expect_message<vrt::computation_error>([&] { vs::cache_gemv_internals(q, data); },
                                                   internal);
  EXPECT_FALSE(data->cached);
  data->optimized = 0;
  vs::cache_gemv_internals(q, data);
  EXPECT_TRUE(data->cached);
  EXPECT_EQ(triple_of(data), (plan_triple{1, 256, 16}));
  vs::gemvInternalDataRelease<D, std::int32_t, vs::container_usm>(&data, nullptr);
  EXPECT_EQ(data, nullptr);
}

TEST(OptimizeGemvRefusals, RecordAllocationFailureIsAHostBadAlloc) {
  vs::gemvInternalData* data = nullptr;
  orvane::vrt::testing::fail_next_serv_mallocs(1);
  vrt_test::expect_message<vrt::host_bad_alloc>([&] { vs::initGemvInternalData(&data); },
                                                "orvane::vrt::sparse: cannot allocate memory on "
                                                "host");
  EXPECT_EQ(data, nullptr);
  // Nothing is left failing: the next record is had.
  vs::initGemvInternalData(&data);
  ASSERT_NE(data, nullptr);
  vs::gemvInternalDataRelease<D, std::int32_t, vs::container_usm>(&data, nullptr);
}

// ---- the partition ------------------------------------------------------------------------------

// Reads the partition of a merge plan back to the host.
template <typename I>
std::pair<std::vector<I>, std::vector<I>> partition_of(sycl::queue& q,
                                                       const vs::gemvInternalData* p) {
  std::vector<I> rows(static_cast<std::size_t>(p->num_partitions) + 1);
  std::vector<I> nnz(rows.size());
  q.memcpy(rows.data(), p->partition_rows, rows.size() * sizeof(I)).wait();
  q.memcpy(nnz.data(), p->partition_nnz, nnz.size() * sizeof(I)).wait();
  return {rows, nnz};
}

// The partition by a plain walk of the path: step k (0-based) is a row end when the row's
// entries are used up, else the row's next entry.
template <typename T, typename I>
void expect_partition_matches_walk(const csr_matrix<T, I>& A, const std::vector<I>& rows,
                                   const std::vector<I>& nnz) {
  const std::int64_t P = static_cast<std::int64_t>(rows.size()) - 1;
  const std::int64_t total = A.nnz() + A.nrows;
  const std::int64_t q = total / P, r = total % P;
  std::int64_t row = 0, j = 0, steps = 0;
  ASSERT_EQ(rows[0], 0);
  ASSERT_EQ(nnz[0], 0);
  for (std::int64_t b = 1; b <= P; ++b) {
    const std::int64_t diag = b * q + std::min(b, r);
    while (steps < diag) {
      if (row < A.nrows && j >= A.row_ptr[row + 1] - A.base)
        ++row;  // the row end comes before the next entry
      else
        ++j;
      ++steps;
    }
    ASSERT_EQ(rows[b], row) << "border " << b;
    ASSERT_EQ(nnz[b], j) << "border " << b;
  }
}

TEST(MergePathPartition, MatchesAWalkOfThePath) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a6")};
  // One row holding most entries across several parts, empty rows inside and at the end.
  std::vector<std::int64_t> lengths(4000, 1);
  lengths[10] = 150000;
  for (std::size_t i = 20; i < 40; ++i) lengths[i] = 0;
  for (std::size_t i = 3990; i < 4000; ++i) lengths[i] = 0;
  for (int base : {0, 1}) {
    const auto A = vrt_test::shaped_csr<D, std::int32_t>(lengths, 150001, 12, base);
    vrt_test::gemv_run_options o;
    o.optimize = true;
    o.planned = [&](vs::matrix_handle* h) {
      const vs::gemvInternalData* p = h->primary->gemv_data;
      ASSERT_EQ(vs::kind_code(p->kernel_kind), 5);
      // ceil(153969 / 32) = 4812 parts wanted; 4000 rows limit them to T = 3584.
      EXPECT_EQ(p->num_partitions, 3584);
      const auto [rows, nnz] = partition_of<std::int32_t>(q, p);
      expect_partition_matches_walk(A, rows, nnz);
    };
    vrt_test::run_gemv_with(q, A, 1.0, std::vector<D>(150001, 1.0), 0.0, std::vector<D>(4000), o);
  }
}

TEST(MergePathPartition, TotalSmallerThanPartCount) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a6")};
  std::vector<std::int64_t> lengths(40, 0);
  lengths[3] = 60;
  const auto A = vrt_test::shaped_csr<D, std::int64_t>(lengths, 101, 13);
  vrt_test::gemv_run_options o;
  o.optimize = true;
  o.planned = [&](vs::matrix_handle* h) {
    const vs::gemvInternalData* p = h->primary->gemv_data;
    ASSERT_EQ(vs::kind_code(p->kernel_kind), 5);
    ASSERT_EQ(p->num_partitions, 3584);  // raised to the hardware threads: 100 steps, 3584 parts
    const auto [rows, nnz] = partition_of<std::int64_t>(q, p);
    expect_partition_matches_walk(A, rows, nnz);
    EXPECT_EQ(rows[101], 40);  // q = 0: only the first 100 borders advance
    EXPECT_EQ(rows[3584], 40);
  };
  const std::vector<D> x(101, 1.0);
  const auto got = vrt_test::run_gemv_with(q, A, 1.0, x, 0.0, std::vector<D>(40, -1.0), o);
  const auto want =
      vrt_test::reference_gemv(A, vrt::transpose::nontrans, 1.0, x, 0.0, std::vector<D>(40));
  vrt_test::expect_close(
      got, want,
      vrt_test::error_scale(A, vrt::transpose::nontrans, 1.0, x, 0.0, std::vector<D>(40)),
      "total < P");
}

// ---- plans held to the device's sub-group sizes -------------------------------------------

// A sub-group or merge-path choice whose size the device lacks becomes the generic row plan;
// other choices stand. The complex rewrite to the sub-group plan of codes 3 and 4 falls to the
// default kernel there, and the column scatter runs its default kernel for a sub-group plan it
// cannot run, keeping the plan.
TEST(SubGroupPlans, ChoicesTheDeviceCannotRunBecomeTheGenericPlan) {
  using namespace vs::gpu::csr;
  using vs::gpu::sub_group_offer;
  const auto all = sub_group_offer::of_sizes({8, 16, 32});
  const auto wide = sub_group_offer::of_sizes({16, 32});
  const auto only_32 = sub_group_offer::of_sizes({32});
  const auto only_16 = sub_group_offer::of_sizes({16});
  const auto single = sub_group_offer::of_sizes({1});
  const plan_triple generic{1, 256, 16};
  auto triple = [](const gemv_preset& p) {
    return plan_triple{vs::kind_code(p.kernel_kind), p.group_param, p.vector_param};
  };
  // First use: codes 3 and 4 plan sub-groups of 16, code 6 of 32.
  for (int code : {3, 4}) {
    EXPECT_EQ(triple(first_use_preset<D>(code, all)), (plan_triple{3, 8, 16}));
    EXPECT_EQ(triple(first_use_preset<D>(code, only_32)), generic) << code;
    EXPECT_EQ(triple(first_use_preset<Z>(code, single)), generic) << code;
  }
  EXPECT_EQ(triple(first_use_preset<S>(6, wide)), (plan_triple{3, 8, 32}));
  EXPECT_EQ(triple(first_use_preset<S>(6, only_16)), generic);
  EXPECT_EQ(triple(first_use_preset<C>(6, single)), generic);
  // Plans without sub-groups do not look at the sizes.
  EXPECT_EQ(triple(first_use_preset<D>(1, single)), (plan_triple{1, 256, 4}));
  EXPECT_EQ(triple(first_use_preset<S>(5, single)), (plan_triple{1, 4, 4}));
  EXPECT_EQ(triple(first_use_preset<D>(0, single)), generic);

  // optimize_gemv: long rows on code 4 (sub-groups of 16), on code 6 (of 32), spread rows on
  // code 6 (merge path of 32), short rows on code 6 (sycl::vec).
  const gemv_device_facts code4{4, 1, 768}, code6{6, 2, 3584};
  const gemv_matrix_facts long_rows{1000, 1000, 20000, 20.0, 0.0, 0.0};
  const gemv_matrix_facts spread{10000, 10000, 80000, 8.0, 40.0, 0.5};
  const gemv_matrix_facts short_rows{1000, 1000, 6000, 6.0, 0.0, 0.0};
  EXPECT_EQ(triple(choose_optimized_plan<D, std::int32_t>(long_rows, code4, all).preset),
            (plan_triple{3, 8, 16}));
  EXPECT_EQ(triple(choose_optimized_plan<D, std::int32_t>(long_rows, code4, only_32).preset),
            generic);
  EXPECT_EQ(triple(choose_optimized_plan<D, std::int32_t>(long_rows, code6, wide).preset),
            (plan_triple{3, 8, 32}));
  EXPECT_EQ(triple(choose_optimized_plan<D, std::int32_t>(long_rows, code6, only_16).preset),
            generic);
  const gemv_choice merged = choose_optimized_plan<D, std::int32_t>(spread, code6, wide);
  EXPECT_TRUE(merged.merge);
  EXPECT_GT(merged.partitions, 0);
  for (const auto& lacking : {only_16, single}) {
    const gemv_choice rows = choose_optimized_plan<D, std::int32_t>(spread, code6, lacking);
    EXPECT_FALSE(rows.merge);
    EXPECT_EQ(rows.partitions, 0);
    EXPECT_EQ(triple(rows.preset), (plan_triple{1, 256, 8}));
  }
  EXPECT_EQ(triple(choose_optimized_plan<D, std::int32_t>(short_rows, code6, single).preset),
            (plan_triple{1, 256, 8}));

  // The complex rewrite of a kind without complex kernels.
  vs::deviceInternalData device{};
  device.architecture = 4;
  vs::gemvInternalData plan{};
  plan.device_data = &device;
  plan.kernel_kind = vs::gemv_kind::esimd;
  EXPECT_EQ(settle_kind<Z>(&plan, all), vs::gemv_kind::subgroup);
  EXPECT_EQ(triple_of(&plan), (plan_triple{3, 8, 16}));
  plan.kernel_kind = vs::gemv_kind::esimd;
  EXPECT_EQ(settle_kind<Z>(&plan, only_32), vs::gemv_kind::default_kernel);
  EXPECT_EQ(vs::kind_code(plan.kernel_kind), -1);

  // The column scatter: sub-groups of 16 where the plan says 16, else 32.
  vs::gemvInternalData scatter{};
  scatter.device_data = &device;
  scatter.kernel_kind = vs::gemv_kind::subgroup;
  scatter.group_param = 8;
  for (std::int32_t size : {16, 32}) {
    scatter.vector_param = size;
    EXPECT_EQ(vs::gpu::csc::settle_kind<D>(&scatter, all), vs::gemv_kind::subgroup);
    const auto other = size == 16 ? only_32 : only_16;
    EXPECT_EQ(vs::gpu::csc::settle_kind<D>(&scatter, other), vs::gemv_kind::default_kernel);
    EXPECT_EQ(vs::gpu::csc::settle_kind<Z>(&scatter, single), vs::gemv_kind::default_kernel);
    EXPECT_EQ(triple_of(&scatter), (plan_triple{3, 8, size})) << "the plan stays";
  }
}

// The device's sizes as the plans read them.
TEST(SubGroupPlans, OfferReadsTheDevice) {
  using vs::gpu::sub_group_offer;
  const auto a6 = sub_group_offer::of(hostsycl::emulated_gpu("emu-a6"));
  EXPECT_FALSE(a6.has(8));
  EXPECT_TRUE(a6.has(16));
  EXPECT_TRUE(a6.has(32));
  const auto narrow = sub_group_offer::of(hostsycl::emulated_gpu("emu-a6-narrow-sub-groups"));
  EXPECT_TRUE(narrow.has(1));
  for (std::int64_t size : {0, 2, 8, 16, 32, 64, -16}) EXPECT_FALSE(narrow.has(size)) << size;
  const auto a3 = sub_group_offer::of(hostsycl::emulated_gpu("emu-a3"));
  for (std::int64_t size : {8, 16, 32}) EXPECT_TRUE(a3.has(size)) << size;
  EXPECT_FALSE(a3.has(24));
  EXPECT_FALSE(a3.has(128));
}

}  // namespace
