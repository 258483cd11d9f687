// Y = alpha * op(A) * X + beta * Y with dense X and Y in either layout.
#include "row_kernels.hpp"

namespace vrt_host {

namespace {

// Row-major: row i of Y gathers whole rows of X, contiguous and vectorisable.
template <typename T, typename I>
void row_major_rows(const operation_plan<T, I>& plan, std::int64_t lo, std::int64_t hi,
                    std::int64_t columns, T alpha, const T* x, std::int64_t ldx, T beta, T* y,
                    std::int64_t ldy) {
  std::vector<T> acc(static_cast<std::size_t>(columns));
  with_part(plan.first, [&]<part P>() {
    for (std::int64_t i = lo; i < hi; ++i) {
      std::fill(acc.begin(), acc.end(), T(0));
      auto add = [&](std::int64_t j, T a) {
        const T* xr = x + j * ldx;
#pragma omp simd
        for (std::int64_t c = 0; c < columns; ++c) acc[c] += a * xr[c];
      };
      for_each_entry<P>(plan.rows, i, plan.conj, add);
      if (plan.symmetric)
        with_part(plan.second, [&]<part Q>() { for_each_entry<Q>(plan.mirror, i, plan.conj, add); });
      if (plan.unit_diagonal) add(i, T(1));
      T* yr = y + i * ldy;
      for (std::int64_t c = 0; c < columns; ++c) finish(yr[c], alpha, beta, acc[c]);
    }
  });
}

// Column-major: blocks of columns, so that each row's entries are read once per block.
template <typename T, typename I>
void column_major_rows(const operation_plan<T, I>& plan, std::int64_t lo, std::int64_t hi,
                       std::int64_t columns, T alpha, const T* x, std::int64_t ldx, T beta, T* y,
                       std::int64_t ldy) {
  constexpr std::int64_t block = 8;
  with_part(plan.first, [&]<part P>() {
    for (std::int64_t c0 = 0; c0 < columns; c0 += block) {
      const std::int64_t width = std::min(block, columns - c0);
      for (std::int64_t i = lo; i < hi; ++i) {
        T acc[block] = {};
        auto add = [&](std::int64_t j, T a) {
          const T* xc = x + j + c0 * ldx;
          for (std::int64_t c = 0; c < width; ++c) acc[c] += a * xc[c * ldx];
        };
        for_each_entry<P>(plan.rows, i, plan.conj, add);
        if (plan.symmetric)
          with_part(plan.second, [&]<part Q>() { for_each_entry<Q>(plan.mirror, i, plan.conj, add); });
        if (plan.unit_diagonal) add(i, T(1));
        for (std::int64_t c = 0; c < width; ++c) finish(y[i + (c0 + c) * ldy], alpha, beta, acc[c]);
      }
    }
  });
}

}  // namespace

template <typename T, typename I>
sparse_status_t mm(host_operation_t op, T alpha, host_matrix_t handle, host_matrix_descr descr,
                   host_layout_t layout, const T* x, I columns, I ldx, T beta, T* y, I ldy) {
  return guarded([&]() -> sparse_status_t {
    auto* A = typed<T, I>(handle);
    if (A == nullptr) return handle == nullptr ? SPARSE_STATUS_NOT_INITIALIZED : SPARSE_STATUS_INVALID_VALUE;
    if (!valid_operation(op) || !valid_descriptor(descr) || columns < 0)
      return SPARSE_STATUS_INVALID_VALUE;
    operation_plan<T, I> plan;
    if (!plan_operation(*A, op, descr, plan)) return SPARSE_STATUS_INVALID_VALUE;
    const std::int64_t out_rows = plan.rows.rows, in_rows = plan.rows.cols;
    if (layout == HOST_LAYOUT_ROW_MAJOR) {
      if (ldx < columns || ldy < columns) return SPARSE_STATUS_INVALID_VALUE;
    } else if (layout == HOST_LAYOUT_COLUMN_MAJOR) {
      if (ldx < in_rows || ldy < out_rows) return SPARSE_STATUS_INVALID_VALUE;
    } else {
      return SPARSE_STATUS_INVALID_VALUE;
    }
    if (columns == 0 || out_rows == 0) return SPARSE_STATUS_SUCCESS;
    if (x == nullptr || y == nullptr) return SPARSE_STATUS_INVALID_VALUE;
    parallel_rows(plan.rows, [&](std::int64_t lo, std::int64_t hi) {
      if (layout == HOST_LAYOUT_ROW_MAJOR)
        row_major_rows(plan, lo, hi, columns, alpha, x, ldx, beta, y, ldy);
      else
        column_major_rows(plan, lo, hi, columns, alpha, x, ldx, beta, y, ldy);
    });
    return SPARSE_STATUS_SUCCESS;
  });
}

}  // namespace vrt_host

using namespace vrt_host;

extern "C" {
#define VRT_DEFINE_MM(p, C, i, I)                                                                \
  sparse_status_t vrt_sparse_##p##_mm_##i(host_operation_t op, C alpha, host_matrix_t A,         \
                                          host_matrix_descr d, host_layout_t layout, const C* x, \
                                          I columns, I ldx, C beta, C* y, I ldy) {               \
    using T = value_of<C>::type;                                                                 \
    return mm<T, I>(op, scalar<T>(alpha), A, d, layout,                              \
                    reinterpret_cast<const T*>(x), columns, ldx, scalar<T>(beta),     \
                    reinterpret_cast<T*>(y), ldy);                                               \
  }
VRT_HOST_FOR_EACH_VARIANT(VRT_DEFINE_MM)
}
