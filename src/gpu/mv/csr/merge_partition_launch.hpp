// Launcher of the merge-path partition: where each of P equal parts of the path of nnz + nrows
// steps (one per non-zero, one per row end) begins, found by a binary search on its diagonal.
#pragma once

#include <cstdint>
#include <sycl/sycl.hpp>
#include <vector>

#include "containers/views.hpp"
#include "gpu/mv/csr/merge_partition_kernel.hpp"
#include "gpu/mv/design_names.hpp"
#include "handle/gemv_data.hpp"

namespace orvane::vrt::sparse::gpu::csr {

// The sizes the partition is cut from.
struct merge_path_sizes {
  std::int64_t nrows;
  std::int64_t ncols;
  std::int64_t nnz;
};

// Fills the plan's partition_rows and partition_nnz (P + 1 each); P is plan->num_partitions.
// Name is the kernel's class, as for the row statistics.
template <typename I, containerType C,
          typename Name = kernels::optimize_gemv_find_merge_path_kernel<I, C>>
sycl::event prepare_merge_path_mv_opt(sycl::queue& queue, const merge_path_sizes& sizes,
                                      container_t<C, I> row_ptr, I index, gemvInternalData* plan,
                                      const std::vector<sycl::event>& deps) {
  const auto parts = static_cast<std::int64_t>(plan->num_partitions);
  const std::int64_t total = sizes.nnz + sizes.nrows;
  const std::int64_t q = total / parts, r = total % parts;
  const std::int64_t nrows = sizes.nrows, nnz = sizes.nnz;
  auto rows_out = as_container<C, I>(plan->partition_rows);
  auto nnz_out = as_container<C, I>(plan->partition_nnz);
  return queue.submit([&](sycl::handler& h) {
    depend_on<C>(h, deps);
    auto rp = bind(h, row_ptr, sycl::read_only);
    auto pr = bind(h, rows_out, sycl::write_only);
    auto pn = bind(h, nnz_out, sycl::write_only);
    h.parallel_for<Name>(sycl::range<1>(static_cast<std::size_t>(parts)), [=](sycl::id<1> p) {
      kernels::find_merge_path_border<I>(static_cast<std::int64_t>(p[0]), q, r, nrows, nnz, raw(rp),
                                         index, raw(pr), raw(pn));
    });
  });
}

}  // namespace orvane::vrt::sparse::gpu::csr
