// Level-set tests' own analysis: triangles, their symmetric-pattern expansion with the split
// positions and reciprocal diagonal (built on the host, an oracle independent of the library),
// bound to a handle in either memory model, and the coloring read back for inspection.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <hostsycl/hostsycl.hpp>
#include <numeric>
#include <orvane/vrt/sparse.hpp>
#include <random>
#include <tuple>
#include <vector>

#include "containers/containers.hpp"
#include "gpu/triangular/coloring/coloring.hpp"
#include "gpu/triangular/levelset/levelset_trsv.hpp"
#include "handle/handle.hpp"
#include "handle/triangular_data.hpp"
#include "support/device_arrays.hpp"
#include "support/sparse_matrices.hpp"

namespace lvt {

namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;

// One triangle (or any square matrix: entries of the other triangle are dropped on expansion),
// zero based.
template <typename T>
struct triangle_matrix {
  std::int64_t n = 0;
  std::vector<std::tuple<std::int64_t, std::int64_t, T>> entries;  // row, column, value
};

// The symmetric-pattern expansion of the chosen triangle, rows sorted, with the index base.
template <typename T, typename I>
struct expansion {
  std::int64_t n = 0;
  int base = 0;
  std::vector<I> row_ptr, col_ind, lower_end, upper_start;
  std::vector<T> values, inv_diag, diag;
  std::vector<std::int64_t> level;  // the level of each row, from the strict lower part
  std::int64_t num_levels = 0;
};

template <typename T, typename I>
expansion<T, I> expand(const triangle_matrix<T>& m, bool lower, int base) {
  expansion<T, I> e;
  e.n = m.n;
  e.base = base;
  std::vector<std::vector<std::pair<std::int64_t, T>>> rows(static_cast<std::size_t>(m.n));
  e.diag.assign(static_cast<std::size_t>(m.n), T(0));
  for (const auto& [r, c, v] : m.entries) {
    if (r == c) {
      rows[r].push_back({c, v});
      e.diag[r] = v;
    } else if ((c < r) == lower) {
      rows[r].push_back({c, v});
      rows[c].push_back({r, v});
    }
  }
  e.row_ptr.push_back(static_cast<I>(base));
  for (std::int64_t i = 0; i < m.n; ++i) {
    auto& row = rows[i];
    std::sort(row.begin(), row.end(),
              [](const auto& a, const auto& b) { return a.first < b.first; });
    const auto start = static_cast<std::int64_t>(e.col_ind.size());
    std::int64_t le = start, us = start;
    for (const auto& [c, v] : row) {
      if (c < i) le = us = static_cast<std::int64_t>(e.col_ind.size()) + 1;
      if (c == i) us = static_cast<std::int64_t>(e.col_ind.size()) + 1;
      e.col_ind.push_back(static_cast<I>(c + base));
      e.values.push_back(v);
    }
    e.lower_end.push_back(static_cast<I>(le + base));
    e.upper_start.push_back(static_cast<I>(us + base));
    e.row_ptr.push_back(static_cast<I>(e.col_ind.size() + base));
  }
  e.inv_diag.resize(static_cast<std::size_t>(m.n));
  for (std::int64_t i = 0; i < m.n; ++i)
    e.inv_diag[i] = e.diag[i] == T(0) ? T(0) : T(1) / e.diag[i];
  // Levels: one more than the highest level among the lower neighbours.
  e.level.assign(static_cast<std::size_t>(m.n), 0);
  for (std::int64_t i = 0; i < m.n; ++i) {
    for (I k = e.row_ptr[i] - base; k < e.lower_end[i] - base; ++k)
      e.level[i] = std::max(e.level[i], e.level[e.col_ind[k] - base] + 1);
    e.num_levels = std::max(e.num_levels, e.level[i] + 1);
  }
  if (m.n == 0) e.num_levels = 1;
  return e;
}

// ---- generated triangles (lower; use transpose_of for the upper form) --------------------

template <typename T>
T make_value(std::mt19937& rng) {
  return vrt_test::random_value<T>(rng);
}

// Lower triangle whose levels have the given widths: every row of a level depends on one or two
// rows of the level before. Diagonal entries dominate the rows.
template <typename T>
triangle_matrix<T> levels_triangle(const std::vector<std::int64_t>& widths, unsigned seed,
                                   bool with_diagonal = true) {
  std::mt19937 rng(seed);
  triangle_matrix<T> m;
  std::int64_t prev_start = 0, prev_width = 0;
  for (std::int64_t w : widths) {
    for (std::int64_t j = 0; j < w; ++j) {
      const std::int64_t r = m.n + j;
      if (prev_width > 0) {
        m.entries.push_back({r, prev_start + j % prev_width, make_value<T>(rng)});
        if (prev_width > 1 && (j % 3) == 0)
          m.entries.push_back({r, prev_start + (j + 1) % prev_width, make_value<T>(rng)});
      }
      if (with_diagonal) m.entries.push_back({r, r, T(4) + make_value<T>(rng)});
    }
    prev_start = m.n;
    prev_width = w;
    m.n += w;
  }
  return m;
}

// Random lower triangle with a dominant diagonal.
template <typename T>
triangle_matrix<T> random_triangle(std::int64_t n, int per_row, unsigned seed) {
  std::mt19937 rng(seed);
  triangle_matrix<T> m;
  m.n = n;
  for (std::int64_t r = 0; r < n; ++r) {
    if (r > 0)
      for (int k = 0; k < per_row; ++k)
        m.entries.push_back(
            {r, std::uniform_int_distribution<std::int64_t>(0, r - 1)(rng), make_value<T>(rng)});
    m.entries.push_back({r, r, T(2 + per_row) + make_value<T>(rng)});
  }
  // Duplicate coordinates would make two entries; keep the first of each.
  std::sort(m.entries.begin(), m.entries.end(), [](const auto& a, const auto& b) {
    return std::tie(std::get<0>(a), std::get<1>(a)) < std::tie(std::get<0>(b), std::get<1>(b));
  });
  m.entries.erase(std::unique(m.entries.begin(), m.entries.end(),
                              [](const auto& a, const auto& b) {
                                return std::get<0>(a) == std::get<0>(b) &&
                                       std::get<1>(a) == std::get<1>(b);
                              }),
                  m.entries.end());
  return m;
}

// Lower triangle of the 5-point Laplacian on a k by k grid (diagonal 4, neighbours -1).
template <typename T>
triangle_matrix<T> laplacian_lower(std::int64_t k) {
  triangle_matrix<T> m;
  m.n = k * k;
  for (std::int64_t i = 0; i < k; ++i)
    for (std::int64_t j = 0; j < k; ++j) {
      const std::int64_t r = i * k + j;
      if (i > 0) m.entries.push_back({r, r - k, T(-1)});
      if (j > 0) m.entries.push_back({r, r - 1, T(-1)});
      m.entries.push_back({r, r, T(4)});
    }
  return m;
}

template <typename T>
triangle_matrix<T> transpose_of(const triangle_matrix<T>& m) {
  triangle_matrix<T> t = m;
  for (auto& [r, c, v] : t.entries) std::swap(r, c);
  return t;
}

// ---- binding to a handle -----------------------------------------------------------------

template <typename E, vs::containerType C>
void* upload(sycl::queue& q, const std::vector<E>& v) {
  return vrt_test::library_container<E>(q, v, C);
}

// A container the coloring did not make reads as zeros.
template <typename E, vs::containerType C>
std::vector<E> fetch(sycl::queue& q, void* p, std::size_t count) {
  if (p == nullptr) return std::vector<E>(count);
  return vrt_test::read_container<E>(q, p, C, count);
}

// A handle bound to the expansion (user arrays owned here), with the diagonal records the
// analysis would have made hung in its slots, so that its release frees them.
template <typename T, typename I, vs::containerType C>
struct bound_expansion {
  sycl::queue& q;
  vs::matrix_handle* h = nullptr;
  void* row_ptr = nullptr;
  void* col_ind = nullptr;
  void* values = nullptr;
  bool lower;

