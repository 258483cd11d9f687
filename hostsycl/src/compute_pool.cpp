// The compute pool: threads that join kernels to run their chunks or work-groups.
#include "compute_pool.hpp"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <list>
#include <mutex>
#include <thread>

namespace sycl::detail {

namespace {

struct job {
  void (*body)(void*);
  void* arg;
  std::size_t active = 0;  // threads inside body, under pool mutex
  bool closed = false;     // no more joiners
};

// Never destroyed: pool threads are detached and may still wait at exit.
struct pool {
  std::mutex mutex;
  std::condition_variable work_signal;
  std::condition_variable done_signal;
  std::list<job*> jobs;
  std::size_t threads = 0;
};

pool& the_pool() {
  static pool* p = new pool();
  return *p;
}

void pool_thread() {
  pool& p = the_pool();
  std::unique_lock lock(p.mutex);
  for (;;) {
    p.work_signal.wait(lock, [&] {
      return std::any_of(p.jobs.begin(), p.jobs.end(), [](job* j) { return !j->closed; });
    });
    job* j = *std::find_if(p.jobs.begin(), p.jobs.end(), [](job* x) { return !x->closed; });
    ++j->active;
    lock.unlock();
    j->body(j->arg);
    lock.lock();
    // Having returned, this thread found no more work in the job: close it to late joiners.
    j->closed = true;
    if (--j->active == 0) p.done_signal.notify_all();
  }
}

void ensure_threads(pool& p) {
  // The caller is one participant; the pool adds one thread per further core.
  const std::size_t wanted = std::max(1u, std::thread::hardware_concurrency()) - 1;
  while (p.threads < std::max<std::size_t>(wanted, 1)) {
    std::thread(pool_thread).detach();
    ++p.threads;
  }
}

}  // namespace

void run_on_pool(void (*body)(void*), void* arg) {
  pool& p = the_pool();
  job j{body, arg};
  {
    std::lock_guard lock(p.mutex);
    ensure_threads(p);
    p.jobs.push_back(&j);
  }
  p.work_signal.notify_all();
  body(arg);
  std::unique_lock lock(p.mutex);
  j.closed = true;
  p.done_signal.wait(lock, [&] { return j.active == 0; });
  p.jobs.remove(&j);
}

std::size_t pool_width() { return std::max<std::size_t>(2, std::thread::hardware_concurrency()); }

}  // namespace sycl::detail
