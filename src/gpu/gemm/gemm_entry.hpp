// The device path of gemm: op(A) as a structure (the explicit transpose on demand), the plan of
// that structure, and the choice between the explicit-SIMD and the sub-group kernels.
#pragma once

#include <cstdint>
#include <orvane/vrt/sparse.hpp>

#include "containers/views.hpp"
#include "gpu/entry_points.hpp"
#include "gpu/format/select_transposed.hpp"
#include "gpu/gemm/design_names.hpp"
#include "gpu/gemm/esimd_launch.hpp"
#include "gpu/gemm/gemm_plan.hpp"
#include "gpu/gemm/subgroup_path.hpp"
#include "handle/coalesce_events.hpp"
#include "handle/gemm_data.hpp"
#include "handle/nnz.hpp"
#include "handle/value_types.hpp"

namespace orvane::vrt::sparse::gpu {

template <typename T, typename I, containerType C>
sycl::event gemm_impl(sycl::queue& queue, layout dense_layout, transpose opA, transpose opB,
                      T alpha, matrix_handle* A, container_t<C, T> b, std::int64_t columns,
                      std::int64_t ldb, T beta, container_t<C, T> c, std::int64_t ldc,
                      const event_list& deps) {
  if (opB != transpose::nontrans)
    throw unimplemented("sparse", gemm::gemm_word, gemm::only_nontrans_b);
  sparseStructure* s = nullptr;
  event_list list;
  do_transpose_and_select_sparse_struct<T, I, C>(queue, opA, A, &s, deps, list);
  if (s == nullptr) throw uninitialized("sparse", gemm::gemm_word, gemm::not_initialized);
  if (s->format != format_csr) throw unimplemented("sparse", gemm::gemm_word, gemm::only_csr);
  if (s->gemm_data == nullptr) initGemmInternalData(&s->gemm_data);
  if (!s->gemm_data->cached) cache_gemm_internals(queue, s->gemm_data);
  const architecture arch = architecture_from_code(s->gemm_data->device_data->architecture);

  const gemm::gemm_operands<T, I, C> op{as_container<C, I>(s->row_ptr),
                                        as_container<C, I>(s->col_ind),
                                        as_container<C, T>(s->values),
                                        b,
                                        c,
                                        s->nrows,
                                        s->ncols,
                                        columns,
                                        ldb,
                                        ldc,
                                        dense_layout == layout::row_major,
                                        static_cast<I>(s->index != 0 ? 1 : 0),
                                        alpha,
                                        beta};
  if (s->nrows == 0) return coalesce_events(queue, C, list, false);

  double density = 0.0;
  bool fits_32bit = false;
  if constexpr (!is_complex_v<T>) {
    if (has_wide_sub_groups(arch)) {
      if (s->nnz < 0) wait_for_host_read<C>(set_nnz_value(queue, s, list));
      const double cells = static_cast<double>(s->ncols) * static_cast<double>(s->nrows);
      density = cells > 0 ? static_cast<double>(s->nnz) / cells : 0.0;
      fits_32bit =
          gemm::fits_32bit_offsets(s->nrows, s->ncols, s->nnz, columns, ldb, ldc, op.row_major);
      if (gemm::esimd_takes_all_columns(arch, columns, fits_32bit))
        return gemm::gemm_opt_esimd<T, I, C>(queue, op, s, 0, columns, list);
    }
  }
  return gemm::gemm_opt_subgroup<T, I, C>(queue, op, s, density, arch, fits_32bit, list);
}

}  // namespace orvane::vrt::sparse::gpu

#define VRT_INSTANTIATE_GPU_GEMM(T, I, C)                                                   \
  namespace orvane::vrt::sparse::gpu {                                                      \
  template sycl::event gemm_impl<T, I, C>(sycl::queue&, layout, transpose, transpose, T,    \
                                          matrix_handle*, container_t<C, T>, std::int64_t,  \
                                          std::int64_t, T, container_t<C, T>, std::int64_t, \
                                          const event_list&);                               \
  }
