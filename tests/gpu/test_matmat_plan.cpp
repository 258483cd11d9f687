// The device matmat's planner on every emulated GPU: device facts, work-group bounds, the
// estimate's kernel, the accumulators' sizes and choice, and the buffer sizes the size requests
// return, read back from C's record and compared with the arithmetic done here.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <hostsycl/hostsycl.hpp>
#include <limits>
#include <string>

#include "gpu/matmat/matmat_dispatch.hpp"
#include "gpu/matmat/matmat_plan.hpp"
#include "gpu/matmat/workspace.hpp"
#include "matmat_support.hpp"

namespace {

namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;
using vrt_test::expect_message;
using vrt_test::memory;
using vrt_test::prefix;
using vrt_test::matmat::banded;
using vrt_test::matmat::gpu_profiles;
using vrt_test::matmat::product;
using R = vs::matmat_request;
using u64 = std::uint64_t;
using i64 = std::int64_t;

template <typename V>
class MatmatPlan : public ::testing::Test {};
TYPED_TEST_SUITE(MatmatPlan, vrt_test::all_variants);

i64 up(i64 x, i64 step) { return (x + step - 1) / step * step; }
i64 down(i64 x, i64 step) { return x / step * step; }

// What the planner should know of a device.
struct device_facts {
  int architecture;
  i64 threads_per_eu, sub_group_size, table, total_threads, tiles, line, alignment;
  u64 arch_limit, max_alloc;
};

device_facts facts_of(const sycl::device& device) {
  const hostsycl::device_profile* profile = hostsycl::profile_of(device);
  device_facts f{};
  f.architecture = profile->architecture;
  const bool newer = f.architecture >= 4;
  f.threads_per_eu = newer ? 8 : 7;
  f.sub_group_size = newer ? 16 : 8;
  f.table = f.architecture >= 5 ? 1024 : 512;
  f.total_threads = static_cast<i64>(profile->eu_count) * f.threads_per_eu;
  f.tiles = profile->tile_count;
  f.arch_limit = f.architecture >= 6 ? std::numeric_limits<u64>::max() : u64{8} << 30;
  f.line = std::max<i64>(64, device.get_info<sycl::info::device::global_mem_cache_line_size>());
  f.alignment = std::max<i64>(device.get_info<sycl::info::device::mem_base_addr_align>(), f.line);
  f.max_alloc = device.get_info<sycl::info::device::max_mem_alloc_size>();
  return f;
}

struct bounds {
  i64 groups;
  i64 slm, global;
};
bounds bounds_of(const device_facts& f, i64 rows) {
  bounds b{};
  b.groups = std::max<i64>(1, std::min(f.total_threads, rows));
  b.slm =
      b.groups == f.total_threads ? 2048 : std::min<i64>(f.total_threads * 2048 / b.groups, 16384);
  b.global = f.architecture < 6 ? i64{1} << 31 : f.tiles << 32;
  return b;
}

// An accumulator plan as the design's arithmetic gives it; vb 0 is compute_structure.
struct accumulator {
  i64 local_words, local_columns, local_value_bytes, local_bitmap_bytes;
  i64 global_words, global_columns, global_total_bytes;
  i64 local_entries, global_entries, local_bytes, global_bytes;
  int kernel, kind;
  i64 group_bytes, local_scratch;
};

accumulator plan_of(const device_facts& f, const bounds& b, i64 rows, i64 n, i64 estimate,
                    int estimate_kernel, i64 ib, i64 vb) {
  accumulator a{};
  const i64 L = f.line, sg = f.sub_group_size;
  const i64 small = b.slm - 2 * L;
  const i64 large = b.global / b.groups - 2 * L;
  const i64 full = up((n + 31) / 32, sg);
  const i64 small_words = down(small / 4, sg);
  if (vb > 0) {
    a.local_words = std::min({small_words, full, down(((large - L) / vb + 31) / 32, sg)});
    a.local_columns = 32 * a.local_words;
    a.local_value_bytes = up(a.local_columns * vb, L);
    a.local_bitmap_bytes = up(4 * a.local_words, L);
    const i64 columns = (8 * large - 16 * L) / (8 * vb + 1);
    a.global_words = std::min(down((columns + 31) / 32, sg), full);
    a.global_columns = 32 * a.global_words;
    a.global_total_bytes = up(vb * a.global_columns, L) + up(4 * a.global_words, L);
    a.local_entries = std::min((small - 2 * L) / (ib + vb), 2 * n);
    a.global_entries = std::min((large - 2 * L) / (ib + vb), 2 * n);
    a.local_bytes = up(vb * a.local_entries, L) + up(ib * a.local_entries, L);
    a.global_bytes = up(vb * a.global_entries, L) + up(ib * a.global_entries, L);
  } else {
    a.local_words = std::min(full, small_words);
    a.local_columns = 32 * a.local_words;
    a.local_bitmap_bytes = up(4 * a.local_words, L);
    a.global_words = std::min(down((8 * (large - L) + 31) / 32, sg), full);
    a.global_columns = 32 * a.global_words;
    a.global_total_bytes = up(4 * a.global_words, L);
    a.local_entries = std::min((small - L) / ib, 2 * n);
    a.global_entries = std::min((large - L) / ib, 2 * n);
    a.local_bytes = up(ib * a.local_entries, L);
    a.global_bytes = up(ib * a.global_entries, L);
  }
  const int dense = estimate_kernel == 1 ? 1 : 2;
  if (8 * a.local_columns >= n) {
    a.kind = 1;
    a.kernel = dense;
  } else {
    a.kind = 2;
    const i64 average = rows > 0 ? (estimate + rows - 1) / rows : 0;
    a.kernel = 8 * a.global_columns >= n || average > a.global_entries / 2 ? dense : 5;
  }
  i64 first = 0;
  if (a.kernel == 5) {
    first = std::max(a.global_bytes, a.kind == 1 ? a.local_value_bytes : a.global_total_bytes);
    a.local_scratch = std::max(a.local_bytes, a.kind == 1 ? a.local_bitmap_bytes : i64{0});
  } else {
    first = a.kind == 1 ? a.local_value_bytes : a.global_total_bytes;
    a.local_scratch = a.kind == 1 ? a.local_bitmap_bytes : 0;
  }
  a.group_bytes = first == 0 ? 1 : first;
  return a;
}

void expect_dense(const vs::matmatComputeDenseData* d, const accumulator& a,
                  const std::string& what) {
  ASSERT_NE(d, nullptr) << what;
  EXPECT_EQ(d->local_words, u64(a.local_words)) << what;
  EXPECT_EQ(d->local_columns, u64(a.local_columns)) << what;
  EXPECT_EQ(d->local_value_bytes, u64(a.local_value_bytes)) << what;
  EXPECT_EQ(d->local_bitmap_bytes, u64(a.local_bitmap_bytes)) << what;
  EXPECT_EQ(d->global_words, u64(a.global_words)) << what;
  EXPECT_EQ(d->global_columns, u64(a.global_columns)) << what;
  EXPECT_EQ(d->global_total_bytes, u64(a.global_total_bytes)) << what;
  EXPECT_EQ(d->global_local_bytes, 0u) << what;
}

void expect_hash(const vs::matmatComputeHashData* h, const accumulator& a,
                 const std::string& what) {
  ASSERT_NE(h, nullptr) << what;
  EXPECT_EQ(h->local_entries, u64(a.local_entries)) << what;
  EXPECT_EQ(h->global_entries, u64(a.global_entries)) << what;
  EXPECT_EQ(h->local_bytes, u64(a.local_bytes)) << what;
  EXPECT_EQ(h->global_bytes, u64(a.global_bytes)) << what;
}

std::string too_large(i64 size, u64 max_alloc) {
  return prefix("matmat") + "computation error: The memory allocation (" + std::to_string(size) +
         " bytes) for the temporary array to be requested from user is larger than the limit (" +
         std::to_string(max_alloc) +
         " bytes) for the device. Cannot proceed with this workload on "
         "this device.";
}

// Runs a size request whose answer may exceed the device: the size, or the refusal's text.
template <typename P>
void expect_size(P& p, R request, i64 size, const device_facts& f, const std::string& what) {
  if (u64(size) > f.max_alloc || u64(size) > f.arch_limit) {
    expect_message<vrt::computation_error>([&] { p.run(request); }, too_large(size, f.max_alloc));
  } else {
    p.set_size(-1);
    p.run(request);
    EXPECT_EQ(p.size(), size) << what;
  }
}

struct plan_case {
  i64 rows, n;
  int a_per_row;
  i64 estimate;  // -1: just above half the hash table per row (dense with many passes)
};

TYPED_TEST(MatmatPlan, EveryProfileAtTheEdgesOfItsTables) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const i64 ib = sizeof(I), vb = sizeof(T);
  // The widest C the index type can name: wide enough that neither bitmap covers it.
  const i64 wide = sizeof(I) == 4 ? std::numeric_limits<std::int32_t>::max() : i64{1} << 36;
  int hash_chosen = 0, many_passes = 0, local_only = 0;
  for (const char* profile : gpu_profiles) {
    sycl::queue q{hostsycl::emulated_gpu(profile)};
    const device_facts f = facts_of(q.get_device());
    const plan_case cases[] = {
        {1, 64, 2, 40},                     // one group: the local budget's cap
        {f.total_threads - 1, 96, 1, 500},  // one group short of the threads
        {f.total_threads, 64, 1, 100},      // a group per thread
        {5000, 33, 3, 1 << 20},             // few columns: the local plan whatever the rows
        {100, wide, 1, 200},                // wide and short rows: hash where the bitmap fails
        {100, wide, 1, -1},                 // wide and long rows: dense with many passes
    };
    for (const plan_case& c : cases) {
      const std::string what =
          std::string(profile) + " rows " + std::to_string(c.rows) + " n " + std::to_string(c.n);
      product<T, I> p(q, banded<T, I>(c.rows, 8, c.a_per_row), banded<T, I>(8, c.n, 2),
                      memory::device);
      p.run(R::get_work_estimation_buf_size);
      const bounds b = bounds_of(f, c.rows);
      EXPECT_EQ(p.size(), up(ib * (c.rows + 1) + f.line, f.alignment)) << what;
      const vs::matmatInternalData* d = p.data();
      ASSERT_NE(d, nullptr);
      EXPECT_EQ(d->architecture, f.architecture) << what;
      EXPECT_EQ(d->threads_per_eu, f.threads_per_eu) << what;
      EXPECT_EQ(d->sub_group_size, f.sub_group_size) << what;
      EXPECT_EQ(d->estimate_table_size, f.table) << what;
      EXPECT_EQ(d->arch_alloc_limit, f.arch_limit) << what;
      EXPECT_EQ(d->total_threads, f.total_threads) << what;
      EXPECT_EQ(d->cache_line_bytes, f.line) << what;
      EXPECT_EQ(d->alignment_bytes, f.alignment) << what;
      EXPECT_EQ(d->max_alloc_bytes, f.max_alloc) << what;
      EXPECT_EQ(d->num_groups, b.groups) << what;
      EXPECT_EQ(d->slm_budget, u64(b.slm)) << what;
      EXPECT_EQ(d->global_budget, u64(b.global)) << what;
      // B's rows hold two entries: a wide B takes the hashed estimate.
      const int estimate_kernel = c.n > 65536 ? 5 : 1;
      EXPECT_EQ(d->work_estimation_kernel, estimate_kernel) << what;

      for (const bool values : {false, true}) {
        const i64 v = values ? vb : 0;
        i64 estimate = c.estimate;
        if (estimate < 0) {
          const accumulator probe = plan_of(f, b, c.rows, c.n, 0, estimate_kernel, ib, v);
          estimate = c.rows * (probe.global_entries / 2 + 1);
        }
        const accumulator a = plan_of(f, b, c.rows, c.n, estimate, estimate_kernel, ib, v);
        // The estimate stage's total, as its copy would leave it.
        p.data()->host_slab[vs::host_estimate * p.data()->scalar_stride] = estimate;
        const std::string where = what + (values ? " compute" : " structure");
        i64 size = up(ib * estimate, f.alignment);
        if (values) size += up(vb * estimate, f.alignment);
        size += up(b.groups * a.group_bytes, f.line);
        expect_size(p, values ? R::get_compute_buf_size : R::get_compute_structure_buf_size, size,
                    f, where);
        if (values) {
          EXPECT_EQ(d->compute_kernel, a.kernel) << where;
          EXPECT_EQ(d->compute_memory_kind, a.kind) << where;
          EXPECT_EQ(d->compute_group_bytes, u64(a.group_bytes)) << where;
          EXPECT_EQ(d->compute_local_bytes, u64(a.local_scratch)) << where;
          expect_dense(d->compute_dense, a, where);
          expect_hash(d->compute_hash, a, where);
          EXPECT_EQ(d->compute_heap, nullptr) << where;
        } else {
          EXPECT_EQ(d->compute_structure_kernel, a.kernel) << where;
          EXPECT_EQ(d->structure_memory_kind, a.kind) << where;
          EXPECT_EQ(d->structure_group_bytes, u64(a.group_bytes)) << where;
          EXPECT_EQ(d->structure_local_bytes, u64(a.local_scratch)) << where;
          expect_dense(d->structure_dense, a, where);
          expect_hash(d->structure_hash, a, where);
        }
        hash_chosen += a.kernel == 5;
        many_passes += a.kind == 2 && a.kernel != 5 && 8 * a.global_columns < c.n;
        local_only += a.kind == 1 && c.estimate == (1 << 20);
      }
    }
  }
  // The grid reaches every branch of the choice.
  EXPECT_GT(hash_chosen, 0);
  EXPECT_GT(many_passes, 0);
  EXPECT_GT(local_only, 0);
}

