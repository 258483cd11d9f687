// Records of the triangular analysis: diagonal values, diagonal positions and level sets.
#pragma once

#include <cstdint>
#include <sycl/sycl.hpp>

#include "common/internal_types.hpp"

namespace orvane::vrt::sparse {

// Diagonal values of a matrix, shared by both triangles, with the missing and zero flags.
struct diagonalValuesData {
  std::uint32_t status_count;   // all ones: unset; 2 once set
  std::uint32_t status_stride;  // all ones: unset; 16 once set
  void* status_host;
  void* status_device;
  void* diag;
  void* inv_diag;
};

// Where the diagonal sits in each row of one structure (positions carry the index base).
struct diagonalStructData {
  void* lower_end;
  void* upper_start;
};

// Level sets of one triangle and the coloured copies of its strict parts.
struct coloringData {
  std::int64_t nrows;
  std::int32_t container;
  std::int32_t sync_mode;
  std::int32_t head_colors;
  std::int32_t tail_colors;
  std::int32_t num_colors;
  void* color_ptr_host;
  void* color_ptr_device;
  void* row_of_position;
  void* position_of_row;
  std::int32_t num_chunks;
  std::int32_t max_chunks_per_color;
  void* chunk_start_host;
  void* chunk_color_host;
  void* chunks_per_color_host;
  void* chunk_start_device;
  void* chunk_color_device;
  void* chunks_per_color_device;
  void* color_counters;
  void* chunk_ticket;
  void* inv_diag_colored;
  void* rhs_colored;
  void* sol_colored;
  void* lower_ptr;
  void* lower_col;
  void* lower_val;
  void* upper_ptr;
  void* upper_col;
  void* upper_val;
};

// Allocate and preset a record into *slot; host_bad_alloc("sparse", "") on failure.
void initDiagonalValuesData(void** slot);
void initDiagonalStructData(void** slot);
void initColoringData(void** slot);

// Free what a record owns, then the record; a null slot is left alone. The slot ends null.
template <typename T, typename I>
void diagonalValuesDataRelease(void** slot, const sycl::context* context, containerType container);
template <typename I>
void diagonalStructDataRelease(void** slot, const sycl::context* context, containerType container);
template <typename T, typename I>
void coloringDataRelease(void** slot, const sycl::context* context, containerType container);

}  // namespace orvane::vrt::sparse
