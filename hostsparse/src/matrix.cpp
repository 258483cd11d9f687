// Creation, release, hints, optimisation and row ordering of the engine's matrices.
#include "matrix.hpp"

#include <cstdlib>
#include <numeric>

namespace vrt_host {

namespace {
std::atomic<int> forced_count{0};
std::atomic<sparse_status_t> forced_value{SPARSE_STATUS_SUCCESS};
}  // namespace

bool forced_status(sparse_status_t* status) {
  int left = forced_count.load();
  while (left > 0) {
    if (forced_count.compare_exchange_weak(left, left - 1)) {
      *status = forced_value.load();
      return true;
    }
  }
  return false;
}

int team_size() {
#if defined(_OPENMP)
  if (omp_in_parallel()) return 1;
  int threads = omp_get_max_threads();
  if (const char* cap = std::getenv("VRT_HOST_SPARSE_THREADS")) {
    const int limit = std::atoi(cap);
    if (limit > 0) threads = std::min(threads, limit);
  }
  return std::max(threads, 1);
#else
  return 1;
#endif
}

// Counting sort of entries by a key array: the row structure of `keys` over `count` entries.
template <typename T, typename I>
std::unique_ptr<owned_csr<T, I>> structure_by(const I* keys, const I* other, std::int64_t count,
                                              std::int64_t nkeys, I base,
                                              const I* source_perm = nullptr) {
  auto s = std::make_unique<owned_csr<T, I>>();
  s->ptr.assign(static_cast<std::size_t>(nkeys) + 1, 0);
  for (std::int64_t k = 0; k < count; ++k) ++s->ptr[keys[k] - base + 1];
  std::partial_sum(s->ptr.begin(), s->ptr.end(), s->ptr.begin());
  s->col.resize(static_cast<std::size_t>(count));
  s->perm.resize(static_cast<std::size_t>(count));
  std::vector<I> cursor(s->ptr.begin(), s->ptr.end() - 1);
  for (std::int64_t k = 0; k < count; ++k) {
    const I pos = cursor[keys[k] - base]++;
    s->col[pos] = other[k] - base;
    s->perm[pos] = source_perm != nullptr ? source_perm[k] : static_cast<I>(k);
  }
  return s;
}

template <typename T, typename I>
csr_view<T, I> view_of(const owned_csr<T, I>& s, std::int64_t rows, std::int64_t cols,
                       const T* values) {
  csr_view<T, I> v;
  v.rows = rows;
  v.cols = cols;
  v.base = 0;
  v.begin = s.ptr.data();
  v.end = s.ptr.data() + 1;
  v.col = s.col.data();
  v.val = values;
  v.perm = s.perm.empty() ? nullptr : s.perm.data();
  return v;
}

template <typename T, typename I>
csr_view<T, I> rows_of(typed_matrix<T, I>& A) {
  if (A.product) return view_of<T, I>(*A.product, A.rows, A.cols, A.product->val.data());
  if (A.fmt == format::coo) {
    if (!A.coo_rows)
      A.coo_rows = structure_by<T, I>(A.rows_start, A.col_indx, A.nnz, A.rows, A.base);
    return view_of<T, I>(*A.coo_rows, A.rows, A.cols, A.values);
  }
  csr_view<T, I> v;
  v.rows = A.rows;
  v.cols = A.cols;
  v.base = A.base;
  v.begin = A.rows_start;
  v.end = A.rows_end;
  v.col = A.col_indx;
  v.val = A.values;
  return v;
}

template <typename T, typename I>
csr_view<T, I> rows_of_transpose(typed_matrix<T, I>& A) {
  const csr_view<T, I> a = rows_of(A);
  if (!A.transposed) {
    // Entries of A in row order, keyed by column: the rows of A^T, in ascending row of A.
    std::vector<I> row_of_entry, col_of_entry, position;
    const std::int64_t count = a.rows == 0 ? 0 : a.end[a.rows - 1] - a.begin[0];
    row_of_entry.reserve(static_cast<std::size_t>(count));
    col_of_entry.reserve(static_cast<std::size_t>(count));
    position.reserve(static_cast<std::size_t>(count));
    for (std::int64_t i = 0; i < a.rows; ++i)
      for (I k = a.begin[i] - a.base; k < a.end[i] - a.base; ++k) {
        row_of_entry.push_back(static_cast<I>(i));
        col_of_entry.push_back(a.col[k] - a.base);
        position.push_back(a.perm != nullptr ? a.perm[k] : k);
      }
    A.transposed = structure_by<T, I>(col_of_entry.data(), row_of_entry.data(),
                                      static_cast<std::int64_t>(col_of_entry.size()), a.cols, I(0),
                                      position.data());
  }
  return view_of<T, I>(*A.transposed, a.cols, a.rows, a.val);
}

template <typename T, typename I>
sparse_status_t create_csr(host_matrix_t* A, int base, I rows, I cols, I* rows_start,
                           I* rows_end, I* col_indx, T* values) {
  return guarded([&]() -> sparse_status_t {
    if (A == nullptr || rows < 0 || cols < 0 || (base != 0 && base != 1) ||
        (rows > 0 && (rows_start == nullptr || rows_end == nullptr)))
      return SPARSE_STATUS_INVALID_VALUE;
    auto m = std::make_unique<typed_matrix<T, I>>();
    m->fmt = format::csr;
    m->base = static_cast<I>(base);
    m->rows = rows;
    m->cols = cols;
    m->nnz = rows > 0 ? rows_end[rows - 1] - rows_start[0] : 0;
    m->rows_start = rows_start;
    m->rows_end = rows_end;
    m->col_indx = col_indx;
    m->values = values;
    if (m->nnz > 0 && (col_indx == nullptr || values == nullptr)) return SPARSE_STATUS_INVALID_VALUE;
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
    for (I k = 0; k < nnz; ++k)
      if (row_indx[k] - base < 0 || row_indx[k] - base >= rows) return SPARSE_STATUS_INVALID_VALUE;
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

// Sorts each row's columns in place, values alongside.
template <typename T, typename I>
sparse_status_t do_order(host_matrix_t handle) {
  return guarded([&]() -> sparse_status_t {
    auto* A = typed<T, I>(handle);
    if (A == nullptr) return handle == nullptr ? SPARSE_STATUS_NOT_INITIALIZED : SPARSE_STATUS_INVALID_VALUE;
    if (A->fmt != format::csr || A->product) return SPARSE_STATUS_NOT_SUPPORTED;
    const std::int64_t rows = A->rows;
    const int threads = team_size();
#pragma omp parallel num_threads(threads)
    {
      std::vector<std::pair<I, T>> row;
#pragma omp for schedule(dynamic, 256)
      for (std::int64_t i = 0; i < rows; ++i) {
        const I begin = A->rows_start[i] - A->base, end = A->rows_end[i] - A->base;
        if (std::is_sorted(A->col_indx + begin, A->col_indx + end)) continue;
        row.clear();
        for (I k = begin; k < end; ++k) row.emplace_back(A->col_indx[k], A->values[k]);
        std::sort(row.begin(), row.end(),
                  [](const auto& a, const auto& b) { return a.first < b.first; });
        for (I k = begin; k < end; ++k) {
          A->col_indx[k] = row[k - begin].first;
          A->values[k] = row[k - begin].second;
        }
      }
    }
    A->transposed.reset();  // its structure followed the old order
    return SPARSE_STATUS_SUCCESS;
  });
}

template <typename T, typename I>
sparse_status_t export_csr(host_matrix_t handle, int* base, I* rows, I* cols, I** rows_start,
                           I** rows_end, I** col_indx, T** values) {
  return guarded([&]() -> sparse_status_t {
    auto* A = typed<T, I>(handle);
    if (A == nullptr) return handle == nullptr ? SPARSE_STATUS_NOT_INITIALIZED : SPARSE_STATUS_INVALID_VALUE;
    if (!A->product) return SPARSE_STATUS_NOT_SUPPORTED;
    if (base) *base = static_cast<int>(A->base);
    if (rows) *rows = static_cast<I>(A->rows);
    if (cols) *cols = static_cast<I>(A->cols);
    // The product's arrays carry no base internally; exported arrays carry A->base.
    owned_csr<T, I>& p = *A->product;
    if (A->base != 0) {
      // Shifted copies are kept beside the product so the pointers stay valid.
      p.exported.assign(p.ptr.begin(), p.ptr.end());
      p.exported.insert(p.exported.end(), p.col.begin(), p.col.end());
      for (auto& e : p.exported) e += A->base;
      if (rows_start) *rows_start = p.exported.data();
      if (rows_end) *rows_end = p.exported.data() + 1;
      if (col_indx) *col_indx = p.exported.data() + p.ptr.size();
    } else {
      if (rows_start) *rows_start = p.ptr.data();
      if (rows_end) *rows_end = p.ptr.data() + 1;
      if (col_indx) *col_indx = p.col.data();
    }
    if (values) *values = p.val.data();
    return SPARSE_STATUS_SUCCESS;
  });
}

template <typename T, typename I>
void build_schedule(typed_matrix<T, I>& A, bool transposed_view, bool lower);

template <typename I>
sparse_status_t with_any_type(host_matrix_t handle, auto&& body) {
  if (handle == nullptr) return SPARSE_STATUS_NOT_INITIALIZED;
  if (handle->index_bytes != sizeof(I)) return SPARSE_STATUS_INVALID_VALUE;
  switch (handle->value_tag) {
    case 0: return body(*static_cast<typed_matrix<float, I>*>(handle));
    case 1: return body(*static_cast<typed_matrix<double, I>*>(handle));
    case 2: return body(*static_cast<typed_matrix<std::complex<float>, I>*>(handle));
    default: return body(*static_cast<typed_matrix<std::complex<double>, I>*>(handle));
  }
}

template <typename I>
sparse_status_t optimize(host_matrix_t handle) {
  return guarded([&]() -> sparse_status_t {
    return with_any_type<I>(handle, [](auto& A) -> sparse_status_t {
      // A transposed product wants the transpose's rows; triangular solves their levels.
      if (A.hint_transposed_mv) rows_of_transpose(A);
      for (int t = 0; t < 2; ++t)
        for (int lower = 0; lower < 2; ++lower)
          if (A.hint_triangular_solves & (1 << (t * 2 + lower))) build_schedule(A, t != 0, lower != 0);
      return SPARSE_STATUS_SUCCESS;
    });
  });
}

// Records what later calls will do; only speed depends on it.
template <typename I>
sparse_status_t record_hint(host_matrix_t handle, host_operation_t op, host_matrix_descr descr,
                            bool solve) {
  return guarded([&]() -> sparse_status_t {
    if (!valid_operation(op) || !valid_descriptor(descr)) return SPARSE_STATUS_INVALID_VALUE;
    return with_any_type<I>(handle, [&](auto& A) -> sparse_status_t {
      const bool transposed = op != HOST_OPERATION_NON_TRANSPOSE;
      if (!solve) {
        if (transposed || descr.type == HOST_MATRIX_TYPE_SYMMETRIC) A.hint_transposed_mv = true;
      } else {
        const bool lower = descr.mode == HOST_FILL_MODE_LOWER;
        // A transposed solve runs on the transpose's rows, with the other triangle.
        const bool view_lower = transposed ? !lower : lower;
        A.hint_triangular_solves |= 1 << ((transposed ? 2 : 0) + (view_lower ? 1 : 0));
      }
      return SPARSE_STATUS_SUCCESS;
    });
  });
}

template <typename I>
sparse_status_t get_nnz(host_matrix_t handle, I* nnz) {
  return guarded([&]() -> sparse_status_t {
    if (nnz == nullptr) return SPARSE_STATUS_INVALID_VALUE;
    return with_any_type<I>(handle, [&](auto& A) -> sparse_status_t {
      if (A.product) {
        *nnz = A.product->ptr.back();
      } else {
        *nnz = static_cast<I>(A.nnz);
      }
      return SPARSE_STATUS_SUCCESS;
    });
  });
}

}  // namespace vrt_host

using namespace vrt_host;

extern "C" {

void vrt_sparse_testing_force_status(sparse_status_t status, int count) {
  forced_value = status;
  forced_count = count;
}

#define VRT_DEFINE_MATRIX_TYPED(p, C, i, I)                                                     \
  sparse_status_t vrt_sparse_##p##_create_csr_##i(host_matrix_t* A, int base, I rows, I cols,   \
                                                  I* rs, I* re, I* ci, C* v) {                  \
    return create_csr<value_of<C>::type, I>(A, base, rows, cols, rs, re, ci,                    \
                                            reinterpret_cast<value_of<C>::type*>(v));           \
  }                                                                                             \
  sparse_status_t vrt_sparse_##p##_create_coo_##i(host_matrix_t* A, int base, I rows, I cols,   \
                                                  I nnz, I* ri, I* ci, C* v) {                  \
    return create_coo<value_of<C>::type, I>(A, base, rows, cols, nnz, ri, ci,                   \
                                            reinterpret_cast<value_of<C>::type*>(v));           \
  }                                                                                             \
  sparse_status_t vrt_sparse_##p##_do_order_##i(host_matrix_t A) {                              \
    return do_order<value_of<C>::type, I>(A);                                                   \
  }                                                                                             \
  sparse_status_t vrt_sparse_##p##_export_csr_##i(host_matrix_t A, int* base, I* rows, I* cols, \
                                                  I** rs, I** re, I** ci, C** v) {              \
    return export_csr<value_of<C>::type, I>(A, base, rows, cols, rs, re, ci,                    \
                                            reinterpret_cast<value_of<C>::type**>(v));          \
  }
