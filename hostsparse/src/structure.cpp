// Structures derived from the caller's arrays: the rows of a COO matrix and the rows of the
// transpose. Both keep positions into the caller's values, so values changed in place count.
#include "matrix.hpp"

namespace vrt_host {

namespace {

// Counting sort of `count` entries by key: rows of the result keyed by key[k] - base, each
// entry's column other[k] - base and value position pos(k). Entries keep their order in a row.
template <typename I, typename Position>
std::unique_ptr<derived_csr<I>> bucket(std::int64_t keys, std::int64_t count, Position&& each) {
  auto s = std::make_unique<derived_csr<I>>();
  s->ptr.assign(static_cast<std::size_t>(keys) + 1, 0);
  each([&](std::int64_t key, std::int64_t, std::int64_t) { ++s->ptr[key + 1]; });
  for (std::int64_t r = 0; r < keys; ++r) s->ptr[r + 1] += s->ptr[r];
  s->col.resize(static_cast<std::size_t>(count));
  s->perm.resize(static_cast<std::size_t>(count));
  std::vector<I> cursor(s->ptr.begin(), s->ptr.end() - 1);
  each([&](std::int64_t key, std::int64_t other, std::int64_t position) {
    const I at = cursor[key]++;
    s->col[at] = static_cast<I>(other);
    s->perm[at] = static_cast<I>(position);
  });
  return s;
}

template <typename T, typename I>
csr_view<T, I> view_of(const derived_csr<I>& s, std::int64_t rows, std::int64_t cols,
                       const T* values) {
  csr_view<T, I> v;
  v.rows = rows;
  v.cols = cols;
  v.base = 0;
  v.begin = s.ptr.data();
  v.end = s.ptr.data() + 1;
  v.col = s.col.data();
  v.val = values;
  v.perm = s.perm.data();
  v.monotone = true;
  return v;
}

template <typename T, typename I>
csr_view<T, I> rows_locked(typed_matrix<T, I>& A) {
  if (A.fmt == format::coo) {
    if (!A.coo_rows) {
      const I base = A.base;
      const I* row = A.rows_start;
      const I* col = A.col_indx;
      A.coo_rows = bucket<I>(A.rows, A.nnz, [&](auto&& put) {
        for (std::int64_t k = 0; k < A.nnz; ++k) put(row[k] - base, col[k] - base, k);
      });
    }
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
  v.monotone = A.monotone;
  return v;
}

}  // namespace

template <typename T, typename I>
csr_view<T, I> rows_of(typed_matrix<T, I>& A) {
  if (A.fmt == format::csr) return rows_locked(A);
  std::lock_guard<std::mutex> hold(A.lock);
  return rows_locked(A);
}

template <typename T, typename I>
csr_view<T, I> rows_of_transpose(typed_matrix<T, I>& A) {
  std::lock_guard<std::mutex> hold(A.lock);
  const csr_view<T, I> a = rows_locked(A);
  if (!A.transposed) {
    std::int64_t count = 0;
    for (std::int64_t i = 0; i < a.rows; ++i) count += a.end[i] - a.begin[i];
    // Walking A's rows in order makes each row of A^T ascend in A's row index.
    A.transposed = bucket<I>(a.cols, count, [&](auto&& put) {
      for (std::int64_t i = 0; i < a.rows; ++i)
        for (I k = a.begin[i] - a.base; k < a.end[i] - a.base; ++k)
          put(a.col[k] - a.base, i, a.perm != nullptr ? a.perm[k] : k);
    });
  }
  return view_of<T, I>(*A.transposed, a.cols, a.rows, a.val);
}

template <typename T, typename I>
csr_view<T, I> made_transpose(typed_matrix<T, I>& A) {
  std::lock_guard<std::mutex> hold(A.lock);
  if (!A.transposed) return csr_view<T, I>{};
  return view_of<T, I>(*A.transposed, A.cols, A.rows, A.values);
}

template <typename T, typename I>
void forget_derived(typed_matrix<T, I>& A) {
  std::lock_guard<std::mutex> hold(A.lock);
  A.coo_rows.reset();
  A.transposed.reset();
  for (auto& by_op : A.plans)
    for (auto& p : by_op) p.reset();
}

#define VRT_INSTANTIATE_STRUCTURE(T, I)                                  \
  template csr_view<T, I> rows_of<T, I>(typed_matrix<T, I>&);            \
  template csr_view<T, I> rows_of_transpose<T, I>(typed_matrix<T, I>&);  \
  template csr_view<T, I> made_transpose<T, I>(typed_matrix<T, I>&);     \
  template void forget_derived<T, I>(typed_matrix<T, I>&);
VRT_HOST_FOR_EACH_TYPE(VRT_INSTANTIATE_STRUCTURE)

}  // namespace vrt_host
