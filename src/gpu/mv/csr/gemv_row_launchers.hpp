// The launchers of the row-per-work-item families and of the default kernel. Included by the
// generated translation units that instantiate them (one per value type).
#pragma once

#include <complex>

#include <orvane/vrt/sparse.hpp>

#include "gpu/mv/csr/gemv_launchers.hpp"
#include "gpu/mv/csr/gemv_row_kernels.hpp"
#include "gpu/mv/csr/gemv_subgroup_launchers.hpp"
#include "interface/value_types.hpp"

namespace orvane::vrt::sparse::gpu::csr::kernels {

template <typename T, typename I, containerType C>
class gemv_default_csr_kernel;
template <typename T, typename I, containerType C, int Group, int L>
class gemv_syclvec_csr_kernel;
template <typename T, typename I, containerType C, int Group, int L>
class gemv_marray_csr_kernel;

// One work-item per row over a plain range: the kernel demands no work-group size.
template <typename T, typename I, containerType C>
sycl::event sparse_gemv_default(sycl::queue& queue, std::int64_t nrows, I index, T alpha,
                                container_t<C, I> row_ptr, container_t<C, I> col_ind,
                                container_t<C, T> values, container_t<C, T> x, T beta,
                                container_t<C, T> y, const containerType&, bool conj,
                                const std::vector<sycl::event>& deps) {
  return queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, deps);
    auto rp = bind(h, row_ptr, sycl::read_only);
    auto ci = bind(h, col_ind, sycl::read_only);
    auto va = bind(h, values, sycl::read_only);
    auto xv = bind(h, x, sycl::read_only);
    auto yv = bind(h, y, sycl::read_write);
    h.parallel_for<gemv_default_csr_kernel<T, I, C>>(
        sycl::range<1>(static_cast<std::size_t>(nrows)), [=](sycl::id<1> i) {
          gemv_default_row<T, I>(i[0], raw(rp), raw(ci), raw(va), raw(xv), raw(yv), index, alpha,
                                 beta, conj);
        });
  });
}

template <typename T, typename I, containerType C>
sycl::event gemv_default(VRT_GEMV_LAUNCHER_PARAMS(T, I, C)) {
  (void)plan;
  return sparse_gemv_default<T, I, C>(queue, nrows, static_cast<I>(index), alpha, row_ptr,
                                      col_ind, values, x, beta, y, container, conj, deps);
}

// Moves a base pointer so that one-based indices address it directly. An empty array may have
// no storage at all, and then there is nothing to move.
template <typename T, typename I>
const T* shift_down(const T* p, I index) {
  return p != nullptr ? p - index : p;
}

// Row families: Kernel is a template <int Group, int L> that submits one instance.
template <template <typename, typename, containerType, int, int> class Name, typename T,
          typename I, containerType C, int Group, int L>
sycl::event submit_row_kernel(sycl::queue& queue, container_t<C, I> row_ptr,
                              container_t<C, I> col_ind, container_t<C, T> values,
                              container_t<C, T> x, container_t<C, T> y, std::int64_t nrows,
                              I index, T alpha, T beta, const std::vector<sycl::event>& deps) {
  const std::size_t groups = (static_cast<std::size_t>(nrows) + Group - 1) / Group;
  const sycl::nd_range<1> grid(groups * Group, Group);
  return queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, deps);
    auto rp = bind(h, row_ptr, sycl::read_only);
    auto ci = bind(h, col_ind, sycl::read_only);
    auto va = bind(h, values, sycl::read_only);
    auto xv = bind(h, x, sycl::read_only);
    auto yv = bind(h, y, sycl::read_write);
    h.parallel_for<Name<T, I, C, Group, L>>(grid, [=](sycl::nd_item<1> item) {
      const std::size_t row = item.get_global_id(0);
      if (row >= static_cast<std::size_t>(nrows)) return;
      // The base is folded into the pointers once; row_ptr and col_ind values stay raw.
      const I* cols = shift_down(raw(ci), index);
      const T* vals = shift_down(raw(va), index);
      const T* xs = shift_down(raw(xv), index);
      if constexpr (std::is_same_v<Name<T, I, C, Group, L>, gemv_syclvec_csr_kernel<T, I, C, Group, L>>)
        gemv_syclvec_row<T, I, L>(row, raw(rp), cols, vals, xs, raw(yv), alpha, beta);
      else
        gemv_marray_row<T, I, L>(row, raw(rp), cols, vals, xs, raw(yv), alpha, beta);
    });
  });
}

// Picks the instance for the plan's work-group size; L is already fixed.
template <template <typename, typename, containerType, int, int> class Name, typename T,
          typename I, containerType C, int L>
