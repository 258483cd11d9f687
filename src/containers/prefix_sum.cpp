// The inclusive scan: a Hillis-Steele scan per work-group in local memory, recursing over the
// group sums when the array spans several groups.
#include "containers/prefix_sum.hpp"

#include <algorithm>
#include <type_traits>

#include <orvane/vrt/sparse.hpp>

#include "containers/containers.hpp"

namespace orvane::vrt::sparse {

template <typename I, typename Memory>
class prefix_sum_final_scan_kernel;
template <typename I, typename Memory>
class prefix_sum_subdivide_kernel;
template <typename I, typename Memory>
class prefix_sum_join_kernel;
struct usm_memory;
struct buffer_memory;
template <typename I>
class copy_and_adjust_indexing_kernel;

using prefix_sum_final_scan_i4_usm = prefix_sum_final_scan_kernel<int, usm_memory>;
using prefix_sum_final_scan_i8_usm = prefix_sum_final_scan_kernel<long, usm_memory>;
using prefix_sum_final_scan_i4_buf = prefix_sum_final_scan_kernel<int, buffer_memory>;
using prefix_sum_final_scan_i8_buf = prefix_sum_final_scan_kernel<long, buffer_memory>;
using prefix_sum_subdivide_i4_usm = prefix_sum_subdivide_kernel<int, usm_memory>;
using prefix_sum_subdivide_i8_usm = prefix_sum_subdivide_kernel<long, usm_memory>;
using prefix_sum_subdivide_i4_buf = prefix_sum_subdivide_kernel<int, buffer_memory>;
using prefix_sum_subdivide_i8_buf = prefix_sum_subdivide_kernel<long, buffer_memory>;
using prefix_sum_join_i4_usm = prefix_sum_join_kernel<int, usm_memory>;
using prefix_sum_join_i8_usm = prefix_sum_join_kernel<long, usm_memory>;
using prefix_sum_join_i4_buf = prefix_sum_join_kernel<int, buffer_memory>;
using prefix_sum_join_i8_buf = prefix_sum_join_kernel<long, buffer_memory>;

namespace {

// How a scan reaches its arrays: USM pointers as they are, buffers through accessors made in
// the command group. The kernels below are written once over what these return.
template <typename I>
struct usm_arrays {
  using memory = usm_memory;
  I* data;
  long* total;
  I* view(sycl::handler&) const { return data; }
  long* total_view(sycl::handler&) const { return total; }
};
template <typename I>
struct buffer_arrays {
  using memory = buffer_memory;
  sycl::buffer<I, 1>* data;
  sycl::buffer<long, 1>* total;
  auto view(sycl::handler& h) const { return sycl::accessor(*data, h, sycl::read_write); }
  auto total_view(sycl::handler& h) const { return sycl::accessor(*total, h, sycl::write_only); }
};

struct scan_shape {
  std::size_t count, local, groups, global;
  int steps;
};

scan_shape shape_of(const sycl::queue& queue, std::size_t count) {
  const std::size_t local =
      std::min<std::size_t>(queue.get_device().get_info<sycl::info::device::max_work_group_size>(), 1024);
  const std::size_t groups = (count + local - 1) / local;
  int steps = 0;
  while ((std::size_t{1} << steps) < local) ++steps;
  return {count, local, groups, groups * local, steps};
}

// Inclusive scan of one work-group's slice in scratch; the read and the write of each round are
// separated by a barrier, so no second array is needed.
template <typename I, typename Scratch>
void scan_in_group(const sycl::nd_item<1>& it, const Scratch& scratch, int steps) {
  const std::size_t l = it.get_local_id(0);
  for (int r = 0; r < steps; ++r) {
    const std::size_t stride = std::size_t{1} << r;
    I v = scratch[l];
    if (stride <= l) v += scratch[l - stride];
    sycl::group_barrier(it.get_group());
    scratch[l] = v;
    sycl::group_barrier(it.get_group());
  }
}

// Scans the work-group's slice of data in place (elements past count read as zero).
template <typename I, typename Data, typename Scratch>
void scan_slice(const sycl::nd_item<1>& it, const Data& data, const Scratch& scratch,
                std::size_t count, int steps) {
  const std::size_t g = it.get_global_id(0), l = it.get_local_id(0);
  scratch[l] = g < count ? data[g] : I(0);
  sycl::group_barrier(it.get_group());
  scan_in_group<I>(it, scratch, steps);
  if (g < count) data[g] = scratch[l];
}

template <typename I, typename Arrays>
sycl::event submit_final_scan(sycl::queue& queue, const Arrays& arrays, const scan_shape& s,
                              const std::vector<sycl::event>& deps) {
  return queue.submit([&](sycl::handler& h) {
    h.depends_on(deps);
    auto data = arrays.view(h);
    auto total = arrays.total_view(h);
    sycl::local_accessor<I, 1> scratch(sycl::range<1>(s.local), h);
    const std::size_t count = s.count;
    const int steps = s.steps;
    h.parallel_for<prefix_sum_final_scan_kernel<I, typename Arrays::memory>>(
        sycl::nd_range<1>(s.global, s.local), [=](sycl::nd_item<1> it) {
          const std::size_t g = it.get_global_id(0), l = it.get_local_id(0);
          scan_slice<I>(it, data, scratch, count, steps);
          if (g == count - 1) total[0] = static_cast<long>(scratch[l]);
        });
  });
}

template <typename I, typename Arrays, typename Partial>
sycl::event submit_subdivide(sycl::queue& queue, const Arrays& arrays, const Partial& partial,
                             const scan_shape& s, const std::vector<sycl::event>& deps) {
  return queue.submit([&](sycl::handler& h) {
    h.depends_on(deps);
    auto data = arrays.view(h);
    auto sums = partial.view(h);
    sycl::local_accessor<I, 1> scratch(sycl::range<1>(s.local), h);
    const std::size_t count = s.count, local = s.local;
    const int steps = s.steps;
    h.parallel_for<prefix_sum_subdivide_kernel<I, typename Arrays::memory>>(
        sycl::nd_range<1>(s.global, s.local), [=](sycl::nd_item<1> it) {
          const std::size_t g = it.get_global_id(0), l = it.get_local_id(0);
          scan_slice<I>(it, data, scratch, count, steps);
          if (l == 0) sums[it.get_group(0) + 1] = scratch[local - 1];
          if (g == 0) sums[0] = I(0);
        });
  });
}

template <typename I, typename Arrays, typename Partial>
sycl::event submit_join(sycl::queue& queue, const Arrays& arrays, const Partial& partial,
                        const scan_shape& s, const std::vector<sycl::event>& deps) {
  return queue.submit([&](sycl::handler& h) {
    h.depends_on(deps);
    auto data = arrays.view(h);
    auto total = arrays.total_view(h);
    auto sums = partial.view(h);
    const std::size_t count = s.count;
    h.parallel_for<prefix_sum_join_kernel<I, typename Arrays::memory>>(
        sycl::nd_range<1>(s.global, s.local), [=](sycl::nd_item<1> it) {
          const std::size_t g = it.get_global_id(0);
          if (g < count) data[g] += sums[it.get_group(0)];
          if (g == count - 1) total[0] = static_cast<long>(data[g]);
        });
  });
}

template <typename I, typename Arrays>
sycl::event scan(sycl::queue& queue, const Arrays& arrays, std::size_t count,
                 containerType container, const std::vector<sycl::event>& deps) {
  // Buffers order themselves; only a USM container honours the caller's events.
  const std::vector<sycl::event> none;
  const std::vector<sycl::event>& wait_for = container == container_usm ? deps : none;
  if (count == 0) {
    return queue.submit([&](sycl::handler& h) {
      h.depends_on(wait_for);
      auto total = arrays.total_view(h);
      h.single_task([=] { total[0] = 0; });
    });
  }
  const scan_shape s = shape_of(queue, count);
  if (s.groups == 1) return submit_final_scan<I>(queue, arrays, s, wait_for);

  void* partial = allocate_device_container<I>(s.groups + 1, queue, container);
  if (partial == nullptr) throw device_bad_alloc("sparse", "", queue.get_device());
  sycl::event joined;
  try {
    if constexpr (std::is_same_v<Arrays, usm_arrays<I>>) {
      const usm_arrays<I> sums{static_cast<I*>(partial), arrays.total};
      auto split = submit_subdivide<I>(queue, arrays, sums, s, wait_for);
      auto scanned = scan<I>(queue, sums, s.groups + 1, container, {split});
      joined = submit_join<I>(queue, arrays, sums, s, {scanned});
    } else {
      const buffer_arrays<I> sums{static_cast<sycl::buffer<I, 1>*>(partial), arrays.total};
      auto split = submit_subdivide<I>(queue, arrays, sums, s, wait_for);
      auto scanned = scan<I>(queue, sums, s.groups + 1, container, {split});
      joined = submit_join<I>(queue, arrays, sums, s, {scanned});
    }
    joined.wait();
  } catch (...) {
    queue.wait();
    deallocate_container<I>(partial, queue, container);
    throw;
  }
  deallocate_container<I>(partial, queue, container);
  return joined;
}

}  // namespace

sycl::event prefix_sum(sycl::queue& queue, int* data, std::size_t count, containerType container,
                       long* total, const std::vector<sycl::event>& deps) {
  return scan<int>(queue, usm_arrays<int>{data, total}, count, container, deps);
}
sycl::event prefix_sum(sycl::queue& queue, long* data, std::size_t count,
                       containerType container, long* total,
                       const std::vector<sycl::event>& deps) {
  return scan<long>(queue, usm_arrays<long>{data, total}, count, container, deps);
}
sycl::event prefix_sum(sycl::queue& queue, sycl::buffer<int, 1>* data, std::size_t count,
                       containerType container, sycl::buffer<long, 1>* total,
                       const std::vector<sycl::event>& deps) {
  return scan<int>(queue, buffer_arrays<int>{data, total}, count, container, deps);
}
sycl::event prefix_sum(sycl::queue& queue, sycl::buffer<long, 1>* data, std::size_t count,
                       containerType container, sycl::buffer<long, 1>* total,
                       const std::vector<sycl::event>& deps) {
  return scan<long>(queue, buffer_arrays<long>{data, total}, count, container, deps);
}

template <typename I>
sycl::event copy_and_adjust_indexing(sycl::queue& queue, I index_a, I index_b, I index_c,
                                     const I* src, I* dst, std::size_t count,
                                     containerType /*USM is the only form so far*/,
                                     const std::vector<sycl::event>& deps) {
  const I delta = index_c - (index_a & index_b);
  if (delta == 0) return copy_container<I>(queue, src, dst, count, deps);
  return queue.submit([&](sycl::handler& h) {
    h.depends_on(deps);
    h.parallel_for<copy_and_adjust_indexing_kernel<I>>(sycl::range<1>(count),
                                                       [=](sycl::id<1> i) { dst[i] = src[i] + delta; });
  });
}

template sycl::event copy_and_adjust_indexing<int>(sycl::queue&, int, int, int, const int*, int*,
                                                   std::size_t, containerType,
                                                   const std::vector<sycl::event>&);
template sycl::event copy_and_adjust_indexing<long>(sycl::queue&, long, long, long, const long*,
                                                    long*, std::size_t, containerType,
                                                    const std::vector<sycl::event>&);

}  // namespace orvane::vrt::sparse
