// update_diagonal_values on emulated GPUs: its refusals (exact classes and texts, nothing written
// when it refuses), the write into the caller's values for every variant and memory, and the
// solves after it, which must see the new diagonal without a new analysis.
#include <gtest/gtest.h>

#include <algorithm>
#include <hostsycl/hostsycl.hpp>
#include <map>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

#include "gpu/format/update_diagonal_plan.hpp"
#include "handle/triangular_data.hpp"
#include "support/test_helpers.hpp"
#include "triangular_support.hpp"

namespace {

namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;
using namespace vrt_test::triangular;
using vrt_test::csr_matrix;
using vrt_test::expect_message;
using vrt_test::is_complex;
using vrt_test::nan_value;
using vrt_test::real_t;

constexpr const char* gpu_profiles[] = {"emu-a0", "emu-a1", "emu-a2", "emu-a3",
                                        "emu-a4", "emu-a5", "emu-a6"};
constexpr vrt::uplo both_triangles[] = {vrt::uplo::lower, vrt::uplo::upper};
constexpr vrt::diag both_diags[] = {vrt::diag::nonunit, vrt::diag::unit};

template <typename V>
class UpdateDiagonal : public ::testing::Test {};
TYPED_TEST_SUITE(UpdateDiagonal, vrt_test::all_variants);

// The new diagonal the tests write: the old one shifted (it stays dominant), with an imaginary
// part for complex values so that a conjugation would show.
template <typename T>
std::vector<T> shifted_diagonal(std::int64_t n, double shift) {
  std::vector<T> d(static_cast<std::size_t>(n));
  for (std::int64_t i = 0; i < n; ++i) {
    const double re = 40.0 + shift + 0.5 * static_cast<double>(i % 7);
    if constexpr (is_complex<T>)
      d[static_cast<std::size_t>(i)] =
          T(real_t<T>(re), real_t<T>(0.25 * static_cast<double>(i % 3)));
    else
      d[static_cast<std::size_t>(i)] = T(real_t<T>(re));
  }
  return d;
}

// The host oracle of the write: each row's first diagonal entry takes the new value.
template <typename T, typename I>
csr_matrix<T, I> with_diagonal(csr_matrix<T, I> A, const std::vector<T>& d) {
  for (std::int64_t i = 0; i < A.nrows; ++i)
    for (I k = A.row_ptr[i] - A.base; k < A.row_ptr[i + 1] - A.base; ++k)
      if (A.col_ind[k] - A.base == i) {
        A.values[k] = d[static_cast<std::size_t>(i)];
        break;
      }
  return A;
}

// The pattern of A made symmetric: entries of A keep their values, mirrored ones get a small
// value; rows stay in A's (random) order unless sorted later.
template <typename T, typename I>
csr_matrix<T, I> symmetric_pattern(const csr_matrix<T, I>& A) {
  std::vector<std::map<I, T>> rows(static_cast<std::size_t>(A.nrows));
  for (std::int64_t i = 0; i < A.nrows; ++i)
    for (I k = A.row_ptr[i] - A.base; k < A.row_ptr[i + 1] - A.base; ++k)
      rows[static_cast<std::size_t>(i)][A.col_ind[k] - A.base] = A.values[k];
  for (std::int64_t i = 0; i < A.nrows; ++i)
    for (const auto& [c, v] : std::map<I, T>(rows[static_cast<std::size_t>(i)]))
      rows[static_cast<std::size_t>(c)].emplace(static_cast<I>(i), v * T(real_t<T>(0.125)));
  csr_matrix<T, I> S;
  S.nrows = S.ncols = A.nrows;
  S.base = A.base;
  S.row_ptr.push_back(static_cast<I>(A.base));
  for (std::int64_t i = 0; i < A.nrows; ++i) {
    // Reversed, so that the rows are not sorted.
    std::vector<std::pair<I, T>> row(rows[static_cast<std::size_t>(i)].rbegin(),
                                     rows[static_cast<std::size_t>(i)].rend());
    for (const auto& [c, v] : row) {
      S.col_ind.push_back(static_cast<I>(c + A.base));
      S.values.push_back(v);
    }
    S.row_ptr.push_back(static_cast<I>(S.col_ind.size() + static_cast<std::size_t>(A.base)));
  }
  return S;
}

// update_diagonal_values on b's handle with d in b's memory model (length given for USM; the
// buffer form takes the buffer's size). Waits for the returned event.
template <typename T, typename I>
void update(sycl::queue& q, bound_matrix<T, I>& b, const std::vector<T>& d) {
  vrt_test::device_array<T> diagonal(q, d, b.model());
  const auto length = static_cast<std::int64_t>(d.size());
  b.run(
      [&](vs::matrix_handle* h, auto&... args) {
        if constexpr (sizeof...(args) == 2) {
          return vs::update_diagonal_values(q, h, length, args...);
        } else {
          vs::update_diagonal_values(q, h, args...);
          return sycl::event{};
        }
      },
      diagonal);
  b.wait();
}

template <typename T, typename I>
std::vector<T> values_of(bound_matrix<T, I>& b, std::size_t nnz) {
  return b.values().read(nnz);
}

template <typename T>
void expect_same(const std::vector<T>& got, const std::vector<T>& want, const std::string& what) {
  ASSERT_EQ(got.size(), want.size()) << what;
  for (std::size_t i = 0; i < got.size(); ++i)
    EXPECT_TRUE(got[i] == want[i]) << what << ", entry " << i;
}

const std::string missing_message =
    prefix("update_diagonal_values") +
    "unimplemented functionality: the matrix is missing diagonal values in the structure, this "
    "is not supported for sparse::update_diagonal_values().";

// ---- which copies a handle holds ---------------------------------------------------------------

TEST(UpdateDiagonalPlan, EachStructureOnceWithThePositionsOfItsAnalysis) {
  vs::sparseStructure primary{}, sorted{}, lower{}, upper{}, trans{}, conj{};
  for (vs::sparseStructure* s : {&primary, &sorted, &lower, &upper, &trans, &conj})
    s->format = vs::format_csr;
  vs::diagonalStructData d_sym{}, d_lower{}, d_upper{};
  vs::matrix_handle h{};
  h.primary = &primary;
  h.sym_from_lower = &lower;
  h.sym_from_upper = &upper;
  h.diag_struct_lower = &d_lower;
  h.diag_struct_upper = &d_upper;
  h.transposed = &trans;
  h.conj_transposed = &conj;
  auto c = vs::gpu::copies_of_diagonal(h);
  ASSERT_EQ(c.count, 5u);
  EXPECT_EQ(c.items[0].structure, &primary);
  EXPECT_EQ(c.items[0].positions, nullptr);  // the caller's rows are walked
  EXPECT_EQ(c.items[1].positions, &d_lower);
  EXPECT_EQ(c.items[2].positions, &d_upper);
  EXPECT_FALSE(c.items[3].conjugate);
  EXPECT_EQ(c.items[4].structure, &conj);
  EXPECT_TRUE(c.items[4].conjugate);

  // A symmetric matrix with unsorted rows: both expansion slots name the sorted copy, which the
  // shared positions describe; it is written once.
  primary.symmetric = 1;
  h = vs::matrix_handle{};
  h.primary = &primary;
  h.sorted_copy = &sorted;
  h.sym_from_lower = h.sym_from_upper = &sorted;
  h.diag_struct = h.diag_struct_lower = h.diag_struct_upper = &d_sym;
  c = vs::gpu::copies_of_diagonal(h);
  ASSERT_EQ(c.count, 2u);
  EXPECT_EQ(c.items[1].structure, &sorted);
  EXPECT_EQ(c.items[1].positions, &d_sym);

  // Sorted rows: the expansions are the matrix itself, written once by walking its rows.
  h.sorted_copy = nullptr;
  h.sym_from_lower = h.sym_from_upper = &primary;
  c = vs::gpu::copies_of_diagonal(h);
  ASSERT_EQ(c.count, 1u);
  EXPECT_EQ(c.items[0].positions, nullptr);

  vs::coloringData one{}, other{};
  h.coloring_lower = h.coloring_upper = &one;
  EXPECT_EQ(vs::gpu::colorings_of(h).count, 1u);
  h.coloring_upper = &other;
  EXPECT_EQ(vs::gpu::colorings_of(h).count, 2u);
}

// ---- refusals ---------------------------------------------------------------------------------

TYPED_TEST(UpdateDiagonal, ADiagonalOneShorterThanTheRowsIsRefused) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a2")};
  const auto A = dominant_matrix<T, I>(12, 3, 5);
  for (memory m : all_memories) {
    bound_matrix<T, I> b(q, A, m);
    expect_message<vrt::invalid_argument>(
        [&] { update(q, b, shifted_diagonal<T>(A.nrows - 1, 1.0)); },
        prefix("update_diagonal_values") +
            "invalid argument: diagonal buffer/array is not long enough");
    expect_same(values_of(b, A.values.size()), A.values, name_of(m));
  }
}

