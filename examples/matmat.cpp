// The staged sparse product C = A * A on a CPU queue, in each order of requests the library
// accepts. C's row pointer is bound up front; its column indices (and values) are bound once
// get_nnz has told how many entries C has. Passing no temporary buffer lets the library hold
// its own work space between stages.
#include <map>
#include <orvane/vrt/sparse.hpp>
#include <utility>

#include "example_support.hpp"

namespace vs = orvane::vrt::sparse;
using orvane::vrt::index_base;
using orvane::vrt::transpose;
using request = vs::matmat_request;

int main() {
  sycl::queue q{sycl::cpu_selector_v};
  const example::csr a = example::poisson(5);
  const std::int32_t n = a.rows;

  // The expected product, entry by entry, from the definition.
  std::map<std::pair<std::int32_t, std::int32_t>, double> want;
  for (std::int32_t i = 0; i < n; ++i)
    for (std::int32_t k = a.row_ptr[i]; k < a.row_ptr[i + 1]; ++k) {
      const std::int32_t m = a.col_ind[k];
      for (std::int32_t l = a.row_ptr[m]; l < a.row_ptr[m + 1]; ++l)
        want[{i, a.col_ind[l]}] += a.values[k] * a.values[l];
    }

  std::int32_t* row_ptr = example::shared_copy(q, a.row_ptr);
  std::int32_t* col_ind = example::shared_copy(q, a.col_ind);
  double* values = example::shared_copy(q, a.values);
  vs::matrix_handle_t A = nullptr;
  vs::init_matrix_handle(&A);
  vs::set_csr_data(q, A, n, n, index_base::zero, row_ptr, col_ind, values).wait();

  vs::matmat_descr_t descr = nullptr;
  vs::init_matmat_descr(&descr);
  vs::set_matmat_data(descr, vs::matrix_view_descr::general, transpose::nontrans,
                      vs::matrix_view_descr::general, transpose::nontrans,
                      vs::matrix_view_descr::general);
  std::int64_t* size = sycl::malloc_shared<std::int64_t>(1, q);

  bool ok = true;
  for (int order = 1; order <= 2; ++order) {
    vs::matrix_handle_t C = nullptr;
    vs::init_matrix_handle(&C);
    std::int32_t* c_row_ptr = sycl::malloc_shared<std::int32_t>(n + 1, q);
    std::int32_t* c_col_ind = nullptr;
    double* c_values = nullptr;
    vs::set_csr_data(q, C, n, n, index_base::zero, c_row_ptr, c_col_ind, c_values).wait();
    auto run = [&](request r) { vs::matmat(q, A, A, C, r, descr, size, nullptr).wait(); };
    // The size argument carries each stage's answer: keep C's entry count apart.
    std::int64_t nnz = 0;
    auto bind = [&](bool with_values) {
      run(request::get_nnz);
      nnz = *size;
      c_col_ind = sycl::malloc_shared<std::int32_t>(nnz, q);
      if (with_values) c_values = sycl::malloc_shared<double>(nnz, q);
      vs::set_csr_data(q, C, n, n, index_base::zero, c_row_ptr, c_col_ind, c_values).wait();
    };

    run(request::get_work_estimation_buf_size);
    run(request::work_estimation);
    if (order == 1) {
      // Structure and values in one pass.
      run(request::get_compute_buf_size);
      run(request::compute);
      bind(true);
      run(request::finalize);
    } else {
      // The structure first (to size C's arrays once), then the values into it.
      run(request::get_compute_structure_buf_size);
      run(request::compute_structure);
      bind(false);
      run(request::finalize_structure);
      run(request::get_compute_buf_size);
      run(request::compute);
      c_values = sycl::malloc_shared<double>(nnz, q);
      vs::set_csr_data(q, C, n, n, index_base::zero, c_row_ptr, c_col_ind, c_values).wait();
      run(request::finalize);
    }

    // Every stored entry must be an expected one, and every expected one stored.
    std::map<std::pair<std::int32_t, std::int32_t>, double> got;
    for (std::int32_t i = 0; i < n; ++i)
      for (std::int32_t k = c_row_ptr[i]; k < c_row_ptr[i + 1]; ++k)
        got[{i, c_col_ind[k]}] += c_values[k];
    bool same = got.size() == want.size();
    for (const auto& [place, v] : want) {
      auto it = got.find(place);
      same = same && it != got.end() && std::fabs(it->second - v) <= 1e-13 * 20.0;
    }
    std::printf("matmat, order %d: C has %zu entries, %s\n", order, got.size(),
                same ? "as expected" : "NOT as expected");
    ok = ok && same;
    vs::release_matrix_handle(q, &C).wait();
    for (void* p : {(void*)c_row_ptr, (void*)c_col_ind, (void*)c_values}) sycl::free(p, q);
  }

  sycl::free(size, q);
  vs::release_matmat_descr(&descr);
  vs::release_matrix_handle(q, &A).wait();
  for (void* p : {(void*)row_ptr, (void*)col_ind, (void*)values}) sycl::free(p, q);
  std::printf("%s\n", ok ? "PASS" : "FAIL");
  return ok ? 0 : 1;
}
