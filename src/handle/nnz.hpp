// Counting the non-zeros of a bound CSR structure from its row pointers.
#pragma once

#include <sycl/sycl.hpp>
#include <vector>

namespace orvane::vrt::sparse {

// Sets the structure's nnz to row_ptr[nrows] minus the base, once. Buffers are read on the
// calling thread (blocking); USM is read in a host task whose event is returned, so readers of
// nnz on the host must wait for it.
sycl::event set_nnz_value_i4(sycl::queue& queue, void* structure,
                             const std::vector<sycl::event>& deps);
sycl::event set_nnz_value_i8(sycl::queue& queue, void* structure,
                             const std::vector<sycl::event>& deps);
// Chooses by the structure's int_type.
sycl::event set_nnz_value(sycl::queue& queue, void* structure,
                          const std::vector<sycl::event>& deps);

}  // namespace orvane::vrt::sparse