// The memory-model mismatch is the one refusal thrown as the base class itself.
template <typename Call>
void expect_base_class(Call call, const std::string& message) {
  try {
    call();
    ADD_FAILURE() << "expected: " << message;
  } catch (const vrt::exception& e) {
    EXPECT_TRUE(typeid(e) == typeid(vrt::exception)) << typeid(e).name();
    EXPECT_EQ(std::string(e.what()), message);
    for (const char* word :
         {"uninitialized object", "invalid argument", "unimplemented functionality",
          "computation error", "unsupported device", "cannot allocate"})
      EXPECT_EQ(std::string(e.what()).find(word), std::string::npos) << word;
  }
}

TYPED_TEST(UpdateDiagonal, AMemoryModelMismatchThrowsTheBaseClass) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  const auto A = dominant_matrix<T, I>(10, 3, 6);
  const auto d = shifted_diagonal<T>(A.nrows, 2.0);
  {
    bound_matrix<T, I> b(q, A, memory::buffer);
    vrt_test::device_array<T> usm(q, d, memory::shared);
    expect_base_class([&] { vs::update_diagonal_values(q, b.handle(), A.nrows, usm.usm()).wait(); },
                      prefix("update_diagonal_values") + "USM API called with sycl::buffer data");
    expect_same(values_of(b, A.values.size()), A.values, "USM call on buffers");
  }
  {
    bound_matrix<T, I> b(q, A, memory::device);
    vrt_test::device_array<T> buffer(q, d, memory::buffer);
    expect_base_class([&] { vs::update_diagonal_values(q, b.handle(), buffer.buffer()); },
                      prefix("update_diagonal_values") + "sycl::buffer API called with USM data");
    expect_same(values_of(b, A.values.size()), A.values, "buffer call on USM");
  }
}

