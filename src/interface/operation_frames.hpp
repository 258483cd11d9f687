// The frames of the public routines of one value type: argument tests, fp64, the context cache,
// then the backend of the queue's device (operation_frames.cpp), and the bindings of one value and
// index type (binding.cpp). The public overloads (public_operations.cpp) forward here with their
// memory model.
#pragma once

#include <cstdint>
#include <orvane/vrt/sparse.hpp>
#include <sycl/sycl.hpp>
#include <vector>

#include "containers/views.hpp"
#include "handle/handle.hpp"

namespace orvane::vrt::sparse {

template <typename T, containerType C>
sycl::event gemv_frame(sycl::queue& q, transpose op, T alpha, matrix_handle* A, container_t<C, T> x,
                       T beta, container_t<C, T> y, const event_list& deps);
template <typename T, containerType C>
sycl::event gemvdot_frame(sycl::queue& q, transpose op, T alpha, matrix_handle* A,
                          container_t<C, T> x, T beta, container_t<C, T> y, container_t<C, T> d,
                          const event_list& deps);
template <typename T, containerType C>
sycl::event symv_frame(sycl::queue& q, uplo ul, T alpha, matrix_handle* A, container_t<C, T> x,
                       T beta, container_t<C, T> y, const event_list& deps);
template <typename T, containerType C>
sycl::event trmv_frame(sycl::queue& q, uplo ul, transpose op, diag dg, T alpha, matrix_handle* A,
                       container_t<C, T> x, T beta, container_t<C, T> y, const event_list& deps);
template <typename T, containerType C>
sycl::event trsv_frame(sycl::queue& q, uplo ul, transpose op, diag dg, T alpha, matrix_handle* A,
                       container_t<C, T> x, container_t<C, T> y, const event_list& deps);
template <typename T, containerType C>
sycl::event trsm_frame(sycl::queue& q, layout lay, transpose opA, transpose opX, uplo ul, diag dg,
                       T alpha, matrix_handle* A, container_t<C, T> x, std::int64_t columns,
                       std::int64_t ldx, container_t<C, T> y, std::int64_t ldy,
                       const event_list& deps);
template <typename T, containerType C>
sycl::event gemm_frame(sycl::queue& q, layout lay, transpose opA, transpose opB, T alpha,
                       matrix_handle* A, container_t<C, T> b, std::int64_t columns,
                       std::int64_t ldb, T beta, container_t<C, T> c, std::int64_t ldc,
                       const event_list& deps);
template <typename T, containerType C>
sycl::event update_diagonal_values_frame(sycl::queue& q, matrix_handle* A, std::int64_t length,
                                         container_t<C, T> diagonal, const event_list& deps);

// The bindings: without a queue (both memory models), with a queue and buffers, with a queue and
// USM.
template <typename T, typename I>
void set_csr_data_no_queue(matrix_handle_t handle, I nrows, I ncols, index_base index,
                           sycl::buffer<I, 1>& row_ptr, sycl::buffer<I, 1>& col_ind,
                           sycl::buffer<T, 1>& values);
template <typename T, typename I>
void set_csr_data_no_queue(matrix_handle_t handle, I nrows, I ncols, index_base index, I* row_ptr,
                           I* col_ind, T* values);
template <typename T, typename I>
void set_csr_data_buffer(sycl::queue& queue, matrix_handle_t handle, I nrows, I ncols,
                         index_base index, sycl::buffer<I, 1>& row_ptr, sycl::buffer<I, 1>& col_ind,
                         sycl::buffer<T, 1>& values);
template <typename T, typename I>
sycl::event set_csr_data_usm(sycl::queue& queue, matrix_handle_t handle, I nrows, I ncols,
                             index_base index, I* row_ptr, I* col_ind, T* values,
                             const std::vector<sycl::event>& deps);
template <typename T, typename I>
void set_coo_data_buffer(sycl::queue& queue, matrix_handle_t handle, I nrows, I ncols, I nnz,
                         index_base index, sycl::buffer<I, 1>& row_ind, sycl::buffer<I, 1>& col_ind,
                         sycl::buffer<T, 1>& values);
template <typename T, typename I>
sycl::event set_coo_data_usm(sycl::queue& queue, matrix_handle_t handle, I nrows, I ncols, I nnz,
                             index_base index, I* row_ind, I* col_ind, T* values,
                             const std::vector<sycl::event>& deps);

}  // namespace orvane::vrt::sparse
