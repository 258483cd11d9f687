// trmv on emulated GPUs: the default product on the full rows and the planned product on the
// strict triangle (vector kernel and merge path), against a dense product, for every variant,
// memory model and profile; the plan's choice; the refusals of trmv and optimize_trmv in order.
#include <gtest/gtest.h>

#include <cmath>
#include <hostsycl/hostsycl.hpp>
#include <limits>
#include <string>
#include <vector>

#include "gpu/entry_points.hpp"
#include "gpu/triangular/trmv/trmv_plan.hpp"
#include "handle/gemv_data.hpp"
#include "handle/triangular_data.hpp"
#include "support/test_helpers.hpp"
#include "triangular_support.hpp"

namespace {

namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;
using namespace vrt_test::triangular;
using vrt_test::csr_matrix;
using vrt_test::expect_message;
using vrt_test::nan_value;

template <typename V>
class Trmv : public ::testing::Test {};
TYPED_TEST_SUITE(Trmv, vrt_test::all_variants);

constexpr vrt::uplo both_triangles[] = {vrt::uplo::lower, vrt::uplo::upper};
constexpr vrt::diag both_diags[] = {vrt::diag::nonunit, vrt::diag::unit};
// The GPU profiles by architecture code 0 to 6.
constexpr const char* gpu_profiles[] = {"emu-a0", "emu-a1", "emu-a2", "emu-a3",
                                        "emu-a4", "emu-a5", "emu-a6"};

// What the product should give, and the rounding scale of each row, from a dense copy of the
// triangle: the stored diagonal under nonunit (0 where there is none), 1 under unit.
template <typename T>
struct expected {
  std::vector<T> y;
  std::vector<double> scale;
};

template <typename T, typename I>
expected<T> dense_trmv(const csr_matrix<T, I>& A, bool upper, bool unit, T alpha,
                       const std::vector<T>& x, T beta, const std::vector<T>& y0) {
  const auto n = static_cast<std::size_t>(A.nrows);
  std::vector<T> dense(n * n, T(0));
  for (std::size_t r = 0; r < n; ++r)
    for (auto k = static_cast<std::size_t>(A.row_ptr[r] - A.base);
         k < static_cast<std::size_t>(A.row_ptr[r + 1] - A.base); ++k)
      dense[r * n + static_cast<std::size_t>(A.col_ind[k] - A.base)] += A.values[k];
  expected<T> e{std::vector<T>(n), std::vector<double>(n)};
  for (std::size_t r = 0; r < n; ++r) {
    T sum(0);
    double size = 0;
    for (std::size_t c = 0; c < n; ++c) {
      if (upper ? c < r : c > r) continue;
      const T a = c == r ? (unit ? T(1) : dense[r * n + c]) : dense[r * n + c];
      sum += a * x[c];
      size += std::abs(a) * std::abs(x[c]);
    }
    e.y[r] = beta == T(0) ? alpha * sum : beta * y0[r] + alpha * sum;
    e.scale[r] = static_cast<double>(n + 2) *
                 (std::abs(alpha) * size + (beta == T(0) ? 0.0 : std::abs(beta) * std::abs(y0[r])));
  }
  return e;
}

template <typename T>
void expect_product(const std::vector<T>& got, const expected<T>& want, const std::string& what) {
  const double eps = std::numeric_limits<vrt_test::real_t<T>>::epsilon();
  vrt_test::expect_within(
      got, want.y,
      [&](std::size_t i) {
        return 4.0 * eps * want.scale[i] + std::numeric_limits<vrt_test::real_t<T>>::min();
      },
      what);
}

// A handle over A in one memory model with trmv and optimize_trmv on it.
template <typename T, typename I>
class trmv_matrix : public vrt_test::bound_matrix<T, I> {
 public:
  trmv_matrix(sycl::queue& q, const csr_matrix<T, I>& A, memory m)
      : vrt_test::bound_matrix<T, I>(q, A, m), q_(q), m_(m) {
    this->wait();
  }

  // y = alpha T x + beta y with y starting as y0.
  std::vector<T> trmv(vrt::uplo ul, vrt::diag dg, T alpha, const std::vector<T>& x_in, T beta,
                      const std::vector<T>& y0) {
    vrt_test::device_array<T> x(q_, x_in, m_);
    vrt_test::device_array<T> y(q_, y0, m_);
    this->run(
        [&](vs::matrix_handle* h, auto&& xs, auto&& ys, auto&&... deps) {
          return vs::trmv(q_, ul, vrt::transpose::nontrans, dg, alpha, h, xs, beta, ys, deps...);
        },
        x, y);
    this->wait();
    std::vector<T> out = y.read();
    out.resize(x_in.size());
    return out;
  }

