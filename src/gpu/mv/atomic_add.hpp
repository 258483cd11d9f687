// Floating-point adds into global memory that many work-items share: relaxed order, device
// scope; a complex element takes one add per part.
#pragma once

#include <sycl/sycl.hpp>

#include "handle/value_types.hpp"

namespace orvane::vrt::sparse::gpu {

template <typename R>
void atomic_add_real(R& target, R value) {
  sycl::atomic_ref<R, sycl::memory_order::relaxed, sycl::memory_scope::device,
                   sycl::access::address_space::global_space>(target)
      .fetch_add(value);
}

template <typename T>
void atomic_add(T& target, T value) {
  if constexpr (is_complex_v<T>) {
    // std::complex is laid out as its two parts in order.
    auto* parts = reinterpret_cast<typename T::value_type*>(&target);
    atomic_add_real(parts[0], value.real());
    atomic_add_real(parts[1], value.imag());
  } else {
    atomic_add_real(target, value);
  }
}

// Above or below zero in either part: false for zero and for NaN.
template <typename T>
bool above_or_below_zero(T v) {
  if constexpr (is_complex_v<T>)
    return v.real() < 0 || v.real() > 0 || v.imag() < 0 || v.imag() > 0;
  else
    return v < T(0) || v > T(0);
}

}  // namespace orvane::vrt::sparse::gpu
