// The middle colors synchronised by atomics: one persistent kernel whose sub-groups draw chunks
// of 16 positions in color order, wait for the chunks of the color before, and post their own.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <type_traits>
#include <vector>

#include <sycl/sycl.hpp>

#include "common/portability.hpp"
#include "containers/views.hpp"
#include "gpu/triangular/coloring/color_plan.hpp"
#include "gpu/triangular/design_names.hpp"
#include "gpu/triangular/levelset/levelset_operands.hpp"
#include "handle/value_types.hpp"

namespace orvane::vrt::sparse::gpu {

// Lanes of one sub-group; each serves one position of its chunk.
inline constexpr int atomic_lanes = static_cast<int>(chunk_rows);
// Sub-groups in flight: a little more than the chunks of the widest color, within a bound.
inline constexpr double atomic_groups_per_chunk = 1.3;
inline constexpr std::int32_t max_atomic_groups = 300;
// Spin turns between two extra loads of the wait counter.
inline constexpr unsigned spin_turns_per_reload = 1024;

template <typename T>
using device_atomic = sycl::atomic_ref<T, sycl::memory_order::relaxed,
                                       sycl::memory_scope::device,
                                       sycl::access::address_space::global_space>;
template <typename I>
using counter_atomic = sycl::atomic_ref<I, sycl::memory_order::relaxed,
                                        sycl::memory_scope::system,
                                        sycl::access::address_space::global_space>;

struct atomic_tables {
  std::int32_t num_colors;
  std::int32_t num_chunks;
};

// Wait counters: the lower side waits on color c and posts to c + 1, the upper side waits on
// c + 1 and posts to c. Head and tail colors hold no chunks, so the first middle color finds 0.
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
        const std::size_t i = id[0];
        raw(counters)[lower ? i + 1 : i] = raw(per_color)[i];
        if (i == 0) {
          raw(counters)[lower ? 0 : colors] = I(0);
          raw(ticket)[0] = lower ? I(0) : chunks - 1;
        }
      });
    });
  };
  return launch_for_side<kernels::levelsetTrsvLower_atomic_init<I, C>,
                         kernels::levelsetTrsvUpper_atomic_init<I, C>>(side, launch);
}

