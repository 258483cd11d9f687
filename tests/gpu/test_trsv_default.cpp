// trsv without analysis on emulated GPUs: the single work-item solve on the user's arrays,
// against a plain solve, for every variant, memory model and profile, with its refusals.
#include <gtest/gtest.h>

#include <hostsycl/hostsycl.hpp>

#include "gpu/entry_points.hpp"
#include "handle/triangular_data.hpp"
#include "support/test_helpers.hpp"
#include "triangular_support.hpp"

namespace {

namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;
using namespace vrt_test::triangular;
using vrt_test::csr_matrix;
using vrt_test::expect_message;

template <typename V>
class TrsvDefault : public ::testing::Test {};
TYPED_TEST_SUITE(TrsvDefault, vrt_test::all_variants);

constexpr vrt::uplo both_triangles[] = {vrt::uplo::lower, vrt::uplo::upper};
constexpr vrt::diag both_diags[] = {vrt::diag::nonunit, vrt::diag::unit};

template <typename T, typename I>
void check_solves(sycl::queue& q, const csr_matrix<T, I>& A, memory m,
                  std::initializer_list<T> alphas, const std::string& what) {
  bound_matrix<T, I> b(q, A, m);
  const auto x = random_vector<T>(A.nrows, 5);
  for (vrt::uplo ul : both_triangles)
    for (vrt::diag dg : both_diags)
      for (T alpha : alphas) {
        const bool upper = ul == vrt::uplo::upper, unit = dg == vrt::diag::unit;
        const auto want = reference_solve(A, upper, unit, alpha, x);
        const auto got = b.trsv(ul, dg, alpha, x);
        expect_close(got, want,
                     what + " " + name_of(m) + (upper ? " upper" : " lower") +
                         (unit ? " unit" : " nonunit"));
      }
}

TYPED_TEST(TrsvDefault, FullUnsortedMatricesOnEveryProfileAndMemory) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto A = dominant_matrix<T, I>(64, 6, 42);
  for (const char* profile : all_profiles) {
    sycl::queue q{hostsycl::emulated_gpu(profile)};
    const bool refused = double_precision<T>() && !q.get_device().has(sycl::aspect::fp64);
    for (memory m : all_memories) {
      if (refused) {
        // The frame refuses double precision on this device already when the data is bound.
        if (m != memory::device) continue;
        vs::matrix_handle* h = nullptr;
        vs::init_matrix_handle(&h);
        vrt_test::device_array<I> rows(q, A.row_ptr, memory::device);
        vrt_test::device_array<I> cols(q, A.col_ind, memory::device);
        vrt_test::device_array<T> vals(q, A.values, memory::device);
        expect_message<vrt::unsupported_device>(
            [&] {
              vs::set_csr_data(q, h, I(64), I(64), vrt::index_base::zero, rows.usm(), cols.usm(),
                               vals.usm());
            },
            prefix("set_csr_data") +
                "unsupported device: " + q.get_device().get_info<sycl::info::device::name>());
        vs::release_matrix_handle(q, &h, {}).wait();
        continue;
      }
      check_solves<T, I>(q, A, m, {T(1.5)}, profile);
    }
  }
}

TYPED_TEST(TrsvDefault, AlphaValuesAndOneBasedIndices) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  for (int base : {0, 1}) {
    const auto A = dominant_matrix<T, I>(90, 9, 7 + base, base);
    for (memory m : {memory::device, memory::buffer})
      check_solves<T, I>(q, A, m, {T(1), T(0), T(-2.25)}, "base " + std::to_string(base));
  }
}

TYPED_TEST(TrsvDefault, UnitDiagonalNeedsNoDiagonalEntriesAndNoAnalysis) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a2")};
  for (memory m : all_memories) {
    // No diagonal entry in any row.
    auto A = dominant_matrix<T, I>(30, 4, 3);
    csr_matrix<T, I> B;
    B.nrows = B.ncols = A.nrows;
    B.row_ptr.push_back(0);
    for (std::int64_t i = 0; i < A.nrows; ++i) {
      for (I k = A.row_ptr[i]; k < A.row_ptr[i + 1]; ++k)
        if (A.col_ind[k] != i) {
          B.col_ind.push_back(A.col_ind[k]);
          B.values.push_back(A.values[k] * T(0.25));
        }
      B.row_ptr.push_back(static_cast<I>(B.col_ind.size()));
    }
    bound_matrix<T, I> b(q, B, m);
    const auto x = random_vector<T>(30, 9);
    for (vrt::uplo ul : both_triangles) {
      const bool upper = ul == vrt::uplo::upper;
      expect_close(b.trsv(ul, vrt::diag::unit, T(2), x), reference_solve(B, upper, true, T(2), x),
                   std::string(name_of(m)) + (upper ? " upper" : " lower"));
    }
    EXPECT_EQ(b.handle()->diag_values, nullptr);
  }
}

