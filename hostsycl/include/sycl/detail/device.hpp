// platform, device and the device selectors.
#pragma once

#include <algorithm>
#include <functional>
#include <string>
#include <sycl/detail/exception.hpp>
#include <sycl/detail/info.hpp>
#include <vector>

namespace sycl {

namespace detail {

// Facts of one device, fixed when the runtime starts. The CPU device and every emulated GPU
// profile have one record each, alive for the whole process.
struct device_impl {
  info::device_type type;
  std::string name;
  std::string profile_name;  // empty for the CPU device
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
  std::vector<aspect> aspects;
};

struct device_access;
struct platform_impl;
}  // namespace detail

class device {
 public:
  device();
  template <typename DeviceSelector>
  requires std::is_invocable_r_v<int, const DeviceSelector&, const device&>
  explicit device(const DeviceSelector& selector);

  backend get_backend() const noexcept { return backend::hostsycl; }
  bool is_cpu() const { return impl_->type == info::device_type::cpu; }
  bool is_gpu() const { return impl_->type == info::device_type::gpu; }
  bool is_accelerator() const { return false; }
  platform get_platform() const;
  bool has(aspect a) const {
    return std::find(impl_->aspects.begin(), impl_->aspects.end(), a) != impl_->aspects.end();
  }
  bool has_extension(const std::string&) const { return false; }

  template <typename Param>
  typename Param::return_type get_info() const;

  // No device of this runtime can be partitioned: each form throws feature_not_supported.
  template <info::partition_property Prop>
  requires(Prop == info::partition_property::partition_equally)
      std::vector<device> create_sub_devices(std::size_t)
  const { refuse_partition("partition_equally"); }
  template <info::partition_property Prop>
  requires(Prop == info::partition_property::partition_by_counts)
      std::vector<device> create_sub_devices(const std::vector<std::size_t>&)
  const { refuse_partition("partition_by_counts"); }
  template <info::partition_property Prop>
  requires(Prop == info::partition_property::partition_by_affinity_domain)
      std::vector<device> create_sub_devices(info::partition_affinity_domain)
  const { refuse_partition("partition_by_affinity_domain"); }

  static std::vector<device> get_devices(info::device_type type = info::device_type::all);

  friend bool operator==(const device& a, const device& b) noexcept { return a.impl_ == b.impl_; }
  friend bool operator!=(const device& a, const device& b) noexcept { return a.impl_ != b.impl_; }

