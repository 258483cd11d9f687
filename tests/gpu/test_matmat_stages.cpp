// The device matmat's frame and stage machine on emulated GPUs: the order of its refusals, the
// transposes it keeps in the handles, the checks of each stage, the workspace rule with the
// caller's or the library's buffers, and the carving of those buffers.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <hostsycl/hostsycl.hpp>
#include <string>
#include <vector>

#include "gpu/matmat/matmat_stages.hpp"
#include "matmat_support.hpp"

namespace {

namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;
using vrt::transpose;
using vrt_test::all_memories;
using vrt_test::expect_message;
using vrt_test::memory;
using vrt_test::name_of;
using vrt_test::prefix;
using vrt_test::matmat::banded;
using vrt_test::matmat::product;
using vrt_test::matmat::workspace;
using R = vs::matmat_request;

template <typename V>
class MatmatStages : public ::testing::Test {};
TYPED_TEST_SUITE(MatmatStages, vrt_test::all_variants);

const std::string not_ready =
    prefix("matmat") +
    "unimplemented functionality: nnz is not ready to be retrieved, please call matmat API with "
    "matmat_request::compute or matmat_request::compute_structure first";

std::uintptr_t aligned_up(const void* p, std::uintptr_t a) {
  const auto v = reinterpret_cast<std::uintptr_t>(p);
  return (v + a - 1) / a * a;
}

// The estimate stage, with a library workspace.
template <typename P>
void run_estimate(P& p) {
  p.run(R::work_estimation, true);
  p.wait();
}

TYPED_TEST(MatmatStages, OnlyTheEstimateRequestsCheckTheDimensions) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a1")};
  for (memory m : {memory::shared, memory::buffer}) {
    product<T, I> p(q, banded<T, I>(4, 5, 2), banded<T, I>(6, 3, 2), m);
    for (R r : {R::get_work_estimation_buf_size, R::work_estimation})
      expect_message<vrt::invalid_argument>(
          [&] { p.run(r); },
          prefix("matmat") + "invalid argument: matrix dimensions are not aligned");
    p.run(R::get_compute_structure_buf_size);
    EXPECT_GT(p.size(), 0) << name_of(m);
  }
}

TYPED_TEST(MatmatStages, FinalizeChecksWhatTheComputeStagesLeft) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a5")};
  for (memory m : all_memories) {
    product<T, I> p(q, banded<T, I>(9, 8, 3), banded<T, I>(8, 6, 2), m);
    expect_message<vrt::computation_error>(
        [&] { p.run(R::finalize_structure); },
        prefix("matmat") +
            "computation error: It appears you have not called matmat compute or "
            "compute_structure stage before finalize_structure stage");
    expect_message<vrt::computation_error>(
        [&] { p.run(R::finalize); },
        prefix("matmat") +
            "computation error: It appears you have not called matmat compute stage before "
            "finalize stage");
    // The estimate pins its kernel and carves row_offsets before it runs.
    p.run(R::get_work_estimation_buf_size);
    run_estimate(p);
    EXPECT_NE(p.data()->row_offsets, nullptr) << name_of(m);
    // The structure stage carves its buffer, then names itself as not on the device yet.
    expect_message<vrt::unimplemented>(
        [&] { p.run(R::compute_structure); },
        prefix("matmat") + "unimplemented functionality: compute_structure");
    ASSERT_NE(p.data(), nullptr);
    EXPECT_NE(p.data()->structure_cols, nullptr) << name_of(m);
    EXPECT_TRUE(p.data()->compute_structure_buffer_owned) << name_of(m);
    // finalize still lacks the values; finalize_structure passes its check.
    expect_message<vrt::computation_error>(
        [&] { p.run(R::finalize); },
        prefix("matmat") +
            "computation error: It appears you have not called matmat compute stage before "
            "finalize stage");
    expect_message<vrt::unimplemented>(
        [&] { p.run(R::finalize_structure); },
        prefix("matmat") + "unimplemented functionality: finalize_structure");
    p.set_size(-1);
    expect_message<vrt::unimplemented>([&] { p.run(R::compute); },
                                       prefix("matmat") + "unimplemented functionality: compute");
    EXPECT_NE(p.data()->compute_values, nullptr) << name_of(m);
    expect_message<vrt::unimplemented>([&] { p.run(R::finalize); },
                                       prefix("matmat") + "unimplemented functionality: finalize");
  }
}

