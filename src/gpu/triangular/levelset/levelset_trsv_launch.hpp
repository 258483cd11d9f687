// Level-set trsv on the device: the right-hand side into color order, the narrow colors at both
// ends inside one work-group each, the middle by kernels or by atomics, the solution back.
#pragma once

#include <cstdint>
#include <orvane/vrt/sparse.hpp>
#include <vector>

#include "common/internal_error.hpp"
#include "containers/views.hpp"
#include "gpu/triangular/design_names.hpp"
#include "gpu/triangular/levelset/levelset_plan.hpp"
#include "gpu/triangular/levelset/levelset_trsv.hpp"
#include "gpu/triangular/levelset/middle_atomic_launch.hpp"
#include "gpu/triangular/levelset/middle_per_color_launch.hpp"
#include "gpu/triangular/levelset/narrow_run_launch.hpp"
#include "gpu/triangular/levelset/permute_launch.hpp"
#include "handle/triangular_data.hpp"

namespace orvane::vrt::sparse::gpu {

// The lower side walks the colors upward; the upper side walks them downward, which the same
// coloring serves, since every entry above the diagonal of a row leads to a higher color.
template <typename T, typename I, containerType C>
sycl::event levelset_trsv(sycl::queue& queue, triangle side, diag diagonal, T alpha,
                          matrix_handle* handle, container_t<C, T> x, container_t<C, T> y,
                          const std::vector<sycl::event>& deps) {
  const bool lower = side == triangle::lower;
  const coloringData* d = lower ? handle->coloring_lower : handle->coloring_upper;
  if (d == nullptr) internal_error(triangular_names::trsv);
  const std::int32_t colors = d->num_colors;
  const std::int32_t head = d->head_colors;
  const std::int32_t tail = d->tail_colors;
  const auto op = make_levelset_operands<T, I, C>(*d, side, alpha, diagonal != diag::unit);
  std::vector<sycl::event> list = deps;

  chain_event<C>(list,
                 submit_permutation<permutation::into_colors, T, I, C>(
                     queue, side, op.nrows, x, as_container<C, I>(d->row_of_position), op.x, list));
  // The lower side meets the head first, the upper side the tail.
  const std::int32_t first_run = lower ? head : tail;
  const std::int32_t second_run = lower ? tail : head;
  if (first_run >= 1)
    chain_event<C>(list, submit_narrow_run<narrow_run::first, T, I, C>(
                             queue, op, lower ? 0 : colors - 1, first_run, lower ? 1 : -1, list));
  if (colors - head - tail >= 1) {
    const middle_sync mode = middle_sync_of(*d, side, sub_group_offer::of(queue.get_device()));
    visit_middle_sync<T>(mode, [&]<middle_sync M>() {
      if constexpr (M == middle_sync::atomics)
        middle_by_atomics<T, I, C>(queue, op, *d, list);
      else
        middle_per_color<T, I, C>(queue, op, *d, list);
    });
  }
  if (second_run >= 1)
    chain_event<C>(
        list, submit_narrow_run<narrow_run::second, T, I, C>(
                  queue, op, lower ? colors - tail : head - 1, second_run, lower ? 1 : -1, list));
  return submit_permutation<permutation::into_rows, T, I, C>(
      queue, side, op.nrows, op.y, as_container<C, I>(d->position_of_row), y, list);
}

}  // namespace orvane::vrt::sparse::gpu

#define VRT_INSTANTIATE_GPU_LEVELSET_TRSV(T, I, C)                                             \
  namespace orvane::vrt::sparse::gpu {                                                         \
  template sycl::event levelset_trsv<T, I, C>(sycl::queue&, triangle, diag, T, matrix_handle*, \
                                              container_t<C, T>, container_t<C, T>,            \
                                              const std::vector<sycl::event>&);                \
  }