// A CPU queue is refused before anything runs: the values stay, and the analyses a rebinding
// left to replay are still waiting.
TYPED_TEST(UpdateDiagonal, ACpuQueueIsRefusedBeforeAnyArrayIsTouched) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a1")};
  sycl::queue cpu{sycl::cpu_selector_v};
  const auto A = dominant_matrix<T, I>(16, 3, 7);
  const auto d = shifted_diagonal<T>(A.nrows, 3.0);
  const std::string message = prefix("update_diagonal_values") +
                              "unimplemented functionality: currently does not support cpu device";
  for (memory m : {memory::shared, memory::buffer}) {
    bound_matrix<T, I> b(q, A, m);
    b.optimize(vrt::uplo::lower, vrt::diag::nonunit);
    // Rebinding the same arrays drops the analysis and leaves it to the next call.
    vs::matrix_handle* h = b.handle();
    if (vrt_test::is_usm(m)) {
      vs::set_csr_data(q, h, I(A.nrows), I(A.ncols), vrt::index_base::zero, b.first().usm(),
                       b.col_ind().usm(), b.values().usm())
          .wait();
    } else {
      vs::set_csr_data(q, h, I(A.nrows), I(A.ncols), vrt::index_base::zero, b.first().buffer(),
                       b.col_ind().buffer(), b.values().buffer());
    }
    ASSERT_TRUE(h->analyses_to_replay);
    vrt_test::device_array<T> diagonal(q, d, m);
    expect_message<vrt::unimplemented>(
        [&] {
          if (vrt_test::is_usm(m))
            vs::update_diagonal_values(cpu, h, A.nrows, diagonal.usm()).wait();
          else
            vs::update_diagonal_values(cpu, h, diagonal.buffer());
        },
        message);
    EXPECT_TRUE(h->analyses_to_replay) << name_of(m);
    EXPECT_EQ(h->coloring_lower, nullptr) << name_of(m);
    EXPECT_EQ(h->diag_values, nullptr) << name_of(m);
    expect_same(values_of(b, A.values.size()), A.values, name_of(m));
  }
}

// A row without a stored diagonal entry, on a handle without a diagonal record: refused, and
// nothing written.
TYPED_TEST(UpdateDiagonal, AMissingDiagonalIsRefusedAndTheValuesStay) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a5")};
  for (std::int64_t missing : {0, 9, 19}) {
    const auto A = dominant_matrix<T, I>(20, 4, 8, 0, missing);
    for (memory m : all_memories) {
      bound_matrix<T, I> b(q, A, m);
      ASSERT_EQ(b.handle()->diag_values, nullptr);
      expect_message<vrt::unimplemented>([&] { update(q, b, shifted_diagonal<T>(A.nrows, 4.0)); },
                                         missing_message);
      const std::string what = std::string(name_of(m)) + ", row " + std::to_string(missing);
      expect_same(values_of(b, A.values.size()), A.values, what);
    }
  }
}

