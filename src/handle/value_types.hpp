// The run-time codes of the compile-time value and index types, and what complex values need.
#pragma once

#include <complex>
#include <cstdint>
#include <type_traits>

#include "handle/handle.hpp"

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

// v, or its conjugate when conj is set and the type is complex.
template <typename T>
T conjugate_if(T v, bool conj) {
  if constexpr (is_complex_v<T>)
    return conj ? T(v.real(), -v.imag()) : v;
  else
    return v;
}

}  // namespace orvane::vrt::sparse
