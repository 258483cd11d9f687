// matmatInternalData: what survives between the stages of a sparse product, kept on C's primary
// structure: the device facts, the plans, the temporary buffers with the arrays carved out of
// them, and the scalars the stages hand each other.
#pragma once

#include <cstdint>
#include <sycl/sycl.hpp>

#include "common/internal_types.hpp"
#include "handle/handle.hpp"

namespace orvane::vrt::sparse {

// How rows of C are estimated or accumulated.
enum matmat_kernel : std::int32_t {
  matmat_kernel_unset = -1,
  matmat_noaccum = 0,
  matmat_accum_dense = 1,
  matmat_accum_dense2 = 2,
  matmat_accum_heap = 3,
  matmat_accum_heap2 = 4,
  matmat_accum_mixed = 5,
};

// Where an accumulator's scratch lives.
inline constexpr std::int32_t matmat_local_memory_plan = 1;
inline constexpr std::int32_t matmat_global_memory_plan = 2;

// The dense accumulators' sizes: a window of C's columns in local memory, or the whole row in
// global memory.
struct matmatComputeDenseData {
  std::uint64_t local_words;
  std::uint64_t local_columns;
  std::uint64_t local_value_bytes;
  std::uint64_t local_bitmap_bytes;
  std::uint64_t global_words;
  std::uint64_t global_columns;
  std::uint64_t global_total_bytes;
  std::uint64_t global_local_bytes;
};

// Hash table capacities and their bytes (the heap record has the same shape).
struct matmatComputeHashData {
  std::uint64_t global_entries;
  std::uint64_t local_entries;
  std::uint64_t global_bytes;
  std::uint64_t local_bytes;
};
struct matmatComputeHeapData {
  std::uint64_t global_entries;
  std::uint64_t local_entries;
  std::uint64_t global_bytes;
  std::uint64_t local_bytes;
};

// Cells of the scalar slabs.
enum matmat_host_cell : std::int32_t {
  host_work_estimation_size = 0,
  host_compute_structure_size = 1,
  host_compute_size = 2,
  host_estimate = 3,
  host_nnz = 4,
  host_user_size = 8,
  host_cell_count = 9,
};
enum matmat_device_cell : std::int32_t {
  device_estimate_total = 0,
  device_nnz = 1,
  device_cell_count = 5,
};
enum matmat_counter_cell : std::int32_t {
  counter_work_estimation = 0,
  counter_compute_structure = 1,
  counter_compute = 2,
  counter_noaccum = 3,
  counter_cell_count = 7,
};

struct matmatInternalData {
  containerType container;  // -1 until set
  sycl::device* device;
  sycl::context* context;
  bool device_data_cached;
  bool work_estimation_buffer_owned;
  bool compute_structure_buffer_owned;
  bool compute_buffer_owned;
  std::int32_t threads_per_eu;
  std::int32_t eu_count;
  std::int32_t tile_count;
  std::int32_t total_threads;
  std::int32_t cache_line_bytes;
  std::int32_t cache_bytes;
  std::int32_t alignment_bytes;
  std::uint64_t max_alloc_bytes;
  std::uint64_t arch_alloc_limit;
  std::int32_t architecture;
  std::int32_t num_groups;
  std::int32_t estimate_table_size;
  std::int32_t sub_group_size;
  bool sort_output;
  std::uint64_t slm_budget;
  std::uint64_t global_budget;
  std::uint64_t reserved_bytes;  // all ones
  matmat_kernel work_estimation_kernel;
  matmat_kernel compute_kernel;
  matmat_kernel compute_structure_kernel;
  std::int32_t reserved_word;  // -1
  matmatComputeDenseData* compute_dense;
  matmatComputeHashData* compute_hash;
  matmatComputeHeapData* compute_heap;
  std::uint64_t compute_group_bytes;
  std::uint64_t compute_local_bytes;
  std::int32_t compute_memory_kind;
  matmatComputeDenseData* structure_dense;
  matmatComputeHashData* structure_hash;
  matmatComputeHeapData* structure_heap;
  std::uint64_t structure_group_bytes;
  std::uint64_t structure_local_bytes;
  std::int32_t structure_memory_kind;
  // The temporary buffers: USM pointers, or sycl::buffer<std::uint8_t, 1>*.
  void* work_estimation_buffer;
  void* compute_structure_buffer;
  void* compute_buffer;
  // Arrays carved out of them: USM pointers into the buffers, or heap sub-buffers of their
  // element type (index type for offsets and columns, value type for values, bytes for scratch).
  void* row_offsets;
  void* structure_cols;
  void* compute_cols;
  void* compute_values;
  void* structure_scratch;
  void* compute_scratch;
  // Element types of the typed sub-buffers, for their release: index bytes (4 or 8) and value.
  std::int32_t index_bytes;
  fpType value_type;
  // Scalars: each cell is scalar_stride elements apart, so that no two share a cache line;
  // counters are 2 * scalar_stride 32-bit elements apart.
  std::int64_t scalar_stride;
  std::int64_t* host_slab;
  void* device_slab;   // std::int64_t elements, a container of `container`
  void* counter_slab;  // std::int32_t elements
  // With sycl::buffer: one sub-buffer per cell.
  void* device_cells[device_cell_count];
  void* counter_cells[counter_cell_count];
};

// Allocate and clear, with the unset markers above; host_bad_alloc("sparse", "") on failure.
void initMatmatInternalData(matmatInternalData** slot);
void initMatmatComputeDenseData(matmatComputeDenseData** slot);
void initMatmatComputeHashData(matmatComputeHashData** slot);
void initMatmatComputeHeapData(matmatComputeHeapData** slot);

// Fills the device facts once from the queue; a null record is an internal error.
void cache_matmat_internals_device_data(sycl::queue& queue, matmatInternalData* data);

// The device facts of one kind of device: not a GPU, or a GPU of an architecture code.
struct matmat_device_facts {
  std::int32_t threads_per_eu;
  std::int32_t sub_group_size;
  std::int32_t estimate_table_size;
  std::uint64_t arch_alloc_limit;
};
matmat_device_facts matmat_facts_of(bool is_gpu, std::int32_t architecture);

// Frees, in this order, the sub-buffers, the owned temporary buffers, the slabs and the plan
// records, then the record; an empty slot is left alone. The record's own memory model and
// context are used where it has them, the caller's otherwise.
void matmatInternalDataRelease(matmatInternalData** slot, const sycl::context* context,
                               containerType container);

}  // namespace orvane::vrt::sparse
