// The engine's matrix object and the pieces every operation shares: typed access, views of the
// matrix and its transpose, the row partition and the thread team.
#pragma once

#include <algorithm>
#include <atomic>
#include <complex>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <type_traits>
#include <vector>

#include "vrt/host_sparse.h"

#if defined(_OPENMP)
#include <omp.h>
#endif

// The object behind host_matrix_t: a tag that says which typed matrix it is.
struct vrt_host_matrix {
  int value_tag;    // 0 s, 1 d, 2 c, 3 z
  int index_bytes;  // 4 or 8
  virtual ~vrt_host_matrix() = default;
};

// The sixteen variants of the C interface: X(letter, C value type, index suffix, index type).
#define VRT_HOST_FOR_EACH_VARIANT(X)                                        \
  X(s, float, i4, int32_t) X(s, float, i8, int64_t)                         \
  X(d, double, i4, int32_t) X(d, double, i8, int64_t)                       \
  X(c, vrt_complex8, i4, int32_t) X(c, vrt_complex8, i8, int64_t)           \
  X(z, vrt_complex16, i4, int32_t) X(z, vrt_complex16, i8, int64_t)

namespace vrt_host {

// The C value type and the type the engine computes in.
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

// A scalar of the C interface as the engine's type (the layouts are the same).
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
  if constexpr (std::is_same_v<T, std::complex<double>>) return 3;
}

template <typename T>
inline constexpr bool is_complex = !std::is_floating_point_v<T>;

template <typename T>
T conj_if(T v, bool conj) {
  if constexpr (is_complex<T>)
    return conj ? std::conj(v) : v;
  else
    return v;
}

enum class format { csr, coo };

// Rows of a matrix as CSR arrays. Entries k of row i lie in [begin[i], end[i]) - base; the
// value of entry k is val[perm[k]] when perm is set (a derived structure over the caller's
// values), else val[k]. Columns are less base as well.
template <typename T, typename I>
struct csr_view {
  std::int64_t rows = 0, cols = 0;
  I base = 0;
  const I* begin = nullptr;
  const I* end = nullptr;
  const I* col = nullptr;
  const T* val = nullptr;
  const I* perm = nullptr;

  T value(I k) const { return perm != nullptr ? val[perm[k]] : val[k]; }
};

// A structure the engine made: zero-based arrays and, where the values stay the caller's, the
// position of each entry in the caller's value array.
template <typename T, typename I>
struct owned_csr {
  std::vector<I> ptr, col, perm;
  std::vector<T> val;  // used by products, whose values the engine computes
  std::vector<I> exported;  // a product's row pointers and columns with its base added
};

template <typename T, typename I>
struct typed_matrix : vrt_host_matrix {
  format fmt = format::csr;
  I base = 0;
  std::int64_t rows = 0, cols = 0, nnz = 0;
  // The caller's arrays (COO: rows_start holds the row indices).
  I* rows_start = nullptr;
  I* rows_end = nullptr;
  I* col_indx = nullptr;
  T* values = nullptr;
  // Derived on first need: a CSR form of a COO matrix, and the transpose's structure.
  std::unique_ptr<owned_csr<T, I>> coo_rows;
  std::unique_ptr<owned_csr<T, I>> transposed;
  // Recorded hints and what optimize made of them.
  bool hint_transposed_mv = false;
  int hint_triangular_solves = 0;
  // Level sets of triangular solves, by (transposed view, lower triangle): rows in level order.
  struct schedule {
    bool built = false;
    std::vector<I> level_ptr, order;
  } levels[2][2];
  // A product made by sp2m: owned CSR with computed values, and its work estimate.
  std::unique_ptr<owned_csr<T, I>> product;
  std::vector<std::int64_t> row_work;
  bool product_has_values = false;

  typed_matrix() {
    value_tag = vrt_host::value_tag<T>();
    index_bytes = sizeof(I);
  }
};

// The typed matrix behind a handle, or null when the handle is of another type.
template <typename T, typename I>
typed_matrix<T, I>* typed(host_matrix_t A) {
  if (A == nullptr || A->value_tag != value_tag<T>() || A->index_bytes != sizeof(I)) return nullptr;
  return static_cast<typed_matrix<T, I>*>(A);
}

// The matrix as CSR rows (a COO matrix gets its row structure on first use).
template <typename T, typename I>
csr_view<T, I> rows_of(typed_matrix<T, I>& A);
// The rows of A^T: a structure over A's values, made on first use and kept.
template <typename T, typename I>
csr_view<T, I> rows_of_transpose(typed_matrix<T, I>& A);

// Threads for one call: the OpenMP team, capped by VRT_HOST_SPARSE_THREADS, and one inside an
// active parallel region.
int team_size();

// Row boundaries that give each of `parts` threads about the same number of entries.
template <typename T, typename I>
std::vector<std::int64_t> balanced_rows(const csr_view<T, I>& v, int parts) {
  std::vector<std::int64_t> split(static_cast<std::size_t>(parts) + 1, v.rows);
  split[0] = 0;
  if (v.rows == 0) return split;
  const std::int64_t first = v.begin[0], last = v.end[v.rows - 1];
  const std::int64_t total = last - first;
  for (int p = 1; p < parts; ++p) {
    const std::int64_t target = first + total * p / parts;
    // Rows also count one unit each, so that empty rows spread too.
    split[p] = std::lower_bound(v.begin, v.begin + v.rows, target) - v.begin;
    split[p] = std::max(split[p], split[p - 1]);
  }
  return split;
}

// The test seam: a status forced onto the next calls.
bool forced_status(sparse_status_t* status);

// Runs body and turns allocation failures into a status.
template <typename Body>
sparse_status_t guarded(Body&& body) {
  sparse_status_t forced;
  if (forced_status(&forced)) return forced;
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return SPARSE_STATUS_ALLOC_FAILED;
  } catch (...) {
    return SPARSE_STATUS_INTERNAL_ERROR;
  }
}

// Descriptor checks shared by the operations.
inline bool valid_operation(host_operation_t op) {
  return op == HOST_OPERATION_NON_TRANSPOSE || op == HOST_OPERATION_TRANSPOSE ||
         op == HOST_OPERATION_CONJUGATE_TRANSPOSE;
}
inline bool valid_descriptor(const host_matrix_descr& d) {
  if (d.type == HOST_MATRIX_TYPE_GENERAL) return true;
  if (d.type != HOST_MATRIX_TYPE_SYMMETRIC && d.type != HOST_MATRIX_TYPE_TRIANGULAR) return false;
  return (d.mode == HOST_FILL_MODE_LOWER || d.mode == HOST_FILL_MODE_UPPER) &&
         (d.diag == HOST_DIAG_NON_UNIT || d.diag == HOST_DIAG_UNIT);
}

}  // namespace vrt_host