  void optimize(vrt::uplo ul, vrt::diag dg) {
    vs::optimize_trmv(q_, ul, vrt::transpose::nontrans, dg, this->handle(), {}).wait();
  }

  vs::sparseStructure* triangle(vrt::uplo ul) {
    return ul == vrt::uplo::upper ? this->handle()->upper_triangle : this->handle()->lower_triangle;
  }

  // The kind of the triangle's plan; -2 where there is no triangle or plan.
  int kind(vrt::uplo ul) {
    vs::sparseStructure* t = triangle(ul);
    if (t == nullptr || t->gemv_data == nullptr) return -2;
    return static_cast<int>(t->gemv_data->kernel_kind);
  }

 private:
  sycl::queue& q_;
  memory m_;
};

constexpr int vector_kind = static_cast<int>(vs::gemv_kind::syclvec);
constexpr int merge_kind = static_cast<int>(vs::gemv_kind::merge);

// Every triangle and diagonal, with beta 0 on NaN and beta nonzero on values, on the default
// path (no triangle of that side exists yet) and then on the planned one.
template <typename T, typename I>
void check_both_paths(sycl::queue& q, const csr_matrix<T, I>& A, memory m, int planned_kind,
                      const std::string& what) {
  trmv_matrix<T, I> b(q, A, m);
  const auto n = A.nrows;
  const auto x = random_vector<T>(n, 11);
  const auto y0 = random_vector<T>(n, 12);
  const std::vector<T> nans(static_cast<std::size_t>(n), nan_value<T>());
  auto check = [&](vrt::uplo ul, vrt::diag dg, const std::string& path) {
    const bool upper = ul == vrt::uplo::upper, unit = dg == vrt::diag::unit;
    const std::string name = what + " " + name_of(m) + (upper ? " upper" : " lower") +
                             (unit ? " unit " : " nonunit ") + path;
    expect_product(b.trmv(ul, dg, T(1.5), x, T(0), nans),
                   dense_trmv(A, upper, unit, T(1.5), x, T(0), nans), name + " beta 0");
    expect_product(b.trmv(ul, dg, T(-0.5), x, T(2), y0),
                   dense_trmv(A, upper, unit, T(-0.5), x, T(2), y0), name + " beta 2");
  };
  for (vrt::uplo ul : both_triangles) {
    ASSERT_EQ(b.triangle(ul), nullptr);
    for (vrt::diag dg : both_diags) check(ul, dg, "default");
    b.optimize(ul, vrt::diag::nonunit);
    ASSERT_EQ(b.kind(ul), planned_kind) << what << " " << name_of(m);
    for (vrt::diag dg : both_diags) check(ul, dg, "planned");
  }
}

TYPED_TEST(Trmv, BothPathsOnEveryProfileAndMemory) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto A = dominant_matrix<T, I>(200, 6, 42);
  for (const char* profile : gpu_profiles) {
    sycl::queue q{hostsycl::emulated_gpu(profile)};
    for (memory m : all_memories) check_both_paths<T, I>(q, A, m, vector_kind, profile);
  }
}

TYPED_TEST(Trmv, OneBasedUnsortedAndSortedRows) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a4")};
  const auto A = dominant_matrix<T, I>(400, 9, 7, 1);
  for (memory m : {memory::device, memory::buffer}) {
    check_both_paths<T, I>(q, A, m, vector_kind, "unsorted");
    check_both_paths<T, I>(q, sorted_rows(A), m, vector_kind, "sorted");
  }
}

