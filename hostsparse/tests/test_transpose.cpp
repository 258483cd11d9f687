// The counting transpose of CSR arrays against the entries of A moved by hand: exact positions,
// exact values (conjugated for op 12), sorted output rows, either index base on either side.
#include "support.hpp"

namespace {

using namespace hs_test;

template <typename V>
class HostTranspose : public ::testing::Test {};
TYPED_TEST_SUITE(HostTranspose, variants);

// op(A) as output arrays, built entry by entry in row order of A (so rows come out sorted).
template <typename C, typename I>
csr<C, I> reference_transpose(const csr<C, I>& a, host_operation_t op, int out_base) {
  csr<C, I> t;
  t.rows = a.cols;
  t.cols = a.rows;
  t.base = out_base;
  std::vector<std::vector<std::pair<I, C>>> rows(static_cast<std::size_t>(a.cols));
  for (std::int64_t i = 0; i < a.rows; ++i)
    for (I k = a.ptr[i] - a.base; k < a.ptr[i + 1] - a.base; ++k) {
      W v = traits<C>::wide(a.val[k]);
      if (op == HOST_OPERATION_CONJUGATE_TRANSPOSE) v = std::conj(v);
      rows[a.col[k] - a.base].push_back({static_cast<I>(i + out_base), traits<C>::make(v)});
    }
  t.ptr.push_back(static_cast<I>(out_base));
  for (const auto& row : rows) {
    for (const auto& [j, v] : row) {
      t.col.push_back(j);
      t.val.push_back(v);
    }
    t.ptr.push_back(static_cast<I>(t.col.size() + out_base));
  }
  return t;
}

template <typename C, typename I>
void expect_transpose(const csr<C, I>& a, host_operation_t op, int out_base) {
  const auto want = reference_transpose(a, op, out_base);
  std::vector<I> ptr(static_cast<std::size_t>(a.cols) + 1, I(-7)), col(a.col.size(), I(-7));
  std::vector<C> val(a.val.size(), traits<C>::make(W(std::nan(""), std::nan(""))));
  ASSERT_EQ(api<I>::csr_transpose(op, a.base, static_cast<I>(a.rows), static_cast<I>(a.cols),
                                  a.ptr.data(), a.ptr.data() + 1, a.col.data(), a.val.data(),
                                  out_base, ptr.data(), col.data(), val.data()),
            SPARSE_STATUS_SUCCESS);
  EXPECT_EQ(ptr, want.ptr);
  EXPECT_EQ(col, want.col);
  for (std::size_t k = 0; k < val.size(); ++k)
    ASSERT_EQ(traits<C>::wide(val[k]), traits<C>::wide(want.val[k])) << "entry " << k;
}

TYPED_TEST(HostTranspose, SmallAndRectangularInEveryBase) {
  using C = typename TypeParam::C;
  using I = typename TypeParam::I;
  for (int base : {0, 1})
    for (int out_base : {0, 1})
      for (auto op : {HOST_OPERATION_TRANSPOSE, HOST_OPERATION_CONJUGATE_TRANSPOSE}) {
        SCOPED_TRACE(::testing::Message()
                     << "base " << base << " out " << out_base << " op " << op);
        expect_transpose(random_csr<C, I>({37, 23, 6, false, base, 3}), op, out_base);
        expect_transpose(random_csr<C, I>({5, 90, 9, false, base, 4}), op, out_base);
      }
}

// Large enough that the work is split between threads when more than one is available.
TYPED_TEST(HostTranspose, LargeMatricesOnThreads) {
  using C = typename TypeParam::C;
  using I = typename TypeParam::I;
  expect_transpose(random_csr<C, I>({4000, 3000, 40, false, 0, 11}), HOST_OPERATION_TRANSPOSE, 0);
  expect_transpose(random_csr<C, I>({3000, 5000, 60, true, 1, 12}),
                   HOST_OPERATION_CONJUGATE_TRANSPOSE, 1);
  // Columns outnumbering entries take the serial path.
  expect_transpose(random_csr<C, I>({50, 200000, 3, false, 1, 13}), HOST_OPERATION_TRANSPOSE, 0);
}

TYPED_TEST(HostTranspose, EmptyShapes) {
  using C = typename TypeParam::C;
  using I = typename TypeParam::I;
  expect_transpose(random_csr<C, I>({0, 6, 3, false, 0, 5}), HOST_OPERATION_TRANSPOSE, 0);
  expect_transpose(random_csr<C, I>({6, 0, 3, false, 1, 5}), HOST_OPERATION_TRANSPOSE, 1);
  csr<C, I> empty_rows;
  empty_rows.rows = 4;
  empty_rows.cols = 3;
  empty_rows.ptr.assign(5, I(0));
  expect_transpose(empty_rows, HOST_OPERATION_TRANSPOSE, 1);
}

TYPED_TEST(HostTranspose, StructureOnly) {
  using C = typename TypeParam::C;
  using I = typename TypeParam::I;
  const auto a = random_csr<C, I>({300, 200, 8, false, 1, 6});
  const auto want = reference_transpose(a, HOST_OPERATION_TRANSPOSE, 0);
  std::vector<I> ptr(201, I(-7)), col(a.col.size(), I(-7));
  ASSERT_EQ(api<I>::csr_transpose(HOST_OPERATION_TRANSPOSE, 1, I(300), I(200), a.ptr.data(),
                                  a.ptr.data() + 1, a.col.data(), static_cast<const C*>(nullptr), 0,
                                  ptr.data(), col.data(), static_cast<C*>(nullptr)),
            SPARSE_STATUS_SUCCESS);
  EXPECT_EQ(ptr, want.ptr);
  EXPECT_EQ(col, want.col);
}

TYPED_TEST(HostTranspose, Refusals) {
  using C = typename TypeParam::C;
  using I = typename TypeParam::I;
  auto a = random_csr<C, I>({10, 8, 3, false, 0, 7});
  std::vector<I> ptr(9), col(a.col.size() + 1);
  std::vector<C> val(a.val.size() + 1);
  auto call = [&](host_operation_t op, int base, const C* v, C* ov, I* out_ptr) {
    return api<I>::csr_transpose(op, base, I(10), I(8), a.ptr.data(), a.ptr.data() + 1,
                                 a.col.data(), v, 0, out_ptr, col.data(), ov);
  };
  EXPECT_EQ(call(HOST_OPERATION_NON_TRANSPOSE, 0, a.val.data(), val.data(), ptr.data()),
            SPARSE_STATUS_NOT_SUPPORTED);
  EXPECT_EQ(call(13, 0, a.val.data(), val.data(), ptr.data()), SPARSE_STATUS_INVALID_VALUE);
  EXPECT_EQ(call(HOST_OPERATION_TRANSPOSE, 2, a.val.data(), val.data(), ptr.data()),
            SPARSE_STATUS_INVALID_VALUE);
  EXPECT_EQ(call(HOST_OPERATION_TRANSPOSE, 0, a.val.data(), nullptr, ptr.data()),
            SPARSE_STATUS_INVALID_VALUE);
  EXPECT_EQ(call(HOST_OPERATION_TRANSPOSE, 0, nullptr, val.data(), ptr.data()),
            SPARSE_STATUS_INVALID_VALUE);
  EXPECT_EQ(call(HOST_OPERATION_TRANSPOSE, 0, a.val.data(), val.data(), nullptr),
            SPARSE_STATUS_INVALID_VALUE);
  // A row ending before it starts.
  const std::vector<I> bad_ptr{0, 2, 1};
  EXPECT_EQ(api<I>::csr_transpose(HOST_OPERATION_TRANSPOSE, 0, I(2), I(8), bad_ptr.data(),
                                  bad_ptr.data() + 1, a.col.data(), a.val.data(), 0, ptr.data(),
                                  col.data(), val.data()),
            SPARSE_STATUS_INVALID_VALUE);
  vrt_sparse_testing_force_status(SPARSE_STATUS_EXECUTION_FAILED, 1);
  EXPECT_EQ(call(HOST_OPERATION_TRANSPOSE, 0, a.val.data(), val.data(), ptr.data()),
            SPARSE_STATUS_EXECUTION_FAILED);
  EXPECT_EQ(call(HOST_OPERATION_TRANSPOSE, 0, a.val.data(), val.data(), ptr.data()),
            SPARSE_STATUS_SUCCESS);
}

}  // namespace
