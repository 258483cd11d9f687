// The opt-in check of the caller's index arrays, read on the host through the adaptor.
#include "handle/caller_arrays.hpp"

#include <cstdlib>
#include <cstring>
#include <orvane/vrt/sparse.hpp>
#include <string>

#include "containers/views.hpp"

namespace orvane::vrt::sparse {

namespace {
template <typename I, containerType C>
std::vector<I> read_array(sycl::queue& queue, void* array, std::int64_t count,
                          const std::vector<sycl::event>& deps) {
  std::vector<I> out(static_cast<std::size_t>(count > 0 ? count : 0));
  copy_to_host<I, C>(queue, as_container<C, I>(array), 0, out.size(), out.data(), deps);
  return out;
}

[[noreturn]] void refuse(const char* function, const char* array, std::int64_t position,
                         const char* problem) {
  throw invalid_argument("sparse", function,
                         std::string(array) + "[" + std::to_string(position) + "] " + problem);
}

// The first index of `count` outside [base, extent + base) is refused.
template <typename I>
void check_indices(const char* function, const char* array, const std::vector<I>& indices,
                   std::int64_t extent, std::int32_t base) {
  for (std::size_t k = 0; k < indices.size(); ++k) {
    const std::int64_t index = static_cast<std::int64_t>(indices[k]) - base;
    if (index < 0 || index >= extent)
      refuse(function, array, static_cast<std::int64_t>(k), "lies outside the matrix");
  }
}

template <typename I, containerType C>
void check_csr(sycl::queue& queue, const char* function, std::int64_t nrows, std::int64_t ncols,
               std::int32_t base, void* row_ptr, void* col_ind,
               const std::vector<sycl::event>& deps) {
  const std::vector<I> rows = read_array<I, C>(queue, row_ptr, nrows + 1, deps);
  if (rows[0] != static_cast<I>(base)) refuse(function, "row_ptr", 0, "is not the index base");
  for (std::int64_t r = 1; r <= nrows; ++r)
    if (rows[r] < rows[r - 1]) refuse(function, "row_ptr", r, "is below the row pointer before it");
  const std::int64_t nnz = static_cast<std::int64_t>(rows[nrows]) - base;
  if constexpr (C == container_buffer) {
    const auto length = static_cast<std::int64_t>(as_container<C, I>(col_ind)->size());
    if (nnz > length) {
      std::int64_t r = 1;
      while (static_cast<std::int64_t>(rows[r]) - base <= length) ++r;
      refuse(function, "row_ptr", r, "passes the end of col_ind");
    }
  }
  check_indices(function, "col_ind", read_array<I, C>(queue, col_ind, nnz, deps), ncols, base);
}

template <typename I, containerType C>
void check_coo(sycl::queue& queue, const char* function, std::int64_t nrows, std::int64_t ncols,
               std::int64_t nnz, std::int32_t base, void* row_ind, void* col_ind,
               const std::vector<sycl::event>& deps) {
  check_indices(function, "row_ind", read_array<I, C>(queue, row_ind, nnz, deps), nrows, base);
  check_indices(function, "col_ind", read_array<I, C>(queue, col_ind, nnz, deps), ncols, base);
}

// One bit per routine in the handle: a routine's first use after a binding checks.
constexpr const char* routines_checked[] = {
    "gemv",          "gemvdot",     "symv",          "trmv",          "trsv",
    "trsm",          "gemm",        "optimize_gemv", "optimize_trmv", "optimize_trsv",
    "optimize_trsm", "sort_matrix", "omatcopy",      "matmat",        "update_diagonal_values"};

std::uint32_t bit_of(const char* function) {
  for (std::uint32_t k = 0; k < std::size(routines_checked); ++k)
    if (std::strcmp(routines_checked[k], function) == 0) return std::uint32_t{1} << k;
  return 0;  // not in the table: checked at every call
}
}  // namespace

bool caller_array_check_requested() {
  const char* value = std::getenv(check_arrays_variable);
  return value != nullptr && std::strcmp(value, "1") == 0;
}

template <typename I>
void check_csr_arrays(sycl::queue& queue, const char* function, containerType container,
                      std::int64_t nrows, std::int64_t ncols, std::int32_t base, void* row_ptr,
                      void* col_ind, const std::vector<sycl::event>& deps) {
  if (container == container_usm)
    check_csr<I, container_usm>(queue, function, nrows, ncols, base, row_ptr, col_ind, deps);
  else
    check_csr<I, container_buffer>(queue, function, nrows, ncols, base, row_ptr, col_ind, deps);
}

template <typename I>
void check_coo_arrays(sycl::queue& queue, const char* function, containerType container,
                      std::int64_t nrows, std::int64_t ncols, std::int64_t nnz, std::int32_t base,
                      void* row_ind, void* col_ind, const std::vector<sycl::event>& deps) {
  if (container == container_usm)
    check_coo<I, container_usm>(queue, function, nrows, ncols, nnz, base, row_ind, col_ind, deps);
  else
    check_coo<I, container_buffer>(queue, function, nrows, ncols, nnz, base, row_ind, col_ind,
                                   deps);
}

void check_bound_arrays_once(sycl::queue& queue, matrix_handle* handle, const char* function,
                             const std::vector<sycl::event>& deps) {
  const std::uint32_t bit = bit_of(function);
  if (bit != 0 && (handle->arrays_checked_by & bit) != 0) return;
  sparseStructure* s = handle->primary;
  // Unbound or partly bound arrays are the routines' own refusals.
  if (s == nullptr || s->row_ptr == nullptr || s->col_ind == nullptr) return;
  const bool wide = s->int_type == int_64;
  if (s->format == format_csr) {
    if (wide)
      check_csr_arrays<std::int64_t>(queue, function, s->container, s->nrows, s->ncols, s->index,
                                     s->row_ptr, s->col_ind, deps);
    else
      check_csr_arrays<std::int32_t>(queue, function, s->container, s->nrows, s->ncols, s->index,
                                     s->row_ptr, s->col_ind, deps);
  } else if (s->format == format_coo) {
    if (wide)
      check_coo_arrays<std::int64_t>(queue, function, s->container, s->nrows, s->ncols, s->nnz,
                                     s->index, s->row_ptr, s->col_ind, deps);
    else
      check_coo_arrays<std::int32_t>(queue, function, s->container, s->nrows, s->ncols, s->nnz,
                                     s->index, s->row_ptr, s->col_ind, deps);
  }
  handle->arrays_checked_by |= bit;
}

#define VRT_INSTANTIATE_ARRAY_CHECKS(I)                                                     \
  template void check_csr_arrays<I>(sycl::queue&, const char*, containerType, std::int64_t, \
                                    std::int64_t, std::int32_t, void*, void*,               \
                                    const std::vector<sycl::event>&);                       \
  template void check_coo_arrays<I>(sycl::queue&, const char*, containerType, std::int64_t, \
                                    std::int64_t, std::int64_t, std::int32_t, void*, void*, \
                                    const std::vector<sycl::event>&);
VRT_INSTANTIATE_ARRAY_CHECKS(std::int32_t)
VRT_INSTANTIATE_ARRAY_CHECKS(std::int64_t)
#undef VRT_INSTANTIATE_ARRAY_CHECKS

}  // namespace orvane::vrt::sparse
