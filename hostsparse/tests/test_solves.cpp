// trsv and trsm against substitution on the entries each solve sees, with and without the plan
// optimize makes, on matrices of wide and of narrow dependency levels.
#include "support.hpp"

namespace hs_test {
namespace {

template <typename V>
class HostSolves : public ::testing::Test {};
TYPED_TEST_SUITE(HostSolves, variants);

std::vector<host_matrix_descr> triangular_descriptors() {
  std::vector<host_matrix_descr> ds;
  for (auto mode : {HOST_FILL_MODE_LOWER, HOST_FILL_MODE_UPPER})
    for (auto diag : {HOST_DIAG_NON_UNIT, HOST_DIAG_UNIT})
      ds.push_back({HOST_MATRIX_TYPE_TRIANGULAR, mode, diag});
  return ds;
}

// Solves op(A) Y = alpha X for n columns and checks against the reference.
template <typename C, typename I>
void check_solve(csr<C, I>& m, host_matrix_t A, host_operation_t op, host_matrix_descr d,
                 std::int64_t n, host_layout_t layout, bool in_place = false) {
  const std::int64_t rows = m.rows;
  const bool rm = layout == HOST_LAYOUT_ROW_MAJOR;
  const std::int64_t ld = rm ? n + 1 : rows + 2;
  const auto x = random_vector<C>(std::max<std::int64_t>(1, (rm ? rows : n) * ld), 51);
  auto y = random_vector<C>(x.size(), 52);
  if (in_place) y = x;
  const W alpha(2.0, 0.5 * traits<C>::complex);
  const auto e = effective(m, op, d);
  const bool lower = (d.mode == HOST_FILL_MODE_LOWER) == (op == HOST_OPERATION_NON_TRANSPOSE);
  sparse_status_t status;
  if (n == 1 && !rm)
    status =
        api<I>::trsv(op, traits<C>::make(alpha), A, d, in_place ? y.data() : x.data(), y.data());
  else
    status = api<I>::trsm(op, traits<C>::make(alpha), A, d, layout, in_place ? y.data() : x.data(),
                          static_cast<I>(n), static_cast<I>(ld), y.data(), static_cast<I>(ld));
  ASSERT_EQ(status, SPARSE_STATUS_SUCCESS);
  for (std::int64_t c = 0; c < n; ++c) {
    std::vector<W> rhs(static_cast<std::size_t>(rows));
    for (std::int64_t i = 0; i < rows; ++i)
      rhs[i] = alpha * traits<C>::wide(x[rm ? i * ld + c : i + c * ld]);
    const auto want = reference_solve(e, rows, lower, rhs);
    double scale = 0;
    for (const auto& w : want) scale = std::max(scale, std::abs(w));
    for (std::int64_t i = 0; i < rows; ++i)
      ASSERT_TRUE(close(y[rm ? i * ld + c : i + c * ld], want[i], scale, 4096))
          << "op " << op << " mode " << d.mode << " diag " << d.diag << " column " << c << " of "
          << n << " layout " << layout << " row " << i;
  }
}

TYPED_TEST(HostSolves, TrsvEveryOperationTriangleAndDiagonalBeforeAndAfterOptimize) {
  using C = typename TypeParam::C;
  using I = typename TypeParam::I;
  for (int base : {0, 1}) {
    auto m = random_csr<C, I>({41, 41, 6, true, base, 61u + base});
    host_matrix_t A = m.make();
    for (auto op : all_ops)
      for (auto d : triangular_descriptors()) {
        check_solve(m, A, op, d, 1, HOST_LAYOUT_COLUMN_MAJOR);
        check_solve(m, A, op, d, 1, HOST_LAYOUT_COLUMN_MAJOR, true);
        host_matrix_t B = m.make();
        ASSERT_EQ(api<I>::sv_hint(B, op, d), SPARSE_STATUS_SUCCESS);
        ASSERT_EQ(api<I>::optimize(B), SPARSE_STATUS_SUCCESS);
        check_solve(m, B, op, d, 1, HOST_LAYOUT_COLUMN_MAJOR);
        api<I>::destroy(B);
      }
    api<I>::destroy(A);
  }
}

TYPED_TEST(HostSolves, TrsmBothLayoutsAndSeveralColumnCounts) {
  using C = typename TypeParam::C;
  using I = typename TypeParam::I;
  auto m = random_csr<C, I>({27, 27, 5, true, 1, 71u});
  host_matrix_t A = m.make();
  host_matrix_t B = m.make();
  for (auto op : all_ops)
    for (auto d : triangular_descriptors())
      ASSERT_EQ(api<I>::sm_hint(B, op, d, HOST_LAYOUT_ROW_MAJOR, 8), SPARSE_STATUS_SUCCESS);
  ASSERT_EQ(api<I>::optimize(B), SPARSE_STATUS_SUCCESS);
  for (host_matrix_t M : {A, B})
    for (auto op : all_ops)
      for (auto d : triangular_descriptors())
        for (std::int64_t n : {1, 3, 8, 33})
          for (auto layout : {HOST_LAYOUT_ROW_MAJOR, HOST_LAYOUT_COLUMN_MAJOR})
            check_solve(m, M, op, d, n, layout);
  api<I>::destroy(A);
  api<I>::destroy(B);
}

// Rows that depend only on rows far before them: few, wide levels, solved across threads.
template <typename C, typename I>
csr<C, I> wide_levels(std::int64_t n, std::int64_t reach, int base) {
  std::mt19937 rng(5);
  csr<C, I> m;
  m.rows = m.cols = n;
  m.base = base;
  m.ptr.push_back(static_cast<I>(base));
  for (std::int64_t i = 0; i < n; ++i) {
    std::vector<std::int64_t> cs = {i};
    const std::int64_t spread = static_cast<std::int64_t>(rng() % 97);
    if (i - reach - spread >= 0) cs.push_back(i - reach - spread);
    if (i + reach + spread < n) cs.push_back(i + reach + spread);
    std::shuffle(cs.begin(), cs.end(), rng);
    for (auto c : cs) {
      W v = random_value<C>(rng);
      if (c == i) v += W(3, 0);
      m.col.push_back(static_cast<I>(c + base));
      m.val.push_back(traits<C>::make(v));
    }
    m.ptr.push_back(static_cast<I>(m.col.size() + base));
  }
  return m;
}

TYPED_TEST(HostSolves, WideLevelsMatchTheSerialSweep) {
  using C = typename TypeParam::C;
  using I = typename TypeParam::I;
  auto m = wide_levels<C, I>(50000, 17000, 0);
  host_matrix_t A = m.make();
  host_matrix_t B = m.make();
  for (auto op : all_ops)
    for (auto d : triangular_descriptors())
      ASSERT_EQ(api<I>::sv_hint(B, op, d), SPARSE_STATUS_SUCCESS);
  ASSERT_EQ(api<I>::optimize(B), SPARSE_STATUS_SUCCESS);
  for (host_matrix_t M : {A, B})
    for (auto op : all_ops)
      for (auto d : triangular_descriptors()) check_solve(m, M, op, d, 1, HOST_LAYOUT_COLUMN_MAJOR);
  check_solve(m, B, HOST_OPERATION_NON_TRANSPOSE, triangular_descriptors()[0], 3,
              HOST_LAYOUT_ROW_MAJOR);
  api<I>::destroy(A);
  api<I>::destroy(B);
}

// Sorted rows put each strict triangle back to back in the caller's arrays, where the plan
// reads it without copies.
TYPED_TEST(HostSolves, SortedRowsAreSolvedFromTheCallersArrays) {
  using C = typename TypeParam::C;
  using I = typename TypeParam::I;
  auto m = random_csr<C, I>({3000, 3000, 9, true, 1, 17});
  for (std::int64_t i = 0; i < m.rows; ++i) {
    const std::size_t lo = static_cast<std::size_t>(m.ptr[i] - m.base);
    const std::size_t hi = static_cast<std::size_t>(m.ptr[i + 1] - m.base);
    std::vector<std::pair<I, C>> row;
    for (std::size_t k = lo; k < hi; ++k) row.emplace_back(m.col[k], m.val[k]);
    std::sort(row.begin(), row.end(),
              [](const auto& a, const auto& b) { return a.first < b.first; });
    for (std::size_t k = lo; k < hi; ++k) {
      m.col[k] = row[k - lo].first;
      m.val[k] = row[k - lo].second;
    }
  }
  host_matrix_t B = m.make();
  for (auto op : all_ops)
    for (auto d : triangular_descriptors())
      ASSERT_EQ(api<I>::sv_hint(B, op, d), SPARSE_STATUS_SUCCESS);
  ASSERT_EQ(api<I>::optimize(B), SPARSE_STATUS_SUCCESS);
  for (auto op : all_ops)
    for (auto d : triangular_descriptors()) {
      check_solve(m, B, op, d, 1, HOST_LAYOUT_COLUMN_MAJOR);
      check_solve(m, B, op, d, 11, HOST_LAYOUT_ROW_MAJOR);
    }
  api<I>::destroy(B);
}

TYPED_TEST(HostSolves, AMissingDiagonalFailsUnlessTheDiagonalIsUnit) {
  using C = typename TypeParam::C;
  using I = typename TypeParam::I;
  auto m = random_csr<C, I>({12, 12, 3, false, 0, 81u});  // diagonal entries mostly absent
  // Row 5 certainly has no diagonal entry.
  for (I k = m.ptr[5]; k < m.ptr[6]; ++k)
    if (m.col[k] == 5) m.col[k] = 0;
  host_matrix_t A = m.make();
  std::vector<C> x(12, traits<C>::make(1)), y(12);
  const host_matrix_descr non_unit{HOST_MATRIX_TYPE_TRIANGULAR, HOST_FILL_MODE_LOWER,
                                   HOST_DIAG_NON_UNIT};
  const host_matrix_descr unit{HOST_MATRIX_TYPE_TRIANGULAR, HOST_FILL_MODE_LOWER, HOST_DIAG_UNIT};
  EXPECT_EQ(api<I>::trsv(HOST_OPERATION_NON_TRANSPOSE, traits<C>::make(1), A, non_unit, x.data(),
                         y.data()),
            SPARSE_STATUS_EXECUTION_FAILED);
  ASSERT_EQ(api<I>::sv_hint(A, HOST_OPERATION_NON_TRANSPOSE, non_unit), SPARSE_STATUS_SUCCESS);
  ASSERT_EQ(api<I>::optimize(A), SPARSE_STATUS_SUCCESS);
  EXPECT_EQ(api<I>::trsv(HOST_OPERATION_NON_TRANSPOSE, traits<C>::make(1), A, non_unit, x.data(),
                         y.data()),
            SPARSE_STATUS_EXECUTION_FAILED);
  check_solve(m, A, HOST_OPERATION_NON_TRANSPOSE, unit, 1, HOST_LAYOUT_COLUMN_MAJOR);
  check_solve(m, A, HOST_OPERATION_TRANSPOSE, unit, 1, HOST_LAYOUT_COLUMN_MAJOR);
  // Solves need a triangular descriptor and a square matrix.
  EXPECT_EQ(api<I>::trsv(HOST_OPERATION_NON_TRANSPOSE, traits<C>::make(1), A, general, x.data(),
                         y.data()),
            SPARSE_STATUS_INVALID_VALUE);
  api<I>::destroy(A);
  auto r = random_csr<C, I>({5, 6, 2, false, 0, 1u});
  host_matrix_t R = r.make();
  EXPECT_EQ(
      api<I>::trsv(HOST_OPERATION_NON_TRANSPOSE, traits<C>::make(1), R, unit, x.data(), y.data()),
      SPARSE_STATUS_INVALID_VALUE);
  api<I>::destroy(R);
}

}  // namespace
}  // namespace hs_test
