// gemm on emulated GPUs through the public routine, against a column-by-column reference: both
// dense layouts with padded leading dimensions, every operation on A, every profile, both
// memory models; the plan's choices (path, sub-group block plan, explicit-SIMD tiles), the
// staging arrays' life, the fallbacks when staging cannot be had, and the refusals.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <complex>
#include <functional>
#include <hostsycl/hostsycl.hpp>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "containers/views.hpp"
#include "gpu/entry_points.hpp"
#include "gpu/gemm/gemm_plan.hpp"
#include "gpu/gemm/subgroup_path.hpp"
#include "handle/gemm_data.hpp"
#include "handle/handle.hpp"
#include "support/device_arrays.hpp"
#include "support/sparse_matrices.hpp"
#include "support/test_helpers.hpp"

namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;
namespace gp = orvane::vrt::sparse::gpu::gemm;
using arch = orvane::vrt::sparse::architecture;
using vrt::layout;
using vrt::transpose;
using vrt_test::csr_matrix;

namespace {

using vrt_test::all_variants;
using vrt_test::memory;

template <typename T>
constexpr bool double_precision =
    std::is_same_v<T, double> || std::is_same_v<T, std::complex<double>>;

// The one variant on which tests call the device paths themselves, a real one: each further
// variant would compile the whole gemm kernel family into this test once more.
template <typename T, typename I>
constexpr bool direct_call_variant = std::is_same_v<I, std::int32_t> &&
                                     (std::is_same_v<T, double> ||
                                      (std::is_same_v<T, float> && !vs::value_type_built<double>));

// Untouched padding of B and C holds this value, so a write outside the product shows.
template <typename T>
T pad_value() {
  return T(-7);
}

// A dense operand of rows x columns in a layout, with `pad` spare elements per leading
// dimension; element (i, j) of the logical matrix is at at(i, j).
template <typename T>
struct dense {
  std::int64_t rows = 0, columns = 0, ld = 0;
  bool row_major = true;
  std::vector<T> data;
  std::size_t at(std::int64_t i, std::int64_t j) const {
    return static_cast<std::size_t>(row_major ? i * ld + j : j * ld + i);
  }
};

template <typename T>
dense<T> make_dense(std::int64_t rows, std::int64_t columns, layout lay, std::int64_t pad,
                    unsigned seed) {
  dense<T> d;
  d.rows = rows;
  d.columns = columns;
  d.row_major = lay == layout::row_major;
  d.ld = (d.row_major ? columns : rows) + pad;
  const std::int64_t outer = d.row_major ? rows : columns;
  d.data.assign(static_cast<std::size_t>(std::max<std::int64_t>(outer * d.ld, 1)), pad_value<T>());
  std::mt19937 rng(seed);
  for (std::int64_t i = 0; i < rows; ++i)
    for (std::int64_t j = 0; j < columns; ++j) d.data[d.at(i, j)] = vrt_test::random_value<T>(rng);
  return d;
}

template <typename T>
std::vector<T> column_of(const dense<T>& d, std::int64_t j) {
  std::vector<T> v(static_cast<std::size_t>(d.rows));
  for (std::int64_t i = 0; i < d.rows; ++i) v[static_cast<std::size_t>(i)] = d.data[d.at(i, j)];
  return v;
}

struct call_hooks {
  std::function<void()> before_gemm = [] {};
  std::function<void(vs::matrix_handle*)> inspect = [](vs::matrix_handle*) {};
  // When set, replaces the public call on USM operands: (queue, bound handle, B, C, deps).
  std::function<sycl::event(sycl::queue&, vs::matrix_handle*, void*, void*,
                            const std::vector<sycl::event>&)>
      usm_gemm;
};

// Binds A, runs gemm with B and C as given, returns C's whole storage. In host memory A lives in
// device USM, B and C in host USM.
template <typename T, typename I>
std::vector<T> run_gemm(sycl::queue& q, const csr_matrix<T, I>& A, memory m, transpose op, T alpha,
                        const dense<T>& B, T beta, const dense<T>& C,
                        const call_hooks& hooks = {}) {
  const memory matrix = m == memory::host ? memory::device : m;
  vrt_test::bound_matrix<T, I> bound(q, A, matrix);
  vrt_test::device_array<T> b(q, B.data, m);
  vrt_test::device_array<T> c(q, C.data, m);
  const layout lay = B.row_major ? layout::row_major : layout::col_major;
  bound.wait();
  hooks.before_gemm();
  bound.run(
      [&](vs::matrix_handle* h, auto& bv, auto& cv, const auto&... deps) {
        if constexpr (sizeof...(deps) == 1) {
          if (hooks.usm_gemm) return hooks.usm_gemm(q, h, bv, cv, deps...);
        }
        return vs::gemm(q, lay, op, transpose::nontrans, alpha, h, bv, C.columns, B.ld, beta, cv,
                        C.ld, deps...);
      },
      b, c);
  bound.wait();
  hostsycl::fail_next_allocations(0);
  auto cs = c.read(C.data.size());
  hooks.inspect(bound.handle());
  return cs;
}

// Every column against the reference product; the padding of C untouched.
template <typename T, typename I>
void expect_product(const std::vector<T>& got, const csr_matrix<T, I>& A, transpose op, T alpha,
                    const dense<T>& B, T beta, const dense<T>& C, const std::string& what) {
  dense<T> result = C;
  result.data = got;
  for (std::int64_t j = 0; j < C.columns; ++j) {
    const auto x = column_of(B, j);
    const auto y = column_of(C, j);
    const auto want = vrt_test::reference_gemv(A, op, alpha, x, beta, y);
    const auto scale = vrt_test::error_scale(A, op, alpha, x, beta, y);
    vrt_test::expect_close(column_of(result, j), want, scale,
                           what + ", column " + std::to_string(j));
    if (::testing::Test::HasFatalFailure()) return;
  }
  std::vector<bool> inside(got.size(), false);
  for (std::int64_t i = 0; i < C.rows; ++i)
    for (std::int64_t j = 0; j < C.columns; ++j) inside[C.at(i, j)] = true;
  for (std::size_t k = 0; k < got.size(); ++k)
    if (!inside[k]) {
      ASSERT_EQ(got[k], pad_value<T>()) << what << ": padding " << k << " written";
    }
}

struct case_setup {
  const char* profile;
  memory m;
  layout lay;
  transpose op;
  std::int64_t columns;
  std::int64_t pad;
};

std::string describe(const case_setup& s) {
  const char* where = s.m == memory::device ? " USM"
                      : s.m == memory::host ? " host USM for B and C"
                                            : " buffers";
  return std::string(s.profile) + where +
         (s.lay == layout::row_major ? " row-major" : " col-major") + " op " +
         std::to_string(static_cast<int>(s.op)) + " columns " + std::to_string(s.columns) +
         " pad " + std::to_string(s.pad);
}

template <typename T, typename I>
void check_case(const csr_matrix<T, I>& A, const case_setup& s, T alpha, T beta,
                const call_hooks& hooks = {}) {
  sycl::queue q{hostsycl::emulated_gpu(s.profile)};
  const bool transposed = s.op != transpose::nontrans;
  const std::int64_t b_rows = transposed ? A.nrows : A.ncols;
  const std::int64_t c_rows = transposed ? A.ncols : A.nrows;
  const auto B = make_dense<T>(b_rows, s.columns, s.lay, s.pad, 21);
  const auto C = make_dense<T>(c_rows, s.columns, s.lay, s.pad + 1, 22);
  const auto got = run_gemm(q, A, s.m, s.op, alpha, B, beta, C, hooks);
  expect_product(got, A, s.op, alpha, B, beta, C, describe(s));
}

const char* const every_profile[] = {"emu-a0", "emu-a1", "emu-a2", "emu-a3",
                                     "emu-a4", "emu-a5", "emu-a6", "emu-a1-nofp64"};
const std::int64_t column_grid[] = {1, 7, 8, 9, 16, 17, 31, 32, 33, 64, 127, 128, 129, 300};
const transpose every_op[] = {transpose::nontrans, transpose::trans, transpose::conjtrans};

template <typename V>
class Gemm : public ::testing::Test {};
TYPED_TEST_SUITE(Gemm, all_variants);

// The whole column grid in both layouts and all operations on the narrow sub-group profile and
// on the explicit-SIMD profile; both memory models alternate.
TYPED_TEST(Gemm, ColumnGridLayoutsAndOperations) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto A = vrt_test::random_csr<T, I>(23, 19, 6, 31, 0, 2, 40);
  int k = 0;
  for (const char* profile : {"emu-a3", "emu-a6"})
    for (std::int64_t columns : column_grid)
      for (layout lay : {layout::row_major, layout::col_major})
        for (transpose op : every_op) {
          const memory m = (k++ % 2) == 0 ? memory::device : memory::buffer;
          check_case<T, I>(A, {profile, m, lay, op, columns, k % 3}, T(1.5), T(-0.5));
          if (::testing::Test::HasFatalFailure()) return;
        }
}

