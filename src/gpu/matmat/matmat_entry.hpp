// The device frame of the staged product C = op(A) * op(B): C's structure, the operation code,
// the operand structures (explicit transposes kept in the handles), the record on C, and the
// request switch to the stages.
#pragma once

#include <cstdint>
#include <orvane/vrt/sparse.hpp>
#include <sycl/sycl.hpp>
#include <vector>

#include "gpu/entry_points.hpp"
#include "gpu/matmat/design_names.hpp"
#include "gpu/matmat/matmat_stages.hpp"
#include "handle/handle.hpp"
#include "handle/matmat_data.hpp"
#include "handle/matmat_descr.hpp"
#include "handle/visit_variant.hpp"

namespace orvane::vrt::sparse::gpu {

namespace matmat_detail {

// C's primary structure as the product makes it: CSR, types unset, op(A)'s rows by op(B)'s
// columns, one-based only if both factors are.
inline void create_product_structure(matrix_handle* A, matrix_handle* B, matrix_handle* Cm,
                                     const matmat_descr* descr) {
  initSparseStructure(reinterpret_cast<void**>(&Cm->primary));
  sparseStructure* s = Cm->primary;
  const sparseStructure* a = A->primary;
  const sparseStructure* b = B->primary;
  s->format = format_csr;
  s->int_type = int_unset;
  s->fp_type = fp_unset;
  s->container = static_cast<containerType>(-1);
  if (a != nullptr) s->nrows = descr->op_a != transpose::nontrans ? a->ncols : a->nrows;
  if (b != nullptr) s->ncols = descr->op_b != transpose::nontrans ? b->nrows : b->ncols;
  s->index = (a != nullptr && b != nullptr && a->index == 1 && b->index == 1) ? 1 : 0;
}

// view_a << 16 | view_b << 12 | view_c << 8 | op_a << 2 | op_b, with general views and each op
// one of nontrans, trans, conjtrans.
inline void check_operation(const matmat_descr* descr) {
  const auto code = static_cast<std::uint32_t>(descr->view_a) << 16 |
                    static_cast<std::uint32_t>(descr->view_b) << 12 |
                    static_cast<std::uint32_t>(descr->view_c) << 8 |
                    static_cast<std::uint32_t>(static_cast<std::uint8_t>(descr->op_a)) << 2 |
                    static_cast<std::uint32_t>(static_cast<std::uint8_t>(descr->op_b));
  constexpr std::uint32_t general_views = 1u << 16 | 1u << 12 | 1u << 8;
  for (std::uint32_t op_a : {0u, 1u, 3u})
    for (std::uint32_t op_b : {0u, 1u, 3u})
      if (code == (general_views | op_a << 2 | op_b)) return;
  throw unimplemented("sparse", names::matmat_word, names::unsupported_operation);
}

// The structure op uses, building the explicit (conjugate) transpose into the handle when it has
// none; the build's event then stands for everything before it.
template <containerType C>
sparseStructure* operand_structure(sycl::queue& queue, transpose op, matrix_handle* h,
                                   std::vector<sycl::event>& deps) {
  if (op == transpose::nontrans) return h->primary;
  sparseStructure** slot = op == transpose::trans ? &h->transposed : &h->conj_transposed;
  if (*slot == nullptr) {
    const sycl::event built = visit_variant<values_from_handle, C>(
        h, {.function = names::matmat_word}, [&]<typename T, typename I, containerType M>() {
          return make_transpose_impl<T, I, M>(queue, op, h, h, deps);
        });
    deps = {built};
  }
  return *slot;
}

}  // namespace matmat_detail

template <typename I, containerType C>
sycl::event matmat_impl(sycl::queue& queue, matrix_handle* A, matrix_handle* B, matrix_handle* Cm,
                        matmat_request request, matmat_descr* descr,
                        container_t<C, std::int64_t> size, container_t<C, std::uint8_t> temp,
                        const std::vector<sycl::event>& dependencies) {
  if (Cm->primary == nullptr) matmat_detail::create_product_structure(A, B, Cm, descr);
  matmat_detail::check_operation(descr);

  std::vector<sycl::event> deps = dependencies;
  sparseStructure* a = matmat_detail::operand_structure<C>(queue, descr->op_a, A, deps);
  sparseStructure* b = matmat_detail::operand_structure<C>(queue, descr->op_b, B, deps);
  sparseStructure* c = Cm->primary;
  if (a == nullptr || b == nullptr || c == nullptr)
    throw uninitialized("sparse", names::matmat_word, names::matrix_not_initialized);
  if (a->format != format_csr || b->format != format_csr || c->format != format_csr)
    throw unimplemented("sparse", names::matmat_word, names::csr_only_on_gpu);

  if (c->matmat_data == nullptr) initMatmatInternalData(&c->matmat_data);
  matmatInternalData* d = c->matmat_data;
  if (!d->device_data_cached) {
    // C's memory model once it is bound; the call's until then.
    d->container =
        (c->container == container_usm || c->container == container_buffer) ? c->container : C;
    cache_matmat_internals_device_data(queue, d);
  }

  const int r = static_cast<int>(request);
  if (r < 1 || r > 9) throw invalid_argument("sparse", names::matmat_word, names::invalid_request);
  if (request == matmat_request::get_work_estimation_buf_size ||
      request == matmat_request::work_estimation) {
    if (a->nrows != c->nrows || a->ncols != b->nrows || b->ncols != c->ncols)
      throw invalid_argument("sparse", names::matmat_word, names::dimensions_not_aligned);
  }
  if (request == matmat_request::finalize_structure || request == matmat_request::finalize)
    d->sort_output = descr->sort_output;

  constexpr auto algorithm = kernels::matmat_algorithm_default;
  switch (request) {
    case matmat_request::get_work_estimation_buf_size:
      return matmat_get_work_estimation_buf_size<I, C>(queue, a, b, c, d, algorithm, size, deps);
    case matmat_request::work_estimation:
      return matmat_work_estimation<I, C>(queue, a, b, c, d, algorithm, size, temp, deps);
    case matmat_request::get_compute_structure_buf_size:
      return matmat_get_compute_structure_buf_size<I, C>(queue, a, b, c, d, algorithm, size, deps);
    case matmat_request::compute_structure:
      return matmat_compute_structure<I, C>(queue, a, b, c, d, algorithm, size, temp, deps);
    case matmat_request::finalize_structure:
      return matmat_finalize_structure<I, C>(queue, a, b, c, d, algorithm, deps);
    case matmat_request::get_nnz:
      return matmat_get_nnz<I, C>(queue, a, b, c, d, algorithm, size, deps);
    default:
      break;
  }
  // The value stages take their form from the factors' value type.
  return stage_detail::with_value_type(a, [&]<typename T>() {
    switch (request) {
      case matmat_request::get_compute_buf_size:
        return matmat_get_compute_buf_size<T, I, C>(queue, a, b, c, d, algorithm, size, deps);
      case matmat_request::compute:
        return matmat_compute<T, I, C>(queue, a, b, c, d, algorithm, size, temp, deps);
      default:
        return matmat_finalize<T, I, C>(queue, a, b, c, d, algorithm, deps);
    }
  });
}

// The product is instantiated per index width and memory model: its value stages choose their
// form inside (gpu/matmat/matmat_instances.cpp).
#define VRT_INSTANTIATE_GPU_MATMAT(I, C)                                                      \
  template sycl::event orvane::vrt::sparse::gpu::matmat_impl<I, C>(                           \
      sycl::queue&, orvane::vrt::sparse::matrix_handle*, orvane::vrt::sparse::matrix_handle*, \
      orvane::vrt::sparse::matrix_handle*, orvane::vrt::sparse::matmat_request,               \
      orvane::vrt::sparse::matmat_descr*, orvane::vrt::sparse::container_t<C, std::int64_t>,  \
      orvane::vrt::sparse::container_t<C, std::uint8_t>, const std::vector<sycl::event>&);

}  // namespace orvane::vrt::sparse::gpu
