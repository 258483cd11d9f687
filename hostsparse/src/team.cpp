// The process-wide thread budget shared by concurrent calls, and the helper threads that take
// chunks of a call's work.
#include "team.hpp"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <mutex>
#include <thread>

namespace vrt_host {

namespace {
std::atomic<int> threads_in_use{0};

[[maybe_unused]] int cap_from_environment() {
  const char* cap = std::getenv("VRT_HOST_SPARSE_THREADS");
  if (cap == nullptr) return 0;
  const int limit = std::atoi(cap);
  return limit > 0 ? limit : 0;
}
}  // namespace

int max_team() {
#if defined(_OPENMP)
  static const int cap = cap_from_environment();
  const int threads = omp_get_max_threads();
  return std::max(1, cap > 0 ? std::min(threads, cap) : threads);
#else
  return 1;
#endif
}

team::team(std::int64_t work) {
#if defined(_OPENMP)
  // Below this a thread team costs more than it saves.
  constexpr std::int64_t least_work_per_thread = 20000;
  if (omp_in_parallel() || work < 2 * least_work_per_thread) return;
  const int wanted =
      static_cast<int>(std::min<std::int64_t>(max_team(), work / least_work_per_thread));
  const int budget = max_team();
  int used = threads_in_use.load(std::memory_order_relaxed);
  int grant = 1;
  do {
    grant = std::min(wanted, budget - used);
    if (grant < 2) return;
  } while (!threads_in_use.compare_exchange_weak(used, used + grant, std::memory_order_relaxed));
  size_ = grant;
  taken_ = grant;
#else
  (void)work;
#endif
}

team::~team() {
  if (taken_ > 0) threads_in_use.fetch_sub(taken_, std::memory_order_relaxed);
}

}  // namespace vrt_host

// Helper threads for run_chunks. One call at a time uses them (the one that takes `owner`);
// others run alone, as they would with the budget spent. A job is open while `epoch` is odd.
// A helper announces itself in `active`, then checks the epoch again, so the caller, which
// closes the epoch and waits for `active` to drain, never reuses a job a helper still reads.
namespace vrt_host {

namespace {

inline void relax() {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#endif
}

struct helper_pool {
  std::mutex owner;
  std::atomic<std::uint64_t> epoch{0};
  std::atomic<int> active{0}, seats{0}, sleepers{0};
  std::atomic<std::int64_t> next{0}, done{0};
  std::int64_t chunks = 0;
  void (*fn)(void*, std::int64_t) = nullptr;
  void* ctx = nullptr;
  int helpers = 0;

  // Waits for the epoch to leave `from`: spins a while (back-to-back calls find the helper
  // awake), then sleeps.
  void wait_change(std::uint64_t from) {
    const auto until = std::chrono::steady_clock::now() + std::chrono::microseconds(200);
    for (int spin = 1;; ++spin) {
      if (epoch.load(std::memory_order_acquire) != from) return;
      relax();
      if (spin % 256 == 0 && std::chrono::steady_clock::now() > until) break;
    }
    sleepers.fetch_add(1, std::memory_order_seq_cst);
    epoch.wait(from, std::memory_order_seq_cst);
    sleepers.fetch_sub(1, std::memory_order_relaxed);
  }

  void serve() {
    std::uint64_t seen = 0;
    for (;;) {
      const std::uint64_t e = epoch.load(std::memory_order_acquire);
      if ((e & 1) == 0 || e == seen) {
        wait_change(e);
        continue;
      }
      seen = e;
      active.fetch_add(1, std::memory_order_seq_cst);
      if (epoch.load(std::memory_order_seq_cst) == e &&
          seats.fetch_sub(1, std::memory_order_acq_rel) > 0) {
        for (;;) {
          const std::int64_t c = next.fetch_add(1, std::memory_order_relaxed);
          if (c >= chunks) break;
          fn(ctx, c);
          done.fetch_add(1, std::memory_order_release);
        }
      }
      active.fetch_sub(1, std::memory_order_seq_cst);
    }
  }
};

// Never destroyed: helpers sleep in it until the process ends.
helper_pool& pool_with(int helpers) {
  static helper_pool* pool = [helpers] {
    auto* p = new helper_pool;
    try {
      for (int h = 0; h < helpers; ++h) {
        std::thread(&helper_pool::serve, p).detach();
        p->helpers = h + 1;
      }
    } catch (...) {
      // Fewer helpers only means less help.
    }
    return p;
  }();
  return *pool;
}

}  // namespace

void run_chunks_erased(int threads, std::int64_t chunks, void (*fn)(void*, std::int64_t),
                       void* ctx) {
  helper_pool& p = pool_with(max_team() - 1);
  std::unique_lock<std::mutex> mine(p.owner, std::try_to_lock);
  if (!mine.owns_lock() || p.helpers == 0) {
    for (std::int64_t c = 0; c < chunks; ++c) fn(ctx, c);
    return;
  }
  p.fn = fn;
  p.ctx = ctx;
  p.chunks = chunks;
  p.next.store(0, std::memory_order_relaxed);
  p.done.store(0, std::memory_order_relaxed);
  p.seats.store(std::min(threads - 1, p.helpers), std::memory_order_relaxed);
  p.epoch.fetch_add(1, std::memory_order_seq_cst);  // open
  if (p.sleepers.load(std::memory_order_seq_cst) > 0) p.epoch.notify_all();
  std::int64_t own = 0;
  for (;;) {
    const std::int64_t c = p.next.fetch_add(1, std::memory_order_relaxed);
    if (c >= chunks) break;
    fn(ctx, c);
    ++own;
  }
  // Only chunks a helper claimed are left; it is running them.
  for (int spin = 1; own + p.done.load(std::memory_order_acquire) < chunks; ++spin) {
    relax();
    if (spin % 4096 == 0) std::this_thread::yield();
  }
  p.epoch.fetch_add(1, std::memory_order_seq_cst);  // closed
  for (int spin = 1; p.active.load(std::memory_order_seq_cst) != 0; ++spin) {
    relax();
    if (spin % 4096 == 0) std::this_thread::yield();
  }
}

}  // namespace vrt_host
