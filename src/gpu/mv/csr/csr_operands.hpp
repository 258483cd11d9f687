// What a CSR gemv launcher receives: the structure's arrays, the dense vectors and the scalars
// in one record, so that every launcher has the same short signature.
#pragma once

#include <cstdint>
#include <sycl/sycl.hpp>
#include <vector>

#include "common/variants.hpp"
#include "containers/views.hpp"
#include "gpu/operand_binding.hpp"
#include "handle/gemv_data.hpp"

namespace orvane::vrt::sparse::gpu::csr {

template <typename T, typename I, containerType C>
struct gemv_operands : product_arrays<T, I, C> {
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

// The launchers of the families, instantiated in units of their own: csr_row_launch.hpp,
// csr_subgroup_launch.hpp, csr_esimd_launch.hpp, csr_merge_launch.hpp.
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

}  // namespace orvane::vrt::sparse::gpu::csr
