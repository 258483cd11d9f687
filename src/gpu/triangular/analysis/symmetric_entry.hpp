// The symmetric expansion of one triangle of a CSR matrix into a structure of its own: what the
// level-set analysis walks, since each row then lists the rows that depend on it.
#pragma once

#include <algorithm>
#include <orvane/vrt/sparse.hpp>
#include <vector>

#include "containers/atomic_targets.hpp"
#include "containers/containers.hpp"
#include "containers/prefix_sum.hpp"
#include "gpu/format/sort_launch.hpp"
#include "gpu/sub_group_check.hpp"
#include "gpu/triangular/analysis/symmetric.hpp"
#include "gpu/triangular/analysis/symmetric_launch.hpp"
#include "gpu/triangular/design_names.hpp"
#include "handle/coalesce_events.hpp"
#include "handle/release.hpp"

namespace orvane::vrt::sparse::gpu {

// dst becomes the expansion of src's triangle: zero-based, owning its arrays, sorted rows,
// flagged symmetric. Mirrored entries carry the value of their original, unconjugated.
// Not make_owned_structure: dst comes initialised from the caller, while the builder makes a new
// structure in a slot, and the entry arrays can only be sized once the rows are counted.
template <typename T, typename I, containerType C>
sycl::event symmetricKernel(sycl::queue& queue, uplo triangle, sparseStructure* src,
                            sparseStructure* dst, const std::vector<sycl::event>& deps) {
  const bool upper = triangle == uplo::upper;
  const auto n = static_cast<std::size_t>(src->nrows);
  const I base = src->index != 0 ? I(1) : I(0);
  const sycl::context context = queue.get_context();
  const char* const word = triangular_names::unnamed;
  void* counts = allocate_atomic_or_throw<I>(n + 1, queue, C, word);  // counted by atomics
  void* row_ptr = nullptr;
  void* total = nullptr;
  const auto free_temporaries = [&] {
    deallocate_container<I>(counts, context, C);
    deallocate_container<long>(total, context, C);
  };
  try {
    row_ptr = allocate_or_throw<I>(n + 1, queue, C, word);
  } catch (...) {
    free_temporaries();
    throw;
  }
  total = allocate_host_container<long>(1, queue, C);
  if (total == nullptr) {
    free_temporaries();
    deallocate_container<I>(row_ptr, context, C);
    throw host_bad_alloc("sparse", word);
  }
  const auto rc = as_container<C, I>(counts);
  const auto src_rows = as_container<C, I>(src->row_ptr);
  const auto src_cols = as_container<C, I>(src->col_ind);
  void* col_ind = nullptr;
  void* values = nullptr;
  long nnz = 0;
  try {
    sycl::event e = kernels::zero_counts<I, C>(queue, n + 1, rc, deps);
    if (n > 0)
      e = kernels::count_rows<I, C>(queue, upper, src->nrows, base, src_rows, src_cols, rc, {e});
    e = prefix_sum(queue, rc, n + 1, C, as_container<C, long>(total), {e});
    nnz = read_on_host<long, C>(queue, as_container<C, long>(total), {e});
    const auto entries = std::max<std::size_t>(static_cast<std::size_t>(nnz), 1);
    col_ind = allocate_or_throw<I>(entries, queue, C, word);
    values = allocate_or_throw<T>(entries, queue, C, word);
  } catch (...) {
    queue.wait();
    free_temporaries();
    deallocate_container<I>(row_ptr, context, C);
    deallocate_container<I>(col_ind, context, C);
    deallocate_container<T>(values, context, C);
    throw;
  }
  set_csr_data_impl(dst, src->nrows, src->ncols, index_base::zero, src->fp_type, src->int_type, C,
                    row_ptr, col_ind, values, true);
  dst->sorted = 0;
  dst->symmetric = 1;
  dst->container = C;
  dst->nnz = nnz;
  const auto out_rows = as_container<C, I>(row_ptr);
  sycl::event e = kernels::scatter_entries<T, I, C>(
      queue, upper, src->nrows, base, src_rows, src_cols, as_container<C, T>(src->values), rc,
      as_container<C, I>(col_ind), as_container<C, T>(values), {});
  e = kernels::close_rows<I, C>(queue, src->nrows, rc, out_rows, {e});
  e = kernels::sort_csr<T, I, C>(queue, dst, {e});
  e.wait();
  free_temporaries();
  return e;
}

template <typename T, typename I, containerType C>
sycl::event symmetric_impl(sycl::queue& queue, uplo triangle, matrix_handle* src,
                           matrix_handle* dst, const std::vector<sycl::event>& deps,
                           const char* routine) {
  sparseStructure* from = src->primary;
  namespace names = triangular_names;
  if (from == nullptr) throw uninitialized("sparse", names::unnamed, names::not_initialized);
  if (from->format != format_csr) throw unimplemented("sparse", names::unnamed, names::csr_only);
  sparseStructure** slot = &dst->primary;
  if (src == dst) {
    if (from->symmetric != 0) {
      sycl::event done = coalesce_events(queue, C, deps, false);
      sparseStructure* analysed = from;
      if (from->sorted != 1) {
        if (src->sorted_copy == nullptr)
          done = kernels::copy_and_sort_csr<T, I, C>(
              queue, from, reinterpret_cast<void**>(&src->sorted_copy), deps);
        analysed = src->sorted_copy;
      }
      src->sym_from_lower = analysed;
      src->sym_from_upper = analysed;
      return done;
    }
    slot = triangle == uplo::upper ? &src->sym_from_upper : &src->sym_from_lower;
    if (*slot != nullptr) return coalesce_events(queue, C, deps, false);
  }
  require_sub_group_size(queue, kernels::symmetric_lanes, routine);
  // Built aside and stored once complete, so that a failure leaves the slot as it was.
  const sycl::context context = queue.get_context();
  void* made = nullptr;
  initSparseStructure(&made);
  sycl::event done;
  try {
    done =
        symmetricKernel<T, I, C>(queue, triangle, from, static_cast<sparseStructure*>(made), deps);
  } catch (...) {
    sparseStructureRelease<T, I, C>(&made, &context);
    throw;
  }
  if (src != dst) {
    void* old = *slot;
    sparseStructureRelease<T, I, C>(&old, &context);
    dst->int_type = from->int_type;
    dst->fp_type = from->fp_type;
    dst->container = C;
    cache_context(queue, dst);  // its release frees the arrays in this context
  }
  *slot = static_cast<sparseStructure*>(made);
  return done;
}

}  // namespace orvane::vrt::sparse::gpu

#define VRT_INSTANTIATE_GPU_SYMMETRIC(T, I, C)                                                     \
  namespace orvane::vrt::sparse::gpu {                                                             \
  template sycl::event symmetric_impl<T, I, C>(sycl::queue&, uplo, matrix_handle*, matrix_handle*, \
                                               const std::vector<sycl::event>&, const char*);      \
  }
