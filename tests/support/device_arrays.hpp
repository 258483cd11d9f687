// The device tests' one harness: host arrays placed on a queue in either memory model (USM of
// any kind, or sycl::buffer), a host matrix bound to a handle through them, a routine run on the
// bound operands, and the results read back on the host.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <orvane/vrt/sparse.hpp>
#include <sycl/sycl.hpp>
#include <type_traits>
#include <utility>
#include <vector>

#include "containers/containers.hpp"
#include "handle/handle.hpp"
#include "support/sparse_matrices.hpp"

namespace vrt_test {

// Where an array lives: one of the three USM kinds, or a sycl::buffer.
enum class memory { device, shared, host, buffer };
constexpr memory all_memories[] = {memory::device, memory::shared, memory::host, memory::buffer};
// The two memory models the library tells apart, one array kind each.
constexpr memory both_models[] = {memory::device, memory::buffer};

inline const char* name_of(memory m) {
  switch (m) {
    case memory::device:
      return "device USM";
    case memory::shared:
      return "shared USM";
    case memory::host:
      return "host USM";
    default:
      return "buffers";
  }
}

inline bool is_usm(memory m) { return m != memory::buffer; }

inline orvane::vrt::sparse::containerType container_of(memory m) {
  return is_usm(m) ? orvane::vrt::sparse::container_usm : orvane::vrt::sparse::container_buffer;
}

inline sycl::usm::alloc usm_kind(memory m) {
  switch (m) {
    case memory::shared:
      return sycl::usm::alloc::shared;
    case memory::host:
      return sycl::usm::alloc::host;
    default:
      return sycl::usm::alloc::device;
  }
}

// A copy of a host vector on the queue, at least one element long (an empty array still needs an
// address); freed with the object.
template <typename E>
class device_array {
 public:
  device_array(sycl::queue& q, std::vector<E> host, memory m) : q_(&q), m_(m) {
    if (host.empty()) host.resize(1);
    size_ = host.size();
    if (is_usm(m)) {
      usm_ = static_cast<E*>(sycl::malloc(size_ * sizeof(E), q, usm_kind(m)));
      q.memcpy(usm_, host.data(), size_ * sizeof(E)).wait();
    } else {
      buffer_.emplace(sycl::range<1>(size_));
      sycl::host_accessor a(*buffer_, sycl::write_only);
      std::copy(host.begin(), host.end(), a.get_pointer());
    }
  }
  device_array(const device_array&) = delete;
  device_array& operator=(const device_array&) = delete;
  device_array(device_array&& o) noexcept
      : q_(o.q_),
        m_(o.m_),
        size_(o.size_),
        usm_(std::exchange(o.usm_, nullptr)),
        buffer_(std::move(o.buffer_)) {
    o.buffer_.reset();
  }
  ~device_array() {
    if (usm_ != nullptr) sycl::free(usm_, *q_);
  }

  memory model() const { return m_; }
  std::size_t size() const { return size_; }
  // An lvalue, so that callers taking operands by reference may take it.
  E* const& usm() const { return usm_; }
  sycl::buffer<E, 1>& buffer() { return *buffer_; }

  // The first n elements (all of them by default) copied to the host.
  std::vector<E> read(std::size_t n) {
    std::vector<E> out(std::min(n, size_));
    if (out.empty()) return out;
    if (is_usm(m_)) {
      // USM copies are ordered by nothing: let whatever the queue still runs finish first.
      q_->wait();
      q_->memcpy(out.data(), usm_, out.size() * sizeof(E)).wait();
    } else {
      sycl::host_accessor a(*buffer_, sycl::read_only);
      std::copy_n(a.get_pointer(), out.size(), out.begin());
    }
    return out;
  }
  std::vector<E> read() { return read(size_); }

 private:
  sycl::queue* q_;
  memory m_;
  std::size_t size_ = 0;
  E* usm_ = nullptr;
  std::optional<sycl::buffer<E, 1>> buffer_;
};

// Calls `call` with the arrays as the routine takes them: pointers and a dependency list in the
// USM models, buffers (and no list) otherwise. Returns the routine's event, or a finished one.
template <typename Call, typename... E>
sycl::event call_on(memory m, const std::vector<sycl::event>& deps, Call&& call,
                    device_array<E>&... arrays) {
  if (is_usm(m)) return call(arrays.usm()..., deps);
  call(arrays.buffer()...);
  return sycl::event{};
}

enum class storage { csr, coo };

// The row index of every nonzero, in the matrix's base.
template <typename T, typename I>
std::vector<I> row_indices(const csr_matrix<T, I>& A) {
  std::vector<I> rows;
  for (std::int64_t r = 0; r < A.nrows; ++r)
    for (I j = A.row_ptr[r] - A.base; j < A.row_ptr[r + 1] - A.base; ++j)
      rows.push_back(static_cast<I>(r + A.base));
  return rows;
}

// A handle bound to a host matrix (CSR, or COO made from it) whose arrays live in one memory;
// released, then the arrays freed, with the object.
template <typename T, typename I>
class bound_matrix {
 public:
  bound_matrix(sycl::queue& q, const csr_matrix<T, I>& A, memory m, storage s = storage::csr)
      : bound_matrix(q, A.nrows, A.ncols, A.base, s == storage::csr ? A.row_ptr : row_indices(A),
                     A.col_ind, A.values, m, s) {}

