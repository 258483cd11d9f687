// Releasing structures and handles with all they own.
#include "handle/release.hpp"

#include <vector>

#include "common/internal_error.hpp"
#include "containers/containers.hpp"
#include "handle/gemm_data.hpp"
#include "handle/gemv_data.hpp"
#include "handle/matmat_data.hpp"
#include "handle/triangular_data.hpp"
#include "handle/visit_variant.hpp"
#include "platform/services.hpp"
#include "vrt/host_sparse.h"

namespace orvane::vrt::sparse {

template <typename T, typename I, containerType C>
void sparseStructureRelease(void** slot, const sycl::context* context) {
  auto* s = static_cast<sparseStructure*>(*slot);
  if (s == nullptr) return;
  if (s->owns_arrays) {
    if (context == nullptr) internal_error("release_matrix_handle");
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

// Slots may hold one record twice (a symmetric matrix is its own transpose and expansion, and its
// one analysis serves both triangles), whatever the flags say now: a property set after a
// transpose was built must not hide it. So each record goes once, through the first slot that
// holds it, and later slots holding the same record are only cleared.
class release_once {
 public:
  template <typename Record, typename Release>
  void operator()(Record*& slot, Release&& release) {
    if (slot == nullptr) return;
    void* record = slot;
    for (const void* gone : released_)
      if (gone == record) {
        slot = nullptr;
        return;
      }
    released_.push_back(record);
    release(as_slot(slot));
  }
  // A record that stays: slots that alias it are cleared, never freed.
  void keep(const void* record) { released_.push_back(record); }

 private:
  std::vector<const void*> released_;
};

namespace {
// Everything the handle derived from its bound arrays: copies, transposes, triangles, the host
// engine's matrix and the analyses.
template <typename T, typename I, containerType C>
void release_derived(matrix_handle* h, release_once& once) {
  // The host engine accepts a null matrix.
  if constexpr (sizeof(I) == 4)
    vrt_sparse_destroy_i4(h->host_matrix);
  else
    vrt_sparse_destroy_i8(h->host_matrix);
  h->host_matrix = nullptr;
  if (h->context == nullptr) return;  // without a context nothing else can have been derived
  const auto structure = [&](void** slot) { sparseStructureRelease<T, I, C>(slot, h->context); };
  for (sparseStructure** slot :
       {&h->sorted_copy, &h->conj_transposed, &h->transposed, &h->sym_from_lower,
        &h->sym_from_upper, &h->reserved_structure_0, &h->reserved_structure_1, &h->lower_triangle,
        &h->upper_triangle, &h->reserved_structure_2, &h->reserved_structure_3})
    once(*slot, structure);
  const auto coloring = [&](void** slot) { coloringDataRelease<T, I>(slot, h->context, C); };
  once(h->coloring_lower, coloring);
  once(h->coloring_upper, coloring);
  once(h->diag_values, [&](void** slot) { diagonalValuesDataRelease<T, I>(slot, h->context, C); });
  for (diagonalStructData** slot :
       {&h->diag_struct, &h->diag_struct_sorted, &h->diag_struct_lower, &h->diag_struct_upper})
    once(*slot, [&](void** s) { diagonalStructDataRelease<I>(s, h->context, C); });
}
}  // namespace

template <typename T, typename I, containerType C>
void release_matrix_handle_impl(matrix_handle* h) {
  if (h == nullptr) return;
  release_once once;
  once(h->primary, [&](void** slot) { sparseStructureRelease<T, I, C>(slot, h->context); });
  release_derived<T, I, C>(h, once);
  if (h->context != nullptr && !h->context_is_foreign) delete h->context;
  h->context = nullptr;
  for (host_hint_node* node = h->host_hint_list; node != nullptr;) {
    host_hint_node* next = node->next;
    vrt_serv_free(node);
    node = next;
  }
  for (analysis_record* record = h->analyses; record != nullptr;) {
    analysis_record* next = record->next;
    vrt_serv_free(record);
    record = next;
  }
  vrt_serv_free(h);
}

template <typename T, typename I, containerType C>
void drop_derived_impl(matrix_handle* h, bool with_plans) {
  release_once once;
  once.keep(h->primary);
  vrt_host_matrix* product = h->host_matrix_is_product ? h->host_matrix : nullptr;
  if (product != nullptr) h->host_matrix = nullptr;
  release_derived<T, I, C>(h, once);
  h->host_matrix = product;
  sparseStructure* s = h->primary;
  if (with_plans && s != nullptr) {
    gemvInternalDataRelease<T, I, C>(&s->gemv_data, h->context);
    gemmInternalDataRelease<T>(&s->gemm_data, h->context, C);
    matmatInternalDataRelease(&s->matmat_data, h->context, C);
  }
}

#define VRT_INSTANTIATE_RELEASE(T, I, C)                                       \
  template void sparseStructureRelease<T, I, C>(void**, const sycl::context*); \
  template void release_matrix_handle_impl<T, I, C>(matrix_handle*);           \
  template void drop_derived_impl<T, I, C>(matrix_handle*, bool);
VRT_FOR_EACH_INSTANCE_OF_ALL(VRT_INSTANTIATE_RELEASE)
#undef VRT_INSTANTIATE_RELEASE

// Release visits with release_forms: it refuses no handle, bound or not (handle/visit_variant.hpp).
void dispatch_release_matrix_handle(matrix_handle* handle) {
  visit_variant<release_forms>(handle, {.function = "matrix"},
                               [&]<typename T, typename I, containerType C>() {
                                 release_matrix_handle_impl<T, I, C>(handle);
                                 return sycl::event();
                               });
}

void dispatch_drop_derived(matrix_handle* handle, bool with_plans) {
  visit_variant<release_forms>(handle, {.function = "matrix"},
                               [&]<typename T, typename I, containerType C>() {
                                 drop_derived_impl<T, I, C>(handle, with_plans);
                                 return sycl::event();
                               });
}

}  // namespace orvane::vrt::sparse