  bound_expansion(sycl::queue& queue, const expansion<T, I>& e, bool lower_side)
      : q(queue), lower(lower_side) {
    vs::init_matrix_handle(&h);
    row_ptr = upload<I, C>(q, e.row_ptr);
    col_ind = upload<I, C>(q, e.col_ind);
    values = upload<T, C>(q, e.values);
    const auto base = static_cast<vrt::index_base>(e.base);
    const auto n = static_cast<I>(e.n);
    if constexpr (C == vs::container_usm)
      vs::set_csr_data(q, h, n, n, base, static_cast<I*>(row_ptr), static_cast<I*>(col_ind),
                       static_cast<T*>(values), {})
          .wait();
    else
      vs::set_csr_data(q, h, n, n, base, *static_cast<sycl::buffer<I, 1>*>(row_ptr),
                       *static_cast<sycl::buffer<I, 1>*>(col_ind),
                       *static_cast<sycl::buffer<T, 1>*>(values));
    vs::cache_context(q, h);
    h->primary->sorted = 1;
    void* dv = nullptr;
    vs::initDiagonalValuesData(&dv);
    auto* values_record = static_cast<vs::diagonalValuesData*>(dv);
    values_record->inv_diag = upload<T, C>(q, e.inv_diag);
    values_record->diag = upload<T, C>(q, e.diag);
    h->diag_values = values_record;
    void* ds = nullptr;
    vs::initDiagonalStructData(&ds);
    auto* struct_record = static_cast<vs::diagonalStructData*>(ds);
    struct_record->lower_end = upload<I, C>(q, e.lower_end);
    struct_record->upper_start = upload<I, C>(q, e.upper_start);
    (lower ? h->diag_struct_lower : h->diag_struct_upper) = struct_record;
  }

  vs::coloringData** slot() { return lower ? &h->coloring_lower : &h->coloring_upper; }

