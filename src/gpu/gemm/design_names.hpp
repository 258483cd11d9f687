// Names of the gemm family that users and tools see and that must not change: the routine word of
// its messages, its one odd message, and the class names of its kernels (they name the kernels in
// profiles and in the device image).
//
// The design's names of the family's entries and shells, and the templates that are they
// (<p> a value letter s, d, c, z; <i> i4 or i8; <c> usm or buf):
//   gpu::<p>gemm_impl_<i>_<c>           gpu::gemm_impl<T, I, C> (gemm_entry.hpp)
//   gpu::<p>gemm_opt_subgroup           gemm::gemm_opt_subgroup<T, I, C> (subgroup_path.hpp)
//   gpu::<p>gemm_opt_esimd              gemm::gemm_opt_esimd<T, I, C> (esimd_launch.hpp)
//   gpu::kernels::<p>gemm_subgroup_kernel_wrapper<sg, vec>
//                                       gemm::gemm_subgroup_kernel_wrapper<T, I, C, SG, VEC>
//   gpu::kernels::<p>gemm_esimd_kernel_wrapper<width>
//                                       gemm::gemm_esimd_kernel_wrapper<T, I, C, W>
//   initGemmInternalData, cache_gemm_internals, <p>gemmInternalDataRelease_<i>_<c>
//                                       the same names in handle/gemm_data.hpp
#pragma once

#include "common/internal_types.hpp"

namespace orvane::vrt::sparse::gpu::gemm {

// The routine word of every gemm message.
inline constexpr const char* gemm_word = "gemm";
// The refusal of a (sub-group, vector length) pair that has no kernel.
inline constexpr const char* invalid_vec_length = "internal error -- invalid vec_length";
// The refusals of the entry and of the sub-group path, in the order they are tested.
inline constexpr const char* only_nontrans_b =
    "currently only supports the orvane::vrt::transpose::nontrans op";
inline constexpr const char* not_initialized = "Matrix is not initialized";
inline constexpr const char* only_csr =
    "currently only supports the CSR matrix format on GPU devices";
inline constexpr const char* no_work_group_size = "device max_work_group_size <= 0";
inline constexpr const char* unknown_usm_kind = "given usm alloc type is unknown";

namespace kernels {
// Sub-group path: staging of B blocks, the block product, the leftover columns.
template <typename T, containerType C>
class mmCopyBlockRowKernel;
template <typename T, containerType C>
class mmCopyBlockColumnKernel;
template <typename T, containerType C>
class mmCopyRestBlockRowKernel;
template <typename T, containerType C>
class mmCopyRestBlockColumnKernel;
template <typename T, typename I, containerType C, int SG, int VEC>
class compute_gemm_subgroup_opt_kernel;
template <typename T, typename I, containerType C>
class mmRestKernel;
template <typename T, typename I, containerType C>
class mmNoBtmpKernel;

// Explicit-SIMD path: staging of B and C, the tile product, the product without staging.
template <typename T, containerType C>
class transpose_bTmp_kernel;
template <typename T, containerType C>
class gemm_transposeC_kernel;
template <typename T, typename I, containerType C, int W>
class compute_gemm_esimd_opt_kernel;
template <typename T, typename I, containerType C>
class mm_esimd_no_btmp_or_ctmp_kernel;
}  // namespace kernels

}  // namespace orvane::vrt::sparse::gpu::gemm
