// The public enumerations and the exception family with its message composition.
#include <gtest/gtest.h>

#include <orvane/vrt/sparse.hpp>
#include <type_traits>

namespace vrt = orvane::vrt;

namespace {

TEST(Enumerations, ValuesAndWidthsAreFixed) {
  static_assert(sizeof(vrt::transpose) == 1 && sizeof(vrt::uplo) == 1 && sizeof(vrt::diag) == 1 &&
                sizeof(vrt::layout) == 1 && sizeof(vrt::index_base) == 1 &&
                sizeof(vrt::sparse::property) == 1);
  static_assert(sizeof(vrt::sparse::matrix_view_descr) == 4 &&
                sizeof(vrt::sparse::matmat_request) == 4);
  EXPECT_EQ(static_cast<int>(vrt::transpose::nontrans), 0);
  EXPECT_EQ(static_cast<int>(vrt::transpose::trans), 1);
  EXPECT_EQ(static_cast<int>(vrt::transpose::conjtrans), 3);
  // Any transposed operation: (op & ~2) == 1.
  for (auto op : {vrt::transpose::trans, vrt::transpose::conjtrans})
    EXPECT_EQ(static_cast<int>(op) & ~2, 1);
  EXPECT_NE(static_cast<int>(vrt::transpose::nontrans) & ~2, 1);
  EXPECT_EQ(static_cast<int>(vrt::uplo::lower), 1);
  EXPECT_EQ(static_cast<int>(vrt::diag::unit), 1);
  EXPECT_EQ(static_cast<int>(vrt::layout::col_major), 1);
  EXPECT_EQ(static_cast<int>(vrt::index_base::one), 1);
  EXPECT_EQ(static_cast<int>(vrt::sparse::property::sorted), 1);
  EXPECT_EQ(static_cast<int>(vrt::sparse::matrix_view_descr::general), 1);
  EXPECT_EQ(static_cast<int>(vrt::sparse::matmat_request::get_work_estimation_buf_size), 1);
  EXPECT_EQ(static_cast<int>(vrt::sparse::matmat_request::finalize), 9);
}

TEST(Exceptions, MessageJoinsDomainFunctionAndInfo) {
  EXPECT_STREQ(vrt::exception("sparse", "gemv", "x").what(), "orvane::vrt::sparse::gemv: x");
  EXPECT_STREQ(vrt::exception("sparse", "", "x").what(), "orvane::vrt::sparse: x");
  EXPECT_STREQ(vrt::exception("", "gemv", "").what(), "orvane::vrt::gemv");
  EXPECT_STREQ(vrt::exception("", "", "").what(), "orvane::vrt");
}

TEST(Exceptions, EachClassComposesItsOwnInfo) {
  EXPECT_STREQ(vrt::uninitialized("sparse", "gemv", "hMatrix").what(),
               "orvane::vrt::sparse::gemv: uninitialized object: hMatrix");
  EXPECT_STREQ(vrt::uninitialized("sparse", "omatcopy").what(),
               "orvane::vrt::sparse::omatcopy: uninitialized object");
  EXPECT_STREQ(
      vrt::invalid_argument("sparse", "gemm", "one or more of columns, ldb and ldc are invalid")
          .what(),
      "orvane::vrt::sparse::gemm: invalid argument: one or more of columns, ldb and ldc are "
      "invalid");
  EXPECT_STREQ(vrt::unimplemented("sparse", "trsm", "").what(),
               "orvane::vrt::sparse::trsm: unimplemented functionality");
  EXPECT_STREQ(vrt::computation_error("sparse", "gemv", "internal error").what(),
               "orvane::vrt::sparse::gemv: computation error: internal error");
  EXPECT_STREQ(vrt::host_bad_alloc("sparse", "init_matrix_handle").what(),
               "orvane::vrt::sparse::init_matrix_handle: cannot allocate memory on host");
  EXPECT_STREQ(vrt::host_bad_alloc("sparse", "").what(),
               "orvane::vrt::sparse: cannot allocate memory on host");
}

TEST(Exceptions, DeviceMessagesEndWithTheDeviceName) {
  sycl::device device{sycl::cpu_selector_v};
  const std::string name = device.get_info<sycl::info::device::name>();
  EXPECT_EQ(std::string(vrt::unsupported_device("sparse", "gemv", device).what()),
            "orvane::vrt::sparse::gemv: unsupported device: " + name);
  EXPECT_EQ(std::string(vrt::device_bad_alloc("sparse", "gemv", device).what()),
            "orvane::vrt::sparse::gemv: cannot allocate memory on " + name);
}

TEST(Exceptions, AllDeriveFromTheBaseAndFromStdException) {
  static_assert(std::is_base_of_v<std::exception, vrt::exception>);
  static_assert(std::is_base_of_v<vrt::exception, vrt::unsupported_device>);
  static_assert(std::is_base_of_v<vrt::exception, vrt::device_bad_alloc>);
  static_assert(std::is_base_of_v<vrt::exception, vrt::host_bad_alloc>);
  static_assert(std::is_base_of_v<vrt::exception, vrt::uninitialized>);
  static_assert(std::is_base_of_v<vrt::exception, vrt::invalid_argument>);
  static_assert(std::is_base_of_v<vrt::exception, vrt::unimplemented>);
  static_assert(std::is_base_of_v<vrt::exception, vrt::computation_error>);
  try {
    throw vrt::invalid_argument("sparse", "trsm", "d");
  } catch (const vrt::exception& e) {
    EXPECT_STREQ(e.what(), "orvane::vrt::sparse::trsm: invalid argument: d");
  }
}

}  // namespace
