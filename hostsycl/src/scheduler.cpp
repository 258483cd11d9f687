// The command graph: queues, events, dependencies and the worker threads that run commands.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <deque>
#include <hostsycl/hostsycl.hpp>
#include <random>
#include <thread>

#include "internal.hpp"

namespace sycl::detail {

async_handler context_handler(const context& c);

// ---- graph and workers -------------------------------------------------------------------

namespace {

// Heap objects that are never destroyed: detached workers may still wait on them at exit.
struct graph_globals {
  std::mutex mutex;
  std::condition_variable completed;
  std::condition_variable ready_signal;
  std::deque<std::shared_ptr<command>> ready;
  std::size_t workers = 0;
  std::size_t idle_workers = 0;
  std::mt19937_64 stress_rng;
  bool stress_rng_seeded = false;
};
graph_globals& globals() {
  static graph_globals* g = new graph_globals();
  return *g;
}

// More workers than any sane number of simultaneously blocked host tasks.
constexpr std::size_t max_workers = 256;

void run_command(const std::shared_ptr<command>& cmd);

std::shared_ptr<command> take_ready_locked(graph_globals& g) {
  std::size_t index = 0;
  if (stress_enabled() && g.ready.size() > 1) {
    if (!g.stress_rng_seeded) {
      g.stress_rng.seed(stress_seed());
      g.stress_rng_seeded = true;
    }
    index = static_cast<std::size_t>(g.stress_rng() % g.ready.size());
  }
  auto cmd = g.ready[index];
  g.ready.erase(g.ready.begin() + static_cast<std::ptrdiff_t>(index));
  return cmd;
}

void worker_loop(std::uint64_t worker_index) {
  graph_globals& g = globals();
  std::mt19937_64 delay_rng(stress_seed() * 7919 + worker_index);
  std::unique_lock lock(g.mutex);
  for (;;) {
    ++g.idle_workers;
    g.ready_signal.wait(lock, [&] { return !g.ready.empty(); });
    --g.idle_workers;
    std::shared_ptr<command> cmd = take_ready_locked(g);
    lock.unlock();
    if (stress_enabled()) {
      // Independent commands overtake each other when their start is delayed at random.
      std::this_thread::sleep_for(std::chrono::microseconds(delay_rng() % 200));
    }
    run_command(cmd);
    cmd.reset();
    lock.lock();
  }
}

void push_ready_locked(const std::shared_ptr<command>& cmd) {
  graph_globals& g = globals();
  g.ready.push_back(cmd);
  // A worker blocked inside a host task must not hold up ready commands: grow the pool.
  if (g.idle_workers < g.ready.size() && g.workers < max_workers) {
    std::thread(worker_loop, g.workers).detach();
    ++g.workers;
  }
  g.ready_signal.notify_one();
}

}  // namespace

std::mutex& graph_mutex() { return globals().mutex; }
std::condition_variable& graph_completed() { return globals().completed; }

namespace {
void add_error_queue_locked(command& cmd, const std::weak_ptr<queue_impl>& q) {
  if (q.expired()) return;
  for (const auto& known : cmd.error_queues)
    if (!known.owner_before(q) && !q.owner_before(known)) return;
  cmd.error_queues.push_back(q);
}
}  // namespace

void add_dependency_locked(const std::shared_ptr<command>& cmd,
                           const std::shared_ptr<command>& dep) {
  if (!dep || dep == cmd) return;
  for (const auto& q : dep->error_queues) add_error_queue_locked(*cmd, q);
  cmd->dependencies.push_back(dep);
  if (dep->status != info::event_command_status::complete) {
    dep->dependents.push_back(cmd);
    ++cmd->pending;
  }
}

void schedule_locked(const std::shared_ptr<command>& cmd) {
  if (cmd->pending == 0) push_ready_locked(cmd);
}

void complete_command(const std::shared_ptr<command>& cmd) {
  // Captures of the work die outside the lock: their destructors may take it.
  std::function<void()> work = std::move(cmd->work);
  std::shared_ptr<queue_impl> queue = std::move(cmd->queue);
  work = nullptr;
  {
    std::lock_guard lock(graph_mutex());
    cmd->status = info::event_command_status::complete;
    for (auto& d : cmd->dependents)
      if (--d->pending == 0 && !d->is_host_access) push_ready_locked(d);
    cmd->dependents.clear();
    // Completed commands keep no history: a long chain must not keep every event alive.
    cmd->dependencies.clear();
  }
  graph_completed().notify_all();
}

void wait_command(const std::shared_ptr<command>& cmd) {
  if (!cmd) return;
  std::unique_lock lock(graph_mutex());
  graph_completed().wait(lock, [&] { return cmd->status == info::event_command_status::complete; });
}

namespace {
void run_command(const std::shared_ptr<command>& cmd) {
  {
    std::lock_guard lock(graph_mutex());
    cmd->status = info::event_command_status::running;
  }
  try {
    if (cmd->work) cmd->work();
  } catch (...) {
    report_async_error(cmd->queue, std::current_exception());
  }
  complete_command(cmd);
}
}  // namespace

// ---- queues ------------------------------------------------------------------------------

struct queue_impl {
  const device_impl* device;
  context ctx;
  async_handler handler;
  bool in_order;
  std::shared_ptr<command> last;                     // under graph_mutex
  std::vector<std::shared_ptr<command>> unfinished;  // under graph_mutex
  std::mutex errors_mutex;
  std::vector<std::exception_ptr> errors;