// Rows of very different lengths: most rows hold only their diagonal, a few hold every column of
// their triangle, so each triangle's row lengths spread far beyond the merge-path threshold and
// long rows run over several parts.
template <typename T, typename I>
csr_matrix<T, I> spread_matrix(std::int64_t n, std::int64_t long_every, unsigned seed) {
  std::mt19937 rng(seed);
  csr_matrix<T, I> A;
  A.nrows = A.ncols = n;
  A.row_ptr.push_back(0);
  for (std::int64_t i = 0; i < n; ++i) {
    const bool long_row = i % long_every == long_every / 2;
    for (std::int64_t j = 0; j < n; ++j) {
      const bool mirror_long = (n - 1 - i) % long_every == long_every / 2;
      const bool take = j == i || (j < i && long_row) || (j > i && mirror_long);
      if (!take) continue;
      A.col_ind.push_back(static_cast<I>(j));
      A.values.push_back(j == i ? T(vrt_test::real_t<T>(3)) : vrt_test::random_value<T>(rng));
    }
    A.row_ptr.push_back(static_cast<I>(A.col_ind.size()));
  }
  return A;
}

TYPED_TEST(Trmv, MergePathOnEveryProfileAndMemory) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto A = spread_matrix<T, I>(300, 15, 5);
  for (const char* profile : gpu_profiles) {
    sycl::queue q{hostsycl::emulated_gpu(profile)};
    const int code = profile[5] - '0';
    for (memory m : all_memories) {
      check_both_paths<T, I>(q, A, m, merge_kind, profile);
      trmv_matrix<T, I> b(q, A, m);
      b.optimize(vrt::uplo::upper, vrt::diag::unit);
      const vs::gemvInternalData* plan = b.triangle(vrt::uplo::upper)->gemv_data;
      EXPECT_EQ(plan->group_param, 4);
      EXPECT_EQ(plan->vector_param, code == 6 ? 32 : 16) << profile;
      EXPECT_GE(plan->num_partitions, plan->device_data->hw_thread_count);
      EXPECT_EQ(plan->num_partitions % 4, 0);
    }
  }
}

TYPED_TEST(Trmv, UnitIgnoresTheStoredDiagonalOnAllPaths) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a6")};
  for (memory m : {memory::shared, memory::buffer}) {
    for (bool spread : {false, true}) {
      // A diagonal of 1e3 shows at once if it is added.
      auto A = spread ? spread_matrix<T, I>(200, 13, 3) : dominant_matrix<T, I>(200, 5, 8);
      for (std::int64_t i = 0; i < A.nrows; ++i)
        for (I k = A.row_ptr[i]; k < A.row_ptr[i + 1]; ++k)
          if (A.col_ind[k] == static_cast<I>(i)) A.values[k] = T(vrt_test::real_t<T>(1000));
      trmv_matrix<T, I> b(q, A, m);
      const auto x = random_vector<T>(A.nrows, 4);
      const std::vector<T> nans(static_cast<std::size_t>(A.nrows), nan_value<T>());
      for (vrt::uplo ul : both_triangles) {
        const bool upper = ul == vrt::uplo::upper;
        const auto want = dense_trmv(A, upper, true, T(1), x, T(0), nans);
        expect_product(b.trmv(ul, vrt::diag::unit, T(1), x, T(0), nans), want, "default");
        b.optimize(ul, vrt::diag::unit);
        EXPECT_EQ(b.kind(ul), spread ? merge_kind : vector_kind);
        expect_product(b.trmv(ul, vrt::diag::unit, T(1), x, T(0), nans), want, "planned");
      }
    }
  }
}

TYPED_TEST(Trmv, NonUnitRowWithoutDiagonalAddsNothingOnEitherPath) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a2")};
  const std::int64_t missing = 17;
  const auto A = dominant_matrix<T, I>(40, 5, 21, 0, missing);
  for (memory m : all_memories) {
    trmv_matrix<T, I> b(q, A, m);
    const auto x = random_vector<T>(40, 6);
    const std::vector<T> nans(40, nan_value<T>());
    for (vrt::uplo ul : both_triangles) {
      const auto want = dense_trmv(A, ul == vrt::uplo::upper, false, T(1), x, T(0), nans);
      expect_product(b.trmv(ul, vrt::diag::nonunit, T(1), x, T(0), nans), want, "default");
      // optimize_trmv does not refuse the missing diagonal: the analysis stores 0 for the row.
      b.optimize(ul, vrt::diag::nonunit);
      const vs::diagonalValuesData* d = b.handle()->diag_values;
      ASSERT_NE(d, nullptr);
      const auto diag = vrt_test::read_container<T>(q, d->diag, b.handle()->container, 40);
      EXPECT_EQ(diag[missing], T(0));
      expect_product(b.trmv(ul, vrt::diag::nonunit, T(1), x, T(0), nans), want, "planned");
    }
  }
}

