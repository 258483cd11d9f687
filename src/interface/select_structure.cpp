// Choosing the form of a matrix that an operation runs on.
#include "interface/select_structure.hpp"

#include "interface/backends.hpp"
#include "interface/dispatch.hpp"
#include "interface/pending_backends.hpp"

namespace orvane::vrt::sparse {

sparseStructSelection select_best_sparse_struct(sycl::queue&, transpose op,
                                                matrix_handle* handle, sparseStructure** out) {
  switch (op) {
    case transpose::nontrans:
      *out = handle->primary;
      return select_primary;
    case transpose::trans:
      if (handle->transposed != nullptr) {
        *out = handle->transposed;
        return select_transposed;
      }
      *out = handle->primary;
      return select_primary;
    case transpose::conjtrans:
      if (handle->conj_transposed != nullptr) {
        *out = handle->conj_transposed;
        return select_conj_transposed;
      }
      *out = handle->primary;
      return select_primary;
  }
  throw computation_error("sparse", "", "internal error");
}

void do_transpose(sycl::queue& queue, transpose op, matrix_handle* handle,
                  const std::vector<sycl::event>& deps, std::vector<sycl::event>& out_deps) {
  sparseStructure* explicit_form = nullptr;
  switch (op) {
    case transpose::nontrans:
      out_deps.insert(out_deps.end(), deps.begin(), deps.end());
      return;
    case transpose::trans:
      explicit_form = handle->transposed;
      break;
    case transpose::conjtrans:
      explicit_form = handle->conj_transposed;
      break;
    default:
      throw computation_error("sparse", "", "internal error");
  }
  if (explicit_form == nullptr)
    out_deps.push_back(dispatch_make_transpose(queue, op, handle, handle, deps));
  else
    out_deps.insert(out_deps.end(), deps.begin(), deps.end());
}

sparseStructSelection do_transpose_and_select_sparse_struct(
    sycl::queue& queue, transpose op, matrix_handle* handle, sparseStructure** out,
    const std::vector<sycl::event>& deps, std::vector<sycl::event>& out_deps) {
  do_transpose(queue, op, handle, deps, out_deps);
  return select_best_sparse_struct(queue, op, handle, out);
}

sycl::event dispatch_make_transpose(sycl::queue& queue, transpose op, matrix_handle* src,
                                    matrix_handle* dst, const std::vector<sycl::event>& deps) {
  const bool on_cpu = queue.get_device().is_cpu();
  return visit_variant(src, "omatcopy", [&]<typename T, typename I, containerType C>() {
    return on_cpu ? cpu::make_transpose_impl<T, I, C>(queue, op, src, dst, deps)
                  : gpu::make_transpose_impl<T, I, C>(queue, op, src, dst, deps);
  });
}

}  // namespace orvane::vrt::sparse
