// The row-count estimates of C = A * B against plain host counts: the dense family exactly (a
// std::set of columns per row), the hash family as an upper bound that a host model of its
// table reproduces count for count, the product count as sums of B row lengths. Every emulated
// profile and a device that is no GPU, with the planner's sub-group and table sizes; both index
// widths, both memory models, index bases 0 and 1.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <hostsycl/hostsycl.hpp>
#include <iterator>
#include <limits>
#include <numeric>
#include <orvane/vrt/sparse.hpp>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "common/portability.hpp"
#include "gpu/matmat/work_estimation_entry.hpp"
#include "gpu/matmat/work_estimation_plan.hpp"
#include "support/device_arrays.hpp"
#include "support/test_helpers.hpp"

namespace {

namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;
namespace we = orvane::vrt::sparse::gpu::work_estimation;
using vrt_test::expect_message;
using vrt_test::memory;
using vrt_test::prefix;

// ---- host patterns and oracles -------------------------------------------------------------

// A CSR pattern in base 0.
struct pattern {
  std::int64_t rows = 0, cols = 0;
  std::vector<std::int64_t> row_ptr{0}, col_ind;

  std::int64_t nnz() const { return static_cast<std::int64_t>(col_ind.size()); }
  std::int64_t length(std::int64_t r) const { return row_ptr[r + 1] - row_ptr[r]; }
  void add_row(const std::vector<std::int64_t>& cols_of_row) {
    col_ind.insert(col_ind.end(), cols_of_row.begin(), cols_of_row.end());
    row_ptr.push_back(nnz());
    ++rows;
  }
};

// `count` distinct columns of [0, cols) in random order.
std::vector<std::int64_t> distinct_columns(std::int64_t count, std::int64_t cols,
                                           std::mt19937& rng) {
  std::set<std::int64_t> picked;
  std::uniform_int_distribution<std::int64_t> col(0, cols - 1);
  while (static_cast<std::int64_t>(picked.size()) < count) picked.insert(col(rng));
  std::vector<std::int64_t> out(picked.begin(), picked.end());
  std::shuffle(out.begin(), out.end(), rng);
  return out;
}

// B: b_rows rows of distinct columns, row 0 empty, lengths around `avg`; the last row holds
// B's last column and the first, so the edges of every chunk are reached.
pattern make_b(std::int64_t b_rows, std::int64_t b_cols, std::int64_t avg, unsigned seed) {
  std::mt19937 rng(seed);
  std::uniform_int_distribution<std::int64_t> len(avg > 1 ? avg / 2 : 0, avg + avg / 2 + 1);
  pattern B;
  B.cols = b_cols;
  B.add_row({});
  for (std::int64_t r = 1; r + 1 < b_rows; ++r)
    B.add_row(distinct_columns(std::min(len(rng), b_cols), b_cols, rng));
  B.add_row({b_cols - 1, 0});
  return B;
}

// A over B's rows: row 0 empty, row 1 one entry on B's empty row, row 2 one entry on a full
// row, row 3 the same B row three times among others, the rest of random lengths around `avg`.
pattern make_a(std::int64_t a_rows, const pattern& B, std::int64_t avg, unsigned seed) {
  std::mt19937 rng(seed);
  std::uniform_int_distribution<std::int64_t> b_row(0, B.rows - 1);
  std::uniform_int_distribution<std::int64_t> len(avg > 1 ? avg - avg / 2 : 1, avg + avg / 2);
  pattern A;
  A.cols = B.rows;
  A.add_row({});
  A.add_row({0});
  A.add_row({B.rows - 1});
  A.add_row({5 % B.rows, 2 % B.rows, 5 % B.rows, 7 % B.rows, 5 % B.rows});
  while (A.rows < a_rows) {
    std::vector<std::int64_t> row(static_cast<std::size_t>(len(rng)));
    for (auto& c : row) c = b_row(rng);
    A.add_row(row);
  }
  return A;
}

// The true number of entries of each row of A * B.
std::vector<std::int64_t> true_counts(const pattern& A, const pattern& B) {
  std::vector<std::int64_t> out;
  for (std::int64_t r = 0; r < A.rows; ++r) {
    std::set<std::int64_t> cols;
    for (auto k = A.row_ptr[r]; k < A.row_ptr[r + 1]; ++k) {
      const auto b = A.col_ind[k];
      cols.insert(B.col_ind.begin() + B.row_ptr[b], B.col_ind.begin() + B.row_ptr[b + 1]);
    }
    out.push_back(static_cast<std::int64_t>(cols.size()));
  }
  return out;
}

// The number of products of each row.
std::vector<std::int64_t> product_counts(const pattern& A, const pattern& B) {
  std::vector<std::int64_t> out;
  for (std::int64_t r = 0; r < A.rows; ++r) {
    std::int64_t sum = 0;
    for (auto k = A.row_ptr[r]; k < A.row_ptr[r + 1]; ++k) sum += B.length(A.col_ind[k]);
    out.push_back(sum);
  }
  return out;
}

// The hash family's rule, written out on the host: rows of fewer than two entries count their
// B row; otherwise `items` tables of `table` slots, each over its slice of the columns, a
// column stored at the first free slot of col, col + 17, ..., col + 16 * 17 (mod table) or
// counted without a slot when all 17 hold other columns.
std::vector<std::int64_t> hash_model(const pattern& A, const pattern& B, int table, int items) {
  std::vector<std::int64_t> out;
  for (std::int64_t r = 0; r < A.rows; ++r) {
    const auto len = A.length(r);
    if (len < 2) {
      out.push_back(len == 0 ? 0 : B.length(A.col_ind[A.row_ptr[r]]));
      continue;
    }
    const std::int64_t width = (B.cols + items - 1) / items;
    std::int64_t count = 0;
    for (int t = 0; t < items; ++t) {
      std::vector<std::int64_t> slots(static_cast<std::size_t>(table), -1);
      for (auto k = A.row_ptr[r]; k < A.row_ptr[r + 1]; ++k) {
        const auto b = A.col_ind[k];
        for (auto j = B.row_ptr[b]; j < B.row_ptr[b + 1]; ++j) {
          const auto col = B.col_ind[j];
          if (col < t * width || col >= std::min(B.cols, (t + 1) * width)) continue;
          bool placed = false;
          for (int p = 0; p <= 16 && !placed; ++p) {
            auto& slot = slots[static_cast<std::size_t>((col + 17 * p) % table)];
            if (slot == -1) {
              slot = col;
              ++count;
              placed = true;
            } else if (slot == col) {
              placed = true;
            }
          }
          if (!placed) ++count;
        }
      }
    }
    out.push_back(count);
  }
  return out;
}

// ---- devices as the planner sees them -------------------------------------------------------

struct device_facts {
  const char* profile;  // nullptr: the host runtime's CPU device, no GPU
  bool is_gpu;
  std::int32_t architecture, sub_group_size, table;
};

// The planner's sub-group and table sizes of each kind of device.
device_facts facts_of(const char* profile, bool is_gpu, std::int32_t arch) {
  if (!is_gpu) return {profile, false, 0, 8, 2048};
  if (arch < 4) return {profile, true, arch, 8, 512};
  if (arch == 4) return {profile, true, arch, 16, 512};
  return {profile, true, arch, 16, 1024};
}

std::vector<device_facts> all_devices() {
  std::vector<device_facts> out{facts_of(nullptr, false, 0)};
  const char* profiles[] = {"emu-a0", "emu-a1", "emu-a2", "emu-a3", "emu-a4", "emu-a5", "emu-a6"};
  for (int code = 0; code < 7; ++code) out.push_back(facts_of(profiles[code], true, code));
  return out;
}

sycl::queue queue_of(const device_facts& d) {
  return d.profile == nullptr ? sycl::queue{sycl::cpu_selector_v}
                              : sycl::queue{hostsycl::emulated_gpu(d.profile)};
}

std::string name_of(const device_facts& d) {
  return d.profile == nullptr ? std::string("no GPU") : std::string(d.profile);
}

// ---- running the entries -------------------------------------------------------------------

enum class family { dense, hash, products };

struct estimate {
  std::vector<std::int64_t> offsets;
  long total;
};

// Runs one entry on copies of A and B in base `base`; the outputs start as sentinels (-1). With
// past_offset_limit A's column count is reported beyond the explicit-SIMD limit (the kernels
// never read it), which moves every plan to its scalar or sub-group form.
template <typename I, vs::containerType C>
estimate run_estimate(sycl::queue& q, family fam, const pattern& A, const pattern& B,
                      const device_facts& d, int base, bool past_offset_limit = false) {
  const memory m = C == vs::container_usm ? memory::device : memory::buffer;
  auto in_base = [&](const std::vector<std::int64_t>& v) {
    std::vector<I> out;
    for (auto x : v) out.push_back(static_cast<I>(x + base));
    return out;
  };
  vrt_test::device_array<I> arp(q, in_base(A.row_ptr), m), aci(q, in_base(A.col_ind), m);
  vrt_test::device_array<I> brp(q, in_base(B.row_ptr), m), bci(q, in_base(B.col_ind), m);
  vrt_test::device_array<I> offsets(q, std::vector<I>(A.rows + 1, I(-1)), m);
  vrt_test::device_array<long> total(q, {-1L}, m);
  vrt_test::device_array<std::int32_t> counter(q, {777}, m);
  auto pick = [](auto& array) {
    if constexpr (C == vs::container_usm)
      return array.usm();
    else
      return &array.buffer();
  };
  vs::gpu::work_estimation_operands<I, C> op{};
  op.a_row_ptr = pick(arp);
  op.a_col_ind = pick(aci);
  op.a_index = static_cast<I>(base);
  op.a_rows = A.rows;
  op.a_cols = past_offset_limit ? we::esimd_dimension_limit : A.cols;
  op.a_nnz = A.nnz();
  op.b_row_ptr = pick(brp);
  op.b_col_ind = pick(bci);
  op.b_index = static_cast<I>(base);
  op.b_rows = B.rows;
  op.b_cols = B.cols;
  op.b_nnz = B.nnz();
  op.row_offsets = pick(offsets);
  op.estimate_total = pick(total);
  op.row_counter = pick(counter);
  op.is_gpu = d.is_gpu;
  op.architecture = d.architecture;
  op.sub_group_size = d.sub_group_size;
  op.estimate_table_size = d.table;
  const std::vector<sycl::event> deps;
  sycl::event done;
  if (fam == family::dense)
    done = vs::gpu::estimate_rows_dense<I, C>(q, op, deps);
  else if (fam == family::hash)
    done = vs::gpu::estimate_rows_hash<I, C>(q, op, deps);
  else
    done = vs::gpu::estimate_rows_by_products<I, C>(q, op, deps);
  done.wait();
  const auto got = offsets.read(static_cast<std::size_t>(A.rows) + 1);
  return {std::vector<std::int64_t>(got.begin(), got.end()), total.read(1)[0]};
}

// The counts of a scan: its differences, after checking its leading zero and its total.
std::vector<std::int64_t> counts_of(const estimate& e, const std::string& tag) {
  EXPECT_EQ(e.offsets.front(), 0) << tag;
  EXPECT_EQ(e.total, e.offsets.back()) << tag;
  std::vector<std::int64_t> out;
  for (std::size_t i = 1; i < e.offsets.size(); ++i) out.push_back(e.offsets[i] - e.offsets[i - 1]);
  return out;
}

// ---- typed over index width and memory model ------------------------------------------------

template <typename I, vs::containerType C>
struct flavour {
  using index = I;
  static constexpr vs::containerType container = C;
};
using flavours = ::testing::Types<
    flavour<std::int32_t, vs::container_usm>, flavour<std::int32_t, vs::container_buffer>,
    flavour<std::int64_t, vs::container_usm>, flavour<std::int64_t, vs::container_buffer>>;

template <typename F>
class WorkEstimation : public ::testing::Test {};
TYPED_TEST_SUITE(WorkEstimation, flavours);

template <typename F>
std::string tag_of(const device_facts& d, int base, const std::string& what) {
  return what + " on " + name_of(d) + ", base " + std::to_string(base) + ", " +
         (sizeof(typename F::index) == 4 ? "int32" : "int64") + ", " +
         (F::container == vs::container_usm ? "USM" : "buffers");
}

// A's average row lengths that give NSG 1, 4 and 16.
constexpr std::int64_t nsg_averages[] = {2, 8, 20};

// Exact counts for every sub-group count, on every device, in the explicit-SIMD forms and the
// sub-group forms (past the offset limit), with few columns (one chunk).
TYPED_TEST(WorkEstimation, DenseCountsAreExactForEverySubGroupCount) {
  using I = typename TypeParam::index;
  for (const std::int64_t avg : nsg_averages) {
    const pattern B = make_b(30, 3000, 6, 11);
    const pattern A = make_a(20, B, avg, 12 + static_cast<unsigned>(avg));
    ASSERT_EQ(we::sub_groups_per_row(A.nnz(), A.rows), avg < 4 ? 1 : avg < 16 ? 4 : 16);
    const auto want = true_counts(A, B);
    for (const auto& d : all_devices()) {
      sycl::queue q = queue_of(d);
      for (int base : {0, 1})
        for (bool past_limit : {false, true}) {
          const auto tag = tag_of<TypeParam>(d, base, "dense, avg " + std::to_string(avg)) +
                           (past_limit ? ", past the offset limit" : "");
          const auto got =
              run_estimate<I, TypeParam::container>(q, family::dense, A, B, d, base, past_limit);
          EXPECT_EQ(counts_of(got, tag), want) << tag;
        }
    }
  }
}

// More columns than one bitmap holds: 140000 columns are 18, 5 and 2 chunks for NSG 1, 4, 16,
// the last one partial.
TYPED_TEST(WorkEstimation, DenseCountsAreExactOverSeveralColumnChunks) {
  using I = typename TypeParam::index;
  constexpr std::int64_t wide = 140000;
  for (const std::int64_t avg : nsg_averages) {
    const pattern B = make_b(24, wide, 40, 21);
    const pattern A = make_a(8, B, avg, 22 + static_cast<unsigned>(avg));
    const int nsg = we::sub_groups_per_row(A.nnz(), A.rows);
    ASSERT_GT(we::column_chunks(wide, nsg), 1);
    ASSERT_NE(wide % (we::columns_per_sub_group * nsg), 0);
    const auto want = true_counts(A, B);
    for (const auto& d :
         {facts_of(nullptr, false, 0), facts_of("emu-a4", true, 4), facts_of("emu-a6", true, 6)}) {
      sycl::queue q = queue_of(d);
      for (bool past_limit : {false, true}) {
        const auto tag = tag_of<TypeParam>(d, 1, "wide dense, nsg " + std::to_string(nsg)) +
                         (past_limit ? ", past the offset limit" : "");
        const auto got =
            run_estimate<I, TypeParam::container>(q, family::dense, A, B, d, 1, past_limit);
        EXPECT_EQ(counts_of(got, tag), want) << tag;
      }
    }
  }
}

// The edge rows one by one: an empty row gives 0; one entry on an empty B row gives 0; a B row
// met three times counts once.
TYPED_TEST(WorkEstimation, EdgeRowsOfEveryFamily) {
  using I = typename TypeParam::index;
  pattern B;
  B.cols = 40;
  B.add_row({});
  B.add_row({3, 9, 1});
  B.add_row({9, 39});
  pattern A;
  A.cols = B.rows;
  A.add_row({});
  A.add_row({0});
  A.add_row({1, 1, 1});
  A.add_row({1, 2, 1, 0});
  A.add_row({2});
  const std::vector<std::int64_t> exact{0, 0, 3, 4, 2};
  const std::vector<std::int64_t> products{0, 0, 9, 8, 2};
  for (const auto& d : all_devices()) {
    sycl::queue q = queue_of(d);
    for (int base : {0, 1}) {
      const auto tag = tag_of<TypeParam>(d, base, "edge rows");
      auto run = [&](family f) {
        return counts_of(run_estimate<I, TypeParam::container>(q, f, A, B, d, base), tag);
      };
      EXPECT_EQ(run(family::dense), exact) << tag;
      EXPECT_EQ(run(family::hash), exact) << tag;
      EXPECT_EQ(run(family::products), products) << tag;
    }
  }
}

// No rows: no count kernel runs, the scan is the one leading zero and the total is 0.
TYPED_TEST(WorkEstimation, NoRowsGiveAZeroTotal) {
  using I = typename TypeParam::index;
  const pattern B = make_b(10, 70000, 5, 31);
  pattern A;
  A.cols = B.rows;
  for (const auto& d : {facts_of(nullptr, false, 0), facts_of("emu-a6", true, 6)}) {
    sycl::queue q = queue_of(d);
    for (family f : {family::dense, family::hash, family::products}) {
      const auto got = run_estimate<I, TypeParam::container>(q, f, A, B, d, 0);
      EXPECT_EQ(got.offsets, std::vector<std::int64_t>{0}) << name_of(d);
      EXPECT_EQ(got.total, 0) << name_of(d);
    }
  }
}

// B's average row lengths that give every W of each table size: 512: 1, 4, 16; 1024: 1, 4, 8;
// 2048: 1, 4.
constexpr std::int64_t w_averages[] = {3, 30, 60, 150, 250};

// Every device with its table size and every W: the count is what the table rule gives, and
// never below the truth.
TYPED_TEST(WorkEstimation, HashCountsFollowTheTableAndBoundTheTruth) {
  using I = typename TypeParam::index;
  std::set<std::pair<int, int>> covered;
  for (const std::int64_t avg : w_averages) {
    const pattern B = make_b(20, 3000, avg, 41 + static_cast<unsigned>(avg));
    const pattern A = make_a(10, B, 3, 42);
    const auto exact = true_counts(A, B);
    for (const auto& d : all_devices()) {
      const int items = we::hash_items_per_row(d.table, B.nnz(), B.rows);
      covered.insert({d.table, items});
      const auto model = hash_model(A, B, d.table, items);
      for (std::size_t r = 0; r < exact.size(); ++r) ASSERT_GE(model[r], exact[r]);
      sycl::queue q = queue_of(d);
      for (bool past_limit : {false, true}) {
        const auto tag =
            tag_of<TypeParam>(
                d, 1, "hash, B avg " + std::to_string(avg) + ", W " + std::to_string(items)) +
            (past_limit ? ", past the offset limit" : "");
        const auto got = counts_of(
            run_estimate<I, TypeParam::container>(q, family::hash, A, B, d, 1, past_limit), tag);
        EXPECT_EQ(got, model) << tag;
        for (std::size_t r = 0; r < exact.size(); ++r) EXPECT_GE(got[r], exact[r]) << tag;
      }
    }
  }
  const std::set<std::pair<int, int>> every_w{{512, 1},  {512, 4},  {512, 16}, {1024, 1},
                                              {1024, 4}, {1024, 8}, {2048, 1}, {2048, 4}};
  EXPECT_EQ(covered, every_w);
}

// Columns of a few residues modulo the table whose probe chains overlap (r, r + 17, r + 34):
// tables fill along shared chains, so where each column lands and which columns find no slot
// decide the count. Every form must follow the table rule exactly.
TYPED_TEST(WorkEstimation, HashCountsFollowTheTableOnCollidingColumns) {
  using I = typename TypeParam::index;
  const std::int64_t residues[] = {0, 1, 17, 18, 34, 35};
  for (const auto& d : all_devices()) {
    std::vector<std::int64_t> cluster;
    for (std::int64_t r : residues)
      for (std::int64_t i = 0; i < 20; ++i) cluster.push_back(r + i * d.table);
    std::mt19937 rng(101);
    pattern B;
    B.cols = 20 * static_cast<std::int64_t>(d.table);
    for (int r = 0; r < 30; ++r) {
      std::shuffle(cluster.begin(), cluster.end(), rng);
      B.add_row(std::vector<std::int64_t>(cluster.begin(), cluster.begin() + 30));
    }
    // Empty rows keep one item per row at every table size.
    for (int r = 0; r < 200; ++r) B.add_row({});
    ASSERT_EQ(we::hash_items_per_row(d.table, B.nnz(), B.rows), 1);
    pattern A;
    A.cols = B.rows;
    std::uniform_int_distribution<std::int64_t> b_row(0, 29), len(2, 6);
    for (int r = 0; r < 12; ++r) {
      std::vector<std::int64_t> row(static_cast<std::size_t>(len(rng)));
      for (auto& c : row) c = b_row(rng);
      A.add_row(row);
    }
    const auto exact = true_counts(A, B);
    const auto model = hash_model(A, B, d.table, 1);
    ASSERT_NE(model, exact) << "no table saturates";
    sycl::queue q = queue_of(d);
    for (bool past_limit : {false, true}) {
      const auto tag = tag_of<TypeParam>(d, 1, "colliding hash columns") +
                       (past_limit ? ", past the offset limit" : "");
      const auto got = counts_of(
          run_estimate<I, TypeParam::container>(q, family::hash, A, B, d, 1, past_limit), tag);
      EXPECT_EQ(got, model) << tag;
    }
  }
}

// Short rows never fill a table: the bound is the true count.
TYPED_TEST(WorkEstimation, HashCountsAreExactOnShortRows) {
  using I = typename TypeParam::index;
  const pattern B = make_b(40, 500, 4, 51);
  const pattern A = make_a(30, B, 3, 52);
  const auto exact = true_counts(A, B);
  for (const auto& d : all_devices()) {
    sycl::queue q = queue_of(d);
    for (int base : {0, 1})
      for (bool past_limit : {false, true}) {
        const auto tag = tag_of<TypeParam>(d, base, "short hash rows");
        const auto got =
            run_estimate<I, TypeParam::container>(q, family::hash, A, B, d, base, past_limit);
        EXPECT_EQ(counts_of(got, tag), exact) << tag;
      }
  }
}

// Columns that agree in their low 32 bits are still different columns: with 64-bit indices over
// more than 2^32 columns the hashed count stays at or above the truth (a 32-bit table folds
// them into one slot and would count one).
TYPED_TEST(WorkEstimation, HashCountsOfColumnsBeyondThirtyTwoBits) {
  using I = typename TypeParam::index;
  if constexpr (sizeof(I) == 8) {
    const std::int64_t wide = std::int64_t{1} << 32;
    pattern B;
    B.cols = wide + 64;
    B.add_row({5});
    B.add_row({5 + wide});
    B.add_row({7, 9});
    pattern A;
    A.cols = B.rows;
    A.add_row({0, 1});
    A.add_row({0, 1, 2});
    const std::vector<std::int64_t> exact{2, 4};
    ASSERT_EQ(true_counts(A, B), exact);
    for (const auto& d : all_devices()) {
      sycl::queue q = queue_of(d);
      for (bool past_limit : {false, true}) {
        const auto tag = tag_of<TypeParam>(d, 0, "columns beyond 32 bits");
        const auto got =
            run_estimate<I, TypeParam::container>(q, family::hash, A, B, d, 0, past_limit);
        EXPECT_EQ(counts_of(got, tag), exact) << tag;
      }
    }
  } else {
    GTEST_SKIP() << "32-bit indices cannot name such columns";
  }
}

// A row whose slice holds more distinct columns than a table can take: the columns that found
// no slot count again when they come back, so the bound is above the truth, in the scalar and
// the explicit-SIMD forms alike; the dense count of the same row stays exact.
TYPED_TEST(WorkEstimation, HashCountsExceedTheTruthOnASaturatingRow) {
  using I = typename TypeParam::index;
  for (const auto& d : all_devices()) {
    const std::int64_t cols = d.table + 100;
    pattern B;
    B.cols = cols;
    std::vector<std::int64_t> all(static_cast<std::size_t>(cols));
    std::iota(all.begin(), all.end(), 0);
    B.add_row(all);
    // Empty rows keep B's average short enough for one item per row at every table size.
    for (int r = 0; r < 200; ++r) B.add_row({});
    pattern A;
    A.cols = B.rows;
    A.add_row({0, 1, 0});
    const int items = we::hash_items_per_row(d.table, B.nnz(), B.rows);
    ASSERT_EQ(items, 1) << name_of(d);
    const auto model = hash_model(A, B, d.table, items);
    ASSERT_GT(model[0], cols);
    sycl::queue q = queue_of(d);
    for (bool past_limit : {false, true}) {
      const auto tag = tag_of<TypeParam>(d, 0, "saturating hash row") +
                       (past_limit ? ", past the offset limit" : "");
      const auto got = counts_of(
          run_estimate<I, TypeParam::container>(q, family::hash, A, B, d, 0, past_limit), tag);
      EXPECT_EQ(got, model) << tag;
      EXPECT_GT(got[0], cols) << tag;
      const auto dense = counts_of(
          run_estimate<I, TypeParam::container>(q, family::dense, A, B, d, 0, past_limit), tag);
      EXPECT_EQ(dense, std::vector<std::int64_t>{cols}) << tag;
    }
  }
}

// The same with W > 1: 4 items of 600 columns each, and a B row that fills the first item's
// slice; the other rows keep B's average in the range of 4 items of 512 entries.
TYPED_TEST(WorkEstimation, HashCountsExceedTheTruthOnASaturatingSlice) {
  using I = typename TypeParam::index;
  const device_facts d = facts_of("emu-a1", true, 1);  // 512 entries
  constexpr std::int64_t slice = 600, cols = 4 * slice;
  pattern B;
  B.cols = cols;
  std::vector<std::int64_t> first_slice(static_cast<std::size_t>(slice));
  std::iota(first_slice.begin(), first_slice.end(), 0);
  B.add_row(first_slice);
  std::mt19937 rng(61);
  for (int r = 0; r < 60; ++r) B.add_row(distinct_columns(10, cols, rng));
  ASSERT_EQ(we::hash_items_per_row(d.table, B.nnz(), B.rows), 4);
  pattern A;
  A.cols = B.rows;
  A.add_row({0, 3, 0});
  const auto exact = true_counts(A, B);
  const auto model = hash_model(A, B, d.table, 4);
  ASSERT_GT(model[0], exact[0]);
  sycl::queue q = queue_of(d);
  for (bool past_limit : {false, true}) {
    const auto tag = tag_of<TypeParam>(d, 0, "saturating slice, W 4") +
                     (past_limit ? ", past the offset limit" : "");
    const auto got = counts_of(
        run_estimate<I, TypeParam::container>(q, family::hash, A, B, d, 0, past_limit), tag);
    EXPECT_EQ(got, model) << tag;
    EXPECT_GT(got[0], exact[0]) << tag;
  }
}

// Sums of B row lengths, on every device, with more rows than the persistent work-items fetch
// in one round.
TYPED_TEST(WorkEstimation, ProductCountsSumTheRowsOfB) {
  using I = typename TypeParam::index;
  const pattern B = make_b(50, 2000, 7, 71);
  for (const std::int64_t rows :
       {std::int64_t{37}, we::rows_per_fetch * we::product_count_items + 500}) {
    const pattern A = make_a(rows, B, 3, 72);
    const auto want = product_counts(A, B);
    for (const auto& d : all_devices()) {
      if (rows > 100 && d.profile != nullptr && std::string(d.profile) != "emu-a6") continue;
      sycl::queue q = queue_of(d);
      for (int base : {0, 1}) {
        const auto tag = tag_of<TypeParam>(d, base, "products, " + std::to_string(rows) + " rows");
        const auto got = run_estimate<I, TypeParam::container>(q, family::products, A, B, d, base);
        EXPECT_EQ(counts_of(got, tag), want) << tag;
      }
    }
  }
}

// ---- refusals -------------------------------------------------------------------------------

// A sub-group size the device lacks is refused before any launch: sub-groups of 8 on a device
// of 16 and 32 (facts of a device that is no GPU, on code 6).
TEST(WorkEstimationRefusals, SubGroupSizeTheDeviceLacks) {
  const sycl::device a6 = hostsycl::emulated_gpu("emu-a6");
  sycl::queue q{a6};
  const pattern B = make_b(10, 100, 3, 81);
  const pattern A = make_a(6, B, 3, 82);
  expect_message<vrt::unsupported_device>(
      [&] {
        run_estimate<std::int32_t, vs::container_usm>(q, family::dense, A, B,
                                                      facts_of(nullptr, false, 0), 0);
      },
      prefix("matmat") + "unsupported device: " + a6.get_info<sycl::info::device::name>());
}

// Facts no planner gives name no instantiated form: an internal error, not a launch.
TEST(WorkEstimationRefusals, FormsNoPlanNamesAreInternalErrors) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a1")};
  const pattern B = make_b(10, 100, 3, 91);
  const pattern A = make_a(6, B, 3, 92);
  const std::string internal = prefix("matmat") + "computation error: internal error";
  // 2048 entries on a GPU that runs the explicit-SIMD forms.
  expect_message<vrt::computation_error>(
      [&] {
        run_estimate<std::int32_t, vs::container_buffer>(q, family::hash, A, B,
                                                         {"emu-a1", true, 1, 8, 2048}, 0);
      },
      internal);
  // A table size no device has.
  expect_message<vrt::computation_error>(
      [&] {
        run_estimate<std::int64_t, vs::container_usm>(q, family::hash, A, B,
                                                      {"emu-a1", true, 1, 8, 256}, 0);
      },
      internal);
  // Dense sub-groups of 4.
  expect_message<vrt::computation_error>(
      [&] {
        run_estimate<std::int32_t, vs::container_usm>(q, family::dense, A, B,
                                                      {"emu-a1", true, 1, 4, 512}, 0);
      },
      internal);
}

