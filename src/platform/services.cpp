// Service layer of the library: the platform calls every other part goes through.
#include "platform/services.hpp"

#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>

#include "platform/testing_hooks.hpp"

namespace {
#ifdef VRT_TESTING_SEAMS
std::atomic<std::size_t> g_failing_mallocs{0};
std::atomic<std::size_t> g_skipped_mallocs{0};  // calls that succeed before the failures
std::atomic<std::uint64_t> g_malloc_calls{0};
std::atomic<std::int64_t> g_live_mallocs{0};
std::atomic<orvane::vrt::testing::exit_hook> g_exit_hook{nullptr};

bool take_failure() {
  g_malloc_calls.fetch_add(1);
  if (g_failing_mallocs.load() == 0) return false;
  std::size_t skip = g_skipped_mallocs.load();
  while (skip > 0)
    if (g_skipped_mallocs.compare_exchange_weak(skip, skip - 1)) return false;
  std::size_t n = g_failing_mallocs.load();
  while (n > 0)
    if (g_failing_mallocs.compare_exchange_weak(n, n - 1)) return true;
  return false;
}
void count_live(std::int64_t change) { g_live_mallocs.fetch_add(change); }
#else
bool take_failure() { return false; }
void count_live(std::int64_t) {}
#endif

std::mutex& service_mutex() {
  static std::mutex m;
  return m;
}

void end_process(int status) {
  std::fflush(nullptr);
#ifdef VRT_TESTING_SEAMS
  if (auto hook = g_exit_hook.load()) {
    hook(status);
    return;
  }
#endif
  std::exit(status);
}
}  // namespace

#ifdef VRT_TESTING_SEAMS
namespace orvane::vrt::testing {
void fail_next_serv_mallocs(std::size_t count) { fail_serv_mallocs_after(0, count); }
void fail_serv_mallocs_after(std::size_t skip, std::size_t count) {
  g_skipped_mallocs = skip;
  g_failing_mallocs = count;
}
std::uint64_t serv_malloc_calls() { return g_malloc_calls.load(); }
std::int64_t live_serv_mallocs() { return g_live_mallocs.load(); }
void set_exit_hook(exit_hook hook) { g_exit_hook = hook; }
}  // namespace orvane::vrt::testing
#endif

extern "C" {

void* vrt_serv_malloc(std::size_t size, std::size_t alignment) {
  if (alignment < alignof(std::max_align_t)) alignment = alignof(std::max_align_t);
  if ((alignment & (alignment - 1)) != 0 || take_failure()) return nullptr;
  const std::size_t rounded = ((size == 0 ? 1 : size) + alignment - 1) / alignment * alignment;
  void* p = std::aligned_alloc(alignment, rounded);
  if (p != nullptr) count_live(1);
  return p;
}

void vrt_serv_free(void* ptr) {
  if (ptr != nullptr) count_live(-1);
  std::free(ptr);
}

int vrt_serv_print(int /*channel*/, int code, int nargs, ...) {
  va_list args;
  va_start(args, nargs);
  int written = 0;
  for (int i = 0; i < nargs; ++i) {
    const char* text = va_arg(args, const char*);
    if (text == nullptr) text = "";
    if (code == 3)
      written += std::fprintf(stderr, "%s'%s'", i == 0 ? "" : " ", text);
    else
      written += std::fprintf(stderr, "%s%s", i == 0 ? "" : " ", text);
  }
  va_end(args);
  written += std::fprintf(stderr, "\n");
  return written;
}

void vrt_serv_exit(int status) { end_process(status); }
void vrt_serv_iface_exit(int status) { end_process(status); }

int vrt_serv_getenv(char* buffer, int length, const char* name) {
  if (buffer == nullptr || length <= 0 || name == nullptr) return -1;
  const char* value = std::getenv(name);
  if (value == nullptr) {
    buffer[0] = '\0';
    return -1;
  }
  const std::size_t full = std::strlen(value);
  const std::size_t copied = full < static_cast<std::size_t>(length - 1) ? full : length - 1;
  std::memcpy(buffer, value, copied);
  buffer[copied] = '\0';
  return static_cast<int>(full);
}

void vrt_serv_lock(void) { service_mutex().lock(); }
void vrt_serv_unlock(void) { service_mutex().unlock(); }

int vrt_serv_strncpy_s(char* dest, std::size_t dest_size, const char* src, std::size_t count) {
  if (dest == nullptr || dest_size == 0) return 1;
  if (src == nullptr) {
    dest[0] = '\0';
    return 1;
  }
  const std::size_t n = strnlen(src, count);
  if (n >= dest_size) {
    dest[0] = '\0';
    return 1;
  }
  std::memcpy(dest, src, n);
  dest[n] = '\0';
  return 0;
}

int vrt_serv_strncat_s(char* dest, std::size_t dest_size, const char* src, std::size_t count) {
  if (dest == nullptr || dest_size == 0) return 1;
  const std::size_t have = strnlen(dest, dest_size);
  if (src == nullptr || have == dest_size) {
    dest[0] = '\0';
    return 1;
  }
  const std::size_t n = strnlen(src, count);
  if (have + n >= dest_size) {
    dest[0] = '\0';
    return 1;
  }
  std::memcpy(dest + have, src, n);
  dest[have + n] = '\0';
  return 0;
}

}  // extern "C"