// Every legal order binds C's row pointer between the estimate and the stages that write it; the
// binding completes the product's structure and must keep the plan and the estimate.
TYPED_TEST(MatmatStages, BindingTheProductsRowPointerKeepsItsPlan) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  for (memory m : all_memories) {
    product<T, I> p(q, banded<T, I>(9, 8, 3), banded<T, I>(8, 6, 2), m);
    p.run(R::get_work_estimation_buf_size);
    run_estimate(p);
    p.run(R::get_compute_structure_buf_size);
    const std::int64_t structure_size = p.size();
    vs::matmatInternalData* const record = p.data();
    ASSERT_NE(record, nullptr) << name_of(m);
    const void* const row_offsets = record->row_offsets;
    vrt_test::device_array<I> row_ptr(q, std::vector<I>(10, I(-1)), m);
    vrt_test::device_array<I> col_ind(q, std::vector<I>(1, I(-1)), m);
    vrt_test::device_array<T> values(q, std::vector<T>(1, T(-1)), m);
    vrt_test::call_on(
        m, {},
        [&](auto& rp, auto& ci, auto& va, auto... deps) {
          if constexpr (sizeof...(deps) == 0)
            vs::set_csr_data(q, p.C(), I(9), I(6), vrt::index_base::zero, rp, ci, va);
          else
            vs::set_csr_data(q, p.C(), I(9), I(6), vrt::index_base::zero, rp, ci, va, deps...)
                .wait();
          return sycl::event{};
        },
        row_ptr, col_ind, values);
    ASSERT_EQ(p.data(), record) << name_of(m);
    EXPECT_EQ(p.data()->row_offsets, row_offsets) << name_of(m);
    p.set_size(-1);
    p.run(R::get_compute_structure_buf_size);
    EXPECT_EQ(p.size(), structure_size) << name_of(m);
    // The structure stage still finds the estimate and carves its buffer before it refuses.
    expect_message<vrt::unimplemented>(
        [&] { p.run(R::compute_structure); },
        prefix("matmat") + "unimplemented functionality: compute_structure");
    EXPECT_NE(p.data()->structure_cols, nullptr) << name_of(m);
  }
}

TYPED_TEST(MatmatStages, GetNnzNeedsCsIndexTypeAndACount) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a6")};
  for (memory m : all_memories) {
    product<T, I> p(q, banded<T, I>(5, 5, 2), banded<T, I>(5, 5, 2), m);
    expect_message<vrt::invalid_argument>(
        [&] { p.run(R::get_nnz); },
        prefix("matmat") +
            "invalid argument: integer type is unset in matrix handle, meaning set_xxx_data was "
            "not called after initialization");
    p.C()->primary->int_type = sizeof(I) == 4 ? vs::int_32 : vs::int_64;
    p.set_size(77);
    expect_message<vrt::unimplemented>([&] { p.run(R::get_nnz); }, not_ready);
    EXPECT_EQ(p.C()->primary->nnz, -1) << name_of(m);
    EXPECT_EQ(p.size(), 77) << name_of(m);
    p.C()->primary->int_type = static_cast<vs::intType>(5);
    expect_message<vrt::computation_error>([&] { p.run(R::get_nnz); },
                                           prefix("matmat") + "computation error: internal error");
    p.C()->primary->int_type = vs::int_unset;
  }
}