// ---- the plan --------------------------------------------------------------------------------

struct plan_device {
  bool is_gpu;
  std::int32_t arch;
};

// Every kind of device the planner knows (codes past 6 included), every size class of both
// families, inside and past the offset limit: each plan names an instantiated form, and each
// instantiated form is named by some plan.
TEST(WorkEstimationPlan, EveryPlannedFormIsInstantiatedAndEveryFormIsPlanned) {
  std::vector<plan_device> devices{{false, 0}};
  for (std::int32_t code = 0; code <= 7; ++code) devices.push_back({true, code});
  std::vector<bool> dense_named(std::size(we::dense_forms)), hash_named(std::size(we::hash_forms));
  for (const auto& dev : devices) {
    const auto f = facts_of("", dev.is_gpu, dev.arch);
    for (const std::int64_t a_avg : {1, 3, 4, 15, 16, 100})
      for (const std::int64_t b_avg : {1, 5, 6, 49, 50, 99, 100, 199, 200, 1000})
        for (const std::int64_t a_cols : {std::int64_t{1000}, we::esimd_dimension_limit}) {
          const we::factor_sizes s{100, a_cols, 100 * a_avg, 100, 150000, 100 * b_avg};
          const auto dense = we::plan_dense(s, f.is_gpu, f.architecture, f.sub_group_size);
          const int di = we::dense_form_index(dense);
          ASSERT_GE(di, 0) << "dense: gpu " << f.is_gpu << ", code " << dev.arch << ", nsg "
                           << dense.nsg << ", sg " << dense.sg << ", esimd " << dense.esimd;
          dense_named[static_cast<std::size_t>(di)] = true;
          const auto hash = we::plan_hash(s, f.is_gpu, f.architecture, f.sub_group_size, f.table);
          const int hi = we::hash_form_index(hash);
          ASSERT_GE(hi, 0) << "hash: gpu " << f.is_gpu << ", code " << dev.arch << ", T "
                           << hash.table << ", W " << hash.items << ", sg " << hash.sg;
          hash_named[static_cast<std::size_t>(hi)] = true;
        }
  }
  for (std::size_t i = 0; i < dense_named.size(); ++i) EXPECT_TRUE(dense_named[i]) << "dense " << i;
  for (std::size_t i = 0; i < hash_named.size(); ++i) EXPECT_TRUE(hash_named[i]) << "hash " << i;
}

