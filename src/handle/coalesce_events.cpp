// Joining events into one.
#include "handle/coalesce_events.hpp"

#include "common/portability.hpp"

namespace orvane::vrt::sparse {

class coalesce_events_kernel;

sycl::event coalesce_events(sycl::queue& queue, containerType container,
                            const std::vector<sycl::event>& deps, bool use_kernel) {
  if (deps.empty() || container != container_usm) return sycl::event();
  return queue.submit([&](sycl::handler& h) {
    h.depends_on(deps);
    if (use_kernel)
      h.single_task<coalesce_events_kernel>([] {});
    else
      portable::host_task(h, [] {});
  });
}

}  // namespace orvane::vrt::sparse
