// The staged sparse product on a CPU queue: the three legal request orders, products with
// transposed operands, both memory models, and the refusals.
#include <gtest/gtest.h>

#include <map>

#include "handle/handle.hpp"
#include "support/sparse_matrices.hpp"
#include "support/test_helpers.hpp"

namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;
using vrt::transpose;
using vrt_test::csr_matrix;

namespace {

using vrt_test::all_variants;
using vrt_test::expect_message;
using W = std::complex<double>;

template <typename T, typename I>
std::map<std::pair<std::int64_t, std::int64_t>, W> entries(const csr_matrix<T, I>& A,
                                                           transpose op) {
  std::map<std::pair<std::int64_t, std::int64_t>, W> m;
  for (std::int64_t i = 0; i < A.nrows; ++i)
    for (I k = A.row_ptr[i] - A.base; k < A.row_ptr[i + 1] - A.base; ++k) {
      const std::int64_t j = A.col_ind[k] - A.base;
      const W v(A.values[k]);
      if (op == transpose::nontrans)
        m[{i, j}] += v;
      else
        m[{j, i}] += op == transpose::conjtrans ? std::conj(v) : v;
    }
  return m;
}

template <typename T, typename I>
std::map<std::pair<std::int64_t, std::int64_t>, W> reference_product(const csr_matrix<T, I>& A,
                                                                     transpose oa,
                                                                     const csr_matrix<T, I>& B,
                                                                     transpose ob) {
  const auto a = entries(A, oa), b = entries(B, ob);
  std::map<std::int64_t, std::vector<std::pair<std::int64_t, W>>> b_rows;
  for (const auto& [ij, v] : b) b_rows[ij.first].push_back({ij.second, v});
  std::map<std::pair<std::int64_t, std::int64_t>, W> c;
  for (const auto& [ij, v] : a)
    for (const auto& [j, w] : b_rows[ij.second]) c[{ij.first, j}] += v * w;
  return c;
}

// Runs one legal order of requests with USM shared arrays; returns C's entries.
template <typename T, typename I>
std::map<std::pair<std::int64_t, std::int64_t>, W> run_product(sycl::queue& q,
                                                               const csr_matrix<T, I>& A,
                                                               transpose oa, transpose ob,
                                                               int order, int c_base) {
  auto upload = [&](const auto& v) {
    using E = typename std::decay_t<decltype(v)>::value_type;
    E* p = sycl::malloc_shared<E>(std::max<std::size_t>(v.size(), 1), q);
    std::copy(v.begin(), v.end(), p);
    return p;
  };
  I* ar = upload(A.row_ptr);
  I* ac = upload(A.col_ind);
  T* av = upload(A.values);
  vs::matrix_handle *a = nullptr, *c = nullptr;
  vs::init_matrix_handle(&a);
  vs::init_matrix_handle(&c);
  const auto base = static_cast<vrt::index_base>(A.base);
  vs::set_csr_data(q, a, static_cast<I>(A.nrows), static_cast<I>(A.ncols), base, ar, ac, av).wait();
  const std::int64_t rows = oa == transpose::nontrans ? A.nrows : A.ncols;
  const std::int64_t cols = ob == transpose::nontrans ? A.ncols : A.nrows;
  // C's arrays start as sentinels: -1 indices, NaN values.
  I* cr = sycl::malloc_shared<I>(rows + 1, q);
  std::fill(cr, cr + rows + 1, I(-1));
  vs::set_csr_data(q, c, static_cast<I>(rows), static_cast<I>(cols),
                   static_cast<vrt::index_base>(c_base), cr, (I*)nullptr, (T*)nullptr)
      .wait();
  vs::matmat_descr* d = nullptr;
  vs::init_matmat_descr(&d);
  vs::set_matmat_data(d, vs::matrix_view_descr::general, oa, vs::matrix_view_descr::general, ob,
                      vs::matrix_view_descr::general);
  std::int64_t* size = sycl::malloc_shared<std::int64_t>(1, q);
  auto request = [&](vs::matmat_request r) { vs::matmat(q, a, a, c, r, d, size, nullptr).wait(); };
  using R = vs::matmat_request;
  I* cc = nullptr;
  T* cv = nullptr;
  std::int64_t nnz = 0;
  auto bind_columns = [&](bool values) {
    request(R::get_nnz);
    nnz = *size;
    cc = sycl::malloc_shared<I>(std::max<std::int64_t>(nnz, 1), q);
    std::fill(cc, cc + std::max<std::int64_t>(nnz, 1), I(-1));
    if (values) {
      cv = sycl::malloc_shared<T>(std::max<std::int64_t>(nnz, 1), q);
      std::fill(cv, cv + std::max<std::int64_t>(nnz, 1), vrt_test::nan_value<T>());
    }
    vs::set_csr_data(q, c, static_cast<I>(rows), static_cast<I>(cols),
                     static_cast<vrt::index_base>(c_base), cr, cc, cv)
        .wait();
  };
  if (order == 1) {
    request(R::get_work_estimation_buf_size);
    request(R::work_estimation);
    request(R::get_compute_buf_size);
    request(R::compute);
    bind_columns(true);
    request(R::finalize);
  } else if (order == 2) {
    request(R::get_work_estimation_buf_size);
    request(R::work_estimation);
    request(R::get_compute_structure_buf_size);
    request(R::compute_structure);
    bind_columns(false);
    request(R::finalize_structure);
    request(R::get_compute_buf_size);
    request(R::compute);
    cv = sycl::malloc_shared<T>(std::max<std::int64_t>(nnz, 1), q);
    std::fill(cv, cv + std::max<std::int64_t>(nnz, 1), vrt_test::nan_value<T>());
    vs::set_csr_data(q, c, static_cast<I>(rows), static_cast<I>(cols),
                     static_cast<vrt::index_base>(c_base), cr, cc, cv)
        .wait();
    request(R::finalize);
  } else {
    request(R::get_work_estimation_buf_size);
    request(R::work_estimation);
    request(R::get_compute_buf_size);
    request(R::compute);
    bind_columns(false);
    request(R::finalize_structure);
  }
  std::map<std::pair<std::int64_t, std::int64_t>, W> out;
  EXPECT_EQ(cr[0], static_cast<I>(c_base));
  EXPECT_EQ(cr[rows] - c_base, static_cast<I>(nnz));
  std::int64_t stored = 0;
  for (std::int64_t i = 0; i < rows; ++i) {
    EXPECT_LE(cr[i], cr[i + 1]) << "row " << i;
    for (I k = cr[i] - c_base; k < cr[i + 1] - c_base && k < static_cast<I>(nnz); ++k, ++stored) {
      EXPECT_TRUE(cc[k] >= c_base && cc[k] - c_base < cols) << "column of entry " << k;
      out[{i, cc[k] - c_base}] += cv != nullptr ? W(cv[k]) : W(1);
    }
  }
  EXPECT_EQ(stored, static_cast<std::int64_t>(out.size())) << "each (row, column) once";
  EXPECT_EQ(c->primary->nnz, static_cast<std::int64_t>(cr[rows] - c_base));
  vs::release_matmat_descr(&d);
  vs::release_matrix_handle(q, &a).wait();
  vs::release_matrix_handle(q, &c).wait();
  for (void* p : {static_cast<void*>(ar), static_cast<void*>(ac), static_cast<void*>(av),
                  static_cast<void*>(cr), static_cast<void*>(cc), static_cast<void*>(cv),
                  static_cast<void*>(size)})
    sycl::free(p, q);
  return out;
}

template <typename V>
class CpuMatmat : public ::testing::Test {};
TYPED_TEST_SUITE(CpuMatmat, all_variants);

TYPED_TEST(CpuMatmat, LegalOrdersAndTransposedOperands) {
  using T = typename TypeParam::value;
  using I = typename TypeParam::index;
  sycl::queue q{sycl::cpu_selector_v};
  const auto A = vrt_test::random_csr<T, I>(70, 50, 6, 2, 1);
  const double tolerance = 100 * std::numeric_limits<vrt_test::real_t<T>>::epsilon();
  struct ops {
    transpose a, b;
  };
  for (auto [oa, ob] :
       {ops{transpose::nontrans, transpose::trans}, ops{transpose::conjtrans, transpose::nontrans},
        ops{transpose::nontrans, transpose::conjtrans}}) {
    const auto want = reference_product(A, oa, A, ob);
    for (int order : {1, 2, 3}) {
      const auto got = run_product(q, A, oa, ob, order, order == 2 ? 1 : 0);
      ASSERT_EQ(got.size(), want.size()) << "order " << order;
      for (const auto& [ij, v] : got) {
        ASSERT_TRUE(want.count(ij)) << ij.first << "," << ij.second;
        if (order != 3) {
          ASSERT_LE(std::abs(v - want.at(ij)), tolerance * 10) << ij.first << "," << ij.second;
        }
      }
    }
  }
}

TEST(CpuMatmatRefusals, Words) {
  sycl::queue q{sycl::cpu_selector_v};
  const auto A = vrt_test::random_csr<double, std::int32_t>(5, 5, 2, 1, 0);
  std::int32_t* r = sycl::malloc_shared<std::int32_t>(6, q);
  std::copy(A.row_ptr.begin(), A.row_ptr.end(), r);
  vs::matrix_handle *a = nullptr, *fresh = nullptr;
  vs::init_matrix_handle(&a);
  vs::init_matrix_handle(&fresh);
  vs::set_csr_data(q, a, 5, 5, vrt::index_base::zero, r, r, (double*)nullptr).wait();
  vs::matmat_descr* d = nullptr;
  vs::init_matmat_descr(&d);
  std::int64_t* size = sycl::malloc_shared<std::int64_t>(1, q);
  const std::string p = "orvane::vrt::sparse::matmat: ";
  fresh->fp_type = vs::fp_double;
  expect_message<vrt::uninitialized>(
      [&] { vs::matmat(q, a, fresh, a, vs::matmat_request::get_nnz, d, size, nullptr); },
      p + "uninitialized object: One of the matrices is not initialized");
  expect_message<vrt::invalid_argument>(
      [&] { vs::matmat(q, a, a, a, static_cast<vs::matmat_request>(10), d, size, nullptr); },
      p + "invalid argument: invalid matmat request");
  expect_message<vrt::unimplemented>(
      [&] { vs::matmat(q, a, a, a, vs::matmat_request::get_nnz, d, size, nullptr); },
      p + "unimplemented functionality: nnz is not ready to be retrieved, please call matmat API "
          "with matmat_request::compute or matmat_request::compute_structure first");
  expect_message<vrt::computation_error>(
      [&] { vs::matmat(q, a, a, a, vs::matmat_request::finalize, d, size, nullptr); },
      p + "computation error: It appears you have not called matmat compute stage before finalize "
          "stage");
  vs::release_matmat_descr(&d);
  vs::release_matrix_handle(q, &a).wait();
  vs::release_matrix_handle(&fresh);
  sycl::free(r, q);
  sycl::free(size, q);
}

}  // namespace
