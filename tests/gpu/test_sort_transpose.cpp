// Row sort, explicit transposes and omatcopy on emulated GPUs, against plain references.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <hostsycl/hostsycl.hpp>
#include <initializer_list>
#include <set>
#include <thread>
#include <tuple>

#include "gpu/format/sort_kernel.hpp"
#include "handle/handle.hpp"
#include "support/device_arrays.hpp"
#include "support/sparse_matrices.hpp"
#include "support/test_helpers.hpp"

namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;
namespace vk = orvane::vrt::sparse::gpu::kernels;
using vrt_test::csr_matrix;

namespace {

using vrt_test::expect_message;

using vrt_test::all_variants;

using vrt_test::memory;

// ---- the row sort itself, on the host ------------------------------------------------------

std::vector<std::int64_t> keys_of_kind(std::size_t n, int kind, std::mt19937& rng) {
  std::vector<std::int64_t> k(n);
  for (std::size_t i = 0; i < n; ++i) {
    switch (kind) {
      case 0:
        k[i] = static_cast<std::int64_t>(i);
        break;  // sorted
      case 1:
        k[i] = static_cast<std::int64_t>(n - i);
        break;  // reverse
      case 2:
        k[i] = static_cast<std::int64_t>(rng() % 5);
        break;  // many equal keys
      default:
        k[i] = static_cast<std::int64_t>(rng() % 100000);  // random
    }
  }
  return k;
}

TEST(RowSort, KeysEndAscendingAndValuesFollowThem) {
  std::mt19937 rng(3);
  for (std::size_t n : {0, 1, 2, 3, 4, 5, 16, 17, 18, 31, 64, 100, 1000, 4999}) {
    for (int kind = 0; kind < 4; ++kind) {
      auto keys = keys_of_kind(n, kind, rng);
      std::vector<double> values(n);
      for (std::size_t i = 0; i < n; ++i) values[i] = static_cast<double>(keys[i]) * 3 + 0.5;
      vk::quicksort_nonrecursive<std::int64_t, double>(static_cast<std::int64_t>(n), keys.data(),
                                                       values.data());
      ASSERT_TRUE(std::is_sorted(keys.begin(), keys.end())) << n << " kind " << kind;
      for (std::size_t i = 0; i < n; ++i)
        ASSERT_EQ(values[i], static_cast<double>(keys[i]) * 3 + 0.5) << n << " kind " << kind;
    }
  }
}

TEST(RowSort, MergeExchangeNetworkSortsEveryLength) {
  std::mt19937 rng(4);
  for (std::int64_t n = 1; n <= 300; ++n) {
    auto keys = keys_of_kind(static_cast<std::size_t>(n), n % 4, rng);
    auto expected = keys;
    std::sort(expected.begin(), expected.end());
    vk::merge_exchange_sort<std::int64_t, vk::NoValues>(n, {keys.data(), nullptr});
    ASSERT_EQ(keys, expected) << n;
  }
}

TEST(RowSort, SmallListsOfTwoToSixteen) {
  for (std::int64_t n = 2; n <= 16; ++n) {
    std::vector<int> keys(static_cast<std::size_t>(n));
    // Every permutation of a short prefix through a rotating pattern.
    for (int seed = 0; seed < 50; ++seed) {
      std::mt19937 rng(static_cast<unsigned>(seed));
      for (auto& k : keys) k = static_cast<int>(rng() % 7);
      std::vector<std::complex<float>> values(keys.size());
      for (std::size_t i = 0; i < keys.size(); ++i) values[i] = {float(keys[i]), -float(keys[i])};
      vk::small_list_sort<int, std::complex<float>>(n, {keys.data(), values.data()});
      ASSERT_TRUE(std::is_sorted(keys.begin(), keys.end()));
      for (std::size_t i = 0; i < keys.size(); ++i) ASSERT_EQ(values[i].real(), float(keys[i]));
    }
  }
}

// ---- matrices on the device ----------------------------------------------------------------

// A COO matrix on the host: one row index per entry.
template <typename T, typename I>
struct coo_matrix {
  std::int64_t nrows = 0;
  std::int64_t ncols = 0;
  int base = 0;
  std::vector<I> rows, cols;
  std::vector<T> values;
};

template <typename T, typename I>
coo_matrix<T, I> sentinel_coo(std::int64_t nrows, std::int64_t ncols, std::size_t nnz, int base) {
  return {nrows,
          ncols,
          base,
          std::vector<I>(nnz, I(-1)),
          std::vector<I>(nnz, I(-1)),
          vrt_test::nan_vector<T>(nnz)};
}

template <typename T, typename I>
coo_matrix<T, I> to_coo(const csr_matrix<T, I>& A) {
  coo_matrix<T, I> m{A.nrows, A.ncols, A.base, {}, A.col_ind, A.values};
  for (std::int64_t r = 0; r < A.nrows; ++r)
    for (I j = A.row_ptr[r] - A.base; j < A.row_ptr[r + 1] - A.base; ++j)
      m.rows.push_back(static_cast<I>(r + A.base));
  return m;
}

// Binds host arrays (CSR or COO) to a handle in the chosen memory model and keeps them alive;
// reads back what the routines wrote into them.
template <typename T, typename I>
struct device_matrix {
  vrt_test::bound_matrix<T, I> bound;
  vs::matrix_handle* h;

