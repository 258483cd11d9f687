// The diagonal analysis: allocation of the records' arrays, choice of the per-row kernel, and the
// check of the flags that refuses a missing or zero diagonal.
#pragma once

#include <algorithm>
#include <orvane/vrt/sparse.hpp>
#include <vector>

#include "common/internal_error.hpp"
#include "common/variants.hpp"
#include "containers/containers.hpp"
#include "gpu/triangular/analysis/diag_data.hpp"
#include "gpu/triangular/analysis/diag_fill_launch.hpp"
#include "gpu/triangular/design_names.hpp"
#include "handle/coalesce_events.hpp"
#include "platform/services.hpp"

namespace orvane::vrt::sparse::gpu {

namespace detail {

// The arrays one call allocates, freed together when one of them cannot be had.
struct diag_allocation {
  sycl::queue& queue;
  containerType container;
  void* diag = nullptr;
  void* inv_diag = nullptr;
  void* status_host = nullptr;
  void* status_device = nullptr;
  void* lower_end = nullptr;
  void* upper_start = nullptr;

  template <typename T, typename I>
  void release() {
    const sycl::context context = queue.get_context();
    for (void* v : {diag, inv_diag})
      if (v != nullptr) deallocate_container<T>(v, context, container);
    for (void* i : {status_host, status_device, lower_end, upper_start})
      if (i != nullptr) deallocate_container<I>(i, context, container);
  }
};

}  // namespace detail

template <typename T, typename I, containerType C>
sycl::event diagDataKernel(sycl::queue& queue, sparseStructure* s, diagonalValuesData** values,
                           bool want_struct, diagonalStructData** positions,
                           const std::vector<sycl::event>& deps) {
  // Split positions are only defined on sorted rows; callers sort first.
  if (want_struct && s->sorted != 1) internal_error(triangular_names::diag_data_kernel);
  const bool values_existed = *values != nullptr;
  const bool need_struct = want_struct && *positions == nullptr;
  if (values_existed && !need_struct) return coalesce_events(queue, C, deps, false);

  diagonalValuesData* vrec = *values;
  const std::uint32_t count =
      values_existed && vrec->status_count != ~0u ? vrec->status_count : default_status_count;
  const std::uint32_t stride =
      values_existed && vrec->status_stride != ~0u ? vrec->status_stride : default_status_stride;
  const auto n = static_cast<std::size_t>(s->nrows);
  const std::size_t rows = std::max<std::size_t>(n, 1);  // every array gets an address

  detail::diag_allocation a{queue, C};
  const bool new_values = !values_existed;
  const char* const word = triangular_names::unnamed;
  try {
    if (new_values) {
      a.diag = allocate_or_throw<T>(rows, queue, C, word);
      a.inv_diag = allocate_or_throw<T>(rows, queue, C, word);
      a.status_device = allocate_or_throw<I>(status_entries, queue, C, word);
    }
    if (need_struct) {
      a.lower_end = allocate_or_throw<I>(rows, queue, C, word);
      a.upper_start = allocate_or_throw<I>(rows, queue, C, word);
    }
  } catch (...) {
    a.release<T, I>();
    throw;
  }
  if (new_values) {
    a.status_host = allocate_host_container<I>(status_entries, queue, C);
    if (a.status_host == nullptr) {
      a.release<T, I>();
      throw host_bad_alloc("sparse", word);
    }
  }
  // The records come last, so that a failure leaves the slots as they were.
  try {
    if (new_values) initDiagonalValuesData(reinterpret_cast<void**>(values));
    if (need_struct) initDiagonalStructData(reinterpret_cast<void**>(positions));
  } catch (...) {
    if (new_values && *values != nullptr) {
      vrt_serv_free(*values);
      *values = nullptr;
    }
    a.release<T, I>();
    throw;
  }
  vrec = *values;
  if (new_values) {
    vrec->diag = a.diag;
    vrec->inv_diag = a.inv_diag;
    vrec->status_host = a.status_host;
    vrec->status_device = a.status_device;
  }
  diagonalStructData* srec = need_struct ? *positions : nullptr;
  if (need_struct) {
    srec->lower_end = a.lower_end;
    srec->upper_start = a.upper_start;
  }

  std::vector<sycl::event> chain = deps;
  if (new_values)
    chain = {fill_container<I>(queue, as_container<C, I>(vrec->status_device), I(0), status_entries,
                               deps)};
  const I base = s->index != 0 ? I(1) : I(0);
  const kernels::diag_operands<T, I, C> op{
      as_container<C, I>(s->row_ptr),
      as_container<C, I>(s->col_ind),
      as_container<C, T>(s->values),
      as_container<C, T>(vrec->diag),
      as_container<C, T>(vrec->inv_diag),
      as_container<C, I>(vrec->status_device),
      need_struct ? as_container<C, I>(srec->lower_end) : nullptr,
      need_struct ? as_container<C, I>(srec->upper_start) : nullptr,
      s->nrows,
      base,
      stride};
  sycl::event done;
  if (new_values && !need_struct)
    done = kernels::fill_diag_values<T, I, C>(queue, op, chain);
  else if (!new_values)
    done = kernels::fill_diag_positions<I, C>(queue, s->nrows, base, op.row_ptr, op.col_ind,
                                              op.lower_end, op.upper_start, chain);
  else
    done = kernels::fill_diag_values_and_positions<T, I, C>(queue, op, chain);
  if (new_values) {
    done = copy_container<I>(queue, as_container<C, I>(vrec->status_device),
                             as_container<C, I>(vrec->status_host), status_entries, {done});
    vrec->status_count = count;
    vrec->status_stride = stride;
  }
  return done;
}

template <typename T, typename I, containerType C>
sycl::event diagData_impl(sycl::queue& queue, sparseStructure* s, diagonalValuesData** values,
                          bool want_struct, diagonalStructData** positions,
                          const std::vector<sycl::event>& deps) {
  namespace names = triangular_names;
  if (s->format != format_csr) throw unimplemented("sparse", names::unnamed, names::csr_only);
  if (s->fp_type == fp_unset)
    throw unimplemented("sparse", names::unnamed, names::analysis_needs_values);
  return diagDataKernel<T, I, C>(queue, s, values, want_struct, positions, deps);
}

template <typename T, typename I, containerType C>
sycl::event updateDiagData_and_check_for_missing_diags(sycl::queue& queue, sparseStructure* s,
                                                       diagonalValuesData** values,
                                                       bool want_struct,
                                                       diagonalStructData** positions,
                                                       diag diagonal, const char* word,
                                                       const std::vector<sycl::event>& deps) {
  sycl::event done = diagData_impl<T, I, C>(queue, s, values, want_struct, positions, deps);
  const diagonalValuesData* v = *values;
  if (v == nullptr || v->status_host == nullptr) internal_error(word);
  const std::uint32_t stride = v->status_stride != ~0u ? v->status_stride : default_status_stride;
  const auto status = as_container<C, I>(v->status_host);
  const I missing = read_on_host<I, C>(queue, status, {done});
  const I zero = read_on_host<I, C>(queue, status, {done}, stride);
  if (diagonal == diag::nonunit && (missing > 0 || zero > 0))
    throw invalid_argument("sparse", word, triangular_names::missing_diagonal);
  return done;
}

}  // namespace orvane::vrt::sparse::gpu

#define VRT_INSTANTIATE_GPU_DIAG_DATA(T, I, C)                                                  \
  namespace orvane::vrt::sparse::gpu {                                                          \
  template sycl::event diagData_impl<T, I, C>(sycl::queue&, sparseStructure*,                   \
                                              diagonalValuesData**, bool, diagonalStructData**, \
                                              const std::vector<sycl::event>&);                 \
  template sycl::event updateDiagData_and_check_for_missing_diags<T, I, C>(                     \
      sycl::queue&, sparseStructure*, diagonalValuesData**, bool, diagonalStructData**, diag,   \
      const char*, const std::vector<sycl::event>&);                                            \
  }
