// gemv on emulated GPUs through the public routine, against a plain reference, for the sixteen
// variants in both memory models, on the architecture codes whose first-use plans run the row
// kernels (0, 1, 2, 5) and the complex rewrites of those plans.
#include <gtest/gtest.h>

#include <cmath>
#include <hostsycl/hostsycl.hpp>
#include <limits>
#include <utility>

#include "gpu/mv/csr/csr_operands.hpp"
#include "handle/gemv_data.hpp"
#include "handle/handle.hpp"
#include "support/gemv_runner.hpp"
#include "support/sparse_matrices.hpp"
#include "support/test_helpers.hpp"

namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;
using vrt_test::csr_matrix;

namespace {

using vrt_test::all_variants;
using vrt_test::memory;

// Binds A on the queue in the chosen memory model, runs gemv, returns y. `inspect` sees the
// handle after the product and before its release.
template <typename T, typename I, typename Inspect = void (*)(vs::matrix_handle*)>
std::vector<T> run_gemv(
    sycl::queue& q, const csr_matrix<T, I>& A, memory m, vrt::transpose op, T alpha,
    const std::vector<T>& x, T beta, std::vector<T> y,
    Inspect inspect = [](vs::matrix_handle*) {}) {
  vrt_test::gemv_run_options o;
  o.model = m;
  o.op = op;
  o.done = inspect;
  return vrt_test::run_gemv_with(q, A, alpha, x, beta, std::move(y), o);
}

using vrt_test::random_vector;

template <typename T, typename I>
void check_against_reference(const char* profile, const csr_matrix<T, I>& A, T alpha, T beta,
                             const std::string& what) {
  sycl::queue q{hostsycl::emulated_gpu(profile)};
  const auto x = random_vector<T>(A.ncols, 7);
  const auto y0 = random_vector<T>(A.nrows, 11);
  const auto want = vrt_test::reference_gemv(A, vrt::transpose::nontrans, alpha, x, beta, y0);
  const auto scale = vrt_test::error_scale(A, vrt::transpose::nontrans, alpha, x, beta, y0);
  for (memory m : {memory::device, memory::buffer}) {
    const auto got = run_gemv(q, A, m, vrt::transpose::nontrans, alpha, x, beta, y0);
    vrt_test::expect_close(
        got, want, scale,
        what + " on " + profile + (m == memory::device ? " (USM)" : " (buffers)"));
  }
}

constexpr const char* row_kernel_profiles[] = {"emu-a0", "emu-a1", "emu-a2", "emu-a5"};

template <typename V>
class GemvCsr : public ::testing::Test {};
TYPED_TEST_SUITE(GemvCsr, all_variants);

TYPED_TEST(GemvCsr, RandomMatricesWithEmptyAndLongRows) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto A = vrt_test::random_csr<T, I>(120, 90, 40, 1, 0, 3, 300);
  for (const char* profile : row_kernel_profiles)
    check_against_reference<T, I>(profile, A, T(2), T(0.5), "rectangular");
}

TYPED_TEST(GemvCsr, OneBasedIndicesGiveTheZeroBasedResult) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto A = vrt_test::random_csr<T, I>(70, 110, 20, 2, 1);
  for (const char* profile : row_kernel_profiles)
    check_against_reference<T, I>(profile, A, T(-1.5), T(1), "one-based");
}

TYPED_TEST(GemvCsr, ZeroBetaAndNoNonZeros) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto empty = vrt_test::random_csr<T, I>(33, 17, 0, 3);
  ASSERT_EQ(empty.nnz(), 0);
  const auto A = vrt_test::random_csr<T, I>(64, 64, 9, 4);
  for (const char* profile : row_kernel_profiles) {
    check_against_reference<T, I>(profile, empty, T(1), T(2), "nnz 0");
    check_against_reference<T, I>(profile, A, T(3), T(0), "beta 0");
  }
}

TYPED_TEST(GemvCsr, SingleRowAndLongRows) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto one_row = vrt_test::random_csr<T, I>(1, 2000, 0, 5, 0, 1, 1500);
  const auto long_rows = vrt_test::random_csr<T, I>(40, 500, 3, 6, 1, 40, 257);
  for (const char* profile : row_kernel_profiles) {
    check_against_reference<T, I>(profile, one_row, T(1), T(0), "single row");
    check_against_reference<T, I>(profile, long_rows, T(0.25), T(-1), "long rows");
  }
}

