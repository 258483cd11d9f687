// Names of the matrix-vector family that callers, logs and kernel tables rely on: the kernel
// class names, the routine words and texts of its messages, and which C++ template each named
// entry of this family is. Change none of them without changing what depends on them.
//
// Named entries and the template that is each (the value letter, _i4/_i8 and _usm/_buf are the
// template arguments T, I, C; aliases exist only where something calls them by that name):
//
// clang-format off
//   gpu::?gemv_impl_i4                      gpu::gemv_impl              mv/gemv_entry.hpp
//   gpu::csr::?gemv_impl_i4                 gpu::csr::gemv_impl         csr/csr_gemv_entry.hpp
//   gpu::csc::?gemv_impl_i4                 gpu::csc::gemv_impl         csc/csc_gemv_entry.hpp
//   gpu::coo::?gemv_impl_i4                 gpu::coo::gemv_impl         coo/coo_gemv_entry.hpp
//   gpu::csr::kernels::?gemv_default_i4     gpu::csr::gemv_default      csr/csr_row_launch.hpp
//   gpu::csr::kernels::?gemv_with_syclvec_i4   gpu::csr::gemv_with_syclvec   csr/csr_row_launch.hpp
//   gpu::csr::kernels::?gemv_with_marray_i4    gpu::csr::gemv_with_marray    csr/csr_row_launch.hpp
//   gpu::csr::kernels::?gemv_with_subgroup_i4  gpu::csr::gemv_with_subgroup  csr/csr_subgroup_launch.hpp
//   gpu::csr::kernels::?gemv_with_esimd_i4     gpu::csr::gemv_with_esimd     csr/csr_esimd_launch.hpp
//   gpu::csr::kernels::?gemv_merge_based_subgroup_i4
//                                           gpu::csr::gemv_merge_based_subgroup  csr/csr_merge_launch.hpp
//   sparse_gemv_default                     gpu::csr::kernels::gemv_default_row    csr/csr_row_kernel.hpp
//   sparse_gemv_syclvec, sparse_gemv_marray gpu::csr::kernels::gemv_syclvec_row, gemv_marray_row
//   sparse_gemv_merge_based_subgroup        gpu::csr::kernels::gemv_merge_part     csr/csr_merge_kernel.hpp
//   compute_sum_carry_out_for_merge_path_mv gpu::csr::compute_sum_carry_out_for_merge_path_mv
//   gpu::csc::kernels::?gemv_default_i4, ?gemv_with_syclvec_i4, ?gemv_with_subgroup_i4
//                                           gpu::csc::gemv_default, gemv_with_syclvec, gemv_with_subgroup
//                                                                       csc/csc_scatter_launch.hpp
//   gpu::coo::kernels::?gemv_default_i4     gpu::coo::gemv_default      coo/coo_launch.hpp
//   gpu::?optimize_gemv_impl_i4_usm         gpu::optimize_gemv_impl     mv/optimize_gemv_entry.hpp
//   compute_matrix_property_data            gpu::csr::compute_matrix_property_data  csr/matrix_analysis_launch.hpp
//   prepare_merge_path_mv_opt               gpu::csr::prepare_merge_path_mv_opt     csr/merge_partition_launch.hpp
//   gpu::?symv_impl_i4                      gpu::symv_impl              symv/symv_entry.hpp
//   gpu::?symvUpper_impl_i4, ?symvLower_impl_i4
//                                           detail::symv_triangle (upper true/false)  symv/symv_entry.hpp
//   gpu::?gemvdot_impl_i4                   gpu::gemvdot_impl           gemvdot/gemvdot_entry.hpp
//   ?gemvInternalDataRelease_i4_usm         gemvInternalDataRelease     handle/gemv_data.hpp
// clang-format on
//
// Kernel names: the symv kernels take the triangle at run time, so one class serves the Upper
// and Lower kernels of a precision.
#pragma once

#include "common/internal_types.hpp"

namespace orvane::vrt::sparse::gpu {

// Routine words and texts of the family's messages.
namespace mv_words {
inline constexpr const char* gemv = "gemv";
inline constexpr const char* gemv_csr = "gemv csr";
inline constexpr const char* gemv_csc = "gemv csc";
// The shared host-y check of the column-scatter launchers names the default kernel in all three.
inline constexpr const char* gemv_default_kernel = "gemv default kernel";
inline constexpr const char* host_y_refused = "USM + host configuration unsupported due to atomics";
inline constexpr const char* optimize_gemv = "optimize_gemv";
inline constexpr const char* symv = "symv";
inline constexpr const char* gemvdot = "gemvdot";
// The COO entry refuses an operation outside the three with no routine word at all.
inline constexpr const char* coo_unknown_op = "";
inline constexpr const char* not_initialized = "Matrix is not initialized";
inline constexpr const char* gemv_formats =
    "currently only supports the CSR and COO matrix formats on GPU devices";
}  // namespace mv_words

// y *= beta and y = 0 ahead of the products that add into y.
namespace kernels {
template <typename T, containerType C>
class gemv_betay_kernel;
template <typename T, containerType C>
class gemv_setzero_y_kernel;
}  // namespace kernels

namespace csr::kernels {
template <typename T, typename I, containerType C>
class gemv_default_csr_kernel;
template <typename T, typename I, containerType C, int L>
class gemv_syclvec_csr_kernel;
template <typename T, typename I, containerType C, int L>
class gemv_marray_csr_kernel;
template <typename T, typename I, containerType C>
class gemv_subgroup_single_row_csr_kernel;
template <typename T, typename I, containerType C>
class gemv_subgroup_row_bundle_csr_kernel;
template <typename T, typename I, containerType C, int Rows>
class gemv_esimd_csr_kernel;
template <typename T, typename I, containerType C>
class gemv_merge_subgroup_csr_kernel;
template <typename T, typename I, containerType C>
class mv_single_task_sum_carry_out_csr_kernel;
template <typename T, typename I, containerType C>
class mv_parallel_for_sum_carry_out_csr_kernel;
template <typename I, containerType C>
class optimize_gemv_mat_analysis_kernel;
template <typename I, containerType C>
class optimize_gemv_find_merge_path_kernel;
}  // namespace csr::kernels

namespace csc::kernels {
template <typename T, typename I, containerType C>
class gemv_default_csc_kernel;
template <typename T, typename I, containerType C, int L>
class gemv_syclvec_csc_kernel;
template <typename T, typename I, containerType C>
class gemv_subgroup_singleRow_csc_kernel;
}  // namespace csc::kernels

namespace coo::kernels {
template <typename T, typename I, containerType C>
class gemv_coo_default_kernel;
template <typename T, typename I>
class gemv_coo_default_non_atomics_kernel;
}  // namespace coo::kernels

namespace symv::kernels {
template <typename T, typename I, containerType C>
class symvPartialNonAtomicMV;
template <typename T, typename I, containerType C>
class symvPartialAtomicMV;
template <typename T, typename I>
class symvKernel;
}  // namespace symv::kernels

namespace gemvdot::kernels {
template <typename T, typename I, containerType C>
class gemvdotKernel;
template <typename T, containerType C>
class gemvdotReduceKernel;
template <typename T, containerType C>
class sumArrayKernel;
}  // namespace gemvdot::kernels

}  // namespace orvane::vrt::sparse::gpu
