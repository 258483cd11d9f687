// The matrix handle and its structures: plain records allocated with the service layer.
#pragma once

#include <cstdint>
#include <orvane/vrt/sparse.hpp>
#include <sycl/sycl.hpp>

#include "common/internal_types.hpp"

struct vrt_host_matrix;  // the host sparse engine's matrix object

namespace orvane::vrt::sparse {

struct gemvInternalData;
struct gemmInternalData;
struct matmatInternalData;
struct coloringData;
struct diagonalValuesData;
struct diagonalStructData;

// Value and index types of a structure or handle; -1 means not bound yet.
enum fpType : std::int32_t {
  fp_unset = -1,
  fp_double = 0,
  fp_float = 1,
  fp_complex_double = 2,
  fp_complex_float = 3
};
enum intType : std::int32_t { int_unset = -1, int_32 = 0, int_64 = 1 };

// Which form of the matrix an operation runs on.
enum sparseStructSelection : std::int32_t {
  select_primary = 0,
  select_transposed = 1,
  select_conj_transposed = 2
};

inline constexpr std::int32_t format_csr = 1;
inline constexpr std::int32_t format_coo = 4;

// One form of a matrix: arrays in one format with the plans made for it.
struct sparseStructure {
  std::int32_t format;
  intType int_type;
  fpType fp_type;
  containerType container;
  std::int32_t sorted;
  std::int32_t symmetric;
  std::int64_t nrows;
  std::int64_t ncols;
  std::int64_t nnz;  // negative: not counted yet
  std::int32_t index;
  std::int32_t reserved_flag;    // 1 after each binding
  std::int32_t reserved_word;    // 0 after each binding
  std::int64_t reserved_long_0;  // 0 after each binding
  std::int64_t reserved_long_1;  // 0 after each binding
  bool owns_arrays;
  void* row_ptr;
  void* row_ptr_end;
  void* col_ind;
  void* values;
  gemvInternalData* gemv_data;
  gemmInternalData* gemm_data;
  matmatInternalData* matmat_data;
};

// A hint recorded by the offload layer, freed node by node at release.
struct host_hint_node {
  host_hint_node* next;
  std::int32_t kind;
  std::int32_t operation;
  std::int64_t expected_calls;
};

// An optimize_* call the handle has seen. A rebinding drops everything derived from the old
// arrays, analysis included; the next operation replays these records, so that the analysis of a
// matrix outlives the rebinding of its arrays.
enum analysis_routine : std::int32_t { analysis_gemv, analysis_trmv, analysis_trsv, analysis_trsm };
struct analysis_record {
  analysis_record* next = nullptr;
  analysis_routine routine{};
  transpose op = transpose::nontrans;
  uplo triangle = uplo::lower;
  diag diagonal = diag::nonunit;
  layout dense_layout = layout::row_major;
  std::int64_t columns = 0;
};

struct matrix_handle {
  intType int_type;
  fpType fp_type;
  containerType container;  // not set by init_matrix_handle: read only after binding
  sycl::context* context;
  bool context_is_foreign;
  sparseStructure* primary;
  sparseStructure* sorted_copy;
  sparseStructure* transposed;
  sparseStructure* conj_transposed;
  sparseStructure* sym_from_lower;
  sparseStructure* sym_from_upper;
  sparseStructure* reserved_structure_0;
  sparseStructure* reserved_structure_1;
  sparseStructure* lower_triangle;
  sparseStructure* upper_triangle;
  sparseStructure* reserved_structure_2;
  sparseStructure* reserved_structure_3;
  vrt_host_matrix* host_matrix;
  coloringData* coloring_lower;
  coloringData* coloring_upper;
  diagonalValuesData* diag_values;
  diagonalStructData* diag_struct;
  diagonalStructData* diag_struct_sorted;
  diagonalStructData* diag_struct_lower;
  diagonalStructData* diag_struct_upper;
  void* offload_record;
  host_hint_node* host_hint_list;
  std::int32_t host_hint_lock;
  // host_matrix is a product of matmat, holding arrays of its own: a rebinding of the product's
  // arrays between its stages keeps it.
  bool host_matrix_is_product;
  analysis_record* analyses;
  bool analyses_to_replay;  // a rebinding dropped what the records above had made
  // The opt-in check of the caller's arrays (handle/caller_arrays.hpp): asked for at the last
  // binding, and one bit per routine that has checked the arrays of that binding.
  bool check_arrays;
  std::uint32_t arrays_checked_by;
};

// Double precision values: double and std::complex<double>.
inline bool is_double_precision(std::int32_t fp) { return (fp & ~2) == 0; }

// Allocates a cleared structure into *slot; host_bad_alloc("sparse", "") on failure.
void initSparseStructure(void** slot);

// Fill one structure. A null array argument keeps the slot's old content; -1 for a type keeps it.
void set_csr_data_impl(void* structure, long nrows, long ncols, index_base index, fpType fp,
                       intType it, containerType container, void* ia, void* ja, void* a,
                       bool owns_arrays);
void set_coo_data_impl(void* structure, long nrows, long ncols, long nnz, index_base index,
                       fpType fp, intType it, containerType container, void* ia, void* ja, void* a,
                       bool owns_arrays);

// Marks the bound matrix sorted or symmetric; the handle must be bound.
void set_matrix_property_impl(matrix_handle* handle, property p);

// Adds an analysis to the handle's records unless an equal one is there.
void remember_analysis(matrix_handle* handle, const analysis_record& analysis);

// Stores a heap copy of the queue's context in a handle that has none yet.
void cache_context(sycl::queue& queue, matrix_handle* handle);

}  // namespace orvane::vrt::sparse
