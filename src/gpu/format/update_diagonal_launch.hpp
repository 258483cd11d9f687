// Launches of the diagonal update: the missing-diagonal check (waited for on the calling thread),
// the write of the new diagonal into one structure, and the refresh of the diagonal record and of
// a coloring's reciprocals.
#pragma once

#include <cstdint>
#include <optional>
#include <sycl/sycl.hpp>
#include <vector>

#include "common/portability.hpp"
#include "containers/containers.hpp"
#include "containers/views.hpp"
#include "gpu/format/design_names.hpp"
#include "gpu/format/update_diagonal_kernel.hpp"
#include "gpu/format/update_diagonal_plan.hpp"
#include "handle/handle.hpp"
#include "handle/triangular_data.hpp"

namespace orvane::vrt::sparse::gpu::kernels {

// True when some row of s stores no diagonal entry. One 32-bit flag on the device (host memory
// when the device has none to give); the calling thread waits for it, so that nothing is written
// into a matrix that is refused.
template <typename I, containerType C>
bool rows_without_diagonal(sycl::queue& queue, const sparseStructure& s,
                           const std::vector<sycl::event>& deps) {
  const auto rows = sycl::range<1>(static_cast<std::size_t>(s.nrows));
  const I base = s.index != 0 ? I(1) : I(0);
  const auto row_ptr = as_container<C, I>(s.row_ptr);
  const auto col_ind = as_container<C, I>(s.col_ind);
  std::uint32_t host_word = 0;
  if constexpr (C == container_usm) {
    std::uint32_t* flag = portable::aligned_alloc_device<std::uint32_t>(4, 1, queue);
    if (flag == nullptr) flag = portable::aligned_alloc_host<std::uint32_t>(4, 1, queue);
    if (flag == nullptr) throw device_bad_alloc("sparse", update_diagonal_word, queue.get_device());
    try {
      sycl::event cleared = queue.memset(flag, 0, sizeof(std::uint32_t), deps);
      sycl::event checked = queue.submit([&](sycl::handler& h) {
        h.depends_on(cleared);
        h.parallel_for<updateDiagCheckKernel<I, C>>(rows, [=](sycl::id<1> id) {
          flag_missing_diagonal<I>(static_cast<I>(id[0]), row_ptr, col_ind, base, flag);
        });
      });
      queue.memcpy(&host_word, flag, sizeof(std::uint32_t), checked).wait();
    } catch (...) {
      sycl::free(flag, queue);
      throw;
    }
    sycl::free(flag, queue);
  } else {
    {
      // The buffer writes the word back when it goes out of scope, after the kernel. A runtime
      // that cannot store it refuses as any device allocation does.
      std::optional<sycl::buffer<std::uint32_t, 1>> storage;
      try {
        storage.emplace(&host_word, sycl::range<1>(1));
      } catch (const sycl::exception& e) {
        if (e.code() != sycl::errc::memory_allocation) throw;
        throw device_bad_alloc("sparse", update_diagonal_word, queue.get_device());
      }
      sycl::buffer<std::uint32_t, 1>& flag = *storage;
      queue.submit([&](sycl::handler& h) {
        auto rp = bind(h, row_ptr, sycl::read_only);
        auto ci = bind(h, col_ind, sycl::read_only);
        sycl::accessor out(flag, h, sycl::read_write);
        h.parallel_for<updateDiagCheckKernel<I, C>>(rows, [=](sycl::id<1> id) {
          flag_missing_diagonal<I>(static_cast<I>(id[0]), raw(rp), raw(ci), base, raw(out));
        });
      });
    }
  }
  return host_word != 0;
}

// The new diagonal into one structure's values: through its split positions when an analysis
// recorded them, else by walking each row.
template <typename T, typename I, containerType C>
sycl::event write_diagonal(sycl::queue& queue, const diagonal_copy& target,
                           container_t<C, T> diagonal, const std::vector<sycl::event>& deps) {
  const sparseStructure& s = *target.structure;
  const auto rows = sycl::range<1>(static_cast<std::size_t>(s.nrows));
  const I base = s.index != 0 ? I(1) : I(0);
  const bool conjugate = target.conjugate;
  return queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, deps);
    auto rp = bind(h, as_container<C, I>(s.row_ptr), sycl::read_only);
    auto ci = bind(h, as_container<C, I>(s.col_ind), sycl::read_only);
    auto dg = bind(h, diagonal, sycl::read_only);
    auto va = bind(h, as_container<C, T>(s.values), sycl::read_write);
    if (target.positions != nullptr) {
      auto le = bind(h, as_container<C, I>(target.positions->lower_end), sycl::read_only);
      auto us = bind(h, as_container<C, I>(target.positions->upper_start), sycl::read_only);
      h.parallel_for<updateDiagValuesAtKernel<T, I, C>>(rows, [=](sycl::id<1> id) {
        write_diagonal_at_split<T, I>(static_cast<I>(id[0]), raw(rp), raw(ci), raw(le), raw(us),
                                      base, raw(dg), raw(va), conjugate);
      });
    } else {
      h.parallel_for<updateDiagValuesKernel<T, I, C>>(rows, [=](sycl::id<1> id) {
        write_first_diagonal<T, I>(static_cast<I>(id[0]), raw(rp), raw(ci), base, raw(dg), raw(va),
                                   conjugate);
      });
    }
  });
}

