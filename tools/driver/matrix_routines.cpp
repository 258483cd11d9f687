// Routines whose result is a sparse matrix: sort_matrix, omatcopy and the staged matmat; and
// the staged matmat's row estimate.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "arrays.hpp"
#include "routines.hpp"

namespace vrt_driver {

namespace {

// What an output array holds before the routine writes it: -1 indices and NaN values, which no
// routine computes, so an entry left alone shows up in the result instead of passing for one.
template <typename E>
std::vector<E> sentinels(std::size_t n) {
  if constexpr (std::is_integral_v<E>) {
    return std::vector<E>(n, E(-1));
  } else {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    return std::vector<E>(n, from_complex<E>({nan, nan}));
  }
}

// Row pointers and indices a routine left unwritten or out of range cannot be written as a
// matrix: they stop the driver with a message.
template <typename T, typename I>
void check_structure(const host_matrix<T, I>& r, std::int64_t nnz) {
  auto fail = [](const std::string& what) {
    throw std::runtime_error("the result is not a matrix: " + what);
  };
  auto in_range = [&](I v, std::int64_t extent) { return v >= r.base && v - r.base < extent; };
  if (r.csr) {
    if (r.rows[0] != r.base || r.rows[static_cast<std::size_t>(r.nrows)] - r.base != nnz)
      fail("row pointers do not span the entries");
    for (std::int64_t i = 0; i < r.nrows; ++i)
      if (r.rows[static_cast<std::size_t>(i + 1)] < r.rows[static_cast<std::size_t>(i)])
        fail("row pointer " + std::to_string(i + 1) + " decreases");
  } else {
    for (std::int64_t k = 0; k < nnz; ++k)
      if (!in_range(r.rows[static_cast<std::size_t>(k)], r.nrows))
        fail("row index " + std::to_string(k) + " out of range");
  }
  for (std::int64_t k = 0; k < nnz; ++k)
    if (!in_range(r.cols[static_cast<std::size_t>(k)], r.ncols))
      fail("column index " + std::to_string(k) + " out of range");
}

// The first nnz entries of a matrix's arrays as a coordinate matrix, in array order.
template <typename T, typename I>
mm::coordinate_matrix to_coordinate(const host_matrix<T, I>& r, std::int64_t nnz) {
  check_structure(r, nnz);
  mm::coordinate_matrix m;
  m.rows = r.nrows;
  m.cols = r.ncols;
  for (std::int64_t k = 0; k < nnz; ++k) {
    m.col.push_back(r.cols[static_cast<std::size_t>(k)] - r.base);
    m.value.emplace_back(r.values[static_cast<std::size_t>(k)]);
  }
  if (r.csr) {
    for (std::int64_t i = 0; i < r.nrows; ++i) {
      const auto row = static_cast<std::size_t>(i);
      for (I k = r.rows[row]; k < r.rows[row + 1]; ++k) m.row.push_back(i);
    }
  } else {
    for (std::int64_t k = 0; k < nnz; ++k)
      m.row.push_back(r.rows[static_cast<std::size_t>(k)] - r.base);
  }
  return m;
}

template <typename T, typename I>
result sparse_result(const host_matrix<T, I>& r, std::int64_t nnz) {
  result out;
  out.rows = r.nrows;
  out.cols = r.ncols;
  out.sparse = to_coordinate(r, nnz);
  return out;
}

// sort_matrix sorts A's arrays in place; omatcopy writes op(A) into a second handle bound to
// arrays of the right sizes holding sentinels, with A's format and index base.
template <typename T, typename I>
result run_format_routine(sycl::queue& q, const options& o, const host_matrix<T, I>& A) {
  const bool usm = o.memory == "usm";
  bound_matrix<T, I> M(q, usm, A);
  if (o.routine == "sort_matrix") {
    vs::sort_matrix(q, M.handle, {M.ready}).wait();
    return sparse_result(M.read(), A.nnz);
  }
  const auto op = to_transpose(o.op);
  const bool transposed = op != vrt::transpose::nontrans;
  host_matrix<T, I> shape = A;
  if (transposed) std::swap(shape.nrows, shape.ncols);
  shape.rows = sentinels<I>(A.csr ? static_cast<std::size_t>(shape.nrows + 1) : A.rows.size());
  shape.cols = sentinels<I>(A.cols.size());
  shape.values = sentinels<T>(A.values.size());
  bound_matrix<T, I> B(q, usm, shape);
  vs::omatcopy(q, op, M.handle, B.handle, {M.ready, B.ready}).wait();
  return sparse_result(B.read(), A.nnz);
}

// The matmat descriptor, released when it goes.
struct descr_owner {
  descr_owner() { vs::init_matmat_descr(&descr); }
  descr_owner(const descr_owner&) = delete;
  descr_owner& operator=(const descr_owner&) = delete;
  ~descr_owner() { vs::release_matmat_descr(&descr); }
  vs::matmat_descr* descr = nullptr;
};

// The size variable and the workspaces of the staged requests, in one memory model. A stage
// gets a workspace only when it asks for one.
class matmat_workspace {
 public:
  matmat_workspace(sycl::queue& q, bool usm) : queue_(q), usm_(usm) {
    if (usm) size_usm_ = sycl::malloc_shared<std::int64_t>(1, q);
  }
  matmat_workspace(const matmat_workspace&) = delete;
  matmat_workspace& operator=(const matmat_workspace&) = delete;
  ~matmat_workspace() {
    for (void* p : temps_usm_) sycl::free(p, queue_);
    if (size_usm_ != nullptr) sycl::free(size_usm_, queue_);
  }

