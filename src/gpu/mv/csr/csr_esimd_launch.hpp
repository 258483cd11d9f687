// Launcher of the explicit-SIMD family (real values, architecture codes 5 and up): 4 or 8 rows
// per work-item, width 32.
#pragma once

#include <cstddef>
#include <cstdint>
#include <orvane/vrt/sparse.hpp>
#include <vector>

#include "common/internal_error.hpp"
#include "gpu/mv/csr/csr_esimd_kernel.hpp"
#include "gpu/mv/csr/csr_operands.hpp"
#include "gpu/mv/design_names.hpp"
#include "gpu/operand_binding.hpp"
#include "handle/value_types.hpp"
#include "platform/architecture.hpp"

namespace orvane::vrt::sparse::gpu::csr {

namespace detail {

inline constexpr std::int32_t esimd_width = 32;
// Rows per work-item: the plan tables name the larger; a plan set by hand may name the smaller.
inline constexpr std::int32_t esimd_rows_small = 4;
inline constexpr std::int32_t esimd_rows_large = 8;

template <typename T, typename I, containerType C, int Rows>
sycl::event submit_esimd(sycl::queue& queue, const gemv_operands<T, I, C>& op,
                         const std::vector<sycl::event>& deps) {
  const auto nrows = static_cast<std::size_t>(op.nrows);
  return queue.submit([&](sycl::handler& h) {
    const auto a = bind_product<C>(h, deps, op);
    const I index = op.index;
    const T alpha = op.alpha, beta = op.beta;
    h.parallel_for<kernels::gemv_esimd_csr_kernel<T, I, C, Rows>>(
        sycl::range<1>((nrows + Rows - 1) / Rows), [=](sycl::id<1> id) {
          kernels::gemv_esimd_rows<T, I, Rows, esimd_width>(id[0], nrows, raw(a.row_ptr),
                                                            raw(a.col_ind), raw(a.values), raw(a.x),
                                                            raw(a.y), index, alpha, beta);
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
  if (!has_explicit_simd_gemv(architecture_from_code(plan.device_data->architecture)) ||
      plan.vector_param != esimd_width)
    internal_error(mv_words::gemv_csr);
  if constexpr (is_complex_v<T>) {
    internal_error(mv_words::gemv_csr);
  } else {
    if (plan.group_param == esimd_rows_small)
      return submit_esimd<T, I, C, esimd_rows_small>(queue, op, deps);
    if (plan.group_param == esimd_rows_large)
      return submit_esimd<T, I, C, esimd_rows_large>(queue, op, deps);
    internal_error(mv_words::gemv_csr);
  }
}

}  // namespace orvane::vrt::sparse::gpu::csr

#define VRT_INSTANTIATE_CSR_ESIMD_LAUNCHER(T, I, C)                             \
  template sycl::event orvane::vrt::sparse::gpu::csr::gemv_with_esimd<T, I, C>( \
      sycl::queue&, const orvane::vrt::sparse::gemvInternalData&,               \
      const orvane::vrt::sparse::gpu::csr::gemv_operands<T, I, C>&,             \
      const std::vector<sycl::event>&);
