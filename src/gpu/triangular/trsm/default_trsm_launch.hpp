// The default trsm solve, for a triangle without analysis: the dense columns are the parallel
// dimension. On code 6, with Y in device-reachable memory, a self-scheduling kernel solves one
// row per work-group behind per-entry flags; elsewhere (host memory, no work areas, other codes)
// one work-item walks each column.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <orvane/vrt/sparse.hpp>
#include <sycl/sycl.hpp>
#include <tuple>
#include <vector>

#include "containers/containers.hpp"
#include "containers/views.hpp"
#include "gpu/triangular/design_names.hpp"
#include "gpu/triangular/trsm/default_trsm_kernel.hpp"
#include "gpu/triangular/trsm/trsm_operands.hpp"
#include "handle/handle.hpp"
#include "platform/architecture.hpp"
#include "platform/device_info.hpp"

namespace orvane::vrt::sparse::gpu {

// Columns of one work-group of the flagged solve.
inline constexpr std::int64_t default_trsm_group = 16;

template <typename T, typename I, containerType C>
kernels::default_trsm_args<T, I> default_trsm_args_of(const default_trsm_operands<T, I, C>& op) {
  return {op.side == triangle::upper,
          op.unit,
          op.x_shape.row_major,
          static_cast<I>(op.nrows),
          static_cast<std::size_t>(op.columns),
          op.x_shape.ld,
          op.y_shape.ld,
          op.base,
          op.alpha};
}

template <typename T, typename I, containerType C>
sycl::event submit_column_solve(sycl::queue& queue, const default_trsm_operands<T, I, C>& op,
                                const std::vector<sycl::event>& deps) {
  auto launch = [&](auto name) {
    using Name = typename decltype(name)::type;
    return queue.submit([&](sycl::handler& h) {
      const auto a = bind_product<C>(h, deps, op);
      const auto args = default_trsm_args_of(op);
      h.parallel_for<Name>(
          sycl::range<1>(static_cast<std::size_t>(op.columns)), [=](sycl::item<1> it) {
            kernels::solve_dense_column<T, I>(it[0], args, raw(a.row_ptr), raw(a.col_ind),
                                              raw(a.values), raw(a.x), raw(a.y));
          });
    });
  };
  using namespace kernels;
  return launch_for_side<def_notmp_trsm_lower_kernel<T, I, C>,
                         def_notmp_trsm_upper_kernel<T, I, C>>(op.side, launch);
}

template <typename T, typename I, containerType C>
sycl::event submit_flagged_solve(sycl::queue& queue, const default_trsm_operands<T, I, C>& op,
                                 container_t<C, I> done_flags, container_t<C, I> row_tickets,
                                 const std::vector<sycl::event>& deps) {
  const auto group = static_cast<std::size_t>(std::min(op.columns, default_trsm_group));
  const auto column_groups = (static_cast<std::size_t>(op.columns) + group - 1) / group;
  auto launch = [&](auto name) {
    using Name = typename decltype(name)::type;
    return queue.submit([&](sycl::handler& h) {
      const auto a = bind_product<C>(h, deps, op);
      auto flags = bind(h, done_flags, sycl::read_write);
      auto tickets = bind(h, row_tickets, sycl::read_write);
      const auto args = default_trsm_args_of(op);
      const std::size_t groups = static_cast<std::size_t>(op.nrows) * column_groups;
      h.parallel_for<Name>(sycl::nd_range<1>(groups * group, group), [=](sycl::nd_item<1> it) {
        kernels::solve_flagged_row<T, I>(it.get_group(), it.get_local_id(0), group, column_groups,
                                         args, raw(a.row_ptr), raw(a.col_ind), raw(a.values),
                                         raw(a.x), raw(a.y), raw(flags), raw(tickets));
      });
    });
  };
  using namespace kernels;
  return launch_for_side<def_trsm_lower_kernel<T, I, C>, def_trsm_upper_kernel<T, I, C>>(op.side,
                                                                                         launch);
}

// The flagged solve's work areas, zeroed; null where an allocation failed or landed in host
// memory (what was taken is freed: the solve goes on without them, unreported).
template <typename I, containerType C>
bool take_flag_areas(sycl::queue& queue, std::size_t flag_count, std::size_t ticket_count,
                     void** flags, void** tickets) {
  *flags = try_allocate<I>(flag_count, queue, C);
  *tickets = *flags != nullptr ? try_allocate<I>(ticket_count, queue, C) : nullptr;
  // A device allocation may have fallen back to host memory, which device atomics never target.
  bool usable = *tickets != nullptr;
  if constexpr (C == container_usm)
    usable = usable && !is_host_usm<C>(queue, static_cast<I*>(*flags)) &&
             !is_host_usm<C>(queue, static_cast<I*>(*tickets));
  if (!usable) {
    if (*flags != nullptr) deallocate_container<I>(*flags, queue, C);
    if (*tickets != nullptr) deallocate_container<I>(*tickets, queue, C);
    *flags = *tickets = nullptr;
    return false;
  }
  try {
    if constexpr (C == container_usm) {
      queue.memset(*flags, 0, flag_count * sizeof(I)).wait();
      queue.memset(*tickets, 0, ticket_count * sizeof(I)).wait();
    } else {
      fill_container<I>(queue, as_container<C, I>(*flags), I(0), flag_count, {}).wait();
      fill_container<I>(queue, as_container<C, I>(*tickets), I(0), ticket_count, {}).wait();
    }
  } catch (...) {
    queue.wait();
    deallocate_container<I>(*flags, queue, C);
    deallocate_container<I>(*tickets, queue, C);
    *flags = *tickets = nullptr;
    throw;
  }
  return true;
}

template <typename T, typename I, containerType C>
sycl::event def_trsm(sycl::queue& queue, triangle side, layout dense_layout, diag diagonal, T alpha,
                     matrix_handle* A, container_t<C, T> x, std::int64_t columns, std::int64_t ldx,
                     container_t<C, T> y, std::int64_t ldy, const std::vector<sycl::event>& deps) {
  const sparseStructure* s = A->primary;
  const bool row_major = dense_layout == layout::row_major;
  const default_trsm_operands<T, I, C> op{
      {as_container<C, I>(s->row_ptr), as_container<C, I>(s->col_ind),
       as_container<C, T>(s->values), x, y},
      side,
      s->nrows,
      columns,
      alpha,
      static_cast<I>(s->index != 0 ? 1 : 0),
      diagonal == diag::unit,
      {row_major, static_cast<std::size_t>(ldx)},
      {row_major, static_cast<std::size_t>(ldy)}};
  const sycl::usm::alloc kind = memory_kind<C>(queue, y);
  if (kind == sycl::usm::alloc::unknown)
    throw invalid_argument("sparse", triangular_names::trsm, triangular_names::unknown_usm_kind);
  int code = 0;
  vrt::gpu::get_architecture(&code, &queue);
  // Device atomics never target host memory; the flags are only taken where the flagged kernel
  // is the one that runs.
  void* flags = nullptr;
  void* tickets = nullptr;
  const auto group = std::min(columns, default_trsm_group);
  const auto column_groups = static_cast<std::size_t>((columns + group - 1) / group);
  const auto flag_count = static_cast<std::size_t>(s->nrows) * static_cast<std::size_t>(columns);
  if (kind != sycl::usm::alloc::host && code == code_of(architecture::code6) && flag_count > 0 &&
      take_flag_areas<I, C>(queue, flag_count, column_groups, &flags, &tickets)) {
    sycl::event solved;
    try {
      solved = submit_flagged_solve<T, I, C>(queue, op, as_container<C, I>(flags),
                                             as_container<C, I>(tickets), deps);
      solved.wait();
    } catch (...) {
      queue.wait();
      deallocate_container<I>(flags, queue, C);
      deallocate_container<I>(tickets, queue, C);
      throw;
    }
    deallocate_container<I>(flags, queue, C);
    deallocate_container<I>(tickets, queue, C);
    return solved;
  }
  return submit_column_solve<T, I, C>(queue, op, deps);
}

}  // namespace orvane::vrt::sparse::gpu