// The same matrix on a handle that already has a diagonal record (an analysis under diag::unit
// keeps one for a matrix that misses diagonal entries): the check is the record's business, so
// the update goes through; the row without a stored diagonal keeps its values, the others take
// the new diagonal, and the analysis's copies follow.
TYPED_TEST(UpdateDiagonal, AMissingDiagonalOnAnAnalysedHandleIsWrittenAroundIt) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a5")};
  for (std::int64_t missing : {0, 9, 19}) {
    const auto A = dominant_matrix<T, I>(20, 4, 8, 0, missing);
    const auto d = shifted_diagonal<T>(A.nrows, 4.0);
    const auto updated = with_diagonal(A, d);
    ASSERT_NE(updated.values, A.values);
    for (memory m : all_memories) {
      bound_matrix<T, I> b(q, A, m);
      b.optimize(vrt::uplo::lower, vrt::diag::unit);
      ASSERT_NE(b.handle()->diag_values, nullptr);
      update(q, b, d);
      const std::string what = std::string(name_of(m)) + ", row " + std::to_string(missing);
      expect_same(values_of(b, A.values.size()), updated.values, what);
      // A unit solve reads no diagonal: it equals the solve of the matrix before and after.
      const auto x = random_vector<T>(A.nrows, 3);
      expect_close(b.trsv(vrt::uplo::lower, vrt::diag::unit, T(1), x),
                   reference_solve(updated, false, true, T(1), x), what);
    }
  }
}

TYPED_TEST(UpdateDiagonal, TheStructureIsTestedBeforeTheLength) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a6")};
  const auto A = dominant_matrix<T, I>(8, 2, 9);
  const auto short_diagonal = shifted_diagonal<T>(A.nrows - 1, 0.0);
  for (memory m : {memory::device, memory::buffer}) {
    vrt_test::bound_matrix<T, I> coo(q, A, m, vrt_test::storage::coo);
    coo.wait();
    vrt_test::device_array<T> diagonal(q, short_diagonal, m);
    auto call = [&](vs::matrix_handle* h) {
      if (vrt_test::is_usm(m))
        vs::update_diagonal_values(q, h, A.nrows - 1, diagonal.usm()).wait();
      else
        vs::update_diagonal_values(q, h, diagonal.buffer());
    };
    expect_message<vrt::unimplemented>([&] { call(coo.handle()); },
                                       prefix("update_diagonal_values") +
                                           "unimplemented functionality: currently only supports "
                                           "the CSR matrix format on GPU devices");
    vs::sparseStructure* primary = coo.handle()->primary;
    coo.handle()->primary = nullptr;
    expect_message<vrt::uninitialized>(
        [&] { call(coo.handle()); },
        prefix("update_diagonal_values") + "uninitialized object: Matrix is not initialized");
    coo.handle()->primary = primary;
  }
}

// ---- the write --------------------------------------------------------------------------------

TYPED_TEST(UpdateDiagonal, WritesTheFirstDiagonalEntryOfEveryRowInEveryMemoryAndBase) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a4")};
  for (int base : {0, 1}) {
    auto A = dominant_matrix<T, I>(40, 5, 11 + base, base);
    // Row 3 gets a second diagonal entry after its first one: it keeps its value.
    const auto first3 = static_cast<std::size_t>(A.row_ptr[4] - base);
    A.col_ind.insert(A.col_ind.begin() + static_cast<std::ptrdiff_t>(first3),
                     static_cast<I>(3 + base));
    A.values.insert(A.values.begin() + static_cast<std::ptrdiff_t>(first3), T(real_t<T>(-7.5)));
    for (std::int64_t r = 4; r <= A.nrows; ++r) A.row_ptr[static_cast<std::size_t>(r)] += 1;
    const auto d = shifted_diagonal<T>(A.nrows, 1.0);
    const auto want = with_diagonal(A, d);
    ASSERT_TRUE(want.values[first3] == T(real_t<T>(-7.5)));
    for (memory m : all_memories) {
      bound_matrix<T, I> b(q, A, m);
      update(q, b, d);
      expect_same(values_of(b, A.values.size()), want.values,
                  std::string(name_of(m)) + ", base " + std::to_string(base));
      // A longer diagonal is fine: its tail is not read.
      auto longer = shifted_diagonal<T>(A.nrows + 5, 2.0);
      update(q, b, longer);
      longer.resize(static_cast<std::size_t>(A.nrows));
      expect_same(values_of(b, A.values.size()), with_diagonal(A, longer).values,
                  std::string(name_of(m)) + " longer, base " + std::to_string(base));
    }
  }
}

// ---- the solves after an update -------------------------------------------------------------

