// The explicit-SIMD gemm path (real values): the tile walk over the columns, launches of the tile
// kernel (esimd_kernel.hpp) in slices of W columns. Column-major operands are staged row-major
// in b_tmp and c_tmp; without staging the element-wise kernel does all the work.
#pragma once

#include <cstddef>
#include <cstdint>
#include <orvane/vrt/sparse.hpp>
#include <sycl/sycl.hpp>
#include <vector>

#include "common/internal_error.hpp"
#include "gpu/gemm/design_names.hpp"
#include "gpu/gemm/element_launch.hpp"
#include "gpu/gemm/esimd_kernel.hpp"
#include "gpu/gemm/gemm_plan.hpp"
#include "gpu/gemm/staging.hpp"
#include "gpu/operand_binding.hpp"
#include "handle/handle.hpp"
#include "handle/value_types.hpp"

namespace orvane::vrt::sparse::gpu::gemm {

// Row streams (threads) of one work-group.
inline constexpr std::size_t esimd_streams_per_group = 16;
// The row counter's slot in local memory: 64 bytes, so slots of neighbouring slices never share
// a line.
inline constexpr std::size_t counter_slot_words = 64 / sizeof(std::uint32_t);

// One launch of the tile kernel over `f.columns` columns in slices of W.
template <typename T, typename I, containerType C, int W>
sycl::event gemm_esimd_kernel_wrapper(sycl::queue& queue, const gemm_operands<T, I, C>& op,
                                      container_t<C, T> b, container_t<C, T> c,
                                      const kernels::esimd_frame& f,
                                      const std::vector<sycl::event>& deps) {
  const auto groups = static_cast<std::size_t>((f.nrows + f.rows_per_group - 1) / f.rows_per_group);
  const std::size_t slices = (f.columns + W - 1) / W;
  const sycl::nd_range<2> grid(sycl::range<2>(groups * esimd_streams_per_group, slices),
                               sycl::range<2>(esimd_streams_per_group, 1));
  return queue.submit([&](sycl::handler& h) {
    const auto a = bind_product<C>(h, deps, op.row_ptr, op.col_ind, op.values, b, c);
    sycl::local_accessor<std::uint32_t, 1> counter(sycl::range<1>(counter_slot_words), h);
    const I index = op.index;
    const T alpha = op.alpha, beta = op.beta;
    h.parallel_for<kernels::compute_gemm_esimd_opt_kernel<T, I, C, W>>(
        grid, [=](sycl::nd_item<2> it) {
          kernels::gemm_esimd_thread<T, I, W>(it, &counter[0], raw(a.row_ptr), raw(a.col_ind),
                                              raw(a.values), index, raw(a.x), raw(a.y), f, alpha,
                                              beta);
        });
  });
}

// Only the widths the tile walk names (8, 16 and 32; never 64) are instantiated: each width is a
// kernel per value type, index width and memory model, and build time is paid for every one.
template <typename T, typename I, containerType C>
sycl::event gemm_esimd_launch(sycl::queue& queue, int width, const gemm_operands<T, I, C>& op,
                              container_t<C, T> b, container_t<C, T> c,
                              const kernels::esimd_frame& f, const std::vector<sycl::event>& deps) {
  switch (width) {
    case 8:
      return gemm_esimd_kernel_wrapper<T, I, C, 8>(queue, op, b, c, f, deps);
    case 16:
      return gemm_esimd_kernel_wrapper<T, I, C, 16>(queue, op, b, c, f, deps);
    case 32:
      return gemm_esimd_kernel_wrapper<T, I, C, 32>(queue, op, b, c, f, deps);
    default:
      internal_error(gemm_word);
  }
}

// C columns [column_offset, column_offset + columns) = alpha * A * B + beta * C on them.
// Complex values have no explicit-SIMD kernels: nothing calls their form.
template <typename T, typename I, containerType C>
sycl::event gemm_opt_esimd(sycl::queue& queue, const gemm_operands<T, I, C>& op, sparseStructure* A,
                           std::int64_t column_offset, std::int64_t columns,
                           const std::vector<sycl::event>& deps) {
  if constexpr (is_complex_v<T>) {
    return sycl::event();
  } else {
    gemmInternalData* data = A->gemm_data;
    if (data == nullptr) internal_error(gemm_word);
    const esimd_tiles tiles = plan_esimd_tiles(columns);
    const std::int64_t rows_per_group = esimd_rows_per_group(columns);
    container_t<C, T> b = op.b;
    container_t<C, T> c = op.c;
    kernels::esimd_frame f{};
    f.nrows = op.nrows;
    f.rows_per_group = rows_per_group;
    std::vector<sycl::event> list = deps;
    bool staged = false;
    if (op.row_major) {
      f.b_first = column_offset;
      f.ldb = static_cast<std::uint32_t>(op.ldb);
      f.c_first = column_offset;
      f.ldc = static_cast<std::uint32_t>(op.ldc);
    } else {
      const auto b_count = static_cast<std::size_t>(op.ncols * columns);
      const auto c_count = static_cast<std::size_t>(op.nrows * columns);
      staged = ensure_staging<T, C>(queue, data->b_tmp, data->b_tmp_bytes, b_count, deps) &&
               ensure_staging<T, C>(queue, data->c_tmp, data->c_tmp_bytes, c_count, deps);
      if (!staged) {
        const dense_area<T, C> from{op.b, column_offset * op.ldb, strides_of(false, op.ldb)};
        return submit_dot<kernels::mm_esimd_no_btmp_or_ctmp_kernel<T, I, C>>(
            queue, op, from, column_offset, columns, columns, deps);
      }
      b = as_container<C, T>(data->b_tmp);
      c = as_container<C, T>(data->c_tmp);
      const dense_area<T, C> user_b{op.b, column_offset * op.ldb, strides_of(false, op.ldb)};
      const dense_area<T, C> tile_b{b, 0, strides_of(true, columns)};
      list = {submit_copy<kernels::transpose_bTmp_kernel<T, C>>(queue, user_b, tile_b, op.ncols,
                                                                columns, deps)};
      if (!(op.beta == T(0))) {
        const dense_area<T, C> user_c{op.c, column_offset * op.ldc, strides_of(false, op.ldc)};
        const dense_area<T, C> tile_c{c, 0, strides_of(true, columns)};
        list.push_back(submit_copy<kernels::gemm_transposeC_kernel<T, C>>(queue, user_c, tile_c,
                                                                          op.nrows, columns, deps));
      }
      f.b_first = 0;
      f.ldb = static_cast<std::uint32_t>(columns);
      f.c_first = 0;
      f.ldc = static_cast<std::uint32_t>(columns);
    }
    const std::int64_t covered = tiles.full_tiles * tiles.width;
    sycl::event done;
    if (tiles.full_tiles > 0) {
      f.columns = static_cast<std::uint32_t>(covered);
      done = gemm_esimd_launch<T, I, C>(queue, tiles.width, op, b, c, f, list);
      list = {done};
    }
    if (tiles.rest_tiles > 0) {
      f.b_first += covered;
      f.c_first += covered;
      f.columns = static_cast<std::uint32_t>(columns - covered);
      done = gemm_esimd_launch<T, I, C>(queue, tiles.rest_width, op, b, c, f, list);
      list = {done};
    }
    if (staged) {
      const dense_area<T, C> tile_c{c, 0, strides_of(true, columns)};
      const dense_area<T, C> user_c{op.c, column_offset * op.ldc, strides_of(false, op.ldc)};
      done = submit_copy<kernels::gemm_transposeC_kernel<T, C>>(queue, tile_c, user_c, op.nrows,
                                                                columns, list);
    }
    return done;
  }
}

}  // namespace orvane::vrt::sparse::gpu::gemm
