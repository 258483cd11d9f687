// The middle colors synchronised by kernel boundaries: one submission per color.
#pragma once

#include <cstdint>
#include <sycl/sycl.hpp>
#include <vector>

#include "containers/views.hpp"
#include "gpu/triangular/coloring/host_staging.hpp"
#include "gpu/triangular/design_names.hpp"
#include "gpu/triangular/levelset/levelset_operands.hpp"
#include "gpu/triangular/levelset/middle_per_color_kernel.hpp"

namespace orvane::vrt::sparse::gpu {

template <typename T, typename I, containerType C>
sycl::event submit_one_color(sycl::queue& queue, const levelset_operands<T, I, C>& op,
                             std::size_t begin, std::size_t end,
                             const std::vector<sycl::event>& deps) {
  auto launch = [&](auto name) {
    using Name = typename decltype(name)::type;
    return queue.submit([&](sycl::handler& h) {
      const auto update = bind_row_update(h, deps, op);
      h.parallel_for<Name>(sycl::nd_range<1>(round_up_to_group(end - begin), levelset_group),
                           [=](sycl::nd_item<1> it) {
                             kernels::solve_color_position(it.get_global_id(0), begin, end, update);
                           });
    });
  };
  return launch_for_side<kernels::levelsetTrsvLower_ker<T, I, C>,
                         kernels::levelsetTrsvUpper_ker<T, I, C>>(op.side, launch);
}

// Colors head .. num - tail - 1, ascending for the lower side and descending for the upper;
// each submission waits for the one before (the first for `dependencies`). In USM the last one
// joins `dependencies`.
template <typename T, typename I, containerType C>
sycl::event middle_per_color(sycl::queue& queue, const levelset_operands<T, I, C>& op,
                             const coloringData& data, std::vector<sycl::event>& dependencies) {
  const std::int32_t num_colors = data.num_colors;
  const std::int32_t head_colors = data.head_colors;
  const std::int32_t tail_colors = data.tail_colors;
  const std::int32_t middle = num_colors - head_colors - tail_colors;
  if (middle < 1) return sycl::event();
  const std::vector<I> color_ptr = read_back<I, C>(queue, as_container<C, I>(data.color_ptr_host),
                                                   static_cast<std::size_t>(num_colors) + 1, {});
  const bool lower = op.side == triangle::lower;
  sycl::event last;
  for (std::int32_t i = 0; i < middle; ++i) {
    const std::int32_t color = lower ? head_colors + i : num_colors - tail_colors - 1 - i;
    last = submit_one_color<T, I, C>(queue, op, static_cast<std::size_t>(color_ptr[color]),
                                     static_cast<std::size_t>(color_ptr[color + 1]),
                                     i == 0 ? dependencies : std::vector<sycl::event>{last});
  }
  chain_event<C>(dependencies, last);
  return last;
}

}  // namespace orvane::vrt::sparse::gpu
