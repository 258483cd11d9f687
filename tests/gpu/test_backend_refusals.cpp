// Refusals of the device backends that no other test reaches, each with its exception class and
// whole text: gemv's format, the level-set solve without a coloring or with an unknown middle
// synchronisation, the diagonal analysis entry without its status, the coloring whose levels
// stall, a symmetric property on a pattern that is not symmetric, and the strict triangle copy
// whose memory cannot be had.
#include <gtest/gtest.h>

#include <hostsycl/hostsycl.hpp>
#include <limits>
#include <string>

#include "gpu/levelset_support.hpp"
#include "gpu/triangular/analysis/diag_data.hpp"
#include "gpu/triangular/coloring/color_plan.hpp"
#include "gpu/triangular/trmv/strict_triangle_copy_launch.hpp"
#include "handle/release.hpp"
#include "support/device_arrays.hpp"
#include "support/test_helpers.hpp"

namespace {

using namespace lvt;
using vrt_test::expect_message;
using vrt_test::memory;
using vrt_test::prefix;

constexpr const char* internal_error = "computation error: internal error";

TEST(BackendRefusals, GemvRefusesAFormatOtherThanCsrAndCoo) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a1")};
  for (memory m : {memory::device, memory::buffer}) {
    vrt_test::bound_matrix<double, std::int32_t> A(q, 2, 2, 0, {0, 1, 2}, {0, 1}, {1, 2}, m);
    A.wait();
    vrt_test::device_array<double> x(q, {1, 1}, m), y(q, {-1, -1}, m);
    A.handle()->primary->format = 2;  // neither CSR (1) nor COO (4)
    expect_message<vrt::unimplemented>(
        [&] {
          A.run(
               [&](auto* h, auto& xv, auto& yv, const auto&... deps) {
                 if constexpr (sizeof...(deps) > 0) {
                   return vs::gemv(q, vrt::transpose::nontrans, 1.0, h, xv, 0.0, yv, deps...);
                 } else {
                   vs::gemv(q, vrt::transpose::nontrans, 1.0, h, xv, 0.0, yv);
                   return sycl::event{};
                 }
               },
               x, y)
              .wait();
        },
        prefix("gemv") +
            "unimplemented functionality: currently only supports the CSR and COO matrix formats "
            "on GPU devices");
    A.handle()->primary->format = vs::format_csr;
    EXPECT_EQ(y.read(), (std::vector<double>{-1, -1})) << "nothing written";
  }
}

// A lower triangle whose middle color is wide enough not to be a narrow run.
triangle_matrix<double> with_a_middle() {
  const std::int64_t wide = vs::gpu::narrow_color_rows + 8;
  return levels_triangle<double>({1, wide, 1}, 91);
}

template <vs::containerType C>
void levelset_refusals() {
  sycl::queue q{hostsycl::emulated_gpu("emu-a2")};
  const auto m = with_a_middle();
  const auto e = expand<double, std::int32_t>(m, true, 0);
  bound_expansion<double, std::int32_t, C> b(q, e, true);
  const auto n = static_cast<std::size_t>(m.n);
  const auto model = C == vs::container_usm ? memory::device : memory::buffer;
  vrt_test::device_array<double> x(q, std::vector<double>(n, 1.0), model),
      y(q, std::vector<double>(n, -1.0), model);
  auto solve = [&] {
    if constexpr (C == vs::container_usm)
      vs::gpu::levelset_trsv<double, std::int32_t, C>(
          q, vs::gpu::triangle::lower, vrt::diag::nonunit, 1.0, b.h, x.usm(), y.usm(), {})
          .wait();
    else
      vs::gpu::levelset_trsv<double, std::int32_t, C>(
          q, vs::gpu::triangle::lower, vrt::diag::nonunit, 1.0, b.h, &x.buffer(), &y.buffer(), {});
  };
  // Without the triangle's coloring.
  expect_message<vrt::computation_error>(solve, prefix("trsv") + internal_error);
  // With a middle synchronisation that is neither mode.
  b.color().wait();
  vs::coloringData* d = *b.slot();
  ASSERT_GE(d->num_colors - d->head_colors - d->tail_colors, 1) << "no middle color";
  const std::int32_t mode = d->sync_mode;
  d->sync_mode = -1;
  expect_message<vrt::computation_error>(solve, prefix("trsv") + internal_error);
  d->sync_mode = mode;
  q.wait();
  // A refused solve leaves y alone: the right-hand side has not been permuted into it.
  EXPECT_EQ(y.read(), std::vector<double>(n, -1.0));
}

