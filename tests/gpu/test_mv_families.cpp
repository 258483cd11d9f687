// Transposed gemv by column scatter, gemv on COO matrices, symv from one stored triangle and the
// fused gemvdot on emulated GPUs, through the public routines, against plain references, for the
// sixteen variants and every memory of y.
#include <gtest/gtest.h>

#include <cmath>
#include <hostsycl/hostsycl.hpp>
#include <limits>
#include <type_traits>

#include "gpu/mv/coo/coo_gemv_entry.hpp"
#include "gpu/mv/csc/csc_gemv_entry.hpp"
#include "gpu/mv/gemvdot/gemvdot_entry.hpp"
#include "gpu/mv_runner.hpp"
#include "handle/gemv_data.hpp"
#include "support/test_helpers.hpp"

namespace {

namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;
using vrt_test::csr_matrix;
using vrt_test::memory;
using vrt_test::storage;

using vrt_test::all_memories;
constexpr const char* all_profiles[] = {"emu-a0", "emu-a1", "emu-a2", "emu-a3",
                                        "emu-a4", "emu-a5", "emu-a6"};

using vrt_test::random_vector;

bool row_subgroup_plan(const std::string& profile) {
  return profile == "emu-a3" || profile == "emu-a4" || profile == "emu-a6";
}

// Returns the USM routine's event, or a finished one for the buffer routine.
template <typename X, typename F>
sycl::event event_of(F&& f) {
  if constexpr (std::is_pointer_v<std::decay_t<X>>)
    return f();
  else {
    f();
    return sycl::event{};
  }
}

template <typename T, typename I>
vrt_mv_test::outputs<T> run_gemv(sycl::queue& q, const csr_matrix<T, I>& A, storage s, memory m,
                                 vrt::transpose op, T alpha, const std::vector<T>& x, T beta,
                                 const std::vector<T>& y) {
  return vrt_mv_test::run(q, A, s, m, x, y, T(0),
                          [&](auto* h, auto& xv, auto& yv, auto&, const auto&... deps) {
                            return event_of<decltype(xv)>(
                                [&] { return vs::gemv(q, op, alpha, h, xv, beta, yv, deps...); });
                          });
}

template <typename T, typename I>
void check_gemv(const char* profile, const csr_matrix<T, I>& A, storage s, vrt::transpose op,
                T alpha, T beta, const std::string& what) {
  sycl::queue q{hostsycl::emulated_gpu(profile)};
  const bool transposed = op != vrt::transpose::nontrans;
  const auto x = random_vector<T>(transposed ? A.nrows : A.ncols, 7);
  const auto y0 = random_vector<T>(transposed ? A.ncols : A.nrows, 11);
  const auto want = vrt_test::reference_gemv(A, op, alpha, x, beta, y0);
  const auto scale = vrt_test::error_scale(A, op, alpha, x, beta, y0);
  for (memory m : all_memories) {
    // Host y takes the explicit transpose and the row-wise kernels of the profile's plan; those
    // of codes 3, 4 and 6 are the CSR sub-group family, whose grids run on host memory in
    // test_gemv_families.cpp (SubGroupSingleRowGrid, SubGroupRowBundles, ExplicitSimdGrid).
    if (m == memory::host && s == storage::csr && transposed && row_subgroup_plan(profile))
      continue;
    const auto got = run_gemv(q, A, s, m, op, alpha, x, beta, y0).y;
    vrt_test::expect_close(got, want, scale,
                           what + " op " + std::to_string(static_cast<int>(op)) + " on " + profile +
                               " (" + vrt_test::name_of(m) + ")");
  }
}

template <typename V>
class MvFamilies : public ::testing::Test {};
TYPED_TEST_SUITE(MvFamilies, vrt_test::all_variants);

// Codes 0, 1, 2, 5 plan the vector scatter, 3, 4, 6 the sub-group scatter; complex values
// take the default scatter where the plan names the vector family.
TYPED_TEST(MvFamilies, TransposedCsrByColumnScatter) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto A = vrt_test::random_csr<T, I>(90, 70, 30, 21, 0, 3, 100);
  const auto one_based = vrt_test::random_csr<T, I>(40, 55, 12, 22, 1);
  for (const char* profile : all_profiles)
    for (auto op : {vrt::transpose::trans, vrt::transpose::conjtrans}) {
      check_gemv<T, I>(profile, A, storage::csr, op, T(1.5), T(-0.5), "csc");
      check_gemv<T, I>(profile, one_based, storage::csr, op, T(-2), T(0), "csc one-based");
    }
}

// The first transposed product fixes the structure's plan from the architecture code.
template <typename T>
void expect_csc_plan(const char* profile, int kind, int group, int vector) {
  // A type left out of this build marks the whole test skipped, its other parts still run.
  if (!orvane::vrt::sparse::value_type_built<T>)
    GTEST_SKIP() << "value type left out of this build: " << vrt_test::value_type_name<T>();
  sycl::queue q{hostsycl::emulated_gpu(profile)};
  const auto A = vrt_test::random_csr<T, std::int32_t>(12, 12, 3, 26);
  const std::vector<T> x(12, T(1)), y(12, T(0));
  vs::gemvInternalData plan{};
  vrt_mv_test::run(q, A, storage::csr, memory::device, x, y, T(0),
                   [&](auto* h, auto& xv, auto& yv, auto&, const auto&... deps) {
                     // USM only: the plan is read once the product is submitted.
                     if constexpr (sizeof...(deps) > 0) {
                       auto done =
                           vs::gemv(q, vrt::transpose::trans, T(1), h, xv, T(0), yv, deps...);
                       plan = *h->primary->gemv_data;
                       return done;
                     }
                   });
  EXPECT_TRUE(plan.cached);
  EXPECT_EQ(vs::kind_code(plan.kernel_kind), kind) << profile;
  EXPECT_EQ(plan.group_param, group) << profile;
  EXPECT_EQ(plan.vector_param, vector) << profile;
}

TEST(MvFamiliesCsc, FirstUsePlanByArchitectureCode) {
  expect_csc_plan<float>("emu-a1", 1, 256, 8);
  expect_csc_plan<double>("emu-a1", 1, 256, 4);
  expect_csc_plan<std::complex<float>>("emu-a1", 1, 256, 8);
  expect_csc_plan<std::complex<double>>("emu-a1", 1, 256, 4);
  expect_csc_plan<double>("emu-a3", 3, 8, 16);
  expect_csc_plan<std::complex<float>>("emu-a4", 3, 8, 16);
  expect_csc_plan<float>("emu-a5", 1, 4, 4);
  expect_csc_plan<std::complex<double>>("emu-a5", 1, 4, 16);
  expect_csc_plan<double>("emu-a6", 3, 8, 32);
  expect_csc_plan<float>("emu-a0", 1, 256, 16);
  expect_csc_plan<std::complex<double>>("emu-a2", 1, 256, 16);
}

