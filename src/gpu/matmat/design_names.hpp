// Names of the sparse product that may not change: the class names of its kernels (they name
// the kernels in profiles and in the device image), the stage words and the texts of the stage
// machine's refusals (odd spellings included), and the routine word of the kernels' refusals.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "common/internal_types.hpp"

// ---- work estimation kernels
//
// The design's names of the row-count estimates and the C++ that is each of them (every name
// also has its _i4/_i8 and _usm/_buf forms):
//
// clang-format off
//   do_work_estimation_accum    (frame) -> gpu::estimate_rows_dense<I, C>        dense_estimate_launch.hpp
//   do_work_estimation_hash     (frame) -> gpu::estimate_rows_hash<I, C>         hash_estimate_launch.hpp
//   do_work_estimation_noaccum  (frame) -> gpu::estimate_rows_by_products<I, C>  product_count_launch.hpp
//   matmat_work_estimation_dense_subgroup_kernel<nsg, sg>
//                               kernels::csr_times_csr::dense_estimate_subgroup_row  dense_estimate_kernel.hpp
//   matmat_work_estimation_dense_esimd_kernel<nsg, sg>
//                               kernels::csr_times_csr::dense_estimate_esimd_row     dense_estimate_esimd_kernel.hpp
//   matmat_work_estimation_hash_workgroup_kernel<entries, items>
//   matmat_work_estimation_hash_workgroup_1_kernel<entries, 1>
//                               kernels::csr_times_csr::hash_estimate_slice          hash_estimate_kernel.hpp
//   matmat_work_estimation_hash_esimd_kernel<entries, items, sg>
//   matmat_work_estimation_hash_esimd_wg1_kernel<entries, 1, sg>
//                               kernels::csr_times_csr::hash_estimate_esimd_slice    hash_estimate_esimd_kernel.hpp
//   matmat_count_nnz_flops      kernels::csr_times_csr::count_row_products           product_count_kernel.hpp
// clang-format on
//
// Which members of the design's instance lists exist, and why the rest do not (the lists are
// dense_forms and hash_forms in work_estimation_plan.hpp, which the launchers walk):
// - dense sub-group form: all nine (nsg 1, 4, 16 by sg 8, 16, 32). Sizes 8 and 16 are the
//   planner's sub_group_size off the wide GPUs; 32 serves a wide GPU whose operands are past
//   the explicit-SIMD offset limit.
// - dense explicit-SIMD form: sg 32 only (nsg 1, 4, 16): it runs only on the wide GPUs, and
//   there the dense forms always take 32 lanes. Sizes 8 and 16 are never named.
// - hash work-group form: the five pairs with more than one item, (512: 4, 16), (1024: 4, 8),
//   (2048: 4). W = 1 always selects the one-item kernel, so its three pairs are left out here.
// - hash one-item form: the three pairs with W = 1; the five others would never be named.
// - hash explicit-SIMD forms: only GPUs of codes 0 to 2 (512 entries, 8 lanes), 4 (512, 16)
//   and 6 and up (1024, 16) run them: table sizes and lanes come from the planner, which never
//   pairs 2048 entries or 32 lanes with a GPU that runs them. So six of the fifteen triples
//   ((512: 4, 16) by 8 and 16 lanes, (1024: 4, 8) by 16 lanes) and three of the nine one-item
//   triples ((512, 1, 8), (512, 1, 16), (1024, 1, 16)).
// - matmat_count_nnz_flops: the one.

namespace orvane::vrt::sparse::gpu {

namespace matmat_names {
// The routine word of every refusal of the product's kernels.
inline constexpr const char* matmat = "matmat";
}  // namespace matmat_names

namespace kernels::csr_times_csr {

template <typename I, containerType C, int NSG, int SG>
class matmat_work_estimation_dense_subgroup_kernel;
template <typename I, containerType C, int NSG, int SG>
class matmat_work_estimation_dense_esimd_kernel;
template <typename I, containerType C, int Entries, int Items>
class matmat_work_estimation_hash_workgroup_kernel;
template <typename I, containerType C, int Entries, int Items>
class matmat_work_estimation_hash_workgroup_1_kernel;
template <typename I, containerType C, int Entries, int Items, int SG>
class matmat_work_estimation_hash_esimd_kernel;
template <typename I, containerType C, int Entries, int Items, int SG>
class matmat_work_estimation_hash_esimd_wg1_kernel;
template <typename I, containerType C>
class matmat_count_nnz_flops;

}  // namespace kernels::csr_times_csr

}  // namespace orvane::vrt::sparse::gpu

