// Triangular solves op(A) Y = alpha X, for one right-hand side or many.
//
// A solve sweeps the rows of A, or of A^T for a transposed operation (where the triangle
// flips): forward for a lower triangle, backward for an upper one. Without a plan the sweep
// reads rows as stored and skips entries outside the triangle; with the plan optimize makes
// after a solve hint it streams the prepared strict triangle.
#include <algorithm>

#include "kernels.hpp"

namespace vrt_host {

namespace {

// Element (i, c) of a dense operand.
template <bool RowMajor, typename T>
inline T& at(T* p, std::int64_t ld, std::int64_t i, std::int64_t c) {
  return RowMajor ? p[i * ld + c] : p[i + c * ld];
}

template <typename T>
struct solve_args {
  T alpha;
  const T* x;
  std::int64_t ldx;
  T* y;
  std::int64_t ldy;
  bool unit;
};

// Finishes row i: Y(i, c) = acc[c] / d (d = 1 for a unit diagonal).
template <bool RowMajor, int W, typename T>
inline void store_row(const solve_args<T>& a, std::int64_t i, std::int64_t c0, int width,
                      const T* acc, T d) {
  if (a.unit) {
    for (int c = 0; c < (W > 0 ? W : width); ++c) at<RowMajor>(a.y, a.ldy, i, c0 + c) = acc[c];
    return;
  }
  const T inverse = T(1) / d;
  for (int c = 0; c < (W > 0 ? W : width); ++c)
    at<RowMajor>(a.y, a.ldy, i, c0 + c) = mul(acc[c], inverse);
}

// Row i of a plan (position r in solve order), columns c0 .. c0 + width. InPlace: the strict
// triangle is read from the caller's arrays (cols, with `base`) at s.first[r].
template <bool Conj, bool RowMajor, int W, bool InPlace, typename T, typename I>
inline void planned_row(const solve_plan<I>& s, const T* val, const I* cols, I base, std::int64_t r,
                        const solve_args<T>& a, std::int64_t c0, int width) {
  constexpr int N = W > 0 ? W : block_columns<T>();
  const int cols_ = W > 0 ? W : width;
  const std::int64_t i = s.order[r];
  T acc[N];
  for (int c = 0; c < cols_; ++c) acc[c] = mul(a.alpha, at<RowMajor>(a.x, a.ldx, i, c0 + c));
  const std::int64_t count = s.ptr[r + 1] - s.ptr[r];
  const std::int64_t from =
      InPlace ? static_cast<std::int64_t>(s.first[r]) : static_cast<std::int64_t>(s.ptr[r]);
  auto column = [&](std::int64_t k) -> std::int64_t {
    if constexpr (InPlace)
      return cols[k] - base;
    else
      return s.col[k];
  };
  auto value = [&](std::int64_t k) -> T {
    if constexpr (InPlace)
      return maybe_conj<Conj>(val[k]);
    else
      return maybe_conj<Conj>(val[s.pos[k]]);
  };
  for (std::int64_t k = from; k < from + count; ++k) {
    const T v = value(k);
    const std::int64_t j = column(k);
    for (int c = 0; c < cols_; ++c) acc[c] -= mul(v, at<RowMajor>(a.y, a.ldy, j, c0 + c));
  }
  const T d = a.unit ? T(1) : maybe_conj<Conj>(val[s.diag[r]]);
  store_row<RowMajor, W>(a, i, c0, width, acc, d);
}

// Row i as stored; false when a non-unit row has no diagonal.
template <bool Perm, bool Conj, bool RowMajor, int W, typename T, typename I>
inline bool stored_row(const csr_view<T, I>& v, bool lower, std::int64_t i, const solve_args<T>& a,
                       std::int64_t c0, int width) {
  constexpr int N = W > 0 ? W : block_columns<T>();
  const int cols = W > 0 ? W : width;
  T acc[N];
  for (int c = 0; c < cols; ++c) acc[c] = mul(a.alpha, at<RowMajor>(a.x, a.ldx, i, c0 + c));
  T d = T(0);
  bool found = false;
  const I base = v.base;
  for (std::int64_t k = v.begin[i] - base; k < v.end[i] - base; ++k) {
    const std::int64_t j = v.col[k] - base;
    const T e = entry<Perm, Conj>(v, k);
    if (lower ? j < i : j > i) {
      for (int c = 0; c < cols; ++c) acc[c] -= mul(e, at<RowMajor>(a.y, a.ldy, j, c0 + c));
    } else if (j == i) {
      d += e;
      found = true;
    }
  }
  if (!a.unit && !found) return false;
  store_row<RowMajor, W>(a, i, c0, width, acc, d);
  return true;
}

template <bool RowMajor, int W, typename T, typename I>
bool solve_block(typed_matrix<T, I>& A, const csr_view<T, I>& v, const solve_plan<I>* s, bool lower,
                 bool conj, const solve_args<T>& a, std::int64_t c0, int width) {
  const std::int64_t n = v.rows;
  bool ok = true;
  auto body = [&]<bool Conj>() {
    if (s == nullptr) {
      auto sweep = [&]<bool Perm>() {
        for (std::int64_t r = 0; r < n && ok; ++r)
          ok = stored_row<Perm, Conj, RowMajor, W>(v, lower, lower ? r : n - 1 - r, a, c0, width);
      };
      if (v.perm != nullptr)
        sweep.template operator()<true>();
      else
        sweep.template operator()<false>();
      return;
    }
    const T* val = A.values;
    if (s->in_place) {
      for (std::int64_t r = 0; r < n; ++r)
        planned_row<Conj, RowMajor, W, true>(*s, val, v.col, v.base, r, a, c0, width);
    } else {
      for (std::int64_t r = 0; r < n; ++r)
        planned_row<Conj, RowMajor, W, false>(*s, val, v.col, v.base, r, a, c0, width);
    }
  };
  if (is_complex<T> && conj)
    body.template operator()<true>();
  else
    body.template operator()<false>();
  return ok;
}

template <typename T, typename I>
sparse_status_t solve(typed_matrix<T, I>& A, host_operation_t op, host_matrix_descr descr,
                      bool row_major, std::int64_t columns, const solve_args<T>& a) {
  const bool transposed = op != HOST_OPERATION_NON_TRANSPOSE;
  const bool conj = op == HOST_OPERATION_CONJUGATE_TRANSPOSE;
  const bool lower = (descr.mode == HOST_FILL_MODE_LOWER) != transposed;
  const csr_view<T, I> v = transposed ? rows_of_transpose(A) : rows_of(A);
  const solve_plan<I>* s = made_plan(A, transposed, lower);
  if (s != nullptr && !a.unit && s->missing_diagonal) return SPARSE_STATUS_EXECUTION_FAILED;
  constexpr int W = block_columns<T>();
  bool ok = true;
  for (std::int64_t c0 = 0; c0 < columns && ok; c0 += W) {
    const int width = static_cast<int>(std::min<std::int64_t>(W, columns - c0));
    if (columns == 1)
      ok = solve_block<true, 1>(A, v, s, lower, conj, a, 0, 1);
    else if (row_major)
      ok = width == W ? solve_block<true, W>(A, v, s, lower, conj, a, c0, width)
                      : solve_block<true, 0>(A, v, s, lower, conj, a, c0, width);
    else
      ok = width == W ? solve_block<false, W>(A, v, s, lower, conj, a, c0, width)
                      : solve_block<false, 0>(A, v, s, lower, conj, a, c0, width);
  }
  return ok ? SPARSE_STATUS_SUCCESS : SPARSE_STATUS_EXECUTION_FAILED;
}

template <typename T, typename I>
bool valid_triangular(typed_matrix<T, I>& A, host_operation_t op, const host_matrix_descr& d) {
  return valid_operation(op) && d.type == HOST_MATRIX_TYPE_TRIANGULAR && valid_descriptor(d) &&
         A.rows == A.cols;
}

template <typename T, typename I>
sparse_status_t trsv(host_operation_t op, T alpha, host_matrix_t handle, host_matrix_descr descr,
                     const T* x, T* y) {
  return guarded([&]() -> sparse_status_t {
    auto* A = typed<T, I>(handle);
    if (A == nullptr) return refused(handle);
    if (!valid_triangular(*A, op, descr)) return SPARSE_STATUS_INVALID_VALUE;
    if (A->rows == 0) return SPARSE_STATUS_SUCCESS;
    if (x == nullptr || y == nullptr) return SPARSE_STATUS_INVALID_VALUE;
    const solve_args<T> a{alpha, x, 1, y, 1, descr.diag == HOST_DIAG_UNIT};
    return solve(*A, op, descr, true, 1, a);
  });
}

template <typename T, typename I>
sparse_status_t trsm(host_operation_t op, T alpha, host_matrix_t handle, host_matrix_descr descr,
                     host_layout_t layout, const T* x, I columns, I ldx, T* y, I ldy) {
  return guarded([&]() -> sparse_status_t {
    auto* A = typed<T, I>(handle);
    if (A == nullptr) return refused(handle);
    if (!valid_triangular(*A, op, descr) || !valid_layout(layout) || columns < 0)
      return SPARSE_STATUS_INVALID_VALUE;
    const bool row_major = layout == HOST_LAYOUT_ROW_MAJOR;
    const std::int64_t n = A->rows;
    if (row_major ? (ldx < columns || ldy < columns)
                  : (ldx < std::max<std::int64_t>(n, 1) || ldy < std::max<std::int64_t>(n, 1)))
      return SPARSE_STATUS_INVALID_VALUE;
    if (columns == 0 || n == 0) return SPARSE_STATUS_SUCCESS;
    if (x == nullptr || y == nullptr) return SPARSE_STATUS_INVALID_VALUE;
    const solve_args<T> a{alpha, x, ldx, y, ldy, descr.diag == HOST_DIAG_UNIT};
    // One column in either layout is a vector with a stride; the single-column kernel takes it
    // as row-major with the stride as leading dimension.
    if (columns == 1 && !row_major) {
      const solve_args<T> v{alpha, x, 1, y, 1, a.unit};
      return solve(*A, op, descr, true, 1, v);
    }
    return solve(*A, op, descr, row_major, columns, a);
  });
}

}  // namespace

}  // namespace vrt_host

using namespace vrt_host;

extern "C" {
#define VRT_DEFINE_SOLVES(p, C, i, I)                                                              \
  sparse_status_t vrt_sparse_##p##_trsv_##i(host_operation_t op, C alpha, host_matrix_t A,         \
                                            host_matrix_descr d, const C* x, C* y) {               \
    using T = value_of<C>::type;                                                                   \
    return trsv<T, I>(op, scalar<T>(alpha), A, d, reinterpret_cast<const T*>(x),                   \
                      reinterpret_cast<T*>(y));                                                    \
  }                                                                                                \
  sparse_status_t vrt_sparse_##p##_trsm_##i(host_operation_t op, C alpha, host_matrix_t A,         \
                                            host_matrix_descr d, host_layout_t layout, const C* x, \
                                            I columns, I ldx, C* y, I ldy) {                       \
    using T = value_of<C>::type;                                                                   \
    return trsm<T, I>(op, scalar<T>(alpha), A, d, layout, reinterpret_cast<const T*>(x), columns,  \
                      ldx, reinterpret_cast<T*>(y), ldy);                                          \
  }
VRT_HOST_FOR_EACH_VARIANT(VRT_DEFINE_SOLVES)
}