TYPED_TEST(Trmv, EmptyTriangleLeavesTheDiagonalTerm) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a6")};
  csr_matrix<T, I> A;
  A.nrows = A.ncols = 50;
  A.row_ptr.push_back(0);
  for (I i = 0; i < 50; ++i) {
    A.col_ind.push_back(i);
    A.values.push_back(T(vrt_test::real_t<T>(i % 7 + 1)));
    A.row_ptr.push_back(i + 1);
  }
  for (memory m : all_memories) {
    trmv_matrix<T, I> b(q, A, m);
    const auto x = random_vector<T>(50, 2);
    const std::vector<T> nans(50, nan_value<T>());
    for (vrt::uplo ul : both_triangles) {
      b.optimize(ul, vrt::diag::nonunit);
      const vs::sparseStructure* t = b.triangle(ul);
      ASSERT_NE(t, nullptr);
      EXPECT_EQ(t->nnz, 0);
      const vs::gemvInternalData* plan = t->gemv_data;
      EXPECT_EQ(plan->row_nnz_stddev, 0.0);
      EXPECT_EQ(plan->row_spread_ratio, 0.0);
      EXPECT_EQ(plan->avg_row_nnz, 0.0);
      EXPECT_EQ(plan->kernel_kind, vs::gemv_kind::syclvec);
      for (vrt::diag dg : both_diags) {
        const bool unit = dg == vrt::diag::unit;
        std::vector<T> want(50);
        for (std::size_t i = 0; i < 50; ++i) want[i] = T(2) * (unit ? T(1) : A.values[i]) * x[i];
        expect_product(b.trmv(ul, dg, T(2), x, T(0), nans),
                       dense_trmv(A, ul == vrt::uplo::upper, unit, T(2), x, T(0), nans),
                       name_of(m));
        const auto got = b.trmv(ul, dg, T(2), x, T(0), nans);
        for (std::size_t i = 0; i < 50; ++i) EXPECT_EQ(got[i], want[i]) << i;
      }
    }
  }
}

TYPED_TEST(Trmv, NoRowsLeavesYUntouchedOnBothPaths) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a1")};
  csr_matrix<T, I> A;
  A.row_ptr = {0};
  for (memory m : all_memories) {
    trmv_matrix<T, I> b(q, A, m);
    for (vrt::uplo ul : both_triangles)
      for (int planned : {0, 1}) {
        if (planned == 1) b.optimize(ul, vrt::diag::nonunit);
        ASSERT_EQ(b.triangle(ul) != nullptr, planned == 1);
        // The padded element stands for y: nothing may write it.
        const std::vector<T> start{nan_value<T>()};
        vrt_test::device_array<T> x(q, std::vector<T>{T(1)}, m);
        vrt_test::device_array<T> y(q, start, m);
        b.run(
            [&](vs::matrix_handle* h, auto&& xs, auto&& ys, auto&&... deps) {
              return vs::trmv(q, ul, vrt::transpose::nontrans, vrt::diag::nonunit, T(1), h, xs,
                              T(0), ys, deps...);
            },
            x, y);
        b.wait();
        EXPECT_TRUE(is_nan(y.read()[0])) << name_of(m);
      }
  }
}

TEST(TrmvPlan, MergePathRuleDiffersBetweenTheTriangles) {
  using vs::gpu::trmv_row_facts;
  using vs::gpu::trmv_wants_merge_path;
  const trmv_row_facts moderate{3.0, 20.0, 0.01};
  EXPECT_TRUE(trmv_wants_merge_path(vrt::uplo::upper, moderate));
  EXPECT_FALSE(trmv_wants_merge_path(vrt::uplo::lower, moderate));
  for (vrt::uplo ul : both_triangles) {
    EXPECT_TRUE(trmv_wants_merge_path(ul, {1.0, 50.0, 0.0}));
    EXPECT_FALSE(trmv_wants_merge_path(ul, {10.0, 49.99, 0.0}));
    EXPECT_TRUE(trmv_wants_merge_path(ul, {100.0, 0.0, 0.05}));
    EXPECT_FALSE(trmv_wants_merge_path(ul, {100.0, 0.0, 0.0499}));
  }
  // The upper rule's edges: stddev above 10 and above 5 times the mean, both strictly.
  EXPECT_FALSE(trmv_wants_merge_path(vrt::uplo::upper, {1.0, 10.0, 0.0}));
  EXPECT_TRUE(trmv_wants_merge_path(vrt::uplo::upper, {1.0, 10.01, 0.0}));
  EXPECT_FALSE(trmv_wants_merge_path(vrt::uplo::upper, {4.0, 20.0, 0.0}));
  EXPECT_TRUE(trmv_wants_merge_path(vrt::uplo::upper, {3.99, 20.0, 0.0}));
}

