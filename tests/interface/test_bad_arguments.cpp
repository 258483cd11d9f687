// Bad arguments get the library's exceptions, never a crash: null out-pointers, a property before
// binding, a call through the wrong value type or memory model, negative or short sizes, and
// enumeration values outside their range.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <hostsycl/hostsycl.hpp>
#include <limits>
#include <orvane/vrt/sparse.hpp>
#include <string>
#include <vector>

#include "handle/handle.hpp"
#include "support/device_arrays.hpp"
#include "support/test_helpers.hpp"

namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;
using vrt::transpose;
using vrt_test::expect_message;

namespace {

using vrt_test::prefix;

// A 3 x 3 lower triangle [[1], [1, 2], [0, 1, 3]] in shared USM, bound with values of type T;
// x holds ones, y NaN.
template <typename T>
struct usm_matrix {
  vrt_test::bound_matrix<T, std::int32_t> bound;
  vrt_test::device_array<T> x_array, y_array;
  vs::matrix_handle_t h = bound.handle();
  std::int32_t* cols = bound.col_ind().usm();
  T* values = bound.values().usm();
  T* x = x_array.usm();
  T* y = y_array.usm();
  explicit usm_matrix(sycl::queue& q)
      : bound(q, 3, 3, 0, {0, 1, 3, 5}, {0, 0, 1, 1, 2}, {T(1), T(2), T(3), T(4), T(5)},
              vrt_test::memory::shared),
        x_array(q, std::vector<T>(9, T(1)), vrt_test::memory::shared),
        y_array(q, std::vector<T>(9, T(std::numeric_limits<float>::quiet_NaN())),
                vrt_test::memory::shared) {
    bound.wait();
  }
};

TEST(BadArguments, NullOutPointersAreRefused) {
  sycl::queue q{sycl::cpu_selector_v};
  expect_message<vrt::invalid_argument>([] { vs::init_matrix_handle(nullptr); },
                                        prefix("init_matrix_handle") + "invalid argument: handle");
  expect_message<vrt::invalid_argument>(
      [&] { vs::release_matrix_handle(q, nullptr); },
      prefix("release_matrix_handle") + "invalid argument: handle");
  expect_message<vrt::invalid_argument>(
      [] { vs::release_matrix_handle(nullptr); },
      prefix("release_matrix_handle") + "invalid argument: handle");
  expect_message<vrt::invalid_argument>([] { vs::release_matmat_descr(nullptr); },
                                        prefix("release_matmat_descr") + "invalid argument: descr");
}

TEST(BadArguments, APropertyBeforeBindingIsRefused) {
  vs::matrix_handle_t h = nullptr;
  vs::init_matrix_handle(&h);
  expect_message<vrt::uninitialized>(
      [&] { vs::set_matrix_property(h, vs::property::sorted); },
      prefix("set_matrix_property") + "uninitialized object: Matrix is not initialized");
  vs::release_matrix_handle(&h);
}

TEST(BadArguments, AHandleIsReadOnlyThroughItsOwnValueType) {
  for (const char* device : {"cpu", "emu-a1"}) {
    sycl::queue q{std::string(device) == "cpu" ? sycl::device(sycl::cpu_selector_v)
                                               : hostsycl::emulated_gpu(device)};
    usm_matrix<float> A(q);
    double* d = sycl::malloc_shared<double>(9, q);
    expect_message<vrt::invalid_argument>(
        [&] { vs::gemv(q, transpose::nontrans, 1.0, A.h, d, 0.0, d).wait(); },
        prefix("gemv") +
            "invalid argument: the value type of the call differs from the matrix "
            "handle's");
    expect_message<vrt::invalid_argument>(
        [&] {
          vs::trsv(q, vrt::uplo::lower, transpose::nontrans, vrt::diag::nonunit, A.h, d, d).wait();
        },
        prefix("trsv") +
            "invalid argument: the value type of the call differs from the matrix "
            "handle's");
    sycl::free(d, q);
  }
}

TEST(BadArguments, AHandleIsReadOnlyThroughItsOwnMemoryModel) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a1")};
  usm_matrix<double> A(q);
  sycl::buffer<double, 1> x{sycl::range<1>(3)}, y{sycl::range<1>(3)};
  expect_message<vrt::invalid_argument>(
      [&] { vs::gemv(q, transpose::nontrans, 1.0, A.h, x, 0.0, y); },
      prefix("gemv") + "invalid argument: sycl::buffer API called with USM data");