TEST(WorkEstimationPlan, SubGroupsItemsChunksAndTheOffsetLimit) {
  // NSG by the rounded-up average of A's rows.
  EXPECT_EQ(we::sub_groups_per_row(30, 10), 1);
  EXPECT_EQ(we::sub_groups_per_row(31, 10), 4);
  EXPECT_EQ(we::sub_groups_per_row(150, 10), 4);
  EXPECT_EQ(we::sub_groups_per_row(151, 10), 16);
  EXPECT_EQ(we::sub_groups_per_row(0, 0), 1);
  // Chunks: a partial last one; NSG 16 as (n + 131071) >> 17.
  EXPECT_EQ(we::column_chunks(8192, 1), 1);
  EXPECT_EQ(we::column_chunks(8193, 1), 2);
  EXPECT_EQ(we::column_chunks(140000, 1), 18);
  EXPECT_EQ(we::column_chunks(140000, 4), 5);
  for (std::int64_t n : {0, 1, 131072, 131073, 140000, 1000000})
    EXPECT_EQ(we::column_chunks(n, 16), (n + 131071) >> 17) << n;
  // W by table size and B's rounded-up average.
  EXPECT_EQ(we::hash_items_per_row(512, 50, 10), 1);
  EXPECT_EQ(we::hash_items_per_row(512, 51, 10), 4);
  EXPECT_EQ(we::hash_items_per_row(512, 491, 10), 16);
  EXPECT_EQ(we::hash_items_per_row(1024, 990, 10), 1);
  EXPECT_EQ(we::hash_items_per_row(1024, 991, 10), 4);
  EXPECT_EQ(we::hash_items_per_row(1024, 1991, 10), 8);
  EXPECT_EQ(we::hash_items_per_row(2048, 1990, 10), 1);
  EXPECT_EQ(we::hash_items_per_row(2048, 1991, 10), 4);
  EXPECT_EQ(we::hash_items_per_row(4096, 10, 10), 0);
  // Sub-groups of 32 on the wide GPUs only.
  EXPECT_EQ(we::dense_sub_group(true, 6, 16), 32);
  EXPECT_EQ(we::dense_sub_group(false, 6, 8), 8);
  EXPECT_EQ(we::dense_sub_group(true, 5, 16), 16);
  // The explicit-SIMD forms: dense on code 6 only, hash on every GPU but codes 3 and 5, each
  // only while every dimension is below the limit less the sub-group size.
  const we::factor_sizes small{10, 10, 10, 10, 10, 10};
  EXPECT_TRUE(we::plan_dense(small, true, 6, 16).esimd);
  EXPECT_FALSE(we::plan_dense(small, true, 5, 16).esimd);
  EXPECT_FALSE(we::plan_dense(small, false, 6, 8).esimd);
  for (std::int32_t code : {0, 1, 2, 4, 6})
    EXPECT_EQ(we::plan_hash(small, true, code, 16, 1024).kind, we::hash_kind::esimd_wg1) << code;
  for (std::int32_t code : {3, 5})
    EXPECT_EQ(we::plan_hash(small, true, code, 16, 1024).kind, we::hash_kind::workgroup_1) << code;
  EXPECT_EQ(we::plan_hash(small, false, 0, 8, 2048).kind, we::hash_kind::workgroup_1);
  const std::int64_t limit = 0x3fffffff - 16;
  for (int field = 0; field < 5; ++field) {
    we::factor_sizes s = small;
    std::int64_t* target[] = {&s.a_rows, &s.b_rows, &s.a_cols, &s.a_nnz, &s.b_nnz};
    const std::int64_t below = field < 2 ? limit - 2 : limit - 1;  // rows are counted + 1
    *target[field] = below;
    EXPECT_TRUE(we::fits_esimd_offsets(s, 16)) << field;
    *target[field] = below + 1;
    EXPECT_FALSE(we::fits_esimd_offsets(s, 16)) << field;
  }
  // B's column count is not among the limited dimensions.
  EXPECT_TRUE(we::fits_esimd_offsets({10, 10, 10, 10, std::int64_t{1} << 40, 10}, 16));
}

