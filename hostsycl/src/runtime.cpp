// Devices and their profiles, contexts, exceptions and the check modes of the host runtime.
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <hostsycl/hostsycl.hpp>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "internal.hpp"

namespace sycl {

namespace {
class sycl_error_category : public std::error_category {
 public:
  const char* name() const noexcept override { return "sycl"; }
  std::string message(int code) const override {
    static const char* const names[] = {"success",
                                        "runtime",
                                        "kernel",
                                        "accessor",
                                        "nd_range",
                                        "event",
                                        "kernel_argument",
                                        "build",
                                        "invalid",
                                        "memory_allocation",
                                        "platform",
                                        "profiling",
                                        "feature_not_supported",
                                        "kernel_not_supported",
                                        "backend_mismatch"};
    return code >= 0 && code < 15 ? names[code] : "unknown";
  }
};
}  // namespace

const std::error_category& sycl_category() noexcept {
  static const sycl_error_category category;
  return category;
}

exception::exception(std::error_code ec, const std::string& what_arg)
    : code_(ec), message_(std::make_shared<std::string>(what_arg)) {}
exception::exception(context ctx, std::error_code ec, const std::string& what_arg)
    : exception(ec, what_arg) {
  context_ = std::make_shared<context>(std::move(ctx));
}
exception::exception(context ctx, std::error_code ec, const char* what_arg)
    : exception(std::move(ctx), ec, std::string(what_arg)) {}
exception::exception(context ctx, std::error_code ec) : exception(std::move(ctx), ec, "") {}
exception::exception(context ctx, int ev, const std::error_category& cat, const std::string& w)
    : exception(std::move(ctx), std::error_code(ev, cat), w) {}
exception::exception(context ctx, int ev, const std::error_category& cat, const char* w)
    : exception(std::move(ctx), std::error_code(ev, cat), std::string(w)) {}
exception::exception(context ctx, int ev, const std::error_category& cat)
    : exception(std::move(ctx), std::error_code(ev, cat), "") {}
context exception::get_context() const {
  if (!context_) detail::throw_error(errc::invalid, "the exception carries no context");
  return *context_;
}

namespace detail {

namespace {

constexpr std::uint64_t KiB = 1024, MiB = 1024 * KiB, GiB = 1024 * MiB;

hostsycl::device_profile make_profile(const char* name, int architecture, std::uint32_t eus,
                                      std::uint32_t tiles, bool wide_sub_groups_only,
                                      std::size_t max_wg, std::uint64_t local_mem,
                                      std::uint64_t cache, bool fp64) {
  hostsycl::device_profile p;
  p.name = name;
  p.architecture = architecture;
  p.eu_count = eus;
  p.tile_count = tiles;
  p.sub_group_sizes =
      wide_sub_groups_only ? std::vector<std::size_t>{16, 32} : std::vector<std::size_t>{8, 16, 32};
  p.preferred_sub_group_size = wide_sub_groups_only ? 32 : 16;
  p.max_work_group_size = max_wg;
  p.local_mem_size = local_mem;
  p.global_mem_size = 8 * GiB;
  p.max_mem_alloc_size = 4 * GiB;
  p.cache_line_size = 64;
  p.cache_size = cache;
  p.mem_base_addr_align_bits = 1024;
  p.fp64 = fp64;
  return p;
}

const std::vector<hostsycl::device_profile>& profiles() {
  static const std::vector<hostsycl::device_profile> list = {
      make_profile("emu-a0", 0, 32, 1, false, 512, 64 * KiB, 1 * MiB, true),
      make_profile("emu-a1", 1, 24, 1, false, 512, 64 * KiB, 512 * KiB, true),
      make_profile("emu-a2", 2, 96, 1, false, 512, 64 * KiB, 4 * MiB, true),
      make_profile("emu-a3", 3, 128, 1, false, 512, 64 * KiB, 8 * MiB, true),
      make_profile("emu-a4", 4, 96, 1, false, 512, 64 * KiB, 16 * MiB, true),
      make_profile("emu-a5", 5, 512, 1, false, 1024, 64 * KiB, 16 * MiB, true),
      make_profile("emu-a6", 6, 448, 2, true, 1024, 128 * KiB, 192 * MiB, true),
      make_profile("emu-a1-nofp64", 1, 24, 1, false, 512, 64 * KiB, 512 * KiB, false),
  };
  return list;
}

// A listed profile's facts with other sub-group sizes: a device whose only size is one that no
// kernel of the library demands, as an implementation that ignores the demand may report.
hostsycl::device_profile with_sub_group_sizes(hostsycl::device_profile p, const char* name,
                                              std::vector<std::size_t> sizes) {
  p.name = name;
  p.preferred_sub_group_size = sizes.front();
  p.sub_group_sizes = std::move(sizes);
  return p;
}

// Profiles reachable by name only, left out of gpu_profiles(): devices a test needs for a limit
// that no listed profile has.
const std::vector<hostsycl::device_profile>& named_only_profiles() {
  static const std::vector<hostsycl::device_profile> list = {
      make_profile("emu-a1-little-local", 1, 24, 1, false, 512, 2 * KiB, 512 * KiB, true),
      // The 16-wide plans of codes 3 to 5 and the 32-wide ones of code 6 meet sub-groups of 1.
      with_sub_group_sizes(profiles()[4], "emu-a4-narrow-sub-groups", {1}),
      with_sub_group_sizes(profiles()[6], "emu-a6-narrow-sub-groups", {1}),
  };
  return list;
}

std::vector<aspect> common_aspects() {
  return {aspect::atomic64,
          aspect::host_debuggable,
          aspect::usm_device_allocations,
          aspect::usm_host_allocations,
          aspect::usm_shared_allocations,
          aspect::usm_atomic_host_allocations,
          aspect::usm_atomic_shared_allocations};
}

device_impl make_gpu_impl(const hostsycl::device_profile& p) {
  device_impl d;
  d.type = info::device_type::gpu;
  d.name = "hostsycl emulated GPU " + p.name;
  d.profile_name = p.name;
  d.architecture = p.architecture;
  d.eu_count = p.eu_count;
  d.tile_count = p.tile_count;
  d.sub_group_sizes = p.sub_group_sizes;
  d.preferred_sub_group_size = p.preferred_sub_group_size;
  d.max_work_group_size = p.max_work_group_size;
  d.local_mem_size = p.local_mem_size;
  d.global_mem_size = p.global_mem_size;
  d.max_mem_alloc_size = p.max_mem_alloc_size;
  d.cache_line_size = p.cache_line_size;
  d.cache_size = p.cache_size;
  d.mem_base_addr_align_bits = p.mem_base_addr_align_bits;
  d.fp64 = p.fp64;
  d.aspects = common_aspects();
  d.aspects.push_back(aspect::gpu);
  d.aspects.push_back(aspect::emulated);
  if (p.fp64) d.aspects.push_back(aspect::fp64);
  return d;
}

// One record per profile, created once; a deque keeps their addresses stable.
const std::deque<device_impl>& gpu_impls() {
  static const std::deque<device_impl> impls = [] {
    std::deque<device_impl> d;
    for (const auto& p : profiles()) d.push_back(make_gpu_impl(p));
    for (const auto& p : named_only_profiles()) d.push_back(make_gpu_impl(p));
    return d;
  }();
  return impls;
}

const char* env(const char* name) { return std::getenv(name); }

}  // namespace

const device_impl& cpu_device_impl() {
  static const device_impl cpu = [] {
    device_impl d;
    d.type = info::device_type::cpu;
    d.name = "hostsycl CPU device";
    d.architecture = 0;
    d.eu_count = std::max(1u, std::thread::hardware_concurrency());
    d.tile_count = 1;
    d.sub_group_sizes = {8, 16, 32};
    d.preferred_sub_group_size = 16;
    d.max_work_group_size = 1024;
    d.local_mem_size = 256 * KiB;
    d.global_mem_size = 16 * GiB;
    d.max_mem_alloc_size = 8 * GiB;
    d.cache_line_size = 64;
    d.cache_size = 32 * MiB;
    d.mem_base_addr_align_bits = 1024;
    d.fp64 = true;
    d.aspects = common_aspects();
    d.aspects.push_back(aspect::cpu);
    d.aspects.push_back(aspect::fp64);
    d.aspects.push_back(aspect::usm_system_allocations);
    return d;
  }();
  return cpu;
}

const device_impl& selected_gpu_device_impl() {
  static const device_impl* selected = [] {
    const char* wanted = env("HOSTSYCL_GPU_PROFILE");
    const std::string name = (wanted != nullptr && *wanted != '\0') ? wanted : "emu-a3";
    for (const auto& d : gpu_impls())
      if (d.profile_name == name) return &d;
    std::fprintf(stderr, "hostsycl: unknown HOSTSYCL_GPU_PROFILE '%s', using emu-a3\n",
                 name.c_str());
    return &gpu_impls()[3];
  }();
  return *selected;
}

void throw_no_device() { throw_error(errc::runtime, "no device matches the selector"); }

// ---- contexts ----------------------------------------------------------------------------

struct context_impl {
  std::vector<device> devices;
  async_handler handler;
};

context default_context() {
  static const context ctx = context_access::make(
      std::make_shared<context_impl>(context_impl{device::get_devices(), async_handler()}));
  return ctx;
}

context default_context_for(const device& d) {
  if (context_has_device(default_context(), d)) return default_context();
  static std::mutex m;
  static std::vector<std::pair<const device_impl*, context>> per_device;
  std::lock_guard lock(m);
  for (const auto& [impl, ctx] : per_device)
    if (impl == device_access::impl(d)) return ctx;
  per_device.emplace_back(device_access::impl(d),
                          context_access::make(std::make_shared<context_impl>(
                              context_impl{std::vector<device>{d}, async_handler()})));
  return per_device.back().second;
}

bool context_has_device(const context& c, const device& d) {
  for (const auto& x : context_access::impl(c)->devices)
    if (x == d) return true;
  return false;
}

async_handler context_handler(const context& c) { return context_access::impl(c)->handler; }

// ---- modes -------------------------------------------------------------------------------

namespace {
std::atomic<bool> g_strict{[] {
  const char* v = std::getenv("HOSTSYCL_STRICT");
  return v != nullptr && *v != '\0' && *v != '0';
}()};
std::atomic<bool> g_stress{std::getenv("HOSTSYCL_STRESS") != nullptr};
std::atomic<std::uint64_t> g_stress_seed{[] {
  const char* v = std::getenv("HOSTSYCL_STRESS");
  return v != nullptr ? std::strtoull(v, nullptr, 10) : 0ull;
}()};
std::atomic<std::size_t> g_injected_failures{0};
std::atomic<std::size_t> g_injected_skips{0};  // allocations that succeed before the failures
std::atomic<std::uint64_t> g_allocation_attempts{0};
}  // namespace

bool strict_mode() noexcept { return g_strict.load(std::memory_order_relaxed); }
bool stress_enabled() { return g_stress.load(std::memory_order_relaxed); }
std::uint64_t stress_seed() { return g_stress_seed.load(std::memory_order_relaxed); }

void strict_violation(const char* rule, const char* detail) noexcept {
  std::fprintf(stderr, "hostsycl strict mode: %s: %s\n", rule, detail);
  std::fflush(stderr);
  std::abort();
}

void report_accessor_out_of_range(std::size_t index, std::size_t size) noexcept {
  char text[128];
  std::snprintf(text, sizeof text, "index %zu is outside an accessor range of %zu", index, size);
  strict_violation("accessor index out of range", text);
}

void check_atomic_target(const void* p) noexcept {
  if (usm_region_of(p) == usm_region_kind::host)
    strict_violation("atomic on host USM",
                     "a kernel made an atomic operation on host USM memory, which a device "
                     "cannot do");
}

std::uint64_t next_object_identity() noexcept {
  static std::atomic<std::uint64_t> next{1};
  return next.fetch_add(1, std::memory_order_relaxed);
}

namespace {
struct kernel_counts {
  std::mutex mutex;
  std::map<std::string, std::uint64_t> by_name;
};
kernel_counts& submitted_kernels() {
  static kernel_counts counts;
  return counts;
}
}  // namespace

void count_kernel_submission(const char* kernel_name) {
  kernel_counts& k = submitted_kernels();
  std::lock_guard<std::mutex> lock(k.mutex);
  ++k.by_name[kernel_name];
}

std::uint64_t count_kernels_named(std::string_view fragment) {
  kernel_counts& k = submitted_kernels();
  std::lock_guard<std::mutex> lock(k.mutex);
  std::uint64_t total = 0;
  for (const auto& [name, count] : k.by_name)
    if (name.find(fragment) != std::string::npos) total += count;
  return total;
}

void reset_kernel_counts() {
  kernel_counts& k = submitted_kernels();
  std::lock_guard<std::mutex> lock(k.mutex);
  k.by_name.clear();
}

bool take_injected_failure() {
  g_allocation_attempts.fetch_add(1, std::memory_order_relaxed);
  if (g_injected_failures.load() == 0) return false;
  std::size_t skip = g_injected_skips.load();
  while (skip > 0) {
    if (g_injected_skips.compare_exchange_weak(skip, skip - 1)) return false;
  }
  std::size_t n = g_injected_failures.load();
  while (n > 0) {
    if (g_injected_failures.compare_exchange_weak(n, n - 1)) return true;
  }
  return false;
}

std::uint64_t largest_max_alloc_size() {
  std::uint64_t m = cpu_device_impl().max_mem_alloc_size;
  for (const auto& d : gpu_impls()) m = std::max(m, d.max_mem_alloc_size);
  return m;
}

[[noreturn]] void rethrow_as_kernel_error(const char* where) {
  try {
    throw;
  } catch (const sycl::exception&) {
    throw;
  } catch (const std::exception& e) {
    throw_error(errc::kernel,
                std::string("exception thrown inside a kernel (") + where + "): " + e.what());
  } catch (...) {
    throw_error(errc::kernel, std::string("exception thrown inside a kernel (") + where + ")");
  }
}

}  // namespace detail

// ---- device, context ---------------------------------------------------------------------

device::device() : device(default_selector_v) {}

std::vector<device> device::get_devices(info::device_type type) {
  std::vector<device> all = {detail::device_access::make(&detail::cpu_device_impl()),
                             detail::device_access::make(&detail::selected_gpu_device_impl())};
  if (type == info::device_type::all) return all;
  std::vector<device> out;
  for (const auto& d : all)
    if (d.get_info<info::device::device_type>() == type) out.push_back(d);
  return out;
}

context::context(const property_list& p) : context(device(default_selector_v), p) {}
context::context(async_handler h, const property_list& p)
    : context(device(default_selector_v), std::move(h), p) {}
context::context(const device& d, const property_list& p) : context(std::vector<device>{d}, p) {}
context::context(const device& d, async_handler h, const property_list& p)
    : context(std::vector<device>{d}, std::move(h), p) {}
context::context(const platform& plt, const property_list& p) : context(plt.get_devices(), p) {}
context::context(const platform& plt, async_handler h, const property_list& p)
    : context(plt.get_devices(), std::move(h), p) {}
context::context(const std::vector<device>& devices, const property_list& p)
    : context(devices, async_handler(), p) {}
context::context(const std::vector<device>& devices, async_handler h, const property_list&)
    : impl_(std::make_shared<detail::context_impl>(detail::context_impl{devices, std::move(h)})) {
  if (devices.empty()) detail::throw_error(errc::invalid, "a context needs at least one device");
}
std::vector<device> context::get_devices() const { return impl_->devices; }

}  // namespace sycl

