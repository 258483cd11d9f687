// Explicit transposes and omatcopy on CPU queues. The frames (refusals, the handle's own
// transpose slots, reuse of a stored transpose) are the device's; the CSR transpose itself is the
// host engine's counting transpose in a host task, which leaves output rows sorted.
#pragma once

#include <functional>
#include <vector>

#include "cpu/host_calls.hpp"
#include "gpu/format/transpose_impl.hpp"

namespace orvane::vrt::sparse::cpu {

struct host_csr_transpose {
  template <typename T, typename I, containerType C>
  static sycl::event run(sycl::queue& queue, transpose op, sparseStructure* in,
                         sparseStructure* out, const std::vector<sycl::event>& deps) {
    if ((in->values == nullptr) != (out->values == nullptr))
      throw invalid_argument("sparse", "omatcopy", gpu::kernels::values_mismatch);
    set_nnz_value(queue, in, deps).wait();
    const int in_base = in->index != 0 ? 1 : 0, out_base = out->index != 0 ? 1 : 0;
    const I rows = static_cast<I>(in->nrows), cols = static_cast<I>(in->ncols);
    const host_operation_t host_op = host_operation(op);
    auto call = [=](const I* r, const I* c, const T* v, I* out_r, I* out_c, T* out_v) {
      return engine<T, I>::csr_transpose(host_op, in_base, rows, cols, r, r + 1, c, v, out_base,
                                         out_r, out_c, out_v);
    };
    run_host_call<C>(queue, deps, [&](sycl::handler& h) -> std::function<sparse_status_t()> {
      auto r = bind(h, as_container<C, I>(in->row_ptr), sycl::read_only);
      auto c = bind(h, as_container<C, I>(in->col_ind), sycl::read_only);
      auto out_r = bind(h, as_container<C, I>(out->row_ptr), sycl::read_write);
      auto out_c = bind(h, as_container<C, I>(out->col_ind), sycl::read_write);
      if (in->values == nullptr)
        return [=] { return call(raw(r), raw(c), nullptr, raw(out_r), raw(out_c), nullptr); };
      auto v = bind(h, as_container<C, T>(in->values), sycl::read_only);
      auto out_v = bind(h, as_container<C, T>(out->values), sycl::read_write);
      return [=] { return call(raw(r), raw(c), raw(v), raw(out_r), raw(out_c), raw(out_v)); };
    });
    out->nnz = in->nnz;
    return sycl::event();
  }
};

template <typename T, typename I, containerType C>
sycl::event make_transpose_impl(sycl::queue& queue, transpose op, matrix_handle* A,
                                matrix_handle* B, const std::vector<sycl::event>& deps) {
  return gpu::make_transpose_with<T, I, C, host_csr_transpose>(queue, op, A, B, deps);
}

// A copy with a new base is the same elementwise work on every device: the device routine
// runs it.
template <typename T, typename I, containerType C>
sycl::event omatcopy_impl(sycl::queue& queue, transpose op, matrix_handle* A, matrix_handle* B,
                          const std::vector<sycl::event>& deps) {
  return gpu::omatcopy_impl<T, I, C>(queue, op, A, B, deps);
}

#define VRT_CPU_TRANSPOSE_NAMES(T, I, C)                                                       \
  template sycl::event make_transpose_impl<T, I, C>(sycl::queue&, transpose, matrix_handle*,   \
                                                    matrix_handle*,                            \
                                                    const std::vector<sycl::event>&);          \
  template sycl::event omatcopy_impl<T, I, C>(sycl::queue&, transpose, matrix_handle*,         \
                                              matrix_handle*, const std::vector<sycl::event>&);
#define VRT_INSTANTIATE_CPU_TRANSPOSE(p, T, i, I) \
  namespace orvane::vrt::sparse::cpu {            \
  VRT_CPU_TRANSPOSE_NAMES(T, I, container_usm)    \
  VRT_CPU_TRANSPOSE_NAMES(T, I, container_buffer) \
  }

}  // namespace orvane::vrt::sparse::cpu
