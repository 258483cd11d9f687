// Sorting the columns of each row in place, in the caller's arrays.
#include <algorithm>
#include <numeric>

#include "matrix.hpp"
#include "team.hpp"

namespace vrt_host {

namespace {

// Sorts entries [first, last) of the arrays by key, values alongside, keeping equal keys in
// their order; `order` is scratch.
template <typename T, typename I, typename Key>
void sort_range(I* cols, T* vals, std::int64_t first, std::int64_t last, Key&& key,
                std::vector<std::int64_t>& order, std::vector<I>& c_tmp, std::vector<T>& v_tmp) {
  const std::int64_t n = last - first;
  order.resize(static_cast<std::size_t>(n));
  std::iota(order.begin(), order.end(), first);
  std::stable_sort(order.begin(), order.end(),
                   [&](std::int64_t a, std::int64_t b) { return key(a) < key(b); });
  c_tmp.resize(static_cast<std::size_t>(n));
  v_tmp.resize(static_cast<std::size_t>(n));
  for (std::int64_t k = 0; k < n; ++k) {
    c_tmp[k] = cols[order[k]];
    v_tmp[k] = vals[order[k]];
  }
  std::copy(c_tmp.begin(), c_tmp.end(), cols + first);
  std::copy(v_tmp.begin(), v_tmp.end(), vals + first);
}

// Short rows: insertion sort in place, stable, without scratch.
template <typename T, typename I>
void insertion_sort_row(I* cols, T* vals, std::int64_t n) {
  for (std::int64_t k = 1; k < n; ++k) {
    const I c = cols[k];
    if (cols[k - 1] <= c) continue;
    const T v = vals[k];
    std::int64_t j = k;
    for (; j > 0 && cols[j - 1] > c; --j) {
      cols[j] = cols[j - 1];
      vals[j] = vals[j - 1];
    }
    cols[j] = c;
    vals[j] = v;
  }
}

// Longer rows: (column, position) pairs sorted directly, which keeps equal columns in order
// and compares without indirection; then values are gathered by position.
template <typename T, typename I>
void pair_sort_row(I* cols, T* vals, std::int64_t n, std::vector<std::pair<I, I>>& keys,
                   std::vector<T>& v_tmp) {
  keys.resize(static_cast<std::size_t>(n));
  for (std::int64_t k = 0; k < n; ++k) keys[k] = {cols[k], static_cast<I>(k)};
  std::sort(keys.begin(), keys.end());
  v_tmp.resize(static_cast<std::size_t>(n));
  for (std::int64_t k = 0; k < n; ++k) {
    cols[k] = keys[k].first;
    v_tmp[k] = vals[keys[k].second];
  }
  std::copy(v_tmp.begin(), v_tmp.end(), vals);
}

template <typename T, typename I>
sparse_status_t do_order(host_matrix_t handle) {
  return guarded([&]() -> sparse_status_t {
    auto* A = typed<T, I>(handle);
    if (A == nullptr) return refused(handle);
    if (A->is_product) return SPARSE_STATUS_SUCCESS;  // made sorted
    if (A->fmt == format::coo) {
      // Entries by (row, column): row indices move too.
      I* rows = A->rows_start;
      I* cols = A->col_indx;
      std::vector<std::int64_t> order;
      std::vector<I> c_tmp, r_tmp;
      std::vector<T> v_tmp;
      const std::vector<I> row_copy(rows, rows + A->nnz);
      auto key = [&](std::int64_t k) { return std::pair<I, I>(row_copy[k], cols[k]); };
      sort_range(cols, A->values, 0, A->nnz, key, order, c_tmp, v_tmp);
      for (std::int64_t k = 0; k < A->nnz; ++k) rows[k] = row_copy[order[k]];
    } else {
      const std::int64_t n = A->rows;
      I* cols = A->col_indx;
      team crew(A->nnz * 4);
      run_team(crew.size(), [&](int t, int threads) {
        std::vector<std::pair<I, I>> keys;
        std::vector<T> v_tmp;
        const std::int64_t lo =
            row_boundary(A->rows_start, A->rows_end, n, A->monotone, t, threads);
        const std::int64_t hi =
            row_boundary(A->rows_start, A->rows_end, n, A->monotone, t + 1, threads);
        for (std::int64_t i = lo; i < hi; ++i) {
          const std::int64_t first = A->rows_start[i] - A->base, last = A->rows_end[i] - A->base;
          if (last - first <= 32)
            insertion_sort_row(cols + first, A->values + first, last - first);
          else if (!std::is_sorted(cols + first, cols + last))
            pair_sort_row(cols + first, A->values + first, last - first, keys, v_tmp);
        }
      });
    }
    // Derived structures recorded positions of the old order; make them again if they were.
    forget_derived(*A);
    if (A->optimized) prepare(*A);
    return SPARSE_STATUS_SUCCESS;
  });
}

}  // namespace

}  // namespace vrt_host

using namespace vrt_host;

extern "C" {
#define VRT_DEFINE_ORDER(p, C, i, I)                               \
  sparse_status_t vrt_sparse_##p##_do_order_##i(host_matrix_t A) { \
    return do_order<value_of<C>::type, I>(A);                      \
  }
VRT_HOST_FOR_EACH_VARIANT(VRT_DEFINE_ORDER)
}
