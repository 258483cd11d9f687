// The routine families of the driver. Each runs one routine on a queue and returns its result
// read back to the host; each source file instantiates its family for every value type and
// index width.
#pragma once

#include <complex>
#include <cstdint>
#include <optional>
#include <sycl/sycl.hpp>
#include <vector>

#include "inputs.hpp"
#include "options.hpp"

namespace vrt_driver {

// A dense result (column by column) or a sparse one.
struct result {
  std::int64_t rows = 0, cols = 0;
  std::vector<std::complex<double>> dense;
  std::optional<std::complex<double>> dot;
  std::optional<std::int64_t> estimate;  // matmat_estimate's total
  std::optional<mm::coordinate_matrix> sparse;
};

// gemv, gemvdot, symv, trmv, trsv.
template <typename T, typename I>
result run_vector_routine(sycl::queue& q, const options& o, const host_matrix<T, I>& A);

// trsm, gemm.
template <typename T, typename I>
result run_dense_routine(sycl::queue& q, const options& o, const host_matrix<T, I>& A);

// sort_matrix, omatcopy, matmat (B is A when it holds no matrix).
template <typename T, typename I>
result run_matrix_routine(sycl::queue& q, const options& o, const host_matrix<T, I>& A,
                          const std::optional<host_matrix<T, I>>& B);

#define VRT_DRIVER_FOR_EACH_VARIANT(X)  \
  X(float, std::int32_t)                \
  X(float, std::int64_t)                \
  X(double, std::int32_t)               \
  X(double, std::int64_t)               \
  X(std::complex<float>, std::int32_t)  \
  X(std::complex<float>, std::int64_t)  \
  X(std::complex<double>, std::int32_t) \
  X(std::complex<double>, std::int64_t)

}  // namespace vrt_driver
