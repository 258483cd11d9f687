// What the examples share: a generated 2D Poisson matrix in CSR form, arrays in USM shared
// memory, and the plain host computations each example checks the library against.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <sycl/sycl.hpp>
#include <vector>

namespace example {

// The 5-point Laplacian on a g x g grid: 4 on the diagonal, -1 for each neighbour. It is
// symmetric positive definite, with sorted column indices and a full diagonal.
struct csr {
  std::int32_t rows = 0, cols = 0;
  std::vector<std::int32_t> row_ptr, col_ind;
  std::vector<double> values;
};

inline csr poisson(std::int32_t g) {
  csr a;
  a.rows = a.cols = g * g;
  a.row_ptr.push_back(0);
  for (std::int32_t i = 0; i < g; ++i) {
    for (std::int32_t j = 0; j < g; ++j) {
      const std::int32_t row = i * g + j;
      auto put = [&](std::int32_t col, double v) {
        a.col_ind.push_back(col);
        a.values.push_back(v);
      };
      if (i > 0) put(row - g, -1.0);
      if (j > 0) put(row - 1, -1.0);
      put(row, 4.0);
      if (j + 1 < g) put(row + 1, -1.0);
      if (i + 1 < g) put(row + g, -1.0);
      a.row_ptr.push_back(static_cast<std::int32_t>(a.col_ind.size()));
    }
  }
  return a;
}

// A copy of v in USM shared memory: the host reads and writes it once the queue is done.
template <typename T>
T* shared_copy(sycl::queue& q, const std::vector<T>& v) {
  T* p = sycl::malloc_shared<T>(v.empty() ? 1 : v.size(), q);
  for (std::size_t k = 0; k < v.size(); ++k) p[k] = v[k];
  return p;
}

// y = A x by the definition of CSR.
inline std::vector<double> multiply(const csr& a, const std::vector<double>& x) {
  std::vector<double> y(a.rows, 0.0);
  for (std::int32_t i = 0; i < a.rows; ++i)
    for (std::int32_t k = a.row_ptr[i]; k < a.row_ptr[i + 1]; ++k)
      y[i] += a.values[k] * x[a.col_ind[k]];
  return y;
}

// Largest difference relative to the largest entry of the expected values; NaN never passes.
inline bool close(const double* got, const std::vector<double>& want, double tolerance,
                  const char* what) {
  double scale = 0.0, worst = 0.0;
  for (double w : want) scale = std::fmax(scale, std::fabs(w));
  for (std::size_t k = 0; k < want.size(); ++k) {
    const double d = std::fabs(got[k] - want[k]);
    if (!(d <= tolerance * (scale > 0.0 ? scale : 1.0))) {
      std::printf("%s: entry %zu is %.17g, expected %.17g\n", what, k, got[k], want[k]);
      return false;
    }
    worst = std::fmax(worst, d);
  }
  std::printf("%s: %zu entries match (largest difference %.2e)\n", what, want.size(), worst);
  return true;
}

}  // namespace example
