// The CPU backend of the products and solves: each routine is one call of the host engine.
#pragma once

#include <limits>

#include "cpu/entry_points.hpp"
#include "cpu/host_calls.hpp"

namespace orvane::vrt::sparse::cpu {

namespace detail {
inline sparseStructure* primary_of(matrix_handle* A, const char* word) {
  if (A->primary == nullptr) throw uninitialized("sparse", word, "Matrix is not initialized");
  return A->primary;
}

template <typename I>
bool fits(std::int64_t v) {
  return v <= static_cast<std::int64_t>(std::numeric_limits<I>::max());
}

// The host engine reads a COO matrix's dense operands in these two combinations wrongly.
inline void refuse_coo_layout(const sparseStructure* s, layout lay, const char* word) {
  if (s->format != format_coo) return;
  const bool zero = s->index == 0;
  if ((zero && lay == layout::col_major) || (!zero && lay == layout::row_major))
    throw unimplemented("sparse", word,
                        "{index_base::zero, layout::col_major} and {index_base::one, "
                        "layout::row_major} input cases are not yet supported on CPU device");
}

// One engine call with dense operands x (read) and y (read and written), after the matrix.
template <typename T, typename I, containerType C, typename Call>
sycl::event call_with_vectors(sycl::queue& queue, matrix_handle* A, const char* word,
                              container_t<C, T> x, container_t<C, T> y, const event_list& deps,
                              Call&& call) {
  primary_of(A, word);
  std::vector<sycl::event> chain = deps;
  ensure_host_matrix<T, I, C>(queue, A, word, chain);
  host_matrix_t matrix = A->host_matrix;
  run_host_call<C>(queue, word, chain, [&](sycl::handler& h) {
    auto xs = bind(h, x, sycl::read_only);
    auto ys = bind(h, y, sycl::read_write);
    return [=] { return call(matrix, raw(xs), raw(ys)); };
  });
  return sycl::event();
}
}  // namespace detail

template <typename T, typename I, containerType C>
sycl::event gemv_impl(sycl::queue& queue, transpose op, T alpha, matrix_handle* A,
                      container_t<C, T> x, T beta, container_t<C, T> y, const event_list& deps) {
  const host_operation_t hop = host_operation(op, "gemv");
  return detail::call_with_vectors<T, I, C>(
      queue, A, "gemv", x, y, deps, [=](host_matrix_t m, const T* xs, T* ys) {
        return engine<T, I>::mv(hop, alpha, m, general_descr(), xs, beta, ys);
      });
}

template <typename T, typename I, containerType C>
sycl::event gemvdot_impl(sycl::queue& queue, transpose op, T alpha, matrix_handle* A,
                         container_t<C, T> x, T beta, container_t<C, T> y, container_t<C, T> d,
                         const event_list& deps) {
  detail::primary_of(A, "gemvdot");
  const host_operation_t hop = host_operation(op, "gemvdot");
  std::vector<sycl::event> chain = deps;
  ensure_host_matrix<T, I, C>(queue, A, "gemvdot", chain);
  host_matrix_t matrix = A->host_matrix;
  run_host_call<C>(queue, "gemvdot", chain, [&](sycl::handler& h) {
    auto xs = bind(h, x, sycl::read_only);
    auto ys = bind(h, y, sycl::read_write);
    auto ds = bind(h, d, sycl::write_only);
    return [=] {
      return engine<T, I>::dotmv(hop, alpha, matrix, general_descr(), raw(xs), beta, raw(ys),
                                 raw(ds));
    };
  });
  return sycl::event();
}

template <typename T, typename I, containerType C>
sycl::event symv_impl(sycl::queue& queue, uplo ul, T alpha, matrix_handle* A, container_t<C, T> x,
                      T beta, container_t<C, T> y, const event_list& deps) {
  if (ul != uplo::lower && ul != uplo::upper) throw invalid_argument("sparse", "symv", "uplo_flag");
  const host_matrix_descr d{HOST_MATRIX_TYPE_SYMMETRIC,
                            ul == uplo::lower ? HOST_FILL_MODE_LOWER : HOST_FILL_MODE_UPPER,
                            HOST_DIAG_NON_UNIT};
  return detail::call_with_vectors<T, I, C>(
      queue, A, "symv", x, y, deps, [=](host_matrix_t m, const T* xs, T* ys) {
        return engine<T, I>::mv(HOST_OPERATION_NON_TRANSPOSE, alpha, m, d, xs, beta, ys);
      });
}

template <typename T, typename I, containerType C>
sycl::event trmv_impl(sycl::queue& queue, uplo ul, transpose op, diag dg, T alpha, matrix_handle* A,
                      container_t<C, T> x, T beta, container_t<C, T> y, const event_list& deps) {
  const host_matrix_descr d = triangular_descr(ul, dg, "trmv");
  const host_operation_t hop = host_operation(op, "trmv");
  return detail::call_with_vectors<T, I, C>(
      queue, A, "trmv", x, y, deps, [=](host_matrix_t m, const T* xs, T* ys) {
        return engine<T, I>::mv(hop, alpha, m, d, xs, beta, ys);
      });
}

template <typename T, typename I, containerType C>
sycl::event trsv_impl(sycl::queue& queue, uplo ul, transpose op, diag dg, T alpha, matrix_handle* A,
                      container_t<C, T> x, container_t<C, T> y, const event_list& deps) {
  const host_matrix_descr d = triangular_descr(ul, dg, "trsv");
  const host_operation_t hop = host_operation(op, "trsv");
  return detail::call_with_vectors<T, I, C>(queue, A, "trsv", x, y, deps,
                                            [=](host_matrix_t m, const T* xs, T* ys) {
                                              return engine<T, I>::trsv(hop, alpha, m, d, xs, ys);
                                            });
}

template <typename T, typename I, containerType C>
sycl::event trsm_impl(sycl::queue& queue, layout lay, transpose opA, transpose opX, uplo ul,
                      diag dg, T alpha, matrix_handle* A, container_t<C, T> x, std::int64_t columns,
                      std::int64_t ldx, container_t<C, T> y, std::int64_t ldy,
                      const event_list& deps) {
  if (ul != uplo::lower && ul != uplo::upper)
    throw invalid_argument("sparse", "trsm", "uplo_flag is invalid");
  if (!detail::fits<I>(columns) || !detail::fits<I>(ldx) || !detail::fits<I>(ldy))
    throw invalid_argument("sparse", "trsm", "one of columns, ldx, ldy is invalid");
  if (opX != transpose::nontrans)
    throw unimplemented("sparse", "trsm",
                        "currently only supports the orvane::vrt::transpose::nontrans op for x "
                        "matrix");
  detail::refuse_coo_layout(detail::primary_of(A, "trsm"), lay, "trsm");
  const host_matrix_descr d = triangular_descr(ul, dg, "trsm", "uplo_flag is invalid");
  const host_operation_t hop = host_operation(opA, "trsm", "opA");
  const host_layout_t hl = host_layout(lay, "trsm");
  return detail::call_with_vectors<T, I, C>(
      queue, A, "trsm", x, y, deps, [=](host_matrix_t m, const T* xs, T* ys) {
        return engine<T, I>::trsm(hop, alpha, m, d, hl, xs, static_cast<I>(columns),
                                  static_cast<I>(ldx), ys, static_cast<I>(ldy));
      });
}

template <typename T, typename I, containerType C>
sycl::event gemm_impl(sycl::queue& queue, layout lay, transpose opA, transpose opB, T alpha,
                      matrix_handle* A, container_t<C, T> b, std::int64_t columns, std::int64_t ldb,
                      T beta, container_t<C, T> c, std::int64_t ldc, const event_list& deps) {
  if (opB != transpose::nontrans)
    throw unimplemented("sparse", "gemm",
                        "currently does not support non-transpose op on B/dense matrix");
  if (!detail::fits<I>(columns) || !detail::fits<I>(ldb) || !detail::fits<I>(ldc))
    throw invalid_argument("sparse", "gemm", "one of columns, ldb, ldc is invalid");
  detail::refuse_coo_layout(detail::primary_of(A, "gemm"), lay, "gemm");
  const host_operation_t hop = host_operation(opA, "gemm", "opA");
  const host_layout_t hl = host_layout(lay, "gemm");
  return detail::call_with_vectors<T, I, C>(
      queue, A, "gemm", b, c, deps, [=](host_matrix_t m, const T* bs, T* cs) {
        return engine<T, I>::mm(hop, alpha, m, general_descr(), hl, bs, static_cast<I>(columns),
                                static_cast<I>(ldb), beta, cs, static_cast<I>(ldc));
      });
}

}  // namespace orvane::vrt::sparse::cpu

