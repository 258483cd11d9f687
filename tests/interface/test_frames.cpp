// The call frame of the public routines: the order of the argument tests and every refusal text.
#include <gtest/gtest.h>

#include <functional>
#include <hostsycl/hostsycl.hpp>

#include "handle/handle.hpp"
#include "support/device_arrays.hpp"
#include "support/test_helpers.hpp"

namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;
using vrt::transpose;

namespace {

using vrt_test::expect_message;

using vrt_test::prefix;

// A handle bound to a 10 x 3 CSR matrix in shared USM (values of type T).
template <typename T>
struct bound_handle {
  vrt_test::bound_matrix<T, std::int32_t> bound;
  vs::matrix_handle* h = bound.handle();
  std::int32_t* rows = bound.first().usm();
  std::int32_t* cols = bound.col_ind().usm();
  T* values = bound.values().usm();
  explicit bound_handle(sycl::queue& q)
      : bound(q, 10, 3, 0, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10}, {0, 1, 2, 0, 1, 2, 0, 1, 2, 0},
              std::vector<T>(10, T(1)), vrt_test::memory::shared) {
    bound.wait();
  }
};

TEST(CallFrame, PointersAreTestedInTheirOrderBeforeTheDevice) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a1-nofp64")};
  double* v = sycl::malloc_shared<double>(16, q);
  // The null tests come first, even on a device without fp64.
  expect_message<vrt::uninitialized>(
      [&] { vs::gemv(q, transpose::nontrans, 1.0, nullptr, v, 0.0, v); },
      prefix("gemv") + "uninitialized object: hMatrix");
  vs::matrix_handle* h = nullptr;
  vs::init_matrix_handle(&h);
  expect_message<vrt::uninitialized>(
      [&] { vs::gemv(q, transpose::nontrans, 1.0, h, nullptr, 0.0, v); },
      prefix("gemv") + "uninitialized object: x");
  expect_message<vrt::uninitialized>(
      [&] { vs::gemv(q, transpose::nontrans, 1.0, h, v, 0.0, nullptr); },
      prefix("gemv") + "uninitialized object: y");
  expect_message<vrt::uninitialized>(
      [&] { vs::gemvdot(q, transpose::nontrans, 1.0, h, v, 0.0, v, nullptr); },
      prefix("gemvdot") + "uninitialized object: d");
  expect_message<vrt::uninitialized>(
      [&] { vs::symv(q, vrt::uplo::lower, 1.0, h, v, 0.0, nullptr); },
      prefix("symv") + "uninitialized object: y");
  expect_message<vrt::uninitialized>(
      [&] {
        vs::trmv(q, vrt::uplo::lower, transpose::nontrans, vrt::diag::unit, 1.0, h, nullptr, 0.0,
                 v);
      },
      prefix("trmv") + "uninitialized object: x");
  expect_message<vrt::uninitialized>(
      [&] { vs::trsv(q, vrt::uplo::lower, transpose::nontrans, vrt::diag::unit, nullptr, v, v); },
      prefix("trsv") + "uninitialized object: hMatrix");
  expect_message<vrt::uninitialized>(
      [&] {
        vs::gemm(q, vrt::layout::row_major, transpose::nontrans, transpose::nontrans, 1.0, h,
                 nullptr, 1, 1, 0.0, v, 1);
      },
      prefix("gemm") + "uninitialized object: b");
  expect_message<vrt::uninitialized>(
      [&] {
        vs::trsm(q, vrt::layout::row_major, transpose::nontrans, transpose::nontrans,
                 vrt::uplo::lower, vrt::diag::unit, 1.0, h, v, 1, 1, nullptr, 1);
      },
      prefix("trsm") + "uninitialized object: y");
  // The double-precision binding tests the device before the handle.
  const std::string device_name = q.get_device().get_info<sycl::info::device::name>();
  expect_message<vrt::unsupported_device>(
      [&] {
        vs::set_csr_data(q, nullptr, 1, 1, vrt::index_base::zero, (std::int32_t*)nullptr,
                         (std::int32_t*)nullptr, v);
      },
      prefix("set_csr_data") + "unsupported device: " + device_name);
  expect_message<vrt::unsupported_device>(
      [&] {
        vs::set_coo_data(q, nullptr, 1, 1, 0, vrt::index_base::zero, (std::int32_t*)nullptr,
                         (std::int32_t*)nullptr, v);
      },
      prefix("set_coo_data") + "unsupported device: " + device_name);
  // Single precision has no device test: the handle is reported.
  expect_message<vrt::uninitialized>(
      [&] {
        vs::set_csr_data(q, nullptr, 1, 1, vrt::index_base::zero, (std::int32_t*)nullptr,
                         (std::int32_t*)nullptr, (float*)nullptr);
      },
      prefix("set_csr_data") +
          "uninitialized object: one or more of hMatrix, row_ptr or col_ind or a_buffer is not "
          "initialized");
  expect_message<vrt::uninitialized>(
      [&] {
        vs::set_coo_data(q, nullptr, 1, 1, 0, vrt::index_base::zero, (std::int32_t*)nullptr,
                         (std::int32_t*)nullptr, (float*)nullptr);
      },
      prefix("set_coo_data") +
          "uninitialized object: one or more of hMatrix, row_ind or col_ind or a_buffer is not "
          "initialized");
  sycl::buffer<float, 1> empty_values(sycl::range<1>(1));
  sycl::buffer<std::int32_t, 1> index_buffer(sycl::range<1>(1));
  expect_message<vrt::uninitialized>(
      [&] {
        vs::set_csr_data(nullptr, 1, 1, vrt::index_base::zero, index_buffer, index_buffer,
                         empty_values);
      },
      prefix("set_csr_data") + "uninitialized object: hMatrix");
  // A double handle on a device without fp64 is refused with the device's name.
  h->fp_type = vs::fp_double;
  expect_message<vrt::unsupported_device>(
      [&] { vs::gemv(q, transpose::nontrans, 1.0, h, v, 0.0, v); },
      prefix("gemv") + "unsupported device: " + device_name);
  expect_message<vrt::unsupported_device>(
      [&] { vs::trsv(q, vrt::uplo::lower, transpose::nontrans, vrt::diag::unit, h, v, v); },
      prefix("trsv") + "unsupported device: " + device_name);
  vs::release_matrix_handle(&h);
  sycl::free(v, q);
}

