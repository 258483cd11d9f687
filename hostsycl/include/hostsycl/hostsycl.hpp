// The host runtime's own extensions: device profiles, check modes and fault injection.
// Not part of SYCL: code that must compile with any SYCL implementation does not include this.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <sycl/sycl.hpp>
#include <vector>

namespace hostsycl {

// The facts that make an emulated GPU: what the library reads from a device.
struct device_profile {
  std::string name;
  int architecture;
  std::uint32_t eu_count;
  std::uint32_t tile_count;
  std::vector<std::size_t> sub_group_sizes;
  std::size_t preferred_sub_group_size;
  std::size_t max_work_group_size;
  std::uint64_t local_mem_size;
  std::uint64_t global_mem_size;
  std::uint64_t max_mem_alloc_size;
  std::uint32_t cache_line_size;
  std::uint64_t cache_size;
  std::uint32_t mem_base_addr_align_bits;
  bool fp64;
};

// Every emulated GPU profile, in a fixed order.
const std::vector<device_profile>& gpu_profiles();

// The emulated GPU of a profile; throws sycl::exception(errc::invalid) for an unknown name.
sycl::device emulated_gpu(std::string_view profile_name);

// The profile of an emulated GPU, or nullptr for the CPU device.
const device_profile* profile_of(const sycl::device& device);

// Strict mode stops the process with a message on misuse a device cannot report: atomics on
// host USM, accessor indices out of range, USM ranges outside their allocation.
void set_strict_mode(bool enabled);
bool strict_mode();

// Stress mode delays and reorders independent ready commands at random from a seed.
void set_stress_mode(bool enabled, std::uint64_t seed = 0);
bool stress_mode();

// The next `count` USM or buffer-storage allocations fail.
void fail_next_allocations(std::size_t count);
// The `skip` allocations after this call succeed, the `count` after them fail.
void fail_allocations_after(std::size_t skip, std::size_t count);
// USM and buffer-storage allocations attempted since the start, failed ones included: the
// positions fail_allocations_after counts.
std::uint64_t allocation_attempts();

// Strict mode's check that [p, p + bytes) lies inside one live USM allocation; it stops the
// process with a message naming `operation` otherwise, and does nothing outside strict mode. The
// library's portability header checks sub-group block loads and stores with it.
inline void check_usm_range(const void* p, std::size_t bytes, const char* operation) {
  sycl::detail::check_usm_range(p, bytes, operation, false);
}

// Kernels submitted since the start (or the last reset) whose kernel-name type, as its mangled
// name, contains `fragment` (all kernels for an empty one); unnamed kernels count under the name
// of void. Tests use it to see which kernels a call chose.
std::uint64_t kernels_submitted(std::string_view fragment = {});
void reset_kernel_counts();

// Bytes of live device and shared USM allocations on a device.
std::uint64_t live_allocation_bytes(const sycl::device& device);
// Live USM allocations of every kind (host USM included) and live buffer storages, in number.
std::size_t live_allocations();

}  // namespace hostsycl
