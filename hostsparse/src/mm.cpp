// Y = alpha op(A) X + beta Y with dense X and Y in either layout.
//
// Every row of op(A) is a row of a stored structure (the transpose's rows are made on first
// need), so threads claim chunks of rows balanced by entries. A row's entries are read once for
// each block of columns held in registers. A column-major X is first packed, a block of
// columns at a time, into rows, so both layouts run the same row-major kernel.
#include <algorithm>

#include "kernels.hpp"
#include "team.hpp"

namespace vrt_host {

namespace {

template <typename T, typename I>
struct mm_plan {
  csr_view<T, I> rows;
  part own = everything();
  csr_view<T, I> mirror;
  part mirror_part = nothing();
  bool conj = false, unit = false;
  std::int64_t out_len = 0, in_len = 0;
};

template <typename T, typename I>
bool plan_mm(typed_matrix<T, I>& A, host_operation_t op, const host_matrix_descr& d,
             mm_plan<T, I>& p) {
  const bool transposed = op != HOST_OPERATION_NON_TRANSPOSE;
  p.conj = op == HOST_OPERATION_CONJUGATE_TRANSPOSE;
  p.out_len = transposed ? A.cols : A.rows;
  p.in_len = transposed ? A.rows : A.cols;
  if (d.type == HOST_MATRIX_TYPE_GENERAL) {
    p.rows = transposed ? rows_of_transpose(A) : rows_of(A);
    return true;
  }
  if (A.rows != A.cols) return false;
  const bool lower = d.mode == HOST_FILL_MODE_LOWER;
  p.unit = d.diag == HOST_DIAG_UNIT;
  if (d.type == HOST_MATRIX_TYPE_SYMMETRIC) {
    p.rows = rows_of(A);
    p.own = triangle(lower, p.unit);
    p.mirror = rows_of_transpose(A);
    p.mirror_part = triangle(!lower, true);
    return true;
  }
  p.rows = transposed ? rows_of_transpose(A) : rows_of(A);
  p.own = triangle(lower != transposed, p.unit);
  return true;
}

// acc[c] += sum over the row's entries in the part of a_ij X(j, c0 + c), for W columns (or
// `width` when W is 0). X(j, c) is x[j * row_step + c * col_step].
template <bool Filtered, bool Perm, bool Conj, bool RowMajor, int W, typename T, typename I>
[[gnu::always_inline]] inline void accumulate(const csr_view<T, I>& v, std::int64_t i,
                                              const part& p, const T* x, std::int64_t ld, int width,
                                              T* acc) {
  const I base = v.base;
  for (std::int64_t k = v.begin[i] - base; k < v.end[i] - base; ++k) {
    const std::int64_t j = v.col[k] - base;
    if (Filtered && !p.has(i, j)) continue;
    const T a = entry<Perm, Conj>(v, k);
    if constexpr (RowMajor) {
      const T* xr = x + j * ld;
      if constexpr (W > 0) {
        for (int c = 0; c < W; ++c) acc[c] += mul(a, xr[c]);
      } else {
        for (int c = 0; c < width; ++c) acc[c] += mul(a, xr[c]);
      }
    } else {
      const T* xc = x + j;
      if constexpr (W > 0) {
        for (int c = 0; c < W; ++c) acc[c] += mul(a, xc[c * ld]);
      } else {
        for (int c = 0; c < width; ++c) acc[c] += mul(a, xc[c * ld]);
      }
    }
  }
}

// Rows lo..hi of Y for columns c_first .. c_last, a block of W at a time. x points at column
// c_first of X; X is row-major (XRow) or column-major with leading dimension ldx, and so is Y.
template <bool Filtered, bool Perm, bool Conj, bool XRow, bool YRow, typename T, typename I>
void mm_rows(const mm_plan<T, I>& p, std::int64_t lo, std::int64_t hi, std::int64_t c_first,
             std::int64_t c_last, T alpha, const T* x, std::int64_t ldx, T beta, T* y,
             std::int64_t ldy) {
  constexpr int W = block_columns<T>();
  const bool mirrored = !p.mirror_part.none;
  for (std::int64_t i = lo; i < hi; ++i) {
    for (std::int64_t c0 = c_first; c0 < c_last; c0 += W) {
      const int width = static_cast<int>(std::min<std::int64_t>(W, c_last - c0));
      const T* xb = XRow ? x + (c0 - c_first) : x + (c0 - c_first) * ldx;
      T acc[W];
      for (int c = 0; c < W; ++c) acc[c] = T(0);
      if (width == W) {
        accumulate<Filtered, Perm, Conj, XRow, W>(p.rows, i, p.own, xb, ldx, W, acc);
        if (mirrored)
          accumulate<true, true, Conj, XRow, W>(p.mirror, i, p.mirror_part, xb, ldx, W, acc);
      } else {
        accumulate<Filtered, Perm, Conj, XRow, 0>(p.rows, i, p.own, xb, ldx, width, acc);
        if (mirrored)
          accumulate<true, true, Conj, XRow, 0>(p.mirror, i, p.mirror_part, xb, ldx, width, acc);
      }
      for (int c = 0; c < width; ++c) {
        const std::int64_t col = c0 + c;
        if (p.unit) acc[c] += XRow ? xb[i * ldx + c] : xb[i + c * ldx];
        T& out = YRow ? y[i * ldy + col] : y[i + col * ldy];
        out = finish(alpha, acc[c], beta, out);
      }
    }
  }
}

// A buffer of at least `size` values kept with the matrix between calls (large buffers would
// otherwise be mapped and faulted in anew each call); a concurrent call makes its own.
template <typename T, typename I>
std::vector<T> take_workspace(typed_matrix<T, I>& A, std::int64_t size) {
  std::vector<T> w;
  {
    std::lock_guard<std::mutex> hold(A.lock);
    w.swap(A.workspace);
  }
  if (static_cast<std::int64_t>(w.size()) < size) {
    w.clear();
    w.shrink_to_fit();
    w.resize(static_cast<std::size_t>(size));
  }
  return w;
}

template <typename T, typename I>
void give_workspace(typed_matrix<T, I>& A, std::vector<T>&& w) {
  std::lock_guard<std::mutex> hold(A.lock);
  if (w.size() > A.workspace.size()) A.workspace.swap(w);
}

template <typename T, typename I>
sparse_status_t mm(host_operation_t op, T alpha, host_matrix_t handle, host_matrix_descr descr,
                   host_layout_t layout, const T* x, I columns, I ldx, T beta, T* y, I ldy) {
  return guarded([&]() -> sparse_status_t {
    auto* A = typed<T, I>(handle);
    if (A == nullptr) return refused(handle);
    if (!valid_operation(op) || !valid_descriptor(descr) || !valid_layout(layout) || columns < 0)
      return SPARSE_STATUS_INVALID_VALUE;
    if (descr.type != HOST_MATRIX_TYPE_GENERAL && A->rows != A->cols)
      return SPARSE_STATUS_INVALID_VALUE;
    const bool row_major = layout == HOST_LAYOUT_ROW_MAJOR;
    const std::int64_t out_len = op == HOST_OPERATION_NON_TRANSPOSE ? A->rows : A->cols;
    const std::int64_t in_len = op == HOST_OPERATION_NON_TRANSPOSE ? A->cols : A->rows;
    if (row_major
            ? (ldx < columns || ldy < columns)
            : (ldx < std::max<std::int64_t>(in_len, 1) || ldy < std::max<std::int64_t>(out_len, 1)))
      return SPARSE_STATUS_INVALID_VALUE;
    if (columns == 0 || out_len == 0) return SPARSE_STATUS_SUCCESS;
    if (y == nullptr || (in_len > 0 && x == nullptr)) return SPARSE_STATUS_INVALID_VALUE;
    mm_plan<T, I> p;
    if (!plan_mm(*A, op, descr, p)) return SPARSE_STATUS_INVALID_VALUE;
    const csr_view<T, I>& v = p.rows;
    team crew((A->nnz + out_len) * static_cast<std::int64_t>(columns));
    const int threads = crew.size();
    const bool filtered = !p.own.all();
    const std::int64_t chunks =
        chunk_count((A->nnz + out_len) * static_cast<std::int64_t>(columns));
    auto bounds = [&](std::int64_t c) {
      return std::pair{row_boundary(v.begin, v.end, v.rows, v.monotone, static_cast<int>(c),
                                    static_cast<int>(chunks)),
                       row_boundary(v.begin, v.end, v.rows, v.monotone, static_cast<int>(c + 1),
                                    static_cast<int>(chunks))};
    };
    with_flags<T>(filtered, v.perm != nullptr, p.conj, [&]<bool F, bool P, bool C>() {
      if (row_major) {
        run_chunks(threads, chunks, [&](std::int64_t c) {
          const auto [lo, hi] = bounds(c);
          mm_rows<F, P, C, true, true>(p, lo, hi, 0, columns, alpha, x, ldx, beta, y, ldy);
        });
        return;
      }
      if (columns == 1) {
        run_chunks(threads, chunks, [&](std::int64_t c) {
          const auto [lo, hi] = bounds(c);
          mm_rows<F, P, C, false, false>(p, lo, hi, 0, 1, alpha, x, ldx, beta, y, ldy);
        });
        return;
      }
      // Column-major X: each block of W columns is first copied row by row, so that an entry
      // reads one cache line of X rather than one line in each of W columns.
      constexpr int W = block_columns<T>();
      std::vector<T> packed = take_workspace(*A, in_len * W);
      const std::int64_t pack_chunks = chunk_count(in_len * W);
      for (std::int64_t c0 = 0; c0 < columns; c0 += W) {
        const int width = static_cast<int>(std::min<std::int64_t>(W, columns - c0));
        T* buf = packed.data();
        run_chunks(threads, pack_chunks, [&](std::int64_t c) {
          const std::int64_t j0 =
              even_split(in_len, static_cast<int>(c), static_cast<int>(pack_chunks));
          const std::int64_t j1 =
              even_split(in_len, static_cast<int>(c + 1), static_cast<int>(pack_chunks));
          const T* from = x + c0 * static_cast<std::int64_t>(ldx);
          if (width == W) {
            for (std::int64_t j = j0; j < j1; ++j)
              for (int k = 0; k < W; ++k)
                buf[j * W + k] = from[j + k * static_cast<std::int64_t>(ldx)];
          } else {
            for (std::int64_t j = j0; j < j1; ++j)
              for (int k = 0; k < width; ++k)
                buf[j * W + k] = from[j + k * static_cast<std::int64_t>(ldx)];
          }
        });
        run_chunks(threads, chunks, [&](std::int64_t c) {
          const auto [lo, hi] = bounds(c);
          mm_rows<F, P, C, true, false>(p, lo, hi, c0, c0 + width, alpha, buf, W, beta, y, ldy);
        });
      }
      give_workspace(*A, std::move(packed));
    });
    return SPARSE_STATUS_SUCCESS;
  });
}

}  // namespace

}  // namespace vrt_host

using namespace vrt_host;

extern "C" {
#define VRT_DEFINE_MM(p, C, i, I)                                                                \
  sparse_status_t vrt_sparse_##p##_mm_##i(host_operation_t op, C alpha, host_matrix_t A,         \
                                          host_matrix_descr d, host_layout_t layout, const C* x, \
                                          I columns, I ldx, C beta, C* y, I ldy) {               \
    using T = value_of<C>::type;                                                                 \
    return mm<T, I>(op, scalar<T>(alpha), A, d, layout, reinterpret_cast<const T*>(x), columns,  \
                    ldx, scalar<T>(beta), reinterpret_cast<T*>(y), ldy);                         \
  }
VRT_HOST_FOR_EACH_VARIANT(VRT_DEFINE_MM)
}