  ~queue_impl() {
    if (!errors.empty()) deliver(std::move(errors));
  }

  void deliver(std::vector<std::exception_ptr> list) const {
    if (list.empty()) return;
    async_handler h = handler ? handler : context_handler(ctx);
    if (h) {
      h(exception_list(std::move(list)));
      return;
    }
    for (const auto& e : list) {
      try {
        std::rethrow_exception(e);
      } catch (const std::exception& x) {
        std::fprintf(stderr, "hostsycl: unhandled asynchronous error: %s\n", x.what());
      } catch (...) {
        std::fprintf(stderr, "hostsycl: unhandled asynchronous error\n");
      }
    }
    std::terminate();
  }
};

void report_async_error(const std::shared_ptr<queue_impl>& q, std::exception_ptr error) {
  if (!q) return;
  std::lock_guard lock(q->errors_mutex);
  q->errors.push_back(std::move(error));
}

std::shared_ptr<queue_impl> make_queue_impl(const context& ctx, const device& dev,
                                            const async_handler& handler,
                                            const property_list& props) {
  if (!context_has_device(ctx, dev))
    throw_error(errc::invalid, "the device of a queue must belong to its context");
  if (props.has_property<property::queue::enable_profiling>() && !dev.has(aspect::queue_profiling))
    throw_error(errc::feature_not_supported, "the device does not support queue profiling");
  auto q = std::make_shared<queue_impl>();
  q->device = device_access::impl(dev);
  q->ctx = ctx;
  q->handler = handler;
  q->in_order = props.has_property<property::queue::in_order>();
  return q;
}

const device_impl* queue_device(const queue_impl& q) { return q.device; }
context queue_context(const queue_impl& q) { return q.ctx; }
bool queue_in_order(const queue_impl& q) { return q.in_order; }

void queue_wait(const std::shared_ptr<queue_impl>& q) {
  std::vector<std::shared_ptr<command>> pending;
  {
    std::lock_guard lock(graph_mutex());
    pending = q->unfinished;
  }
  for (const auto& c : pending) wait_command(c);
}

void queue_throw_asynchronous(const std::shared_ptr<queue_impl>& q) {
  std::vector<std::exception_ptr> list;
  {
    std::lock_guard lock(q->errors_mutex);
    list.swap(q->errors);
  }
  q->deliver(std::move(list));
}

// ---- handler -----------------------------------------------------------------------------

struct handler_access {
  static std::vector<requirement>& requirements(handler& h) { return h.requirements_; }
  static std::vector<event>& deps(handler& h) { return h.deps_; }
  static std::function<void()>& work(handler& h) { return h.work_; }
};

void handler_require(handler& cgh, const std::shared_ptr<buffer_state>& state, access_mode mode) {
  // Several accessors to one buffer in a group make one requirement with the union of modes.
  for (auto& r : handler_access::requirements(cgh)) {
    if (r.state == state) {
      if (r.mode != mode) r.mode = access_mode::read_write;
      return;
    }
  }
  handler_access::requirements(cgh).push_back({state, mode});
}

struct buffer_state : std::enable_shared_from_this<buffer_state> {
  unsigned char* data = nullptr;
  std::size_t bytes = 0;
  std::function<void(const unsigned char*, std::size_t)> sink;
  bool write_back = true;
  std::mutex* host_mutex = nullptr;               // property::buffer::use_mutex
  std::shared_ptr<command> last_writer;           // under graph_mutex
  std::vector<std::shared_ptr<command>> readers;  // under graph_mutex

