// mv, dotmv and mm against references from the entries each operation sees.
#include "support.hpp"

namespace hs_test {
namespace {

template <typename V>
class HostProducts : public ::testing::Test {};
TYPED_TEST_SUITE(HostProducts, variants);

// y = alpha op(A) x + beta y for one matrix, operation and descriptor; checks against the
// reference and returns y.
template <typename C, typename I>
std::vector<C> check_mv(csr<C, I>& m, host_matrix_t A, host_operation_t op, host_matrix_descr d,
                        unsigned seed, bool zero_beta = false) {
  const bool t = op != HOST_OPERATION_NON_TRANSPOSE;
  const std::int64_t out = t ? m.cols : m.rows, in = t ? m.rows : m.cols;
  const auto x = random_vector<C>(in, seed);
  auto y = random_vector<C>(out, seed + 1);
  const W alpha(0.75, traits<C>::complex ? -0.5 : 0.0);
  const W beta = zero_beta ? W(0) : W(-1.25, traits<C>::complex ? 0.25 : 0.0);
  if (zero_beta)
    for (auto& v : y) v = traits<C>::make(W(std::nan(""), 0));
  std::vector<W> want;
  std::vector<double> mag;
  reference_mm<C>(effective(m, op, d), out, 1, alpha, x, 1, 0, beta, y, 1, 0, want, mag);
  EXPECT_EQ(api<I>::mv(op, traits<C>::make(alpha), A, d, x.data(), traits<C>::make(beta), y.data()),
            SPARSE_STATUS_SUCCESS);
  for (std::int64_t i = 0; i < out; ++i)
    EXPECT_TRUE(
        close(y[i], want[i], mag[i], 64.0 * (m.nnz() / std::max<std::int64_t>(m.rows, 1) + 4)))
        << "op " << op << " type " << d.type << " mode " << d.mode << " diag " << d.diag << " row "
        << i;
  return y;
}

TYPED_TEST(HostProducts, MvEveryOperationAndDescriptorBeforeAndAfterOptimize) {
  using C = typename TypeParam::C;
  using I = typename TypeParam::I;
  for (int base : {0, 1}) {
    auto m = random_csr<C, I>({37, 37, 6, true, base, 11u + base});
    host_matrix_t A = m.make();
    for (auto op : all_ops)
      for (auto d : all_descriptors()) {
        const auto before = check_mv(m, A, op, d, 5);
        // Hints and optimisation make the transpose's rows; results stay the same.
        host_matrix_t B = m.make();
        ASSERT_EQ(api<I>::mv_hint(B, op, d), SPARSE_STATUS_SUCCESS);
        ASSERT_EQ(api<I>::optimize(B), SPARSE_STATUS_SUCCESS);
        const auto after = check_mv(m, B, op, d, 5);
        for (std::size_t i = 0; i < before.size(); ++i)
          EXPECT_TRUE(close(after[i], traits<C>::wide(before[i]),
                            std::abs(traits<C>::wide(before[i])) + 1, 256));
        EXPECT_EQ(api<I>::destroy(B), SPARSE_STATUS_SUCCESS);
      }
    EXPECT_EQ(api<I>::destroy(A), SPARSE_STATUS_SUCCESS);
  }
}

TYPED_TEST(HostProducts, MvRectangularEmptyAndZeroBeta) {
  using C = typename TypeParam::C;
  using I = typename TypeParam::I;
  for (int base : {0, 1}) {
    for (auto [r, c] : {std::pair<int, int>{23, 41}, {41, 23}, {0, 5}, {5, 0}, {7, 7}}) {
      auto m = random_csr<C, I>({r, c, r == 7 ? 0 : 5, false, base, 3u});
      host_matrix_t A = m.make();
      for (auto op : all_ops) {
        check_mv(m, A, op, general, 9);
        check_mv(m, A, op, general, 9, true);  // NaN in y is cleared by beta = 0
      }
      api<I>::destroy(A);
    }
  }
}

// Enough rows for a team of threads: gathered and scattered paths on several threads.
TYPED_TEST(HostProducts, MvOnLargeMatricesWithThreads) {
  using C = typename TypeParam::C;
  using I = typename TypeParam::I;
  auto m = random_csr<C, I>({20000, 20000, 6, true, 1, 21u, 40});
  host_matrix_t A = m.make();
  for (auto op : all_ops)
    for (auto d :
         {general,
          host_matrix_descr{HOST_MATRIX_TYPE_SYMMETRIC, HOST_FILL_MODE_UPPER, HOST_DIAG_NON_UNIT},
          host_matrix_descr{HOST_MATRIX_TYPE_SYMMETRIC, HOST_FILL_MODE_LOWER, HOST_DIAG_UNIT},
          host_matrix_descr{HOST_MATRIX_TYPE_TRIANGULAR, HOST_FILL_MODE_LOWER, HOST_DIAG_UNIT}})
      check_mv(m, A, op, d, 17);
  auto r = random_csr<C, I>({20000, 45000, 8, false, 0, 22u});
  host_matrix_t R = r.make();
  for (auto op : all_ops) check_mv(r, R, op, general, 18);
  api<I>::destroy(A);
  api<I>::destroy(R);
}

TYPED_TEST(HostProducts, DotmvIsTheDotOfXAndTheNewY) {
  using C = typename TypeParam::C;
  using I = typename TypeParam::I;
  for (auto [r, c] : {std::pair<int, int>{40, 40}, {25, 40}, {40, 25}}) {
    auto m = random_csr<C, I>({r, c, 5, r == c, 0, 8u});
    host_matrix_t A = m.make();
    for (auto op : all_ops) {
      const bool t = op != HOST_OPERATION_NON_TRANSPOSE;
      const std::int64_t out = t ? c : r, in = t ? r : c;
      const auto x = random_vector<C>(in, 1);
      auto y = random_vector<C>(out, 2);
      C dot{};
      ASSERT_EQ(api<I>::dotmv(op, traits<C>::make(1), A, general, x.data(), traits<C>::make(0.5),
                              y.data(), &dot),
                SPARSE_STATUS_SUCCESS);
      W want = 0;
      double mag = 0;
      for (std::int64_t i = 0; i < std::min(in, out); ++i) {
        want += traits<C>::wide(x[i]) * traits<C>::wide(y[i]);
        mag += std::abs(traits<C>::wide(x[i]) * traits<C>::wide(y[i]));
      }
      EXPECT_TRUE(close(dot, want, mag, 256));
    }
    C* no_dot = nullptr;
    std::vector<C> x(c), y(r);
    EXPECT_EQ(api<I>::dotmv(HOST_OPERATION_NON_TRANSPOSE, traits<C>::make(1), A, general, x.data(),
                            traits<C>::make(0), y.data(), no_dot),
              SPARSE_STATUS_INVALID_VALUE);
    api<I>::destroy(A);
  }
}

TYPED_TEST(HostProducts, CooMatchesTheSameEntriesInCsr) {
  using C = typename TypeParam::C;
  using I = typename TypeParam::I;
  for (int base : {0, 1}) {
    auto m = random_csr<C, I>({31, 31, 5, true, base, 4u});
    // The same entries as COO, shuffled.
    std::vector<I> ri, ci;
    std::vector<C> vi;
    std::vector<std::size_t> order;
    for (std::int64_t i = 0; i < m.rows; ++i)
      for (I k = m.ptr[i] - base; k < m.ptr[i + 1] - base; ++k)
        order.push_back(static_cast<std::size_t>(k)), ri.push_back(static_cast<I>(i + base));
    std::vector<std::size_t> perm(order.size());
    for (std::size_t k = 0; k < perm.size(); ++k) perm[k] = k;
    std::shuffle(perm.begin(), perm.end(), std::mt19937(3));
    std::vector<I> rs, cs;
    std::vector<C> vs;
    for (std::size_t k : perm) {
      rs.push_back(ri[k]);
      cs.push_back(m.col[order[k]]);
      vs.push_back(m.val[order[k]]);
    }
    host_matrix_t A = nullptr;
    ASSERT_EQ(api<I>::create_coo(&A, base, static_cast<I>(m.rows), static_cast<I>(m.cols),
                                 static_cast<I>(rs.size()), rs.data(), cs.data(), vs.data()),
              SPARSE_STATUS_SUCCESS);
    for (auto op : all_ops)
      for (auto d : all_descriptors()) check_mv(m, A, op, d, 6);
    I nnz = -1;
    EXPECT_EQ(api<I>::get_nnz(A, &nnz), SPARSE_STATUS_SUCCESS);
    EXPECT_EQ(nnz, static_cast<I>(rs.size()));
    // Ordering sorts the COO arrays by row and column; products stay the same.
    ASSERT_EQ(api<I>::do_order(A, vs.data()), SPARSE_STATUS_SUCCESS);
    for (std::size_t k = 1; k < rs.size(); ++k)
      ASSERT_TRUE(rs[k - 1] < rs[k] || (rs[k - 1] == rs[k] && cs[k - 1] < cs[k]));
    check_mv(m, A, HOST_OPERATION_TRANSPOSE, general, 6);
    api<I>::destroy(A);
  }
}

TYPED_TEST(HostProducts, MmBothLayoutsAndSeveralColumnCounts) {
  using C = typename TypeParam::C;
  using I = typename TypeParam::I;
  const std::vector<host_matrix_descr> ds = {
      general,
      {HOST_MATRIX_TYPE_SYMMETRIC, HOST_FILL_MODE_LOWER, HOST_DIAG_NON_UNIT},
      {HOST_MATRIX_TYPE_TRIANGULAR, HOST_FILL_MODE_UPPER, HOST_DIAG_UNIT}};
  for (int base : {0, 1})
    for (auto [r, c] : {std::pair<int, int>{29, 29}, {19, 33}}) {
      auto m = random_csr<C, I>({r, c, 5, r == c, base, 7u});
      host_matrix_t A = m.make();
      for (auto op : all_ops)
        for (auto d : ds) {
          if (r != c && d.type != HOST_MATRIX_TYPE_GENERAL) continue;
          const bool t = op != HOST_OPERATION_NON_TRANSPOSE;
          const std::int64_t out = t ? c : r, in = t ? r : c;
          for (std::int64_t n : {1, 3, 8, 33})
            for (auto layout : {HOST_LAYOUT_ROW_MAJOR, HOST_LAYOUT_COLUMN_MAJOR}) {
              const bool rm = layout == HOST_LAYOUT_ROW_MAJOR;
              const std::int64_t ldx = rm ? n + 2 : in + 3, ldy = rm ? n + 1 : out + 2;
              const auto x = random_vector<C>((rm ? in : n) * ldx, 31);
              auto y = random_vector<C>((rm ? out : n) * ldy, 32);
              const W alpha(1.5, 0.5 * traits<C>::complex), beta(0.5, 0);
              std::vector<W> want;
              std::vector<double> mag;
              reference_mm<C>(effective(m, op, d), out, n, alpha, x, rm ? ldx : 1, rm ? 1 : ldx,
                              beta, y, rm ? ldy : 1, rm ? 1 : ldy, want, mag);
              ASSERT_EQ(api<I>::mm(op, traits<C>::make(alpha), A, d, layout, x.data(),
                                   static_cast<I>(n), static_cast<I>(ldx), traits<C>::make(beta),
                                   y.data(), static_cast<I>(ldy)),
                        SPARSE_STATUS_SUCCESS);
              for (std::int64_t i = 0; i < out; ++i)
                for (std::int64_t k = 0; k < n; ++k)
                  ASSERT_TRUE(close(y[rm ? i * ldy + k : i + k * ldy], want[i * n + k],
                                    mag[i * n + k], 512))
                      << "op " << op << " type " << d.type << " columns " << n << " layout "
                      << layout << " at " << i << "," << k;
            }
        }
      api<I>::destroy(A);
    }
}

TYPED_TEST(HostProducts, MmOnALargeMatrixWithThreads) {
  using C = typename TypeParam::C;
  using I = typename TypeParam::I;
  auto m = random_csr<C, I>({6000, 6000, 5, true, 0, 23u, 100});
  host_matrix_t A = m.make();
  const std::int64_t n = 8;
  for (auto layout : {HOST_LAYOUT_ROW_MAJOR, HOST_LAYOUT_COLUMN_MAJOR})
    for (auto op : {HOST_OPERATION_NON_TRANSPOSE, HOST_OPERATION_TRANSPOSE}) {
      const bool rm = layout == HOST_LAYOUT_ROW_MAJOR;
      const std::int64_t ld = rm ? n : m.rows;
      const auto x = random_vector<C>(m.rows * n, 41);
      auto y = random_vector<C>(m.rows * n, 42);
      std::vector<W> want;
      std::vector<double> mag;
      reference_mm<C>(effective(m, op, general), m.rows, n, W(1), x, rm ? ld : 1, rm ? 1 : ld, W(0),
                      y, rm ? ld : 1, rm ? 1 : ld, want, mag);
      ASSERT_EQ(api<I>::mm(op, traits<C>::make(1), A, general, layout, x.data(), static_cast<I>(n),
                           static_cast<I>(ld), traits<C>::make(0), y.data(), static_cast<I>(ld)),
                SPARSE_STATUS_SUCCESS);
      for (std::int64_t i = 0; i < m.rows; ++i)
        for (std::int64_t k = 0; k < n; ++k)
          ASSERT_TRUE(close(y[rm ? i * ld + k : i + k * ld], want[i * n + k], mag[i * n + k], 512));
    }
  api<I>::destroy(A);
}

}  // namespace
}  // namespace hs_test
