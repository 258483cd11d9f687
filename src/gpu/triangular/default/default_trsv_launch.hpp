// The default triangular solve: one work-item walks the rows in order on the user's CSR arrays,
// unsorted rows and entries of the other triangle included, and divides by the diagonal entry.
#pragma once

#include <cstdint>
#include <vector>

#include <sycl/sycl.hpp>

#include <orvane/vrt/sparse.hpp>

#include "containers/views.hpp"
#include "gpu/entry_points.hpp"
#include "gpu/triangular/analysis/diag_data.hpp"

namespace orvane::vrt::sparse::gpu {

namespace kernels {
template <typename T, typename I, containerType C>
class trsvLowerKernel;
template <typename T, typename I, containerType C>
class trsvUpperKernel;

// diag as the kernels receive it.
inline constexpr std::uint8_t unit_diag_code = static_cast<std::uint8_t>(diag::unit);

// Row r of the solve: x[r] * alpha less the solved part of the row, over the diagonal entry.
template <typename T, typename I>
void solve_row(bool upper, I r, const I* rp, const I* ci, const T* va, I base, T alpha,
               const T* x, T* y, std::uint8_t diag_code) {
  T t = x[r] * alpha;
  T d(0);
  for (I k = rp[r] - base; k < rp[r + 1] - base; ++k) {
    const I c = ci[k] - base;
    if (c == r)
      d = va[k];
    else if (upper ? c > r : c < r)
      t -= va[k] * y[c];
  }
  y[r] = t / (diag_code == unit_diag_code ? T(1) : d);
}

template <typename Name, typename T, typename I, containerType C>
sycl::event submit_default_solve(sycl::queue& queue, bool upper, std::int64_t nrows,
                                 container_t<C, I> row_ptr, T alpha, container_t<C, T> x,
                                 container_t<C, T> values, I base, container_t<C, I> col_ind,
                                 container_t<C, T> y, std::uint8_t diag_code,
                                 const std::vector<sycl::event>& deps) {
  return queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, deps);
    auto rp = bind(h, row_ptr, sycl::read_only);
    auto xv = bind(h, x, sycl::read_only);
    auto va = bind(h, values, sycl::read_only);
    auto ci = bind(h, col_ind, sycl::read_only);
    auto yv = bind(h, y, sycl::read_write);
    const I n = static_cast<I>(nrows);
    h.single_task<Name>([=] {
      if (upper) {
        for (I r = n - 1; r >= 0; --r)
          solve_row<T, I>(true, r, raw(rp), raw(ci), raw(va), base, alpha, raw(xv), raw(yv),
                          diag_code);
      } else {
        for (I r = 0; r < n; ++r)
          solve_row<T, I>(false, r, raw(rp), raw(ci), raw(va), base, alpha, raw(xv), raw(yv),
                          diag_code);
      }
    });
  });
}
}  // namespace kernels

namespace detail {

template <typename T, typename I, containerType C, bool Upper>
sycl::event default_trsv(sycl::queue& queue, diag diagonal, T alpha, matrix_handle* A,
                         container_t<C, T> x, container_t<C, T> y, const event_list& deps) {
  sparseStructure* s = A->primary;
  std::vector<sycl::event> chain = deps;
  // The first solve on a handle pays for the diagonal check; later ones find the record.
  if (diagonal == diag::nonunit)
    chain.push_back(updateDiagData_and_check_for_missing_diags<T, I, C>(
        queue, s, &A->diag_values, false, &A->diag_struct, diagonal, "trsv", deps));
  using name = std::conditional_t<Upper, kernels::trsvUpperKernel<T, I, C>,
                                  kernels::trsvLowerKernel<T, I, C>>;
  return kernels::submit_default_solve<name, T, I, C>(
      queue, Upper, s->nrows, as_container<C, I>(s->row_ptr), alpha, x,
      as_container<C, T>(s->values), static_cast<I>(s->index != 0 ? 1 : 0),
      as_container<C, I>(s->col_ind), y, static_cast<std::uint8_t>(diagonal), chain);
}

}  // namespace detail

template <typename T, typename I, containerType C>
sycl::event defTrsvLower_impl(sycl::queue& queue, uplo, transpose, diag diagonal, T alpha,
                              matrix_handle* A, container_t<C, T> x, container_t<C, T> y,
                              const event_list& deps) {
  return detail::default_trsv<T, I, C, false>(queue, diagonal, alpha, A, x, y, deps);
}

template <typename T, typename I, containerType C>
sycl::event defTrsvUpper_impl(sycl::queue& queue, uplo, transpose, diag diagonal, T alpha,
                              matrix_handle* A, container_t<C, T> x, container_t<C, T> y,
                              const event_list& deps) {
  return detail::default_trsv<T, I, C, true>(queue, diagonal, alpha, A, x, y, deps);
}

}  // namespace orvane::vrt::sparse::gpu
