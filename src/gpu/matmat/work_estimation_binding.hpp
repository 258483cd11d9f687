// What every row-count estimate shares on the host: the binding of the factors in a command
// group, the refusal of a sub-group size the device lacks, and the scan that turns the counts
// into row offsets.
#pragma once

#include <cstddef>
#include <cstdint>
#include <sycl/sycl.hpp>
#include <vector>

#include "containers/containers.hpp"
#include "containers/prefix_sum.hpp"
#include "containers/views.hpp"
#include "gpu/matmat/design_names.hpp"
#include "gpu/matmat/work_estimation_arrays.hpp"
#include "gpu/matmat/work_estimation_operands.hpp"
#include "gpu/matmat/work_estimation_plan.hpp"
#include "gpu/sub_group_check.hpp"

namespace orvane::vrt::sparse::gpu {

// The factors bound in one command group, held by name so that a kernel captures the record.
template <typename I, typename Read, typename Write>
struct bound_estimate {
  Read a_row_ptr, a_col_ind, b_row_ptr, b_col_ind;
  Write row_offsets;
  I a_index, b_index;

  kernels::csr_times_csr::estimate_arrays<I> get() const {
    return {raw(a_row_ptr), raw(a_col_ind), raw(b_row_ptr),  raw(b_col_ind),
            a_index,        b_index,        raw(row_offsets)};
  }
};

// After deps: A's and B's index arrays for reading, the row offsets for writing.
template <typename I, containerType C>
auto bind_estimate(sycl::handler& h, const std::vector<sycl::event>& deps,
                   const work_estimation_operands<I, C>& op) {
  depend_on<C>(h, deps);
  auto arp = bind(h, op.a_row_ptr, sycl::read_only);
  auto aci = bind(h, op.a_col_ind, sycl::read_only);
  auto brp = bind(h, op.b_row_ptr, sycl::read_only);
  auto bci = bind(h, op.b_col_ind, sycl::read_only);
  auto out = bind(h, op.row_offsets, sycl::read_write);
  return bound_estimate<I, decltype(arp), decltype(out)>{arp, aci,        brp,       bci,
                                                         out, op.a_index, op.b_index};
}

template <typename I, containerType C>
work_estimation::factor_sizes sizes_of(const work_estimation_operands<I, C>& op) {
  return {op.a_rows, op.a_cols, op.a_nnz, op.b_rows, op.b_cols, op.b_nnz};
}

// The one test, before a launch, that the device runs the sub-group size a kernel requires.
inline void require_estimate_sub_group(const sycl::queue& queue, std::int32_t sg) {
  require_sub_group_size(queue, static_cast<std::size_t>(sg), matmat_names::matmat);
}

// The counts of a_rows rows (row i's in row_offsets[i + 1], a zero in front) become their
// exclusive scan, with the total in estimate_total. Without rows there is no count kernel:
// the leading zero is written here.
template <typename I, containerType C>
sycl::event scan_row_counts(sycl::queue& queue, const work_estimation_operands<I, C>& op,
                            const std::vector<sycl::event>& deps) {
  std::vector<sycl::event> before = deps;
  if (op.a_rows == 0) before = {fill_container<I>(queue, op.row_offsets, I(0), 1, deps)};
  return prefix_sum(queue, op.row_offsets, static_cast<std::size_t>(op.a_rows) + 1, C,
                    op.estimate_total, before);
}

}  // namespace orvane::vrt::sparse::gpu