// ---- the vector bit operations of the portability header ------------------------------------

TEST(PortableSimdBits, PopcountShiftsMasksAndTheLowestSetLane) {
  namespace pt = orvane::vrt::portable;
  pt::simd<std::uint32_t, 8> v;
  for (int i = 0; i < 8; ++i) v[i] = (1u << i) - 1u + (i == 7 ? 0x80000000u : 0u);
  const auto p = pt::popcount(v);
  for (int i = 0; i < 8; ++i) EXPECT_EQ(p[i], static_cast<std::uint32_t>(i + (i == 7))) << i;
  EXPECT_EQ(pt::reduce_add(pt::popcount(pt::simd<std::uint32_t, 4>(0xffffffffu))), 128u);
  const auto a = pt::simd<std::uint32_t, 4>::iota(0x10, 0x11);
  const auto both = a & pt::simd<std::uint32_t, 4>(0xf);
  const auto either = a | pt::simd<std::uint32_t, 4>(0x100);
  const auto down = a >> 4;
  const auto up = pt::simd<std::uint32_t, 4>(1) << pt::simd<std::uint32_t, 4>::iota(0, 3);
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(both[i], (0x10u + 0x11u * i) & 0xfu);
    EXPECT_EQ(either[i], (0x10u + 0x11u * i) | 0x100u);
    EXPECT_EQ(down[i], (0x10u + 0x11u * i) >> 4);
    EXPECT_EQ(up[i], 1u << (3 * i));
  }
  pt::simd_mask<16> m, n;
  EXPECT_EQ(pt::first_set(m), -1);
  m[9] = true;
  m[12] = true;
  n[3] = true;
  n[9] = true;
  EXPECT_EQ(pt::first_set(m), 9);
  EXPECT_EQ(pt::first_set(m | n), 3);
  EXPECT_EQ(pt::first_set(m & n), 9);
  n[9] = false;
  EXPECT_EQ(pt::first_set(m & n), -1);
}

}  // namespace
