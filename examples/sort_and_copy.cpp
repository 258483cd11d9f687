// Format operations on a GPU queue: sort_matrix puts the column indices of every row in order
// (in place, values following their columns), and omatcopy writes op(A) into a second handle,
// bound beforehand to arrays of the transpose's sizes. A GPU transpose may leave a row's entries
// in any order, so the copy is sorted too before it is compared.
#include <orvane/vrt/sparse.hpp>

#include "example_support.hpp"

namespace vs = orvane::vrt::sparse;
using orvane::vrt::index_base;
using orvane::vrt::transpose;

int main() {
  sycl::queue q{sycl::gpu_selector_v};
  // The Poisson pattern with values that differ from their mirror image, so that the transpose
  // is not A itself.
  example::csr a = example::poisson(6);
  const std::int32_t n = a.rows;
  for (std::int32_t i = 0; i < n; ++i)
    for (std::int32_t k = a.row_ptr[i]; k < a.row_ptr[i + 1]; ++k)
      if (a.col_ind[k] != i) a.values[k] = -1.0 - 0.01 * i;

  // The input to sort: every row reversed.
  example::csr unsorted = a;
  for (std::int32_t i = 0; i < n; ++i)
    for (std::int32_t k = a.row_ptr[i], m = a.row_ptr[i + 1] - 1; k < a.row_ptr[i + 1]; ++k, --m) {
      unsorted.col_ind[k] = a.col_ind[m];
      unsorted.values[k] = a.values[m];
    }

  std::int32_t* row_ptr = example::shared_copy(q, unsorted.row_ptr);
  std::int32_t* col_ind = example::shared_copy(q, unsorted.col_ind);
  double* values = example::shared_copy(q, unsorted.values);
  vs::matrix_handle_t A = nullptr;
  vs::init_matrix_handle(&A);
  vs::set_csr_data(q, A, n, n, index_base::zero, row_ptr, col_ind, values).wait();
  vs::sort_matrix(q, A).wait();
  bool ok = true;
  for (std::size_t k = 0; k < a.col_ind.size(); ++k)
    ok = ok && col_ind[k] == a.col_ind[k] && values[k] == a.values[k];
  std::printf("sort_matrix: rows %s\n", ok ? "sorted, values kept with their columns" : "WRONG");

  // The expected transpose, by counting the entries of each column.
  example::csr t;
  t.rows = t.cols = n;
  t.row_ptr.assign(n + 1, 0);
  for (std::int32_t c : a.col_ind) ++t.row_ptr[c + 1];
  for (std::int32_t i = 0; i < n; ++i) t.row_ptr[i + 1] += t.row_ptr[i];
  t.col_ind.resize(a.col_ind.size());
  t.values.resize(a.values.size());
  std::vector<std::int32_t> next(t.row_ptr.begin(), t.row_ptr.end() - 1);
  for (std::int32_t i = 0; i < n; ++i)
    for (std::int32_t k = a.row_ptr[i]; k < a.row_ptr[i + 1]; ++k) {
      const std::int32_t at = next[a.col_ind[k]]++;
      t.col_ind[at] = i;
      t.values[at] = a.values[k];
    }

  // B's arrays start as sentinels: whatever omatcopy does not write shows.
  const std::size_t nnz = a.col_ind.size();
  std::int32_t* b_row_ptr = example::shared_copy(q, std::vector<std::int32_t>(n + 1, -1));
  std::int32_t* b_col_ind = example::shared_copy(q, std::vector<std::int32_t>(nnz, -1));
  double* b_values = example::shared_copy(q, std::vector<double>(nnz, std::nan("")));
  vs::matrix_handle_t B = nullptr;
  vs::init_matrix_handle(&B);
  vs::set_csr_data(q, B, n, n, index_base::zero, b_row_ptr, b_col_ind, b_values).wait();
  auto copied = vs::omatcopy(q, transpose::trans, A, B);
  vs::sort_matrix(q, B, {copied}).wait();
  bool same = true;
  for (std::int32_t i = 0; i <= n; ++i) same = same && b_row_ptr[i] == t.row_ptr[i];
  for (std::size_t k = 0; k < nnz; ++k)
    same = same && b_col_ind[k] == t.col_ind[k] && b_values[k] == t.values[k];
  std::printf("omatcopy(trans): %s\n", same ? "B is the transpose of A" : "WRONG");
  ok = ok && same;

  vs::release_matrix_handle(q, &B).wait();
  vs::release_matrix_handle(q, &A).wait();
  for (void* p : {(void*)row_ptr, (void*)col_ind, (void*)values, (void*)b_row_ptr, (void*)b_col_ind,
                  (void*)b_values})
    sycl::free(p, q);
  std::printf("%s\n", ok ? "PASS" : "FAIL");
  return ok ? 0 : 1;
}
