// Element-wise kernels of gemm: the copies into and out of the staging tiles, and the product
// of one sparse row with one dense column that serves wherever no tile is used.
//
// Dense operands are addressed through dense_strides, so one body serves both layouts, the
// staged tiles and the leftover columns; each use is a kernel of its own name.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include <sycl/sycl.hpp>

#include "gpu/gemm/gemm_operands.hpp"

namespace orvane::vrt::sparse::gpu::gemm {

namespace kernels {
template <typename T, containerType C>
class mmCopyBlockRowKernel;
template <typename T, containerType C>
class mmCopyBlockColumnKernel;
template <typename T, containerType C>
class mmCopyRestBlockRowKernel;
template <typename T, containerType C>
class mmCopyRestBlockColumnKernel;
template <typename T, containerType C>
class transpose_bTmp_kernel;
template <typename T, containerType C>
class gemm_transposeC_kernel;
template <typename T, typename I, containerType C>
class mmRestKernel;
template <typename T, typename I, containerType C>
class mmNoBtmpKernel;
template <typename T, typename I, containerType C>
class mm_esimd_no_btmp_or_ctmp_kernel;

// beta == 0 (both parts for complex) leaves C unread, so NaN in C does not survive.
template <typename T>
void finish_element(T& out, T sum, T alpha, T beta) {
  if (beta == T(0))
    out = sum * alpha;
  else
    out = out * beta + sum * alpha;
}

template <typename T, typename I>
void dot_element(std::size_t row, std::size_t column, const I* row_ptr, const I* col_ind,
                 const T* values, I index, const T* src, dense_strides s, T* dst,
                 dense_strides d, T alpha, T beta) {
  T sum = T(0);
  const I end = row_ptr[row + 1] - index;
  for (I k = row_ptr[row] - index; k < end; ++k) {
    const auto col = static_cast<std::int64_t>(col_ind[k] - index);
    sum += values[k] * src[col * s.row_stride + static_cast<std::int64_t>(column) * s.column_stride];
  }
  finish_element(dst[static_cast<std::int64_t>(row) * d.row_stride +
                     static_cast<std::int64_t>(column) * d.column_stride],
                 sum, alpha, beta);
}
}  // namespace kernels

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
    depend_on<C>(h, deps);
    auto rp = bind(h, op.row_ptr, sycl::read_only);
    auto ci = bind(h, op.col_ind, sycl::read_only);
    auto va = bind(h, op.values, sycl::read_only);
    auto src = bind(h, from.data, sycl::read_only);
    auto cv = bind(h, op.c, sycl::read_write);
    const std::int64_t src_first = from.first;
    const dense_strides s = from.strides;
    const dense_strides d = strides_of(op.row_major, op.ldc);
    const std::int64_t dst_first = c_column * d.column_stride;
    const I index = op.index;
    const T alpha = op.alpha, beta = op.beta;
    const auto columns = static_cast<std::size_t>(count);
    h.parallel_for<Name>(sycl::range<2>(static_cast<std::size_t>(op.nrows),
                                        static_cast<std::size_t>(range_columns)),
                         [=](sycl::id<2> i) {
                           if (i[1] >= columns) return;
                           kernels::dot_element<T, I>(i[0], i[1], raw(rp), raw(ci), raw(va), index,
                                                      raw(src) + src_first, s,
                                                      raw(cv) + dst_first, d, alpha, beta);
                         });
  });
}

}  // namespace orvane::vrt::sparse::gpu::gemm
