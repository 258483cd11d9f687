// Allocation-failure sweeps: every public routine, on the CPU device and on emulated GPUs, in
// device USM and with buffers, is called with its n-th allocation made to fail, for n from 0 until
// the call succeeds. Each failure must be the library's allocation refusal with its exact text;
// afterwards the caller's arrays are byte for byte as before the call, the handle takes the same
// call again (failures off) and gives the plain dense result, and once the handle is released
// nothing the call took is still held.
//
// Three allocators are swept, each on its own counter: the runtime's (USM of every kind and buffer
// storage), the service layer's vrt_serv_malloc (the library's records) and, on the CPU device,
// the host engine's (each engine call in turn reports that its memory ran out). Two modes each:
// "from n", where the n-th allocation and all later ones fail, so that no fall-back can hide a
// failure and the first n that succeeds is the call's allocation count; and "only n", where the
// n-th fails alone and the call may take a fall-back and succeed.
//
// By default (label alloc_sweep) each routine, device, memory model and allocator tries a few n
// spread over the range with a fixed seed; VRT_ALLOC_SWEEP=full tries every n and prints the
// counts (scripts/alloc-sweep.sh).
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <hostsycl/hostsycl.hpp>
#include <iomanip>
#include <iostream>
#include <map>
#include <mutex>
#include <optional>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "platform/testing_hooks.hpp"
#include "support/device_arrays.hpp"
#include "support/test_helpers.hpp"
#include "vrt/host_sparse_testing.h"

namespace {

namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;
namespace seams = orvane::vrt::testing;
using vrt_test::device_array;
using vrt_test::memory;
using vrt_test::prefix;
using T = double;
using I = std::int32_t;

// No call here comes near this many allocations; reaching it is a failure of its own.
constexpr std::size_t max_failure_points = 400;
constexpr std::size_t all_later = std::size_t{1} << 40;

bool full_sweep() {
  const char* v = std::getenv("VRT_ALLOC_SWEEP");
  return v != nullptr && std::string(v) == "full";
}

// ---- the matrix and the plain dense results ----------------------------------------------------

constexpr int n = 6;        // rows and columns of A
constexpr int columns = 3;  // of the dense operands of gemm and trsm

// A 6 x 6 matrix with a full diagonal, a sub-diagonal and a second super-diagonal; odd rows are
// stored in descending column order, so that sorting has work to do.
struct host_csr {
  std::vector<I> row_ptr, col_ind;
  std::vector<T> values;
};

host_csr test_matrix() {
  host_csr a;
  a.row_ptr.push_back(0);
  for (int r = 0; r < n; ++r) {
    std::vector<std::pair<I, T>> row;
    if (r > 0) row.push_back({r - 1, -1.0 - 0.25 * r});
    row.push_back({r, 4.0 + r});
    if (r + 2 < n) row.push_back({r + 2, 0.5 + 0.125 * r});
    if (r % 2 == 1) std::reverse(row.begin(), row.end());
    for (auto [c, v] : row) {
      a.col_ind.push_back(c);
      a.values.push_back(v);
    }
    a.row_ptr.push_back(static_cast<I>(a.col_ind.size()));
  }
  return a;
}

// One row index per entry, for binding A as COO.
std::vector<I> row_indices(const host_csr& a) {
  std::vector<I> rows;
  for (int r = 0; r < n; ++r)
    for (I k = a.row_ptr[r]; k < a.row_ptr[r + 1]; ++k) rows.push_back(r);
  return rows;
}

using dense = std::vector<T>;  // row-major n x n

dense to_dense(const host_csr& a) {
  dense d(n * n, 0.0);
  for (int r = 0; r < n; ++r)
    for (I k = a.row_ptr[r]; k < a.row_ptr[r + 1]; ++k) d[r * n + a.col_ind[k]] += a.values[k];
  return d;
}

dense lower_of(const dense& a) {
  dense l(a);
  for (int r = 0; r < n; ++r)
    for (int c = r + 1; c < n; ++c) l[r * n + c] = 0;
  return l;
}

dense transposed(const dense& a) {
  dense t(n * n);
  for (int r = 0; r < n; ++r)
    for (int c = 0; c < n; ++c) t[c * n + r] = a[r * n + c];
  return t;
}

// The symmetric matrix whose lower triangle is that of a.
dense symmetric_from_lower(const dense& a) {
  dense s = lower_of(a);
  for (int r = 0; r < n; ++r)
    for (int c = r + 1; c < n; ++c) s[r * n + c] = s[c * n + r];
  return s;
}

constexpr T alpha = 1.5;
// Nonzero, so that every kernel reads y (some read it even for a zero beta).
constexpr T beta = 0.5;
std::vector<T> y_start() { return {0.5, -1.0, 0.25, 2.0, -0.75, 1.0}; }

// alpha a x + beta y_start.
std::vector<T> product(const dense& a, const std::vector<T>& x) {
  std::vector<T> y = y_start();
  for (T& v : y) v *= beta;
  for (int r = 0; r < n; ++r)
    for (int c = 0; c < n; ++c) y[r] += alpha * a[r * n + c] * x[c];
  return y;
}

// Forward substitution with the lower triangle l.
std::vector<T> lower_solve(const dense& l, const std::vector<T>& b, T alpha) {
  std::vector<T> y(n);
  for (int r = 0; r < n; ++r) {
    T s = alpha * b[r];
    for (int c = 0; c < r; ++c) s -= l[r * n + c] * y[c];
    y[r] = s / l[r * n + r];
  }
  return y;
}

// Column j of a column-major n x columns array, and back.
std::vector<T> column(const std::vector<T>& a, int j) {
  return std::vector<T>(a.begin() + j * n, a.begin() + (j + 1) * n);
}

std::string compare(const std::vector<T>& got, const std::vector<T>& want, const char* what) {
  for (std::size_t i = 0; i < want.size(); ++i) {
    const double tolerance = 1e-12 * (1.0 + std::abs(want[i]));
    if (!(i < got.size() && std::abs(got[i] - want[i]) <= tolerance)) {
      std::ostringstream s;
      s << what << "[" << i << "] is " << (i < got.size() ? got[i] : NAN) << ", not " << want[i];
      return s.str();
    }
  }
  return "";
}

std::vector<T> x_values() { return {1.0, -2.0, 0.5, 3.0, -1.5, 2.0}; }
// n x columns, column-major (trsm) or row-major (gemm) as the case reads it.
std::vector<T> dense_values() {
  std::vector<T> v(n * columns);
  for (std::size_t i = 0; i < v.size(); ++i) v[i] = 0.25 * static_cast<double>(i % 7) - 0.5;
  return v;
}
// gemm's C before the call, row-major n x columns.
std::vector<T> c_start() {
  std::vector<T> v(n * columns);
  for (std::size_t i = 0; i < v.size(); ++i) v[i] = 0.125 * static_cast<double>(i) - 0.75;
  return v;
}

// ---- one trial's world
// ---------------------------------------------------------------------------

// What the caller owns for one call: A's arrays and handle, the dense operands, and for omatcopy a
// second handle with its arrays. Built with failures off.
struct scene {
  scene(sycl::queue& queue, memory model)
      : q(queue),
        m(model),
        a(test_matrix()),
        rp(q, a.row_ptr, m),
        ri(q, row_indices(a), m),
        ci(q, a.col_ind, m),
        va(q, a.values, m),
        x(q, x_values(), m),
        y(q, y_start(), m),
        sol(q, vrt_test::nan_vector<T>(n), m),
        d(q, vrt_test::nan_vector<T>(1), m),
        bx(q, dense_values(), m),
        cy(q, vrt_test::nan_vector<T>(n * columns), m),
        cm(q, c_start(), m),
        diagonal(q, {9.0, 8.0, 7.0, 6.0, 5.0, 4.5}, m),
        b_rp(q, std::vector<I>(n + 1, -1), m),
        b_ci(q, std::vector<I>(a.col_ind.size(), -1), m),
        b_va(q, vrt_test::nan_vector<T>(a.values.size()), m),
        c_ci(q, std::vector<I>(n * n, -1), m),
        c_va(q, vrt_test::nan_vector<T>(n * n), m),
        size(q, {-1}, m == memory::buffer ? memory::buffer : memory::shared),
        work(q, std::vector<unsigned char>(std::size_t{1} << 16, 0), m) {}
  scene(const scene&) = delete;
  scene& operator=(const scene&) = delete;
  ~scene() {
    release(&h);
    release(&hb);
    if (descr != nullptr) vs::release_matmat_descr(&descr);
  }

