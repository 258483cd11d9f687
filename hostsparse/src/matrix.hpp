// The engine's matrix object and what every operation shares: value types, views of the rows
// of a matrix and of its transpose, the guard that turns failures into statuses.
#pragma once

#include <complex>
#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <type_traits>
#include <vector>

#include "vrt/host_sparse.h"

// The object behind host_matrix_t: tags that say which typed matrix it is.
struct vrt_host_matrix {
  int value_tag = 0;    // 0 s, 1 d, 2 c, 3 z
  int index_bytes = 0;  // 4 or 8
  std::int64_t rows = 0, cols = 0, nnz = 0;
  virtual ~vrt_host_matrix() = default;
};

// The sixteen variants of the C interface: X(letter, C value type, index suffix, index type).
// Every file that defines C functions expands its templates through this one list.
// The lists read as tables, which clang-format 14 does not settle on.
// clang-format off
#define VRT_HOST_FOR_EACH_VARIANT(X)                              \
  X(s, float, i4, int32_t) X(s, float, i8, int64_t)               \
  X(d, double, i4, int32_t) X(d, double, i8, int64_t)             \
  X(c, vrt_complex8, i4, int32_t) X(c, vrt_complex8, i8, int64_t) \
  X(z, vrt_complex16, i4, int32_t) X(z, vrt_complex16, i8, int64_t)

// The same eight (value, index) pairs with the engine's value types, for explicit
// instantiations of internal templates.
#define VRT_HOST_FOR_EACH_TYPE(X)                                                 \
  X(float, int32_t) X(float, int64_t) X(double, int32_t) X(double, int64_t)       \
  X(std::complex<float>, int32_t) X(std::complex<float>, int64_t)                 \
  X(std::complex<double>, int32_t) X(std::complex<double>, int64_t)
// clang-format on

namespace vrt_host {

// The type the engine computes in for a C value type (same layout).
template <typename C>
struct value_of {
  using type = C;
};
template <>
struct value_of<vrt_complex8> {
  using type = std::complex<float>;
};
template <>
struct value_of<vrt_complex16> {
  using type = std::complex<double>;
};

template <typename T, typename C>
T scalar(const C& c) {
  static_assert(sizeof(T) == sizeof(C));
  T t;
  std::memcpy(static_cast<void*>(&t), &c, sizeof(T));
  return t;
}

template <typename T>
constexpr int value_tag() {
  if constexpr (std::is_same_v<T, float>) return 0;
  if constexpr (std::is_same_v<T, double>) return 1;
  if constexpr (std::is_same_v<T, std::complex<float>>) return 2;
  return 3;
}

template <typename T>
inline constexpr bool is_complex = !std::is_floating_point_v<T>;

template <bool Conj, typename T>
inline T maybe_conj(T v) {
  if constexpr (Conj && is_complex<T>)
    return std::conj(v);
  else
    return v;
}

// Rows of a matrix as CSR arrays: entries of row i are begin[i] - base .. end[i] - base - 1,
// columns less base too. The value of entry k is val[perm[k]] when perm is set (a structure the
// engine derived over the caller's values), else val[k].
template <typename T, typename I>
struct csr_view {
  std::int64_t rows = 0, cols = 0;
  I base = 0;
  const I* begin = nullptr;
  const I* end = nullptr;
  const I* col = nullptr;
  const T* val = nullptr;
  const I* perm = nullptr;
  bool monotone = true;  // begin[] never decreases, so rows split by a binary search
};

// A structure the engine derived, zero-based; perm holds positions in the caller's values.
template <typename I>
struct derived_csr {
  std::vector<I> ptr, col, perm;
};

// A triangular solve prepared by optimize: rows in solve order grouped in levels, the strict
// triangle's entries of each row (columns and value positions) and its diagonal position.
template <typename I>
struct solve_plan {
  std::vector<I> order;      // rows in solve order
  std::vector<I> level_ptr;  // levels over `order` (one level when solved serially)
  std::vector<I> ptr, col, pos;
  std::vector<I> diag;  // value position of each row's diagonal (in order), -1 if none
  bool parallel = false;
  bool missing_diagonal = false;
  // When every row's strict triangle lies back to back in the caller's arrays (sorted CSR
  // rows), the plan keeps where it starts instead of copies: entry t of row r is column
  // col_indx[first[r] + t] - base with value values[first[r] + t]; col and pos stay empty.
  std::vector<I> first;
  bool in_place = false;
};

// Rows described by a few shapes: the columns of row i are i + delta[start[shape[i]] + t] for
// t < length[shape[i]], in stored order. Stencils and bands have a handful of shapes, and a
// product then reads no column indices at all.
struct row_shapes {
  std::vector<std::uint8_t> shape;
  std::vector<std::int32_t> start, length, delta;
};

enum class format { csr, coo };

template <typename T, typename I>
struct typed_matrix : vrt_host_matrix {
  format fmt = format::csr;
  I base = 0;
  // The caller's arrays (COO: rows_start holds the row indices), or a product's own.
  I* rows_start = nullptr;
  I* rows_end = nullptr;
  I* col_indx = nullptr;
  T* values = nullptr;
  bool monotone = true;

