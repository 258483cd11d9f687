// The run-time codes of the compile-time value and index types.
#pragma once

#include <complex>
#include <cstdint>
#include <type_traits>

#include "interface/handle.hpp"

namespace orvane::vrt::sparse {

template <typename T>
constexpr fpType fp_type_of() {
  if constexpr (std::is_same_v<T, double>) return fp_double;
  if constexpr (std::is_same_v<T, float>) return fp_float;
  if constexpr (std::is_same_v<T, std::complex<double>>) return fp_complex_double;
  if constexpr (std::is_same_v<T, std::complex<float>>) return fp_complex_float;
}

template <typename I>
constexpr intType int_type_of() {
  return sizeof(I) == 4 ? int_32 : int_64;
}

template <typename T>
inline constexpr bool is_complex_v = false;
template <typename R>
inline constexpr bool is_complex_v<std::complex<R>> = true;

}  // namespace orvane::vrt::sparse
