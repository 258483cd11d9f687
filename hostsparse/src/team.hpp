// The threads of one call: a share of a process-wide budget, and row ranges balanced by entries.
#pragma once

#include <algorithm>
#include <cstdint>
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

// Boundaries splitting n items evenly.
inline std::int64_t even_split(std::int64_t n, int t, int parts) { return n * t / parts; }

}  // namespace vrt_host
