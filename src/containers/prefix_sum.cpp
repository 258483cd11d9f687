// The inclusive scan: a Hillis-Steele scan per work-group in local memory, recursing over the
// group sums when the array spans several groups.
#include "containers/prefix_sum.hpp"

#include <algorithm>
#include <orvane/vrt/sparse.hpp>
#include <type_traits>

#include "containers/containers.hpp"
#include "containers/views.hpp"

namespace orvane::vrt::sparse {

template <typename I, containerType C>
class prefix_sum_final_scan_kernel;
template <typename I, containerType C>
class prefix_sum_subdivide_kernel;
template <typename I, containerType C>
class prefix_sum_join_kernel;
template <typename I, containerType C>
class prefix_sum_empty_kernel;
template <typename I>
class copy_and_adjust_indexing_kernel;

namespace {

// Largest work-group a scan uses, whatever the device allows.
constexpr std::size_t scan_group_cap = 1024;

struct scan_shape {
  std::size_t count, local, groups, global;
  int steps;
};

scan_shape shape_of(const sycl::queue& queue, std::size_t count) {
  const std::size_t local = std::min<std::size_t>(
      queue.get_device().get_info<sycl::info::device::max_work_group_size>(), scan_group_cap);
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
template <typename I, typename Scratch>
void scan_slice(const sycl::nd_item<1>& it, I* data, const Scratch& scratch, std::size_t count,
                int steps) {
  const std::size_t g = it.get_global_id(0), l = it.get_local_id(0);
  scratch[l] = g < count ? data[g] : I(0);
  sycl::group_barrier(it.get_group());
  scan_in_group<I>(it, scratch, steps);
  if (g < count) data[g] = scratch[l];
}

template <typename I, containerType C>
sycl::event submit_final_scan(sycl::queue& queue, container_t<C, I> data,
                              container_t<C, long> total, const scan_shape& s,
                              const std::vector<sycl::event>& deps) {
  return queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, deps);
    auto d = bind(h, data, sycl::read_write);
    auto t = bind(h, total, sycl::write_only);
    sycl::local_accessor<I, 1> scratch(sycl::range<1>(s.local), h);
    const std::size_t count = s.count;
    const int steps = s.steps;
    h.parallel_for<prefix_sum_final_scan_kernel<I, C>>(
        sycl::nd_range<1>(s.global, s.local), [=](sycl::nd_item<1> it) {
          const std::size_t g = it.get_global_id(0), l = it.get_local_id(0);
          scan_slice<I>(it, raw(d), scratch, count, steps);
          if (g == count - 1) raw(t)[0] = static_cast<long>(scratch[l]);
        });
  });
}

template <typename I, containerType C>
sycl::event submit_subdivide(sycl::queue& queue, container_t<C, I> data, container_t<C, I> partial,
                             const scan_shape& s, const std::vector<sycl::event>& deps) {
  return queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, deps);
    auto d = bind(h, data, sycl::read_write);
    auto sums = bind(h, partial, sycl::write_only);
    sycl::local_accessor<I, 1> scratch(sycl::range<1>(s.local), h);
    const std::size_t count = s.count, local = s.local;
    const int steps = s.steps;
    h.parallel_for<prefix_sum_subdivide_kernel<I, C>>(
        sycl::nd_range<1>(s.global, s.local), [=](sycl::nd_item<1> it) {
          const std::size_t g = it.get_global_id(0), l = it.get_local_id(0);
          scan_slice<I>(it, raw(d), scratch, count, steps);
          if (l == 0) raw(sums)[it.get_group(0) + 1] = scratch[local - 1];
          if (g == 0) raw(sums)[0] = I(0);
        });
  });
}

