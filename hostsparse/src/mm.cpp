// Y = alpha op(A) X + beta Y with dense X and Y in either layout.
//
// Every row of op(A) is a row of a stored structure (the transpose's rows are made on first
// need), so threads own ranges of rows balanced by entries. A row's entries are read once and
// applied to all columns, a block of columns at a time held in registers: contiguous in a
// row-major X, one element from each column of the block in a column-major X.
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
inline void accumulate(const csr_view<T, I>& v, std::int64_t i, const part& p, const T* x,
                       std::int64_t ld, int width, T* acc) {
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

template <bool Filtered, bool Perm, bool Conj, bool RowMajor, typename T, typename I>
void mm_rows(const mm_plan<T, I>& p, std::int64_t lo, std::int64_t hi, std::int64_t columns,
             T alpha, const T* x, std::int64_t ldx, T beta, T* y, std::int64_t ldy) {
  constexpr int W = block_columns<T>();
  const bool mirrored = !p.mirror_part.none;
  for (std::int64_t i = lo; i < hi; ++i) {
    for (std::int64_t c0 = 0; c0 < columns; c0 += W) {
      const int width = static_cast<int>(std::min<std::int64_t>(W, columns - c0));
      const T* xb = RowMajor ? x + c0 : x + c0 * ldx;
      T acc[W];
      for (int c = 0; c < W; ++c) acc[c] = T(0);
      if (width == W) {
        accumulate<Filtered, Perm, Conj, RowMajor, W>(p.rows, i, p.own, xb, ldx, W, acc);
        if (mirrored)
          accumulate<true, true, Conj, RowMajor, W>(p.mirror, i, p.mirror_part, xb, ldx, W, acc);
      } else {
        accumulate<Filtered, Perm, Conj, RowMajor, 0>(p.rows, i, p.own, xb, ldx, width, acc);
        if (mirrored)
          accumulate<true, true, Conj, RowMajor, 0>(p.mirror, i, p.mirror_part, xb, ldx, width,
                                                    acc);
      }
      for (int c = 0; c < width; ++c) {
        const std::int64_t col = c0 + c;
        if (p.unit) acc[c] += RowMajor ? x[i * ldx + col] : x[i + col * ldx];
        T& out = RowMajor ? y[i * ldy + col] : y[i + col * ldy];
        out = finish(alpha, acc[c], beta, out);
      }
    }
  }
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
    if (row_major ? (ldx < columns || ldy < columns)
                  : (ldx < std::max<std::int64_t>(in_len, 1) ||
                     ldy < std::max<std::int64_t>(out_len, 1)))
      return SPARSE_STATUS_INVALID_VALUE;
    if (columns == 0 || out_len == 0) return SPARSE_STATUS_SUCCESS;
    if (y == nullptr || (in_len > 0 && x == nullptr)) return SPARSE_STATUS_INVALID_VALUE;
    mm_plan<T, I> p;
    if (!plan_mm(*A, op, descr, p)) return SPARSE_STATUS_INVALID_VALUE;
    const csr_view<T, I>& v = p.rows;
    team crew((A->nnz + out_len) * static_cast<std::int64_t>(columns));
    const bool filtered = !p.own.all();
    run_team(crew.size(), [&](int t, int n) {
      const std::int64_t lo = row_boundary(v.begin, v.end, v.rows, v.monotone, t, n);
      const std::int64_t hi = row_boundary(v.begin, v.end, v.rows, v.monotone, t + 1, n);
      with_flags<T>(filtered, v.perm != nullptr, p.conj, [&]<bool F, bool P, bool C>() {
        if (row_major)
          mm_rows<F, P, C, true>(p, lo, hi, columns, alpha, x, ldx, beta, y, ldy);
        else
          mm_rows<F, P, C, false>(p, lo, hi, columns, alpha, x, ldx, beta, y, ldy);
      });
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
