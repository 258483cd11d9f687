// The matrix handle: creation, binding, counting, properties, structure choice and release.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <hostsycl/hostsycl.hpp>
#include <thread>

#include "gpu/format/select_transposed.hpp"
#include "handle/handle.hpp"
#include "handle/nnz.hpp"
#include "handle/release.hpp"
#include "handle/select_structure.hpp"
#include "handle/triangular_data.hpp"
#include "platform/testing_hooks.hpp"
#include "support/device_arrays.hpp"
#include "support/test_helpers.hpp"

namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;

namespace {

using vrt_test::expect_message;

// An event that completes only when the test releases it.
struct gate {
  std::atomic<bool> open{false};
  sycl::event event;
  explicit gate(sycl::queue& q) {
    event = q.submit([&](sycl::handler& h) {
      h.host_task([this] {
        while (!open.load()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
      });
    });
  }
  ~gate() {
    open = true;
    event.wait();
  }
};

TEST(MatrixHandle, InitSetsTheDefaultsOfAFreshHandle) {
  vs::matrix_handle* h = nullptr;
  vs::init_matrix_handle(&h);
  ASSERT_NE(h, nullptr);
  EXPECT_EQ(h->int_type, vs::int_32);
  EXPECT_EQ(h->fp_type, vs::fp_float);
  EXPECT_EQ(h->context, nullptr);
  EXPECT_EQ(h->primary, nullptr);
  EXPECT_EQ(h->host_matrix, nullptr);
  vs::release_matrix_handle(&h);
}

TEST(MatrixHandle, AllocationFailuresAreHostBadAlloc) {
  vs::matrix_handle* h = nullptr;
  orvane::vrt::testing::fail_next_serv_mallocs(1);
  expect_message<vrt::host_bad_alloc>([&] { vs::init_matrix_handle(&h); },
                                      "orvane::vrt::sparse::init_matrix_handle: cannot allocate "
                                      "memory on host");
  vs::init_matrix_handle(&h);
  sycl::queue q{hostsycl::emulated_gpu("emu-a2")};
  std::int32_t* rows = sycl::malloc_shared<std::int32_t>(3, q);
  orvane::vrt::testing::fail_next_serv_mallocs(1);
  expect_message<vrt::host_bad_alloc>(
      [&] { vs::set_csr_data(q, h, 2, 2, vrt::index_base::zero, rows, rows, (float*)nullptr); },
      "orvane::vrt::sparse: cannot allocate memory on host");
  EXPECT_EQ(h->primary, nullptr);
  vs::release_matrix_handle(q, &h).wait();
  sycl::free(rows, q);
}

TEST(MatrixHandle, ReleaseOfANullHandleTouchesNothingAndWaitsForNothing) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a2")};
  gate blocked(q);
  vs::matrix_handle* h = nullptr;
  sycl::event e = vs::release_matrix_handle(q, &h, {blocked.event});
  EXPECT_EQ(e.get_info<sycl::info::event::command_execution_status>(),
            sycl::info::event_command_status::complete);
  EXPECT_EQ(h, nullptr);
}

// A handle that never received data is released through the default instantiation: neither
// form throws, and the queue form's host task reports no asynchronous error.
TEST(MatrixHandle, ReleaseOfANeverBoundHandleInBothForms) {
  int async_errors = 0;
  sycl::queue q{hostsycl::emulated_gpu("emu-a2"), [&](const sycl::exception_list& errors) {
                  async_errors += static_cast<int>(errors.size());
                }};
  vs::matrix_handle* h = nullptr;
  vs::init_matrix_handle(&h);
  ASSERT_NE(h, nullptr);
  sycl::event released;
  EXPECT_NO_THROW(released = vs::release_matrix_handle(q, &h));
  EXPECT_NO_THROW(released.wait_and_throw());
  EXPECT_NO_THROW(q.wait_and_throw());
  EXPECT_EQ(async_errors, 0);
  vs::init_matrix_handle(&h);
  ASSERT_NE(h, nullptr);
  EXPECT_NO_THROW(vs::release_matrix_handle(&h));
}

TEST(MatrixHandle, UsmReleaseIsDeferredBehindItsDependencies) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a2")};
  std::int32_t* rows = sycl::malloc_shared<std::int32_t>(3, q);
  rows[0] = 0, rows[1] = 1, rows[2] = 2;
  vs::matrix_handle* h = nullptr;
  vs::init_matrix_handle(&h);
  vs::set_csr_data(q, h, 2, 2, vrt::index_base::zero, rows, rows, (double*)nullptr).wait();
  sycl::event released;
  {
    gate blocked(q);
    released = vs::release_matrix_handle(q, &h, {blocked.event});
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_NE(released.get_info<sycl::info::event::command_execution_status>(),
              sycl::info::event_command_status::complete);
  }
  released.wait();
  sycl::free(rows, q);
}

