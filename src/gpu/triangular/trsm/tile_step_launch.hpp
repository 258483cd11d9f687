// The five submissions of one pass of the tile solve over `width` dense columns from `offset`:
// the gather into x_tile, the first narrow run, one middle color, the second narrow run and the
// scatter to Y. A full pass (width = block) and the leftover pass (width = rest) run the same
// code under the kernel names of each.
#pragma once

#include <cstddef>
#include <cstdint>
#include <sycl/sycl.hpp>
#include <tuple>
#include <type_traits>
#include <vector>

#include "containers/views.hpp"
#include "gpu/triangular/design_names.hpp"
#include "gpu/triangular/trsm/tile_kernel.hpp"
#include "gpu/triangular/trsm/trsm_operands.hpp"

namespace orvane::vrt::sparse::gpu {

// Which pass: a full block of columns or the leftover columns.
enum class tile_pass { full, rest };

// The pass's geometry: its columns, the first of them, and the rows of a work-group.
struct tile_pass_shape {
  std::size_t offset;
  std::size_t width;
  std::size_t rows_per_group;
};

// launch(type_identity<Name>) with the name of the side for the pass.
template <tile_pass P, typename Lower, typename Upper, typename RestLower, typename RestUpper,
          typename Launch>
auto launch_for_pass(triangle side, Launch&& launch) {
  if constexpr (P == tile_pass::full)
    return launch_for_side<Lower, Upper>(side, launch);
  else
    return launch_for_side<RestLower, RestUpper>(side, launch);
}

// x_tile[p, j] = X(row_of_position[p], offset + j) for every position and column of the pass.
template <tile_pass P, typename T, typename I, containerType C>
sycl::event submit_tile_gather(sycl::queue& queue, const tile_operands<T, I, C>& op,
                               const tile_pass_shape& pass, container_t<C, T> x, dense_shape shape,
                               const std::vector<sycl::event>& deps) {
  auto launch = [&](auto name) {
    using Name = typename decltype(name)::type;
    return queue.submit([&](sycl::handler& h) {
      depend_on<C>(h, deps);
      const auto reads = bind_reads(h, x, op.row_of_position);
      auto xs = std::get<0>(reads);
      auto rop = std::get<1>(reads);
      auto xt = bind(h, op.set.x, sycl::read_write);
      const std::size_t tile = op.tile, offset = pass.offset, ld = shape.ld;
      const bool row_major = shape.row_major;
      h.parallel_for<Name>(sycl::range<2>(op.set.nrows, pass.width), [=](sycl::item<2> it) {
        kernels::gather_tile_entry<T, I>(it[0], it[1], tile, offset, row_major, ld, raw(xs),
                                         raw(rop), raw(xt));
      });
    });
  };
  using namespace kernels;
  return launch_for_pass<P, permMatX_lower_class<T, I, C>, permMatX_upper_class<T, I, C>,
                         remPermMatX_lower_class<T, I, C>, remPermMatX_upper_class<T, I, C>>(
      op.set.side, launch);
}

// Y(row_of_position[p], offset + j) = y_tile[p, j]; alpha and beta play no part.
template <tile_pass P, typename T, typename I, containerType C>
sycl::event submit_tile_scatter(sycl::queue& queue, const tile_operands<T, I, C>& op,
                                const tile_pass_shape& pass, container_t<C, T> y, dense_shape shape,
                                const std::vector<sycl::event>& deps) {
  auto launch = [&](auto name) {
    using Name = typename decltype(name)::type;
    return queue.submit([&](sycl::handler& h) {
      depend_on<C>(h, deps);
      const auto reads = bind_reads(h, op.set.y, op.row_of_position);
      auto yt = std::get<0>(reads);
      auto rop = std::get<1>(reads);
      // read_write: the entries between the columns (ld above the need) stay as they are.
      auto ys = bind(h, y, sycl::read_write);
      const std::size_t tile = op.tile, offset = pass.offset, ld = shape.ld;
      const bool row_major = shape.row_major;
      h.parallel_for<Name>(sycl::range<2>(op.set.nrows, pass.width), [=](sycl::item<2> it) {
        kernels::scatter_tile_entry<T, I>(it[0], it[1], tile, offset, row_major, ld, raw(yt),
                                          raw(rop), raw(ys));
      });
    });
  };
  using namespace kernels;
  return launch_for_pass<P, permMatY_lower_class<T, I, C>, permMatY_upper_class<T, I, C>,
                         remPermMatY_lower_class<T, I, C>, remPermMatY_upper_class<T, I, C>>(
      op.set.side, launch);
}

// Which narrow run of the pass: the one it meets first or second (lower: head, then tail).
enum class tile_run { first, second };

// Colors first, first + step, ... (count of them) in one work-group of width by rows_per_group.
template <tile_run R, tile_pass P, typename T, typename I, containerType C>
sycl::event submit_tile_run(sycl::queue& queue, const tile_operands<T, I, C>& op,
                            const tile_pass_shape& pass, std::int32_t first, std::int32_t count,
                            std::int32_t step, const std::vector<sycl::event>& deps) {
  auto launch = [&](auto name) {
    using Name = typename decltype(name)::type;
    return queue.submit([&](sycl::handler& h) {
      const auto update = bind_tile_update(h, deps, op);
      auto cp = std::get<0>(bind_reads(h, op.set.color_ptr));
      const sycl::range<2> group(pass.width, pass.rows_per_group);
      const std::size_t rows = pass.rows_per_group;
      h.parallel_for<Name>(sycl::nd_range<2>(group, group), [=](sycl::nd_item<2> it) {
        kernels::solve_tile_run<I>(it.get_group(), it.get_local_id(0), it.get_local_id(1), rows,
                                   raw(cp), first, count, step, update);
      });
    });
  };
  using namespace kernels;
  if constexpr (R == tile_run::first)
    return launch_for_pass<P, firstColorsTrsmLower<T, I, C>, firstColorsTrsmUpper<T, I, C>,
                           remFirstColorsTrsmLower<T, I, C>, remFirstColorsTrsmUpper<T, I, C>>(
        op.set.side, launch);
  else
    return launch_for_pass<P, lastColorsTrsmLower<T, I, C>, lastColorsTrsmUpper<T, I, C>,
                           remLastColorsTrsmLower<T, I, C>, remLastColorsTrsmUpper<T, I, C>>(
        op.set.side, launch);
}

// One middle color at positions begin .. end: its width (rounded up to whole groups) by the
// pass's columns.
template <tile_pass P, typename T, typename I, containerType C>
sycl::event submit_tile_color(sycl::queue& queue, const tile_operands<T, I, C>& op,
                              const tile_pass_shape& pass, std::size_t begin, std::size_t end,
                              const std::vector<sycl::event>& deps) {
  auto launch = [&](auto name) {
    using Name = typename decltype(name)::type;
    return queue.submit([&](sycl::handler& h) {
      const auto update = bind_tile_update(h, deps, op);
      const std::size_t rows = pass.rows_per_group;
      const std::size_t positions = (end - begin + rows - 1) / rows * rows;
      h.parallel_for<Name>(sycl::nd_range<2>(sycl::range<2>(pass.width, positions),
                                             sycl::range<2>(pass.width, rows)),
                           [=](sycl::nd_item<2> it) {
                             kernels::solve_tile_color(it.get_global_id(0), it.get_global_id(1),
                                                       begin, end, update);
                           });
    });
  };
  using namespace kernels;
  return launch_for_pass<P, middleColorsTrsmLower<T, I, C>, middleColorsTrsmUpper<T, I, C>,
                         remMiddleColorsTrsmLower<T, I, C>, remMiddleColorsTrsmUpper<T, I, C>>(
      op.set.side, launch);
}

}  // namespace orvane::vrt::sparse::gpu