TEST(CallFrame, BufferOfByteSizeZeroCountsAsNull) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a2")};
  vs::matrix_handle* h = nullptr;
  vs::init_matrix_handle(&h);
  sycl::buffer<float, 1> empty(sycl::range<1>(0));
  sycl::buffer<float, 1> some(sycl::range<1>(4));
  expect_message<vrt::uninitialized>(
      [&] { vs::gemv(q, transpose::nontrans, 1.0f, h, some, 0.0f, empty); },
      prefix("gemv") + "uninitialized object: y");
  expect_message<vrt::uninitialized>(
      [&] { vs::update_diagonal_values(q, h, empty); },
      prefix("update_diagonal_values") + "uninitialized object: hMatrix");
  vs::release_matrix_handle(&h);
}

// The USM form's null diagonal is refused as the buffer form's empty one, before any kernel
// could read through it (a fuzzer found the read).
TEST(CallFrame, NullDiagonalPointerCountsAsNull) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a2")};
  vs::matrix_handle* h = nullptr;
  vs::init_matrix_handle(&h);
  expect_message<vrt::uninitialized>(
      [&] { vs::update_diagonal_values(q, h, 4, static_cast<const double*>(nullptr), {}); },
      prefix("update_diagonal_values") + "uninitialized object: hMatrix");
  vs::release_matrix_handle(&h);
}

