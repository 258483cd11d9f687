// gemvdot on the device: y = alpha * A * x + beta * y and d = the bilinear dot of x with the new
// y, in one pass over A. The group partials live in a per-call container that is released
// behind the last kernel.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <orvane/vrt/sparse.hpp>
#include <vector>

#include "containers/containers.hpp"
#include "containers/views.hpp"
#include "gpu/entry_points.hpp"
#include "gpu/mv/design_names.hpp"
#include "gpu/mv/gemvdot/gemvdot_launch.hpp"
#include "gpu/mv/gemvdot/gemvdot_plan.hpp"

namespace orvane::vrt::sparse::gpu {

namespace detail {

// The partials: ping-pong halves of one container, so that a reduce pass never writes what
// another group of the same pass still reads. USM memory is freed behind the last kernel
// (release_behind); a buffer is dropped at return and lives on in the commands that use it.
template <typename T, containerType C>
struct partial_store {
  container_t<C, T> data = nullptr;
  std::optional<sycl::buffer<T, 1>> buffer;
};

template <typename T, containerType C>
partial_store<T, C> make_partials(sycl::queue& queue, std::size_t count) {
  partial_store<T, C> store;
  if constexpr (C == container_usm) {
    store.data = static_cast<T*>(allocate_or_throw<T>(count, queue, C, mv_words::gemvdot));
  } else {
    // A runtime that cannot store the buffer refuses as any device allocation does.
    try {
      store.buffer.emplace(sycl::range<1>(count));
    } catch (const sycl::exception& e) {
      if (e.code() != sycl::errc::memory_allocation) throw;
      throw device_bad_alloc("sparse", mv_words::gemvdot, queue.get_device());
    }
    store.data = &*store.buffer;
  }
  return store;
}

// A submission failed part way: the partials go once the kernels already submitted are done.
template <typename T, containerType C>
void drop_partials(sycl::queue& queue, partial_store<T, C>& store, sycl::event last) noexcept {
  release_after_failure<T, C>(queue, store.data, last);
}

}  // namespace detail

template <typename T, typename I, containerType C>
sycl::event gemvdot_impl(sycl::queue& queue, transpose op, T alpha, matrix_handle* A,
                         container_t<C, T> x, T beta, container_t<C, T> y, container_t<C, T> d,
                         const event_list& deps) {
  if (op != transpose::nontrans)
    throw unimplemented("sparse", mv_words::gemvdot,
                        "currently only supports the orvane::vrt::transpose::nontrans op");
  const sparseStructure* s = A->primary;
  if (s == nullptr) throw uninitialized("sparse", mv_words::gemvdot, mv_words::not_initialized);
  if (s->format != format_csr)
    throw unimplemented("sparse", mv_words::gemvdot,
                        "currently only supports the CSR matrix format on GPU devices");
  if (s->nrows != s->ncols)
    throw unimplemented("sparse", mv_words::gemvdot,
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
    const gemvdot_operands<T, I, C> operands{
        {as_container<C, I>(s->row_ptr), as_container<C, I>(s->col_ind),
         as_container<C, T>(s->values), x, y},
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
    return release_behind<T, C>(queue, store.data, last);
  } catch (...) {
    detail::drop_partials<T, C>(queue, store, last);
    throw;
  }
}

}  // namespace orvane::vrt::sparse::gpu

#define VRT_INSTANTIATE_GPU_GEMVDOT(T, I, C)                                             \
  namespace orvane::vrt::sparse::gpu {                                                   \
  template sycl::event gemvdot_impl<T, I, C>(sycl::queue&, transpose, T, matrix_handle*, \
                                             container_t<C, T>, T, container_t<C, T>,    \
                                             container_t<C, T>, const event_list&);      \
  }
