// The triangular analysis on emulated GPUs: diagonal values and flags, split positions, the
// symmetric expansion of one triangle, the strict-triangle copy and optimize_trsv's records,
// checked through the handle's slots against host computations, in both memory models.
#include <gtest/gtest.h>

#include <algorithm>
#include <hostsycl/hostsycl.hpp>
#include <map>
#include <set>
#include <tuple>

#include "gpu/entry_points.hpp"
#include "gpu/triangular/analysis/diag_data.hpp"
#include "gpu/triangular/analysis/symmetric.hpp"
#include "gpu/triangular/trmv/strict_triangle_copy_launch.hpp"
#include "handle/release.hpp"
#include "handle/triangular_data.hpp"
#include "interface/dispatch.hpp"
#include "support/test_helpers.hpp"
#include "triangular_support.hpp"

namespace {

namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;
namespace gpu = orvane::vrt::sparse::gpu;
using namespace vrt_test::triangular;
using vrt_test::csr_matrix;
using vrt_test::expect_message;

const std::string long_message =
    "invalid argument: The matrix operation with diag::nonunit is missing diagonal values in the "
    "structure or has zero values set on diagonal, both of which are not supported.";

template <typename V>
class TriangularAnalysis : public ::testing::Test {};
TYPED_TEST_SUITE(TriangularAnalysis, vrt_test::all_variants);

using vrt_test::container_of;

// Runs f(T, I, C) with the compile-time memory model of m.
template <typename T, typename I, typename F>
void with_model(memory m, F&& f) {
  if (m == memory::buffer)
    f.template operator()<vs::container_buffer>();
  else
    f.template operator()<vs::container_usm>();
}

// Host split positions of a sorted matrix (with the base).
template <typename T, typename I>
std::pair<std::vector<I>, std::vector<I>> host_split(const csr_matrix<T, I>& A) {
  std::vector<I> lower_end, upper_start;
  for (std::int64_t i = 0; i < A.nrows; ++i) {
    I le = A.row_ptr[i], us = A.row_ptr[i + 1];
    for (I k = A.row_ptr[i]; k < A.row_ptr[i + 1]; ++k) {
      const I c = A.col_ind[k - A.base] - A.base;
      if (c < i) le = k + 1;
      if (c > i && us == A.row_ptr[i + 1]) us = k;
    }
    lower_end.push_back(le);
    upper_start.push_back(us);
  }
  return {lower_end, upper_start};
}

template <typename T, typename I>
std::vector<T> host_diag(const csr_matrix<T, I>& A) {
  std::vector<T> d(static_cast<std::size_t>(A.nrows), T(0));
  for (std::int64_t i = 0; i < A.nrows; ++i)
    for (I k = A.row_ptr[i] - A.base; k < A.row_ptr[i + 1] - A.base; ++k)
      if (A.col_ind[k] - A.base == i) {
        d[i] = A.values[k];
        break;
      }
  return d;
}

TYPED_TEST(TriangularAnalysis, DiagonalValuesOfUnsortedRowsWithFlags) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  for (memory m : vrt_test::both_models) {
    for (int base : {0, 1}) {
      // Row 3 has no diagonal entry, row 5 a zero one.
      const auto A = dominant_matrix<T, I>(40, 5, 21, base, 3, 5);
      bound_matrix<T, I> b(q, A, m);
      vs::matrix_handle* h = b.handle();
      with_model<T, I>(m, [&]<vs::containerType C>() {
        gpu::updateDiagData_and_check_for_missing_diags<T, I, C>(
            q, h->primary, &h->diag_values, false, &h->diag_struct, vrt::diag::unit, "trsv", {});
      });
      const vs::diagonalValuesData* v = h->diag_values;
      ASSERT_NE(v, nullptr);
      EXPECT_EQ(h->diag_struct, nullptr);
      EXPECT_EQ(v->status_count, 2u);
      EXPECT_EQ(v->status_stride, 16u);
      const auto c = container_of(m);
      const auto status = read_container<I>(q, v->status_host, c, 32);
      const auto device_status = read_container<I>(q, v->status_device, c, 32);
      for (std::size_t k = 0; k < 32; ++k) {
        EXPECT_EQ(status[k], (k == 0 || k == 16) ? I(1) : I(0)) << k;
        EXPECT_EQ(device_status[k], status[k]) << k;
      }
      const auto diag = read_container<T>(q, v->diag, c, 40);
      const auto inv = read_container<T>(q, v->inv_diag, c, 40);
      const auto want = host_diag(A);
      for (std::size_t i = 0; i < 40; ++i) {
        EXPECT_EQ(diag[i], want[i]) << i;
        if (want[i] == T(0)) {
          EXPECT_EQ(inv[i], T(0)) << i;
        } else {
          const double err = std::abs(inv[i] * want[i] - T(1));
          EXPECT_TRUE(err <= 8 * std::numeric_limits<vrt_test::real_t<T>>::epsilon()) << i;
        }
      }
    }
  }
}

