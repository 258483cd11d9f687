// An operation that must run on the explicit transpose builds it first, then selects it.
#pragma once

#include <sycl/sycl.hpp>
#include <vector>

#include "common/internal_error.hpp"
#include "gpu/entry_points.hpp"
#include "handle/select_structure.hpp"

namespace orvane::vrt::sparse::gpu {

// Makes sure the explicit form of op exists; the events to wait for go to out_deps.
template <typename T, typename I, containerType C>
void do_transpose(sycl::queue& queue, transpose op, matrix_handle* handle, const event_list& deps,
                  event_list& out_deps) {
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
      internal_error("");
  }
  if (explicit_form == nullptr)
    out_deps.push_back(make_transpose_impl<T, I, C>(queue, op, handle, handle, deps));
  else
    out_deps.insert(out_deps.end(), deps.begin(), deps.end());
}

template <typename T, typename I, containerType C>
sparseStructSelection do_transpose_and_select_sparse_struct(sycl::queue& queue, transpose op,
                                                            matrix_handle* handle,
                                                            sparseStructure** out,
                                                            const event_list& deps,
                                                            event_list& out_deps) {
  do_transpose<T, I, C>(queue, op, handle, deps, out_deps);
  return select_best_sparse_struct(queue, op, handle, out);
}

}  // namespace orvane::vrt::sparse::gpu
