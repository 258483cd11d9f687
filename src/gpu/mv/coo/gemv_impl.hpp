// The COO product, one nonzero at a time: y is scaled or cleared first, then each nonzero adds
// into its output element with device atomics, or, for y that cannot take them, each output
// element gathers its nonzeros by a scan of all of them.
#pragma once

#include <cstddef>
#include <vector>

#include <orvane/vrt/sparse.hpp>

#include "gpu/mv/atomic_add.hpp"
#include "gpu/mv/coo/gemv_entry.hpp"
#include "gpu/operand_binding.hpp"
#include "gpu/mv/scale_y.hpp"
#include "gpu/mv/y_memory.hpp"
#include "handle/gemv_data.hpp"
#include "handle/select_structure.hpp"
#include "handle/value_types.hpp"

namespace orvane::vrt::sparse::gpu::coo {

namespace kernels {
template <typename T, typename I, containerType C>
class gemv_coo_default_kernel;
template <typename T, typename I>
class gemv_coo_default_non_atomics_kernel;
}  // namespace kernels

// The arrays in the roles op gives them: out_index picks the element of y, in_index that of x.
template <typename T, typename I, containerType C>
struct coo_operands {
  container_t<C, I> out_index;
  container_t<C, I> in_index;
  container_t<C, T> values;
  container_t<C, T> x;
  container_t<C, T> y;
  std::int64_t out_len;
  std::int64_t nnz;
  I index;
  T alpha;
  bool conj;
};

template <typename T, typename I, containerType C>
sycl::event scatter_atomic(sycl::queue& queue, const coo_operands<T, I, C>& op,
                           const sycl::event& prepared) {
  return queue.submit([&](sycl::handler& h) {
    const auto [oi, ii, va, xv, yv] =
        bind_product<C>(h, {prepared}, op.out_index, op.in_index, op.values, op.x, op.y);
    const I index = op.index;
    const T alpha = op.alpha;
    const bool conj = op.conj;
    h.parallel_for<kernels::gemv_coo_default_kernel<T, I, C>>(
        sycl::range<1>(static_cast<std::size_t>(op.nnz)), [=](sycl::id<1> id) {
          const std::size_t k = id[0];
          const T t = conjugate_if(raw(va)[k], conj) * alpha * raw(xv)[raw(ii)[k] - index];
          atomic_add(raw(yv)[raw(oi)[k] - index], t);
        });
  });
}

// USM only: a work-item per output element, so y takes plain writes.
template <typename T, typename I>
sycl::event gather_without_atomics(sycl::queue& queue, const coo_operands<T, I, container_usm>& op,
                                   const sycl::event& prepared) {
  return queue.submit([&](sycl::handler& h) {
    h.depends_on(prepared);
    const I* out_index = op.out_index;
    const I* in_index = op.in_index;
    const T* values = op.values;
    const T* x = op.x;
    T* y = op.y;
    const auto nnz = static_cast<std::size_t>(op.nnz);
    const I index = op.index;
    const T alpha = op.alpha;
    const bool conj = op.conj;
    h.parallel_for<kernels::gemv_coo_default_non_atomics_kernel<T, I>>(
        sycl::range<1>(static_cast<std::size_t>(op.out_len)), [=](sycl::id<1> id) {
          const auto i = static_cast<I>(id[0]);
          T sum = T(0);
          for (std::size_t k = 0; k < nnz; ++k)
            if (out_index[k] - index == i)
              sum += conjugate_if(values[k], conj) * x[in_index[k] - index];
          y[id[0]] += alpha * sum;
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
  const coo_operands<T, I, C> operands{transposed ? cols : rows,
                                       transposed ? rows : cols,
                                       as_container<C, T>(A.values),
                                       x,
                                       y,
                                       transposed ? A.ncols : A.nrows,
                                       A.nnz,
                                       static_cast<I>(A.index != 0 ? 1 : 0),
                                       alpha,
                                       check_for_conj(op)};
  // Ordered compares: a zero or NaN beta clears y.
  const sycl::event prepared =
      above_or_below_zero(beta) ? scale_y<T, C>(queue, y, operands.out_len, beta, deps)
                                : clear_y<T, C>(queue, y, operands.out_len, deps);
  if (!above_or_below_zero(alpha)) return prepared;
  if constexpr (C == container_usm)
    if (y_refuses_atomics<C, T>(queue, y)) return gather_without_atomics<T, I>(queue, operands, prepared);
  return scatter_atomic<T, I, C>(queue, operands, prepared);
}

template <typename T, typename I, containerType C>
sycl::event gemv_impl(sycl::queue& queue, transpose op, T alpha, sparseStructure* A,
                      container_t<C, T> x, T beta, container_t<C, T> y,
                      const std::vector<sycl::event>& deps) {
  if (A == nullptr) throw uninitialized("sparse", "gemv", "Matrix is not initialized");
  if (A->format != format_coo) throw computation_error("sparse", "gemv", "internal error");
  // An operation outside the three is refused as the CSR path's structure choice refuses it,
  // never run as some other product.
  if (op != transpose::nontrans && op != transpose::trans && op != transpose::conjtrans)
    throw computation_error("sparse", "", "internal error");
  if (A->gemv_data == nullptr) initGemvInternalData(&A->gemv_data);
  A->gemv_data->kernel_kind = gemv_kind_default;
  return gemv_default<T, I, C>(queue, op, *A, x, alpha, beta, y, deps);
}

}  // namespace orvane::vrt::sparse::gpu::coo

#define VRT_INSTANTIATE_GPU_COO_GEMV(T, I, C)                                                 \
  namespace orvane::vrt::sparse::gpu::coo {                                                   \
  template sycl::event gemv_impl<T, I, C>(sycl::queue&, transpose, T, sparseStructure*,       \
                                          container_t<C, T>, T, container_t<C, T>,            \
                                          const std::vector<sycl::event>&);                   \
  }
