// The product without planning: one work-item per row scans the user's full row and keeps the
// entries of the triangle.
#pragma once

#include <cstddef>
#include <cstdint>
#include <orvane/vrt/sparse.hpp>
#include <sycl/sycl.hpp>
#include <tuple>
#include <vector>

#include "containers/views.hpp"
#include "gpu/triangular/design_names.hpp"
#include "gpu/triangular/triangle_side.hpp"
#include "gpu/triangular/trmv/default_trmv_kernel.hpp"
#include "gpu/triangular/trmv/trmv_operands.hpp"
#include "handle/handle.hpp"

namespace orvane::vrt::sparse::gpu {

template <typename T, typename I, containerType C>
sycl::event submit_default_trmv(sycl::queue& queue, const trmv_operands<T, I, C>& op,
                                const std::vector<sycl::event>& deps) {
  auto launch = [&](auto name) {
    using Name = typename decltype(name)::type;
    return queue.submit([&](sycl::handler& h) {
      const auto a = bind_product<C>(h, deps, op);
      const bool upper = op.side == triangle::upper;
      const I index = op.index;
      const T alpha = op.alpha, beta = op.beta;
      const std::uint8_t diag_code = op.diag_code;
      h.parallel_for<Name>(sycl::range<1>(static_cast<std::size_t>(op.nrows)), [=](sycl::id<1> i) {
        kernels::trmv_default_row<T, I>(upper, i[0], raw(a.row_ptr), raw(a.col_ind), raw(a.values),
                                        raw(a.x), raw(a.y), index, alpha, beta, diag_code);
      });
    });
  };
  return launch_for_side<kernels::def_trmv_lower_csr_kernel<T, I, C>,
                         kernels::def_trmv_upper_csr_kernel<T, I, C>>(op.side, launch);
}

// The default product on structure s (the primary: any index base, rows in any order).
template <typename T, typename I, containerType C>
sycl::event def_trmv_kernel_impl(sycl::queue& queue, uplo which, diag diagonal, sparseStructure* s,
                                 T alpha, T beta, container_t<C, T> x, container_t<C, T> y,
                                 const std::vector<sycl::event>& deps) {
  const trmv_operands<T, I, C> op{{as_container<C, I>(s->row_ptr), as_container<C, I>(s->col_ind),
                                   as_container<C, T>(s->values), x, y},
                                  {},
                                  side_of(which),
                                  s->nrows,
                                  static_cast<I>(s->index != 0 ? 1 : 0),
                                  alpha,
                                  beta,
                                  static_cast<std::uint8_t>(diagonal)};
  return submit_default_trmv<T, I, C>(queue, op, deps);
}

}  // namespace orvane::vrt::sparse::gpu
