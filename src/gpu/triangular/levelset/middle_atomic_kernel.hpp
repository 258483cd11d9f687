// Device code of the middle colors synchronised by atomics: the wait counters' start values, and
// the persistent solve whose sub-groups draw chunks of Lanes positions in color order, wait for
// the chunks of the color before, and post their own.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <sycl/sycl.hpp>

#include "common/portability.hpp"

namespace orvane::vrt::sparse::gpu::kernels {

// Spin turns between two extra loads of the wait counter.
inline constexpr unsigned spin_turns_per_reload = 1024;

template <typename T>
using device_atomic = sycl::atomic_ref<T, sycl::memory_order::relaxed, sycl::memory_scope::device,
                                       sycl::access::address_space::global_space>;
template <typename I>
using counter_atomic = sycl::atomic_ref<I, sycl::memory_order::relaxed, sycl::memory_scope::system,
                                        sycl::access::address_space::global_space>;

// Work-item i of the init: the lower side waits on color c and posts to c + 1, the upper side
// waits on c + 1 and posts to c. Head and tail colors hold no chunks, so the first middle color
// finds 0. The ticket starts at the first chunk of the walk.
template <typename I>
void init_color_counter(std::size_t i, bool lower, std::int32_t colors, I chunks,
                        const I* per_color, I* counters, I* ticket) {
  counters[lower ? i + 1 : i] = per_color[i];
  if (i == 0) {
    counters[lower ? 0 : colors] = I(0);
    ticket[0] = lower ? I(0) : chunks - 1;
  }
}

// Sum over one coloured row of value * solution, the lanes striding by Lanes; the first block of
// columns and values may come preloaded. The solution of earlier colors is read with acquire.
template <int Lanes, typename T, typename I>
T chunk_row_sum(const sycl::sub_group& sg, const I* col, const T* val, T* sol, I begin, I end,
                const std::array<I, 1>& first_cols, const std::array<T, 1>& first_vals) {
  const auto lane = static_cast<I>(sg.get_local_linear_id());
  T partial = T(0);
  for (I block = begin; block < end; block += Lanes) {
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

// The arrays and scalars of the persistent solve. ptr, col, val: the coloured strict part;
// starts, colors: first position and color of each chunk; counters, ticket: the wait counters
// and the next chunk to draw.
template <typename T, typename I>
struct atomic_solve_arrays {
  const I* ptr;
  const I* col;
  const T* val;
  const T* rhs;
  const T* inv_diag;
  T* sol;
  const I* starts;
  const I* colors;
  I* counters;
  I* ticket;
  T alpha;
  bool nonunit;
  bool lower;
  I num_chunks;
  I nrows;
};

// One sub-group of the persistent solve: draws chunks until none is left.
template <int Lanes, typename T, typename I>
void solve_chunks(const sycl::sub_group& sg, const atomic_solve_arrays<T, I>& a) {
  const auto lane = static_cast<I>(sg.get_local_linear_id());
  const I* ptr = a.ptr;
  T* solution = a.sol;
  const bool lower = a.lower;
  auto draw = [&]() {
    I t = 0;
    if (lane == 0) {
      device_atomic<I> ticket(a.ticket[0]);
      t = lower ? ticket.fetch_add(I(1)) : ticket.fetch_sub(I(1));
    }
    return portable::group_broadcast(sg, t, 0);
  };
  for (I ticket = draw(); lower ? ticket < a.num_chunks : ticket > I(-1); ticket = draw()) {
    const I color = a.colors[ticket];
    counter_atomic<I> wait_counter(a.counters[lower ? color : color + 1]);
    counter_atomic<I> post_counter(a.counters[lower ? color + 1 : color]);
    const I p0 = a.starts[ticket];
    const I rows = a.starts[ticket + 1] - p0;
    // What does not depend on earlier colors is read before the wait.
    const auto in_range = static_cast<std::size_t>(a.nrows - p0);
    const auto rhs_block = portable::sub_group_load<1>(sg, a.rhs + p0, in_range, T(0));
    const auto inv_block = portable::sub_group_load<1>(sg, a.inv_diag + p0, in_range, T(0));
    const I first_begin = ptr[p0];
    const I first_end = ptr[p0 + 1];
    const auto first_len = static_cast<std::size_t>(first_end - first_begin);
    const auto first_cols = portable::sub_group_load<1>(sg, a.col + first_begin, first_len, I(0));
    const auto first_vals = portable::sub_group_load<1>(sg, a.val + first_begin, first_len, T(0));

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
      const T sum = i == 0
                        ? chunk_row_sum<Lanes, T, I>(sg, a.col, a.val, solution, first_begin,
                                                     first_end, first_cols, first_vals)
                        : chunk_row_sum<Lanes, T, I>(
                              sg, a.col, a.val, solution, ptr[p0 + i], ptr[p0 + i + 1],
                              portable::sub_group_load<1>(
                                  sg, a.col + ptr[p0 + i],
                                  static_cast<std::size_t>(ptr[p0 + i + 1] - ptr[p0 + i]), I(0)),
                              portable::sub_group_load<1>(
                                  sg, a.val + ptr[p0 + i],
                                  static_cast<std::size_t>(ptr[p0 + i + 1] - ptr[p0 + i]), T(0)));
      if (lane == i) own = sum;
    }
    if (lane < rows) {
      T result = rhs_block[0] * a.alpha - own;
      if (a.nonunit) result *= inv_block[0];
      device_atomic<T>(solution[p0 + lane]).store(result, sycl::memory_order::release);
    }
    // The post speaks for the whole chunk: every lane's store comes first. Lanes of a sub-group
    // are not bound to run in step, so this takes a sub-group barrier.
    sycl::group_barrier(sg);
    // Chunks of color 0 post nothing: the lower side relies on a head color before its middle,
    // and nobody waits on the upper side's counter of color 0.
    if (lane == 0 && color > I(0)) post_counter.fetch_sub(I(1), sycl::memory_order::seq_cst);
  }
}

}  // namespace orvane::vrt::sparse::gpu::kernels
