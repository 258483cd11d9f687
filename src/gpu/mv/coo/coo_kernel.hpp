// Work-item bodies of the COO product, one nonzero or one output element per work-item.
#pragma once

#include <cstddef>

#include "gpu/mv/atomic_add.hpp"
#include "handle/value_types.hpp"

namespace orvane::vrt::sparse::gpu::coo::kernels {

// Nonzero k adds alpha * value * x into its element of y with device atomics.
template <typename T, typename I>
void scatter_nonzero(std::size_t k, const I* out_index, const I* in_index, const T* values,
                     const T* x, T* y, I index, T alpha, bool conj) {
  const T t = conjugate_if(values[k], conj) * alpha * x[in_index[k] - index];
  atomic_add(y[out_index[k] - index], t);
}

// Output element e gathers its nonzeros by a scan of all nnz of them in order, so y takes a
// plain write.
template <typename T, typename I>
void gather_element(std::size_t e, std::size_t nnz, const I* out_index, const I* in_index,
                    const T* values, const T* x, T* y, I index, T alpha, bool conj) {
  const auto i = static_cast<I>(e);
  T sum = T(0);
  for (std::size_t k = 0; k < nnz; ++k)
    if (out_index[k] - index == i) sum += conjugate_if(values[k], conj) * x[in_index[k] - index];
  y[e] += alpha * sum;
}

}  // namespace orvane::vrt::sparse::gpu::coo::kernels