  device_matrix(sycl::queue& q, memory m, const csr_matrix<T, I>& A, bool values_too = true,
                memory usm_kind = memory::device)
      : bound(q, A.nrows, A.ncols, A.base, A.row_ptr, A.col_ind, A.values,
              m == memory::buffer ? m : usm_kind, vrt_test::storage::csr, values_too),
        h(bound.handle()) {
    bound.wait();
  }

  device_matrix(sycl::queue& q, memory m, const coo_matrix<T, I>& A)
      : bound(q, A.nrows, A.ncols, A.base, A.rows, A.cols, A.values, m, vrt_test::storage::coo),
        h(bound.handle()) {
    bound.wait();
  }

  // The bound CSR arrays as they are now. Row pointers a routine left unwritten give a count
  // outside the arrays: then every entry is returned, and the row pointers fail the comparison.
  csr_matrix<T, I> read(std::int64_t nrows, std::int64_t ncols, int base) {
    csr_matrix<T, I> out;
    out.nrows = nrows;
    out.ncols = ncols;
    out.base = base;
    out.row_ptr = bound.first().read();
    const auto cols = bound.col_ind().read();
    const auto values = bound.values().read();
    std::int64_t nnz = static_cast<std::int64_t>(out.row_ptr.back()) - base;
    if (nnz < 0 || nnz > static_cast<std::int64_t>(cols.size()))
      nnz = static_cast<std::int64_t>(cols.size());
    out.col_ind.assign(cols.begin(), cols.begin() + nnz);
    out.values.assign(values.begin(), values.begin() + nnz);
    return out;
  }

