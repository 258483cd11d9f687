// Device code of the default trsm solve on the user's CSR arrays, the dense columns being the
// parallel dimension: a plain walk per column, and a self-scheduling form in which each
// work-group solves one row for a group of columns and waits, per entry, for the row it reads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <sycl/sycl.hpp>

#include "common/portability.hpp"
#include "gpu/triangular/trsm/tile_kernel.hpp"
#include "handle/value_types.hpp"

namespace orvane::vrt::sparse::gpu::kernels {

// The scalars and arrays of one default solve.
template <typename T, typename I>
struct default_trsm_args {
  bool upper;
  bool unit;
  bool row_major;
  I nrows;
  std::size_t columns;
  std::size_t ldx;
  std::size_t ldy;
  I base;
  T alpha;
};

// Column j of Y, the rows in the order of the side (ascending for lower, descending for upper);
// entries of the other triangle are skipped.
template <typename T, typename I>
void solve_dense_column(std::size_t j, const default_trsm_args<T, I>& a, const I* rp, const I* ci,
                        const T* va, const T* x, T* y) {
  for (I step = 0; step < a.nrows; ++step) {
    const I r = a.upper ? a.nrows - 1 - step : step;
    T t = x[dense_at(a.row_major, a.ldx, static_cast<std::size_t>(r), j)] * a.alpha;
    T d(0);
    for (I k = rp[r] - a.base; k < rp[r + 1] - a.base; ++k) {
      const I c = ci[k] - a.base;
      if (c == r)
        d = va[k];
      else if (a.upper ? c > r : c < r)
        t -= va[k] * y[dense_at(a.row_major, a.ldy, static_cast<std::size_t>(c), j)];
    }
    y[dense_at(a.row_major, a.ldy, static_cast<std::size_t>(r), j)] = a.unit ? t : t / d;
  }
}

template <typename R, sycl::memory_scope Scope>
using value_atomic = sycl::atomic_ref<R, sycl::memory_order::seq_cst, Scope,
                                      sycl::access::address_space::global_space>;

// A Y entry read and written whole by atomics; a complex entry part by part (the flag that
// publishes it comes after both parts).
template <typename T>
T atomic_load_entry(T* entry) {
  if constexpr (is_complex_v<T>) {
    using R = typename T::value_type;
    R* parts = reinterpret_cast<R*>(entry);
    return T(value_atomic<R, sycl::memory_scope::system>(parts[0]).load(),
             value_atomic<R, sycl::memory_scope::system>(parts[1]).load());
  } else {
    return value_atomic<T, sycl::memory_scope::system>(*entry).load();
  }
}

template <typename T>
void atomic_store_entry(T* entry, T value) {
  if constexpr (is_complex_v<T>) {
    using R = typename T::value_type;
    R* parts = reinterpret_cast<R*>(entry);
    value_atomic<R, sycl::memory_scope::system>(parts[0]).store(value.real());
    value_atomic<R, sycl::memory_scope::system>(parts[1]).store(value.imag());
  } else {
    value_atomic<T, sycl::memory_scope::system>(*entry).store(value);
  }
}

template <typename I>
using flag_atomic = sycl::atomic_ref<I, sycl::memory_order::relaxed, sycl::memory_scope::device,
                                     sycl::access::address_space::global_space>;

// Work-item l of work-group g (of `group` work-items, column group g mod column_groups): the
// first work-item draws the group's row from the column group's ticket, so rows are taken in
// the order of the side per column group, and a row only waits for rows with lower tickets,
// which groups already running hold. Work-item l then solves column cg * group + l of that row,
// waiting for each solved row it reads by its flag.
template <typename T, typename I>
void solve_flagged_row(const sycl::group<1>& g, std::size_t l, std::size_t group,
                       std::size_t column_groups, const default_trsm_args<T, I>& a, const I* rp,
                       const I* ci, const T* va, const T* x, T* y, I* done_flags, I* row_tickets) {
  const std::size_t cg = g.get_group_linear_id() % column_groups;
  I ticket = 0;
  if (l == 0) ticket = flag_atomic<I>(row_tickets[cg]).fetch_add(I(1));
  ticket = portable::group_broadcast(g, ticket, 0);
  const I r = a.upper ? a.nrows - 1 - ticket : ticket;
  const std::size_t j = cg * group + l;
  if (j >= a.columns) return;
  T t = x[dense_at(a.row_major, a.ldx, static_cast<std::size_t>(r), j)] * a.alpha;
  T d(0);
  for (I k = rp[r] - a.base; k < rp[r + 1] - a.base; ++k) {
    const I c = ci[k] - a.base;
    if (c == r) {
      d = va[k];
    } else if (a.upper ? c > r : c < r) {
      flag_atomic<I> flag(done_flags[static_cast<std::size_t>(c) * a.columns + j]);
      while (flag.load() == I(0)) portable::pause();
      // The relaxed flag alone orders nothing: the fence pairs with the writer's.
      portable::atomic_fence(sycl::memory_order::acquire, sycl::memory_scope::system);
      t -= va[k] *
           atomic_load_entry(&y[dense_at(a.row_major, a.ldy, static_cast<std::size_t>(c), j)]);
    }
  }
  atomic_store_entry(&y[dense_at(a.row_major, a.ldy, static_cast<std::size_t>(r), j)],
                     a.unit ? t : t / d);
  portable::atomic_fence(sycl::memory_order::release, sycl::memory_scope::system);
  flag_atomic<I>(done_flags[static_cast<std::size_t>(r) * a.columns + j]).store(I(1));
}

}  // namespace orvane::vrt::sparse::gpu::kernels
