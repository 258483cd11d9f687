// Structures of a handle: creation, binding of arrays, properties and the cached context.
#include "handle/handle.hpp"

#include "handle/record.hpp"

namespace orvane::vrt::sparse {

void initSparseStructure(void** slot) {
  auto* s = allocate_record<sparseStructure>();
  s->format = -1;
  s->int_type = int_unset;
  s->fp_type = fp_unset;
  s->container = static_cast<containerType>(-1);
  s->nnz = -1;
  *slot = s;
}

namespace {
// The part of a binding that CSR and COO share.
void bind_structure(sparseStructure* s, std::int32_t format, long nrows, long ncols,
                    index_base index, fpType fp, intType it, containerType container, void* ia,
                    void* ja, void* a, bool owns_arrays) {
  s->format = format;
  if (fp != fp_unset) s->fp_type = fp;
  if (it != int_unset) s->int_type = it;
  if (container != -1) s->container = container;
  s->nrows = nrows;
  s->ncols = ncols;
  s->index = static_cast<std::int32_t>(index);
  s->reserved_flag = 1;
  s->reserved_word = 0;
  s->reserved_long_0 = 0;
  s->reserved_long_1 = 0;
  s->owns_arrays = owns_arrays;
  s->row_ptr_end = nullptr;
  if (ia != nullptr) s->row_ptr = ia;
  if (ja != nullptr) s->col_ind = ja;
  if (a != nullptr) s->values = a;
}
}  // namespace

void set_csr_data_impl(void* structure, long nrows, long ncols, index_base index, fpType fp,
                       intType it, containerType container, void* ia, void* ja, void* a,
                       bool owns_arrays) {
  // nnz is left alone: it is counted from the row pointers, once.
  bind_structure(static_cast<sparseStructure*>(structure), format_csr, nrows, ncols, index, fp, it,
                 container, ia, ja, a, owns_arrays);
}

void set_coo_data_impl(void* structure, long nrows, long ncols, long nnz, index_base index,
                       fpType fp, intType it, containerType container, void* ia, void* ja, void* a,
                       bool owns_arrays) {
  auto* s = static_cast<sparseStructure*>(structure);
  bind_structure(s, format_coo, nrows, ncols, index, fp, it, container, ia, ja, a, owns_arrays);
  s->nnz = nnz;
}

void set_matrix_property_impl(matrix_handle* handle, property p) {
  switch (p) {
    case property::sorted:
      handle->primary->sorted = 1;
      return;
    case property::symmetric:
      handle->primary->symmetric = 1;
      return;
  }
  throw invalid_argument("sparse", "set_matrix_property", "property_value");
}

void remember_analysis(matrix_handle* handle, const analysis_record& analysis) {
  analysis_record** tail = &handle->analyses;
  for (; *tail != nullptr; tail = &(*tail)->next) {
    const analysis_record& r = **tail;
    if (r.routine == analysis.routine && r.op == analysis.op && r.triangle == analysis.triangle &&
        r.diagonal == analysis.diagonal && r.dense_layout == analysis.dense_layout &&
        r.columns == analysis.columns)
      return;
  }
  *tail = allocate_record<analysis_record>();
  **tail = analysis;
  (*tail)->next = nullptr;
}

void cache_context(sycl::queue& queue, matrix_handle* handle) {
  if (handle->context == nullptr) handle->context = new sycl::context(queue.get_context());
}

}  // namespace orvane::vrt::sparse
