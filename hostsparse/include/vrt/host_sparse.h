/* The host sparse engine: sparse matrix operations on the CPU behind a C interface.
 *
 * A matrix object refers to the caller's arrays without copying them (CSR: rows_start,
 * rows_end, col_indx, values; COO: row_indx, col_indx, values). Indices are zero- or one-based;
 * rows may be unsorted. Anything the engine derives (a CSR view of a COO matrix, a transposed
 * copy, a row partition, a triangular schedule, a product's arrays) is owned by the object and
 * freed by vrt_sparse_destroy_*. Hints and vrt_sparse_optimize_* only affect speed.
 *
 * Every function exists with 32-bit (_i4) and 64-bit (_i8) indices; the value letter is
 * s (float), d (double), c (vrt_complex8) or z (vrt_complex16). Calls return a
 * sparse_status_t and never throw. Work runs on the calling thread's OpenMP team (at most
 * omp_get_max_threads() threads, VRT_HOST_SPARSE_THREADS caps it); inside an active parallel
 * region it runs serially, so nested or concurrent use does not oversubscribe.
 */
#ifndef VRT_HOST_SPARSE_H
#define VRT_HOST_SPARSE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef int32_t sparse_status_t;
enum {
  SPARSE_STATUS_SUCCESS = 0,
  SPARSE_STATUS_NOT_INITIALIZED = 1,
  SPARSE_STATUS_ALLOC_FAILED = 2,
  SPARSE_STATUS_INVALID_VALUE = 3,
  SPARSE_STATUS_EXECUTION_FAILED = 4,
  SPARSE_STATUS_INTERNAL_ERROR = 5,
  SPARSE_STATUS_NOT_SUPPORTED = 6
};

typedef int32_t host_operation_t; /* 10 y = A x, 11 A^T, 12 A^H */
typedef int32_t host_layout_t;    /* 101 row major, 102 column major */
typedef int32_t host_fill_mode_t; /* 40 lower, 41 upper */
typedef int32_t host_diag_type_t; /* 50 non-unit, 51 unit */
typedef int32_t host_matrix_type_t; /* 20 general, 21 symmetric, 23 triangular */
typedef int32_t host_request_t;
enum {
  HOST_OPERATION_NON_TRANSPOSE = 10,
  HOST_OPERATION_TRANSPOSE = 11,
  HOST_OPERATION_CONJUGATE_TRANSPOSE = 12,
  HOST_LAYOUT_ROW_MAJOR = 101,
  HOST_LAYOUT_COLUMN_MAJOR = 102,
  HOST_FILL_MODE_LOWER = 40,
  HOST_FILL_MODE_UPPER = 41,
  HOST_DIAG_NON_UNIT = 50,
  HOST_DIAG_UNIT = 51,
  HOST_MATRIX_TYPE_GENERAL = 20,
  HOST_MATRIX_TYPE_SYMMETRIC = 21,
  HOST_MATRIX_TYPE_TRIANGULAR = 23,
  /* sp2m: the whole product; a work estimate; values into a computed structure; the
     structure alone (row counts and columns). */
  HOST_REQUEST_FULL_MULT = 90,
  HOST_REQUEST_WORK_ESTIMATE = 91,
  HOST_REQUEST_FINALIZE_MULT = 92,
  HOST_REQUEST_NNZ_COUNT = 94
};

typedef struct {
  host_matrix_type_t type;
  host_fill_mode_t mode;
  host_diag_type_t diag;
} host_matrix_descr;

typedef struct { float real, imag; } vrt_complex8;
typedef struct { double real, imag; } vrt_complex16;

typedef struct vrt_host_matrix* host_matrix_t;