TEST(MatrixHandle, BindingWithoutArraysLeavesAStructureWithoutCount) {
  VRT_SKIP_UNLESS_BUILT(float);
  sycl::queue q{hostsycl::emulated_gpu("emu-a2")};
  vs::matrix_handle* h = nullptr;
  vs::init_matrix_handle(&h);
  vs::set_csr_data(q, h, std::int32_t(4), std::int32_t(4), vrt::index_base::zero,
                   (std::int32_t*)nullptr, (std::int32_t*)nullptr, (float*)nullptr)
      .wait();
  ASSERT_NE(h->primary, nullptr);
  EXPECT_EQ(h->primary->format, vs::format_csr);
  EXPECT_EQ(h->primary->nnz, -1);
  EXPECT_EQ(h->container, vs::container_usm);
  float* v = sycl::malloc_shared<float>(4, q);
  expect_message<vrt::uninitialized>(
      [&] { vs::gemv(q, vrt::transpose::nontrans, 1.0f, h, v, 0.0f, v).wait(); },
      "orvane::vrt::sparse::gemv: uninitialized object: Matrix is not initialized");
  // A structure without values cannot be planned for.
  h->fp_type = vs::fp_unset;
  expect_message<vrt::unimplemented>(
      [&] { vs::optimize_gemv(q, vrt::transpose::nontrans, h); },
      "orvane::vrt::sparse::optimize_gemv: unimplemented functionality: structure only is not "
      "supported, please call set_xxx_data");
  vs::release_matrix_handle(q, &h).wait();
  sycl::free(v, q);
}

// The count is the last row pointer minus the base, read from every kind of USM and buffers.
template <typename I>
void check_count(vrt_test::memory m, vrt::index_base base, std::int64_t expected) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  std::vector<I> host_rows = {0, 4, 11};
  if (base == vrt::index_base::one) host_rows[0] = 1;
  vrt_test::device_array<I> rows(q, host_rows, m);
  vrt_test::device_array<I> cols(q, std::vector<I>(11), m);
  vs::matrix_handle* h = nullptr;
  vs::init_matrix_handle(&h);
  vs::set_csr_data(q, h, I(2), I(12), base, rows.usm(), cols.usm(), (double*)nullptr).wait();
  EXPECT_EQ(h->primary->nnz, expected);
  vs::release_matrix_handle(q, &h).wait();
}

TEST(MatrixHandle, CountOfNonZerosFromEveryUsmKind) {
  for (auto m : {vrt_test::memory::device, vrt_test::memory::shared, vrt_test::memory::host}) {
    check_count<std::int32_t>(m, vrt::index_base::one, 10);
    check_count<std::int32_t>(m, vrt::index_base::zero, 11);
    check_count<std::int64_t>(m, vrt::index_base::one, 10);
    check_count<std::int64_t>(m, vrt::index_base::zero, 11);
  }
}

TEST(MatrixHandle, CountFromBuffersAndRebindingRules) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  std::vector<std::int64_t> rows = {1, 3, 11};
  std::vector<std::int64_t> cols(10, 1);
  std::vector<float> vals(10, 1.0f);
  sycl::buffer<std::int64_t, 1> b_rows(rows.data(), sycl::range<1>(3));
  sycl::buffer<std::int64_t, 1> b_cols(cols.data(), sycl::range<1>(10));
  sycl::buffer<float, 1> b_vals(vals.data(), sycl::range<1>(10));
  vs::matrix_handle* h = nullptr;
  vs::init_matrix_handle(&h);
  vs::set_csr_data(q, h, std::int64_t(2), std::int64_t(4), vrt::index_base::one, b_rows, b_cols,
                   b_vals);
  EXPECT_EQ(h->primary->nnz, 10);
  EXPECT_EQ(h->container, vs::container_buffer);
  // A CSR rebinding keeps the old count.
  std::vector<std::int64_t> rows2 = {1, 2, 3};
  sycl::buffer<std::int64_t, 1> b_rows2(rows2.data(), sycl::range<1>(3));
  vs::set_csr_data(q, h, std::int64_t(2), std::int64_t(4), vrt::index_base::one, b_rows2, b_cols,
                   b_vals);
  EXPECT_EQ(h->primary->nnz, 10);
  // A COO rebinding stores the count it is given.
  vs::set_coo_data(q, h, std::int64_t(2), std::int64_t(4), std::int64_t(3), vrt::index_base::one,
                   b_cols, b_cols, b_vals);
  EXPECT_EQ(h->primary->nnz, 3);
  EXPECT_EQ(h->primary->format, vs::format_coo);
  vs::release_matrix_handle(&h);
}

