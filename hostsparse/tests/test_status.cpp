// Refusals of bad input, the test seam, and threads that drive matrices at the same time.
#include <thread>

#include "support.hpp"

namespace hs_test {
namespace {

TEST(HostStatus, RefusalsOfBadInput) {
  using I = int32_t;
  auto m = random_csr<double, I>({10, 10, 3, true, 0, 1u});
  host_matrix_t A = m.make();
  std::vector<double> x(10, 1.0), y(10, 0.0);
  const host_matrix_descr tri{HOST_MATRIX_TYPE_TRIANGULAR, HOST_FILL_MODE_LOWER,
                              HOST_DIAG_NON_UNIT};
  // Creation.
  host_matrix_t B = nullptr;
  EXPECT_EQ(api<I>::create_csr(nullptr, 0, 10, 10, m.ptr.data(), m.ptr.data() + 1, m.col.data(),
                               m.val.data()),
            SPARSE_STATUS_INVALID_VALUE);
  EXPECT_EQ(
      api<I>::create_csr(&B, 2, 10, 10, m.ptr.data(), m.ptr.data() + 1, m.col.data(), m.val.data()),
      SPARSE_STATUS_INVALID_VALUE);
  EXPECT_EQ(
      api<I>::create_csr(&B, 0, -1, 10, m.ptr.data(), m.ptr.data() + 1, m.col.data(), m.val.data()),
      SPARSE_STATUS_INVALID_VALUE);
  EXPECT_EQ(
      api<I>::create_csr(&B, 0, 10, 10, nullptr, m.ptr.data() + 1, m.col.data(), m.val.data()),
      SPARSE_STATUS_INVALID_VALUE);
  EXPECT_EQ(
      api<I>::create_csr(&B, 0, 10, 10, m.ptr.data(), m.ptr.data() + 1, nullptr, m.val.data()),
      SPARSE_STATUS_INVALID_VALUE);
  std::vector<I> backwards = {0, 3, 2};
  EXPECT_EQ(api<I>::create_csr(&B, 0, 2, 10, backwards.data(), backwards.data() + 1, m.col.data(),
                               m.val.data()),
            SPARSE_STATUS_INVALID_VALUE);
  std::vector<I> rows = {0, 11}, cols = {0, 0};
  EXPECT_EQ(api<I>::create_coo(&B, 0, 10, 10, 2, rows.data(), cols.data(), m.val.data()),
            SPARSE_STATUS_INVALID_VALUE);
  EXPECT_EQ(api<I>::create_coo(&B, 0, 10, 10, -2, rows.data(), cols.data(), m.val.data()),
            SPARSE_STATUS_INVALID_VALUE);
  EXPECT_EQ(B, nullptr);
  // Null handles, other types and widths.
  EXPECT_EQ(
      api<I>::mv(HOST_OPERATION_NON_TRANSPOSE, 1.0, nullptr, general, x.data(), 0.0, y.data()),
      SPARSE_STATUS_NOT_INITIALIZED);
  float fx[10] = {}, fy[10] = {};
  EXPECT_EQ(api<I>::mv(HOST_OPERATION_NON_TRANSPOSE, 1.0f, A, general, fx, 0.0f, fy),
            SPARSE_STATUS_INVALID_VALUE);
  EXPECT_EQ(
      vrt_sparse_d_mv_i8(HOST_OPERATION_NON_TRANSPOSE, 1.0, A, general, x.data(), 0.0, y.data()),
      SPARSE_STATUS_INVALID_VALUE);
  EXPECT_EQ(vrt_sparse_destroy_i8(A), SPARSE_STATUS_INVALID_VALUE);
  // Enumerations and descriptors.
  EXPECT_EQ(api<I>::mv(13, 1.0, A, general, x.data(), 0.0, y.data()), SPARSE_STATUS_INVALID_VALUE);
  EXPECT_EQ(api<I>::mv(HOST_OPERATION_NON_TRANSPOSE, 1.0, A, {22, 40, 50}, x.data(), 0.0, y.data()),
            SPARSE_STATUS_INVALID_VALUE);
  EXPECT_EQ(api<I>::mv(HOST_OPERATION_NON_TRANSPOSE, 1.0, A, {21, 42, 50}, x.data(), 0.0, y.data()),
            SPARSE_STATUS_INVALID_VALUE);
  EXPECT_EQ(api<I>::mv(HOST_OPERATION_NON_TRANSPOSE, 1.0, A, {23, 40, 52}, x.data(), 0.0, y.data()),
            SPARSE_STATUS_INVALID_VALUE);
  EXPECT_EQ(api<I>::mv(HOST_OPERATION_NON_TRANSPOSE, 1.0, A, general, nullptr, 0.0, y.data()),
            SPARSE_STATUS_INVALID_VALUE);
  EXPECT_EQ(api<I>::mm(HOST_OPERATION_NON_TRANSPOSE, 1.0, A, general, 103, x.data(), 1, 1, 0.0,
                       y.data(), 1),
            SPARSE_STATUS_INVALID_VALUE);
  EXPECT_EQ(api<I>::mm(HOST_OPERATION_NON_TRANSPOSE, 1.0, A, general, HOST_LAYOUT_COLUMN_MAJOR,
                       x.data(), 1, 5, 0.0, y.data(), 10),
            SPARSE_STATUS_INVALID_VALUE);
  EXPECT_EQ(api<I>::mm(HOST_OPERATION_NON_TRANSPOSE, 1.0, A, general, HOST_LAYOUT_ROW_MAJOR,
                       x.data(), -1, 1, 0.0, y.data(), 1),
            SPARSE_STATUS_INVALID_VALUE);
  EXPECT_EQ(api<I>::trsm(HOST_OPERATION_NON_TRANSPOSE, 1.0, A, tri, HOST_LAYOUT_ROW_MAJOR, x.data(),
                         2, 1, y.data(), 2),
            SPARSE_STATUS_INVALID_VALUE);
  EXPECT_EQ(api<I>::trsv(HOST_OPERATION_NON_TRANSPOSE, 1.0, A, tri, x.data(), nullptr),
            SPARSE_STATUS_INVALID_VALUE);
  // Hints.
  EXPECT_EQ(api<I>::mv_hint(A, 9, general), SPARSE_STATUS_INVALID_VALUE);
  EXPECT_EQ(api<I>::sv_hint(A, HOST_OPERATION_NON_TRANSPOSE, general), SPARSE_STATUS_INVALID_VALUE);
  EXPECT_EQ(api<I>::sm_hint(A, HOST_OPERATION_NON_TRANSPOSE, tri, 100, 4),
            SPARSE_STATUS_INVALID_VALUE);
  EXPECT_EQ(api<I>::optimize(nullptr), SPARSE_STATUS_NOT_INITIALIZED);
  I nnz;
  EXPECT_EQ(api<I>::get_nnz(A, nullptr), SPARSE_STATUS_INVALID_VALUE);
  EXPECT_EQ(api<I>::get_nnz(nullptr, &nnz), SPARSE_STATUS_NOT_INITIALIZED);
  // sp2m across value types.
  auto f = random_csr<float, I>({10, 10, 3, true, 0, 2u});
  host_matrix_t F = f.make();
  host_matrix_t P = nullptr;
  EXPECT_EQ(api<I>::sp2m(HOST_OPERATION_NON_TRANSPOSE, general, A, HOST_OPERATION_NON_TRANSPOSE,
                         general, F, HOST_REQUEST_FULL_MULT, &P),
            SPARSE_STATUS_INVALID_VALUE);
  EXPECT_EQ(api<I>::sp2m(HOST_OPERATION_NON_TRANSPOSE, general, A, HOST_OPERATION_NON_TRANSPOSE,
                         general, nullptr, HOST_REQUEST_FULL_MULT, &P),
            SPARSE_STATUS_NOT_INITIALIZED);
  EXPECT_EQ(api<I>::destroy(nullptr), SPARSE_STATUS_SUCCESS);
  EXPECT_EQ(api<I>::destroy(F), SPARSE_STATUS_SUCCESS);
  EXPECT_EQ(api<I>::destroy(A), SPARSE_STATUS_SUCCESS);
}

TEST(HostStatus, TheTestSeamForcesEveryStatusOntoTheNextCalls) {
  using I = int64_t;
  auto m = random_csr<vrt_complex16, I>({10, 10, 3, true, 1, 3u});
  host_matrix_t A = m.make();
  std::vector<vrt_complex16> x(10, {1, 0}), y(10);
  const vrt_complex16 one{1, 0}, zero{0, 0};
  for (sparse_status_t s = 0; s <= 6; ++s) {
    vrt_sparse_testing_force_status(s, 2);
    EXPECT_EQ(api<I>::mv(HOST_OPERATION_NON_TRANSPOSE, one, A, general, x.data(), zero, y.data()),
              s);
    EXPECT_EQ(api<I>::optimize(A), s);
    EXPECT_EQ(api<I>::optimize(A), SPARSE_STATUS_SUCCESS);
  }
  vrt_sparse_testing_force_status(SPARSE_STATUS_ALLOC_FAILED, 3);
  host_matrix_t B = nullptr;
  EXPECT_EQ(
      api<I>::create_csr(&B, 1, 10, 10, m.ptr.data(), m.ptr.data() + 1, m.col.data(), m.val.data()),
      SPARSE_STATUS_ALLOC_FAILED);
  EXPECT_EQ(B, nullptr);
  vrt_sparse_testing_force_status(SPARSE_STATUS_SUCCESS, 0);  // clears the rest
  EXPECT_EQ(
      api<I>::create_csr(&B, 1, 10, 10, m.ptr.data(), m.ptr.data() + 1, m.col.data(), m.val.data()),
      SPARSE_STATUS_SUCCESS);
  api<I>::destroy(B);
  api<I>::destroy(A);
}

// Threads each driving their own matrices, and all sharing one, against one thread's results.
TEST(HostEngineConcurrency, ThreadsDriveTheirOwnMatricesAndShareOne) {
  using I = int32_t;
  constexpr int threads = 4;
  auto shared = random_csr<double, I>({20000, 20000, 6, true, 0, 7u, 50});
  host_matrix_t S = shared.make();
  ASSERT_EQ(api<I>::mv_hint(S, HOST_OPERATION_TRANSPOSE, general), SPARSE_STATUS_SUCCESS);
  ASSERT_EQ(api<I>::optimize(S), SPARSE_STATUS_SUCCESS);
  const auto x = random_vector<double>(20000, 8);
  std::vector<double> serial(20000);
  ASSERT_EQ(api<I>::mv(HOST_OPERATION_TRANSPOSE, 1.0, S, general, x.data(), 0.0, serial.data()),
            SPARSE_STATUS_SUCCESS);
  std::vector<int> failures(threads, 0);
  std::vector<std::thread> pool;
  for (int t = 0; t < threads; ++t)
    pool.emplace_back([&, t] {
      auto own = random_csr<double, I>({15000, 15000, 5, true, t % 2, 100u + t});
      host_matrix_t A = nullptr;
      api<I>::create_csr(&A, own.base, 15000, 15000, own.ptr.data(), own.ptr.data() + 1,
                         own.col.data(), own.val.data());
      const auto ox = random_vector<double>(15000, 9);
      std::vector<double> first[2], again(15000), y(20000);
      for (int round = 0; round < 5; ++round) {
        for (int o = 0; o < 2; ++o) {
          const host_operation_t op =
              o == 0 ? HOST_OPERATION_NON_TRANSPOSE : HOST_OPERATION_TRANSPOSE;
          if (round == 0) first[o].resize(15000);
          if (api<I>::mv(op, 1.0, A, general, ox.data(), 0.0,
                         round == 0 ? first[o].data() : again.data()) != 0)
            ++failures[t];
          // Gathered rows do not depend on the team; scattered sums may, within rounding.
          for (std::size_t i = 0; round > 0 && i < again.size(); ++i)
            if (o == 0 ? again[i] != first[o][i]
                       : std::abs(again[i] - first[o][i]) > 1e-12 * (1 + std::abs(first[o][i]))) {
              ++failures[t];
              break;
            }
        }
        if (api<I>::mv(HOST_OPERATION_TRANSPOSE, 1.0, S, general, x.data(), 0.0, y.data()) != 0)
          ++failures[t];
        for (std::size_t i = 0; i < y.size(); ++i)
          if (std::abs(y[i] - serial[i]) > 1e-12 * (1 + std::abs(serial[i]))) {
            ++failures[t];
            break;
          }
      }
      api<I>::destroy(A);
    });
  for (auto& th : pool) th.join();
  for (int t = 0; t < threads; ++t) EXPECT_EQ(failures[t], 0) << "thread " << t;
  api<I>::destroy(S);
}

}  // namespace
}  // namespace hs_test
