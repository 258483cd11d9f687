// handler: collects one command and its requirements inside queue::submit.
#pragma once

#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <sycl/detail/accessor.hpp>
#include <sycl/detail/device.hpp>
#include <sycl/detail/event.hpp>
#include <sycl/detail/kernel_launch.hpp>
#include <type_traits>
#include <typeinfo>
#include <vector>

namespace sycl {

class queue;
class handler;

namespace detail {
struct queue_impl;
struct requirement {
  std::shared_ptr<buffer_state> state;
  access_mode mode;
};
enum class command_kind { none, kernel, host_task, memory };
struct handler_access;

// A device receives a kernel as a bytewise copy of the functor, so a capture that owns host
// memory or state (a container, a string, a function wrapper, a smart pointer) cannot reach
// it. A host compiler cannot look inside a lambda's captures: a closure that is not
// trivially copyable still passes when it is trivially destructible, which no owning capture
// is. A named functor type may declare itself device-copyable.
template <typename Kernel>
inline constexpr bool kernel_is_device_copyable_v = is_device_copyable_v<Kernel> ||
                                                    (std::is_copy_constructible_v<Kernel> &&
                                                     std::is_trivially_destructible_v<Kernel>);

// Checks of explicit memory operations (strict mode; memset and fill need USM always).
void check_usm_range(const void* p, std::size_t bytes, const char* operation, bool must_be_usm);
// Counts a kernel submission under the (mangled) name of a pointer to its kernel-name type
// (kernel names are often declared only, and typeid takes no incomplete type).
void count_kernel_submission(const char* kernel_name);
}  // namespace detail

class interop_handle {
 public:
  interop_handle() = delete;
  backend get_backend() const noexcept { return backend::hostsycl; }

 private:
  friend class handler;
  explicit interop_handle(int) {}
};

class handler {
 public:
  handler(const handler&) = delete;
  handler(handler&&) = delete;
  handler& operator=(const handler&) = delete;
  handler& operator=(handler&&) = delete;

  void depends_on(event e) { deps_.push_back(std::move(e)); }
  void depends_on(const std::vector<event>& events) {
    deps_.insert(deps_.end(), events.begin(), events.end());
  }

  template <typename DataT, int Dims, access_mode Mode, target Tgt, access::placeholder P>
  void require(accessor<DataT, Dims, Mode, Tgt, P> acc) {
    if (acc.detail_placeholder_state() != nullptr)
      detail::handler_require_placeholder(*this, acc.detail_placeholder_state(),
                                          accessor<DataT, Dims, Mode, Tgt, P>::detail_mode);
  }

  template <typename KernelName = void, typename KernelType>
  void single_task(const KernelType& kernel) {
    static_assert(detail::kernel_is_device_copyable_v<KernelType>,
                  "kernel captures must be device-copyable: capture pointers, accessors and "
                  "trivially copyable values, not containers, strings, function wrappers or "
                  "smart pointers");
    check_no_local_memory("single_task");
    detail::count_kernel_submission(typeid(KernelName*).name());
    set_command(detail::command_kind::kernel, [kernel] { detail::launch_single_task(kernel); });
  }

  template <typename KernelName = void, typename KernelType>
  void parallel_for(range<1> r, const KernelType& kernel) {
    submit_range<KernelName>(r, kernel);
  }
  template <typename KernelName = void, typename KernelType>
  void parallel_for(range<2> r, const KernelType& kernel) {
    submit_range<KernelName>(r, kernel);
  }
  template <typename KernelName = void, typename KernelType>
  void parallel_for(range<3> r, const KernelType& kernel) {
    submit_range<KernelName>(r, kernel);
  }
  template <typename KernelName = void, int Dims, typename KernelType>
  void parallel_for(nd_range<Dims> ndr, const KernelType& kernel) {
    static_assert(detail::kernel_is_device_copyable_v<KernelType>,
                  "kernel captures must be device-copyable: capture pointers, accessors and "
                  "trivially copyable values, not containers, strings, function wrappers or "
                  "smart pointers");
    detail::nd_launch_config config{
        checked_sub_group_size(detail::required_sub_group_size_v<KernelName>), local_slots_};
    check_nd_range(ndr.get_global_range().size() == 0, divisible(ndr),
                   ndr.get_local_range().size());
    detail::count_kernel_submission(typeid(KernelName*).name());
    set_command(detail::command_kind::kernel,
                [kernel, ndr, config] { detail::launch_nd_range(ndr, kernel, config); });
  }

  template <typename T>
  void host_task(T&& task) {
    using F = std::decay_t<T>;
    set_command(detail::command_kind::host_task, [f = F(std::forward<T>(task))]() mutable {
      if constexpr (std::is_invocable_v<F&, interop_handle>)
        f(interop_handle(0));
      else
        f();
    });
  }

  void memcpy(void* dest, const void* src, std::size_t bytes) {
    detail::check_usm_range(dest, bytes, "memcpy", false);
    detail::check_usm_range(src, bytes, "memcpy", false);
    set_command(detail::command_kind::memory, [dest, src, bytes] {
      if (bytes != 0) std::memcpy(dest, src, bytes);
    });
  }
  template <typename T>
  void copy(const T* src, T* dest, std::size_t count) {
    this->memcpy(dest, src, count * sizeof(T));
  }
  void memset(void* ptr, int value, std::size_t bytes) {
    detail::check_usm_range(ptr, bytes, "memset", true);
    set_command(detail::command_kind::memory, [ptr, value, bytes] {
      if (bytes != 0) std::memset(ptr, static_cast<unsigned char>(value), bytes);
    });
  }
  template <typename T>
  void fill(void* ptr, const T& pattern, std::size_t count) {
    detail::check_usm_range(ptr, count * sizeof(T), "fill", true);
    set_command(detail::command_kind::memory, [ptr, pattern, count] {
      T* p = static_cast<T*>(ptr);
      for (std::size_t i = 0; i < count; ++i) p[i] = pattern;
    });
  }
  void prefetch(const void*, std::size_t) {
    set_command(detail::command_kind::memory, [] {});
  }
  void mem_advise(const void*, std::size_t, int) {
    set_command(detail::command_kind::memory, [] {});
  }

