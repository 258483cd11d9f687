// What the device families share in binding their operands: the work-group sizes a row plan may
// name, the arrays of a product over a matrix, and their binding in a command group.
#pragma once

#include <cstdint>
#include <sycl/sycl.hpp>
#include <tuple>
#include <vector>

#include "containers/views.hpp"

namespace orvane::vrt::sparse::gpu {

// The work-group sizes a plan may name for the kernels with a row per work-item.
inline constexpr std::int32_t small_row_group = 4;
inline constexpr std::int32_t medium_row_group = 64;
inline constexpr std::int32_t large_row_group = 256;

inline bool is_row_group(std::int32_t group) {
  return group == small_row_group || group == medium_row_group || group == large_row_group;
}

// A matrix's CSR arrays and the two vectors of a product over it.
template <typename T, typename I, containerType C>
struct product_arrays {
  container_t<C, I> row_ptr;
  container_t<C, I> col_ind;
  container_t<C, T> values;
  container_t<C, T> x;
  container_t<C, T> y;
};

// The bound arrays of a product by name, so that a kernel can capture the record whole (device
// compilers held to C++17 refuse a captured structured binding). The first two are the index
// arrays of whichever structure the product walks; x and y are the two vectors, or whichever
// dense operands take their places.
template <typename First, typename Second, typename Values, typename X, typename Y>
struct bound_product {
  First row_ptr;
  Second col_ind;
  Values values;
  X x;
  Y y;
};

// After deps: two index arrays, the values and x bound for reading, y for update, in that order.
template <containerType C, typename First, typename Second, typename Values, typename Vector>
auto bind_product(sycl::handler& h, const std::vector<sycl::event>& deps, First first,
                  Second second, Values values, Vector x, Vector y) {
  depend_on<C>(h, deps);
  auto a = bind(h, first, sycl::read_only);
  auto b = bind(h, second, sycl::read_only);
  auto v = bind(h, values, sycl::read_only);
  auto xs = bind(h, x, sycl::read_only);
  auto ys = bind(h, y, sycl::read_write);
  return bound_product<decltype(a), decltype(b), decltype(v), decltype(xs), decltype(ys)>{a, b, v,
                                                                                          xs, ys};
}

// The same for a record with the fields of product_arrays.
template <containerType C, typename Operands>
auto bind_product(sycl::handler& h, const std::vector<sycl::event>& deps, const Operands& op) {
  return bind_product<C>(h, deps, op.row_ptr, op.col_ind, op.values, op.x, op.y);
}

// Further arrays of a command group, bound for reading in the order given: what a record needs
// beside its product_arrays (bind_product has already set the dependencies).
template <typename... Arrays>
auto bind_reads(sycl::handler& h, Arrays... arrays) {
  return std::tuple{bind(h, arrays, sycl::read_only)...};
}

}  // namespace orvane::vrt::sparse::gpu
