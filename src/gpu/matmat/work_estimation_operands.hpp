// The operands of a row-count estimate of C = A * B: the factors as the frame picked them (a
// transposed operand is already explicit), the output scan and the planner's device facts.
#pragma once

#include <cstdint>
#include <sycl/sycl.hpp>

#include "containers/views.hpp"

namespace orvane::vrt::sparse::gpu {

template <typename I, containerType C>
struct work_estimation_operands {
  container_t<C, I> a_row_ptr;
  container_t<C, I> a_col_ind;
  I a_index;  // 0 or 1: subtracted from every index read
  std::int64_t a_rows, a_cols, a_nnz;
  container_t<C, I> b_row_ptr;
  container_t<C, I> b_col_ind;
  I b_index;
  std::int64_t b_rows, b_cols, b_nnz;
  container_t<C, I> row_offsets;        // a_rows + 1 elements: counts, then their exclusive scan
  container_t<C, long> estimate_total;  // one cell: the scan's total
  container_t<C, std::int32_t> row_counter;  // one cell of the counter slab (noaccum's row fetch)
  bool is_gpu;
  std::int32_t architecture;         // gpu::get_architecture's code (0 not a GPU)
  std::int32_t sub_group_size;       // the planner's (8 or 16)
  std::int32_t estimate_table_size;  // 512, 1024 or 2048
};

}  // namespace orvane::vrt::sparse::gpu
