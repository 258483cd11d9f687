// Sparse products C = op(A) op(B) against a reference from the entries, by every request
// sequence; row ordering in place.
#include <map>

#include "support.hpp"

namespace hs_test {
namespace {

template <typename V>
class HostSp2m : public ::testing::Test {};
TYPED_TEST_SUITE(HostSp2m, variants);

template <typename C, typename I>
std::map<std::pair<std::int64_t, std::int64_t>, std::pair<W, double>> reference_product(
    const csr<C, I>& a, host_operation_t opA, const csr<C, I>& b, host_operation_t opB) {
  std::map<std::int64_t, std::vector<entry>> b_rows;
  for (const auto& e : effective(b, opB, general)) b_rows[e.i].push_back(e);
  std::map<std::pair<std::int64_t, std::int64_t>, std::pair<W, double>> c;
  for (const auto& e : effective(a, opA, general))
    for (const auto& f : b_rows[e.j]) {
      auto& slot = c[{e.i, f.j}];
      slot.first += e.v * f.v;
      slot.second += std::abs(e.v) * std::abs(f.v);
    }
  return c;
}

// Checks the exported product against the reference: sorted rows, the expected base.
template <typename C, typename I>
void check_product(host_matrix_t P, const csr<C, I>& a, host_operation_t opA, const csr<C, I>& b,
                   host_operation_t opB) {
  const auto want = reference_product(a, opA, b, opB);
  int base = -1;
  I rows = -1, cols = -1;
  I *rs = nullptr, *re = nullptr, *ci = nullptr;
  C* v = nullptr;
  ASSERT_EQ(api<I>::export_csr(P, &base, &rows, &cols, &rs, &re, &ci, &v), SPARSE_STATUS_SUCCESS);
  EXPECT_EQ(base, a.base & b.base);
  EXPECT_EQ(rows, opA == HOST_OPERATION_NON_TRANSPOSE ? a.rows : a.cols);
  EXPECT_EQ(cols, opB == HOST_OPERATION_NON_TRANSPOSE ? b.cols : b.rows);
  std::size_t found = 0;
  for (I i = 0; i < rows; ++i) {
    for (I k = rs[i] - base; k < re[i] - base; ++k) {
      if (k > rs[i] - base) {
        ASSERT_LT(ci[k - 1], ci[k]) << "row " << i << " is not sorted";
      }
      const auto it = want.find({i, ci[k] - base});
      ASSERT_NE(it, want.end()) << "unexpected entry " << i << "," << ci[k] - base;
      EXPECT_TRUE(close(v[k], it->second.first, it->second.second, 64 * 8));
      ++found;
    }
  }
  EXPECT_EQ(found, want.size());
  I nnz = -1;
  EXPECT_EQ(api<I>::get_nnz(P, &nnz), SPARSE_STATUS_SUCCESS);
  EXPECT_EQ(static_cast<std::size_t>(nnz), want.size());
}

TYPED_TEST(HostSp2m, SquareProductsWithEveryOperationAndRequestSequence) {
  using C = typename TypeParam::C;
  using I = typename TypeParam::I;
  for (auto [ba, bb] : {std::pair<int, int>{0, 0}, {1, 1}, {0, 1}}) {
    auto a = random_csr<C, I>({33, 33, 5, true, ba, 91u});
    auto b = random_csr<C, I>({33, 33, 4, false, bb, 92u});
    host_matrix_t A = a.make(), B = b.make();
    for (auto opA : all_ops)
      for (auto opB : all_ops) {
        host_matrix_t P = nullptr;
        ASSERT_EQ(api<I>::sp2m(opA, general, A, opB, general, B, HOST_REQUEST_FULL_MULT, &P),
                  SPARSE_STATUS_SUCCESS);
        check_product(P, a, opA, b, opB);
        api<I>::destroy(P);
      }
    // A A, A^T A, A A^T by the staged requests: estimate, structure, values.
    for (auto [opA, opB] : {std::pair{HOST_OPERATION_NON_TRANSPOSE, HOST_OPERATION_NON_TRANSPOSE},
                            {HOST_OPERATION_TRANSPOSE, HOST_OPERATION_NON_TRANSPOSE},
                            {HOST_OPERATION_NON_TRANSPOSE, HOST_OPERATION_TRANSPOSE}}) {
      host_matrix_t P = nullptr;
      ASSERT_EQ(api<I>::sp2m(opA, general, A, opB, general, A, HOST_REQUEST_WORK_ESTIMATE, &P),
                SPARSE_STATUS_SUCCESS);
      ASSERT_EQ(api<I>::sp2m(opA, general, A, opB, general, A, HOST_REQUEST_NNZ_COUNT, &P),
                SPARSE_STATUS_SUCCESS);
      I nnz = -1;
      ASSERT_EQ(api<I>::get_nnz(P, &nnz), SPARSE_STATUS_SUCCESS);
      EXPECT_EQ(static_cast<std::size_t>(nnz), reference_product(a, opA, a, opB).size());
      ASSERT_EQ(api<I>::sp2m(opA, general, A, opB, general, A, HOST_REQUEST_FINALIZE_MULT, &P),
                SPARSE_STATUS_SUCCESS);
      check_product(P, a, opA, a, opB);
      // Values again into the same structure, and the product used as an operand.
      ASSERT_EQ(api<I>::sp2m(opA, general, A, opB, general, A, HOST_REQUEST_FINALIZE_MULT, &P),
                SPARSE_STATUS_SUCCESS);
      check_product(P, a, opA, a, opB);
      const auto x = random_vector<C>(33, 5);
      const double nan = std::numeric_limits<double>::quiet_NaN();
      std::vector<C> y(33, traits<C>::make(W(nan, nan)));
      EXPECT_EQ(api<I>::mv(HOST_OPERATION_TRANSPOSE, traits<C>::make(1), P, general, x.data(),
                           traits<C>::make(0), y.data()),
                SPARSE_STATUS_SUCCESS);
      // P^T x from the reference product's entries: y_j = sum_i P_ij x_i.
      std::vector<W> want(33);
      std::vector<double> mag(33);
      for (const auto& [ij, v] : reference_product(a, opA, a, opB)) {
        const W xi = traits<C>::wide(x[static_cast<std::size_t>(ij.first)]);
        want[static_cast<std::size_t>(ij.second)] += v.first * xi;
        mag[static_cast<std::size_t>(ij.second)] += v.second * std::abs(xi);
      }
      for (std::size_t j = 0; j < 33; ++j) EXPECT_TRUE(close(y[j], want[j], mag[j], 256)) << j;
      api<I>::destroy(P);
      // Values without a structure do the whole product.
      P = nullptr;
      ASSERT_EQ(api<I>::sp2m(opA, general, A, opB, general, A, HOST_REQUEST_FINALIZE_MULT, &P),
                SPARSE_STATUS_SUCCESS);
      check_product(P, a, opA, a, opB);
      api<I>::destroy(P);
    }
    api<I>::destroy(A);
    api<I>::destroy(B);
  }
}

TYPED_TEST(HostSp2m, RectangularEmptyAndLargeProducts) {
  using C = typename TypeParam::C;
  using I = typename TypeParam::I;
  auto a = random_csr<C, I>({13, 29, 6, false, 1, 93u});
  auto b = random_csr<C, I>({29, 17, 6, false, 1, 94u});
  auto z = random_csr<C, I>({29, 17, 0, false, 0, 95u});  // no entries at all
  host_matrix_t A = a.make(), B = b.make(), Z = z.make();
  for (auto [M, m] : {std::pair{B, &b}, {Z, &z}}) {
    host_matrix_t P = nullptr;
    ASSERT_EQ(api<I>::sp2m(HOST_OPERATION_NON_TRANSPOSE, general, A, HOST_OPERATION_NON_TRANSPOSE,
                           general, M, HOST_REQUEST_FULL_MULT, &P),
              SPARSE_STATUS_SUCCESS);
    check_product(P, a, HOST_OPERATION_NON_TRANSPOSE, *m, HOST_OPERATION_NON_TRANSPOSE);
    api<I>::destroy(P);
  }
  host_matrix_t P = nullptr;
  ASSERT_EQ(api<I>::sp2m(HOST_OPERATION_TRANSPOSE, general, B, HOST_OPERATION_CONJUGATE_TRANSPOSE,
                         general, A, HOST_REQUEST_FULL_MULT, &P),
            SPARSE_STATUS_SUCCESS);
  check_product(P, b, HOST_OPERATION_TRANSPOSE, a, HOST_OPERATION_CONJUGATE_TRANSPOSE);
  api<I>::destroy(P);
  // Shapes that do not fit, descriptors it does not do.
  P = nullptr;
  EXPECT_EQ(api<I>::sp2m(HOST_OPERATION_NON_TRANSPOSE, general, A, HOST_OPERATION_NON_TRANSPOSE,
                         general, A, HOST_REQUEST_FULL_MULT, &P),
            SPARSE_STATUS_INVALID_VALUE);
  const host_matrix_descr sym{HOST_MATRIX_TYPE_SYMMETRIC, HOST_FILL_MODE_LOWER, HOST_DIAG_NON_UNIT};
  EXPECT_EQ(api<I>::sp2m(HOST_OPERATION_NON_TRANSPOSE, sym, A, HOST_OPERATION_NON_TRANSPOSE,
                         general, B, HOST_REQUEST_FULL_MULT, &P),
            SPARSE_STATUS_NOT_SUPPORTED);
  EXPECT_EQ(api<I>::sp2m(HOST_OPERATION_NON_TRANSPOSE, general, A, HOST_OPERATION_NON_TRANSPOSE,
                         general, B, 93, &P),
            SPARSE_STATUS_INVALID_VALUE);
  EXPECT_EQ(P, nullptr);
  // Enough rows for threads.
  auto g = random_csr<C, I>({8000, 8000, 6, true, 0, 96u, 300});
  host_matrix_t G = g.make();
  ASSERT_EQ(api<I>::sp2m(HOST_OPERATION_NON_TRANSPOSE, general, G, HOST_OPERATION_NON_TRANSPOSE,
                         general, G, HOST_REQUEST_FULL_MULT, &P),
            SPARSE_STATUS_SUCCESS);
  check_product(P, g, HOST_OPERATION_NON_TRANSPOSE, g, HOST_OPERATION_NON_TRANSPOSE);
  api<I>::destroy(P);
  api<I>::destroy(G);
  api<I>::destroy(A);
  api<I>::destroy(B);
  api<I>::destroy(Z);
}

TYPED_TEST(HostSp2m, DoOrderSortsRowsInPlaceWithTheirValues) {
  using C = typename TypeParam::C;
  using I = typename TypeParam::I;
  for (int base : {0, 1}) {
    auto m = random_csr<C, I>({50, 60, 8, false, base, 97u});
    auto before = m;
    host_matrix_t A = m.make();
    ASSERT_EQ(api<I>::mv_hint(A, HOST_OPERATION_TRANSPOSE, general), SPARSE_STATUS_SUCCESS);
    ASSERT_EQ(api<I>::optimize(A), SPARSE_STATUS_SUCCESS);
    ASSERT_EQ(api<I>::do_order(A, m.val.data()), SPARSE_STATUS_SUCCESS);
    for (std::int64_t i = 0; i < m.rows; ++i) {
      std::map<I, W> want;
      for (I k = before.ptr[i] - base; k < before.ptr[i + 1] - base; ++k)
        want[before.col[k]] = traits<C>::wide(before.val[k]);
      auto it = want.begin();
      for (I k = m.ptr[i] - base; k < m.ptr[i + 1] - base; ++k, ++it) {
        ASSERT_EQ(m.col[k], it->first);
        ASSERT_EQ(traits<C>::wide(m.val[k]), it->second);
      }
    }
    // The transpose made before ordering follows the new order.
    const auto x = random_vector<C>(m.rows, 3);
    std::vector<C> y(static_cast<std::size_t>(m.cols));
    ASSERT_EQ(api<I>::mv(HOST_OPERATION_TRANSPOSE, traits<C>::make(1), A, general, x.data(),
                         traits<C>::make(0), y.data()),
              SPARSE_STATUS_SUCCESS);
    std::vector<W> want;
    std::vector<double> mag;
    reference_mm<C>(effective(before, HOST_OPERATION_TRANSPOSE, general), m.cols, 1, W(1), x, 1, 0,
                    W(0), y, 1, 0, want, mag);
    for (std::int64_t j = 0; j < m.cols; ++j) EXPECT_TRUE(close(y[j], want[j], mag[j], 256));
    api<I>::destroy(A);
  }
}

}  // namespace
}  // namespace hs_test
