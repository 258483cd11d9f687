// What the products share: which entries of a row take part, and rows split over the team.
#pragma once

#include "matrix.hpp"

namespace vrt_host {

// The part of a row that an operation reads: all, or one triangle with or without the diagonal.
enum class part { all, lower, strict_lower, upper, strict_upper };

inline part flipped(part p) {
  switch (p) {
    case part::lower: return part::upper;
    case part::strict_lower: return part::strict_upper;
    case part::upper: return part::lower;
    case part::strict_upper: return part::strict_lower;
    default: return part::all;
  }
}

// Calls f(j, a) for the entries of row i in the part, values conjugated on request.
template <part P, typename T, typename I, typename F>
inline void for_each_entry(const csr_view<T, I>& v, std::int64_t i, bool conj, F&& f) {
  const I end = v.end[i] - v.base;
  for (I k = v.begin[i] - v.base; k < end; ++k) {
    const std::int64_t j = v.col[k] - v.base;
    if constexpr (P == part::lower) if (j > i) continue;
    if constexpr (P == part::strict_lower) if (j >= i) continue;
    if constexpr (P == part::upper) if (j < i) continue;
    if constexpr (P == part::strict_upper) if (j <= i) continue;
    f(j, conj_if(v.value(k), conj));
  }
}

// Runs f(part) with P fixed at compile time.
template <typename F>
inline void with_part(part p, F&& f) {
  switch (p) {
    case part::all: return f.template operator()<part::all>();
    case part::lower: return f.template operator()<part::lower>();
    case part::strict_lower: return f.template operator()<part::strict_lower>();
    case part::upper: return f.template operator()<part::upper>();
    case part::strict_upper: return f.template operator()<part::strict_upper>();
  }
}

// Calls body(first_row, last_row) on each thread, rows split by entries.
template <typename T, typename I, typename Body>
void parallel_rows(const csr_view<T, I>& v, Body&& body) {
  const int threads = v.rows < 512 ? 1 : team_size();
  if (threads == 1) return body(std::int64_t(0), v.rows);
  const auto split = balanced_rows(v, threads);
#pragma omp parallel num_threads(threads)
  {
#if defined(_OPENMP)
    const int t = omp_get_thread_num();
#else
    const int t = 0;
#endif
    body(split[t], split[t + 1]);
  }
}

// y = alpha * s + beta * y, without reading y when beta is zero.
template <typename T>
inline void finish(T& y, T alpha, T beta, T s) {
  y = beta == T(0) ? alpha * s : alpha * s + beta * y;
}

// How an operation reads the matrix: the rows it runs on, the part of each row, and whether a
// second, transposed pass completes a symmetric matrix.
template <typename T, typename I>
struct operation_plan {
  csr_view<T, I> rows;
  part first = part::all;
  bool conj = false;
  bool unit_diagonal = false;  // adds x[i] for the unit diagonal
  bool symmetric = false;      // then `mirror` adds the strict other triangle
  csr_view<T, I> mirror;
  part second = part::all;
};

template <typename T, typename I>
bool plan_operation(typed_matrix<T, I>& A, host_operation_t op, const host_matrix_descr& d,
                    operation_plan<T, I>& plan) {
  const bool transposed = op != HOST_OPERATION_NON_TRANSPOSE;
  plan.conj = op == HOST_OPERATION_CONJUGATE_TRANSPOSE;
  if (d.type == HOST_MATRIX_TYPE_GENERAL) {
    plan.rows = transposed ? rows_of_transpose(A) : rows_of(A);
    return true;
  }
  if (A.rows != A.cols) return false;
  const bool lower = d.mode == HOST_FILL_MODE_LOWER;
  plan.unit_diagonal = d.diag == HOST_DIAG_UNIT;
  const part own = lower ? (plan.unit_diagonal ? part::strict_lower : part::lower)
                         : (plan.unit_diagonal ? part::strict_upper : part::upper);
  if (d.type == HOST_MATRIX_TYPE_TRIANGULAR) {
    plan.rows = transposed ? rows_of_transpose(A) : rows_of(A);
    plan.first = transposed ? flipped(own) : own;
    return true;
  }
  // Symmetric: the triangle itself, and its strict part mirrored through the transpose.
  plan.symmetric = true;
  plan.rows = rows_of(A);
  plan.first = own;
  plan.mirror = rows_of_transpose(A);
  plan.second = lower ? part::strict_upper : part::strict_lower;
  return true;
}

}  // namespace vrt_host