namespace hostsycl {

const std::vector<device_profile>& gpu_profiles() { return sycl::detail::profiles(); }

sycl::device emulated_gpu(std::string_view name) {
  for (const auto& d : sycl::detail::gpu_impls())
    if (d.profile_name == name) return sycl::detail::device_access::make(&d);
  sycl::detail::throw_error(sycl::errc::invalid,
                            "unknown emulated GPU profile '" + std::string(name) + "'");
}

const device_profile* profile_of(const sycl::device& device) {
  const auto* impl = sycl::detail::device_access::impl(device);
  for (const auto& p : gpu_profiles())
    if (p.name == impl->profile_name) return &p;
  for (const auto& p : sycl::detail::named_only_profiles())
    if (p.name == impl->profile_name) return &p;
  return nullptr;
}

void set_strict_mode(bool enabled) { sycl::detail::g_strict = enabled; }
bool strict_mode() { return sycl::detail::strict_mode(); }
void set_stress_mode(bool enabled, std::uint64_t seed) {
  sycl::detail::g_stress_seed = seed;
  sycl::detail::g_stress = enabled;
}
bool stress_mode() { return sycl::detail::stress_enabled(); }
std::uint64_t kernels_submitted(std::string_view fragment) {
  return sycl::detail::count_kernels_named(fragment);
}
void reset_kernel_counts() { sycl::detail::reset_kernel_counts(); }
void fail_next_allocations(std::size_t count) { fail_allocations_after(0, count); }
void fail_allocations_after(std::size_t skip, std::size_t count) {
  sycl::detail::g_injected_skips = skip;
  sycl::detail::g_injected_failures = count;
}
std::uint64_t allocation_attempts() { return sycl::detail::g_allocation_attempts.load(); }

}  // namespace hostsycl