// The workspace rule of the two accumulating stages: the caller's buffer with its size, checked
// against the size request's answer.
TYPED_TEST(MatmatStages, CallerWorkspacesOfTheAccumulatingStages) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a3")};
  struct stage {
    R size_request, request;
    const char* word;
  };
  for (const stage& s :
       {stage{R::get_compute_structure_buf_size, R::compute_structure, "compute_structure"},
        stage{R::get_compute_buf_size, R::compute, "compute"}})
    for (memory m : all_memories) {
      const std::string what = std::string(s.word) + " " + name_of(m);
      product<T, I> p(q, banded<T, I>(40, 30, 4), banded<T, I>(30, 20, 3), m);
      p.run(s.size_request);
      const std::int64_t needed = p.size();
      ASSERT_GT(needed, 0) << what;
      workspace w(q, m, static_cast<std::size_t>(needed) + 64);
      expect_message<vrt::invalid_argument>(
          [&] { p.run(s.request, false, w.usm(), w.buffer()); },
          prefix("matmat") +
              "invalid argument: The temporary workspace, tempBuffer, has been provided for the " +
              s.word +
              " stage, but the array sizeTempBuffer is not provided with the size of the "
              "workspace");
      p.set_size(needed - 1);
      expect_message<vrt::computation_error>(
          [&] { p.run(s.request, true, w.usm(), w.buffer()); },
          prefix("matmat") +
              "computation error: according to provided sizeTempBuffer, the tempBuffer array is "
              "smaller than requested and we cannot reliably proceed");
      EXPECT_EQ(p.data()->compute_structure_buffer, nullptr) << what;
      EXPECT_EQ(p.data()->compute_buffer, nullptr) << what;
      for (std::int64_t given : {needed, needed + 64}) {
        p.set_size(given);
        expect_message<vrt::unimplemented>(
            [&] { p.run(s.request, true, w.usm(), w.buffer()); },
            prefix("matmat") + "unimplemented functionality: " + s.word);
        void* recorded =
            s.request == R::compute ? p.data()->compute_buffer : p.data()->compute_structure_buffer;
        EXPECT_EQ(recorded, vrt_test::is_usm(m) ? w.usm() : static_cast<void*>(w.buffer())) << what;
        EXPECT_FALSE(p.data()->compute_buffer_owned || p.data()->compute_structure_buffer_owned)
            << what;
      }
    }
}

TYPED_TEST(MatmatStages, EstimateWorkspaceOneByteShortOrWithoutItsSizeIsRefused) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a0")};
  for (memory m : all_memories) {
    product<T, I> p(q, banded<T, I>(33, 12, 3), banded<T, I>(12, 9, 2), m);
    p.run(R::get_work_estimation_buf_size);
    const std::int64_t needed = p.size();
    ASSERT_GT(needed, 0);
    workspace w(q, m, static_cast<std::size_t>(needed));
    expect_message<vrt::invalid_argument>(
        [&] { p.run(R::work_estimation, false, w.usm(), w.buffer()); },
        prefix("matmat") +
            "invalid argument: The temporary workspace, tempBuffer, has been provided for the "
            "work_estimation stage, but the array sizeTempBuffer is not provided with the size "
            "of the workspace");
    p.set_size(needed - 1);
    expect_message<vrt::computation_error>(
        [&] { p.run(R::work_estimation, true, w.usm(), w.buffer()); },
        prefix("matmat") +
            "computation error: according to provided sizeTempBuffer, the tempBuffer array is "
            "smaller than requested and we cannot reliably proceed");
    EXPECT_EQ(p.data()->row_offsets, nullptr) << name_of(m);
  }
}

// An unaligned USM workspace: the carve moves each array up to its alignment and checks what is
// left after the move.
TYPED_TEST(MatmatStages, UnalignedWorkspacesAreCarvedFromTheNextCacheLine) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a2")};
  for (memory m : {memory::device, memory::shared, memory::host}) {
    product<T, I> p(q, banded<T, I>(50, 20, 3), banded<T, I>(20, 10, 2), m);
    p.run(R::get_compute_structure_buf_size);
    const std::int64_t needed = p.size();
    workspace w(q, m, static_cast<std::size_t>(needed) + 4096);
    // The exact size leaves no room for the shift.
    p.set_size(needed);
    expect_message<vrt::computation_error>(
        [&] { p.run(R::compute_structure, true, w.usm(8), nullptr); },
        prefix("") + "computation error: internal error");
    EXPECT_EQ(p.data()->structure_cols, nullptr) << name_of(m);
    // With room, the columns start at the next cache line and the scratch at the next
    // alignment step.
    p.set_size(needed + 2048);
    expect_message<vrt::unimplemented>(
        [&] { p.run(R::compute_structure, true, w.usm(8), nullptr); },
        prefix("matmat") + "unimplemented functionality: compute_structure");
    const auto line = static_cast<std::uintptr_t>(p.data()->cache_line_bytes);
    const auto alignment = static_cast<std::uintptr_t>(p.data()->alignment_bytes);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p.data()->structure_cols),
              aligned_up(w.usm(8), line));
    const auto cols = reinterpret_cast<std::uintptr_t>(p.data()->structure_cols);
    const auto scratch = reinterpret_cast<std::uintptr_t>(p.data()->structure_scratch);
    EXPECT_GE(scratch, cols);
    EXPECT_EQ((scratch - cols) % alignment, 0u);

    // The estimate's size has a cache line of room: an unaligned buffer of exactly that size
    // is carved.
    p.run(R::get_work_estimation_buf_size);
    const std::int64_t estimate_size = p.size();
    workspace e(q, m, static_cast<std::size_t>(estimate_size));
    p.set_size(estimate_size);
    try {
      p.run(R::work_estimation, true, e.usm(8), nullptr);
      p.wait();
    } catch (const vrt::unimplemented&) {
      // The estimate kernels refuse until they land; the carve happened before them.
    }
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p.data()->row_offsets), aligned_up(e.usm(8), line));
  }
}

