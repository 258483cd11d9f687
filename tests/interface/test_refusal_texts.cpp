// Refusals that only odd states or internal callers reach, each asserted with its class and whole
// text: format mismatches of copies, matrices of no known format, the product's finalize before
// its compute stage, and the CPU routines' own argument words behind the frame.
#include <gtest/gtest.h>

#include <cstdint>
#include <hostsycl/hostsycl.hpp>
#include <limits>
#include <string>
#include <vector>

#include "cpu/operations.hpp"
#include "gpu/format/transpose_entry.hpp"
#include "handle/handle.hpp"
#include "support/device_arrays.hpp"
#include "support/test_helpers.hpp"

namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;
using vrt::transpose;
using vrt_test::expect_message;

namespace {

using vrt_test::prefix;

// A 2 x 2 matrix [[1, 0], [2, 3]] in shared USM, bound as CSR or COO, with or without values.
struct small_matrix {
  vrt_test::bound_matrix<double, std::int32_t> bound;
  vs::matrix_handle_t h = bound.handle();
  std::int32_t* rows = bound.first().usm();
  std::int32_t* cols = bound.col_ind().usm();
  double* values = bound.values().usm();
  small_matrix(sycl::queue& q, bool coo, bool with_values)
      : bound(q, 2, 2, 0,
              coo ? std::vector<std::int32_t>{0, 1, 1} : std::vector<std::int32_t>{0, 1, 3},
              {0, 0, 1}, {1.0, 2.0, 3.0}, vrt_test::memory::shared,
              coo ? vrt_test::storage::coo : vrt_test::storage::csr, with_values) {
    bound.wait();
  }
};

TEST(RefusalTexts, CopiesNeedTheSameFormatOnBothSides) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a1")};
  small_matrix csr(q, false, true), coo(q, true, true);
  expect_message<vrt::invalid_argument>(
      [&] { vs::omatcopy(q, transpose::nontrans, csr.h, coo.h).wait(); },
      prefix("omatcopy") + "invalid argument: Input and output matrix formats must be same");
}

TEST(RefusalTexts, AStructureOnlyCooCannotFillValues) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a1")};
  small_matrix structure_only(q, true, false), with_values(q, true, true);
  // Both handles say double: the structure-only one was bound through the double overload.
  expect_message<vrt::invalid_argument>(
      [&] { vs::omatcopy(q, transpose::nontrans, structure_only.h, with_values.h).wait(); },
      prefix("omatcopy") +
          "invalid argument: Input matrix appears to be COO structure-only but output matrix "
          "appears to COO structure+values");
}

TEST(RefusalTexts, OnlyCsrAndCooCanBeCopied) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a1")};
  small_matrix A(q, false, true), B(q, false, true);
  A.h->primary->format = B.h->primary->format = 2;  // a format the library does not know
  expect_message<vrt::unimplemented>(
      [&] { vs::omatcopy(q, transpose::nontrans, A.h, B.h).wait(); },
      prefix("omatcopy") +
          "unimplemented functionality: Only CSR and COO matrix formats are currently supported");
  A.h->primary->format = B.h->primary->format = 1;
}

TEST(RefusalTexts, ACopyNeedsBoundIndexTypes) {
  sycl::queue q{hostsycl::emulated_gpu("emu-a1")};
  small_matrix A(q, false, true), B(q, false, true);
  B.h->int_type = vs::int_unset;
  expect_message<vrt::invalid_argument>(
      [&] {
        vs::gpu::omatcopy_impl<double, std::int32_t, vs::container_usm>(q, transpose::nontrans, A.h,
                                                                        B.h, {})
            .wait();
      },
      prefix("omatcopy") +
          "invalid argument: Only supports transpose on fully initialized matrix handles. Please "
          "call set_xxx_data routine");
  B.h->int_type = vs::int_32;
}

