// event: the completion state of one command, with reference semantics.
#pragma once

#include <memory>
#include <sycl/detail/exception.hpp>
#include <sycl/detail/info.hpp>
#include <vector>

namespace sycl {

namespace detail {
struct command;
struct event_access;
}  // namespace detail

class event {
 public:
  // Already complete; still an object of its own, unequal to every other event.
  event();

  backend get_backend() const noexcept { return backend::hostsycl; }
  std::vector<event> get_wait_list();
  void wait();
  static void wait(const std::vector<event>& events) {
    for (event e : events) e.wait();
  }
  // Waits, then hands the unconsumed asynchronous errors of the queues of this command and
  // of the commands it depended on (whatever queue ran them) to those queues' handlers.
  void wait_and_throw();
  static void wait_and_throw(const std::vector<event>& events) {
    wait(events);
    for (event e : events) e.wait_and_throw();
  }

  template <typename Param>
  typename Param::return_type get_info() const {
    if constexpr (std::is_same_v<Param, info::event::command_execution_status>)
      return status();
    else
      static_assert(sizeof(Param) == 0, "unsupported event info descriptor");
  }
  template <typename Param>
  typename Param::return_type get_profiling_info() const {
    detail::throw_error(errc::invalid, "the queue of this event has no profiling enabled");
  }

  friend bool operator==(const event& a, const event& b) noexcept { return a.cmd_ == b.cmd_; }
  friend bool operator!=(const event& a, const event& b) noexcept { return a.cmd_ != b.cmd_; }

 private:
  friend struct detail::event_access;
  explicit event(std::shared_ptr<detail::command> cmd) : cmd_(std::move(cmd)) {}
  info::event_command_status status() const;
  std::shared_ptr<detail::command> cmd_;
};

namespace detail {
struct event_access {
  static const std::shared_ptr<command>& cmd(const event& e) { return e.cmd_; }
  static event make(std::shared_ptr<command> cmd) { return event(std::move(cmd)); }
};
}  // namespace detail

}  // namespace sycl

template <>
struct std::hash<sycl::event> {
  std::size_t operator()(const sycl::event& e) const noexcept {
    return std::hash<const void*>()(sycl::detail::event_access::cmd(e).get());
  }
};