// A real plan of another kind becomes the default scatter's for good: a merge-path plan that
// once runs a transposed product is lost, and the next row-wise product has no kernel.
TEST(MvFamiliesCsc, OtherKindsBecomeTheDefaultForGood) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a2")};
  const auto A = vrt_test::random_csr<double, std::int32_t>(20, 20, 4, 27);
  // A finite sentinel, written again before the second product so that its result is its own:
  // the column scatter scales y by a zero beta and so keeps a NaN (on purpose).
  const std::vector<double> x(20, 1.0), y(20, -1.0);
  const auto want = vrt_test::reference_gemv(A, vrt::transpose::trans, 1.0, x, 0.0, y);
  std::int32_t kind_after = 0;
  const auto got = vrt_mv_test::run(
      q, A, storage::csr, memory::device, x, y, 0.0,
      [&](auto* h, auto& xv, auto& yv, auto&, const auto&... deps) {
        if constexpr (sizeof...(deps) > 0) {
          vs::gemv(q, vrt::transpose::trans, 1.0, h, xv, 0.0, yv, deps...).wait();
          h->primary->gemv_data->kernel_kind = vs::gemv_kind::merge;
          q.fill(yv, -1.0, y.size()).wait();
          auto done = vs::gemv(q, vrt::transpose::trans, 1.0, h, xv, 0.0, yv, deps...);
          done.wait();
          kind_after = vs::kind_code(h->primary->gemv_data->kernel_kind);
          vrt_test::expect_message<vrt::computation_error>(
              [&] { vs::gemv(q, vrt::transpose::nontrans, 1.0, h, xv, 0.0, yv, deps...); },
              "orvane::vrt::sparse::gemv: computation error: internal error");
          return done;
        }
      });
  EXPECT_EQ(kind_after, vs::kind_code(vs::gemv_kind::default_kernel));
  for (std::size_t i = 0; i < want.size(); ++i) EXPECT_NEAR(got.y[i], want[i], 1e-12);
}

TYPED_TEST(MvFamilies, CooEveryOp) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto A = vrt_test::random_csr<T, I>(60, 45, 14, 23, 0, 2, 60);
  const auto one_based = vrt_test::random_csr<T, I>(35, 50, 9, 24, 1);
  for (const char* profile : {"emu-a0", "emu-a3", "emu-a6"})
    for (auto op : {vrt::transpose::nontrans, vrt::transpose::trans, vrt::transpose::conjtrans}) {
      check_gemv<T, I>(profile, A, storage::coo, op, T(0.75), T(2), "coo");
      check_gemv<T, I>(profile, one_based, storage::coo, op, T(1), T(0), "coo one-based");
    }
}

TYPED_TEST(MvFamilies, NoNonZerosStillScalesY) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto empty = vrt_test::random_csr<T, I>(17, 23, 0, 25);
  ASSERT_EQ(empty.nnz(), 0);
  for (const char* profile : {"emu-a1", "emu-a4"}) {
    check_gemv<T, I>(profile, empty, storage::csr, vrt::transpose::trans, T(1), T(3), "csc nnz 0");
    check_gemv<T, I>(profile, empty, storage::coo, vrt::transpose::nontrans, T(1), T(3),
                     "coo nnz 0");
  }
}

// ---- symv ---------------------------------------------------------------------------------

// The symmetric matrix whose stored triangle is A's upper (or lower) one, diagonal once.
template <typename T, typename I>
std::vector<T> reference_symv(const csr_matrix<T, I>& A, bool upper, T alpha,
                              const std::vector<T>& x, T beta, const std::vector<T>& y,
                              std::vector<double>& scale) {
  using W = std::conditional_t<vrt_test::is_complex<T>, std::complex<double>, double>;
  std::vector<W> sum(x.size(), W(0));
  scale.assign(x.size(), 0.0);
  std::vector<double> length(x.size(), 0.0);
  for (std::int64_t r = 0; r < A.nrows; ++r)
    for (I j = A.row_ptr[r] - A.base; j < A.row_ptr[r + 1] - A.base; ++j) {
      const std::int64_t c = A.col_ind[j] - A.base;
      if (upper ? c < r : c > r) continue;
      const W a = static_cast<W>(A.values[j]);
      sum[r] += a * static_cast<W>(x[c]);
      scale[r] += std::abs(A.values[j]) * std::abs(x[c]);
      length[r] += 1;
      if (c != r) {
        sum[c] += a * static_cast<W>(x[r]);
        scale[c] += std::abs(A.values[j]) * std::abs(x[r]);
        length[c] += 1;
      }
    }
  std::vector<T> out(x.size());
  for (std::size_t i = 0; i < out.size(); ++i) {
    const W scaled = static_cast<W>(alpha) * sum[i];
    out[i] = beta == T(0) ? static_cast<T>(scaled)
                          : static_cast<T>(scaled + static_cast<W>(beta) * static_cast<W>(y[i]));
    scale[i] = (length[i] + 2) * (std::abs(alpha) * scale[i] +
                                  (beta == T(0) ? 0.0 : std::abs(beta) * std::abs(y[i])));
  }
  return out;
}

template <typename T, typename I>
std::vector<T> run_symv(sycl::queue& q, const csr_matrix<T, I>& A, memory m, vrt::uplo ul, T alpha,
                        const std::vector<T>& x, T beta, const std::vector<T>& y) {
  return vrt_mv_test::run(q, A, storage::csr, m, x, y, T(0),
                          [&](auto* h, auto& xv, auto& yv, auto&, const auto&... deps) {
                            return event_of<decltype(xv)>(
                                [&] { return vs::symv(q, ul, alpha, h, xv, beta, yv, deps...); });
                          })
      .y;
}

// A with its mirror added: a symmetric matrix that stores both triangles.
template <typename T, typename I>
csr_matrix<T, I> symmetrised(const csr_matrix<T, I>& A) {
  std::vector<std::vector<std::pair<I, T>>> rows(static_cast<std::size_t>(A.nrows));
  for (std::int64_t r = 0; r < A.nrows; ++r)
    for (I j = A.row_ptr[r] - A.base; j < A.row_ptr[r + 1] - A.base; ++j) {
      const I c = A.col_ind[j] - A.base;
      rows[r].push_back({c, A.values[j]});
      if (c != r) rows[c].push_back({static_cast<I>(r), A.values[j]});
    }
  csr_matrix<T, I> S;
  S.nrows = S.ncols = A.nrows;
  S.base = A.base;
  S.row_ptr.push_back(static_cast<I>(A.base));
  for (const auto& row : rows) {
    for (const auto& [c, v] : row) {
      S.col_ind.push_back(static_cast<I>(c + A.base));
      S.values.push_back(v);
    }
    S.row_ptr.push_back(static_cast<I>(S.values.size() + A.base));
  }
  return S;
}