  // One request, waited for; temp is the index of a workspace from allocate() or -1.
  void request(vs::matrix_handle* a, vs::matrix_handle* b, vs::matrix_handle* c,
               vs::matmat_request r, vs::matmat_descr* d, int temp = -1) {
    if (usm_) {
      void* t = temp >= 0 ? temps_usm_[static_cast<std::size_t>(temp)] : nullptr;
      vs::matmat(queue_, a, b, c, r, d, size_usm_, t).wait();
    } else {
      auto* t = temp >= 0 ? temps_buffer_[static_cast<std::size_t>(temp)].get() : nullptr;
      vs::matmat(queue_, a, b, c, r, d, &size_buffer_, t);
    }
  }

  std::int64_t size() {
    if (usm_) return *size_usm_;
    sycl::host_accessor view(size_buffer_, sycl::read_only);
    return view[0];
  }

  // The bytes of a workspace from allocate(), and where it starts.
  std::vector<std::uint8_t> read(int temp, std::size_t bytes) {
    std::vector<std::uint8_t> out(bytes);
    if (usm_) {
      queue_.memcpy(out.data(), temps_usm_[static_cast<std::size_t>(temp)], bytes).wait();
    } else {
      sycl::host_accessor view(*temps_buffer_[static_cast<std::size_t>(temp)], sycl::read_only);
      std::copy_n(view.get_pointer(), bytes, out.begin());
    }
    return out;
  }
  std::uintptr_t address(int temp) const {
    return usm_ ? reinterpret_cast<std::uintptr_t>(temps_usm_[static_cast<std::size_t>(temp)]) : 0;
  }

  // A workspace of the size the last request reported, or -1 when it reported none.
  int allocate() {
    const std::int64_t bytes = size();
    if (bytes <= 0) return -1;
    if (usm_) {
      temps_usm_.push_back(
          sycl::malloc_device<std::uint8_t>(static_cast<std::size_t>(bytes), queue_));
      return static_cast<int>(temps_usm_.size() - 1);
    }
    temps_buffer_.push_back(std::make_unique<sycl::buffer<std::uint8_t, 1>>(
        sycl::range<1>(static_cast<std::size_t>(bytes))));
    return static_cast<int>(temps_buffer_.size() - 1);
  }