 private:
  friend struct detail::device_access;
  explicit device(const detail::device_impl* impl) : impl_(impl) {}
  [[noreturn]] void refuse_partition(const char* property) const {
    detail::throw_error(errc::feature_not_supported,
                        "device '" + impl_->name + "' cannot be partitioned (" + property +
                            " requested; partition_max_sub_devices is 0)");
  }
  const detail::device_impl* impl_;
};

class platform {
 public:
  platform() = default;
  template <typename DeviceSelector>
  requires std::is_invocable_r_v<int, const DeviceSelector&, const device&>
  explicit platform(const DeviceSelector& selector) : platform() { (void)device(selector); }
  backend get_backend() const noexcept { return backend::hostsycl; }
  std::vector<device> get_devices(info::device_type type = info::device_type::all) const {
    return device::get_devices(type);
  }
  template <typename Param>
  typename Param::return_type get_info() const {
    if constexpr (std::is_same_v<Param, info::platform::name>)
      return "hostsycl host platform";
    else if constexpr (std::is_same_v<Param, info::platform::vendor>)
      return "hostsycl";
    else if constexpr (std::is_same_v<Param, info::platform::version>)
      return "SYCL 2020 hostsycl 1.0";
    else
      static_assert(sizeof(Param) == 0, "unsupported platform info descriptor");
  }
  bool has(aspect a) const {
    for (const auto& d : get_devices())
      if (!d.has(a)) return false;
    return true;
  }
  static std::vector<platform> get_platforms() { return {platform()}; }
  friend bool operator==(const platform&, const platform&) noexcept { return true; }
  friend bool operator!=(const platform&, const platform&) noexcept { return false; }
};

namespace detail {
struct device_access {
  static const device_impl* impl(const device& d) { return d.impl_; }
  static device make(const device_impl* impl) { return device(impl); }
};
const device_impl& cpu_device_impl();
const device_impl& selected_gpu_device_impl();

[[noreturn]] void throw_no_device();

template <typename DeviceSelector>
device select_device(const DeviceSelector& selector) {
  int best_score = -1;
  const device_impl* best = nullptr;
  for (const device& d : device::get_devices()) {
    int score = static_cast<int>(selector(d));
    if (score >= 0 && score > best_score) {
      best_score = score;
      best = device_access::impl(d);
    }
  }
  if (best == nullptr) throw_no_device();
  return device_access::make(best);
}
}  // namespace detail

template <typename DeviceSelector>
requires std::is_invocable_r_v<int, const DeviceSelector&, const device&> device::device(
    const DeviceSelector& selector)
    : device(detail::select_device(selector)) {}

inline platform device::get_platform() const { return platform(); }

template <typename Param>
typename Param::return_type device::get_info() const {
  namespace d = info::device;
  const detail::device_impl& i = *impl_;
  if constexpr (std::is_same_v<Param, d::device_type>)
    return i.type;
  else if constexpr (std::is_same_v<Param, d::name>)
    return i.name;
  else if constexpr (std::is_same_v<Param, d::vendor>)
    return std::string("hostsycl");
  else if constexpr (std::is_same_v<Param, d::driver_version>)
    return std::string("1.0");
  else if constexpr (std::is_same_v<Param, d::version>)
    return std::string("1.0");
  else if constexpr (std::is_same_v<Param, d::vendor_id>)
    return std::uint32_t{0x10c5};
  else if constexpr (std::is_same_v<Param, d::max_compute_units>)
    return i.eu_count;
  else if constexpr (std::is_same_v<Param, d::max_work_item_dimensions>)
    return std::uint32_t{3};
  else if constexpr (std::is_same_v<Param, d::max_work_item_sizes<1>>)
    return range<1>(i.max_work_group_size);
  else if constexpr (std::is_same_v<Param, d::max_work_item_sizes<2>>)
    return range<2>(i.max_work_group_size, i.max_work_group_size);
  else if constexpr (std::is_same_v<Param, d::max_work_item_sizes<3>>)
    return range<3>(i.max_work_group_size, i.max_work_group_size, i.max_work_group_size);
  else if constexpr (std::is_same_v<Param, d::max_work_group_size>)
    return i.max_work_group_size;
  else if constexpr (std::is_same_v<Param, d::max_num_sub_groups>)
    return static_cast<std::uint32_t>(
        i.max_work_group_size /
        *std::min_element(i.sub_group_sizes.begin(), i.sub_group_sizes.end()));
  else if constexpr (std::is_same_v<Param, d::sub_group_sizes>)
    return i.sub_group_sizes;
  else if constexpr (std::is_same_v<Param, d::max_mem_alloc_size>)
    return i.max_mem_alloc_size;
  else if constexpr (std::is_same_v<Param, d::mem_base_addr_align>)
    return i.mem_base_addr_align_bits;
  else if constexpr (std::is_same_v<Param, d::global_mem_cache_type>)
    return info::global_mem_cache_type::read_write;
  else if constexpr (std::is_same_v<Param, d::global_mem_cache_line_size>)
    return i.cache_line_size;
  else if constexpr (std::is_same_v<Param, d::global_mem_cache_size>)
    return i.cache_size;
  else if constexpr (std::is_same_v<Param, d::global_mem_size>)
    return i.global_mem_size;
  else if constexpr (std::is_same_v<Param, d::local_mem_type>)
    return info::local_mem_type::local;
  else if constexpr (std::is_same_v<Param, d::local_mem_size>)
    return i.local_mem_size;
  else if constexpr (std::is_same_v<Param, d::address_bits>)
    return std::uint32_t{64};
  else if constexpr (std::is_same_v<Param, d::max_clock_frequency>)
    return std::uint32_t{1000};
  else if constexpr (std::is_same_v<Param, d::atomic_memory_order_capabilities> ||
                     std::is_same_v<Param, d::atomic_fence_order_capabilities>)
    return std::vector<memory_order>{memory_order::relaxed, memory_order::acquire,
                                     memory_order::release, memory_order::acq_rel,
                                     memory_order::seq_cst};
  else if constexpr (std::is_same_v<Param, d::atomic_memory_scope_capabilities>)
    return std::vector<memory_scope>{memory_scope::sub_group, memory_scope::work_group,
                                     memory_scope::device, memory_scope::system};
  else if constexpr (std::is_same_v<Param, d::atomic_fence_scope_capabilities>)
    return std::vector<memory_scope>{memory_scope::work_item, memory_scope::sub_group,
                                     memory_scope::work_group, memory_scope::device,
                                     memory_scope::system};
  else if constexpr (std::is_same_v<Param, d::partition_max_sub_devices>)
    return std::uint32_t{0};
  else if constexpr (std::is_same_v<Param, d::partition_properties>)
    return std::vector<info::partition_property>{};
  else if constexpr (std::is_same_v<Param, d::partition_affinity_domains>)
    return std::vector<info::partition_affinity_domain>{};
  else if constexpr (std::is_same_v<Param, d::partition_type_property>)
    return info::partition_property::no_partition;
  else if constexpr (std::is_same_v<Param, d::partition_type_affinity_domain>)
    return info::partition_affinity_domain::not_applicable;
  else if constexpr (std::is_same_v<Param, d::parent_device>) {
    detail::throw_error(errc::invalid,
                        "device '" + i.name + "' is a root device: it has no parent");
  } else if constexpr (std::is_same_v<Param, d::is_available> ||
                       std::is_same_v<Param, d::is_compiler_available> ||
                       std::is_same_v<Param, d::is_linker_available>)
    return true;
  else if constexpr (std::is_same_v<Param, d::aspects>)
    return i.aspects;
  else if constexpr (std::is_same_v<Param, d::platform>)
    return platform();
  else
    static_assert(sizeof(Param) == 0, "unsupported device info descriptor");
}

namespace detail {
struct default_selector_t {
  int operator()(const device& d) const { return d.is_gpu() ? 1000 : 500; }
};
struct cpu_selector_t {
  int operator()(const device& d) const { return d.is_cpu() ? 1000 : -1; }
};
struct gpu_selector_t {
  int operator()(const device& d) const { return d.is_gpu() ? 1000 : -1; }
};
struct accelerator_selector_t {
  int operator()(const device& d) const { return d.is_accelerator() ? 1000 : -1; }
};
}  // namespace detail

inline constexpr detail::default_selector_t default_selector_v{};
inline constexpr detail::cpu_selector_t cpu_selector_v{};
inline constexpr detail::gpu_selector_t gpu_selector_v{};
inline constexpr detail::accelerator_selector_t accelerator_selector_v{};
using default_selector = detail::default_selector_t;
using cpu_selector = detail::cpu_selector_t;
using gpu_selector = detail::gpu_selector_t;
using accelerator_selector = detail::accelerator_selector_t;

inline auto aspect_selector(const std::vector<aspect>& aspect_list,
                            const std::vector<aspect>& deny_list = {}) {
  return [aspect_list, deny_list](const device& d) {
    for (aspect a : aspect_list)
      if (!d.has(a)) return -1;
    for (aspect a : deny_list)
      if (d.has(a)) return -1;
    return d.is_gpu() ? 1000 : 500;
  };
}
template <class... AspectList>
requires(std::is_same_v<AspectList, aspect>&&...) auto aspect_selector(AspectList... aspects) {
  return aspect_selector(std::vector<aspect>{aspects...});
}
template <aspect... AspectList>
auto aspect_selector() {
  return aspect_selector(std::vector<aspect>{AspectList...});
}

}  // namespace sycl

template <>
struct std::hash<sycl::device> {
  std::size_t operator()(const sycl::device& d) const noexcept {
    return std::hash<const void*>()(sycl::detail::device_access::impl(d));
  }
};
template <>
struct std::hash<sycl::platform> {
  std::size_t operator()(const sycl::platform&) const noexcept { return 0; }
};
