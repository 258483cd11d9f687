// Launcher of the explicit-SIMD family (real values, architecture codes 5 and up): 4 or 8 rows
// per work-item, width 32.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include <orvane/vrt/sparse.hpp>

#include "gpu/mv/csr/esimd_kernels.hpp"
#include "gpu/mv/csr/gemv_operands.hpp"
#include "handle/value_types.hpp"

namespace orvane::vrt::sparse::gpu::csr {

namespace kernels {
template <typename T, typename I, containerType C, int Rows>
class gemv_esimd_csr_kernel;
}  // namespace kernels

namespace detail {

inline constexpr std::int32_t esimd_width = 32;
// Rows per work-item: the plan tables name the larger; a plan set by hand may name the smaller.
inline constexpr std::int32_t esimd_rows_small = 4;
inline constexpr std::int32_t esimd_rows_large = 8;
// The first architecture code whose devices run explicit-SIMD kernels.
inline constexpr std::int32_t first_esimd_architecture = 5;

template <typename T, typename I, containerType C, int Rows>
sycl::event submit_esimd(sycl::queue& queue, const gemv_operands<T, I, C>& op,
                         const std::vector<sycl::event>& deps) {
  const auto nrows = static_cast<std::size_t>(op.nrows);
  return queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, deps);
    auto rp = bind(h, op.row_ptr, sycl::read_only);
    auto ci = bind(h, op.col_ind, sycl::read_only);
    auto va = bind(h, op.values, sycl::read_only);
    auto xv = bind(h, op.x, sycl::read_only);
    auto yv = bind(h, op.y, sycl::read_write);
    const I index = op.index;
    const T alpha = op.alpha, beta = op.beta;
    h.parallel_for<kernels::gemv_esimd_csr_kernel<T, I, C, Rows>>(
        sycl::range<1>((nrows + Rows - 1) / Rows), [=](sycl::id<1> id) {
          kernels::gemv_esimd_rows<T, I, Rows, esimd_width>(id[0], nrows, raw(rp), raw(ci),
                                                            raw(va), raw(xv), raw(yv), index,
                                                            alpha, beta);
        });
  });
}

}  // namespace detail

// Complex plans of this kind are rewritten to the sub-group family before launch.
template <typename T, typename I, containerType C>
sycl::event gemv_with_esimd(sycl::queue& queue, const gemvInternalData& plan,
                            const gemv_operands<T, I, C>& op,
                            const std::vector<sycl::event>& deps) {
  using namespace detail;
  if (plan.device_data->architecture < first_esimd_architecture ||
      plan.vector_param != esimd_width)
    throw computation_error("sparse", "gemv csr", "internal error");
  if constexpr (is_complex_v<T>) {
    throw computation_error("sparse", "gemv csr", "internal error");
  } else {
    if (plan.group_param == esimd_rows_small)
      return submit_esimd<T, I, C, esimd_rows_small>(queue, op, deps);
    if (plan.group_param == esimd_rows_large)
      return submit_esimd<T, I, C, esimd_rows_large>(queue, op, deps);
    throw computation_error("sparse", "gemv csr", "internal error");
  }
}

}  // namespace orvane::vrt::sparse::gpu::csr

#define VRT_INSTANTIATE_CSR_ESIMD_LAUNCHER(T, I, C)                                        \
  template sycl::event orvane::vrt::sparse::gpu::csr::gemv_with_esimd<T, I, C>(            \
      sycl::queue&, const orvane::vrt::sparse::gemvInternalData&,                          \
      const orvane::vrt::sparse::gpu::csr::gemv_operands<T, I, C>&,                        \
      const std::vector<sycl::event>&);