TEST(BackendRefusals, LevelsetSolveWithoutColoringOrWithAnUnknownMiddleMode) {
  levelset_refusals<vs::container_usm>();
  levelset_refusals<vs::container_buffer>();
}

// The diagonal records exist but hold no status (made by hand here, as no analysis leaves them
// so): the entry that reads the status refuses under the caller's word.
TEST(BackendRefusals, DiagonalEntryWithoutStatus) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a1")};
  const auto e = expand<double, std::int32_t>(levels_triangle<double>({2, 2}, 92), true, 0);
  bound_expansion<double, std::int32_t, vs::container_usm> b(q, e, true);
  ASSERT_EQ(b.h->diag_values->status_host, nullptr);
  expect_message<vrt::computation_error>(
      [&] {
        vs::gpu::updateDiagData_and_check_for_missing_diags<double, std::int32_t,
                                                            vs::container_usm>(
            q, b.h->primary, &b.h->diag_values, true, &b.h->diag_struct_lower, vrt::diag::nonunit,
            "optimize_trsv", {})
            .wait();
      },
      prefix("optimize_trsv") + internal_error);
}

// A structure whose row 1 waits for row 0 while row 0 names nobody above its diagonal: the
// first level holds row 0 alone, the second would be empty, and the coloring refuses.
template <vs::containerType C>
void stalled_coloring() {
  sycl::queue q{hostsycl::emulated_gpu("emu-a1")};
  expansion<double, std::int32_t> e;
  e.n = 2;
  e.row_ptr = {0, 1, 3};
  e.col_ind = {0, 0, 1};
  e.values = {2, 1, 2};
  e.lower_end = {0, 2};
  e.upper_start = {1, 3};
  e.diag = {2, 2};
  e.inv_diag = {0.5, 0.5};
  bound_expansion<double, std::int32_t, C> b(q, e, true);
  expect_message<vrt::computation_error>(
      [&] { b.color().wait(); },
      prefix("optimize_trsv") +
          "computation error: the level sets do not reach every row: the sparsity pattern is not "
          "symmetric although the matrix has the symmetric property");
  EXPECT_EQ(*b.slot(), nullptr) << "a refused coloring leaves no record";
}

TEST(BackendRefusals, ColoringWhoseLevelsStall) {
  stalled_coloring<vs::container_usm>();
  stalled_coloring<vs::container_buffer>();
}

// Rows {0, 3}, {1, 2}, {1, 2}, {2, 3}: every level is reached (row 0 releases row 3, row 1 row
// 2), yet row 3 waits for row 2 of the same level. The symmetric property is refused for it;
// without the property the same matrix is expanded and solved.
TEST(BackendRefusals, SymmetricPropertyOnAnUnmirroredPattern) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a1")};
  const std::vector<std::int32_t> row_ptr{0, 2, 4, 6, 8}, col_ind{0, 3, 1, 2, 1, 2, 2, 3};
  const std::vector<double> values{4, 1, 4, 1, 1, 4, 1, 4};
  const std::string refusal =
      prefix("optimize_trsv") +
      "computation error: the sparsity pattern is not symmetric although the matrix has the "
      "symmetric property";
  for (memory m : {memory::device, memory::buffer})
    for (vrt::uplo side : {vrt::uplo::lower, vrt::uplo::upper}) {
      vrt_test::bound_matrix<double, std::int32_t> A(q, 4, 4, 0, row_ptr, col_ind, values, m);
      A.wait();
      vs::set_matrix_property(A.handle(), vs::property::symmetric);
      expect_message<vrt::computation_error>(
          [&] {
            vs::optimize_trsv(q, side, vrt::transpose::nontrans, vrt::diag::nonunit, A.handle(),
                              {A.last()})
                .wait();
          },
          refusal);
      EXPECT_EQ(A.handle()->coloring_lower, nullptr);
    }
  // Without the property: the lower triangle [[4], [0, 4], [0, 1, 4], [0, 0, 1, 4]] solved.
  vrt_test::bound_matrix<double, std::int32_t> A(q, 4, 4, 0, row_ptr, col_ind, values,
                                                 memory::device);
  vrt_test::device_array<double> x(q, {4, 4, 5, 5}, memory::device),
      y(q, std::vector<double>(4, std::numeric_limits<double>::quiet_NaN()), memory::device);
  A.run(
       [&](auto* h, auto& xv, auto& yv, const auto&... deps) {
         if constexpr (sizeof...(deps) > 0) {
           auto e = vs::optimize_trsv(q, vrt::uplo::lower, vrt::transpose::nontrans,
                                      vrt::diag::nonunit, h, deps...);
           return vs::trsv(q, vrt::uplo::lower, vrt::transpose::nontrans, vrt::diag::nonunit, 1.0,
                           h, xv, yv, {e});
         } else {
           return sycl::event{};  // USM only
         }
       },
       x, y)
      .wait();
  // y0 = 1, y1 = 1, y2 = (5 - 1) / 4 = 1, y3 = (5 - 1) / 4 = 1.
  EXPECT_EQ(y.read(), (std::vector<double>{1, 1, 1, 1}));
}