  // The bound COO arrays as they are now.
  coo_matrix<T, I> read_coo(std::int64_t nrows, std::int64_t ncols, int base, std::size_t nnz) {
    return {nrows,
            ncols,
            base,
            bound.first().read(nnz),
            bound.col_ind().read(nnz),
            bound.values().read(nnz)};
  }
};

// Rows as multisets of (column, value) entries. Row pointers outside the arrays (a routine that
// did not write them) give empty rows; the row pointers' own comparison reports them.
template <typename T, typename I>
std::vector<std::multiset<std::tuple<I, double, double>>> row_sets(const csr_matrix<T, I>& A) {
  std::vector<std::multiset<std::tuple<I, double, double>>> sets(static_cast<std::size_t>(A.nrows));
  const auto inside = [&](I j) { return j >= 0 && j < static_cast<I>(A.col_ind.size()); };
  for (std::int64_t r = 0; r < A.nrows; ++r)
    for (I j = A.row_ptr[r] - A.base; j < A.row_ptr[r + 1] - A.base && inside(j); ++j) {
      const std::complex<double> v(A.values[j]);
      sets[r].insert({A.col_ind[j] - A.base, v.real(), v.imag()});
    }
  return sets;
}

template <typename V>
class SortMatrix : public ::testing::Test {};
TYPED_TEST_SUITE(SortMatrix, all_variants);

TYPED_TEST(SortMatrix, RowsOfEveryLengthEndSortedWithTheirValues) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  // Rows of 0, 1, 2, 3, 4, 16 and 17 entries, then long sorted, reversed and repetitive rows.
  csr_matrix<T, I> A;
  A.nrows = 10;
  A.ncols = 5000;
  A.base = 1;
  std::mt19937 rng(9);
  A.row_ptr.push_back(1);
  const int lengths[] = {0, 1, 2, 3, 4, 16, 17, 3000, 2500, 2000};
  for (int r = 0; r < 10; ++r) {
    for (int k = 0; k < lengths[r]; ++k) {
      I col = static_cast<I>(rng() % 5000);
      if (r == 7) col = static_cast<I>(k);          // already sorted
      if (r == 8) col = static_cast<I>(4999 - k);   // reversed
      if (r == 9) col = static_cast<I>(rng() % 4);  // many equal keys
      A.col_ind.push_back(col + 1);
      A.values.push_back(vrt_test::random_value<T>(rng));
    }
    A.row_ptr.push_back(static_cast<I>(A.col_ind.size() + 1));
  }
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  for (memory m : {memory::device, memory::buffer}) {
    device_matrix<T, I> D(q, m, A);
    vs::sort_matrix(q, D.h).wait();
    EXPECT_EQ(D.h->primary->sorted, 1);
    const auto S = D.read(A.nrows, A.ncols, A.base);
    EXPECT_EQ(S.row_ptr, A.row_ptr);
    for (std::int64_t r = 0; r < A.nrows; ++r)
      EXPECT_TRUE(std::is_sorted(S.col_ind.begin() + (S.row_ptr[r] - 1),
                                 S.col_ind.begin() + (S.row_ptr[r + 1] - 1)))
          << "row " << r;
    EXPECT_EQ(row_sets(S), row_sets(A)) << "values follow their columns";
  }
}

TEST(SortMatrixFrame, ASortedHandleRunsNoKernelButWaitsForDependencies) {
  VRT_SKIP_UNLESS_BUILT(float);
  sycl::queue q{hostsycl::emulated_gpu("emu-a2")};
  const auto A = vrt_test::random_csr<float, std::int32_t>(20, 20, 5, 1);
  device_matrix<float, std::int32_t> D(q, memory::device, A);
  vs::set_matrix_property(D.h, vs::property::sorted);
  std::atomic<bool> open{false};
  sycl::event gate = q.submit([&](sycl::handler& h) {
    h.host_task([&] {
      while (!open) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    });
  });
  sycl::event e = vs::sort_matrix(q, D.h, {gate});
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_NE(e.get_info<sycl::info::event::command_execution_status>(),
            sycl::info::event_command_status::complete);
  open = true;
  e.wait();
  // Nothing moved: the columns are as bound.
  EXPECT_EQ(D.read(20, 20, 0).col_ind, A.col_ind);
}

// ---- transposes ----------------------------------------------------------------------------

template <typename T, typename I>
csr_matrix<T, I> reference_transpose(const csr_matrix<T, I>& A, bool conj) {
  csr_matrix<T, I> t;
  t.nrows = A.ncols;
  t.ncols = A.nrows;
  t.base = 0;
  std::vector<std::vector<std::pair<I, T>>> rows(static_cast<std::size_t>(A.ncols));
  for (std::int64_t r = 0; r < A.nrows; ++r)
    for (I j = A.row_ptr[r] - A.base; j < A.row_ptr[r + 1] - A.base; ++j)
      rows[A.col_ind[j] - A.base].push_back(
          {static_cast<I>(r), vrt_test::conj_if(A.values[j], conj)});
  t.row_ptr.push_back(0);
  for (const auto& row : rows) {
    for (const auto& [c, v] : row) {
      t.col_ind.push_back(c);
      t.values.push_back(v);
    }
    t.row_ptr.push_back(static_cast<I>(t.col_ind.size()));
  }
  return t;
}

