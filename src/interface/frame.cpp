// The checks every public routine makes before it dispatches.
#include "interface/frame.hpp"

namespace orvane::vrt::sparse {

void verify_double_support(sycl::queue& queue, const std::string& function) {
  const sycl::device device = queue.get_device();
  if (!device.has(sycl::aspect::fp64)) throw unsupported_device("sparse", function, device);
}

void wait_for_buffer_handle_deps(sycl::queue& queue, const matrix_handle* handle,
                                 const event_list& deps) {
  if (handle->container != container_buffer || deps.empty()) return;
  queue
      .submit([&](sycl::handler& h) {
        h.depends_on(deps);
        h.host_task([] {});
      })
      .wait();
}

}  // namespace orvane::vrt::sparse