 private:
  sycl::queue& queue_;
  bool usm_;
  std::int64_t* size_usm_ = nullptr;
  sycl::buffer<std::int64_t, 1> size_buffer_{sycl::range<1>(1)};
  std::vector<void*> temps_usm_;
  std::vector<std::unique_ptr<sycl::buffer<std::uint8_t, 1>>> temps_buffer_;
};

// The factors of a staged product, bound and ready, with op(A) op(B)'s shape; refuses factors
// whose inner dimensions differ. B is A when the run names no second matrix.
template <typename T, typename I>
struct product_factors {
  product_factors(sycl::queue& q, const options& o, const host_matrix<T, I>& A,
                  const std::optional<host_matrix<T, I>>& B)
      : op_a(to_transpose(o.op)),
        op_b(to_transpose(o.op_b)),
        shape(shape_of(op_a, op_b, A, B ? *B : A)),
        Ma(q, o.memory == "usm", A) {
    if (B) Mb.emplace(q, o.memory == "usm", *B);
    Ma.ready.wait();
    if (Mb) Mb->ready.wait();
  }
  vs::matrix_handle* a() { return Ma.handle; }
  vs::matrix_handle* b() { return Mb ? Mb->handle : Ma.handle; }

  // op(A) op(B)'s rows and columns, checked before anything is bound.
  static std::pair<std::int64_t, std::int64_t> shape_of(vrt::transpose op_a, vrt::transpose op_b,
                                                        const host_matrix<T, I>& A,
                                                        const host_matrix<T, I>& Bm) {
    const bool ta = op_a != vrt::transpose::nontrans, tb = op_b != vrt::transpose::nontrans;
    const std::int64_t inner = ta ? A.nrows : A.ncols, inner_b = tb ? Bm.ncols : Bm.nrows;
    if (inner != inner_b)
      throw std::invalid_argument("matmat: op(A) has " + std::to_string(inner) +
                                  " columns, op(B) has " + std::to_string(inner_b) + " rows");
    return {ta ? A.ncols : A.nrows, tb ? Bm.nrows : Bm.ncols};
  }

