// Information descriptors of platforms, devices, queues and events, and device aspects.
#pragma once

#include <cstdint>
#include <string>
#include <sycl/detail/defines.hpp>
#include <sycl/detail/index.hpp>
#include <vector>

namespace sycl {

class context;
class device;
class platform;

enum class aspect : int {
  cpu,
  gpu,
  accelerator,
  custom,
  emulated,
  host_debuggable,
  fp16,
  fp64,
  atomic64,
  image,
  online_compiler,
  online_linker,
  queue_profiling,
  usm_device_allocations,
  usm_host_allocations,
  usm_atomic_host_allocations,
  usm_shared_allocations,
  usm_atomic_shared_allocations,
  usm_system_allocations
};

namespace info {

enum class device_type : int { cpu, gpu, accelerator, custom, automatic, host, all };
enum class local_mem_type : int { none, local, global };
enum class global_mem_cache_type : int { none, read_only, read_write };
enum class event_command_status : int { submitted, running, complete };
enum class partition_property : int {
  no_partition,
  partition_equally,
  partition_by_counts,
  partition_by_affinity_domain
};
enum class partition_affinity_domain : int {
  not_applicable,
  numa,
  L4_cache,
  L3_cache,
  L2_cache,
  L1_cache,
  next_partitionable
};

namespace platform {
struct version {
  using return_type = std::string;
};
struct name {
  using return_type = std::string;
};
struct vendor {
  using return_type = std::string;
};
}  // namespace platform

namespace device {
struct device_type {
  using return_type = info::device_type;
};
struct name {
  using return_type = std::string;
};
struct vendor {
  using return_type = std::string;
};
struct driver_version {
  using return_type = std::string;
};
struct version {
  using return_type = std::string;
};
struct vendor_id {
  using return_type = std::uint32_t;
};
struct max_compute_units {
  using return_type = std::uint32_t;
};
struct max_work_item_dimensions {
  using return_type = std::uint32_t;
};
template <int Dimensions = 3>
struct max_work_item_sizes {
  using return_type = sycl::range<Dimensions>;
};
struct max_work_group_size {
  using return_type = std::size_t;
};
struct max_num_sub_groups {
  using return_type = std::uint32_t;
};
struct sub_group_sizes {
  using return_type = std::vector<std::size_t>;
};
struct max_mem_alloc_size {
  using return_type = std::uint64_t;
};
struct mem_base_addr_align {
  using return_type = std::uint32_t;
};
struct global_mem_cache_type {
  using return_type = info::global_mem_cache_type;
};
struct global_mem_cache_line_size {
  using return_type = std::uint32_t;
};
struct global_mem_cache_size {
  using return_type = std::uint64_t;
};
struct global_mem_size {
  using return_type = std::uint64_t;
};
struct local_mem_type {
  using return_type = info::local_mem_type;
};
struct local_mem_size {
  using return_type = std::uint64_t;
};
struct address_bits {
  using return_type = std::uint32_t;
};
struct max_clock_frequency {
  using return_type = std::uint32_t;
};
struct atomic_memory_order_capabilities {
  using return_type = std::vector<memory_order>;
};
struct atomic_fence_order_capabilities {
  using return_type = std::vector<memory_order>;
};
struct atomic_memory_scope_capabilities {
  using return_type = std::vector<memory_scope>;
};
struct atomic_fence_scope_capabilities {
  using return_type = std::vector<memory_scope>;
};
struct is_available {
  using return_type = bool;
};
struct is_compiler_available {
  using return_type = bool;
};
struct is_linker_available {
  using return_type = bool;
};
struct aspects {
  using return_type = std::vector<sycl::aspect>;
};
struct platform {
  using return_type = sycl::platform;
};
struct partition_max_sub_devices {
  using return_type = std::uint32_t;
};
struct partition_properties {
  using return_type = std::vector<info::partition_property>;
};
struct partition_affinity_domains {
  using return_type = std::vector<info::partition_affinity_domain>;
};
struct partition_type_property {
  using return_type = info::partition_property;
};
struct partition_type_affinity_domain {
  using return_type = info::partition_affinity_domain;
};
struct parent_device {
  using return_type = sycl::device;
};
}  // namespace device

namespace queue {
struct context {
  using return_type = sycl::context;
};
struct device {
  using return_type = sycl::device;
};
}  // namespace queue

namespace event {
struct command_execution_status {
  using return_type = info::event_command_status;
};
}  // namespace event

namespace context {
struct platform {
  using return_type = sycl::platform;
};
struct devices {
  using return_type = std::vector<sycl::device>;
};
struct atomic_memory_order_capabilities {
  using return_type = std::vector<memory_order>;
};
struct atomic_fence_order_capabilities {
  using return_type = std::vector<memory_order>;
};
struct atomic_memory_scope_capabilities {
  using return_type = std::vector<memory_scope>;
};
struct atomic_fence_scope_capabilities {
  using return_type = std::vector<memory_scope>;
};
}  // namespace context

}  // namespace info

namespace info::event_profiling {
struct command_submit {
  using return_type = std::uint64_t;
};
struct command_start {
  using return_type = std::uint64_t;
};
struct command_end {
  using return_type = std::uint64_t;
};
}  // namespace info::event_profiling

}  // namespace sycl
