// omatcopy and the explicit transposes on the device: the frames around the kernels.
#pragma once

#include "gpu/format/transpose.hpp"

namespace orvane::vrt::sparse::gpu {

// Where the CSR transpose itself runs: the device kernels here; CPU queues substitute the host
// engine and keep the frames below.
struct device_csr_transpose {
  template <typename T, typename I, containerType C>
  static sycl::event run(sycl::queue& queue, transpose op, sparseStructure* in,
                         sparseStructure* out, const std::vector<sycl::event>& deps) {
    return kernels::csr_transpose_kernel<T, I, C>(queue, op, in, out, deps);
  }
};

namespace detail {
inline constexpr const char* not_fully_initialized =
    "Only supports transpose on fully initialized matrix handles. Please call set_xxx_data "
    "routine";

// Both handles need a matrix; a copy also needs the same format on both sides.
inline void check_frame(matrix_handle* A, matrix_handle* B, bool same_handle_skips_format) {
  if (A->primary == nullptr || B->primary == nullptr)
    throw invalid_argument("sparse", "omatcopy", "At least one matrix is not initialized");
  if (!(same_handle_skips_format && A == B) && A->primary->format != B->primary->format)
    throw invalid_argument("sparse", "omatcopy", "Input and output matrix formats must be same");
  if (A->primary->format != format_csr && A->primary->format != format_coo)
    throw unimplemented("sparse", "omatcopy",
                        "Only CSR and COO matrix formats are currently supported");
}

// The library's own transpose of A, kept in the slot of op and owned by it.
template <typename T, typename I, containerType C, typename CsrTranspose>
sycl::event build_own_transpose(sycl::queue& queue, transpose op, matrix_handle* A,
                                const std::vector<sycl::event>& deps) {
  sparseStructure* in = A->primary;
  set_nnz_value(queue, in, deps).wait();
  sparseStructure** slot = op == transpose::trans ? &A->transposed : &A->conj_transposed;
  const bool csr = in->format == format_csr;
  const auto nnz = static_cast<std::size_t>(in->nnz);
  const std::size_t row_count = csr ? static_cast<std::size_t>(in->ncols) + 1 : nnz;
  void* row_ptr = allocate_device_container<I>(std::max<std::size_t>(row_count, 1), queue, C);
  void* col_ind = allocate_device_container<I>(std::max<std::size_t>(nnz, 1), queue, C);
  void* values = in->values != nullptr
                     ? allocate_device_container<T>(std::max<std::size_t>(nnz, 1), queue, C)
                     : nullptr;
  const sycl::context context = queue.get_context();
  if (row_ptr == nullptr || col_ind == nullptr || (in->values != nullptr && values == nullptr)) {
    deallocate_container<I>(row_ptr, context, C);
    deallocate_container<I>(col_ind, context, C);
    deallocate_container<T>(values, context, C);
    throw device_bad_alloc("sparse", "omatcopy", queue.get_device());
  }
  try {
    initSparseStructure(reinterpret_cast<void**>(slot));
  } catch (...) {
    deallocate_container<I>(row_ptr, context, C);
    deallocate_container<I>(col_ind, context, C);
    deallocate_container<T>(values, context, C);
    throw;
  }
  sparseStructure* out = *slot;
  if (csr)
    set_csr_data_impl(out, in->ncols, in->nrows, index_base::zero, in->fp_type, in->int_type, C,
                      row_ptr, col_ind, values, true);
  else
    set_coo_data_impl(out, in->ncols, in->nrows, in->nnz, index_base::zero, in->fp_type,
                      in->int_type, C, row_ptr, col_ind, values, true);
  try {
    return csr ? CsrTranspose::template run<T, I, C>(queue, op, in, out, {})
               : kernels::coo_transpose_kernel<T, I, C>(queue, op, in, out, {});
  } catch (...) {
    // The structure owns its arrays: releasing it frees them.
    sparseStructureRelease<T, I, C>(reinterpret_cast<void**>(slot), &context);
    throw;
  }
}
}  // namespace detail

namespace csr {
template <typename T, typename I, containerType C, typename CsrTranspose>
sycl::event transpose_impl(sycl::queue& queue, transpose op, matrix_handle* A, matrix_handle* B,
                           const std::vector<sycl::event>& deps) {
  if (op == transpose::nontrans) throw computation_error("sparse", "omatcopy", "internal error");
  if (A->primary->format != format_csr)
    throw invalid_argument("sparse", "omatcopy", detail::not_fully_initialized);
  if (A == B) return detail::build_own_transpose<T, I, C, CsrTranspose>(queue, op, A, deps);
  if (B->primary->format != format_csr)
    throw invalid_argument("sparse", "omatcopy", detail::not_fully_initialized);
  sparseStructure* stored = op == transpose::conjtrans ? A->conj_transposed : A->transposed;
  if (stored != nullptr && stored->format == format_csr)
    return kernels::omatcopy_kernel<T, I, C>(queue, stored, B->primary, deps);
  return CsrTranspose::template run<T, I, C>(queue, op, A->primary, B->primary, deps);
}

template <typename T, typename I, containerType C>
sycl::event omatcopy_impl(sycl::queue& queue, transpose op, matrix_handle* A, matrix_handle* B,
                          const std::vector<sycl::event>& deps) {
  if (A->primary->format != format_csr || B->primary->format != format_csr ||
      A->int_type == int_unset || B->int_type == int_unset)
    throw invalid_argument("sparse", "omatcopy", detail::not_fully_initialized);
  if (A == B) throw invalid_argument("sparse", "omatcopy", "In-place copy operation is not supported");
  if (op != transpose::nontrans) throw computation_error("sparse", "omatcopy", "internal error");
  return kernels::omatcopy_kernel<T, I, C>(queue, A->primary, B->primary, deps);
}
}  // namespace csr

namespace coo {
template <typename T, typename I, containerType C>
sycl::event transpose_impl(sycl::queue& queue, transpose op, matrix_handle* A, matrix_handle* B,
                           const std::vector<sycl::event>& deps) {
  if (op == transpose::nontrans) throw computation_error("sparse", "omatcopy", "internal error");
  if (A->primary->format != format_coo)
    throw invalid_argument("sparse", "omatcopy", detail::not_fully_initialized);
  if (A == B) return detail::build_own_transpose<T, I, C, device_csr_transpose>(queue, op, A, deps);
  if (B->primary->format != format_coo)
    throw invalid_argument("sparse", "omatcopy", detail::not_fully_initialized);
  return kernels::coo_transpose_kernel<T, I, C>(queue, op, A->primary, B->primary, deps);
}

template <typename T, typename I, containerType C>
sycl::event omatcopy_impl(sycl::queue& queue, transpose op, matrix_handle* A, matrix_handle* B,
                          const std::vector<sycl::event>& deps) {
  if (A->primary->format != format_coo || B->primary->format != format_coo ||
      A->int_type == int_unset || B->int_type == int_unset)
    throw invalid_argument("sparse", "omatcopy", detail::not_fully_initialized);
  if (A == B) throw invalid_argument("sparse", "omatcopy", "In-place copy operation is not supported");
  if (op != transpose::nontrans) throw computation_error("sparse", "omatcopy", "internal error");
  return kernels::omatcopy_kernel<T, I, C>(queue, A->primary, B->primary, deps);
}
}  // namespace coo

// The frame of an explicit transpose with the CSR step of the caller's choice.
template <typename T, typename I, containerType C, typename CsrTranspose>
sycl::event make_transpose_with(sycl::queue& queue, transpose op, matrix_handle* A,
                                matrix_handle* B, const std::vector<sycl::event>& deps) {
  detail::check_frame(A, B, true);
  return A->primary->format == format_csr
             ? csr::transpose_impl<T, I, C, CsrTranspose>(queue, op, A, B, deps)
             : coo::transpose_impl<T, I, C>(queue, op, A, B, deps);
}

// gpu::?transpose_impl: what dispatch_make_transpose reaches.
template <typename T, typename I, containerType C>
sycl::event make_transpose_impl(sycl::queue& queue, transpose op, matrix_handle* A,
                                matrix_handle* B, const std::vector<sycl::event>& deps) {
  return make_transpose_with<T, I, C, device_csr_transpose>(queue, op, A, B, deps);
}

template <typename T, typename I, containerType C>
sycl::event omatcopy_impl(sycl::queue& queue, transpose op, matrix_handle* A, matrix_handle* B,
                          const std::vector<sycl::event>& deps) {
  detail::check_frame(A, B, false);
  return A->primary->format == format_csr ? csr::omatcopy_impl<T, I, C>(queue, op, A, B, deps)
                                          : coo::omatcopy_impl<T, I, C>(queue, op, A, B, deps);
}

// gpu::dtranspose_impl_i4_usm, gpu::domatcopy_impl_i4_usm and the like.
#define VRT_TRANSPOSE_NAMED(p, T, i, I, name, target, suffix, model)                          \
  sycl::event p##name##_##i##_##suffix(sycl::queue& q, transpose op, matrix_handle* A,        \
                                       matrix_handle* B, const std::vector<sycl::event>& d) { \
    return target<T, I, model>(q, op, A, B, d);                                               \
  }
