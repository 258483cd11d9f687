// Public routines of one value type: argument tests, the context cache and dispatch.
#include <orvane/vrt/sparse.hpp>

#include "common/variants.hpp"
#include "interface/backends.hpp"
#include "interface/frame.hpp"
#include "interface/pending_backends.hpp"

namespace orvane::vrt::sparse {

namespace {
// The common tail of every frame: fp64 by the handle's type, the context, then the backend of
// the device (CPU queues run on the host engine) and of the handle's index width.
template <typename Run>
sycl::event dispatch(sycl::queue& queue, matrix_handle* A, const char* function, Run&& run) {
  verify_double_support_for(queue, A, function);
  cache_context(queue, A);
  const bool on_cpu = queue.get_device().is_cpu();
  return visit_int_type(A, function,
                        [&]<typename I>() { return run.template operator()<I>(on_cpu); });
}

// Arguments of a dense operand: a USM pointer or the address of the caller's buffer.
template <typename T>
T* as_arg(const T* pointer) {
  return const_cast<T*>(pointer);
}
template <typename T>
sycl::buffer<T, 1>* as_arg(sycl::buffer<T, 1>& buffer) {
  return &buffer;
}
}  // namespace

template <typename T, containerType C>
sycl::event dispatch_gemv(sycl::queue& q, transpose op, T alpha, matrix_handle* A,
                          container_t<C, T> x, T beta, container_t<C, T> y,
                          const event_list& deps) {
  return dispatch(q, A, "gemv", [&]<typename I>(bool on_cpu) {
    return on_cpu ? cpu::gemv_impl<T, I, C>(q, op, alpha, A, x, beta, y, deps)
                  : gpu::gemv_impl<T, I, C>(q, op, alpha, A, x, beta, y, deps);
  });
}

template <typename T, containerType C>
sycl::event dispatch_gemvdot(sycl::queue& q, transpose op, T alpha, matrix_handle* A,
                             container_t<C, T> x, T beta, container_t<C, T> y,
                             container_t<C, T> d, const event_list& deps) {
  return dispatch(q, A, "gemvdot", [&]<typename I>(bool on_cpu) {
    return on_cpu ? cpu::gemvdot_impl<T, I, C>(q, op, alpha, A, x, beta, y, d, deps)
                  : gpu::gemvdot_impl<T, I, C>(q, op, alpha, A, x, beta, y, d, deps);
  });
}

template <typename T, containerType C>
sycl::event dispatch_symv(sycl::queue& q, uplo ul, T alpha, matrix_handle* A,
                          container_t<C, T> x, T beta, container_t<C, T> y,
                          const event_list& deps) {
  return dispatch(q, A, "symv", [&]<typename I>(bool on_cpu) {
    return on_cpu ? cpu::symv_impl<T, I, C>(q, ul, alpha, A, x, beta, y, deps)
                  : gpu::symv_impl<T, I, C>(q, ul, alpha, A, x, beta, y, deps);
  });
}

template <typename T, containerType C>
sycl::event dispatch_trmv(sycl::queue& q, uplo ul, transpose op, diag dg, T alpha,
                          matrix_handle* A, container_t<C, T> x, T beta, container_t<C, T> y,
                          const event_list& deps) {
  return dispatch(q, A, "trmv", [&]<typename I>(bool on_cpu) {
    return on_cpu ? cpu::trmv_impl<T, I, C>(q, ul, op, dg, alpha, A, x, beta, y, deps)
                  : gpu::trmv_impl<T, I, C>(q, ul, op, dg, alpha, A, x, beta, y, deps);
  });
}

template <typename T, containerType C>
sycl::event dispatch_trsv(sycl::queue& q, uplo ul, transpose op, diag dg, T alpha,
                          matrix_handle* A, container_t<C, T> x, container_t<C, T> y,
                          const event_list& deps) {
  // trsv tests fp64 through verify_double_support; dispatch() does the same test.
  return dispatch(q, A, "trsv", [&]<typename I>(bool on_cpu) {
    return on_cpu ? cpu::trsv_impl<T, I, C>(q, ul, op, dg, alpha, A, x, y, deps)
                  : gpu::trsv_impl<T, I, C>(q, ul, op, dg, alpha, A, x, y, deps);
  });
}

template <typename T, containerType C>
sycl::event dispatch_trsm(sycl::queue& q, layout lay, transpose opA, transpose opX, uplo ul,
                          diag dg, T alpha, matrix_handle* A, container_t<C, T> x,
                          std::int64_t columns, std::int64_t ldx, container_t<C, T> y,
                          std::int64_t ldy, const event_list& deps) {
  return dispatch(q, A, "trsm", [&]<typename I>(bool on_cpu) {
    return on_cpu ? cpu::trsm_impl<T, I, C>(q, lay, opA, opX, ul, dg, alpha, A, x, columns, ldx,
                                            y, ldy, deps)
                  : gpu::trsm_impl<T, I, C>(q, lay, opA, opX, ul, dg, alpha, A, x, columns, ldx,
                                            y, ldy, deps);
  });
}

template <typename T, containerType C>
sycl::event dispatch_gemm(sycl::queue& q, layout lay, transpose opA, transpose opB, T alpha,
                          matrix_handle* A, container_t<C, T> b, std::int64_t columns,
                          std::int64_t ldb, T beta, container_t<C, T> c, std::int64_t ldc,
                          const event_list& deps) {
  return dispatch(q, A, "gemm", [&]<typename I>(bool on_cpu) {
    return on_cpu ? cpu::gemm_impl<T, I, C>(q, lay, opA, opB, alpha, A, b, columns, ldb, beta, c,
                                            ldc, deps)
                  : gpu::gemm_impl<T, I, C>(q, lay, opA, opB, alpha, A, b, columns, ldb, beta, c,
                                            ldc, deps);
  });
}

template <typename T, containerType C>
sycl::event dispatch_update_diagonal_values(sycl::queue& q, matrix_handle* A, std::int64_t length,
                                            container_t<C, T> diagonal, const event_list& deps) {
  if (q.get_device().is_cpu())
    throw unimplemented("sparse", "update_diagonal_values", "currently does not support cpu device");
  return visit_int_type(A, "update_diagonal_values", [&]<typename I>() {
    return gpu::update_diagonal_values_impl<T, I, C>(q, A, length, diagonal, deps);
  });
}

namespace {
constexpr const char* dense_sizes_gemm = "one or more of columns, ldb and ldc are invalid";
constexpr const char* dense_sizes_trsm = "one or more of columns, ldx and ldy are invalid";
constexpr const char* incompatible_layout = "incompatible leading dimensions with dense matrix layout";
constexpr const char* dense_op_unsupported =
    "Only non-transpose operation is supported for dense matrix in sparse";

void check_gemm_dense(const matrix_handle* A, layout lay, transpose opA, transpose opB,
                      std::int64_t columns, std::int64_t ldb, std::int64_t ldc) {
  if (columns < 1 || ldb < 1 || ldc < 1) throw invalid_argument("sparse", "gemm", dense_sizes_gemm);
  if (lay == layout::row_major) {
    if (columns > ldb || columns > ldc) throw invalid_argument("sparse", "gemm", incompatible_layout);
    if (opB != transpose::nontrans) throw unimplemented("sparse", "gemm", dense_op_unsupported);
  } else if (lay == layout::col_major) {
    if (opB != transpose::nontrans) throw unimplemented("sparse", "gemm", dense_op_unsupported);
    const sparseStructure* s = A->primary;
    const std::int64_t nrows = s != nullptr ? s->nrows : 0;
    const std::int64_t ncols = s != nullptr ? s->ncols : 0;
    const bool transposed = is_transposed(opA);
    const std::int64_t b_rows = transposed ? nrows : ncols;
    const std::int64_t c_rows = transposed ? ncols : nrows;
    if (b_rows > ldb || c_rows > ldc) throw invalid_argument("sparse", "gemm", incompatible_layout);
  } else {
    throw invalid_argument("sparse", "gemm", dense_sizes_gemm);
  }
}

void check_trsm_dense(layout lay, transpose opX, std::int64_t columns, std::int64_t ldx,
                      std::int64_t ldy) {
  if (columns < 1 || ldx < 1 || ldy < 1) throw invalid_argument("sparse", "trsm", dense_sizes_trsm);
  if (lay == layout::row_major) {
    if (columns > ldx || columns > ldy) throw invalid_argument("sparse", "trsm", dense_sizes_trsm);
  } else if (lay != layout::col_major) {
    throw invalid_argument("sparse", "trsm", incompatible_layout);
  }
  if (opX != transpose::nontrans) throw unimplemented("sparse", "trsm", dense_op_unsupported);
}

// Only update_diagonal_values compares the overload's memory model with the handle's.
void check_memory_model(const matrix_handle* A, containerType overload) {
  if (overload == container_usm && A->container != container_usm)
    throw exception("sparse", "update_diagonal_values", "USM API called with sycl::buffer data");
  if (overload == container_buffer && A->container != container_buffer)
    throw exception("sparse", "update_diagonal_values", "sycl::buffer API called with USM data");
}
}  // namespace

// The public overloads of one value type, in both memory models. X and Y are the dense operands
// as the caller passes them (const T* / T* or sycl::buffer<T, 1>&).
#define VRT_DEFINE_OPERATION_FRAMES_FOR(T, C, X, Y, RETURN, DEPS_PARAM, DEPS, FWD)                   \
  RETURN gemv(sycl::queue& q, transpose op, T alpha, matrix_handle_t A, X x, T beta, Y y          \
                  DEPS_PARAM) {                                                                   \
    require_present("gemv", {{present(A), "hMatrix"}, {present(x), "x"}, {present(y), "y"}});    \
    return (RETURN)dispatch_gemv<T, C>(q, op, alpha, A, as_arg(x), beta, as_arg(y), DEPS);       \
  }                                                                                               \
  RETURN gemvdot(sycl::queue& q, transpose op, T alpha, matrix_handle_t A, Y x, T beta, Y y,      \
                 Y d DEPS_PARAM) {                                                                \
    require_present("gemvdot", {{present(A), "hMatrix"}, {present(x), "x"}, {present(y), "y"},   \
                                {present(d), "d"}});                                              \
    return (RETURN)dispatch_gemvdot<T, C>(q, op, alpha, A, as_arg(x), beta, as_arg(y), as_arg(d), \
                                          DEPS);                                                  \
  }                                                                                               \
  RETURN symv(sycl::queue& q, uplo ul, T alpha, matrix_handle_t A, Y x, T beta, Y y DEPS_PARAM) { \
    require_present("symv", {{present(A), "hMatrix"}, {present(x), "x"}, {present(y), "y"}});    \
    return (RETURN)dispatch_symv<T, C>(q, ul, alpha, A, as_arg(x), beta, as_arg(y), DEPS);       \
  }                                                                                               \
  RETURN trmv(sycl::queue& q, uplo ul, transpose op, diag dg, T alpha, matrix_handle_t A, Y x,    \
              T beta, Y y DEPS_PARAM) {                                                           \
    require_present("trmv", {{present(A), "hMatrix"}, {present(x), "x"}, {present(y), "y"}});    \
    return (RETURN)dispatch_trmv<T, C>(q, ul, op, dg, alpha, A, as_arg(x), beta, as_arg(y),      \
                                       DEPS);                                                     \
  }                                                                                               \
  RETURN trsv(sycl::queue& q, uplo ul, transpose op, diag dg, T alpha, matrix_handle_t A, Y x,    \
              Y y DEPS_PARAM) {                                                                   \
    require_present("trsv", {{present(A), "hMatrix"}, {present(x), "x"}, {present(y), "y"}});    \
    return (RETURN)dispatch_trsv<T, C>(q, ul, op, dg, alpha, A, as_arg(x), as_arg(y), DEPS);     \
  }                                                                                               \
  RETURN trsv(sycl::queue& q, uplo ul, transpose op, diag dg, matrix_handle_t A, Y x,             \
              Y y DEPS_PARAM) {                                                                   \
    return trsv(q, ul, op, dg, T(1), A, x, y FWD);                                                \
  }                                                                                               \
  RETURN trsm(sycl::queue& q, layout lay, transpose opA, transpose opX, uplo ul, diag dg,         \
              T alpha, matrix_handle_t A, X x, std::int64_t columns, std::int64_t ldx, Y y,       \
              std::int64_t ldy DEPS_PARAM) {                                                      \
    require_present("trsm", {{present(A), "hMatrix"}, {present(x), "x"}, {present(y), "y"}});    \
    verify_double_support_for(q, A, "trsm");                                                      \
    check_trsm_dense(lay, opX, columns, ldx, ldy);                                                \
    return (RETURN)dispatch_trsm<T, C>(q, lay, opA, opX, ul, dg, alpha, A, as_arg(x), columns,   \
                                       ldx, as_arg(y), ldy, DEPS);                                \
  }                                                                                               \
  RETURN gemm(sycl::queue& q, layout lay, transpose opA, transpose opB, T alpha,                  \
              matrix_handle_t A, Y b, std::int64_t columns, std::int64_t ldb, T beta, Y c,        \
              std::int64_t ldc DEPS_PARAM) {                                                      \
    require_present("gemm", {{present(A), "hMatrix"}, {present(b), "b"}, {present(c), "c"}});    \
    verify_double_support_for(q, A, "gemm");                                                      \
    check_gemm_dense(A, lay, opA, opB, columns, ldb, ldc);                                        \
    return (RETURN)dispatch_gemm<T, C>(q, lay, opA, opB, alpha, A, as_arg(b), columns, ldb,      \
                                       beta, as_arg(c), ldc, DEPS);                               \
  }

#define VRT_DEFINE_OPERATION_FRAMES(p, T)                                                         \
  VRT_DEFINE_OPERATION_FRAMES_FOR(T, container_buffer, sycl::buffer<T VRT_COMMA 1>&,              \
                                  sycl::buffer<T VRT_COMMA 1>&, void, , {}, )                     \
  VRT_DEFINE_OPERATION_FRAMES_FOR(T, container_usm, const T*, T*, sycl::event,                    \
                                  VRT_COMMA const event_list& deps, deps,    \
                                  VRT_COMMA deps)                     \
  void update_diagonal_values(sycl::queue& q, matrix_handle_t A, sycl::buffer<T, 1>& diagonal) {  \
    require_present("update_diagonal_values", {{present(A), "hMatrix"},                           \
                                               {present(diagonal), "hMatrix"}});                  \
    verify_double_support_for(q, A, "update_diagonal_values");                                   \
    check_memory_model(A, container_buffer);                                                      \
    cache_context(q, A);                                                                          \
    dispatch_update_diagonal_values<T, container_buffer>(                                         \
        q, A, static_cast<std::int64_t>(diagonal.size()), &diagonal, {});                         \
  }                                                                                               \
  sycl::event update_diagonal_values(sycl::queue& q, matrix_handle_t A, std::int64_t length,      \
                                     const T* diagonal, const event_list& deps) {                 \
    require_present("update_diagonal_values", {{present(A), "hMatrix"}});                         \
    verify_double_support_for(q, A, "update_diagonal_values");                                    \
    check_memory_model(A, container_usm);                                                         \
    cache_context(q, A);                                                                          \
    return dispatch_update_diagonal_values<T, container_usm>(q, A, length,                       \
                                                             const_cast<T*>(diagonal), deps);     \
  }
#define VRT_COMMA ,
VRT_FOR_EACH_VALUE(VRT_DEFINE_OPERATION_FRAMES)

}  // namespace orvane::vrt::sparse