// The library's own transpose of a handle, read back from its slot.
template <typename T, typename I>
csr_matrix<T, I> own_transpose(sycl::queue& q, device_matrix<T, I>& D, vrt::transpose op) {
  vs::matrix_handle* h = D.h;
  vs::omatcopy(q, op, h, h).wait();
  const vs::sparseStructure* s = op == vrt::transpose::trans ? h->transposed : h->conj_transposed;
  EXPECT_NE(s, nullptr);
  csr_matrix<T, I> t;
  t.nrows = s->nrows;
  t.ncols = s->ncols;
  t.base = s->index;
  t.row_ptr.resize(static_cast<std::size_t>(s->nrows + 1));
  t.col_ind.resize(static_cast<std::size_t>(s->nnz));
  t.values.resize(static_cast<std::size_t>(s->nnz));
  if (s->container == vs::container_usm) {
    q.memcpy(t.row_ptr.data(), s->row_ptr, t.row_ptr.size() * sizeof(I)).wait();
    q.memcpy(t.col_ind.data(), s->col_ind, t.col_ind.size() * sizeof(I)).wait();
    if (s->values != nullptr)
      q.memcpy(t.values.data(), s->values, t.values.size() * sizeof(T)).wait();
  } else {
    sycl::host_accessor r(*static_cast<sycl::buffer<I, 1>*>(s->row_ptr));
    sycl::host_accessor c(*static_cast<sycl::buffer<I, 1>*>(s->col_ind));
    std::copy(r.begin(), r.begin() + t.row_ptr.size(), t.row_ptr.begin());
    std::copy(c.begin(), c.begin() + t.col_ind.size(), t.col_ind.begin());
    if (s->values != nullptr) {
      sycl::host_accessor v(*static_cast<sycl::buffer<T, 1>*>(s->values));
      std::copy(v.begin(), v.begin() + t.values.size(), t.values.begin());
    }
  }
  return t;
}

// check(A, memory, op, D, got, want) for every matrix, memory model and transposing op: D binds A,
// got is the library's own transpose of D and want the reference.
template <typename T, typename I, typename Check>
void for_each_transpose(sycl::queue& q, std::initializer_list<const csr_matrix<T, I>*> matrices,
                        Check&& check) {
  for (const auto* A : matrices) {
    for (memory m : {memory::device, memory::buffer}) {
      for (vrt::transpose op : {vrt::transpose::trans, vrt::transpose::conjtrans}) {
        device_matrix<T, I> D(q, m, *A);
        const auto got = own_transpose(q, D, op);
        const auto want = reference_transpose(*A, op == vrt::transpose::conjtrans);
        check(*A, m, op, D, got, want);
      }
    }
  }
}

template <typename V>
class Transpose : public ::testing::Test {};
TYPED_TEST_SUITE(Transpose, all_variants);

TYPED_TEST(Transpose, ExplicitTransposesMatchTheReference) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a2")};
  // Empty columns (ncols much larger than the entries), one-based input, a zero-column matrix.
  const auto wide = vrt_test::random_csr<T, I>(40, 300, 6, 5, 1);
  const auto tall = vrt_test::random_csr<T, I>(2500, 37, 4, 6, 0, 2, 400);
  const auto no_columns = vrt_test::random_csr<T, I>(5, 0, 3, 7);
  for_each_transpose(q, {&wide, &tall, &no_columns},
                     [&](const csr_matrix<T, I>&, memory, vrt::transpose, device_matrix<T, I>&,
                         const csr_matrix<T, I>& got, const csr_matrix<T, I>& want) {
                       EXPECT_EQ(got.base, 0);
                       EXPECT_EQ(got.row_ptr, want.row_ptr);
                       EXPECT_EQ(row_sets(got), row_sets(want));
                     });
}

