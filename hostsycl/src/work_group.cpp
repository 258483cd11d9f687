// Kernel execution: range kernels as chunked loops, nd_range work-groups as cooperative fibers.
#include <atomic>
#include <boost/context/fiber.hpp>
#include <boost/context/protected_fixedsize_stack.hpp>
#include <cstring>
#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "compute_pool.hpp"
#include "internal.hpp"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
#define HOSTSYCL_ASAN_FIBERS 1
#endif
#if defined(__SANITIZE_THREAD__)
#include <sanitizer/tsan_interface.h>
#define HOSTSYCL_TSAN_FIBERS 1
#endif

namespace bctx = boost::context;

namespace sycl::detail {

namespace {

std::size_t fiber_stack_size() {
  static const std::size_t size = [] {
    const char* v = std::getenv("HOSTSYCL_FIBER_STACK");
    const std::size_t requested = v != nullptr ? std::strtoull(v, nullptr, 10) : 0;
    return requested >= 16 * 1024 ? requested : std::size_t{256 * 1024};
  }();
  return size;
}

// Stacks are expensive to map: each thread keeps the ones its fibers released.
struct stack_cache {
  std::vector<bctx::stack_context> free;
  ~stack_cache() {
    bctx::protected_fixedsize_stack allocator(fiber_stack_size());
    for (auto& sc : free) allocator.deallocate(sc);
  }
};
thread_local stack_cache t_stacks;

// The stack handed out last on this thread, so a new work-item can learn its stack bounds.
thread_local bctx::stack_context t_last_stack;

struct pooled_stack {
  bctx::stack_context allocate() {
    if (!t_stacks.free.empty()) {
      t_last_stack = t_stacks.free.back();
      t_stacks.free.pop_back();
    } else {
      t_last_stack = bctx::protected_fixedsize_stack(fiber_stack_size()).allocate();
    }
    return t_last_stack;
  }
  void deallocate(bctx::stack_context& sc) noexcept { t_stacks.free.push_back(sc); }
};

// Thrown inside waiting work-items to unwind them when their work-group is abandoned.
struct group_abandoned {};

struct barrier_counter {
  std::size_t arrived = 0;
  std::uint64_t generation = 0;
  const void* operation = nullptr;
};

}  // namespace

class work_group_state {
 public:
  work_group_state(const nd_launch_desc& desc, unsigned char* local_memory)
      : desc_(desc),
        size_(desc.group_size),
        sub_size_(desc.sub_group_size),
        sub_barriers_((desc.group_size + desc.sub_group_size - 1) / desc.sub_group_size),
        inputs_(desc.group_size * collective_slot_bytes),
        outputs_(desc.group_size * collective_slot_bytes) {
    std::size_t offset = 0;
    for (const auto& slot : *desc.local_slots) {
      const std::size_t align = slot.alignment < 16 ? 16 : slot.alignment;
      offset = (offset + align - 1) / align * align;
      local_slots_.push_back(local_memory + offset);
      offset += slot.bytes;
    }
  }

  static std::size_t local_bytes_needed(const nd_launch_desc& desc) {
    std::size_t total = 0;
    for (const auto& slot : *desc.local_slots)
      total += slot.bytes + (slot.alignment < 16 ? 16 : slot.alignment);
    return total;
  }

  void* local_slot(std::size_t i) const { return local_slots_[i]; }

  // Runs every work-item of group `group_linear` to completion.
  void run(std::size_t group_linear);

  void collective(bool sub_group, const collective_call& call);
  void spin();

 private:
  struct item_fiber {
    bctx::fiber self;       // the work-item while it is suspended
    bctx::fiber scheduler;  // the scheduler while the work-item runs
    bool finished = false;
#if HOSTSYCL_ASAN_FIBERS
    void* fake_stack = nullptr;
    const void* stack_bottom = nullptr;
    std::size_t stack_size = 0;
#endif
#if HOSTSYCL_TSAN_FIBERS
    void* tsan_fiber = nullptr;
#endif
  };

