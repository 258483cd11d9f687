// What a trmv launcher receives: the matrix's arrays (the user's full rows for the default
// kernels, the strict triangle for the planned ones), x and y, the diagonal values the planned
// kernels add, and the per-call scalars.
#pragma once

#include <cstdint>
#include <orvane/vrt/sparse.hpp>

#include "gpu/operand_binding.hpp"
#include "gpu/triangular/triangle_side.hpp"

namespace orvane::vrt::sparse::gpu {

template <typename T, typename I, containerType C>
struct trmv_operands : product_arrays<T, I, C> {
  container_t<C, T> diag_values;  // nrows values; the planned kernels only
  triangle side;
  std::int64_t nrows;
  I index;  // 0 or 1
  T alpha;
  T beta;
  std::uint8_t diag_code;  // diag as the kernels receive it
};

}  // namespace orvane::vrt::sparse::gpu