// diag, inv_diag and the zero flag of the handle's diagonal record from the new diagonal, then
// the flags to their host mirror (all entries, as the analysis copies them).
template <typename T, typename I, containerType C>
sycl::event refresh_diagonal_record(sycl::queue& queue, const diagonalValuesData& record,
                                    std::int64_t nrows, container_t<C, T> diagonal,
                                    std::size_t status_entries, std::uint32_t zero_flag,
                                    const std::vector<sycl::event>& deps) {
  std::vector<sycl::event> list = deps;
  const auto status = as_container<C, I>(record.status_device);
  chain_event<C>(list, queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, list);
    auto st = bind(h, status, sycl::read_write);
    h.single_task<updateDiagClearZeroFlag<I, C>>([=] { raw(st)[zero_flag] = I(0); });
  }));
  chain_event<C>(list, queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, list);
    auto dg = bind(h, diagonal, sycl::read_only);
    auto d = bind(h, as_container<C, T>(record.diag), sycl::write_only);
    auto inv = bind(h, as_container<C, T>(record.inv_diag), sycl::write_only);
    auto st = bind(h, status, sycl::read_write);
    h.parallel_for<updateDiagDataKernel<T, I, C>>(
        sycl::range<1>(static_cast<std::size_t>(nrows)), [=](sycl::id<1> id) {
          refresh_diagonal<T, I>(static_cast<I>(id[0]), raw(dg), raw(d), raw(inv), raw(st),
                                 zero_flag);
        });
  }));
  return copy_container<I>(queue, status, as_container<C, I>(record.status_host), status_entries,
                           list);
}

// A coloring's reciprocals in position order, from the refreshed record.
template <typename T, typename I, containerType C>
sycl::event refresh_coloring(sycl::queue& queue, const coloringData& coloring,
                             const diagonalValuesData& record,
                             const std::vector<sycl::event>& deps) {
  return queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, deps);
    auto rop = bind(h, as_container<C, I>(coloring.row_of_position), sycl::read_only);
    auto inv = bind(h, as_container<C, T>(record.inv_diag), sycl::read_only);
    auto out = bind(h, as_container<C, T>(coloring.inv_diag_colored), sycl::write_only);
    h.parallel_for<updateColoredInvDiagKernel<T, I, C>>(
        sycl::range<1>(static_cast<std::size_t>(coloring.nrows)), [=](sycl::id<1> id) {
          refresh_colored_inverse<T, I>(static_cast<I>(id[0]), raw(rop), raw(inv), raw(out));
        });
  });
}

}  // namespace orvane::vrt::sparse::gpu::kernels
