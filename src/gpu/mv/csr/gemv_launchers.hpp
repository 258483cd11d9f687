// Launchers of the CSR row kernels: each turns a plan's group_param and vector_param into one
// template instance of its family and submits it on the caller's queue.
#pragma once

#include <cstdint>
#include <vector>

#include <sycl/sycl.hpp>

#include "common/variants.hpp"
#include "containers/views.hpp"
#include "gpu/mv/gemv_data.hpp"

namespace orvane::vrt::sparse::gpu::csr::kernels {

// All launchers share one signature: the arrays of the structure and the dense vectors as
// containers of memory model C, the scalars by reference.
#define VRT_GEMV_LAUNCHER_PARAMS(T, I, C)                                                     \
  sycl::queue &queue, gemvInternalData *plan, container_t<C, I> row_ptr,                      \
      container_t<C, I> col_ind, container_t<C, T> values, container_t<C, T> x,               \
      container_t<C, T> y, const std::int64_t &nrows, const std::int32_t &index,              \
      const T &alpha, const T &beta, const containerType &container, bool conj,               \
      const std::vector<sycl::event> &deps

// The same list without names, for declarations that do not use them.
#define VRT_GEMV_LAUNCHER_TYPES(T, I, C)                                                      \
  sycl::queue &, gemvInternalData *, container_t<C, I>, container_t<C, I>, container_t<C, T>, \
      container_t<C, T>, container_t<C, T>, const std::int64_t &, const std::int32_t &,       \
      const T &, const T &, const containerType &, bool, const std::vector<sycl::event> &

template <typename T, typename I, containerType C>
sycl::event gemv_default(VRT_GEMV_LAUNCHER_PARAMS(T, I, C));
template <typename T, typename I, containerType C>
sycl::event gemv_with_syclvec(VRT_GEMV_LAUNCHER_PARAMS(T, I, C));
template <typename T, typename I, containerType C>
sycl::event gemv_with_marray(VRT_GEMV_LAUNCHER_PARAMS(T, I, C));
template <typename T, typename I, containerType C>
sycl::event gemv_with_subgroup(VRT_GEMV_LAUNCHER_PARAMS(T, I, C));
template <typename T, typename I, containerType C>
sycl::event gemv_with_esimd(VRT_GEMV_LAUNCHER_PARAMS(T, I, C));
template <typename T, typename I, containerType C>
sycl::event gemv_merge_based_subgroup(VRT_GEMV_LAUNCHER_PARAMS(T, I, C));

// The named launchers (dgemv_with_syclvec_i4 and so on), overloaded on the memory model.
#define VRT_DECLARE_NAMED_GEMV_LAUNCHER(p, T, i, I, family)                                   \
  sycl::event p##family##_##i(VRT_GEMV_LAUNCHER_PARAMS(T, I, container_usm));                 \
  sycl::event p##family##_##i(VRT_GEMV_LAUNCHER_PARAMS(T, I, container_buffer));
#define VRT_DEFINE_NAMED_GEMV_LAUNCHER(p, T, i, I, family)                                    \
  template sycl::event family<T, I, container_usm>(VRT_GEMV_LAUNCHER_PARAMS(T, I, container_usm)); \
  template sycl::event family<T, I, container_buffer>(                                        \
      VRT_GEMV_LAUNCHER_PARAMS(T, I, container_buffer));                                      \
  sycl::event p##family##_##i(VRT_GEMV_LAUNCHER_PARAMS(T, I, container_usm)) {                \
    return family<T, I, container_usm>(queue, plan, row_ptr, col_ind, values, x, y, nrows,    \
                                       index, alpha, beta, container, conj, deps);            \
  }                                                                                           \
  sycl::event p##family##_##i(VRT_GEMV_LAUNCHER_PARAMS(T, I, container_buffer)) {             \
    return family<T, I, container_buffer>(queue, plan, row_ptr, col_ind, values, x, y, nrows, \
                                          index, alpha, beta, container, conj, deps);         \
  }

#define VRT_DECLARE_GEMV_LAUNCHERS(p, T, i, I)                      \
  VRT_DECLARE_NAMED_GEMV_LAUNCHER(p, T, i, I, gemv_default)         \
  VRT_DECLARE_NAMED_GEMV_LAUNCHER(p, T, i, I, gemv_with_marray)     \
  VRT_DECLARE_NAMED_GEMV_LAUNCHER(p, T, i, I, gemv_with_subgroup)   \
  VRT_DECLARE_NAMED_GEMV_LAUNCHER(p, T, i, I, gemv_merge_based_subgroup)
#define VRT_DECLARE_REAL_GEMV_LAUNCHERS(p, T, i, I)                 \
  VRT_DECLARE_NAMED_GEMV_LAUNCHER(p, T, i, I, gemv_with_syclvec)    \
  VRT_DECLARE_NAMED_GEMV_LAUNCHER(p, T, i, I, gemv_with_esimd)
VRT_FOR_EACH_VARIANT(VRT_DECLARE_GEMV_LAUNCHERS)
VRT_VARIANTS_OF_s(VRT_DECLARE_REAL_GEMV_LAUNCHERS)
VRT_VARIANTS_OF_d(VRT_DECLARE_REAL_GEMV_LAUNCHERS)
#undef VRT_DECLARE_GEMV_LAUNCHERS
#undef VRT_DECLARE_REAL_GEMV_LAUNCHERS

}  // namespace orvane::vrt::sparse::gpu::csr::kernels
