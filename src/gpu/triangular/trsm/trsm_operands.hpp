// What the trsm kernels read and write. The tile solve reuses the level-set record of the
// coloured triangle with the two tiles in place of the coloured vectors; the default solve reads
// the user's CSR arrays with X and Y as the product's two dense operands.
#pragma once

#include <cstddef>
#include <cstdint>
#include <sycl/sycl.hpp>
#include <vector>

#include "containers/containers.hpp"
#include "containers/views.hpp"
#include "gpu/operand_binding.hpp"
#include "gpu/triangular/levelset/levelset_operands.hpp"
#include "gpu/triangular/triangle_side.hpp"
#include "gpu/triangular/trsm/tile_kernel.hpp"

namespace orvane::vrt::sparse::gpu {

// A per-call work area, or null when it cannot be had: the runtime may refuse a buffer's storage
// by an exception rather than by a null.
template <typename T>
void* try_allocate(std::size_t count, sycl::queue& queue, containerType container) {
  try {
    return allocate_device_container<T>(count, queue, container);
  } catch (const sycl::exception&) {
    return nullptr;
  }
}

// A dense operand's addressing: element (r, c) at r * ld + c in row-major, c * ld + r otherwise.
struct dense_shape {
  bool row_major;
  std::size_t ld;
};

// x: x_tile, y: y_tile (row length `tile`), the rest as for the level-set solve of the side.
template <typename T, typename I, containerType C>
struct tile_operands {
  levelset_operands<T, I, C> set;
  container_t<C, I> row_of_position;
  std::size_t tile;
};

// The tile solve's arrays bound in one command group (pointers for USM, accessors for
// buffers); solve(p, j) solves dense column j of position p.
template <typename T, typename I, typename IndexView, typename ValueView, typename TileView>
struct bound_tile_update {
  IndexView ptr, col;
  ValueView val, inv_diag, x_tile;
  TileView y_tile;
  std::size_t tile;
  T alpha;
  bool nonunit;

  void solve(std::size_t p, std::size_t j) const {
    kernels::tile_update_entry<T, I>(p, j, tile, raw(ptr), raw(col), raw(val), raw(inv_diag),
                                     raw(x_tile), raw(y_tile), alpha, nonunit);
  }
};

template <typename T, typename I, containerType C>
auto bind_tile_update(sycl::handler& h, const std::vector<sycl::event>& deps,
                      const tile_operands<T, I, C>& op) {
  const auto a = bind_product<C>(h, deps, op.set);
  const auto inv_diag = std::get<0>(bind_reads(h, op.set.inv_diag));
  return bound_tile_update<T, I, decltype(a.row_ptr), decltype(a.values), decltype(a.y)>{
      a.row_ptr, a.col_ind, a.values, inv_diag, a.x, a.y, op.tile, op.set.alpha, op.set.nonunit};
}

// The default solve: row_ptr, col_ind, values of the user's matrix, x: X, y: Y.
template <typename T, typename I, containerType C>
struct default_trsm_operands : product_arrays<T, I, C> {
  triangle side;
  std::int64_t nrows;
  std::int64_t columns;
  T alpha;
  I base;
  bool unit;
  dense_shape x_shape;
  dense_shape y_shape;
};

}  // namespace orvane::vrt::sparse::gpu
