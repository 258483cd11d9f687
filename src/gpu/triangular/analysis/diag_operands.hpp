// What the diagonal analysis kernels read and write: the structure's CSR arrays, the diagonal
// and its reciprocals, the flags, and the split positions.
#pragma once

#include <cstdint>

#include <sycl/sycl.hpp>

#include "containers/views.hpp"
#include "gpu/triangular/analysis/diag_kernel.hpp"

namespace orvane::vrt::sparse::gpu::kernels {

// The arrays the analysis kernels read and write; unused members stay null.
template <typename T, typename I, containerType C>
struct diag_operands {
  container_t<C, I> row_ptr;
  container_t<C, I> col_ind;
  container_t<C, T> values;
  container_t<C, T> diag;
  container_t<C, T> inv_diag;
  container_t<C, I> status;
  container_t<C, I> lower_end;
  container_t<C, I> upper_start;
  std::int64_t nrows;
  I index;
  std::uint32_t zero_flag;  // position of the zero flag in status; the missing flag is at 0
};

template <typename T, typename I, containerType C>
auto bind_diagonal(sycl::handler& h, const diag_operands<T, I, C>& op) {
  using ValueView = decltype(bind(h, op.diag, sycl::write_only));
  using FlagView = decltype(bind(h, op.status, sycl::read_write));
  return bound_diagonal<T, I, ValueView, FlagView>{bind(h, op.diag, sycl::write_only),
                                                   bind(h, op.inv_diag, sycl::write_only),
                                                   bind(h, op.status, sycl::read_write),
                                                   op.zero_flag};
}

}  // namespace orvane::vrt::sparse::gpu::kernels