TEST(TrmvPlan, PartitionsAndSubGroups) {
  using vs::gpu::trmv_merge_partitions;
  EXPECT_EQ(vs::gpu::trmv_merge_sub_group(6), 32);
  for (int code : {0, 1, 2, 3, 4, 5}) EXPECT_EQ(vs::gpu::trmv_merge_sub_group(code), 16);
  // Many rows: the cap of a sub-group's width of entries per part, rounded down to 4.
  EXPECT_EQ(trmv_merge_partitions(100000, 16 * 1001, 64, 16), 1000);
  // ... never below the hardware threads, nor above threads times the sub-group size.
  EXPECT_EQ(trmv_merge_partitions(100000, 100, 64, 16), 64);
  EXPECT_EQ(trmv_merge_partitions(100000, 10000000, 64, 32), 64 * 32);
  // Fewer rows than that limit: the rows cut down to a multiple of the threads.
  EXPECT_EQ(trmv_merge_partitions(1000, 10000000, 64, 16), 960);
  EXPECT_EQ(trmv_merge_partitions(50, 10000000, 64, 16), 64);
  // The vector plan by rounded-up mean row length.
  EXPECT_EQ(vs::gpu::trmv_vector_preset(4).vector_param, 4);
  EXPECT_EQ(vs::gpu::trmv_vector_preset(5).vector_param, 8);
  EXPECT_EQ(vs::gpu::trmv_vector_preset(8).vector_param, 8);
  EXPECT_EQ(vs::gpu::trmv_vector_preset(9).vector_param, 16);
  EXPECT_EQ(vs::gpu::trmv_vector_preset(9).group_param, 256);
}

// Both triangles with equal row statistics: 90 rows of 136 entries on each side of the diagonal
// among 4080, so a mean of 3, a standard deviation of 20 and a spread of 136 / 4080 columns.
template <typename T, typename I>
csr_matrix<T, I> moderate_spread_matrix() {
  const std::int64_t n = 4080, len = 136, rows = 90;
  csr_matrix<T, I> A;
  A.nrows = A.ncols = n;
  A.row_ptr.push_back(0);
  std::mt19937 rng(9);
  for (std::int64_t i = 0; i < n; ++i) {
    const std::int64_t k = i - len;
    const bool long_row = k >= 0 && k % 42 == 0 && k / 42 < rows;
    for (std::int64_t j = long_row ? i - len : i; j <= (long_row ? i + len : i); ++j) {
      A.col_ind.push_back(static_cast<I>(j));
      A.values.push_back(vrt_test::random_value<T>(rng));
    }
    A.row_ptr.push_back(static_cast<I>(A.col_ind.size()));
  }
  return A;
}

TYPED_TEST(Trmv, UpperTakesMergePathWhereLowerTakesTheVectorKernel) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  const auto A = moderate_spread_matrix<T, I>();
  trmv_matrix<T, I> b(q, A, memory::device);
  const auto x = random_vector<T>(A.nrows, 1);
  const std::vector<T> nans(static_cast<std::size_t>(A.nrows), nan_value<T>());
  for (vrt::uplo ul : both_triangles) {
    const bool upper = ul == vrt::uplo::upper;
    b.optimize(ul, vrt::diag::nonunit);
    const vs::gemvInternalData* plan = b.triangle(ul)->gemv_data;
    EXPECT_NEAR(plan->avg_row_nnz, 3.0, 1e-6);
    EXPECT_NEAR(plan->row_nnz_stddev, 20.0, 0.05);
    EXPECT_LT(plan->row_spread_ratio, 0.05);
    EXPECT_EQ(b.kind(ul), upper ? merge_kind : vector_kind);
    expect_product(b.trmv(ul, vrt::diag::nonunit, T(1), x, T(0), nans),
                   dense_trmv(A, upper, false, T(1), x, T(0), nans), upper ? "upper" : "lower");
  }
}

