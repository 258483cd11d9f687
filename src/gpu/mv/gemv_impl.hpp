// The device path of gemv: structure choice, the first-use plan and the kernel family.
#pragma once

#include <complex>

#include <orvane/vrt/sparse.hpp>

#include "containers/views.hpp"
#include "gpu/mv/csr/gemv_launchers.hpp"
#include "gpu/mv/gemv_data.hpp"
#include "interface/backends.hpp"
#include "interface/frame.hpp"
#include "interface/select_structure.hpp"
#include "interface/value_types.hpp"

namespace orvane::vrt::sparse::gpu {

namespace csr {
template <typename T, typename I, containerType C>
sycl::event gemv_impl(sycl::queue& queue, transpose op, bool conj, T alpha, sparseStructure* A,
                      container_t<C, T> x, T beta, container_t<C, T> y,
                      const std::vector<sycl::event>& deps);
}  // namespace csr

namespace csc {
// The column-oriented product of a transposed operation on the primary structure.
template <typename T, typename I, containerType C>
sycl::event gemv_impl(sycl::queue&, transpose, bool, T, sparseStructure*, container_t<C, T>, T,
                      container_t<C, T>, const std::vector<sycl::event>&) {
  throw unimplemented("sparse", "gemv");
}
}  // namespace csc

namespace coo {
template <typename T, typename I, containerType C>
sycl::event gemv_impl(sycl::queue&, transpose, T, sparseStructure*, container_t<C, T>, T,
                      container_t<C, T>, const std::vector<sycl::event>&) {
  throw unimplemented("sparse", "gemv");
}
}  // namespace coo

template <typename T, typename I, containerType C>
sycl::event gemv_impl(sycl::queue& queue, transpose op, T alpha, matrix_handle* A,
                      container_t<C, T> x, T beta, container_t<C, T> y,
                      const std::vector<sycl::event>& deps) {
  sparseStructure* primary = A->primary;
  if (primary == nullptr) throw uninitialized("sparse", "gemv", "Matrix is not initialized");
  if (primary->format == format_coo)
    return coo::gemv_impl<T, I, C>(queue, op, alpha, primary, x, beta, y, deps);
  if (primary->format != format_csr)
    throw unimplemented("sparse", "gemv",
                        "currently only supports the CSR and COO matrix formats on GPU devices");

  sparseStructure* structure = nullptr;
  std::vector<sycl::event> new_deps;
  sparseStructSelection selection;
  bool host_y = false;
  if constexpr (C == container_usm)
    host_y = A->container == container_usm &&
             sycl::get_pointer_type(y, queue.get_context()) == sycl::usm::alloc::host;
  if (host_y) {
    // The column-oriented kernel adds into y with device atomics, which host memory cannot
    // take: a transposed product on host y runs row-wise on an explicit transpose.
    selection = do_transpose_and_select_sparse_struct(queue, op, A, &structure, deps, new_deps);
  } else {
    selection = select_best_sparse_struct(queue, op, A, &structure);
    new_deps = deps;
  }
  if (structure == nullptr) throw uninitialized("sparse", "gemv", "Matrix is not initialized");
  const bool conj = check_for_conj(op, selection);
  if (!is_transposed(op) || selection != select_primary)
    return csr::gemv_impl<T, I, C>(queue, op, conj, alpha, structure, x, beta, y, new_deps);
  return csc::gemv_impl<T, I, C>(queue, op, conj, alpha, structure, x, beta, y, new_deps);
}

namespace csr {

// The plan of a structure's first gemv, from the architecture code alone.
template <typename T>
void set_first_use_plan(gemvInternalData* plan) {
  constexpr bool single = std::is_same_v<T, float> || std::is_same_v<T, std::complex<float>>;
  switch (plan->device_data->architecture) {
    case 1:
      plan->kernel_kind = gemv_kind_syclvec;
      plan->group_param = 256;
      plan->vector_param = single ? 8 : 4;
      break;
    case 3:
    case 4:
      plan->kernel_kind = gemv_kind_subgroup;
      plan->group_param = 8;
      plan->vector_param = 16;
      break;
    case 5:
      // Kept as first measured: single precision gets the short vector here.
      plan->kernel_kind = gemv_kind_syclvec;
      plan->group_param = 4;
      plan->vector_param = single ? 4 : 16;
      break;
    case 6:
      plan->kernel_kind = gemv_kind_subgroup;
      plan->group_param = 8;
      plan->vector_param = 32;
      break;
    default:
      plan->kernel_kind = gemv_kind_syclvec;
      plan->group_param = 256;
      plan->vector_param = 16;
      break;
  }
}

template <typename T, typename I, containerType C>
sycl::event gemv_impl(sycl::queue& queue, transpose, bool conj, T alpha, sparseStructure* A,
                      container_t<C, T> x, T beta, container_t<C, T> y,
                      const std::vector<sycl::event>& deps) {
  if (A == nullptr) throw uninitialized("sparse", "gemv", "Matrix is not initialized");
  if (A->format != format_csr) throw computation_error("sparse", "gemv", "internal error");
  if (A->row_ptr == nullptr || A->col_ind == nullptr || A->values == nullptr)
    throw uninitialized("sparse", "gemv", "Matrix is not initialized");
  if (A->gemv_data == nullptr) initGemvInternalData(&A->gemv_data);
  gemvInternalData* plan = A->gemv_data;
  if (!plan->cached) {
    cache_gemv_internals(queue, plan);
    set_first_use_plan<T>(plan);
  }

  const auto row_ptr = as_container<C, I>(A->row_ptr);
  const auto col_ind = as_container<C, I>(A->col_ind);
  const auto values = as_container<C, T>(A->values);
  const std::int64_t nrows = A->nrows;
  const std::int32_t index = A->index != 0 ? 1 : 0;
  const containerType container = C;
  using namespace kernels;
  const auto run = [&](auto launcher) {
    return launcher(queue, plan, row_ptr, col_ind, values, x, y, nrows, index, alpha, beta,
                    container, conj, deps);
  };

  if constexpr (!is_complex_v<T>) {
    switch (plan->kernel_kind) {
      case gemv_kind_syclvec:
        return run(gemv_with_syclvec<T, I, C>);
      case gemv_kind_marray:
        return run(gemv_with_marray<T, I, C>);
      case gemv_kind_subgroup:
        return run(gemv_with_subgroup<T, I, C>);
      case gemv_kind_esimd:
        return run(gemv_with_esimd<T, I, C>);
      case gemv_kind_merge:
        return run(gemv_merge_based_subgroup<T, I, C>);
      default:
        throw computation_error("sparse", "gemv", "internal error");
    }
  } else {
    // No sycl::vec or explicit-SIMD kernels for complex values: those plans are rewritten once.
    switch (plan->kernel_kind) {
      case gemv_kind_syclvec:
        plan->vector_param /= 2;
        plan->kernel_kind = gemv_kind_marray;
        return run(gemv_with_marray<T, I, C>);
      case gemv_kind_marray:
        return run(gemv_with_marray<T, I, C>);
      case gemv_kind_subgroup:
        return run(gemv_with_subgroup<T, I, C>);
      case gemv_kind_merge:
        return run(gemv_merge_based_subgroup<T, I, C>);
      default:
        if ((plan->device_data->architecture | 4) == 5) {
          plan->kernel_kind = gemv_kind_default;
          return run(gemv_default<T, I, C>);
        }
        plan->kernel_kind = gemv_kind_subgroup;
        plan->group_param = 8;
        plan->vector_param = 16;
        return run(gemv_with_subgroup<T, I, C>);
    }
  }
}

}  // namespace csr

// gpu::dgemv_impl_i4 and the like, with csr::dgemv_impl_i4: instantiated per value type.
#define VRT_INSTANTIATE_GPU_GEMV(p, T, i, I)                                                      \
  namespace orvane::vrt::sparse::gpu {                                                            \
  template sycl::event gemv_impl<T, I, container_usm>(sycl::queue&, transpose, T,                 \
                                                      matrix_handle*, T*, T, T*,                  \
                                                      const std::vector<sycl::event>&);           \
  template sycl::event gemv_impl<T, I, container_buffer>(                                         \
      sycl::queue&, transpose, T, matrix_handle*, sycl::buffer<T, 1>*, T, sycl::buffer<T, 1>*,    \
      const std::vector<sycl::event>&);                                                           \
  sycl::event p##gemv_impl_##i(sycl::queue& q, transpose op, T alpha, matrix_handle* A,           \
                               const T* x, T beta, T* y, const std::vector<sycl::event>& deps) {  \
    return gemv_impl<T, I, container_usm>(q, op, alpha, A, const_cast<T*>(x), beta, y, deps);     \
  }                                                                                               \
  sycl::event p##gemv_impl_##i(sycl::queue& q, transpose op, T alpha, matrix_handle* A,           \
                               sycl::buffer<T, 1>& x, T beta, sycl::buffer<T, 1>& y) {            \
    return gemv_impl<T, I, container_buffer>(q, op, alpha, A, &x, beta, &y, {});                  \
  }                                                                                               \
  namespace csr {                                                                                 \
  sycl::event p##gemv_impl_##i(sycl::queue& q, transpose op, bool conj, T alpha,                  \
                               sparseStructure* A, const T* x, T beta, T* y,                      \
                               const std::vector<sycl::event>& deps) {                            \
    return gemv_impl<T, I, container_usm>(q, op, conj, alpha, A, const_cast<T*>(x), beta, y,      \
                                          deps);                                                  \
  }                                                                                               \
  sycl::event p##gemv_impl_##i(sycl::queue& q, transpose op, bool conj, T alpha,                  \
                               sparseStructure* A, sycl::buffer<T, 1>& x, T beta,                 \
                               sycl::buffer<T, 1>& y) {                                           \
    return gemv_impl<T, I, container_buffer>(q, op, conj, alpha, A, &x, beta, &y, {});            \
  }                                                                                               \
  }                                                                                               \
  }

}  // namespace orvane::vrt::sparse::gpu
