// Queues, events, host tasks and asynchronous errors.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <hostsycl/hostsycl.hpp>
#include <thread>
#include <vector>

#include "test_support.hpp"

namespace {

TEST(Queues, InOrderQueueRunsCommandsInSubmissionOrder) {
  sycl::queue q{sycl::cpu_selector_v, sycl::property_list{sycl::property::queue::in_order{}}};
  EXPECT_TRUE(q.is_in_order());
  std::vector<int> order;
  for (int i = 0; i < 50; ++i)
    q.submit([&, i](sycl::handler& h) { h.host_task([&, i] { order.push_back(i); }); });
  q.wait();
  ASSERT_EQ(order.size(), 50u);
  for (int i = 0; i < 50; ++i) EXPECT_EQ(order[i], i);
}

TEST(Queues, DependsOnChainsOrderAnOutOfOrderQueue) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  // Each step depends on the previous value, so any reordering changes the result.
  unsigned* data = sycl::malloc_shared<unsigned>(1, q);
  *data = 0;
  sycl::event e = q.single_task([=] { *data = 1; });
  for (unsigned i = 2; i <= 20; ++i) {
    e = q.submit([&](sycl::handler& h) {
      h.depends_on(e);
      h.single_task([=] { *data = *data * 3u + i; });
    });
  }
  e.wait();
  unsigned expected = 1;
  for (unsigned i = 2; i <= 20; ++i) expected = expected * 3u + i;
  EXPECT_EQ(*data, expected);
  sycl::free(data, q);
}

TEST(Queues, HostTaskMayWaitForACommandSubmittedAfterIt) {
  sycl::queue q{sycl::cpu_selector_v};
  std::atomic<int> flag{0};
  std::atomic<bool> released{false};
  auto waiting = q.submit([&](sycl::handler& h) {
    h.host_task([&] {
      while (flag.load() == 0) std::this_thread::sleep_for(std::chrono::microseconds(50));
      released = true;
    });
  });
  auto setter = q.submit([&](sycl::handler& h) { h.host_task([&] { flag = 1; }); });
  waiting.wait();
  setter.wait();
  EXPECT_TRUE(released.load());
}

TEST(Queues, SubmitDoesNotWaitForTheWork) {
  sycl::queue q{sycl::cpu_selector_v};
  std::atomic<bool> go{false};
  auto e = q.submit([&](sycl::handler& h) {
    h.host_task([&] {
      while (!go.load()) std::this_thread::yield();
    });
  });
  EXPECT_NE(e.get_info<sycl::info::event::command_execution_status>(),
            sycl::info::event_command_status::complete);
  go = true;
  e.wait();
  EXPECT_EQ(e.get_info<sycl::info::event::command_execution_status>(),
            sycl::info::event_command_status::complete);
}

TEST(Events, DefaultEventIsCompleteAndWaitListNamesDirectDependencies) {
  sycl::event none;
  none.wait();
  EXPECT_EQ(none.get_info<sycl::info::event::command_execution_status>(),
            sycl::info::event_command_status::complete);
  sycl::queue q{sycl::cpu_selector_v};
  std::atomic<bool> go{false};
  auto a = q.submit([&](sycl::handler& h) {
    h.host_task([&] {
      while (!go.load()) std::this_thread::yield();
    });
  });
  auto b = q.submit([&](sycl::handler& h) {
    h.depends_on(a);
    h.host_task([] {});
  });
  auto list = b.get_wait_list();
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(list[0], a);
  go = true;
  sycl::event::wait({a, b});
}

TEST(Events, EmptyCommandGroupGivesAnEventCoveringItsDependencies) {
  sycl::queue q{sycl::cpu_selector_v};
  std::atomic<bool> done{false};
  auto a = q.submit([&](sycl::handler& h) {
    h.host_task([&] {
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
      done = true;
    });
  });
  auto joined = q.submit([&](sycl::handler& h) { h.depends_on(a); });
  joined.wait();
  EXPECT_TRUE(done.load());
}

TEST(Handler, TwoCommandsInOneGroupAreRefused) {
  sycl::queue q{sycl::cpu_selector_v};
  try {
    q.submit([&](sycl::handler& h) {
      h.host_task([] {});
      h.host_task([] {});
    });
    FAIL() << "expected an exception";
  } catch (const sycl::exception& e) {
    EXPECT_EQ(e.code(), sycl::errc::invalid);
  }
}