// The first call fixes the plan from the architecture code; complex plans of kind 1 become kind
// 2 with half the vector length.
template <typename T>
void expect_first_use_plan(const char* profile, int kind, int group, int vector) {
  // A type left out of this build marks the whole test skipped, its other parts still run.
  if (!orvane::vrt::sparse::value_type_built<T>)
    GTEST_SKIP() << "value type left out of this build: " << vrt_test::value_type_name<T>();
  const auto A = vrt_test::random_csr<T, std::int32_t>(10, 10, 3, 8);
  sycl::queue q{hostsycl::emulated_gpu(profile)};
  const std::vector<T> x(10, T(1)), y(10, T(0));
  run_gemv(q, A, memory::device, vrt::transpose::nontrans, T(1), x, T(0), y,
           [&](vs::matrix_handle* h) {
             const vs::gemvInternalData* plan = h->primary->gemv_data;
             ASSERT_NE(plan, nullptr);
             EXPECT_TRUE(plan->cached);
             EXPECT_FALSE(plan->optimized);
             EXPECT_EQ(vs::kind_code(plan->kernel_kind), kind) << profile;
             EXPECT_EQ(plan->group_param, group) << profile;
             EXPECT_EQ(plan->vector_param, vector) << profile;
           });
}

TEST(GemvCsrPlan, FirstUsePlanByArchitectureCode) {
  expect_first_use_plan<float>("emu-a1", 1, 256, 8);
  expect_first_use_plan<double>("emu-a1", 1, 256, 4);
  expect_first_use_plan<std::complex<float>>("emu-a1", 2, 256, 4);
  expect_first_use_plan<std::complex<double>>("emu-a1", 2, 256, 2);
  // Code 5 keeps its row as first measured: the short vector goes to single precision.
  expect_first_use_plan<float>("emu-a5", 1, 4, 4);
  expect_first_use_plan<double>("emu-a5", 1, 4, 16);
  expect_first_use_plan<std::complex<float>>("emu-a5", 2, 4, 2);
  expect_first_use_plan<std::complex<double>>("emu-a5", 2, 4, 8);
  for (const char* profile : {"emu-a0", "emu-a2"}) {
    expect_first_use_plan<float>(profile, 1, 256, 16);
    expect_first_use_plan<std::complex<double>>(profile, 2, 256, 8);
  }
  // Codes 3 and 4 start on 8 sub-groups of 16, code 6 on 8 of 32, in every precision.
  auto every_precision = [](const char* profile, int kind, int group, int vector) {
    expect_first_use_plan<float>(profile, kind, group, vector);
    expect_first_use_plan<double>(profile, kind, group, vector);
    expect_first_use_plan<std::complex<float>>(profile, kind, group, vector);
    expect_first_use_plan<std::complex<double>>(profile, kind, group, vector);
  };
  every_precision("emu-a3", 3, 8, 16);
  every_precision("emu-a4", 3, 8, 16);
  every_precision("emu-a6", 3, 8, 32);
  // Without fp64 the device keeps code 1's single-precision plans.
  expect_first_use_plan<float>("emu-a1-nofp64", 1, 256, 8);
  expect_first_use_plan<std::complex<float>>("emu-a1-nofp64", 2, 256, 4);
}

// alpha == 0: the default kernel leaves the row unread; the row kernels form 0 * inf = NaN.
// beta == 0: the row kernels clear a NaN in y, the default kernel keeps it.
template <typename T>
std::vector<T> run_with_plan(const char* profile, int kind, T alpha, T beta, T value, T y0) {
  csr_matrix<T, std::int32_t> A;
  A.nrows = A.ncols = 2;
  A.row_ptr = {0, 1, 2};
  A.col_ind = {0, 1};
  A.values = {value, value};
  sycl::queue q{hostsycl::emulated_gpu(profile)};
  const std::vector<T> x(2, T(1));
  std::vector<T> y(2, y0);
  // The first product makes the plan; the second runs with the kind set here.
  std::vector<T> out;
  run_gemv(q, A, memory::device, vrt::transpose::nontrans, alpha, x, beta, y,
           [&](vs::matrix_handle* h) {
             h->primary->gemv_data->kernel_kind = vs::gemv_kind{kind};
             h->primary->gemv_data->group_param = 64;
             h->primary->gemv_data->vector_param = 4;
             T* d_y = sycl::malloc_shared<T>(2, q);
             T* d_x = sycl::malloc_shared<T>(2, q);
             d_y[0] = d_y[1] = y0;
             d_x[0] = d_x[1] = T(1);
             vs::gemv(q, vrt::transpose::nontrans, alpha, h, d_x, beta, d_y).wait();
             out = {d_y[0], d_y[1]};
             sycl::free(d_y, q);
             sycl::free(d_x, q);
           });
  return out;
}