TYPED_TEST(MvFamilies, SymvFromEitherTriangle) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto full = vrt_test::random_csr<T, I>(80, 80, 12, 31, 0, 2, 70);
  const auto symmetric = symmetrised(vrt_test::random_csr<T, I>(64, 64, 6, 32, 1));
  const auto x = random_vector<T>(80, 33);
  const auto y0 = random_vector<T>(80, 34);
  for (const char* profile : {"emu-a1", "emu-a6"}) {
    sycl::queue q{hostsycl::emulated_gpu(profile)};
    for (bool upper : {true, false})
      for (const auto* A : {&full, &symmetric}) {
        // On the full matrix the other triangle must be ignored.
        const std::vector<T> xs(x.begin(), x.begin() + A->nrows);
        const std::vector<T> ys(y0.begin(), y0.begin() + A->nrows);
        for (T beta : {T(0.5), T(0)}) {
          std::vector<double> scale;
          const auto want = reference_symv(*A, upper, T(-1.25), xs, beta, ys, scale);
          for (memory m : all_memories) {
            const auto got = run_symv(q, *A, m, upper ? vrt::uplo::upper : vrt::uplo::lower,
                                      T(-1.25), xs, beta, ys);
            vrt_test::expect_close(got, want, scale,
                                   std::string("symv ") + (upper ? "upper" : "lower") + " on " +
                                       profile + " (" + vrt_test::name_of(m) + ")");
          }
        }
      }
  }
}

template <typename T>
csr_matrix<T, std::int32_t> two_by_two(T diagonal, T off) {
  csr_matrix<T, std::int32_t> A;
  A.nrows = A.ncols = 2;
  A.row_ptr = {0, 2, 3};
  A.col_ind = {0, 1, 1};
  A.values = {diagonal, off, diagonal};
  return A;
}

// ---- gemvdot --------------------------------------------------------------------------------

template <typename T, typename I>
vrt_mv_test::outputs<T> run_gemvdot(sycl::queue& q, const csr_matrix<T, I>& A, memory m, T alpha,
                                    const std::vector<T>& x, T beta, const std::vector<T>& y) {
  const T sentinel = T(std::numeric_limits<vrt_test::real_t<T>>::quiet_NaN());
  return vrt_mv_test::run(q, A, storage::csr, m, x, y, sentinel,
                          [&](auto* h, auto& xv, auto& yv, auto& dv, const auto&... deps) {
                            return event_of<decltype(xv)>([&] {
                              return vs::gemvdot(q, vrt::transpose::nontrans, alpha, h, xv, beta,
                                                 yv, dv, deps...);
                            });
                          });
}

template <typename T>
void expect_dot(T got, const std::vector<T>& x, const std::vector<T>& want_y,
                const std::vector<double>& scale, const std::string& where) {
  using W = std::conditional_t<vrt_test::is_complex<T>, std::complex<double>, double>;
  W dot(0);
  double rows = 0, terms = 0;
  for (std::size_t i = 0; i < want_y.size(); ++i) {
    dot += static_cast<W>(x[i]) * static_cast<W>(want_y[i]);
    rows += std::abs(x[i]) * scale[i];
    terms += std::abs(x[i]) * std::abs(want_y[i]);
  }
  const double levels = std::ceil(std::log2(static_cast<double>(want_y.size()) + 1)) + 4;
  const double eps = std::numeric_limits<vrt_test::real_t<T>>::epsilon();
  const double bound =
      4 * eps * (rows + levels * terms) + std::numeric_limits<vrt_test::real_t<T>>::min();
  const double err = std::abs(static_cast<W>(got) - dot);
  EXPECT_TRUE(err <= bound) << where << ": d " << got << " want " << dot << " (error " << err
                            << ", bound " << bound << ")";
}

template <typename T, typename I>
void check_gemvdot(const char* profile, const csr_matrix<T, I>& A, T alpha, T beta,
                   std::initializer_list<memory> models, const std::string& what) {
  sycl::queue q{hostsycl::emulated_gpu(profile)};
  const auto x = random_vector<T>(A.ncols, 41);
  const auto y0 = random_vector<T>(A.nrows, 42);
  const auto want = vrt_test::reference_gemv(A, vrt::transpose::nontrans, alpha, x, beta, y0);
  const auto scale = vrt_test::error_scale(A, vrt::transpose::nontrans, alpha, x, beta, y0);
  for (memory m : models) {
    const auto got = run_gemvdot(q, A, m, alpha, x, beta, y0);
    const std::string where = what + " on " + profile + " (" + vrt_test::name_of(m) + ")";
    vrt_test::expect_close(got.y, want, scale, where);
    // d is the bilinear dot of x with the new y, without conjugation, against the reference y
    // in double. Its error is the rows' (x_i times the row's bound) plus the sum's: a work-item's
    // two rows, then trees of partials, so a few units of rounding per level of log2(n) on
    // sum |x_i y_i|. That bound stays far below one group's partial (the sum of 2 * 512 terms of
    // random sign), so a dropped or doubled partial fails in single precision too.
    expect_dot(got.d, x, want, scale, where);
  }
}

TYPED_TEST(MvFamilies, GemvdotOddRowsAndOneGroup) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto A = vrt_test::random_csr<T, I>(101, 101, 20, 51, 0, 2, 90);
  const auto one_based = vrt_test::random_csr<T, I>(77, 77, 9, 52, 1);
  for (const char* profile : {"emu-a2", "emu-a5"}) {
    check_gemvdot<T, I>(profile, A, T(1.5), T(0.5),
                        {memory::device, memory::shared, memory::host, memory::buffer}, "gemvdot");
    check_gemvdot<T, I>(profile, one_based, T(-1), T(0), {memory::device, memory::buffer},
                        "gemvdot one-based");
  }
}

// With groups of 512 work-items and two rows each, 32767 rows make 32 groups (the final sum
// adds them all) and 33791 rows make 33 (one reduce pass first).
TYPED_TEST(MvFamilies, GemvdotThirtyTwoAndThirtyThreeGroups) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  for (std::int64_t rows : {32767, 33791}) {
    const auto A = vrt_test::random_csr<T, I>(rows, rows, 3, 53);
    check_gemvdot<T, I>("emu-a3", A, T(2), T(-1), {memory::device, memory::buffer},
                        "gemvdot " + std::to_string(rows) + " rows");
  }
}

