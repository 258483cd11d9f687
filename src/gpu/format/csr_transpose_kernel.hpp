// Kernel bodies of the CSR transpose on the device: per-column counts, the scatter of a row's
// entries to their slots by per-column cursors, and the shift of the row pointers back.
#pragma once

#include <cstdint>
#include <sycl/sycl.hpp>

#include "handle/value_types.hpp"

namespace orvane::vrt::sparse::gpu::kernels {

// The index bases of input and output and whether values are conjugated on the way.
template <typename I>
struct transpose_frame {
  I in_index;
  I out_index;
  bool conj;
};

// A cursor advanced by one work-item alone, and one that work-items share.
struct plain_cursor {
  template <typename I>
  I operator()(I& cursor) const {
    return cursor++;
  }
};
struct atomic_cursor {
  template <typename I>
  I operator()(I& cursor) const {
    return sycl::atomic_ref<I, sycl::memory_order::relaxed, sycl::memory_scope::device>(cursor)
        .fetch_add(I(1));
  }
};

// Counts the entries of input row r into ptr[col + 1], with `advance` on each count.
template <typename I, typename Advance>
void count_row(std::int64_t r, const I* rows, const I* cols, I* ptr, I in_index, Advance advance) {
  for (I j = rows[r] - in_index; j < rows[r + 1] - in_index; ++j)
    advance(ptr[cols[j] - in_index + 1]);
}

// Moves the entries of input row r to their slots, advancing the per-column cursors; vals null
// moves the structure only.
template <typename T, typename I, typename Advance>
void scatter_row(std::int64_t r, const I* rows, const I* cols, I* cursor, I* out_cols,
                 const T* vals, T* out_vals, const transpose_frame<I>& f, Advance advance) {
  for (I j = rows[r] - f.in_index; j < rows[r + 1] - f.in_index; ++j) {
    const I pos = advance(cursor[cols[j] - f.in_index]);
    out_cols[pos] = static_cast<I>(r) + f.out_index;
    if (vals != nullptr) out_vals[pos] = conjugate_if(vals[j], f.conj);
  }
}

// Each ptr[c] was advanced to the start of the next row: shifts them back by one and adds the
// output base.
template <typename I>
void finalize_row_pointers(I* ptr, std::int64_t out_rows, I out_index) {
  for (std::int64_t c = out_rows; c >= 1; --c) ptr[c] = ptr[c - 1] + out_index;
  ptr[0] = out_index;
}

// All steps in one work-item, in row order: the output rows come out sorted.
template <typename T, typename I>
void transpose_single(std::int64_t nrows, std::int64_t out_rows, const I* rows, const I* cols,
                      I* ptr, I* out_cols, const T* vals, T* out_vals,
                      const transpose_frame<I>& f) {
  for (std::int64_t r = 0; r < nrows; ++r)
    count_row(r, rows, cols, ptr, f.in_index, plain_cursor{});
  for (std::int64_t c = 0; c < out_rows; ++c) ptr[c + 1] += ptr[c];
  for (std::int64_t r = 0; r < nrows; ++r)
    scatter_row(r, rows, cols, ptr, out_cols, vals, out_vals, f, plain_cursor{});
  finalize_row_pointers(ptr, out_rows, f.out_index);
}

}  // namespace orvane::vrt::sparse::gpu::kernels