#define VRT_HOST_SPARSE_TYPED(p, T, i, I)                                                       \
  sparse_status_t vrt_sparse_##p##_create_csr_##i(host_matrix_t* A, int index_base, I rows,     \
                                                  I cols, I* rows_start, I* rows_end,           \
                                                  I* col_indx, T* values);                      \
  sparse_status_t vrt_sparse_##p##_create_coo_##i(host_matrix_t* A, int index_base, I rows,     \
                                                  I cols, I nnz, I* row_indx, I* col_indx,      \
                                                  T* values);                                   \
  sparse_status_t vrt_sparse_##p##_mv_##i(host_operation_t op, T alpha, host_matrix_t A,        \
                                          host_matrix_descr descr, const T* x, T beta, T* y);   \
  sparse_status_t vrt_sparse_##p##_dotmv_##i(host_operation_t op, T alpha, host_matrix_t A,     \
                                             host_matrix_descr descr, const T* x, T beta, T* y, \
                                             T* d);                                             \
  sparse_status_t vrt_sparse_##p##_mm_##i(host_operation_t op, T alpha, host_matrix_t A,        \
                                          host_matrix_descr descr, host_layout_t layout,         \
                                          const T* x, I columns, I ldx, T beta, T* y, I ldy);   \
  sparse_status_t vrt_sparse_##p##_trsv_##i(host_operation_t op, T alpha, host_matrix_t A,      \
                                            host_matrix_descr descr, const T* x, T* y);         \
  sparse_status_t vrt_sparse_##p##_trsm_##i(host_operation_t op, T alpha, host_matrix_t A,      \
                                            host_matrix_descr descr, host_layout_t layout,      \
                                            const T* x, I columns, I ldx, T* y, I ldy);         \
  sparse_status_t vrt_sparse_##p##_do_order_##i(host_matrix_t A);                               \
  /* The CSR arrays of a product made by vrt_sparse_sp2m_* (owned by C). */                     \
  sparse_status_t vrt_sparse_##p##_export_csr_##i(host_matrix_t C, int* index_base, I* rows,    \
                                                  I* cols, I** rows_start, I** rows_end,        \
                                                  I** col_indx, T** values);

#define VRT_HOST_SPARSE_INDEXED(i, I)                                                           \
  sparse_status_t vrt_sparse_destroy_##i(host_matrix_t A);                                      \
  sparse_status_t vrt_sparse_optimize_##i(host_matrix_t A);                                     \
  sparse_status_t vrt_sparse_set_mv_hint_##i(host_matrix_t A, host_operation_t op,              \
                                             host_matrix_descr descr, int expected_calls);      \
  sparse_status_t vrt_sparse_set_sv_hint_##i(host_matrix_t A, host_operation_t op,              \
                                             host_matrix_descr descr, int expected_calls);      \
  sparse_status_t vrt_sparse_set_sm_hint_##i(host_matrix_t A, host_operation_t op,              \
                                             host_matrix_descr descr, host_layout_t layout,     \
                                             I columns, int expected_calls);                    \
  /* C = op(A) * op(B). The product's index base is the AND of the bases of A and B. With    \
     request 94 C gets its structure, 92 then fills the values, 90 does both at once; 91     \
     records the work of each row. *C is created on the first request. */                    \
  sparse_status_t vrt_sparse_sp2m_##i(host_operation_t opA, host_matrix_descr descrA,           \
                                      host_matrix_t A, host_operation_t opB,                    \
                                      host_matrix_descr descrB, host_matrix_t B,                \
                                      host_request_t request, host_matrix_t* C);                \
  /* Non-zeros of a matrix (for a product: after its structure exists). */                     \
  sparse_status_t vrt_sparse_get_nnz_##i(host_matrix_t A, I* nnz);

VRT_HOST_SPARSE_TYPED(s, float, i4, int32_t)
VRT_HOST_SPARSE_TYPED(s, float, i8, int64_t)
VRT_HOST_SPARSE_TYPED(d, double, i4, int32_t)
VRT_HOST_SPARSE_TYPED(d, double, i8, int64_t)
VRT_HOST_SPARSE_TYPED(c, vrt_complex8, i4, int32_t)
VRT_HOST_SPARSE_TYPED(c, vrt_complex8, i8, int64_t)
VRT_HOST_SPARSE_TYPED(z, vrt_complex16, i4, int32_t)
VRT_HOST_SPARSE_TYPED(z, vrt_complex16, i8, int64_t)
VRT_HOST_SPARSE_INDEXED(i4, int32_t)
VRT_HOST_SPARSE_INDEXED(i8, int64_t)
#undef VRT_HOST_SPARSE_TYPED
#undef VRT_HOST_SPARSE_INDEXED

/* Test seam: the next `count` calls of any operation return `status` without doing anything. */
void vrt_sparse_testing_force_status(sparse_status_t status, int count);

#ifdef __cplusplus
}
#endif

#endif
