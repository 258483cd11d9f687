// range and id: the element-wise logical, relational, unary and increment operators.
#include <gtest/gtest.h>

#include <sycl/sycl.hpp>
#include <type_traits>

namespace {

template <typename T>
class IndexOperators : public ::testing::Test {};
using IndexTypes = ::testing::Types<sycl::range<1>, sycl::range<2>, sycl::range<3>, sycl::id<1>,
                                    sycl::id<2>, sycl::id<3>>;
TYPED_TEST_SUITE(IndexOperators, IndexTypes);

// An index whose element d holds f(d).
template <typename Index, typename F>
Index make(F f) {
  Index r;
  for (int d = 0; d < Index::dimensions; ++d) r[d] = f(d);
  return r;
}

TYPED_TEST(IndexOperators, RelationalOperatorsCompareElementByElement) {
  using I = TypeParam;
  const I a = make<I>([](int d) { return std::size_t(d + 1); });  // 1 2 3
  const I b = make<I>([](int) { return std::size_t(2); });        // 2 2 2
  static_assert(std::is_same_v<decltype(a < b), I>);
  const I lt = a<b, gt = a> b, le = a <= b, ge = a >= b;
  for (int d = 0; d < I::dimensions; ++d) {
    EXPECT_EQ(lt[d], a[d] < b[d] ? 1u : 0u);
    EXPECT_EQ(gt[d], a[d] > b[d] ? 1u : 0u);
    EXPECT_EQ(le[d], a[d] <= b[d] ? 1u : 0u);
    EXPECT_EQ(ge[d], a[d] >= b[d] ? 1u : 0u);
  }
  const I with_scalar = a < 2;
  const I scalar_first = 2 < a;
  for (int d = 0; d < I::dimensions; ++d) {
    EXPECT_EQ(with_scalar[d], a[d] < 2 ? 1u : 0u);
    EXPECT_EQ(scalar_first[d], 2 < a[d] ? 1u : 0u);
  }
}

TYPED_TEST(IndexOperators, LogicalOperatorsCombineElementByElement) {
  using I = TypeParam;
  const I a = make<I>([](int d) { return std::size_t(d % 2); });  // 0 1 0
  const I b = make<I>([](int) { return std::size_t(1); });
  const I both = a && b, either = a || b;
  const I with_zero = a && 0u, with_one = 1 || a;
  for (int d = 0; d < I::dimensions; ++d) {
    EXPECT_EQ(both[d], a[d] != 0 ? 1u : 0u);
    EXPECT_EQ(either[d], 1u);
    EXPECT_EQ(with_zero[d], 0u);
    EXPECT_EQ(with_one[d], 1u);
  }
}

TYPED_TEST(IndexOperators, UnaryPlusKeepsAndUnaryMinusNegatesEveryElement) {
  using I = TypeParam;
  const I a = make<I>([](int d) { return std::size_t(d + 4); });
  const I plus = +a, minus = -a;
  for (int d = 0; d < I::dimensions; ++d) {
    EXPECT_EQ(plus[d], a[d]);
    EXPECT_EQ(minus[d], std::size_t(0) - a[d]);
    EXPECT_EQ((minus + a)[d], 0u);
  }
}

TYPED_TEST(IndexOperators, PrefixAndPostfixIncrementAndDecrementEveryElement) {
  using I = TypeParam;
  I a = make<I>([](int d) { return std::size_t(10 * (d + 1)); });
  const I start = a;
  const I post_inc = a++;
  EXPECT_EQ(post_inc, start);
  EXPECT_EQ(a, start + 1);
  const I pre_inc = ++a;
  EXPECT_EQ(pre_inc, start + 2);
  static_assert(std::is_same_v<decltype(++a), I&>);
  EXPECT_EQ(&(++a), &a);
  const I post_dec = a--;
  EXPECT_EQ(post_dec, start + 3);
  const I pre_dec = --a;
  EXPECT_EQ(pre_dec, start + 1);
  EXPECT_EQ(&(--a), &a);
  EXPECT_EQ(a, start);
}

TEST(IndexOperators, ArithmeticAndCompoundOperatorsStillWork) {
  sycl::id<2> i{3, 4};
  sycl::range<2> r{5, 6};
  EXPECT_EQ((i * 2 + 1), (sycl::id<2>{7, 9}));
  i += 1;
  EXPECT_EQ(i, (sycl::id<2>{4, 5}));
  r %= sycl::range<2>{3, 4};
  EXPECT_EQ(r, (sycl::range<2>{2, 2}));
}

}  // namespace