TEST(MatrixHandle, BindingWithoutAQueueCachesNoContextAndCountsNothing) {
  std::vector<std::int32_t> rows = {0, 1, 2};
  sycl::buffer<std::int32_t, 1> b_rows(rows.data(), sycl::range<1>(3));
  sycl::buffer<std::complex<float>, 1> b_vals(sycl::range<1>(2));
  vs::matrix_handle* h = nullptr;
  vs::init_matrix_handle(&h);
  vs::set_csr_data(h, 2, 2, vrt::index_base::zero, b_rows, b_rows, b_vals);
  EXPECT_EQ(h->context, nullptr);
  EXPECT_EQ(h->primary->nnz, -1);
  EXPECT_EQ(h->fp_type, vs::fp_complex_float);
  EXPECT_EQ(h->primary->row_ptr, &b_rows);
  vs::release_matrix_handle(&h);
}

TEST(MatrixHandle, PropertiesLandInThePrimaryStructure) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  std::int32_t* rows = sycl::malloc_shared<std::int32_t>(3, q);
  rows[0] = 0, rows[1] = 0, rows[2] = 0;
  vs::matrix_handle* h = nullptr;
  vs::init_matrix_handle(&h);
  vs::set_csr_data(q, h, 2, 2, vrt::index_base::zero, rows, rows, (float*)nullptr).wait();
  vs::set_matrix_property(h, vs::property::sorted);
  vs::set_matrix_property(h, vs::property::symmetric);
  EXPECT_EQ(h->primary->sorted, 1);
  EXPECT_EQ(h->primary->symmetric, 1);
  expect_message<vrt::invalid_argument>(
      [&] { vs::set_matrix_property(h, static_cast<vs::property>(7)); },
      "orvane::vrt::sparse::set_matrix_property: invalid argument: property_value");
  expect_message<vrt::uninitialized>(
      [&] { vs::set_matrix_property(nullptr, vs::property::sorted); },
      "orvane::vrt::sparse::set_matrix_property: uninitialized object: hMatrix");
  vs::release_matrix_handle(q, &h).wait();
  sycl::free(rows, q);
}

TEST(MatrixHandle, SelectionFollowsTheExplicitForms) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  vs::matrix_handle* h = nullptr;
  vs::init_matrix_handle(&h);
  vs::sparseStructure primary{}, transposed{}, conj_transposed{};
  h->primary = &primary;
  vs::sparseStructure* out = nullptr;
  EXPECT_EQ(vs::select_best_sparse_struct(q, vrt::transpose::trans, h, &out), vs::select_primary);
  EXPECT_EQ(out, &primary);
  h->transposed = &transposed;
  h->conj_transposed = &conj_transposed;
  EXPECT_EQ(vs::select_best_sparse_struct(q, vrt::transpose::nontrans, h, &out),
            vs::select_primary);
  EXPECT_EQ(vs::select_best_sparse_struct(q, vrt::transpose::trans, h, &out),
            vs::select_transposed);
  EXPECT_EQ(out, &transposed);
  EXPECT_EQ(vs::select_best_sparse_struct(q, vrt::transpose::conjtrans, h, &out),
            vs::select_conj_transposed);
  EXPECT_EQ(out, &conj_transposed);
  expect_message<vrt::computation_error>(
      [&] { vs::select_best_sparse_struct(q, static_cast<vrt::transpose>(2), h, &out); },
      "orvane::vrt::sparse: computation error: internal error");
  // An existing explicit form is reused: the caller's events pass through.
  std::vector<sycl::event> deps = {sycl::event(), sycl::event()}, out_deps;
  vs::gpu::do_transpose<double, std::int32_t, vs::container_usm>(q, vrt::transpose::trans, h, deps,
                                                                 out_deps);
  EXPECT_EQ(out_deps.size(), 2u);
  h->primary = h->transposed = h->conj_transposed = nullptr;
  vs::release_matrix_handle(&h);
}

