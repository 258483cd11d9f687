// The CPU backend of the analysis routines and the row sort: hints and optimisation of the host
// engine's matrix, and its in-place ordering of rows.
#pragma once

#include "cpu/entry_points.hpp"
#include "cpu/host_calls.hpp"

namespace orvane::vrt::sparse::cpu {

namespace detail {
// The number of calls each analysis announces to the host engine.
inline constexpr int gemv_expected_calls = 199;
inline constexpr int triangular_expected_calls = 100;

// One hint and the optimisation, each in a host task with its status mapped.
template <typename T, typename I, containerType C, typename Hint>
sycl::event hint_and_optimize(sycl::queue& queue, matrix_handle* A, const char* word,
                              const event_list& deps, Hint&& hint) {
  if (A->primary == nullptr) throw uninitialized("sparse", word, "Matrix is not initialized");
  std::vector<sycl::event> chain = deps;
  ensure_host_matrix<T, I, C>(queue, A, word, chain);
  host_matrix_t matrix = A->host_matrix;
  run_host_call<C>(queue, word, chain,
                   [&](sycl::handler&) { return [=] { return hint(matrix); }; });
  run_host_call<C>(queue, word, {},
                   [&](sycl::handler&) { return [=] { return engine<T, I>::optimize(matrix); }; });
  return sycl::event();
}
}  // namespace detail

template <typename T, typename I, containerType C>
sycl::event optimize_gemv_impl(sycl::queue& queue, transpose op, matrix_handle* A,
                               const event_list& deps) {
  const host_operation_t hop = host_operation(op, "optimize_gemv");
  // "optimze_gemv" is the routine's word in its messages as users know them: keep the spelling.
  return detail::hint_and_optimize<T, I, C>(queue, A, "optimze_gemv", deps, [=](host_matrix_t m) {
    return engine<T, I>::mv_hint(m, hop, general_descr(), detail::gemv_expected_calls);
  });
}

template <typename T, typename I, containerType C>
sycl::event optimize_trmv_impl(sycl::queue& queue, uplo ul, transpose op, diag dg, matrix_handle* A,
                               const event_list& deps) {
  const host_operation_t hop = host_operation(op, "optimize_trmv");
  const host_matrix_descr d = triangular_descr(ul, dg, "optimize_trmv");
  return detail::hint_and_optimize<T, I, C>(queue, A, "optimize_trmv", deps, [=](host_matrix_t m) {
    return engine<T, I>::mv_hint(m, hop, d, detail::triangular_expected_calls);
  });
}

template <typename T, typename I, containerType C>
sycl::event optimize_trsv_impl(sycl::queue& queue, uplo ul, transpose op, diag dg, matrix_handle* A,
                               const event_list& deps) {
  const host_operation_t hop = host_operation(op, "optimize_trsv");
  const host_matrix_descr d = triangular_descr(ul, dg, "optimize_trsv");
  return detail::hint_and_optimize<T, I, C>(queue, A, "optimize_trsv", deps, [=](host_matrix_t m) {
    return engine<T, I>::sv_hint(m, hop, d, detail::triangular_expected_calls);
  });
}

template <typename T, typename I, containerType C>
sycl::event optimize_trsm_impl(sycl::queue& queue, layout lay, uplo ul, transpose op, diag dg,
                               matrix_handle* A, std::int64_t columns, const event_list& deps) {
  if (A->primary != nullptr && A->primary->format != format_csr)
    throw unimplemented("sparse", "optimize_trsm",
                        "currently only supports the CSR matrix format on CPU devices");
  const host_operation_t hop = host_operation(op, "optimize_trsm");
  const host_matrix_descr d = triangular_descr(ul, dg, "optimize_trsm");
  const host_layout_t hl = host_layout(lay, "optimize_trsm");
  const I n = static_cast<I>(columns < 0 ? 1 : columns);
  return detail::hint_and_optimize<T, I, C>(queue, A, "optimize_trsm", deps, [=](host_matrix_t m) {
    return engine<T, I>::sm_hint(m, hop, d, hl, n, detail::triangular_expected_calls);
  });
}

template <typename T, typename I, containerType C>
sycl::event sort_matrix_impl(sycl::queue& queue, matrix_handle* A, const event_list& deps) {
  sparseStructure* s = A->primary;
  if (s->format == format_coo)
    throw unimplemented("sparse", "sort_matrix",
                        "Sorting COO matrix format is currently not supported with this API");
  if (s->format != format_csr)
    throw unimplemented("sparse", "sort_matrix",
                        "currently only supports the CSR matrix format on CPU devices");
  std::vector<sycl::event> chain = deps;
  ensure_host_matrix<T, I, C>(queue, A, "sort_matrix", chain);
  host_matrix_t matrix = A->host_matrix;
  run_host_call<C>(queue, "sort_matrix", chain,
                   [&](sycl::handler&) { return [=] { return engine<T, I>::do_order(matrix); }; });
  s->sorted = 1;
  return sycl::event();
}

}  // namespace orvane::vrt::sparse::cpu

#define VRT_INSTANTIATE_CPU_ANALYSIS(T, I, C)                                                      \
  namespace orvane::vrt::sparse::cpu {                                                             \
  template sycl::event optimize_gemv_impl<T, I, C>(sycl::queue&, transpose, matrix_handle*,        \
                                                   const event_list&);                             \
  template sycl::event optimize_trmv_impl<T, I, C>(sycl::queue&, uplo, transpose, diag,            \
                                                   matrix_handle*, const event_list&);             \
  template sycl::event optimize_trsv_impl<T, I, C>(sycl::queue&, uplo, transpose, diag,            \
                                                   matrix_handle*, const event_list&);             \
  template sycl::event optimize_trsm_impl<T, I, C>(sycl::queue&, layout, uplo, transpose, diag,    \
                                                   matrix_handle*, std::int64_t,                   \
                                                   const event_list&);                             \
  template sycl::event sort_matrix_impl<T, I, C>(sycl::queue&, matrix_handle*, const event_list&); \
  }
