// The service layer: allocation, messages, exit, environment, lock and bounded strings.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/services.hpp"
#include "platform/testing_hooks.hpp"

namespace {

TEST(ServiceMalloc, HonoursPowerOfTwoAlignments) {
  for (std::size_t alignment : {std::size_t{16}, std::size_t{64}, std::size_t{4096}}) {
    void* p = vrt_serv_malloc(100, alignment);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p) % alignment, 0u);
    std::memset(p, 0xab, 100);
    vrt_serv_free(p);
  }
  EXPECT_EQ(vrt_serv_malloc(100, 48), nullptr);
  void* zero = vrt_serv_malloc(0, 64);
  EXPECT_NE(zero, nullptr);
  vrt_serv_free(zero);
  vrt_serv_free(nullptr);
}

TEST(ServiceMalloc, TestHookMakesTheNextCallsFail) {
  orvane::vrt::testing::fail_next_serv_mallocs(2);
  EXPECT_EQ(vrt_serv_malloc(64, 64), nullptr);
  EXPECT_EQ(vrt_serv_malloc(64, 64), nullptr);
  void* p = vrt_serv_malloc(64, 64);
  EXPECT_NE(p, nullptr);
  vrt_serv_free(p);
}

TEST(ServicePrint, MissingSymbolCodeQuotesItsArgument) {
  testing::internal::CaptureStderr();
  vrt_serv_print(0, 3, 1, "clGetKernelInfo");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "'clGetKernelInfo'\n");
  testing::internal::CaptureStderr();
  const int n = vrt_serv_print(0, 1, 2, "plain", "words");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "plain words\n");
  EXPECT_EQ(n, 12);
}

int g_exit_status = -1;
TEST(ServiceExit, HookObservesTheStatus) {
  orvane::vrt::testing::set_exit_hook([](int status) { g_exit_status = status; });
  vrt_serv_exit(2);
  EXPECT_EQ(g_exit_status, 2);
  vrt_serv_iface_exit(3);
  EXPECT_EQ(g_exit_status, 3);
  orvane::vrt::testing::set_exit_hook(nullptr);
}

TEST(ServiceExitDeathTest, EndsTheProcessWithTheStatus) {
  EXPECT_EXIT(vrt_serv_exit(7), ::testing::ExitedWithCode(7), "");
}

TEST(ServiceGetenv, CopiesWithinTheBufferAndReportsTheFullLength) {
  setenv("VRT_SERVICE_TEST_VALUE", "TRUE_AND_LONGER", 1);
  char buffer[10];
  EXPECT_EQ(vrt_serv_getenv(buffer, sizeof buffer, "VRT_SERVICE_TEST_VALUE"), 15);
  EXPECT_STREQ(buffer, "TRUE_AND_");
  unsetenv("VRT_SERVICE_TEST_VALUE");
  EXPECT_EQ(vrt_serv_getenv(buffer, sizeof buffer, "VRT_SERVICE_TEST_VALUE"), -1);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(vrt_serv_getenv(nullptr, 10, "PATH"), -1);
}

TEST(ServiceLock, IsAProcessWideMutex) {
  vrt_serv_lock();
  vrt_serv_unlock();
  vrt_serv_lock();
  vrt_serv_unlock();
}

TEST(ServiceStrings, BoundedCopyAndConcatenation) {
  char dest[8];
  EXPECT_EQ(vrt_serv_strncpy_s(dest, sizeof dest, "abc", 10), 0);
  EXPECT_STREQ(dest, "abc");
  EXPECT_EQ(vrt_serv_strncat_s(dest, sizeof dest, "defgh", 3), 0);
  EXPECT_STREQ(dest, "abcdef");
  EXPECT_NE(vrt_serv_strncat_s(dest, sizeof dest, "xy", 2), 0);  // would need 9 bytes
  EXPECT_STREQ(dest, "");
  EXPECT_NE(vrt_serv_strncpy_s(dest, sizeof dest, "12345678", 8), 0);
  EXPECT_STREQ(dest, "");
  EXPECT_EQ(vrt_serv_strncpy_s(dest, sizeof dest, "12345678", 7), 0);
  EXPECT_STREQ(dest, "1234567");
  EXPECT_NE(vrt_serv_strncpy_s(dest, sizeof dest, nullptr, 1), 0);
  EXPECT_NE(vrt_serv_strncpy_s(nullptr, 4, "a", 1), 0);
}

}  // namespace
