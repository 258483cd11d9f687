// y = alpha * op(A) * x + beta * y, and the same with the dot product of x and y.
#include "row_kernels.hpp"

namespace vrt_host {

namespace {

// The common case on its own: all entries, values in place, no conjugation.
template <typename T, typename I>
void general_rows(const csr_view<T, I>& v, std::int64_t lo, std::int64_t hi, T alpha,
                  const T* x, T beta, T* y) {
  const I* col = v.col;
  const T* val = v.val;
  const I base = v.base;
  for (std::int64_t i = lo; i < hi; ++i) {
    T sum = T(0);
    const I end = v.end[i] - base;
    if constexpr (is_complex<T>) {
      for (I k = v.begin[i] - base; k < end; ++k) sum += val[k] * x[col[k] - base];
    } else {
#pragma omp simd reduction(+ : sum)
      for (I k = v.begin[i] - base; k < end; ++k) sum += val[k] * x[col[k] - base];
    }
    finish(y[i], alpha, beta, sum);
  }
}

template <typename T, typename I>
void planned_rows(const operation_plan<T, I>& plan, std::int64_t lo, std::int64_t hi, T alpha,
                  const T* x, T beta, T* y) {
  with_part(plan.first, [&]<part P>() {
    for (std::int64_t i = lo; i < hi; ++i) {
      T sum = T(0);
      for_each_entry<P>(plan.rows, i, plan.conj, [&](std::int64_t j, T a) { sum += a * x[j]; });
      if (plan.symmetric)
        with_part(plan.second, [&]<part Q>() {
          for_each_entry<Q>(plan.mirror, i, plan.conj, [&](std::int64_t j, T a) { sum += a * x[j]; });
        });
      if (plan.unit_diagonal) sum += x[i];
      finish(y[i], alpha, beta, sum);
    }
  });
}

}  // namespace

template <typename T, typename I>
sparse_status_t mv(host_operation_t op, T alpha, host_matrix_t handle, host_matrix_descr descr,
                   const T* x, T beta, T* y) {
  return guarded([&]() -> sparse_status_t {
    auto* A = typed<T, I>(handle);
    if (A == nullptr) return handle == nullptr ? SPARSE_STATUS_NOT_INITIALIZED : SPARSE_STATUS_INVALID_VALUE;
    if (!valid_operation(op) || !valid_descriptor(descr)) return SPARSE_STATUS_INVALID_VALUE;
    operation_plan<T, I> plan;
    if (!plan_operation(*A, op, descr, plan)) return SPARSE_STATUS_INVALID_VALUE;
    if ((plan.rows.rows > 0 && y == nullptr) || (plan.rows.cols > 0 && x == nullptr))
      return SPARSE_STATUS_INVALID_VALUE;
    const bool plain = descr.type == HOST_MATRIX_TYPE_GENERAL && plan.rows.perm == nullptr &&
                       !(is_complex<T> && plan.conj);
    parallel_rows(plan.rows, [&](std::int64_t lo, std::int64_t hi) {
      if (plain)
        general_rows(plan.rows, lo, hi, alpha, x, beta, y);
      else
        planned_rows(plan, lo, hi, alpha, x, beta, y);
    });
    return SPARSE_STATUS_SUCCESS;
  });
}

template <typename T, typename I>
sparse_status_t dotmv(host_operation_t op, T alpha, host_matrix_t handle, host_matrix_descr descr,
                      const T* x, T beta, T* y, T* d) {
  if (d == nullptr) return SPARSE_STATUS_INVALID_VALUE;
  const sparse_status_t status = mv<T, I>(op, alpha, handle, descr, x, beta, y);
  if (status != SPARSE_STATUS_SUCCESS) return status;
  auto* A = typed<T, I>(handle);
  // Over the entries that x and y share when op(A) is not square.
  const std::int64_t n = std::min(A->rows, A->cols);
  T sum = T(0);
  for (std::int64_t i = 0; i < n; ++i) sum += x[i] * y[i];
  *d = sum;
  return SPARSE_STATUS_SUCCESS;
}

}  // namespace vrt_host

using namespace vrt_host;

extern "C" {
#define VRT_DEFINE_MV(p, C, i, I)                                                                \
  sparse_status_t vrt_sparse_##p##_mv_##i(host_operation_t op, C alpha, host_matrix_t A,         \
                                          host_matrix_descr d, const C* x, C beta, C* y) {       \
    using T = value_of<C>::type;                                                                 \
    return mv<T, I>(op, scalar<T>(alpha), A, d, reinterpret_cast<const T*>(x),        \
                    scalar<T>(beta), reinterpret_cast<T*>(y));                        \
  }                                                                                              \
  sparse_status_t vrt_sparse_##p##_dotmv_##i(host_operation_t op, C alpha, host_matrix_t A,      \
                                             host_matrix_descr d, const C* x, C beta, C* y,      \
                                             C* dot) {                                           \
    using T = value_of<C>::type;                                                                 \
    return dotmv<T, I>(op, scalar<T>(alpha), A, d, reinterpret_cast<const T*>(x),     \
                       scalar<T>(beta), reinterpret_cast<T*>(y),                      \
                       reinterpret_cast<T*>(dot));                                               \
  }
VRT_HOST_FOR_EACH_VARIANT(VRT_DEFINE_MV)
}
