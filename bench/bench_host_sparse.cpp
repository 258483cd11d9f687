// The host sparse engine against Eigen on the same arrays (Eigen maps them, nothing is copied),
// with a STREAM triad as the memory roof: products with a vector and with dense blocks,
// triangular solves after optimisation, and the sparse product A A. Matrices are generated here
// (2D and 3D Laplacians, a wide band and a power-law pattern with a few very long rows), plus the
// largest file of the shared Matrix Market folder, its symmetry expanded.
//
// Run (one line):
//   OMP_NUM_THREADS=2 build/release/bench/bench_host_sparse
//       --benchmark_enable_random_interleaving=true
// (interleaving spreads a busy machine's noise over engine and peer alike).
// bytes_per_second is the effective bandwidth of a product with a vector: 12 bytes per entry,
// 8 (m + n) for the vectors and 4 m for the row pointers.
#include <benchmark/benchmark.h>
#include <omp.h>

#include <Eigen/Sparse>
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "matrix_market.hpp"
#include "vrt/host_sparse.h"

namespace {

using I = int32_t;
using EigenCsr = Eigen::SparseMatrix<double, Eigen::RowMajor, I>;
using EigenMap = Eigen::Map<const EigenCsr>;

const host_matrix_descr general{HOST_MATRIX_TYPE_GENERAL, HOST_FILL_MODE_LOWER, HOST_DIAG_NON_UNIT};
const host_matrix_descr lower{HOST_MATRIX_TYPE_TRIANGULAR, HOST_FILL_MODE_LOWER,
                              HOST_DIAG_NON_UNIT};

struct csr {
  I rows = 0, cols = 0;
  std::vector<I> ptr, col;
  std::vector<double> val;
  std::int64_t nnz() const { return static_cast<std::int64_t>(col.size()); }
  EigenMap eigen() const {
    return EigenMap(rows, cols, static_cast<I>(nnz()), ptr.data(), col.data(), val.data());
  }
};

// Rows from a function that lists the columns of row i; the diagonal dominates.
template <typename Columns>
std::unique_ptr<csr> build(I n, Columns&& columns_of) {
  auto m = std::make_unique<csr>();
  m->rows = m->cols = n;
  m->ptr.reserve(static_cast<std::size_t>(n) + 1);
  m->ptr.push_back(0);
  std::vector<I> cs;
  for (I i = 0; i < n; ++i) {
    cs.clear();
    columns_of(i, cs);
    std::sort(cs.begin(), cs.end());
    for (I c : cs) {
      m->col.push_back(c);
      m->val.push_back(c == i ? 2.0 * static_cast<double>(cs.size()) : -1.0 - 1e-3 * (c % 7));
    }
    m->ptr.push_back(static_cast<I>(m->col.size()));
  }
  return m;
}

std::unique_ptr<csr> laplacian_2d(I side) {
  return build(side * side, [side](I i, std::vector<I>& cs) {
    const I x = i % side, y = i / side;
    cs.push_back(i);
    if (x > 0) cs.push_back(i - 1);
    if (x + 1 < side) cs.push_back(i + 1);
    if (y > 0) cs.push_back(i - side);
    if (y + 1 < side) cs.push_back(i + side);
  });
}

std::unique_ptr<csr> laplacian_3d(I side) {
  const I plane = side * side;
  return build(side * plane, [side, plane](I i, std::vector<I>& cs) {
    const I x = i % side, y = (i / side) % side, z = i / plane;
    cs.push_back(i);
    if (x > 0) cs.push_back(i - 1);
    if (x + 1 < side) cs.push_back(i + 1);
    if (y > 0) cs.push_back(i - side);
    if (y + 1 < side) cs.push_back(i + side);
    if (z > 0) cs.push_back(i - plane);
    if (z + 1 < side) cs.push_back(i + plane);
  });
}

std::unique_ptr<csr> banded(I n, I width) {
  return build(n, [n, width](I i, std::vector<I>& cs) {
    for (I d = -width / 2; d <= width / 2; ++d)
      if (i + d >= 0 && i + d < n) cs.push_back(i + d);
  });
}

// About `entries` entries over n rows with lengths drawn from a power law, plus a few rows of
// 100k entries; random columns.
std::unique_ptr<csr> power_law(I n, std::int64_t entries) {
  std::mt19937 rng(7);
  std::vector<I> length(static_cast<std::size_t>(n));
  std::uniform_real_distribution<double> u(0.0, 1.0);
  std::int64_t total = 0;
  for (auto& l : length) {
    l = std::min<I>(2000, static_cast<I>(2.0 / std::pow(1.0 - u(rng) * 0.999, 1.0 / 1.2)));
    total += l;
  }
  const double scale = static_cast<double>(entries - 5 * 100000) / static_cast<double>(total);
  for (auto& l : length) l = std::max<I>(1, static_cast<I>(l * scale));
  for (int k = 0; k < 5; ++k) length[(static_cast<std::size_t>(k) * 196613) % n] = 100000;
  std::uniform_int_distribution<I> column(0, n - 1);
  return build(n, [&](I i, std::vector<I>& cs) {
    cs.push_back(i);
    for (I k = 1; k < length[i]; ++k) cs.push_back(column(rng));
    std::sort(cs.begin(), cs.end());
    cs.erase(std::unique(cs.begin(), cs.end()), cs.end());
  });
}

// The lower triangle of a matrix, for solves.
std::unique_ptr<csr> lower_triangle(const csr& a) {
  auto m = std::make_unique<csr>();
  m->rows = a.rows;
  m->cols = a.cols;
  m->ptr.push_back(0);
  for (I i = 0; i < a.rows; ++i) {
    for (I k = a.ptr[i]; k < a.ptr[i + 1]; ++k)
      if (a.col[k] <= i) {
        m->col.push_back(a.col[k]);
        m->val.push_back(a.val[k]);
      }
    m->ptr.push_back(static_cast<I>(m->col.size()));
  }
  return m;
}

// The shared folder's largest matrix (by entries after expansion), in sorted rows; empty when
// the folder is missing.
std::unique_ptr<csr> market() {
  namespace mm = orvane::vrt::matrix_market;
  auto m = std::make_unique<csr>();
  mm::coordinate_matrix a;
  try {
    a = mm::expand_symmetry(
        mm::read_file(std::string(VRT_BENCH_MATRICES) + "/" + VRT_BENCH_LARGEST));
  } catch (const std::exception&) {
    return m;
  }
  m->rows = static_cast<I>(a.rows);
  m->cols = static_cast<I>(a.cols);
  std::vector<std::size_t> order(a.row.size());
  for (std::size_t k = 0; k < order.size(); ++k) order[k] = k;
  std::sort(order.begin(), order.end(), [&](std::size_t p, std::size_t q) {
    return a.row[p] != a.row[q] ? a.row[p] < a.row[q] : a.col[p] < a.col[q];
  });
  m->ptr.assign(static_cast<std::size_t>(m->rows) + 1, 0);
  for (std::size_t k : order) {
    ++m->ptr[static_cast<std::size_t>(a.row[k]) + 1];
    m->col.push_back(static_cast<I>(a.col[k]));
    m->val.push_back(a.value[k].real());
  }
  for (I i = 0; i < m->rows; ++i) m->ptr[i + 1] += m->ptr[i];
  return m;
}

// Ids at and above `lowered` are the lower triangle of the matrix id - lowered.
enum matrix_id { lap2d, lap3d, band, powerlaw, shared, lowered };
const char* const names[] = {"laplacian2d_1M", "laplacian3d_100", "banded_2M_27", "powerlaw_1M_10M",
                             "shared_" VRT_BENCH_LARGEST};

std::string name_of(std::int64_t id) {
  return id >= lowered ? std::string(names[id - lowered]) + "_lower" : names[id];
}

const csr& matrix(std::int64_t id) {
  static std::map<std::int64_t, std::unique_ptr<csr>> made;
  auto& m = made[id];
  if (!m) {
    switch (id) {
      case lap2d:
        m = laplacian_2d(1000);
        break;
      case lap3d:
        m = laplacian_3d(100);
        break;
      case band:
        m = banded(2000000, 27);
        break;
      case powerlaw:
        m = power_law(1000000, 10000000);
        break;
      case shared:
        m = market();
        break;
      default:
        m = lower_triangle(matrix(id - lowered));
        break;
    }
  }
  return *m;
}

// The engine's handle over a matrix's arrays, optimised for the given hints.
struct handle {
  host_matrix_t A = nullptr;
  explicit handle(const csr& m) {
    auto& c = const_cast<csr&>(m);
    vrt_sparse_d_create_csr_i4(&A, 0, c.rows, c.cols, c.ptr.data(), c.ptr.data() + 1, c.col.data(),
                               c.val.data());
  }
  ~handle() { vrt_sparse_destroy_i4(A); }
};

void spmv_counters(benchmark::State& state, const csr& m) {
  state.counters["bytes_per_second"] = benchmark::Counter(
      static_cast<double>(12 * m.nnz() + 8 * (std::int64_t{m.rows} + m.cols) +
                          4 * std::int64_t{m.rows}),
      benchmark::Counter::kIsIterationInvariantRate, benchmark::Counter::kIs1024);
  state.counters["nnz"] = static_cast<double>(m.nnz());
}

void BM_SpMV_Engine(benchmark::State& state) {
  const csr& m = matrix(state.range(0));
  if (m.rows == 0) return state.SkipWithError("matrix missing");
  state.SetLabel(name_of(state.range(0)));
  handle h(m);
  vrt_sparse_set_mv_hint_i4(h.A, HOST_OPERATION_NON_TRANSPOSE, general, 1000);
  vrt_sparse_optimize_i4(h.A);
  Eigen::VectorXd x = Eigen::VectorXd::Ones(m.cols), y = Eigen::VectorXd::Zero(m.rows);
  for (auto _ : state) {
    vrt_sparse_d_mv_i4(HOST_OPERATION_NON_TRANSPOSE, 1.0, h.A, general, x.data(), 0.0, y.data());
    benchmark::DoNotOptimize(y.data());
  }
  spmv_counters(state, m);
}

void BM_SpMV_Eigen(benchmark::State& state) {
  const csr& m = matrix(state.range(0));
  if (m.rows == 0) return state.SkipWithError("matrix missing");
  state.SetLabel(name_of(state.range(0)));
  Eigen::setNbThreads(omp_get_max_threads());
  const EigenMap a = m.eigen();
  Eigen::VectorXd x = Eigen::VectorXd::Ones(m.cols), y(m.rows);
  for (auto _ : state) {
    y.noalias() = a * x;
    benchmark::DoNotOptimize(y.data());
  }
  spmv_counters(state, m);
}

void BM_SpMV_Transposed_Engine(benchmark::State& state) {
  const csr& m = matrix(state.range(0));
  if (m.rows == 0) return state.SkipWithError("matrix missing");
  state.SetLabel(name_of(state.range(0)) + (state.range(1) ? " optimized" : " scattered"));
  handle h(m);
  if (state.range(1)) {
    vrt_sparse_set_mv_hint_i4(h.A, HOST_OPERATION_TRANSPOSE, general, 1000);
    vrt_sparse_optimize_i4(h.A);
  }
  std::vector<double> x(static_cast<std::size_t>(m.rows), 1.0), y(static_cast<std::size_t>(m.cols));
  for (auto _ : state) {
    vrt_sparse_d_mv_i4(HOST_OPERATION_TRANSPOSE, 1.0, h.A, general, x.data(), 0.0, y.data());
    benchmark::DoNotOptimize(y.data());
  }
  spmv_counters(state, m);
}

void BM_SpMV_Transposed_Eigen(benchmark::State& state) {
  const csr& m = matrix(state.range(0));
  if (m.rows == 0) return state.SkipWithError("matrix missing");
  state.SetLabel(name_of(state.range(0)));
  Eigen::setNbThreads(omp_get_max_threads());
  const EigenMap a = m.eigen();
  Eigen::VectorXd x = Eigen::VectorXd::Ones(m.rows), y(m.cols);
  for (auto _ : state) {
    y.noalias() = a.transpose() * x;
    benchmark::DoNotOptimize(y.data());
  }
  spmv_counters(state, m);
}

// a = b + s c over 2^25 doubles: 24 bytes an element, the roof for streaming kernels.
void BM_StreamTriad(benchmark::State& state) {
  const std::int64_t n = std::int64_t{1} << 25;
  std::unique_ptr<double[]> a(new double[n]), b(new double[n]), c(new double[n]);
#pragma omp parallel for schedule(static)
  for (std::int64_t i = 0; i < n; ++i) a[i] = 0, b[i] = 1, c[i] = 2;
  for (auto _ : state) {
#pragma omp parallel for schedule(static)
    for (std::int64_t i = 0; i < n; ++i) a[i] = b[i] + 3.0 * c[i];
    benchmark::DoNotOptimize(a.get());
  }
  state.counters["bytes_per_second"] =
      benchmark::Counter(static_cast<double>(24 * n), benchmark::Counter::kIsIterationInvariantRate,
                         benchmark::Counter::kIs1024);
}

// Dense blocks: range(1) columns, range(2) 1 for row-major X and Y.
void BM_SpMM_Engine(benchmark::State& state) {
  const csr& m = matrix(state.range(0));
  if (m.rows == 0) return state.SkipWithError("matrix missing");
  const I k = static_cast<I>(state.range(1));
  const bool row_major = state.range(2) != 0;
  state.SetLabel(name_of(state.range(0)) + (row_major ? " row-major" : " column-major"));
  handle h(m);
  std::vector<double> x(static_cast<std::size_t>(m.cols) * k, 1.0),
      y(static_cast<std::size_t>(m.rows) * k);
  const host_layout_t layout = row_major ? HOST_LAYOUT_ROW_MAJOR : HOST_LAYOUT_COLUMN_MAJOR;
  auto product = [&] {
    vrt_sparse_d_mm_i4(HOST_OPERATION_NON_TRANSPOSE, 1.0, h.A, general, layout, x.data(), k,
                       row_major ? k : m.cols, 0.0, y.data(), row_major ? k : m.rows);
  };
  // The first column-major call allocates the buffer X is packed into (kept with the matrix);
  // timed calls are the repeated ones.
  product();
  for (auto _ : state) {
    product();
    benchmark::DoNotOptimize(y.data());
  }
}

template <int Order>
void spmm_eigen(benchmark::State& state, const csr& m, I k) {
  using Dense = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Order>;
  const EigenMap a = m.eigen();
  Dense x = Dense::Ones(m.cols, k), y(m.rows, k);
  y.noalias() = a * x;
  for (auto _ : state) {
    y.noalias() = a * x;
    benchmark::DoNotOptimize(y.data());
  }
}

void BM_SpMM_Eigen(benchmark::State& state) {
  const csr& m = matrix(state.range(0));
  if (m.rows == 0) return state.SkipWithError("matrix missing");
  const I k = static_cast<I>(state.range(1));
  const bool row_major = state.range(2) != 0;
  state.SetLabel(name_of(state.range(0)) + (row_major ? " row-major" : " column-major"));
  Eigen::setNbThreads(omp_get_max_threads());
  if (row_major)
    spmm_eigen<Eigen::RowMajor>(state, m, k);
  else
    spmm_eigen<Eigen::ColMajor>(state, m, k);
}

void BM_Trsv_Engine(benchmark::State& state) {
  const csr& m = matrix(state.range(0));
  if (m.rows == 0) return state.SkipWithError("matrix missing");
  state.SetLabel(name_of(state.range(0)));
  handle h(m);
  vrt_sparse_set_sv_hint_i4(h.A, HOST_OPERATION_NON_TRANSPOSE, lower, 1000);
  vrt_sparse_optimize_i4(h.A);
  std::vector<double> x(static_cast<std::size_t>(m.rows), 1.0), y(static_cast<std::size_t>(m.rows));
  for (auto _ : state) {
    vrt_sparse_d_trsv_i4(HOST_OPERATION_NON_TRANSPOSE, 1.0, h.A, lower, x.data(), y.data());
    benchmark::DoNotOptimize(y.data());
  }
}

void BM_Trsv_Eigen(benchmark::State& state) {
  const csr& m = matrix(state.range(0));
  if (m.rows == 0) return state.SkipWithError("matrix missing");
  state.SetLabel(name_of(state.range(0)));
  const EigenMap a = m.eigen();
  Eigen::VectorXd x = Eigen::VectorXd::Ones(m.rows), y(m.rows);
  for (auto _ : state) {
    y = x;
    a.triangularView<Eigen::Lower>().solveInPlace(y);
    benchmark::DoNotOptimize(y.data());
  }
}

void BM_SpGemm_Engine(benchmark::State& state) {
  const csr& m = matrix(state.range(0));
  if (m.rows == 0) return state.SkipWithError("matrix missing");
  state.SetLabel(name_of(state.range(0)));
  handle h(m);
  for (auto _ : state) {
    host_matrix_t c = nullptr;
    vrt_sparse_sp2m_i4(HOST_OPERATION_NON_TRANSPOSE, general, h.A, HOST_OPERATION_NON_TRANSPOSE,
                       general, h.A, HOST_REQUEST_FULL_MULT, &c);
    I nnz = 0;
    vrt_sparse_get_nnz_i4(c, &nnz);
    state.counters["product_nnz"] = nnz;
    vrt_sparse_destroy_i4(c);
  }
}

void BM_SpGemm_Eigen(benchmark::State& state) {
  const csr& m = matrix(state.range(0));
  if (m.rows == 0) return state.SkipWithError("matrix missing");
  state.SetLabel(name_of(state.range(0)));
  const EigenMap a = m.eigen();
  for (auto _ : state) {
    EigenCsr c = a * a;
    state.counters["product_nnz"] = static_cast<double>(c.nonZeros());
    benchmark::DoNotOptimize(c.valuePtr());
  }
}

// Repetitions come from the command line, so that they can be interleaved with the peer's
// (--benchmark_enable_random_interleaving): on a shared machine back-to-back repetitions of one
// benchmark see one phase of the neighbours' load.
#define HS_BENCH(f) BENCHMARK(f)->Unit(benchmark::kMillisecond)->UseRealTime()

HS_BENCH(BM_StreamTriad);
HS_BENCH(BM_SpMV_Engine)->DenseRange(lap2d, shared);
HS_BENCH(BM_SpMV_Eigen)->DenseRange(lap2d, shared);
HS_BENCH(BM_SpMV_Transposed_Engine)
    ->Args({lap2d, 0})
    ->Args({lap2d, 1})
    ->Args({powerlaw, 0})
    ->Args({powerlaw, 1});
HS_BENCH(BM_SpMV_Transposed_Eigen)->Arg(lap2d)->Arg(powerlaw);
HS_BENCH(BM_SpMM_Engine)->ArgsProduct({{lap2d}, {8, 32}, {1, 0}});
HS_BENCH(BM_SpMM_Eigen)->ArgsProduct({{lap2d}, {8, 32}, {1, 0}});
HS_BENCH(BM_Trsv_Engine)->DenseRange(lowered + lap2d, lowered + shared);
HS_BENCH(BM_Trsv_Eigen)->DenseRange(lowered + lap2d, lowered + shared);
HS_BENCH(BM_SpGemm_Engine)->Arg(lap2d)->Arg(lap3d);
HS_BENCH(BM_SpGemm_Eigen)->Arg(lap2d)->Arg(lap3d);

}  // namespace

BENCHMARK_MAIN();