TEST(RefusalTexts, UnknownFormatsAreRefusedOnEveryDevice) {
  sycl::queue cpu{sycl::cpu_selector_v};
  small_matrix on_cpu(cpu, false, true);
  on_cpu.h->primary->format = 2;
  double* v = sycl::malloc_shared<double>(4, cpu);
  expect_message<vrt::unimplemented>(
      [&] { vs::gemv(cpu, transpose::nontrans, 1.0, on_cpu.h, v, 0.0, v + 2).wait(); },
      prefix("gemv") + "unimplemented functionality: Unsupported matrix format");
  on_cpu.h->primary->format = 1;
  sycl::free(v, cpu);

  sycl::queue gpu{hostsycl::emulated_gpu("emu-a1")};
  small_matrix on_gpu(gpu, false, true);
  on_gpu.h->primary->format = 2;
  double* w = sycl::malloc_shared<double>(4, gpu);
  expect_message<vrt::unimplemented>(
      [&] { vs::gemv(gpu, transpose::nontrans, 1.0, on_gpu.h, w, 0.0, w + 2).wait(); },
      prefix("gemv") +
          "unimplemented functionality: currently only supports the CSR and COO matrix formats on "
          "GPU devices");
  on_gpu.h->primary->format = 1;
  sycl::free(w, gpu);
}

TEST(RefusalTexts, FinalizeStructureNeedsAComputedStructure) {
  sycl::queue q{sycl::cpu_selector_v};
  small_matrix A(q, false, true), B(q, false, true), C(q, false, true);
  vs::matmat_descr_t descr = nullptr;
  vs::init_matmat_descr(&descr);
  expect_message<vrt::computation_error>(
      [&] {
        vs::matmat(q, A.h, B.h, C.h, vs::matmat_request::finalize_structure, descr,
                   static_cast<std::int64_t*>(nullptr), nullptr)
            .wait();
      },
      prefix("matmat") +
          "computation error: It appears you have not called matmat compute or compute_structure "
          "stage before finalize_structure stage");
  vs::release_matmat_descr(&descr);
}

// The public frame refuses a transposed dense operand first; the CPU routines carry words of
// their own for internal callers.
TEST(RefusalTexts, CpuDenseOperandsBehindTheFrame) {
  sycl::queue q{sycl::cpu_selector_v};
  small_matrix A(q, false, true);
  double* v = sycl::malloc_shared<double>(8, q);
  expect_message<vrt::unimplemented>(
      [&] {
        vs::cpu::gemm_impl<double, std::int32_t, vs::container_usm>(
            q, vrt::layout::row_major, transpose::nontrans, transpose::trans, 1.0, A.h, v, 2, 2,
            0.0, v + 4, 2, {});
      },
      prefix("gemm") +
          "unimplemented functionality: currently does not support non-transpose op on B/dense "
          "matrix");
  expect_message<vrt::unimplemented>(
      [&] {
        vs::cpu::trsm_impl<double, std::int32_t, vs::container_usm>(
            q, vrt::layout::row_major, transpose::nontrans, transpose::trans, vrt::uplo::lower,
            vrt::diag::nonunit, 1.0, A.h, v, 2, 2, v + 4, 2, {});
      },
      prefix("trsm") +
          "unimplemented functionality: currently only supports the "
          "orvane::vrt::transpose::nontrans op for x matrix");
  sycl::free(v, q);
}

TEST(RefusalTexts, ThirtyTwoBitIndicesBoundTheDenseSizesOfTrsm) {
  sycl::queue q{sycl::cpu_selector_v};
  small_matrix A(q, false, true);
  double* v = sycl::malloc_shared<double>(4, q);
  const std::int64_t wide = std::int64_t{std::numeric_limits<std::int32_t>::max()} + 1;
  expect_message<vrt::invalid_argument>(
      [&] {
        vs::trsm(q, vrt::layout::row_major, transpose::nontrans, transpose::nontrans,
                 vrt::uplo::lower, vrt::diag::nonunit, 1.0, A.h, v, wide, wide, v, wide)
            .wait();
      },
      prefix("trsm") + "invalid argument: one of columns, ldx, ldy is invalid");
  sycl::free(v, q);
}

TEST(RefusalTexts, OneWordOfOptimizeGemvKeepsItsSpelling) {
  VRT_SKIP_UNLESS_BUILT(float);
  sycl::queue q{sycl::cpu_selector_v};
  vs::matrix_handle_t h = nullptr;
  vs::init_matrix_handle(&h);
  // A fresh handle reads as float with 32-bit indices and reaches the CPU routine unbound.
  expect_message<vrt::uninitialized>(
      [&] { vs::optimize_gemv(q, transpose::nontrans, h).wait(); },
      "orvane::vrt::sparse::optimze_gemv: uninitialized object: Matrix is not initialized");
  vs::release_matrix_handle(&h);
}

}  // namespace
