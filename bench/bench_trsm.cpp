// trsm on the host runtime, on the lower triangle of a 2D Laplacian of 250k rows, 16 right-hand
// sides in row-major: without analysis (the column walk of the default solve), after
// optimize_trsm (the tile solve), and next to them 16 trsv solves after optimize_trsv, the work
// trsm replaces. Emulated code 3.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <hostsycl/hostsycl.hpp>
#include <orvane/vrt/sparse.hpp>
#include <vector>

#include "laplacian_2d.hpp"

namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;

namespace {

using vrt_bench::laplacian_2d;
using vrt_bench::to_device;

constexpr std::int32_t grid = 500;  // 250000 rows, 5-point stencil
constexpr std::int32_t rows = grid * grid;
constexpr std::int64_t columns = 16;
constexpr const char* profile = "emu-a3";

// The stencil bound to a handle, with X (all ones) and Y for 16 columns.
struct problem {
  sycl::queue q{hostsycl::emulated_gpu(profile)};
  vs::matrix_handle* h = nullptr;
  std::int32_t* row_ptr;
  std::int32_t* col_ind;
  double* values;
  double* x;
  double* y;
  problem() {
    const laplacian_2d m(grid);
    row_ptr = to_device(q, m.row_ptr);
    col_ind = to_device(q, m.col_ind);
    values = to_device(q, m.values);
    x = to_device(q, std::vector<double>(static_cast<std::size_t>(rows) * columns, 1.0));
    y = sycl::malloc_device<double>(static_cast<std::size_t>(rows) * columns, q);
    vs::init_matrix_handle(&h);
    vs::set_csr_data(q, h, rows, rows, vrt::index_base::zero, row_ptr, col_ind, values, {}).wait();
  }
  ~problem() {
    vs::release_matrix_handle(q, &h, {}).wait();
    for (void* p : {static_cast<void*>(row_ptr), static_cast<void*>(col_ind),
                    static_cast<void*>(values), static_cast<void*>(x), static_cast<void*>(y)})
      sycl::free(p, q);
  }
  sycl::event trsm() {
    return vs::trsm(q, vrt::layout::row_major, vrt::transpose::nontrans, vrt::transpose::nontrans,
                    vrt::uplo::lower, vrt::diag::nonunit, 1.0, h, x, columns, columns, y, columns);
  }
};

void BM_trsm_default(benchmark::State& state) {
  problem p;
  p.trsm().wait();
  for (auto _ : state) p.trsm().wait();
  state.counters["columns"] = columns;
}
BENCHMARK(BM_trsm_default)->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_trsm_analysed(benchmark::State& state) {
  problem p;
  vs::optimize_trsm(p.q, vrt::layout::row_major, vrt::uplo::lower, vrt::transpose::nontrans,
                    vrt::diag::nonunit, p.h, columns)
      .wait();
  p.trsm().wait();
  for (auto _ : state) p.trsm().wait();
  state.counters["columns"] = columns;
}
BENCHMARK(BM_trsm_analysed)->Unit(benchmark::kMillisecond)->Iterations(3);

// The same 16 right-hand sides as 16 level-set trsv solves (x and y are the first rows of the
// dense arrays: the values do not matter to the time).
void BM_trsv_16_analysed(benchmark::State& state) {
  problem p;
  vs::optimize_trsv(p.q, vrt::uplo::lower, vrt::transpose::nontrans, vrt::diag::nonunit, p.h)
      .wait();
  for (auto _ : state) {
    sycl::event e;
    for (std::int64_t c = 0; c < columns; ++c)
      e = vs::trsv(p.q, vrt::uplo::lower, vrt::transpose::nontrans, vrt::diag::nonunit, 1.0, p.h,
                   p.x, p.y, {e});
    e.wait();
  }
  state.counters["columns"] = columns;
}
BENCHMARK(BM_trsv_16_analysed)->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace

BENCHMARK_MAIN();
