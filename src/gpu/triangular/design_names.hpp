// Names of the triangular family that may not change: kernel class names, the routine words of
// its refusals (odd spellings included) and their texts. Launchers take them from here.
//
// The design's names of the family's entries and shells, and the C++ that is each of them
// (? the value letter; every name also has its _i4/_i8 and _usm/_buf forms):
//
// clang-format off
//   ?trsv_impl                         gpu::trsv_impl<T, I, C>                 trsv_entry.hpp
//   ?optimize_trsv_impl                gpu::optimize_trsv_impl<T, I, C>        optimize_trsv_entry.hpp
//   ?levelsetTrsvLower_impl            gpu::levelset_trsv<T, I, C>, side lower levelset_trsv_launch.hpp
//   ?levelsetTrsvUpper_impl            gpu::levelset_trsv<T, I, C>, side upper
//   ?defTrsvLower_impl                 gpu::default_trsv<T, I, C>, side lower  default_trsv_launch.hpp
//   ?defTrsvUpper_impl                 gpu::default_trsv<T, I, C>, side upper
//   ?trsv_lower_levelset_middlecolors_sync_by_kernels, ..._upper_...
//                                      gpu::middle_per_color<T, I, C>          middle_per_color_launch.hpp
//   ?trsv_lower_levelset_middlecolors_sync_by_atomics, ..._upper_...
//                                      gpu::middle_by_atomics<T, I, C> (real T; complex T has no
//                                      atomics form: visit_middle_sync never reaches it)
//   ?coloring_impl                     gpu::coloring_impl<T, I, C>             coloring/coloring_entry.hpp
//   ?diagData_impl, ?diagDataKernel    gpu::diagData_impl, gpu::diagDataKernel analysis/diag_data_entry.hpp
//   ?updateDiagData_and_check_for_missing_diags   the same name               analysis/diag_data_entry.hpp
//   ?symmetric_impl, ?symmetricKernel  gpu::symmetric_impl, gpu::symmetricKernel analysis/symmetric_entry.hpp
//   ?triangularData_impl               gpu::triangularData_impl                trmv/strict_triangle_copy_launch.hpp
//   ?trmv_impl                         gpu::trmv_impl<T, I, C>                 trmv/trmv_entry.hpp
//   ?optimize_trmv_impl                gpu::optimize_trmv_impl<T, I, C>        trmv/optimize_trmv_entry.hpp
//   kernels::csr::?def_trmv_kernel_impl  gpu::def_trmv_kernel_impl<T, I, C>     trmv/default_trmv_launch.hpp
//   kernels::csr::?opt_trmv_kernel_impl  gpu::opt_trmv_kernel_impl<T, I, C>     trmv/trmv_entry.hpp
//   sparse_trmv_syclvec<256, 4>        gpu::trmv_with_syclvec<T, I, C>         trmv/trmv_vector_launch.hpp
//   sparse_trmv_merge_based_subgroup<g, sg>
//                                      gpu::trmv_merge_based_subgroup<T, I, C> trmv/trmv_merge_launch.hpp
//   compute_sum_carry_out_for_merge_path_mv (the trmv copy)
//                                      gpu::csr::compute_sum_carry_out_for_merge_path_mv, shared
//                                      with gemv                               mv/csr/csr_merge_launch.hpp
// clang-format on
//
// The shells the design names per side take the side as a value here: trsv_impl decides it once
// from uplo and hands it down.
#pragma once

#include "containers/views.hpp"

