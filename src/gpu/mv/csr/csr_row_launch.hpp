// Launchers of the row-per-work-item families (sycl::vec, sycl::marray) and of the default
// kernel. The accumulator length is a template argument of the kernel; the work-group size is
// not, since the bodies never read it.
#pragma once

#include <cstddef>
#include <orvane/vrt/sparse.hpp>
#include <type_traits>

#include "common/internal_error.hpp"
#include "gpu/mv/csr/csr_operands.hpp"
#include "gpu/mv/csr/csr_row_kernel.hpp"
#include "gpu/mv/design_names.hpp"
#include "gpu/operand_binding.hpp"

namespace orvane::vrt::sparse::gpu::csr {

namespace detail {

inline std::size_t row_group_size(const gemvInternalData& plan) {
  if (!is_row_group(plan.group_param)) internal_error(mv_words::gemv_csr);
  return static_cast<std::size_t>(plan.group_param);
}

enum class row_family { syclvec, marray };

template <row_family F, typename T, typename I, containerType C, int L>
sycl::event submit_row_kernel(sycl::queue& queue, std::size_t group,
                              const gemv_operands<T, I, C>& op,
                              const std::vector<sycl::event>& deps) {
  using name =
      std::conditional_t<F == row_family::syclvec, kernels::gemv_syclvec_csr_kernel<T, I, C, L>,
                         kernels::gemv_marray_csr_kernel<T, I, C, L>>;
  const auto nrows = static_cast<std::size_t>(op.nrows);
  const sycl::nd_range<1> grid((nrows + group - 1) / group * group, group);
  return queue.submit([&](sycl::handler& h) {
    const auto a = bind_product<C>(h, deps, op);
    const I index = op.index;
    const T alpha = op.alpha, beta = op.beta;
    h.parallel_for<name>(grid, [=](sycl::nd_item<1> item) {
      const std::size_t row = item.get_global_id(0);
      if (row >= nrows) return;
      if constexpr (F == row_family::syclvec)
        kernels::gemv_syclvec_row<T, I, L>(row, raw(a.row_ptr), raw(a.col_ind), raw(a.values),
                                           raw(a.x), raw(a.y), index, alpha, beta);
      else
        kernels::gemv_marray_row<T, I, L>(row, raw(a.row_ptr), raw(a.col_ind), raw(a.values),
                                          raw(a.x), raw(a.y), index, alpha, beta);
    });
  });
}

// The instance whose accumulator length is the plan's vector_param among Ls; any other value
// takes Fallback.
template <row_family F, typename T, typename I, containerType C, int Fallback, int... Ls>
sycl::event launch_by_length(sycl::queue& queue, const gemvInternalData& plan,
                             const gemv_operands<T, I, C>& op,
                             const std::vector<sycl::event>& deps) {
  const std::size_t group = row_group_size(plan);
  sycl::event done;
  const bool matched =
      ((plan.vector_param == Ls &&
        (done = submit_row_kernel<F, T, I, C, Ls>(queue, group, op, deps), true)) ||
       ...);
  if (!matched) done = submit_row_kernel<F, T, I, C, Fallback>(queue, group, op, deps);
  return done;
}

}  // namespace detail

// One work-item per row over a plain range: the kernel demands no work-group size.
template <typename T, typename I, containerType C>
sycl::event gemv_default(sycl::queue& queue, const gemvInternalData&,
                         const gemv_operands<T, I, C>& op, const std::vector<sycl::event>& deps) {
  return queue.submit([&](sycl::handler& h) {
    const auto a = bind_product<C>(h, deps, op);
    const I index = op.index;
    const T alpha = op.alpha, beta = op.beta;
    const bool conj = op.conj;
    h.parallel_for<kernels::gemv_default_csr_kernel<T, I, C>>(
        sycl::range<1>(static_cast<std::size_t>(op.nrows)), [=](sycl::id<1> i) {
          kernels::gemv_default_row<T, I>(i[0], raw(a.row_ptr), raw(a.col_ind), raw(a.values),
                                          raw(a.x), raw(a.y), index, alpha, beta, conj);
        });
  });
}

// Real values only: complex plans of this kind are rewritten to the marray family before launch.
template <typename T, typename I, containerType C>
sycl::event gemv_with_syclvec(sycl::queue& queue, const gemvInternalData& plan,
                              const gemv_operands<T, I, C>& op,
                              const std::vector<sycl::event>& deps) {
  if constexpr (is_complex_v<T>)
    internal_error(mv_words::gemv);
  else
    return detail::launch_by_length<detail::row_family::syclvec, T, I, C, 4, 8, 16>(queue, plan, op,
                                                                                    deps);
}

// The marray family takes no conjugation: the CSR path never needs it.
template <typename T, typename I, containerType C>
sycl::event gemv_with_marray(sycl::queue& queue, const gemvInternalData& plan,
                             const gemv_operands<T, I, C>& op,
                             const std::vector<sycl::event>& deps) {
  using detail::row_family;
  if constexpr (is_complex_v<T>)
    return detail::launch_by_length<row_family::marray, T, I, C, 8, 2, 4>(queue, plan, op, deps);
  else
    return detail::launch_by_length<row_family::marray, T, I, C, 16, 4, 8>(queue, plan, op, deps);
}

}  // namespace orvane::vrt::sparse::gpu::csr

#define VRT_INSTANTIATE_CSR_ROW_LAUNCHER(name, T, I, C)                     \
  template sycl::event name<T, I, C>(sycl::queue&, const gemvInternalData&, \
                                     const gemv_operands<T, I, C>&,         \
                                     const std::vector<sycl::event>&);
#define VRT_INSTANTIATE_CSR_ROW_LAUNCHERS(T, I, C)             \
  namespace orvane::vrt::sparse::gpu::csr {                    \
  VRT_INSTANTIATE_CSR_ROW_LAUNCHER(gemv_default, T, I, C)      \
  VRT_INSTANTIATE_CSR_ROW_LAUNCHER(gemv_with_syclvec, T, I, C) \
  VRT_INSTANTIATE_CSR_ROW_LAUNCHER(gemv_with_marray, T, I, C)  \
  }
