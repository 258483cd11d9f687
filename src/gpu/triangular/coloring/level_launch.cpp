// The level kernels for both index widths and memory models.
#include "gpu/triangular/coloring/level_launch.hpp"

#include <cstdint>

#include "gpu/triangular/design_names.hpp"

namespace orvane::vrt::sparse::gpu {

namespace {

// The level counters are shared by all work-items of all colours; the host orders the colours.
template <typename I>
using level_atomic =
    sycl::atomic_ref<I, sycl::memory_order::relaxed, sycl::memory_scope::system,
                     sycl::access::address_space::global_space>;

// Gives row i the next free position.
template <typename I>
void place_row(I* counter, I* row_of_position, I* position_of_row, I i) {
  const I p = level_atomic<I>(*counter).fetch_add(I(1));
  position_of_row[i] = p;
  row_of_position[p] = i;
}

// The lengths of the strict lower and upper parts of the row at each position, read through the
// arrays bound in one command group.
template <typename I, typename View>
struct part_lengths {
  View row_ptr, lower_end, upper_start, row_of_position;

  I lower(I r) const { return raw(lower_end)[r] - raw(row_ptr)[r]; }
  I upper(I r) const { return raw(row_ptr)[r + 1] - raw(upper_start)[r]; }
  I row_at(std::size_t p) const { return raw(row_of_position)[p]; }
};

template <typename I, containerType C>
auto bind_part_lengths(sycl::handler& h, const level_arrays<I, C>& a) {
  using View = decltype(bind(h, a.row_ptr, sycl::read_only));
  return part_lengths<I, View>{bind(h, a.row_ptr, sycl::read_only),
                               bind(h, a.lower_end, sycl::read_only),
                               bind(h, a.upper_start, sycl::read_only),
                               bind(h, a.row_of_position, sycl::read_only)};
}

}  // namespace

template <typename I, containerType C>
sycl::event submit_coloring1(sycl::queue& queue, const level_arrays<I, C>& a,
                             const std::vector<sycl::event>& deps) {
  return queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, deps);
    auto rp = bind(h, a.row_ptr, sycl::read_only);
    auto le = bind(h, a.lower_end, sycl::read_only);
    auto deg = bind(h, a.in_degree, sycl::write_only);
    auto cnt = bind(h, a.counter, sycl::read_write);
    auto rop = bind(h, a.row_of_position, sycl::read_write);
    auto por = bind(h, a.position_of_row, sycl::read_write);
    h.parallel_for<kernels::coloring1<I, C>>(sycl::range<1>(a.nrows), [=](sycl::id<1> id) {
      const auto i = static_cast<I>(id[0]);
      const I degree = raw(le)[i] - raw(rp)[i];
      raw(deg)[i] = degree;
      if (degree == 0) place_row(raw(cnt), raw(rop), raw(por), i);
    });
  });
}

template <typename I, containerType C>
sycl::event submit_coloring2(sycl::queue& queue, const level_arrays<I, C>& a, std::size_t start,
                             std::size_t width, const std::vector<sycl::event>& deps) {
  return queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, deps);
    auto rp = bind(h, a.row_ptr, sycl::read_only);
    auto ci = bind(h, a.col_ind, sycl::read_only);
    auto us = bind(h, a.upper_start, sycl::read_only);
    auto deg = bind(h, a.in_degree, sycl::read_write);
    auto cnt = bind(h, a.counter, sycl::read_write);
    auto rop = bind(h, a.row_of_position, sycl::read_write);
    auto por = bind(h, a.position_of_row, sycl::read_write);
    const I base = a.index;
    h.parallel_for<kernels::coloring2<I, C>>(sycl::range<1>(width), [=](sycl::id<1> g) {
      const I r = raw(rop)[start + g[0]];
      // The entries above the diagonal list the rows that wait for r.
      for (I k = raw(us)[r] - base; k < raw(rp)[r + 1] - base; ++k) {
        const I j = raw(ci)[k] - base;
        if (level_atomic<I>(raw(deg)[j]).fetch_sub(I(1)) == I(1))
          place_row(raw(cnt), raw(rop), raw(por), j);
      }
    });
  });
}

