// Names of the format family (sort_matrix, omatcopy and the explicit transposes on the device)
// that users and tools see and that must not change: routine words of its messages and the class
// names of its kernels. The names both backends share live in transpose/design_names.hpp.
//
// The design's names of the family's entries and shells, and the templates that are they
// (<p> a value letter s, d, c, z; <i> i4 or i8; <c> usm or buf):
//   gpu::<p>sort_matrix_impl_<i>_<c>            gpu::sort_matrix_impl<T, I, C> (sort_entry.hpp)
//   gpu::kernels::<p>sort_csr_<i>_<c>           gpu::kernels::sort_csr<T, I, C> (sort_launch.hpp)
//   gpu::kernels::<p>sort_indices_values_<i>_<c>, sort_indices_<i>_<c>
//                                               gpu::kernels::sort_rows<T, I, C>, with or
//                                               without values (sort_launch.hpp)
//   gpu::kernels::<p>copy_and_sort_csr_<i>_<c>  gpu::kernels::copy_and_sort_csr<T, I, C>
//   quicksort_nonrecursive, small_list_sort     the same names in sort_kernel.hpp
//   gpu::<p>omatcopy_impl_<i>_<c>               gpu::omatcopy_impl<T, I, C> (transpose_entry.hpp)
//   gpu::<p>transpose_impl_<i>_<c>              gpu::make_transpose_impl<T, I, C>
//   gpu::csr::, gpu::coo::<p>omatcopy_impl      transpose_frames::omatcopy<T, I, C>
//   gpu::csr::, gpu::coo::<p>transpose_impl     transpose_frames::transpose_impl<T, I, C, ...>
//   gpu::kernels::csr::, coo::<p>omatcopy_kernel
//                                               transpose_kernels::omatcopy_kernel<T, I, C>
//   gpu::kernels::csr::<p>transposeKernel       gpu::kernels::csr_transpose_kernel<T, I, C>
//                                               (csr_transpose_launch.hpp)
//   gpu::kernels::coo::<p>transposeKernel       transpose_kernels::coo_transpose_kernel<T, I, C>
//   gpu::<p>update_diagonal_values_impl_<i>, buffer and USM overloads
//                                               gpu::update_diagonal_values_impl<T, I, C>
//                                               (update_diagonal_entry.hpp)
// Kernel names of the design that are one kernel here: <p>sortIndicesValuesKernel,
// sortIndicesKernel and <p>copySortCsrKernel are sortIndicesKernel<..., Values>;
// transComputeStructure* is valued<transCompute*, false>; transNnzCountSingle and
// iaPrefixSumSingle are steps of transComputeSingle; csrComputeJbCopy is csrComputeIbCopy.
#pragma once

#include "common/internal_types.hpp"
#include "transpose/design_names.hpp"

namespace orvane::vrt::sparse::gpu {

// The routine word of the sort messages.
inline constexpr const char* sort_matrix_word = "sort_matrix";
// The refusals of the sort entry, in the order they are tested.
inline constexpr const char* sort_before_binding =
    "set_csr_data must be called before calling sort_matrix";
inline constexpr const char* sort_of_coo =
    "Sorting COO matrix format is currently not supported with this API";

// The routine word of the diagonal update, and its refusals in the order they are tested.
inline constexpr const char* update_diagonal_word = "update_diagonal_values";
inline constexpr const char* update_not_initialized = "Matrix is not initialized";
inline constexpr const char* update_csr_only =
    "currently only supports the CSR matrix format on GPU devices";
inline constexpr const char* update_diagonal_too_short = "diagonal buffer/array is not long enough";
inline constexpr const char* update_missing_diagonal =
    "the matrix is missing diagonal values in the structure, this is not supported for "
    "sparse::update_diagonal_values().";

namespace kernels {
// Diagonal update: the missing-diagonal check, the write into a structure (walking its rows or
// through its split positions), and the refresh of the diagonal record and of a coloring.
template <typename I, containerType C>
class updateDiagCheckKernel;
template <typename T, typename I, containerType C>
class updateDiagValuesKernel;
template <typename T, typename I, containerType C>
class updateDiagValuesAtKernel;
template <typename I, containerType C>
class updateDiagClearZeroFlag;
template <typename T, typename I, containerType C>
class updateDiagDataKernel;
template <typename T, typename I, containerType C>
class updateColoredInvDiagKernel;

// Row sort, with or without values.
template <typename T, typename I, containerType C, bool Values>
class sortIndicesKernel;

// CSR transpose: counts, scatter and the shift of the row pointers by atomics, or all steps in
// one work-item.
template <typename T, typename I, containerType C>
class transNnzCountParallel;
template <typename T, typename I, containerType C>
class transComputeParallel;
template <typename T, typename I, containerType C>
class transFinalizeIaParallel;
template <typename T, typename I, containerType C>
class transComputeSingle;

// Kernels with and without values carry different names.
template <typename Name, bool Values>
class valued;
}  // namespace kernels

}  // namespace orvane::vrt::sparse::gpu
