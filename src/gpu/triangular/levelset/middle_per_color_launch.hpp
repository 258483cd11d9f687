// The middle colors synchronised by kernel boundaries: one submission per color.
#pragma once

#include <cstdint>
#include <vector>

#include <sycl/sycl.hpp>

#include "containers/views.hpp"
#include "gpu/triangular/coloring/host_staging.hpp"
#include "gpu/triangular/levelset/levelset_operands.hpp"
#include "gpu/triangular/levelset/row_update_kernel.hpp"

namespace orvane::vrt::sparse::gpu::kernels {

template <typename T, typename I, containerType C>
class levelsetTrsvLower_ker;
template <typename T, typename I, containerType C>
class levelsetTrsvUpper_ker;

template <typename T, typename I, containerType C>
sycl::event submit_one_color(sycl::queue& queue, const levelset_operands<T, I, C>& op,
                             std::size_t begin, std::size_t end,
                             const std::vector<sycl::event>& deps) {
  auto launch = [&](auto name) {
    using Name = typename decltype(name)::type;
    return queue.submit([&](sycl::handler& h) {
      depend_on<C>(h, deps);
      const auto update = bind_row_update(h, op);
      h.parallel_for<Name>(
          sycl::nd_range<1>(round_up_to_group(end - begin), levelset_group),
          [=](sycl::nd_item<1> it) {
            const std::size_t p = begin + it.get_global_id(0);
            if (p < end) update.solve(p);
          });
    });
  };
  return launch_for_side<levelsetTrsvLower_ker<T, I, C>, levelsetTrsvUpper_ker<T, I, C>>(
      op.side, launch);
}

// Colors head .. num - tail - 1, ascending for the lower side and descending for the upper;
// each submission waits for the one before (the first for `dependencies`).
template <typename T, typename I, containerType C>
sycl::event middle_by_kernels(sycl::queue& queue, triangle side, T alpha,
                              std::int32_t num_colors, std::int32_t head_colors,
                              std::int32_t tail_colors, bool nonunit, coloringData* data,
                              std::vector<sycl::event>& dependencies) {
  const auto op = make_levelset_operands<T, I, C>(*data, side, alpha, nonunit);
  const std::int32_t middle = num_colors - head_colors - tail_colors;
  if (middle < 1) return sycl::event();
  const std::vector<I> color_ptr = read_back<I, C>(
      queue, as_container<C, I>(data->color_ptr_host), static_cast<std::size_t>(num_colors) + 1,
      {});
  const bool lower = side == triangle::lower;
  sycl::event last;
  for (std::int32_t i = 0; i < middle; ++i) {
    const std::int32_t color = lower ? head_colors + i : num_colors - tail_colors - 1 - i;
    last = submit_one_color<T, I, C>(queue, op, static_cast<std::size_t>(color_ptr[color]),
                                     static_cast<std::size_t>(color_ptr[color + 1]),
                                     i == 0 ? dependencies : std::vector<sycl::event>{last});
  }
  if constexpr (C == container_usm) dependencies.push_back(last);
  return last;
}

template <typename T, typename I>
sycl::event trsv_levelset_middlecolors_sync_by_kernels(
    sycl::queue& queue, triangle side, containerType container, T alpha, std::int32_t num_colors,
    std::int32_t head_colors, std::int32_t tail_colors, bool nonunit, coloringData* data,
    std::vector<sycl::event>& dependencies) {
  if (container == container_usm)
    return middle_by_kernels<T, I, container_usm>(queue, side, alpha, num_colors, head_colors,
                                                  tail_colors, nonunit, data, dependencies);
  return middle_by_kernels<T, I, container_buffer>(queue, side, alpha, num_colors, head_colors,
                                                   tail_colors, nonunit, data, dependencies);
}

template <typename T, typename I>
sycl::event trsv_lower_levelset_middlecolors_sync_by_kernels(
    sycl::queue& queue, containerType container, T alpha, std::int32_t num_colors,
    std::int32_t head_colors, std::int32_t tail_colors, bool nonunit, coloringData* data,
    std::vector<sycl::event>& dependencies) {
  return trsv_levelset_middlecolors_sync_by_kernels<T, I>(queue, triangle::lower, container,
                                                          alpha, num_colors, head_colors,
                                                          tail_colors, nonunit, data,
                                                          dependencies);
}

template <typename T, typename I>
sycl::event trsv_upper_levelset_middlecolors_sync_by_kernels(
    sycl::queue& queue, containerType container, T alpha, std::int32_t num_colors,
    std::int32_t head_colors, std::int32_t tail_colors, bool nonunit, coloringData* data,
    std::vector<sycl::event>& dependencies) {
  return trsv_levelset_middlecolors_sync_by_kernels<T, I>(queue, triangle::upper, container,
                                                          alpha, num_colors, head_colors,
                                                          tail_colors, nonunit, data,
                                                          dependencies);
}

}  // namespace orvane::vrt::sparse::gpu::kernels
