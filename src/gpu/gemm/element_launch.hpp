// Element-wise launches of gemm: the copies into and out of the staging tiles, and the product
// straight from a dense area where no tile is used. Each use is a kernel of its own name.
#pragma once

#include <cstddef>
#include <cstdint>
#include <sycl/sycl.hpp>
#include <vector>

#include "gpu/gemm/element_kernel.hpp"
#include "gpu/gemm/gemm_operands.hpp"
#include "gpu/operand_binding.hpp"

namespace orvane::vrt::sparse::gpu::gemm {

// A dense area of a container: its first element and its strides.
template <typename T, containerType C>
struct dense_area {
  container_t<C, T> data;
  std::int64_t first;
  dense_strides strides;
};

// Copies a rows-by-columns area element by element.
template <typename Name, typename T, containerType C>
sycl::event submit_copy(sycl::queue& queue, const dense_area<T, C>& from,
                        const dense_area<T, C>& to, std::int64_t rows, std::int64_t columns,
                        const std::vector<sycl::event>& deps) {
  return queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, deps);
    auto src = bind(h, from.data, sycl::read_only);
    auto dst = bind(h, to.data, sycl::write_only);
    const std::int64_t src_first = from.first, dst_first = to.first;
    const dense_strides s = from.strides, d = to.strides;
    h.parallel_for<Name>(
        sycl::range<2>(static_cast<std::size_t>(rows), static_cast<std::size_t>(columns)),
        [=](sycl::id<2> i) {
          const auto r = static_cast<std::int64_t>(i[0]);
          const auto j = static_cast<std::int64_t>(i[1]);
          raw(dst)[dst_first + r * d.row_stride + j * d.column_stride] =
              raw(src)[src_first + r * s.row_stride + j * s.column_stride];
        });
  });
}

// C columns [c_column, c_column + count) of every row, each from one dot product with `from`
// (rows of B by columns of the area). The range's columns are `range_columns` >= count.
template <typename Name, typename T, typename I, containerType C>
sycl::event submit_dot(sycl::queue& queue, const gemm_operands<T, I, C>& op,
                       const dense_area<T, C>& from, std::int64_t c_column, std::int64_t count,
                       std::int64_t range_columns, const std::vector<sycl::event>& deps) {
  return queue.submit([&](sycl::handler& h) {
    const auto a = bind_product<C>(h, deps, op.row_ptr, op.col_ind, op.values, from.data, op.c);
    const std::int64_t src_first = from.first;
    const dense_strides s = from.strides;
    const dense_strides d = strides_of(op.row_major, op.ldc);
    const std::int64_t dst_first = c_column * d.column_stride;
    const I index = op.index;
    const T alpha = op.alpha, beta = op.beta;
    const auto columns = static_cast<std::size_t>(count);
    h.parallel_for<Name>(
        sycl::range<2>(static_cast<std::size_t>(op.nrows), static_cast<std::size_t>(range_columns)),
        [=](sycl::id<2> i) {
          if (i[1] >= columns) return;
          kernels::dot_element<T, I>(i[0], i[1], raw(a.row_ptr), raw(a.col_ind), raw(a.values),
                                     index, raw(a.x) + src_first, s, raw(a.y) + dst_first, d, alpha,
                                     beta);
        });
  });
}

}  // namespace orvane::vrt::sparse::gpu::gemm
