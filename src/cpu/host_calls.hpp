// How a CPU queue's routine runs: the engine's call inside a host task on the caller's queue,
// its status carried out and turned into an exception. The USM form waits for the task; the
// buffer form reads the status through a host accessor, which waits as well.
#pragma once

#include <functional>
#include <optional>
#include <orvane/vrt/sparse.hpp>
#include <sycl/sycl.hpp>
#include <vector>

#include "common/portability.hpp"
#include "containers/views.hpp"
#include "cpu/engine_calls.hpp"
#include "handle/handle.hpp"

namespace orvane::vrt::sparse::cpu {

// Statuses 1 to 6 become exceptions with the routine's word; every other value passes.
void throw_for_status(sparse_status_t status, const char* word);

// The engine's words for the library's enumerations. A value outside an enumeration is refused
// with the routine's word and the argument's name, never taken as some other value.
inline host_operation_t host_operation(transpose op, const char* function,
                                       const char* argument = "op") {
  switch (op) {
    case transpose::nontrans:
      return HOST_OPERATION_NON_TRANSPOSE;
    case transpose::trans:
      return HOST_OPERATION_TRANSPOSE;
    case transpose::conjtrans:
      return HOST_OPERATION_CONJUGATE_TRANSPOSE;
  }
  throw invalid_argument("sparse", function, argument);
}
inline host_layout_t host_layout(layout l, const char* function) {
  switch (l) {
    case layout::row_major:
      return HOST_LAYOUT_ROW_MAJOR;
    case layout::col_major:
      return HOST_LAYOUT_COLUMN_MAJOR;
  }
  throw invalid_argument("sparse", function, "layout");
}
inline host_matrix_descr general_descr() {
  return {HOST_MATRIX_TYPE_GENERAL, HOST_FILL_MODE_LOWER, HOST_DIAG_NON_UNIT};
}
// uplo_word: how the routine names a bad triangle ("uplo_flag", or trsm's "uplo_flag is invalid").
inline host_matrix_descr triangular_descr(uplo ul, diag dg, const char* function,
                                          const char* uplo_word = "uplo_flag") {
  if (ul != uplo::lower && ul != uplo::upper) throw invalid_argument("sparse", function, uplo_word);
  if (dg != diag::nonunit && dg != diag::unit)
    throw invalid_argument("sparse", function, "diag_flag");
  return {HOST_MATRIX_TYPE_TRIANGULAR,
          ul == uplo::lower ? HOST_FILL_MODE_LOWER : HOST_FILL_MODE_UPPER,
          dg == diag::unit ? HOST_DIAG_UNIT : HOST_DIAG_NON_UNIT};
}

// Submits bind(handler) -> call() in a host task after deps (USM) and maps the status on the
// calling thread when the task is done, naming the routine by word.
template <containerType C, typename Bind>
void run_host_call(sycl::queue& queue, const char* word, const std::vector<sycl::event>& deps,
                   Bind&& bind) {
  sparse_status_t status = SPARSE_STATUS_SUCCESS;
  if constexpr (C == container_usm) {
    sparse_status_t* out = &status;
    queue
        .submit([&](sycl::handler& h) {
          h.depends_on(deps);
          auto call = bind(h);
          portable::host_task(h, [call, out] { *out = call(); });
        })
        .wait();
  } else {
    // The status word's buffer is device memory by the library's rule: a runtime that cannot
    // store it refuses as any device allocation does.
    std::optional<sycl::buffer<sparse_status_t, 1>> storage;
    try {
      storage.emplace(&status, sycl::range<1>(1));
    } catch (const sycl::exception& e) {
      if (e.code() != sycl::errc::memory_allocation) throw;
      throw device_bad_alloc("sparse", word, queue.get_device());
    }
    sycl::buffer<sparse_status_t, 1>& result = *storage;
    queue.submit([&](sycl::handler& h) {
      auto call = bind(h);
      sycl::accessor out(result, h, sycl::write_only);
      portable::host_task(h, [call, out] { out[0] = call(); });
    });
    sycl::host_accessor read(result, sycl::read_only);
    status = read[0];
  }
  throw_for_status(status, word);
}

// The engine's matrix for the handle, made from primary on first use. Once made, the caller's
// dependencies are satisfied and deps is cleared.
template <typename T, typename I, containerType C>
void ensure_host_matrix(sycl::queue& queue, matrix_handle* A, const char* word,
                        std::vector<sycl::event>& deps) {
  if (A->host_matrix != nullptr) return;
  sparseStructure* s = A->primary;
  if (s->format != format_csr && s->format != format_coo)
    throw unimplemented("sparse", word, "Unsupported matrix format");
  const bool csr = s->format == format_csr;
  const int base = s->index != 0 ? 1 : 0;
  const I nrows = static_cast<I>(s->nrows), ncols = static_cast<I>(s->ncols);
  const I nnz = static_cast<I>(s->nnz);
  host_matrix_t* slot = &A->host_matrix;
  auto create = [=](I* r, I* c, T* v) {
    return csr ? engine<T, I>::create_csr(slot, base, nrows, ncols, r, r + 1, c, v)
               : engine<T, I>::create_coo(slot, base, nrows, ncols, nnz, r, c, v);
  };
  run_host_call<C>(queue, word, deps, [&](sycl::handler& h) -> std::function<sparse_status_t()> {
    auto rows = bind(h, as_container<C, I>(s->row_ptr), sycl::read_write);
    auto cols = bind(h, as_container<C, I>(s->col_ind), sycl::read_write);
    // A structure without values has no value array to bind.
    if (s->values == nullptr) return [=] { return create(raw(rows), raw(cols), nullptr); };
    auto vals = bind(h, as_container<C, T>(s->values), sycl::read_write);
    return [=] { return create(raw(rows), raw(cols), raw(vals)); };
  });
  deps.clear();
}

}  // namespace orvane::vrt::sparse::cpu