// ---- stage machine
//
// The design's names of the product's entries and stages, and the C++ that is each of them
// (? the value letter; _i4/_i8 the index width, _usm/_buf the memory model):
//
// clang-format off
//   matmat_impl_i4, _i8                       gpu::matmat_impl<I, C>                      matmat_entry.hpp
//   matmat_get_work_estimation_buf_size_i4    gpu::matmat_get_work_estimation_buf_size<I, C>  matmat_stages.hpp
//   matmat_work_estimation_i4                 gpu::matmat_work_estimation<I, C>
//   matmat_get_compute_structure_buf_size_i4  gpu::matmat_get_compute_structure_buf_size<I, C>
//   matmat_compute_structure_i4               gpu::matmat_compute_structure<I, C>
//   matmat_finalize_structure_i4              gpu::matmat_finalize_structure<I, C>
//   ?matmat_get_compute_buf_size_i4           gpu::matmat_get_compute_buf_size<T, I, C>
//   ?matmat_compute_i4                        gpu::matmat_compute<T, I, C>
//   ?matmat_finalize_i4                       gpu::matmat_finalize<T, I, C>
//   matmat_get_nnz                            gpu::matmat_get_nnz<I, C>
//   kernels::do_get_nnz (usm and buffer forms) gpu::do_get_nnz<I, C>
//   dispatch_work_estimation                  gpu::dispatch_work_estimation<I, C>         matmat_dispatch.hpp
//   do_work_estimation_accum_i4_usm           gpu::do_work_estimation_accum<I, C>
//   do_work_estimation_hash_i4_usm            gpu::do_work_estimation_hash<I, C>
//   do_work_estimation_noaccum_i4_usm         gpu::do_work_estimation_noaccum<I, C>
//   dispatch_compute, dispatch_compute_structure, dispatch_finalize, dispatch_finalize_structure
//                                             gpu::dispatch_<stage>                       matmat_dispatch.hpp
//   ?do_compute_accum_dense_i4_usm, ... (every accumulator and finalize form)
//                                             not landed: gpu::accumulator_not_landed     matmat_dispatch.hpp
//   work_estimation_kernel_dispatch, set_bounds_on_workspace_data,
//   set_compute_alg_and_workspace_sizes, set_compute_structure_alg_and_workspace_sizes,
//   finalize_kernel_dispatch                  the same names in gpu::                     matmat_plan.hpp
//   do_allocate_temp_workspace (void** and sycl::buffer<uint8_t,1>** forms)
//                                             gpu::do_allocate_temp_workspace             workspace.hpp
//   initMatmatInternalData, cache_matmat_internals_device_data, init of the three sub-records
//                                             the same names                              handle/matmat_data.hpp
//   ?matmatInternalDataRelease_i4_usm, _buf   matmatInternalDataRelease (by the record's own memory
//                                             model and element widths)                   handle/matmat_data.hpp
// clang-format on

namespace orvane::vrt::sparse::gpu::names {

inline constexpr const char* matmat_word = "matmat";
// The stage words of the workspace refusals and of the stages not on the device yet.
inline constexpr const char* work_estimation_stage = "work_estimation";
inline constexpr const char* compute_structure_stage = "compute_structure";
inline constexpr const char* compute_stage = "compute";
inline constexpr const char* finalize_structure_stage = "finalize_structure";
inline constexpr const char* finalize_stage = "finalize";

inline constexpr const char* unsupported_operation = "unsupported operation";
inline constexpr const char* matrix_not_initialized = "One of the matrices is not initialized";
// The size and estimate stages spell it so; kept on purpose.
inline constexpr const char* matrix_not_initialized_misspelt =
    "One of the matricews is not initialized";
inline constexpr const char* csr_only_on_gpu =
    "currently only supports the CSR matrix format on GPU devices";
inline constexpr const char* invalid_request = "invalid matmat request";
inline constexpr const char* dimensions_not_aligned = "matrix dimensions are not aligned";
inline constexpr const char* incompatible_dimensions = "incompatible dimensions";
inline constexpr const char* mixed_containers =
    "input A and B matrices must be on the same SYCL aware container type (sycl::buffer or USM)";
inline constexpr const char* unsupported_algorithm = "unsupported algorithm";
inline constexpr const char* workspace_sizes_text =
    "Internal Computation Error for temporary workspace sizes";
// The accumulator choice's own capitalised text.
inline constexpr const char* plan_internal_error_text = "Internal error";
inline constexpr const char* over_device_limit =
    "Required memory allocation is larger than the limit for the device";
inline constexpr const char* user_buffer_too_small =
    "according to provided sizeTempBuffer, the tempBuffer array is smaller than requested and we "
    "cannot reliably proceed";
inline constexpr const char* finalize_without_compute =
    "It appears you have not called matmat compute stage before finalize stage";
inline constexpr const char* finalize_structure_without_compute =
    "It appears you have not called matmat compute or compute_structure stage before "
    "finalize_structure stage";
inline constexpr const char* nnz_not_ready =
    "nnz is not ready to be retrieved, please call matmat API with matmat_request::compute or "
    "matmat_request::compute_structure first";
inline constexpr const char* size_argument = "sizeTempBuffer";

// "The temporary workspace, tempBuffer, has been provided for the <stage> stage, but ..."
inline std::string size_missing_for(const char* stage) {
  return std::string("The temporary workspace, tempBuffer, has been provided for the ") + stage +
         " stage, but the array sizeTempBuffer is not provided with the size of the workspace";
}

// The size as "%ld", the device's limit as "%lu".
inline std::string requested_size_too_large(std::uint64_t size, std::uint64_t max_alloc_bytes) {
  char size_text[32];
  char limit_text[32];
  std::snprintf(size_text, sizeof size_text, "%ld", static_cast<long>(size));
  std::snprintf(limit_text, sizeof limit_text, "%lu", static_cast<unsigned long>(max_alloc_bytes));
  return std::string("The memory allocation (") + size_text +
         " bytes) for the temporary array to be requested from user is larger than the limit (" +
         limit_text + " bytes) for the device. Cannot proceed with this workload on this device.";
}

}  // namespace orvane::vrt::sparse::gpu::names