TYPED_TEST(MatmatStages, LibraryWorkspacesAreOwnedAndASecondOneIsAnInternalError) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a6")};
  const std::uint64_t before = hostsycl::live_allocation_bytes(q.get_device());
  for (memory m : all_memories) {
    {
      product<T, I> p(q, banded<T, I>(20, 20, 3), banded<T, I>(20, 20, 3), m);
      expect_message<vrt::unimplemented>(
          [&] { p.run(R::compute_structure, false); },
          prefix("matmat") + "unimplemented functionality: compute_structure");
      EXPECT_TRUE(p.data()->compute_structure_buffer_owned) << name_of(m);
      EXPECT_NE(p.data()->compute_structure_buffer, nullptr) << name_of(m);
      expect_message<vrt::invalid_argument>([&] { p.run(R::compute_structure, false); },
                                            prefix("") + "invalid argument: internal error");
      // A caller's buffer cannot replace the library's either: the carved arrays stand in it.
      workspace w(q, m, 1 << 16);
      p.set_size(1 << 16);
      expect_message<vrt::invalid_argument>(
          [&] { p.run(R::compute_structure, true, w.usm(), w.buffer()); },
          prefix("") + "invalid argument: internal error");
      EXPECT_TRUE(p.data()->compute_structure_buffer_owned) << name_of(m);
    }
    // Releasing C frees the owned buffer and the slabs.
    EXPECT_EQ(hostsycl::live_allocation_bytes(q.get_device()), before) << name_of(m);
  }
}

// The stages' own checks, which the frame's checks keep the public API from reaching.
TYPED_TEST(MatmatStages, StagesRefuseMissingStructuresAndOtherAlgorithms) {
  using I = typename TypeParam::index;
  sycl::queue q{hostsycl::emulated_gpu("emu-a1")};
  vs::matmatInternalData* d = nullptr;
  vs::initMatmatInternalData(&d);
  vs::sparseStructure s{};
  namespace g = vs::gpu;
  const auto one = g::kernels::matmat_algorithm_default;
  std::int64_t* size = nullptr;
  expect_message<vrt::computation_error>(
      [&] {
        g::matmat_get_work_estimation_buf_size<I, vs::container_usm>(q, nullptr, &s, &s, d, one,
                                                                     size, {});
      },
      prefix("matmat") + "computation error: One of the matricews is not initialized");
  expect_message<vrt::computation_error>(
      [&] {
        g::matmat_work_estimation<I, vs::container_usm>(q, &s, nullptr, &s, d, one, size, nullptr,
                                                        {});
      },
      prefix("matmat") + "computation error: One of the matricews is not initialized");
  expect_message<vrt::computation_error>(
      [&] {
        g::matmat_compute_structure<I, vs::container_usm>(q, &s, &s, nullptr, d, one, size, nullptr,
                                                          {});
      },
      prefix("matmat") + "computation error: One of the matrices is not initialized");
  expect_message<vrt::computation_error>(
      [&] {
        g::matmat_get_nnz<I, vs::container_buffer>(
            q, &s, &s, &s, d, static_cast<g::kernels::matmat_algorithm>(2), nullptr, {});
      },
      prefix("matmat") + "computation error: unsupported algorithm");
  vs::matmatInternalDataRelease(&d, nullptr, vs::container_usm);
  EXPECT_EQ(d, nullptr);
}

}  // namespace