// Every profile with the column counts that reach each kernel: no staging, full blocks with a
// rest, the explicit-SIMD edge and wide products.
TYPED_TEST(Gemm, EveryProfileReachesEveryKernel) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto A = vrt_test::random_csr<T, I>(41, 27, 5, 32, 1, 1, 60);
  for (const char* profile : every_profile) {
    if (double_precision<T> && std::string(profile) == "emu-a1-nofp64") continue;
    int k = 0;
    for (std::int64_t columns : {1, 17, 127, 128, 129})
      for (layout lay : {layout::row_major, layout::col_major}) {
        const memory m = (k % 2) == 0 ? memory::device : memory::buffer;
        check_case<T, I>(A, {profile, m, lay, every_op[k % 3], columns, 2}, T(-1), T(2));
        ++k;
        if (::testing::Test::HasFatalFailure()) return;
      }
  }
}

// Several work-groups of the explicit-SIMD kernels, each taking its rows from its own counter:
// 300 rows are five groups at these column counts. Complex values never take these kernels.
TYPED_TEST(Gemm, ExplicitSimdRowsSpreadOverSeveralWorkGroups) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  if constexpr (vrt_test::is_complex<T>) {
    GTEST_SKIP() << "no explicit-SIMD kernels for complex values";
  } else {
    const auto A = vrt_test::random_csr<T, I>(300, 37, 6, 44, 0, 3, 30);
    for (std::int64_t columns : {9, 17, 127}) {
      ASSERT_GT(A.nrows, 4 * gp::esimd_rows_per_group(columns));
      for (layout lay : {layout::row_major, layout::col_major}) {
        check_case<T, I>(A, {"emu-a6", memory::device, lay, transpose::nontrans, columns, 1},
                         T(1.5), T(-0.5));
        if (::testing::Test::HasFatalFailure()) return;
      }
    }
  }
}

// B and C in host USM, read and written in place or through the staging arrays: explicit SIMD,
// sub-group blocks and a leftover column.
TYPED_TEST(Gemm, DenseOperandsInHostMemory) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto A = vrt_test::random_csr<T, I>(29, 23, 5, 45, 1, 1, 40);
  int k = 0;
  for (std::int64_t columns : {9, 129})
    for (layout lay : {layout::row_major, layout::col_major}) {
      check_case<T, I>(A, {"emu-a6", memory::host, lay, every_op[k++ % 3], columns, 1}, T(2),
                       T(0.5));
      if (::testing::Test::HasFatalFailure()) return;
    }
}

// beta 0: C full of NaN is never read, on every path.
TYPED_TEST(Gemm, ZeroBetaNeverReadsC) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  using R = vrt_test::real_t<T>;
  const auto A = vrt_test::random_csr<T, I>(30, 25, 4, 33);
  const R nan = std::numeric_limits<R>::quiet_NaN();
  for (const char* profile : {"emu-a3", "emu-a6"})
    for (std::int64_t columns : {1, 8, 64, 129})
      for (layout lay : {layout::row_major, layout::col_major})
        for (memory m : {memory::device, memory::buffer}) {
          sycl::queue q{hostsycl::emulated_gpu(profile)};
          const auto B = make_dense<T>(A.ncols, columns, lay, 1, 41);
          auto C = make_dense<T>(A.nrows, columns, lay, 0, 42);
          for (auto& e : C.data) e = T(nan);
          const auto got = run_gemm(q, A, m, transpose::nontrans, T(2), B, T(0), C);
          const case_setup s{profile, m, lay, transpose::nontrans, columns, 0};
          expect_product(got, A, transpose::nontrans, T(2), B, T(0), C, describe(s) + " beta 0");
          if (::testing::Test::HasFatalFailure()) return;
        }
}