  ~buffer_state() {
    std::vector<std::shared_ptr<command>> users;
    {
      std::lock_guard lock(graph_mutex());
      users = readers;
      if (last_writer) users.push_back(last_writer);
    }
    for (const auto& c : users) wait_command(c);
    write_buffer_back(*this);
    unregister_runtime_memory(data);
    ::operator delete[](data, std::align_val_t{64});
  }
};

namespace {
// Held while the runtime reads or writes the application's memory of a buffer.
std::unique_lock<std::mutex> host_memory_lock(const buffer_state& state) {
  return state.host_mutex != nullptr ? std::unique_lock(*state.host_mutex)
                                     : std::unique_lock<std::mutex>();
}
}  // namespace

void handler_require_placeholder(handler& cgh, buffer_state* state, access_mode mode) {
  handler_require(cgh, state->shared_from_this(), mode);
}

event submit_command(const std::shared_ptr<queue_impl>& q, handler& cgh) {
  auto cmd = std::make_shared<command>();
  cmd->work = std::move(handler_access::work(cgh));
  cmd->queue = q;
  std::lock_guard lock(graph_mutex());
  cmd->error_queues.push_back(q);
  for (const auto& e : handler_access::deps(cgh)) add_dependency_locked(cmd, event_access::cmd(e));
  if (q->in_order) add_dependency_locked(cmd, q->last);
  for (const auto& r : handler_access::requirements(cgh))
    add_buffer_requirement_locked(*r.state, cmd, r.mode);
  q->last = cmd;
  std::erase_if(q->unfinished, [](const std::shared_ptr<command>& c) {
    return c->status == info::event_command_status::complete;
  });
  q->unfinished.push_back(cmd);
  schedule_locked(cmd);
  return event_access::make(cmd);
}

// ---- buffers -----------------------------------------------------------------------------

void add_buffer_requirement_locked(buffer_state& state, const std::shared_ptr<command>& cmd,
                                   access_mode mode) {
  add_dependency_locked(cmd, state.last_writer);  // read after write, write after write
  if (mode == access_mode::read) {
    std::erase_if(state.readers, [](const std::shared_ptr<command>& c) {
      return c->status == info::event_command_status::complete;
    });
    state.readers.push_back(cmd);
    return;
  }
  for (const auto& r : state.readers) add_dependency_locked(cmd, r);  // write after read
  state.readers.clear();
  state.last_writer = cmd;
}

std::shared_ptr<buffer_state> make_buffer_state(std::size_t bytes, const void* initial,
                                                std::mutex* host_mutex) {
  if (take_injected_failure() || bytes > largest_max_alloc_size())
    throw_error(errc::memory_allocation,
                "cannot allocate " + std::to_string(bytes) + " bytes for a buffer");
  auto state = std::make_shared<buffer_state>();
  state->bytes = bytes;
  state->data =
      static_cast<unsigned char*>(::operator new[](bytes == 0 ? 1 : bytes, std::align_val_t{64}));
  register_runtime_memory(state->data, bytes == 0 ? 1 : bytes);
  state->host_mutex = host_mutex;
  if (initial != nullptr && bytes != 0) {
    std::unique_lock lock = host_memory_lock(*state);
    std::memcpy(state->data, initial, bytes);
  }
  return state;
}

unsigned char* buffer_data(const buffer_state& state) noexcept { return state.data; }
void set_buffer_write_back(buffer_state& state,
                           std::function<void(const unsigned char*, std::size_t)> sink) {
  state.sink = std::move(sink);
}
void enable_buffer_write_back(buffer_state& state, bool enabled) { state.write_back = enabled; }
void write_buffer_back(buffer_state& state) {
  if (!state.sink || !state.write_back || state.bytes == 0) return;
  std::unique_lock lock = host_memory_lock(state);
  state.sink(state.data, state.bytes);
}
void note_buffer_write(buffer_state&) {}
std::uint32_t buffer_base_alignment_bits() { return cpu_device_impl().mem_base_addr_align_bits; }

struct host_access_token {
  std::shared_ptr<buffer_state> state;
  std::shared_ptr<command> cmd;
  ~host_access_token() { complete_command(cmd); }
};

std::shared_ptr<host_access_token> acquire_host_access(const std::shared_ptr<buffer_state>& state,
                                                       access_mode mode) {
  auto token = std::make_shared<host_access_token>();
  token->state = state;
  token->cmd = std::make_shared<command>();
  token->cmd->is_host_access = true;
  std::unique_lock lock(graph_mutex());
  add_buffer_requirement_locked(*state, token->cmd, mode);
  token->cmd->status = info::event_command_status::running;
  graph_completed().wait(lock, [&] { return token->cmd->pending == 0; });
  return token;
}

}  // namespace sycl::detail