TYPED_TEST(TriangularAnalysis, SplitPositionsAndAMissingDiagonalUnderUnit) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a5")};
  for (memory m : vrt_test::both_models) {
    for (int base : {0, 1}) {
      const auto A = sorted_rows(dominant_matrix<T, I>(50, 6, 8, base, 7));
      bound_matrix<T, I> b(q, A, m);
      vs::matrix_handle* h = b.handle();
      vs::set_matrix_property(h, vs::property::sorted);
      with_model<T, I>(m, [&]<vs::containerType C>() {
        gpu::updateDiagData_and_check_for_missing_diags<T, I, C>(
            q, h->primary, &h->diag_values, true, &h->diag_struct, vrt::diag::unit, "trsv", {});
      });
      ASSERT_NE(h->diag_struct, nullptr);
      const auto c = container_of(m);
      const auto lower_end = read_container<I>(q, h->diag_struct->lower_end, c, 50);
      const auto upper_start = read_container<I>(q, h->diag_struct->upper_start, c, 50);
      const auto [want_le, want_us] = host_split(A);
      EXPECT_EQ(lower_end, want_le);
      EXPECT_EQ(upper_start, want_us);
      EXPECT_EQ(upper_start[7], lower_end[7]);
      const auto diag = read_container<T>(q, h->diag_values->diag, c, 50);
      const auto inv = read_container<T>(q, h->diag_values->inv_diag, c, 50);
      EXPECT_EQ(diag[7], T(0));
      EXPECT_EQ(inv[7], T(0));
      const auto status = read_container<I>(q, h->diag_values->status_host, c, 32);
      EXPECT_EQ(status[0], I(1));
      EXPECT_EQ(status[16], I(0));
    }
  }
}

TYPED_TEST(TriangularAnalysis, StructureRefusals) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a1")};
  const auto A = dominant_matrix<T, I>(12, 3, 4);
  bound_matrix<T, I> b(q, A, memory::device);
  vs::matrix_handle* h = b.handle();
  using C = std::integral_constant<vs::containerType, vs::container_usm>;
  expect_message<vrt::computation_error>(
      [&] {
        gpu::diagData_impl<T, I, C::value>(q, h->primary, &h->diag_values, true, &h->diag_struct,
                                           {});
      },
      prefix("diagDataKernel") + "computation error: internal error");
  h->primary->fp_type = vs::fp_unset;
  expect_message<vrt::unimplemented>(
      [&] {
        gpu::diagData_impl<T, I, C::value>(q, h->primary, &h->diag_values, false, &h->diag_struct,
                                           {});
      },
      prefix("") +
          "unimplemented functionality: Only supports analysis of diagonal elements on fully "
          "initialized matrix handles. Please call set_xxx_data routine with your matrix data "
          "arrays before calling the optimize routine.");
  h->primary->fp_type = h->fp_type;
  h->primary->format = vs::format_coo;
  expect_message<vrt::unimplemented>(
      [&] {
        gpu::diagData_impl<T, I, C::value>(q, h->primary, &h->diag_values, false, &h->diag_struct,
                                           {});
      },
      prefix("") + "unimplemented functionality: currently only supports the CSR matrix format");
  h->primary->format = vs::format_csr;
  EXPECT_EQ(h->diag_values, nullptr);
}

