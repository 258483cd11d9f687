// What a CSR gemv launcher receives: the structure's arrays, the dense vectors and the scalars
// in one record, so that every launcher has the same short signature.
#pragma once

#include <cstdint>
#include <vector>

#include <sycl/sycl.hpp>

#include "common/variants.hpp"
#include "containers/views.hpp"
#include "handle/gemv_data.hpp"

namespace orvane::vrt::sparse::gpu::csr {

template <typename T, typename I, containerType C>
struct gemv_operands {
  container_t<C, I> row_ptr;
  container_t<C, I> col_ind;
  container_t<C, T> values;
  container_t<C, T> x;
  container_t<C, T> y;
  std::int64_t nrows;
  I index;  // 0 or 1
  T alpha;
  T beta;
  bool conj;  // conjugate the matrix values (complex only)
};

// A launcher turns the plan's group_param and vector_param into one kernel instance of its
// family and submits it after deps.
template <typename T, typename I, containerType C>
using gemv_launcher = sycl::event (*)(sycl::queue& queue, const gemvInternalData& plan,
                                      const gemv_operands<T, I, C>& operands,
                                      const std::vector<sycl::event>& deps);

// The launchers of the families: row_launchers.hpp, subgroup_launchers.hpp, esimd_launcher.hpp,
// merge_launcher.hpp.
template <typename T, typename I, containerType C>
sycl::event gemv_default(sycl::queue& queue, const gemvInternalData& plan,
                         const gemv_operands<T, I, C>& operands,
                         const std::vector<sycl::event>& deps);
template <typename T, typename I, containerType C>
sycl::event gemv_with_syclvec(sycl::queue& queue, const gemvInternalData& plan,
                              const gemv_operands<T, I, C>& operands,
                              const std::vector<sycl::event>& deps);
template <typename T, typename I, containerType C>
sycl::event gemv_with_marray(sycl::queue& queue, const gemvInternalData& plan,
                             const gemv_operands<T, I, C>& operands,
                             const std::vector<sycl::event>& deps);
template <typename T, typename I, containerType C>
sycl::event gemv_with_subgroup(sycl::queue& queue, const gemvInternalData& plan,
                               const gemv_operands<T, I, C>& operands,
                               const std::vector<sycl::event>& deps);
template <typename T, typename I, containerType C>
sycl::event gemv_with_esimd(sycl::queue& queue, const gemvInternalData& plan,
                            const gemv_operands<T, I, C>& operands,
                            const std::vector<sycl::event>& deps);
template <typename T, typename I, containerType C>
sycl::event gemv_merge_based_subgroup(sycl::queue& queue, const gemvInternalData& plan,
                                      const gemv_operands<T, I, C>& operands,
                                      const std::vector<sycl::event>& deps);

VRT_NAME_VARIANTS(gemv_default)
VRT_NAME_VARIANTS(gemv_with_marray)

}  // namespace orvane::vrt::sparse::gpu::csr
