// Names of the sparse product's device kernels that may not change: the class names of the
// kernels (they name the kernels in profiles and in the device image) and the routine word of
// their refusals. Launchers take them from here.
#pragma once

#include <cstdint>

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