TEST(CallFrame, AFreshHandleReachesTheBackendAndIsNotInitialized) {
  VRT_SKIP_UNLESS_BUILT(float);
  sycl::queue q{hostsycl::emulated_gpu("emu-a2")};
  vs::matrix_handle* h = nullptr;
  vs::init_matrix_handle(&h);
  float* v = sycl::malloc_shared<float>(4, q);
  expect_message<vrt::uninitialized>(
      [&] { vs::gemv(q, transpose::nontrans, 1.0f, h, v, 0.0f, v); },
      prefix("gemv") + "uninitialized object: Matrix is not initialized");
  EXPECT_NE(h->context, nullptr) << "the context is cached before dispatch";
  h->int_type = vs::int_unset;
  expect_message<vrt::invalid_argument>(
      [&] { vs::gemv(q, transpose::nontrans, 1.0f, h, v, 0.0f, v); },
      prefix("gemv") +
          "invalid argument: integer type is unset in matrix handle, meaning set_xxx_data was "
          "not called after initialization");
  h->int_type = static_cast<vs::intType>(5);
  expect_message<vrt::computation_error>(
      [&] { vs::gemv(q, transpose::nontrans, 1.0f, h, v, 0.0f, v); },
      prefix("gemv") + "computation error: internal error");
  h->int_type = vs::int_32;
  vs::release_matrix_handle(&h);
  sycl::free(v, q);
}

TEST(CallFrame, GemmDenseArgumentTests) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a2")};
  bound_handle<float> A(q);
  float* b = sycl::malloc_shared<float>(64, q);
  auto gemm = [&](vrt::layout lay, transpose opA, transpose opB, std::int64_t columns,
                  std::int64_t ldb, std::int64_t ldc) {
    vs::gemm(q, lay, opA, opB, 1.0f, A.h, b, columns, ldb, 0.0f, b, ldc).wait();
  };
  const std::string sizes =
      prefix("gemm") + "invalid argument: one or more of columns, ldb and ldc are invalid";
  const std::string incompatible =
      prefix("gemm") + "invalid argument: incompatible leading dimensions with dense matrix layout";
  const std::string dense_op = prefix("gemm") +
                               "unimplemented functionality: Only non-transpose operation is "
                               "supported for dense matrix in sparse";
  expect_message<vrt::invalid_argument>(
      [&] { gemm(vrt::layout::row_major, transpose::nontrans, transpose::nontrans, 0, 1, 1); },
      sizes);
  expect_message<vrt::invalid_argument>(
      [&] { gemm(vrt::layout::row_major, transpose::nontrans, transpose::nontrans, 2, 1, 2); },
      incompatible);
  // Row-major: the leading dimension test comes before the dense operation test.
  expect_message<vrt::invalid_argument>(
      [&] { gemm(vrt::layout::row_major, transpose::nontrans, transpose::trans, 2, 1, 2); },
      incompatible);
  expect_message<vrt::unimplemented>(
      [&] { gemm(vrt::layout::row_major, transpose::nontrans, transpose::trans, 2, 2, 2); },
      dense_op);
  // Column-major: the dense operation test comes first.
  expect_message<vrt::unimplemented>(
      [&] { gemm(vrt::layout::col_major, transpose::nontrans, transpose::trans, 2, 1, 1); },
      dense_op);
  // A 10 x 3 matrix with trans: b has 10 rows, c has 3.
  expect_message<vrt::invalid_argument>(
      [&] { gemm(vrt::layout::col_major, transpose::trans, transpose::nontrans, 2, 9, 3); },
      incompatible);
  expect_message<vrt::invalid_argument>(
      [&] { gemm(vrt::layout::col_major, transpose::trans, transpose::nontrans, 2, 10, 2); },
      incompatible);
  expect_message<vrt::invalid_argument>(
      [&] { gemm(vrt::layout::col_major, transpose::nontrans, transpose::nontrans, 2, 2, 10); },
      incompatible);
  expect_message<vrt::invalid_argument>(
      [&] {
        gemm(static_cast<vrt::layout>(2), transpose::nontrans, transpose::nontrans, 2, 20, 20);
      },
      sizes);
  // Past the tests, the call reaches the device backend.
  try {
    gemm(vrt::layout::col_major, transpose::trans, transpose::nontrans, 2, 10, 3);
  } catch (const vrt::invalid_argument& e) {
    ADD_FAILURE() << "ldb 10 and ldc 3 are enough: " << e.what();
  } catch (const vrt::exception&) {
  }
  sycl::free(b, q);
}

