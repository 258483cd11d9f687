// vec, marray and the math built-ins against plain scalar arithmetic.
#include <gtest/gtest.h>

#include <cmath>
#include <hostsycl/hostsycl.hpp>

namespace {

TEST(Vec, ElementWiseArithmeticAndComparisons) {
  sycl::float4 a(1.f, 2.f, 3.f, 4.f);
  sycl::float4 b(2.f);
  auto c = a * b + 1.f;
  for (int i = 0; i < 4; ++i) EXPECT_EQ(c[i], (i + 1) * 2.f + 1.f);
  auto mask = a > sycl::float4(2.5f);
  EXPECT_EQ(mask[0], 0);
  EXPECT_EQ(mask[3], -1);
  sycl::double2 d(1.0, 2.0);
  d += sycl::double2(0.5);
  EXPECT_EQ(d.x(), 1.5);
  EXPECT_EQ(d.y(), 2.5);
  EXPECT_EQ(sizeof(sycl::float3), 4 * sizeof(float));
  auto lo = a.lo();
  EXPECT_EQ(lo[1], 2.f);
  EXPECT_EQ(a.hi()[0], 3.f);
  auto i = a.convert<int>();
  EXPECT_EQ(i[3], 4);
}

TEST(Vec, LoadAndStoreUseOffsetTimesLength) {
  float data[8] = {0, 1, 2, 3, 4, 5, 6, 7};
  sycl::vec<float, 4> v;
  v.load(1, data);
  EXPECT_EQ(v[0], 4.f);
  v.store(0, data);
  EXPECT_EQ(data[0], 4.f);
}

TEST(Marray, ElementWiseOperators) {
  sycl::marray<double, 5> a(1.0), b(1.0, 2.0, 3.0, 4.0, 5.0);
  auto c = a + b * 2.0;
  for (std::size_t i = 0; i < 5; ++i) EXPECT_EQ(c[i], 1.0 + 2.0 * (i + 1));
  auto eq = b == sycl::marray<double, 5>(3.0);
  EXPECT_FALSE(eq[0]);
  EXPECT_TRUE(eq[2]);
  sycl::marray<int, 3> m(7, 8, 9);
  m %= sycl::marray<int, 3>(4);
  EXPECT_EQ(m[2], 1);
}

TEST(Math, BuiltinsMatchTheStandardLibrary) {
  EXPECT_EQ(sycl::fma(2.0, 3.0, 1.0), 7.0);
  EXPECT_EQ(sycl::fmax(1.0f, std::nanf("")), 1.0f);
  EXPECT_EQ(sycl::min(3, 5), 3);
  EXPECT_EQ(sycl::max(3.5, 2.0), 3.5);
  EXPECT_EQ(sycl::clz(1u), 31u);
  EXPECT_EQ(sycl::ctz(8u), 3u);
  EXPECT_EQ(sycl::popcount(0xffu), 8u);
  EXPECT_EQ(sycl::abs(-5), 5u);
  EXPECT_DOUBLE_EQ(sycl::sqrt(2.0), std::sqrt(2.0));
  EXPECT_FLOAT_EQ(sycl::rsqrt(4.0f), 0.5f);
  auto v = sycl::fabs(sycl::float4(-1.f, 2.f, -3.f, 4.f));
  EXPECT_EQ(v[2], 3.f);
  auto w = sycl::fma(sycl::double2(1.0, 2.0), sycl::double2(3.0), sycl::double2(1.0));
  EXPECT_EQ(w[1], 7.0);
  EXPECT_EQ(sycl::bit_cast<std::uint32_t>(1.0f), 0x3f800000u);
  EXPECT_EQ((sycl::known_identity_v<sycl::minimum<int>, int>), std::numeric_limits<int>::max());
  EXPECT_EQ((sycl::known_identity_v<sycl::plus<double>, double>), 0.0);
}

}  // namespace