// A row without entries gives beta * C exactly: alpha plays no part.
TYPED_TEST(Gemm, EmptyRowsAreScaledByBeta) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  csr_matrix<T, I> A = vrt_test::random_csr<T, I>(20, 12, 4, 34);
  // Rows 0 and 7 empty, whatever the generator chose.
  csr_matrix<T, I> E = A;
  E.col_ind.clear();
  E.values.clear();
  E.row_ptr = {0};
  for (std::int64_t r = 0; r < A.nrows; ++r) {
    if (r != 0 && r != 7)
      for (I j = A.row_ptr[r]; j < A.row_ptr[r + 1]; ++j) {
        E.col_ind.push_back(A.col_ind[j]);
        E.values.push_back(A.values[j]);
      }
    E.row_ptr.push_back(static_cast<I>(E.values.size()));
  }
  for (const char* profile : {"emu-a2", "emu-a6"})
    for (std::int64_t columns : {3, 40, 129})
      for (layout lay : {layout::row_major, layout::col_major}) {
        sycl::queue q{hostsycl::emulated_gpu(profile)};
        const auto B = make_dense<T>(E.ncols, columns, lay, 0, 51);
        const auto C = make_dense<T>(E.nrows, columns, lay, 0, 52);
        const auto got = run_gemm(q, E, memory::device, transpose::nontrans, T(3), B, T(0.5), C);
        for (std::int64_t r : {0, 7})
          for (std::int64_t j = 0; j < columns; ++j)
            ASSERT_EQ(got[C.at(r, j)], C.data[C.at(r, j)] * T(0.5))
                << profile << " row " << r << " column " << j;
      }
}

// Staging that cannot be allocated falls back to the kernels that read B and C in place, with
// the same result; no staging array is left in the plan.
TYPED_TEST(Gemm, StagingFailureFallsBackToTheUnstagedKernels) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto A = vrt_test::random_csr<T, I>(26, 21, 5, 35, 0, 1, 30);
  for (memory m : {memory::device, memory::buffer}) {
    call_hooks hooks;
    // A USM request falls back to host memory once before it fails.
    hooks.before_gemm = [m] { hostsycl::fail_next_allocations(m == memory::device ? 2 : 1); };
    hooks.inspect = [](vs::matrix_handle* h) {
      ASSERT_NE(h->primary->gemm_data, nullptr);
      EXPECT_EQ(h->primary->gemm_data->b_tmp, nullptr);
      EXPECT_EQ(h->primary->gemm_data->b_tmp_bytes, 0);
    };
    // Sub-group blocks on every architecture; column-major explicit SIMD on code 6.
    check_case<T, I>(A, {"emu-a3", m, layout::row_major, transpose::nontrans, 64, 1}, T(2), T(-1),
                     hooks);
    check_case<T, I>(A, {"emu-a3", m, layout::col_major, transpose::nontrans, 70, 1}, T(2), T(-1),
                     hooks);
    check_case<T, I>(A, {"emu-a6", m, layout::col_major, transpose::nontrans, 9, 0}, T(2), T(-1),
                     hooks);
  }
}

// Explicit SIMD on code 6 with B's staging at hand (kept from a wider call) but none to be had for
// C: the element-wise kernel does the whole product, b_tmp stays as it was and no c_tmp is left.
TYPED_TEST(Gemm, StagingFailureOfCAloneFallsBackToTheUnstagedKernel) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  if constexpr (vrt_test::is_complex<T>) {
    GTEST_SKIP() << "no explicit-SIMD kernels for complex values";
  } else {
    const auto A = vrt_test::random_csr<T, I>(26, 21, 5, 46);
    const std::int64_t wide = 128, columns = 9;
    const auto B = make_dense<T>(A.ncols, columns, layout::col_major, 1, 91);
    const auto C = make_dense<T>(A.nrows, columns, layout::col_major, 0, 92);
    void* kept = nullptr;
    std::int64_t kept_bytes = 0;
    call_hooks hooks;
    hooks.usm_gemm = [&](sycl::queue& q, vs::matrix_handle* h, void* b, void* c,
                         const std::vector<sycl::event>& deps) {
      // The wider call takes the sub-group path, which stages B alone.
      T* wb = sycl::malloc_device<T>(static_cast<std::size_t>(A.ncols * wide), q);
      T* wc = sycl::malloc_device<T>(static_cast<std::size_t>(A.nrows * wide), q);
      q.fill(wb, T(1), static_cast<std::size_t>(A.ncols * wide)).wait();
      vs::gemm(q, layout::col_major, transpose::nontrans, transpose::nontrans, T(1), h, wb, wide,
               A.ncols, T(0), wc, A.nrows, deps)
          .wait();
      sycl::free(wb, q);
      sycl::free(wc, q);
      kept = h->primary->gemm_data->b_tmp;
      kept_bytes = h->primary->gemm_data->b_tmp_bytes;
      // Device memory and then host memory refused for c_tmp.
      hostsycl::fail_next_allocations(2);
      return vs::gemm(q, layout::col_major, transpose::nontrans, transpose::nontrans, T(2), h,
                      static_cast<T*>(b), columns, B.ld, T(-1), static_cast<T*>(c), C.ld);
    };
    hooks.inspect = [&](vs::matrix_handle* h) {
      const vs::gemmInternalData* plan = h->primary->gemm_data;
      ASSERT_NE(kept, nullptr);
      EXPECT_GE(kept_bytes, A.ncols * columns * static_cast<std::int64_t>(sizeof(T)));
      EXPECT_EQ(plan->b_tmp, kept);
      EXPECT_EQ(plan->b_tmp_bytes, kept_bytes);
      EXPECT_EQ(plan->c_tmp, nullptr);
      EXPECT_EQ(plan->c_tmp_bytes, 0);
    };
    sycl::queue q{hostsycl::emulated_gpu("emu-a6")};
    const auto got = run_gemm(q, A, memory::device, transpose::nontrans, T(2), B, T(-1), C, hooks);
    expect_product(got, A, transpose::nontrans, T(2), B, T(-1), C, "emu-a6 C staging refused");
  }
}