  // The arrays as given: `first` holds row pointers (CSR) or one row index per entry (COO), and
  // the entry count is values.size(). Without values_too the handle gets no values (the buffer
  // form has no empty buffer, so there the values are bound and then dropped from the handle).
  bound_matrix(sycl::queue& q, std::int64_t nrows, std::int64_t ncols, int base,
               const std::vector<I>& first, const std::vector<I>& col_ind,
               const std::vector<T>& values, memory m, storage s = storage::csr,
               bool values_too = true)
      : q_(q), m_(m), first_(q, first, m), col_ind_(q, col_ind, m), values_(q, values, m) {
    orvane::vrt::sparse::init_matrix_handle(&h_);
    try {
      bind(q, s, static_cast<I>(nrows), static_cast<I>(ncols), static_cast<I>(values.size()),
           static_cast<orvane::vrt::index_base>(base), values_too);
    } catch (...) {
      // A refused binding still leaves nothing behind.
      release();
      throw;
    }
  }
  bound_matrix(const bound_matrix&) = delete;
  bound_matrix& operator=(const bound_matrix&) = delete;
  ~bound_matrix() { release(); }

  orvane::vrt::sparse::matrix_handle* handle() { return h_; }
  memory model() const { return m_; }
  // The last event on the handle: binding, then whatever run() returned.
  const sycl::event& last() const { return last_; }
  void wait() { last_.wait(); }
  // The bound arrays, for reading back what a routine wrote in place.
  device_array<I>& first() { return first_; }
  device_array<I>& col_ind() { return col_ind_; }
  device_array<T>& values() { return values_; }

  // call(handle, operands..., deps) in the USM models, with the last event as the dependency;
  // call(handle, operands...) with buffers. The operands must live in this matrix's memory model
  // (any USM kind in the USM models). Chains without waiting: wait() before reading back.
  template <typename Call, typename... E>
  sycl::event run(Call&& call, device_array<E>&... operands) {
    auto* h = h_;
    last_ = call_on(
        m_, {last_}, [&](auto&&... args) { return call(h, std::forward<decltype(args)>(args)...); },
        operands...);
    return last_;
  }

 private:
  void release() {
    namespace vs = orvane::vrt::sparse;
    if (is_usm(m_))
      vs::release_matrix_handle(q_, &h_, {last_}).wait();
    else
      vs::release_matrix_handle(&h_);
  }

  template <typename Index>
  void bind(sycl::queue& q, storage s, Index nrows, Index ncols, Index nnz,
            orvane::vrt::index_base base, bool values_too) {
    namespace vs = orvane::vrt::sparse;
    if (is_usm(m_)) {
      T* values = values_too ? values_.usm() : nullptr;
      last_ = s == storage::csr ? vs::set_csr_data(q, h_, nrows, ncols, base, first_.usm(),
                                                   col_ind_.usm(), values)
                                : vs::set_coo_data(q, h_, nrows, ncols, nnz, base, first_.usm(),
                                                   col_ind_.usm(), values);
    } else if (s == storage::csr) {
      vs::set_csr_data(q, h_, nrows, ncols, base, first_.buffer(), col_ind_.buffer(),
                       values_.buffer());
    } else {
      vs::set_coo_data(q, h_, nrows, ncols, nnz, base, first_.buffer(), col_ind_.buffer(),
                       values_.buffer());
    }
    if (!values_too && !is_usm(m_)) h_->primary->values = nullptr;
  }

  sycl::queue& q_;
  memory m_;
  orvane::vrt::sparse::matrix_handle* h_ = nullptr;
  device_array<I> first_;
  device_array<I> col_ind_;
  device_array<T> values_;
  sycl::event last_;
};

// n elements of E from one of the library's own containers (a USM pointer or a buffer it made),
// copied to the host.
template <typename E>
std::vector<E> read_container(sycl::queue& q, const void* container,
                              orvane::vrt::sparse::containerType c, std::size_t n) {
  std::vector<E> out(n);
  if (n == 0) return out;
  if (c == orvane::vrt::sparse::container_usm) {
    q.memcpy(out.data(), container, n * sizeof(E)).wait();
  } else {
    auto* b = static_cast<sycl::buffer<E, 1>*>(const_cast<void*>(container));
    sycl::host_accessor a(*b, sycl::read_only);
    std::copy_n(a.get_pointer(), n, out.begin());
  }
  return out;
}

template <typename E>
void write_container(sycl::queue& q, void* container, orvane::vrt::sparse::containerType c,
                     const std::vector<E>& v) {
  if (v.empty()) return;
  if (c == orvane::vrt::sparse::container_usm) {
    q.memcpy(container, v.data(), v.size() * sizeof(E)).wait();
  } else {
    auto* b = static_cast<sycl::buffer<E, 1>*>(container);
    sycl::host_accessor a(*b, sycl::write_only);
    std::copy(v.begin(), v.end(), a.get_pointer());
  }
}

// A container made the library's way (so that a handle's release may free it) holding v, at
// least one element long.
template <typename E>
void* library_container(sycl::queue& q, std::vector<E> v, orvane::vrt::sparse::containerType c) {
  if (v.empty()) v.resize(1);
  void* p = orvane::vrt::sparse::allocate_device_container<E>(v.size(), q, c);
  write_container(q, p, c, v);
  return p;
}

}  // namespace vrt_test
