// The arrays the driver hands to the library in either memory model, and a matrix bound to a
// handle. One routine body serves both models: operand() yields a USM pointer or a buffer, and
// invoke() passes the dependencies only to the USM overloads.
#pragma once

#include <cstdint>
#include <memory>
#include <orvane/vrt/sparse.hpp>
#include <string>
#include <utility>
#include <vector>

#include "inputs.hpp"

namespace vrt_driver {

namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;

// A device copy of a host array: USM (device memory unless another kind is asked for) or a
// buffer (kept at a fixed address, since a handle keeps the address of the caller's buffer
// objects).
template <typename E>
class device_array {
 public:
  device_array(sycl::queue& q, bool usm, std::vector<E> host,
               sycl::usm::alloc kind = sycl::usm::alloc::device)
      : queue_(q) {
    if (host.empty()) host.push_back(E{});
    size_ = host.size();
    if (usm) {
      usm_ = sycl::malloc<E>(size_, q, kind);
      q.memcpy(usm_, host.data(), size_ * sizeof(E)).wait();
    } else {
      buffer_ = std::make_unique<sycl::buffer<E, 1>>(host.begin(), host.end());
    }
  }
  device_array(const device_array&) = delete;
  device_array& operator=(const device_array&) = delete;
  ~device_array() {
    if (usm_ != nullptr) sycl::free(usm_, queue_);
  }

  E* usm() const { return usm_; }
  sycl::buffer<E, 1>& buffer() const { return *buffer_; }
  std::size_t size() const { return size_; }

  // The array's contents once the work on it is done.
  std::vector<E> read() const {
    std::vector<E> out(size_);
    if (usm_ != nullptr) {
      queue_.memcpy(out.data(), usm_, size_ * sizeof(E)).wait();
    } else {
      sycl::host_accessor view(*buffer_, sycl::read_only);
      for (std::size_t k = 0; k < size_; ++k) out[k] = view[k];
    }
    return out;
  }

 private:
  sycl::queue& queue_;
  std::size_t size_ = 0;
  E* usm_ = nullptr;
  std::unique_ptr<sycl::buffer<E, 1>> buffer_;
};

// The USM kind of --y-memory.
inline sycl::usm::alloc to_usm_kind(const std::string& memory) {
  return memory == "host"     ? sycl::usm::alloc::host
         : memory == "shared" ? sycl::usm::alloc::shared
                              : sycl::usm::alloc::device;
}

inline vrt::transpose to_transpose(const std::string& op) {
  return op == "n" ? vrt::transpose::nontrans
                   : (op == "t" ? vrt::transpose::trans : vrt::transpose::conjtrans);
}

struct usm_model {
  static constexpr bool usm = true;
};
struct buffer_model {
  static constexpr bool usm = false;
};

template <typename Model, typename E>
decltype(auto) operand(Model, device_array<E>& a) {
  if constexpr (Model::usm)
    return a.usm();
  else
    return (a.buffer());
}

// Calls f(args..., deps) for USM, f(args...) for buffers (which order themselves).
template <typename Model, typename F, typename... Args>
sycl::event invoke(Model, const vs::event_list& deps, F&& f, Args&&... args) {
  if constexpr (Model::usm) {
    return f(std::forward<Args>(args)..., deps);
  } else {
    f(std::forward<Args>(args)...);
    return sycl::event();
  }
}

// The overload set of a library routine as one callable.
#define VRT_DRIVER_ROUTINE(name) \
  [](auto&&... a) -> decltype(auto) { return vs::name(std::forward<decltype(a)>(a)...); }

// Runs body(usm_model{}) or body(buffer_model{}).
template <typename Body>
decltype(auto) with_model(bool usm, Body&& body) {
  if (usm) return body(usm_model{});
  return body(buffer_model{});
}

// A new matrix handle, released when it goes (in the queue form for USM handles). Declared after
// the arrays it is bound to, it is released before they are freed.
class handle_owner {
 public:
  handle_owner(sycl::queue& q, bool usm) : queue_(q), usm_(usm) { vs::init_matrix_handle(&handle); }
  handle_owner(const handle_owner&) = delete;
  handle_owner& operator=(const handle_owner&) = delete;
  ~handle_owner() {
    try {
      if (usm_)
        vs::release_matrix_handle(queue_, &handle).wait();
      else
        vs::release_matrix_handle(&handle);
    } catch (...) {
      // A failed release leaves nothing the driver could still do.
    }
  }