TEST(CallFrame, TrsmDenseArgumentTests) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a2")};
  bound_handle<float> A(q);
  float* x = sycl::malloc_shared<float>(64, q);
  auto trsm = [&](vrt::layout lay, transpose opX, std::int64_t columns, std::int64_t ldx,
                  std::int64_t ldy) {
    vs::trsm(q, lay, transpose::nontrans, opX, vrt::uplo::lower, vrt::diag::nonunit, 1.0f, A.h, x,
             columns, ldx, x, ldy)
        .wait();
  };
  const std::string sizes =
      prefix("trsm") + "invalid argument: one or more of columns, ldx and ldy are invalid";
  expect_message<vrt::invalid_argument>(
      [&] { trsm(vrt::layout::row_major, transpose::nontrans, 1, 0, 1); }, sizes);
  // Where gemm speaks of incompatible leading dimensions, trsm repeats its size message.
  expect_message<vrt::invalid_argument>(
      [&] { trsm(vrt::layout::row_major, transpose::nontrans, 3, 2, 3); }, sizes);
  expect_message<vrt::invalid_argument>(
      [&] { trsm(static_cast<vrt::layout>(2), transpose::nontrans, 3, 3, 3); },
      prefix("trsm") +
          "invalid argument: incompatible leading dimensions with dense matrix layout");
  expect_message<vrt::unimplemented>(
      [&] { trsm(vrt::layout::col_major, transpose::trans, 3, 1, 1); },
      prefix("trsm") +
          "unimplemented functionality: Only non-transpose operation is supported for dense matrix "
          "in sparse");
  sycl::free(x, q);
}

TEST(CallFrame, UpdateDiagonalValuesComparesTheMemoryModel) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a2")};
  bound_handle<float> A(q);
  sycl::buffer<float, 1> diagonal(sycl::range<1>(10));
  expect_message<vrt::exception>(
      [&] { vs::update_diagonal_values(q, A.h, diagonal); },
      prefix("update_diagonal_values") + "sycl::buffer API called with USM data");
  A.h->container = vs::container_buffer;
  expect_message<vrt::exception>(
      [&] { vs::update_diagonal_values(q, A.h, 10, A.values); },
      prefix("update_diagonal_values") + "USM API called with sycl::buffer data");
  A.h->container = vs::container_usm;
  sycl::queue cpu{sycl::cpu_selector_v};
  expect_message<vrt::unimplemented>(
      [&] { vs::update_diagonal_values(cpu, A.h, 10, A.values); },
      prefix("update_diagonal_values") +
          "unimplemented functionality: currently does not support cpu device");
}