// The plan is made once per C: a second size request with another estimate keeps it.
TYPED_TEST(MatmatPlan, PlansArePinnedAtTheirFirstUse) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a4")};
  const i64 wide = sizeof(I) == 4 ? std::numeric_limits<std::int32_t>::max() : i64{1} << 36;
  product<T, I> p(q, banded<T, I>(100, 8, 1), banded<T, I>(8, wide, 2), memory::device);
  p.run(R::get_work_estimation_buf_size);
  p.data()->host_slab[vs::host_estimate * p.data()->scalar_stride] = 200;
  p.run(R::get_compute_buf_size);
  const std::int64_t first = p.size();
  EXPECT_EQ(p.data()->compute_kernel, vs::matmat_accum_mixed);
  const std::uint64_t group_bytes = p.data()->compute_group_bytes;
  p.data()->host_slab[vs::host_estimate * p.data()->scalar_stride] = 100000;
  p.run(R::get_compute_buf_size);
  EXPECT_EQ(p.data()->compute_kernel, vs::matmat_accum_mixed);
  EXPECT_EQ(p.data()->compute_group_bytes, group_bytes);
  EXPECT_GT(p.size(), first);
}

TYPED_TEST(MatmatPlan, EstimateKernelAtTheColumnAndDensityEdges) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a5")};
  struct edge {
    i64 rows, n;
    int a_per_row, b_per_row, kernel;
  };
  const edge edges[] = {
      {40, 65536, 1, 1, 1},   // up to 65536 columns: exact counts whatever the densities
      {40, 65537, 1, 17, 5},  // A rows under 5
      {40, 65537, 5, 17, 1},  // both dense enough
      {40, 65537, 5, 16, 5},  // B rows under 17
      {0, 65537, 0, 17, 5},   // no rows in A: no average
  };
  for (memory m : {memory::device, memory::buffer})
    for (const edge& e : edges) {
      product<T, I> p(q, banded<T, I>(e.rows, 20, e.a_per_row), banded<T, I>(20, e.n, e.b_per_row),
                      m);
      p.run(R::get_work_estimation_buf_size);
      EXPECT_EQ(p.data()->work_estimation_kernel, e.kernel)
          << e.rows << " x " << e.n << " " << vrt_test::name_of(m);
      if (e.rows == 0) {
        EXPECT_EQ(p.data()->num_groups, 1);
        EXPECT_EQ(p.data()->slm_budget, 16384u);
        EXPECT_EQ(p.C()->primary->nrows, 0);
      }
    }
}