// Every triangle and diagonal kind of the updated handle against a fresh handle bound to the
// updated matrix (with the same analyses) and against the plain solve of the updated matrix.
template <typename T, typename I>
void expect_solves_follow(sycl::queue& q, bound_matrix<T, I>& b, const csr_matrix<T, I>& updated,
                          memory m, bool analysed, bool symmetric, const std::string& what) {
  bound_matrix<T, I> fresh(q, updated, m);
  if (symmetric) vs::set_matrix_property(fresh.handle(), vs::property::symmetric);
  if (analysed)
    for (vrt::uplo ul : both_triangles) fresh.optimize(ul, vrt::diag::nonunit);
  const auto x = random_vector<T>(updated.nrows, 21);
  for (vrt::uplo ul : both_triangles)
    for (vrt::diag dg : both_diags) {
      const bool upper = ul == vrt::uplo::upper, unit = dg == vrt::diag::unit;
      const std::string tag = what + (upper ? " upper" : " lower") + (unit ? " unit" : " nonunit");
      const auto got = b.trsv(ul, dg, T(1.5), x);
      expect_close(got, reference_solve(updated, upper, unit, T(1.5), x), tag + " vs oracle");
      expect_close(got, fresh.trsv(ul, dg, T(1.5), x), tag + " vs fresh analysis");
    }
}

template <typename T, typename I>
void check_levelset_after_update(const char* profile, const csr_matrix<T, I>& A, bool symmetric,
                                 const std::string& what, bool want_middle = false) {
  sycl::queue q{hostsycl::emulated_gpu(profile)};
  for (memory m : {memory::device, memory::buffer}) {
    bound_matrix<T, I> b(q, A, m);
    if (symmetric) vs::set_matrix_property(b.handle(), vs::property::symmetric);
    for (vrt::uplo ul : both_triangles) b.optimize(ul, vrt::diag::nonunit);
    const vs::coloringData* lower = b.handle()->coloring_lower;
    const vs::coloringData* upper = b.handle()->coloring_upper;
    ASSERT_NE(lower, nullptr);
    ASSERT_NE(upper, nullptr);
    if (want_middle) {
      for (const vs::coloringData* c : {lower, upper}) {
        EXPECT_GE(c->num_colors - c->head_colors - c->tail_colors, 1) << what << " " << profile;
      }
    }
    auto current = A;
    for (double shift : {3.0, -1.5}) {
      const auto d = shifted_diagonal<T>(A.nrows, shift);
      update(q, b, d);
      current = with_diagonal(current, d);
      // No new analysis: the same level sets serve.
      EXPECT_EQ(b.handle()->coloring_lower, lower);
      EXPECT_EQ(b.handle()->coloring_upper, upper);
      expect_solves_follow(
          q, b, current, m, true, symmetric,
          what + " on " + profile + " " + name_of(m) + " shift " + std::to_string(shift));
    }
  }
}

// Unsorted rows, no symmetric property: each triangle's expansion and coloring.
TYPED_TEST(UpdateDiagonal, LevelSetSolvesOfAnUnsortedMatrixSeeTheNewDiagonal) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  // Wide enough for middle colors, so that code 4 synchronises real solves by atomics.
  const auto A = dominant_matrix<T, I>(1000, 2, 31);
  for (const char* profile : gpu_profiles) {
    check_levelset_after_update<T, I>(profile, A, false, "unsorted", true);
  }
}

TYPED_TEST(UpdateDiagonal, LevelSetSolvesOfASortedMatrixSeeTheNewDiagonal) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto A = sorted_rows(dominant_matrix<T, I>(300, 3, 32, 1));
  for (const char* profile : gpu_profiles)
    check_levelset_after_update<T, I>(profile, A, false, "sorted");
}

// The symmetric property: one coloring for both triangles, on the matrix itself when its rows are
// sorted and on the handle's sorted copy when not.
TYPED_TEST(UpdateDiagonal, LevelSetSolvesOfASymmetricHandleSeeTheNewDiagonal) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto S = symmetric_pattern(dominant_matrix<T, I>(120, 2, 33));
  for (const char* profile : {"emu-a0", "emu-a2", "emu-a4", "emu-a6"}) {
    check_levelset_after_update<T, I>(profile, S, true, "symmetric unsorted");
    check_levelset_after_update<T, I>(profile, sorted_rows(S), true, "symmetric sorted");
  }
}