// Binds a symmetric matrix, leaves what its analysis leaves (aliases of primary and of one
// analysis) and releases it.
void release_symmetric_aliases() {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  std::int32_t* rows = sycl::malloc_shared<std::int32_t>(3, q);
  std::fill(rows, rows + 3, 0);
  vs::matrix_handle* h = nullptr;
  vs::init_matrix_handle(&h);
  vs::set_csr_data(q, h, 2, 2, vrt::index_base::zero, rows, rows, (double*)nullptr).wait();
  vs::set_matrix_property(h, vs::property::symmetric);
  h->transposed = h->sym_from_lower = h->sym_from_upper = h->primary;
  vs::initColoringData(reinterpret_cast<void**>(&h->coloring_lower));
  h->coloring_upper = h->coloring_lower;
  vs::initDiagonalStructData(reinterpret_cast<void**>(&h->diag_struct));
  h->diag_struct_lower = h->diag_struct_upper = h->diag_struct;
  vs::initDiagonalValuesData(reinterpret_cast<void**>(&h->diag_values));
  vs::release_matrix_handle(q, &h).wait();
  sycl::free(rows, q);
}

// A second free of any alias stops the process (the C library's check, or AddressSanitizer's):
// the release runs in a child process that must end normally.
TEST(MatrixHandleDeathTest, SymmetricAliasesAreFreedOnce) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        release_symmetric_aliases();
        std::exit(0);
      },
      ::testing::ExitedWithCode(0), "");
}

// The release of a double, 32-bit, USM structure.
constexpr auto& release_double_i4_usm =
    vs::sparseStructureRelease<double, std::int32_t, vs::container_usm>;

TEST(MatrixHandle, StructuresThatOwnArraysNeedAContext) {
  void* slot = nullptr;
  vs::initSparseStructure(&slot);
  static_cast<vs::sparseStructure*>(slot)->owns_arrays = true;
  expect_message<vrt::computation_error>(
      [&] { release_double_i4_usm(&slot, nullptr); },
      "orvane::vrt::sparse::release_matrix_handle: computation error: internal error");
  static_cast<vs::sparseStructure*>(slot)->owns_arrays = false;
  release_double_i4_usm(&slot, nullptr);
  EXPECT_EQ(slot, nullptr);
}

TEST(MatrixHandle, CountOfANullStructureIsAnInternalError) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  expect_message<vrt::computation_error>([&] { vs::set_nnz_value_i4(q, nullptr, {}); },
                                         "orvane::vrt::sparse: computation error: internal error");
}

}  // namespace

namespace {

// A transpose built while the matrix was unsymmetric is the handle's own, and goes with the
// handle even when the symmetric property is set afterwards.
TEST(MatrixHandle, ReleaseFreesATransposeBuiltBeforeTheSymmetricProperty) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  std::int32_t* rows = sycl::malloc_shared<std::int32_t>(3, q);
  std::int32_t* cols = sycl::malloc_shared<std::int32_t>(3, q);
  double* vals = sycl::malloc_shared<double>(3, q);
  rows[0] = 0, rows[1] = 2, rows[2] = 3;
  cols[0] = 0, cols[1] = 1, cols[2] = 1;
  vals[0] = 1, vals[1] = 2, vals[2] = 3;
  const auto before = hostsycl::live_allocation_bytes(q.get_device());
  vs::matrix_handle* h = nullptr;
  vs::init_matrix_handle(&h);
  vs::set_csr_data(q, h, 2, 2, vrt::index_base::zero, rows, cols, vals).wait();
  vs::optimize_gemv(q, vrt::transpose::trans, h).wait();
  ASSERT_NE(h->transposed, nullptr);
  vs::set_matrix_property(h, vs::property::symmetric);
  vs::release_matrix_handle(q, &h).wait();
  EXPECT_EQ(hostsycl::live_allocation_bytes(q.get_device()), before);
  sycl::free(rows, q);
  sycl::free(cols, q);
  sycl::free(vals, q);
}

}  // namespace