// A size past the device's allocation limit is refused by the size request and by the stage that
// would allocate it, before any kernel runs.
TYPED_TEST(MatmatPlan, WorkspacePastTheDeviceLimitIsRefused) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a2")};
  const device_facts f = facts_of(q.get_device());
  product<T, I> p(q, banded<T, I>(50, 8, 2), banded<T, I>(8, 40, 2), memory::device);
  p.run(R::get_work_estimation_buf_size);
  const i64 estimate = i64{1} << 31;
  p.data()->host_slab[vs::host_estimate * p.data()->scalar_stride] = estimate;
  const i64 ib = sizeof(I), vb = sizeof(T);
  const bounds b = bounds_of(f, 50);
  const accumulator a = plan_of(f, b, 50, 40, estimate, 1, ib, vb);
  const i64 size = up(ib * estimate, f.alignment) + up(vb * estimate, f.alignment) +
                   up(b.groups * a.group_bytes, f.line);
  expect_message<vrt::computation_error>([&] { p.run(R::get_compute_buf_size); },
                                         too_large(size, f.max_alloc));
  expect_message<vrt::computation_error>([&] { p.run(R::compute, false); },
                                         too_large(size, f.max_alloc));
  EXPECT_EQ(p.data()->compute_buffer, nullptr);
}

