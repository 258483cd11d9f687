// Launches of the level kernels for both index widths and memory models.
#include "gpu/triangular/coloring/level_launch.hpp"

#include <cstdint>

#include "gpu/triangular/coloring/level_kernel.hpp"
#include "gpu/triangular/design_names.hpp"

namespace orvane::vrt::sparse::gpu {

namespace {

// The structure's arrays the part lengths read, bound in one command group.
template <typename I, typename View>
struct bound_part_lengths {
  View row_ptr, lower_end, upper_start, row_of_position;

  kernels::part_lengths<I> get() const {
    return {raw(row_ptr), raw(lower_end), raw(upper_start), raw(row_of_position)};
  }
};

template <typename I, containerType C>
auto bind_part_lengths(sycl::handler& h, const level_arrays<I, C>& a) {
  using View = decltype(bind(h, a.row_ptr, sycl::read_only));
  return bound_part_lengths<I, View>{
      bind(h, a.row_ptr, sycl::read_only), bind(h, a.lower_end, sycl::read_only),
      bind(h, a.upper_start, sycl::read_only), bind(h, a.row_of_position, sycl::read_only)};
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
      kernels::seed_row<I>(static_cast<I>(id[0]), raw(rp), raw(le),
                           {raw(deg), raw(cnt), raw(rop), raw(por)});
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
      kernels::release_dependants<I>(start + g[0], base, raw(rp), raw(ci), raw(us),
                                     {raw(deg), raw(cnt), raw(rop), raw(por)});
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
      kernels::write_part_lengths<I>(id[0], parts.get(), raw(lp), raw(up));
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
      kernels::write_part_starts<I>(n, parts.get(), raw(lp), raw(up), raw(lt), raw(ut));
    });
  });
}

template <typename I, containerType C>
sycl::event submit_mirror_check(sycl::queue& queue, const level_arrays<I, C>& a,
                                container_t<C, I> flag, const std::vector<sycl::event>& deps) {
  return queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, deps);
    auto rp = bind(h, a.row_ptr, sycl::read_only);
    auto ci = bind(h, a.col_ind, sycl::read_only);
    auto le = bind(h, a.lower_end, sycl::read_only);
    auto us = bind(h, a.upper_start, sycl::read_only);
    auto out = bind(h, flag, sycl::read_write);
    const I base = a.index;
    h.parallel_for<kernels::mirrorCheck<I, C>>(sycl::range<1>(a.nrows), [=](sycl::id<1> id) {
      if (!kernels::row_is_mirrored<I>(static_cast<I>(id[0]), base, raw(rp), raw(ci), raw(le),
                                       raw(us)))
        kernels::level_atomic<I>(raw(out)[0]).store(I(1));
    });
  });
}

#define VRT_INSTANTIATE_LEVEL_KERNELS(I, C)                                               \
  template sycl::event submit_coloring1<I, C>(sycl::queue&, const level_arrays<I, C>&,    \
                                              const std::vector<sycl::event>&);           \
  template sycl::event submit_coloring2<I, C>(sycl::queue&, const level_arrays<I, C>&,    \
                                              std::size_t, std::size_t,                   \
                                              const std::vector<sycl::event>&);           \
  template sycl::event submit_coloring3<I, C>(sycl::queue&, const level_arrays<I, C>&,    \
                                              container_t<C, I>, container_t<C, I>,       \
                                              const std::vector<sycl::event>&);           \
  template sycl::event submit_coloring4<I, C>(                                            \
      sycl::queue&, const level_arrays<I, C>&, container_t<C, I>, container_t<C, I>,      \
      container_t<C, long>, container_t<C, long>, const std::vector<sycl::event>&);       \
  template sycl::event submit_mirror_check<I, C>(sycl::queue&, const level_arrays<I, C>&, \
                                                 container_t<C, I>,                       \
                                                 const std::vector<sycl::event>&);
VRT_INSTANTIATE_LEVEL_KERNELS(std::int32_t, container_usm)
VRT_INSTANTIATE_LEVEL_KERNELS(std::int32_t, container_buffer)
VRT_INSTANTIATE_LEVEL_KERNELS(std::int64_t, container_usm)
VRT_INSTANTIATE_LEVEL_KERNELS(std::int64_t, container_buffer)
#undef VRT_INSTANTIATE_LEVEL_KERNELS

}  // namespace orvane::vrt::sparse::gpu
