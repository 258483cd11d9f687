// The default triangular solve: one work-item walks the rows in order on the user's CSR arrays
// and divides by the diagonal entry.
#pragma once

#include <cstdint>
#include <orvane/vrt/sparse.hpp>
#include <sycl/sycl.hpp>
#include <vector>

#include "containers/views.hpp"
#include "gpu/triangular/analysis/diag_data.hpp"
#include "gpu/triangular/default/default_trsv_kernel.hpp"
#include "gpu/triangular/default/default_trsv_operands.hpp"
#include "gpu/triangular/design_names.hpp"
#include "handle/handle.hpp"

namespace orvane::vrt::sparse::gpu {

template <typename T, typename I, containerType C>
sycl::event submit_default_solve(sycl::queue& queue, const default_trsv_operands<T, I, C>& op,
                                 const std::vector<sycl::event>& deps) {
  auto launch = [&](auto name) {
    using Name = typename decltype(name)::type;
    return queue.submit([&](sycl::handler& h) {
      const auto a = bind_product<C>(h, deps, op);
      const bool upper = op.side == triangle::upper;
      const I n = static_cast<I>(op.nrows);
      const I base = op.base;
      const T alpha = op.alpha;
      const std::uint8_t diag_code = op.diag_code;
      h.single_task<Name>([=] {
        kernels::solve_rows<T, I>(upper, n, raw(a.row_ptr), raw(a.col_ind), raw(a.values), base,
                                  alpha, raw(a.x), raw(a.y), diag_code);
      });
    });
  };
  return launch_for_side<kernels::trsvLowerKernel<T, I, C>, kernels::trsvUpperKernel<T, I, C>>(
      op.side, launch);
}

// The solve of `side` without analysis. The first solve on a handle pays for the diagonal check;
// later ones find the record.
template <typename T, typename I, containerType C>
sycl::event default_trsv(sycl::queue& queue, triangle side, diag diagonal, T alpha,
                         matrix_handle* A, container_t<C, T> x, container_t<C, T> y,
                         const event_list& deps) {
  sparseStructure* s = A->primary;
  std::vector<sycl::event> chain = deps;
  if (diagonal == diag::nonunit)
    chain.push_back(updateDiagData_and_check_for_missing_diags<T, I, C>(
        queue, s, &A->diag_values, false, &A->diag_struct, diagonal, triangular_names::trsv, deps));
  const default_trsv_operands<T, I, C> op{
      {as_container<C, I>(s->row_ptr), as_container<C, I>(s->col_ind),
       as_container<C, T>(s->values), x, y},
      side,
      s->nrows,
      alpha,
      static_cast<I>(s->index != 0 ? 1 : 0),
      static_cast<std::uint8_t>(diagonal)};
  return submit_default_solve<T, I, C>(queue, op, chain);
}

}  // namespace orvane::vrt::sparse::gpu