// Host expansion of the lower or upper triangle: sorted rows of (column, value).
template <typename T, typename I>
std::vector<std::vector<std::pair<I, T>>> host_expansion(const csr_matrix<T, I>& A, bool upper) {
  std::vector<std::vector<std::pair<I, T>>> rows(static_cast<std::size_t>(A.nrows));
  for (std::int64_t i = 0; i < A.nrows; ++i)
    for (I k = A.row_ptr[i] - A.base; k < A.row_ptr[i + 1] - A.base; ++k) {
      const I c = A.col_ind[k] - A.base;
      if (upper ? c < i : c > i) continue;
      rows[i].emplace_back(c, A.values[k]);
      if (c != i) rows[c].emplace_back(static_cast<I>(i), A.values[k]);
    }
  for (auto& r : rows)
    std::sort(r.begin(), r.end(), [](const auto& x, const auto& y) { return x.first < y.first; });
  return rows;
}

template <typename T, typename I>
void expect_expansion(sycl::queue& q, const vs::sparseStructure* s, const csr_matrix<T, I>& A,
                      bool upper, const std::string& what) {
  ASSERT_NE(s, nullptr) << what;
  const auto want = host_expansion(A, upper);
  std::size_t nnz = 0;
  for (const auto& r : want) nnz += r.size();
  EXPECT_EQ(s->nnz, static_cast<std::int64_t>(nnz)) << what;
  EXPECT_EQ(s->sorted, 1) << what;
  EXPECT_EQ(s->symmetric, 1) << what;
  EXPECT_EQ(s->index, 0) << what;
  EXPECT_TRUE(s->owns_arrays) << what;
  const auto rp = read_container<I>(q, s->row_ptr, s->container, A.nrows + 1);
  const auto ci = read_container<I>(q, s->col_ind, s->container, nnz);
  const auto va = read_container<T>(q, s->values, s->container, nnz);
  ASSERT_EQ(rp[0], I(0)) << what;
  for (std::int64_t i = 0; i < A.nrows; ++i) {
    ASSERT_EQ(static_cast<std::size_t>(rp[i + 1] - rp[i]), want[i].size()) << what << " row " << i;
    for (std::size_t k = 0; k < want[i].size(); ++k) {
      EXPECT_EQ(ci[rp[i] + k], want[i][k].first) << what << " row " << i;
      EXPECT_EQ(va[rp[i] + k], want[i][k].second) << what << " row " << i;
    }
  }
}

TYPED_TEST(TriangularAnalysis, ExpansionOfEitherTriangleMatchesTheHost) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  for (const char* profile : {"emu-a2", "emu-a6"}) {
    sycl::queue q{hostsycl::emulated_gpu(profile)};
    for (memory m : vrt_test::both_models) {
      for (int base : {0, 1}) {
        // Long rows reach past one block of 16 columns, with a masked tail.
        const auto A = dominant_matrix<T, I>(70, 40, 3 + base, base);
        bound_matrix<T, I> b(q, A, m);
        vs::matrix_handle* h = b.handle();
        for (vrt::uplo ul : {vrt::uplo::lower, vrt::uplo::upper}) {
          const bool upper = ul == vrt::uplo::upper;
          vs::dispatch_make_symmetric(q, ul, h, h, {}).wait();
          const std::string what = std::string(profile) + " " + name_of(m) + " base " +
                                   std::to_string(base) + (upper ? " upper" : " lower");
          expect_expansion(q, upper ? h->sym_from_upper : h->sym_from_lower, A, upper, what);
        }
        // A second call finds the slot filled and keeps it.
        vs::sparseStructure* before = h->sym_from_lower;
        vs::dispatch_make_symmetric(q, vrt::uplo::lower, h, h, {}).wait();
        EXPECT_EQ(h->sym_from_lower, before);
        EXPECT_EQ(h->primary->symmetric, 0);
      }
    }
  }
}