template <typename I, containerType C>
sycl::event submit_coloring3(sycl::queue& queue, const level_arrays<I, C>& a,
                             container_t<C, I> lower_ptr, container_t<C, I> upper_ptr,
                             const std::vector<sycl::event>& deps) {
  return queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, deps);
    const auto parts = bind_part_lengths(h, a);
    auto lp = bind(h, lower_ptr, sycl::write_only);
    auto up = bind(h, upper_ptr, sycl::write_only);
    h.parallel_for<kernels::coloring3<I, C>>(sycl::range<1>(a.nrows), [=](sycl::id<1> id) {
      const std::size_t p = id[0];
      const I r = parts.row_at(p);
      if (p == 0) raw(lp)[0] = raw(up)[0] = I(0);
      raw(lp)[p + 1] = parts.lower(r);
      raw(up)[p + 1] = parts.upper(r);
    });
  });
}

template <typename I, containerType C>
sycl::event submit_coloring4(sycl::queue& queue, const level_arrays<I, C>& a,
                             container_t<C, I> lower_ptr, container_t<C, I> upper_ptr,
                             container_t<C, long> lower_total, container_t<C, long> upper_total,
                             const std::vector<sycl::event>& deps) {
  return queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, deps);
    const auto parts = bind_part_lengths(h, a);
    auto lp = bind(h, lower_ptr, sycl::write_only);
    auto up = bind(h, upper_ptr, sycl::write_only);
    auto lt = bind(h, lower_total, sycl::write_only);
    auto ut = bind(h, upper_total, sycl::write_only);
    const std::size_t n = a.nrows;
    h.single_task<kernels::coloring4<I, C>>([=]() {
      raw(lp)[0] = raw(up)[0] = I(0);
      for (std::size_t p = 0; p < n; ++p) {
        const I r = parts.row_at(p);
        raw(lp)[p + 1] = raw(lp)[p] + parts.lower(r);
        raw(up)[p + 1] = raw(up)[p] + parts.upper(r);
      }
      raw(lt)[0] = static_cast<long>(raw(lp)[n]);
      raw(ut)[0] = static_cast<long>(raw(up)[n]);
    });
  });
}

#define VRT_INSTANTIATE_LEVEL_KERNELS(I, C)                                                      \
  template sycl::event submit_coloring1<I, C>(sycl::queue&, const level_arrays<I, C>&,         \
                                              const std::vector<sycl::event>&);                \
  template sycl::event submit_coloring2<I, C>(sycl::queue&, const level_arrays<I, C>&,         \
                                              std::size_t, std::size_t,                        \
                                              const std::vector<sycl::event>&);                \
  template sycl::event submit_coloring3<I, C>(sycl::queue&, const level_arrays<I, C>&,         \
                                              container_t<C, I>, container_t<C, I>,            \
                                              const std::vector<sycl::event>&);                \
  template sycl::event submit_coloring4<I, C>(                                                 \
      sycl::queue&, const level_arrays<I, C>&, container_t<C, I>, container_t<C, I>,           \
      container_t<C, long>, container_t<C, long>, const std::vector<sycl::event>&);
VRT_INSTANTIATE_LEVEL_KERNELS(std::int32_t, container_usm)
VRT_INSTANTIATE_LEVEL_KERNELS(std::int32_t, container_buffer)
VRT_INSTANTIATE_LEVEL_KERNELS(std::int64_t, container_usm)
VRT_INSTANTIATE_LEVEL_KERNELS(std::int64_t, container_buffer)
#undef VRT_INSTANTIATE_LEVEL_KERNELS

}  // namespace orvane::vrt::sparse::gpu
