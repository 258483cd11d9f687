// Level-set trsv on the device: the right-hand side into color order, the narrow colors at both
// ends inside one work-group each, the middle by kernels or by atomics, the solution back.
#pragma once

#include <cstdint>
#include <vector>

#include <orvane/vrt/sparse.hpp>

#include "common/variants.hpp"
#include "gpu/triangular/coloring/color_plan.hpp"
#include "gpu/triangular/levelset/levelset_trsv.hpp"
#include "gpu/triangular/levelset/middle_atomic_launch.hpp"
#include "gpu/triangular/levelset/middle_per_color_launch.hpp"
#include "gpu/triangular/levelset/narrow_run_launch.hpp"
#include "gpu/triangular/levelset/permute_launch.hpp"
#include "handle/triangular_data.hpp"

namespace orvane::vrt::sparse::gpu {

namespace levelset_detail {

// In USM each step depends on all steps before it; buffers order themselves.
template <containerType C>
void chain(std::vector<sycl::event>& list, const sycl::event& e) {
  if constexpr (C == container_usm) list.push_back(e);
}

template <typename T, typename I, containerType C>
sycl::event levelset_solve(sycl::queue& queue, triangle side, diag diag_val, T alpha,
                           matrix_handle* handle, container_t<C, T> x, container_t<C, T> y,
                           const std::vector<sycl::event>& deps) {
  const bool lower = side == triangle::lower;
  coloringData* d = lower ? handle->coloring_lower : handle->coloring_upper;
  if (d == nullptr) throw computation_error("sparse", "trsv", "internal error");
  const bool nonunit = diag_val != diag::unit;
  const std::int32_t colors = d->num_colors;
  const std::int32_t head = d->head_colors;
  const std::int32_t tail = d->tail_colors;
  const auto op = make_levelset_operands<T, I, C>(*d, side, alpha, nonunit);
  std::vector<sycl::event> list = deps;

  chain<C>(list, submit_permutation<permutation::into_colors, T, I, C>(
                     queue, side, op.nrows, x, as_container<C, I>(d->row_of_position), op.rhs,
                     list));
  // The lower side meets the head first, the upper side the tail.
  const std::int32_t first_run = lower ? head : tail;
  const std::int32_t second_run = lower ? tail : head;
  if (first_run >= 1)
    chain<C>(list, submit_narrow_run<narrow_run::first, T, I, C>(
                       queue, op, lower ? 0 : colors - 1, first_run, lower ? 1 : -1, list));
  if (colors - head - tail >= 1) {
    // Chunks of color 0 post nothing (the kernel's guard), so a lower coloring whose middle
    // starts at color 0 and spans two colors or more would leave color 1 waiting for ever: such
    // a coloring synchronises by kernels.
    const bool atomics_progress = !(lower && head == 0 && colors - tail >= 2);
    if (d->sync_mode == sync_by_atomics && atomics_progress)
      lower ? kernels::trsv_lower_levelset_middlecolors_sync_by_atomics<T, I>(
                  queue, C, alpha, colors, nonunit, d, list)
            : kernels::trsv_upper_levelset_middlecolors_sync_by_atomics<T, I>(
                  queue, C, alpha, colors, nonunit, d, list);
    else if (d->sync_mode == sync_by_kernels || d->sync_mode == sync_by_atomics)
      lower ? kernels::trsv_lower_levelset_middlecolors_sync_by_kernels<T, I>(
                  queue, C, alpha, colors, head, tail, nonunit, d, list)
            : kernels::trsv_upper_levelset_middlecolors_sync_by_kernels<T, I>(
                  queue, C, alpha, colors, head, tail, nonunit, d, list);
    else
      throw computation_error("sparse", "trsv", "internal error");
  }
  if (second_run >= 1)
    chain<C>(list, submit_narrow_run<narrow_run::second, T, I, C>(
                       queue, op, lower ? colors - tail : head - 1, second_run, lower ? 1 : -1,
                       list));
  return submit_permutation<permutation::into_rows, T, I, C>(
      queue, side, op.nrows, op.sol, as_container<C, I>(d->position_of_row), y, list);
}

}  // namespace levelset_detail

template <typename T, typename I, containerType C>
sycl::event levelsetTrsvLower_impl(sycl::queue& queue, uplo, transpose, diag diag_val, T alpha,
                                   matrix_handle* handle, container_t<C, T> x,
                                   container_t<C, T> y, const std::vector<sycl::event>& deps) {
  return levelset_detail::levelset_solve<T, I, C>(queue, triangle::lower, diag_val, alpha,
                                                  handle, x, y, deps);
}

// Descending colors serve the upper triangle with the same coloring: every entry above the
// diagonal of a row leads to a higher color.
template <typename T, typename I, containerType C>
sycl::event levelsetTrsvUpper_impl(sycl::queue& queue, uplo, transpose, diag diag_val, T alpha,
                                   matrix_handle* handle, container_t<C, T> x,
                                   container_t<C, T> y, const std::vector<sycl::event>& deps) {
  return levelset_detail::levelset_solve<T, I, C>(queue, triangle::upper, diag_val, alpha,
                                                  handle, x, y, deps);
}

}  // namespace orvane::vrt::sparse::gpu

#define VRT_INSTANTIATE_GPU_LEVELSET_TRSV(T, I, C)                                              \
  namespace orvane::vrt::sparse::gpu {                                                          \
  template sycl::event levelsetTrsvLower_impl<T, I, C>(sycl::queue&, uplo, transpose, diag, T,  \
                                                       matrix_handle*, container_t<C, T>,       \
                                                       container_t<C, T>,                       \
                                                       const std::vector<sycl::event>&);        \
  template sycl::event levelsetTrsvUpper_impl<T, I, C>(sycl::queue&, uplo, transpose, diag, T,  \
                                                       matrix_handle*, container_t<C, T>,       \
                                                       container_t<C, T>,                       \
                                                       const std::vector<sycl::event>&);        \
  }