// The pass schedule: reduce passes while 33 partials or more are left, the final sum only for
// 2 to 32 of them; the product kernel alone writes d for one group.
TEST(MvFamiliesGemvdot, ReducePassesFromThirtyThreeGroups) {
  using vs::gpu::detail::schedule_gemvdot;
  constexpr std::size_t wg = 512, rows_per_group = 2 * wg;
  const auto one = schedule_gemvdot(1, wg);
  EXPECT_EQ(one.groups, 1u);
  EXPECT_TRUE(one.reduce_passes.empty());
  EXPECT_EQ(one.final_sum, 0u);
  const auto none = schedule_gemvdot(0, wg);
  EXPECT_EQ(none.groups, 1u);
  EXPECT_EQ(none.final_sum, 0u);
  const auto two = schedule_gemvdot(rows_per_group + 1, wg);
  EXPECT_EQ(two.groups, 2u);
  EXPECT_TRUE(two.reduce_passes.empty());
  EXPECT_EQ(two.final_sum, 2u);
  const auto thirty_two = schedule_gemvdot(32 * rows_per_group, wg);
  EXPECT_EQ(thirty_two.groups, 32u);
  EXPECT_TRUE(thirty_two.reduce_passes.empty());
  EXPECT_EQ(thirty_two.final_sum, 32u);
  const auto thirty_three = schedule_gemvdot(32 * rows_per_group + 1, wg);
  EXPECT_EQ(thirty_three.groups, 33u);
  EXPECT_EQ(thirty_three.reduce_passes, (std::vector<std::size_t>{33}));
  EXPECT_EQ(thirty_three.final_sum, 0u);
  // Two passes: 2049 partials make 3, which the final sum adds.
  const auto many = schedule_gemvdot(2048 * rows_per_group + 1, wg);
  EXPECT_EQ(many.reduce_passes, (std::vector<std::size_t>{2049}));
  EXPECT_EQ(many.final_sum, 3u);
  const auto deep = schedule_gemvdot(33 * rows_per_group * rows_per_group, wg);
  EXPECT_EQ(deep.reduce_passes, (std::vector<std::size_t>{33 * rows_per_group, 33}));
  EXPECT_EQ(deep.final_sum, 0u);
  // The row counts of GemvdotThirtyTwoAndThirtyThreeGroups on emu-a3.
  const std::size_t a3 = vs::gpu::detail::gemvdot_group_size(hostsycl::emulated_gpu("emu-a3"));
  EXPECT_EQ(a3, wg);
  EXPECT_EQ(schedule_gemvdot(32767, a3).groups, 32u);
  EXPECT_EQ(schedule_gemvdot(33791, a3).groups, 33u);
}

// No listed emulated profile lacks the local memory a group of 512 needs: the rule is checked on
// itself here, the routine's refusal on a profile reachable by name only below.
TEST(MvFamiliesGemvdot, LocalMemoryRule) {
  using vs::gpu::detail::gemvdot_local_memory_fits;
  using kind = sycl::info::local_mem_type;
  EXPECT_TRUE(gemvdot_local_memory_fits(kind::local, 4096, 512));
  EXPECT_TRUE(gemvdot_local_memory_fits(kind::global, 4096, 512));
  EXPECT_FALSE(gemvdot_local_memory_fits(kind::local, 4095, 512));
  EXPECT_FALSE(gemvdot_local_memory_fits(kind::none, std::uint64_t(1) << 20, 512));
  for (const auto& profile : hostsycl::gpu_profiles()) {
    const sycl::device device = hostsycl::emulated_gpu(profile.name);
    EXPECT_NO_THROW(vs::gpu::detail::gemvdot_group_size(device)) << profile.name;
  }
}

// Through the routine, on a device whose local memory cannot hold a group's partial sums (a
// profile of the runtime reachable by name only): refused before anything is submitted.
TEST(MvFamiliesGemvdot, LocalMemoryRefusalThroughTheRoutine) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a1-little-local")};
  const auto A = two_by_two(1.0, 1.0);
  for (memory m : {memory::device, memory::buffer}) {
    vrt_test::expect_message<vrt::host_bad_alloc>(
        [&] {
          run_gemvdot(q, A, m, 1.0, std::vector<double>{1, 1}, 0.0, {-1, -1});
        },
        "orvane::vrt::sparse::gemvdot: cannot allocate memory on host");
  }
}

// The partials are released behind the last kernel: once the returned event completes, no
// device memory of the call is left, whichever pass ran last.
TEST(MvFamiliesGemvdot, PartialsAreReleased) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  for (std::int64_t rows : {5, 32767, 33791}) {
    const auto A = vrt_test::random_csr<double, std::int32_t>(rows, rows, 2, 54);
    const std::vector<double> x(static_cast<std::size_t>(rows), 1.0), y(x.size(), 0.0);
    const std::uint64_t before = hostsycl::live_allocation_bytes(q.get_device());
    for (int k = 0; k < 3; ++k) run_gemvdot(q, A, memory::device, 1.0, x, 0.5, y);
    EXPECT_EQ(hostsycl::live_allocation_bytes(q.get_device()), before) << rows << " rows";
  }
}

// When a submission throws part way, the call drops its partials once the kernels already
// submitted are done (the runtime has no way to make a submission fail, so the step is checked
// on its own).
TEST(MvFamiliesGemvdot, PartialsOfAFailedCallAreFreed) {
  namespace detail = vs::gpu::detail;
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  const std::uint64_t before = hostsycl::live_allocation_bytes(q.get_device());
  auto store = detail::make_partials<double, vs::container_usm>(q, 64);
  EXPECT_GT(hostsycl::live_allocation_bytes(q.get_device()), before);
  const sycl::event running = vs::fill_container(q, store.data, 0.0, 64, {});
  detail::drop_partials<double, vs::container_usm>(q, store, running);
  EXPECT_EQ(hostsycl::live_allocation_bytes(q.get_device()), before);
}

TEST(MvFamiliesGemvdot, PartialsThatCannotBeAllocated) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a1")};
  const auto A = two_by_two(1.0, 1.0);
  const std::string device = q.get_device().get_info<sycl::info::device::name>();
  vrt_test::expect_message<vrt::device_bad_alloc>(
      [&] {
        vrt_mv_test::run(q, A, storage::csr, memory::device, std::vector<double>{1, 1},
                         std::vector<double>{0, 0}, 0.0,
                         [&](auto* h, auto& xv, auto& yv, auto& dv, const auto&... deps) {
                           // The device request and its fallback to host memory both fail.
                           hostsycl::fail_next_allocations(2);
                           return vs::gemvdot(q, vrt::transpose::nontrans, 1.0, h, xv, 0.0, yv, dv,
                                              deps...);
                         });
      },
      "orvane::vrt::sparse::gemvdot: cannot allocate memory on " + device);
  hostsycl::fail_next_allocations(0);
}

// ---- edge cases -----------------------------------------------------------------------------

TEST(MvFamiliesEdges, ZeroBetaWithNaNInY) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  sycl::queue q{hostsycl::emulated_gpu("emu-a2")};
  const auto A = two_by_two(2.0, 1.0);
  const std::vector<double> x{1, 1}, y{nan, nan};
  // The column scatter multiplies y by beta: the NaN stays.
  const auto csc =
      run_gemv(q, A, storage::csr, memory::device, vrt::transpose::trans, 1.0, x, 0.0, y);
  EXPECT_TRUE(std::isnan(csc.y[0]) && std::isnan(csc.y[1]));
  // COO clears y for a zero beta, and for a NaN beta too.
  for (double beta : {0.0, nan}) {
    const auto coo =
        run_gemv(q, A, storage::coo, memory::device, vrt::transpose::nontrans, 1.0, x, beta, y);
    EXPECT_EQ(coo.y, (std::vector<double>{3, 2}));
  }
  const auto sym = run_symv(q, A, memory::device, vrt::uplo::upper, 1.0, x, 0.0, y);
  EXPECT_EQ(sym, (std::vector<double>{3, 3}));
  const auto fused = run_gemvdot(q, A, memory::device, 1.0, x, 0.0, y);
  EXPECT_EQ(fused.y, (std::vector<double>{3, 2}));
  EXPECT_EQ(fused.d, 5.0);
}

