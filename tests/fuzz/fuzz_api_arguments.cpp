// libFuzzer target for the public API's argument checks: a small valid matrix (CSR or COO, USM or
// buffers), then calls with fuzzed enumerations, sizes, null operands, value types, memory models
// and call orders, a rebinding with new arrays and a second call. Every
// call must either return or throw an exception of the orvane::vrt family; a crash, a hang or any
// other exception is a finding.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <optional>
#include <orvane/vrt/sparse.hpp>
#include <type_traits>
#include <vector>

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

// Runs a call and waits for what a USM form returns; the buffer forms return nothing.
template <typename Call>
void finish(Call&& call) {
  if constexpr (std::is_void_v<decltype(call())>)
    call();
  else
    call().wait();
}

// The operands of one memory model: USM pointers (a null one stands for a missing operand) or
// buffers (an empty one does).
template <typename T>
struct usm_operands {
  T* x;
  T* y;
  T* d;
};
template <typename T>
struct buffer_operands {
  sycl::buffer<T, 1>& x;
  sycl::buffer<T, 1>& y;
  sycl::buffer<T, 1>& d;
};

// One fuzzed call through the memory model of the operands.
template <typename T, typename Operands>
void one_call(FuzzedDataProvider& in, sycl::queue& q, vs::matrix_handle_t A, vs::matrix_handle_t B,
              Operands o) {
  auto& x = o.x;
  auto& y = o.y;
  auto& d = o.d;
  const auto op = any_enum<vrt::transpose>(in);
  const auto ul = any_enum<vrt::uplo>(in);
  const auto dg = any_enum<vrt::diag>(in);
  const auto lay = any_enum<vrt::layout>(in);
  const std::int64_t columns = in.ConsumeIntegralInRange<std::int64_t>(-1, max_columns);
  const std::int64_t ld1 = in.ConsumeIntegralInRange<std::int64_t>(-1, max_ld);
  const std::int64_t ld2 = in.ConsumeIntegralInRange<std::int64_t>(-1, max_ld);
  const T alpha = T(in.ConsumeIntegralInRange<int>(-2, 2));
  const T beta = T(in.ConsumeIntegralInRange<int>(-2, 2));
  switch (in.ConsumeIntegralInRange<int>(0, 12)) {
    case 0:
      finish([&] { return vs::gemv(q, op, alpha, A, x, beta, y); });
      break;
    case 1:
      finish([&] { return vs::gemvdot(q, op, alpha, A, x, beta, y, d); });
      break;
    case 2:
      finish([&] { return vs::symv(q, ul, alpha, A, x, beta, y); });
      break;
    case 3:
      finish([&] { return vs::trmv(q, ul, op, dg, alpha, A, x, beta, y); });
      break;
    case 4:
      finish([&] { return vs::trsv(q, ul, op, dg, alpha, A, x, y); });
      break;
    case 5:
      finish([&] {
        return vs::trsm(q, lay, op, any_enum<vrt::transpose>(in), ul, dg, alpha, A, x, columns, ld1,
                        y, ld2);
      });
      break;
    case 6:
      finish([&] {
        return vs::gemm(q, lay, op, any_enum<vrt::transpose>(in), alpha, A, x, columns, ld1, beta,
                        y, ld2);
      });
      break;
    case 7:
      vs::optimize_gemv(q, op, A).wait();
      break;
    case 8:
      vs::optimize_trsv(q, ul, op, dg, A).wait();
      break;
    case 9:
      vs::optimize_trsm(q, lay, ul, op, dg, A, columns).wait();
      break;
    case 10:
      vs::sort_matrix(q, A).wait();
      break;
    case 11:
      vs::omatcopy(q, op, A, B).wait();
      break;
    default: {
      // The buffer form takes its length from the buffer.
      const std::int64_t length = in.ConsumeIntegralInRange<std::int64_t>(-1, 4);
      if constexpr (std::is_pointer_v<std::remove_reference_t<decltype(x)>>)
        vs::update_diagonal_values(q, A, length, x).wait();
      else
        vs::update_diagonal_values(q, A, x);
      break;
    }
  }
}

// The arrays of a 4 x 4 lower triangle, CSR (row pointers) or COO (row indices), in shared USM;
// `scale` varies the values between bindings.
template <typename T, typename I>
struct triangle_arrays {
  sycl::queue& q;
  I* rows = sycl::malloc_shared<I>(10, q);
  I* cols = sycl::malloc_shared<I>(10, q);
  T* values = sycl::malloc_shared<T>(10, q);
  triangle_arrays(sycl::queue& queue, bool coo, int scale) : q(queue) {
    I k = 0;
    for (I r = 0; r < 4; ++r) {
      if (!coo) rows[r] = k;
      for (I c = 0; c <= r; ++c) {
        if (coo) rows[k] = r;
        cols[k] = c, values[k] = T(c == r ? 4 * scale : scale), ++k;
      }
    }
    if (!coo) rows[4] = k;
  }
  // A base of one shifts the indices: the content must stay a valid matrix, which no O(1)
  // check could tell.
  void shift() {
    for (int j = 0; j < 10; ++j) ++rows[j], ++cols[j];
  }
  ~triangle_arrays() {
    sycl::free(rows, q);
    sycl::free(cols, q);
    sycl::free(values, q);
  }
};