// On a CPU queue the host engine transposes: rows come out sorted, so arrays match exactly.
TYPED_TEST(Transpose, OnTheCpuDeviceTheHostEngineTransposes) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{sycl::cpu_selector_v};
  const auto wide = vrt_test::random_csr<T, I>(40, 300, 6, 5, 1);
  const auto large = vrt_test::random_csr<T, I>(20000, 3000, 8, 13, 0);  // split between threads
  const auto no_columns = vrt_test::random_csr<T, I>(5, 0, 3, 7);
  for_each_transpose(
      q, {&wide, &large, &no_columns},
      [&](const csr_matrix<T, I>& A, memory m, vrt::transpose op, device_matrix<T, I>& D,
          const csr_matrix<T, I>& got, const csr_matrix<T, I>& want) {
        EXPECT_EQ(got.base, 0);
        EXPECT_EQ(got.row_ptr, want.row_ptr);
        EXPECT_EQ(got.col_ind, want.col_ind);
        EXPECT_EQ(got.values, want.values);
        // Into a second handle bound one-based, arrays of the right sizes holding sentinels.
        device_matrix<T, I> B(q, m, vrt_test::sentinel_csr<T, I>(A.ncols, A.nrows, A.nnz(), 1));
        vs::omatcopy(q, op, D.h, B.h).wait();
        const auto copy = B.read(A.ncols, A.nrows, 1);
        for (std::size_t r = 0; r < copy.row_ptr.size(); ++r)
          ASSERT_EQ(copy.row_ptr[r], want.row_ptr[r] + 1) << r;
        for (std::size_t k = 0; k < copy.col_ind.size(); ++k)
          ASSERT_EQ(copy.col_ind[k], want.col_ind[k] + 1) << k;
        EXPECT_EQ(copy.values, want.values);
      });
  const auto small = vrt_test::random_csr<T, I>(6, 6, 3, 11);
  device_matrix<T, I> D(q, memory::device, small);
  device_matrix<T, I> S(q, memory::device, small, false);
  expect_message<vrt::invalid_argument>(
      [&] { vs::omatcopy(q, vrt::transpose::trans, S.h, D.h); },
      "orvane::vrt::sparse::omatcopy: invalid argument: Either both input `a` and output `a^T` "
      "arrays must be emptyor both must be allocated with `a^T` at least as long as `a`");
  // Structure only on both sides.
  vs::omatcopy(q, vrt::transpose::trans, S.h, S.h).wait();
  EXPECT_EQ(S.h->transposed->values, nullptr);
  EXPECT_EQ(S.h->transposed->nnz, D.h->primary->nnz);
}

TYPED_TEST(Transpose, HostMemoryTakesTheSingleWorkItemPathWithSortedRows) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a2")};
  const auto A = vrt_test::random_csr<T, I>(60, 45, 8, 8, 1);
  device_matrix<T, I> D(q, memory::device, A, true, memory::host);
  const auto got = own_transpose(q, D, vrt::transpose::conjtrans);
  const auto want = reference_transpose(A, true);
  EXPECT_EQ(got.row_ptr, want.row_ptr);
  EXPECT_EQ(got.col_ind, want.col_ind) << "rows come out in input row order";
  EXPECT_EQ(got.values, want.values);
}

TYPED_TEST(Transpose, GemvWithHostYRunsOnTheExplicitTranspose) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a0")};
  const auto A = vrt_test::random_csr<T, I>(50, 70, 9, 10, 1);
  device_matrix<T, I> D(q, memory::device, A);
  T* x = sycl::malloc_shared<T>(50, q);
  T* y = sycl::malloc_host<T>(70, q);
  std::vector<T> xs(50), ys(70);
  std::mt19937 rng(2);
  for (auto& v : xs) v = vrt_test::random_value<T>(rng);
  for (auto& v : ys) v = vrt_test::random_value<T>(rng);
  for (vrt::transpose op : {vrt::transpose::trans, vrt::transpose::conjtrans}) {
    std::copy(xs.begin(), xs.end(), x);
    std::copy(ys.begin(), ys.end(), y);
    vs::gemv(q, op, T(2), D.h, x, T(-1), y).wait();
    const auto want = vrt_test::reference_gemv(A, op, T(2), xs, T(-1), ys);
    const auto scale = vrt_test::error_scale(A, op, T(2), xs, T(-1), ys);
    vrt_test::expect_close(std::vector<T>(y, y + 70), want, scale, "gemv op(A) host y");
  }
  sycl::free(x, q);
  sycl::free(y, q);
}

