/* The host sparse engine: sparse matrix operations on the CPU behind a C interface.
 *
 * Matrices. A matrix object refers to the caller's arrays without copying them (CSR:
 * rows_start, rows_end, col_indx, values; COO: row_indx, col_indx, values); they must outlive
 * the object. Row i of a CSR matrix holds entries rows_start[i] - base .. rows_end[i] - base - 1
 * (rows_end is usually rows_start + 1). Indices are zero- or one-based (index_base 0 or 1);
 * columns within a row may be in any order, and column indices must lie in range (they are not
 * checked). Anything the engine derives (the rows of a COO matrix, the rows of the transpose,
 * a row partition, a triangular solve schedule, a product's arrays) is owned by the object and
 * freed by vrt_sparse_destroy_*. Derived structures record positions in the caller's value
 * array, never copies of the values, so values changed in place are always seen.
 *
 * Variants. Every function exists with 32-bit (_i4) and 64-bit (_i8) indices; the value letter
 * is s (float), d (double), c (vrt_complex8) or z (vrt_complex16). The complex types are
 * structs of two reals, real part first: the layout of C99 `float _Complex` and of
 * std::complex, so arrays of either can be passed by a cast. Scalars (alpha, beta) are passed
 * by value.
 *
 * Status. Calls return a sparse_status_t and never throw: invalid arguments (null pointers,
 * negative sizes, unknown enumeration values, a descriptor that does not fit the operation, a
 * handle of another value type or index width) give SPARSE_STATUS_INVALID_VALUE, a null
 * handle SPARSE_STATUS_NOT_INITIALIZED, combinations the engine does not do
 * SPARSE_STATUS_NOT_SUPPORTED, memory exhaustion SPARSE_STATUS_ALLOC_FAILED.
 *
 * Descriptors. HOST_MATRIX_TYPE_GENERAL uses every entry (mode and diag are ignored).
 * HOST_MATRIX_TYPE_SYMMETRIC uses only the triangle named by mode, mirrored (for complex
 * values A^T = A, no conjugation). HOST_MATRIX_TYPE_TRIANGULAR uses only that triangle. With
 * HOST_DIAG_UNIT the diagonal is taken as ones and stored diagonal entries are ignored.
 * Symmetric and triangular descriptors need a square matrix.
 *
 * Threads. Work runs on an OpenMP team of at most omp_get_max_threads() threads, capped by the
 * environment variable VRT_HOST_SPARSE_THREADS. Calls made at the same time from several
 * threads share that budget (a call that finds it used up runs on its own thread), and a call
 * made inside an active parallel region runs serially, so nothing oversubscribes the machine.
 * Several threads may run operations on the same matrix at once; creating, ordering,
 * optimising or destroying a matrix must not overlap other calls on it. Results are the same
 * for the same team size; sums may be ordered differently for another team size.
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

typedef int32_t host_operation_t;   /* 10 op(A) = A, 11 A^T, 12 A^H (A^T for real values) */
typedef int32_t host_layout_t;      /* 101 row major, 102 column major */
typedef int32_t host_fill_mode_t;   /* 40 lower, 41 upper */
typedef int32_t host_diag_type_t;   /* 50 non-unit, 51 unit */
typedef int32_t host_matrix_type_t; /* 20 general, 21 symmetric, 23 triangular */
typedef int32_t host_request_t;     /* stages of vrt_sparse_sp2m_* */
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

typedef struct {
  float real, imag;
} vrt_complex8;
typedef struct {
  double real, imag;
} vrt_complex16;

typedef struct vrt_host_matrix* host_matrix_t;

/* Per value type and index width:
 *
 * create_csr / create_coo: a matrix over the caller's arrays (see above). A COO matrix gets an
 *   internal row structure on first use; rows of a COO matrix must be in range.
 * mv:     y = alpha op(A) x + beta y. With beta == 0, y is not read (NaN in y is cleared).
 * dotmv:  mv, and *d = sum_i x[i] y[i] (no conjugation) over the first min(rows, cols) entries.
 * mm:     Y = alpha op(A) X + beta Y, X and Y dense with `columns` columns in the given layout
 *         (row major: element (i, c) at i * ld + c; column major: at i + c * ld).
 * trsv:   solves op(A) y = alpha x for a triangular descriptor; y may be x. A missing diagonal
 *         entry with HOST_DIAG_NON_UNIT gives SPARSE_STATUS_EXECUTION_FAILED; a stored zero on
 *         the diagonal divides by zero (IEEE infinities or NaN).
 * trsm:   trsv for `columns` right-hand sides in the given layout.
 * do_order: sorts the columns of each row in place in the caller's arrays, values alongside
 *         (COO: entries sorted by row, then column). A product is already sorted.
 * export_csr: the arrays of a product made by vrt_sparse_sp2m_* (owned by the product and
 *         valid until it is destroyed), with the product's index base; or the caller's
 *         arrays of a CSR matrix.
 * csr_transpose: op(A) (11 or 12; 10 is SPARSE_STATUS_NOT_SUPPORTED) of the CSR arrays given,
 *         written into the caller's out_rows_start (cols + 1 entries), out_col_indx and
 *         out_values (nnz entries each) with index base out_base; no matrix object is involved.
 *         values and out_values are both null for a structure only. Rows of the result come out
 *         sorted by column.
 */
