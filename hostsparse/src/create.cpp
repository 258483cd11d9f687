// Creation and release of matrices, their sizes and the export of their arrays.
#include <algorithm>

#include "matrix.hpp"
#include "row_pointers.hpp"

namespace vrt_host {

template <typename T, typename I>
sparse_status_t create_csr(host_matrix_t* A, int base, I rows, I cols, I* rows_start, I* rows_end,
                           I* col_indx, T* values) {
  return guarded([&]() -> sparse_status_t {
    if (A == nullptr || rows < 0 || cols < 0 || (base != 0 && base != 1) ||
        (rows > 0 && (rows_start == nullptr || rows_end == nullptr)))
      return SPARSE_STATUS_INVALID_VALUE;
    const auto [valid, monotone, nnz] = scan_row_pointers(rows_start, rows_end, rows, base);
    if (!valid) return SPARSE_STATUS_INVALID_VALUE;
    if (nnz > 0 && (col_indx == nullptr || values == nullptr)) return SPARSE_STATUS_INVALID_VALUE;
    auto m = std::make_unique<typed_matrix<T, I>>();
    m->fmt = format::csr;
    m->base = static_cast<I>(base);
    m->rows = rows;
    m->cols = cols;
    m->nnz = nnz;
    m->rows_start = rows_start;
    m->rows_end = rows_end;
    m->col_indx = col_indx;
    m->values = values;
    m->monotone = monotone;
    *A = m.release();
    return SPARSE_STATUS_SUCCESS;
  });
}

template <typename T, typename I>
sparse_status_t create_coo(host_matrix_t* A, int base, I rows, I cols, I nnz, I* row_indx,
                           I* col_indx, T* values) {
  return guarded([&]() -> sparse_status_t {
    if (A == nullptr || rows < 0 || cols < 0 || nnz < 0 || (base != 0 && base != 1) ||
        (nnz > 0 && (row_indx == nullptr || col_indx == nullptr || values == nullptr)))
      return SPARSE_STATUS_INVALID_VALUE;
    // Row indices place entries in the derived row structure, so they are checked here.
    for (I k = 0; k < nnz; ++k)
      if (row_indx[k] < base || row_indx[k] - base >= rows) return SPARSE_STATUS_INVALID_VALUE;
    auto m = std::make_unique<typed_matrix<T, I>>();
    m->fmt = format::coo;
    m->base = static_cast<I>(base);
    m->rows = rows;
    m->cols = cols;
    m->nnz = nnz;
    m->rows_start = row_indx;
    m->col_indx = col_indx;
    m->values = values;
    *A = m.release();
    return SPARSE_STATUS_SUCCESS;
  });
}

template <typename T, typename I>
sparse_status_t export_csr(host_matrix_t handle, int* base, I* rows, I* cols, I** rows_start,
                           I** rows_end, I** col_indx, T** values) {
  return guarded([&]() -> sparse_status_t {
    auto* A = typed<T, I>(handle);
    if (A == nullptr) return refused(handle);
    if (base == nullptr || rows == nullptr || cols == nullptr || rows_start == nullptr ||
        rows_end == nullptr || col_indx == nullptr || values == nullptr)
      return SPARSE_STATUS_INVALID_VALUE;
    if (A->fmt != format::csr) return SPARSE_STATUS_NOT_SUPPORTED;
    if (A->is_product && !A->has_structure) return SPARSE_STATUS_NOT_INITIALIZED;
    *base = static_cast<int>(A->base);
    *rows = static_cast<I>(A->rows);
    *cols = static_cast<I>(A->cols);
    *rows_start = A->rows_start;
    *rows_end = A->rows_end;
    *col_indx = A->col_indx;
    *values = A->values;
    return SPARSE_STATUS_SUCCESS;
  });
}

template <typename I>
sparse_status_t destroy(host_matrix_t A) noexcept {
  if (A == nullptr) return SPARSE_STATUS_SUCCESS;
  if (A->index_bytes != static_cast<int>(sizeof(I))) return SPARSE_STATUS_INVALID_VALUE;
  delete A;
  return SPARSE_STATUS_SUCCESS;
}

template <typename I>
sparse_status_t get_nnz(host_matrix_t A, I* nnz) {
  return guarded([&]() -> sparse_status_t {
    if (A == nullptr) return SPARSE_STATUS_NOT_INITIALIZED;
    if (nnz == nullptr || A->index_bytes != static_cast<int>(sizeof(I)))
      return SPARSE_STATUS_INVALID_VALUE;
    *nnz = static_cast<I>(A->nnz);
    return SPARSE_STATUS_SUCCESS;
  });
}

}  // namespace vrt_host

using namespace vrt_host;

extern "C" {

#define VRT_DEFINE_CREATE(p, C, i, I)                                                           \
  sparse_status_t vrt_sparse_##p##_create_csr_##i(host_matrix_t* A, int base, I rows, I cols,   \
                                                  I* rs, I* re, I* ci, C* v) {                  \
    using T = value_of<C>::type;                                                                \
    return create_csr<T, I>(A, base, rows, cols, rs, re, ci, reinterpret_cast<T*>(v));          \
  }                                                                                             \
  sparse_status_t vrt_sparse_##p##_create_coo_##i(host_matrix_t* A, int base, I rows, I cols,   \
                                                  I nnz, I* ri, I* ci, C* v) {                  \
    using T = value_of<C>::type;                                                                \
    return create_coo<T, I>(A, base, rows, cols, nnz, ri, ci, reinterpret_cast<T*>(v));         \
  }                                                                                             \
  sparse_status_t vrt_sparse_##p##_export_csr_##i(host_matrix_t A, int* base, I* rows, I* cols, \
                                                  I** rs, I** re, I** ci, C** v) {              \
    using T = value_of<C>::type;                                                                \
    return export_csr<T, I>(A, base, rows, cols, rs, re, ci, reinterpret_cast<T**>(v));         \
  }
VRT_HOST_FOR_EACH_VARIANT(VRT_DEFINE_CREATE)

sparse_status_t vrt_sparse_destroy_i4(host_matrix_t A) { return destroy<int32_t>(A); }
sparse_status_t vrt_sparse_destroy_i8(host_matrix_t A) { return destroy<int64_t>(A); }
sparse_status_t vrt_sparse_get_nnz_i4(host_matrix_t A, int32_t* nnz) { return get_nnz(A, nnz); }
sparse_status_t vrt_sparse_get_nnz_i8(host_matrix_t A, int64_t* nnz) { return get_nnz(A, nnz); }
}