// Every copy of the diagonal the analyses made holds the new one: the sorted copy, the
// expansions, the diagonal record and the colorings' reciprocals (read from the handle).
TYPED_TEST(UpdateDiagonal, EveryCopyTheHandleDerivedHoldsTheNewDiagonal) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a2")};
  const auto S = symmetric_pattern(dominant_matrix<T, I>(50, 3, 34));
  const auto d = shifted_diagonal<T>(S.nrows, 6.0);
  const auto n = static_cast<std::size_t>(S.nrows);
  for (bool symmetric : {false, true})
    for (memory m : {memory::device, memory::buffer}) {
      const std::string what = std::string(name_of(m)) + (symmetric ? " symmetric" : "");
      bound_matrix<T, I> b(q, S, m);
      vs::matrix_handle* h = b.handle();
      if (symmetric) vs::set_matrix_property(h, vs::property::symmetric);
      for (vrt::uplo ul : both_triangles) b.optimize(ul, vrt::diag::nonunit);
      update(q, b, d);
      const vs::containerType c = vrt_test::container_of(m);
      std::vector<vs::sparseStructure*> copies;
      if (symmetric) {
        ASSERT_NE(h->sorted_copy, nullptr) << what;
        copies = {h->sorted_copy};
      } else {
        copies = {h->sym_from_lower, h->sym_from_upper};
      }
      for (vs::sparseStructure* s : copies) {
        ASSERT_NE(s, nullptr) << what;
        const auto rows = read_container<I>(q, s->row_ptr, c, n + 1);
        const auto cols = read_container<I>(q, s->col_ind, c, static_cast<std::size_t>(rows[n]));
        const auto vals = read_container<T>(q, s->values, c, static_cast<std::size_t>(rows[n]));
        for (std::size_t i = 0; i < n; ++i) {
          bool seen = false;
          for (I k = rows[i] - s->index; k < rows[i + 1] - s->index; ++k)
            if (static_cast<std::size_t>(cols[k] - s->index) == i) {
              EXPECT_TRUE(vals[k] == d[i]) << what << ", row " << i;
              seen = true;
            }
          EXPECT_TRUE(seen) << what << ", row " << i;
        }
      }
      const auto diag = read_container<T>(q, h->diag_values->diag, c, n);
      const auto inv = read_container<T>(q, h->diag_values->inv_diag, c, n);
      std::vector<T> want_inv(n);
      for (std::size_t i = 0; i < n; ++i) want_inv[i] = T(1) / d[i];
      expect_same(diag, d, what + " diag");
      expect_close(inv, want_inv, what + " inv_diag");
      for (const vs::coloringData* col : {h->coloring_lower, h->coloring_upper}) {
        const auto rop = read_container<I>(q, col->row_of_position, c, n);
        const auto colored = read_container<T>(q, col->inv_diag_colored, c, n);
        std::vector<T> want(n);
        for (std::size_t p = 0; p < n; ++p) want[p] = want_inv[static_cast<std::size_t>(rop[p])];
        expect_close(colored, want, what + " inv_diag_colored");
      }
    }
}

// The solve without analysis reads the caller's values, and the diagonal record for its check:
// a zero the update replaces no longer refuses, a zero it writes does.
TYPED_TEST(UpdateDiagonal, TheDefaultSolveSeesTheNewDiagonalAndItsZeros) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const std::string refused =
      prefix("trsv") +
      "invalid argument: The matrix operation with diag::nonunit is missing diagonal values in "
      "the structure or has zero values set on diagonal, both of which are not supported.";
  const auto A = dominant_matrix<T, I>(48, 4, 35, 0, -1, 17);
  const auto x = random_vector<T>(A.nrows, 4);
  for (const char* profile : gpu_profiles) {
    sycl::queue q{hostsycl::emulated_gpu(profile)};
    for (memory m : all_memories) {
      const std::string what = std::string(profile) + " " + name_of(m);
      bound_matrix<T, I> b(q, A, m);
      expect_message<vrt::invalid_argument>(
          [&] { b.trsv(vrt::uplo::lower, vrt::diag::nonunit, T(1), x); }, refused);
      ASSERT_NE(b.handle()->diag_values, nullptr);
      auto d = shifted_diagonal<T>(A.nrows, 2.0);
      update(q, b, d);
      expect_solves_follow(q, b, with_diagonal(A, d), m, false, false, what);
      EXPECT_EQ(b.handle()->coloring_lower, nullptr);
      d[5] = T(0);
      update(q, b, d);
      expect_message<vrt::invalid_argument>(
          [&] { b.trsv(vrt::uplo::upper, vrt::diag::nonunit, T(1), x); }, refused);
      expect_close(b.trsv(vrt::uplo::upper, vrt::diag::unit, T(1), x),
                   reference_solve(with_diagonal(A, d), true, true, T(1), x), what + " unit");
    }
  }
}

