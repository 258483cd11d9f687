// What the COO launchers receive: the COO arrays in the roles op gives them, the dense vectors
// and the scalars.
#pragma once

#include <cstdint>

#include "containers/views.hpp"
#include "gpu/operand_binding.hpp"

namespace orvane::vrt::sparse::gpu::coo {

// The two index slots of product_arrays carry, per nonzero, the element of y it adds into
// (row_ptr: the row index, or the column index for a transposed op) and the element of x it
// reads (col_ind); out_index() and in_index() name them by that role.
template <typename T, typename I, containerType C>
struct coo_operands : product_arrays<T, I, C> {
  std::int64_t out_len;
  std::int64_t nnz;
  I index;  // 0 or 1
  T alpha;
  bool conj;  // conjugate the matrix values (complex only)

  container_t<C, I> out_index() const { return this->row_ptr; }
  container_t<C, I> in_index() const { return this->col_ind; }
};

}  // namespace orvane::vrt::sparse::gpu::coo