TEST(MvFamiliesEdges, ZeroAlpha) {
  const double inf = std::numeric_limits<double>::infinity();
  sycl::queue q{hostsycl::emulated_gpu("emu-a0")};
  const std::vector<double> x{1, 1}, y{3, 4};
  // COO stops after scaling y: the matrix is never read.
  const auto coo = run_gemv(q, two_by_two(inf, 1.0), storage::coo, memory::device,
                            vrt::transpose::trans, 0.0, x, 2.0, y);
  EXPECT_EQ(coo.y, (std::vector<double>{6, 8}));
  // The column scatter runs with t = 0: finite values add zeros, an infinity makes NaN.
  const auto finite = run_gemv(q, two_by_two(5.0, 1.0), storage::csr, memory::device,
                               vrt::transpose::trans, 0.0, x, 2.0, y);
  EXPECT_EQ(finite.y, (std::vector<double>{6, 8}));
  const auto infinite = run_gemv(q, two_by_two(inf, 1.0), storage::csr, memory::device,
                                 vrt::transpose::trans, 0.0, x, 2.0, y);
  EXPECT_TRUE(std::isnan(infinite.y[0]));
}

TEST(MvFamiliesEdges, EmptyRowsAndDiagonalOnce) {
  csr_matrix<double, std::int32_t> A;
  A.nrows = A.ncols = 4;
  A.row_ptr = {0, 2, 2, 2, 4};  // rows 1 and 2 empty
  A.col_ind = {0, 3, 1, 3};
  A.values = {2, 1, 7, 5};
  sycl::queue q{hostsycl::emulated_gpu("emu-a4")};
  const std::vector<double> x{1, 2, 3, 4}, y{0, 0, 0, 0};
  const auto csc =
      run_gemv(q, A, storage::csr, memory::shared, vrt::transpose::trans, 1.0, x, 0.0, y);
  EXPECT_EQ(csc.y, (std::vector<double>{2, 28, 0, 21}));
  // Upper triangle: (0,0)=2, (0,3)=1, (3,3)=5; the diagonal counts once.
  const auto sym = run_symv(q, A, memory::shared, vrt::uplo::upper, 1.0, x, 0.0, y);
  EXPECT_EQ(sym, (std::vector<double>{6, 0, 0, 21}));
}

// The transposed product on host y builds the explicit transpose and runs row-wise; the column
// scatter's own launcher refuses host y.
TEST(MvFamiliesEdges, HostYOnTheColumnScatter) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a2")};
  const auto A = two_by_two(2.0, 1.0);
  const auto viaTranspose = run_gemv(q, A, storage::csr, memory::host, vrt::transpose::trans, 1.0,
                                     std::vector<double>{1, 1}, 0.0, std::vector<double>{0, 0});
  EXPECT_EQ(viaTranspose.y, (std::vector<double>{2, 3}));

  using namespace vs::gpu;
  double* y = sycl::malloc_host<double>(2, q);
  vs::gemvInternalData plan{};
  const csc::scatter_operands<double, std::int32_t, vs::container_usm> operands{
      nullptr, nullptr, nullptr, nullptr, y, 2, 2, 0, 1.0, 0.0, false};
  vrt_test::expect_message<vrt::computation_error>(
      [&] { csc::gemv_default<double, std::int32_t, vs::container_usm>(q, plan, operands, {}); },
      "orvane::vrt::sparse::gemv default kernel: computation error: USM + host configuration "
      "unsupported due to atomics");
  sycl::free(y, q);
}

// The vector and sub-group scatters refuse host y with the default kernel's words, and a plan
// off their grid (or complex values on the vector family) is an internal error.
TEST(MvFamiliesEdges, EveryScatterLauncherRefusesHostYAndOffGridPlans) {
  using namespace vs::gpu;
  using ops = csc::scatter_operands<double, std::int32_t, vs::container_usm>;
  using launcher = sycl::event (*)(sycl::queue&, const vs::gemvInternalData&, const ops&,
                                   const std::vector<sycl::event>&);
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  // Two empty rows: a launcher that failed to refuse would run without touching y.
  std::int32_t* row_ptr = sycl::malloc_device<std::int32_t>(3, q);
  q.fill(row_ptr, 0, 3).wait();
  double* host_y = sycl::malloc_host<double>(2, q);
  double* device_y = sycl::malloc_device<double>(2, q);
  const launcher launchers[] = {csc::gemv_with_syclvec<double, std::int32_t, vs::container_usm>,
                                csc::gemv_with_subgroup<double, std::int32_t, vs::container_usm>};
  vs::gemvInternalData on_grid{};
  on_grid.group_param = 4;
  on_grid.vector_param = 16;
  vs::gemvInternalData off_grid = on_grid;
  off_grid.group_param = 5;
  for (launcher launch : launchers) {
    const ops on_host{row_ptr, nullptr, nullptr, nullptr, host_y, 2, 2, 0, 1.0, 0.0, false};
    vrt_test::expect_message<vrt::computation_error>(
        [&] { launch(q, on_grid, on_host, {}); },
        "orvane::vrt::sparse::gemv default kernel: computation error: USM + host configuration "
        "unsupported due to atomics");
    const ops on_device{row_ptr, nullptr, nullptr, nullptr, device_y, 2, 2, 0, 1.0, 0.0, false};
    vrt_test::expect_message<vrt::computation_error>(
        [&] { launch(q, off_grid, on_device, {}); },
        "orvane::vrt::sparse::gemv csc: computation error: internal error");
  }
  using zops = csc::scatter_operands<std::complex<double>, std::int32_t, vs::container_usm>;
  auto* complex_y = sycl::malloc_device<std::complex<double>>(2, q);
  const zops complex_operands{nullptr, nullptr, nullptr, nullptr, complex_y, 2,
                              2,       0,       1.0,     0.0,     false};
  vrt_test::expect_message<vrt::computation_error>(
      [&] {
        csc::gemv_with_syclvec<std::complex<double>, std::int32_t, vs::container_usm>(
            q, on_grid, complex_operands, {});
      },
      "orvane::vrt::sparse::gemv csc: computation error: internal error");
  sycl::free(complex_y, q);
  sycl::free(device_y, q);
  sycl::free(host_y, q);
  sycl::free(row_ptr, q);
}

