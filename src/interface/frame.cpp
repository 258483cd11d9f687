// The checks every public routine makes before it dispatches.
#include "interface/frame.hpp"

namespace orvane::vrt::sparse {

void verify_double_support(sycl::queue& queue, const std::string& function) {
  const sycl::device device = queue.get_device();
  if (!device.has(sycl::aspect::fp64)) throw unsupported_device("sparse", function, device);
}

}  // namespace orvane::vrt::sparse
