// The host engine's C calls of one variant, with the library's value types.
#pragma once

#include <complex>
#include <cstdint>
#include <cstring>

#include "common/variants.hpp"
#include "vrt/host_sparse.h"

namespace orvane::vrt::sparse::cpu {

template <typename T>
struct engine_value {
  using type = T;
};
template <>
struct engine_value<std::complex<float>> {
  using type = vrt_complex8;
};
template <>
struct engine_value<std::complex<double>> {
  using type = vrt_complex16;
};

template <typename T, typename I>
struct engine;

// A macro, not a template: the engine's C names carry the value letter and index suffix
// (vrt_sparse_d_mv_i4), which only token pasting can form from the variant list.
#define VRT_ENGINE_CALLS(p, T, i, I, unused)                                                       \
  template <>                                                                                      \
  struct engine<T, I> {                                                                            \
    using V = engine_value<T>::type;                                                               \
    static V value(const T& t) {                                                                   \
      V v;                                                                                         \
      std::memcpy(static_cast<void*>(&v), &t, sizeof(V));                                          \
      return v;                                                                                    \
    }                                                                                              \
    static V* values(T* p) { return reinterpret_cast<V*>(p); }                                     \
    static sparse_status_t create_csr(host_matrix_t* A, int b, I r, I c, I* rs, I* re, I* ci,      \
                                      T* v) {                                                      \
      return vrt_sparse_##p##_create_csr_##i(A, b, r, c, rs, re, ci, values(v));                   \
    }                                                                                              \
    static sparse_status_t create_coo(host_matrix_t* A, int b, I r, I c, I n, I* ri, I* ci,        \
                                      T* v) {                                                      \
      return vrt_sparse_##p##_create_coo_##i(A, b, r, c, n, ri, ci, values(v));                    \
    }                                                                                              \
    static sparse_status_t mv(host_operation_t op, T a, host_matrix_t A, host_matrix_descr d,      \
                              const T* x, T b, T* y) {                                             \
      return vrt_sparse_##p##_mv_##i(op, value(a), A, d, values(const_cast<T*>(x)), value(b),      \
                                     values(y));                                                   \
    }                                                                                              \
    static sparse_status_t dotmv(host_operation_t op, T a, host_matrix_t A, host_matrix_descr d,   \
                                 const T* x, T b, T* y, T* dot) {                                  \
      return vrt_sparse_##p##_dotmv_##i(op, value(a), A, d, values(const_cast<T*>(x)), value(b),   \
                                        values(y), values(dot));                                   \
    }                                                                                              \
    static sparse_status_t mm(host_operation_t op, T a, host_matrix_t A, host_matrix_descr d,      \
                              host_layout_t l, const T* x, I n, I ldx, T b, T* y, I ldy) {         \
      return vrt_sparse_##p##_mm_##i(op, value(a), A, d, l, values(const_cast<T*>(x)), n, ldx,     \
                                     value(b), values(y), ldy);                                    \
    }                                                                                              \
    static sparse_status_t trsv(host_operation_t op, T a, host_matrix_t A, host_matrix_descr d,    \
                                const T* x, T* y) {                                                \
      return vrt_sparse_##p##_trsv_##i(op, value(a), A, d, values(const_cast<T*>(x)), values(y));  \
    }                                                                                              \
    static sparse_status_t trsm(host_operation_t op, T a, host_matrix_t A, host_matrix_descr d,    \
                                host_layout_t l, const T* x, I n, I ldx, T* y, I ldy) {            \
      return vrt_sparse_##p##_trsm_##i(op, value(a), A, d, l, values(const_cast<T*>(x)), n, ldx,   \
                                       values(y), ldy);                                            \
    }                                                                                              \
    static sparse_status_t do_order(host_matrix_t A) { return vrt_sparse_##p##_do_order_##i(A); }  \
    static sparse_status_t export_csr(host_matrix_t A, int* b, I* r, I* c, I** rs, I** re, I** ci, \
                                      T** v) {                                                     \
      return vrt_sparse_##p##_export_csr_##i(A, b, r, c, rs, re, ci, reinterpret_cast<V**>(v));    \
    }                                                                                              \
    static sparse_status_t csr_transpose(host_operation_t op, int b, I r, I c, const I* rs,        \
                                         const I* re, const I* ci, const T* v, int ob, I* ors,     \
                                         I* oci, T* ov) {                                          \
      return vrt_sparse_##p##_csr_transpose_##i(                                                   \
          op, b, r, c, rs, re, ci, reinterpret_cast<const V*>(v), ob, ors, oci, values(ov));       \
    }                                                                                              \
    static sparse_status_t get_nnz(host_matrix_t A, I* nnz) {                                      \
      return vrt_sparse_get_nnz_##i(A, nnz);                                                       \
    }                                                                                              \
    static sparse_status_t sp2m(host_operation_t oa, host_matrix_descr da, host_matrix_t A,        \
                                host_operation_t ob, host_matrix_descr db, host_matrix_t B,        \
                                host_request_t r, host_matrix_t* Cm) {                             \
      return vrt_sparse_sp2m_##i(oa, da, A, ob, db, B, r, Cm);                                     \
    }                                                                                              \
    static sparse_status_t destroy(host_matrix_t A) { return vrt_sparse_destroy_##i(A); }          \
    static sparse_status_t optimize(host_matrix_t A) { return vrt_sparse_optimize_##i(A); }        \
    static sparse_status_t mv_hint(host_matrix_t A, host_operation_t op, host_matrix_descr d,      \
                                   int calls) {                                                    \
      return vrt_sparse_set_mv_hint_##i(A, op, d, calls);                                          \
    }                                                                                              \
    static sparse_status_t sv_hint(host_matrix_t A, host_operation_t op, host_matrix_descr d,      \
                                   int calls) {                                                    \
      return vrt_sparse_set_sv_hint_##i(A, op, d, calls);                                          \
    }                                                                                              \
    static sparse_status_t sm_hint(host_matrix_t A, host_operation_t op, host_matrix_descr d,      \
                                   host_layout_t l, I columns, int calls) {                        \
      return vrt_sparse_set_sm_hint_##i(A, op, d, l, columns, calls);                              \
    }                                                                                              \
  };
VRT_FOR_EACH_VARIANT(VRT_ENGINE_CALLS, 0)
#undef VRT_ENGINE_CALLS

}  // namespace orvane::vrt::sparse::cpu