  std::vector<std::int32_t> rows{0, 1}, cols{0};
  std::vector<double> values{1};
  sycl::buffer<std::int32_t, 1> rb(rows.data(), sycl::range<1>(2)),
      cb(cols.data(), sycl::range<1>(1));
  sycl::buffer<double, 1> vb(values.data(), sycl::range<1>(1));
  vs::matrix_handle_t B = nullptr;
  vs::init_matrix_handle(&B);
  vs::set_csr_data(q, B, 1, 1, vrt::index_base::zero, rb, cb, vb);
  expect_message<vrt::invalid_argument>(
      [&] { vs::gemv(q, transpose::nontrans, 1.0, B, A.x, 0.0, A.y).wait(); },
      prefix("gemv") + "invalid argument: USM API called with sycl::buffer data");
  vs::release_matrix_handle(&B);
}

TEST(BadArguments, NegativeAndShortSizesAreRefusedAtBinding) {
  sycl::queue q{sycl::cpu_selector_v};
  vs::matrix_handle_t h = nullptr;
  vs::init_matrix_handle(&h);
  std::int32_t* rows = sycl::malloc_shared<std::int32_t>(4, q);
  double* values = sycl::malloc_shared<double>(4, q);
  expect_message<vrt::invalid_argument>(
      [&] { vs::set_csr_data(q, h, -1, 3, vrt::index_base::zero, rows, rows, values).wait(); },
      prefix("set_csr_data") + "invalid argument: nrows is negative");
  expect_message<vrt::invalid_argument>(
      [&] { vs::set_csr_data(q, h, 3, -2, vrt::index_base::zero, rows, rows, values).wait(); },
      prefix("set_csr_data") + "invalid argument: ncols is negative");
  expect_message<vrt::invalid_argument>(
      [&] { vs::set_coo_data(q, h, 3, 3, -5, vrt::index_base::zero, rows, rows, values).wait(); },
      prefix("set_coo_data") + "invalid argument: nnz is negative");
  expect_message<vrt::invalid_argument>(
      [&] {
        vs::set_csr_data(q, h, 3, 3, static_cast<vrt::index_base>(7), rows, rows, values).wait();
      },
      prefix("set_csr_data") +
          "invalid argument: index is neither index_base::zero nor index_base::one");
  // A refused binding leaves the handle unbound.
  EXPECT_EQ(h->primary, nullptr);

  sycl::buffer<std::int32_t, 1> short_rows{sycl::range<1>(3)}, cols{sycl::range<1>(4)};
  sycl::buffer<double, 1> vals{sycl::range<1>(4)};
  expect_message<vrt::invalid_argument>(
      [&] { vs::set_csr_data(q, h, 3, 3, vrt::index_base::zero, short_rows, cols, vals); },
      prefix("set_csr_data") + "invalid argument: row_ptr holds fewer than nrows + 1 entries");
  expect_message<vrt::invalid_argument>(
      [&] { vs::set_coo_data(q, h, 3, 3, 5, vrt::index_base::zero, cols, cols, vals); },
      prefix("set_coo_data") + "invalid argument: row_ind holds fewer than nnz entries");
  EXPECT_EQ(h->primary, nullptr);
  vs::release_matrix_handle(&h);
  sycl::free(rows, q);
  sycl::free(values, q);
}

