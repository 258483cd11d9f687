// What the device matmat tests share: two factors bound in one memory model, a product handle C
// with its descriptor, the requests run through the public API with the caller's size variable
// and workspace, and the product's record read back.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <hostsycl/hostsycl.hpp>
#include <optional>
#include <orvane/vrt/sparse.hpp>
#include <string>
#include <vector>

#include "handle/handle.hpp"
#include "handle/matmat_data.hpp"
#include "support/device_arrays.hpp"
#include "support/sparse_matrices.hpp"
#include "support/test_helpers.hpp"

namespace vrt_test::matmat {

namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;
using vrt_test::memory;
using vrt_test::name_of;
using vrt_test::prefix;

constexpr const char* gpu_profiles[] = {"emu-a0", "emu-a1", "emu-a2", "emu-a3",
                                        "emu-a4", "emu-a5", "emu-a6"};

// A rows x cols matrix whose row i holds per_row entries at columns (i * 7 + k * 13) % cols.
template <typename T, typename I>
csr_matrix<T, I> banded(std::int64_t rows, std::int64_t cols, int per_row, int base = 0) {
  csr_matrix<T, I> A;
  A.nrows = rows;
  A.ncols = cols;
  A.base = base;
  A.row_ptr.push_back(static_cast<I>(base));
  for (std::int64_t i = 0; i < rows; ++i) {
    std::vector<std::int64_t> row;
    for (int k = 0; k < per_row && cols > 0; ++k) {
      const std::int64_t c = (i * 7 + k * 13) % cols;
      bool seen = false;
      for (std::int64_t e : row) seen = seen || e == c;
      if (!seen) row.push_back(c);
    }
    for (std::int64_t c : row) {
      A.col_ind.push_back(static_cast<I>(c + base));
      A.values.push_back(T(1));
    }
    A.row_ptr.push_back(static_cast<I>(A.col_ind.size() + static_cast<std::size_t>(base)));
  }
  return A;
}

// The factors, C and the descriptor of one product; the caller's size variable lives in shared
// USM (USM models) or a buffer of one element.
template <typename T, typename I>
class product {
 public:
  product(sycl::queue& q, const csr_matrix<T, I>& a, const csr_matrix<T, I>& b, memory m)
      : q_(q), m_(m), A_(q, a, m), B_(q, b, m), size_buffer_(sycl::range<1>(1)) {
    vs::init_matrix_handle(&C_);
    vs::init_matmat_descr(&descr_);
    size_ = sycl::malloc_shared<std::int64_t>(1, q);
    *size_ = -1;
    set_size(-1);
  }
  product(const product&) = delete;
  product& operator=(const product&) = delete;
  ~product() {
    if (vrt_test::is_usm(m_))
      vs::release_matrix_handle(q_, &C_, {last_}).wait();
    else
      vs::release_matrix_handle(&C_);
    vs::release_matmat_descr(&descr_);
    sycl::free(size_, q_);
  }

  vs::matrix_handle* A() { return A_.handle(); }
  vs::matrix_handle* B() { return B_.handle(); }
  vs::matrix_handle* C() { return C_; }
  vs::matmat_descr* descr() { return descr_; }
  memory model() const { return m_; }
  sycl::queue& queue() { return q_; }

  void set_ops(vrt::transpose op_a, vrt::transpose op_b,
               vs::matrix_view_descr view_a = vs::matrix_view_descr::general) {
    vs::set_matmat_data(descr_, view_a, op_a, vs::matrix_view_descr::general, op_b,
                        vs::matrix_view_descr::general);
  }

  // The request with the size variable (or none) and a workspace (none by default): a USM
  // pointer in the USM models, a buffer otherwise.
  void run(vs::matmat_request r, bool with_size = true, void* temp = nullptr,
           sycl::buffer<std::uint8_t, 1>* temp_buffer = nullptr) {
    if (vrt_test::is_usm(m_)) {
      last_ = vs::matmat(q_, A(), B(), C_, r, descr_, with_size ? size_ : nullptr, temp, {last_});
    } else {
      vs::matmat(q_, A(), B(), C_, r, descr_, with_size ? &size_buffer_ : nullptr, temp_buffer);
    }
  }

  // The caller's size variable.
  std::int64_t size() {
    if (vrt_test::is_usm(m_)) {
      last_.wait();
      q_.wait();
      return *size_;
    }
    sycl::host_accessor a(size_buffer_, sycl::read_only);
    return a[0];
  }
  void set_size(std::int64_t value) {
    if (vrt_test::is_usm(m_)) {
      last_.wait();
      *size_ = value;
      return;
    }
    sycl::host_accessor a(size_buffer_, sycl::write_only);
    a[0] = value;
  }
  void wait() {
    last_.wait();
    q_.wait();
  }

  vs::matmatInternalData* data() {
    return C_->primary == nullptr ? nullptr : C_->primary->matmat_data;
  }

 private:
  sycl::queue& q_;
  memory m_;
  bound_matrix<T, I> A_;
  bound_matrix<T, I> B_;
  vs::matrix_handle* C_ = nullptr;
  vs::matmat_descr* descr_ = nullptr;
  std::int64_t* size_ = nullptr;
  sycl::buffer<std::int64_t, 1> size_buffer_;
  sycl::event last_;
};

// A caller's workspace of some bytes in one memory: USM of the kind, or a buffer.
class workspace {
 public:
  workspace(sycl::queue& q, memory m, std::size_t bytes) : q_(q), m_(m) {
    if (vrt_test::is_usm(m))
      usm_ = static_cast<std::uint8_t*>(sycl::malloc(bytes + 4096, q, vrt_test::usm_kind(m)));
    else
      buffer_.emplace(sycl::range<1>(bytes == 0 ? 1 : bytes));
  }
  workspace(const workspace&) = delete;
  workspace& operator=(const workspace&) = delete;
  ~workspace() {
    if (usm_ != nullptr) {
      q_.wait();
      sycl::free(usm_, q_);
    }
  }
  // shift bytes past the allocation's (page-aligned) start.
  void* usm(std::size_t shift = 0) { return usm_ + shift; }
  sycl::buffer<std::uint8_t, 1>* buffer() { return buffer_ ? &*buffer_ : nullptr; }

 private:
  sycl::queue& q_;
  memory m_;
  std::uint8_t* usm_ = nullptr;
  std::optional<sycl::buffer<std::uint8_t, 1>> buffer_;
};

}  // namespace vrt_test::matmat