sycl::event launch_row_family(const gemvInternalData* plan, sycl::queue& queue,
                              container_t<C, I> row_ptr, container_t<C, I> col_ind,
                              container_t<C, T> values, container_t<C, T> x, container_t<C, T> y,
                              std::int64_t nrows, I index, T alpha, T beta,
                              const std::vector<sycl::event>& deps) {
  switch (plan->group_param) {
    case 4:
      return submit_row_kernel<Name, T, I, C, 4, L>(queue, row_ptr, col_ind, values, x, y, nrows,
                                                    index, alpha, beta, deps);
    case 64:
      return submit_row_kernel<Name, T, I, C, 64, L>(queue, row_ptr, col_ind, values, x, y,
                                                     nrows, index, alpha, beta, deps);
    case 256:
      return submit_row_kernel<Name, T, I, C, 256, L>(queue, row_ptr, col_ind, values, x, y,
                                                      nrows, index, alpha, beta, deps);
    default:
      throw computation_error("sparse", "gemv csr", "internal error");
  }
}

// Picks the accumulator length L among Ls by the plan's vector_param; any other value takes
// Fallback.
template <template <typename, typename, containerType, int, int> class Name, typename T,
          typename I, containerType C, int Fallback, int... Ls>
sycl::event launch_by_length(const gemvInternalData* plan, sycl::queue& queue,
                             container_t<C, I> row_ptr, container_t<C, I> col_ind,
                             container_t<C, T> values, container_t<C, T> x, container_t<C, T> y,
                             std::int64_t nrows, I index, T alpha, T beta,
                             const std::vector<sycl::event>& deps) {
  sycl::event done;
  const bool matched =
      ((plan->vector_param == Ls &&
        (done = launch_row_family<Name, T, I, C, Ls>(plan, queue, row_ptr, col_ind, values, x, y,
                                                     nrows, index, alpha, beta, deps),
         true)) ||
       ...);
  if (!matched)
    done = launch_row_family<Name, T, I, C, Fallback>(plan, queue, row_ptr, col_ind, values, x, y,
                                                      nrows, index, alpha, beta, deps);
  return done;
}

template <typename T, typename I, containerType C>
sycl::event gemv_with_syclvec(VRT_GEMV_LAUNCHER_PARAMS(T, I, C)) {
  (void)container;
  (void)conj;  // real values only: nothing to conjugate
  return launch_by_length<gemv_syclvec_csr_kernel, T, I, C, 4, 8, 16>(
      plan, queue, row_ptr, col_ind, values, x, y, nrows, static_cast<I>(index), alpha, beta,
      deps);
}

template <typename T, typename I, containerType C>
sycl::event gemv_with_marray(VRT_GEMV_LAUNCHER_PARAMS(T, I, C)) {
  (void)container;
  (void)conj;  // the marray family takes no conjugation: the CSR path never needs it
  const I base = static_cast<I>(index);
  if constexpr (is_complex_v<T>)
    return launch_by_length<gemv_marray_csr_kernel, T, I, C, 8, 2, 4>(
        plan, queue, row_ptr, col_ind, values, x, y, nrows, base, alpha, beta, deps);
  else
    return launch_by_length<gemv_marray_csr_kernel, T, I, C, 16, 4, 8>(
        plan, queue, row_ptr, col_ind, values, x, y, nrows, base, alpha, beta, deps);
}

}  // namespace orvane::vrt::sparse::gpu::csr::kernels

// The named launchers of one variant (dgemv_with_syclvec_i4 and so on).
#define VRT_INSTANTIATE_GEMV_LAUNCHERS(p, T, i, I)                                         \
  namespace orvane::vrt::sparse::gpu::csr::kernels {                                       \
  VRT_DEFINE_NAMED_GEMV_LAUNCHER(p, T, i, I, gemv_default)                                 \
  VRT_DEFINE_NAMED_GEMV_LAUNCHER(p, T, i, I, gemv_with_marray)                             \
  VRT_DEFINE_NAMED_GEMV_LAUNCHER(p, T, i, I, gemv_with_subgroup)                           \
  VRT_DEFINE_NAMED_GEMV_LAUNCHER(p, T, i, I, gemv_merge_based_subgroup)                    \
  VRT_IF_REAL_##p(VRT_DEFINE_NAMED_GEMV_LAUNCHER(p, T, i, I, gemv_with_syclvec))           \
  VRT_IF_REAL_##p(VRT_DEFINE_NAMED_GEMV_LAUNCHER(p, T, i, I, gemv_with_esimd))             \
  }