namespace orvane::vrt::sparse::gpu {

namespace triangular_names {

// Routine words of the refusals.
inline constexpr const char* trsv = "trsv";
inline constexpr const char* optimize_trsv = "optimize_trsv";
// The strict-triangle copy reports in the name of its one caller.
inline constexpr const char* optimize_trmv = "optimize_trmv";
// The diagonal analysis names its worker in its internal error.
inline constexpr const char* diag_data_kernel = "diagDataKernel";
// The analysis steps below the entries (the diagonal and the symmetric expansion) refuse and
// report allocation failures with an empty word.
inline constexpr const char* unnamed = "";
// dispatch_optimize_trsv spells the routine so in its unset-index refusal (in the frames); it
// is listed here so that nobody "corrects" it.
inline constexpr const char* optimize_trsv_misspelt = "optimized_trsv";

// Details of the refusals.
inline constexpr const char* uplo_flag = "uplo_flag";
inline constexpr const char* diag_flag = "diag_flag";
inline constexpr const char* nontrans_only =
    "currently only supports the orvane::vrt::transpose::nontrans op";
inline constexpr const char* csr_only_on_gpu =
    "currently only supports the CSR matrix format on GPU devices";
inline constexpr const char* csr_only = "currently only supports the CSR matrix format";
inline constexpr const char* not_initialized = "Matrix is not initialized";
inline constexpr const char* analysis_needs_values =
    "Only supports analysis of diagonal elements on fully initialized matrix handles. Please call "
    "set_xxx_data routine with your matrix data arrays before calling the optimize routine.";
inline constexpr const char* missing_diagonal =
    "The matrix operation with diag::nonunit is missing diagonal values in the structure or has "
    "zero values set on diagonal, both of which are not supported.";
inline constexpr const char* uncolorable =
    "the level sets do not reach every row: the sparsity pattern is not symmetric although the "
    "matrix has the symmetric property";
inline constexpr const char* unmirrored =
    "the sparsity pattern is not symmetric although the matrix has the symmetric property";

// The triangular product.
inline constexpr const char* trmv = "trmv";
inline constexpr const char* merge_path_trmv = "merge-path-trmv";
inline constexpr const char* square_only = "This function only supports square matrices";

}  // namespace triangular_names

// Kernel class names, one per kernel and side.
namespace kernels {

// Default solve.
template <typename T, typename I, containerType C>
class trsvLowerKernel;
template <typename T, typename I, containerType C>
class trsvUpperKernel;

// Level-set solve: permutations, narrow runs, middle colors.
template <typename T, typename I, containerType C>
class permVectorXl_class;
template <typename T, typename I, containerType C>
class permVectorXu_class;
template <typename T, typename I, containerType C>
class permVectorYl_class;
template <typename T, typename I, containerType C>
class permVectorYu_class;
template <typename T, typename I, containerType C>
class levelsetTrsvLower1;
template <typename T, typename I, containerType C>
class levelsetTrsvLower2;
template <typename T, typename I, containerType C>
class levelsetTrsvUpper1;
template <typename T, typename I, containerType C>
class levelsetTrsvUpper2;
template <typename T, typename I, containerType C>
class levelsetTrsvLower_ker;
template <typename T, typename I, containerType C>
class levelsetTrsvUpper_ker;
template <typename T, typename I, containerType C>
class levelsetTrsvLower_atomic;
template <typename T, typename I, containerType C>
class levelsetTrsvUpper_atomic;
template <typename I, containerType C>
class levelsetTrsvLower_atomic_init;
template <typename I, containerType C>
class levelsetTrsvUpper_atomic_init;

// Coloring.
template <typename I, containerType C>
class coloring1;
template <typename I, containerType C>
class coloring2;
template <typename I, containerType C>
class coloring3;
template <typename I, containerType C>
class coloring4;
template <typename T, typename I, containerType C>
class coloring5;
// The check, ahead of the levels, that a pattern trusted to be symmetric mirrors its entries.
template <typename I, containerType C>
class mirrorCheck;

// Diagonal analysis.
template <typename T, typename I, containerType C>
class fillDiagPos1;
template <typename I, containerType C>
class fillDiagPos2;
template <typename T, typename I, containerType C>
class fillDiagPos3;

// Symmetric expansion.
template <typename I, containerType C>
class symmetric1;
template <typename I, containerType C>
class symmetric2;
template <typename T, typename I, containerType C>
class symmetric3;
template <typename I, containerType C>
class symmetric4;

// Strict-triangle copy.
template <typename I, containerType C>
class triangleData0;
template <typename T, typename I, containerType C>
class triangleData2;

// Triangular product: the default kernels on the full rows, the vector kernel and the merge
// path (by sub-group size; the work-group size is no template argument of the body) on the
// strict triangle, and the planner's statistics and partition search.
template <typename T, typename I, containerType C>
class def_trmv_lower_csr_kernel;
template <typename T, typename I, containerType C>
class def_trmv_upper_csr_kernel;
template <typename T, typename I, containerType C>
class trmv_syclvec_csr_kernel;
template <typename T, typename I, containerType C>
class trmv_merge_subgroup_csr_kernel;
template <typename I, containerType C>
class optimize_trmv_mat_analysis_kernel;
template <typename I, containerType C>
class optimize_trmv_find_merge_path_kernel;

}  // namespace kernels

// ---- trsm ----
//
// The design's names of the trsm entries and shells, and the C++ that is each of them:
//
// clang-format off
//   ?trsm_impl                         gpu::trsm_impl<T, I, C>                 trsm/trsm_entry.hpp
//   csr::?trsm_impl                    gpu::csr::trsm_impl<T, I, C>            trsm/trsm_entry.hpp
//   ?optimize_trsm_impl                gpu::optimize_trsm_impl<T, I, C>        trsm/optimize_trsm_entry.hpp
//   csr::?opt_trsm_lower_impl          gpu::opt_trsm<T, I, C>, side lower      trsm/tile_solve_launch.hpp
//   csr::?opt_trsm_upper_impl          gpu::opt_trsm<T, I, C>, side upper
//   csr::?def_trsm_impl                gpu::def_trsm<T, I, C>                  trsm/default_trsm_launch.hpp
// clang-format on

namespace triangular_names {

inline constexpr const char* trsm = "trsm";
inline constexpr const char* optimize_trsm = "optimize_trsm";
// optimize_trsm and trsm word a bad uplo each their own way.
inline constexpr const char* uplo_val = "uplo_val";
inline constexpr const char* uplo_flag_invalid = "uplo_flag is invalid";
inline constexpr const char* unknown_usm_kind = "given usm alloc type is unknown";
inline constexpr const char* no_work_group_size = "device max_work_group_size <= 0";

}  // namespace triangular_names

// The tile solve over the coloured triangle (full blocks, then the leftover columns as rem*),
// and the default solve.
namespace kernels {

template <typename T, typename I, containerType C>
class permMatX_lower_class;
template <typename T, typename I, containerType C>
class permMatX_upper_class;
template <typename T, typename I, containerType C>
class firstColorsTrsmLower;
template <typename T, typename I, containerType C>
class firstColorsTrsmUpper;
template <typename T, typename I, containerType C>
class middleColorsTrsmLower;
template <typename T, typename I, containerType C>
class middleColorsTrsmUpper;
template <typename T, typename I, containerType C>
class lastColorsTrsmLower;
template <typename T, typename I, containerType C>
class lastColorsTrsmUpper;
template <typename T, typename I, containerType C>
class permMatY_lower_class;
template <typename T, typename I, containerType C>
class permMatY_upper_class;
template <typename T, typename I, containerType C>
class remPermMatX_lower_class;
template <typename T, typename I, containerType C>
class remPermMatX_upper_class;
template <typename T, typename I, containerType C>
class remFirstColorsTrsmLower;
template <typename T, typename I, containerType C>
class remFirstColorsTrsmUpper;
template <typename T, typename I, containerType C>
class remMiddleColorsTrsmLower;
template <typename T, typename I, containerType C>
class remMiddleColorsTrsmUpper;
template <typename T, typename I, containerType C>
class remLastColorsTrsmLower;
template <typename T, typename I, containerType C>
class remLastColorsTrsmUpper;
template <typename T, typename I, containerType C>
class remPermMatY_lower_class;
template <typename T, typename I, containerType C>
class remPermMatY_upper_class;
template <typename T, typename I, containerType C>
class def_notmp_trsm_lower_kernel;
template <typename T, typename I, containerType C>
class def_notmp_trsm_upper_kernel;
template <typename T, typename I, containerType C>
class def_trsm_lower_kernel;
template <typename T, typename I, containerType C>
class def_trsm_upper_kernel;

}  // namespace kernels

}  // namespace orvane::vrt::sparse::gpu
