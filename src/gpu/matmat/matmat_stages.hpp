// The stages of the staged product, one per request: their checks, the plan and workspace they
// fix, and the forms they dispatch to. The size requests and get_nnz compute on the calling
// thread once what they read is there, so that their refusals reach the caller as exceptions of
// the call.
#pragma once

#include <complex>
#include <cstdint>
#include <orvane/vrt/sparse.hpp>
#include <sycl/sycl.hpp>
#include <type_traits>
#include <utility>
#include <vector>

#include "containers/views.hpp"
#include "gpu/matmat/design_names.hpp"
#include "gpu/matmat/matmat_dispatch.hpp"
#include "gpu/matmat/matmat_plan.hpp"
#include "gpu/matmat/workspace.hpp"
#include "handle/handle.hpp"
#include "handle/matmat_data.hpp"
#include "handle/nnz.hpp"
#include "handle/visit_variant.hpp"

namespace orvane::vrt::sparse::gpu {

namespace kernels {
// The only algorithm of the stages.
enum matmat_algorithm : std::int32_t { matmat_algorithm_default = 1 };
}  // namespace kernels

namespace stage_detail {

// The checks every stage starts with; the size and estimate stages spell their text their own way.
inline void check_stage(const sparseStructure* A, const sparseStructure* B,
                        const sparseStructure* Cs, kernels::matmat_algorithm algorithm,
                        bool misspelt = false) {
  if (A == nullptr || B == nullptr || Cs == nullptr)
    throw computation_error(
        "sparse", names::matmat_word,
        misspelt ? names::matrix_not_initialized_misspelt : names::matrix_not_initialized);
  if (algorithm != kernels::matmat_algorithm_default)
    throw computation_error("sparse", names::matmat_word, names::unsupported_algorithm);
}

// Both factors' nnz, counted and waited for.
inline void resolve_counts(sycl::queue& queue, sparseStructure* A, sparseStructure* B) {
  sycl::event a = set_nnz_value(queue, A, {});
  sycl::event b = set_nnz_value(queue, B, {});
  a.wait();
  b.wait();
}

// The estimate's total in estimate_host (for USM the estimate stage left it there before it
// returned), once the work in deps is done; a buffer's cell is read through its accessor, which
// orders itself.
template <containerType C>
std::int64_t estimate_of(sycl::queue& queue, matmatInternalData* d,
                         const std::vector<sycl::event>& deps) {
  if constexpr (C == container_usm) {
    sycl::event::wait(deps);
    return host_cell(d, host_estimate);
  } else {
    return read_into<C>(queue, device_cell<C>(d, device_estimate_total),
                        host_cell(d, host_estimate), deps);
  }
}

template <typename I>
constexpr std::int64_t index_bytes = static_cast<std::int64_t>(sizeof(I));

// The structure plan and its buffer size, with the checks of the size.
template <typename I>
std::uint64_t plan_structure(matmatInternalData* d, const sparseStructure* A,
                             const sparseStructure* B, std::int64_t estimate) {
  set_bounds_on_workspace_data(d, A->nrows);
  set_compute_structure_alg_and_workspace_sizes(d, A->nrows, B->ncols, -1, estimate,
                                                index_bytes<I>);
  const std::uint64_t size = compute_structure_buffer_size(d, estimate, index_bytes<I>);
  check_planned_size(d, d->structure_group_bytes, size);
  return size;
}

// The compute plan and its buffer size for values of value_bytes.
template <typename I>
std::uint64_t plan_compute(matmatInternalData* d, const sparseStructure* A,
                           const sparseStructure* B, std::int64_t estimate,
                           std::int64_t value_bytes) {
  set_bounds_on_workspace_data(d, A->nrows);
  set_compute_alg_and_workspace_sizes(d, A->nrows, B->ncols, -1, estimate, index_bytes<I>,
                                      value_bytes);
  const std::uint64_t size = compute_buffer_size(d, estimate, index_bytes<I>, value_bytes);
  check_planned_size(d, d->compute_group_bytes, size);
  return size;
}

template <typename T>
constexpr fpType value_code() {
  if constexpr (std::is_same_v<T, float>)
    return fp_float;
  else if constexpr (std::is_same_v<T, double>)
    return fp_double;
  else if constexpr (std::is_same_v<T, std::complex<float>>)
    return fp_complex_float;
  else
    return fp_complex_double;
}

// Runs f<T>() for the value type of a factor.
template <typename F>
sycl::event with_value_type(const sparseStructure* A, F&& f) {
  return visit_value_type(A->fp_type, std::forward<F>(f),
                          []() -> sycl::event { internal_error(names::matmat_word); });
}

}  // namespace stage_detail

// Request 1: the estimate's plan and the size of its buffer.
template <typename I, containerType C>
sycl::event matmat_get_work_estimation_buf_size(sycl::queue& queue, sparseStructure* A,
                                                sparseStructure* B, sparseStructure* Cs,
                                                matmatInternalData* d,
                                                kernels::matmat_algorithm algorithm,
                                                container_t<C, std::int64_t> size,
                                                const std::vector<sycl::event>& deps) {
  stage_detail::check_stage(A, B, Cs, algorithm, true);
  allocate_scalar_pools<C>(queue, d);
  stage_detail::resolve_counts(queue, A, B);
  d->work_estimation_kernel =
      work_estimation_kernel_dispatch(A->nrows, A->ncols, A->nnz, B->nrows, B->ncols, B->nnz);
  set_bounds_on_workspace_data(d, A->nrows);
  host_cell(d, host_work_estimation_size) = static_cast<std::int64_t>(
      work_estimation_buffer_size(d, A->nrows, stage_detail::index_bytes<I>));
  return write_size<C>(queue, size, &host_cell(d, host_work_estimation_size), deps);
}

// Request 2: C's row estimate into row_offsets, its total into estimate_host.
template <typename I, containerType C>
sycl::event matmat_work_estimation(sycl::queue& queue, sparseStructure* A, sparseStructure* B,
                                   sparseStructure* Cs, matmatInternalData* d,
                                   kernels::matmat_algorithm algorithm,
                                   container_t<C, std::int64_t> size,
                                   container_t<C, std::uint8_t> temp,
                                   const std::vector<sycl::event>& deps) {
  stage_detail::check_stage(A, B, Cs, algorithm, true);
  if (A->ncols != B->nrows)
    throw invalid_argument("sparse", names::matmat_word, names::incompatible_dimensions);
  if (A->container != B->container)
    throw unimplemented("sparse", names::matmat_word, names::mixed_containers);
  stage_detail::resolve_counts(queue, A, B);
  allocate_scalar_pools<C>(queue, d);
  d->work_estimation_kernel =
      work_estimation_kernel_dispatch(A->nrows, A->ncols, A->nnz, B->nrows, B->ncols, B->nnz);
  set_bounds_on_workspace_data(d, A->nrows);
  const std::uint64_t needed =
      work_estimation_buffer_size(d, A->nrows, stage_detail::index_bytes<I>);
  const std::uint64_t available =
      take_workspace<C>(queue, d, work_estimation_workspace(d), size, temp, needed, deps);
  if (d->row_offsets == nullptr) {
    const auto count = static_cast<std::uint64_t>(A->nrows + 1);
    carver c = carver_of<C>(d->work_estimation_buffer, available);
    const std::uint64_t at = c.first(static_cast<std::uint64_t>(d->cache_line_bytes),
                                     count * stage_detail::index_bytes<I>);
    d->index_bytes = static_cast<std::int32_t>(sizeof(I));
    d->row_offsets = carve<I, C>(d->work_estimation_buffer, c.total(), at, count);
  }
  auto total = device_cell<C>(d, device_estimate_total);
  const sycl::event estimated = dispatch_work_estimation<I, C>(
      queue, A, B, d, as_container<C, I>(d->row_offsets), total, deps);
  if constexpr (C == container_usm) {
    // The size requests read the total on the host; a caller on an in-order queue may hand them
    // no event, so the total is in place when this stage returns.
    sycl::event copied =
        queue.memcpy(&host_cell(d, host_estimate), total, sizeof(std::int64_t), estimated);
    copied.wait();
    return copied;
  } else {
    // Buffer stages read the total through the cell's accessor when they need it.
    return estimated;
  }
}

// Request 3: the structure plan and the size of its buffer.
template <typename I, containerType C>
sycl::event matmat_get_compute_structure_buf_size(sycl::queue& queue, sparseStructure* A,
                                                  sparseStructure* B, sparseStructure* Cs,
                                                  matmatInternalData* d,
                                                  kernels::matmat_algorithm algorithm,
                                                  container_t<C, std::int64_t> size,
                                                  const std::vector<sycl::event>& deps) {
  stage_detail::check_stage(A, B, Cs, algorithm);
  allocate_scalar_pools<C>(queue, d);
  const std::int64_t estimate = stage_detail::estimate_of<C>(queue, d, deps);
  host_cell(d, host_compute_structure_size) =
      static_cast<std::int64_t>(stage_detail::plan_structure<I>(d, A, B, estimate));
  return write_size<C>(queue, size, &host_cell(d, host_compute_structure_size), {});
}

// Request 4: C's structure into the structure buffer.
template <typename I, containerType C>
sycl::event matmat_compute_structure(sycl::queue& queue, sparseStructure* A, sparseStructure* B,
                                     sparseStructure* Cs, matmatInternalData* d,
                                     kernels::matmat_algorithm algorithm,
                                     container_t<C, std::int64_t> size,
                                     container_t<C, std::uint8_t> temp,
                                     const std::vector<sycl::event>& deps) {
  stage_detail::check_stage(A, B, Cs, algorithm);
  sycl::event::wait(deps);
  allocate_scalar_pools<C>(queue, d);
  const std::int64_t estimate = stage_detail::estimate_of<C>(queue, d, {});
  const std::uint64_t needed = stage_detail::plan_structure<I>(d, A, B, estimate);
  const std::uint64_t available =
      take_workspace<C>(queue, d, compute_structure_workspace(d), size, temp, needed, {});
  carver c = carver_of<C>(d->compute_structure_buffer, available);
  const auto count = static_cast<std::uint64_t>(estimate);
  const std::uint64_t cols =
      c.first(static_cast<std::uint64_t>(d->cache_line_bytes), count * sizeof(I));
  const std::uint64_t scratch_bytes =
      static_cast<std::uint64_t>(d->num_groups) * d->structure_group_bytes;
  const std::uint64_t scratch =
      c.next(static_cast<std::uint64_t>(d->alignment_bytes), scratch_bytes);
  if (d->structure_cols == nullptr) {
    d->index_bytes = static_cast<std::int32_t>(sizeof(I));
    d->structure_cols = carve<I, C>(d->compute_structure_buffer, c.total(), cols, count);
  }
  if (d->structure_scratch == nullptr)
    d->structure_scratch =
        carve<std::uint8_t, C>(d->compute_structure_buffer, c.total(), scratch, scratch_bytes);
  return dispatch_compute_structure(d);
}

// Request 5: C's columns into its bound column array.
template <typename I, containerType C>
sycl::event matmat_finalize_structure(sycl::queue&, sparseStructure* A, sparseStructure* B,
                                      sparseStructure* Cs, matmatInternalData* d,
                                      kernels::matmat_algorithm algorithm,
                                      const std::vector<sycl::event>&) {
  stage_detail::check_stage(A, B, Cs, algorithm);
  const void* cols = nullptr;
  if (d->compute_structure_buffer != nullptr)
    cols = d->structure_cols;
  else if (d->compute_buffer != nullptr && d->row_offsets != nullptr)
    cols = d->compute_cols;
  if (cols == nullptr)
    throw computation_error("sparse", names::matmat_word,
                            names::finalize_structure_without_compute);
  return dispatch_finalize_structure(d);
}

// Request 6: the compute plan for values of T and the size of its buffer.
template <typename T, typename I, containerType C>
sycl::event matmat_get_compute_buf_size(sycl::queue& queue, sparseStructure* A, sparseStructure* B,
                                        sparseStructure* Cs, matmatInternalData* d,
                                        kernels::matmat_algorithm algorithm,
                                        container_t<C, std::int64_t> size,
                                        const std::vector<sycl::event>& deps) {
  stage_detail::check_stage(A, B, Cs, algorithm);
  allocate_scalar_pools<C>(queue, d);
  const std::int64_t estimate = stage_detail::estimate_of<C>(queue, d, deps);
  host_cell(d, host_compute_size) =
      static_cast<std::int64_t>(stage_detail::plan_compute<I>(d, A, B, estimate, sizeof(T)));
  return write_size<C>(queue, size, &host_cell(d, host_compute_size), {});
}

// Request 7: C's columns and values into the compute buffer.
template <typename T, typename I, containerType C>
sycl::event matmat_compute(sycl::queue& queue, sparseStructure* A, sparseStructure* B,
                           sparseStructure* Cs, matmatInternalData* d,
                           kernels::matmat_algorithm algorithm, container_t<C, std::int64_t> size,
                           container_t<C, std::uint8_t> temp,
                           const std::vector<sycl::event>& deps) {
  stage_detail::check_stage(A, B, Cs, algorithm);
  sycl::event::wait(deps);
  allocate_scalar_pools<C>(queue, d);
  const std::int64_t estimate = stage_detail::estimate_of<C>(queue, d, {});
  const std::uint64_t needed = stage_detail::plan_compute<I>(d, A, B, estimate, sizeof(T));
  const std::uint64_t available =
      take_workspace<C>(queue, d, compute_workspace(d), size, temp, needed, {});
  carver c = carver_of<C>(d->compute_buffer, available);
  const auto count = static_cast<std::uint64_t>(estimate);
  const auto alignment = static_cast<std::uint64_t>(d->alignment_bytes);
  const std::uint64_t cols =
      c.first(static_cast<std::uint64_t>(d->cache_line_bytes), count * sizeof(I));
  const std::uint64_t values = c.next(alignment, count * sizeof(T));
  const std::uint64_t scratch_bytes =
      static_cast<std::uint64_t>(d->num_groups) * d->compute_group_bytes;
  const std::uint64_t scratch = c.next(alignment, scratch_bytes);
  if (d->compute_cols == nullptr) {
    d->index_bytes = static_cast<std::int32_t>(sizeof(I));
    d->compute_cols = carve<I, C>(d->compute_buffer, c.total(), cols, count);
  }
  if (d->compute_values == nullptr) {
    d->value_type = stage_detail::value_code<T>();
    d->compute_values = carve<T, C>(d->compute_buffer, c.total(), values, count);
  }
  if (d->compute_scratch == nullptr)
    d->compute_scratch =
        carve<std::uint8_t, C>(d->compute_buffer, c.total(), scratch, scratch_bytes);
  return dispatch_compute(d);
}

// The count of C to the caller and into C's structure; negative until a compute stage ran.
template <typename I, containerType C>
sycl::event do_get_nnz(sycl::queue& queue, sparseStructure* Cs, container_t<C, std::int64_t> size,
                       matmatInternalData* d, const std::vector<sycl::event>& deps) {
  const std::int64_t nnz =
      read_into<C>(queue, device_cell<C>(d, device_nnz), host_cell(d, host_nnz), deps);
  Cs->nnz = nnz;
  if (nnz < 0) throw unimplemented("sparse", names::matmat_word, names::nnz_not_ready);
  return write_size<C>(queue, size, &host_cell(d, host_nnz), {});
}

// Request 8.
template <typename I, containerType C>
sycl::event matmat_get_nnz(sycl::queue& queue, sparseStructure* A, sparseStructure* B,
                           sparseStructure* Cs, matmatInternalData* d,
                           kernels::matmat_algorithm algorithm, container_t<C, std::int64_t> size,
                           const std::vector<sycl::event>& deps) {
  stage_detail::check_stage(A, B, Cs, algorithm);
  if (Cs->int_type == int_unset)
    throw invalid_argument("sparse", names::matmat_word, unset_index_message);
  if (Cs->int_type != int_32 && Cs->int_type != int_64) internal_error(names::matmat_word);
  allocate_scalar_pools<C>(queue, d);
  return do_get_nnz<I, C>(queue, Cs, size, d, deps);
}

// Request 9: C's columns and values into its bound arrays.
template <typename T, typename I, containerType C>
sycl::event matmat_finalize(sycl::queue&, sparseStructure* A, sparseStructure* B,
                            sparseStructure* Cs, matmatInternalData* d,
                            kernels::matmat_algorithm algorithm, const std::vector<sycl::event>&) {
  stage_detail::check_stage(A, B, Cs, algorithm);
  if (d->row_offsets == nullptr || d->compute_cols == nullptr || d->compute_values == nullptr)
    throw computation_error("sparse", names::matmat_word, names::finalize_without_compute);
  return dispatch_finalize(d);
}

}  // namespace orvane::vrt::sparse::gpu
