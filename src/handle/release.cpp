// Releasing structures and handles with all they own.
#include "handle/release.hpp"

#include "containers/containers.hpp"
#include "handle/gemm_data.hpp"
#include "handle/gemv_data.hpp"
#include "handle/matmat_data.hpp"
#include "handle/triangular_data.hpp"
#include "platform/services.hpp"
#include "vrt/host_sparse.h"

namespace orvane::vrt::sparse {

template <typename T, typename I, containerType C>
void sparseStructureRelease(void** slot, const sycl::context* context) {
  auto* s = static_cast<sparseStructure*>(*slot);
  if (s == nullptr) return;
  if (s->owns_arrays) {
    if (context == nullptr) throw computation_error("sparse", "release_matrix_handle", "internal error");
    deallocate_container<I>(s->row_ptr, *context, C);
    deallocate_container<I>(s->row_ptr_end, *context, C);
    deallocate_container<I>(s->col_ind, *context, C);
    deallocate_container<T>(s->values, *context, C);
  }
  gemvInternalDataRelease<T, I, C>(&s->gemv_data, context);
  gemmInternalDataRelease<T>(&s->gemm_data, context, C);
  matmatInternalDataRelease(&s->matmat_data, context, C);
  s->row_ptr = s->row_ptr_end = s->col_ind = s->values = nullptr;
  vrt_serv_free(s);
  *slot = nullptr;
}

namespace {
template <typename Record>
void** as_slot(Record*& field) {
  return reinterpret_cast<void**>(&field);
}
}  // namespace

template <typename T, typename I, containerType C>
void release_matrix_handle_impl(matrix_handle* h) {
  if (h == nullptr) return;
  const auto release_structure = [&](sparseStructure*& slot) {
    sparseStructureRelease<T, I, C>(as_slot(slot), h->context);
  };
  bool symmetric = false;
  if (h->primary != nullptr) {
    symmetric = h->primary->symmetric != 0;
    release_structure(h->primary);
  }
  if (h->context != nullptr) {
    release_structure(h->sorted_copy);
    release_structure(h->conj_transposed);
    // A symmetric matrix is its own transpose and expansion: those slots alias primary.
    if (!symmetric) {
      release_structure(h->transposed);
      release_structure(h->sym_from_lower);
      release_structure(h->sym_from_upper);
    }
    release_structure(h->reserved_structure_0);
    release_structure(h->reserved_structure_1);
    release_structure(h->lower_triangle);
    release_structure(h->upper_triangle);
    release_structure(h->reserved_structure_2);
    release_structure(h->reserved_structure_3);

    // The host engine accepts a null matrix.
    if constexpr (sizeof(I) == 4)
      vrt_sparse_destroy_i4(h->host_matrix);
    else
      vrt_sparse_destroy_i8(h->host_matrix);
    h->host_matrix = nullptr;

    coloringDataRelease<T, I>(as_slot(h->coloring_lower), h->context, C);
    if (!symmetric) {
      coloringDataRelease<T, I>(as_slot(h->coloring_upper), h->context, C);
      diagonalValuesDataRelease<T, I>(as_slot(h->diag_values), h->context, C);
      diagonalStructDataRelease<I>(as_slot(h->diag_struct), h->context, C);
      diagonalStructDataRelease<I>(as_slot(h->diag_struct_sorted), h->context, C);
      diagonalStructDataRelease<I>(as_slot(h->diag_struct_lower), h->context, C);
      diagonalStructDataRelease<I>(as_slot(h->diag_struct_upper), h->context, C);
    } else {
      diagonalValuesDataRelease<T, I>(as_slot(h->diag_values), h->context, C);
      diagonalStructDataRelease<I>(as_slot(h->diag_struct), h->context, C);
    }
    if (!h->context_is_foreign) delete h->context;
    h->context = nullptr;
  }
  for (host_hint_node* node = h->host_hint_list; node != nullptr;) {
    host_hint_node* next = node->next;
    vrt_serv_free(node);
    node = next;
  }
  vrt_serv_free(h);
}

#define VRT_INSTANTIATE_RELEASE(T, I, C)                                   \
  template void sparseStructureRelease<T, I, C>(void**, const sycl::context*); \
  template void release_matrix_handle_impl<T, I, C>(matrix_handle*);
VRT_FOR_EACH_INSTANCE_OF_ALL(VRT_INSTANTIATE_RELEASE)
#undef VRT_INSTANTIATE_RELEASE

namespace {
template <typename T>
void release_with_value(matrix_handle* handle) {
  // int_type 0 and the unset -1 take the 32-bit form, every other value the 64-bit one.
  const bool wide = handle->int_type != int_32 && handle->int_type != int_unset;
  if (handle->container == container_buffer) {
    wide ? release_matrix_handle_impl<T, std::int64_t, container_buffer>(handle)
         : release_matrix_handle_impl<T, std::int32_t, container_buffer>(handle);
  } else if (handle->container == container_usm) {
    wide ? release_matrix_handle_impl<T, std::int64_t, container_usm>(handle)
         : release_matrix_handle_impl<T, std::int32_t, container_usm>(handle);
  } else {
    // Never bound: no arrays, so the double USM form frees the empty record.
    wide ? release_matrix_handle_impl<double, std::int64_t, container_usm>(handle)
         : release_matrix_handle_impl<double, std::int32_t, container_usm>(handle);
  }
}
}  // namespace

void dispatch_release_matrix_handle(matrix_handle* handle) {
  switch (handle->fp_type + 1) {
    case 0:
    case 1:
      return release_with_value<double>(handle);
    case 2:
      return release_with_value<float>(handle);
    case 3:
      return release_with_value<std::complex<double>>(handle);
    case 4:
      return release_with_value<std::complex<float>>(handle);
    default:
      throw computation_error("sparse", "matrix", "internal error");
  }
}

}  // namespace orvane::vrt::sparse
