// What the level-set kernels of one solve read and write: the coloured triangle of the chosen
// side, the work areas and the per-call scalars, as containers of the handle's memory model.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "containers/views.hpp"
#include "handle/triangular_data.hpp"

namespace orvane::vrt::sparse::gpu {

enum class triangle { lower, upper };

// Positions per work-group of the permutation, one-group and per-color kernels; a narrow color
// (at most this many rows) fits one such group.
inline constexpr std::size_t levelset_group = 256;

template <typename T, typename I, containerType C>
struct levelset_operands {
  triangle side;
  std::size_t nrows;
  T alpha;
  bool nonunit;
  container_t<C, I> color_ptr;  // the device copy
  container_t<C, I> ptr;        // coloured strict part of the side: row starts over positions
  container_t<C, I> col;
  container_t<C, T> val;
  container_t<C, T> inv_diag;
  container_t<C, T> rhs;
  container_t<C, T> sol;
};

template <typename T, typename I, containerType C>
levelset_operands<T, I, C> make_levelset_operands(const coloringData& d, triangle side, T alpha,
                                                  bool nonunit) {
  const bool lower = side == triangle::lower;
  return {side,
          static_cast<std::size_t>(d.nrows),
          alpha,
          nonunit,
          as_container<C, I>(d.color_ptr_device),
          as_container<C, I>(lower ? d.lower_ptr : d.upper_ptr),
          as_container<C, I>(lower ? d.lower_col : d.upper_col),
          as_container<C, T>(lower ? d.lower_val : d.upper_val),
          as_container<C, T>(d.inv_diag_colored),
          as_container<C, T>(d.rhs_colored),
          as_container<C, T>(d.sol_colored)};
}

// Each kernel of a solve has one name per side: launch(std::type_identity<Lower>{}) for the
// lower side, launch(std::type_identity<Upper>{}) for the upper.
template <typename Lower, typename Upper, typename Launch>
sycl::event launch_for_side(triangle side, Launch&& launch) {
  return side == triangle::lower ? launch(std::type_identity<Lower>{})
                                 : launch(std::type_identity<Upper>{});
}

inline std::size_t round_up_to_group(std::size_t n) {
  return (n + levelset_group - 1) / levelset_group * levelset_group;
}

}  // namespace orvane::vrt::sparse::gpu