// A transposed product on host y runs on an explicit transpose (conjugated for conjtrans): both
// hold the diagonal too.
TYPED_TEST(UpdateDiagonal, ExplicitTransposesHoldTheNewDiagonal) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto A = dominant_matrix<T, I>(70, 4, 38);
  const auto n = static_cast<std::size_t>(A.nrows);
  const auto x = random_vector<T>(A.nrows, 9);
  const T alpha(real_t<T>(1.25)), beta(real_t<T>(0));
  for (const char* profile : {"emu-a1", "emu-a3", "emu-a5"}) {
    sycl::queue q{hostsycl::emulated_gpu(profile)};
    bound_matrix<T, I> b(q, A, memory::device);
    vrt_test::device_array<T> xs(q, x, memory::device);
    auto product = [&](vrt::transpose op) {
      vrt_test::device_array<T> ys(q, std::vector<T>(n, nan_value<T>()), memory::host);
      vs::gemv(q, op, alpha, b.handle(), xs.usm(), beta, ys.usm(), {b.last()}).wait();
      return ys.read(n);
    };
    // y = alpha op(M) x, on the host.
    auto oracle = [&](const csr_matrix<T, I>& M, vrt::transpose op) {
      std::vector<T> y(n, T(0));
      for (std::size_t r = 0; r < n; ++r)
        for (I k = M.row_ptr[r]; k < M.row_ptr[r + 1]; ++k) {
          T v = M.values[static_cast<std::size_t>(k)];
          if constexpr (is_complex<T>)
            if (op == vrt::transpose::conjtrans) v = std::conj(v);
          y[static_cast<std::size_t>(M.col_ind[static_cast<std::size_t>(k)])] += alpha * v * x[r];
        }
      return y;
    };
    for (vrt::transpose op : {vrt::transpose::trans, vrt::transpose::conjtrans})
      expect_close(product(op), oracle(A, op), std::string(profile) + " before");
    ASSERT_NE(b.handle()->transposed, nullptr);
    ASSERT_NE(b.handle()->conj_transposed, nullptr);
    const auto d = shifted_diagonal<T>(A.nrows, 7.0);
    update(q, b, d);
    for (vrt::transpose op : {vrt::transpose::trans, vrt::transpose::conjtrans})
      expect_close(product(op), oracle(with_diagonal(A, d), op),
                   std::string(profile) + (op == vrt::transpose::trans ? " trans" : " conjtrans"));
  }
}

// ---- trsm and trmv after an update ------------------------------------------------------------

template <typename T, typename I>
std::vector<T> reference_trmv(const csr_matrix<T, I>& A, bool upper, bool unit, T alpha,
                              const std::vector<T>& x, T beta, const std::vector<T>& y) {
  std::vector<T> out(y);
  for (std::int64_t r = 0; r < A.nrows; ++r) {
    T sum = unit ? x[static_cast<std::size_t>(r)] : T(0);
    for (I k = A.row_ptr[r] - A.base; k < A.row_ptr[r + 1] - A.base; ++k) {
      const std::int64_t c = A.col_ind[k] - A.base;
      if ((c == r && !unit) || (upper ? c > r : c < r))
        sum += A.values[k] * x[static_cast<std::size_t>(c)];
    }
    out[static_cast<std::size_t>(r)] = alpha * sum + beta * y[static_cast<std::size_t>(r)];
  }
  return out;
}

// trmv on b: y = alpha op(T) x + beta y, with y starting from y0.
template <typename T, typename I>
std::vector<T> run_trmv(sycl::queue& q, bound_matrix<T, I>& b, vrt::uplo ul, vrt::diag dg, T alpha,
                        const std::vector<T>& x, T beta, const std::vector<T>& y0) {
  vrt_test::device_array<T> xs(q, x, b.model());
  vrt_test::device_array<T> ys(q, y0, b.model());
  b.run(
      [&](vs::matrix_handle* h, auto& xa, auto& ya, auto&&... deps) {
        return vs::trmv(q, ul, vrt::transpose::nontrans, dg, alpha, h, xa, beta, ya, deps...);
      },
      xs, ys);
  b.wait();
  return ys.read(x.size());
}

