// The permutations around a level-set solve: the right-hand side into color order, and the
// solution back into row order.
#pragma once

#include <sycl/sycl.hpp>
#include <vector>

#include "gpu/triangular/design_names.hpp"
#include "gpu/triangular/levelset/levelset_operands.hpp"
#include "gpu/triangular/levelset/permute_kernel.hpp"

namespace orvane::vrt::sparse::gpu {

enum class permutation { into_colors, into_rows };

// dst[i] = src[index[i]] for i below nrows: rhs_colored[p] = x[row_of_position[p]], or
// y[r] = sol_colored[position_of_row[r]].
template <permutation P, typename T, typename I, containerType C>
sycl::event submit_permutation(sycl::queue& queue, triangle side, std::size_t nrows,
                               container_t<C, T> src, container_t<C, I> index,
                               container_t<C, T> dst, const std::vector<sycl::event>& deps) {
  auto launch = [&](auto name) {
    using Name = typename decltype(name)::type;
    return queue.submit([&](sycl::handler& h) {
      depend_on<C>(h, deps);
      const auto reads = bind_reads(h, src, index);
      const auto s = std::get<0>(reads);
      const auto ix = std::get<1>(reads);
      auto d = bind(h, dst, sycl::write_only);
      h.parallel_for<Name>(
          sycl::nd_range<1>(round_up_to_group(nrows), levelset_group), [=](sycl::nd_item<1> it) {
            kernels::permute_entry<T, I>(it.get_global_id(0), nrows, raw(s), raw(ix), raw(d));
          });
    });
  };
  using kernels::permVectorXl_class, kernels::permVectorXu_class;
  using kernels::permVectorYl_class, kernels::permVectorYu_class;
  if constexpr (P == permutation::into_colors)
    return launch_for_side<permVectorXl_class<T, I, C>, permVectorXu_class<T, I, C>>(side, launch);
  else
    return launch_for_side<permVectorYl_class<T, I, C>, permVectorYu_class<T, I, C>>(side, launch);
}

}  // namespace orvane::vrt::sparse::gpu