TYPED_TEST(TriangularAnalysis, ExpansionIntoAnotherHandleAndDispatchRefusals) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a4")};
  const auto A = dominant_matrix<T, I>(33, 4, 9, 1);
  bound_matrix<T, I> b(q, A, memory::shared);
  vs::matrix_handle* dst = nullptr;
  vs::init_matrix_handle(&dst);
  vs::dispatch_make_symmetric(q, vrt::uplo::upper, b.handle(), dst, {}).wait();
  expect_expansion(q, dst->primary, A, true, "into another handle");
  EXPECT_EQ(b.handle()->sym_from_upper, nullptr);
  vs::release_matrix_handle(q, &dst, {}).wait();

  vs::matrix_handle* h = b.handle();
  h->int_type = vs::int_unset;
  expect_message<vrt::unimplemented>(
      [&] { vs::dispatch_make_symmetric(q, vrt::uplo::lower, h, h, {}); },
      prefix("") +
          "unimplemented functionality: integer type is unset in matrix handle, meaning "
          "set_xxx_data was not called after initialization");
  h->int_type = sizeof(I) == 4 ? vs::int_32 : vs::int_64;
  const vs::fpType fp = h->fp_type;
  h->fp_type = vs::fp_unset;
  expect_message<vrt::unimplemented>(
      [&] { vs::dispatch_make_symmetric(q, vrt::uplo::lower, h, h, {}); },
      prefix("") +
          "unimplemented functionality: structure only is not supported, please call "
          "set_xxx_data");
  h->fp_type = static_cast<vs::fpType>(9);
  expect_message<vrt::unimplemented>(
      [&] { vs::dispatch_make_symmetric(q, vrt::uplo::lower, h, h, {}); },
      prefix("") +
          "unimplemented functionality: currently only supports double, float "
          "std::complex<double>, and std::complex<float>");
  h->fp_type = fp;
  h->primary->format = vs::format_coo;
  expect_message<vrt::unimplemented>(
      [&] { vs::dispatch_make_symmetric(q, vrt::uplo::lower, h, h, {}); },
      prefix("") + "unimplemented functionality: currently only supports the CSR matrix format");
  h->primary->format = vs::format_csr;
}

TYPED_TEST(TriangularAnalysis, StrictTriangleCopiesFromTheSplitPositions) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a0")};
  for (memory m : vrt_test::both_models) {
    with_model<T, I>(m, [&]<vs::containerType C>() {
      const auto A = sorted_rows(dominant_matrix<T, I>(45, 7, 17, 1, 4));
      bound_matrix<T, I> b(q, A, m);
      vs::matrix_handle* h = b.handle();
      vs::set_matrix_property(h, vs::property::sorted);
      gpu::updateDiagData_and_check_for_missing_diags<T, I, C>(
          q, h->primary, &h->diag_values, true, &h->diag_struct, vrt::diag::unit, "trmv", {});
      for (vrt::uplo ul : {vrt::uplo::lower, vrt::uplo::upper}) {
        const bool upper = ul == vrt::uplo::upper;
        vs::sparseStructure*& slot = upper ? h->upper_triangle : h->lower_triangle;
        vs::initSparseStructure(reinterpret_cast<void**>(&slot));
        gpu::triangularData_impl<T, I, C>(q, ul, h->primary, slot, h->diag_struct, {}).wait();
        std::vector<I> want_rp{0}, want_ci;
        std::vector<T> want_va;
        for (std::int64_t i = 0; i < A.nrows; ++i) {
          for (I k = A.row_ptr[i] - 1; k < A.row_ptr[i + 1] - 1; ++k) {
            const I c = A.col_ind[k] - 1;
            if (upper ? c > i : c < i) {
              want_ci.push_back(c);
              want_va.push_back(A.values[k]);
            }
          }
          want_rp.push_back(static_cast<I>(want_ci.size()));
        }
        EXPECT_EQ(slot->nnz, static_cast<std::int64_t>(want_ci.size()));
        EXPECT_EQ(slot->sorted, 1);
        EXPECT_EQ(slot->index, 0);
        EXPECT_EQ(read_container<I>(q, slot->row_ptr, slot->container, want_rp.size()), want_rp);
        EXPECT_EQ(read_container<I>(q, slot->col_ind, slot->container, want_ci.size()), want_ci);
        EXPECT_EQ(read_container<T>(q, slot->values, slot->container, want_va.size()), want_va);
      }
    });
  }
}