#define VRT_INSTANTIATE_CPU_OPERATIONS(T, I, C)                                                   \
  namespace orvane::vrt::sparse::cpu {                                                            \
  template sycl::event gemv_impl<T, I, C>(sycl::queue&, transpose, T, matrix_handle*,             \
                                          container_t<C, T>, T, container_t<C, T>,                \
                                          const event_list&);                                     \
  template sycl::event gemvdot_impl<T, I, C>(sycl::queue&, transpose, T, matrix_handle*,          \
                                             container_t<C, T>, T, container_t<C, T>,             \
                                             container_t<C, T>, const event_list&);               \
  template sycl::event symv_impl<T, I, C>(sycl::queue&, uplo, T, matrix_handle*,                  \
                                          container_t<C, T>, T, container_t<C, T>,                \
                                          const event_list&);                                     \
  template sycl::event trmv_impl<T, I, C>(sycl::queue&, uplo, transpose, diag, T, matrix_handle*, \
                                          container_t<C, T>, T, container_t<C, T>,                \
                                          const event_list&);                                     \
  template sycl::event trsv_impl<T, I, C>(sycl::queue&, uplo, transpose, diag, T, matrix_handle*, \
                                          container_t<C, T>, container_t<C, T>,                   \
                                          const event_list&);                                     \
  template sycl::event trsm_impl<T, I, C>(sycl::queue&, layout, transpose, transpose, uplo, diag, \
                                          T, matrix_handle*, container_t<C, T>, std::int64_t,     \
                                          std::int64_t, container_t<C, T>, std::int64_t,          \
                                          const event_list&);                                     \
  template sycl::event gemm_impl<T, I, C>(sycl::queue&, layout, transpose, transpose, T,          \
                                          matrix_handle*, container_t<C, T>, std::int64_t,        \
                                          std::int64_t, T, container_t<C, T>, std::int64_t,       \
                                          const event_list&);                                     \
  }
