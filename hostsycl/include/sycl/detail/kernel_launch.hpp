// Running kernels: single tasks, range kernels on the compute pool, nd_range kernels as
// work-groups of cooperative fibers.
#pragma once

#include <cstddef>
#include <string>
#include <sycl/detail/exception.hpp>
#include <sycl/detail/group.hpp>
#include <sycl/detail/index.hpp>
#include <type_traits>
#include <vector>

namespace sycl {

// Access to specialization constants; the host runtime has none, but kernels may take it.
class kernel_handler {
 public:
  kernel_handler() = default;
};

namespace detail {

struct local_slot_request {
  std::size_t bytes;
  std::size_t alignment;
};

struct nd_launch_config {
  std::size_t sub_group_size;
  std::vector<local_slot_request> local_slots;
};

// The kernel-name type of a kernel that demands a sub-group size carries it as a static member,
// since a plain C++ compiler does not see [[sycl::reqd_sub_group_size]].
template <typename KernelName>
constexpr std::size_t required_sub_group_size_of() {
  if constexpr (requires { KernelName::required_sub_group_size; })
    return static_cast<std::size_t>(KernelName::required_sub_group_size);
  else
    return 0;
}
template <typename KernelName>
inline constexpr std::size_t required_sub_group_size_v = required_sub_group_size_of<KernelName>();

// Type-erased entry points of the runtime (work_group.cpp, compute_pool.cpp).
struct nd_launch_desc {
  std::size_t group_count;
  std::size_t group_size;
  std::size_t sub_group_size;
  const std::vector<local_slot_request>* local_slots;
  // Runs one work-item; called inside its fiber.
  void (*run_item)(const void* context, std::size_t group_linear, std::size_t local_linear,
                   work_group_state* state);
  const void* context;
};
void run_nd_range(const nd_launch_desc& desc);

// Runs chunk(context, begin, end) over [0, total) on the compute pool and the calling thread.
void run_range(std::size_t total, void (*chunk)(const void*, std::size_t, std::size_t),
               const void* context);

[[noreturn]] void rethrow_as_kernel_error(const char* where);

template <typename Kernel, typename Arg>
void invoke_kernel(const Kernel& k, const Arg& arg) {
  if constexpr (std::is_invocable_v<const Kernel&, Arg, kernel_handler>)
    k(arg, kernel_handler{});
  else
    k(arg);
}

template <typename Kernel, int Dims>
struct nd_context {
  const Kernel* kernel;
  nd_range<Dims> ndr;
  range<Dims> group_range;
  std::size_t sub_group_size;

  static void run_item(const void* ctx, std::size_t group_linear, std::size_t local_linear,
                       work_group_state* state) {
    const auto& c = *static_cast<const nd_context*>(ctx);
    const auto item = group_access::make_item<Dims>(
        delinearize(group_linear, c.group_range),
        delinearize(local_linear, c.ndr.get_local_range()), c.ndr.get_global_range(),
        c.ndr.get_local_range(), c.ndr.get_offset(), c.sub_group_size, state);
    invoke_kernel(*c.kernel, item);
  }
};

template <typename Kernel, int Dims>
struct range_context {
  const Kernel* kernel;
  range<Dims> r;

  static void chunk(const void* ctx, std::size_t begin, std::size_t end) {
    const auto& c = *static_cast<const range_context*>(ctx);
    const Kernel& k = *c.kernel;
    for (std::size_t lin = begin; lin < end; ++lin) {
      // One dimension needs no division: the linear index is the id.
      id<Dims> index;
      if constexpr (Dims == 1)
        index[0] = lin;
      else
        index = delinearize(lin, c.r);
      const auto it = item_access::make<Dims, false>(index, c.r);
      if constexpr (std::is_invocable_v<const Kernel&, item<Dims, false>> ||
                    std::is_invocable_v<const Kernel&, item<Dims, false>, kernel_handler>)
        invoke_kernel(k, it);
      else if constexpr (std::is_invocable_v<const Kernel&, item<Dims, true>> ||
                         std::is_invocable_v<const Kernel&, item<Dims, true>, kernel_handler>)
        invoke_kernel(k, static_cast<item<Dims, true>>(it));
      else
        invoke_kernel(k, it.get_id());
    }
  }
};

template <typename Kernel, int Dims>
void launch_nd_range(const nd_range<Dims>& ndr, const Kernel& kernel,
                     const nd_launch_config& config) {
  static_assert(std::is_invocable_v<const Kernel&, nd_item<Dims>> ||
                    std::is_invocable_v<const Kernel&, nd_item<Dims>, kernel_handler>,
                "an nd_range kernel must be a const callable taking sycl::nd_item "
                "(is the lambda mutable, or does it take the wrong argument?)");
  if (ndr.get_global_range().size() == 0) return;
  nd_context<Kernel, Dims> ctx{&kernel, ndr, ndr.get_group_range(), config.sub_group_size};
  nd_launch_desc desc{
      ndr.get_group_range().size(), ndr.get_local_range().size(),        config.sub_group_size,
      &config.local_slots,          &nd_context<Kernel, Dims>::run_item, &ctx};
  run_nd_range(desc);
}

template <typename Kernel, int Dims>
void launch_range(const range<Dims>& r, const Kernel& kernel) {
  static_assert(std::is_invocable_v<const Kernel&, item<Dims, false>> ||
                    std::is_invocable_v<const Kernel&, item<Dims, false>, kernel_handler> ||
                    std::is_invocable_v<const Kernel&, item<Dims, true>> ||
                    std::is_invocable_v<const Kernel&, id<Dims>> ||
                    std::is_invocable_v<const Kernel&, id<Dims>, kernel_handler>,
                "a range kernel must be a const callable taking sycl::item, sycl::id or an "
                "integer (is the lambda mutable?)");
  if (r.size() == 0) return;
  range_context<Kernel, Dims> ctx{&kernel, r};
  run_range(r.size(), &range_context<Kernel, Dims>::chunk, &ctx);
}

template <typename Kernel>
void launch_single_task(const Kernel& kernel) {
  static_assert(
      std::is_invocable_v<const Kernel&> || std::is_invocable_v<const Kernel&, kernel_handler>,
      "a single_task kernel must be a const callable without arguments");
  try {
    if constexpr (std::is_invocable_v<const Kernel&, kernel_handler>)
      kernel(kernel_handler{});
    else
      kernel();
  } catch (...) {
    rethrow_as_kernel_error("single_task");
  }
}

}  // namespace detail
}  // namespace sycl
