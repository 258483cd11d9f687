// optimize_gemv on the device: measure the structure that the operation will run on once, and
// write the kernel family and its parameters (and, for the merge path, the partition) into its
// gemv plan.
#pragma once

#include <cstdint>
#include <orvane/vrt/sparse.hpp>
#include <vector>

#include "containers/containers.hpp"
#include "gpu/entry_points.hpp"
#include "gpu/format/select_transposed.hpp"
#include "gpu/mv/csr/matrix_analysis_launch.hpp"
#include "gpu/mv/csr/merge_partition_launch.hpp"
#include "gpu/mv/csr/optimize_gemv_plan.hpp"
#include "gpu/mv/design_names.hpp"
#include "handle/coalesce_events.hpp"
#include "handle/handle.hpp"
#include "handle/nnz.hpp"

namespace orvane::vrt::sparse::gpu {

namespace detail {

// The four merge-path arrays, all or none: false when one cannot be allocated.
template <typename T, typename I, containerType C>
bool allocate_merge_arrays(sycl::queue& queue, std::int32_t parts, gemvInternalData* plan) {
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

// Writes a choice into the structure's plan: the merge path when its four arrays can be had
// (its partition search goes to deps), else the row plan of the choice.
template <typename T, typename I, containerType C>
void store_choice(sycl::queue& queue, sparseStructure* A, const csr::gemv_choice& choice,
                  event_list& deps) {
  gemvInternalData* plan = A->gemv_data;
  if (choice.merge && allocate_merge_arrays<T, I, C>(queue, choice.partitions, plan)) {
    deps.push_back(csr::prepare_merge_path_mv_opt<I, C>(
        queue, {A->nrows, A->ncols, A->nnz}, as_container<C, I>(A->row_ptr),
        static_cast<I>(A->index != 0 ? 1 : 0), plan, deps));
    csr::apply_preset(plan, csr::opt_code_6_merge);
    return;
  }
  csr::apply_preset(plan, choice.preset);
}

// Measures a CSR structure and writes its plan; events still to wait for go to deps.
template <typename T, typename I, containerType C>
void plan_csr_gemv(sycl::queue& queue, sparseStructure* A, event_list& deps) {
  gemvInternalData* plan = A->gemv_data;
  sycl::event counted = set_nnz_value(queue, A, deps);
  deps.push_back(counted);
  counted.wait();
  // No rows, no statistics: the mean row length would divide by zero. The plan stays as cached.
  if (A->nrows == 0) return;
  if (!csr::compute_matrix_property_data<I, C>(queue, A->nrows, A->ncols, A->nnz,
                                               as_container<C, I>(A->row_ptr), plan, deps))
    throw device_bad_alloc("sparse", mv_words::optimize_gemv, queue.get_device());
  const csr::gemv_matrix_facts matrix{
      A->nrows, A->ncols, A->nnz, plan->avg_row_nnz, plan->row_nnz_stddev, plan->row_spread_ratio};
  const deviceInternalData* device = plan->device_data;
  const csr::gemv_device_facts facts{device->architecture, device->tile_count,
                                     device->hw_thread_count};
  store_choice<T, I, C>(
      queue, A,
      csr::choose_optimized_plan<T, I>(matrix, facts, sub_group_offer::of(queue.get_device())),
      deps);
}

}  // namespace detail

template <typename T, typename I, containerType C>
sycl::event optimize_gemv_impl(sycl::queue& queue, transpose op, matrix_handle* A,
                               const event_list& deps) {
  sparseStructure* structure = nullptr;
  event_list new_deps;
  do_transpose_and_select_sparse_struct<T, I, C>(queue, op, A, &structure, deps, new_deps);
  if (structure == nullptr)
    throw uninitialized("sparse", mv_words::optimize_gemv, mv_words::not_initialized);
  if (structure->format != format_csr && structure->format != format_coo)
    throw unimplemented("sparse", mv_words::optimize_gemv, mv_words::gemv_formats);
  if (structure->gemv_data == nullptr) initGemvInternalData(&structure->gemv_data);
  gemvInternalData* plan = structure->gemv_data;
  if (!plan->cached) cache_gemv_internals(queue, plan);
  if (!plan->optimized) {
    plan->optimized = 1;
    if (structure->format == format_csr) detail::plan_csr_gemv<T, I, C>(queue, structure, new_deps);
  }
  return coalesce_events(queue, C, new_deps, false);
}

}  // namespace orvane::vrt::sparse::gpu

#define VRT_INSTANTIATE_GPU_OPTIMIZE_GEMV(T, I, C)                                          \
  namespace orvane::vrt::sparse::gpu {                                                      \
  template sycl::event optimize_gemv_impl<T, I, C>(sycl::queue&, transpose, matrix_handle*, \
                                                   const event_list&);                      \
  }
