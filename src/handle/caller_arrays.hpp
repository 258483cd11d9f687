// The opt-in check of the caller's index arrays. With VRT_SPARSE_CHECK_ARRAYS=1 in the
// environment at a binding, the binding (when it has a queue) and the first use of the arrays by
// each routine read the row pointers and indices on the host and refuse, with invalid_argument
// naming the array and the first bad position, what would make a kernel read outside the caller's
// arrays or the vectors. Off, a routine pays one test of a flag of the handle.
#pragma once

#include <cstdint>
#include <sycl/sycl.hpp>
#include <vector>

#include "common/internal_types.hpp"
#include "handle/handle.hpp"

namespace orvane::vrt::sparse {

inline constexpr const char* check_arrays_variable = "VRT_SPARSE_CHECK_ARRAYS";

// Whether the environment asks for the check ("1"). Read by the bindings only: the answer is kept
// in the handle until the next binding.
bool caller_array_check_requested();

// CSR arrays as given to a binding: row_ptr[0] is the base, no row pointer lies below the one
// before it, the last does not pass the length of a col_ind buffer (a USM pointer has no known
// length), and the column indices of those entries lie in [base, ncols + base). The USM arrays
// are read once deps are done; a buffer through a host accessor.
template <typename I>
void check_csr_arrays(sycl::queue& queue, const char* function, containerType container,
                      std::int64_t nrows, std::int64_t ncols, std::int32_t base, void* row_ptr,
                      void* col_ind, const std::vector<sycl::event>& deps);

// COO arrays: each of the nnz row and column indices lies in the matrix after the base.
template <typename I>
void check_coo_arrays(sycl::queue& queue, const char* function, containerType container,
                      std::int64_t nrows, std::int64_t ncols, std::int64_t nnz, std::int32_t base,
                      void* row_ind, void* col_ind, const std::vector<sycl::event>& deps);

// Records at a binding whether the check is asked for; the routines then check anew.
inline void arm_array_check(matrix_handle* handle, bool requested) {
  handle->check_arrays = requested;
  handle->arrays_checked_by = 0;
}

void check_bound_arrays_once(sycl::queue& queue, matrix_handle* handle, const char* function,
                             const std::vector<sycl::event>& deps);

// The frames' call: the bound arrays are checked at each routine's first use after a binding that
// asked for the check.
inline void check_bound_arrays(sycl::queue& queue, matrix_handle* handle, const char* function,
                               const std::vector<sycl::event>& deps) {
  if (handle != nullptr && handle->check_arrays)
    check_bound_arrays_once(queue, handle, function, deps);
}

}  // namespace orvane::vrt::sparse
