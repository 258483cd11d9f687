// Costs of the host SYCL runtime: launch latency, streaming throughput against a plain OpenMP
// loop over the same data, work-group barriers and sub-group reductions.
#include <benchmark/benchmark.h>
#include <omp.h>

#include <sycl/sycl.hpp>

namespace {

sycl::queue& gpu_queue() {
  static sycl::queue q{sycl::gpu_selector_v};
  return q;
}

void BM_EmptySingleTask(benchmark::State& state) {
  auto& q = gpu_queue();
  for (auto _ : state) q.single_task([] {}).wait();
}
BENCHMARK(BM_EmptySingleTask)->UseRealTime();

void BM_EmptyNdRangeOneGroup(benchmark::State& state) {
  auto& q = gpu_queue();
  for (auto _ : state) q.parallel_for(sycl::nd_range<1>(16, 16), [](sycl::nd_item<1>) {}).wait();
}
BENCHMARK(BM_EmptyNdRangeOneGroup)->UseRealTime();

void BM_HostTask(benchmark::State& state) {
  static sycl::queue cpu{sycl::cpu_selector_v};
  for (auto _ : state) cpu.submit([](sycl::handler& h) { h.host_task([] {}); }).wait();
}
BENCHMARK(BM_HostTask)->UseRealTime();

constexpr std::size_t stream_n = std::size_t{1} << 24;

struct stream_data {
  double* x;
  double* y;
  stream_data() {
    auto& q = gpu_queue();
    x = sycl::malloc_shared<double>(stream_n, q);
    y = sycl::malloc_shared<double>(stream_n, q);
    q.parallel_for(sycl::range<1>(stream_n), [x = x, y = y](sycl::id<1> i) {
       x[i] = 1.0;
       y[i] = 2.0;
     }).wait();
  }
};
stream_data& data() {
  static stream_data d;
  return d;
}

// y = a * x + y reads 16 bytes and writes 8 per element.
void BM_StreamParallelFor(benchmark::State& state) {
  auto& q = gpu_queue();
  double* x = data().x;
  double* y = data().y;
  for (auto _ : state)
    q.parallel_for(sycl::range<1>(stream_n), [=](sycl::id<1> i) {
       y[i] = 0.5 * x[i] + y[i];
     }).wait();
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * stream_n * 24));
}
BENCHMARK(BM_StreamParallelFor)->UseRealTime()->Unit(benchmark::kMillisecond);

void BM_StreamOpenMP(benchmark::State& state) {
  double* x = data().x;
  double* y = data().y;
  const auto n = static_cast<std::int64_t>(stream_n);
  for (auto _ : state) {
#pragma omp parallel for schedule(static)
    for (std::int64_t i = 0; i < n; ++i) y[i] = 0.5 * x[i] + y[i];
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * stream_n * 24));
}
BENCHMARK(BM_StreamOpenMP)->UseRealTime()->Unit(benchmark::kMillisecond);

// Work-groups of 256 items each passing K barriers: time per work-item and barrier.
void BM_WorkGroupBarrier(benchmark::State& state) {
  auto& q = gpu_queue();
  constexpr std::size_t groups = 64, wg = 256;
  const int k = static_cast<int>(state.range(0));
  for (auto _ : state)
    q.parallel_for(sycl::nd_range<1>(groups * wg, wg), [=](sycl::nd_item<1> it) {
       for (int i = 0; i < k; ++i) sycl::group_barrier(it.get_group());
     }).wait();
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * groups * wg * k));
}
BENCHMARK(BM_WorkGroupBarrier)->Arg(1)->Arg(16)->UseRealTime()->Unit(benchmark::kMillisecond);

// One sub-group reduction per work-item.
void BM_SubGroupReduce(benchmark::State& state) {
  auto& q = gpu_queue();
  constexpr std::size_t n = 1 << 16, wg = 256;
  double* out = sycl::malloc_device<double>(n, q);
  for (auto _ : state)
    q.parallel_for(sycl::nd_range<1>(n, wg), [=](sycl::nd_item<1> it) {
       const double x = static_cast<double>(it.get_global_id(0));
       out[it.get_global_id(0)] =
           sycl::reduce_over_group(it.get_sub_group(), x, sycl::plus<double>());
     }).wait();
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * n));
  sycl::free(out, q);
}
BENCHMARK(BM_SubGroupReduce)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
