// Row sort on rows of every length class (in-place insertion up to 32 entries, pair sort
// beyond), with repeated columns whose values must keep their order, on enough rows to split
// between threads.
#include "support.hpp"

namespace {

using namespace hs_test;

template <typename V>
class HostOrder : public ::testing::Test {};
TYPED_TEST_SUITE(HostOrder, variants);

TYPED_TEST(HostOrder, RowsOfEveryLengthSortStablyWithTheirValues) {
  using C = typename TypeParam::C;
  using I = typename TypeParam::I;
  std::mt19937 rng(41);
  for (int base : {0, 1}) {
    csr<C, I> m;
    m.rows = 6000;
    m.cols = 500;
    m.base = base;
    m.ptr.push_back(static_cast<I>(base));
    const int lengths[] = {0, 1, 2, 31, 32, 33, 100, 3000};
    for (std::int64_t i = 0; i < m.rows; ++i) {
      const int len = i % 97 == 0 ? lengths[(i / 97) % 8] : static_cast<int>(rng() % 40);
      const bool sorted_already = i % 5 == 0;
      std::vector<I> cs;
      for (int k = 0; k < len; ++k) cs.push_back(static_cast<I>(rng() % 60));  // repeats
      if (sorted_already) std::sort(cs.begin(), cs.end());
      for (I c : cs) {
        m.col.push_back(static_cast<I>(c + base));
        m.val.push_back(traits<C>::make(random_value<C>(rng)));
      }
      m.ptr.push_back(static_cast<I>(m.col.size() + base));
    }
    const auto before = m;
    host_matrix_t A = m.make();
    ASSERT_EQ(api<I>::do_order(A, m.val.data()), SPARSE_STATUS_SUCCESS);
    for (std::int64_t i = 0; i < m.rows; ++i) {
      // The stable reference: entries by column, equal columns in their first order.
      std::vector<std::pair<I, std::size_t>> want;
      for (I k = before.ptr[i] - base; k < before.ptr[i + 1] - base; ++k)
        want.push_back({before.col[k], static_cast<std::size_t>(k)});
      std::stable_sort(want.begin(), want.end(),
                       [](const auto& a, const auto& b) { return a.first < b.first; });
      std::size_t w = 0;
      for (I k = m.ptr[i] - base; k < m.ptr[i + 1] - base; ++k, ++w) {
        ASSERT_EQ(m.col[k], want[w].first) << "row " << i;
        ASSERT_EQ(traits<C>::wide(m.val[k]), traits<C>::wide(before.val[want[w].second]))
            << "row " << i << " entry " << w;
      }
    }
    EXPECT_EQ(m.ptr, before.ptr);
    api<I>::destroy(A);
  }
}

}  // namespace
