// Choosing the form of a matrix that an operation runs on, and building explicit transposes.
#pragma once

#include <vector>

#include <sycl/sycl.hpp>

#include <orvane/vrt/sparse.hpp>

#include "interface/handle.hpp"

namespace orvane::vrt::sparse {

// nontrans: primary; trans / conjtrans: the explicit form if it exists, else primary.
sparseStructSelection select_best_sparse_struct(sycl::queue& queue, transpose op,
                                                matrix_handle* handle, sparseStructure** out);

// Makes sure the explicit form of op exists; the events to wait for go to out_deps.
void do_transpose(sycl::queue& queue, transpose op, matrix_handle* handle,
                  const std::vector<sycl::event>& deps, std::vector<sycl::event>& out_deps);

sparseStructSelection do_transpose_and_select_sparse_struct(
    sycl::queue& queue, transpose op, matrix_handle* handle, sparseStructure** out,
    const std::vector<sycl::event>& deps, std::vector<sycl::event>& out_deps);

// The explicit transpose of src into dst, chosen by src's types (device path only).
sycl::event dispatch_make_transpose(sycl::queue& queue, transpose op, matrix_handle* src,
                                    matrix_handle* dst, const std::vector<sycl::event>& deps);

}  // namespace orvane::vrt::sparse
