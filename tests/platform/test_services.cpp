// The service layer: allocation, messages, exit, environment, lock and bounded strings.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

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

// While one thread holds the lock, another that asks for it must wait until it is let go.
TEST(ServiceLock, KeepsASecondThreadOutWhileHeld) {
  std::atomic<bool> asking{false}, entered{false};
  vrt_serv_lock();
  std::thread other([&] {
    asking = true;
    vrt_serv_lock();
    entered = true;
    vrt_serv_unlock();
  });
  while (!asking) std::this_thread::yield();
  // A lock that does nothing lets the other thread through well within this time.
  for (int k = 0; k < 100 && !entered; ++k)
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  EXPECT_FALSE(entered) << "the other thread entered while the lock was held";
  vrt_serv_unlock();
  other.join();
  EXPECT_TRUE(entered);
}

volatile int g_pause_sink = 0;

// Two threads add to a plain counter under the lock, pausing between reading and writing it and
// now and then giving up the processor there, so that the other thread runs inside the window
// whether the two share one core or run on two: only mutual exclusion keeps every increment.
TEST(ServiceLock, IncrementsOfTwoThreadsUnderItAreNeverLost) {
  constexpr long rounds = 200000;
  long counter = 0;
  std::atomic<int> inside{0}, overlaps{0}, ready{0};
  auto work = [&] {
    ready.fetch_add(1);
    while (ready.load() < 2) std::this_thread::yield();
    for (long k = 0; k < rounds; ++k) {
      vrt_serv_lock();
      if (inside.fetch_add(1) != 0) overlaps.fetch_add(1);
      const long seen = *static_cast<volatile long*>(&counter);
      for (int pause = 0; pause < 20; ++pause) g_pause_sink = pause;
      if (k % 64 == 0) std::this_thread::yield();
      *static_cast<volatile long*>(&counter) = seen + 1;
      inside.fetch_sub(1);
      vrt_serv_unlock();
    }
  };
  std::thread first(work), second(work);
  first.join();
  second.join();
  EXPECT_EQ(counter, 2 * rounds);
  EXPECT_EQ(overlaps.load(), 0);
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