// Binds `a` (or `a` read as float values) to A through USM or buffers, CSR or COO, with the
// matrix's own sizes or negative ones. Buffers are made by the caller and outlive the handle.
template <typename T, typename I>
void bind_arrays(FuzzedDataProvider& in, sycl::queue& q, vs::matrix_handle_t A,
                 triangle_arrays<T, I>& a, float* float_values,
                 std::vector<std::unique_ptr<void, void (*)(void*)>>& keep, bool coo,
                 bool buffers) {
  const I nrows = in.ConsumeBool() ? 4 : in.ConsumeIntegralInRange<I>(-2, -1);
  const I ncols = in.ConsumeBool() ? 4 : in.ConsumeIntegralInRange<I>(-2, -1);
  const auto base = any_enum<vrt::index_base>(in);
  if (base == vrt::index_base::one) a.shift();
  const bool as_float = float_values != nullptr && in.ConsumeBool();
  auto bind_with = [&]<typename V>(V* values) {
    if (!buffers) {
      if (coo)
        vs::set_coo_data(q, A, nrows, ncols, I{10}, base, a.rows, a.cols, values).wait();
      else
        vs::set_csr_data(q, A, nrows, ncols, base, a.rows, a.cols, values).wait();
      return;
    }
    auto* r = new sycl::buffer<I, 1>(a.rows, sycl::range<1>(coo ? 10 : 5));
    auto* c = new sycl::buffer<I, 1>(a.cols, sycl::range<1>(10));
    auto* v = new sycl::buffer<V, 1>(values, sycl::range<1>(10));
    keep.emplace_back(r, [](void* p) { delete static_cast<sycl::buffer<I, 1>*>(p); });
    keep.emplace_back(c, [](void* p) { delete static_cast<sycl::buffer<I, 1>*>(p); });
    keep.emplace_back(v, [](void* p) { delete static_cast<sycl::buffer<V, 1>*>(p); });
    if (coo)
      vs::set_coo_data(q, A, nrows, ncols, I{10}, base, *r, *c, *v);
    else
      vs::set_csr_data(q, A, nrows, ncols, base, *r, *c, *v);
  };
  if (as_float)
    bind_with(float_values);
  else
    bind_with(a.values);
}

// Fuzzed calls on a 4 x 4 lower triangle of value type T: a binding, a call, and optionally a
// rebinding with new arrays (another format or index width too) and a second call.
template <typename T>
void exercise(FuzzedDataProvider& in, sycl::queue& q) {
  T* x = sycl::malloc_shared<T>(dense_elements, q);
  T* y = sycl::malloc_shared<T>(dense_elements, q);
  for (std::size_t i = 0; i < dense_elements; ++i) x[i] = T(1), y[i] = T(0);
  float* float_values = sycl::malloc_shared<float>(10, q);
  for (int k = 0; k < 10; ++k) float_values[k] = 1.0f;
  const bool coo = in.ConsumeBool();
  const bool buffers = in.ConsumeBool();
  triangle_arrays<T, std::int32_t> first(q, coo, 1);
  triangle_arrays<T, std::int32_t> copy_target(q, false, 1);
  std::optional<triangle_arrays<T, std::int32_t>> second32;
  std::optional<triangle_arrays<T, std::int64_t>> second64;
  // The buffers bound to the handles; they go after the handles and before the arrays under them.
  std::vector<std::unique_ptr<void, void (*)(void*)>> keep;
  {
    sycl::buffer<T, 1> xb(x, sycl::range<1>(dense_elements)), yb(y, sycl::range<1>(dense_elements));
    sycl::buffer<T, 1> db(y + dense_rows, sycl::range<1>(dense_rows)), none{sycl::range<1>(0)};
    vs::matrix_handle_t A = nullptr, B = nullptr;
    vs::init_matrix_handle(&A);
    vs::init_matrix_handle(&B);
    try {
      if (in.ConsumeBool()) vs::set_matrix_property(A, any_enum<vs::property>(in));
      if (in.ConsumeBool()) {
        bind_arrays(in, q, A, first, float_values, keep, coo, buffers);
        if (in.ConsumeBool()) vs::set_matrix_property(A, any_enum<vs::property>(in));
      }
      // The target of omatcopy: CSR of the same memory model, or not bound.
      if (in.ConsumeBool()) bind_arrays(in, q, B, copy_target, nullptr, keep, false, buffers);
      const int rounds = in.ConsumeBool() ? 2 : 1;
      for (int round = 0; round < rounds; ++round) {
        if (round == 1) {
          // A rebinding with new arrays, of either format and index width, in either model.
          const bool coo2 = in.ConsumeBool();
          const bool buffers2 = in.ConsumeBool() ? buffers : !buffers;
          if (in.ConsumeBool())
            bind_arrays(in, q, A, second32.emplace(q, coo2, 2), float_values, keep, coo2, buffers2);
          else
            bind_arrays(in, q, A, second64.emplace(q, coo2, 2), nullptr, keep, coo2, buffers2);
        }
        vs::matrix_handle_t A_arg = in.ConsumeBool() ? A : nullptr;
        if (in.ConsumeBool()) {
          one_call<T>(
              in, q, A_arg, B,
              buffer_operands<T>{in.ConsumeBool() ? xb : none, in.ConsumeBool() ? yb : none, db});
        } else {
          T* y_arg = in.ConsumeBool() ? y : nullptr;
          one_call<T>(in, q, A_arg, B,
                      usm_operands<T>{in.ConsumeBool() ? x : nullptr, y_arg,
                                      y_arg != nullptr ? y + dense_rows : nullptr});
        }
      }
    } catch (const vrt::exception&) {
      // A refusal in the library's words is an answer.
    }
    vs::release_matrix_handle(q, &A).wait();
    vs::release_matrix_handle(q, &B).wait();
    keep.clear();
  }  // the dense buffers write back into x and y here, before these are freed
  for (void* p : {static_cast<void*>(x), static_cast<void*>(y), static_cast<void*>(float_values)})
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