TYPED_TEST(TriangularAnalysis, OptimizeRefusesAMissingOrZeroDiagonalUnderNonUnit) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a2")};
  for (memory m : vrt_test::both_models) {
    for (int which : {0, 1}) {
      const auto A = which == 0 ? dominant_matrix<T, I>(30, 4, 5, 0, 11)
                                : dominant_matrix<T, I>(30, 4, 5, 0, -1, 11);
      bound_matrix<T, I> b(q, A, m);
      vs::matrix_handle* h = b.handle();
      for (int attempt = 0; attempt < 2; ++attempt) {
        expect_message<vrt::invalid_argument>(
            [&] { b.optimize(vrt::uplo::lower, vrt::diag::nonunit); },
            prefix("optimize_trsv") + long_message);
        // The records stay in the handle; the repeated call reads the same flags.
        ASSERT_NE(h->diag_values, nullptr);
        ASSERT_NE(h->diag_struct_lower, nullptr);
        ASSERT_NE(h->sym_from_lower, nullptr);
        EXPECT_EQ(h->coloring_lower, nullptr);
      }
      // Under diag::unit the flags are not looked at.
      b.optimize(vrt::uplo::lower, vrt::diag::unit);
    }
  }
}

TYPED_TEST(TriangularAnalysis, OptimizeLowerThenUpperOnAnUnsymmetricHandle) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a6")};
  for (memory m : vrt_test::both_models) {
    const auto A = dominant_matrix<T, I>(60, 5, 13);
    bound_matrix<T, I> b(q, A, m);
    vs::matrix_handle* h = b.handle();
    const auto c = container_of(m);
    b.optimize(vrt::uplo::lower, vrt::diag::nonunit);
    expect_expansion(q, h->sym_from_lower, A, false, "lower");
    ASSERT_NE(h->diag_struct_lower, nullptr);
    EXPECT_EQ(h->diag_struct_upper, nullptr);
    EXPECT_EQ(h->diag_struct, nullptr);
    const vs::diagonalValuesData* values = h->diag_values;
    ASSERT_NE(values, nullptr);
    void* diag = values->diag;
    // A mark in diag shows whether a later call writes the values again.
    auto marked = read_container<T>(q, diag, c, 60);
    marked[0] = T(-777);
    write_container<T>(q, diag, c, marked);

    b.optimize(vrt::uplo::upper, vrt::diag::nonunit);
    expect_expansion(q, h->sym_from_upper, A, true, "upper");
    EXPECT_NE(h->sym_from_upper, h->sym_from_lower);
    EXPECT_EQ(h->diag_values, values);
    EXPECT_EQ(h->diag_values->diag, diag);
    EXPECT_EQ(read_container<T>(q, diag, c, 60)[0], T(-777)) << "values written twice";
    ASSERT_NE(h->diag_struct_upper, nullptr);
    EXPECT_NE(h->diag_struct_upper, h->diag_struct_lower);
    // The split positions of the upper expansion: fillDiagPos2 ran for it.
    const vs::sparseStructure* up = h->sym_from_upper;
    csr_matrix<T, I> U;
    U.nrows = U.ncols = 60;
    U.row_ptr = read_container<I>(q, up->row_ptr, c, 61);
    U.col_ind = read_container<I>(q, up->col_ind, c, static_cast<std::size_t>(up->nnz));
    U.values.resize(U.col_ind.size());
    const auto [le, us] = host_split(U);
    EXPECT_EQ(read_container<I>(q, h->diag_struct_upper->lower_end, c, 60), le);
    EXPECT_EQ(read_container<I>(q, h->diag_struct_upper->upper_start, c, 60), us);
    // Two expansions, two colorings.
    ASSERT_NE(h->coloring_lower, nullptr);
    EXPECT_NE(h->coloring_upper, nullptr);
    EXPECT_NE(h->coloring_upper, h->coloring_lower);
  }
}