  vs::matrix_handle* handle = nullptr;

 private:
  sycl::queue& queue_;
  bool usm_;
};

// Binds CSR or COO arrays to a handle; ready is the binding's event (USM).
template <typename Model, typename I, typename T>
sycl::event bind_arrays(Model model, sycl::queue& q, vs::matrix_handle* h, bool csr,
                        std::int64_t nrows, std::int64_t ncols, std::int64_t nnz, int base,
                        device_array<I>& rows, device_array<I>& cols, device_array<T>& values) {
  const auto b = static_cast<vrt::index_base>(base);
  const auto r = static_cast<I>(nrows), c = static_cast<I>(ncols);
  if (csr)
    return invoke(model, {}, VRT_DRIVER_ROUTINE(set_csr_data), q, h, r, c, b, operand(model, rows),
                  operand(model, cols), operand(model, values));
  return invoke(model, {}, VRT_DRIVER_ROUTINE(set_coo_data), q, h, r, c, static_cast<I>(nnz), b,
                operand(model, rows), operand(model, cols), operand(model, values));
}

// A matrix's arrays bound to a new handle.
template <typename T, typename I>
class bound_matrix {
 public:
  bound_matrix(sycl::queue& q, bool usm, const host_matrix<T, I>& A)
      : nrows(A.nrows),
        ncols(A.ncols),
        nnz(A.nnz),
        csr(A.csr),
        base(A.base),
        rows(q, usm, A.rows),
        cols(q, usm, A.cols),
        values(q, usm, A.values),
        owner(q, usm),
        handle(owner.handle) {
    ready = with_model(usm, [&](auto model) {
      return bind_arrays(model, q, handle, csr, nrows, ncols, nnz, base, rows, cols, values);
    });
  }

  // The arrays in the host matrix form, as the library left them.
  host_matrix<T, I> read() const {
    return {nrows, ncols, nnz, csr, base, rows.read(), cols.read(), values.read()};
  }

  std::int64_t nrows, ncols, nnz;
  bool csr;
  int base;
  device_array<I> rows, cols;
  device_array<T> values;
  handle_owner owner;
  vs::matrix_handle* handle;
  sycl::event ready;
};

// Entry i of the diagonal that --update-diagonal writes (formula in --help).
template <typename T>
T new_diagonal_entry(std::int64_t i) {
  return from_complex<T>(
      {4.0 + static_cast<double>(i % 5) / 2.0, static_cast<double>(i % 2) / 4.0});
}

// Replaces the diagonal of the bound matrix with update_diagonal_values, after deps; returns
// once it is done, so that the next run depends on nothing.
template <typename Model, typename T, typename I>
void update_diagonal(Model, sycl::queue& q, bound_matrix<T, I>& M, const vs::event_list& deps) {
  std::vector<T> entries(static_cast<std::size_t>(M.nrows));
  for (std::int64_t i = 0; i < M.nrows; ++i)
    entries[static_cast<std::size_t>(i)] = new_diagonal_entry<T>(i);
  device_array<T> diagonal(q, Model::usm, entries);
  if constexpr (Model::usm) {
    vs::update_diagonal_values(q, M.handle, M.nrows, diagonal.usm(), deps).wait();
  } else {
    vs::update_diagonal_values(q, M.handle, diagonal.buffer());
  }
}

}  // namespace vrt_driver