  void start_item(std::size_t index);
  void resume_item(std::size_t index);
  void yield_to_scheduler();
  void record_error(std::exception_ptr e);
  [[noreturn]] void fail_divergence(const char* what);

  const nd_launch_desc& desc_;
  std::size_t size_;
  std::size_t sub_size_;
  std::size_t group_linear_ = 0;
  std::vector<item_fiber> items_;
  std::size_t current_ = 0;
  barrier_counter group_barrier_;
  std::vector<barrier_counter> sub_barriers_;
  std::vector<unsigned char> inputs_;
  std::vector<unsigned char> outputs_;
  std::vector<unsigned char*> local_slots_;
  bool progress_ = false;
  bool abandoned_ = false;
  std::size_t spin_count_ = 0;
  std::exception_ptr error_;
#if HOSTSYCL_ASAN_FIBERS
  const void* scheduler_bottom_ = nullptr;
  std::size_t scheduler_size_ = 0;
#endif
#if HOSTSYCL_TSAN_FIBERS
  void* scheduler_tsan_ = nullptr;
#endif

 public:
  std::exception_ptr error() const { return error_; }
  bool single_item() const { return size_ == 1; }
};

namespace {
thread_local work_group_state* t_group = nullptr;
thread_local bool t_in_item_fiber = false;
}  // namespace

void work_group_state::record_error(std::exception_ptr e) {
  if (!error_) error_ = std::move(e);
  abandoned_ = true;
}

void work_group_state::fail_divergence(const char* what) {
  throw sycl::exception(make_error_code(errc::kernel), std::string("work-items of work-group ") +
                                                           std::to_string(group_linear_) +
                                                           " diverged: " + what);
}

void work_group_state::yield_to_scheduler() {
  item_fiber& me = items_[current_];
#if HOSTSYCL_ASAN_FIBERS
  __sanitizer_start_switch_fiber(&me.fake_stack, scheduler_bottom_, scheduler_size_);
#endif
#if HOSTSYCL_TSAN_FIBERS
  __tsan_switch_to_fiber(scheduler_tsan_, 0);
#endif
  me.scheduler = std::move(me.scheduler).resume();
#if HOSTSYCL_ASAN_FIBERS
  __sanitizer_finish_switch_fiber(me.fake_stack, nullptr, nullptr);
#endif
}

void work_group_state::start_item(std::size_t index) {
  item_fiber& it = items_[index];
  it.finished = false;
#if HOSTSYCL_TSAN_FIBERS
  it.tsan_fiber = __tsan_create_fiber(0);
#endif
  it.self = bctx::fiber(std::allocator_arg, pooled_stack(), [this, index](bctx::fiber&& sched) {
    item_fiber& me = items_[index];
    me.scheduler = std::move(sched);
#if HOSTSYCL_ASAN_FIBERS
    __sanitizer_finish_switch_fiber(nullptr, &scheduler_bottom_, &scheduler_size_);
#endif
    try {
      desc_.run_item(desc_.context, group_linear_, index, this);
    } catch (const bctx::detail::forced_unwind&) {
      throw;
    } catch (const group_abandoned&) {
    } catch (...) {
      record_error(std::current_exception());
    }
    me.finished = true;
    progress_ = true;
#if HOSTSYCL_ASAN_FIBERS
    __sanitizer_start_switch_fiber(nullptr, scheduler_bottom_, scheduler_size_);
#endif
#if HOSTSYCL_TSAN_FIBERS
    __tsan_switch_to_fiber(scheduler_tsan_, 0);
#endif
    return std::move(me.scheduler);
  });
#if HOSTSYCL_ASAN_FIBERS
  it.stack_size = t_last_stack.size;
  it.stack_bottom = static_cast<char*>(t_last_stack.sp) - t_last_stack.size;
#endif
}

void work_group_state::resume_item(std::size_t index) {
  item_fiber& it = items_[index];
  current_ = index;
#if HOSTSYCL_ASAN_FIBERS
  void* fake = nullptr;
  __sanitizer_start_switch_fiber(&fake, it.stack_bottom, it.stack_size);
#endif
#if HOSTSYCL_TSAN_FIBERS
  __tsan_switch_to_fiber(it.tsan_fiber, 0);
#endif
  it.self = std::move(it.self).resume();
#if HOSTSYCL_ASAN_FIBERS
  __sanitizer_finish_switch_fiber(fake, nullptr, nullptr);
#endif
}

void work_group_state::run(std::size_t group_linear) {
  group_linear_ = group_linear;
  group_barrier_ = {};
  for (auto& b : sub_barriers_) b = {};
  abandoned_ = false;
  error_ = nullptr;
  work_group_state* outer = t_group;
  t_group = this;

  if (size_ == 1) {
    // A one-item group needs no fibers: its collectives complete on arrival.
    try {
      desc_.run_item(desc_.context, group_linear_, 0, this);
    } catch (...) {
      record_error(std::current_exception());
    }
    t_group = outer;
    return;
  }

#if HOSTSYCL_TSAN_FIBERS
  scheduler_tsan_ = __tsan_get_current_fiber();
#endif
  items_.resize(size_);
  for (std::size_t i = 0; i < size_; ++i) start_item(i);
  std::size_t unfinished = size_;
  const bool was_in_item = t_in_item_fiber;
  t_in_item_fiber = true;
  std::size_t idle_passes = 0;
  while (unfinished > 0) {
    progress_ = false;
    spin_count_ = 0;
    std::size_t resumed = 0;
    for (std::size_t i = 0; i < size_; ++i) {
      if (items_[i].finished) continue;
      resume_item(i);
      ++resumed;
      if (items_[i].finished) --unfinished;
    }
    if (abandoned_) {
      if (++idle_passes > 2) break;
      continue;
    }
    if (!progress_) {
      // Every remaining work-item waits at a barrier that can never complete.
      try {
        fail_divergence(
            "not all of them reached the same barrier or group function (some finished or "
            "wait elsewhere)");
      } catch (...) {
        record_error(std::current_exception());
      }
    } else if (spin_count_ >= resumed) {
      std::this_thread::yield();  // the whole group waits on another thread: let it run
    }
  }
  t_in_item_fiber = was_in_item;
  for (auto& it : items_) {
    it.self = bctx::fiber();  // unwinds work-items left suspended after an error
#if HOSTSYCL_TSAN_FIBERS
    __tsan_destroy_fiber(it.tsan_fiber);
    it.tsan_fiber = nullptr;
#endif
  }
  t_group = outer;
}

void work_group_state::collective(bool sub_group, const collective_call& call) {
  const std::size_t lid = size_ == 1 ? 0 : current_;
  std::size_t first = 0, members = size_;
  barrier_counter* barrier = &group_barrier_;
  if (sub_group) {
    const std::size_t sg = lid / sub_size_;
    first = sg * sub_size_;
    members = std::min(sub_size_, size_ - first);
    barrier = &sub_barriers_[sg];
  }
  std::memcpy(&inputs_[lid * collective_slot_bytes], call.in, call.in_bytes);
  if (barrier->arrived == 0) {
    barrier->operation = reinterpret_cast<const void*>(call.combine);
  } else if (barrier->operation != reinterpret_cast<const void*>(call.combine)) {
    fail_divergence("work-items of one group called different group functions at once");
  }
  progress_ = true;
  if (++barrier->arrived == members) {
    call.combine(call.context, &inputs_[first * collective_slot_bytes],
                 &outputs_[first * collective_slot_bytes], members, collective_slot_bytes);
    barrier->arrived = 0;
    ++barrier->generation;
  } else {
    const std::uint64_t generation = barrier->generation;
    while (barrier->generation == generation) {
      yield_to_scheduler();
      if (abandoned_) throw group_abandoned{};
    }
  }
  std::memcpy(call.out, &outputs_[lid * collective_slot_bytes], call.out_bytes);
}

void work_group_state::spin() {
  ++spin_count_;
  progress_ = true;  // a spinning work-item may wait on another group: no divergence verdict
  yield_to_scheduler();
}

void run_collective(work_group_state* state, bool sub_group, const collective_call& call) {
  state->collective(sub_group, call);
}

void* local_memory_slot(std::size_t slot) noexcept { return t_group->local_slot(slot); }

void spin_hint() noexcept {
  thread_local unsigned calls = 0;
  ++calls;
  if (t_group != nullptr && t_in_item_fiber && !t_group->single_item()) {
    if ((calls & 3) == 0) t_group->spin();
  } else if ((calls & 63) == 0) {
    std::this_thread::yield();
  }
}

// ---- nd_range and range launches ---------------------------------------------------------

namespace {

struct nd_job {
  const nd_launch_desc* desc;
  std::atomic<std::size_t> next_group{0};
  std::atomic<bool> failed{false};
  std::mutex error_mutex;
  std::exception_ptr error;

