// C = op(A) op(B) for two sparse matrices.
//
// Two passes over rows split by their multiply-adds (from a work estimate): the first counts
// each row's columns with a marker array per thread, the second fills columns and values with a
// dense accumulator per thread and sorts each row. C owns its arrays.
#include <algorithm>

#include "huge_pages.hpp"
#include "kernels.hpp"
#include "team.hpp"

namespace vrt_host {

namespace {

template <typename T, typename I>
struct operands {
  csr_view<T, I> a, b;
  bool conj_a = false, conj_b = false;
};

// work[i] = multiply-adds of row i, as a running sum (work[0] = 0).
template <typename T, typename I>
void estimate(const operands<T, I>& o, std::vector<std::int64_t>& work) {
  const std::int64_t rows = o.a.rows;
  work.assign(static_cast<std::size_t>(rows) + 1, 0);
  team crew(o.a.rows + (o.a.rows > 0 ? o.a.end[rows - 1] - o.a.begin[0] : 0));
  run_team(crew.size(), [&](int t, int n) {
    for (std::int64_t i = even_split(rows, t, n); i < even_split(rows, t + 1, n); ++i) {
      std::int64_t w = 0;
      for (std::int64_t k = o.a.begin[i] - o.a.base; k < o.a.end[i] - o.a.base; ++k) {
        const std::int64_t j = o.a.col[k] - o.a.base;
        w += o.b.end[j] - o.b.begin[j];
      }
      work[i + 1] = w;
    }
  });
  for (std::int64_t i = 0; i < rows; ++i) work[i + 1] += work[i];
}

// Calls f(c, a_ik * b_kc) for every product term of row i.
template <bool Values, bool ConjA, bool ConjB, typename T, typename I, typename F>
inline void terms(const operands<T, I>& o, std::int64_t i, F&& f) {
  const I ab = o.a.base, bb = o.b.base;
  for (std::int64_t k = o.a.begin[i] - ab; k < o.a.end[i] - ab; ++k) {
    const std::int64_t j = o.a.col[k] - ab;
    T av = T(0);
    if constexpr (Values) av = o.a.perm ? o.a.val[o.a.perm[k]] : o.a.val[k];
    av = maybe_conj<ConjA>(av);
    for (std::int64_t m = o.b.begin[j] - bb; m < o.b.end[j] - bb; ++m) {
      if constexpr (Values) {
        const T bv = maybe_conj<ConjB>(o.b.perm ? o.b.val[o.b.perm[m]] : o.b.val[m]);
        f(static_cast<std::int64_t>(o.b.col[m] - bb), mul(av, bv));
      } else {
        f(static_cast<std::int64_t>(o.b.col[m] - bb), T(0));
      }
    }
  }
}

// The rows of thread t of n, balanced by work.
inline std::pair<std::int64_t, std::int64_t> rows_of_thread(const std::vector<std::int64_t>& work,
                                                            int t, int n) {
  const std::int64_t rows = static_cast<std::int64_t>(work.size()) - 1;
  return {row_boundary(work.data(), work.data() + 1, rows, true, t, n),
          row_boundary(work.data(), work.data() + 1, rows, true, t + 1, n)};
}

// Pass one: ptr[i + 1] = number of columns of row i; then the running sum.
template <typename T, typename I>
void count(const operands<T, I>& o, const std::vector<std::int64_t>& work, int threads,
           std::vector<I>& ptr) {
  const std::int64_t rows = o.a.rows;
  const std::size_t width = static_cast<std::size_t>(o.b.cols);
  reserve_on_huge_pages(ptr, static_cast<std::size_t>(rows) + 1);
  ptr.assign(static_cast<std::size_t>(rows) + 1, 0);
  // Each thread clears its own markers: first touches spread over the team.
  const auto marks = uninitialised_array<std::int64_t>(width * static_cast<std::size_t>(threads));
  run_team(threads, [&](int t, int n) {
    std::int64_t* mark = marks.get() + width * static_cast<std::size_t>(t);
    std::fill(mark, mark + width, std::int64_t{-1});
    const auto [lo, hi] = rows_of_thread(work, t, n);
    for (std::int64_t i = lo; i < hi; ++i) {
      I c = 0;
      terms<false, false, false>(o, i, [&](std::int64_t col, T) {
        if (mark[col] != i) {
          mark[col] = i;
          ++c;
        }
      });
      ptr[i + 1] = c;
    }
  });
  for (std::int64_t i = 0; i < rows; ++i) ptr[i + 1] += ptr[i];
}

// Pass two: the sorted columns of each row and, with Values, their values. With Known the
// columns are there already (request 92) and only values are computed.
template <bool Values, bool Known, typename T, typename I>
void fill(const operands<T, I>& o, const std::vector<std::int64_t>& work, int threads,
          const std::vector<I>& ptr, I* col, T* val) {
  const std::size_t width = static_cast<std::size_t>(o.b.cols);
  const auto marks =
      uninitialised_array<std::int64_t>(Known ? 0 : width * static_cast<std::size_t>(threads));
  const auto sums = uninitialised_array<T>(Values ? width * static_cast<std::size_t>(threads) : 0);
  run_team(threads, [&](int t, int n) {
    std::int64_t* mark = Known ? nullptr : marks.get() + width * static_cast<std::size_t>(t);
    T* sum = Values ? sums.get() + width * static_cast<std::size_t>(t) : nullptr;
    if (!Known) std::fill(mark, mark + width, std::int64_t{-1});
    const auto [lo, hi] = rows_of_thread(work, t, n);
    auto row = [&]<bool ConjA, bool ConjB>(std::int64_t i) {
      const std::int64_t first = ptr[i], last = ptr[i + 1];
      if constexpr (Known) {
        for (std::int64_t k = first; k < last; ++k) sum[col[k]] = T(0);
        terms<true, ConjA, ConjB>(o, i, [&](std::int64_t c, T v) { sum[c] += v; });
      } else {
        std::int64_t at = first;
        terms<Values, ConjA, ConjB>(o, i, [&](std::int64_t c, T v) {
          if (mark[c] != i) {
            mark[c] = i;
            col[at++] = static_cast<I>(c);
            if constexpr (Values) sum[c] = v;
          } else if constexpr (Values) {
            sum[c] += v;
          }
        });
        std::sort(col + first, col + last);
      }
      if constexpr (Values)
        for (std::int64_t k = first; k < last; ++k) val[k] = sum[col[k]];
    };
    for (std::int64_t i = lo; i < hi; ++i) {
      if (is_complex<T> && o.conj_a && o.conj_b)
        row.template operator()<is_complex<T>, is_complex<T>>(i);
      else if (is_complex<T> && o.conj_a)
        row.template operator()<is_complex<T>, false>(i);
      else if (is_complex<T> && o.conj_b)
        row.template operator()<false, is_complex<T>>(i);
      else
        row.template operator()<false, false>(i);
    }
  });
}

// The product's arrays carry its base; the passes work zero-based.
template <typename T, typename I>
void shift(std::vector<I>& a, I by, int threads) {
  if (by == 0) return;
  const std::int64_t n = static_cast<std::int64_t>(a.size());
  run_team(threads, [&](int t, int m) {
    for (std::int64_t k = even_split(n, t, m); k < even_split(n, t + 1, m); ++k) a[k] += by;
  });
}

template <typename T, typename I>
void publish(typed_matrix<T, I>& C) {
  C.rows_start = C.own_ptr.data();
  C.rows_end = C.own_ptr.data() + 1;
  C.col_indx = C.own_col.data();
  C.values = C.own_val.data();
  C.nnz = C.own_ptr.empty() ? 0 : C.own_ptr.back() - C.base;
  C.monotone = true;
  C.has_structure = true;
}

template <typename T, typename I>
sparse_status_t product(typed_matrix<T, I>& A, host_operation_t opA, typed_matrix<T, I>& B,
                        host_operation_t opB, host_request_t request, host_matrix_t* handle) {
  if (request != HOST_REQUEST_FULL_MULT && request != HOST_REQUEST_WORK_ESTIMATE &&
      request != HOST_REQUEST_FINALIZE_MULT && request != HOST_REQUEST_NNZ_COUNT)
    return SPARSE_STATUS_INVALID_VALUE;
  operands<T, I> o;
  o.a = opA == HOST_OPERATION_NON_TRANSPOSE ? rows_of(A) : rows_of_transpose(A);
  o.b = opB == HOST_OPERATION_NON_TRANSPOSE ? rows_of(B) : rows_of_transpose(B);
  o.conj_a = opA == HOST_OPERATION_CONJUGATE_TRANSPOSE;
  o.conj_b = opB == HOST_OPERATION_CONJUGATE_TRANSPOSE;
  if (o.a.cols != o.b.rows) return SPARSE_STATUS_INVALID_VALUE;

  typed_matrix<T, I>* C = nullptr;
  std::unique_ptr<typed_matrix<T, I>> made;
  if (*handle == nullptr) {
    made = std::make_unique<typed_matrix<T, I>>();
    made->is_product = true;
    made->rows = o.a.rows;
    made->cols = o.b.cols;
    made->base = A.base & B.base;
    C = made.get();
  } else {
    C = typed<T, I>(*handle);
    if (C == nullptr || !C->is_product || C->rows != o.a.rows || C->cols != o.b.cols)
      return SPARSE_STATUS_INVALID_VALUE;
  }
  if (request == HOST_REQUEST_FINALIZE_MULT && !C->has_structure) request = HOST_REQUEST_FULL_MULT;
  if (request == HOST_REQUEST_FULL_MULT || request == HOST_REQUEST_NNZ_COUNT) forget_derived(*C);

  if (C->row_work.size() != static_cast<std::size_t>(o.a.rows) + 1 ||
      request == HOST_REQUEST_WORK_ESTIMATE)
    estimate(o, C->row_work);
  const std::vector<std::int64_t>& work = C->row_work;
  if (request != HOST_REQUEST_WORK_ESTIMATE) {
    team crew(work.back() + o.a.rows);
    const int threads = crew.size();
    if (request == HOST_REQUEST_FINALIZE_MULT) {
      // Values into the structure of request 94, read zero-based.
      std::vector<I> ptr(C->own_ptr), col(C->own_col);
      shift<T, I>(ptr, static_cast<I>(-C->base), threads);
      shift<T, I>(col, static_cast<I>(-C->base), threads);
      fill<true, true>(o, work, threads, ptr, col.data(), C->own_val.data());
    } else {
      std::vector<I> ptr;
      count(o, work, threads, ptr);
      const auto entries = static_cast<std::size_t>(ptr.back());
      std::vector<I> col;
      std::vector<T> val;
      reserve_on_huge_pages(col, entries);
      reserve_on_huge_pages(val, entries);
      col.resize(entries);
      val.assign(entries, T(0));
      if (request == HOST_REQUEST_FULL_MULT)
        fill<true, false>(o, work, threads, ptr, col.data(), val.data());
      else
        fill<false, false>(o, work, threads, ptr, col.data(), static_cast<T*>(nullptr));
      shift<T, I>(ptr, C->base, threads);
      shift<T, I>(col, C->base, threads);
      C->own_ptr.swap(ptr);
      C->own_col.swap(col);
      C->own_val.swap(val);
      publish(*C);
    }
  }
  if (made) *handle = made.release();
  return SPARSE_STATUS_SUCCESS;
}

template <typename I>
sparse_status_t sp2m(host_operation_t opA, host_matrix_descr dA, host_matrix_t A,
                     host_operation_t opB, host_matrix_descr dB, host_matrix_t B,
                     host_request_t request, host_matrix_t* C) {
  return guarded([&]() -> sparse_status_t {
    if (A == nullptr || B == nullptr) return SPARSE_STATUS_NOT_INITIALIZED;
    if (C == nullptr || !valid_operation(opA) || !valid_operation(opB) || !valid_descriptor(dA) ||
        !valid_descriptor(dB) || A->value_tag != B->value_tag ||
        A->index_bytes != static_cast<int>(sizeof(I)) ||
        B->index_bytes != static_cast<int>(sizeof(I)))
      return SPARSE_STATUS_INVALID_VALUE;
    if (dA.type != HOST_MATRIX_TYPE_GENERAL || dB.type != HOST_MATRIX_TYPE_GENERAL)
      return SPARSE_STATUS_NOT_SUPPORTED;
    switch (A->value_tag) {
      case 0:
        return product(*typed<float, I>(A), opA, *typed<float, I>(B), opB, request, C);
      case 1:
        return product(*typed<double, I>(A), opA, *typed<double, I>(B), opB, request, C);
      case 2:
        return product(*typed<std::complex<float>, I>(A), opA, *typed<std::complex<float>, I>(B),
                       opB, request, C);
      default:
        return product(*typed<std::complex<double>, I>(A), opA, *typed<std::complex<double>, I>(B),
                       opB, request, C);
    }
  });
}

}  // namespace

}  // namespace vrt_host

extern "C" {
sparse_status_t vrt_sparse_sp2m_i4(host_operation_t opA, host_matrix_descr dA, host_matrix_t A,
                                   host_operation_t opB, host_matrix_descr dB, host_matrix_t B,
                                   host_request_t request, host_matrix_t* C) {
  return vrt_host::sp2m<int32_t>(opA, dA, A, opB, dB, B, request, C);
}
sparse_status_t vrt_sparse_sp2m_i8(host_operation_t opA, host_matrix_descr dA, host_matrix_t A,
                                   host_operation_t opB, host_matrix_descr dB, host_matrix_t B,
                                   host_request_t request, host_matrix_t* C) {
  return vrt_host::sp2m<int64_t>(opA, dA, A, opB, dB, B, request, C);
}
}
