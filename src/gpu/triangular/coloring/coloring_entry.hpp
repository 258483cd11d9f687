// Level-set coloring on the device: levels by frontier steps (one host synchronisation per
// color), the permutation into color order, and the coloured strict parts the solves read.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <orvane/vrt/sparse.hpp>
#include <utility>
#include <vector>

#include "common/variants.hpp"
#include "containers/atomic_targets.hpp"
#include "containers/containers.hpp"
#include "containers/prefix_sum.hpp"
#include "gpu/triangular/coloring/color_plan.hpp"
#include "gpu/triangular/coloring/coloring.hpp"
#include "gpu/triangular/coloring/coloring_kernel.hpp"
#include "gpu/triangular/coloring/host_staging.hpp"
#include "gpu/triangular/coloring/level_launch.hpp"
#include "gpu/triangular/design_names.hpp"
#include "handle/coalesce_events.hpp"
#include "handle/triangular_data.hpp"
#include "platform/device_info.hpp"

namespace orvane::vrt::sparse::gpu {

namespace coloring_detail {

// Below this many rows one work-item lays out the coloured rows: cheaper than two scans.
inline constexpr std::size_t single_item_layout_rows = 257;
// The word also when optimize_trsm is the caller.
inline constexpr const char* word = triangular_names::optimize_trsv;

// Containers of one coloring call: the record under construction and the temporaries. Unless
// the call completes, the destructor frees all of them once the queue's work is done.
template <typename T, typename I, containerType C>
struct coloring_allocations {
  sycl::queue& queue;
  void* record = nullptr;
  void* in_degree = nullptr;
  void* counter = nullptr;
  void* lower_total = nullptr;
  void* upper_total = nullptr;
  bool kept = false;

  ~coloring_allocations() {
    if (!kept) {
      queue.wait();
      const sycl::context context = queue.get_context();
      coloringDataRelease<T, I>(&record, &context, C);
    }
    release_temporaries();
  }
  void release_temporaries() {
    const sycl::context context = queue.get_context();
    for (void** p : {&in_degree, &counter}) {
      if (*p != nullptr) deallocate_container<I>(*p, context, C);
      *p = nullptr;
    }
    for (void** p : {&lower_total, &upper_total}) {
      if (*p != nullptr) deallocate_container<long>(*p, context, C);
      *p = nullptr;
    }
  }
  coloringData* data() const { return static_cast<coloringData*>(record); }
};

// Allocates count (at least one) elements; device_bad_alloc when the memory cannot be had, or
// host_bad_alloc for the host tables.
template <typename E, containerType C>
void* take(sycl::queue& queue, std::size_t count, bool host) {
  count = std::max<std::size_t>(count, 1);
  if (!host) return allocate_or_throw<E>(count, queue, C, word);
  void* p = allocate_host_container<E>(count, queue, C);
  if (p == nullptr) throw host_bad_alloc("sparse", word);
  return p;
}

// The same for an array that kernels update with atomics: device memory or nothing.
template <typename E, containerType C>
void* take_atomic(sycl::queue& queue, std::size_t count) {
  return allocate_atomic_or_throw<E>(std::max<std::size_t>(count, 1), queue, C, word);
}

// A device copy of a host table: a USM array of its own, the host buffer itself for buffers.
template <typename E, containerType C>
void* device_copy_of(sycl::queue& queue, void* host, std::size_t count) {
  if constexpr (C == container_usm)
    return take<E, C>(queue, count, false);
  else
    return host;
}

template <typename T, typename I, containerType C>
sycl::event submit_coloring5(sycl::queue& queue, const level_arrays<I, C>& a,
                             sparseStructure* matrix, container_t<C, T> inv_diag,
                             const coloringData& d, const std::vector<sycl::event>& deps) {
  return queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, deps);
    auto rp = bind(h, a.row_ptr, sycl::read_only);
    auto ci = bind(h, a.col_ind, sycl::read_only);
    auto va = bind(h, as_container<C, T>(matrix->values), sycl::read_only);
    auto le = bind(h, a.lower_end, sycl::read_only);
    auto us = bind(h, a.upper_start, sycl::read_only);
    auto rop = bind(h, a.row_of_position, sycl::read_only);
    auto por = bind(h, a.position_of_row, sycl::read_only);
    auto inv = bind(h, inv_diag, sycl::read_only);
    auto inv_c = bind(h, as_container<C, T>(d.inv_diag_colored), sycl::write_only);
    auto lp = bind(h, as_container<C, I>(d.lower_ptr), sycl::read_only);
    auto lc = bind(h, as_container<C, I>(d.lower_col), sycl::write_only);
    auto lv = bind(h, as_container<C, T>(d.lower_val), sycl::write_only);
    auto up = bind(h, as_container<C, I>(d.upper_ptr), sycl::read_only);
    auto uc = bind(h, as_container<C, I>(d.upper_col), sycl::write_only);
    auto uv = bind(h, as_container<C, T>(d.upper_val), sycl::write_only);
    const I base = a.index;
    h.parallel_for<kernels::coloring5<T, I, C>>(sycl::range<1>(a.nrows), [=](sycl::id<1> id) {
      kernels::lay_out_position<T, I>(
          id[0], {raw(rp), raw(ci), raw(va), raw(le), raw(us), raw(rop), raw(por), raw(inv),
                  raw(inv_c), raw(lp), raw(lc), raw(lv), raw(up), raw(uc), raw(uv), base});
    });
  });
}

}  // namespace coloring_detail