#define VRT_INSTANTIATE_TRANSPOSE(p, T, i, I)                                                 \
  namespace orvane::vrt::sparse::gpu {                                                        \
  template sycl::event make_transpose_impl<T, I, container_usm>(                              \
      sycl::queue&, transpose, matrix_handle*, matrix_handle*, const std::vector<sycl::event>&); \
  template sycl::event make_transpose_impl<T, I, container_buffer>(                           \
      sycl::queue&, transpose, matrix_handle*, matrix_handle*, const std::vector<sycl::event>&); \
  template sycl::event omatcopy_impl<T, I, container_usm>(                                    \
      sycl::queue&, transpose, matrix_handle*, matrix_handle*, const std::vector<sycl::event>&); \
  template sycl::event omatcopy_impl<T, I, container_buffer>(                                 \
      sycl::queue&, transpose, matrix_handle*, matrix_handle*, const std::vector<sycl::event>&); \
  VRT_TRANSPOSE_NAMED(p, T, i, I, transpose_impl, make_transpose_impl, usm, container_usm)    \
  VRT_TRANSPOSE_NAMED(p, T, i, I, transpose_impl, make_transpose_impl, buf, container_buffer) \
  VRT_TRANSPOSE_NAMED(p, T, i, I, omatcopy_impl, omatcopy_impl, usm, container_usm)           \
  VRT_TRANSPOSE_NAMED(p, T, i, I, omatcopy_impl, omatcopy_impl, buf, container_buffer)        \
  }

}  // namespace orvane::vrt::sparse::gpu
