// Binding the caller's CSR and COO arrays to a handle.
#include <orvane/vrt/sparse.hpp>

#include "common/variants.hpp"
#include "handle/caller_arrays.hpp"
#include "handle/coalesce_events.hpp"
#include "handle/handle.hpp"
#include "handle/nnz.hpp"
#include "handle/release.hpp"
#include "handle/value_types.hpp"
#include "interface/frame.hpp"
#include "interface/operation_frames.hpp"

namespace orvane::vrt::sparse {

namespace {
constexpr const char* csr_usm_word =
    "one or more of hMatrix, row_ptr or col_ind or a_buffer is not initialized";
constexpr const char* coo_word =
    "one or more of hMatrix, row_ind or col_ind or a_buffer is not initialized";

// Double precision overloads test the device before anything else.
template <typename T>
void verify_device_for(sycl::queue& queue, const char* function) {
  if constexpr (fp_type_of<T>() == fp_double || fp_type_of<T>() == fp_complex_double)
    verify_double_support(queue, function);
}

// Sizes and the base are refused before the handle is touched, so a refused binding leaves the
// handle as it was.
template <typename I>
void check_shape(const char* function, I nrows, I ncols, index_base index) {
  if (nrows < 0) throw invalid_argument("sparse", function, "nrows is negative");
  if (ncols < 0) throw invalid_argument("sparse", function, "ncols is negative");
  if (index != index_base::zero && index != index_base::one)
    throw invalid_argument("sparse", function,
                           "index is neither index_base::zero nor index_base::one");
}

// A buffer that is given (not empty) must hold at least `needed` elements.
template <typename E>
void check_buffer_length(const char* function, const sycl::buffer<E, 1>& buffer,
                         std::int64_t needed, const char* message) {
  if (buffer.size() != 0 && static_cast<std::int64_t>(buffer.size()) < needed)
    throw invalid_argument("sparse", function, message);
}

// A rebinding: what the handle derived from the arrays bound so far (copies, transposes, the host
// engine's matrix over the old arrays, analyses) is dropped, with the old types, so every backend
// computes with the new arrays; the analyses are replayed by the next operation. The plans of the
// bound structure stay unless the new arrays differ in kind or shape.
template <typename T, typename I>
void drop_what_old_arrays_made(matrix_handle* handle, std::int32_t format, I nrows, I ncols,
                               containerType container) {
  const sparseStructure* s = handle->primary;
  if (s == nullptr) return;
  // A structure that matmat made for its product carries no types until the caller binds the
  // product's arrays between the stages: that binding completes it and keeps the product's plan.
  const bool made_by_product = s->int_type == int_unset && s->fp_type == fp_unset;
  const bool same_types =
      made_by_product || (handle->int_type == int_type_of<I>() &&
                          handle->fp_type == fp_type_of<T>() && handle->container == container);
  const bool same_kind =
      s->format == format && s->nrows == nrows && s->ncols == ncols && same_types;
  dispatch_drop_derived(handle, !same_kind);
  if (handle->analyses != nullptr) handle->analyses_to_replay = true;
}

template <typename T, typename I>
void bind_csr(matrix_handle* handle, sycl::queue* queue, I nrows, I ncols, index_base index,
              containerType container, void* row_ptr, void* col_ind, void* values,
              const std::vector<sycl::event>& deps = {}) {
  check_shape("set_csr_data", nrows, ncols, index);
  // The opt-in check reads the arrays before the handle is touched; without a queue it waits for
  // the first routine.
  const bool check = caller_array_check_requested();
  if (check && queue != nullptr && row_ptr != nullptr && col_ind != nullptr)
    check_csr_arrays<I>(*queue, "set_csr_data", container, nrows, ncols,
                        static_cast<std::int32_t>(index), row_ptr, col_ind, deps);
  drop_what_old_arrays_made<T, I>(handle, format_csr, nrows, ncols, container);
  if (handle->primary == nullptr) {
    initSparseStructure(reinterpret_cast<void**>(&handle->primary));
    if (queue != nullptr) cache_context(*queue, handle);
  }
  set_csr_data_impl(handle->primary, nrows, ncols, index, fp_type_of<T>(), int_type_of<I>(),
                    container, row_ptr, col_ind, values, false);
  handle->int_type = int_type_of<I>();
  handle->fp_type = fp_type_of<T>();
  handle->container = container;
  arm_array_check(handle, check);
}

template <typename T, typename I>
void bind_coo(sycl::queue& queue, matrix_handle* handle, I nrows, I ncols, I nnz, index_base index,
              containerType container, void* row_ind, void* col_ind, void* values,
              const std::vector<sycl::event>& deps = {}) {
  check_shape("set_coo_data", nrows, ncols, index);
  if (nnz < 0) throw invalid_argument("sparse", "set_coo_data", "nnz is negative");
  const bool check = caller_array_check_requested();
  if (check && row_ind != nullptr && col_ind != nullptr)
    check_coo_arrays<I>(queue, "set_coo_data", container, nrows, ncols, nnz,
                        static_cast<std::int32_t>(index), row_ind, col_ind, deps);
  drop_what_old_arrays_made<T, I>(handle, format_coo, nrows, ncols, container);
  if (handle->primary == nullptr) {
    initSparseStructure(reinterpret_cast<void**>(&handle->primary));
    cache_context(queue, handle);
  }
  set_coo_data_impl(handle->primary, nrows, ncols, nnz, index, fp_type_of<T>(), int_type_of<I>(),
                    container, row_ind, col_ind, values, false);
  handle->int_type = int_type_of<I>();
  handle->fp_type = fp_type_of<T>();
  handle->container = container;
  arm_array_check(handle, check);
}
}  // namespace

template <typename T, typename I>
void set_csr_data_no_queue(matrix_handle_t handle, I nrows, I ncols, index_base index,
                           sycl::buffer<I, 1>& row_ptr, sycl::buffer<I, 1>& col_ind,
                           sycl::buffer<T, 1>& values) {
  if (handle == nullptr) throw uninitialized("sparse", "set_csr_data", "hMatrix");
  check_buffer_length("set_csr_data", row_ptr, std::int64_t{nrows} + 1,
                      "row_ptr holds fewer than nrows + 1 entries");
  bind_csr<T, I>(handle, nullptr, nrows, ncols, index, container_buffer, &row_ptr, &col_ind,
                 &values);
}

template <typename T, typename I>
void set_csr_data_buffer(sycl::queue& queue, matrix_handle_t handle, I nrows, I ncols,
                         index_base index, sycl::buffer<I, 1>& row_ptr, sycl::buffer<I, 1>& col_ind,
                         sycl::buffer<T, 1>& values) {
  verify_device_for<T>(queue, "set_csr_data");
  if (handle == nullptr) throw uninitialized("sparse", "set_csr_data", "hMatrix");
  check_buffer_length("set_csr_data", row_ptr, std::int64_t{nrows} + 1,
                      "row_ptr holds fewer than nrows + 1 entries");
  bind_csr<T, I>(handle, &queue, nrows, ncols, index, container_buffer, &row_ptr, &col_ind,
                 &values);
  if (row_ptr.size() != 0 && col_ind.size() != 0) set_nnz_value(queue, handle->primary, {});
}

template <typename T, typename I>
void set_csr_data_no_queue(matrix_handle_t handle, I nrows, I ncols, index_base index, I* row_ptr,
                           I* col_ind, T* values) {
  if (handle == nullptr) throw uninitialized("sparse", "set_csr_data", csr_usm_word);
  bind_csr<T, I>(handle, nullptr, nrows, ncols, index, container_usm, row_ptr, col_ind, values);
}

template <typename T, typename I>
sycl::event set_csr_data_usm(sycl::queue& queue, matrix_handle_t handle, I nrows, I ncols,
                             index_base index, I* row_ptr, I* col_ind, T* values,
                             const std::vector<sycl::event>& deps) {
  verify_device_for<T>(queue, "set_csr_data");
  if (handle == nullptr) throw uninitialized("sparse", "set_csr_data", csr_usm_word);
  bind_csr<T, I>(handle, &queue, nrows, ncols, index, container_usm, row_ptr, col_ind, values,
                 deps);
  if (row_ptr != nullptr && col_ind != nullptr) {
    return sizeof(I) == 4 ? set_nnz_value_i4(queue, handle->primary, deps)
                          : set_nnz_value_i8(queue, handle->primary, deps);
  }
  if (deps.empty()) return sycl::event();
  return coalesce_events(queue, container_usm, deps, false);
}

template <typename T, typename I>
void set_coo_data_buffer(sycl::queue& queue, matrix_handle_t handle, I nrows, I ncols, I nnz,
                         index_base index, sycl::buffer<I, 1>& row_ind, sycl::buffer<I, 1>& col_ind,
                         sycl::buffer<T, 1>& values) {
  verify_device_for<T>(queue, "set_coo_data");
  if (handle == nullptr) throw uninitialized("sparse", "set_coo_data", coo_word);
  check_buffer_length("set_coo_data", row_ind, nnz, "row_ind holds fewer than nnz entries");
  check_buffer_length("set_coo_data", col_ind, nnz, "col_ind holds fewer than nnz entries");
  check_buffer_length("set_coo_data", values, nnz, "values holds fewer than nnz entries");
  bind_coo<T, I>(queue, handle, nrows, ncols, nnz, index, container_buffer, &row_ind, &col_ind,
                 &values);
}

template <typename T, typename I>
sycl::event set_coo_data_usm(sycl::queue& queue, matrix_handle_t handle, I nrows, I ncols, I nnz,
                             index_base index, I* row_ind, I* col_ind, T* values,
                             const std::vector<sycl::event>& deps) {
  verify_device_for<T>(queue, "set_coo_data");
  if (handle == nullptr) throw uninitialized("sparse", "set_coo_data", coo_word);
  bind_coo<T, I>(queue, handle, nrows, ncols, nnz, index, container_usm, row_ind, col_ind, values,
                 deps);
  if (deps.empty()) return sycl::event();
  return coalesce_events(queue, container_usm, deps, false);
}

// The binding frames of every value and index type; the public overloads
// (public_operations.cpp) forward here.
#define VRT_INSTANTIATE_BINDING(p, T, i, I, unused)                                                \
  template void set_csr_data_no_queue<T, I>(matrix_handle_t, I, I, index_base,                     \
                                            sycl::buffer<I, 1>&, sycl::buffer<I, 1>&,              \
                                            sycl::buffer<T, 1>&);                                  \
  template void set_csr_data_buffer<T, I>(sycl::queue&, matrix_handle_t, I, I, index_base,         \
                                          sycl::buffer<I, 1>&, sycl::buffer<I, 1>&,                \
                                          sycl::buffer<T, 1>&);                                    \
  template void set_csr_data_no_queue<T, I>(matrix_handle_t, I, I, index_base, I*, I*, T*);        \
  template sycl::event set_csr_data_usm<T, I>(sycl::queue&, matrix_handle_t, I, I, index_base, I*, \
                                              I*, T*, const std::vector<sycl::event>&);            \
  template void set_coo_data_buffer<T, I>(sycl::queue&, matrix_handle_t, I, I, I, index_base,      \
                                          sycl::buffer<I, 1>&, sycl::buffer<I, 1>&,                \
                                          sycl::buffer<T, 1>&);                                    \
  template sycl::event set_coo_data_usm<T, I>(sycl::queue&, matrix_handle_t, I, I, I, index_base,  \
                                              I*, I*, T*, const std::vector<sycl::event>&);
VRT_FOR_EACH_VARIANT(VRT_INSTANTIATE_BINDING, 0)
#undef VRT_INSTANTIATE_BINDING

}  // namespace orvane::vrt::sparse
