// Work-item bodies of the fused product and dot: each work-item forms two rows of y and its share
// of the dot of x with them; groups reduce in local memory to one partial each, and the partials
// are reduced by further passes and a final sum.
#pragma once

#include <cstddef>
#include <sycl/sycl.hpp>

namespace orvane::vrt::sparse::gpu::gemvdot {

inline constexpr int rows_per_item = 2;
inline constexpr int row_lanes = 8;
// Below this width the last steps of the tree are one work-item's loop, not more barriers.
inline constexpr std::size_t tree_cut = 16;

// Sums lm[0, len) of the work-group into lm[0]; lm[l] holds work-item l's value.
template <typename T>
void reduce_group(const sycl::nd_item<1>& item, T* lm, std::size_t len) {
  const std::size_t l = item.get_local_id(0);
  sycl::group_barrier(item.get_group());
  std::size_t s = (len + 1) / 2;
  while (s > tree_cut) {
    if (l + s < len) lm[l] += lm[l + s];
    len = (len + 1) / 2;
    sycl::group_barrier(item.get_group());
    s = (s + 1) >> 1;
  }
  if (l == 0)
    for (std::size_t k = 1; k < len; ++k) lm[0] += lm[k];
}

// The row sum in eight lanes, the tail into the first lanes, lane pairs added in order.
template <typename T, typename I>
T row_sum(const I* row_ptr, const I* col_ind, const T* values, const T* x, I index, I row) {
  const I begin = row_ptr[row] - index;
  const I end = row_ptr[row + 1] - index;
  const I stop = end - ((end - begin) & (row_lanes - 1));
  sycl::marray<T, row_lanes> acc(T(0));
  for (I j = begin; j < stop; j += row_lanes)
    for (int k = 0; k < row_lanes; ++k) acc[k] += values[j + k] * x[col_ind[j + k] - index];
  for (I j = stop; j < end; ++j) acc[j - stop] += values[j] * x[col_ind[j] - index];
  T sum = acc[0] + acc[1];
  for (int k = 2; k < row_lanes; k += 2) sum = sum + (acc[k] + acc[k + 1]);
  return sum;
}

// y = alpha * A * x + beta * y on the item's two rows; partial[group] gets the group's part of
// the dot, and d the whole dot when there is one group.
template <typename T, typename I>
void product_and_partial(const sycl::nd_item<1>& item, T* local, std::size_t wg, std::size_t groups,
                         I nrows, const I* row_ptr, const I* col_ind, const T* values, const T* x,
                         T* y, T* partial, T* d, I index, T alpha, T beta) {
  const std::size_t l = item.get_local_id(0);
  local[l] = T(0);
  const auto first = static_cast<I>(rows_per_item * item.get_global_id(0));
  const I last = first + rows_per_item < nrows ? first + rows_per_item : nrows;
  for (I row = first; row < last; ++row) {
    const T sum = row_sum<T, I>(row_ptr, col_ind, values, x, index, row);
    const T result = alpha * sum + (beta == T(0) ? T(-0.0) : beta * y[row]);
    local[l] += x[row] * result;
    y[row] = result;
  }
  reduce_group(item, local, wg);
  if (l == 0) {
    const std::size_t g = item.get_group(0);
    partial[g] = local[0];
    if (groups == 1) d[0] = local[0];
  }
}

// One reduce pass: count partials at offset `from` become one per group at offset `to`.
template <typename T>
void reduce_pass(const sycl::nd_item<1>& item, T* local, T* partial, T* d, std::size_t from,
                 std::size_t to, std::size_t count, std::size_t width, std::size_t groups) {
  const std::size_t l = item.get_local_id(0);
  const T* in = partial + from;
  const std::size_t first = rows_per_item * item.get_global_id(0);
  local[l] = T(0);
  for (std::size_t k = first; k < first + rows_per_item && k < count; ++k) local[l] += in[k];
  reduce_group(item, local, width);
  if (l == 0) {
    partial[to + item.get_group(0)] = local[0];
    if (groups == 1) d[0] = local[0];
  }
}

// d = the sum of count partials at offset `from`, in order.
template <typename T>
void sum_in_order(const T* partial, T* d, std::size_t from, std::size_t count) {
  d[0] = T(0);
  for (std::size_t k = 0; k < count; ++k) d[0] += partial[from + k];
}

}  // namespace orvane::vrt::sparse::gpu::gemvdot