// On code 6 the path shows in the plan's staging of column-major operands: up to 127 columns
// the explicit-SIMD path stages B and C, at 128 the sub-groups stage B alone, and at 129 the
// leftover column goes to the explicit-SIMD path again. Complex values never take it.
TYPED_TEST(Gemm, ColumnMajorStagingShowsThePathOnCode6) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto A = vrt_test::random_csr<T, I>(24, 20, 6, 39);
  const auto size = static_cast<std::int64_t>(sizeof(T));
  const double density = static_cast<double>(A.nnz()) / static_cast<double>(A.nrows * A.ncols);
  for (std::int64_t columns : {1, 127, 128, 129}) {
    call_hooks hooks;
    hooks.inspect = [&](vs::matrix_handle* h) {
      const vs::gemmInternalData* plan = h->primary->gemm_data;
      ASSERT_NE(plan, nullptr);
      // Complex values plan with density 0.
      const double planned = vrt_test::is_complex<T> ? 0.0 : density;
      const auto p = gp::plan_subgroup(arch::code6, planned, columns, 1024, double_precision<T>);
      if (!vrt_test::is_complex<T> && columns <= 127) {
        EXPECT_EQ(plan->b_tmp_bytes, A.ncols * columns * size) << columns;
        EXPECT_EQ(plan->c_tmp_bytes, A.nrows * columns * size) << columns;
        return;
      }
      if (columns >= p.limit) {
        EXPECT_EQ(plan->b_tmp_bytes, A.ncols * p.block * size) << columns;
      } else {
        EXPECT_EQ(plan->b_tmp, nullptr) << columns;
      }
      if (!vrt_test::is_complex<T> && p.rest > 0) {
        EXPECT_EQ(plan->c_tmp_bytes, A.nrows * p.rest * size) << columns;
      } else {
        EXPECT_EQ(plan->c_tmp, nullptr) << columns;
      }
    };
    check_case<T, I>(A,
                     {"emu-a6", memory::device, layout::col_major, transpose::nontrans, columns, 0},
                     T(1), T(1), hooks);
    if (::testing::Test::HasFatalFailure()) return;
  }
}

// Offsets beyond 32 bits (from 0x3fffffff rows on) keep the leftover columns of code 6 out of the
// explicit-SIMD kernels: the element-wise rest kernels take them and nothing stages C. No such
// matrix fits here, so the sub-group path is called with the flag the plan sets for one.
TYPED_TEST(Gemm, LeftoverWithoutThirtyTwoBitOffsetsStaysInTheRestKernels) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  if constexpr (!direct_call_variant<T, I>) {
    GTEST_SKIP() << "runs on one real variant";
  } else {
    const auto A = vrt_test::random_csr<T, I>(23, 19, 6, 43);
    const std::int64_t columns = 129;
    const double density = static_cast<double>(A.nnz()) / static_cast<double>(A.nrows * A.ncols);
    ASSERT_EQ(gp::plan_subgroup(arch::code6, density, columns, 1024, double_precision<T>).rest, 1);
    const auto B = make_dense<T>(A.ncols, columns, layout::col_major, 1, 81);
    const auto C = make_dense<T>(A.nrows, columns, layout::col_major, 2, 82);
    call_hooks hooks;
    hooks.usm_gemm = [&](sycl::queue& q, vs::matrix_handle* h, void* b, void* c,
                         const std::vector<sycl::event>& deps) {
      vs::sparseStructure* s = h->primary;
      vs::initGemmInternalData(&s->gemm_data);
      vs::cache_gemm_internals(q, s->gemm_data);
      const gp::gemm_operands<T, I, vs::container_usm> op{static_cast<I*>(s->row_ptr),
                                                          static_cast<I*>(s->col_ind),
                                                          static_cast<T*>(s->values),
                                                          static_cast<T*>(b),
                                                          static_cast<T*>(c),
                                                          A.nrows,
                                                          A.ncols,
                                                          columns,
                                                          B.ld,
                                                          C.ld,
                                                          false,
                                                          I(0),
                                                          T(1.5),
                                                          T(-0.5)};
      return gp::gemm_opt_subgroup<T, I, vs::container_usm>(q, op, s, density, arch::code6, false,
                                                            deps);
    };
    hooks.inspect = [](vs::matrix_handle* h) {
      const vs::gemmInternalData* plan = h->primary->gemm_data;
      ASSERT_NE(plan, nullptr);
      EXPECT_NE(plan->b_tmp, nullptr);  // the full blocks were staged
      EXPECT_EQ(plan->c_tmp, nullptr);
      EXPECT_EQ(plan->c_tmp_bytes, 0);
    };
    sycl::queue q{hostsycl::emulated_gpu("emu-a6")};
    const auto got =
        run_gemm(q, A, memory::device, transpose::nontrans, T(1.5), B, T(-0.5), C, hooks);
    expect_product(got, A, transpose::nontrans, T(1.5), B, T(-0.5), C,
                   "emu-a6 col-major 129 columns, offsets beyond 32 bits");
  }
}