  bool usm() const { return vrt_test::is_usm(m); }

  // Frees a handle the way its memory model does, if there is one. The release leaves the
  // caller's pointer as it was (dangling): clear it here.
  void release(vs::matrix_handle** handle) {
    if (*handle == nullptr) return;
    if (usm())
      vs::release_matrix_handle(q, handle).wait();
    else
      vs::release_matrix_handle(handle);
    *handle = nullptr;
  }

  void bind_csr(vs::matrix_handle* handle) { bind_csr(handle, rp, ci, va); }
  void bind_csr(vs::matrix_handle* handle, device_array<I>& row_ptr, device_array<I>& col_ind,
                device_array<T>& values) {
    if (usm())
      vs::set_csr_data(q, handle, n, n, vrt::index_base::zero, row_ptr.usm(), col_ind.usm(),
                       values.usm())
          .wait();
    else
      vs::set_csr_data(q, handle, n, n, vrt::index_base::zero, row_ptr.buffer(), col_ind.buffer(),
                       values.buffer());
  }

  // Every array the caller owns, as bytes.
  std::vector<std::vector<unsigned char>> snapshot() {
    std::vector<std::vector<unsigned char>> all;
    auto add = [&](auto& arr) {
      const auto v = arr.read();
      std::vector<unsigned char> bytes(v.size() * sizeof(v[0]));
      std::memcpy(bytes.data(), v.data(), bytes.size());
      all.push_back(std::move(bytes));
    };
    add(rp);
    add(ri);
    add(ci);
    add(va);
    add(x);
    add(y);
    add(sol);
    add(d);
    add(bx);
    add(cy);
    add(cm);
    add(diagonal);
    add(b_rp);
    add(b_ci);
    add(b_va);
    add(c_ci);
    add(c_va);
    add(size);
    return all;
  }

