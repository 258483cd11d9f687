// Structures derived from the caller's arrays: the rows of a COO matrix and the rows of the
// transpose. Both keep positions into the caller's values, so values changed in place count.
#include <algorithm>
#include <climits>

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

namespace {

// Finds the shapes of a CSR matrix's rows; null when there are more than a byte can name, or
// when rows are not consecutive in the arrays.
template <typename T, typename I>
std::unique_ptr<row_shapes> find_shapes(const typed_matrix<T, I>& A) {
  constexpr std::size_t most = 255;
  const std::int64_t n = A.rows;
  if (A.fmt != format::csr || n == 0) return nullptr;
  for (std::int64_t i = 0; i + 1 < n; ++i)
    if (A.rows_end[i] != A.rows_start[i + 1]) return nullptr;
  auto s = std::make_unique<row_shapes>();
  s->shape.resize(static_cast<std::size_t>(n));
  std::vector<std::int32_t> row;
  std::int64_t last = -1;  // rows often repeat the previous row's shape
  for (std::int64_t i = 0; i < n; ++i) {
    row.clear();
    for (std::int64_t k = A.rows_start[i] - A.base; k < A.rows_end[i] - A.base; ++k) {
      const std::int64_t d = static_cast<std::int64_t>(A.col_indx[k] - A.base) - i;
      if (d < INT32_MIN || d > INT32_MAX) return nullptr;
      row.push_back(static_cast<std::int32_t>(d));
    }
    auto same = [&](std::int64_t p) {
      return s->length[p] == static_cast<std::int32_t>(row.size()) &&
             std::equal(row.begin(), row.end(), s->delta.begin() + s->start[p]);
    };
    std::int64_t found = -1;
    if (last >= 0 && same(last)) found = last;
    for (std::size_t p = 0; found < 0 && p < s->start.size(); ++p)
      if (same(static_cast<std::int64_t>(p))) found = static_cast<std::int64_t>(p);
    if (found < 0) {
      if (s->start.size() == most) return nullptr;
      found = static_cast<std::int64_t>(s->start.size());
      s->start.push_back(static_cast<std::int32_t>(s->delta.size()));
      s->length.push_back(static_cast<std::int32_t>(row.size()));
      s->delta.insert(s->delta.end(), row.begin(), row.end());
      if (s->delta.size() > 4096) return nullptr;  // shapes must stay in the first cache level
    }
    s->shape[i] = static_cast<std::uint8_t>(found);
    last = found;
  }
  return s;
}

}  // namespace

template <typename T, typename I>
const row_shapes* shapes_of(typed_matrix<T, I>& A) {
  std::lock_guard<std::mutex> hold(A.lock);
  if (!A.shapes_tried) {
    A.shapes = find_shapes(A);
    A.shapes_tried = true;
  }
  return A.shapes.get();
}

template <typename T, typename I>
void forget_derived(typed_matrix<T, I>& A) {
  std::lock_guard<std::mutex> hold(A.lock);
  A.shapes.reset();
  A.shapes_tried = false;
  A.coo_rows.reset();
  A.transposed.reset();
  for (auto& by_op : A.plans)
    for (auto& p : by_op) p.reset();
}

#define VRT_INSTANTIATE_STRUCTURE(T, I)                                 \
  template csr_view<T, I> rows_of<T, I>(typed_matrix<T, I>&);           \
  template csr_view<T, I> rows_of_transpose<T, I>(typed_matrix<T, I>&); \
  template csr_view<T, I> made_transpose<T, I>(typed_matrix<T, I>&);    \
  template void forget_derived<T, I>(typed_matrix<T, I>&);              \
  template const row_shapes* shapes_of<T, I>(typed_matrix<T, I>&);
VRT_HOST_FOR_EACH_TYPE(VRT_INSTANTIATE_STRUCTURE)

}  // namespace vrt_host
