// Row sort of CSR structures on the device: in place (sort_matrix) or into a sorted copy, one
// work-item per row running the sort of sort_kernel.hpp.
#pragma once

#include <cstdint>
#include <orvane/vrt/sparse.hpp>
#include <sycl/sycl.hpp>
#include <vector>

#include "containers/containers.hpp"
#include "containers/views.hpp"
#include "gpu/format/design_names.hpp"
#include "gpu/format/sort_kernel.hpp"
#include "handle/coalesce_events.hpp"
#include "handle/handle.hpp"
#include "handle/nnz.hpp"
#include "handle/owned_structure.hpp"

namespace orvane::vrt::sparse::gpu::kernels {

// One work-item per row: the columns of the row sorted, with their values when the structure has
// them (a structure without values binds no value array).
template <typename T, typename I, containerType C>
sycl::event sort_rows(sycl::queue& queue, std::int64_t nrows, I index, container_t<C, I> row_ptr,
                      container_t<C, I> col_ind, container_t<C, T> values,
                      const std::vector<sycl::event>& deps) {
  const sycl::range<1> rows(static_cast<std::size_t>(nrows));
  return queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, deps);
    auto rp = bind(h, row_ptr, sycl::read_only);
    auto ci = bind(h, col_ind, sycl::read_write);
    const auto sort_row = [=](std::size_t r, auto* vals) {
      const I start = raw(rp)[r] - index;
      const I end = raw(rp)[r + 1] - index;
      if constexpr (std::is_same_v<decltype(vals), NoValues*>)
        quicksort_nonrecursive<I, NoValues>(end - start, raw(ci) + start, nullptr);
      else
        quicksort_nonrecursive<I, T>(end - start, raw(ci) + start, vals + start);
    };
    if (values != nullptr) {
      auto va = bind(h, values, sycl::read_write);
      h.parallel_for<sortIndicesKernel<T, I, C, true>>(
          rows, [=](sycl::id<1> r) { sort_row(r[0], raw(va)); });
    } else {
      h.parallel_for<sortIndicesKernel<T, I, C, false>>(
          rows, [=](sycl::id<1> r) { sort_row(r[0], static_cast<NoValues*>(nullptr)); });
    }
  });
}

// Sorts a structure in place once; a sorted structure costs no kernel.
template <typename T, typename I, containerType C>
sycl::event sort_csr(sycl::queue& queue, sparseStructure* s, const std::vector<sycl::event>& deps) {
  if (s->sorted == 1) return coalesce_events(queue, C, deps, false);
  const I index = s->index != 0 ? 1 : 0;
  sycl::event done =
      sort_rows<T, I, C>(queue, s->nrows, index, as_container<C, I>(s->row_ptr),
                         as_container<C, I>(s->col_ind), as_container<C, T>(s->values), deps);
  s->sorted = 1;
  return done;
}

// A sorted copy of src, owned by the new structure in *slot.
template <typename T, typename I, containerType C>
sycl::event copy_and_sort_csr(sycl::queue& queue, sparseStructure* src, void** slot,
                              const std::vector<sycl::event>& deps) {
  sycl::event counted = set_nnz_value(queue, src, deps);
  counted.wait();
  const owned_shape shape{
      format_csr,   src->nrows,    src->ncols, src->nnz, static_cast<index_base>(src->index),
      src->fp_type, src->int_type, true};
  sparseStructure* out = make_owned_structure<T, I, C>(queue, slot, shape, "");
  out->nnz = src->nnz;
  const auto nnz = static_cast<std::size_t>(src->nnz);
  std::vector<sycl::event> chain{counted};
  chain = {copy_container<I>(queue, as_container<C, I>(src->row_ptr),
                             as_container<C, I>(out->row_ptr),
                             static_cast<std::size_t>(src->nrows) + 1, chain)};
  if (nnz > 0) {
    chain = {copy_container<I>(queue, as_container<C, I>(src->col_ind),
                               as_container<C, I>(out->col_ind), nnz, chain)};
    if (src->values != nullptr)
      chain = {copy_container<T>(queue, as_container<C, T>(src->values),
                                 as_container<C, T>(out->values), nnz, chain)};
  }
  sycl::event sorted = sort_rows<T, I, C>(
      queue, out->nrows, static_cast<I>(out->index != 0), as_container<C, I>(out->row_ptr),
      as_container<C, I>(out->col_ind), as_container<C, T>(out->values), chain);
  out->sorted = 1;
  return sorted;
}

}  // namespace orvane::vrt::sparse::gpu::kernels