// Sum over one coloured row of value * solution, the lanes striding by 16; the first block of
// columns and values may come preloaded. The solution of earlier colors is read with acquire.
template <typename T, typename I>
T chunk_row_sum(const sycl::sub_group& sg, const I* col, const T* val, T* sol, I begin, I end,
                const std::array<I, 1>& first_cols, const std::array<T, 1>& first_vals) {
  const auto lane = static_cast<I>(sg.get_local_linear_id());
  T partial = T(0);
  for (I block = begin; block < end; block += atomic_lanes) {
    const auto left = static_cast<std::size_t>(end - block);
    const auto cols =
        block == begin ? first_cols : portable::sub_group_load<1>(sg, col + block, left, I(0));
    const auto vals =
        block == begin ? first_vals : portable::sub_group_load<1>(sg, val + block, left, T(0));
    if (block + lane < end)
      partial += vals[0] * device_atomic<T>(sol[cols[0]]).load(sycl::memory_order::acquire);
  }
  return sycl::reduce_over_group(sg, partial, sycl::plus<T>());
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
      auto [pt, cl, va, rhs, sol] = bind_product<C>(h, deps, op);
      auto [inv, starts, colors] =
          bind_reads(h, op.inv_diag, as_container<C, I>(d.chunk_start_device),
                     as_container<C, I>(d.chunk_color_device));
      auto counters = bind(h, as_container<C, I>(d.color_counters), sycl::read_write);
      auto tickets = bind(h, as_container<C, I>(d.chunk_ticket), sycl::read_write);
      const T alpha = op.alpha;
      const bool nonunit = op.nonunit;
      const bool lower = op.side == triangle::lower;
      const I num_chunks = static_cast<I>(d.num_chunks);
      const auto nrows = static_cast<I>(op.nrows);
      h.parallel_for<Name>(
          sycl::nd_range<2>({groups, atomic_lanes}, {1, atomic_lanes}),
          [=](sycl::nd_item<2> it) [[sycl::reqd_sub_group_size(atomic_lanes)]] {
            const sycl::sub_group sg = it.get_sub_group();
            const auto lane = static_cast<I>(sg.get_local_linear_id());
            const I* ptr = raw(pt);
            T* solution = raw(sol);
            auto draw = [&]() {
              I t = 0;
              if (lane == 0) {
                device_atomic<I> ticket(raw(tickets)[0]);
                t = lower ? ticket.fetch_add(I(1)) : ticket.fetch_sub(I(1));
              }
              return sycl::group_broadcast(sg, t, 0);
            };
            for (I ticket = draw(); lower ? ticket < num_chunks : ticket > I(-1);
                 ticket = draw()) {
              const I color = raw(colors)[ticket];
              counter_atomic<I> wait_counter(raw(counters)[lower ? color : color + 1]);
              counter_atomic<I> post_counter(raw(counters)[lower ? color + 1 : color]);
              const I p0 = raw(starts)[ticket];
              const I rows = raw(starts)[ticket + 1] - p0;
              // What does not depend on earlier colors is read before the wait.
              const auto in_range = static_cast<std::size_t>(nrows - p0);
              const auto rhs_block = portable::sub_group_load<1>(sg, raw(rhs) + p0, in_range, T(0));
              const auto inv_block = portable::sub_group_load<1>(sg, raw(inv) + p0, in_range, T(0));
              const I first_begin = ptr[p0];
              const I first_end = ptr[p0 + 1];
              const auto first_len = static_cast<std::size_t>(first_end - first_begin);
              const auto first_cols =
                  portable::sub_group_load<1>(sg, raw(cl) + first_begin, first_len, I(0));
              const auto first_vals =
                  portable::sub_group_load<1>(sg, raw(va) + first_begin, first_len, T(0));

              unsigned turns = 0;
              while (wait_counter.load(sycl::memory_order::seq_cst) > I(0)) {
                portable::pause();
                if (++turns == spin_turns_per_reload) {
                  (void)wait_counter.load(sycl::memory_order::relaxed);
                  turns = 0;
                }
              }

              T own = T(0);
              for (I i = 0; i < rows; ++i) {
                const T sum =
                    i == 0 ? chunk_row_sum<T, I>(sg, raw(cl), raw(va), solution, first_begin,
                                                 first_end, first_cols, first_vals)
                           : chunk_row_sum<T, I>(
                                 sg, raw(cl), raw(va), solution, ptr[p0 + i], ptr[p0 + i + 1],
                                 portable::sub_group_load<1>(
                                     sg, raw(cl) + ptr[p0 + i],
                                     static_cast<std::size_t>(ptr[p0 + i + 1] - ptr[p0 + i]),
                                     I(0)),
                                 portable::sub_group_load<1>(
                                     sg, raw(va) + ptr[p0 + i],
                                     static_cast<std::size_t>(ptr[p0 + i + 1] - ptr[p0 + i]),
                                     T(0)));
                if (lane == i) own = sum;
              }
              if (lane < rows) {
                T result = rhs_block[0] * alpha - own;
                if (nonunit) result *= inv_block[0];
                device_atomic<T>(solution[p0 + lane]).store(result, sycl::memory_order::release);
              }
              // The post speaks for the whole chunk: every lane's store comes first. Lanes of a
              // sub-group are not bound to run in step, so this takes a sub-group barrier.
              sycl::group_barrier(sg);
              // Chunks of color 0 post nothing: the lower side relies on a head color before
              // its middle, and nobody waits on the upper side's counter of color 0.
              if (lane == 0 && color > I(0))
                post_counter.fetch_sub(I(1), sycl::memory_order::seq_cst);
            }
          });
    });
  };
  return launch_for_side<kernels::levelsetTrsvLower_atomic<T, I, C>,
                         kernels::levelsetTrsvUpper_atomic<T, I, C>>(
      op.side, launch);
}

// The init, then the persistent solve; in USM both join `dependencies`. Real values only.
template <typename T, typename I, containerType C>
sycl::event middle_by_atomics(sycl::queue& queue, const levelset_operands<T, I, C>& op,
                              const coloringData& data, std::vector<sycl::event>& dependencies) {
  static_assert(!is_complex_v<T>, "complex solves never synchronise by atomics");
  const sycl::event init = submit_counter_init<I, C>(queue, op.side, data, dependencies);
  if constexpr (C == container_usm) dependencies.push_back(init);
  const sycl::event solved = submit_atomic_solve<T, I, C>(queue, op, data, {init});
  if constexpr (C == container_usm) dependencies.push_back(solved);
  return solved;
}

}  // namespace orvane::vrt::sparse::gpu
