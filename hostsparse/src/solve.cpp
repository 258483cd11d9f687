// Triangular solves op(A) y = alpha x, for one right-hand side or many.
//
// A solve runs on the rows of A, or of A^T for a transposed operation, where the triangle flips.
// Rows are solved in order (forward for a lower, backward for an upper triangle); after
// optimize with a solve hint the rows are grouped into level sets, and the rows of a wide level
// are solved in parallel.
#include "row_kernels.hpp"

namespace vrt_host {

template <typename T, typename I>
void build_schedule(typed_matrix<T, I>& A, bool transposed_view, bool lower) {
  auto& s = A.levels[transposed_view ? 1 : 0][lower ? 1 : 0];
  if (s.built) return;
  const csr_view<T, I> v = transposed_view ? rows_of_transpose(A) : rows_of(A);
  const std::int64_t n = v.rows;
  // level[i] = 1 + the deepest level among the rows that row i depends on.
  std::vector<I> level(static_cast<std::size_t>(n), 0);
  I depth = 0;
  auto visit = [&](std::int64_t i) {
    I l = 0;
    for (I k = v.begin[i] - v.base; k < v.end[i] - v.base; ++k) {
      const std::int64_t j = v.col[k] - v.base;
      if (lower ? j < i : j > i) l = std::max<I>(l, level[j] + 1);
    }
    level[i] = l;
    depth = std::max<I>(depth, l + 1);
  };
  if (lower)
    for (std::int64_t i = 0; i < n; ++i) visit(i);
  else
    for (std::int64_t i = n - 1; i >= 0; --i) visit(i);
  s.level_ptr.assign(static_cast<std::size_t>(depth) + 1, 0);
  for (std::int64_t i = 0; i < n; ++i) ++s.level_ptr[level[i] + 1];
  for (I l = 0; l < depth; ++l) s.level_ptr[l + 1] += s.level_ptr[l];
  s.order.resize(static_cast<std::size_t>(n));
  std::vector<I> cursor(s.level_ptr.begin(), s.level_ptr.end() - 1);
  for (std::int64_t i = 0; i < n; ++i) s.order[cursor[level[i]]++] = static_cast<I>(i);
  s.built = true;
}

namespace {

// A dense operand: element (i, c) at p[i * row_stride + c * column_stride].
template <typename T>
struct dense {
  T* p;
  std::int64_t row_stride, column_stride;
  T& operator()(std::int64_t i, std::int64_t c) const { return p[i * row_stride + c * column_stride]; }
};

// Solves row i for `columns` right-hand sides: y[i] = (alpha x[i] - sum a_ij y[j]) / a_ii.
// Returns false when a non-unit row has no diagonal entry.
template <part Strict, typename T, typename I>
bool solve_row(const csr_view<T, I>& v, std::int64_t i, bool conj, bool unit, T alpha,
               std::int64_t columns, const dense<T>& at_x, const dense<T>& at_y, T* acc) {
  for (std::int64_t c = 0; c < columns; ++c) acc[c] = alpha * at_x(i, c);
  T diagonal = T(0);
  bool found = false;
  const I end = v.end[i] - v.base;
  for (I k = v.begin[i] - v.base; k < end; ++k) {
    const std::int64_t j = v.col[k] - v.base;
    const T a = conj_if(v.value(k), conj);
    if (j == i) {
      diagonal += a;
      found = true;
    } else if (Strict == part::strict_lower ? j < i : j > i) {
      for (std::int64_t c = 0; c < columns; ++c) acc[c] -= a * at_y(j, c);
    }
  }
  if (unit) {
    for (std::int64_t c = 0; c < columns; ++c) at_y(i, c) = acc[c];
    return true;
  }
  if (!found) return false;
  for (std::int64_t c = 0; c < columns; ++c) at_y(i, c) = acc[c] / diagonal;
  return true;
}

template <typename T, typename I>
sparse_status_t solve(typed_matrix<T, I>& A, host_operation_t op, host_matrix_descr descr,
                      T alpha, std::int64_t columns, const dense<T>& at_x, const dense<T>& at_y) {
  const bool transposed = op != HOST_OPERATION_NON_TRANSPOSE;
  const bool conj = op == HOST_OPERATION_CONJUGATE_TRANSPOSE;
  const bool lower = (descr.mode == HOST_FILL_MODE_LOWER) != transposed;
  const bool unit = descr.diag == HOST_DIAG_UNIT;
  const csr_view<T, I> v = transposed ? rows_of_transpose(A) : rows_of(A);
  const std::int64_t n = v.rows;
  auto& schedule = A.levels[transposed ? 1 : 0][lower ? 1 : 0];
  const int threads = team_size();
  std::atomic<bool> missing{false};
  auto run = [&]<part Strict>() {
    // Levels help when they are wide: then their rows go to the team.
    const bool levels = schedule.built && threads > 1 &&
                        n >= 64 * threads * static_cast<std::int64_t>(schedule.level_ptr.size() - 1);
    if (!levels) {
      std::vector<T> acc(static_cast<std::size_t>(columns));
      for (std::int64_t s = 0; s < n; ++s) {
        const std::int64_t i = lower ? s : n - 1 - s;
        if (!solve_row<Strict>(v, i, conj, unit, alpha, columns, at_x, at_y, acc.data())) {
          missing = true;
          return;
        }
      }
      return;
    }
    const std::int64_t depth = static_cast<std::int64_t>(schedule.level_ptr.size()) - 1;
#pragma omp parallel num_threads(threads)
    {
      std::vector<T> acc(static_cast<std::size_t>(columns));
      for (std::int64_t l = 0; l < depth; ++l) {
#pragma omp for schedule(static)
        for (I p = schedule.level_ptr[l]; p < schedule.level_ptr[l + 1]; ++p)
          if (!solve_row<Strict>(v, schedule.order[p], conj, unit, alpha, columns, at_x, at_y,
                                 acc.data()))
            missing = true;
      }
    }
  };
  if (lower)
    run.template operator()<part::strict_lower>();
  else
    run.template operator()<part::strict_upper>();
  return missing ? SPARSE_STATUS_EXECUTION_FAILED : SPARSE_STATUS_SUCCESS;
}

template <typename T, typename I>
bool valid_triangular(typed_matrix<T, I>* A, host_operation_t op, host_matrix_descr d) {
  return valid_operation(op) && d.type == HOST_MATRIX_TYPE_TRIANGULAR && valid_descriptor(d) &&
         A->rows == A->cols;
}

}  // namespace

template <typename T, typename I>
sparse_status_t trsv(host_operation_t op, T alpha, host_matrix_t handle, host_matrix_descr descr,
                     const T* x, T* y) {
  return guarded([&]() -> sparse_status_t {
    auto* A = typed<T, I>(handle);
    if (A == nullptr) return handle == nullptr ? SPARSE_STATUS_NOT_INITIALIZED : SPARSE_STATUS_INVALID_VALUE;
    if (!valid_triangular(A, op, descr)) return SPARSE_STATUS_INVALID_VALUE;
    if (A->rows > 0 && (x == nullptr || y == nullptr)) return SPARSE_STATUS_INVALID_VALUE;
    // y may alias x: each x[i] is read before y[i] is written.
    return solve(*A, op, descr, alpha, 1, dense<T>{const_cast<T*>(x), 1, 0}, dense<T>{y, 1, 0});
  });
}

template <typename T, typename I>
sparse_status_t trsm(host_operation_t op, T alpha, host_matrix_t handle, host_matrix_descr descr,
                     host_layout_t layout, const T* x, I columns, I ldx, T* y, I ldy) {
  return guarded([&]() -> sparse_status_t {
    auto* A = typed<T, I>(handle);
    if (A == nullptr) return handle == nullptr ? SPARSE_STATUS_NOT_INITIALIZED : SPARSE_STATUS_INVALID_VALUE;
    if (!valid_triangular(A, op, descr) || columns < 0) return SPARSE_STATUS_INVALID_VALUE;
    const bool row_major = layout == HOST_LAYOUT_ROW_MAJOR;
    if (!row_major && layout != HOST_LAYOUT_COLUMN_MAJOR) return SPARSE_STATUS_INVALID_VALUE;
    if (row_major ? (ldx < columns || ldy < columns) : (ldx < A->rows || ldy < A->rows))
      return SPARSE_STATUS_INVALID_VALUE;
    if (columns == 0 || A->rows == 0) return SPARSE_STATUS_SUCCESS;
    if (x == nullptr || y == nullptr) return SPARSE_STATUS_INVALID_VALUE;
    T* xs = const_cast<T*>(x);
    const dense<T> at_x = row_major ? dense<T>{xs, ldx, 1} : dense<T>{xs, 1, ldx};
    const dense<T> at_y = row_major ? dense<T>{y, ldy, 1} : dense<T>{y, 1, ldy};
    return solve(*A, op, descr, alpha, columns, at_x, at_y);
  });
}

#define VRT_INSTANTIATE_SCHEDULE(T)                                                   \
  template void build_schedule<T, int32_t>(typed_matrix<T, int32_t>&, bool, bool);    \
  template void build_schedule<T, int64_t>(typed_matrix<T, int64_t>&, bool, bool);
VRT_INSTANTIATE_SCHEDULE(float)
VRT_INSTANTIATE_SCHEDULE(double)
VRT_INSTANTIATE_SCHEDULE(std::complex<float>)
VRT_INSTANTIATE_SCHEDULE(std::complex<double>)

}  // namespace vrt_host

using namespace vrt_host;

extern "C" {
#define VRT_DEFINE_SOLVES(p, C, i, I)                                                            \
  sparse_status_t vrt_sparse_##p##_trsv_##i(host_operation_t op, C alpha, host_matrix_t A,       \
                                            host_matrix_descr d, const C* x, C* y) {             \
    using T = value_of<C>::type;                                                                 \
    return trsv<T, I>(op, scalar<T>(alpha), A, d, reinterpret_cast<const T*>(x),      \
                      reinterpret_cast<T*>(y));                                                  \
  }                                                                                              \
  sparse_status_t vrt_sparse_##p##_trsm_##i(host_operation_t op, C alpha, host_matrix_t A,       \
                                            host_matrix_descr d, host_layout_t layout,           \
                                            const C* x, I columns, I ldx, C* y, I ldy) {         \
    using T = value_of<C>::type;                                                                 \
    return trsm<T, I>(op, scalar<T>(alpha), A, d, layout,                            \
                      reinterpret_cast<const T*>(x), columns, ldx, reinterpret_cast<T*>(y),      \
                      ldy);                                                                      \
  }
VRT_HOST_FOR_EACH_VARIANT(VRT_DEFINE_SOLVES)
}
