// Events: which asynchronous errors wait and wait_and_throw deliver, and the common reference
// semantics (equality and hashing) of events, queues, contexts, devices and platforms.
#include <gtest/gtest.h>

#include <functional>
#include <hostsycl/hostsycl.hpp>
#include <stdexcept>
#include <vector>

namespace {

// An asynchronous handler that counts the errors it receives.
sycl::async_handler count_into(int& count) {
  return [&count](sycl::exception_list list) { count += static_cast<int>(list.size()); };
}

sycl::event failing_task(sycl::queue& q) {
  return q.submit(
      [](sycl::handler& h) { h.host_task([] { throw std::runtime_error("failed"); }); });
}

TEST(EventErrors, WaitDeliversNoAsynchronousError) {
  int errors = 0;
  sycl::queue q{sycl::cpu_selector_v, count_into(errors)};
  sycl::event e = failing_task(q);
  e.wait();
  sycl::event::wait({e});
  EXPECT_EQ(errors, 0);
  q.throw_asynchronous();  // still there: wait consumed nothing
  EXPECT_EQ(errors, 1);
}

TEST(EventErrors, WaitAndThrowDeliversTheErrorsOfTheEventsOwnQueue) {
  int errors = 0;
  sycl::queue q{sycl::cpu_selector_v, count_into(errors)};
  failing_task(q).wait_and_throw();
  EXPECT_EQ(errors, 1);
  q.throw_asynchronous();  // consumed once
  EXPECT_EQ(errors, 1);
}

TEST(EventErrors, WaitAndThrowDeliversTheErrorsOfADependencyOnAnotherQueueToThatQueuesHandler) {
  int first_errors = 0, second_errors = 0;
  sycl::queue first{sycl::cpu_selector_v, count_into(first_errors)};
  sycl::queue second{hostsycl::emulated_gpu("emu-a3"), count_into(second_errors)};
  sycl::event failed = failing_task(first);
  sycl::event after = second.submit([&](sycl::handler& h) {
    h.depends_on(failed);
    h.host_task([] {});
  });
  after.wait_and_throw();
  EXPECT_EQ(first_errors, 1);
  EXPECT_EQ(second_errors, 0);
}

TEST(EventErrors, WaitAndThrowReachesDependenciesOfDependencies) {
  int first_errors = 0, last_errors = 0;
  sycl::queue first{sycl::cpu_selector_v, count_into(first_errors)};
  sycl::queue middle{sycl::cpu_selector_v};
  sycl::queue last{sycl::cpu_selector_v, count_into(last_errors)};
  sycl::event failed = failing_task(first);
  sycl::event between = middle.submit([&](sycl::handler& h) {
    h.depends_on(failed);
    h.host_task([] {});
  });
  sycl::event end = last.submit([&](sycl::handler& h) {
    h.depends_on(between);
    h.host_task([] {});
  });
  end.wait_and_throw();
  EXPECT_EQ(first_errors, 1);
  EXPECT_EQ(last_errors, 0);
}

TEST(EventErrors, StaticWaitAndThrowDeliversTheErrorsOfEveryListedEvent) {
  int a_errors = 0, b_errors = 0;
  sycl::queue a{sycl::cpu_selector_v, count_into(a_errors)};
  sycl::queue b{sycl::cpu_selector_v, count_into(b_errors)};
  std::vector<sycl::event> events = {failing_task(a), failing_task(b)};
  sycl::event::wait_and_throw(events);
  EXPECT_EQ(a_errors, 1);
  EXPECT_EQ(b_errors, 1);
}

TEST(EventErrors, ADefaultConstructedEventWaitsAndThrowsNothing) {
  sycl::event e;
  e.wait_and_throw();
  EXPECT_EQ(e.get_info<sycl::info::event::command_execution_status>(),
            sycl::info::event_command_status::complete);
  EXPECT_TRUE(e.get_wait_list().empty());
}

// Copies are equal and hash alike; distinct objects are unequal and (for these) hash apart.
template <typename T>
void expect_reference_semantics(const T& a, const T& distinct) {
  const T copy = a;
  EXPECT_TRUE(copy == a);
  EXPECT_FALSE(copy != a);
  EXPECT_EQ(std::hash<T>()(copy), std::hash<T>()(a));
  EXPECT_FALSE(a == distinct);
  EXPECT_TRUE(a != distinct);
  EXPECT_NE(std::hash<T>()(a), std::hash<T>()(distinct));
}

TEST(ReferenceSemantics, DefaultConstructedEventsAreDistinct) {
  sycl::event a, b;
  expect_reference_semantics(a, b);
}

TEST(ReferenceSemantics, EventsOfDistinctCommandsAreDistinct) {
  sycl::queue q{sycl::cpu_selector_v};
  sycl::event a = q.submit([](sycl::handler& h) { h.host_task([] {}); });
  sycl::event b = q.submit([](sycl::handler& h) { h.host_task([] {}); });
  expect_reference_semantics(a, b);
  q.wait();
}

TEST(ReferenceSemantics, QueuesAreDistinctEvenOnOneDevice) {
  sycl::queue a{sycl::cpu_selector_v}, b{sycl::cpu_selector_v};
  expect_reference_semantics(a, b);
}

TEST(ReferenceSemantics, ContextsAreDistinctEvenOverOneDevice) {
  sycl::device d{sycl::cpu_selector_v};
  sycl::context a{d}, b{d};
  expect_reference_semantics(a, b);
  // A queue gives back the very context it was built with.
  sycl::queue q{a, d};
  EXPECT_EQ(q.get_context(), a);
}

TEST(ReferenceSemantics, DevicesAreEqualExactlyWhenTheyAreTheSameDevice) {
  sycl::device cpu{sycl::cpu_selector_v};
  sycl::device gpu{hostsycl::emulated_gpu("emu-a3")};
  expect_reference_semantics(cpu, gpu);
  sycl::device cpu_again{sycl::cpu_selector_v};
  EXPECT_EQ(cpu_again, cpu);
  EXPECT_EQ(std::hash<sycl::device>()(cpu_again), std::hash<sycl::device>()(cpu));
}

TEST(ReferenceSemantics, EveryPlatformObjectIsTheOnePlatform) {
  sycl::platform a;
  sycl::platform b = sycl::device{sycl::cpu_selector_v}.get_platform();
  EXPECT_TRUE(a == b);
  EXPECT_FALSE(a != b);
  EXPECT_EQ(std::hash<sycl::platform>()(a), std::hash<sycl::platform>()(b));
}

}  // namespace
