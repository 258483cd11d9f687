// Public routines that exist once for all variants: analysis, sorting and copies.
#include <orvane/vrt/sparse.hpp>

#include "common/internal_error.hpp"
#include "cpu/entry_points.hpp"
#include "gpu/entry_points.hpp"
#include "gpu/triangular/analysis/symmetric.hpp"
#include "handle/caller_arrays.hpp"
#include "interface/dispatch.hpp"
#include "interface/frame.hpp"

namespace orvane::vrt::sparse {

namespace {
// The frame of the optimize_* routines: pointer, fp64, context, and the wait that stands in for
// deps on a buffer handle.
void optimize_frame(sycl::queue& queue, matrix_handle* A, const event_list& deps,
                    const char* function) {
  require_present(function, {{present(A), "hMatrix"}});
  verify_double_support_for(queue, A, function);
  cache_context(queue, A);
  wait_for_buffer_handle_deps(queue, A, deps);
  check_bound_arrays(queue, A, function, deps);
}

bool single_precision(const matrix_handle* h) { return !is_double_precision(h->fp_type); }

// The explicit transpose of src into dst, chosen by src's types.
sycl::event dispatch_make_transpose(sycl::queue& queue, transpose op, matrix_handle* src,
                                    matrix_handle* dst, const event_list& deps) {
  const bool on_cpu = queue.get_device().is_cpu();
  return visit_variant(
      src, {.function = "omatcopy"}, [&]<typename T, typename I, containerType C>() {
        return on_cpu ? cpu::make_transpose_impl<T, I, C>(queue, op, src, dst, deps)
                      : gpu::make_transpose_impl<T, I, C>(queue, op, src, dst, deps);
      });
}
}  // namespace

sycl::event dispatch_optimize_gemv(sycl::queue& q, transpose op, matrix_handle* A,
                                   const event_list& deps) {
  const bool on_cpu = q.get_device().is_cpu();
  return visit_variant(A, {.function = "optimize_gemv"},
                       [&]<typename T, typename I, containerType C>() {
                         return on_cpu ? cpu::optimize_gemv_impl<T, I, C>(q, op, A, deps)
                                       : gpu::optimize_gemv_impl<T, I, C>(q, op, A, deps);
                       });
}

sycl::event dispatch_optimize_trmv(sycl::queue& q, uplo ul, transpose op, diag dg, matrix_handle* A,
                                   const event_list& deps) {
  const bool on_cpu = q.get_device().is_cpu();
  return visit_variant(A, {.function = "optimize_trmv"},
                       [&]<typename T, typename I, containerType C>() {
                         return on_cpu ? cpu::optimize_trmv_impl<T, I, C>(q, ul, op, dg, A, deps)
                                       : gpu::optimize_trmv_impl<T, I, C>(q, ul, op, dg, A, deps);
                       });
}

sycl::event dispatch_optimize_trsv(sycl::queue& q, uplo ul, transpose op, diag dg, matrix_handle* A,
                                   const event_list& deps) {
  const bool on_cpu = q.get_device().is_cpu();
  // The triangular analysis refuses an unset index type as unimplemented, under the word users
  // know from that message.
  const visit_policy policy{.function = "optimize_trsv",
                            .unset_index = on_unset::unimplemented,
                            .index_function = "optimized_trsv"};
  return visit_variant(A, policy, [&]<typename T, typename I, containerType C>() {
    return on_cpu ? cpu::optimize_trsv_impl<T, I, C>(q, ul, op, dg, A, deps)
                  : gpu::optimize_trsv_impl<T, I, C>(q, ul, op, dg, A, deps);
  });
}

sycl::event dispatch_make_symmetric(sycl::queue& q, uplo ul, matrix_handle* src, matrix_handle* dst,
                                    const event_list& deps) {
  const visit_policy policy{.function = "", .unset_index = on_unset::unimplemented};
  return visit_variant(src, policy, [&]<typename T, typename I, containerType C>() {
    return gpu::symmetric_impl<T, I, C>(q, ul, src, dst, deps);
  });
}

sycl::event dispatch_optimize_trsm(sycl::queue& q, layout lay, uplo ul, transpose op, diag dg,
                                   matrix_handle* A, std::int64_t columns, const event_list& deps) {
  const bool on_cpu = q.get_device().is_cpu();
  const visit_policy policy{.function = "optimize_trsm", .index_function = "optimized_trsm"};
  return visit_variant(A, policy, [&]<typename T, typename I, containerType C>() {
    return on_cpu ? cpu::optimize_trsm_impl<T, I, C>(q, lay, ul, op, dg, A, columns, deps)
                  : gpu::optimize_trsm_impl<T, I, C>(q, lay, ul, op, dg, A, columns, deps);
  });
}

sycl::event dispatch_sort_matrix(sycl::queue& q, matrix_handle* A, const event_list& deps) {
  const bool on_cpu = q.get_device().is_cpu();
  return visit_variant(A, {.function = "sort_matrix"},
                       [&]<typename T, typename I, containerType C>() {
                         return on_cpu ? cpu::sort_matrix_impl<T, I, C>(q, A, deps)
                                       : gpu::sort_matrix_impl<T, I, C>(q, A, deps);
                       });
}

sycl::event dispatch_omatcopy(sycl::queue& q, transpose op, matrix_handle* A, matrix_handle* B,
                              const event_list& deps) {
  // Both handles' index types are tested before they are compared.
  if (A->int_type == int_unset || B->int_type == int_unset)
    throw invalid_argument("sparse", "omatcopy", unset_index_message);
  if (A->int_type != B->int_type || A->fp_type != B->fp_type || A->container != B->container)
    throw invalid_argument("sparse", "omatcopy",
                           "integer, floating point, and USM/sycl::buffer types must match "
                           "between matrix handles");
  if (op != transpose::nontrans) return dispatch_make_transpose(q, op, A, B, deps);
  const bool on_cpu = q.get_device().is_cpu();
  return visit_variant(A, {.function = "omatcopy"}, [&]<typename T, typename I, containerType C>() {
    return on_cpu ? cpu::omatcopy_impl<T, I, C>(q, op, A, B, deps)
                  : gpu::omatcopy_impl<T, I, C>(q, op, A, B, deps);
  });
}

namespace {
// Runs one recorded analysis; the record is kept once the call has been accepted.
sycl::event run_analysis(sycl::queue& q, matrix_handle* A, const analysis_record& r,
                         const event_list& deps) {
  switch (r.routine) {
    case analysis_gemv:
      return dispatch_optimize_gemv(q, r.op, A, deps);
    case analysis_trmv:
      return dispatch_optimize_trmv(q, r.triangle, r.op, r.diagonal, A, deps);
    case analysis_trsv:
      return dispatch_optimize_trsv(q, r.triangle, r.op, r.diagonal, A, deps);
    case analysis_trsm:
      return dispatch_optimize_trsm(q, r.dense_layout, r.triangle, r.op, r.diagonal, A, r.columns,
                                    deps);
  }
  internal_error("");
}

sycl::event analyse(sycl::queue& q, matrix_handle* A, const analysis_record& r,
                    const event_list& deps) {
  sycl::event done = run_analysis(q, A, r, deps);
  remember_analysis(A, r);
  return done;
}
}  // namespace

void replay_analyses(sycl::queue& queue, matrix_handle* A, const event_list& deps) {
  if (A == nullptr || !A->analyses_to_replay) return;
  // Cleared first: an analysis the new arrays refuse is reported once, not by every later call.
  A->analyses_to_replay = false;
  for (const analysis_record* r = A->analyses; r != nullptr; r = r->next)
    run_analysis(queue, A, *r, deps).wait();
}

sycl::event optimize_gemv(sycl::queue& q, transpose op, matrix_handle_t A, const event_list& deps) {
  optimize_frame(q, A, deps, "optimize_gemv");
  return analyse(q, A, {.routine = analysis_gemv, .op = op}, deps);
}

sycl::event optimize_trmv(sycl::queue& q, uplo ul, transpose op, diag dg, matrix_handle_t A,
                          const event_list& deps) {
  optimize_frame(q, A, deps, "optimize_trmv");
  return analyse(q, A, {.routine = analysis_trmv, .op = op, .triangle = ul, .diagonal = dg}, deps);
}

sycl::event optimize_trsv(sycl::queue& q, uplo ul, transpose op, diag dg, matrix_handle_t A,
                          const event_list& deps) {
  optimize_frame(q, A, deps, "optimize_trsv");
  return analyse(q, A, {.routine = analysis_trsv, .op = op, .triangle = ul, .diagonal = dg}, deps);
}

sycl::event optimize_trsm(sycl::queue& q, uplo ul, transpose op, diag dg, matrix_handle_t A,
                          const event_list& deps) {
  optimize_frame(q, A, deps, "optimize_trsm");
  return analyse(q, A,
                 {.routine = analysis_trsm,
                  .op = op,
                  .triangle = ul,
                  .diagonal = dg,
                  .dense_layout = layout::row_major,
                  .columns = -1},
                 deps);
}

sycl::event optimize_trsm(sycl::queue& q, layout lay, uplo ul, transpose op, diag dg,
                          matrix_handle_t A, std::int64_t columns, const event_list& deps) {
  optimize_frame(q, A, deps, "optimize_trsm");
  return analyse(q, A,
                 {.routine = analysis_trsm,
                  .op = op,
                  .triangle = ul,
                  .diagonal = dg,
                  .dense_layout = lay,
                  .columns = columns},
                 deps);
}

sycl::event sort_matrix(sycl::queue& q, matrix_handle_t A, const event_list& deps) {
  if (A == nullptr) throw uninitialized("sparse", "sort_matrix", "");
  if (!single_precision(A)) verify_double_support(q, "sort_matrix");
  cache_context(q, A);
  if (A->primary == nullptr || (A->container != container_buffer && A->container != container_usm))
    throw unimplemented("sparse", "sort_matrix",
                        "set_csr_data must be called before calling sort_matrix");
  check_bound_arrays(q, A, "sort_matrix", deps);
  return dispatch_sort_matrix(q, A, deps);
}

sycl::event omatcopy(sycl::queue& q, transpose op, matrix_handle_t A, matrix_handle_t B,
                     const event_list& deps) {
  if (A == nullptr || B == nullptr) throw uninitialized("sparse", "omatcopy", "");
  if (!(single_precision(A) && single_precision(B))) verify_double_support(q, "omatcopy");
  cache_context(q, A);
  cache_context(q, B);
  check_bound_arrays(q, A, "omatcopy", deps);
  return dispatch_omatcopy(q, op, A, B, deps);
}

}  // namespace orvane::vrt::sparse
