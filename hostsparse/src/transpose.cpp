// op(A) of a CSR matrix written into the caller's CSR arrays: the counting transpose.
//
// Each thread counts the columns of its own rows, the counts of a column are stacked thread
// after thread, and each thread then scatters its rows to its own cursors. Rows of A are read in
// order within a thread and threads own consecutive row ranges, so every output row comes out
// sorted, whatever the order of A's rows.
#include <algorithm>
#include <vector>

#include "huge_pages.hpp"
#include "matrix.hpp"
#include "row_pointers.hpp"
#include "team.hpp"

namespace vrt_host {

namespace {

template <typename T, typename I>
struct transpose_call {
  std::int64_t rows, cols;
  I base, out_base;
  const I* begin;
  const I* end;
  const I* col;
  const T* val;
  I* out_ptr;
  I* out_col;
  T* out_val;
  bool conj;
};

template <typename T>
T conjugate(T v) {
  if constexpr (is_complex<T>)
    return std::conj(v);
  else
    return v;
}

template <typename T, typename I>
void scatter_rows(const transpose_call<T, I>& c, std::int64_t first, std::int64_t last, I* cursor) {
  for (std::int64_t r = first; r < last; ++r) {
    const I row_index = static_cast<I>(r) + c.out_base;
    const std::int64_t e = static_cast<std::int64_t>(c.end[r]) - c.base;
    for (std::int64_t k = static_cast<std::int64_t>(c.begin[r]) - c.base; k < e; ++k) {
      const I pos = cursor[c.col[k] - c.base]++;
      c.out_col[pos] = row_index;
      if (c.out_val != nullptr) c.out_val[pos] = c.conj ? conjugate(c.val[k]) : c.val[k];
    }
  }
}

template <typename T, typename I>
void transpose_serial(const transpose_call<T, I>& c) {
  I* ptr = c.out_ptr;
  std::fill(ptr, ptr + c.cols + 1, I(0));
  for (std::int64_t r = 0; r < c.rows; ++r) {
    const std::int64_t e = static_cast<std::int64_t>(c.end[r]) - c.base;
    for (std::int64_t k = static_cast<std::int64_t>(c.begin[r]) - c.base; k < e; ++k)
      ++ptr[c.col[k] - c.base + 1];
  }
  // ptr[j] becomes the start of output row j - 1 + 1: shifted by one, the cursors of the scatter.
  I running = 0;
  for (std::int64_t j = 0; j <= c.cols; ++j) {
    running += ptr[j];
    ptr[j] = running;
  }
  scatter_rows(c, 0, c.rows, ptr);
  // After the scatter ptr[j] holds the end of row j: shift back and add the output base.
  for (std::int64_t j = c.cols; j >= 1; --j) ptr[j] = ptr[j - 1] + c.out_base;
  ptr[0] = c.out_base;
}

template <typename T, typename I>
void transpose_parallel(const transpose_call<T, I>& c, int threads) {
  const auto cols = static_cast<std::size_t>(c.cols);
  // counts[t * cols + j]: entries of column j in the rows of thread t; then that thread's cursor.
  const auto counts = uninitialised_array<I>(static_cast<std::size_t>(threads) * cols);
  std::vector<std::int64_t> block_sum(static_cast<std::size_t>(threads) + 1, 0);
  run_team(threads, [&](int t, int parts) {
    const std::int64_t first = row_boundary(c.begin, c.end, c.rows, true, t, parts);
    const std::int64_t last = row_boundary(c.begin, c.end, c.rows, true, t + 1, parts);
    I* mine = counts.get() + static_cast<std::size_t>(t) * cols;
    std::fill(mine, mine + cols, I(0));
    for (std::int64_t r = first; r < last; ++r) {
      const std::int64_t e = static_cast<std::int64_t>(c.end[r]) - c.base;
      for (std::int64_t k = static_cast<std::int64_t>(c.begin[r]) - c.base; k < e; ++k)
        ++mine[c.col[k] - c.base];
    }
    team_barrier();
    // Columns split evenly: stack the threads' counts per column and sum the block.
    const std::int64_t j0 = even_split(c.cols, t, parts), j1 = even_split(c.cols, t + 1, parts);
    std::int64_t sum = 0;
    for (std::int64_t j = j0; j < j1; ++j) {
      I column_total = 0;
      for (int u = 0; u < parts; ++u) {
        I& cell = counts[static_cast<std::size_t>(u) * cols + static_cast<std::size_t>(j)];
        const I n = cell;
        cell = column_total;
        column_total += n;
      }
      c.out_ptr[j] = static_cast<I>(sum);
      sum += column_total;
    }
    block_sum[static_cast<std::size_t>(t) + 1] = sum;
    team_barrier();
    std::int64_t offset = 0;
    for (int u = 0; u < t; ++u) offset += block_sum[static_cast<std::size_t>(u) + 1];
    for (std::int64_t j = j0; j < j1; ++j) {
      c.out_ptr[j] += static_cast<I>(offset);
      for (int u = 0; u < parts; ++u)
        counts[static_cast<std::size_t>(u) * cols + static_cast<std::size_t>(j)] += c.out_ptr[j];
    }
    team_barrier();
    scatter_rows(c, first, last, mine);
    for (std::int64_t j = j0; j < j1; ++j) c.out_ptr[j] += c.out_base;
    if (t == parts - 1) {
      std::int64_t total = 0;
      for (int u = 0; u < parts; ++u) total += block_sum[static_cast<std::size_t>(u) + 1];
      c.out_ptr[c.cols] = static_cast<I>(total) + c.out_base;
    }
  });
}

template <typename T, typename I>
sparse_status_t csr_transpose(host_operation_t op, int base, I rows, I cols, const I* rows_start,
                              const I* rows_end, const I* col_indx, const T* values, int out_base,
                              I* out_rows_start, I* out_col_indx, T* out_values) {
  return guarded([&]() -> sparse_status_t {
    if (op != HOST_OPERATION_TRANSPOSE && op != HOST_OPERATION_CONJUGATE_TRANSPOSE)
      return op == HOST_OPERATION_NON_TRANSPOSE ? SPARSE_STATUS_NOT_SUPPORTED
                                                : SPARSE_STATUS_INVALID_VALUE;
    if (rows < 0 || cols < 0 || (base != 0 && base != 1) || (out_base != 0 && out_base != 1) ||
        out_rows_start == nullptr || (rows > 0 && (rows_start == nullptr || rows_end == nullptr)) ||
        (values == nullptr) != (out_values == nullptr))
      return SPARSE_STATUS_INVALID_VALUE;
    const auto [valid, monotone, nnz] = scan_row_pointers(rows_start, rows_end, rows, base);
    if (!valid) return SPARSE_STATUS_INVALID_VALUE;
    if (nnz > 0 && (col_indx == nullptr || out_col_indx == nullptr))
      return SPARSE_STATUS_INVALID_VALUE;
    const transpose_call<T, I> call{rows,
                                    cols,
                                    static_cast<I>(base),
                                    static_cast<I>(out_base),
                                    rows_start,
                                    rows_end,
                                    col_indx,
                                    values,
                                    out_rows_start,
                                    out_col_indx,
                                    out_values,
                                    op == HOST_OPERATION_CONJUGATE_TRANSPOSE && is_complex<T>};
    // Per-thread counts cost a pass over the columns each: worth it only when entries dominate.
    team crew(monotone && nnz >= cols ? nnz * 2 : 0);
    if (crew.size() > 1)
      transpose_parallel(call, crew.size());
    else
      transpose_serial(call);
    return SPARSE_STATUS_SUCCESS;
  });
}

}  // namespace

}  // namespace vrt_host

using namespace vrt_host;

extern "C" {
#define VRT_DEFINE_TRANSPOSE(p, C, i, I)                                                        \
  sparse_status_t vrt_sparse_##p##_csr_transpose_##i(                                           \
      host_operation_t op, int base, I rows, I cols, const I* rs, const I* re, const I* ci,     \
      const C* v, int out_base, I* out_rs, I* out_ci, C* out_v) {                               \
    using T = value_of<C>::type;                                                                \
    return csr_transpose<T, I>(op, base, rows, cols, rs, re, ci, reinterpret_cast<const T*>(v), \
                               out_base, out_rs, out_ci, reinterpret_cast<T*>(out_v));          \
  }
VRT_HOST_FOR_EACH_VARIANT(VRT_DEFINE_TRANSPOSE)
}