TEST(GemvCsrKernels, ZeroAlphaReadsNoRowOnlyInTheDefaultKernel) {
  using Z = std::complex<double>;
  const double inf = std::numeric_limits<double>::infinity();
  // Complex plans of kind 4 on code 1 are rewritten to the default kernel.
  const auto by_default = run_with_plan<Z>("emu-a1", 4, Z(0), Z(2), Z(inf, 0), Z(3));
  EXPECT_EQ(by_default[0], Z(6));
  const auto by_rows = run_with_plan<Z>("emu-a1", 2, Z(0), Z(2), Z(inf, 0), Z(3));
  EXPECT_TRUE(std::isnan(by_rows[0].real()));
  const auto real_rows = run_with_plan<double>("emu-a2", 1, 0.0, 2.0, inf, 3.0);
  EXPECT_TRUE(std::isnan(real_rows[0]));
}

TEST(GemvCsrKernels, ZeroBetaClearsNaNExceptInTheDefaultKernel) {
  VRT_SKIP_UNLESS_BUILT(float);
  VRT_SKIP_UNLESS_BUILT(std::complex<float>);
  using C = std::complex<float>;
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const auto by_default = run_with_plan<C>("emu-a5", -1, C(1), C(0), C(2), C(nan, 0));
  EXPECT_TRUE(std::isnan(by_default[0].real()));
  const auto by_marray = run_with_plan<C>("emu-a5", 2, C(1), C(0), C(2), C(nan, 0));
  EXPECT_EQ(by_marray[0], C(2));
  const auto by_vec = run_with_plan<float>("emu-a0", 1, 1.0f, 0.0f, 2.0f, nan);
  EXPECT_EQ(by_vec[0], 2.0f);
  const auto by_marray_real = run_with_plan<float>("emu-a0", 2, 1.0f, 0.0f, 2.0f, nan);
  EXPECT_EQ(by_marray_real[1], 2.0f);
}

TEST(GemvCsrKernels, ComplexDefaultKernelConjugatesWhenAsked) {
  // The launcher carries the flag; the complex default kernel honours it.
  using Z = std::complex<double>;
  sycl::queue q{hostsycl::emulated_gpu("emu-a1")};
  std::int32_t* row_ptr = sycl::malloc_shared<std::int32_t>(2, q);
  std::int32_t* col_ind = sycl::malloc_shared<std::int32_t>(1, q);
  Z* values = sycl::malloc_shared<Z>(1, q);
  Z* x = sycl::malloc_shared<Z>(1, q);
  Z* y = sycl::malloc_shared<Z>(1, q);
  row_ptr[0] = 0;
  row_ptr[1] = 1;
  col_ind[0] = 0;
  values[0] = Z(1, 2);
  x[0] = Z(1, 0);
  y[0] = Z(0);
  vs::gemvInternalData* plan = nullptr;
  vs::initGemvInternalData(&plan);
  const vs::gpu::csr::gemv_operands<Z, std::int32_t, vs::container_usm> operands{
      row_ptr, col_ind, values, x, y, 1, 0, Z(1), Z(0), true};
  vs::gpu::csr::gemv_default<Z, std::int32_t, vs::container_usm>(q, *plan, operands, {}).wait();
  EXPECT_EQ(y[0], Z(1, -2));
  vs::gemvInternalDataRelease<Z, std::int32_t, vs::container_usm>(&plan, nullptr);
  for (void* p : {static_cast<void*>(row_ptr), static_cast<void*>(col_ind),
                  static_cast<void*>(values), static_cast<void*>(x), static_cast<void*>(y)})
    sycl::free(p, q);
}