TYPED_TEST(TrsvDefault, NonUnitWithAZeroOrMissingDiagonalIsRefusedBeforeTheSolve) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a5")};
  const std::string message =
      prefix("trsv") +
      "invalid argument: The matrix operation with diag::nonunit is missing diagonal values in "
      "the structure or has zero values set on diagonal, both of which are not supported.";
  for (memory m : all_memories) {
    for (int which : {0, 1}) {
      const auto A = which == 0 ? dominant_matrix<T, I>(25, 3, 6, 0, -1, 12)
                                : dominant_matrix<T, I>(25, 3, 6, 0, 12);
      bound_matrix<T, I> b(q, A, m);
      const auto x = random_vector<T>(25, 2);
      std::vector<T> y(25, vrt_test::nan_value<T>());
      for (int attempt = 0; attempt < 2; ++attempt) {
        std::vector<T> out;
        expect_message<vrt::invalid_argument>(
            [&] { out = b.trsv(vrt::uplo::lower, vrt::diag::nonunit, T(1), x); }, message);
        EXPECT_TRUE(out.empty());
        ASSERT_NE(b.handle()->diag_values, nullptr);
      }
      // diag::unit does not look at the diagonal.
      expect_close(b.trsv(vrt::uplo::lower, vrt::diag::unit, T(1), x),
                   reference_solve(A, false, true, T(1), x), name_of(m));
    }
  }
}

TYPED_TEST(TrsvDefault, FirstNonUnitSolveStoresTheDiagonalValuesOnce) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a6")};
  for (memory m : {memory::shared, memory::buffer}) {
    const auto A = dominant_matrix<T, I>(40, 4, 14);
    bound_matrix<T, I> b(q, A, m);
    const auto x = random_vector<T>(40, 3);
    b.trsv(vrt::uplo::upper, vrt::diag::nonunit, T(1), x);
    vs::diagonalValuesData* v = b.handle()->diag_values;
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(b.handle()->diag_struct, nullptr);
    void* diag = v->diag;
    expect_close(b.trsv(vrt::uplo::lower, vrt::diag::nonunit, T(1), x),
                 reference_solve(A, false, false, T(1), x), name_of(m));
    EXPECT_EQ(b.handle()->diag_values, v);
    EXPECT_EQ(v->diag, diag);
  }
}

TYPED_TEST(TrsvDefault, NoRowsLeavesYUntouched) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a0")};
  for (memory m : all_memories) {
    csr_matrix<T, I> A;
    A.row_ptr = {0};
    bound_matrix<T, I> b(q, A, m);
    for (vrt::uplo ul : both_triangles)
      for (vrt::diag dg : both_diags) {
        std::vector<T> start{vrt_test::nan_value<T>()};
        // The padded element stands for y: nothing may write it.
        const auto y = b.trsv(ul, dg, T(1), {}, &start);
        ASSERT_EQ(y.size(), 1u);
        EXPECT_TRUE(is_nan(y[0])) << name_of(m);
      }
  }
}

TYPED_TEST(TrsvDefault, AlphaZeroOnARowWithoutOffDiagonalEntries) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a4")};
  csr_matrix<T, I> A;
  A.nrows = A.ncols = 3;
  A.row_ptr = {0, 1, 3, 5};
  A.col_ind = {0, 0, 1, 1, 2};
  A.values = {T(4), T(1), T(2), T(1), T(8)};
  for (memory m : all_memories) {
    bound_matrix<T, I> b(q, A, m);
    const auto y = b.trsv(vrt::uplo::lower, vrt::diag::nonunit, T(0), {T(3), T(5), T(7)});
    for (const T& v : y) {
      EXPECT_FALSE(is_nan(v));
      EXPECT_EQ(v, T(0));
    }
  }
}

TYPED_TEST(TrsvDefault, Refusals) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a1")};
  const auto A = dominant_matrix<T, I>(8, 2, 1);
  bound_matrix<T, I> b(q, A, memory::device);
  vs::matrix_handle* h = b.handle();
  vrt_test::device_array<T> xs(q, std::vector<T>(8, T(1)), memory::device);
  vrt_test::device_array<T> ys(q, vrt_test::nan_vector<T>(8), memory::device);
  T* x = xs.usm();
  T* y = ys.usm();
  const auto solve = [&](vrt::uplo ul, vrt::transpose op) {
    vs::trsv(q, ul, op, vrt::diag::unit, T(1), h, x, y, {}).wait();
  };
  expect_triangular_refusals(h, "trsv", solve, [&] {
    vs::gpu::trsv_impl<T, I, vs::container_usm>(q, vrt::uplo::lower, vrt::transpose::nontrans,
                                                vrt::diag::unit, T(1), h, x, y, {});
  });
}

}  // namespace

namespace {

// The solve waits for its dependencies: x is written by a command the call only knows by its
// event (stress mode reorders what is not ordered).
TYPED_TEST(TrsvDefault, WaitsForItsDependencies) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  const auto A = dominant_matrix<T, I>(48, 5, 19);
  bound_matrix<T, I> b(q, A, memory::device);
  const std::vector<T> x(48, T(0.75));
  vrt_test::device_array<T> xs(q, std::vector<T>(48), memory::device);
  vrt_test::device_array<T> ys(q, vrt_test::nan_vector<T>(48), memory::device);
  T* dx = xs.usm();
  T* dy = ys.usm();
  for (vrt::diag dg : both_diags) {
    q.fill(dx, T(-1), 48).wait();
    const sycl::event written = q.fill(dx, T(0.75), 48);
    vs::trsv(q, vrt::uplo::upper, vrt::transpose::nontrans, dg, T(2), b.handle(), dx, dy, {written})
        .wait();
    expect_close(ys.read(), reference_solve(A, true, dg == vrt::diag::unit, T(2), x), "upper");
  }
}

}  // namespace