  sycl::event color(const std::vector<sycl::event>& deps = {}) {
    return vs::gpu::coloring_impl<T, I, C>(q, h->primary, h->diag_values,
                                           lower ? h->diag_struct_lower : h->diag_struct_upper,
                                           slot(), deps);
  }

  ~bound_expansion() {
    q.wait();
    if constexpr (C == vs::container_usm)
      vs::release_matrix_handle(q, &h, {}).wait();
    else
      vs::release_matrix_handle(&h);
    vs::deallocate_container<I>(row_ptr, q, C);
    vs::deallocate_container<I>(col_ind, q, C);
    vs::deallocate_container<T>(values, q, C);
  }
};

// The coloring as the host sees it.
template <typename T, typename I>
struct coloring_snapshot {
  std::int64_t nrows;
  int sync_mode, head, tail, num_colors, num_chunks, max_chunks;
  std::vector<I> color_ptr_host, color_ptr_device, row_of_position, position_of_row;
  std::vector<I> chunk_start, chunk_color, chunks_per_color;
  std::vector<I> chunk_start_device, chunk_color_device, chunks_per_color_device;
  std::vector<T> inv_diag_colored;
  std::vector<I> lower_ptr, lower_col, upper_ptr, upper_col;
  std::vector<T> lower_val, upper_val;
  bool counters_allocated;
};

template <typename T, typename I, vs::containerType C>
coloring_snapshot<T, I> snapshot(sycl::queue& q, const vs::coloringData& d) {
  coloring_snapshot<T, I> s;
  const auto n = static_cast<std::size_t>(d.nrows);
  s.nrows = d.nrows;
  s.sync_mode = d.sync_mode;
  s.head = d.head_colors;
  s.tail = d.tail_colors;
  s.num_colors = d.num_colors;
  s.num_chunks = d.num_chunks;
  s.max_chunks = d.max_chunks_per_color;
  // An empty matrix has one empty color: two entries.
  const std::size_t color_entries = std::max<std::size_t>(n + 1, 2);
  s.color_ptr_host = fetch<I, C>(q, d.color_ptr_host, color_entries);
  s.color_ptr_device = fetch<I, C>(q, d.color_ptr_device, color_entries);
  s.row_of_position = fetch<I, C>(q, d.row_of_position, n);
  s.position_of_row = fetch<I, C>(q, d.position_of_row, n);
  const auto chunks = static_cast<std::size_t>(d.num_chunks);
  const auto colors = static_cast<std::size_t>(d.num_colors);
  if (d.chunk_start_host != nullptr) {
    s.chunk_start = fetch<I, C>(q, d.chunk_start_host, chunks + 1);
    s.chunk_color = fetch<I, C>(q, d.chunk_color_host, chunks);
    s.chunks_per_color = fetch<I, C>(q, d.chunks_per_color_host, colors);
    s.chunk_start_device = fetch<I, C>(q, d.chunk_start_device, chunks + 1);
    s.chunk_color_device = fetch<I, C>(q, d.chunk_color_device, chunks);
    s.chunks_per_color_device = fetch<I, C>(q, d.chunks_per_color_device, colors);
  }
  s.counters_allocated = d.color_counters != nullptr && d.chunk_ticket != nullptr;
  s.inv_diag_colored = fetch<T, C>(q, d.inv_diag_colored, n);
  s.lower_ptr = fetch<I, C>(q, d.lower_ptr, n + 1);
  s.upper_ptr = fetch<I, C>(q, d.upper_ptr, n + 1);
  s.lower_col = fetch<I, C>(q, d.lower_col, static_cast<std::size_t>(s.lower_ptr[n]));
  s.lower_val = fetch<T, C>(q, d.lower_val, static_cast<std::size_t>(s.lower_ptr[n]));
  s.upper_col = fetch<I, C>(q, d.upper_col, static_cast<std::size_t>(s.upper_ptr[n]));
  s.upper_val = fetch<T, C>(q, d.upper_val, static_cast<std::size_t>(s.upper_ptr[n]));
  return s;
}

// ---- reference solve -----------------------------------------------------------------------

// alpha x = T y for the chosen triangle of the matrix, rows in order (lower) or reverse (upper).
template <typename T>
std::vector<T> reference_solve(const triangle_matrix<T>& m, bool lower, bool unit, T alpha,
                               const std::vector<T>& x) {
  std::vector<std::vector<std::pair<std::int64_t, T>>> rows(static_cast<std::size_t>(m.n));
  std::vector<T> diag(static_cast<std::size_t>(m.n), T(0));
  for (const auto& [r, c, v] : m.entries) {
    if (r == c)
      diag[r] = v;
    else if ((c < r) == lower)
      rows[r].push_back({c, v});
  }
  std::vector<T> y(static_cast<std::size_t>(m.n));
  for (std::int64_t s = 0; s < m.n; ++s) {
    const std::int64_t r = lower ? s : m.n - 1 - s;
    T t = x[r] * alpha;
    for (const auto& [c, v] : rows[r]) t -= v * y[c];
    y[r] = unit ? t : t / diag[r];
  }
  return y;
}

}  // namespace lvt