// Refusals the planner and the allocator keep for states the stages do not reach.
TEST(MatmatPlanRefusals, SizesTablesAndAllocations) {
  namespace g = vs::gpu;
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  vs::matmatInternalData* d = nullptr;
  vs::initMatmatInternalData(&d);
  vs::cache_matmat_internals_device_data(q, d);
  d->num_groups = 4;
  d->global_budget = 4000;
  expect_message<vrt::computation_error>(
      [&] { g::check_planned_size(d, 1001, 10); },
      prefix("matmat") +
          "computation error: Internal Computation Error for temporary workspace "
          "sizes");
  g::check_planned_size(d, 1000, 10);
  expect_message<vrt::computation_error>(
      [&] { g::check_planned_size(d, 1, d->max_alloc_bytes + 1); },
      too_large(static_cast<i64>(d->max_alloc_bytes + 1), d->max_alloc_bytes));
  const vs::matmatComputeDenseData dense{};
  const vs::matmatComputeHashData hash{1, 2, 3, 4};
  expect_message<vrt::computation_error>(
      [&] { g::group_scratch_of(static_cast<vs::matmat_kernel>(6), 1, dense, hash, nullptr); },
      prefix("matmat") + "computation error: Internal error");
  EXPECT_EQ(g::group_scratch_of(vs::matmat_noaccum, 2, dense, hash, nullptr).global_bytes, 0u);
  EXPECT_EQ(g::group_scratch_of(vs::matmat_accum_mixed, 2, dense, hash, nullptr).global_bytes, 3u);
  // Finalize follows the estimate: its own value below 5, else 5.
  for (int k = 0; k <= 5; ++k)
    EXPECT_EQ(
        g::finalize_kernel_dispatch(static_cast<vs::matmat_kernel>(k), vs::matmat_accum_dense),
        std::min(k, 5));
  d->compute_kernel = static_cast<vs::matmat_kernel>(6);
  expect_message<vrt::computation_error>([&] { g::dispatch_compute(d); },
                                         prefix("matmat") + "computation error: internal error");

  // The allocator: ceilings, a slot already holding a buffer, an unknown memory model.
  void* slot = nullptr;
  d->container = vs::container_usm;
  expect_message<vrt::computation_error>(
      [&] { g::do_allocate_temp_workspace(q, &slot, d->arch_alloc_limit + 1, d); },
      prefix("matmat") +
          "computation error: Required memory allocation is larger than the limit for the device");
  g::do_allocate_temp_workspace(q, &slot, 100, d);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(slot) % 4096, 0u);
  expect_message<vrt::invalid_argument>([&] { g::do_allocate_temp_workspace(q, &slot, 100, d); },
                                        prefix("") + "invalid argument: internal error");
  sycl::free(slot, q);
  sycl::buffer<std::uint8_t, 1>* buffer = nullptr;
  d->container = vs::container_buffer;
  g::do_allocate_temp_workspace(q, &buffer, 100, d);
  ASSERT_NE(buffer, nullptr);
  EXPECT_EQ(buffer->size(), 100u);
  delete buffer;
  slot = nullptr;
  d->container = static_cast<vs::containerType>(-1);
  expect_message<vrt::computation_error>([&] { g::do_allocate_temp_workspace(q, &slot, 100, d); },
                                         prefix("matmat") + "computation error: internal error");
  vs::matmatInternalDataRelease(&d, nullptr, vs::container_usm);
}

// A device that is no GPU: the first row of the facts table.
TEST(MatmatPlanFacts, NonGpuDevice) {
  sycl::queue q{sycl::cpu_selector_v};
  vs::matmatInternalData* d = nullptr;
  vs::initMatmatInternalData(&d);
  EXPECT_EQ(d->container, -1);
  EXPECT_EQ(d->work_estimation_kernel, vs::matmat_kernel_unset);
  EXPECT_EQ(d->num_groups, -1);
  EXPECT_EQ(d->cache_bytes, 0);
  vs::cache_matmat_internals_device_data(q, d);
  EXPECT_EQ(d->architecture, 0);
  EXPECT_EQ(d->threads_per_eu, 1);
  EXPECT_EQ(d->sub_group_size, 8);
  EXPECT_EQ(d->estimate_table_size, 2048);
  EXPECT_EQ(d->arch_alloc_limit, std::numeric_limits<u64>::max());
  EXPECT_TRUE(d->device_data_cached);
  vs::matmatInternalDataRelease(&d, nullptr, vs::container_usm);
  expect_message<vrt::computation_error>(
      [&] { vs::cache_matmat_internals_device_data(q, nullptr); },
      prefix("matmat") + "computation error: internal error");
}

}  // namespace