// The column-scatter and COO entries guard against a missing structure and one of the other
// format or operation, which the routing never hands them.
TEST(MvFamiliesEdges, FamilyEntriesGuardTheirStructure) {
  using namespace vs::gpu;
  sycl::queue q{hostsycl::emulated_gpu("emu-a0")};
  double* y = sycl::malloc_device<double>(2, q);
  const std::string uninitialized =
      "orvane::vrt::sparse::gemv: uninitialized object: Matrix is not initialized";
  const std::string internal = "orvane::vrt::sparse::gemv: computation error: internal error";
  vs::sparseStructure csr{};
  csr.format = vs::format_csr;
  vs::sparseStructure coo{};
  coo.format = vs::format_coo;
  auto column_scatter = [&](vs::sparseStructure* A, vrt::transpose op) {
    csc::gemv_impl<double, std::int32_t, vs::container_usm>(q, op, false, 1.0, A, y, 0.0, y, {});
  };
  auto coo_product = [&](vs::sparseStructure* A) {
    coo::gemv_impl<double, std::int32_t, vs::container_usm>(q, vrt::transpose::nontrans, 1.0, A, y,
                                                            0.0, y, {});
  };
  vrt_test::expect_message<vrt::uninitialized>(
      [&] { column_scatter(nullptr, vrt::transpose::trans); }, uninitialized);
  vrt_test::expect_message<vrt::computation_error>(
      [&] { column_scatter(&csr, vrt::transpose::nontrans); }, internal);
  vrt_test::expect_message<vrt::computation_error>(
      [&] { column_scatter(&coo, vrt::transpose::trans); }, internal);
  vrt_test::expect_message<vrt::uninitialized>([&] { coo_product(nullptr); }, uninitialized);
  vrt_test::expect_message<vrt::computation_error>([&] { coo_product(&csr); }, internal);
  EXPECT_EQ(csr.gemv_data, nullptr) << "a refusal plans nothing";
  EXPECT_EQ(coo.gemv_data, nullptr) << "a refusal plans nothing";
  sycl::free(y, q);
}

// symv and gemvdot on a handle that was never bound reach the device and refuse there.
TEST(MvFamiliesEdges, UnboundHandleOnTheDevice) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a2")};
  vs::matrix_handle* h = nullptr;
  vs::init_matrix_handle(&h);
  double* v = sycl::malloc_shared<double>(4, q);
  vrt_test::expect_message<vrt::uninitialized>(
      [&] { vs::symv(q, vrt::uplo::lower, 1.0, h, v, 0.0, v + 2); },
      "orvane::vrt::sparse::symv: uninitialized object: Matrix is not initialized");
  vrt_test::expect_message<vrt::uninitialized>(
      [&] { vs::gemvdot(q, vrt::transpose::nontrans, 1.0, h, v, 0.0, v + 2, v + 3); },
      "orvane::vrt::sparse::gemvdot: uninitialized object: Matrix is not initialized");
  vs::release_matrix_handle(&h);
  sycl::free(v, q);
}

// y in memory the context does not know (plain heap memory) is treated like host USM: no device
// atomic targets it, COO gathers per output element and symv scatters by one work-item.
TEST(MvFamiliesEdges, YInUnknownMemoryTakesNoAtomics) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a6")};
  std::vector<double> plain(4, 0.0);
  EXPECT_EQ((vs::memory_kind<vs::container_usm>(q, plain.data())), sycl::usm::alloc::unknown);
  EXPECT_TRUE((vs::is_host_memory<vs::container_usm>(q, plain.data())));
  double* shared = sycl::malloc_shared<double>(1, q);
  EXPECT_FALSE((vs::is_host_memory<vs::container_usm>(q, shared)));
  sycl::free(shared, q);

  const auto A = vrt_test::random_csr<double, std::int32_t>(40, 40, 6, 61, 0, 2, 30);
  const auto x = random_vector<double>(40, 62);
  const auto y0 = random_vector<double>(40, 63);
  for (auto op : {vrt::transpose::nontrans, vrt::transpose::trans}) {
    std::vector<double> y = y0;
    vrt_mv_test::run(q, A, storage::coo, memory::device, x, y0, 0.0,
                     [&](auto* h, auto& xv, auto&, auto&, const auto&... deps) {
                       if constexpr (sizeof...(deps) > 0)
                         return vs::gemv(q, op, 1.5, h, xv, -0.5, y.data(), deps...);
                     });
    vrt_test::expect_close(y, vrt_test::reference_gemv(A, op, 1.5, x, -0.5, y0),
                           vrt_test::error_scale(A, op, 1.5, x, -0.5, y0),
                           "coo on heap y op " + std::to_string(static_cast<int>(op)));
  }
  for (bool upper : {true, false}) {
    std::vector<double> y = y0;
    vrt_mv_test::run(q, A, storage::csr, memory::device, x, y0, 0.0,
                     [&](auto* h, auto& xv, auto&, auto&, const auto&... deps) {
                       if constexpr (sizeof...(deps) > 0)
                         return vs::symv(q, upper ? vrt::uplo::upper : vrt::uplo::lower, 1.5, h, xv,
                                         -0.5, y.data(), deps...);
                     });
    std::vector<double> scale;
    const auto want = reference_symv(A, upper, 1.5, x, -0.5, y0, scale);
    vrt_test::expect_close(y, want, scale, upper ? "symv upper on heap y" : "symv lower on heap y");
  }
}

TEST(MvFamiliesEdges, RefusalsWordForWord) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a1")};
  csr_matrix<double, std::int32_t> rect;
  rect.nrows = 2;
  rect.ncols = 3;
  rect.row_ptr = {0, 1, 2};
  rect.col_ind = {0, 2};
  rect.values = {1, 1};
  const std::vector<double> x{1, 1, 1}, y{0, 0};
  vrt_test::expect_message<vrt::unimplemented>(
      [&] { run_symv(q, rect, memory::device, vrt::uplo::upper, 1.0, x, 0.0, y); },
      "orvane::vrt::sparse::symv: unimplemented functionality: matrix nRows != nCols, symv "
      "currently only supports a square matrix");
  vrt_test::expect_message<vrt::unimplemented>(
      [&] { run_gemvdot(q, rect, memory::device, 1.0, x, 0.0, y); },
      "orvane::vrt::sparse::gemvdot: unimplemented functionality: matrix nRows != nCols, gemvdot "
      "currently only supports a square matrix");
  const auto A = two_by_two(1.0, 1.0);
  vrt_test::expect_message<vrt::unimplemented>(
      [&] {
        vrt_mv_test::run(q, A, storage::csr, memory::device, x, y, 0.0,
                         [&](auto* h, auto& xv, auto& yv, auto& dv, const auto&... deps) {
                           return vs::gemvdot(q, vrt::transpose::trans, 1.0, h, xv, 0.0, yv, dv,
                                              deps...);
                         });
      },
      "orvane::vrt::sparse::gemvdot: unimplemented functionality: currently only supports the "
      "orvane::vrt::transpose::nontrans op");
  const std::vector<double> x2{1, 1}, y2{0, 0};
  auto on_coo = [&](auto routine) {
    vrt_mv_test::run(q, A, storage::coo, memory::device, x2, y2, 0.0,
                     [&](auto* h, auto& xv, auto& yv, auto& dv, const auto&... deps) {
                       return routine(h, xv, yv, dv, deps...);
                     });
  };
  vrt_test::expect_message<vrt::unimplemented>(
      [&] {
        on_coo([&](auto* h, auto& xv, auto& yv, auto&, const auto&... deps) {
          return vs::symv(q, vrt::uplo::lower, 1.0, h, xv, 0.0, yv, deps...);
        });
      },
      "orvane::vrt::sparse::symv: unimplemented functionality: currently only supports the CSR "
      "matrix format");
  vrt_test::expect_message<vrt::unimplemented>(
      [&] {
        on_coo([&](auto* h, auto& xv, auto& yv, auto& dv, const auto&... deps) {
          return vs::gemvdot(q, vrt::transpose::nontrans, 1.0, h, xv, 0.0, yv, dv, deps...);
        });
      },
      "orvane::vrt::sparse::gemvdot: unimplemented functionality: currently only supports the "
      "CSR matrix format on GPU devices");
  vrt_test::expect_message<vrt::invalid_argument>(
      [&] { run_symv(q, A, memory::device, static_cast<vrt::uplo>(7), 1.0, x2, 0.0, y2); },
      "orvane::vrt::sparse::symv: invalid argument: uplo_val");
}