  void fail(std::exception_ptr e) {
    std::lock_guard lock(error_mutex);
    if (!error) error = std::move(e);
    failed = true;
  }
};

void nd_job_body(void* arg) {
  auto& job = *static_cast<nd_job*>(arg);
  const nd_launch_desc& desc = *job.desc;
  std::vector<unsigned char> local_memory(work_group_state::local_bytes_needed(desc) + 16);
  work_group_state state(desc, local_memory.data());
  // Groups start in ascending order, so a group waiting on an earlier one always finds it
  // started on some thread.
  for (;;) {
    const std::size_t g = job.next_group.fetch_add(1);
    if (g >= desc.group_count || job.failed) break;
    state.run(g);
    if (state.error()) {
      job.fail(state.error());
      break;
    }
  }
}

struct range_job {
  std::size_t total;
  std::size_t chunk;
  void (*run_chunk)(const void*, std::size_t, std::size_t);
  const void* context;
  std::atomic<std::size_t> next{0};
  std::atomic<bool> failed{false};
  std::mutex error_mutex;
  std::exception_ptr error;
};

void range_job_body(void* arg) {
  auto& job = *static_cast<range_job*>(arg);
  for (;;) {
    const std::size_t begin = job.next.fetch_add(job.chunk);
    if (begin >= job.total || job.failed) break;
    const std::size_t end = std::min(job.total, begin + job.chunk);
    try {
      job.run_chunk(job.context, begin, end);
    } catch (...) {
      std::lock_guard lock(job.error_mutex);
      if (!job.error) job.error = std::current_exception();
      job.failed = true;
    }
  }
}

void rethrow_kernel_error(std::exception_ptr e, const char* where) {
  try {
    std::rethrow_exception(e);
  } catch (...) {
    rethrow_as_kernel_error(where);
  }
}

}  // namespace

void run_nd_range(const nd_launch_desc& desc) {
  nd_job job;
  job.desc = &desc;
  run_on_pool(&nd_job_body, &job);
  if (job.error) rethrow_kernel_error(job.error, "parallel_for over an nd_range");
}

void run_range(std::size_t total, void (*chunk)(const void*, std::size_t, std::size_t),
               const void* context) {
  range_job job;
  job.total = total;
  job.chunk = std::max<std::size_t>(1024, total / (pool_width() * 16));
  job.run_chunk = chunk;
  job.context = context;
  if (total <= job.chunk) {
    range_job_body(&job);  // one chunk: no reason to wake the pool
  } else {
    run_on_pool(&range_job_body, &job);
  }
  if (job.error) rethrow_kernel_error(job.error, "parallel_for over a range");
}

}  // namespace sycl::detail