TEST(TransposeFrame, RefusalsAndReuse) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a2")};
  const auto A = vrt_test::random_csr<double, std::int32_t>(6, 6, 3, 11);
  device_matrix<double, std::int32_t> D(q, memory::device, A);
  device_matrix<double, std::int32_t> S(q, memory::device, A, false);
  const std::string prefix = "orvane::vrt::sparse::omatcopy: ";
  expect_message<vrt::invalid_argument>(
      [&] { vs::omatcopy(q, vrt::transpose::nontrans, D.h, D.h); },
      prefix + "invalid argument: In-place copy operation is not supported");
  expect_message<vrt::invalid_argument>(
      [&] { vs::omatcopy(q, vrt::transpose::nontrans, S.h, D.h); },
      prefix +
          "invalid argument: Input matrix appears to be CSR structure-only but output "
          "matrix appears to CSR structure+values");
  expect_message<vrt::invalid_argument>(
      [&] { vs::omatcopy(q, vrt::transpose::trans, S.h, D.h); },
      prefix +
          "invalid argument: Either both input `a` and output `a^T` arrays must be emptyor "
          "both must be allocated with `a^T` at least as long as `a`");
  vs::matrix_handle* fresh = nullptr;
  vs::init_matrix_handle(&fresh);
  fresh->fp_type = vs::fp_double;
  fresh->container = vs::container_usm;
  expect_message<vrt::invalid_argument>(
      [&] { vs::omatcopy(q, vrt::transpose::trans, D.h, fresh); },
      prefix + "invalid argument: At least one matrix is not initialized");
  vs::release_matrix_handle(&fresh);
  // Structure only on both sides goes through the structure kernels.
  device_matrix<double, std::int32_t> S2(
      q, memory::device, vrt_test::sentinel_csr<double, std::int32_t>(6, 6, A.nnz(), 0), false);
  vs::omatcopy(q, vrt::transpose::nontrans, S.h, S2.h).wait();
  const auto structure = S2.read(6, 6, 0);
  EXPECT_EQ(structure.row_ptr, A.row_ptr);
  EXPECT_EQ(structure.col_ind, A.col_ind);
  vs::omatcopy(q, vrt::transpose::trans, S.h, S.h).wait();
  EXPECT_EQ(S.h->transposed->values, nullptr);
  // A real matrix with conjtrans gets a slot of its own; a second use finds it.
  vs::omatcopy(q, vrt::transpose::conjtrans, D.h, D.h).wait();
  ASSERT_NE(D.h->conj_transposed, nullptr);
  EXPECT_EQ(D.h->transposed, nullptr);
}

TYPED_TEST(Transpose, OmatcopyChangesTheBaseAndCopiesStoredTransposes) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a2")};
  const auto A = vrt_test::random_csr<T, I>(30, 30, 5, 12, 1);
  auto want = A;
  for (auto& r : want.row_ptr) --r;
  for (auto& c : want.col_ind) --c;
  want.base = 0;
  for (memory m : {memory::device, memory::buffer}) {
    device_matrix<T, I> D(q, m, A);
    device_matrix<T, I> B(q, m, vrt_test::sentinel_csr<T, I>(30, 30, A.nnz(), 0));
    vs::omatcopy(q, vrt::transpose::nontrans, D.h, B.h).wait();
    const auto copy = B.read(30, 30, 0);
    EXPECT_EQ(copy.row_ptr, want.row_ptr);
    EXPECT_EQ(copy.col_ind, want.col_ind);
    EXPECT_EQ(copy.values, want.values);
    // With a stored transpose in A, the transpose into a fresh target is a copy of it.
    vs::omatcopy(q, vrt::transpose::trans, D.h, D.h).wait();
    device_matrix<T, I> Bt(q, m, vrt_test::sentinel_csr<T, I>(30, 30, A.nnz(), 0));
    vs::omatcopy(q, vrt::transpose::trans, D.h, Bt.h).wait();
    const auto transposed = Bt.read(30, 30, 0);
    const auto reference = reference_transpose(A, false);
    EXPECT_EQ(transposed.row_ptr, reference.row_ptr);
    EXPECT_EQ(row_sets(transposed), row_sets(reference));
  }
}

// Entries as a multiset of (row, column, value), whatever the format and the order.
template <typename T, typename I>
std::multiset<std::tuple<std::int64_t, std::int64_t, double, double>> entry_set(
    const coo_matrix<T, I>& A) {
  std::multiset<std::tuple<std::int64_t, std::int64_t, double, double>> set;
  for (std::size_t k = 0; k < A.values.size(); ++k) {
    const std::complex<double> v(A.values[k]);
    set.insert({A.rows[k] - A.base, A.cols[k] - A.base, v.real(), v.imag()});
  }
  return set;
}

