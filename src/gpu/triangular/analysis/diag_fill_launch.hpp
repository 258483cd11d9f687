// Launches of the per-row kernels of the diagonal analysis: values and flags (fillDiagPos1),
// split positions of sorted rows (fillDiagPos2), or both in one walk (fillDiagPos3).
#pragma once

#include <cstdint>
#include <sycl/sycl.hpp>
#include <type_traits>
#include <vector>

#include "containers/views.hpp"
#include "gpu/operand_binding.hpp"
#include "gpu/triangular/analysis/diag_operands.hpp"
#include "gpu/triangular/design_names.hpp"

namespace orvane::vrt::sparse::gpu::kernels {

// Whole unsorted rows: the first entry on the diagonal gives the value.
template <typename T, typename I, containerType C>
sycl::event fill_diag_values(sycl::queue& queue, const diag_operands<T, I, C>& op,
                             const std::vector<sycl::event>& deps) {
  return queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, deps);
    const auto reads = bind_reads(h, op.row_ptr, op.col_ind, op.values);
    const auto rp = std::get<0>(reads);
    const auto ci = std::get<1>(reads);
    const auto va = std::get<2>(reads);
    const auto out = bind_diagonal(h, op);
    const I base = op.index;
    h.parallel_for<fillDiagPos1<T, I, C>>(
        sycl::range<1>(static_cast<std::size_t>(op.nrows)), [=](sycl::id<1> id) {
          const I row = static_cast<I>(id[0]);
          out.store(row, find_diagonal<I>(raw(rp), raw(ci), base, row), raw(va));
        });
  });
}

template <typename I, containerType C>
sycl::event fill_diag_positions(sycl::queue& queue, std::int64_t nrows, I base,
                                container_t<C, I> row_ptr, container_t<C, I> col_ind,
                                container_t<C, I> lower_end, container_t<C, I> upper_start,
                                const std::vector<sycl::event>& deps) {
  return queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, deps);
    const auto reads = bind_reads(h, row_ptr, col_ind);
    const auto rp = std::get<0>(reads);
    const auto ci = std::get<1>(reads);
    auto le = bind(h, lower_end, sycl::write_only);
    auto us = bind(h, upper_start, sycl::write_only);
    h.parallel_for<fillDiagPos2<I, C>>(
        sycl::range<1>(static_cast<std::size_t>(nrows)), [=](sycl::id<1> id) {
          const I row = static_cast<I>(id[0]);
          store_split(row, walk_sorted_row<I>(raw(rp), raw(ci), base, row), raw(le), raw(us));
        });
  });
}

template <typename T, typename I, containerType C>
sycl::event fill_diag_values_and_positions(sycl::queue& queue, const diag_operands<T, I, C>& op,
                                           const std::vector<sycl::event>& deps) {
  return queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, deps);
    const auto reads = bind_reads(h, op.row_ptr, op.col_ind, op.values);
    const auto rp = std::get<0>(reads);
    const auto ci = std::get<1>(reads);
    const auto va = std::get<2>(reads);
    const auto out = bind_diagonal(h, op);
    auto le = bind(h, op.lower_end, sycl::write_only);
    auto us = bind(h, op.upper_start, sycl::write_only);
    const I base = op.index;
    h.parallel_for<fillDiagPos3<T, I, C>>(
        sycl::range<1>(static_cast<std::size_t>(op.nrows)), [=](sycl::id<1> id) {
          const I row = static_cast<I>(id[0]);
          const split_walk<I> w = walk_sorted_row<I>(raw(rp), raw(ci), base, row);
          store_split(row, w, raw(le), raw(us));
          out.store(row, w.diagonal, raw(va));
        });
  });
}

}  // namespace orvane::vrt::sparse::gpu::kernels
