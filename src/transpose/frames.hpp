// omatcopy and the explicit transposes: the frames both backends run (refusals, the handle's own
// transpose slots, reuse of a stored transpose), with the backend's CSR transpose plugged in as
// CsrTranspose::run<T, I, C>(queue, op, in, out, deps).
#pragma once

#include <orvane/vrt/sparse.hpp>
#include <sycl/sycl.hpp>
#include <vector>

#include "common/internal_error.hpp"
#include "handle/handle.hpp"
#include "handle/nnz.hpp"
#include "handle/owned_structure.hpp"
#include "handle/release.hpp"
#include "transpose/copy_kernels.hpp"
#include "transpose/design_names.hpp"

namespace orvane::vrt::sparse::transpose_frames {

using transpose_kernels::not_fully_initialized;
using transpose_kernels::omatcopy_word;

// Both handles need a matrix; a copy also needs the same format on both sides.
inline void check_frame(matrix_handle* A, matrix_handle* B, bool same_handle_skips_format) {
  if (A->primary == nullptr || B->primary == nullptr)
    throw invalid_argument("sparse", omatcopy_word, "At least one matrix is not initialized");
  if (!(same_handle_skips_format && A == B) && A->primary->format != B->primary->format)
    throw invalid_argument("sparse", omatcopy_word, "Input and output matrix formats must be same");
  if (A->primary->format != format_csr && A->primary->format != format_coo)
    throw unimplemented("sparse", omatcopy_word,
                        "Only CSR and COO matrix formats are currently supported");
}

// The transpose of in into out in in's format.
template <typename T, typename I, containerType C, typename CsrTranspose>
sycl::event transpose_structure(sycl::queue& queue, transpose op, sparseStructure* in,
                                sparseStructure* out, const std::vector<sycl::event>& deps) {
  return in->format == format_csr
             ? CsrTranspose::template run<T, I, C>(queue, op, in, out, deps)
             : transpose_kernels::coo_transpose_kernel<T, I, C>(queue, op, in, out, deps);
}

// The library's own transpose of A, kept in the slot of op and owned by it.
template <typename T, typename I, containerType C, typename CsrTranspose>
sycl::event build_own_transpose(sycl::queue& queue, transpose op, matrix_handle* A,
                                const std::vector<sycl::event>& deps) {
  sparseStructure* in = A->primary;
  set_nnz_value(queue, in, deps).wait();
  sparseStructure** slot = op == transpose::trans ? &A->transposed : &A->conj_transposed;
  const owned_shape shape{in->format,       in->ncols,   in->nrows,    in->nnz,
                          index_base::zero, in->fp_type, in->int_type, in->values != nullptr};
  sparseStructure* out =
      make_owned_structure<T, I, C>(queue, reinterpret_cast<void**>(slot), shape, omatcopy_word);
  try {
    return transpose_structure<T, I, C, CsrTranspose>(queue, op, in, out, {});
  } catch (...) {
    // The structure owns its arrays: releasing it frees them.
    const sycl::context context = queue.get_context();
    sparseStructureRelease<T, I, C>(reinterpret_cast<void**>(slot), &context);
    throw;
  }
}

// op(A) into B's arrays (or into A's own slot when B is A), for a CSR or COO A.
template <typename T, typename I, containerType C, typename CsrTranspose>
sycl::event transpose_impl(sycl::queue& queue, transpose op, matrix_handle* A, matrix_handle* B,
                           const std::vector<sycl::event>& deps) {
  const std::int32_t format = A->primary->format;
  if (op == transpose::nontrans) internal_error(omatcopy_word);
  if (A == B) return build_own_transpose<T, I, C, CsrTranspose>(queue, op, A, deps);
  if (B->primary->format != format)
    throw invalid_argument("sparse", omatcopy_word, not_fully_initialized);
  if (format == format_csr) {
    sparseStructure* stored = op == transpose::conjtrans ? A->conj_transposed : A->transposed;
    if (stored != nullptr && stored->format == format_csr)
      return transpose_kernels::omatcopy_kernel<T, I, C>(queue, stored, B->primary, deps);
  }
  return transpose_structure<T, I, C, CsrTranspose>(queue, op, A->primary, B->primary, deps);
}

// The frame of an explicit transpose.
template <typename T, typename I, containerType C, typename CsrTranspose>
sycl::event make_transpose(sycl::queue& queue, transpose op, matrix_handle* A, matrix_handle* B,
                           const std::vector<sycl::event>& deps) {
  check_frame(A, B, true);
  return transpose_impl<T, I, C, CsrTranspose>(queue, op, A, B, deps);
}

// A copy with op nontrans; the transposed forms go through make_transpose.
template <typename T, typename I, containerType C>
sycl::event omatcopy(sycl::queue& queue, transpose op, matrix_handle* A, matrix_handle* B,
                     const std::vector<sycl::event>& deps) {
  check_frame(A, B, false);
  if (A->int_type == int_unset || B->int_type == int_unset)
    throw invalid_argument("sparse", omatcopy_word, not_fully_initialized);
  if (A == B)
    throw invalid_argument("sparse", omatcopy_word, "In-place copy operation is not supported");
  if (op != transpose::nontrans) internal_error(omatcopy_word);
  return transpose_kernels::omatcopy_kernel<T, I, C>(queue, A->primary, B->primary, deps);
}

}  // namespace orvane::vrt::sparse::transpose_frames