#define VRT_HOST_SPARSE_TYPED(p, T, i, I)                                                          \
  sparse_status_t vrt_sparse_##p##_create_csr_##i(host_matrix_t* A, int index_base, I rows,        \
                                                  I cols, I* rows_start, I* rows_end, I* col_indx, \
                                                  T* values);                                      \
  sparse_status_t vrt_sparse_##p##_create_coo_##i(host_matrix_t* A, int index_base, I rows,        \
                                                  I cols, I nnz, I* row_indx, I* col_indx,         \
                                                  T* values);                                      \
  sparse_status_t vrt_sparse_##p##_mv_##i(host_operation_t op, T alpha, host_matrix_t A,           \
                                          host_matrix_descr descr, const T* x, T beta, T* y);      \
  sparse_status_t vrt_sparse_##p##_dotmv_##i(host_operation_t op, T alpha, host_matrix_t A,        \
                                             host_matrix_descr descr, const T* x, T beta, T* y,    \
                                             T* d);                                                \
  sparse_status_t vrt_sparse_##p##_mm_##i(host_operation_t op, T alpha, host_matrix_t A,           \
                                          host_matrix_descr descr, host_layout_t layout,           \
                                          const T* x, I columns, I ldx, T beta, T* y, I ldy);      \
  sparse_status_t vrt_sparse_##p##_trsv_##i(host_operation_t op, T alpha, host_matrix_t A,         \
                                            host_matrix_descr descr, const T* x, T* y);            \
  sparse_status_t vrt_sparse_##p##_trsm_##i(host_operation_t op, T alpha, host_matrix_t A,         \
                                            host_matrix_descr descr, host_layout_t layout,         \
                                            const T* x, I columns, I ldx, T* y, I ldy);            \
  sparse_status_t vrt_sparse_##p##_do_order_##i(host_matrix_t A);                                  \
  sparse_status_t vrt_sparse_##p##_export_csr_##i(host_matrix_t C, int* index_base, I* rows,       \
                                                  I* cols, I** rows_start, I** rows_end,           \
                                                  I** col_indx, T** values);                       \
  sparse_status_t vrt_sparse_##p##_csr_transpose_##i(                                              \
      host_operation_t op, int index_base, I rows, I cols, const I* rows_start, const I* rows_end, \
      const I* col_indx, const T* values, int out_base, I* out_rows_start, I* out_col_indx,        \
      T* out_values);

/* Per index width:
 *
 * destroy:  releases a matrix and all it derived; a null handle is accepted.
 * set_*_hint: record the operations a matrix will see; vrt_sparse_optimize_* then prepares for
 *   them (a balanced row partition for every matrix; the rows of the transpose for transposed
 *   or symmetric products; level schedules for triangular solves). Results never depend on
 *   hints or optimisation. expected_calls is recorded and does not change what is prepared.
 * sp2m:     C = op(A) op(B) for general descriptors (others: SPARSE_STATUS_NOT_SUPPORTED), A
 *   and B of the same value type. The product's index base is base(A) & base(B); its rows are
 *   sorted. *C must be NULL or a handle from an earlier sp2m request on the same operands; a
 *   NULL *C receives a new matrix. Requests:
 *     90 (full)      structure and values in one call;
 *     91 (estimate)  records the work (multiply-adds) of each row of C, used to balance the
 *                    passes that follow; C has no structure yet (nnz 0);
 *     94 (structure) row pointers and sorted columns of C, values zero; nnz is then known;
 *     92 (values)    values into the structure of 94 (without one, does what 90 does).
 * get_nnz:  the number of stored entries (of a product: after request 94 or 90).
 */
#define VRT_HOST_SPARSE_INDEXED(i, I)                                                        \
  sparse_status_t vrt_sparse_destroy_##i(host_matrix_t A);                                   \
  sparse_status_t vrt_sparse_optimize_##i(host_matrix_t A);                                  \
  sparse_status_t vrt_sparse_set_mv_hint_##i(host_matrix_t A, host_operation_t op,           \
                                             host_matrix_descr descr, int expected_calls);   \
  sparse_status_t vrt_sparse_set_sv_hint_##i(host_matrix_t A, host_operation_t op,           \
                                             host_matrix_descr descr, int expected_calls);   \
  sparse_status_t vrt_sparse_set_sm_hint_##i(host_matrix_t A, host_operation_t op,           \
                                             host_matrix_descr descr, host_layout_t layout,  \
                                             I columns, int expected_calls);                 \
  sparse_status_t vrt_sparse_sp2m_##i(                                                       \
      host_operation_t opA, host_matrix_descr descrA, host_matrix_t A, host_operation_t opB, \
      host_matrix_descr descrB, host_matrix_t B, host_request_t request, host_matrix_t* C);  \
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

/* Test seam: the next `count` calls of any function above (except destroy) return `status`
 * without doing anything. A count of 0 clears it. */
void vrt_sparse_testing_force_status(sparse_status_t status, int count);

#ifdef __cplusplus
}
#endif

#endif
