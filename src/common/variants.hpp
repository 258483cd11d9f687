// The sixteen variants of every generated family: four value types, each with a letter, times two
// index widths, each with a suffix. Both memory models of a variant are overloads of one name.
//
// A family is written once as templates over (T, I) and turned into named functions by one macro
// X(p, T, i, I) per family, applied by VRT_FOR_EACH_VARIANT (all sixteen) or VRT_VARIANTS_OF_<p>
// (the two index widths of one value type, so that a family's instantiations can be spread over
// one translation unit per value type: see cmake/Variants.cmake).
#pragma once

#include <complex>
#include <cstdint>

#define VRT_VARIANTS_OF_s(X) X(s, float, i4, std::int32_t) X(s, float, i8, std::int64_t)
#define VRT_VARIANTS_OF_d(X) X(d, double, i4, std::int32_t) X(d, double, i8, std::int64_t)
#define VRT_VARIANTS_OF_c(X) \
  X(c, std::complex<float>, i4, std::int32_t) X(c, std::complex<float>, i8, std::int64_t)
#define VRT_VARIANTS_OF_z(X) \
  X(z, std::complex<double>, i4, std::int32_t) X(z, std::complex<double>, i8, std::int64_t)

#define VRT_FOR_EACH_VARIANT(X) \
  VRT_VARIANTS_OF_s(X) VRT_VARIANTS_OF_d(X) VRT_VARIANTS_OF_c(X) VRT_VARIANTS_OF_z(X)

// The four value types alone, for routines whose index width is chosen at run time.
#define VRT_FOR_EACH_VALUE(X) \
  X(s, float) X(d, double) X(c, std::complex<float>) X(z, std::complex<double>)

// The two index widths alone.
#define VRT_FOR_EACH_INDEX(X) X(i4, std::int32_t) X(i8, std::int64_t)

// Keeps its argument for the real value types only (families without complex members).
#define VRT_IF_REAL_s(x) x
#define VRT_IF_REAL_d(x) x
#define VRT_IF_REAL_c(x)
#define VRT_IF_REAL_z(x)
