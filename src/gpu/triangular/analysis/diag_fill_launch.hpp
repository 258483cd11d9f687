// The per-row kernels of the diagonal analysis: values and flags (fillDiagPos1), split positions
// of sorted rows (fillDiagPos2), or both in one walk (fillDiagPos3).
#pragma once

#include <complex>
#include <cstdint>
#include <type_traits>
#include <vector>

#include <sycl/sycl.hpp>

#include "containers/views.hpp"

namespace orvane::vrt::sparse::gpu::kernels {

template <typename T, typename I, containerType C>
class fillDiagPos1;
template <typename I, containerType C>
class fillDiagPos2;
template <typename T, typename I, containerType C>
class fillDiagPos3;

// Complex values count as zero only when both parts are.
template <typename T>
bool diag_is_zero(const T& v) {
  return v == T(0);
}

// 1 / a; for complex values written out, so that every device rounds it the same way.
template <typename T>
T diag_reciprocal(const T& a) {
  if constexpr (std::is_floating_point_v<T>) {
    return T(1) / a;
  } else {
    using R = typename T::value_type;
    const R re = a.real(), im = a.imag();
    const R norm = re * re + im * im;
    return T(re / norm, -im / norm);
  }
}

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
// accessors for buffers). store(row, position, values): the value at position (without the
// base) and its reciprocal, or zeros and the missing flag (status[0]) when position is -1; a
// zero value raises the zero flag.
template <typename T, typename I, typename ValueView, typename FlagView>
struct bound_diagonal {
  ValueView diag, inv_diag;
  FlagView status;
  std::uint32_t zero_flag;

  void store(I row, I position, const T* values) const {
    T value(0), inverse(0);
    if (position < 0) {
      raw(status)[0] = I(1);
    } else {
      value = values[position];
      if (diag_is_zero(value))
        raw(status)[zero_flag] = I(1);
      else
        inverse = diag_reciprocal(value);
    }
    raw(diag)[row] = value;
    raw(inv_diag)[row] = inverse;
  }
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

// Whole unsorted rows: the first entry on the diagonal gives the value.
template <typename T, typename I, containerType C>
sycl::event fill_diag_values(sycl::queue& queue, const diag_operands<T, I, C>& op,
                             const std::vector<sycl::event>& deps) {
  return queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, deps);
    auto rp = bind(h, op.row_ptr, sycl::read_only);
    auto ci = bind(h, op.col_ind, sycl::read_only);
    auto va = bind(h, op.values, sycl::read_only);
    const auto out = bind_diagonal(h, op);
    const I base = op.index;
    h.parallel_for<fillDiagPos1<T, I, C>>(
        sycl::range<1>(static_cast<std::size_t>(op.nrows)), [=](sycl::id<1> id) {
          const I row = static_cast<I>(id[0]);
          I position = -1;
          for (I k = raw(rp)[row] - base; k < raw(rp)[row + 1] - base; ++k)
            if (raw(ci)[k] - base == row) {
              position = k;
              break;
            }
          out.store(row, position, raw(va));
        });
  });
}

// Sorted rows: where the strict lower part ends and the strict upper part starts, with the base.
template <typename I>
struct split_walk {
  I lower_end;
  I upper_start;
  I diagonal;  // position of the diagonal entry without the base, or -1
};

template <typename I>
split_walk<I> walk_sorted_row(const I* row_ptr, const I* col_ind, I base, I row) {
  const I start = row_ptr[row];
  const I length = row_ptr[row + 1] - start;
  split_walk<I> w{start, row_ptr[row + 1], I(-1)};
  for (I k = 0; k < length; ++k) {
    const I col = col_ind[start - base + k] - base;
    if (col < row) {
      w.lower_end = start + k + 1;
    } else if (col == row) {
      w.diagonal = start - base + k;
    } else {
      w.upper_start = start + k;
      break;
    }
  }
  return w;
}

template <typename I, containerType C>
sycl::event fill_diag_positions(sycl::queue& queue, std::int64_t nrows, I base,
                                container_t<C, I> row_ptr, container_t<C, I> col_ind,
                                container_t<C, I> lower_end, container_t<C, I> upper_start,
                                const std::vector<sycl::event>& deps) {
  return queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, deps);
    auto rp = bind(h, row_ptr, sycl::read_only);
    auto ci = bind(h, col_ind, sycl::read_only);
    auto le = bind(h, lower_end, sycl::write_only);
    auto us = bind(h, upper_start, sycl::write_only);
    h.parallel_for<fillDiagPos2<I, C>>(
        sycl::range<1>(static_cast<std::size_t>(nrows)), [=](sycl::id<1> id) {
          const I row = static_cast<I>(id[0]);
          const split_walk<I> w = walk_sorted_row<I>(raw(rp), raw(ci), base, row);
          raw(le)[row] = w.lower_end;
          raw(us)[row] = w.upper_start;
        });
  });
}

template <typename T, typename I, containerType C>
sycl::event fill_diag_values_and_positions(sycl::queue& queue, const diag_operands<T, I, C>& op,
                                           const std::vector<sycl::event>& deps) {
  return queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, deps);
    auto rp = bind(h, op.row_ptr, sycl::read_only);
    auto ci = bind(h, op.col_ind, sycl::read_only);
    auto va = bind(h, op.values, sycl::read_only);
    const auto out = bind_diagonal(h, op);
    auto le = bind(h, op.lower_end, sycl::write_only);
    auto us = bind(h, op.upper_start, sycl::write_only);
    const I base = op.index;
    h.parallel_for<fillDiagPos3<T, I, C>>(
        sycl::range<1>(static_cast<std::size_t>(op.nrows)), [=](sycl::id<1> id) {
          const I row = static_cast<I>(id[0]);
          const split_walk<I> w = walk_sorted_row<I>(raw(rp), raw(ci), base, row);
          raw(le)[row] = w.lower_end;
          raw(us)[row] = w.upper_start;
          out.store(row, w.diagonal, raw(va));
        });
  });
}

}  // namespace orvane::vrt::sparse::gpu::kernels
