// Internal records of the runtime shared by its sources.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <sycl/sycl.hpp>
#include <vector>

namespace sycl::detail {

// One node of the command graph; an event refers to it.
struct command {
  std::function<void()> work;
  std::shared_ptr<queue_impl> queue;  // receives asynchronous errors; released on completion
  // The queue that submitted it and the queues of every command this one depended on, directly or
  // not, without repeats: event::wait_and_throw delivers their errors. Kept after completion,
  // unlike `dependencies`, because errors stay in their queues until someone consumes them.
  std::vector<std::weak_ptr<queue_impl>> error_queues;  // under graph_mutex
  std::vector<std::shared_ptr<command>> dependencies;
  std::vector<std::shared_ptr<command>> dependents;
  std::size_t pending = 0;  // unfinished dependencies
  info::event_command_status status = info::event_command_status::submitted;
  bool is_host_access = false;
};

// The single lock of the command graph, with the condition that signals completions.
std::mutex& graph_mutex();
std::condition_variable& graph_completed();

// Under graph_mutex: adds the edge `cmd` after `dep` when `dep` is unfinished.
void add_dependency_locked(const std::shared_ptr<command>& cmd,
                           const std::shared_ptr<command>& dep);
// Under graph_mutex: queues `cmd` to run once its dependencies completed.
void schedule_locked(const std::shared_ptr<command>& cmd);
// Marks `cmd` complete and releases its dependents.
void complete_command(const std::shared_ptr<command>& cmd);
void wait_command(const std::shared_ptr<command>& cmd);

// Buffer requirements: orders `cmd` after conflicting earlier users and records it as a user.
void add_buffer_requirement_locked(buffer_state& state, const std::shared_ptr<command>& cmd,
                                   access_mode mode);

void report_async_error(const std::shared_ptr<queue_impl>& q, std::exception_ptr error);

// Allocation limits and fault injection shared by USM and buffers.
bool take_injected_failure();
std::uint64_t largest_max_alloc_size();

// The kernel submission counts behind hostsycl::kernels_submitted.
std::uint64_t count_kernels_named(std::string_view fragment);
void reset_kernel_counts();

void register_runtime_memory(const void* p, std::size_t bytes);
void unregister_runtime_memory(const void* p);

bool stress_enabled();
std::uint64_t stress_seed();

}  // namespace sycl::detail
