// The gemv plan's kinds read themselves: every kind has a name and a line of the table that says
// what its two parameters count, and the table holds no line for a value that is no kind.
#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <string>

#include "handle/gemv_data.hpp"

namespace vs = orvane::vrt::sparse;

namespace {

constexpr vs::gemv_kind every_kind[] = {vs::gemv_kind::default_kernel, vs::gemv_kind::syclvec,
                                        vs::gemv_kind::marray,         vs::gemv_kind::subgroup,
                                        vs::gemv_kind::esimd,          vs::gemv_kind::merge};

TEST(GemvKinds, StoredValuesStayAsTheRecordHasAlwaysHeldThem) {
  EXPECT_EQ(vs::kind_code(vs::gemv_kind::default_kernel), -1);
  EXPECT_EQ(vs::kind_code(vs::gemv_kind::syclvec), 1);
  EXPECT_EQ(vs::kind_code(vs::gemv_kind::marray), 2);
  EXPECT_EQ(vs::kind_code(vs::gemv_kind::subgroup), 3);
  EXPECT_EQ(vs::kind_code(vs::gemv_kind::esimd), 4);
  EXPECT_EQ(vs::kind_code(vs::gemv_kind::merge), 5);
  static_assert(sizeof(vs::gemv_kind) == sizeof(std::int32_t));
  static_assert(sizeof(vs::gemvInternalData::kernel_kind) == sizeof(std::int32_t));
}

TEST(GemvKinds, KindNameNamesEveryKindOnce) {
  std::set<std::string> names;
  for (const vs::gemv_kind kind : every_kind) {
    const std::string name = vs::kind_name(kind);
    EXPECT_FALSE(name.empty()) << vs::kind_code(kind);
    EXPECT_NE(name, "unknown") << vs::kind_code(kind);
    EXPECT_TRUE(names.insert(name).second) << name << " names two kinds";
  }
  EXPECT_STREQ(vs::kind_name(vs::gemv_kind{9}), "unknown");
  EXPECT_STREQ(vs::kind_name(vs::gemv_kind{0}), "unknown");
}

TEST(GemvKinds, TheTableCoversEveryKindAndNothingElse) {
  for (const vs::gemv_kind kind : every_kind) {
    const vs::gemv_kind_meaning* m = vs::meaning_of(kind);
    ASSERT_NE(m, nullptr) << vs::kind_code(kind);
    EXPECT_EQ(m->kind, kind);
    EXPECT_STREQ(m->name, vs::kind_name(kind));
    EXPECT_NE(std::string(m->group_unit), "") << m->name;
    EXPECT_NE(std::string(m->vector_unit), "") << m->name;
  }
  EXPECT_EQ(std::size(vs::gemv_kind_meanings), std::size(every_kind));
  EXPECT_EQ(vs::meaning_of(vs::gemv_kind{9}), nullptr);
  // What the report prints for the kinds whose units the plan tables rely on.
  EXPECT_STREQ(vs::meaning_of(vs::gemv_kind::subgroup)->group_unit, "sub-groups");
  EXPECT_STREQ(vs::meaning_of(vs::gemv_kind::subgroup)->vector_unit, "lanes");
  EXPECT_STREQ(vs::meaning_of(vs::gemv_kind::syclvec)->group_unit, "work-items");
}

}  // namespace