// b_tmp grows when a call needs more, and stays when a later call needs less.
TYPED_TEST(Gemm, StagingGrowsAndStays) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto A = vrt_test::random_csr<T, I>(18, 15, 4, 36);
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  vs::matrix_handle* h = nullptr;
  vs::init_matrix_handle(&h);
  auto rp = A.row_ptr;
  auto ci = A.col_ind;
  auto va = A.values;
  I* d_row = sycl::malloc_shared<I>(rp.size(), q);
  I* d_col = sycl::malloc_shared<I>(ci.size() + 1, q);
  T* d_val = sycl::malloc_shared<T>(va.size() + 1, q);
  std::copy(rp.begin(), rp.end(), d_row);
  std::copy(ci.begin(), ci.end(), d_col);
  std::copy(va.begin(), va.end(), d_val);
  vs::set_csr_data(q, h, static_cast<I>(A.nrows), static_cast<I>(A.ncols), vrt::index_base::zero,
                   d_row, d_col, d_val)
      .wait();
  const std::int64_t max_columns = 300;
  T* b = sycl::malloc_shared<T>(static_cast<std::size_t>(A.ncols * max_columns), q);
  T* c = sycl::malloc_shared<T>(static_cast<std::size_t>(A.nrows * max_columns), q);
  std::fill(b, b + A.ncols * max_columns, T(1));
  auto call = [&](std::int64_t columns) {
    vs::gemm(q, layout::row_major, transpose::nontrans, transpose::nontrans, T(1), h, b, columns,
             columns, T(0), c, columns)
        .wait();
    for (std::int64_t r = 0; r < A.nrows; ++r) {
      T want = T(0);
      for (I j = A.row_ptr[r]; j < A.row_ptr[r + 1]; ++j) want += A.values[j];
      ASSERT_LE(std::abs(c[r * columns] - want), 1e-4 * (1 + std::abs(want))) << columns;
    }
  };
  call(1);  // fewer columns than a block: no staging
  vs::gemmInternalData* plan = h->primary->gemm_data;
  ASSERT_NE(plan, nullptr);
  EXPECT_EQ(plan->b_tmp, nullptr);
  // Code 3: sixteen lanes, four columns each for d and z, eight for s and c.
  const std::int64_t block = double_precision<T> ? 64 : 128;
  call(block / 2);  // the shrunk plan: half the lanes' columns
  const std::int64_t small = A.ncols * (block / 2) * static_cast<std::int64_t>(sizeof(T));
  EXPECT_EQ(plan->b_tmp_bytes, small);
  void* first = plan->b_tmp;
  call(block);
  const std::int64_t large = A.ncols * block * static_cast<std::int64_t>(sizeof(T));
  EXPECT_EQ(plan->b_tmp_bytes, large);
  void* grown = plan->b_tmp;
  EXPECT_NE(grown, nullptr);
  (void)first;
  call(block / 2);
  call(max_columns);
  EXPECT_EQ(plan->b_tmp, grown);
  EXPECT_EQ(plan->b_tmp_bytes, large);
  vs::release_matrix_handle(q, &h, {}).wait();
  for (void* p : {static_cast<void*>(d_row), static_cast<void*>(d_col), static_cast<void*>(d_val),
                  static_cast<void*>(b), static_cast<void*>(c)})
    sycl::free(p, q);
}

// opA trans: the explicit transpose is built by the first call and reused by the next.
TYPED_TEST(Gemm, TransposeIsBuiltOnceAndReused) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto A = vrt_test::random_csr<T, I>(16, 11, 4, 37);
  const case_setup s{"emu-a6", memory::buffer, layout::row_major, transpose::trans, 5, 0};
  sycl::queue q{hostsycl::emulated_gpu(s.profile)};
  const auto B = make_dense<T>(A.nrows, s.columns, s.lay, 0, 61);
  const auto C = make_dense<T>(A.ncols, s.columns, s.lay, 0, 62);
  std::vector<T> bs = B.data, cs = C.data;
  auto rp = A.row_ptr;
  auto ci = A.col_ind;
  auto va = A.values;
  vs::matrix_handle* h = nullptr;
  vs::init_matrix_handle(&h);
  {
    sycl::buffer<I, 1> b_row(rp.data(), sycl::range<1>(rp.size()));
    sycl::buffer<I, 1> b_col(ci.data(), sycl::range<1>(ci.size()));
    sycl::buffer<T, 1> b_val(va.data(), sycl::range<1>(va.size()));
    sycl::buffer<T, 1> b_b(bs.data(), sycl::range<1>(bs.size()));
    sycl::buffer<T, 1> b_c(cs.data(), sycl::range<1>(cs.size()));
    vs::set_csr_data(q, h, static_cast<I>(A.nrows), static_cast<I>(A.ncols), vrt::index_base::zero,
                     b_row, b_col, b_val);
    EXPECT_EQ(h->transposed, nullptr);
    vs::gemm(q, s.lay, s.op, transpose::nontrans, T(1), h, b_b, s.columns, B.ld, T(0), b_c, C.ld);
    vs::sparseStructure* made = h->transposed;
    ASSERT_NE(made, nullptr);
    EXPECT_NE(made->gemm_data, nullptr);
    EXPECT_EQ(h->primary->gemm_data, nullptr);
    vs::gemm(q, s.lay, s.op, transpose::nontrans, T(1), h, b_b, s.columns, B.ld, T(0), b_c, C.ld);
    EXPECT_EQ(h->transposed, made);
    vs::release_matrix_handle(&h);
  }
  expect_product(cs, A, s.op, T(1), B, T(0), C, describe(s) + " second call");
}

// A handle bound without a queue has no count of its non-zeros: the explicit-SIMD path
// counts them once, for real values (a host task on shared memory, a kernel on device memory);
// complex values never need the count.
TYPED_TEST(Gemm, UnknownNonZeroCountIsCountedOnce) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto A = vrt_test::random_csr<T, I>(14, 10, 4, 38);
  sycl::queue q{hostsycl::emulated_gpu("emu-a6")};
  const auto B = make_dense<T>(A.ncols, 4, layout::row_major, 0, 71);
  const auto C = make_dense<T>(A.nrows, 4, layout::row_major, 0, 72);
  for (sycl::usm::alloc kind : {sycl::usm::alloc::shared, sycl::usm::alloc::device}) {
    auto place = [&](const auto& v) {
      using E = typename std::decay_t<decltype(v)>::value_type;
      E* p = sycl::malloc<E>(v.size() + 1, q, kind);
      q.memcpy(p, v.data(), v.size() * sizeof(E)).wait();
      return p;
    };
    I* d_row = place(A.row_ptr);
    I* d_col = place(A.col_ind);
    T* d_val = place(A.values);
    T* b = place(B.data);
    T* c = place(C.data);
    vs::matrix_handle* h = nullptr;
    vs::init_matrix_handle(&h);
    vs::set_csr_data(h, static_cast<I>(A.nrows), static_cast<I>(A.ncols), vrt::index_base::zero,
                     d_row, d_col, d_val);
    ASSERT_LT(h->primary->nnz, 0);
    vs::gemm(q, layout::row_major, transpose::nontrans, transpose::nontrans, T(1), h, b, 4, 4, T(1),
             c, 4)
        .wait();
    const std::string where = kind == sycl::usm::alloc::shared ? "shared" : "device";
    if constexpr (vrt_test::is_complex<T>)
      EXPECT_LT(h->primary->nnz, 0) << where;
    else
      EXPECT_EQ(h->primary->nnz, A.nnz()) << where;
    std::vector<T> got(C.data.size());
    q.memcpy(got.data(), c, got.size() * sizeof(T)).wait();
    expect_product(got, A, transpose::nontrans, T(1), B, T(1), C, "late-bound handle, " + where);
    vs::release_matrix_handle(q, &h, {}).wait();
    for (void* p : {static_cast<void*>(d_row), static_cast<void*>(d_col), static_cast<void*>(d_val),
                    static_cast<void*>(b), static_cast<void*>(c)})
      sycl::free(p, q);
  }
}