// Every allocation of the strict triangle copy fails in turn (a device request and its host
// fallback): the row starts, the host total, the column indices and the values (the prefix sum
// of so few rows allocates nothing). Each failure is refused as device_bad_alloc, binds nothing and
// takes its memory with it.
TEST(BackendRefusals, StrictTriangleCopyThatCannotAllocate) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a0")};
  const std::string device = q.get_device().get_info<sycl::info::device::name>();
  vrt_test::bound_matrix<double, std::int32_t> b(q, 3, 3, 0, {0, 2, 5, 7}, {0, 1, 0, 1, 2, 1, 2},
                                                 {4, 1, 1, 4, 1, 1, 4}, memory::device);
  b.wait();
  vs::matrix_handle* h = b.handle();
  vs::set_matrix_property(h, vs::property::sorted);
  vs::gpu::updateDiagData_and_check_for_missing_diags<double, std::int32_t, vs::container_usm>(
      q, h->primary, &h->diag_values, true, &h->diag_struct, vrt::diag::unit, "trmv", {})
      .wait();
  const std::uint64_t before = hostsycl::live_allocation_bytes(q.get_device());
  int by_the_copy = 0, by_the_sum = 0;
  for (std::size_t skip = 0; skip < 64; ++skip) {
    void* slot = nullptr;
    vs::initSparseStructure(&slot);
    auto* dst = static_cast<vs::sparseStructure*>(slot);
    hostsycl::fail_allocations_after(skip, 2);
    bool done = false;
    try {
      vs::gpu::triangularData_impl<double, std::int32_t, vs::container_usm>(
          q, vrt::uplo::lower, h->primary, dst, h->diag_struct, {})
          .wait();
      done = true;
    } catch (const vrt::device_bad_alloc& e) {
      const std::string what = e.what();
      if (what == prefix("optimize_trmv") + "cannot allocate memory on " + device)
        ++by_the_copy;
      else if (what == prefix("") + "cannot allocate memory on " + device)
        ++by_the_sum;  // the prefix sum names no routine
      else
        ADD_FAILURE() << "skip " << skip << ": " << what;
      EXPECT_EQ(dst->row_ptr, nullptr) << "skip " << skip << ": nothing bound";
    }
    hostsycl::fail_next_allocations(0);
    q.wait();
    const sycl::context context = q.get_context();
    vs::sparseStructureRelease<double, std::int32_t, vs::container_usm>(&slot, &context);
    EXPECT_EQ(hostsycl::live_allocation_bytes(q.get_device()), before) << "skip " << skip;
    if (done) break;
  }
  // The row starts, the host total, the column indices and the values.
  EXPECT_EQ(by_the_copy, 4);
  EXPECT_EQ(by_the_sum, 0) << "one group of rows: the prefix sum needs no partials";
}

}  // namespace
