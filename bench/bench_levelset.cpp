// Level-set analysis and solves on the host runtime, on the lower triangle of a 2D Laplacian of
// 250k rows: the coloring (one host synchronisation per color), and the solve with its middle
// colors synchronised by one kernel per color (emulated code 3) or by atomics (code 4), and the
// default solve without analysis.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <hostsycl/hostsycl.hpp>
#include <orvane/vrt/sparse.hpp>
#include <vector>

#include "containers/containers.hpp"
#include "gpu/triangular/coloring/coloring.hpp"
#include "gpu/triangular/levelset/levelset_trsv.hpp"
#include "handle/handle.hpp"
#include "handle/triangular_data.hpp"

namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;

namespace {

constexpr std::int32_t grid = 500;  // 250000 rows, 5-point stencil
constexpr std::int32_t rows = grid * grid;

// The full stencil (its pattern is symmetric, rows sorted) with the split positions.
struct laplacian {
  std::vector<std::int32_t> row_ptr{0}, col_ind, lower_end, upper_start;
  std::vector<double> values, inv_diag;
  laplacian() {
    for (std::int32_t i = 0; i < grid; ++i)
      for (std::int32_t j = 0; j < grid; ++j) {
        auto add = [&](std::int32_t c, double v) {
          col_ind.push_back(c);
          values.push_back(v);
        };
        const std::int32_t r = i * grid + j;
        if (i > 0) add(r - grid, -1.0);
        if (j > 0) add(r - 1, -1.0);
        lower_end.push_back(static_cast<std::int32_t>(values.size()));
        add(r, 4.0);
        upper_start.push_back(static_cast<std::int32_t>(values.size()));
        if (j + 1 < grid) add(r + 1, -1.0);
        if (i + 1 < grid) add(r + grid, -1.0);
        row_ptr.push_back(static_cast<std::int32_t>(values.size()));
        inv_diag.push_back(0.25);
      }
  }
};

const laplacian& matrix() {
  static const laplacian m;
  return m;
}

template <typename E>
E* to_device(sycl::queue& q, const std::vector<E>& v) {
  E* p = sycl::malloc_device<E>(v.size(), q);
  q.memcpy(p, v.data(), v.size() * sizeof(E)).wait();
  return p;
}

// A handle bound to the stencil with the diagonal records in its slots.
struct bound {
  sycl::queue& q;
  vs::matrix_handle* h = nullptr;
  std::int32_t* row_ptr;
  std::int32_t* col_ind;
  double* values;
  explicit bound(sycl::queue& queue) : q(queue) {
    const laplacian& m = matrix();
    row_ptr = to_device(q, m.row_ptr);
    col_ind = to_device(q, m.col_ind);
    values = to_device(q, m.values);
    vs::init_matrix_handle(&h);
    vs::set_csr_data(q, h, rows, rows, vrt::index_base::zero, row_ptr, col_ind, values, {}).wait();
    vs::cache_context(q, h);
    h->primary->sorted = 1;
    void* dv = nullptr;
    vs::initDiagonalValuesData(&dv);
    h->diag_values = static_cast<vs::diagonalValuesData*>(dv);
    h->diag_values->inv_diag = to_device(q, m.inv_diag);
    void* ds = nullptr;
    vs::initDiagonalStructData(&ds);
    h->diag_struct_lower = static_cast<vs::diagonalStructData*>(ds);
    h->diag_struct_lower->lower_end = to_device(q, m.lower_end);
    h->diag_struct_lower->upper_start = to_device(q, m.upper_start);
  }
  void color() {
    vs::gpu::coloring_impl<double, std::int32_t, vs::container_usm>(
        q, h->primary, h->diag_values, h->diag_struct_lower, &h->coloring_lower, {})
        .wait();
  }
  ~bound() {
    vs::release_matrix_handle(q, &h, {}).wait();
    sycl::free(row_ptr, q);
    sycl::free(col_ind, q);
    sycl::free(values, q);
  }
};

void BM_coloring(benchmark::State& state) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  for (auto _ : state) {
    state.PauseTiming();
    {
      bound b(q);
      state.ResumeTiming();
      b.color();
      state.PauseTiming();
      state.counters["colors"] = b.h->coloring_lower->num_colors;
      state.counters["head"] = b.h->coloring_lower->head_colors;
      state.counters["tail"] = b.h->coloring_lower->tail_colors;
    }
    state.ResumeTiming();
  }
}
BENCHMARK(BM_coloring)->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_solve(benchmark::State& state, const char* profile) {
  sycl::queue q{hostsycl::emulated_gpu(profile)};
  bound b(q);
  b.color();
  std::vector<double> x(rows, 1.0);
  double* dx = to_device(q, x);
  double* dy = sycl::malloc_device<double>(rows, q);
  for (auto _ : state)
    vs::gpu::levelset_trsv<double, std::int32_t, vs::container_usm>(
        q, vs::gpu::triangle::lower, vrt::diag::nonunit, 1.0, b.h, dx, dy, {})
        .wait();
  state.counters["sync_mode"] = b.h->coloring_lower->sync_mode;
  sycl::free(dx, q);
  sycl::free(dy, q);
}
BENCHMARK_CAPTURE(BM_solve, kernels_emu_a3, "emu-a3")->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK_CAPTURE(BM_solve, atomics_emu_a4, "emu-a4")->Unit(benchmark::kMillisecond)->Iterations(5);

// The default solve (one work-item walking the rows) through the public trsv, no analysis.
void BM_default_solve(benchmark::State& state) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  const laplacian& m = matrix();
  auto* row_ptr = to_device(q, m.row_ptr);
  auto* col_ind = to_device(q, m.col_ind);
  auto* values = to_device(q, m.values);
  vs::matrix_handle* h = nullptr;
  vs::init_matrix_handle(&h);
  vs::set_csr_data(q, h, rows, rows, vrt::index_base::zero, row_ptr, col_ind, values, {}).wait();
  std::vector<double> x(rows, 1.0);
  double* dx = to_device(q, x);
  double* dy = sycl::malloc_device<double>(rows, q);
  for (auto _ : state)
    vs::trsv(q, vrt::uplo::lower, vrt::transpose::nontrans, vrt::diag::nonunit, 1.0, h, dx, dy, {})
        .wait();
  vs::release_matrix_handle(q, &h, {}).wait();
  for (void* p : {static_cast<void*>(row_ptr), static_cast<void*>(col_ind),
                  static_cast<void*>(values), static_cast<void*>(dx), static_cast<void*>(dy)})
    sycl::free(p, q);
}
BENCHMARK(BM_default_solve)->Unit(benchmark::kMillisecond)->Iterations(5);

}  // namespace

BENCHMARK_MAIN();