// ---- devices without the sub-group sizes the plans name -------------------------------------

// The narrow profiles have the facts of emu-a4 and emu-a6 and sub-groups of 1 only. Plans that
// would name a sub-group kernel there take the generic row kernels (or, on the column scatter,
// the default one) instead; launchers refuse a plan the planning could not see.
constexpr const char* narrow_profiles[] = {"emu-a4-narrow-sub-groups", "emu-a6-narrow-sub-groups"};

std::uint64_t sub_group_kernels() { return hostsycl::kernels_submitted("sub_group_kernel"); }

std::string unsupported(const std::string& routine, const sycl::queue& q) {
  return vrt_test::prefix(routine) +
         "unsupported device: " + q.get_device().get_info<sycl::info::device::name>();
}

// Long rows (optimize_gemv plans sub-groups of 16 on code 4 and of 32 on code 6) and a few very
// long rows among short ones (the merge path on code 6).
template <typename T, typename I>
std::vector<csr_matrix<T, I>> sub_group_matrices() {
  return {vrt_test::random_csr<T, I>(300, 250, 50, 41),
          vrt_test::random_csr<T, I>(400, 400, 3, 42, 0, 8, 300)};
}

// Every op, first-use plan and optimize_gemv's plan, every memory of y: right, with no kernel
// that demands a sub-group size, and the plan of the generic row (complex: its marray form).
TYPED_TEST(MvFamilies, NarrowSubGroupsTakeTheGenericPlan) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const std::int32_t generic_kind = vrt_test::is_complex<T> ? 2 : 1;
  const std::int32_t generic_vector = vrt_test::is_complex<T> ? 8 : 16;
  const auto matrices = sub_group_matrices<T, I>();
  for (const char* profile : narrow_profiles) {
    sycl::queue q{hostsycl::emulated_gpu(profile)};
    for (std::size_t k = 0; k < matrices.size(); ++k) {
      const auto& A = matrices[k];
      for (auto op : {vrt::transpose::nontrans, vrt::transpose::trans, vrt::transpose::conjtrans})
        for (bool optimized : {false, true})
          for (memory m : all_memories) {
            const bool transposed = op != vrt::transpose::nontrans;
            const auto x = random_vector<T>(transposed ? A.nrows : A.ncols, 7);
            const auto y0 = random_vector<T>(transposed ? A.ncols : A.nrows, 11);
            const T alpha(1.5), beta(-0.5);
            const std::string what = std::string(profile) + " matrix " + std::to_string(k) +
                                     " op " + std::to_string(static_cast<int>(op)) +
                                     (optimized ? " optimized " : " first use ") +
                                     vrt_test::name_of(m);
            hostsycl::reset_kernel_counts();
            vs::gemvInternalData plan{};
            const auto got =
                vrt_mv_test::run(q, A, storage::csr, m, x, y0, T(0),
                                 [&](auto* h, auto& xv, auto& yv, auto&, const auto&... deps) {
                                   if (optimized) vs::optimize_gemv(q, op, h, deps...).wait();
                                   sycl::event done = event_of<decltype(xv)>([&] {
                                     return vs::gemv(q, op, alpha, h, xv, beta, yv, deps...);
                                   });
                                   done.wait();
                                   if (!transposed) plan = *h->primary->gemv_data;
                                   return done;
                                 })
                    .y;
            EXPECT_EQ(sub_group_kernels(), 0u) << what;
            EXPECT_EQ(hostsycl::kernels_submitted("find_merge_path"), 0u) << what;
            // The row-wise plan of the matrix itself: the generic row at first use, a row kind
            // after optimize_gemv.
            if (!transposed) {
              const std::int32_t kind = vs::kind_code(plan.kernel_kind);
              EXPECT_TRUE(kind == 1 || kind == 2) << what << ": kind " << kind;
              if (!optimized) {
                EXPECT_EQ(kind, generic_kind) << what;
                EXPECT_EQ(plan.group_param, 256) << what;
                EXPECT_EQ(plan.vector_param, generic_vector) << what;
              }
            }
            vrt_test::expect_close(got, vrt_test::reference_gemv(A, op, alpha, x, beta, y0),
                                   vrt_test::error_scale(A, op, alpha, x, beta, y0), what);
          }
    }
  }
}

// On the listed profiles with the same facts the same products do run sub-group kernels, and the
// spread matrix takes the merge path on code 6: the counts above see what they look for.
TEST(MvFamiliesNarrowSubGroups, TheListedTwinsRunSubGroupKernels) {
  const auto matrices = sub_group_matrices<double, std::int32_t>();
  for (const char* profile : {"emu-a4", "emu-a6"}) {
    sycl::queue q{hostsycl::emulated_gpu(profile)};
    for (std::size_t k = 0; k < matrices.size(); ++k) {
      const auto& A = matrices[k];
      for (auto op : {vrt::transpose::nontrans, vrt::transpose::trans}) {
        const std::vector<double> x(static_cast<std::size_t>(A.nrows), 1.0);
        const bool merge =
            std::string(profile) == "emu-a6" && k == 1 && op == vrt::transpose::nontrans;
        hostsycl::reset_kernel_counts();
        vrt_mv_test::run(q, A, storage::csr, memory::device, x, x, 0.0,
                         [&](auto* h, auto& xv, auto& yv, auto&, const auto&... deps) {
                           if constexpr (sizeof...(deps) > 0) {
                             if (merge) vs::optimize_gemv(q, op, h, deps...).wait();
                             return vs::gemv(q, op, 1.0, h, xv, 0.0, yv, deps...);
                           }
                         });
        const std::string what = std::string(profile) + " matrix " + std::to_string(k);
        EXPECT_GT(sub_group_kernels(), 0u) << what;
        EXPECT_EQ(hostsycl::kernels_submitted("find_merge_path"), merge ? 1u : 0u) << what;
      }
    }
  }
}

