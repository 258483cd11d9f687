// Launches of the symmetric expansion of one triangle: counting per row (symmetric1, symmetric2),
// scattering entries and their mirrors (symmetric3) and the row pointers (symmetric4).
#pragma once

#include <cstdint>
#include <sycl/sycl.hpp>
#include <vector>

#include "common/portability.hpp"
#include "containers/views.hpp"
#include "gpu/triangular/analysis/symmetric_kernel.hpp"
#include "gpu/triangular/design_names.hpp"

namespace orvane::vrt::sparse::gpu::kernels {

// Lanes of the sub-group that counts one row: one block read covers this many columns.
inline constexpr int symmetric_lanes = 16;

template <typename I, containerType C>
sycl::event zero_counts(sycl::queue& queue, std::size_t count, container_t<C, I> counts,
                        const std::vector<sycl::event>& deps) {
  return queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, deps);
    auto c = bind(h, counts, sycl::write_only);
    h.parallel_for<symmetric1<I, C>>(sycl::range<1>(count),
                                     [=](sycl::id<1> i) { clear_count<I>(i[0], raw(c)); });
  });
}

// counts[row + 1] gains the kept entries of row, counts[col + 1] one per mirrored entry.
template <typename I, containerType C>
sycl::event count_rows(sycl::queue& queue, bool upper, std::int64_t nrows, I base,
                       container_t<C, I> row_ptr, container_t<C, I> col_ind,
                       container_t<C, I> counts, const std::vector<sycl::event>& deps) {
  constexpr int SG = symmetric_lanes;
  using name = portable::sub_group_kernel<symmetric2<I, C>, SG>;
  const sycl::nd_range<2> grid({SG, static_cast<std::size_t>(nrows)}, {SG, 1});
  return queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, deps);
    auto rp = bind(h, row_ptr, sycl::read_only);
    auto ci = bind(h, col_ind, sycl::read_only);
    auto cn = bind(h, counts, sycl::read_write);
    h.parallel_for<name>(grid, [=](sycl::nd_item<2> item) [[sycl::reqd_sub_group_size(SG)]] {
      count_row<SG, I>(item.get_sub_group(), static_cast<I>(item.get_global_id(1)), upper, base,
                       raw(rp), raw(ci), raw(cn));
    });
  });
}

// With next[r] at the start of row r, writes every kept entry and its mirror.
template <typename T, typename I, containerType C>
sycl::event scatter_entries(sycl::queue& queue, bool upper, std::int64_t nrows, I base,
                            container_t<C, I> row_ptr, container_t<C, I> col_ind,
                            container_t<C, T> values, container_t<C, I> next,
                            container_t<C, I> out_col, container_t<C, T> out_val,
                            const std::vector<sycl::event>& deps) {
  return queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, deps);
    auto rp = bind(h, row_ptr, sycl::read_only);
    auto ci = bind(h, col_ind, sycl::read_only);
    auto va = bind(h, values, sycl::read_only);
    auto nx = bind(h, next, sycl::read_write);
    auto oc = bind(h, out_col, sycl::write_only);
    auto ov = bind(h, out_val, sycl::write_only);
    h.parallel_for<symmetric3<T, I, C>>(
        sycl::range<1>(static_cast<std::size_t>(nrows)), [=](sycl::id<1> id) {
          scatter_row<T, I>(static_cast<I>(id[0]), upper, base, raw(rp), raw(ci), raw(va), raw(nx),
                            raw(oc), raw(ov));
        });
  });
}

// row_ptr[i + 1] = the end of row i that the scatter left in next[i]; row_ptr[0] = 0.
template <typename I, containerType C>
sycl::event close_rows(sycl::queue& queue, std::int64_t nrows, container_t<C, I> next,
                       container_t<C, I> row_ptr, const std::vector<sycl::event>& deps) {
  return queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, deps);
    auto nx = bind(h, next, sycl::read_only);
    auto rp = bind(h, row_ptr, sycl::write_only);
    const auto rows = static_cast<std::size_t>(nrows);
    h.parallel_for<symmetric4<I, C>>(sycl::range<1>(rows > 0 ? rows : 1), [=](sycl::id<1> id) {
      close_row<I>(id[0], rows, raw(nx), raw(rp));
    });
  });
}

}  // namespace orvane::vrt::sparse::gpu::kernels
