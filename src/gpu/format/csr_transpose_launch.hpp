// The CSR transpose on the device: it counts entries per column with atomics, scans the counts
// into row pointers, scatters with atomic cursors and shifts the pointers back. Rows of that
// output come in atomic order. When the arrays are not plain device memory the same steps run in
// one work-item, which leaves rows sorted. Kernel bodies in csr_transpose_kernel.hpp.
#pragma once

#include <cstdint>
#include <orvane/vrt/sparse.hpp>
#include <sycl/sycl.hpp>
#include <vector>

#include "containers/containers.hpp"
#include "containers/prefix_sum.hpp"
#include "containers/views.hpp"
#include "gpu/format/csr_transpose_kernel.hpp"
#include "gpu/format/design_names.hpp"
#include "handle/handle.hpp"
#include "handle/nnz.hpp"
#include "handle/value_types.hpp"
#include "transpose/design_names.hpp"

namespace orvane::vrt::sparse::gpu::kernels {

// Host or unknown USM cannot take device atomics: one work-item does the work there.
template <containerType C>
bool needs_single_work_item(sycl::queue& queue, const sparseStructure* in,
                            const sparseStructure* out) {
  if constexpr (C == container_buffer) {
    return false;
  } else {
    for (const void* p :
         {in->row_ptr, in->col_ind, in->values, out->row_ptr, out->col_ind, out->values}) {
      if (p == nullptr) continue;
      if (is_host_memory<C>(queue, p)) return true;
    }
    return false;
  }
}

// out = op(in) for CSR structures; out's arrays hold in.ncols + 1 row pointers and nnz entries.
template <typename T, typename I, containerType C>
sycl::event csr_transpose_kernel(sycl::queue& queue, transpose op, sparseStructure* in,
                                 sparseStructure* out, const std::vector<sycl::event>& deps) {
  if ((in->values == nullptr) != (out->values == nullptr))
    throw invalid_argument("sparse", transpose_kernels::omatcopy_word,
                           transpose_kernels::values_mismatch);
  set_nnz_value(queue, in, deps).wait();
  void* total = allocate_or_throw<long>(1, queue, C, transpose_kernels::omatcopy_word);
  const sycl::context context = queue.get_context();
  struct total_guard {
    void* cell;
    const sycl::context& context;
    ~total_guard() { deallocate_container<long>(cell, context, C); }
  } guard{total, context};

  const std::int64_t nrows = in->nrows;
  const std::int64_t out_rows = in->ncols;
  const transpose_frame<I> f{static_cast<I>(in->index != 0 ? 1 : 0),
                             static_cast<I>(out->index != 0 ? 1 : 0),
                             op == transpose::conjtrans && is_complex_v<T>};
  const bool with_values = in->values != nullptr;
  auto out_rp = as_container<C, I>(out->row_ptr);
  auto in_rp = as_container<C, I>(in->row_ptr);
  auto in_ci = as_container<C, I>(in->col_ind);
  auto out_ci = as_container<C, I>(out->col_ind);
  auto in_va = as_container<C, T>(in->values);
  auto out_va = as_container<C, T>(out->values);

  sycl::event e =
      fill_container<I>(queue, out_rp, I(0), static_cast<std::size_t>(out_rows + 1), deps);

  // Submits a kernel over the arrays, with or without values.
  auto submit = [&]<typename Name>(const std::vector<sycl::event>& after, auto range, auto body) {
    return queue.submit([&](sycl::handler& h) {
      depend_on<C>(h, after);
      auto rp = bind(h, in_rp, sycl::read_only);
      auto ci = bind(h, in_ci, sycl::read_only);
      auto orp = bind(h, out_rp, sycl::read_write);
      auto oci = bind(h, out_ci, sycl::read_write);
      if (with_values) {
        auto va = bind(h, in_va, sycl::read_only);
        auto ova = bind(h, out_va, sycl::read_write);
        h.parallel_for<valued<Name, true>>(range, [=](sycl::id<1> r) {
          body(r[0], raw(rp), raw(ci), raw(orp), raw(oci), raw(va), raw(ova));
        });
      } else {
        h.parallel_for<valued<Name, false>>(range, [=](sycl::id<1> r) {
          body(r[0], raw(rp), raw(ci), raw(orp), raw(oci), static_cast<const T*>(nullptr),
               static_cast<T*>(nullptr));
        });
      }
    });
  };
  const sycl::range<1> one(1), per_row(static_cast<std::size_t>(nrows));

  sycl::event done;
  if (needs_single_work_item<C>(queue, in, out)) {
    // Counts, scan and scatter in row order: the output rows come out sorted.
    done = submit.template operator()<transComputeSingle<T, I, C>>(
        {e}, one,
        [=](std::size_t, const I* rows, const I* cols, I* ptr, I* out_cols, const T* vals,
            T* out_vals) {
          transpose_single<T, I>(nrows, out_rows, rows, cols, ptr, out_cols, vals, out_vals, f);
        });
  } else {
    sycl::event counted = submit.template operator()<transNnzCountParallel<T, I, C>>(
        {e}, per_row, [=](std::size_t r, const I* rows, const I* cols, I* ptr, I*, const T*, T*) {
          count_row(static_cast<std::int64_t>(r), rows, cols, ptr, f.in_index, atomic_cursor{});
        });
    sycl::event scanned = prefix_sum(queue, out_rp, static_cast<std::size_t>(out_rows + 1), C,
                                     as_container<C, long>(total), {counted});
    sycl::event scattered = submit.template operator()<transComputeParallel<T, I, C>>(
        {scanned}, per_row,
        [=](std::size_t r, const I* rows, const I* cols, I* ptr, I* out_cols, const T* vals,
            T* out_vals) {
          scatter_row(static_cast<std::int64_t>(r), rows, cols, ptr, out_cols, vals, out_vals, f,
                      atomic_cursor{});
        });
    done = submit.template operator()<transFinalizeIaParallel<T, I, C>>(
        {scattered}, one, [=](std::size_t, const I*, const I*, I* ptr, I*, const T*, T*) {
          finalize_row_pointers(ptr, out_rows, f.out_index);
        });
  }
  out->nnz = in->nnz;
  done.wait();  // the total cell is freed on return
  return done;
}

}  // namespace orvane::vrt::sparse::gpu::kernels
