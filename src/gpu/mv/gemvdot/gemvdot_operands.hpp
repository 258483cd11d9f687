// What the gemvdot launchers receive: the CSR arrays, x, y, the dot's target d and the scalars.
#pragma once

#include <cstdint>

#include "containers/views.hpp"
#include "gpu/operand_binding.hpp"

namespace orvane::vrt::sparse::gpu::gemvdot {

template <typename T, typename I, containerType C>
struct gemvdot_operands : product_arrays<T, I, C> {
  container_t<C, T> d;
  std::int64_t nrows;
  I index;  // 0 or 1
  T alpha;
  T beta;
};

}  // namespace orvane::vrt::sparse::gpu::gemvdot
