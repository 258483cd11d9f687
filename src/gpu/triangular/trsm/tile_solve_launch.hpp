// The tile solve of trsm: the dense columns in passes of one block each (and one pass for the
// leftover columns), each pass gathering its columns into position order, solving the colors in
// the order of the side (head runs and tail runs inside one work-group, one submission per
// middle color) and scattering the solution back. Two tiles per call carry a pass.
#pragma once

#include <cstddef>
#include <cstdint>
#include <orvane/vrt/sparse.hpp>
#include <sycl/sycl.hpp>
#include <vector>

#include "common/internal_error.hpp"
#include "common/variants.hpp"
#include "containers/containers.hpp"
#include "containers/views.hpp"
#include "gpu/triangular/coloring/host_staging.hpp"
#include "gpu/triangular/design_names.hpp"
#include "gpu/triangular/trsm/tile_solve.hpp"
#include "gpu/triangular/trsm/tile_step_launch.hpp"
#include "gpu/triangular/trsm/trsm_operands.hpp"
#include "gpu/triangular/trsm/trsm_plan.hpp"
#include "handle/coalesce_events.hpp"
#include "handle/triangular_data.hpp"
#include "platform/device_info.hpp"

namespace orvane::vrt::sparse::gpu {

// The device's work-group limit as the tile plan takes it.
inline std::int64_t tile_work_group_limit(const sycl::device& device) {
  const auto limit =
      static_cast<std::int64_t>(device.get_info<sycl::info::device::max_work_group_size>());
  if (limit < 1)
    throw computation_error("sparse", triangular_names::trsm, triangular_names::no_work_group_size);
  return device.is_gpu() ? limit : 1;
}

// One pass on the chain `list` (replaced by the pass's last event in USM).
template <tile_pass P, typename T, typename I, containerType C>
void run_tile_pass(sycl::queue& queue, const tile_operands<T, I, C>& op, const coloringData& d,
                   const std::vector<I>& color_ptr, const tile_pass_shape& pass,
                   container_t<C, T> x, dense_shape x_shape, container_t<C, T> y,
                   dense_shape y_shape, std::vector<sycl::event>& list) {
  auto step = [&](const sycl::event& e) {
    if constexpr (C == container_usm) list.assign(1, e);
  };
  const bool lower = op.set.side == triangle::lower;
  const std::int32_t colors = d.num_colors;
  const std::int32_t head = d.head_colors;
  const std::int32_t tail = d.tail_colors;
  step(submit_tile_gather<P, T, I, C>(queue, op, pass, x, x_shape, list));
  // The lower side meets the head first, the upper side the tail.
  const std::int32_t first_run = lower ? head : tail;
  const std::int32_t second_run = lower ? tail : head;
  if (first_run >= 1)
    step(submit_tile_run<tile_run::first, P, T, I, C>(queue, op, pass, lower ? 0 : colors - 1,
                                                      first_run, lower ? 1 : -1, list));
  const std::int32_t middle = colors - head - tail;
  for (std::int32_t i = 0; i < middle; ++i) {
    const std::int32_t color = lower ? head + i : colors - tail - 1 - i;
    step(submit_tile_color<P, T, I, C>(queue, op, pass, static_cast<std::size_t>(color_ptr[color]),
                                       static_cast<std::size_t>(color_ptr[color + 1]), list));
  }
  if (second_run >= 1)
    step(submit_tile_run<tile_run::second, P, T, I, C>(
        queue, op, pass, lower ? colors - tail : head - 1, second_run, lower ? 1 : -1, list));
  const sycl::event scattered = submit_tile_scatter<P, T, I, C>(queue, op, pass, y, y_shape, list);
  list.assign(1, scattered);
}

template <typename T, typename I, containerType C>
sycl::event opt_trsm(sycl::queue& queue, triangle side, layout dense_layout, diag diagonal, T alpha,
                     matrix_handle* handle, container_t<C, T> x, std::int64_t columns,
                     std::int64_t ldx, container_t<C, T> y, std::int64_t ldy,
                     const std::vector<sycl::event>& deps) {
  const bool lower = side == triangle::lower;
  const coloringData* d = lower ? handle->coloring_lower : handle->coloring_upper;
  if (d == nullptr) internal_error(triangular_names::trsm);
  const std::int64_t limit = tile_work_group_limit(queue.get_device());
  int code = 0;
  vrt::gpu::get_architecture(&code, &queue);
  const trsm_tile_plan plan = plan_trsm_tiles(code, columns, limit);
  const auto nrows = static_cast<std::size_t>(d->nrows);
  if (nrows == 0) return coalesce_events(queue, C, deps, false);

  const std::size_t tile_entries = nrows * static_cast<std::size_t>(plan.tile);
  void* x_tile = try_allocate<T>(tile_entries, queue, C);
  void* y_tile = x_tile != nullptr ? try_allocate<T>(tile_entries, queue, C) : nullptr;
  if (y_tile == nullptr) {
    if (x_tile != nullptr) deallocate_container<T>(x_tile, queue, C);
    throw device_bad_alloc("sparse", triangular_names::trsm, queue.get_device());
  }

  tile_operands<T, I, C> op{
      make_levelset_operands<T, I, C>(*d, side, alpha, diagonal != diag::unit),
      as_container<C, I>(d->row_of_position), static_cast<std::size_t>(plan.tile)};
  op.set.x = as_container<C, T>(x_tile);
  op.set.y = as_container<C, T>(y_tile);
  const dense_shape x_shape{dense_layout == layout::row_major, static_cast<std::size_t>(ldx)};
  const dense_shape y_shape{dense_layout == layout::row_major, static_cast<std::size_t>(ldy)};
  const std::int32_t middle = d->num_colors - d->head_colors - d->tail_colors;
  std::vector<sycl::event> list = deps;
  const auto rows = static_cast<std::size_t>(plan.rows_per_group);
  const auto block = static_cast<std::size_t>(plan.block);
  try {
    const std::vector<I> color_ptr =
        middle >= 1 ? read_back<I, C>(queue, as_container<C, I>(d->color_ptr_host),
                                      static_cast<std::size_t>(d->num_colors) + 1, {})
                    : std::vector<I>();
    for (std::int64_t b = 0; b < plan.full_blocks; ++b)
      run_tile_pass<tile_pass::full, T, I, C>(queue, op, *d, color_ptr,
                                              {static_cast<std::size_t>(b) * block, block, rows}, x,
                                              x_shape, y, y_shape, list);
    if (plan.rest > 0)
      run_tile_pass<tile_pass::rest, T, I, C>(queue, op, *d, color_ptr,
                                              {static_cast<std::size_t>(plan.full_blocks) * block,
                                               static_cast<std::size_t>(plan.rest), rows},
                                              x, x_shape, y, y_shape, list);
    list.back().wait();
  } catch (...) {
    queue.wait();
    deallocate_container<T>(x_tile, queue, C);
    deallocate_container<T>(y_tile, queue, C);
    throw;
  }
  deallocate_container<T>(x_tile, queue, C);
  deallocate_container<T>(y_tile, queue, C);
  return list.back();
}

}  // namespace orvane::vrt::sparse::gpu

#define VRT_INSTANTIATE_GPU_TILE_TRSM(T, I, C)                                                    \
  namespace orvane::vrt::sparse::gpu {                                                            \
  template sycl::event opt_trsm<T, I, C>(sycl::queue&, triangle, layout, diag, T, matrix_handle*, \
                                         container_t<C, T>, std::int64_t, std::int64_t,           \
                                         container_t<C, T>, std::int64_t,                         \
                                         const std::vector<sycl::event>&);                        \
  }
