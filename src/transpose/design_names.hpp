// Names of omatcopy and the explicit transposes that users and tools see and that must not
// change: the routine word of every message (also when the library's own transpose set it off),
// the texts both backends share, and the class names of the kernels both backends run.
#pragma once

#include "common/internal_types.hpp"

namespace orvane::vrt::sparse::transpose_kernels {

inline constexpr const char* omatcopy_word = "omatcopy";
// Input and output of a transpose must both have values or both be structures only. The missing
// blank in "emptyor" is the message as users know it: keep it.
inline constexpr const char* values_mismatch =
    "Either both input `a` and output `a^T` arrays must be emptyor both must be allocated with "
    "`a^T` at least as long as `a`";
inline constexpr const char* not_fully_initialized =
    "Only supports transpose on fully initialized matrix handles. Please call set_xxx_data "
    "routine";

// The copy with a new index base (row pointers or row indices, then column indices), and the COO
// transpose with and without values.
template <typename T, typename I, containerType C>
class csrComputeIbCopy;
template <typename T, typename I, containerType C, bool Values>
class cooTransposeKernel;

}  // namespace orvane::vrt::sparse::transpose_kernels
