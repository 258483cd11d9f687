// trmv on the host runtime, on the lower triangle of a 2D Laplacian of 250k rows: the default
// product (one work-item per full row, filtering by column) against the planned product on the
// strict triangle after optimize_trmv, on an emulated GPU.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <hostsycl/hostsycl.hpp>
#include <orvane/vrt/sparse.hpp>
#include <vector>

#include "handle/gemv_data.hpp"
#include "handle/handle.hpp"
#include "laplacian_2d.hpp"

namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;

namespace {

using vrt_bench::laplacian_2d;
using vrt_bench::to_device;

constexpr std::int32_t grid = 500;  // 250000 rows, 5-point stencil
constexpr std::int32_t rows = grid * grid;

const laplacian_2d& matrix() {
  static const laplacian_2d m(grid);
  return m;
}

void BM_trmv_lower(benchmark::State& state, bool planned) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  const laplacian_2d& m = matrix();
  auto* row_ptr = to_device(q, m.row_ptr);
  auto* col_ind = to_device(q, m.col_ind);
  auto* values = to_device(q, m.values);
  vs::matrix_handle* h = nullptr;
  vs::init_matrix_handle(&h);
  vs::set_csr_data(q, h, rows, rows, vrt::index_base::zero, row_ptr, col_ind, values, {}).wait();
  if (planned) {
    vs::optimize_trmv(q, vrt::uplo::lower, vrt::transpose::nontrans, vrt::diag::nonunit, h, {})
        .wait();
    state.counters["kernel_kind"] =
        static_cast<double>(vs::kind_code(h->lower_triangle->gemv_data->kernel_kind));
  }
  std::vector<double> x(rows, 1.0);
  double* dx = to_device(q, x);
  double* dy = sycl::malloc_device<double>(rows, q);
  for (auto _ : state)
    vs::trmv(q, vrt::uplo::lower, vrt::transpose::nontrans, vrt::diag::nonunit, 1.0, h, dx, 0.0, dy,
             {})
        .wait();
  vs::release_matrix_handle(q, &h, {}).wait();
  for (void* p : {static_cast<void*>(row_ptr), static_cast<void*>(col_ind),
                  static_cast<void*>(values), static_cast<void*>(dx), static_cast<void*>(dy)})
    sycl::free(p, q);
}
BENCHMARK_CAPTURE(BM_trmv_lower, default_emu_a3, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_trmv_lower, optimized_emu_a3, true)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
