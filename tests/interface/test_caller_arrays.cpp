// The opt-in check of the caller's index arrays (VRT_SPARSE_CHECK_ARRAYS=1): the bindings with a
// queue and each routine's first use refuse bad row pointers and indices with the array and its
// first bad position, on the CPU device and an emulated GPU, in both memory models; without the
// variable the same arrays bind and run as before.
#include <gtest/gtest.h>

#include <cstdlib>
#include <hostsycl/hostsycl.hpp>
#include <string>
#include <vector>

#include "support/device_arrays.hpp"
#include "support/test_helpers.hpp"

namespace {

namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;
using vrt_test::memory;
using vrt_test::prefix;
using vrt_test::storage;

// The variable is read at each binding: a test sets it before binding.
class ArrayCheck : public ::testing::Test {
 protected:
  void SetUp() override { ::setenv("VRT_SPARSE_CHECK_ARRAYS", "1", 1); }
  void TearDown() override { ::unsetenv("VRT_SPARSE_CHECK_ARRAYS"); }
};

class NoArrayCheck : public ::testing::Test {
 protected:
  void SetUp() override { ::unsetenv("VRT_SPARSE_CHECK_ARRAYS"); }
};

// A 3 x 3 matrix, rows {0, 2}, {1}, {0, 2}, with one array spoiled.
struct arrays {
  std::vector<std::int32_t> first = {0, 2, 3, 5};  // row_ptr, or row_ind for COO
  std::vector<std::int32_t> col_ind = {0, 2, 1, 0, 2};
  std::vector<double> values = {1, 2, 3, 4, 5};
  int base = 0;
  storage s = storage::csr;
};

arrays as_coo(arrays a) {
  a.first = {0, 0, 1, 2, 2};
  a.s = storage::coo;
  return a;
}

struct bad_case {
  const char* what;
  arrays a;
  std::string text;  // after "invalid argument: "
  bool buffers_only = false;
};

std::vector<bad_case> bad_cases() {
  std::vector<bad_case> cases;
  arrays a;
  a.first = {1, 2, 3, 5};
  cases.push_back({"row_ptr starts off the base", a, "row_ptr[0] is not the index base"});
  a = arrays{};
  a.first = {0, 3, 2, 5};
  cases.push_back({"row_ptr goes down", a, "row_ptr[2] is below the row pointer before it"});
  a = arrays{};
  a.first = {0, 2, 3, 6};
  // A USM pointer has no length to compare with.
  cases.push_back({"row_ptr past col_ind", a, "row_ptr[3] passes the end of col_ind", true});
  a = arrays{};
  a.col_ind = {0, 2, 1, 3, 2};
  cases.push_back({"column past the matrix", a, "col_ind[3] lies outside the matrix"});
  a = arrays{};
  a.col_ind = {0, -1, 1, 0, 2};
  cases.push_back({"negative column", a, "col_ind[1] lies outside the matrix"});
  a = arrays{};
  a.base = 1;
  a.first = {1, 3, 4, 6};
  a.col_ind = {1, 3, 0, 1, 3};
  cases.push_back({"column 0 under base 1", a, "col_ind[2] lies outside the matrix"});
  a = as_coo(arrays{});
  a.first = {0, 0, 1, 3, 2};
  cases.push_back({"coo row past the matrix", a, "row_ind[3] lies outside the matrix"});
  a = as_coo(arrays{});
  a.col_ind = {0, 2, 1, 0, 7};
  cases.push_back({"coo column past the matrix", a, "col_ind[4] lies outside the matrix"});
  return cases;
}

const char* binding_of(const arrays& a) {
  return a.s == storage::csr ? "set_csr_data" : "set_coo_data";
}

std::vector<sycl::queue> queues() {
  return {sycl::queue{sycl::cpu_selector_v}, sycl::queue{hostsycl::emulated_gpu("emu-a1")}};
}

std::string where(const bad_case& c, const sycl::queue& q, memory m) {
  return std::string(c.what) + (q.get_device().is_cpu() ? " on the CPU" : " on the GPU") + " (" +
         vrt_test::name_of(m) + ")";
}

void bind(sycl::queue& q, const arrays& a, memory m) {
  vrt_test::bound_matrix<double, std::int32_t> A(q, 3, 3, a.base, a.first, a.col_ind, a.values, m,
                                                 a.s);
  A.wait();
}

// y = A x through bound_matrix::run, in either memory model.
auto product(sycl::queue& q) {
  return [&q](auto* h, auto& x, auto& y, const auto&... deps) {
    if constexpr (sizeof...(deps) > 0) {
      return vs::gemv(q, vrt::transpose::nontrans, 1.0, h, x, 0.0, y, deps...);
    } else {
      vs::gemv(q, vrt::transpose::nontrans, 1.0, h, x, 0.0, y);
      return sycl::event{};
    }
  };
}

TEST_F(ArrayCheck, BindingsRefuseEachKindOfBadArray) {
  for (sycl::queue& q : queues())
    for (const bad_case& c : bad_cases())
      for (memory m : {memory::device, memory::shared, memory::buffer}) {
        if (c.buffers_only && m != memory::buffer) continue;
        SCOPED_TRACE(where(c, q, m));
        vrt_test::expect_message<vrt::invalid_argument>(
            [&] { bind(q, c.a, m); }, prefix(binding_of(c.a)) + "invalid argument: " + c.text);
      }
}

TEST_F(ArrayCheck, GoodArraysBindAndRun) {
  for (sycl::queue& q : queues())
    for (const arrays& a : {arrays{}, as_coo(arrays{})})
      for (memory m : {memory::device, memory::buffer}) {
        vrt_test::bound_matrix<double, std::int32_t> A(q, 3, 3, a.base, a.first, a.col_ind,
                                                       a.values, m, a.s);
        vrt_test::device_array<double> x(q, {1, 10, 100}, m), y(q, {-1, -1, -1}, m);
        A.run(product(q), x, y).wait();
        EXPECT_EQ(y.read(), (std::vector<double>{201, 30, 504}));
      }
}

// A binding without a queue cannot read the arrays: the first use by each routine does, and a
// refused call leaves the next routine to refuse too.
TEST_F(ArrayCheck, FirstUseOfEachRoutineRefusesAfterABindingWithoutQueue) {
  for (sycl::queue& q : queues())
    for (const bad_case& c : bad_cases()) {
      if (c.a.s != storage::csr) continue;  // COO binds only with a queue
      for (memory m : {memory::device, memory::buffer}) {
        if (c.buffers_only && m != memory::buffer) continue;
        SCOPED_TRACE(where(c, q, m));
        vrt_test::device_array<std::int32_t> row_ptr(q, c.a.first, m), col_ind(q, c.a.col_ind, m);
        vrt_test::device_array<double> values(q, c.a.values, m), x(q, {1, 1, 1}, m),
            y(q, {-1, -1, -1}, m);
        vs::matrix_handle_t h = nullptr;
        vs::init_matrix_handle(&h);
        const auto base = static_cast<vrt::index_base>(c.a.base);
        if (m == memory::buffer)
          vs::set_csr_data(h, 3, 3, base, row_ptr.buffer(), col_ind.buffer(), values.buffer());
        else
          vs::set_csr_data(h, 3, 3, base, row_ptr.usm(), col_ind.usm(), values.usm());
        const std::string text = "invalid argument: " + c.text;
        vrt_test::expect_message<vrt::invalid_argument>(
            [&] {
              if (m == memory::buffer)
                vs::gemv(q, vrt::transpose::nontrans, 1.0, h, x.buffer(), 0.0, y.buffer());
              else
                vs::gemv(q, vrt::transpose::nontrans, 1.0, h, x.usm(), 0.0, y.usm()).wait();
            },
            prefix("gemv") + text);
        vrt_test::expect_message<vrt::invalid_argument>(
            [&] { vs::optimize_gemv(q, vrt::transpose::nontrans, h).wait(); },
            prefix("optimize_gemv") + text);
        vrt_test::expect_message<vrt::invalid_argument>([&] { vs::sort_matrix(q, h).wait(); },
                                                        prefix("sort_matrix") + text);
        if (m == memory::buffer)
          vs::release_matrix_handle(&h);
        else
          vs::release_matrix_handle(q, &h).wait();
        EXPECT_EQ(y.read(), std::vector<double>(3, -1.0)) << "a refused call writes nothing";
      }
    }
}

// Off, the arrays are not read: a column index one past the matrix binds and the product reads
// the x entry it names (x is given one entry more, so the read stays inside the allocation), as
// a plain loop over the arrays does; a row_ptr off the base binds too.
TEST_F(NoArrayCheck, BadArraysBindAndRunUnchecked) {
  for (sycl::queue& q : queues())
    for (memory m : {memory::device, memory::buffer}) {
      SCOPED_TRACE(std::string(q.get_device().is_cpu() ? "CPU " : "GPU ") + vrt_test::name_of(m));
      arrays a;
      a.col_ind = {0, 3, 1, 0, 2};
      vrt_test::bound_matrix<double, std::int32_t> A(q, 3, 3, a.base, a.first, a.col_ind, a.values,
                                                     m);
      vrt_test::device_array<double> x(q, {1, 10, 100, 1000}, m), y(q, {-1, -1, -1}, m);
      A.run(product(q), x, y).wait();
      EXPECT_EQ(y.read(), (std::vector<double>{2001, 30, 504}));
      arrays off_base;
      off_base.first = {1, 2, 3, 5};
      EXPECT_NO_THROW(bind(q, off_base, m));
    }
}

}  // namespace