// The refusals of the device path that the public frame does not make first.
TYPED_TEST(Gemm, Refusals) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  std::vector<I> rp = {0, 1, 2}, ci = {0, 1};
  std::vector<T> va = {T(1), T(2)};
  I* d_row = sycl::malloc_shared<I>(3, q);
  I* d_col = sycl::malloc_shared<I>(2, q);
  T* d_val = sycl::malloc_shared<T>(2, q);
  std::copy(rp.begin(), rp.end(), d_row);
  std::copy(ci.begin(), ci.end(), d_col);
  std::copy(va.begin(), va.end(), d_val);
  T* b = sycl::malloc_shared<T>(64, q);
  T* c = sycl::malloc_shared<T>(64, q);
  vs::matrix_handle* h = nullptr;
  vs::init_matrix_handle(&h);
  vs::set_csr_data(q, h, I(2), I(2), vrt::index_base::zero, d_row, d_col, d_val).wait();
  const char* internal = "orvane::vrt::sparse::gemm: computation error: internal error";
  const gp::gemm_operands<T, I, vs::container_usm> op{d_row, d_col, d_val, b,    c,    2,    2,
                                                      2,     2,     2,     true, I(0), T(1), T(0)};
  // Both paths need the plan record that gemm makes before calling them.
  ASSERT_EQ(h->primary->gemm_data, nullptr);
  if constexpr (direct_call_variant<T, I>) {
    vrt_test::expect_message<vrt::computation_error>(
        [&] {
          gp::gemm_opt_subgroup<T, I, vs::container_usm>(q, op, h->primary, 0.0, arch::code3, true,
                                                         {});
        },
        internal);
    vrt_test::expect_message<vrt::computation_error>(
        [&] { gp::gemm_opt_esimd<T, I, vs::container_usm>(q, op, h->primary, 0, 2, {}); },
        internal);
  }
  // A handle that was never bound.
  vs::matrix_handle* fresh = nullptr;
  vs::init_matrix_handle(&fresh);
  vrt_test::expect_message<vrt::uninitialized>(
      [&] {
        vs::gemm(q, layout::row_major, transpose::nontrans, transpose::nontrans, T(1), fresh, b, 2,
                 2, T(0), c, 2)
            .wait();
      },
      "orvane::vrt::sparse::gemm: uninitialized object: Matrix is not initialized");
  vs::release_matrix_handle(q, &fresh, {}).wait();
  using gemm_t = sycl::event (*)(sycl::queue&, layout, transpose, transpose, T, vs::matrix_handle*,
                                 T*, std::int64_t, std::int64_t, T, T*, std::int64_t,
                                 const std::vector<sycl::event>&);
  gemm_t device_gemm = vs::gpu::gemm_impl<T, I, vs::container_usm>;
  vrt_test::expect_message<vrt::unimplemented>(
      [&] {
        device_gemm(q, layout::row_major, transpose::nontrans, transpose::trans, T(1), h, b, 2, 2,
                    T(0), c, 2, {});
      },
      "orvane::vrt::sparse::gemm: unimplemented functionality: currently only supports the "
      "orvane::vrt::transpose::nontrans op");
  std::vector<T> host_c(64);
  vrt_test::expect_message<vrt::invalid_argument>(
      [&] {
        vs::gemm(q, layout::row_major, transpose::nontrans, transpose::nontrans, T(1), h, b, 2, 2,
                 T(0), host_c.data(), 2)
            .wait();
      },
      "orvane::vrt::sparse::gemm: invalid argument: given usm alloc type is unknown");
  // A pair of sub-group size and vector length that the plan cannot name.
  for (auto [sg, vec] : {std::pair{16, 3}, std::pair{32, 16}, std::pair{8, 1}})
    vrt_test::expect_message<vrt::computation_error>(
        [&] { gp::gemm_subgroup_block<T, I, vs::container_usm>(q, sg, vec, op, b, 2, 0, {}); },
        "orvane::vrt::sparse::gemm: computation error: internal error -- invalid vec_length");
  if constexpr (double_precision<T>)
    vrt_test::expect_message<vrt::computation_error>(
        [&] { gp::gemm_subgroup_block<T, I, vs::container_usm>(q, 16, 8, op, b, 2, 0, {}); },
        "orvane::vrt::sparse::gemm: computation error: internal error -- invalid vec_length");
  vs::release_matrix_handle(q, &h, {}).wait();
  // A COO matrix has no device gemm.
  vs::init_matrix_handle(&h);
  vs::set_coo_data(q, h, I(2), I(2), I(2), vrt::index_base::zero, d_row, d_col, d_val).wait();
  vrt_test::expect_message<vrt::unimplemented>(
      [&] {
        vs::gemm(q, layout::row_major, transpose::nontrans, transpose::nontrans, T(1), h, b, 2, 2,
                 T(0), c, 2)
            .wait();
      },
      "orvane::vrt::sparse::gemm: unimplemented functionality: currently only supports the CSR "
      "matrix format on GPU devices");
  vs::release_matrix_handle(q, &h, {}).wait();
  for (void* p : {static_cast<void*>(d_row), static_cast<void*>(d_col), static_cast<void*>(d_val),
                  static_cast<void*>(b), static_cast<void*>(c)})
    sycl::free(p, q);
}

