// The host sparse engine's sparse product A A, transpose and row sort on matrices that
// bench/vs_scipy.py wrote as raw arrays; that script times SciPy on the same files in its own
// process and reports the ratios.
//
// Run through the script:
//   /usr/bin/python3 bench/vs_scipy.py build/release/bench/bench_host_vs_scipy
// Each matrix NAME in the folder named by VRT_BENCH_MATRICES has NAME.meta (rows cols nnz, and 1
// when A A is timed), NAME.ptr and NAME.col (int32), NAME.val (float64), and NAME.scol /
// NAME.sval: the same rows with their entries shuffled, the input of the row sort.
#include <benchmark/benchmark.h>
#include <sys/mman.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "vrt/host_sparse.h"

namespace {

using I = int32_t;

struct csr {
  std::string name;
  I rows = 0, cols = 0;
  bool product = false;  // whether A A is timed (a band of 2M rows makes too large a product)
  std::vector<I> ptr, col, shuffled_col;
  std::vector<double> val, shuffled_val;
  I nnz() const { return static_cast<I>(col.size()); }
};

template <typename V>
std::vector<V> read_array(const std::filesystem::path& file, std::size_t count) {
  std::vector<V> v(count);
  std::ifstream in(file, std::ios::binary);
  if (!in.read(reinterpret_cast<char*>(v.data()), static_cast<std::streamsize>(count * sizeof(V))))
    throw std::runtime_error("cannot read " + file.string());
  return v;
}

csr load(const std::filesystem::path& folder, const std::string& name) {
  csr m;
  m.name = name;
  std::int64_t nnz = 0;
  int product = 0;
  std::ifstream meta(folder / (name + ".meta"));
  if (!(meta >> m.rows >> m.cols >> nnz >> product))
    throw std::runtime_error("bad meta of " + name);
  m.product = product != 0;
  const auto n = static_cast<std::size_t>(nnz);
  m.ptr = read_array<I>(folder / (name + ".ptr"), static_cast<std::size_t>(m.rows) + 1);
  m.col = read_array<I>(folder / (name + ".col"), n);
  m.val = read_array<double>(folder / (name + ".val"), n);
  m.shuffled_col = read_array<I>(folder / (name + ".scol"), n);
  m.shuffled_val = read_array<double>(folder / (name + ".sval"), n);
  return m;
}

void check(sparse_status_t status, benchmark::State& state) {
  if (status != SPARSE_STATUS_SUCCESS) state.SkipWithError("engine call failed");
}

void sparse_product(benchmark::State& state, const csr* m) {
  host_matrix_t A = nullptr;
  auto& a = const_cast<csr&>(*m);
  check(vrt_sparse_d_create_csr_i4(&A, 0, a.rows, a.cols, a.ptr.data(), a.ptr.data() + 1,
                                   a.col.data(), a.val.data()),
        state);
  const host_matrix_descr general{HOST_MATRIX_TYPE_GENERAL, HOST_FILL_MODE_LOWER,
                                  HOST_DIAG_NON_UNIT};
  for (auto _ : state) {
    host_matrix_t C = nullptr;
    check(vrt_sparse_sp2m_i4(HOST_OPERATION_NON_TRANSPOSE, general, A, HOST_OPERATION_NON_TRANSPOSE,
                             general, A, HOST_REQUEST_FULL_MULT, &C),
          state);
    benchmark::DoNotOptimize(C);
    vrt_sparse_destroy_i4(C);
  }
  vrt_sparse_destroy_i4(A);
}

// An uninitialised array as NumPy makes one for a result: large ones are advised onto huge
// pages, without which first touches cost more than the transpose on virtual machines.
template <typename V>
std::unique_ptr<V[]> result_array(std::size_t n) {
  std::unique_ptr<V[]> a(new V[n]);
  constexpr std::uintptr_t huge = std::uintptr_t{2} << 20;
  if (n * sizeof(V) >= 4 * huge) {
    const auto start = (reinterpret_cast<std::uintptr_t>(a.get()) + huge - 1) & ~(huge - 1);
    const auto end = (reinterpret_cast<std::uintptr_t>(a.get()) + n * sizeof(V)) & ~(huge - 1);
    if (end > start) madvise(reinterpret_cast<void*>(start), end - start, MADV_HUGEPAGE);
  }
  return a;
}

// The output arrays are allocated in the loop, as SciPy allocates its result.
void transpose(benchmark::State& state, const csr* m) {
  for (auto _ : state) {
    auto ptr = result_array<I>(static_cast<std::size_t>(m->cols) + 1);
    auto col = result_array<I>(static_cast<std::size_t>(m->nnz()));
    auto val = result_array<double>(static_cast<std::size_t>(m->nnz()));
    check(vrt_sparse_d_csr_transpose_i4(HOST_OPERATION_TRANSPOSE, 0, m->rows, m->cols,
                                        m->ptr.data(), m->ptr.data() + 1, m->col.data(),
                                        m->val.data(), 0, ptr.get(), col.get(), val.get()),
          state);
    benchmark::DoNotOptimize(val.get());
  }
}

// Sorting works in place: every iteration starts from a fresh copy of the shuffled rows.
void row_sort(benchmark::State& state, const csr* m) {
  std::vector<I> ptr = m->ptr, col;
  std::vector<double> val;
  for (auto _ : state) {
    state.PauseTiming();
    col = m->shuffled_col;
    val = m->shuffled_val;
    host_matrix_t A = nullptr;
    check(vrt_sparse_d_create_csr_i4(&A, 0, m->rows, m->cols, ptr.data(), ptr.data() + 1,
                                     col.data(), val.data()),
          state);
    state.ResumeTiming();
    check(vrt_sparse_d_do_order_i4(A), state);
    state.PauseTiming();
    vrt_sparse_destroy_i4(A);
    state.ResumeTiming();
  }
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  const char* folder = std::getenv("VRT_BENCH_MATRICES");
  if (folder == nullptr) {
    std::fprintf(stderr, "VRT_BENCH_MATRICES must name the folder written by bench/vs_scipy.py\n");
    return 2;
  }
  std::vector<std::unique_ptr<csr>> matrices;
  for (const auto& entry : std::filesystem::directory_iterator(folder))
    if (entry.path().extension() == ".meta")
      matrices.push_back(std::make_unique<csr>(load(folder, entry.path().stem().string())));
  for (const auto& m : matrices) {
    const csr* p = m.get();
    if (m->product)
      benchmark::RegisterBenchmark(("sp2m/" + m->name).c_str(), sparse_product, p)
          ->Unit(benchmark::kMillisecond)
          ->UseRealTime();
    benchmark::RegisterBenchmark(("transpose/" + m->name).c_str(), transpose, p)
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime();
    benchmark::RegisterBenchmark(("sort/" + m->name).c_str(), row_sort, p)
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime();
  }
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
