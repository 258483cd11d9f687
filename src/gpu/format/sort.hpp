// Row sort of CSR structures on the device: in place (sort_matrix) or into a sorted copy.
#pragma once

#include <cstdint>
#include <vector>

#include <sycl/sycl.hpp>

#include <orvane/vrt/sparse.hpp>

#include "containers/containers.hpp"
#include "containers/views.hpp"
#include "gpu/format/sort_algorithms.hpp"
#include "interface/backends.hpp"
#include "interface/coalesce_events.hpp"
#include "interface/handle.hpp"
#include "interface/nnz.hpp"
#include "interface/release.hpp"
#include "interface/value_types.hpp"

namespace orvane::vrt::sparse::gpu::kernels {

template <typename T, typename I, containerType C>
class sortIndicesValuesKernel;
template <typename I, containerType C>
class sortIndicesKernel;

// One work-item per row: columns and values of the row sorted together.
template <typename T, typename I, containerType C>
sycl::event sort_indices_values(sycl::queue& queue, std::int64_t nrows, I index, int,
                                containerType, container_t<C, I> row_ptr,
                                container_t<C, I> col_ind, container_t<C, T> values,
                                const std::vector<sycl::event>& deps) {
  return queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, deps);
    auto rp = bind(h, row_ptr, sycl::read_only);
    auto ci = bind(h, col_ind, sycl::read_write);
    auto va = bind(h, values, sycl::read_write);
    h.parallel_for<sortIndicesValuesKernel<T, I, C>>(
        sycl::range<1>(static_cast<std::size_t>(nrows)), [=](sycl::id<1> r) {
          const I start = raw(rp)[r[0]] - index;
          const I end = raw(rp)[r[0] + 1] - index;
          quicksort_nonrecursive<I, T>(end - start, raw(ci) + start, raw(va) + start);
        });
  });
}

// The same for a structure without values.
template <typename I, containerType C>
sycl::event sort_indices(sycl::queue& queue, std::int64_t nrows, I index, containerType,
                         container_t<C, I> row_ptr, container_t<C, I> col_ind,
                         const std::vector<sycl::event>& deps) {
  return queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, deps);
    auto rp = bind(h, row_ptr, sycl::read_only);
    auto ci = bind(h, col_ind, sycl::read_write);
    h.parallel_for<sortIndicesKernel<I, C>>(
        sycl::range<1>(static_cast<std::size_t>(nrows)), [=](sycl::id<1> r) {
          const I start = raw(rp)[r[0]] - index;
          const I end = raw(rp)[r[0] + 1] - index;
          quicksort_nonrecursive<I, NoValues>(end - start, raw(ci) + start, nullptr);
        });
  });
}

// Sorts a structure in place once; a sorted structure costs no kernel.
template <typename T, typename I, containerType C>
sycl::event sort_csr(sycl::queue& queue, sparseStructure* s, const std::vector<sycl::event>& deps) {
  if (s->sorted == 1) return coalesce_events(queue, C, deps, false);
  const I index = s->index != 0 ? 1 : 0;
  sycl::event done =
      s->values != nullptr
          ? sort_indices_values<T, I, C>(queue, s->nrows, index, 1, C, as_container<C, I>(s->row_ptr),
                                         as_container<C, I>(s->col_ind),
                                         as_container<C, T>(s->values), deps)
          : sort_indices<I, C>(queue, s->nrows, index, C, as_container<C, I>(s->row_ptr),
                               as_container<C, I>(s->col_ind), deps);
  s->sorted = 1;
  return done;
}

