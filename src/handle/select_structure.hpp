// Choosing the form of a matrix that an operation runs on.
#pragma once

#include <orvane/vrt/sparse.hpp>
#include <sycl/sycl.hpp>

#include "handle/handle.hpp"

namespace orvane::vrt::sparse {

// nontrans: primary; trans / conjtrans: the explicit form if it exists, else primary.
sparseStructSelection select_best_sparse_struct(sycl::queue& queue, transpose op,
                                                matrix_handle* handle, sparseStructure** out);

// (op & ~2) == 1: trans or conjtrans.
inline bool is_transposed(transpose op) { return (static_cast<int>(op) & ~2) == 1; }

// Whether values must be conjugated: conjtrans on the primary or on the plain transpose (the
// conjugate transpose already holds conjugated values).
bool check_for_conj(transpose op);
bool check_for_conj(transpose op, sparseStructSelection selection);

}  // namespace orvane::vrt::sparse