TEST(CallFrame, RoutinesOfAllVariantsSelectFromTheHandle) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a2")};
  bound_handle<double> A(q);
  expect_message<vrt::uninitialized>([&] { vs::optimize_gemv(q, transpose::nontrans, nullptr); },
                                     prefix("optimize_gemv") + "uninitialized object: hMatrix");
  expect_message<vrt::uninitialized>(
      [&] {
        vs::optimize_trsm(q, vrt::uplo::lower, transpose::nontrans, vrt::diag::unit, nullptr);
      },
      prefix("optimize_trsm") + "uninitialized object: hMatrix");
  expect_message<vrt::uninitialized>([&] { vs::sort_matrix(q, nullptr); },
                                     prefix("sort_matrix") + "uninitialized object");
  expect_message<vrt::uninitialized>([&] { vs::omatcopy(q, transpose::nontrans, A.h, nullptr); },
                                     prefix("omatcopy") + "uninitialized object");
  const std::string unset =
      "invalid argument: integer type is unset in matrix handle, meaning set_xxx_data was not "
      "called after initialization";
  A.h->int_type = vs::int_unset;
  // The triangular analysis reports an unset index type as unimplemented.
  expect_message<vrt::unimplemented>(
      [&] { vs::optimize_trsv(q, vrt::uplo::lower, transpose::nontrans, vrt::diag::unit, A.h); },
      prefix("optimized_trsv") +
          "unimplemented functionality: integer type is unset in matrix "
          "handle, meaning set_xxx_data was not called after "
          "initialization");
  expect_message<vrt::invalid_argument>(
      [&] { vs::optimize_trsm(q, vrt::uplo::lower, transpose::nontrans, vrt::diag::unit, A.h); },
      prefix("optimized_trsm") + unset);
  expect_message<vrt::invalid_argument>([&] { vs::optimize_gemv(q, transpose::nontrans, A.h); },
                                        prefix("optimize_gemv") + unset);
  A.h->int_type = vs::int_32;
  A.h->fp_type = static_cast<vs::fpType>(7);
  expect_message<vrt::unimplemented>(
      [&] { vs::optimize_trmv(q, vrt::uplo::lower, transpose::nontrans, vrt::diag::unit, A.h); },
      prefix("optimize_trmv") +
          "unimplemented functionality: currently only supports double, float "
          "std::complex<double>, and std::complex<float>");
  A.h->fp_type = vs::fp_double;
  // omatcopy compares the two handles first.
  bound_handle<float> B(q);
  expect_message<vrt::invalid_argument>(
      [&] { vs::omatcopy(q, transpose::nontrans, A.h, B.h); },
      prefix("omatcopy") +
          "invalid argument: integer, floating point, and USM/sycl::buffer types must match "
          "between matrix handles");
  // sort_matrix on a handle that never received data.
  vs::matrix_handle* fresh = nullptr;
  vs::init_matrix_handle(&fresh);
  expect_message<vrt::unimplemented>(
      [&] { vs::sort_matrix(q, fresh); },
      prefix("sort_matrix") +
          "unimplemented functionality: set_csr_data must be called before calling sort_matrix");
  vs::release_matrix_handle(&fresh);
}

TEST(CallFrame, MatmatDescriptorAndFrame) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a2")};
  expect_message<vrt::uninitialized>([&] { vs::init_matmat_descr(nullptr); },
                                     prefix("matmat") + "uninitialized object");
  vs::matmat_descr* d = nullptr;
  vs::init_matmat_descr(&d);
  vs::matrix_view_descr va, vb, vc;
  transpose oa, ob;
  vs::get_matmat_data(d, va, oa, vb, ob, vc);
  EXPECT_EQ(va, vs::matrix_view_descr::general);
  EXPECT_EQ(oa, transpose::nontrans);
  vs::set_matmat_data(d, vs::matrix_view_descr::general, transpose::trans,
                      vs::matrix_view_descr::general, transpose::conjtrans,
                      vs::matrix_view_descr::general);
  vs::get_matmat_data(d, va, oa, vb, ob, vc);
  EXPECT_EQ(oa, transpose::trans);
  EXPECT_EQ(ob, transpose::conjtrans);
  expect_message<vrt::uninitialized>(
      [&] { vs::set_matmat_data(nullptr, va, oa, vb, ob, vc); },
      prefix("set_matmat_data") + "uninitialized object: matmat descriptor is not initialized");
  expect_message<vrt::uninitialized>([&] { vs::get_matmat_data(nullptr, va, oa, vb, ob, vc); },
                                     prefix("matrix") + "uninitialized object");
  bound_handle<float> A(q);
  expect_message<vrt::uninitialized>(
      [&] {
        vs::matmat(q, A.h, A.h, A.h, vs::matmat_request::get_nnz, nullptr, (std::int64_t*)nullptr,
                   nullptr);
      },
      prefix("matmat") + "uninitialized object");
  A.h->fp_type = vs::fp_unset;
  expect_message<vrt::invalid_argument>(
      [&] {
        vs::matmat(q, A.h, A.h, A.h, vs::matmat_request::get_nnz, d, (std::int64_t*)nullptr,
                   nullptr);
      },
      prefix("matmat") +
          "invalid argument: float type is unset in matrix handle, meaning set_xxx_data was not "
          "called after initialization");
  A.h->fp_type = vs::fp_float;
  vs::release_matmat_descr(&d);
}

}  // namespace