// The plan record is refused when it is missing or its planning failed.
TEST(GemmRecord, MissingOrFailedPlanIsAnInternalError) {
  using T = std::tuple_element_t<0, vrt_test::built_variants>::value;
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  const char* internal = "orvane::vrt::sparse::gemm: computation error: internal error";
  vrt_test::expect_message<vrt::computation_error>([&] { vs::cache_gemm_internals(q, nullptr); },
                                                   internal);
  vs::gemmInternalData* data = nullptr;
  vs::initGemmInternalData(&data);
  ASSERT_NE(data, nullptr);
  data->plan_failed = 1;
  vrt_test::expect_message<vrt::computation_error>([&] { vs::cache_gemm_internals(q, data); },
                                                   internal);
  EXPECT_EQ(data->cached, 0);
  vs::gemmInternalDataRelease<T>(&data, nullptr, vs::container_usm);
  EXPECT_EQ(data, nullptr);
}

// ---- the plan's choices ------------------------------------------------------------------------

TEST(GemmPlan, ExplicitSimdTakesUpTo127ColumnsOnCode6) {
  EXPECT_TRUE(gp::esimd_takes_all_columns(arch::code6, 127, true));
  EXPECT_FALSE(gp::esimd_takes_all_columns(arch::code6, 128, true));
  EXPECT_FALSE(gp::esimd_takes_all_columns(arch::code6, 127, false));
  EXPECT_FALSE(gp::esimd_takes_all_columns(arch::code5, 1, true));
  // 128 columns on code 6 go to wide sub-groups.
  const auto p = gp::plan_subgroup(arch::code6, 0.1, 128, 1024, true);
  EXPECT_EQ(p.sg, 32);
  EXPECT_EQ(p.vec, 4);
  EXPECT_EQ(p.full_blocks, 1);
  EXPECT_EQ(p.rest, 0);
}

TEST(GemmPlan, OffsetsBeyond32BitsKeepTheGenericKernels) {
  EXPECT_FALSE(gp::fits_32bit_offsets(0x3fffffff, 10, 10, 4, 4, 4, true));
  EXPECT_TRUE(gp::fits_32bit_offsets(1000, 10, 10, 4, 4, 4, true));
  EXPECT_FALSE(gp::fits_32bit_offsets(10, 10, 0x1fffffff, 4, 4, 4, true));
  EXPECT_FALSE(gp::fits_32bit_offsets(10, 0x1fffffff / 4 + 1, 10, 4, 4, 4, true));  // B
  EXPECT_FALSE(gp::fits_32bit_offsets(10, 10, 10, 0x1000, 0x20000, 4, false));      // B
  EXPECT_FALSE(gp::fits_32bit_offsets(10, 10, 10, 0x1000, 4, 0x20000, false));      // C
}

TEST(GemmPlan, SubgroupTableAndShrinkRule) {
  // (architecture, density, double width) -> vec before the shrink, with many columns.
  struct row {
    int arch;
    double density;
    bool wide;
    int sg, vec;
  };
  for (const row& r : {row{1, 0, true, 16, 1}, row{1, 0, false, 16, 2}, row{3, 0, true, 16, 4},
                       row{3, 0, false, 16, 8}, row{5, 0, true, 16, 4}, row{4, 0, true, 16, 2},
                       row{4, 0, false, 16, 4}, row{0, 0, true, 16, 2}, row{2, 0, false, 16, 4},
                       row{6, 0.05, true, 32, 4}, row{6, 0.05, false, 32, 8},
                       row{6, 0.049, true, 32, 2}, row{6, 0.049, false, 32, 4}}) {
    const auto p =
        gp::plan_subgroup(vs::architecture_from_code(r.arch), r.density, 1000, 1024, r.wide);
    EXPECT_EQ(p.sg, r.sg) << r.arch;
    EXPECT_EQ(p.vec, r.vec) << r.arch << " " << r.density << " " << r.wide;
    EXPECT_EQ(p.block, r.sg * r.vec);
  }
  // Code 6 below 32 columns: one column per lane of sixteen.
  auto p = gp::plan_subgroup(arch::code6, 0.5, 31, 1024, false);
  EXPECT_EQ(p.sg, 16);
  EXPECT_EQ(p.vec, 1);
  // Shrink: 40 columns on code 3 (s): 16 * 8 halves to 16 * 2.
  p = gp::plan_subgroup(arch::code3, 0, 40, 512, false);
  EXPECT_EQ(p.vec, 2);
  EXPECT_EQ(p.block, 32);
  EXPECT_EQ(p.full_blocks, 1);
  EXPECT_EQ(p.rest, 8);
  // Fewer columns than a sub-group: vec stays, the block is the columns, nothing is staged.
  p = gp::plan_subgroup(arch::code3, 0, 1, 512, false);
  EXPECT_EQ(p.vec, 8);
  EXPECT_EQ(p.block, 1);
  EXPECT_LT(1, p.limit);
  // sg * vec + 1 columns: one full block and a rest of one column.
  p = gp::plan_subgroup(arch::code3, 0, 65, 512, true);
  EXPECT_EQ(p.block, 64);
  EXPECT_EQ(p.full_blocks, 1);
  EXPECT_EQ(p.rest, 1);
  // A multiple of the block leaves no rest.
  p = gp::plan_subgroup(arch::code3, 0, 192, 512, true);
  EXPECT_EQ(p.full_blocks, 3);
  EXPECT_EQ(p.rest, 0);
  // The work-group size bounds the block.
  p = gp::plan_subgroup(arch::code3, 0, 192, 32, true);
  EXPECT_EQ(p.block, 32);
}

TEST(GemmPlan, ExplicitSimdTiles) {
  struct row {
    std::int64_t columns;
    int width;
    std::int64_t full;
    int rest_width;
    std::int64_t rest_tiles;
  };
  for (const row& r :
       {row{1, 8, 0, 8, 1}, row{8, 8, 1, 0, 0}, row{9, 16, 0, 16, 1}, row{16, 16, 1, 0, 0},
        row{17, 32, 0, 32, 1}, row{127, 32, 3, 32, 1}, row{100, 32, 3, 8, 1}}) {
    const auto t = gp::plan_esimd_tiles(r.columns);
    EXPECT_EQ(t.width, r.width) << r.columns;
    EXPECT_EQ(t.full_tiles, r.full) << r.columns;
    EXPECT_EQ(t.rest_width, r.rest_width) << r.columns;
    EXPECT_EQ(t.rest_tiles, r.rest_tiles) << r.columns;
  }
  EXPECT_EQ(gp::esimd_rows_per_group(128), 64);
  EXPECT_EQ(gp::esimd_rows_per_group(129), 128);
  EXPECT_EQ(gp::esimd_rows_per_group(256), 128);
  EXPECT_EQ(gp::esimd_rows_per_group(257), 1024);
}