TYPED_TEST(Trmv, EachTriangleHasItsOwnPlanAndASecondOptimizeKeepsIt) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a5")};
  const auto A = dominant_matrix<T, I>(50, 5, 31);
  for (memory m : {memory::host, memory::buffer}) {
    trmv_matrix<T, I> b(q, A, m);
    b.optimize(vrt::uplo::upper, vrt::diag::nonunit);
    EXPECT_EQ(b.triangle(vrt::uplo::lower), nullptr);
    ASSERT_NE(b.handle()->sorted_copy, nullptr);
    const vs::gemvInternalData* plan = b.triangle(vrt::uplo::upper)->gemv_data;
    b.optimize(vrt::uplo::upper, vrt::diag::unit);
    EXPECT_EQ(b.triangle(vrt::uplo::upper)->gemv_data, plan);
    const auto x = random_vector<T>(50, 3);
    const std::vector<T> nans(50, nan_value<T>());
    // lower has no triangle yet: the default product.
    expect_product(b.trmv(vrt::uplo::lower, vrt::diag::nonunit, T(1), x, T(0), nans),
                   dense_trmv(A, false, false, T(1), x, T(0), nans), name_of(m));
    expect_product(b.trmv(vrt::uplo::upper, vrt::diag::nonunit, T(1), x, T(0), nans),
                   dense_trmv(A, true, false, T(1), x, T(0), nans), name_of(m));
  }
}

// An analysis that fails part way, on the first call or on a rebuild, leaves no triangle that
// looks planned: trmv afterwards still computes the product (on the full rows or on a triangle
// that was completed), whichever allocation failed.
TYPED_TEST(Trmv, AFailedAnalysisLeavesAWorkingProduct) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  const auto A = dominant_matrix<T, I>(40, 5, 77);
  const auto x = random_vector<T>(40, 5);
  const std::vector<T> nans(40, nan_value<T>());
  const auto want = dense_trmv(A, false, false, T(1), x, T(0), nans);
  for (bool rebuild : {false, true}) {
    int failures = 0;
    bool done = false;
    for (std::size_t skip = 0; skip < 64 && !done; ++skip) {
      trmv_matrix<T, I> b(q, A, memory::device);
      if (rebuild) b.optimize(vrt::uplo::lower, vrt::diag::nonunit);
      // Every allocation from the skip-th on fails, so that no fall-back to host memory hides
      // the failure.
      hostsycl::fail_allocations_after(skip, 1000);
      try {
        b.optimize(vrt::uplo::lower, vrt::diag::nonunit);
        done = true;
      } catch (const vrt::device_bad_alloc&) {
        ++failures;
      } catch (const vrt::host_bad_alloc&) {
        ++failures;  // a record of the handle itself
      }
      hostsycl::fail_next_allocations(0);
      const std::string what =
          std::string(rebuild ? "rebuild" : "first") + ", skip " + std::to_string(skip);
      expect_product(b.trmv(vrt::uplo::lower, vrt::diag::nonunit, T(1), x, T(0), nans), want, what);
    }
    EXPECT_TRUE(done) << (rebuild ? "rebuild" : "first");
    EXPECT_GT(failures, 0) << (rebuild ? "rebuild" : "first");
  }
}

// The device entry on h, for the null-structure refusal the public frame cannot reach.
template <typename T, typename I>
void device_trmv(sycl::queue& q, vs::matrix_handle* h, vrt::uplo ul, vrt::diag dg) {
  vs::gpu::trmv_impl<T, I, vs::container_usm>(q, ul, vrt::transpose::nontrans, dg, T(1), h, nullptr,
                                              T(0), nullptr, {});
}

