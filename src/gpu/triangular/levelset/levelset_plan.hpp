// How a level-set solve runs its middle colors: the choice from the coloring's sync_mode, and
// the one switch that turns that run-time choice into the compile-time form of the launcher.
#pragma once

#include <cstdint>

#include "common/internal_error.hpp"
#include "gpu/sub_group_check.hpp"
#include "gpu/triangular/coloring/color_plan.hpp"
#include "gpu/triangular/design_names.hpp"
#include "gpu/triangular/triangle_side.hpp"
#include "handle/triangular_data.hpp"
#include "handle/value_types.hpp"

namespace orvane::vrt::sparse::gpu {

enum class middle_sync { per_color, atomics };

// Atomics where the coloring chose them, they make progress and the device runs their kernel:
// chunks of color 0 post nothing (the kernel's guard), so a lower coloring whose middle starts at
// color 0 and spans two colors or more would leave color 1 waiting for ever, and the kernel's
// sub-groups serve one chunk of chunk_rows positions each, so a device without that sub-group
// size cannot run it; such a solve runs one kernel per color. A sync_mode that is neither is an
// internal error of the solve.
inline middle_sync middle_sync_of(const coloringData& d, triangle side,
                                  const sub_group_offer& offer) {
  const bool lower = side == triangle::lower;
  const bool atomics_progress = !(lower && d.head_colors == 0 && d.num_colors - d.tail_colors >= 2);
  if (d.sync_mode == sync_by_atomics && atomics_progress && offer.has(chunk_rows))
    return middle_sync::atomics;
  if (d.sync_mode == sync_by_kernels || d.sync_mode == sync_by_atomics)
    return middle_sync::per_color;
  internal_error(triangular_names::trsv);
}

// run.template operator()<M>() for the mode. Complex values have no atomics form: their
// colorings never choose it, and a record that says so runs nothing (the design's complex
// atomics shells are empty).
template <typename T, typename Run>
void visit_middle_sync(middle_sync mode, Run&& run) {
  switch (mode) {
    case middle_sync::atomics:
      if constexpr (!is_complex_v<T>) run.template operator()<middle_sync::atomics>();
      return;
    case middle_sync::per_color:
      run.template operator()<middle_sync::per_color>();
      return;
  }
}

}  // namespace orvane::vrt::sparse::gpu