// ---- the adaptor steps the staging arrays use ---------------------------------------------------

// A replaced USM staging array is freed behind the caller's events, not before them; a buffer is
// released at once (its destruction waits for its users).
TEST(GemmStaging, ReleaseWaitsForTheDependenciesInUsmOnly) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a6")};
  std::atomic<bool> work_done{false};
  std::atomic<bool> released_after_work{false};
  const sycl::event work = q.submit([&](sycl::handler& h) {
    h.host_task([&] {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      work_done = true;
    });
  });
  vs::release_after<vs::container_usm>(q, {work}, [&] { released_after_work = work_done.load(); });
  q.wait();
  EXPECT_TRUE(released_after_work);

  bool released = false;
  vs::release_after<vs::container_buffer>(q, {}, [&] { released = true; });
  EXPECT_TRUE(released);
}

// The host reads nnz only after the USM count has run.
TEST(GemmStaging, HostReadWaitsForUsmWork) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a6")};
  std::atomic<bool> counted{false};
  const sycl::event work = q.submit([&](sycl::handler& h) {
    h.host_task([&] {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      counted = true;
    });
  });
  vs::wait_for_host_read<vs::container_usm>(work);
  EXPECT_TRUE(counted);
  q.wait();
}

// ---- devices without the plan's sub-group size ----------------------------------------------

// The facts of emu-a4 (sub-groups of 16 planned) and emu-a6 (32, or 16 below 32 columns) with
// sub-groups of 1 only: the product goes straight from B, as when no tile can be had, and stays
// right; no kernel that demands a sub-group size is submitted. Code 6 keeps its explicit-SIMD
// path for real values up to 127 columns.
const char* const narrow_profiles[] = {"emu-a4-narrow-sub-groups", "emu-a6-narrow-sub-groups"};

TYPED_TEST(Gemm, NarrowSubGroupsRunTheProductStraightFromB) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto A = vrt_test::random_csr<T, I>(41, 27, 5, 32, 1, 1, 60);
  int k = 0;
  for (const char* profile : narrow_profiles)
    for (std::int64_t columns : {17, 64, 129, 300})
      for (layout lay : {layout::row_major, layout::col_major}) {
        const memory m = k % 3 == 0 ? memory::device : k % 3 == 1 ? memory::buffer : memory::host;
        const transpose op = every_op[k % 3];
        ++k;
        const case_setup setup{profile, m, lay, op, columns, 1};
        const bool esimd = !vrt_test::is_complex<T> &&
                           std::string(profile).find("a6") != std::string::npos &&
                           columns <= gp::esimd_max_columns;
        call_hooks hooks;
        hooks.before_gemm = [] { hostsycl::reset_kernel_counts(); };
        hooks.inspect = [&](vs::matrix_handle*) {
          EXPECT_EQ(hostsycl::kernels_submitted("sub_group_kernel"), 0u) << describe(setup);
          EXPECT_EQ(hostsycl::kernels_submitted("mmNoBtmpKernel"), esimd ? 0u : 1u)
              << describe(setup);
        };
        check_case<T, I>(A, setup, T(1.5), T(-0.5), hooks);
        if (::testing::Test::HasFatalFailure()) return;
      }
}

// On the listed profiles with the same facts the same calls stage tiles for the sub-group
// kernel: the counts above see what they look for.
TEST(GemmNarrowSubGroups, TheListedTwinsRunTheSubGroupKernel) {
  const auto A = vrt_test::random_csr<double, std::int32_t>(41, 27, 5, 32, 1, 1, 60);
  for (const char* profile : {"emu-a4", "emu-a6"}) {
    const case_setup setup{profile, memory::device, layout::row_major, transpose::nontrans, 300, 1};
    call_hooks hooks;
    hooks.before_gemm = [] { hostsycl::reset_kernel_counts(); };
    hooks.inspect = [&](vs::matrix_handle*) {
      EXPECT_GT(hostsycl::kernels_submitted("sub_group_kernel"), 0u) << profile;
      EXPECT_EQ(hostsycl::kernels_submitted("mmNoBtmpKernel"), 0u) << profile;
    };
    check_case<double, std::int32_t>(A, setup, 1.5, -0.5, hooks);
  }
}

// The launcher of a block refuses either size as unsupported before submitting anything.
TYPED_TEST(Gemm, NarrowSubGroupsRefuseTheSubGroupBlock) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  for (const char* profile : narrow_profiles) {
    sycl::queue q{hostsycl::emulated_gpu(profile)};
    I* d_row = sycl::malloc_shared<I>(3, q);
    I* d_col = sycl::malloc_shared<I>(2, q);
    T* d_val = sycl::malloc_shared<T>(2, q);
    T* b = sycl::malloc_shared<T>(64, q);
    T* c = sycl::malloc_shared<T>(64, q);
    const gp::gemm_operands<T, I, vs::container_usm> op{d_row, d_col, d_val, b,    c,    2,   2, 2,
                                                        2,     2,     true,  I(0), T(1), T(0)};
    const std::string message = "orvane::vrt::sparse::gemm: unsupported device: " +
                                q.get_device().get_info<sycl::info::device::name>();
    for (int sg : {16, 32}) {
      hostsycl::reset_kernel_counts();
      vrt_test::expect_message<vrt::unsupported_device>(
          [&] { gp::gemm_subgroup_block<T, I, vs::container_usm>(q, sg, 1, op, b, 2, 0, {}); },
          message);
      EXPECT_EQ(hostsycl::kernels_submitted(), 0u) << profile << " " << sg;
    }
    for (void* p : {static_cast<void*>(d_row), static_cast<void*>(d_col), static_cast<void*>(d_val),
                    static_cast<void*>(b), static_cast<void*>(c)})
      sycl::free(p, q);
  }
}

}  // namespace