  // Accessor copies.
  template <typename SrcT, int Dims, access_mode Mode, target Tgt, access::placeholder P,
            typename DestT>
  void copy(accessor<SrcT, Dims, Mode, Tgt, P> src, std::shared_ptr<DestT> dest) {
    require(src);
    set_command(detail::command_kind::memory, [src, dest] { copy_out(src, dest.get()); });
  }
  template <typename SrcT, typename DestT, int Dims, access_mode Mode, target Tgt,
            access::placeholder P>
  void copy(std::shared_ptr<SrcT> src, accessor<DestT, Dims, Mode, Tgt, P> dest) {
    require(dest);
    set_command(detail::command_kind::memory, [src, dest] { copy_in(src.get(), dest); });
  }
  template <typename SrcT, int Dims, access_mode Mode, target Tgt, access::placeholder P,
            typename DestT>
  void copy(accessor<SrcT, Dims, Mode, Tgt, P> src, DestT* dest) {
    require(src);
    set_command(detail::command_kind::memory, [src, dest] { copy_out(src, dest); });
  }
  template <typename SrcT, typename DestT, int Dims, access_mode Mode, target Tgt,
            access::placeholder P>
  void copy(const SrcT* src, accessor<DestT, Dims, Mode, Tgt, P> dest) {
    require(dest);
    set_command(detail::command_kind::memory, [src, dest] { copy_in(src, dest); });
  }
  template <typename SrcT, int SrcDims, access_mode SrcMode, target SrcTgt,
            access::placeholder SrcP, typename DestT, int DestDims, access_mode DestMode,
            target DestTgt, access::placeholder DestP>
  void copy(accessor<SrcT, SrcDims, SrcMode, SrcTgt, SrcP> src,
            accessor<DestT, DestDims, DestMode, DestTgt, DestP> dest) {
    if (dest.byte_size() < src.byte_size())
      detail::throw_error(errc::invalid, "copy destination accessor is smaller than the source");
    require(src);
    require(dest);
    set_command(detail::command_kind::memory,
                [src, dest] { detail::copy_window(src.detail_view(), dest.detail_view()); });
  }
  template <typename T, int Dims, access_mode Mode, target Tgt, access::placeholder P>
  void fill(accessor<T, Dims, Mode, Tgt, P> dest, const T& value) {
    require(dest);
    set_command(detail::command_kind::memory, [dest, value] {
      dest.detail_view().for_each_run([&](auto* p, std::size_t n) { std::fill_n(p, n, value); });
    });
  }
  template <typename T, int Dims, access_mode Mode, target Tgt, access::placeholder P>
  void update_host(accessor<T, Dims, Mode, Tgt, P> acc) {
    require(acc);
    detail::buffer_state* state = acc.detail_state();
    set_command(detail::command_kind::memory, [state] {
      if (state != nullptr) detail::write_buffer_back(*state);
    });
  }

  // Runtime use: local_accessor registers its per-work-group allocation here.
  std::size_t detail_add_local_slot(std::size_t bytes, std::size_t alignment) {
    local_slots_.push_back({bytes, alignment});
    return local_slots_.size() - 1;
  }

 private:
  friend class queue;
  friend struct detail::handler_access;
  handler(const detail::device_impl* device, bool fp64) : device_(device), fp64_(fp64) {}

  // Host memory on one side is contiguous; the accessor's side is its window, row by row.
  template <typename SrcAcc, typename DestT>
  static void copy_out(const SrcAcc& src, DestT* dest) {
    src.detail_view().for_each_run([&](auto* p, std::size_t n) { dest = std::copy_n(p, n, dest); });
  }
  template <typename SrcT, typename DestAcc>
  static void copy_in(const SrcT* src, const DestAcc& dest) {
    dest.detail_view().for_each_run([&](auto* p, std::size_t n) {
      std::copy_n(src, n, p);
      src += n;
    });
  }

  template <typename KernelName, int Dims, typename KernelType>
  void submit_range(range<Dims> r, const KernelType& kernel) {
    static_assert(detail::kernel_is_device_copyable_v<KernelType>,
                  "kernel captures must be device-copyable: capture pointers, accessors and "
                  "trivially copyable values, not containers, strings, function wrappers or "
                  "smart pointers");
    check_no_local_memory("parallel_for over a range");
    detail::count_kernel_submission(typeid(KernelName*).name());
    set_command(detail::command_kind::kernel, [kernel, r] { detail::launch_range(r, kernel); });
  }
  template <int Dims>
  static bool divisible(const nd_range<Dims>& ndr) {
    for (int d = 0; d < Dims; ++d) {
      const std::size_t l = ndr.get_local_range()[d];
      if (l == 0 || ndr.get_global_range()[d] % l != 0) return false;
    }
    return true;
  }
  void check_nd_range(bool empty, bool divisible, std::size_t local_size) const;
  std::size_t checked_sub_group_size(std::size_t required) const;
  void check_no_local_memory(const char* form) const;
  void set_command(detail::command_kind kind, std::function<void()> work);

  const detail::device_impl* device_;
  bool fp64_;
  std::vector<event> deps_;
  std::vector<detail::requirement> requirements_;
  std::vector<detail::local_slot_request> local_slots_;
  detail::command_kind kind_ = detail::command_kind::none;
  std::function<void()> work_;
};

}  // namespace sycl
