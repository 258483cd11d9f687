// The middle colors synchronised by atomics: the counters' init and one persistent kernel of
// sub-groups of 16 lanes, as many as the widest color needs within a bound.
#pragma once

#include <algorithm>
#include <cstdint>
#include <sycl/sycl.hpp>
#include <vector>

#include "common/portability.hpp"
#include "containers/views.hpp"
#include "gpu/sub_group_check.hpp"
#include "gpu/triangular/coloring/color_plan.hpp"
#include "gpu/triangular/design_names.hpp"
#include "gpu/triangular/levelset/levelset_operands.hpp"
#include "gpu/triangular/levelset/middle_atomic_kernel.hpp"
#include "handle/value_types.hpp"

namespace orvane::vrt::sparse::gpu {

// Lanes of one sub-group; each serves one position of its chunk.
inline constexpr int atomic_lanes = static_cast<int>(chunk_rows);
// Sub-groups in flight: a little more than the chunks of the widest color, within a bound.
inline constexpr double atomic_groups_per_chunk = 1.3;
inline constexpr std::int32_t max_atomic_groups = 300;

// The wait counters and the ticket set for a walk of `side`.
template <typename I, containerType C>
sycl::event submit_counter_init(sycl::queue& queue, triangle side, const coloringData& d,
                                const std::vector<sycl::event>& deps) {
  auto launch = [&](auto name) {
    using Name = typename decltype(name)::type;
    return queue.submit([&](sycl::handler& h) {
      depend_on<C>(h, deps);
      auto per_color = bind(h, as_container<C, I>(d.chunks_per_color_device), sycl::read_only);
      auto counters = bind(h, as_container<C, I>(d.color_counters), sycl::write_only);
      auto ticket = bind(h, as_container<C, I>(d.chunk_ticket), sycl::write_only);
      const std::int32_t colors = d.num_colors;
      const I chunks = static_cast<I>(d.num_chunks);
      const bool lower = side == triangle::lower;
      h.parallel_for<Name>(sycl::range<1>(static_cast<std::size_t>(colors)), [=](sycl::id<1> id) {
        kernels::init_color_counter<I>(id[0], lower, colors, chunks, raw(per_color), raw(counters),
                                       raw(ticket));
      });
    });
  };
  return launch_for_side<kernels::levelsetTrsvLower_atomic_init<I, C>,
                         kernels::levelsetTrsvUpper_atomic_init<I, C>>(side, launch);
}

template <typename T, typename I, containerType C>
sycl::event submit_atomic_solve(sycl::queue& queue, const levelset_operands<T, I, C>& op,
                                const coloringData& d, const std::vector<sycl::event>& deps) {
  const auto groups = static_cast<std::size_t>(std::min<std::int32_t>(
      static_cast<std::int32_t>(atomic_groups_per_chunk * d.max_chunks_per_color),
      max_atomic_groups));
  auto launch = [&](auto name) {
    using Name = portable::sub_group_kernel<typename decltype(name)::type, atomic_lanes>;
    return queue.submit([&](sycl::handler& h) {
      const auto a = bind_product<C>(h, deps, op);
      const auto reads = bind_reads(h, op.inv_diag, as_container<C, I>(d.chunk_start_device),
                                    as_container<C, I>(d.chunk_color_device));
      const auto inv = std::get<0>(reads);
      const auto starts = std::get<1>(reads);
      const auto colors = std::get<2>(reads);
      auto counters = bind(h, as_container<C, I>(d.color_counters), sycl::read_write);
      auto tickets = bind(h, as_container<C, I>(d.chunk_ticket), sycl::read_write);
      const T alpha = op.alpha;
      const bool nonunit = op.nonunit;
      const bool lower = op.side == triangle::lower;
      const I num_chunks = static_cast<I>(d.num_chunks);
      const auto nrows = static_cast<I>(op.nrows);
      h.parallel_for<Name>(sycl::nd_range<2>({groups, atomic_lanes}, {1, atomic_lanes}),
                           [=](sycl::nd_item<2> it) [[sycl::reqd_sub_group_size(atomic_lanes)]] {
                             kernels::solve_chunks<atomic_lanes, T, I>(
                                 it.get_sub_group(),
                                 {raw(a.row_ptr), raw(a.col_ind), raw(a.values), raw(a.x), raw(inv),
                                  raw(a.y), raw(starts), raw(colors), raw(counters), raw(tickets),
                                  alpha, nonunit, lower, num_chunks, nrows});
                           });
    });
  };
  return launch_for_side<kernels::levelsetTrsvLower_atomic<T, I, C>,
                         kernels::levelsetTrsvUpper_atomic<T, I, C>>(op.side, launch);
}

// The init, then the persistent solve; in USM both join `dependencies`. Real values only.
template <typename T, typename I, containerType C>
sycl::event middle_by_atomics(sycl::queue& queue, const levelset_operands<T, I, C>& op,
                              const coloringData& data, std::vector<sycl::event>& dependencies) {
  static_assert(!is_complex_v<T>, "complex solves never synchronise by atomics");
  // Before the counters: a refused solve leaves nothing running.
  require_sub_group_size(queue, atomic_lanes, triangular_names::trsv);
  const sycl::event init = submit_counter_init<I, C>(queue, op.side, data, dependencies);
  chain_event<C>(dependencies, init);
  const sycl::event solved = submit_atomic_solve<T, I, C>(queue, op, data, {init});
  chain_event<C>(dependencies, solved);
  return solved;
}

}  // namespace orvane::vrt::sparse::gpu