template <typename I, containerType C>
sycl::event submit_join(sycl::queue& queue, container_t<C, I> data, container_t<C, I> partial,
                        container_t<C, long> total, const scan_shape& s,
                        const std::vector<sycl::event>& deps) {
  return queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, deps);
    auto d = bind(h, data, sycl::read_write);
    auto t = bind(h, total, sycl::write_only);
    auto sums = bind(h, partial, sycl::read_only);
    const std::size_t count = s.count;
    h.parallel_for<prefix_sum_join_kernel<I, C>>(sycl::nd_range<1>(s.global, s.local),
                                                 [=](sycl::nd_item<1> it) {
                                                   const std::size_t g = it.get_global_id(0);
                                                   if (g < count)
                                                     raw(d)[g] += raw(sums)[it.get_group(0)];
                                                   if (g == count - 1)
                                                     raw(t)[0] = static_cast<long>(raw(d)[g]);
                                                 });
  });
}

template <typename I, containerType C>
sycl::event scan(sycl::queue& queue, container_t<C, I> data, std::size_t count,
                 container_t<C, long> total, const std::vector<sycl::event>& deps) {
  if (count == 0) {
    return queue.submit([&](sycl::handler& h) {
      depend_on<C>(h, deps);
      auto t = bind(h, total, sycl::write_only);
      h.single_task<prefix_sum_empty_kernel<I, C>>([=] { raw(t)[0] = 0; });
    });
  }
  const scan_shape s = shape_of(queue, count);
  if (s.groups == 1) return submit_final_scan<I, C>(queue, data, total, s, deps);

  void* partial = allocate_or_throw<I>(s.groups + 1, queue, C, "");
  const auto sums = as_container<C, I>(partial);
  sycl::event joined;
  try {
    auto split = submit_subdivide<I, C>(queue, data, sums, s, deps);
    auto scanned = scan<I, C>(queue, sums, s.groups + 1, total, {split});
    joined = submit_join<I, C>(queue, data, sums, total, s, {scanned});
    joined.wait();
  } catch (...) {
    queue.wait();
    deallocate_container<I>(partial, queue, C);
    throw;
  }
  deallocate_container<I>(partial, queue, C);
  return joined;
}

// Buffers order themselves; the container of a USM scan may still say buffer, and then the
// caller's events are not waited for (as the buffer form would not).
template <typename I, containerType C>
sycl::event scan_container(sycl::queue& queue, container_t<C, I> data, std::size_t count,
                           containerType container, container_t<C, long> total,
                           const std::vector<sycl::event>& deps) {
  const std::vector<sycl::event> none;
  return scan<I, C>(queue, data, count, total, container == container_usm ? deps : none);
}

}  // namespace

sycl::event prefix_sum(sycl::queue& queue, int* data, std::size_t count, containerType container,
                       long* total, const std::vector<sycl::event>& deps) {
  return scan_container<int, container_usm>(queue, data, count, container, total, deps);
}
sycl::event prefix_sum(sycl::queue& queue, long* data, std::size_t count, containerType container,
                       long* total, const std::vector<sycl::event>& deps) {
  return scan_container<long, container_usm>(queue, data, count, container, total, deps);
}
sycl::event prefix_sum(sycl::queue& queue, sycl::buffer<int, 1>* data, std::size_t count,
                       containerType container, sycl::buffer<long, 1>* total,
                       const std::vector<sycl::event>& deps) {
  return scan_container<int, container_buffer>(queue, data, count, container, total, deps);
}
sycl::event prefix_sum(sycl::queue& queue, sycl::buffer<long, 1>* data, std::size_t count,
                       containerType container, sycl::buffer<long, 1>* total,
                       const std::vector<sycl::event>& deps) {
  return scan_container<long, container_buffer>(queue, data, count, container, total, deps);
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
    h.parallel_for<copy_and_adjust_indexing_kernel<I>>(
        sycl::range<1>(count), [=](sycl::id<1> i) { dst[i] = src[i] + delta; });
  });
}

template sycl::event copy_and_adjust_indexing<int>(sycl::queue&, int, int, int, const int*, int*,
                                                   std::size_t, containerType,
                                                   const std::vector<sycl::event>&);
template sycl::event copy_and_adjust_indexing<long>(sycl::queue&, long, long, long, const long*,
                                                    long*, std::size_t, containerType,
                                                    const std::vector<sycl::event>&);

}  // namespace orvane::vrt::sparse