TEST(BadArguments, EnumerationsOutsideTheirRangeAreRefusedOnCpuQueues) {
  sycl::queue q{sycl::cpu_selector_v};
  usm_matrix<double> A(q);
  const auto bad_op = static_cast<transpose>(99);
  const auto bad_uplo = static_cast<vrt::uplo>(7);
  const auto bad_diag = static_cast<vrt::diag>(5);
  expect_message<vrt::invalid_argument>(
      [&] { vs::gemv(q, bad_op, 1.0, A.h, A.x, 0.0, A.y).wait(); },
      prefix("gemv") + "invalid argument: op");
  expect_message<vrt::invalid_argument>(
      [&] { vs::gemvdot(q, bad_op, 1.0, A.h, A.x, 0.0, A.y, A.y + 3).wait(); },
      prefix("gemvdot") + "invalid argument: op");
  expect_message<vrt::invalid_argument>(
      [&] { vs::trsv(q, bad_uplo, transpose::nontrans, vrt::diag::nonunit, A.h, A.x, A.y).wait(); },
      prefix("trsv") + "invalid argument: uplo_flag");
  expect_message<vrt::invalid_argument>(
      [&] { vs::trsv(q, vrt::uplo::lower, transpose::nontrans, bad_diag, A.h, A.x, A.y).wait(); },
      prefix("trsv") + "invalid argument: diag_flag");
  expect_message<vrt::invalid_argument>(
      [&] { vs::trsv(q, vrt::uplo::lower, bad_op, vrt::diag::nonunit, A.h, A.x, A.y).wait(); },
      prefix("trsv") + "invalid argument: op");
  expect_message<vrt::invalid_argument>(
      [&] {
        vs::trmv(q, vrt::uplo::lower, transpose::nontrans, bad_diag, 1.0, A.h, A.x, 0.0, A.y)
            .wait();
      },
      prefix("trmv") + "invalid argument: diag_flag");
  expect_message<vrt::invalid_argument>(
      [&] {
        vs::gemm(q, vrt::layout::row_major, bad_op, transpose::nontrans, 1.0, A.h, A.x, 3, 3, 0.0,
                 A.y, 3)
            .wait();
      },
      prefix("gemm") + "invalid argument: opA");
  expect_message<vrt::invalid_argument>(
      [&] {
        vs::optimize_trsm(q, static_cast<vrt::layout>(4), vrt::uplo::lower, transpose::nontrans,
                          vrt::diag::nonunit, A.h, 2)
            .wait();
      },
      prefix("optimize_trsm") + "invalid argument: layout");
  expect_message<vrt::invalid_argument>(
      [&] { vs::optimize_trsv(q, bad_uplo, transpose::nontrans, vrt::diag::nonunit, A.h).wait(); },
      prefix("optimize_trsv") + "invalid argument: uplo_flag");
  // The product's descriptor carries operations too.
  usm_matrix<double> B(q);
  vs::matmat_descr_t descr = nullptr;
  vs::init_matmat_descr(&descr);
  vs::set_matmat_data(descr, vs::matrix_view_descr::general, bad_op, vs::matrix_view_descr::general,
                      transpose::nontrans, vs::matrix_view_descr::general);
  expect_message<vrt::invalid_argument>(
      [&] {
        vs::matmat(q, A.h, B.h, B.h, vs::matmat_request::work_estimation, descr,
                   static_cast<std::int64_t*>(nullptr), nullptr)
            .wait();
      },
      prefix("matmat") + "invalid argument: opA");
  vs::release_matmat_descr(&descr);
  // Nothing was computed: y still holds its sentinels.
  for (int k = 0; k < 3; ++k) EXPECT_TRUE(std::isnan(A.y[k])) << k;
}

}  // namespace

// The triangular routines' diag and the COO product's op outside their range, on the host engine
// and on an emulated GPU: a refusal, never a solve or a product of some other kind.
TEST(BadArguments, EnumerationsOutsideTheirRangeAreRefusedOnEveryDevice) {
  const auto bad_op = static_cast<transpose>(99);
  const auto bad_diag = static_cast<vrt::diag>(5);
  for (const char* device : {"cpu", "emu-a1"}) {
    SCOPED_TRACE(device);
    sycl::queue q{std::string(device) == "cpu" ? sycl::device{sycl::cpu_selector_v}
                                               : hostsycl::emulated_gpu(device)};
    usm_matrix<double> A(q);
    expect_message<vrt::invalid_argument>(
        [&] { vs::trsv(q, vrt::uplo::lower, transpose::nontrans, bad_diag, A.h, A.x, A.y).wait(); },
        prefix("trsv") + "invalid argument: diag_flag");
    expect_message<vrt::invalid_argument>(
        [&] { vs::optimize_trsv(q, vrt::uplo::lower, transpose::nontrans, bad_diag, A.h).wait(); },
        prefix("optimize_trsv") + "invalid argument: diag_flag");
    // The same entries as COO: rows {0, 1, 1, 2, 2}.
    vs::matrix_handle_t coo = nullptr;
    vs::init_matrix_handle(&coo);
    std::int32_t* rows = sycl::malloc_shared<std::int32_t>(5, q);
    const std::int32_t r[] = {0, 1, 1, 2, 2};
    for (int k = 0; k < 5; ++k) rows[k] = r[k];
    vs::set_coo_data(q, coo, 3, 3, 5, vrt::index_base::zero, rows, A.cols, A.values).wait();
    if (std::string(device) == "cpu")
      expect_message<vrt::invalid_argument>(
          [&] { vs::gemv(q, bad_op, 1.0, coo, A.x, 0.0, A.y).wait(); },
          prefix("gemv") + "invalid argument: op");
    else  // as the CSR path's structure choice says it
      expect_message<vrt::computation_error>(
          [&] { vs::gemv(q, bad_op, 1.0, coo, A.x, 0.0, A.y).wait(); },
          "orvane::vrt::sparse: computation error: internal error");
    vs::release_matrix_handle(q, &coo).wait();
    sycl::free(rows, q);
    // Nothing was computed: y still holds its sentinels.
    for (int k = 0; k < 3; ++k) EXPECT_TRUE(std::isnan(A.y[k])) << k;
  }
}
