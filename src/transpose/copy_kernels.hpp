// Copies and transposes that are elementwise work on any device: a CSR or COO copy with a new
// index base, and the COO transpose. Both backends run them.
#pragma once

#include <cstdint>
#include <orvane/vrt/sparse.hpp>
#include <sycl/sycl.hpp>
#include <vector>

#include "containers/containers.hpp"
#include "containers/views.hpp"
#include "handle/coalesce_events.hpp"
#include "handle/handle.hpp"
#include "handle/nnz.hpp"
#include "handle/value_types.hpp"
#include "transpose/design_names.hpp"

namespace orvane::vrt::sparse::transpose_kernels {

// out = in with the index base changed to out's; values copied when both have them.
template <typename T, typename I, containerType C>
sycl::event omatcopy_kernel(sycl::queue& queue, sparseStructure* in, sparseStructure* out,
                            const std::vector<sycl::event>& deps) {
  set_nnz_value(queue, in, deps).wait();
  if (in->values == nullptr && out->values != nullptr)
    throw invalid_argument("sparse", omatcopy_word,
                           in->format == format_csr
                               ? "Input matrix appears to be CSR structure-only but output "
                                 "matrix appears to CSR structure+values"
                               : "Input matrix appears to be COO structure-only but output "
                                 "matrix appears to COO structure+values");
  const I shift = static_cast<I>((out->index != 0) - (in->index != 0));
  const auto nnz = static_cast<std::size_t>(in->nnz);
  // CSR shifts nrows + 1 row pointers, COO nnz row indices.
  const std::size_t row_count =
      in->format == format_csr ? static_cast<std::size_t>(in->nrows) + 1 : nnz;
  auto shifted_copy = [&](void* from, void* to, std::size_t count,
                          const std::vector<sycl::event>& after) {
    auto src = as_container<C, I>(from);
    auto dst = as_container<C, I>(to);
    return queue.submit([&](sycl::handler& h) {
      depend_on<C>(h, after);
      auto s_view = bind(h, src, sycl::read_only);
      auto d_view = bind(h, dst, sycl::write_only);
      h.parallel_for<csrComputeIbCopy<T, I, C>>(
          sycl::range<1>(count), [=](sycl::id<1> i) { raw(d_view)[i] = raw(s_view)[i] + shift; });
    });
  };
  std::vector<sycl::event> chain{shifted_copy(in->row_ptr, out->row_ptr, row_count, {})};
  if (nnz > 0) {
    chain = {shifted_copy(in->col_ind, out->col_ind, nnz, chain)};
    if (in->values != nullptr && out->values != nullptr)
      chain = {copy_container<T>(queue, as_container<C, T>(in->values),
                                 as_container<C, T>(out->values), nnz, chain)};
  }
  out->nnz = in->nnz;
  return chain.front();
}

// COO: rows and columns trade places, one work-item per entry.
template <typename T, typename I, containerType C>
sycl::event coo_transpose_kernel(sycl::queue& queue, transpose op, sparseStructure* in,
                                 sparseStructure* out, const std::vector<sycl::event>& deps) {
  if ((in->values == nullptr) != (out->values == nullptr))
    throw invalid_argument("sparse", omatcopy_word, values_mismatch);
  const auto nnz = static_cast<std::size_t>(in->nnz);
  const I shift = static_cast<I>((out->index != 0) - (in->index != 0));
  const bool conj = op == transpose::conjtrans && is_complex_v<T>;
  out->nnz = in->nnz;
  if (nnz == 0) return coalesce_events(queue, C, deps, false);
  return queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, deps);
    auto ri = bind(h, as_container<C, I>(in->row_ptr), sycl::read_only);
    auto ci = bind(h, as_container<C, I>(in->col_ind), sycl::read_only);
    auto ori = bind(h, as_container<C, I>(out->row_ptr), sycl::write_only);
    auto oci = bind(h, as_container<C, I>(out->col_ind), sycl::write_only);
    if (in->values != nullptr) {
      auto va = bind(h, as_container<C, T>(in->values), sycl::read_only);
      auto ova = bind(h, as_container<C, T>(out->values), sycl::write_only);
      h.parallel_for<cooTransposeKernel<T, I, C, true>>(sycl::range<1>(nnz), [=](sycl::id<1> k) {
        raw(ori)[k] = raw(ci)[k] + shift;
        raw(oci)[k] = raw(ri)[k] + shift;
        raw(ova)[k] = conjugate_if(raw(va)[k], conj);
      });
    } else {
      h.parallel_for<cooTransposeKernel<T, I, C, false>>(sycl::range<1>(nnz), [=](sycl::id<1> k) {
        raw(ori)[k] = raw(ci)[k] + shift;
        raw(oci)[k] = raw(ri)[k] + shift;
      });
    }
  });
}

}  // namespace orvane::vrt::sparse::transpose_kernels