namespace sycl {

void handler::check_nd_range(bool empty, bool divisible_range, std::size_t local_size) const {
  if (empty) return;
  if (!divisible_range)
    detail::throw_error(errc::nd_range, "the global range is not a multiple of the local range");
  if (local_size > device_->max_work_group_size)
    detail::throw_error(errc::nd_range, "the work-group size " + std::to_string(local_size) +
                                            " exceeds the device's maximum of " +
                                            std::to_string(device_->max_work_group_size));
  std::size_t local_bytes = 0;
  for (const auto& s : local_slots_) local_bytes += s.bytes + s.alignment;
  if (local_bytes > device_->local_mem_size)
    detail::throw_error(errc::memory_allocation, "the kernel's local memory exceeds the device's");
}

std::size_t handler::checked_sub_group_size(std::size_t required) const {
  if (required == 0) return device_->preferred_sub_group_size;
  const auto& sizes = device_->sub_group_sizes;
  if (std::find(sizes.begin(), sizes.end(), required) == sizes.end())
    detail::throw_error(errc::kernel_not_supported,
                        "the kernel requires sub-group size " + std::to_string(required) +
                            ", which device '" + device_->name + "' does not support");
  return required;
}

void handler::check_no_local_memory(const char* form) const {
  if (!local_slots_.empty())
    detail::throw_error(errc::kernel_argument,
                        std::string("a local accessor cannot be used with ") + form);
}

void handler::set_command(detail::command_kind kind, std::function<void()> work) {
  if (kind_ != detail::command_kind::none)
    detail::throw_error(errc::invalid, "a command group can submit only one command");
  kind_ = kind;
  work_ = std::move(work);
}

std::vector<event> event::get_wait_list() {
  std::vector<event> out;
  if (!cmd_) return out;
  std::lock_guard lock(detail::graph_mutex());
  for (const auto& d : cmd_->dependencies) out.push_back(detail::event_access::make(d));
  return out;
}

event::event() : cmd_(std::make_shared<detail::command>()) {
  cmd_->status = info::event_command_status::complete;
}

void event::wait() { detail::wait_command(cmd_); }

void event::wait_and_throw() {
  if (!cmd_) return;
  detail::wait_command(cmd_);
  std::vector<std::weak_ptr<detail::queue_impl>> queues;
  {
    std::lock_guard lock(detail::graph_mutex());
    queues = cmd_->error_queues;
  }
  for (const auto& weak : queues)
    if (auto q = weak.lock()) detail::queue_throw_asynchronous(q);
}

info::event_command_status event::status() const {
  if (!cmd_) return info::event_command_status::complete;
  std::lock_guard lock(detail::graph_mutex());
  return cmd_->status;
}

}  // namespace sycl