template <typename T, typename I, containerType C>
sycl::event coloring_impl(sycl::queue& queue, sparseStructure* matrix, diagonalValuesData* values,
                          diagonalStructData* positions, coloringData** slot,
                          const std::vector<sycl::event>& dependencies) {
  using namespace coloring_detail;
  if (*slot != nullptr) return coalesce_events(queue, C, dependencies, false);

  coloring_allocations<T, I, C> mem{queue};
  initColoringData(&mem.record);
  coloringData& d = *mem.data();
  const auto n = static_cast<std::size_t>(matrix->nrows);
  d.nrows = matrix->nrows;
  d.container = C;

  d.inv_diag_colored = take<T, C>(queue, n, false);
  d.rhs_colored = take<T, C>(queue, n, false);
  d.sol_colored = take_atomic<T, C>(queue, n);
  // nrows + 1 entries, and at least two: an empty matrix still has one (empty) color.
  const std::size_t color_ptr_length = std::max<std::size_t>(n + 1, 2);
  d.color_ptr_host = take<I, C>(queue, color_ptr_length, true);
  d.row_of_position = take<I, C>(queue, n, false);
  d.position_of_row = take<I, C>(queue, n, false);
  mem.in_degree = take_atomic<I, C>(queue, n);
  mem.counter = take_atomic<I, C>(queue, 1);
  d.lower_ptr = take<I, C>(queue, n + 1, false);
  d.upper_ptr = take<I, C>(queue, n + 1, false);
  mem.lower_total = take<long, C>(queue, 1, false);
  mem.upper_total = take<long, C>(queue, 1, false);
  d.color_ptr_device = device_copy_of<I, C>(queue, d.color_ptr_host, color_ptr_length);

  int architecture_code = 0;
  vrt::gpu::get_architecture(&architecture_code, &queue);
  const level_arrays<I, C> a{n,
                             static_cast<I>(matrix->index),
                             as_container<C, I>(matrix->row_ptr),
                             as_container<C, I>(matrix->col_ind),
                             as_container<C, I>(positions->lower_end),
                             as_container<C, I>(positions->upper_start),
                             as_container<C, I>(mem.in_degree),
                             as_container<C, I>(mem.counter),
                             as_container<C, I>(d.row_of_position),
                             as_container<C, I>(d.position_of_row)};
  if constexpr (C == container_usm)
    queue.memset(a.counter, 0, sizeof(I), dependencies).wait();
  else
    fill_container<I>(queue, a.counter, I(0), 1, {}).wait();

  // Levels: each color is the frontier the previous one released.
  sycl::event step = submit_coloring1<I, C>(queue, a, dependencies);
  std::vector<I> color_ptr{I(0), read_on_host<I, C>(queue, a.counter, {step})};
  while (static_cast<std::size_t>(color_ptr.back()) < n) {
    const std::size_t start = color_ptr[color_ptr.size() - 2];
    const std::size_t width = static_cast<std::size_t>(color_ptr.back()) - start;
    // An empty color releases nothing, so the levels would never cover the rows: the rows the
    // coloring reads as dependents do not mirror the dependencies, as with a symmetric property
    // on a matrix whose pattern is not symmetric.
    if (width == 0) throw computation_error("sparse", word, triangular_names::uncolorable);
    step = submit_coloring2<I, C>(queue, a, start, width, {step});
    color_ptr.push_back(read_on_host<I, C>(queue, a.counter, {step}));
  }
  const auto num_colors = static_cast<std::int32_t>(color_ptr.size() - 1);
  d.num_colors = num_colors;
  const color_classes classes = classify_colors(color_ptr, num_colors, queue.get_device().is_gpu());
  d.head_colors = classes.head;
  d.tail_colors = classes.tail;
  color_ptr.resize(color_ptr_length, static_cast<I>(n));
  write_host<I, C>(as_container<C, I>(d.color_ptr_host), color_ptr);
  std::vector<sycl::event> copies{
      copy_host_to_device<I, C>(queue, as_container<C, I>(d.color_ptr_host),
                                as_container<C, I>(d.color_ptr_device), color_ptr_length)};

  d.sync_mode = sync_mode_for<T>(architecture_from_code(architecture_code));
  if (d.sync_mode == sync_by_atomics && classes.head + classes.tail < num_colors) {
    const chunk_tables<I> t = make_chunk_tables(color_ptr, num_colors, classes);
    d.num_chunks = t.num_chunks;
    d.max_chunks_per_color = t.max_per_color;
    const auto chunks = static_cast<std::size_t>(t.num_chunks);
    const auto colors = static_cast<std::size_t>(num_colors);
    d.chunk_start_host = take<I, C>(queue, chunks + 1, true);
    d.chunk_color_host = take<I, C>(queue, chunks, true);
    d.chunks_per_color_host = take<I, C>(queue, colors, true);
    d.chunk_start_device = device_copy_of<I, C>(queue, d.chunk_start_host, chunks + 1);
    d.chunk_color_device = device_copy_of<I, C>(queue, d.chunk_color_host, chunks);
    d.chunks_per_color_device = device_copy_of<I, C>(queue, d.chunks_per_color_host, colors);
    d.color_counters = take_atomic<I, C>(queue, colors + 1);
    d.chunk_ticket = take_atomic<I, C>(queue, 1);
    const std::pair<void * coloringData::*, const std::vector<I>*> tables[] = {
        {&coloringData::chunk_start_host, &t.start},
        {&coloringData::chunk_color_host, &t.color},
        {&coloringData::chunks_per_color_host, &t.per_color}};
    const std::pair<void * coloringData::*, void * coloringData::*> copies_of[] = {
        {&coloringData::chunk_start_host, &coloringData::chunk_start_device},
        {&coloringData::chunk_color_host, &coloringData::chunk_color_device},
        {&coloringData::chunks_per_color_host, &coloringData::chunks_per_color_device}};
    for (const auto& entry : tables)
      write_host<I, C>(as_container<C, I>(d.*entry.first), *entry.second);
    for (std::size_t k = 0; k < 3; ++k)
      copies.push_back(copy_host_to_device<I, C>(queue, as_container<C, I>(d.*copies_of[k].first),
                                                 as_container<C, I>(d.*copies_of[k].second),
                                                 tables[k].second->size()));
  }

  // Row starts of the coloured strict parts.
  auto lower_ptr = as_container<C, I>(d.lower_ptr);
  auto upper_ptr = as_container<C, I>(d.upper_ptr);
  auto lower_total = as_container<C, long>(mem.lower_total);
  auto upper_total = as_container<C, long>(mem.upper_total);
  sycl::event lower_done, upper_done;
  if (n < single_item_layout_rows) {
    lower_done = upper_done =
        submit_coloring4<I, C>(queue, a, lower_ptr, upper_ptr, lower_total, upper_total, {step});
  } else {
    const sycl::event lengths = submit_coloring3<I, C>(queue, a, lower_ptr, upper_ptr, {step});
    lower_done = prefix_sum(queue, lower_ptr, n + 1, C, lower_total, {lengths});
    upper_done = prefix_sum(queue, upper_ptr, n + 1, C, upper_total, {lengths});
  }
  const long lower_nnz = read_on_host<long, C>(queue, lower_total, {lower_done});
  const long upper_nnz = read_on_host<long, C>(queue, upper_total, {upper_done});
  d.lower_col = take<I, C>(queue, static_cast<std::size_t>(lower_nnz), false);
  d.lower_val = take<T, C>(queue, static_cast<std::size_t>(lower_nnz), false);
  d.upper_col = take<I, C>(queue, static_cast<std::size_t>(upper_nnz), false);
  d.upper_val = take<T, C>(queue, static_cast<std::size_t>(upper_nnz), false);

  const sycl::event laid_out = submit_coloring5<T, I, C>(
      queue, a, matrix, as_container<C, T>(values->inv_diag), d, {lower_done, upper_done});
  copies.push_back(laid_out);
  for (auto& e : copies) e.wait();
  mem.kept = true;
  *slot = mem.data();
  return laid_out;
}

}  // namespace orvane::vrt::sparse::gpu

#define VRT_INSTANTIATE_GPU_COLORING(T, I, C)                                             \
  template sycl::event orvane::vrt::sparse::gpu::coloring_impl<T, I, C>(                  \
      sycl::queue&, orvane::vrt::sparse::sparseStructure*,                                \
      orvane::vrt::sparse::diagonalValuesData*, orvane::vrt::sparse::diagonalStructData*, \
      orvane::vrt::sparse::coloringData**, const std::vector<sycl::event>&);
