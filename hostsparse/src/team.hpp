// The threads of one call: a share of a process-wide budget, and row ranges balanced by entries.
#pragma once

#include <algorithm>
#include <cstdint>
#include <type_traits>
#include <vector>

#if defined(_OPENMP)
#include <omp.h>
#endif

namespace vrt_host {

// Threads granted to one call for its lifetime. Calls running at the same time share
// omp_get_max_threads() (capped by VRT_HOST_SPARSE_THREADS); a call inside an active parallel
// region, or one that finds the budget spent, gets one thread: its own.
class team {
 public:
  explicit team(std::int64_t work);  // work: a rough count of operations, small work runs alone
  ~team();
  team(const team&) = delete;
  team& operator=(const team&) = delete;
  int size() const { return size_; }

 private:
  int size_ = 1;
  int taken_ = 0;
};

// The most threads any call may get (the budget itself).
int max_team();

// Runs body(thread, threads) on `threads` threads; body must not throw.
template <typename Body>
void run_team([[maybe_unused]] int threads, Body&& body) {
#if defined(_OPENMP)
  if (threads > 1) {
#pragma omp parallel num_threads(threads)
    body(omp_get_thread_num(), omp_get_num_threads());
    return;
  }
#endif
  body(0, 1);
}

// A barrier among the threads of run_team.
inline void team_barrier() {
#if defined(_OPENMP)
#pragma omp barrier
#endif
}

// Boundary p of `parts` row ranges that hold about the same number of entries plus rows:
// range t is [row_boundary(t), row_boundary(t + 1)). Each thread finds its own two boundaries.
// Needs begin[] non-decreasing; otherwise rows are split evenly.
template <typename I>
std::int64_t row_boundary(const I* begin, const I* end, std::int64_t rows, bool monotone, int p,
                          int parts) {
  if (p <= 0) return 0;
  if (p >= parts) return rows;
  if (rows == 0 || !monotone) return rows * p / parts;
  const std::int64_t first = begin[0];
  const std::int64_t total = static_cast<std::int64_t>(end[rows - 1]) - first + rows;
  const std::int64_t target = total * p / parts;
  // The first row r with (begin[r] - first) + r >= target.
  std::int64_t lo = 0, hi = rows;
  while (lo < hi) {
    const std::int64_t mid = lo + (hi - lo) / 2;
    if (static_cast<std::int64_t>(begin[mid]) - first + mid < target)
      lo = mid + 1;
    else
      hi = mid;
  }
  return lo;
}

// Runs fn(ctx, c) for every c in [0, chunks), claimed in order by the calling thread and by up
// to threads - 1 helper threads that join if they wake in time. The caller never waits for a
// helper that has not claimed a chunk: on a busy machine a late helper costs nothing, where a
// fork-join team would stall on it. fn must not throw.
void run_chunks_erased(int threads, std::int64_t chunks, void (*fn)(void*, std::int64_t),
                       void* ctx);

template <typename Body>
void run_chunks(int threads, std::int64_t chunks, Body&& body) {
  if (threads <= 1 || chunks <= 1) {
    for (std::int64_t c = 0; c < chunks; ++c) body(c);
    return;
  }
  using B = std::remove_reference_t<Body>;
  run_chunks_erased(
      threads, chunks, [](void* b, std::int64_t c) { (*static_cast<B*>(b))(c); },
      const_cast<void*>(static_cast<const void*>(&body)));
}

// Chunks for `work` units: enough that threads finishing at different times even out, few
// enough that claiming one costs nothing. It never depends on the team, so results do not
// either.
inline std::int64_t chunk_count(std::int64_t work) {
  return std::clamp<std::int64_t>(work / 16384, 1, 1024);
}

// Boundaries splitting n items evenly.
inline std::int64_t even_split(std::int64_t n, int t, int parts) { return n * t / parts; }

}  // namespace vrt_host