  // A product of sp2m owns its arrays (indices with `base` added).
  bool is_product = false;
  bool has_structure = false;
  std::vector<I> own_ptr, own_col;
  std::vector<T> own_val;
  std::vector<std::int64_t> row_work;  // request 91

  // Hints, and whether optimize ran.
  bool hint_transpose = false;
  unsigned hint_solves = 0;  // bit (transposed * 2 + lower)
  bool optimized = false;

  // Derived on first need or by optimize; `lock` guards building them.
  std::mutex lock;
  std::unique_ptr<derived_csr<I>> coo_rows, transposed;
  std::unique_ptr<row_shapes> shapes;
  bool shapes_tried = false;                   // set by optimize; calls before it read columns
  std::unique_ptr<solve_plan<I>> plans[2][2];  // [transposed][lower]
  std::vector<T> workspace;  // scratch of products kept between calls, taken under `lock`

  typed_matrix() {
    value_tag = vrt_host::value_tag<T>();
    index_bytes = sizeof(I);
  }
};

// The typed matrix behind a handle, or null when the handle is of another type.
template <typename T, typename I>
typed_matrix<T, I>* typed(host_matrix_t A) {
  if (A == nullptr || A->value_tag != value_tag<T>() ||
      A->index_bytes != static_cast<int>(sizeof(I)))
    return nullptr;
  return static_cast<typed_matrix<T, I>*>(A);
}

// The status for a handle that typed() refused.
inline sparse_status_t refused(host_matrix_t A) {
  return A == nullptr ? SPARSE_STATUS_NOT_INITIALIZED : SPARSE_STATUS_INVALID_VALUE;
}

// The matrix as CSR rows (a COO matrix gets its row structure on first use).
template <typename T, typename I>
csr_view<T, I> rows_of(typed_matrix<T, I>& A);
// The rows of A^T over A's values, made on first use and kept.
template <typename T, typename I>
csr_view<T, I> rows_of_transpose(typed_matrix<T, I>& A);
// The rows of A^T if they were made already; begin is null otherwise.
template <typename T, typename I>
csr_view<T, I> made_transpose(typed_matrix<T, I>& A);
// The shapes of A's rows if optimize found few; null otherwise.
template <typename T, typename I>
const row_shapes* shapes_of(typed_matrix<T, I>& A);
// Drops everything derived from the caller's arrays (after they changed order).
template <typename T, typename I>
void forget_derived(typed_matrix<T, I>& A);
// The solve plan of op(A) with the given triangle, made once (see solve_plan.cpp); null when
// the matrix does not suit one. made_plan only returns a plan made already.
template <typename T, typename I>
const solve_plan<I>* plan_of(typed_matrix<T, I>& A, bool transposed, bool lower);
template <typename T, typename I>
const solve_plan<I>* made_plan(typed_matrix<T, I>& A, bool transposed, bool lower);
// Optimisation for recorded hints.
template <typename T, typename I>
void prepare(typed_matrix<T, I>& A);

// The test seam: a status forced onto the next calls.
bool forced_status(sparse_status_t* status);

// Runs body and turns failures into a status; nothing escapes to the C caller.
template <typename Body>
sparse_status_t guarded(Body&& body) noexcept {
  sparse_status_t forced;
  if (forced_status(&forced)) return forced;
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return SPARSE_STATUS_ALLOC_FAILED;
  } catch (const std::length_error&) {
    return SPARSE_STATUS_ALLOC_FAILED;
  } catch (...) {
    return SPARSE_STATUS_INTERNAL_ERROR;
  }
}

inline bool valid_operation(host_operation_t op) {
  return op == HOST_OPERATION_NON_TRANSPOSE || op == HOST_OPERATION_TRANSPOSE ||
         op == HOST_OPERATION_CONJUGATE_TRANSPOSE;
}
inline bool valid_layout(host_layout_t l) {
  return l == HOST_LAYOUT_ROW_MAJOR || l == HOST_LAYOUT_COLUMN_MAJOR;
}
inline bool valid_descriptor(const host_matrix_descr& d) {
  if (d.type == HOST_MATRIX_TYPE_GENERAL) return true;
  if (d.type != HOST_MATRIX_TYPE_SYMMETRIC && d.type != HOST_MATRIX_TYPE_TRIANGULAR) return false;
  return (d.mode == HOST_FILL_MODE_LOWER || d.mode == HOST_FILL_MODE_UPPER) &&
         (d.diag == HOST_DIAG_NON_UNIT || d.diag == HOST_DIAG_UNIT);
}

}  // namespace vrt_host