  vrt::transpose op_a, op_b;
  std::pair<std::int64_t, std::int64_t> shape;  // rows, columns
  bound_matrix<T, I> Ma;
  std::optional<bound_matrix<T, I>> Mb;
};

// C = op(A) op(B) through every request in order: work estimation, structure, the count of
// entries (C's columns and values bound then), the structure's export, values, their export.
template <typename T, typename I>
result run_matmat(sycl::queue& q, const options& o, const host_matrix<T, I>& A,
                  const std::optional<host_matrix<T, I>>& B) {
  product_factors<T, I> factors(q, o, A, B);
  const auto op_a = factors.op_a, op_b = factors.op_b;
  const std::int64_t rows = factors.shape.first, cols = factors.shape.second;
  const bool usm = o.memory == "usm";
  vs::matrix_handle* a = factors.a();
  vs::matrix_handle* b = factors.b();

  // C starts with its row pointers; the other arrays are placeholders until the count is known.
  // Every array holds sentinels until the product writes it.
  host_matrix<T, I> C;
  C.nrows = rows;
  C.ncols = cols;
  C.base = o.base;
  device_array<I> c_rows(q, usm, sentinels<I>(static_cast<std::size_t>(rows + 1)));
  std::unique_ptr<device_array<I>> c_cols =
      std::make_unique<device_array<I>>(q, usm, std::vector<I>{});
  std::unique_ptr<device_array<T>> c_values =
      std::make_unique<device_array<T>>(q, usm, std::vector<T>{});
  // Arrays C was bound to before stay until C is released.
  std::vector<std::unique_ptr<device_array<I>>> old_cols;
  std::vector<std::unique_ptr<device_array<T>>> old_values;
  handle_owner c_owner(q, usm);
  vs::matrix_handle* c = c_owner.handle;
  auto bind_c = [&](std::int64_t nnz) {
    with_model(usm, [&](auto model) {
      return bind_arrays(model, q, c, true, rows, cols, nnz, o.base, c_rows, *c_cols, *c_values);
    }).wait();
  };
  bind_c(0);

  descr_owner descr;
  const auto general = vs::matrix_view_descr::general;
  vs::set_matmat_data(descr.descr, general, op_a, general, op_b, general);
  matmat_workspace work(q, usm);
  using R = vs::matmat_request;
  auto request = [&](R r, int temp = -1) { work.request(a, b, c, r, descr.descr, temp); };

  request(R::get_work_estimation_buf_size);
  request(R::work_estimation, work.allocate());
  request(R::get_compute_structure_buf_size);
  request(R::compute_structure, work.allocate());
  request(R::get_nnz);
  const std::int64_t nnz = work.size();
  old_cols.push_back(std::move(c_cols));
  old_values.push_back(std::move(c_values));
  c_cols = std::make_unique<device_array<I>>(q, usm, sentinels<I>(static_cast<std::size_t>(nnz)));
  c_values = std::make_unique<device_array<T>>(q, usm, sentinels<T>(static_cast<std::size_t>(nnz)));
  bind_c(nnz);
  request(R::finalize_structure);
  request(R::get_compute_buf_size);
  request(R::compute, work.allocate());
  request(R::finalize);

  C.rows = c_rows.read();
  C.cols = c_cols->read();
  C.values = c_values->read();
  // Row pointers in C's base: to_coordinate counts entries from their differences.
  return sparse_result(C, nnz);
}

// The row estimate of C = op(A) op(B): the estimate's size request, then the estimate with a
// workspace of that size; the per-row counts are read back from the row offsets the estimate
// leaves inside the workspace, at its first cache line (a buffer starts at one).
template <typename T, typename I>
result run_matmat_estimate(sycl::queue& q, const options& o, const host_matrix<T, I>& A,
                           const std::optional<host_matrix<T, I>>& B) {
  product_factors<T, I> factors(q, o, A, B);
  const auto op_a = factors.op_a, op_b = factors.op_b;
  const std::int64_t rows = factors.shape.first;
  const bool usm = o.memory == "usm";
  vs::matrix_handle* a = factors.a();
  vs::matrix_handle* b = factors.b();
  handle_owner c_owner(q, usm);

  descr_owner descr;
  const auto general = vs::matrix_view_descr::general;
  vs::set_matmat_data(descr.descr, general, op_a, general, op_b, general);
  matmat_workspace work(q, usm);
  using R = vs::matmat_request;
  work.request(a, b, c_owner.handle, R::get_work_estimation_buf_size, descr.descr);
  const auto bytes = static_cast<std::size_t>(work.size());
  const int temp = work.allocate();
  work.request(a, b, c_owner.handle, R::work_estimation, descr.descr, temp);
  q.wait();

  const auto line = std::max<std::uintptr_t>(
      64, q.get_device().get_info<sycl::info::device::global_mem_cache_line_size>());
  const std::uintptr_t start = work.address(temp);
  const std::size_t offset = static_cast<std::size_t>((start + line - 1) / line * line - start);
  const std::vector<std::uint8_t> space = work.read(temp, bytes);
  std::vector<I> offsets(static_cast<std::size_t>(rows + 1));
  if (offset + offsets.size() * sizeof(I) > space.size())
    throw std::runtime_error("matmat: the workspace cannot hold the row offsets");
  std::memcpy(offsets.data(), space.data() + offset, offsets.size() * sizeof(I));

  result r;
  r.rows = rows;
  r.cols = 1;
  for (std::int64_t i = 0; i < rows; ++i)
    r.dense.emplace_back(static_cast<double>(offsets[static_cast<std::size_t>(i) + 1] -
                                             offsets[static_cast<std::size_t>(i)]),
                         0.0);
  r.estimate = static_cast<std::int64_t>(offsets[static_cast<std::size_t>(rows)]);
  return r;
}

}  // namespace

template <typename T, typename I>
result run_matrix_routine(sycl::queue& q, const options& o, const host_matrix<T, I>& A,
                          const std::optional<host_matrix<T, I>>& B) {
  if (o.routine == "matmat") return run_matmat<T, I>(q, o, A, B);
  if (o.routine == "matmat_estimate") return run_matmat_estimate<T, I>(q, o, A, B);
  return run_format_routine<T, I>(q, o, A);
}

#define VRT_DRIVER_INSTANTIATE(T, I)                                                               \
  template result run_matrix_routine<T, I>(sycl::queue&, const options&, const host_matrix<T, I>&, \
                                           const std::optional<host_matrix<T, I>>&);
VRT_DRIVER_FOR_EACH_VARIANT(VRT_DRIVER_INSTANTIATE)

}  // namespace vrt_driver
