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

// Where the kernels put each row's diagonal, bound in one command group (pointers for USM,
// accessors for buffers); store() as store_diagonal.
template <typename T, typename I, typename ValueView, typename FlagView>
struct bound_diagonal {
  ValueView diag, inv_diag;
  FlagView status;
  std::uint32_t zero_flag;

  void store(I row, I position, const T* values) const {
    store_diagonal<T, I>(row, position, values, raw(diag), raw(inv_diag), raw(status), zero_flag);
  }
};

template <typename T, typename I, containerType C>
auto bind_diagonal(sycl::handler& h, const diag_operands<T, I, C>& op) {
  using ValueView = decltype(bind(h, op.diag, sycl::write_only));
  using FlagView = decltype(bind(h, op.status, sycl::read_write));
  return bound_diagonal<T, I, ValueView, FlagView>{
      bind(h, op.diag, sycl::write_only), bind(h, op.inv_diag, sycl::write_only),
      bind(h, op.status, sycl::read_write), op.zero_flag};
}

}  // namespace orvane::vrt::sparse::gpu::kernels