// The symmetric flag promises a symmetric pattern, which the coloring relies on (a row whose
// dependant is missing from its entries is never released): the mirror of every entry, an
// explicit zero where the matrix has none.
template <typename T, typename I>
csr_matrix<T, I> with_symmetric_pattern(const csr_matrix<T, I>& A) {
  std::vector<std::map<std::int64_t, T>> rows(static_cast<std::size_t>(A.nrows));
  for (std::int64_t r = 0; r < A.nrows; ++r)
    for (I k = A.row_ptr[r] - A.base; k < A.row_ptr[r + 1] - A.base; ++k)
      rows[r][A.col_ind[k] - A.base] = A.values[k];
  for (std::int64_t r = 0; r < A.nrows; ++r)
    for (const auto& [c, v] : std::map<std::int64_t, T>(rows[r])) rows[c].emplace(r, T(0));
  csr_matrix<T, I> S = A;
  S.row_ptr.assign(1, static_cast<I>(A.base));
  S.col_ind.clear();
  S.values.clear();
  for (const auto& row : rows) {
    for (const auto& [c, v] : row) {
      S.col_ind.push_back(static_cast<I>(c + A.base));
      S.values.push_back(v);
    }
    S.row_ptr.push_back(static_cast<I>(S.col_ind.size() + A.base));
  }
  return S;
}

TYPED_TEST(TriangularAnalysis, SymmetricHandleIsAnalysedOnce) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a4")};
  for (memory m : vrt_test::both_models) {
    for (bool sorted : {true, false}) {
      auto A = with_symmetric_pattern(dominant_matrix<T, I>(40, 4, 31));
      if (!sorted)  // rows in descending column order
        for (std::int64_t r = 0; r < A.nrows; ++r) {
          std::reverse(A.col_ind.begin() + A.row_ptr[r], A.col_ind.begin() + A.row_ptr[r + 1]);
          std::reverse(A.values.begin() + A.row_ptr[r], A.values.begin() + A.row_ptr[r + 1]);
        }
      if (sorted) A = sorted_rows(A);
      bound_matrix<T, I> b(q, A, m);
      vs::matrix_handle* h = b.handle();
      vs::set_matrix_property(h, vs::property::symmetric);
      if (sorted) vs::set_matrix_property(h, vs::property::sorted);
      const auto c = container_of(m);
      const auto primary_cols = read_container<I>(q, h->primary->col_ind, c, A.col_ind.size());
      b.optimize(vrt::uplo::upper, vrt::diag::nonunit);
      EXPECT_EQ(h->sym_from_lower, nullptr);
      EXPECT_EQ(h->sym_from_upper, nullptr);
      ASSERT_NE(h->diag_struct, nullptr);
      EXPECT_EQ(h->diag_struct_lower, h->diag_struct);
      EXPECT_EQ(h->diag_struct_upper, h->diag_struct);
      const vs::sparseStructure* analysed = sorted ? h->primary : h->sorted_copy;
      ASSERT_NE(analysed, nullptr);
      if (sorted) {
        EXPECT_EQ(h->sorted_copy, nullptr);
      } else {
        // primary stays as it was; the sorted copy is what was analysed.
        EXPECT_EQ(h->primary->sorted, 0);
        EXPECT_EQ(read_container<I>(q, h->primary->col_ind, c, A.col_ind.size()), primary_cols);
        EXPECT_EQ(read_container<I>(q, analysed->col_ind, c, A.col_ind.size()),
                  sorted_rows(A).col_ind);
      }
      const auto [le, us] = host_split(sorted_rows(A));
      EXPECT_EQ(read_container<I>(q, h->diag_struct->lower_end, c, 40), le);
      EXPECT_EQ(read_container<I>(q, h->diag_struct->upper_start, c, 40), us);
      // One coloring serves both triangles; the lower call finds it.
      ASSERT_NE(h->coloring_upper, nullptr);
      EXPECT_EQ(h->coloring_lower, h->coloring_upper);
      vs::coloringData* one = h->coloring_lower;
      b.optimize(vrt::uplo::lower, vrt::diag::nonunit);
      EXPECT_EQ(h->coloring_lower, one);
    }
  }
}