namespace {

// Distinct columns of each row of op(A) op(B), by a plain walk over dense copies of the patterns.
template <typename T, typename I>
std::vector<std::int64_t> product_row_counts(const vrt_test::csr_matrix<T, I>& a, bool ta,
                                             const vrt_test::csr_matrix<T, I>& b, bool tb) {
  auto dense = [](const vrt_test::csr_matrix<T, I>& m, bool t) {
    const std::int64_t rows = t ? m.ncols : m.nrows, cols = t ? m.nrows : m.ncols;
    std::vector<std::vector<bool>> d(static_cast<std::size_t>(rows),
                                     std::vector<bool>(static_cast<std::size_t>(cols), false));
    for (std::int64_t i = 0; i < m.nrows; ++i)
      for (I k = m.row_ptr[i] - m.base; k < m.row_ptr[i + 1] - m.base; ++k) {
        const std::int64_t j = m.col_ind[static_cast<std::size_t>(k)] - m.base;
        d[static_cast<std::size_t>(t ? j : i)][static_cast<std::size_t>(t ? i : j)] = true;
      }
    return d;
  };
  const auto A = dense(a, ta), B = dense(b, tb);
  std::vector<std::int64_t> counts;
  for (const auto& row : A) {
    std::vector<bool> hit(B.empty() ? 0 : B[0].size(), false);
    for (std::size_t k = 0; k < row.size(); ++k)
      if (row[k])
        for (std::size_t j = 0; j < hit.size(); ++j) hit[j] = hit[j] || B[k][j];
    counts.push_back(std::count(hit.begin(), hit.end(), true));
  }
  return counts;
}

// The matrix with each row's repeated columns dropped: a row of A with one entry is counted as
// the length of the B row it names, so B's rows must not repeat a column for the count to be
// exact.
template <typename T, typename I>
vrt_test::csr_matrix<T, I> distinct_columns(const vrt_test::csr_matrix<T, I>& m) {
  vrt_test::csr_matrix<T, I> out = m;
  out.row_ptr.assign(1, static_cast<I>(m.base));
  out.col_ind.clear();
  out.values.clear();
  for (std::int64_t i = 0; i < m.nrows; ++i) {
    const std::size_t first = out.col_ind.size();
    for (I k = m.row_ptr[i] - m.base; k < m.row_ptr[i + 1] - m.base; ++k) {
      const I c = m.col_ind[static_cast<std::size_t>(k)];
      if (std::find(out.col_ind.begin() + static_cast<std::ptrdiff_t>(first), out.col_ind.end(),
                    c) != out.col_ind.end())
        continue;
      out.col_ind.push_back(c);
      out.values.push_back(m.values[static_cast<std::size_t>(k)]);
    }
    out.row_ptr.push_back(static_cast<I>(out.col_ind.size() + static_cast<std::size_t>(m.base)));
  }
  return out;
}

// row_offsets as the estimate left them in the caller's workspace, at its first cache line.
template <typename I>
std::vector<I> offsets_in(sycl::queue& q, workspace& w, memory m, std::size_t shift,
                          std::size_t count) {
  std::vector<I> out(count);
  if (vrt_test::is_usm(m)) {
    const auto at = aligned_up(w.usm(shift), 64);
    q.wait();
    q.memcpy(out.data(), reinterpret_cast<void*>(at), count * sizeof(I)).wait();
  } else {
    sycl::host_accessor a(*w.buffer(), sycl::read_only);
    std::memcpy(out.data(), a.get_pointer(), count * sizeof(I));
  }
  return out;
}

}  // namespace

