// optimize_trmv on the device: the strict triangle of one side as a structure of its own (from
// the sorted rows and their diagonal positions), its row statistics and its plan: the vector
// kernel, or the merge path with its partition.
#pragma once

#include <cmath>
#include <cstdint>
#include <orvane/vrt/sparse.hpp>
#include <vector>

#include "containers/containers.hpp"
#include "gpu/entry_points.hpp"
#include "gpu/format/sort_launch.hpp"
#include "gpu/mv/csr/matrix_analysis_launch.hpp"
#include "gpu/mv/csr/merge_partition_launch.hpp"
#include "gpu/sub_group_check.hpp"
#include "gpu/triangular/analysis/diag_data.hpp"
#include "gpu/triangular/design_names.hpp"
#include "gpu/triangular/triangle_side.hpp"
#include "gpu/triangular/trmv/strict_triangle_copy_launch.hpp"
#include "gpu/triangular/trmv/trmv_plan.hpp"
#include "handle/coalesce_events.hpp"
#include "handle/gemv_data.hpp"
#include "handle/handle.hpp"
#include "handle/nnz.hpp"
#include "handle/release.hpp"

namespace orvane::vrt::sparse::gpu {

namespace detail {

// The four merge-path arrays of the triangle's plan, all or none: false when one is missing.
template <typename T, typename I, containerType C>
bool allocate_trmv_merge_arrays(sycl::queue& queue, std::int32_t parts, gemvInternalData* plan) {
  const auto n = static_cast<std::size_t>(parts);
  void* rows = allocate_device_container<I>(n + 1, queue, C);
  void* nnz = allocate_device_container<I>(n + 1, queue, C);
  void* carry_rows = allocate_device_container<I>(n, queue, C);
  void* carry_values = allocate_device_container<T>(n, queue, C);
  if (rows == nullptr || nnz == nullptr || carry_rows == nullptr || carry_values == nullptr) {
    if (rows != nullptr) deallocate_container<I>(rows, queue, C);
    if (nnz != nullptr) deallocate_container<I>(nnz, queue, C);
    if (carry_rows != nullptr) deallocate_container<I>(carry_rows, queue, C);
    if (carry_values != nullptr) deallocate_container<T>(carry_values, queue, C);
    return false;
  }
  plan->partition_rows = rows;
  plan->partition_nnz = nnz;
  plan->carry_rows = carry_rows;
  plan->carry_values = carry_values;
  plan->num_partitions = parts;
  return true;
}

// A triangle rebuilt by a later call drops the arrays of the one before; the work that may still
// read them is finished first.
template <typename T, typename I, containerType C>
void drop_triangle_arrays(sycl::queue& queue, sparseStructure* t) {
  if (!t->owns_arrays || t->row_ptr == nullptr) return;
  queue.wait();
  deallocate_container<I>(t->row_ptr, queue, C);
  deallocate_container<I>(t->col_ind, queue, C);
  deallocate_container<T>(t->values, queue, C);
  t->row_ptr = t->col_ind = t->values = nullptr;
}

// Measures triangle t and writes its plan; events still to wait for go to deps.
template <typename T, typename I, containerType C>
void plan_trmv(sycl::queue& queue, uplo which, sparseStructure* t, event_list& deps) {
  const char* const word = triangular_names::optimize_trmv;
  gemvInternalData* plan = t->gemv_data;
  sycl::event counted = set_nnz_value(queue, t, deps);
  deps.push_back(counted);
  counted.wait();
  // No rows, no statistics: the mean row length would divide by zero.
  if (t->nrows == 0) {
    csr::apply_preset(plan, trmv_vector_preset(0));
    return;
  }
  const std::int64_t avg_ceil = (t->nnz + t->nrows - 1) / t->nrows;
  if (!csr::compute_matrix_property_data<I, C, kernels::optimize_trmv_mat_analysis_kernel<I, C>>(
          queue, t->nrows, t->ncols, t->nnz, as_container<C, I>(t->row_ptr), plan, deps))
    throw device_bad_alloc("sparse", word, queue.get_device());
  const trmv_row_facts facts{plan->avg_row_nnz, plan->row_nnz_stddev, plan->row_spread_ratio};
  const deviceInternalData* device = plan->device_data;
  const std::int32_t sub_group = trmv_merge_sub_group(device->architecture);
  // Without its sub-group size on the device, as without its arrays, the merge path gives way
  // to the vector kernel.
  if (trmv_wants_merge_path(which, facts) &&
      sub_group_offer::of(queue.get_device()).has(sub_group)) {
    const std::int32_t parts =
        trmv_merge_partitions(t->nrows, t->nnz, device->hw_thread_count, sub_group);
    // Without its four arrays the merge path gives way to the vector kernel.
    if (allocate_trmv_merge_arrays<T, I, C>(queue, parts, plan)) {
      deps.push_back(
          csr::prepare_merge_path_mv_opt<I, C, kernels::optimize_trmv_find_merge_path_kernel<I, C>>(
              queue, {t->nrows, t->ncols, t->nnz}, as_container<C, I>(t->row_ptr), I(0), plan,
              deps));
      csr::apply_preset(plan, trmv_merge_preset(sub_group));
      return;
    }
  }
  csr::apply_preset(plan, trmv_vector_preset(avg_ceil));
}

}  // namespace detail

template <typename T, typename I, containerType C>
sycl::event optimize_trmv_impl(sycl::queue& queue, uplo which, transpose op, diag, matrix_handle* A,
                               const event_list& deps) {
  namespace names = triangular_names;
  const char* const word = names::optimize_trmv;
  if (!is_uplo(which)) throw invalid_argument("sparse", word, names::uplo_flag);
  if (op != transpose::nontrans) throw unimplemented("sparse", word, names::nontrans_only);
  if (A->primary == nullptr) throw uninitialized("sparse", word, names::not_initialized);
  if (A->primary->format != format_csr) throw unimplemented("sparse", word, names::csr_only_on_gpu);
  event_list events(deps.begin(), deps.end());
  sparseStructure* sorted = A->primary;
  if (sorted->sorted != 1) {
    if (A->sorted_copy == nullptr)
      chain_event<C>(events, kernels::copy_and_sort_csr<T, I, C>(
                                 queue, sorted, reinterpret_cast<void**>(&A->sorted_copy), deps));
    sorted = A->sorted_copy;
  }
  chain_event<C>(events, diagData_impl<T, I, C>(queue, sorted, &A->diag_values, true,
                                                &A->diag_struct, events));
  sparseStructure** slot = which == uplo::upper ? &A->upper_triangle : &A->lower_triangle;
  if (*slot == nullptr)
    initSparseStructure(reinterpret_cast<void**>(slot));
  else
    detail::drop_triangle_arrays<T, I, C>(queue, *slot);
  sparseStructure* t = *slot;
  sycl::event copied;
  try {
    copied = triangularData_impl<T, I, C>(queue, which, sorted, t, A->diag_struct, events);
  } catch (...) {
    // A triangle without its arrays must not look planned to trmv: the slot empties, and the
    // product runs on the full rows until an analysis succeeds.
    const sycl::context context = queue.get_context();
    sparseStructureRelease<T, I, C>(reinterpret_cast<void**>(slot), &context);
    throw;
  }
  chain_event<C>(events, copied);
  if (t->gemv_data == nullptr) initGemvInternalData(&t->gemv_data);
  if (!t->gemv_data->cached) cache_gemv_internals(queue, t->gemv_data);
  if (t->gemv_data->optimized) return copied;
  t->gemv_data->optimized = 1;
  detail::plan_trmv<T, I, C>(queue, which, t, events);
  return coalesce_events(queue, C, events, false);
}

}  // namespace orvane::vrt::sparse::gpu

#define VRT_INSTANTIATE_GPU_OPTIMIZE_TRMV(T, I, C)                                      \
  namespace orvane::vrt::sparse::gpu {                                                  \
  template sycl::event optimize_trmv_impl<T, I, C>(sycl::queue&, uplo, transpose, diag, \
                                                   matrix_handle*, const event_list&);  \
  }
