// Launchers of the COO product, one nonzero at a time: y is scaled or cleared first, then each
// nonzero adds into its output element with device atomics, or, for y in host memory, each
// output element gathers its nonzeros by a scan of all of them.
#pragma once

#include <cstddef>
#include <orvane/vrt/sparse.hpp>
#include <vector>

#include "containers/views.hpp"
#include "gpu/mv/atomic_add.hpp"
#include "gpu/mv/coo/coo_kernel.hpp"
#include "gpu/mv/coo/coo_operands.hpp"
#include "gpu/mv/design_names.hpp"
#include "gpu/mv/scale_y_launch.hpp"
#include "gpu/operand_binding.hpp"
#include "handle/handle.hpp"
#include "handle/select_structure.hpp"
#include "handle/value_types.hpp"

namespace orvane::vrt::sparse::gpu::coo {

template <typename T, typename I, containerType C>
sycl::event scatter_atomic(sycl::queue& queue, const coo_operands<T, I, C>& op,
                           const sycl::event& prepared) {
  return queue.submit([&](sycl::handler& h) {
    const auto a = bind_product<C>(h, {prepared}, op);
    const I index = op.index;
    const T alpha = op.alpha;
    const bool conj = op.conj;
    h.parallel_for<kernels::gemv_coo_default_kernel<T, I, C>>(
        sycl::range<1>(static_cast<std::size_t>(op.nnz)), [=](sycl::id<1> id) {
          kernels::scatter_nonzero<T, I>(id[0], raw(a.row_ptr), raw(a.col_ind), raw(a.values),
                                         raw(a.x), raw(a.y), index, alpha, conj);
        });
  });
}

// USM only: a work-item per output element, so y takes plain writes.
template <typename T, typename I>
sycl::event gather_without_atomics(sycl::queue& queue, const coo_operands<T, I, container_usm>& op,
                                   const sycl::event& prepared) {
  return queue.submit([&](sycl::handler& h) {
    const auto a = bind_product<container_usm>(h, {prepared}, op);
    const auto nnz = static_cast<std::size_t>(op.nnz);
    const I index = op.index;
    const T alpha = op.alpha;
    const bool conj = op.conj;
    h.parallel_for<kernels::gemv_coo_default_non_atomics_kernel<T, I>>(
        sycl::range<1>(static_cast<std::size_t>(op.out_len)), [=](sycl::id<1> id) {
          kernels::gather_element<T, I>(id[0], nnz, a.row_ptr, a.col_ind, a.values, a.x, a.y, index,
                                        alpha, conj);
        });
  });
}

template <typename T, typename I, containerType C>
sycl::event gemv_default(sycl::queue& queue, transpose op, const sparseStructure& A,
                         container_t<C, T> x, T alpha, T beta, container_t<C, T> y,
                         const std::vector<sycl::event>& deps) {
  const bool transposed = op != transpose::nontrans;
  const auto rows = as_container<C, I>(A.row_ptr);
  const auto cols = as_container<C, I>(A.col_ind);
  const coo_operands<T, I, C> operands{
      {transposed ? cols : rows, transposed ? rows : cols, as_container<C, T>(A.values), x, y},
      transposed ? A.ncols : A.nrows,
      A.nnz,
      static_cast<I>(A.index != 0 ? 1 : 0),
      alpha,
      check_for_conj(op)};
  // Ordered compares: a zero or NaN beta clears y.
  const sycl::event prepared = above_or_below_zero(beta)
                                   ? scale_y<T, C>(queue, y, operands.out_len, beta, deps)
                                   : clear_y<T, C>(queue, y, operands.out_len, deps);
  if (!above_or_below_zero(alpha)) return prepared;
  // The gather kernel exists for USM alone; buffers are device memory by the rule.
  if constexpr (C == container_usm)
    if (is_host_memory<C>(queue, y)) return gather_without_atomics<T, I>(queue, operands, prepared);
  return scatter_atomic<T, I, C>(queue, operands, prepared);
}

}  // namespace orvane::vrt::sparse::gpu::coo
