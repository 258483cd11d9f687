// The dispatch tables of the staged product: the plan's matmat_kernel picks the estimate,
// accumulator or finalize form of a stage.
#pragma once

#include <cstdint>
#include <orvane/vrt/sparse.hpp>
#include <sycl/sycl.hpp>
#include <vector>

#include "common/internal_error.hpp"
#include "containers/views.hpp"
#include "gpu/matmat/design_names.hpp"
#include "gpu/matmat/matmat_plan.hpp"
#include "gpu/matmat/work_estimation_entry.hpp"
#include "gpu/matmat/workspace.hpp"
#include "handle/handle.hpp"
#include "handle/matmat_data.hpp"

namespace orvane::vrt::sparse::gpu {

// ---- work estimation ---------------------------------------------------------------------------

// The operands of an estimate: the picked factors (nnz resolved), the output and the device facts.
template <typename I, containerType C>
work_estimation_operands<I, C> estimate_operands(const sparseStructure* A, const sparseStructure* B,
                                                 const matmatInternalData* d,
                                                 container_t<C, I> row_offsets,
                                                 container_t<C, std::int64_t> estimate_total) {
  work_estimation_operands<I, C> op{};
  op.a_row_ptr = as_container<C, I>(A->row_ptr);
  op.a_col_ind = as_container<C, I>(A->col_ind);
  op.a_index = static_cast<I>(A->index);
  op.a_rows = A->nrows;
  op.a_cols = A->ncols;
  op.a_nnz = A->nnz;
  op.b_row_ptr = as_container<C, I>(B->row_ptr);
  op.b_col_ind = as_container<C, I>(B->col_ind);
  op.b_index = static_cast<I>(B->index);
  op.b_rows = B->nrows;
  op.b_cols = B->ncols;
  op.b_nnz = B->nnz;
  op.row_offsets = row_offsets;
  op.estimate_total = estimate_total;
  op.row_counter = counter_cell<C>(d, counter_work_estimation);
  op.is_gpu = d->device != nullptr && d->device->is_gpu();
  op.architecture = d->architecture;
  op.sub_group_size = d->sub_group_size;
  op.estimate_table_size = d->estimate_table_size;
  return op;
}

// Exact counts from a dense bitmap.
template <typename I, containerType C>
sycl::event do_work_estimation_accum(sycl::queue& queue, const sparseStructure* A,
                                     const sparseStructure* B, const matmatInternalData* d,
                                     container_t<C, I> row_offsets,
                                     container_t<C, std::int64_t> estimate_total,
                                     const std::vector<sycl::event>& deps) {
  return estimate_rows_dense<I, C>(
      queue, estimate_operands<I, C>(A, B, d, row_offsets, estimate_total), deps);
}

// Upper bounds from small hash tables.
template <typename I, containerType C>
sycl::event do_work_estimation_hash(sycl::queue& queue, const sparseStructure* A,
                                    const sparseStructure* B, const matmatInternalData* d,
                                    container_t<C, I> row_offsets,
                                    container_t<C, std::int64_t> estimate_total,
                                    const std::vector<sycl::event>& deps) {
  return estimate_rows_hash<I, C>(
      queue, estimate_operands<I, C>(A, B, d, row_offsets, estimate_total), deps);
}

// The count of products per row.
template <typename I, containerType C>
sycl::event do_work_estimation_noaccum(sycl::queue& queue, const sparseStructure* A,
                                       const sparseStructure* B, const matmatInternalData* d,
                                       container_t<C, I> row_offsets,
                                       container_t<C, std::int64_t> estimate_total,
                                       const std::vector<sycl::event>& deps) {
  return estimate_rows_by_products<I, C>(
      queue, estimate_operands<I, C>(A, B, d, row_offsets, estimate_total), deps);
}

template <typename I, containerType C>
sycl::event dispatch_work_estimation(sycl::queue& queue, const sparseStructure* A,
                                     const sparseStructure* B, const matmatInternalData* d,
                                     container_t<C, I> row_offsets,
                                     container_t<C, std::int64_t> estimate_total,
                                     const std::vector<sycl::event>& deps) {
  switch (d->work_estimation_kernel) {
    case matmat_noaccum:
      return do_work_estimation_noaccum<I, C>(queue, A, B, d, row_offsets, estimate_total, deps);
    case matmat_accum_dense:
    case matmat_accum_heap:
      return do_work_estimation_accum<I, C>(queue, A, B, d, row_offsets, estimate_total, deps);
    case matmat_accum_dense2:
    case matmat_accum_heap2:
    case matmat_accum_mixed:
      return do_work_estimation_hash<I, C>(queue, A, B, d, row_offsets, estimate_total, deps);
    default:
      internal_error(names::matmat_word);
  }
}

// ---- accumulators and finalize -----------------------------------------------------------------

// The accumulator and finalize forms are not on the device yet: every entry of their tables
// refuses here, naming its stage.
[[noreturn]] inline void accumulator_not_landed(const char* stage) {
  throw unimplemented("sparse", names::matmat_word, stage);
}

// The sub-group size of the compute and finalize forms: 32 on code 6, the planner's elsewhere.
inline std::int32_t accumulator_sub_group_size(const matmatInternalData* d) {
  const bool code6_gpu = d->architecture == 6 && d->device != nullptr && d->device->is_gpu();
  const std::int32_t sg = code6_gpu ? 32 : d->sub_group_size;
  if (sg != 8 && sg != 16 && sg != 32) internal_error(names::matmat_word);
  return sg;
}

// Rows 0 to 5 of a table name the forms of one stage; a value above 5 is an internal error.
inline void check_table_row(matmat_kernel kernel) {
  if (kernel < matmat_noaccum || kernel > matmat_accum_mixed) internal_error(names::matmat_word);
}

inline sycl::event dispatch_compute(const matmatInternalData* d) {
  check_table_row(d->compute_kernel);
  accumulator_sub_group_size(d);
  accumulator_not_landed(names::compute_stage);
}

inline sycl::event dispatch_compute_structure(const matmatInternalData* d) {
  check_table_row(d->compute_structure_kernel);
  accumulator_sub_group_size(d);
  accumulator_not_landed(names::compute_structure_stage);
}

// Finalize follows the estimate (finalize_kernel_dispatch); rows 0 and 5 pass sort_output.
inline sycl::event dispatch_finalize(const matmatInternalData* d) {
  check_table_row(finalize_kernel_dispatch(d->work_estimation_kernel, d->compute_kernel));
  accumulator_sub_group_size(d);
  accumulator_not_landed(names::finalize_stage);
}

inline sycl::event dispatch_finalize_structure(const matmatInternalData* d) {
  check_table_row(finalize_kernel_dispatch(d->work_estimation_kernel, d->compute_structure_kernel));
  accumulator_sub_group_size(d);
  accumulator_not_landed(names::finalize_structure_stage);
}

}  // namespace orvane::vrt::sparse::gpu
