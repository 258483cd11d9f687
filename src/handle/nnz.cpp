// The count of non-zeros, taken from the last row pointer.
#include "handle/nnz.hpp"

#include <cstdint>
#include <cstring>
#include <orvane/vrt/sparse.hpp>

#include "common/internal_error.hpp"
#include "common/portability.hpp"
#include "containers/views.hpp"
#include "handle/coalesce_events.hpp"
#include "handle/handle.hpp"

namespace orvane::vrt::sparse {

namespace {
template <typename I>
sycl::event count_nonzeros(sycl::queue& queue, void* structure,
                           const std::vector<sycl::event>& deps) {
  auto* s = static_cast<sparseStructure*>(structure);
  if (s == nullptr) internal_error("");
  if (s->nnz >= 0) {
    if (!deps.empty() && s->container == container_usm)
      return coalesce_events(queue, container_usm, deps, false);
    return sycl::event();
  }
  const std::int64_t base = s->index != 0 ? 1 : 0;
  const std::size_t last = static_cast<std::size_t>(s->nrows);
  if (s->container == container_buffer) {
    auto* row_ptr = static_cast<sycl::buffer<I, 1>*>(s->row_ptr);
    sycl::host_accessor rows(*row_ptr, sycl::read_only);
    s->nnz = static_cast<std::int64_t>(rows[last]) - base;
    return sycl::event();
  }
  const I* row_ptr = static_cast<const I*>(s->row_ptr);
  if (memory_kind<container_usm>(queue, row_ptr) == sycl::usm::alloc::device) {
    // The last entry lands in the low bytes of the field; the host task widens it in place.
    sycl::event copied = queue.submit([&](sycl::handler& h) {
      h.depends_on(deps);
      h.memcpy(&s->nnz, row_ptr + last, sizeof(I));
    });
    return queue.submit([&](sycl::handler& h) {
      h.depends_on(copied);
      portable::host_task(h, [s, base] {
        I value;
        std::memcpy(&value, &s->nnz, sizeof(I));
        s->nnz = static_cast<std::int64_t>(value) - base;
      });
    });
  }
  return queue.submit([&](sycl::handler& h) {
    h.depends_on(deps);
    portable::host_task(
        h, [s, row_ptr, last, base] { s->nnz = static_cast<std::int64_t>(row_ptr[last]) - base; });
  });
}
}  // namespace

sycl::event set_nnz_value_i4(sycl::queue& queue, void* structure,
                             const std::vector<sycl::event>& deps) {
  return count_nonzeros<std::int32_t>(queue, structure, deps);
}

sycl::event set_nnz_value_i8(sycl::queue& queue, void* structure,
                             const std::vector<sycl::event>& deps) {
  return count_nonzeros<std::int64_t>(queue, structure, deps);
}

sycl::event set_nnz_value(sycl::queue& queue, void* structure,
                          const std::vector<sycl::event>& deps) {
  const auto* s = static_cast<const sparseStructure*>(structure);
  if (s != nullptr && s->int_type == int_64) return set_nnz_value_i8(queue, structure, deps);
  return set_nnz_value_i4(queue, structure, deps);
}

}  // namespace orvane::vrt::sparse
