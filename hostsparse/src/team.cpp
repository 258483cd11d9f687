// The process-wide thread budget shared by concurrent calls.
#include "team.hpp"

#include <atomic>
#include <cstdlib>

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
  const int wanted = static_cast<int>(
      std::min<std::int64_t>(max_team(), work / least_work_per_thread));
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
