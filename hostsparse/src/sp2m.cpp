// C = op(A) * op(B) for two sparse matrices, in two passes: the structure of each row of C (its
// columns, sorted), then its values, each thread with a dense accumulator of its own.
#include "row_kernels.hpp"

namespace vrt_host {

namespace {

template <typename T, typename I>
struct operands {
  csr_view<T, I> a, b;
  bool conj_a = false, conj_b = false;
};

// Columns of row i of the product, sorted; `mark` is the thread's marker array.
template <typename T, typename I>
void row_columns(const operands<T, I>& o, std::int64_t i, std::vector<I>& mark,
                 std::vector<I>& out) {
  out.clear();
  for (I k = o.a.begin[i] - o.a.base; k < o.a.end[i] - o.a.base; ++k) {
    const std::int64_t j = o.a.col[k] - o.a.base;
    for (I m = o.b.begin[j] - o.b.base; m < o.b.end[j] - o.b.base; ++m) {
      const I c = o.b.col[m] - o.b.base;
      if (mark[c] != static_cast<I>(i)) {
        mark[c] = static_cast<I>(i);
        out.push_back(c);
      }
    }
  }
  std::sort(out.begin(), out.end());
}

template <typename T, typename I>
void compute_structure(const operands<T, I>& o, owned_csr<T, I>& p) {
  const std::int64_t rows = o.a.rows;
  p.ptr.assign(static_cast<std::size_t>(rows) + 1, 0);
  const int threads = rows < 256 ? 1 : team_size();
  std::vector<std::vector<I>> columns_of(static_cast<std::size_t>(rows));
#pragma omp parallel num_threads(threads)
  {
    std::vector<I> mark(static_cast<std::size_t>(o.b.cols), static_cast<I>(-1));
    std::vector<I> cols;
#pragma omp for schedule(dynamic, 64)
    for (std::int64_t i = 0; i < rows; ++i) {
      row_columns(o, i, mark, cols);
      columns_of[i] = cols;
      p.ptr[i + 1] = static_cast<I>(cols.size());
    }
  }
  for (std::int64_t i = 0; i < rows; ++i) p.ptr[i + 1] += p.ptr[i];
  p.col.resize(static_cast<std::size_t>(p.ptr[rows]));
  for (std::int64_t i = 0; i < rows; ++i)
    std::copy(columns_of[i].begin(), columns_of[i].end(), p.col.begin() + p.ptr[i]);
  p.val.assign(p.col.size(), T(0));
}

template <typename T, typename I>
void compute_values(const operands<T, I>& o, owned_csr<T, I>& p) {
  const std::int64_t rows = o.a.rows;
  const int threads = rows < 256 ? 1 : team_size();
#pragma omp parallel num_threads(threads)
  {
    std::vector<I> slot(static_cast<std::size_t>(o.b.cols), static_cast<I>(-1));
#pragma omp for schedule(dynamic, 64)
    for (std::int64_t i = 0; i < rows; ++i) {
      for (I k = p.ptr[i]; k < p.ptr[i + 1]; ++k) {
        slot[p.col[k]] = k;
        p.val[k] = T(0);
      }
      for (I k = o.a.begin[i] - o.a.base; k < o.a.end[i] - o.a.base; ++k) {
        const std::int64_t j = o.a.col[k] - o.a.base;
        const T a = conj_if(o.a.value(k), o.conj_a);
        for (I m = o.b.begin[j] - o.b.base; m < o.b.end[j] - o.b.base; ++m)
          p.val[slot[o.b.col[m] - o.b.base]] += a * conj_if(o.b.value(m), o.conj_b);
      }
      for (I k = p.ptr[i]; k < p.ptr[i + 1]; ++k) slot[p.col[k]] = static_cast<I>(-1);
    }
  }
}

template <typename T, typename I>
sparse_status_t product(typed_matrix<T, I>& A, host_operation_t opA, typed_matrix<T, I>& B,
                        host_operation_t opB, host_request_t request, host_matrix_t* C) {
  operands<T, I> o;
  o.a = opA == HOST_OPERATION_NON_TRANSPOSE ? rows_of(A) : rows_of_transpose(A);
  o.b = opB == HOST_OPERATION_NON_TRANSPOSE ? rows_of(B) : rows_of_transpose(B);
  o.conj_a = opA == HOST_OPERATION_CONJUGATE_TRANSPOSE;
  o.conj_b = opB == HOST_OPERATION_CONJUGATE_TRANSPOSE;
  if (o.a.cols != o.b.rows) return SPARSE_STATUS_INVALID_VALUE;
  typed_matrix<T, I>* out = nullptr;
  if (*C == nullptr) {
    auto made = std::make_unique<typed_matrix<T, I>>();
    made->rows = o.a.rows;
    made->cols = o.b.cols;
    made->base = A.base & B.base;
    *C = made.release();
  }
  out = typed<T, I>(*C);
  if (out == nullptr || out->rows != o.a.rows || out->cols != o.b.cols)
    return SPARSE_STATUS_INVALID_VALUE;
  switch (request) {
    case HOST_REQUEST_WORK_ESTIMATE:
      out->row_work.assign(static_cast<std::size_t>(o.a.rows), 0);
      for (std::int64_t i = 0; i < o.a.rows; ++i)
        for (I k = o.a.begin[i] - o.a.base; k < o.a.end[i] - o.a.base; ++k) {
          const std::int64_t j = o.a.col[k] - o.a.base;
          out->row_work[i] += o.b.end[j] - o.b.begin[j];
        }
      return SPARSE_STATUS_SUCCESS;
    case HOST_REQUEST_NNZ_COUNT:
    case HOST_REQUEST_FULL_MULT:
      out->product = std::make_unique<owned_csr<T, I>>();
      compute_structure(o, *out->product);
      out->product_has_values = false;
      if (request == HOST_REQUEST_NNZ_COUNT) return SPARSE_STATUS_SUCCESS;
      [[fallthrough]];
    case HOST_REQUEST_FINALIZE_MULT:
      if (!out->product) return SPARSE_STATUS_NOT_INITIALIZED;
      compute_values(o, *out->product);
      out->product_has_values = true;
      return SPARSE_STATUS_SUCCESS;
    default:
      return SPARSE_STATUS_INVALID_VALUE;
  }
}

template <typename I>
sparse_status_t sp2m(host_operation_t opA, host_matrix_descr dA, host_matrix_t A,
                     host_operation_t opB, host_matrix_descr dB, host_matrix_t B,
                     host_request_t request, host_matrix_t* C) {
  return guarded([&]() -> sparse_status_t {
    if (A == nullptr || B == nullptr) return SPARSE_STATUS_NOT_INITIALIZED;
    if (C == nullptr || !valid_operation(opA) || !valid_operation(opB) ||
        A->value_tag != B->value_tag || A->index_bytes != sizeof(I) ||
        B->index_bytes != sizeof(I))
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
        return product(*typed<std::complex<double>, I>(A), opA,
                       *typed<std::complex<double>, I>(B), opB, request, C);
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
