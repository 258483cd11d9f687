// What the level-set kernels of one solve read and write: the coloured strict part of the chosen
// side as a product's matrix, the coloured right-hand side as its x and the coloured solution as
// its y, with the diagonal reciprocals, the color starts and the per-call scalars.
#pragma once

#include <cstddef>
#include <sycl/sycl.hpp>
#include <vector>

#include "containers/views.hpp"
#include "gpu/operand_binding.hpp"
#include "gpu/triangular/levelset/row_update_kernel.hpp"
#include "gpu/triangular/triangle_side.hpp"
#include "handle/triangular_data.hpp"

namespace orvane::vrt::sparse::gpu {

// Positions per work-group of the permutation, one-group and per-color kernels; a narrow color
// (at most this many rows) fits one such group.
inline constexpr std::size_t levelset_group = 256;

// row_ptr: row starts over positions; col_ind: columns as positions; x: rhs_colored;
// y: sol_colored.
template <typename T, typename I, containerType C>
struct levelset_operands : product_arrays<T, I, C> {
  triangle side;
  std::size_t nrows;
  T alpha;
  bool nonunit;
  container_t<C, I> color_ptr;  // the device copy
  container_t<C, T> inv_diag;
};

template <typename T, typename I, containerType C>
levelset_operands<T, I, C> make_levelset_operands(const coloringData& d, triangle side, T alpha,
                                                  bool nonunit) {
  const bool lower = side == triangle::lower;
  return {{as_container<C, I>(lower ? d.lower_ptr : d.upper_ptr),
           as_container<C, I>(lower ? d.lower_col : d.upper_col),
           as_container<C, T>(lower ? d.lower_val : d.upper_val), as_container<C, T>(d.rhs_colored),
           as_container<C, T>(d.sol_colored)},
          side,
          static_cast<std::size_t>(d.nrows),
          alpha,
          nonunit,
          as_container<C, I>(d.color_ptr_device),
          as_container<C, T>(d.inv_diag_colored)};
}

// What the row update reads and writes, bound in one command group (pointers for USM, accessors
// for buffers), with the per-call scalars; solve(p) updates position p.
template <typename T, typename I, typename IndexView, typename ValueView, typename SolutionView>
struct bound_row_update {
  IndexView ptr, col;
  ValueView val, inv_diag, rhs;
  SolutionView sol;
  T alpha;
  bool nonunit;

  void solve(std::size_t p) const {
    kernels::levelset_update_position<T, I>(p, raw(ptr), raw(col), raw(val), raw(inv_diag),
                                            raw(rhs), raw(sol), alpha, nonunit);
  }
};

// The row update's arrays bound in one command group after deps: the product's five and the
// diagonal reciprocals.
template <typename T, typename I, containerType C>
auto bind_row_update(sycl::handler& h, const std::vector<sycl::event>& deps,
                     const levelset_operands<T, I, C>& op) {
  const auto a = bind_product<C>(h, deps, op);
  const auto inv_diag = std::get<0>(bind_reads(h, op.inv_diag));
  return bound_row_update<T, I, decltype(a.row_ptr), decltype(a.values), decltype(a.y)>{
      a.row_ptr, a.col_ind, a.values, inv_diag, a.x, a.y, op.alpha, op.nonunit};
}

inline std::size_t round_up_to_group(std::size_t n) {
  return (n + levelset_group - 1) / levelset_group * levelset_group;
}

}  // namespace orvane::vrt::sparse::gpu
