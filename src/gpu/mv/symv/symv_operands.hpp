// What the symv launchers receive: the CSR arrays of the stored triangle, the dense vectors, the
// scalars and which triangle is stored.
#pragma once

#include <cstdint>

#include "containers/views.hpp"
#include "gpu/operand_binding.hpp"

namespace orvane::vrt::sparse::gpu::symv {

template <typename T, typename I, containerType C>
struct symv_operands : product_arrays<T, I, C> {
  std::int64_t nrows;
  I index;  // 0 or 1
  T alpha;
  T beta;
  bool upper;  // the stored triangle
};

}  // namespace orvane::vrt::sparse::gpu::symv