VRT_HOST_FOR_EACH_VARIANT(VRT_DEFINE_MATRIX_TYPED)

#define VRT_DEFINE_MATRIX_INDEXED(i, I)                                                         \
  sparse_status_t vrt_sparse_destroy_##i(host_matrix_t A) {                                     \
    if (A != nullptr && A->index_bytes != sizeof(I)) return SPARSE_STATUS_INVALID_VALUE;        \
    delete A;                                                                                   \
    return SPARSE_STATUS_SUCCESS;                                                               \
  }                                                                                             \
  sparse_status_t vrt_sparse_optimize_##i(host_matrix_t A) { return optimize<I>(A); }          \
  sparse_status_t vrt_sparse_set_mv_hint_##i(host_matrix_t A, host_operation_t op,              \
                                             host_matrix_descr d, int) {                        \
    return record_hint<I>(A, op, d, false);                                                     \
  }                                                                                             \
  sparse_status_t vrt_sparse_set_sv_hint_##i(host_matrix_t A, host_operation_t op,              \
                                             host_matrix_descr d, int) {                        \
    return record_hint<I>(A, op, d, true);                                                      \
  }                                                                                             \
  sparse_status_t vrt_sparse_set_sm_hint_##i(host_matrix_t A, host_operation_t op,              \
                                             host_matrix_descr d, host_layout_t layout,         \
                                             I columns, int) {                                  \
    if (layout != HOST_LAYOUT_ROW_MAJOR && layout != HOST_LAYOUT_COLUMN_MAJOR) return 3;        \
    if (columns < 0) return SPARSE_STATUS_INVALID_VALUE;                                        \
    return record_hint<I>(A, op, d, true);                                                      \
  }                                                                                             \
  sparse_status_t vrt_sparse_get_nnz_##i(host_matrix_t A, I* nnz) { return get_nnz<I>(A, nnz); }
VRT_DEFINE_MATRIX_INDEXED(i4, int32_t)
VRT_DEFINE_MATRIX_INDEXED(i8, int64_t)
}

namespace vrt_host {
#define VRT_INSTANTIATE_VIEWS(T, I)                                       \
  template csr_view<T, I> rows_of<T, I>(typed_matrix<T, I>&);             \
  template csr_view<T, I> rows_of_transpose<T, I>(typed_matrix<T, I>&);
#define VRT_INSTANTIATE_VIEWS_FOR_VALUE(T) \
  VRT_INSTANTIATE_VIEWS(T, int32_t) VRT_INSTANTIATE_VIEWS(T, int64_t)
VRT_INSTANTIATE_VIEWS_FOR_VALUE(float)
VRT_INSTANTIATE_VIEWS_FOR_VALUE(double)
VRT_INSTANTIATE_VIEWS_FOR_VALUE(std::complex<float>)
VRT_INSTANTIATE_VIEWS_FOR_VALUE(std::complex<double>)
}  // namespace vrt_host
