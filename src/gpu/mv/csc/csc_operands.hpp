// What a column-scatter launcher receives: the CSR arrays of A read as the columns of op(A),
// the dense vectors and the scalars.
#pragma once

#include <cstdint>
#include <sycl/sycl.hpp>
#include <vector>

#include "containers/views.hpp"
#include "gpu/operand_binding.hpp"
#include "handle/gemv_data.hpp"

namespace orvane::vrt::sparse::gpu::csc {

// x has length nrows, y length ncols.
template <typename T, typename I, containerType C>
struct scatter_operands : product_arrays<T, I, C> {
  std::int64_t nrows;
  std::int64_t ncols;
  I index;  // 0 or 1
  T alpha;
  T beta;
  bool conj;  // conjugate the matrix values (complex only)
};

template <typename T, typename I, containerType C>
using scatter_launcher = sycl::event (*)(sycl::queue& queue, const gemvInternalData& plan,
                                         const scatter_operands<T, I, C>& operands,
                                         const std::vector<sycl::event>& deps);

}  // namespace orvane::vrt::sparse::gpu::csc