TYPED_TEST(TriangularAnalysis, AFilledColoringSlotEndsTheCall) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a1")};
  for (memory m : vrt_test::both_models) {
    const auto A = dominant_matrix<T, I>(20, 3, 2);
    bound_matrix<T, I> b(q, A, m);
    vs::matrix_handle* h = b.handle();
    vs::initColoringData(reinterpret_cast<void**>(&h->coloring_lower));
    vs::coloringData* filled = h->coloring_lower;
    // Even a zero diagonal under nonunit is not looked at again: nothing runs.
    b.optimize(vrt::uplo::lower, vrt::diag::nonunit);
    EXPECT_EQ(h->coloring_lower, filled);
    EXPECT_EQ(h->sym_from_lower, nullptr);
    EXPECT_EQ(h->diag_values, nullptr);
    EXPECT_EQ(h->diag_struct_lower, nullptr);
  }
}

TYPED_TEST(TriangularAnalysis, NoRowsLeavesTheFlagsAtZero) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  for (memory m : vrt_test::both_models) {
    csr_matrix<T, I> A;
    A.row_ptr = {0};
    bound_matrix<T, I> b(q, A, m);
    vs::matrix_handle* h = b.handle();
    b.optimize(vrt::uplo::lower, vrt::diag::nonunit);
    ASSERT_NE(h->diag_values, nullptr);
    const auto status = read_container<I>(q, h->diag_values->status_host, container_of(m), 32);
    for (I s : status) EXPECT_EQ(s, I(0));
    ASSERT_NE(h->sym_from_lower, nullptr);
    EXPECT_EQ(h->sym_from_lower->nnz, 0);
  }
}

TYPED_TEST(TriangularAnalysis, OptimizeRefusals) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a5")};
  const auto A = dominant_matrix<T, I>(10, 2, 1);
  bound_matrix<T, I> b(q, A, memory::device);
  vs::matrix_handle* h = b.handle();
  const auto optimize = [&](vrt::uplo ul, vrt::transpose op) {
    vs::optimize_trsv(q, ul, op, vrt::diag::unit, h, {});
  };
  expect_triangular_refusals(h, "optimize_trsv", optimize, [&] {
    gpu::optimize_trsv_impl<T, I, vs::container_usm>(q, vrt::uplo::upper, vrt::transpose::nontrans,
                                                     vrt::diag::unit, h, {});
  });
  // The dispatch's words for an unset index type and precision.
  h->int_type = vs::int_unset;
  expect_message<vrt::unimplemented>(
      [&] { optimize(vrt::uplo::lower, vrt::transpose::nontrans); },
      prefix("optimized_trsv") +
          "unimplemented functionality: integer type is unset in matrix handle, meaning "
          "set_xxx_data was not called after initialization");
  h->int_type = sizeof(I) == 4 ? vs::int_32 : vs::int_64;
  const vs::fpType fp = h->fp_type;
  h->fp_type = vs::fp_unset;
  expect_message<vrt::unimplemented>(
      [&] { optimize(vrt::uplo::lower, vrt::transpose::nontrans); },
      prefix("optimize_trsv") +
          "unimplemented functionality: structure only is not supported, please call "
          "set_xxx_data");
  h->fp_type = static_cast<vs::fpType>(6);
  expect_message<vrt::unimplemented>(
      [&] { optimize(vrt::uplo::lower, vrt::transpose::nontrans); },
      prefix("optimize_trsv") +
          "unimplemented functionality: currently only supports double, float "
          "std::complex<double>, and std::complex<float>");
  h->fp_type = fp;
}

}  // namespace
