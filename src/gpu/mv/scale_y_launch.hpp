// Kernels that prepare y for products that add into it: y *= beta, or y = 0.
#pragma once

#include <cstdint>
#include <sycl/sycl.hpp>
#include <vector>

#include "containers/views.hpp"
#include "gpu/mv/design_names.hpp"

namespace orvane::vrt::sparse::gpu {

// y[i] = y[i] * beta over n elements, with no test of beta: a zero beta keeps a NaN in y.
template <typename T, containerType C>
sycl::event scale_y(sycl::queue& queue, container_t<C, T> y, std::int64_t n, T beta,
                    const std::vector<sycl::event>& deps) {
  return queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, deps);
    auto yv = bind(h, y, sycl::read_write);
    h.parallel_for<kernels::gemv_betay_kernel<T, C>>(
        sycl::range<1>(static_cast<std::size_t>(n)),
        [=](sycl::id<1> i) { raw(yv)[i[0]] = raw(yv)[i[0]] * beta; });
  });
}

template <typename T, containerType C>
sycl::event clear_y(sycl::queue& queue, container_t<C, T> y, std::int64_t n,
                    const std::vector<sycl::event>& deps) {
  return queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, deps);
    auto yv = bind(h, y, sycl::write_only);
    h.parallel_for<kernels::gemv_setzero_y_kernel<T, C>>(
        sycl::range<1>(static_cast<std::size_t>(n)), [=](sycl::id<1> i) { raw(yv)[i[0]] = T(0); });
  });
}

}  // namespace orvane::vrt::sparse::gpu