TYPED_TEST(Trmv, RefusalsInOrder) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  const auto A = dominant_matrix<T, I>(8, 3, 2);
  trmv_matrix<T, I> b(q, A, memory::device);
  vs::matrix_handle* h = b.handle();
  vrt_test::device_array<T> x(q, std::vector<T>(8, T(1)), memory::device);
  vrt_test::device_array<T> y(q, std::vector<T>(8, T(0)), memory::device);
  auto call = [&](vrt::uplo ul, vrt::transpose op, vrt::diag dg) {
    vs::trmv(q, ul, op, dg, T(1), h, x.usm(), T(0), y.usm(), {}).wait();
  };
  const std::string p = prefix("trmv");
  const auto bad_uplo = static_cast<vrt::uplo>(2);
  const auto bad_diag = static_cast<vrt::diag>(2);
  const auto trans = vrt::transpose::trans;
  const auto nontrans = vrt::transpose::nontrans;
  // Each case also breaks every later check, so the first one in order must answer.
  h->primary->format = vs::format_coo;
  h->primary->ncols = 9;
  expect_message<vrt::invalid_argument>([&] { call(bad_uplo, trans, bad_diag); },
                                        p + "invalid argument: uplo_flag");
  expect_message<vrt::invalid_argument>([&] { call(static_cast<vrt::uplo>(-1), trans, bad_diag); },
                                        p + "invalid argument: uplo_flag");
  expect_message<vrt::invalid_argument>([&] { call(vrt::uplo::lower, trans, bad_diag); },
                                        p + "invalid argument: diag_flag");
  expect_message<vrt::unimplemented>([&] { call(vrt::uplo::upper, trans, vrt::diag::unit); },
                                     p + "unimplemented functionality: currently only supports the "
                                         "orvane::vrt::transpose::nontrans op");
  expect_message<vrt::unimplemented>(
      [&] { call(vrt::uplo::upper, vrt::transpose::conjtrans, vrt::diag::unit); },
      p + "unimplemented functionality: currently only supports the "
          "orvane::vrt::transpose::nontrans op");
  vs::sparseStructure* primary = h->primary;
  h->primary = nullptr;
  expect_message<vrt::uninitialized>(
      [&] { device_trmv<T, I>(q, h, vrt::uplo::lower, vrt::diag::nonunit); },
      p + "uninitialized object: Matrix is not initialized");
  h->primary = primary;
  expect_message<vrt::unimplemented>(
      [&] { call(vrt::uplo::lower, nontrans, vrt::diag::nonunit); },
      p + "unimplemented functionality: currently only supports the CSR matrix format on GPU "
          "devices");
  h->primary->format = vs::format_csr;
  expect_message<vrt::invalid_argument>(
      [&] { call(vrt::uplo::lower, nontrans, vrt::diag::nonunit); },
      p + "invalid argument: This function only supports square matrices");
  h->primary->ncols = 8;
  call(vrt::uplo::lower, nontrans, vrt::diag::nonunit);
}

TYPED_TEST(Trmv, OptimizeRefusalsInOrder) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a6")};
  const auto A = dominant_matrix<T, I>(8, 3, 2);
  trmv_matrix<T, I> b(q, A, memory::shared);
  vs::matrix_handle* h = b.handle();
  auto call = [&](vrt::uplo ul, vrt::transpose op) {
    vs::optimize_trmv(q, ul, op, vrt::diag::nonunit, h, {}).wait();
  };
  const std::string p = prefix("optimize_trmv");
  h->primary->format = vs::format_coo;
  expect_message<vrt::invalid_argument>(
      [&] { call(static_cast<vrt::uplo>(2), vrt::transpose::trans); },
      p + "invalid argument: uplo_flag");
  expect_message<vrt::unimplemented>([&] { call(vrt::uplo::lower, vrt::transpose::trans); },
                                     p + "unimplemented functionality: currently only supports the "
                                         "orvane::vrt::transpose::nontrans op");
  vs::sparseStructure* primary = h->primary;
  h->primary = nullptr;
  expect_message<vrt::uninitialized>(
      [&] {
        vs::gpu::optimize_trmv_impl<T, I, vs::container_usm>(
            q, vrt::uplo::upper, vrt::transpose::nontrans, vrt::diag::unit, h, {});
      },
      p + "uninitialized object: Matrix is not initialized");
  h->primary = primary;
  expect_message<vrt::unimplemented>([&] { call(vrt::uplo::upper, vrt::transpose::nontrans); },
                                     p + "unimplemented functionality: currently only supports the "
                                         "CSR matrix format on GPU devices");
  h->primary->format = vs::format_csr;
  EXPECT_EQ(h->lower_triangle, nullptr);
  EXPECT_EQ(h->upper_triangle, nullptr);
  call(vrt::uplo::upper, vrt::transpose::nontrans);
  EXPECT_NE(h->upper_triangle, nullptr);
}