TEST(AsyncErrors, HostTaskExceptionReachesTheQueueHandlerOnce) {
  std::vector<std::string> seen;
  sycl::queue q{sycl::cpu_selector_v, [&](sycl::exception_list list) {
                  for (auto& e : list) {
                    try {
                      std::rethrow_exception(e);
                    } catch (const std::runtime_error& x) {
                      seen.push_back(x.what());
                    }
                  }
                }};
  q.submit([](sycl::handler& h) { h.host_task([] { throw std::runtime_error("boom"); }); });
  q.wait();
  EXPECT_TRUE(seen.empty());  // wait() does not report
  q.wait_and_throw();
  ASSERT_EQ(seen.size(), 1u);
  EXPECT_EQ(seen[0], "boom");
  q.wait_and_throw();
  EXPECT_EQ(seen.size(), 1u);
}

TEST(AsyncErrors, EventWaitAndThrowDeliversToTheQueueOfTheEvent) {
  int count = 0;
  sycl::queue q{sycl::cpu_selector_v,
                [&](sycl::exception_list list) { count += static_cast<int>(list.size()); }};
  auto e = q.submit([](sycl::handler& h) { h.host_task([] { throw 7; }); });
  e.wait_and_throw();
  EXPECT_EQ(count, 1);
}

TEST(AsyncErrors, KernelExceptionBecomesAKernelError) {
  sycl::errc code = sycl::errc::success;
  sycl::queue q{hostsycl::emulated_gpu("emu-a1"), test_support::record_code(code)};
  q.parallel_for(sycl::range<1>(100), [](sycl::id<1> i) {
    if (i[0] == 42) throw std::runtime_error("bad work-item");
  });
  q.wait_and_throw();
  EXPECT_EQ(code, sycl::errc::kernel);
}

TEST(AsyncErrors, ContextHandlerServesQueuesWithoutTheirOwn) {
  int count = 0;
  sycl::device d{sycl::cpu_selector_v};
  sycl::context ctx{d, [&](sycl::exception_list list) { count += static_cast<int>(list.size()); }};
  sycl::queue q{ctx, d};
  q.submit([](sycl::handler& h) { h.host_task([] { throw 1; }); });
  q.wait_and_throw();
  EXPECT_EQ(count, 1);
}

TEST(Kernels, RangeKernelsAcceptItemIdAndIntegerParameters) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  constexpr std::size_t n = 10000;
  int* a = sycl::malloc_shared<int>(n, q);
  q.parallel_for(sycl::range<1>(n), [=](sycl::item<1> it) { a[it.get_linear_id()] = 1; }).wait();
  q.parallel_for(n, [=](sycl::id<1> i) { a[i] += 2; }).wait();
  q.parallel_for(sycl::range<1>(n), [=](std::size_t i) { a[i] += 4; }).wait();
  for (std::size_t i = 0; i < n; ++i) ASSERT_EQ(a[i], 7);
  sycl::free(a, q);
}

TEST(Kernels, MultiDimensionalRangesLineariseRightMostFastest) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  constexpr std::size_t n0 = 5, n1 = 7, n2 = 9;
  int* a = sycl::malloc_shared<int>(n0 * n1 * n2, q);
  q.parallel_for(sycl::range<3>(n0, n1, n2), [=](sycl::item<3> it) {
     a[it.get_linear_id()] = static_cast<int>(it[0] * 10000 + it[1] * 100 + it[2]);
   }).wait();
  for (std::size_t i = 0; i < n0; ++i)
    for (std::size_t j = 0; j < n1; ++j)
      for (std::size_t k = 0; k < n2; ++k)
        ASSERT_EQ(a[(i * n1 + j) * n2 + k], static_cast<int>(i * 10000 + j * 100 + k));
  int* b = sycl::malloc_shared<int>(n0 * n1, q);
  q.parallel_for(sycl::range<2>(n0, n1), [=](sycl::id<2> i) {
     b[i[0] * n1 + i[1]] = static_cast<int>(i[0] + i[1]);
   }).wait();
  for (std::size_t i = 0; i < n0; ++i)
    for (std::size_t j = 0; j < n1; ++j) ASSERT_EQ(b[i * n1 + j], static_cast<int>(i + j));
  sycl::free(a, q);
  sycl::free(b, q);
}

}  // namespace