// trsm on b with `columns` right-hand sides in row-major order (ldx = ldy = columns).
template <typename T, typename I>
std::vector<T> run_trsm(sycl::queue& q, bound_matrix<T, I>& b, vrt::uplo ul, vrt::diag dg, T alpha,
                        const std::vector<T>& x, std::int64_t columns) {
  vrt_test::device_array<T> xs(q, x, b.model());
  vrt_test::device_array<T> ys(q, std::vector<T>(x.size(), nan_value<T>()), b.model());
  b.run(
      [&](vs::matrix_handle* h, auto& xa, auto& ya, auto&&... deps) {
        return vs::trsm(q, vrt::layout::row_major, vrt::transpose::nontrans,
                        vrt::transpose::nontrans, ul, dg, alpha, h, xa, columns, columns, ya,
                        columns, deps...);
      },
      xs, ys);
  b.wait();
  return ys.read(x.size());
}

TYPED_TEST(UpdateDiagonal, TrmvAfterItsAnalysisSeesTheNewDiagonal) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto A = dominant_matrix<T, I>(200, 3, 36);
  const auto x = random_vector<T>(A.nrows, 5);
  const auto y0 = random_vector<T>(A.nrows, 6);
  for (const char* profile : gpu_profiles) {
    sycl::queue q{hostsycl::emulated_gpu(profile)};
    for (memory m : {memory::device, memory::buffer}) {
      bound_matrix<T, I> b(q, A, m);
      for (vrt::uplo ul : both_triangles)
        for (vrt::diag dg : both_diags)
          vs::optimize_trmv(q, ul, vrt::transpose::nontrans, dg, b.handle(), {}).wait();
      const auto d = shifted_diagonal<T>(A.nrows, 5.0);
      update(q, b, d);
      const auto updated = with_diagonal(A, d);
      bound_matrix<T, I> fresh(q, updated, m);
      for (vrt::uplo ul : both_triangles)
        for (vrt::diag dg : both_diags) {
          vs::optimize_trmv(q, ul, vrt::transpose::nontrans, dg, fresh.handle(), {}).wait();
          const bool upper = ul == vrt::uplo::upper, unit = dg == vrt::diag::unit;
          const std::string what = std::string(profile) + " " + name_of(m) +
                                   (upper ? " upper" : " lower") + (unit ? " unit" : " nonunit");
          const auto got = run_trmv(q, b, ul, dg, T(1.5), x, T(0.5), y0);
          expect_close(got, reference_trmv(updated, upper, unit, T(1.5), x, T(0.5), y0),
                       what + " vs oracle");
          expect_close(got, run_trmv(q, fresh, ul, dg, T(1.5), x, T(0.5), y0),
                       what + " vs fresh analysis");
        }
    }
  }
}

TYPED_TEST(UpdateDiagonal, TrsmAfterItsAnalysisSeesTheNewDiagonal) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto A = dominant_matrix<T, I>(300, 3, 37);
  const std::int64_t columns = 3;
  const auto n = static_cast<std::size_t>(A.nrows);
  const auto x = random_vector<T>(A.nrows * columns, 7);
  for (const char* profile : gpu_profiles) {
    sycl::queue q{hostsycl::emulated_gpu(profile)};
    for (memory m : {memory::device, memory::buffer}) {
      bound_matrix<T, I> b(q, A, m);
      for (vrt::uplo ul : both_triangles)
        vs::optimize_trsm(q, ul, vrt::transpose::nontrans, vrt::diag::nonunit, b.handle(), {})
            .wait();
      const auto d = shifted_diagonal<T>(A.nrows, -2.0);
      update(q, b, d);
      const auto updated = with_diagonal(A, d);
      bound_matrix<T, I> fresh(q, updated, m);
      for (vrt::uplo ul : both_triangles)
        vs::optimize_trsm(q, ul, vrt::transpose::nontrans, vrt::diag::nonunit, fresh.handle(), {})
            .wait();
      for (vrt::uplo ul : both_triangles)
        for (vrt::diag dg : both_diags) {
          const bool upper = ul == vrt::uplo::upper, unit = dg == vrt::diag::unit;
          const std::string what = std::string(profile) + " " + name_of(m) +
                                   (upper ? " upper" : " lower") + (unit ? " unit" : " nonunit");
          // The oracle solves column by column.
          const auto width = static_cast<std::size_t>(columns);
          std::vector<T> want(x.size());
          for (std::size_t c = 0; c < width; ++c) {
            std::vector<T> xc(n);
            for (std::size_t r = 0; r < n; ++r) xc[r] = x[r * width + c];
            const auto yc = reference_solve(updated, upper, unit, T(2), xc);
            for (std::size_t r = 0; r < n; ++r) want[r * width + c] = yc[r];
          }
          const auto got = run_trsm(q, b, ul, dg, T(2), x, columns);
          expect_close(got, want, what + " vs oracle");
          expect_close(got, run_trsm(q, fresh, ul, dg, T(2), x, columns),
                       what + " vs fresh analysis");
        }
    }
  }
}

}  // namespace
