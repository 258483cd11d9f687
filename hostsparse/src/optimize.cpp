// Hints and optimisation: what later calls will do, and the structures that make them faster.
// Nothing here changes a result: derived structures point into the caller's values.
#include "matrix.hpp"

namespace vrt_host {

template <typename T, typename I>
void prepare(typed_matrix<T, I>& A) {
  rows_of(A);  // a COO matrix's rows
  shapes_of(A);
  if (A.hint_transpose) rows_of_transpose(A);
  for (int transposed = 0; transposed < 2; ++transposed)
    for (int lower = 0; lower < 2; ++lower)
      if (A.hint_solves & (1u << (transposed * 2 + lower))) plan_of(A, transposed != 0, lower != 0);
  A.optimized = true;
}

namespace {

// Calls body with the typed matrix behind a handle of index width I, whatever its values.
template <typename I, typename Body>
sparse_status_t with_matrix(host_matrix_t handle, Body&& body) {
  if (handle == nullptr) return SPARSE_STATUS_NOT_INITIALIZED;
  if (handle->index_bytes != static_cast<int>(sizeof(I))) return SPARSE_STATUS_INVALID_VALUE;
  switch (handle->value_tag) {
    case 0:
      return body(*typed<float, I>(handle));
    case 1:
      return body(*typed<double, I>(handle));
    case 2:
      return body(*typed<std::complex<float>, I>(handle));
    default:
      return body(*typed<std::complex<double>, I>(handle));
  }
}

template <typename I>
sparse_status_t optimize(host_matrix_t handle) {
  return guarded([&]() -> sparse_status_t {
    return with_matrix<I>(handle, [](auto& A) -> sparse_status_t {
      prepare(A);
      return SPARSE_STATUS_SUCCESS;
    });
  });
}

enum class hint { product, solve };

template <typename I>
sparse_status_t record_hint(host_matrix_t handle, host_operation_t op, host_matrix_descr d,
                            hint kind) {
  return guarded([&]() -> sparse_status_t {
    if (!valid_operation(op) || !valid_descriptor(d)) return SPARSE_STATUS_INVALID_VALUE;
    return with_matrix<I>(handle, [&](auto& A) -> sparse_status_t {
      const bool transposed = op != HOST_OPERATION_NON_TRANSPOSE;
      if (d.type != HOST_MATRIX_TYPE_GENERAL && A.rows != A.cols)
        return SPARSE_STATUS_INVALID_VALUE;
      if (kind == hint::product) {
        // The mirrored half of a symmetric product gathers from A^T's rows; transposed
        // products of other kinds scatter, which needs nothing prepared.
        if (d.type == HOST_MATRIX_TYPE_SYMMETRIC) A.hint_transpose = true;
        return SPARSE_STATUS_SUCCESS;
      }
      if (d.type != HOST_MATRIX_TYPE_TRIANGULAR) return SPARSE_STATUS_INVALID_VALUE;
      // A transposed solve runs on A^T's rows, where the triangle flips.
      const bool lower = (d.mode == HOST_FILL_MODE_LOWER) != transposed;
      A.hint_solves |= 1u << ((transposed ? 2 : 0) + (lower ? 1 : 0));
      if (transposed) A.hint_transpose = true;
      return SPARSE_STATUS_SUCCESS;
    });
  });
}

}  // namespace

#define VRT_INSTANTIATE_PREPARE(T, I) template void prepare<T, I>(typed_matrix<T, I>&);
VRT_HOST_FOR_EACH_TYPE(VRT_INSTANTIATE_PREPARE)

}  // namespace vrt_host

using namespace vrt_host;

extern "C" {
#define VRT_DEFINE_HINTS(i, I)                                                                     \
  sparse_status_t vrt_sparse_optimize_##i(host_matrix_t A) { return optimize<I>(A); }              \
  sparse_status_t vrt_sparse_set_mv_hint_##i(host_matrix_t A, host_operation_t op,                 \
                                             host_matrix_descr d, int) {                           \
    return record_hint<I>(A, op, d, hint::product);                                                \
  }                                                                                                \
  sparse_status_t vrt_sparse_set_sv_hint_##i(host_matrix_t A, host_operation_t op,                 \
                                             host_matrix_descr d, int) {                           \
    return record_hint<I>(A, op, d, hint::solve);                                                  \
  }                                                                                                \
  sparse_status_t vrt_sparse_set_sm_hint_##i(host_matrix_t A, host_operation_t op,                 \
                                             host_matrix_descr d, host_layout_t layout, I columns, \
                                             int) {                                                \
    if (!valid_layout(layout) || columns < 0) {                                                    \
      sparse_status_t forced;                                                                      \
      return forced_status(&forced) ? forced : SPARSE_STATUS_INVALID_VALUE;                        \
    }                                                                                              \
    return record_hint<I>(A, op, d, hint::solve);                                                  \
  }
VRT_DEFINE_HINTS(i4, int32_t)
VRT_DEFINE_HINTS(i8, int64_t)
}
