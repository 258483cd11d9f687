// Explicit transposes and omatcopy on CPU queues: the shared frames, with the host engine's
// counting transpose in a host task as the CSR step (its output rows come out sorted).
#pragma once

#include <functional>
#include <vector>

#include "cpu/entry_points.hpp"
#include "cpu/host_calls.hpp"
#include "transpose/frames.hpp"

namespace orvane::vrt::sparse::cpu {

struct host_csr_transpose {
  template <typename T, typename I, containerType C>
  static sycl::event run(sycl::queue& queue, transpose op, sparseStructure* in,
                         sparseStructure* out, const event_list& deps) {
    if ((in->values == nullptr) != (out->values == nullptr))
      throw invalid_argument("sparse", "omatcopy", transpose_kernels::values_mismatch);
    set_nnz_value(queue, in, deps).wait();
    const int in_base = in->index != 0 ? 1 : 0, out_base = out->index != 0 ? 1 : 0;
    const I rows = static_cast<I>(in->nrows), cols = static_cast<I>(in->ncols);
    const host_operation_t host_op = host_operation(op, "omatcopy");
    auto call = [=](const I* r, const I* c, const T* v, I* out_r, I* out_c, T* out_v) {
      return engine<T, I>::csr_transpose(host_op, in_base, rows, cols, r, r + 1, c, v, out_base,
                                         out_r, out_c, out_v);
    };
    const auto bind_arrays = [&](sycl::handler& h) -> std::function<sparse_status_t()> {
      auto r = bind(h, as_container<C, I>(in->row_ptr), sycl::read_only);
      auto c = bind(h, as_container<C, I>(in->col_ind), sycl::read_only);
      auto out_r = bind(h, as_container<C, I>(out->row_ptr), sycl::read_write);
      auto out_c = bind(h, as_container<C, I>(out->col_ind), sycl::read_write);
      if (in->values == nullptr)
        return [=] { return call(raw(r), raw(c), nullptr, raw(out_r), raw(out_c), nullptr); };
      auto v = bind(h, as_container<C, T>(in->values), sycl::read_only);
      auto out_v = bind(h, as_container<C, T>(out->values), sycl::read_write);
      return [=] { return call(raw(r), raw(c), raw(v), raw(out_r), raw(out_c), raw(out_v)); };
    };
    run_host_call<C>(queue, "omatcopy", deps, bind_arrays);
    out->nnz = in->nnz;
    return sycl::event();
  }
};

template <typename T, typename I, containerType C>
sycl::event make_transpose_impl(sycl::queue& queue, transpose op, matrix_handle* A,
                                matrix_handle* B, const event_list& deps) {
  return transpose_frames::make_transpose<T, I, C, host_csr_transpose>(queue, op, A, B, deps);
}

// A copy with a new base is the same elementwise work on every device.
template <typename T, typename I, containerType C>
sycl::event omatcopy_impl(sycl::queue& queue, transpose op, matrix_handle* A, matrix_handle* B,
                          const event_list& deps) {
  return transpose_frames::omatcopy<T, I, C>(queue, op, A, B, deps);
}

}  // namespace orvane::vrt::sparse::cpu

#define VRT_INSTANTIATE_CPU_TRANSPOSE(T, I, C)                                               \
  namespace orvane::vrt::sparse::cpu {                                                       \
  template sycl::event make_transpose_impl<T, I, C>(sycl::queue&, transpose, matrix_handle*, \
                                                    matrix_handle*, const event_list&);      \
  template sycl::event omatcopy_impl<T, I, C>(sycl::queue&, transpose, matrix_handle*,       \
                                              matrix_handle*, const event_list&);            \
  }
