// The one list of the library's variants: four value types, each with a letter, times two index
// widths, each with a suffix, times two memory models. Families, the host engine's wrappers,
// containers and the tests all take their type lists from here.
//
// A family is written once as templates over <T, I, C>. Its instantiations are one macro
// X(T, I, C) that the build applies per value type through VRT_FOR_EACH_INSTANCE (one
// translation unit per value type, see cmake/Variants.cmake). The design's internal names of
// the instances (dgemv_impl_i4_usm, ...) are mapped to the templates in each family's
// design_names.hpp.
//
// A developer build may leave value types out of the kernel families (CMake VRT_VALUE_TYPES):
// their generated units are not built, and the dispatch refuses those types at run time
// (value_type_built). Records, containers and names always cover all four.
#pragma once

#include <complex>
#include <cstdint>

#include "common/internal_types.hpp"

// X(letter, T, extra...) for every value type.
#define VRT_FOR_EACH_VALUE(X, ...) \
  X(s, float, __VA_ARGS__)         \
  X(d, double, __VA_ARGS__)        \
  X(c, std::complex<float>, __VA_ARGS__) X(z, std::complex<double>, __VA_ARGS__)

#define VRT_BOTH_INDEX_WIDTHS(p, T, X, ...) \
  X(p, T, i4, std::int32_t, __VA_ARGS__) X(p, T, i8, std::int64_t, __VA_ARGS__)

// X(letter, T, index suffix, I, extra...) for every (value, index) pair.
#define VRT_FOR_EACH_VARIANT(X, ...) VRT_FOR_EACH_VALUE(VRT_BOTH_INDEX_WIDTHS, X, __VA_ARGS__)

// X(T, I, C) for the two index widths and both memory models of value type T.
#define VRT_FOR_EACH_INSTANCE(T, X)                           \
  X(T, std::int32_t, ::orvane::vrt::sparse::container_usm)    \
  X(T, std::int32_t, ::orvane::vrt::sparse::container_buffer) \
  X(T, std::int64_t, ::orvane::vrt::sparse::container_usm)    \
  X(T, std::int64_t, ::orvane::vrt::sparse::container_buffer)

// X(T, I, C) for every instance of every value type, for families instantiated in one unit.
#define VRT_INSTANCES_OF_VALUE(p, T, X) VRT_FOR_EACH_INSTANCE(T, X)
#define VRT_FOR_EACH_INSTANCE_OF_ALL(X) VRT_FOR_EACH_VALUE(VRT_INSTANCES_OF_VALUE, X)

namespace orvane::vrt::sparse {

// Whether value type T is built in this configuration.
template <typename T>
inline constexpr bool value_type_built = false;
#if !defined(VRT_WITHOUT_s)
template <>
inline constexpr bool value_type_built<float> = true;
#endif
#if !defined(VRT_WITHOUT_d)
template <>
inline constexpr bool value_type_built<double> = true;
#endif
#if !defined(VRT_WITHOUT_c)
template <>
inline constexpr bool value_type_built<std::complex<float>> = true;
#endif
#if !defined(VRT_WITHOUT_z)
template <>
inline constexpr bool value_type_built<std::complex<double>> = true;
#endif

}  // namespace orvane::vrt::sparse