// A plan made elsewhere that names a sub-group kernel: the row-wise launchers refuse it as
// unsupported before any kernel runs; the column scatter runs its default kernel instead.
TYPED_TEST(MvFamilies, NarrowSubGroupsRefuseSubGroupPlansTheyDidNotMake) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto A = sub_group_matrices<T, I>()[0];
  struct forced {
    vs::gemv_kind kind;
    std::int32_t group, vector;
  };
  const forced plans[] = {{vs::gemv_kind::subgroup, 8, 16},
                          {vs::gemv_kind::subgroup, 4, 32},
                          {vs::gemv_kind::merge, 4, 32}};
  for (const char* profile : narrow_profiles) {
    sycl::queue q{hostsycl::emulated_gpu(profile)};
    for (memory m : {memory::device, memory::buffer})
      for (const forced& f : plans) {
        const std::string what = std::string(profile) + " kind " +
                                 std::to_string(vs::kind_code(f.kind)) + " sg " +
                                 std::to_string(f.vector) + " " + vrt_test::name_of(m);
        const auto x = random_vector<T>(A.ncols, 5);
        const auto xt = random_vector<T>(A.nrows, 6);
        const auto y0 = random_vector<T>(A.nrows, 7);
        const auto yt0 = random_vector<T>(A.ncols, 8);
        const memory operands = vrt_test::is_usm(m) ? memory::device : memory::buffer;
        vrt_test::bound_matrix<T, I> b(q, A, operands);
        vrt_test::device_array<T> xs(q, x, operands), xts(q, xt, operands), ys(q, y0, operands),
            yts(q, yt0, operands);
        // The first product makes the plan; then it is replaced by one the device cannot run.
        b.run(
            [&](vs::matrix_handle* h, auto&& xv, auto&& yv, auto&&... deps) {
              return event_of<decltype(xv)>([&] {
                return vs::gemv(q, vrt::transpose::nontrans, T(1), h, xv, T(0), yv, deps...);
              });
            },
            xs, ys);
        b.wait();
        vs::gemvInternalData* plan = b.handle()->primary->gemv_data;
        const vs::gemvInternalData saved = *plan;
        plan->kernel_kind = f.kind;
        plan->group_param = f.group;
        plan->vector_param = f.vector;
        hostsycl::reset_kernel_counts();
        vrt_test::expect_message<vrt::unsupported_device>(
            [&] {
              b.run(
                  [&](vs::matrix_handle* h, auto&& xv, auto&& yv, auto&&... deps) {
                    return event_of<decltype(xv)>([&] {
                      return vs::gemv(q, vrt::transpose::nontrans, T(1), h, xv, T(0), yv, deps...);
                    });
                  },
                  xs, ys);
            },
            unsupported("gemv", q));
        EXPECT_EQ(hostsycl::kernels_submitted(), 0u) << what;
        // The column scatter has a kernel for every plan: its default one.
        if (f.kind == vs::gemv_kind::subgroup) {
          b.run(
              [&](vs::matrix_handle* h, auto&& xv, auto&& yv, auto&&... deps) {
                return event_of<decltype(xv)>([&] {
                  return vs::gemv(q, vrt::transpose::trans, T(2), h, xv, T(0.5), yv, deps...);
                });
              },
              xts, yts);
          b.wait();
          EXPECT_EQ(sub_group_kernels(), 0u) << what;
          EXPECT_EQ(vs::kind_code(plan->kernel_kind), vs::kind_code(f.kind)) << what;
          const auto want =
              vrt_test::reference_gemv(A, vrt::transpose::trans, T(2), xt, T(0.5), yt0);
          vrt_test::expect_close(
              yts.read(), want,
              vrt_test::error_scale(A, vrt::transpose::trans, T(2), xt, T(0.5), yt0),
              what + " scatter");
        }
        *plan = saved;
      }
  }
}

// symv and gemvdot have no kernel that demands a sub-group size: they run on the narrow profiles
// as anywhere.
TYPED_TEST(MvFamilies, NarrowSubGroupsRunSymvAndGemvdot) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto A = vrt_test::random_csr<T, I>(120, 120, 30, 43, 0, 2, 100);
  const auto x = random_vector<T>(A.nrows, 44);
  const auto y0 = random_vector<T>(A.nrows, 45);
  for (const char* profile : narrow_profiles) {
    sycl::queue q{hostsycl::emulated_gpu(profile)};
    hostsycl::reset_kernel_counts();
    for (bool upper : {true, false}) {
      std::vector<double> scale;
      const auto want = reference_symv(A, upper, T(0.75), x, T(-1), y0, scale);
      for (memory m : {memory::device, memory::buffer})
        vrt_test::expect_close(
            run_symv(q, A, m, upper ? vrt::uplo::upper : vrt::uplo::lower, T(0.75), x, T(-1), y0),
            want, scale, std::string("symv on ") + profile + " " + vrt_test::name_of(m));
    }
    check_gemvdot<T, I>(profile, A, T(1.5), T(0.5), {memory::device, memory::buffer}, "gemvdot");
    EXPECT_EQ(sub_group_kernels(), 0u) << profile;
  }
}

// The column scatter's sub-group launcher called with a plan of either size: refused before y is
// scaled.
TEST(MvFamiliesNarrowSubGroups, ScatterLauncherRefusesBeforeAnyKernel) {
  using namespace vs::gpu;
  using ops = csc::scatter_operands<double, std::int32_t, vs::container_usm>;
  for (const char* profile : narrow_profiles) {
    sycl::queue q{hostsycl::emulated_gpu(profile)};
    std::int32_t* row_ptr = sycl::malloc_device<std::int32_t>(3, q);
    q.fill(row_ptr, 0, 3).wait();
    double* y = sycl::malloc_device<double>(2, q);
    const ops operands{row_ptr, nullptr, nullptr, nullptr, y, 2, 2, 0, 1.0, 0.0, false};
    for (std::int32_t size : {16, 32}) {
      vs::gemvInternalData plan{};
      plan.group_param = 8;
      plan.vector_param = size;
      hostsycl::reset_kernel_counts();
      vrt_test::expect_message<vrt::unsupported_device>(
          [&] {
            csc::gemv_with_subgroup<double, std::int32_t, vs::container_usm>(q, plan, operands, {});
          },
          unsupported("gemv", q));
      EXPECT_EQ(hostsycl::kernels_submitted(), 0u) << profile << " " << size;
    }
    sycl::free(y, q);
    sycl::free(row_ptr, q);
  }
}

}  // namespace
