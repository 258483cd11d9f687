// Choosing the form of a matrix that an operation runs on.
#include "handle/select_structure.hpp"

#include "common/internal_error.hpp"

namespace orvane::vrt::sparse {

sparseStructSelection select_best_sparse_struct(sycl::queue&, transpose op, matrix_handle* handle,
                                                sparseStructure** out) {
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
  internal_error("");
}

bool check_for_conj(transpose op) { return op == transpose::conjtrans; }

bool check_for_conj(transpose op, sparseStructSelection selection) {
  return op == transpose::conjtrans &&
         (selection == select_primary || selection == select_transposed);
}

}  // namespace orvane::vrt::sparse
