// The 5-point 2D Laplacian the device benchmarks run on (zero-based 32-bit indices, rows
// sorted), and the copy of a host array into device memory.
#pragma once

#include <cstdint>
#include <sycl/sycl.hpp>
#include <vector>

namespace vrt_bench {

struct laplacian_2d {
  std::vector<std::int32_t> row_ptr{0}, col_ind;
  std::vector<double> values;
  explicit laplacian_2d(std::int32_t grid) {
    for (std::int32_t i = 0; i < grid; ++i)
      for (std::int32_t j = 0; j < grid; ++j) {
        auto add = [&](std::int32_t c, double v) {
          col_ind.push_back(c);
          values.push_back(v);
        };
        const std::int32_t r = i * grid + j;
        if (i > 0) add(r - grid, -1.0);
        if (j > 0) add(r - 1, -1.0);
        add(r, 4.0);
        if (j + 1 < grid) add(r + 1, -1.0);
        if (i + 1 < grid) add(r + grid, -1.0);
        row_ptr.push_back(static_cast<std::int32_t>(values.size()));
      }
  }
};

template <typename E>
E* to_device(sycl::queue& q, const std::vector<E>& v) {
  E* p = sycl::malloc_device<E>(v.size(), q);
  q.memcpy(p, v.data(), v.size() * sizeof(E)).wait();
  return p;
}

}  // namespace vrt_bench
