// gemv on the emulated code-6 GPU with each CSR kernel family forced in the plan, on one 2D
// Laplacian of ~100k rows: the time per product of each family on the host runtime.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <hostsycl/hostsycl.hpp>
#include <orvane/vrt/sparse.hpp>
#include <vector>

#include "gpu/mv/csr/optimize_gemv_plan.hpp"
#include "gpu/mv/optimize_gemv_entry.hpp"
#include "handle/gemv_data.hpp"
#include "handle/handle.hpp"
#include "laplacian_2d.hpp"

namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;

namespace {

using vrt_bench::laplacian_2d;
using vrt_bench::to_device;

constexpr std::int32_t grid = 316;  // 99856 rows, 5-point stencil
constexpr std::int32_t rows = grid * grid;

// Times gemv under the plan (kind, group, vector); kind 5 gets a merge-path partition.
void family(benchmark::State& state, int kind, int group, int vector) {
  static const laplacian_2d A(grid);
  sycl::queue q{hostsycl::emulated_gpu("emu-a6")};
  std::int32_t* rp = to_device(q, A.row_ptr);
  std::int32_t* ci = to_device(q, A.col_ind);
  double* va = to_device(q, A.values);
  double* x = to_device(q, std::vector<double>(rows, 1.0));
  double* y = to_device(q, std::vector<double>(rows, 0.0));
  vs::matrix_handle* h = nullptr;
  vs::init_matrix_handle(&h);
  vs::set_csr_data(q, h, rows, rows, vrt::index_base::zero, rp, ci, va).wait();
  vs::sparseStructure* s = h->primary;
  vs::initGemvInternalData(&s->gemv_data);
  vs::cache_gemv_internals(q, s->gemv_data);
  if (kind == vs::kind_code(vs::gemv_kind::merge)) {
    s->nnz = static_cast<std::int64_t>(A.values.size());
    const vs::gpu::csr::gemv_choice merge{
        vs::gpu::csr::opt_code_6_subgroup, true,
        vs::gpu::csr::merge_partitions(rows, s->nnz, s->gemv_data->device_data->hw_thread_count)};
    std::vector<sycl::event> deps;
    vs::gpu::detail::store_choice<double, std::int32_t, vs::container_usm>(q, s, merge, deps);
    for (auto& e : deps) e.wait();
  } else {
    s->gemv_data->kernel_kind = vs::gemv_kind{kind};
    s->gemv_data->group_param = group;
    s->gemv_data->vector_param = vector;
  }
  for (auto _ : state) vs::gemv(q, vrt::transpose::nontrans, 1.0, h, x, 0.0, y).wait();
  state.counters["rows"] = rows;
  vs::release_matrix_handle(q, &h).wait();
  for (void* p : {static_cast<void*>(rp), static_cast<void*>(ci), static_cast<void*>(va),
                  static_cast<void*>(x), static_cast<void*>(y)})
    sycl::free(p, q);
}

BENCHMARK_CAPTURE(family, syclvec_256x4, 1, 256, 4)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(family, marray_256x8, 2, 256, 8)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(family, subgroup_8x16, 3, 8, 16)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(family, subgroup_8x32, 3, 8, 32)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(family, esimd_8x32, 4, 8, 32)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(family, merge_4x32, 5, 4, 32)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