TEST(GemvCsrKernels, LaunchersRefusePlansOutsideTheirGrid) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a2")};
  const auto A = vrt_test::random_csr<double, std::int32_t>(4, 4, 2, 9);
  const std::vector<double> x(4, 1.0), y(4, 0.0);
  run_gemv(
      q, A, memory::device, vrt::transpose::nontrans, 1.0, x, 0.0, y, [&](vs::matrix_handle* h) {
        h->primary->gemv_data->group_param = 128;
        double* d = sycl::malloc_shared<double>(4, q);
        try {
          vs::gemv(q, vrt::transpose::nontrans, 1.0, h, d, 0.0, d);
          ADD_FAILURE() << "a work-group size of 128 is not in the grid";
        } catch (const vrt::computation_error& e) {
          EXPECT_STREQ(e.what(),
                       "orvane::vrt::sparse::gemv csr: computation error: internal error");
        }
        h->primary->gemv_data->kernel_kind = vs::gemv_kind{9};
        try {
          vs::gemv(q, vrt::transpose::nontrans, 1.0, h, d, 0.0, d);
          ADD_FAILURE() << "kind 9 does not exist";
        } catch (const vrt::computation_error& e) {
          EXPECT_STREQ(e.what(), "orvane::vrt::sparse::gemv: computation error: internal error");
        }
        sycl::free(d, q);
      });
}

}  // namespace

namespace {

// A transposed product on the primary structure runs column-wise for device y (that backend
// arrives with the column kernels and refuses until then), and on an explicit transpose for host
// y, which is built on first need and kept.
TEST(GemvCsrRouting, TransposedProductsChooseTheirPath) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a2")};
  using Z = std::complex<double>;
  // A = [[0, 1+2i], [3, 4i]]
  vrt_test::bound_matrix<Z, std::int32_t> A(q, 2, 2, 0, {0, 1, 3}, {1, 0, 1},
                                            {Z(1, 2), Z(3, 0), Z(0, 4)}, memory::shared);
  A.wait();
  vs::matrix_handle* h = A.handle();
  // A finite sentinel: the column scatter scales y by beta first, and keeps a NaN under zero beta.
  vrt_test::device_array<Z> device_y_array(q, std::vector<Z>(2, Z(-1)), memory::device);
  vrt_test::device_array<Z> host_y_array(q, std::vector<Z>(2, Z(-1)), memory::host);
  vrt_test::device_array<Z> x_array(q, {Z(1, 0), Z(0, 1)}, memory::shared);
  Z* device_y = device_y_array.usm();
  Z* host_y = host_y_array.usm();
  Z* x = x_array.usm();
  // Device y: the column-oriented path on the primary, no explicit transpose.
  vs::gemv(q, vrt::transpose::trans, Z(1), h, x, Z(0), device_y).wait();
  Z scattered[2];
  q.memcpy(scattered, device_y, sizeof(scattered)).wait();
  // A^T x = [[0, 3], [1+2i, 4i]] x
  EXPECT_EQ(scattered[0], Z(0, 3));
  EXPECT_EQ(scattered[1], Z(-3, 2));
  EXPECT_EQ(h->transposed, nullptr);
  EXPECT_EQ(h->conj_transposed, nullptr);
  // The column path scales y by beta and so keeps a NaN under a zero beta, on purpose (the row
  // kernels clear it); the finite sentinel above is what shows that the scatter wrote y.
  const Z nan(std::numeric_limits<double>::quiet_NaN(), 0);
  const Z nans[2] = {nan, nan};
  q.memcpy(device_y, nans, sizeof(nans)).wait();
  vs::gemv(q, vrt::transpose::trans, Z(1), h, x, Z(0), device_y).wait();
  q.memcpy(scattered, device_y, sizeof(scattered)).wait();
  EXPECT_TRUE(std::isnan(scattered[0].real()) && std::isnan(scattered[1].real()));
  // Host y: each product starts from the sentinel again.
  auto reset_host_y = [&] { host_y[0] = host_y[1] = Z(-1); };
  vs::gemv(q, vrt::transpose::conjtrans, Z(1), h, x, Z(0), host_y).wait();
  // A^H x = [[0, 3], [1-2i, -4i]] x
  EXPECT_EQ(host_y[0], Z(0, 3));
  EXPECT_EQ(host_y[1], Z(5, -2));
  ASSERT_NE(h->conj_transposed, nullptr);
  EXPECT_EQ(h->transposed, nullptr);
  const vs::sparseStructure* kept = h->conj_transposed;
  reset_host_y();
  vs::gemv(q, vrt::transpose::conjtrans, Z(2), h, x, Z(0), host_y).wait();
  EXPECT_EQ(h->conj_transposed, kept) << "the stored transpose is reused";
  EXPECT_EQ(host_y[0], Z(0, 6));
  EXPECT_EQ(host_y[1], Z(10, -4));
  reset_host_y();
  vs::gemv(q, vrt::transpose::trans, Z(1), h, x, Z(0), host_y).wait();
  EXPECT_EQ(host_y[0], Z(0, 3));
  EXPECT_EQ(host_y[1], Z(-3, 2));
}

}  // namespace