// A sorted copy of src, owned by the new structure in *slot.
template <typename T, typename I, containerType C>
sycl::event copy_and_sort_csr(sycl::queue& queue, sparseStructure* src, void** slot,
                              const std::vector<sycl::event>& deps) {
  sycl::event counted = set_nnz_value(queue, src, deps);
  counted.wait();
  const auto nnz = static_cast<std::size_t>(src->nnz);
  const auto rows = static_cast<std::size_t>(src->nrows) + 1;
  void* row_ptr = allocate_device_container<I>(rows, queue, C);
  void* col_ind = allocate_device_container<I>(std::max<std::size_t>(nnz, 1), queue, C);
  void* values = allocate_device_container<T>(std::max<std::size_t>(nnz, 1), queue, C);
  const sycl::context context = queue.get_context();
  auto release_arrays = [&] {
    deallocate_container<I>(row_ptr, context, C);
    deallocate_container<I>(col_ind, context, C);
    deallocate_container<T>(values, context, C);
  };
  if (row_ptr == nullptr || col_ind == nullptr || values == nullptr) {
    release_arrays();
    throw device_bad_alloc("sparse", "", queue.get_device());
  }
  try {
    initSparseStructure(slot);
  } catch (...) {
    release_arrays();
    throw;
  }
  auto* out = static_cast<sparseStructure*>(*slot);
  set_csr_data_impl(out, src->nrows, src->ncols, static_cast<index_base>(src->index),
                    src->fp_type, src->int_type, C, row_ptr, col_ind, values, true);
  out->nnz = src->nnz;
  std::vector<sycl::event> chain{counted};
  chain = {copy_container<I>(queue, as_container<C, I>(src->row_ptr), as_container<C, I>(row_ptr),
                             rows, chain)};
  if (nnz > 0) {
    chain = {copy_container<I>(queue, as_container<C, I>(src->col_ind),
                               as_container<C, I>(col_ind), nnz, chain)};
    if (src->values != nullptr)
      chain = {copy_container<T>(queue, as_container<C, T>(src->values),
                                 as_container<C, T>(values), nnz, chain)};
  }
  sycl::event sorted = sort_indices_values<T, I, C>(
      queue, out->nrows, static_cast<I>(out->index != 0), 1, C, as_container<C, I>(row_ptr),
      as_container<C, I>(col_ind), as_container<C, T>(values), chain);
  out->sorted = 1;
  return sorted;
}

}  // namespace orvane::vrt::sparse::gpu::kernels

namespace orvane::vrt::sparse::gpu {

template <typename T, typename I, containerType C>
sycl::event sort_matrix_impl(sycl::queue& queue, matrix_handle* A,
                             const std::vector<sycl::event>& deps) {
  sparseStructure* s = A->primary;
  if (s == nullptr)
    throw unimplemented("sparse", "sort_matrix",
                        "set_csr_data must be called before calling sort_matrix");
  if (s->format != format_csr)
    throw unimplemented("sparse", "sort_matrix",
                        "Sorting COO matrix format is currently not supported with this API");
  return kernels::sort_csr<T, I, C>(queue, s, deps);
}

// gpu::dsort_matrix_impl_i4_usm, gpu::kernels::dsort_csr_i4_usm and the like.
#define VRT_INSTANTIATE_SORT(p, T, i, I)                                                         \
  namespace orvane::vrt::sparse::gpu {                                                           \
  template sycl::event sort_matrix_impl<T, I, container_usm>(sycl::queue&, matrix_handle*,       \
                                                             const std::vector<sycl::event>&);   \
  template sycl::event sort_matrix_impl<T, I, container_buffer>(                                 \
      sycl::queue&, matrix_handle*, const std::vector<sycl::event>&);                            \
  sycl::event p##sort_matrix_impl_##i##_usm(sycl::queue& q, matrix_handle* A,                    \
                                            const std::vector<sycl::event>& deps) {              \
    return sort_matrix_impl<T, I, container_usm>(q, A, deps);                                    \
  }                                                                                              \
  sycl::event p##sort_matrix_impl_##i##_buf(sycl::queue& q, matrix_handle* A,                    \
                                            const std::vector<sycl::event>& deps) {              \
    return sort_matrix_impl<T, I, container_buffer>(q, A, deps);                                 \
  }                                                                                              \
  namespace kernels {                                                                            \
  sycl::event p##sort_csr_##i##_usm(sycl::queue& q, sparseStructure* s,                          \
                                    const std::vector<sycl::event>& deps) {                      \
    return sort_csr<T, I, container_usm>(q, s, deps);                                            \
  }                                                                                              \
  sycl::event p##sort_csr_##i##_buf(sycl::queue& q, sparseStructure* s,                          \
                                    const std::vector<sycl::event>& deps) {                      \
    return sort_csr<T, I, container_buffer>(q, s, deps);                                         \
  }                                                                                              \
  sycl::event p##copy_and_sort_csr_##i##_usm(sycl::queue& q, sparseStructure* s, void** slot,    \
                                             const std::vector<sycl::event>& deps) {             \
    return copy_and_sort_csr<T, I, container_usm>(q, s, slot, deps);                             \
  }                                                                                              \
  sycl::event p##copy_and_sort_csr_##i##_buf(sycl::queue& q, sparseStructure* s, void** slot,    \
                                             const std::vector<sycl::event>& deps) {             \
    return copy_and_sort_csr<T, I, container_buffer>(q, s, slot, deps);                          \
  }                                                                                              \
  }                                                                                              \
  }

}  // namespace orvane::vrt::sparse::gpu
