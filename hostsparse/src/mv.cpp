
// y = alpha op(A) x + beta y, and the same with the dot product of x and the new y.
//
// Rows of op(A) that are rows of a stored structure are gathered, in chunks of rows balanced by
// entries that free threads claim in turn. A transposed product, and the mirrored half of a
// symmetric matrix without the transpose's rows (optimize makes them after a hint), are
// scattered instead: y[j] += a_ij x[i] into per-thread buffers that are added up at the end, so
// no atomics.
#include <algorithm>

#include "kernels.hpp"
#include "team.hpp"

namespace vrt_host {

namespace {

template <typename T, typename I>
struct mv_plan {
  csr_view<T, I> rows;  // the rows swept
  part gather = everything();
  csr_view<T, I> mirror;  // symmetric with the transpose's rows: the other triangle from them
  part mirror_part = nothing();
  part scatter = nothing();
  bool conj = false, unit = false;
  std::int64_t out_len = 0, in_len = 0;
};

template <typename T, typename I>
bool plan_mv(typed_matrix<T, I>& A, host_operation_t op, const host_matrix_descr& d,
             mv_plan<T, I>& p) {
  const bool transposed = op != HOST_OPERATION_NON_TRANSPOSE;
  p.conj = op == HOST_OPERATION_CONJUGATE_TRANSPOSE;
  p.out_len = transposed ? A.cols : A.rows;
  p.in_len = transposed ? A.rows : A.cols;
  if (d.type != HOST_MATRIX_TYPE_GENERAL && A.rows != A.cols) return false;
  const bool lower = d.mode == HOST_FILL_MODE_LOWER;
  p.unit = d.type != HOST_MATRIX_TYPE_GENERAL && d.diag == HOST_DIAG_UNIT;
  const part own = d.type == HOST_MATRIX_TYPE_GENERAL ? everything() : triangle(lower, p.unit);
  if (d.type == HOST_MATRIX_TYPE_SYMMETRIC) {
    // A^T = A: the operation only decides conjugation.
    p.rows = rows_of(A);
    p.gather = own;
    const csr_view<T, I> t = made_transpose(A);
    if (t.begin != nullptr) {
      p.mirror = t;
      p.mirror_part = triangle(!lower, true);
    } else {
      p.scatter = triangle(lower, true);
    }
    return true;
  }
  if (!transposed) {
    p.rows = rows_of(A);
    p.gather = own;
    return true;
  }
  // Scattering reads A's own arrays in order; the transpose's rows would read values through
  // positions, which measured slower on irregular matrices and no faster on stencils.
  p.rows = rows_of(A);
  p.gather = nothing();
  p.scatter = own;
  return true;
}

// Rows lo..hi gathered into y; returns the part of the dot product of these rows.
template <bool Filtered, bool Perm, bool Conj, typename T, typename I>
T gather_rows(const mv_plan<T, I>& p, std::int64_t lo, std::int64_t hi, T alpha, const T* x, T beta,
              T* y, std::int64_t dot_len) {
  T dot = T(0);
  const bool mirrored = !p.mirror_part.none;
  for (std::int64_t i = lo; i < hi; ++i) {
    T s = gather_row<Filtered, Perm, Conj>(p.rows, i, x, p.gather);
    if (mirrored) s += gather_row<true, true, Conj>(p.mirror, i, x, p.mirror_part);
    if (p.unit) s += x[i];
    const T yi = finish(alpha, s, beta, y[i]);
    y[i] = yi;
    if (i < dot_len) dot += mul(x[i], yi);
  }
  return dot;
}

// Rows lo..hi of a general matrix by their shapes: no column indices are read. Shapes exist only
// for rows stored back to back, so the values of row i + 1 follow those of row i.
template <typename T, typename I>
T shaped_rows(const mv_plan<T, I>& p, const row_shapes& s, std::int64_t lo, std::int64_t hi,
              T alpha, const T* x, T beta, T* y, std::int64_t dot_len) {
  const csr_view<T, I>& v = p.rows;
  if (lo >= hi) return T(0);
  const T* a = v.val + (v.begin[lo] - v.base);
  const std::uint8_t* shape = s.shape.data();
  const std::int32_t* start = s.start.data();
  const std::int32_t* length = s.length.data();
  const std::int32_t* delta = s.delta.data();
  T dot = T(0);
  for (std::int64_t i = lo; i < hi; ++i) {
    const std::int32_t sh = shape[i];
    const std::int32_t* d = delta + start[sh];
    const std::int32_t len = length[sh];
    const T* xi = x + i;
    T s0 = T(0), s1 = T(0);
    std::int32_t t = 0;
    for (; t + 2 <= len; t += 2) {
      s0 += mul(a[t], xi[d[t]]);
      s1 += mul(a[t + 1], xi[d[t + 1]]);
    }
    if (t < len) s0 += mul(a[t], xi[d[t]]);
    a += len;
    const T yi = finish(alpha, s0 + s1, beta, y[i]);
    y[i] = yi;
    if (i < dot_len) dot += mul(x[i], yi);
  }
  return dot;
}

// Rows lo..hi: the gathered part adds to y[i], the scattered part to out[j].
template <bool Filtered, bool Perm, bool Conj, typename T, typename I>
void scatter_rows(const mv_plan<T, I>& p, std::int64_t lo, std::int64_t hi, T alpha, const T* x,
                  T* y, T* out) {
  const csr_view<T, I>& v = p.rows;
  const I base = v.base;
  const bool gathers = !p.gather.none;
  for (std::int64_t i = lo; i < hi; ++i) {
    const T xi = mul(alpha, x[i]);
    T s = T(0);
    for (I k = v.begin[i] - base; k < v.end[i] - base; ++k) {
      const std::int64_t j = v.col[k] - base;
      const T a = entry<Perm, Conj>(v, k);
      if (!Filtered || p.scatter.has(i, j)) out[j] += mul(a, xi);
      if (gathers && p.gather.has(i, j)) s += mul(a, x[j]);
    }
    if (gathers) y[i] += mul(alpha, s);
  }
}

template <typename T, typename I>
sparse_status_t mv(host_operation_t op, T alpha, host_matrix_t handle, host_matrix_descr descr,
                   const T* x, T beta, T* y, bool with_dot, T* dot) {
  return guarded([&]() -> sparse_status_t {
    auto* A = typed<T, I>(handle);
    if (A == nullptr) return refused(handle);
    if (with_dot && dot == nullptr) return SPARSE_STATUS_INVALID_VALUE;
    if (!valid_operation(op) || !valid_descriptor(descr)) return SPARSE_STATUS_INVALID_VALUE;
    mv_plan<T, I> p;
    if (!plan_mv(*A, op, descr, p)) return SPARSE_STATUS_INVALID_VALUE;
    if ((p.out_len > 0 && y == nullptr) || (p.in_len > 0 && x == nullptr))
      return SPARSE_STATUS_INVALID_VALUE;
    const std::int64_t dot_len = with_dot ? std::min(p.out_len, p.in_len) : 0;
    team crew(A->nnz + p.out_len);
    const int threads = crew.size();
    std::vector<T> partial(static_cast<std::size_t>(threads), T(0));
    const csr_view<T, I>& v = p.rows;
    const bool filtered = !p.gather.all();

    const row_shapes* shapes = nullptr;
    if (A->optimized && descr.type == HOST_MATRIX_TYPE_GENERAL &&
        op == HOST_OPERATION_NON_TRANSPOSE)
      shapes = shapes_of(*A);
    // Gathered rows go in chunks claimed by whichever thread is free; each chunk keeps its
    // part of the dot product, summed in chunk order, so the result is the same on any team.
    const std::int64_t chunks = chunk_count(A->nnz + p.out_len);
    auto bounds = [&](std::int64_t c) {
      return std::pair{row_boundary(v.begin, v.end, v.rows, v.monotone, static_cast<int>(c),
                                    static_cast<int>(chunks)),
                       row_boundary(v.begin, v.end, v.rows, v.monotone, static_cast<int>(c + 1),
                                    static_cast<int>(chunks))};
    };
    std::vector<T> chunk_dot(with_dot && p.scatter.none ? static_cast<std::size_t>(chunks) : 0,
                             T(0));
    if (shapes != nullptr) {
      run_chunks(threads, chunks, [&](std::int64_t c) {
        const auto [lo, hi] = bounds(c);
        const T d = shaped_rows(p, *shapes, lo, hi, alpha, x, beta, y, dot_len);
        if (with_dot) chunk_dot[c] = d;
      });
      for (const T& d : chunk_dot) partial[0] += d;
    } else if (p.scatter.none) {
      with_flags<T>(filtered, v.perm != nullptr, p.conj, [&]<bool F, bool P, bool C>() {
        run_chunks(threads, chunks, [&](std::int64_t c) {
          const auto [lo, hi] = bounds(c);
          const T d = gather_rows<F, P, C>(p, lo, hi, alpha, x, beta, y, dot_len);
          if (with_dot) chunk_dot[c] = d;
        });
      });
      for (const T& d : chunk_dot) partial[0] += d;
    } else {
      // The thread whose scatters stay inside its own rows writes y directly: the first for a
      // lower triangle mirrored upwards, the last for an upper one, the first when nothing is
      // gathered. The others scatter into zeroed buffers.
      const bool gathers = !p.gather.none;
      const bool upward = gathers && descr.mode == HOST_FILL_MODE_UPPER;
      const std::size_t len = static_cast<std::size_t>(p.out_len);
      std::unique_ptr<T[]> buffers(threads > 1 ? new T[len * (threads - 1)] : nullptr);
      const bool scatter_filtered = !p.scatter.all();
      run_team(threads, [&](int t, int n) {
        const int direct = upward ? n - 1 : 0;
        auto buffer_of = [&](int u) { return buffers.get() + len * (u < direct ? u : u - 1); };
        const std::int64_t row_lo = row_boundary(v.begin, v.end, v.rows, v.monotone, t, n);
        const std::int64_t row_hi = row_boundary(v.begin, v.end, v.rows, v.monotone, t + 1, n);
        const std::int64_t lo = even_split(p.out_len, t, n), hi = even_split(p.out_len, t + 1, n);
        for (std::int64_t j = lo; j < hi; ++j) {
          T yj = beta == T(0) ? T(0) : mul(beta, y[j]);
          if (p.unit) yj += mul(alpha, x[j]);
          y[j] = yj;
        }
        T* out = t == direct ? y : buffer_of(t);
        if (t != direct) std::fill(out, out + len, T(0));
        team_barrier();
        with_flags<T>(scatter_filtered, v.perm != nullptr, p.conj, [&]<bool F, bool P, bool C>() {
          scatter_rows<F, P, C>(p, row_lo, row_hi, alpha, x, y, out);
        });
        team_barrier();
        T d = T(0);
        for (std::int64_t j = lo; j < hi; ++j) {
          T yj = y[j];
          for (int u = 0; u < n; ++u)
            if (u != direct) yj += buffer_of(u)[j];
          y[j] = yj;
          if (j < dot_len) d += mul(x[j], yj);
        }
        partial[t] = d;
      });
    }
    if (dot != nullptr) {
      T d = T(0);
      for (const T& s : partial) d += s;
      *dot = d;
    }
    return SPARSE_STATUS_SUCCESS;
  });
}

}  // namespace

}  // namespace vrt_host

using namespace vrt_host;

extern "C" {
#define VRT_DEFINE_MV(p, C, i, I)                                                               \
  sparse_status_t vrt_sparse_##p##_mv_##i(host_operation_t op, C alpha, host_matrix_t A,        \
                                          host_matrix_descr d, const C* x, C beta, C* y) {      \
    using T = value_of<C>::type;                                                                \
    return mv<T, I>(op, scalar<T>(alpha), A, d, reinterpret_cast<const T*>(x), scalar<T>(beta), \
                    reinterpret_cast<T*>(y), false, nullptr);                                   \
  }                                                                                             \
  sparse_status_t vrt_sparse_##p##_dotmv_##i(host_operation_t op, C alpha, host_matrix_t A,     \
                                             host_matrix_descr d, const C* x, C beta, C* y,     \
                                             C* dot) {                                          \
    using T = value_of<C>::type;                                                                \
    return mv<T, I>(op, scalar<T>(alpha), A, d, reinterpret_cast<const T*>(x), scalar<T>(beta), \
                    reinterpret_cast<T*>(y), true, reinterpret_cast<T*>(dot));                  \
  }
VRT_HOST_FOR_EACH_VARIANT(VRT_DEFINE_MV)
}
