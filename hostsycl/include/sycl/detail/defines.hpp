// Standard feature macros of the host runtime and the runtime's own identification macro.
#pragma once

#define SYCL_LANGUAGE_VERSION 202012L
#define SYCL_FEATURE_SET_FULL 1
#define SYCL_DEVICE_COPYABLE 0
#define SYCL_BACKEND_HOSTSYCL 1
#define SYCL_EXTERNAL
#define HOSTSYCL_VERSION 100

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace sycl {

enum class backend : int { hostsycl = 1 };

using byte = unsigned char;

enum class memory_order : int { relaxed, acquire, release, acq_rel, seq_cst };
inline constexpr memory_order memory_order_relaxed = memory_order::relaxed;
inline constexpr memory_order memory_order_acquire = memory_order::acquire;
inline constexpr memory_order memory_order_release = memory_order::release;
inline constexpr memory_order memory_order_acq_rel = memory_order::acq_rel;
inline constexpr memory_order memory_order_seq_cst = memory_order::seq_cst;

enum class memory_scope : int { work_item, sub_group, work_group, device, system };
inline constexpr memory_scope memory_scope_work_item = memory_scope::work_item;
inline constexpr memory_scope memory_scope_sub_group = memory_scope::sub_group;
inline constexpr memory_scope memory_scope_work_group = memory_scope::work_group;
inline constexpr memory_scope memory_scope_device = memory_scope::device;
inline constexpr memory_scope memory_scope_system = memory_scope::system;

namespace access {
enum class address_space : int {
  global_space,
  local_space,
  constant_space,
  private_space,
  generic_space
};
enum class decorated : int { no, yes, legacy };
enum class placeholder : int { false_t, true_t };
}  // namespace access

enum class access_mode : int { read, write, read_write, discard_write, discard_read_write, atomic };
enum class target : int {
  device,
  host_task,
  constant_buffer,
  local,
  host_buffer,
  global_buffer = device
};
namespace access {
using mode = sycl::access_mode;
using sycl::target;
}  // namespace access

template <typename T>
struct is_device_copyable : std::is_trivially_copyable<T> {};
template <typename T>
inline constexpr bool is_device_copyable_v = is_device_copyable<T>::value;

}  // namespace sycl
