// libFuzzer target for the public API's argument checks: a small valid matrix, then calls with
// fuzzed enumerations, sizes, null operands, value types, memory models and call orders. Every
// call must either return or throw an exception of the orvane::vrt family; a crash, a hang or any
// other exception is a finding.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <cstdlib>
#include <cstdio>
#include <exception>
#include <vector>

#include <orvane/vrt/sparse.hpp>

namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;

namespace {

// Dense operands are this large whatever the fuzzed sizes say: the library cannot know the
// length of a USM pointer, so sizes are drawn so that a call they allow stays inside it.
constexpr std::int64_t dense_rows = 4;
constexpr std::int64_t max_columns = 6;
constexpr std::int64_t max_ld = 8;
constexpr std::size_t dense_elements = dense_rows * max_ld * max_columns;

sycl::queue& queue_of(bool cpu) {
  static sycl::queue cpu_queue{sycl::cpu_selector_v};
  static sycl::queue gpu_queue{sycl::gpu_selector_v};
  return cpu ? cpu_queue : gpu_queue;
}

template <typename E>
E any_enum(FuzzedDataProvider& in) {
  return static_cast<E>(in.ConsumeIntegral<std::uint8_t>() % 6);  // in range and out of it
}

// One fuzzed call on a 4 x 4 lower-triangular CSR matrix of value type T.
template <typename T>
void exercise(FuzzedDataProvider& in, sycl::queue& q) {
  std::int32_t* rows = sycl::malloc_shared<std::int32_t>(5, q);
  std::int32_t* cols = sycl::malloc_shared<std::int32_t>(10, q);
  T* values = sycl::malloc_shared<T>(10, q);
  T* x = sycl::malloc_shared<T>(dense_elements, q);
  T* y = sycl::malloc_shared<T>(dense_elements, q);
  std::int32_t k = 0;
  for (std::int32_t r = 0; r < 4; ++r) {
    rows[r] = k;
    for (std::int32_t c = 0; c <= r; ++c) cols[k] = c, values[k] = T(c == r ? 4 : 1), ++k;
  }
  rows[4] = k;
  for (std::size_t i = 0; i < dense_elements; ++i) x[i] = T(1), y[i] = T(0);

  vs::matrix_handle_t A = nullptr;
  vs::init_matrix_handle(&A);
  const bool bind = in.ConsumeBool();
  const bool bind_as_float = in.ConsumeBool();
  float* float_values = sycl::malloc_shared<float>(10, q);
  try {
    if (in.ConsumeBool()) vs::set_matrix_property(A, any_enum<vs::property>(in));
    if (bind) {
      // Sizes are the matrix's own or negative, and a base of one shifts the arrays: the
      // arrays' content must stay a valid matrix, which no O(1) check could tell.
      const std::int32_t nrows = in.ConsumeBool() ? 4 : in.ConsumeIntegralInRange<std::int32_t>(-2, -1);
      const std::int32_t ncols = in.ConsumeBool() ? 4 : in.ConsumeIntegralInRange<std::int32_t>(-2, -1);
      const auto base = any_enum<vrt::index_base>(in);
      if (base == vrt::index_base::one) {
        for (int r = 0; r < 5; ++r) ++rows[r];
        for (int j = 0; j < 10; ++j) ++cols[j];
      }
      if (bind_as_float)
        vs::set_csr_data(q, A, nrows, ncols, base, rows, cols, float_values).wait();
      else
        vs::set_csr_data(q, A, nrows, ncols, base, rows, cols, values).wait();
      if (in.ConsumeBool()) vs::set_matrix_property(A, any_enum<vs::property>(in));
    }
    T* x_arg = in.ConsumeBool() ? x : nullptr;
    T* y_arg = in.ConsumeBool() ? y : nullptr;
    vs::matrix_handle_t A_arg = in.ConsumeBool() ? A : nullptr;
    const auto op = any_enum<vrt::transpose>(in);
    const auto ul = any_enum<vrt::uplo>(in);
    const auto dg = any_enum<vrt::diag>(in);
    const auto lay = any_enum<vrt::layout>(in);
    const std::int64_t columns = in.ConsumeIntegralInRange<std::int64_t>(-1, max_columns);
    const std::int64_t ld1 = in.ConsumeIntegralInRange<std::int64_t>(-1, max_ld);
    const std::int64_t ld2 = in.ConsumeIntegralInRange<std::int64_t>(-1, max_ld);
    const T alpha = T(in.ConsumeIntegralInRange<int>(-2, 2));
    const T beta = T(in.ConsumeIntegralInRange<int>(-2, 2));
    switch (in.ConsumeIntegralInRange<int>(0, 11)) {
      case 0: vs::gemv(q, op, alpha, A_arg, x_arg, beta, y_arg).wait(); break;
      case 1: vs::gemvdot(q, op, alpha, A_arg, x_arg, beta, y_arg, y_arg ? y + dense_rows : nullptr).wait(); break;
      case 2: vs::symv(q, ul, alpha, A_arg, x_arg, beta, y_arg).wait(); break;
      case 3: vs::trmv(q, ul, op, dg, alpha, A_arg, x_arg, beta, y_arg).wait(); break;
      case 4: vs::trsv(q, ul, op, dg, alpha, A_arg, x_arg, y_arg).wait(); break;
      case 5: vs::trsm(q, lay, op, any_enum<vrt::transpose>(in), ul, dg, alpha, A_arg, x_arg, columns, ld1, y_arg, ld2).wait(); break;
      case 6: vs::gemm(q, lay, op, any_enum<vrt::transpose>(in), alpha, A_arg, x_arg, columns, ld1, beta, y_arg, ld2).wait(); break;
      case 7: vs::optimize_gemv(q, op, A_arg).wait(); break;
      case 8: vs::optimize_trsv(q, ul, op, dg, A_arg).wait(); break;
      case 9: vs::optimize_trsm(q, lay, ul, op, dg, A_arg, columns).wait(); break;
      case 10: vs::sort_matrix(q, A_arg).wait(); break;
      default: vs::update_diagonal_values(q, A_arg, in.ConsumeIntegralInRange<std::int64_t>(-1, 4), x_arg).wait(); break;
    }
  } catch (const vrt::exception&) {
    // A refusal in the library's words is an answer.
  }
  vs::release_matrix_handle(q, &A).wait();
  for (void* p : {static_cast<void*>(rows), static_cast<void*>(cols), static_cast<void*>(values),
                  static_cast<void*>(x), static_cast<void*>(y), static_cast<void*>(float_values)})
    sycl::free(p, q);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider in(data, size);
  sycl::queue& q = queue_of(in.ConsumeBool());
  try {
    if (in.ConsumeBool())
      exercise<double>(in, q);
    else
      exercise<float>(in, q);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "exception outside the library's family: %s\n", e.what());
    std::abort();
  }
  return 0;
}
