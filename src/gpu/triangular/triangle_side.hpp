// The side of a triangular solve as one value: trsv_impl decides it from uplo, and each launcher
// picks the kernel name of that side where it submits.
#pragma once

#include <orvane/vrt/sparse.hpp>
#include <type_traits>

namespace orvane::vrt::sparse::gpu {

enum class triangle { lower, upper };

// uplo is a signed byte: a value below upper is refused as one above lower is.
inline bool is_uplo(uplo which) { return which == uplo::lower || which == uplo::upper; }

inline triangle side_of(uplo which) {
  return which == uplo::lower ? triangle::lower : triangle::upper;
}

// Each kernel has one name per side: launch(std::type_identity<Lower>{}) for the lower side,
// launch(std::type_identity<Upper>{}) for the upper.
template <typename Lower, typename Upper, typename Launch>
auto launch_for_side(triangle side, Launch&& launch) {
  return side == triangle::lower ? launch(std::type_identity<Lower>{})
                                 : launch(std::type_identity<Upper>{});
}

}  // namespace orvane::vrt::sparse::gpu