TYPED_TEST(Trmv, MergeParametersOffTheGridAreAnInternalError) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a6")};
  const auto A = spread_matrix<T, I>(120, 11, 1);
  trmv_matrix<T, I> b(q, A, memory::device);
  b.optimize(vrt::uplo::lower, vrt::diag::nonunit);
  vs::gemvInternalData* plan = b.triangle(vrt::uplo::lower)->gemv_data;
  ASSERT_EQ(plan->kernel_kind, vs::gemv_kind::merge);
  const auto x = random_vector<T>(A.nrows, 1);
  const std::vector<T> nans(static_cast<std::size_t>(A.nrows), nan_value<T>());
  const std::string message = prefix("merge-path-trmv") + "computation error: internal error";
  const vs::gemvInternalData saved = *plan;
  for (auto [group, sg] :
       {std::pair{2, 32}, std::pair{4, 8}, std::pair{16, 16}, std::pair{8, 64}}) {
    plan->group_param = group;
    plan->vector_param = sg;
    expect_message<vrt::computation_error>(
        [&] { b.trmv(vrt::uplo::lower, vrt::diag::nonunit, T(1), x, T(0), nans); }, message);
  }
  // The grid's other instances: work-groups of 8 sub-groups and sub-groups of 16.
  for (auto [group, sg] : {std::pair{8, 32}, std::pair{8, 16}, std::pair{4, 16}}) {
    plan->group_param = group;
    plan->vector_param = sg;
    expect_product(b.trmv(vrt::uplo::lower, vrt::diag::nonunit, T(1), x, T(0), nans),
                   dense_trmv(A, false, false, T(1), x, T(0), nans),
                   std::to_string(group) + "x" + std::to_string(sg));
  }
  *plan = saved;
}

// ---- devices without the merge path's sub-group size ----------------------------------------

// The facts of emu-a4 (merge path of 16) and emu-a6 (of 32) with sub-groups of 1 only.
constexpr const char* narrow_profiles[] = {"emu-a4-narrow-sub-groups", "emu-a6-narrow-sub-groups"};

// A triangle that takes the merge path on the listed profiles takes the vector kernel here, as
// when the merge arrays cannot be had: no partition is searched, no kernel that demands a
// sub-group size runs, and every product is right.
TYPED_TEST(Trmv, NarrowSubGroupsTakeTheVectorKernel) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto A = spread_matrix<T, I>(300, 15, 5);
  for (const char* profile : narrow_profiles) {
    sycl::queue q{hostsycl::emulated_gpu(profile)};
    for (memory m : all_memories) {
      hostsycl::reset_kernel_counts();
      check_both_paths<T, I>(q, A, m, vector_kind, profile);
      EXPECT_EQ(hostsycl::kernels_submitted("sub_group_kernel"), 0u) << profile << name_of(m);
      EXPECT_EQ(hostsycl::kernels_submitted("find_merge_path"), 0u) << profile << name_of(m);
    }
  }
}

// A merge-path plan the device cannot run (one made for another device of the context) is
// refused as unsupported before any kernel runs.
TYPED_TEST(Trmv, NarrowSubGroupsRefuseAMergePlanTheyDidNotMake) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto A = spread_matrix<T, I>(120, 11, 1);
  for (const char* profile : narrow_profiles) {
    sycl::queue q{hostsycl::emulated_gpu(profile)};
    const std::string message = prefix("trmv") + "unsupported device: " +
                                q.get_device().get_info<sycl::info::device::name>();
    for (memory m : {memory::device, memory::buffer}) {
      trmv_matrix<T, I> b(q, A, m);
      b.optimize(vrt::uplo::lower, vrt::diag::nonunit);
      vs::gemvInternalData* plan = b.triangle(vrt::uplo::lower)->gemv_data;
      ASSERT_EQ(b.kind(vrt::uplo::lower), vector_kind);
      const auto x = random_vector<T>(A.nrows, 1);
      const std::vector<T> nans(static_cast<std::size_t>(A.nrows), nan_value<T>());
      const vs::gemvInternalData saved = *plan;
      for (std::int32_t sg : {16, 32}) {
        plan->kernel_kind = vs::gemv_kind::merge;
        plan->group_param = 4;
        plan->vector_param = sg;
        hostsycl::reset_kernel_counts();
        expect_message<vrt::unsupported_device>(
            [&] { b.trmv(vrt::uplo::lower, vrt::diag::nonunit, T(1), x, T(0), nans); }, message);
        EXPECT_EQ(hostsycl::kernels_submitted(), 0u) << profile << " " << sg;
      }
      *plan = saved;
    }
  }
}

}  // namespace
