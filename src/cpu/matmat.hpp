// The staged sparse product on a CPU queue: the host engine's product kept in C's host matrix,
// its arrays copied into C's bound arrays by the finalize requests.
#pragma once

#include <algorithm>

#include "cpu/entry_points.hpp"
#include "cpu/host_calls.hpp"
#include "handle/matmat_descr.hpp"
#include "handle/visit_variant.hpp"

namespace orvane::vrt::sparse::cpu {

namespace detail {

// The engine's stage for the computing matmat requests: every request the engine has no stage
// of its own for runs the full product.
inline host_request_t host_request(matmat_request r) {
  switch (r) {
    case matmat_request::work_estimation:
      return HOST_REQUEST_WORK_ESTIMATE;
    case matmat_request::compute_structure:
      return HOST_REQUEST_NNZ_COUNT;
    case matmat_request::compute:
      return HOST_REQUEST_FINALIZE_MULT;
    default:
      return HOST_REQUEST_FULL_MULT;
  }
}

// Writes one 64-bit value into the caller's size variable in a host task.
template <containerType C>
void write_size(sycl::queue& queue, container_t<C, std::int64_t> size, std::int64_t value,
                const std::vector<sycl::event>& deps) {
  if constexpr (C == container_usm) {
    if (size == nullptr) throw invalid_argument("sparse", "matmat", "sizeTempBuffer");
  }
  run_host_call<C>(queue, "matmat", deps, [&](sycl::handler& h) {
    auto out = bind(h, size, sycl::write_only);
    return [=]() -> sparse_status_t {
      raw(out)[0] = value;
      return SPARSE_STATUS_SUCCESS;
    };
  });
}

// Copies the product's arrays into C's bound arrays, moving the indices to C's base.
template <typename T, typename I, containerType C>
void export_product(sycl::queue& queue, matrix_handle* Cm, bool with_values) {
  sparseStructure* s = Cm->primary;
  host_matrix_t product = Cm->host_matrix;
  const I target_base = s->index != 0 ? 1 : 0;
  const std::int64_t rows = s->nrows;
  // The count first: a failure after the copy would leave C's arrays written by a refused call.
  I count = 0;
  throw_for_status(engine<T, I>::get_nnz(product, &count), "matmat");
  run_host_call<C>(queue, "matmat", {}, [&](sycl::handler& h) -> std::function<sparse_status_t()> {
    auto rp = bind(h, as_container<C, I>(s->row_ptr), sycl::write_only);
    auto copy_structure = [=](I* row_ptr, I* col_ind, T* values) -> sparse_status_t {
      int base = 0;
      I prows = 0, pcols = 0, *starts = nullptr, *ends = nullptr, *cols = nullptr;
      T* vals = nullptr;
      sparse_status_t status =
          engine<T, I>::export_csr(product, &base, &prows, &pcols, &starts, &ends, &cols, &vals);
      if (status != SPARSE_STATUS_SUCCESS) return status;
      if (prows != rows) return SPARSE_STATUS_INVALID_VALUE;
      const I delta = target_base - static_cast<I>(base);
      for (std::int64_t i = 0; i <= rows; ++i)
        row_ptr[i] = (i < rows ? starts[i] : ends[rows - 1]) + delta;
      const I count = rows > 0 ? ends[rows - 1] - starts[0] : 0;
      if (col_ind != nullptr)
        for (I k = 0; k < count; ++k) col_ind[k] = cols[k] + delta;
      if (values != nullptr) std::copy(vals, vals + count, values);
      return SPARSE_STATUS_SUCCESS;
    };
    if (s->col_ind == nullptr) return [=] { return copy_structure(raw(rp), nullptr, nullptr); };
    auto ci = bind(h, as_container<C, I>(s->col_ind), sycl::write_only);
    if (!with_values || s->values == nullptr)
      return [=] { return copy_structure(raw(rp), raw(ci), nullptr); };
    auto va = bind(h, as_container<C, T>(s->values), sycl::write_only);
    return [=] { return copy_structure(raw(rp), raw(ci), raw(va)); };
  });
  s->nnz = count;
}

template <typename T, typename I, containerType C>
sycl::event product_request(sycl::queue& queue, matrix_handle* A, matrix_handle* B,
                            matrix_handle* Cm, matmat_request request, matmat_descr* descr,
                            container_t<C, std::int64_t> size,
                            const std::vector<sycl::event>& deps) {
  std::vector<sycl::event> chain = deps;
  switch (request) {
    case matmat_request::get_work_estimation_buf_size:
    case matmat_request::get_compute_structure_buf_size:
    case matmat_request::get_compute_buf_size:
      // The host engine keeps its own workspace: the caller supplies none.
      write_size<C>(queue, size, 0, chain);
      return sycl::event();
    case matmat_request::work_estimation:
    case matmat_request::compute_structure:
    case matmat_request::compute: {
      ensure_host_matrix<T, I, C>(queue, A, "matmat", chain);
      ensure_host_matrix<T, I, C>(queue, B, "matmat", chain);
      const host_operation_t op_a = host_operation(descr->op_a, "matmat", "opA");
      const host_operation_t op_b = host_operation(descr->op_b, "matmat", "opB");
      host_matrix_t a = A->host_matrix, b = B->host_matrix;
      host_matrix_t* product = &Cm->host_matrix;
      const host_request_t hr = host_request(request);
      run_host_call<C>(queue, "matmat", chain, [&](sycl::handler&) {
        return [=] {
          return engine<T, I>::sp2m(op_a, general_descr(), a, op_b, general_descr(), b, hr,
                                    product);
        };
      });
      Cm->host_matrix_is_product = true;
      return sycl::event();
    }
    case matmat_request::get_nnz: {
      if (Cm->host_matrix == nullptr)
        throw unimplemented("sparse", "matmat",
                            "nnz is not ready to be retrieved, please call matmat API with "
                            "matmat_request::compute or matmat_request::compute_structure first");
      I count = 0;
      throw_for_status(engine<T, I>::get_nnz(Cm->host_matrix, &count), "matmat");
      write_size<C>(queue, size, count, chain);
      return sycl::event();
    }
    case matmat_request::finalize_structure:
    case matmat_request::finalize:
      if (Cm->host_matrix == nullptr)
        throw computation_error(
            "sparse", "matmat",
            request == matmat_request::finalize
                ? "It appears you have not called matmat compute stage before finalize stage"
                : "It appears you have not called matmat compute or compute_structure stage before "
                  "finalize_structure stage");
      for (auto& e : chain) e.wait();
      export_product<T, I, C>(queue, Cm, request == matmat_request::finalize);
      return sycl::event();
  }
  throw invalid_argument("sparse", "matmat", "invalid matmat request");
}

}  // namespace detail

template <typename I, containerType C>
sycl::event matmat_impl(sycl::queue& queue, matrix_handle* A, matrix_handle* B, matrix_handle* Cm,
                        matmat_request request, matmat_descr* descr,
                        container_t<C, std::int64_t> size, container_t<C, std::uint8_t>,
                        const std::vector<sycl::event>& deps) {
  for (matrix_handle* h : {A, B, Cm})
    if (h == nullptr || h->primary == nullptr)
      throw uninitialized("sparse", "matmat", "One of the matrices is not initialized");
  for (matrix_handle* h : {A, B, Cm})
    if (h->primary->format != format_csr)
      throw unimplemented("sparse", "matmat",
                          "currently only supports the CSR matrix format on CPU devices");
  const int r = static_cast<int>(request);
  if (r < 1 || r > 9) throw invalid_argument("sparse", "matmat", "invalid matmat request");
  return visit_value_type(
      A->fp_type,
      [&]<typename T>() {
        return detail::product_request<T, I, C>(queue, A, B, Cm, request, descr, size, deps);
      },
      // The frame refuses other value types before the backend is reached.
      []() -> sycl::event {
        throw unimplemented("sparse", "matmat", unsupported_value_type_message);
      });
}

}  // namespace orvane::vrt::sparse::cpu