  sycl::queue& q;
  memory m;
  host_csr a;
  device_array<I> rp, ri, ci;  // ri: A's row indices, for the COO binding
  // y: products' y; sol: trsv's solution; cy: trsm's Y; cm: gemm's C.
  device_array<T> va, x, y, sol, d, bx, cy, cm, diagonal;
  device_array<I> b_rp, b_ci;
  device_array<T> b_va;
  device_array<I> c_ci;  // with b_rp, the arrays of matmat's C, room for a full n x n
  device_array<T> c_va;
  device_array<std::int64_t> size;   // matmat's size output
  device_array<unsigned char> work;  // a caller's workspace for matmat's estimate: an output area
  vs::matrix_handle* h = nullptr;
  vs::matrix_handle* hb = nullptr;  // omatcopy's B, matmat's C
  vs::matmat_descr* descr = nullptr;
};

// The operations, each in both memory models and waited for.
void run_gemv(scene& s, vrt::transpose op) {
  if (s.usm())
    vs::gemv(s.q, op, alpha, s.h, s.x.usm(), beta, s.y.usm()).wait();
  else
    vs::gemv(s.q, op, alpha, s.h, s.x.buffer(), beta, s.y.buffer());
}
void run_trsv(scene& s) {
  const auto lo = vrt::uplo::lower;
  const auto nt = vrt::transpose::nontrans;
  const auto nu = vrt::diag::nonunit;
  if (s.usm())
    vs::trsv(s.q, lo, nt, nu, alpha, s.h, s.x.usm(), s.sol.usm()).wait();
  else
    vs::trsv(s.q, lo, nt, nu, alpha, s.h, s.x.buffer(), s.sol.buffer());
}
void run_trmv(scene& s) {
  const auto lo = vrt::uplo::lower;
  const auto nt = vrt::transpose::nontrans;
  const auto nu = vrt::diag::nonunit;
  if (s.usm())
    vs::trmv(s.q, lo, nt, nu, alpha, s.h, s.x.usm(), beta, s.y.usm()).wait();
  else
    vs::trmv(s.q, lo, nt, nu, alpha, s.h, s.x.buffer(), beta, s.y.buffer());
}
void run_trsm(scene& s) {
  const auto cm = vrt::layout::col_major;
  const auto nt = vrt::transpose::nontrans;
  const auto lo = vrt::uplo::lower;
  const auto nu = vrt::diag::nonunit;
  if (s.usm())
    vs::trsm(s.q, cm, nt, nt, lo, nu, alpha, s.h, s.bx.usm(), columns, n, s.cy.usm(), n).wait();
  else
    vs::trsm(s.q, cm, nt, nt, lo, nu, alpha, s.h, s.bx.buffer(), columns, n, s.cy.buffer(), n);
}

std::string check_gemv(scene& s, vrt::transpose op) {
  const dense a = to_dense(s.a);
  return compare(s.y.read(),
                 product(op == vrt::transpose::nontrans ? a : transposed(a), x_values()), "y");
}
std::string check_trsv(scene& s) {
  return compare(s.sol.read(), lower_solve(lower_of(to_dense(s.a)), x_values(), alpha), "y");
}
std::string check_trmv(scene& s) {
  return compare(s.y.read(), product(lower_of(to_dense(s.a)), x_values()), "y");
}
std::string check_trsm(scene& s) {
  const dense l = lower_of(to_dense(s.a));
  const auto got = s.cy.read();
  for (int j = 0; j < columns; ++j) {
    const std::string p =
        compare(column(got, j), lower_solve(l, column(dense_values(), j), alpha), "Y");
    if (!p.empty()) return p + " (column " + std::to_string(j) + ")";
  }
  return "";
}

// ---- the routines ----------------------------------------------------------------------------

struct routine_case {
  std::string name;  // the routine (and what distinguishes the case)
  std::string word;  // the function word of its messages
  bool on_cpu = true;
  bool on_gpu = true;
  bool bound = true;                                    // A is bound before the call
  std::function<void(scene&)> prepare = [](scene&) {};  // failures off
  std::function<void(scene&)> call;                     // the call under test, waited for
  std::function<std::string(scene&)> check;             // after a call that succeeded
  std::vector<std::string> other_words = {};            // of refusals made below the routine
};

std::vector<routine_case> make_cases() {
  using vrt::transpose;
  std::vector<routine_case> c;
  const auto lo = vrt::uplo::lower;
  const auto nt = transpose::nontrans;
  const auto nu = vrt::diag::nonunit;

  c.push_back({"init_matrix_handle", "init_matrix_handle", true, true, false, [](scene&) {},
               [](scene& s) { vs::init_matrix_handle(&s.h); },
               [](scene& s) -> std::string {
                 if (s.h == nullptr) return "no handle";
                 s.bind_csr(s.h);
                 run_gemv(s, transpose::nontrans);
                 return check_gemv(s, transpose::nontrans);
               }});
  c.push_back({"set_csr_data", "set_csr_data", true, true, false,
               [](scene& s) { vs::init_matrix_handle(&s.h); }, [](scene& s) { s.bind_csr(s.h); },
               [](scene& s) {
                 run_gemv(s, transpose::nontrans);
                 return check_gemv(s, transpose::nontrans);
               }});
  c.push_back({"set_coo_data", "set_coo_data", true, true, false,
               [](scene& s) { vs::init_matrix_handle(&s.h); },
               [](scene& s) {
                 const I nnz = static_cast<I>(s.a.values.size());
                 if (s.usm())
                   vs::set_coo_data(s.q, s.h, n, n, nnz, vrt::index_base::zero, s.ri.usm(),
                                    s.ci.usm(), s.va.usm())
                       .wait();
                 else
                   vs::set_coo_data(s.q, s.h, n, n, nnz, vrt::index_base::zero, s.ri.buffer(),
                                    s.ci.buffer(), s.va.buffer());
               },
               [](scene& s) {
                 run_gemv(s, transpose::nontrans);
                 return check_gemv(s, transpose::nontrans);
               }});
  c.push_back({"set_matrix_property", "set_matrix_property", true, true, true, [](scene&) {},
               [](scene& s) { vs::set_matrix_property(s.h, vs::property::sorted); },
               [](scene& s) {
                 run_gemv(s, transpose::nontrans);
                 return check_gemv(s, transpose::nontrans);
               }});
  c.push_back({"gemv", "gemv", true, true, true, [](scene&) {},
               [](scene& s) { run_gemv(s, transpose::nontrans); },
               [](scene& s) { return check_gemv(s, transpose::nontrans); }});
  c.push_back({"gemv trans", "gemv", true, true, true, [](scene&) {},
               [](scene& s) { run_gemv(s, transpose::trans); },
               [](scene& s) { return check_gemv(s, transpose::trans); }});
  c.push_back({"optimize_gemv",
               "optimize_gemv",
               true,
               true,
               true,
               [](scene&) {},
               [](scene& s) { vs::optimize_gemv(s.q, transpose::nontrans, s.h).wait(); },
               [](scene& s) {
                 run_gemv(s, transpose::nontrans);
                 return check_gemv(s, transpose::nontrans);
               },
               {"optimze_gemv"}});  // the CPU path's word, misspelt as it always was
  c.push_back({"gemv after optimize_gemv", "gemv", true, true, true,
               [](scene& s) { vs::optimize_gemv(s.q, transpose::nontrans, s.h).wait(); },
               [](scene& s) { run_gemv(s, transpose::nontrans); },
               [](scene& s) { return check_gemv(s, transpose::nontrans); }});
  c.push_back({"gemvdot", "gemvdot", true, true, true, [](scene&) {},
               [](scene& s) {
                 if (s.usm())
                   vs::gemvdot(s.q, transpose::nontrans, alpha, s.h, s.x.usm(), beta, s.y.usm(),
                               s.d.usm())
                       .wait();
                 else
                   vs::gemvdot(s.q, transpose::nontrans, alpha, s.h, s.x.buffer(), beta,
                               s.y.buffer(), s.d.buffer());
               },
               [](scene& s) {
                 const auto want = product(to_dense(s.a), x_values());
                 T dot = 0;
                 for (int i = 0; i < n; ++i) dot += x_values()[i] * want[i];
                 const std::string p = compare(s.y.read(), want, "y");
                 return p.empty() ? compare(s.d.read(), {dot}, "d") : p;
               }});
  c.push_back({"symv", "symv", true, true, true, [](scene&) {},
               [](scene& s) {
                 if (s.usm())
                   vs::symv(s.q, lo, alpha, s.h, s.x.usm(), beta, s.y.usm()).wait();
                 else
                   vs::symv(s.q, lo, alpha, s.h, s.x.buffer(), beta, s.y.buffer());
               },
               [](scene& s) {
                 return compare(s.y.read(),
                                product(symmetric_from_lower(to_dense(s.a)), x_values()), "y");
               }});
  c.push_back({"trmv", "trmv", true, true, true, [](scene&) {}, run_trmv, check_trmv});
  c.push_back({"optimize_trmv", "optimize_trmv", true, true, true, [](scene&) {},
               [](scene& s) { vs::optimize_trmv(s.q, lo, nt, nu, s.h).wait(); },
               [](scene& s) {
                 run_trmv(s);
                 return check_trmv(s);
               }});
  c.push_back({"trmv after optimize_trmv", "trmv", true, true, true,
               [](scene& s) { vs::optimize_trmv(s.q, lo, nt, nu, s.h).wait(); }, run_trmv,
               check_trmv});
  c.push_back({"trsv", "trsv", true, true, true, [](scene&) {}, run_trsv, check_trsv});
  c.push_back({"optimize_trsv", "optimize_trsv", true, true, true, [](scene&) {},
               [](scene& s) { vs::optimize_trsv(s.q, lo, nt, nu, s.h).wait(); },
               [](scene& s) {
                 run_trsv(s);
                 return check_trsv(s);
               }});
  c.push_back({"trsv after optimize_trsv", "trsv", true, true, true,
               [](scene& s) { vs::optimize_trsv(s.q, lo, nt, nu, s.h).wait(); }, run_trsv,
               check_trsv});
  c.push_back({"trsm", "trsm", true, true, true, [](scene&) {}, run_trsm, check_trsm});
  c.push_back({"optimize_trsm",
               "optimize_trsm",
               true,
               true,
               true,
               [](scene&) {},
               [](scene& s) {
                 vs::optimize_trsm(s.q, vrt::layout::col_major, lo, nt, nu, s.h, columns).wait();
               },
               [](scene& s) {
                 run_trsm(s);
                 return check_trsm(s);
               },
               {"optimize_trsv"}});
  c.push_back({"trsm after optimize_trsm", "trsm", true, true, true,
               [](scene& s) {
                 vs::optimize_trsm(s.q, vrt::layout::col_major, lo, nt, nu, s.h, columns).wait();
               },
               run_trsm, check_trsm});
  c.push_back({"gemm", "gemm", true, true, true, [](scene&) {},
               [](scene& s) {
                 const auto rm = vrt::layout::row_major;
                 if (s.usm())
                   vs::gemm(s.q, rm, nt, nt, alpha, s.h, s.bx.usm(), columns, columns, beta,
                            s.cm.usm(), columns)
                       .wait();
                 else
                   vs::gemm(s.q, rm, nt, nt, alpha, s.h, s.bx.buffer(), columns, columns, beta,
                            s.cm.buffer(), columns);
               },
               [](scene& s) {
                 const dense a = to_dense(s.a);
                 const auto b = dense_values();
                 std::vector<T> want = c_start();
                 for (T& v : want) v *= beta;
                 for (int r = 0; r < n; ++r)
                   for (int j = 0; j < columns; ++j)
                     for (int k = 0; k < n; ++k)
                       want[r * columns + j] += alpha * a[r * n + k] * b[k * columns + j];
                 return compare(s.cm.read(), want, "C");
               }});
  c.push_back({"sort_matrix", "sort_matrix", true, true, true, [](scene&) {},
               [](scene& s) { vs::sort_matrix(s.q, s.h).wait(); },
               [](scene& s) -> std::string {
                 // Rows in ascending column order, the same entries, the same product.
                 const auto cols = s.ci.read();
                 const auto vals = s.va.read();
                 for (int r = 0; r < n; ++r)
                   for (I k = s.a.row_ptr[r]; k + 1 < s.a.row_ptr[r + 1]; ++k)
                     if (cols[k] >= cols[k + 1])
                       return "row " + std::to_string(r) + " is not in column order";
                 host_csr sorted = s.a;
                 sorted.col_ind = cols;
                 sorted.values = vals;
                 if (to_dense(sorted) != to_dense(s.a)) return "sorting changed the matrix";
                 run_gemv(s, transpose::nontrans);
                 return check_gemv(s, transpose::nontrans);
               }});
  c.push_back({"omatcopy", "omatcopy", true, true, true,
               [](scene& s) {
                 vs::init_matrix_handle(&s.hb);
                 if (s.usm())
                   vs::set_csr_data(s.q, s.hb, n, n, vrt::index_base::zero, s.b_rp.usm(),
                                    s.b_ci.usm(), s.b_va.usm())
                       .wait();
                 else
                   vs::set_csr_data(s.q, s.hb, n, n, vrt::index_base::zero, s.b_rp.buffer(),
                                    s.b_ci.buffer(), s.b_va.buffer());
               },
               [](scene& s) { vs::omatcopy(s.q, transpose::trans, s.h, s.hb).wait(); },
               [](scene& s) -> std::string {
                 host_csr b{s.b_rp.read(), s.b_ci.read(), s.b_va.read()};
                 for (I v : b.row_ptr)
                   if (v < 0 || v > static_cast<I>(b.col_ind.size())) return "B's row pointers";
                 for (I v : b.col_ind)
                   if (v < 0 || v >= n) return "B's column indices";
                 if (to_dense(b) != transposed(to_dense(s.a))) return "B is not A's transpose";
                 return "";
               }});
  // With the analysis' diagonal data to refresh, and without (the routine then checks the
  // structure for missing diagonal entries first).
  const auto update_diagonal = [](scene& s) {
    if (s.usm())
      vs::update_diagonal_values(s.q, s.h, n, s.diagonal.usm()).wait();
    else
      vs::update_diagonal_values(s.q, s.h, s.diagonal.buffer());
  };
  const auto updated = [](scene& s) {
    const std::vector<T> diag = {9.0, 8.0, 7.0, 6.0, 5.0, 4.5};
    for (int r = 0; r < n; ++r)
      for (I k = s.a.row_ptr[r]; k < s.a.row_ptr[r + 1]; ++k)
        if (s.a.col_ind[k] == r) s.a.values[k] = diag[r];
    if (s.va.read() != s.a.values) return std::string("A's values");
    run_trsv(s);
    return check_trsv(s);
  };
  c.push_back({"update_diagonal_values", "update_diagonal_values", false, true, true,
               [](scene& s) { vs::optimize_trsv(s.q, lo, nt, nu, s.h).wait(); }, update_diagonal,
               updated});
  c.push_back({"update_diagonal_values without analysis", "update_diagonal_values", false, true,
               true, [](scene&) {}, update_diagonal, updated});
  c.push_back({"release_matrix_handle", "release_matrix_handle", true, true, true,
               [](scene& s) { run_gemv(s, transpose::trans); }, [](scene& s) { s.release(&s.h); },
               [](scene&) { return std::string(); }});
  // The staged product C = A A on the CPU device, one case a stage: the stages before it run
  // first, failures off; the check runs the stages after it and reads C.
  using R = vs::matmat_request;
  const std::vector<std::pair<R, const char*>> stages = {
      {R::get_work_estimation_buf_size, "get_work_estimation_buf_size"},
      {R::work_estimation, "work_estimation"},
      {R::get_compute_buf_size, "get_compute_buf_size"},
      {R::compute, "compute"},
      {R::get_nnz, "get_nnz"},
      {R::finalize, "finalize"}};
  auto stage = [](scene& s, R r) {
    if (s.usm())
      vs::matmat(s.q, s.h, s.h, s.hb, r, s.descr, s.size.usm(), nullptr).wait();
    else
      vs::matmat(s.q, s.h, s.h, s.hb, r, s.descr, &s.size.buffer(), nullptr);
  };
  for (std::size_t k = 0; k < stages.size(); ++k) {
    const R here = stages[k].first;
    c.push_back({std::string("matmat ") + stages[k].second, "matmat", true, false, true,
                 [=](scene& s) {
                   vs::init_matmat_descr(&s.descr);
                   vs::init_matrix_handle(&s.hb);
                   s.bind_csr(s.hb, s.b_rp, s.c_ci, s.c_va);
                   for (std::size_t i = 0; i < k; ++i) stage(s, stages[i].first);
                 },
                 [=](scene& s) { stage(s, here); },
                 [=](scene& s) -> std::string {
                   for (std::size_t i = k + 1; i < stages.size(); ++i) stage(s, stages[i].first);
                   host_csr c{s.b_rp.read(), s.c_ci.read(), s.c_va.read()};
                   if (c.row_ptr[0] != 0 || c.row_ptr[n] > n * n) return "C's row pointers";
                   c.col_ind.resize(static_cast<std::size_t>(c.row_ptr[n]));
                   c.values.resize(c.col_ind.size());
                   for (I v : c.col_ind)
                     if (v < 0 || v >= n) return "C's column indices";
                   const dense a = to_dense(s.a);
                   dense want(n * n, 0.0);
                   for (int r = 0; r < n; ++r)
                     for (int j = 0; j < n; ++j)
                       for (int i = 0; i < n; ++i) want[r * n + j] += a[r * n + i] * a[i * n + j];
                   return compare(to_dense(c), want, "C");
                 }});
  }
  // The stages of the device product that run on GPU queues, on a C the product makes; the
  // estimate takes the caller's workspace, so that it may run again after a refusal (a second
  // library workspace is an internal error). The check runs the stages after it and compares
  // the last size with that of a product made without failures.
  const std::vector<std::pair<R, const char*>> device_stages = {
      {R::get_work_estimation_buf_size, "get_work_estimation_buf_size"},
      {R::work_estimation, "work_estimation"},
      {R::get_compute_structure_buf_size, "get_compute_structure_buf_size"},
      {R::get_compute_buf_size, "get_compute_buf_size"}};
  auto device_stage = [](scene& s, vs::matrix_handle* C, R r) {
    const bool caller_workspace = r == R::work_estimation;
    if (s.usm())
      vs::matmat(s.q, s.h, s.h, C, r, s.descr, s.size.usm(),
                 caller_workspace ? s.work.usm() : nullptr)
          .wait();
    else
      vs::matmat(s.q, s.h, s.h, C, r, s.descr, &s.size.buffer(),
                 caller_workspace ? &s.work.buffer() : nullptr);
  };
  for (std::size_t k = 0; k < device_stages.size(); ++k) {
    const R here = device_stages[k].first;
    c.push_back({std::string("matmat on the device ") + device_stages[k].second,
                 "matmat",
                 false,
                 true,
                 true,
                 [=](scene& s) {
                   vs::init_matmat_descr(&s.descr);
                   vs::init_matrix_handle(&s.hb);
                   for (std::size_t i = 0; i < k; ++i)
                     device_stage(s, s.hb, device_stages[i].first);
                 },
                 [=](scene& s) { device_stage(s, s.hb, here); },
                 [=](scene& s) -> std::string {
                   for (std::size_t i = k + 1; i < device_stages.size(); ++i)
                     device_stage(s, s.hb, device_stages[i].first);
                   const std::int64_t got = s.size.read()[0];
                   vs::matrix_handle* fresh = nullptr;
                   vs::init_matrix_handle(&fresh);
                   for (const auto& st : device_stages) device_stage(s, fresh, st.first);
                   const std::int64_t want = s.size.read()[0];
                   s.release(&fresh);
                   if (got <= 0 || got != want)
                     return "the compute size " + std::to_string(got) + ", not " +
                            std::to_string(want);
                   return std::string();
                 },
                 {""}});
  }
  c.push_back({"init_matmat_descr", "matmat", true, true, false, [](scene&) {},
               [](scene& s) {
                 vs::matmat_descr* descr = nullptr;
                 vs::init_matmat_descr(&descr);
                 if (descr == nullptr) throw std::runtime_error("no descriptor");
                 vs::release_matmat_descr(&descr);
                 (void)s;
               },
               [](scene&) { return std::string(); }});
  // The cases whose calls reach allocations made below the routine that name none: the records,
  // the count of a binding and the prefix sum, the shared analyses and copies report with an
  // empty word. Every other case must name its routine (or the words it lists).
  const std::set<std::string> unnamed_below = {
      "set_csr_data",  "set_coo_data", "gemv",          "gemv trans",    "optimize_gemv", "trsv",
      "optimize_trsv", "trsm",         "optimize_trsm", "optimize_trmv", "gemm"};
  for (routine_case& rc : c)
    if (unnamed_below.count(rc.name) != 0) rc.other_words.push_back("");
  return c;
}

const std::vector<routine_case>& cases() {
  static const std::vector<routine_case> all = make_cases();
  return all;
}

const routine_case& case_named(const std::string& name) {
  for (const auto& c : cases())
    if (c.name == name) return c;
  throw std::runtime_error("no case " + name);
}

// ---- injection ----------------------------------------------------------------------------------

enum class allocator { runtime, services, engine };
enum class mode { from_n, only_n };

const char* name_of(allocator a) {
  switch (a) {
    case allocator::runtime:
      return "runtime";
    case allocator::services:
      return "services";
    default:
      return "engine";
  }
}

void arm(allocator a, mode m, std::size_t point) {
  const std::size_t count = m == mode::from_n ? all_later : 1;
  if (a == allocator::runtime)
    hostsycl::fail_allocations_after(point, count);
  else if (a == allocator::services)
    seams::fail_serv_mallocs_after(point, count);
  else
    vrt_sparse_testing_force_status_after(static_cast<int>(point), SPARSE_STATUS_ALLOC_FAILED,
                                          m == mode::from_n ? 1 << 30 : 1);
}

void disarm() {
  hostsycl::fail_allocations_after(0, 0);
  seams::fail_serv_mallocs_after(0, 0);
  vrt_sparse_testing_force_status_after(0, SPARSE_STATUS_SUCCESS, 0);
}

std::uint64_t attempts(allocator a) {
  switch (a) {
    case allocator::runtime:
      return hostsycl::allocation_attempts();
    case allocator::services:
      return seams::serv_malloc_calls();
    default:
      return static_cast<std::uint64_t>(vrt_sparse_testing_calls());
  }
}

struct live_state {
  std::size_t runtime;
  std::uint64_t device_bytes;
  std::int64_t services;
  bool operator==(const live_state& o) const {
    return runtime == o.runtime && device_bytes == o.device_bytes && services == o.services;
  }
};

live_state live(const sycl::queue& q) {
  return {hostsycl::live_allocations(), hostsycl::live_allocation_bytes(q.get_device()),
          seams::live_serv_mallocs()};
}

std::string describe(const live_state& s) {
  std::ostringstream o;
  o << s.runtime << " runtime allocations (" << s.device_bytes << " device bytes), " << s.services
    << " service blocks";
  return o.str();
}

// What one trial found: whether the call went through, how many allocations it attempted, and
// what was wrong ("" when nothing).
struct trial {
  bool succeeded = false;
  std::uint64_t attempted = 0;
  std::string refusal;  // the message of a refused call
  std::string problem;
};

// The allocation refusals the call may give: the routine's word, and the words the case lists of
// what it calls (the empty word of the records and of the shared allocators among them).
std::string refusal_problem(const routine_case& c, const sycl::queue& q, const std::string& what,
                            bool device_class) {
  std::vector<std::string> words = {c.word};
  words.insert(words.end(), c.other_words.begin(), c.other_words.end());
  const std::string tail = device_class ? "cannot allocate memory on " +
                                              q.get_device().get_info<sycl::info::device::name>()
                                        : std::string("cannot allocate memory on host");
  for (const auto& w : words)
    if (what == prefix(w) + tail) return "";
  return std::string("unexpected text: ") + what;
}

trial run_trial(const routine_case& c, sycl::queue& q, memory m, allocator a, mode md,
                std::optional<std::size_t> point) {
  trial t;
  disarm();
  q.wait();
  const live_state before = live(q);
  {
    scene s(q, m);
    try {
      if (c.bound) {
        vs::init_matrix_handle(&s.h);
        s.bind_csr(s.h);
      }
      c.prepare(s);
      q.wait();
    } catch (const std::exception& e) {
      t.problem = std::string("setup failed: ") + e.what();
      return t;
    }
    const auto arrays = s.snapshot();
    const std::uint64_t first = attempts(a);
    if (point) arm(a, md, *point);
    bool refused = false;
    try {
      c.call(s);
      t.succeeded = true;
    } catch (const vrt::device_bad_alloc& e) {
      refused = true;
      t.refusal = e.what();
      t.problem = refusal_problem(c, q, e.what(), true);
    } catch (const vrt::host_bad_alloc& e) {
      refused = true;
      t.refusal = e.what();
      t.problem = refusal_problem(c, q, e.what(), false);
    } catch (const std::exception& e) {
      refused = true;
      t.problem = std::string("wrong exception: ") + e.what();
    }
    disarm();
    t.attempted = attempts(a) - first;
    try {
      q.wait();
    } catch (const std::exception& e) {
      if (t.problem.empty()) t.problem = std::string("the queue reports: ") + e.what();
    }
    if (refused) {
      if (s.snapshot() != arrays && t.problem.empty()) t.problem = "the caller's arrays changed";
      if (c.name == "init_matrix_handle" && s.h != nullptr && t.problem.empty())
        t.problem = "a refused init_matrix_handle set the handle";
      try {
        c.call(s);
      } catch (const std::exception& e) {
        if (t.problem.empty()) t.problem = std::string("the call again fails: ") + e.what();
      }
    }
    if (t.problem.empty()) {
      try {
        t.problem = c.check(s);
      } catch (const std::exception& e) {
        t.problem = std::string("the check fails: ") + e.what();
      }
    }
    try {
      s.release(&s.h);
      s.release(&s.hb);
    } catch (const std::exception& e) {
      if (t.problem.empty()) t.problem = std::string("the release fails: ") + e.what();
    }
  }
  q.wait();
  const live_state after = live(q);
  if (!(after == before) && t.problem.empty())
    t.problem = "held after release: " + describe(after) + " against " + describe(before);
  return t;
}

// ---- the sweep and its counts ------------------------------------------------------------------

struct tally {
  std::size_t tried = 0;
  std::size_t refused = 0;
  std::size_t passed = 0;
  std::uint64_t allocations = 0;  // of a clean call
};

std::mutex table_mutex;
// Every refusal text met, with the device name cut off, and how often.
std::map<std::string, std::size_t>& refusals() {
  static std::map<std::string, std::size_t> r;
  return r;
}
std::map<std::string, tally>& table() {
  static std::map<std::string, tally> t;
  return t;
}

std::vector<std::size_t> sample(std::uint64_t count, unsigned seed) {
  std::vector<std::size_t> points = {0};
  if (count > 1) points.push_back(count - 1);
  std::mt19937 rng(seed);
  for (int i = 0; i < 2 && count > 2; ++i) points.push_back(1 + rng() % (count - 2));
  std::sort(points.begin(), points.end());
  points.erase(std::unique(points.begin(), points.end()), points.end());
  return points;
}

struct target {
  const char* device;  // "cpu" or a profile
  memory m;
};

sycl::queue queue_of(const char* device) {
  if (std::string(device) == "cpu") return sycl::queue{sycl::cpu_selector_v};
  return sycl::queue{hostsycl::emulated_gpu(device)};
}

class AllocSweep : public ::testing::TestWithParam<std::string> {};

TEST_P(AllocSweep, EachFailureIsRefusedCleanly) {
  VRT_SKIP_UNLESS_BUILT(T);
  const routine_case& c = case_named(GetParam());
  const bool full = full_sweep();
  unsigned seed = 20261125;
  for (const char* device : {"cpu", "emu-a6", "emu-a3"}) {
    sycl::queue q = queue_of(device);
    if (q.get_device().is_cpu() ? !c.on_cpu : !c.on_gpu) continue;
    for (memory m : {memory::device, memory::buffer})
      for (allocator a : {allocator::runtime, allocator::services, allocator::engine}) {
        // The host engine serves CPU queues alone.
        if (a == allocator::engine && !q.get_device().is_cpu()) continue;
        const std::string where =
            c.name + " | " + device + " | " + vrt_test::name_of(m) + " | " + name_of(a);
        SCOPED_TRACE(where);
        tally counts;
        // A clean call first: its allocation count spreads the sample.
        const trial clean = run_trial(c, q, m, a, mode::from_n, std::nullopt);
        ASSERT_TRUE(clean.succeeded && clean.problem.empty()) << clean.problem;
        counts.allocations = clean.attempted;
        int reported = 0;
        auto record = [&](const trial& t, mode md, std::size_t point) {
          ++counts.tried;
          if (!t.refusal.empty()) {
            ++counts.refused;
            const std::string at = "memory on ";
            std::string text = t.refusal;
            if (text.size() < 4 || text.compare(text.size() - 4, 4, "host") != 0)
              text = text.substr(0, text.find(at) + at.size()) + "<device>";
            std::lock_guard<std::mutex> lock(table_mutex);
            ++refusals()[text];
          }
          if (t.problem.empty()) {
            ++counts.passed;
          } else if (reported++ < 5) {
            ADD_FAILURE() << (md == mode::from_n ? "from " : "only ") << point << ": " << t.problem;
          }
        };
        // From n on: refused until n reaches the call's allocations, then through.
        const std::vector<std::size_t> from = [&] {
          if (!full) {
            auto p = sample(clean.attempted, seed++);
            if (p.back() != clean.attempted) p.push_back(clean.attempted);
            return p;
          }
          std::vector<std::size_t> all;
          for (std::size_t i = 0; i <= clean.attempted; ++i) all.push_back(i);
          return all;
        }();
        bool through = false;
        for (std::size_t point : from) {
          const trial t = run_trial(c, q, m, a, mode::from_n, point);
          record(t, mode::from_n, point);
          through = t.succeeded;
        }
        // A call that still failed with every allocation it made once allowed: go on until it
        // succeeds, within the cap.
        for (std::size_t point = clean.attempted + 1; !through; ++point) {
          if (point >= max_failure_points) {
            ADD_FAILURE() << "still refused after " << max_failure_points << " failure points";
            break;
          }
          const trial t = run_trial(c, q, m, a, mode::from_n, point);
          record(t, mode::from_n, point);
          through = t.succeeded;
        }
        // Only the n-th: a fall-back may carry the call through.
        const std::vector<std::size_t> only = [&] {
          if (!full) return sample(clean.attempted, seed++);
          std::vector<std::size_t> all;
          for (std::size_t i = 0; i < clean.attempted; ++i) all.push_back(i);
          return all;
        }();
        for (std::size_t point : only) {
          if (point >= clean.attempted) continue;
          record(run_trial(c, q, m, a, mode::only_n, point), mode::only_n, point);
        }
        std::lock_guard<std::mutex> lock(table_mutex);
        table()[where] = counts;
      }
  }
}

std::vector<std::string> case_names() {
  std::vector<std::string> names;
  for (const auto& c : cases()) names.push_back(c.name);
  return names;
}

std::string test_name(const ::testing::TestParamInfo<std::string>& info) {
  std::string s = info.param;
  for (char& ch : s)
    if (ch == ' ') ch = '_';
  return s;
}

INSTANTIATE_TEST_SUITE_P(Routines, AllocSweep, ::testing::ValuesIn(case_names()), test_name);

// The counts, one line per routine, device, memory model and allocator, after the last test.
class print_table : public ::testing::Environment {
 public:
  void TearDown() override {
    if (table().empty()) return;
    std::size_t tried = 0, passed = 0;
    std::cout << "\nalloc sweep (" << (full_sweep() ? "full" : "sampled") << ")\n"
              << std::left << std::setw(66) << "routine | device | memory | allocator" << std::right
              << std::setw(8) << "allocs" << std::setw(8) << "tried" << std::setw(8) << "refused"
              << std::setw(8) << "passed\n";
    for (const auto& [where, t] : table()) {
      std::cout << std::left << std::setw(66) << where << std::right << std::setw(8)
                << t.allocations << std::setw(8) << t.tried << std::setw(8) << t.refused
                << std::setw(8) << t.passed << "\n";
      tried += t.tried;
      passed += t.passed;
    }
    std::cout << "total: " << table().size() << " routine x device x memory x allocator, " << tried
              << " failure points tried, " << passed << " passed, " << tried - passed
              << " failed\n";
    for (const auto& [text, count] : refusals())
      std::cout << "refusal " << std::setw(6) << count << "  " << text << "\n";
  }
};
const auto* const table_printer = ::testing::AddGlobalTestEnvironment(new print_table);

}  // namespace
