// Structures that own their arrays (sorted copies, explicit transposes): allocated, bound and
// placed in a handle's slot in one step, with nothing left behind when a step fails.
#pragma once

#include <algorithm>
#include <cstdint>
#include <orvane/vrt/sparse.hpp>
#include <sycl/sycl.hpp>

#include "containers/containers.hpp"
#include "handle/handle.hpp"

namespace orvane::vrt::sparse {

// The shape of an owned structure. CSR allocates nrows + 1 row pointers, COO nnz row indices.
struct owned_shape {
  std::int32_t format;
  std::int64_t nrows;
  std::int64_t ncols;
  std::int64_t nnz;
  index_base index;
  fpType fp_type;
  intType int_type;
  bool with_values;
};

// A new structure in *slot with arrays of the given shape (empty arrays get one element, so that
// every array exists). device_bad_alloc("sparse", function) when an array cannot be allocated.
template <typename T, typename I, containerType C>
sparseStructure* make_owned_structure(sycl::queue& queue, void** slot, const owned_shape& shape,
                                      const char* function) {
  const auto nnz = static_cast<std::size_t>(shape.nnz);
  const std::size_t rows =
      shape.format == format_csr ? static_cast<std::size_t>(shape.nrows) + 1 : nnz;
  void* row_ptr = nullptr;
  void* col_ind = nullptr;
  void* values = nullptr;
  const sycl::context context = queue.get_context();
  const auto release_arrays = [&] {
    deallocate_container<I>(row_ptr, context, C);
    deallocate_container<I>(col_ind, context, C);
    deallocate_container<T>(values, context, C);
  };
  try {
    row_ptr = allocate_or_throw<I>(std::max<std::size_t>(rows, 1), queue, C, function);
    col_ind = allocate_or_throw<I>(std::max<std::size_t>(nnz, 1), queue, C, function);
    if (shape.with_values)
      values = allocate_or_throw<T>(std::max<std::size_t>(nnz, 1), queue, C, function);
    initSparseStructure(slot);
  } catch (...) {
    release_arrays();
    throw;
  }
  auto* out = static_cast<sparseStructure*>(*slot);
  if (shape.format == format_csr)
    set_csr_data_impl(out, shape.nrows, shape.ncols, shape.index, shape.fp_type, shape.int_type, C,
                      row_ptr, col_ind, values, true);
  else
    set_coo_data_impl(out, shape.nrows, shape.ncols, shape.nnz, shape.index, shape.fp_type,
                      shape.int_type, C, row_ptr, col_ind, values, true);
  return out;
}

}  // namespace orvane::vrt::sparse