// A square matrix equal to its transpose, or for complex values to its conjugate transpose:
// what a copy that writes nothing would pass for when its target starts as the input.
template <typename T, typename I>
csr_matrix<T, I> self_adjoint(std::int64_t n, unsigned seed, bool conjugate, int base) {
  const auto half = vrt_test::random_csr<T, I>(n, n, 4, seed, 0);
  std::vector<std::vector<std::pair<I, T>>> rows(static_cast<std::size_t>(n));
  for (std::int64_t r = 0; r < n; ++r) {
    rows[r].push_back({static_cast<I>(r), T(static_cast<vrt_test::real_t<T>>(2 + r % 3))});
    for (I j = half.row_ptr[r]; j < half.row_ptr[r + 1]; ++j) {
      const I c = half.col_ind[j];
      if (c >= r) continue;
      rows[r].push_back({c, half.values[j]});
      rows[c].push_back({static_cast<I>(r), vrt_test::conj_if(half.values[j], conjugate)});
    }
  }
  csr_matrix<T, I> A;
  A.nrows = A.ncols = n;
  A.base = base;
  A.row_ptr.push_back(static_cast<I>(base));
  for (const auto& row : rows) {
    for (const auto& [c, v] : row) {
      A.col_ind.push_back(static_cast<I>(c + base));
      A.values.push_back(v);
    }
    A.row_ptr.push_back(static_cast<I>(A.col_ind.size() + base));
  }
  return A;
}

// omatcopy into targets of sentinels, on an emulated GPU and on the CPU device, in both formats
// and memory models, for every operation: the target ends as op(A), entry by entry.
TYPED_TEST(Transpose, CopiesOfSymmetricAndHermitianMatricesAreWrittenInFull) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto symmetric = self_adjoint<T, I>(40, 21, false, 1);
  const auto hermitian = self_adjoint<T, I>(40, 22, true, 0);
  for (const char* device : {"emu-a2", "cpu"}) {
    sycl::queue q{std::string(device) == "cpu" ? sycl::device{sycl::cpu_selector_v}
                                               : hostsycl::emulated_gpu(device)};
    for (const auto* A : {&symmetric, &hermitian})
      for (memory m : {memory::device, memory::buffer})
        for (vrt::transpose op :
             {vrt::transpose::nontrans, vrt::transpose::trans, vrt::transpose::conjtrans}) {
          SCOPED_TRACE(std::string(device) + (m == memory::device ? " usm" : " buffer") + " op " +
                       std::to_string(static_cast<int>(op)) +
                       (A == &symmetric ? " symmetric" : " hermitian"));
          const int out_base = 1 - A->base;
          const csr_matrix<T, I> want =
              op == vrt::transpose::nontrans
                  ? *A
                  : reference_transpose(*A, op == vrt::transpose::conjtrans);
          const auto n = static_cast<std::size_t>(A->nnz());
          // CSR: row pointers exactly, each row's entries as a multiset.
          device_matrix<T, I> D(q, m, *A);
          device_matrix<T, I> B(q, m, vrt_test::sentinel_csr<T, I>(40, 40, A->nnz(), out_base));
          vs::omatcopy(q, op, D.h, B.h).wait();
          const auto got = B.read(40, 40, out_base);
          auto want_rows = want.row_ptr;
          for (auto& r : want_rows) r = static_cast<I>(r - want.base + out_base);
          EXPECT_EQ(got.row_ptr, want_rows);
          EXPECT_EQ(row_sets(got), row_sets(want));
          // COO: the same entries.
          device_matrix<T, I> Dc(q, m, to_coo(*A));
          device_matrix<T, I> Bc(q, m, sentinel_coo<T, I>(40, 40, n, out_base));
          vs::omatcopy(q, op, Dc.h, Bc.h).wait();
          EXPECT_EQ(entry_set(Bc.read_coo(40, 40, out_base, n)), entry_set(to_coo(want)));
        }
  }
}

}  // namespace
