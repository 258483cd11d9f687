// Public routines of one value type: argument tests, the context cache and dispatch.
#include "interface/operation_frames.hpp"

#include "common/variants.hpp"
#include "cpu/entry_points.hpp"
#include "gpu/entry_points.hpp"
#include "handle/caller_arrays.hpp"
#include "handle/value_types.hpp"
#include "handle/visit_variant.hpp"
#include "interface/dispatch.hpp"
#include "interface/frame.hpp"

namespace orvane::vrt::sparse {

namespace {
// A bound handle is only read through the overload of its own value type and memory model:
// anything else would read its arrays as another type.
template <typename T, containerType C>
void check_call_matches_handle(const matrix_handle* A, const char* function) {
  if (A->primary == nullptr) return;  // never bound: the backend says "Matrix is not initialized"
  if (A->container != C)
    throw invalid_argument("sparse", function,
                           C == container_usm ? "USM API called with sycl::buffer data"
                                              : "sycl::buffer API called with USM data");
  if (A->fp_type != fp_type_of<T>())
    throw invalid_argument("sparse", function,
                           "the value type of the call differs from the matrix handle's");
}

// The common tail of every frame: fp64 by the handle's type, the context, then the backend of
// the device (CPU queues run on the host engine) and of the handle's index width.
template <typename T, containerType C, typename Run>
sycl::event dispatch(sycl::queue& queue, matrix_handle* A, const char* function,
                     const event_list& deps, Run&& run) {
  verify_double_support_for(queue, A, function);
  check_call_matches_handle<T, C>(A, function);
  cache_context(queue, A);
  check_bound_arrays(queue, A, function, deps);
  replay_analyses(queue, A, deps);
  const bool on_cpu = queue.get_device().is_cpu();
  // The overload fixes the value type and the memory model; the handle gives the index width.
  return visit_variant<T, C>(A, {.function = function}, [&]<typename, typename I, containerType>() {
    return run.template operator()<I>(on_cpu);
  });
}

constexpr const char* dense_sizes_gemm = "one or more of columns, ldb and ldc are invalid";
constexpr const char* dense_sizes_trsm = "one or more of columns, ldx and ldy are invalid";
constexpr const char* incompatible_layout =
    "incompatible leading dimensions with dense matrix layout";
constexpr const char* dense_op_unsupported =
    "Only non-transpose operation is supported for dense matrix in sparse";

void check_gemm_dense(const matrix_handle* A, layout lay, transpose opA, transpose opB,
                      std::int64_t columns, std::int64_t ldb, std::int64_t ldc) {
  if (columns < 1 || ldb < 1 || ldc < 1) throw invalid_argument("sparse", "gemm", dense_sizes_gemm);
  if (lay == layout::row_major) {
    if (columns > ldb || columns > ldc)
      throw invalid_argument("sparse", "gemm", incompatible_layout);
    if (opB != transpose::nontrans) throw unimplemented("sparse", "gemm", dense_op_unsupported);
  } else if (lay == layout::col_major) {
    if (opB != transpose::nontrans) throw unimplemented("sparse", "gemm", dense_op_unsupported);
    const sparseStructure* s = A->primary;
    const std::int64_t nrows = s != nullptr ? s->nrows : 0;
    const std::int64_t ncols = s != nullptr ? s->ncols : 0;
    const bool transposed = (static_cast<int>(opA) & ~2) == 1;
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

template <typename T, containerType C>
sycl::event gemv_frame(sycl::queue& q, transpose op, T alpha, matrix_handle* A, container_t<C, T> x,
                       T beta, container_t<C, T> y, const event_list& deps) {
  require_present("gemv", {{present(A), "hMatrix"}, {present(x), "x"}, {present(y), "y"}});
  return dispatch<T, C>(q, A, "gemv", deps, [&]<typename I>(bool on_cpu) {
    return on_cpu ? cpu::gemv_impl<T, I, C>(q, op, alpha, A, x, beta, y, deps)
                  : gpu::gemv_impl<T, I, C>(q, op, alpha, A, x, beta, y, deps);
  });
}

template <typename T, containerType C>
sycl::event gemvdot_frame(sycl::queue& q, transpose op, T alpha, matrix_handle* A,
                          container_t<C, T> x, T beta, container_t<C, T> y, container_t<C, T> d,
                          const event_list& deps) {
  require_present(
      "gemvdot",
      {{present(A), "hMatrix"}, {present(x), "x"}, {present(y), "y"}, {present(d), "d"}});
  return dispatch<T, C>(q, A, "gemvdot", deps, [&]<typename I>(bool on_cpu) {
    return on_cpu ? cpu::gemvdot_impl<T, I, C>(q, op, alpha, A, x, beta, y, d, deps)
                  : gpu::gemvdot_impl<T, I, C>(q, op, alpha, A, x, beta, y, d, deps);
  });
}

template <typename T, containerType C>
sycl::event symv_frame(sycl::queue& q, uplo ul, T alpha, matrix_handle* A, container_t<C, T> x,
                       T beta, container_t<C, T> y, const event_list& deps) {
  require_present("symv", {{present(A), "hMatrix"}, {present(x), "x"}, {present(y), "y"}});
  return dispatch<T, C>(q, A, "symv", deps, [&]<typename I>(bool on_cpu) {
    return on_cpu ? cpu::symv_impl<T, I, C>(q, ul, alpha, A, x, beta, y, deps)
                  : gpu::symv_impl<T, I, C>(q, ul, alpha, A, x, beta, y, deps);
  });
}

template <typename T, containerType C>
sycl::event trmv_frame(sycl::queue& q, uplo ul, transpose op, diag dg, T alpha, matrix_handle* A,
                       container_t<C, T> x, T beta, container_t<C, T> y, const event_list& deps) {
  require_present("trmv", {{present(A), "hMatrix"}, {present(x), "x"}, {present(y), "y"}});
  return dispatch<T, C>(q, A, "trmv", deps, [&]<typename I>(bool on_cpu) {
    return on_cpu ? cpu::trmv_impl<T, I, C>(q, ul, op, dg, alpha, A, x, beta, y, deps)
                  : gpu::trmv_impl<T, I, C>(q, ul, op, dg, alpha, A, x, beta, y, deps);
  });
}

template <typename T, containerType C>
sycl::event trsv_frame(sycl::queue& q, uplo ul, transpose op, diag dg, T alpha, matrix_handle* A,
                       container_t<C, T> x, container_t<C, T> y, const event_list& deps) {
  require_present("trsv", {{present(A), "hMatrix"}, {present(x), "x"}, {present(y), "y"}});
  return dispatch<T, C>(q, A, "trsv", deps, [&]<typename I>(bool on_cpu) {
    return on_cpu ? cpu::trsv_impl<T, I, C>(q, ul, op, dg, alpha, A, x, y, deps)
                  : gpu::trsv_impl<T, I, C>(q, ul, op, dg, alpha, A, x, y, deps);
  });
}

template <typename T, containerType C>
sycl::event trsm_frame(sycl::queue& q, layout lay, transpose opA, transpose opX, uplo ul, diag dg,
                       T alpha, matrix_handle* A, container_t<C, T> x, std::int64_t columns,
                       std::int64_t ldx, container_t<C, T> y, std::int64_t ldy,
                       const event_list& deps) {
  require_present("trsm", {{present(A), "hMatrix"}, {present(x), "x"}, {present(y), "y"}});
  verify_double_support_for(q, A, "trsm");
  check_trsm_dense(lay, opX, columns, ldx, ldy);
  return dispatch<T, C>(q, A, "trsm", deps, [&]<typename I>(bool on_cpu) {
    return on_cpu ? cpu::trsm_impl<T, I, C>(q, lay, opA, opX, ul, dg, alpha, A, x, columns, ldx, y,
                                            ldy, deps)
                  : gpu::trsm_impl<T, I, C>(q, lay, opA, opX, ul, dg, alpha, A, x, columns, ldx, y,
                                            ldy, deps);
  });
}

template <typename T, containerType C>
sycl::event gemm_frame(sycl::queue& q, layout lay, transpose opA, transpose opB, T alpha,
                       matrix_handle* A, container_t<C, T> b, std::int64_t columns,
                       std::int64_t ldb, T beta, container_t<C, T> c, std::int64_t ldc,
                       const event_list& deps) {
  require_present("gemm", {{present(A), "hMatrix"}, {present(b), "b"}, {present(c), "c"}});
  verify_double_support_for(q, A, "gemm");
  check_gemm_dense(A, lay, opA, opB, columns, ldb, ldc);
  return dispatch<T, C>(q, A, "gemm", deps, [&]<typename I>(bool on_cpu) {
    return on_cpu ? cpu::gemm_impl<T, I, C>(q, lay, opA, opB, alpha, A, b, columns, ldb, beta, c,
                                            ldc, deps)
                  : gpu::gemm_impl<T, I, C>(q, lay, opA, opB, alpha, A, b, columns, ldb, beta, c,
                                            ldc, deps);
  });
}

template <typename T, containerType C>
sycl::event update_diagonal_values_frame(sycl::queue& q, matrix_handle* A, std::int64_t length,
                                         container_t<C, T> diagonal, const event_list& deps) {
  // A missing diagonal (an empty buffer, a null pointer) is named "hMatrix" too, as the handle;
  // the kernels would read through a null pointer.
  require_present("update_diagonal_values",
                  {{present(A), "hMatrix"}, {present(diagonal), "hMatrix"}});
  verify_double_support_for(q, A, "update_diagonal_values");
  check_memory_model(A, C);
  check_call_matches_handle<T, C>(A, "update_diagonal_values");
  cache_context(q, A);
  // Refused before the arrays are read or the analyses of a rebinding replayed: a CPU queue
  // touches no array.
  if (q.get_device().is_cpu())
    throw unimplemented("sparse", "update_diagonal_values",
                        "currently does not support cpu device");
  check_bound_arrays(q, A, "update_diagonal_values", deps);
  replay_analyses(q, A, deps);
  return visit_variant<T, C>(
      A, {.function = "update_diagonal_values"}, [&]<typename, typename I, containerType>() {
        return gpu::update_diagonal_values_impl<T, I, C>(q, A, length, diagonal, deps);
      });
}

#define VRT_INSTANTIATE_FRAMES_OF_MODEL(T, C)                                                      \
  template sycl::event gemv_frame<T, C>(sycl::queue&, transpose, T, matrix_handle*,                \
                                        container_t<C, T>, T, container_t<C, T>,                   \
                                        const event_list&);                                        \
  template sycl::event gemvdot_frame<T, C>(sycl::queue&, transpose, T, matrix_handle*,             \
                                           container_t<C, T>, T, container_t<C, T>,                \
                                           container_t<C, T>, const event_list&);                  \
  template sycl::event symv_frame<T, C>(sycl::queue&, uplo, T, matrix_handle*, container_t<C, T>,  \
                                        T, container_t<C, T>, const event_list&);                  \
  template sycl::event trmv_frame<T, C>(sycl::queue&, uplo, transpose, diag, T, matrix_handle*,    \
                                        container_t<C, T>, T, container_t<C, T>,                   \
                                        const event_list&);                                        \
  template sycl::event trsv_frame<T, C>(sycl::queue&, uplo, transpose, diag, T, matrix_handle*,    \
                                        container_t<C, T>, container_t<C, T>, const event_list&);  \
  template sycl::event trsm_frame<T, C>(sycl::queue&, layout, transpose, transpose, uplo, diag, T, \
                                        matrix_handle*, container_t<C, T>, std::int64_t,           \
                                        std::int64_t, container_t<C, T>, std::int64_t,             \
                                        const event_list&);                                        \
  template sycl::event gemm_frame<T, C>(                                                           \
      sycl::queue&, layout, transpose, transpose, T, matrix_handle*, container_t<C, T>,            \
      std::int64_t, std::int64_t, T, container_t<C, T>, std::int64_t, const event_list&);          \
  template sycl::event update_diagonal_values_frame<T, C>(                                         \
      sycl::queue&, matrix_handle*, std::int64_t, container_t<C, T>, const event_list&);
#define VRT_INSTANTIATE_FRAMES(p, T, unused)        \
  VRT_INSTANTIATE_FRAMES_OF_MODEL(T, container_usm) \
  VRT_INSTANTIATE_FRAMES_OF_MODEL(T, container_buffer)
VRT_FOR_EACH_VALUE(VRT_INSTANTIATE_FRAMES, 0)

}  // namespace orvane::vrt::sparse
