// gemvdot on the device: y = alpha * A * x + beta * y and d = the bilinear dot of x with the new
// y, in one pass over A. The group partials live in a per-call container that is released
// behind the last kernel.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include <orvane/vrt/sparse.hpp>

#include "containers/containers.hpp"
#include "gpu/entry_points.hpp"
#include "gpu/mv/gemvdot/gemvdot_kernels.hpp"

namespace orvane::vrt::sparse::gpu {

namespace detail {

inline constexpr std::size_t gemvdot_cpu_group_cap = 1024;
inline constexpr std::size_t gemvdot_gpu_group_cap = 512;
// Local memory per work-item that the reduction assumes.
inline constexpr std::size_t gemvdot_local_bytes_per_item = 8;
// From this many groups on, a reduce pass is cheaper than the final sum's loop.
inline constexpr std::size_t gemvdot_reduce_from = 33;

// Whether a device's local memory holds the reduction of a work-group of wg items.
inline bool gemvdot_local_memory_fits(sycl::info::local_mem_type type, std::uint64_t bytes,
                                      std::size_t wg) {
  return type != sycl::info::local_mem_type::none && bytes >= wg * gemvdot_local_bytes_per_item;
}

inline std::size_t gemvdot_group_size(const sycl::device& device) {
  const std::size_t cap = device.is_cpu() ? gemvdot_cpu_group_cap : gemvdot_gpu_group_cap;
  const std::size_t wg = std::min(device.get_info<sycl::info::device::max_work_group_size>(), cap);
  if (!gemvdot_local_memory_fits(device.get_info<sycl::info::device::local_mem_type>(),
                                 device.get_info<sycl::info::device::local_mem_size>(), wg))
    throw host_bad_alloc("sparse", "gemvdot");
  return wg;
}

// The passes of one call: the product kernel's groups leave one partial each; while there are
// gemvdot_reduce_from partials or more, a reduce pass turns them into one per group of its own;
// a final sum adds what is left unless one partial remains, which the last kernel already wrote
// into d.
struct gemvdot_schedule {
  std::size_t groups = 1;
  // The partial count each reduce pass takes in, in order.
  std::vector<std::size_t> reduce_passes;
  // Partials the final sum adds; 0 when it does not run.
  std::size_t final_sum = 0;
};

inline gemvdot_schedule schedule_gemvdot(std::size_t nrows, std::size_t wg) {
  const std::size_t per_group = gemvdot::rows_per_item * wg;
  gemvdot_schedule plan;
  // An empty matrix still runs one group, which writes a zero d.
  plan.groups = std::max<std::size_t>(1, (nrows + per_group - 1) / per_group);
  std::size_t count = plan.groups;
  while (count >= gemvdot_reduce_from) {
    plan.reduce_passes.push_back(count);
    count = (count + per_group - 1) / per_group;
  }
  if (count >= 2) plan.final_sum = count;
  return plan;
}

// The partials: ping-pong halves of one container, so that a reduce pass never writes what
// another group of the same pass still reads. USM memory is freed by a host task behind the last
// kernel; a buffer is dropped at return and lives on in the commands that use it.
template <typename T, containerType C>
struct partial_store {
  container_t<C, T> data = nullptr;
  std::optional<sycl::buffer<T, 1>> buffer;
};

template <typename T, containerType C>
partial_store<T, C> make_partials(sycl::queue& queue, std::size_t count) {
  partial_store<T, C> store;
  if constexpr (C == container_usm) {
    store.data = static_cast<T*>(allocate_device_container<T>(count, queue, C));
    if (store.data == nullptr) throw device_bad_alloc("sparse", "gemvdot", queue.get_device());
  } else {
    store.buffer.emplace(sycl::range<1>(count));
    store.data = &*store.buffer;
  }
  return store;
}

template <typename T, containerType C>
sycl::event release_partials(sycl::queue& queue, partial_store<T, C>& store,
                             const sycl::event& last) {
  if constexpr (C == container_usm) {
    T* data = store.data;
    const sycl::context context = queue.get_context();
    return queue.submit([&](sycl::handler& h) {
      h.depends_on(last);
      h.host_task([=] { sycl::free(data, context); });
    });
  } else {
    return last;
  }
}

// A submission failed part way: the partials go once the kernels already submitted are done.
template <typename T, containerType C>
void drop_partials(sycl::queue& queue, partial_store<T, C>& store,
                   sycl::event last) noexcept {
  if constexpr (C == container_usm) {
    try {
      last.wait();
    } catch (...) {
      // The failure being reported matters more than this one.
    }
    sycl::free(store.data, queue.get_context());
  }
}

}  // namespace detail

template <typename T, typename I, containerType C>
sycl::event gemvdot_impl(sycl::queue& queue, transpose op, T alpha, matrix_handle* A,
                         container_t<C, T> x, T beta, container_t<C, T> y, container_t<C, T> d,
                         const event_list& deps) {
  if (op != transpose::nontrans)
    throw unimplemented("sparse", "gemvdot",
                        "currently only supports the orvane::vrt::transpose::nontrans op");
  const sparseStructure* s = A->primary;
  if (s == nullptr) throw uninitialized("sparse", "gemvdot", "Matrix is not initialized");
  if (s->format != format_csr)
    throw unimplemented("sparse", "gemvdot",
                        "currently only supports the CSR matrix format on GPU devices");
  if (s->nrows != s->ncols)
    throw unimplemented("sparse", "gemvdot",
                        "matrix nRows != nCols, gemvdot currently only supports a square matrix");
  using namespace gemvdot;
  const std::size_t wg = detail::gemvdot_group_size(queue.get_device());
  const detail::gemvdot_schedule plan =
      detail::schedule_gemvdot(static_cast<std::size_t>(s->nrows), wg);
  const std::size_t groups = plan.groups;
  auto store = detail::make_partials<T, C>(queue, 2 * groups);
  sycl::event last;
  try {
    last = fill_container(queue, store.data, T(0), 2 * groups, deps);
    const gemvdot_operands<T, I, C> operands{as_container<C, I>(s->row_ptr),
                                             as_container<C, I>(s->col_ind),
                                             as_container<C, T>(s->values),
                                             x,
                                             y,
                                             d,
                                             s->nrows,
                                             static_cast<I>(s->index != 0 ? 1 : 0),
                                             alpha,
                                             beta};
    last = product_and_partials<T, I, C>(queue, operands, store.data, wg, groups, {last});
    std::size_t from = 0;
    for (const std::size_t count : plan.reduce_passes) {
      const std::size_t to = from == 0 ? groups : 0;
      last = reduce_partials<T, C>(queue, store.data, d, from, to, count, wg, last);
      from = to;
    }
    if (plan.final_sum != 0)
      last = sum_partials<T, C>(queue, store.data, d, from, plan.final_sum, last);
    return detail::release_partials<T, C>(queue, store, last);
  } catch (...) {
    detail::drop_partials<T, C>(queue, store, last);
    throw;
  }
}

}  // namespace orvane::vrt::sparse::gpu

#define VRT_INSTANTIATE_GPU_GEMVDOT(T, I, C)                                                  \
  namespace orvane::vrt::sparse::gpu {                                                        \
  template sycl::event gemvdot_impl<T, I, C>(sycl::queue&, transpose, T, matrix_handle*,      \
                                             container_t<C, T>, T, container_t<C, T>,         \
                                             container_t<C, T>, const event_list&);           \
  }
