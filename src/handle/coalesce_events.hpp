// One event that covers a list of events, for USM routines that have no work of their own.
#pragma once

#include <sycl/sycl.hpp>
#include <vector>

#include "common/internal_types.hpp"

namespace orvane::vrt::sparse {

// An empty event when there is nothing to cover or the container is a buffer (buffers order
// themselves); otherwise the event of an empty kernel or host task that depends on deps.
sycl::event coalesce_events(sycl::queue& queue, containerType container,
                            const std::vector<sycl::event>& deps, bool use_kernel);

}  // namespace orvane::vrt::sparse
