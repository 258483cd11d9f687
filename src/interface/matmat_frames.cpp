// The descriptor of the staged sparse product and the public matmat frame.
#include <orvane/vrt/sparse.hpp>

#include "cpu/entry_points.hpp"
#include "gpu/entry_points.hpp"
#include "handle/caller_arrays.hpp"
#include "handle/matmat_descr.hpp"
#include "handle/record.hpp"
#include "handle/visit_variant.hpp"
#include "interface/frame.hpp"

namespace orvane::vrt::sparse {

void init_matmat_descr(matmat_descr_t* p) {
  if (p == nullptr) throw uninitialized("sparse", "matmat", "");
  auto* d = allocate_record<matmat_descr>("matmat");
  d->sort_output = false;
  d->view_a = d->view_b = d->view_c = d->view_d = matrix_view_descr::general;
  d->op_a = d->op_b = transpose::nontrans;
  d->reserved_word = -1;
  *p = d;
}

void release_matmat_descr(matmat_descr_t* p) {
  if (p == nullptr) throw invalid_argument("sparse", "release_matmat_descr", "descr");
  if (*p != nullptr) vrt_serv_free(*p);
}

void set_matmat_data_impl(matmat_descr* d, matrix_view_descr view_a, transpose op_a,
                          matrix_view_descr view_b, transpose op_b, matrix_view_descr view_c) {
  d->view_a = view_a;
  d->op_a = op_a;
  d->view_b = view_b;
  d->op_b = op_b;
  d->view_c = view_c;
}

void set_matmat_data_impl(matmat_descr* d, bool sort_output) { d->sort_output = sort_output; }

void set_matmat_data(matmat_descr_t d, matrix_view_descr view_a, transpose op_a,
                     matrix_view_descr view_b, transpose op_b, matrix_view_descr view_c) {
  if (d == nullptr)
    throw uninitialized("sparse", "set_matmat_data", "matmat descriptor is not initialized");
  set_matmat_data_impl(d, view_a, op_a, view_b, op_b, view_c);
}

void get_matmat_data(matmat_descr_t d, matrix_view_descr& view_a, transpose& op_a,
                     matrix_view_descr& view_b, transpose& op_b, matrix_view_descr& view_c) {
  if (d == nullptr) throw uninitialized("sparse", "matrix", "");
  view_a = d->view_a;
  op_a = d->op_a;
  view_b = d->view_b;
  op_b = d->op_b;
  view_c = d->view_c;
}

template <containerType C>
sycl::event dispatch_matmat(sycl::queue& q, matrix_handle* A, matrix_handle* B, matrix_handle* Cm,
                            matmat_request request, matmat_descr* descr,
                            container_t<C, std::int64_t> size, container_t<C, std::uint8_t> temp,
                            const event_list& deps) {
  const bool on_cpu = q.get_device().is_cpu();
  // The backends visit the value type themselves: it is only tested here (an unset one is an
  // invalid argument), and the memory model is the overload's.
  const visit_policy policy{.function = "matmat", .unset_value = on_unset::invalid_argument};
  return visit_variant<void, C>(A, policy, [&]<typename, typename I, containerType>() {
    return on_cpu ? cpu::matmat_impl<I, C>(q, A, B, Cm, request, descr, size, temp, deps)
                  : gpu::matmat_impl<I, C>(q, A, B, Cm, request, descr, size, temp, deps);
  });
}

namespace {
void matmat_frame(sycl::queue& q, matrix_handle* A, matrix_handle* B, matrix_handle* C,
                  const matmat_descr* descr, const event_list& deps) {
  for (const void* argument : {static_cast<const void*>(A), static_cast<const void*>(B),
                               static_cast<const void*>(C), static_cast<const void*>(descr)})
    if (argument == nullptr) throw uninitialized("sparse", "matmat", "");
  const bool all_single = !is_double_precision(A->fp_type) && !is_double_precision(B->fp_type) &&
                          !is_double_precision(C->fp_type);
  if (!all_single) verify_double_support(q, "matmat");
  cache_context(q, A);
  cache_context(q, B);
  cache_context(q, C);
  // C's arrays are the product's, filled stage by stage: only the factors are the caller's.
  check_bound_arrays(q, A, "matmat", deps);
  check_bound_arrays(q, B, "matmat", deps);
}
}  // namespace

sycl::event matmat(sycl::queue& q, matrix_handle_t A, matrix_handle_t B, matrix_handle_t C,
                   matmat_request request, matmat_descr_t descr, std::int64_t* sizeTempBuffer,
                   void* tempBuffer, const event_list& deps) {
  matmat_frame(q, A, B, C, descr, deps);
  return dispatch_matmat<container_usm>(q, A, B, C, request, descr, sizeTempBuffer,
                                        static_cast<std::uint8_t*>(tempBuffer), deps);
}

void matmat(sycl::queue& q, matrix_handle_t A, matrix_handle_t B, matrix_handle_t C,
            matmat_request request, matmat_descr_t descr,
            sycl::buffer<std::int64_t, 1>* sizeTempBuffer,
            sycl::buffer<std::uint8_t, 1>* tempBuffer) {
  matmat_frame(q, A, B, C, descr, {});
  dispatch_matmat<container_buffer>(q, A, B, C, request, descr, sizeTempBuffer, tempBuffer, {});
}

}  // namespace orvane::vrt::sparse
