// A strict triangle of a sorted structure copied into a structure of its own, from the split
// positions of the diagonal analysis: what optimize_trmv builds for the triangular product.
#pragma once

#include <algorithm>
#include <orvane/vrt/sparse.hpp>
#include <vector>

#include "containers/containers.hpp"
#include "containers/prefix_sum.hpp"
#include "containers/views.hpp"
#include "gpu/triangular/design_names.hpp"
#include "gpu/triangular/trmv/strict_triangle_copy_kernel.hpp"
#include "handle/handle.hpp"
#include "handle/triangular_data.hpp"

namespace orvane::vrt::sparse::gpu {

// dst becomes the strict lower or upper triangle of src: zero-based, sorted, owning its arrays.
// Not make_owned_structure: dst comes initialised from the caller, and the row starts are
// scanned in place in the final array before the entry count (and so the size of the others) is
// known; the builder allocates all three arrays at once in a new structure.
template <typename T, typename I, containerType C>
sycl::event triangularData_impl(sycl::queue& queue, uplo triangle, sparseStructure* src,
                                sparseStructure* dst, diagonalStructData* positions,
                                const std::vector<sycl::event>& deps) {
  const bool upper = triangle == uplo::upper;
  const auto n = static_cast<std::size_t>(src->nrows);
  const I base = src->index != 0 ? I(1) : I(0);
  const sycl::context context = queue.get_context();
  const char* const word = triangular_names::optimize_trmv;
  void* row_ptr = allocate_or_throw<I>(n + 1, queue, C, word);
  void* total = allocate_host_container<long>(1, queue, C);
  if (total == nullptr) {
    deallocate_container<I>(row_ptr, context, C);
    // The host total reports as the device arrays do.
    throw device_bad_alloc("sparse", word, queue.get_device());
  }
  const auto rows = as_container<C, I>(row_ptr);
  const auto src_rows = as_container<C, I>(src->row_ptr);
  const auto split = as_container<C, I>(upper ? positions->upper_start : positions->lower_end);
  // Entry i + 1 gets the length of row i's part; the scan makes the row starts.
  sycl::event e = queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, deps);
    auto rp = bind(h, src_rows, sycl::read_only);
    auto sp = bind(h, split, sycl::read_only);
    auto out = bind(h, rows, sycl::write_only);
    h.parallel_for<kernels::triangleData0<I, C>>(sycl::range<1>(n + 1), [=](sycl::id<1> id) {
      kernels::write_part_length<I>(id[0], upper, raw(rp), raw(sp), raw(out));
    });
  });
  long nnz = 0;
  try {
    e = prefix_sum(queue, rows, n + 1, C, as_container<C, long>(total), {e});
    nnz = read_on_host<long, C>(queue, as_container<C, long>(total), {e});
  } catch (...) {
    queue.wait();
    deallocate_container<I>(row_ptr, context, C);
    deallocate_container<long>(total, context, C);
    throw;
  }
  deallocate_container<long>(total, context, C);
  const auto entries = std::max<std::size_t>(static_cast<std::size_t>(nnz), 1);
  void* col_ind = nullptr;
  void* values = nullptr;
  try {
    col_ind = allocate_or_throw<I>(entries, queue, C, word);
    values = allocate_or_throw<T>(entries, queue, C, word);
  } catch (...) {
    deallocate_container<I>(row_ptr, context, C);
    deallocate_container<I>(col_ind, context, C);
    throw;
  }
  set_csr_data_impl(dst, src->nrows, src->ncols, index_base::zero, src->fp_type, src->int_type, C,
                    row_ptr, col_ind, values, true);
  dst->sorted = 1;
  dst->nnz = nnz;
  const auto out_cols = as_container<C, I>(col_ind);
  const auto out_vals = as_container<C, T>(values);
  const auto src_cols = as_container<C, I>(src->col_ind);
  const auto src_vals = as_container<C, T>(src->values);
  return queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, {e});
    auto rp = bind(h, src_rows, sycl::read_only);
    auto sp = bind(h, split, sycl::read_only);
    auto ci = bind(h, src_cols, sycl::read_only);
    auto va = bind(h, src_vals, sycl::read_only);
    auto orp = bind(h, rows, sycl::read_only);
    auto oc = bind(h, out_cols, sycl::write_only);
    auto ov = bind(h, out_vals, sycl::write_only);
    h.parallel_for<kernels::triangleData2<T, I, C>>(sycl::range<1>(n), [=](sycl::id<1> id) {
      kernels::copy_row_part<T, I>(id[0], upper, base, raw(rp), raw(sp), raw(ci), raw(va), raw(orp),
                                   raw(oc), raw(ov));
    });
  });
}

}  // namespace orvane::vrt::sparse::gpu
