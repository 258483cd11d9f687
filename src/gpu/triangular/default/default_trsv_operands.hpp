// What the default solve reads and writes: the user's CSR arrays as a product's matrix, x the
// right-hand side, y the solution, with the per-call scalars.
#pragma once

#include <cstdint>

#include "gpu/operand_binding.hpp"
#include "gpu/triangular/triangle_side.hpp"

namespace orvane::vrt::sparse::gpu {

template <typename T, typename I, containerType C>
struct default_trsv_operands : product_arrays<T, I, C> {
  triangle side;
  std::int64_t nrows;
  T alpha;
  I base;
  std::uint8_t diag_code;
};

}  // namespace orvane::vrt::sparse::gpu