// Requests 1 and 2 through the public API with the caller's workspace, on every profile and
// memory, with transposed operands: the counts left in the workspace are the product's row
// lengths (the dense bitmap is exact), their scan's total reaches the record.
TYPED_TEST(MatmatStages, EstimateRowsOfTheProductInTheCallersWorkspace) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto a = distinct_columns(vrt_test::random_csr<T, I>(37, 29, 6, 11));
  const auto b = distinct_columns(vrt_test::random_csr<T, I>(29, 23, 5, 12));
  const auto square = distinct_columns(vrt_test::random_csr<T, I>(29, 29, 4, 13, 1));
  struct shape {
    const vrt_test::csr_matrix<T, I>* a;
    transpose op_a;
    const vrt_test::csr_matrix<T, I>* b;
    transpose op_b;
  };
  const shape shapes[] = {{&a, transpose::nontrans, &b, transpose::nontrans},
                          {&a, transpose::trans, &a, transpose::nontrans},
                          {&a, transpose::nontrans, &a, transpose::trans},
                          {&square, transpose::conjtrans, &square, transpose::trans}};
  for (const char* profile : vrt_test::matmat::gpu_profiles) {
    sycl::queue q{hostsycl::emulated_gpu(profile)};
    for (memory m : all_memories)
      for (const shape& s : shapes) {
        const bool ta = s.op_a != transpose::nontrans, tb = s.op_b != transpose::nontrans;
        const std::string what = std::string(profile) + " " + name_of(m) + (ta ? " op(A)" : " A") +
                                 (tb ? " op(B)" : " B");
        const auto want = product_row_counts(*s.a, ta, *s.b, tb);
        product<T, I> p(q, *s.a, *s.b, m);
        p.set_ops(s.op_a, s.op_b);
        p.run(R::get_work_estimation_buf_size);
        const std::int64_t size = p.size();
        const std::size_t shift = vrt_test::is_usm(m) ? 24 : 0;
        workspace w(q, m, static_cast<std::size_t>(size) + shift);
        hostsycl::reset_kernel_counts();
        p.run(R::work_estimation, true, w.usm(shift), w.buffer());
        p.wait();
        EXPECT_EQ(p.data()->work_estimation_kernel, vs::matmat_accum_dense) << what;
        EXPECT_GT(hostsycl::kernels_submitted("matmat_work_estimation_dense"), 0u) << what;
        EXPECT_EQ(hostsycl::kernels_submitted("matmat_work_estimation_hash"), 0u) << what;
        const auto offsets = offsets_in<I>(q, w, m, shift, want.size() + 1);
        ASSERT_EQ(offsets[0], 0) << what;
        std::int64_t total = 0;
        for (std::size_t i = 0; i < want.size(); ++i) {
          EXPECT_EQ(offsets[i + 1] - offsets[i], want[i]) << what << " row " << i;
          total += want[i];
        }
        // The total as the stages read it: the host cell (USM) or the device cell (buffers).
        p.run(R::get_compute_structure_buf_size);
        EXPECT_GT(p.size(), 0) << what;
        EXPECT_EQ(p.data()->host_slab[vs::host_estimate * p.data()->scalar_stride], total) << what;
      }
  }
}

// A wide B with short rows takes the hashed estimate: every count at least the row's length, the
// total the counts' sum.
TYPED_TEST(MatmatStages, HashedEstimateNeverCountsBelowTheProduct) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  const auto a = vrt_test::random_csr<T, I>(21, 40, 7, 21);
  const auto b = vrt_test::random_csr<T, I>(40, 70000, 9, 22);
  const auto want = product_row_counts(a, false, b, false);
  for (const char* profile : {"emu-a2", "emu-a5", "emu-a6"}) {
    sycl::queue q{hostsycl::emulated_gpu(profile)};
    for (memory m : {memory::device, memory::buffer}) {
      const std::string what = std::string(profile) + " " + name_of(m);
      product<T, I> p(q, a, b, m);
      p.run(R::get_work_estimation_buf_size);
      workspace w(q, m, static_cast<std::size_t>(p.size()));
      hostsycl::reset_kernel_counts();
      p.run(R::work_estimation, true, w.usm(), w.buffer());
      p.wait();
      EXPECT_EQ(p.data()->work_estimation_kernel, vs::matmat_accum_mixed) << what;
      EXPECT_GT(hostsycl::kernels_submitted("matmat_work_estimation_hash"), 0u) << what;
      EXPECT_EQ(hostsycl::kernels_submitted("matmat_work_estimation_dense"), 0u) << what;
      const auto offsets = offsets_in<I>(q, w, m, 0, want.size() + 1);
      for (std::size_t i = 0; i < want.size(); ++i)
        EXPECT_GE(offsets[i + 1] - offsets[i], want[i]) << what << " row " << i;
      p.run(R::get_compute_structure_buf_size);
      EXPECT_EQ(p.data()->host_slab[vs::host_estimate * p.data()->scalar_stride],
                offsets[want.size()])
          << what;
    }
  }
}
