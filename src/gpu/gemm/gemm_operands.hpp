// What every gemm launcher receives: the structure's arrays, the dense operands and the scalars
// in one record, and the host-side plan values of both kernel families.
#pragma once

#include <cstdint>
#include <sycl/sycl.hpp>

#include "common/variants.hpp"
#include "containers/views.hpp"

namespace orvane::vrt::sparse::gpu::gemm {

template <typename T, typename I, containerType C>
struct gemm_operands {
  container_t<C, I> row_ptr;
  container_t<C, I> col_ind;
  container_t<C, T> values;
  container_t<C, T> b;
  container_t<C, T> c;
  std::int64_t nrows;  // of op(A), which is the structure itself
  std::int64_t ncols;
  std::int64_t columns;  // all dense columns of the call
  std::int64_t ldb;
  std::int64_t ldc;
  bool row_major;
  I index;  // 0 or 1
  T alpha;
  T beta;
};

// Strides of a dense matrix seen as element (row, column) = base[row * row_stride + column *
// column_stride]: one kernel text serves both layouts and the staged tiles.
struct dense_strides {
  std::int64_t row_stride;
  std::int64_t column_stride;
};

inline dense_strides strides_of(bool row_major, std::int64_t ld) {
  return row_major ? dense_strides{ld, 1} : dense_strides{1, ld};
}

}  // namespace orvane::vrt::sparse::gpu::gemm
