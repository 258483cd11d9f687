// Row sort and transpose through the public API on an emulated GPU, each next to a plain host
// peer in the same binary: std::sort of every row, and the serial counting transpose.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <hostsycl/hostsycl.hpp>
#include <numeric>
#include <orvane/vrt/sparse.hpp>
#include <random>
#include <vector>

namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;

namespace {

constexpr std::int32_t rows = 20000;
constexpr std::int32_t cols = 20000;
constexpr std::int32_t per_row = 48;

struct random_matrix {
  std::vector<std::int32_t> row_ptr, col_ind;
  std::vector<double> values;
  random_matrix() {
    std::mt19937 rng(1);
    row_ptr.resize(rows + 1);
    for (std::int32_t r = 0; r <= rows; ++r) row_ptr[r] = r * per_row;
    col_ind.resize(static_cast<std::size_t>(rows) * per_row);
    values.resize(col_ind.size());
    for (auto& c : col_ind) c = static_cast<std::int32_t>(rng() % cols);
    std::iota(values.begin(), values.end(), 0.0);
  }
};
const random_matrix& matrix() {
  static const random_matrix m;
  return m;
}

void BM_SortMatrixEmulatedGpu(benchmark::State& state) {
  const auto& m = matrix();
  sycl::queue q{hostsycl::emulated_gpu("emu-a2")};
  auto* rp = sycl::malloc_device<std::int32_t>(m.row_ptr.size(), q);
  auto* ci = sycl::malloc_device<std::int32_t>(m.col_ind.size(), q);
  auto* va = sycl::malloc_device<double>(m.values.size(), q);
  q.memcpy(rp, m.row_ptr.data(), m.row_ptr.size() * sizeof(std::int32_t)).wait();
  for (auto _ : state) {
    state.PauseTiming();
    q.memcpy(ci, m.col_ind.data(), m.col_ind.size() * sizeof(std::int32_t)).wait();
    q.memcpy(va, m.values.data(), m.values.size() * sizeof(double)).wait();
    vs::matrix_handle* h = nullptr;
    vs::init_matrix_handle(&h);
    vs::set_csr_data(q, h, rows, cols, vrt::index_base::zero, rp, ci, va).wait();
    state.ResumeTiming();
    vs::sort_matrix(q, h).wait();
    state.PauseTiming();
    vs::release_matrix_handle(q, &h).wait();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(m.col_ind.size()));
  sycl::free(rp, q);
  sycl::free(ci, q);
  sycl::free(va, q);
}

void BM_SortRowsHostPeer(benchmark::State& state) {
  const auto& m = matrix();
  std::vector<std::pair<std::int32_t, double>> row(per_row);
  for (auto _ : state) {
    for (std::int32_t r = 0; r < rows; ++r) {
      for (std::int32_t k = 0; k < per_row; ++k)
        row[k] = {m.col_ind[r * per_row + k], m.values[r * per_row + k]};
      std::sort(row.begin(), row.end(),
                [](const auto& a, const auto& b) { return a.first < b.first; });
      benchmark::DoNotOptimize(row.data());
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(m.col_ind.size()));
}

void BM_TransposeEmulatedGpu(benchmark::State& state) {
  const auto& m = matrix();
  sycl::queue q{hostsycl::emulated_gpu("emu-a2")};
  auto* rp = sycl::malloc_device<std::int32_t>(m.row_ptr.size(), q);
  auto* ci = sycl::malloc_device<std::int32_t>(m.col_ind.size(), q);
  auto* va = sycl::malloc_device<double>(m.values.size(), q);
  q.memcpy(rp, m.row_ptr.data(), m.row_ptr.size() * sizeof(std::int32_t)).wait();
  q.memcpy(ci, m.col_ind.data(), m.col_ind.size() * sizeof(std::int32_t)).wait();
  q.memcpy(va, m.values.data(), m.values.size() * sizeof(double)).wait();
  for (auto _ : state) {
    state.PauseTiming();
    vs::matrix_handle* h = nullptr;
    vs::init_matrix_handle(&h);
    vs::set_csr_data(q, h, rows, cols, vrt::index_base::zero, rp, ci, va).wait();
    state.ResumeTiming();
    vs::omatcopy(q, vrt::transpose::trans, h, h).wait();
    state.PauseTiming();
    vs::release_matrix_handle(q, &h).wait();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(m.col_ind.size()));
  sycl::free(rp, q);
  sycl::free(ci, q);
  sycl::free(va, q);
}

void BM_TransposeHostPeer(benchmark::State& state) {
  const auto& m = matrix();
  std::vector<std::int32_t> t_ptr(cols + 1), t_col(m.col_ind.size());
  std::vector<double> t_val(m.values.size());
  for (auto _ : state) {
    std::fill(t_ptr.begin(), t_ptr.end(), 0);
    for (auto c : m.col_ind) ++t_ptr[c + 1];
    std::partial_sum(t_ptr.begin(), t_ptr.end(), t_ptr.begin());
    for (std::int32_t r = 0; r < rows; ++r)
      for (std::int32_t k = m.row_ptr[r]; k < m.row_ptr[r + 1]; ++k) {
        const std::int32_t pos = t_ptr[m.col_ind[k]]++;
        t_col[pos] = r;
        t_val[pos] = m.values[k];
      }
    benchmark::DoNotOptimize(t_col.data());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(m.col_ind.size()));
}

BENCHMARK(BM_SortMatrixEmulatedGpu)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_SortRowsHostPeer)
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_TransposeEmulatedGpu)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_TransposeHostPeer)
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);

}  // namespace

BENCHMARK_MAIN();
