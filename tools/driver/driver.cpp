// vrt_sparse_driver: runs one routine of the library on a Matrix Market matrix and writes the
// result in Matrix Market array format. See --help.
#include <charconv>
#include <complex>
#include <cstdint>
#include <fstream>
#include <iostream>
#include <map>
#include <numeric>
#include <optional>
#include <string>
#include <vector>

#include <orvane/vrt/sparse.hpp>
#if defined(HOSTSYCL)
#include <hostsycl/hostsycl.hpp>
#endif

#include "matrix_market.hpp"

namespace vrt = orvane::vrt;
namespace vs = orvane::vrt::sparse;
namespace mm = orvane::vrt::matrix_market;

namespace {

constexpr const char* usage = R"(usage: vrt_sparse_driver --matrix FILE [options]

Binds a Matrix Market matrix (coordinate; real, integer, complex or pattern; general,
symmetric, skew-symmetric or Hermitian, expanded to the full matrix) to a matrix handle,
runs one routine and writes the result to --output: gemv writes the vector y in Matrix Market
array format; sort_matrix (the matrix with each row sorted, in row order) and omatcopy (op(A)
copied or transposed into a second handle) write the matrix in coordinate format.

  --matrix FILE        input matrix (required)
  --routine NAME       gemv (default), sort_matrix or omatcopy
  --device NAME        cpu (the host sparse engine), gpu, or an emulated GPU profile such as
                       emu-a2 (default emu-a2)
  --value s|d|c|z      float, double, complex<float>, complex<double> (default d)
  --index 32|64        index width (default 32)
  --base 0|1           index base of the bound arrays (default 0)
  --memory usm|buffer  memory model (default usm)
  --format csr|coo     storage format (default csr)
  --op n|t|c           nontrans, trans, conjtrans (default n)
  --alpha RE[,IM]      scalar alpha (default 1)
  --beta RE[,IM]       scalar beta (default 0)
  --output FILE        result file (default: standard output)
  --help               this text

Inputs are deterministic: x[j] = 1 + (j mod 7) / 4 + i (j mod 3) / 2 and
y[i] = 1/2 - (i mod 5) / 8 + i (i mod 4) / 4 (imaginary parts for complex values only), so
that a reference can recompute them. Exit status 0 on success, 1 on a library exception,
2 on a usage or file error.
)";

struct options {
  std::string matrix, routine = "gemv", device = "emu-a2", value = "d", memory = "usm";
  std::string format = "csr", op = "n", output;
  int index = 32, base = 0;
  std::complex<double> alpha = 1.0, beta = 0.0;
};

std::complex<double> parse_scalar(const std::string& text) {
  const auto comma = text.find(',');
  const double re = std::stod(text.substr(0, comma));
  const double im = comma == std::string::npos ? 0.0 : std::stod(text.substr(comma + 1));
  return {re, im};
}

std::optional<options> parse(int argc, char** argv) {
  options o;
  for (int i = 1; i < argc; ++i) {
    const std::string key = argv[i];
    if (key == "--help") {
      std::cout << usage;
      std::exit(0);
    }
    if (i + 1 >= argc) return std::nullopt;
    const std::string value = argv[++i];
    if (key == "--matrix") o.matrix = value;
    else if (key == "--routine") o.routine = value;
    else if (key == "--device") o.device = value;
    else if (key == "--value") o.value = value;
    else if (key == "--index") o.index = std::stoi(value);
    else if (key == "--base") o.base = std::stoi(value);
    else if (key == "--memory") o.memory = value;
    else if (key == "--format") o.format = value;
    else if (key == "--op") o.op = value;
    else if (key == "--alpha") o.alpha = parse_scalar(value);
    else if (key == "--beta") o.beta = parse_scalar(value);
    else if (key == "--output") o.output = value;
    else return std::nullopt;
  }
  const bool valid = !o.matrix.empty() &&
                     (o.routine == "gemv" || o.routine == "sort_matrix" || o.routine == "omatcopy") &&
                     std::string("sdcz").find(o.value) != std::string::npos && o.value.size() == 1 &&
                     (o.index == 32 || o.index == 64) && (o.base == 0 || o.base == 1) &&
                     (o.memory == "usm" || o.memory == "buffer") &&
                     (o.format == "csr" || o.format == "coo") &&
                     (o.op == "n" || o.op == "t" || o.op == "c");
  if (!valid) return std::nullopt;
  return o;
}

sycl::queue make_queue(const std::string& device) {
  if (device == "cpu") return sycl::queue(sycl::cpu_selector_v);
  if (device == "gpu") return sycl::queue(sycl::gpu_selector_v);
#if defined(HOSTSYCL)
  return sycl::queue(hostsycl::emulated_gpu(device));
#else
  throw std::invalid_argument("unknown device " + device);
#endif
}

template <typename T>
T from_complex(std::complex<double> v) {
  if constexpr (std::is_same_v<T, float> || std::is_same_v<T, double>)
    return static_cast<T>(v.real());
  else
    return T(static_cast<typename T::value_type>(v.real()),
             static_cast<typename T::value_type>(v.imag()));
}

template <typename T>
constexpr bool is_complex_value = !std::is_same_v<T, float> && !std::is_same_v<T, double>;

template <typename T>
T x_entry(std::int64_t j) {
  return from_complex<T>({1.0 + static_cast<double>(j % 7) / 4.0, static_cast<double>(j % 3) / 2.0});
}
template <typename T>
T y_entry(std::int64_t i) {
  return from_complex<T>({0.5 - static_cast<double>(i % 5) / 8.0, static_cast<double>(i % 4) / 4.0});
}

// The matrix in the chosen format: CSR rows in file order within a row, or COO in file order.
template <typename T, typename I>
struct host_matrix {
  std::int64_t nrows, ncols, nnz;
  std::vector<I> rows, cols;
  std::vector<T> values;
};

template <typename T, typename I>
host_matrix<T, I> convert(const mm::coordinate_matrix& m, bool csr, int base) {
  host_matrix<T, I> h{m.rows, m.cols, static_cast<std::int64_t>(m.value.size()), {}, {}, {}};
  std::vector<std::size_t> order(m.value.size());
  std::iota(order.begin(), order.end(), 0);
  if (csr) {
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t a, std::size_t b) { return m.row[a] < m.row[b]; });
    h.rows.assign(static_cast<std::size_t>(m.rows + 1), 0);
    for (std::size_t k : order) ++h.rows[static_cast<std::size_t>(m.row[k] + 1)];
    for (std::size_t r = 0; r < static_cast<std::size_t>(m.rows); ++r) h.rows[r + 1] += h.rows[r];
    for (auto& r : h.rows) r += static_cast<I>(base);
  }
  for (std::size_t k : order) {
    if (!csr) h.rows.push_back(static_cast<I>(m.row[k] + base));
    h.cols.push_back(static_cast<I>(m.col[k] + base));
    h.values.push_back(from_complex<T>(m.value[k]));
  }
  // Arrays of at least one element: an empty array still needs an address.
  for (auto* v : {&h.rows, &h.cols})
    if (v->empty()) v->push_back(0);
  if (h.values.empty()) h.values.push_back(T(0));
  return h;
}

// A device copy of a host array.
template <typename E>
E* to_device(sycl::queue& q, const std::vector<E>& v) {
  E* p = sycl::malloc_device<E>(v.size(), q);
  q.memcpy(p, v.data(), v.size() * sizeof(E)).wait();
  return p;
}

vrt::transpose parse_op(const std::string& op) {
  return op == "n" ? vrt::transpose::nontrans
                   : (op == "t" ? vrt::transpose::trans : vrt::transpose::conjtrans);
}

template <typename T, typename I>
std::vector<T> run_gemv(sycl::queue& q, const options& o, host_matrix<T, I>& A) {
  const auto op = parse_op(o.op);
  const std::int64_t nx = op == vrt::transpose::nontrans ? A.ncols : A.nrows;
  const std::int64_t ny = op == vrt::transpose::nontrans ? A.nrows : A.ncols;
  std::vector<T> x(static_cast<std::size_t>(std::max<std::int64_t>(nx, 1)));
  std::vector<T> y(static_cast<std::size_t>(std::max<std::int64_t>(ny, 1)));
  for (std::size_t j = 0; j < x.size(); ++j) x[j] = x_entry<T>(static_cast<std::int64_t>(j));
  for (std::size_t i = 0; i < y.size(); ++i) y[i] = y_entry<T>(static_cast<std::int64_t>(i));
  const T alpha = from_complex<T>(o.alpha), beta = from_complex<T>(o.beta);
  const auto base = static_cast<vrt::index_base>(o.base);
  const I nrows = static_cast<I>(A.nrows), ncols = static_cast<I>(A.ncols);
  const bool csr = o.format == "csr";
  vs::matrix_handle* h = nullptr;
  vs::init_matrix_handle(&h);
  if (o.memory == "usm") {
    I* rows = to_device(q, A.rows);
    I* cols = to_device(q, A.cols);
    T* vals = to_device(q, A.values);
    T* dx = to_device(q, x);
    T* dy = to_device(q, y);
    sycl::event bound = csr ? vs::set_csr_data(q, h, nrows, ncols, base, rows, cols, vals)
                            : vs::set_coo_data(q, h, nrows, ncols, static_cast<I>(A.nnz), base,
                                               rows, cols, vals);
    sycl::event done = vs::gemv(q, op, alpha, h, dx, beta, dy, {bound});
    q.memcpy(y.data(), dy, y.size() * sizeof(T), done).wait();
    vs::release_matrix_handle(q, &h, {done}).wait();
    for (void* p : {static_cast<void*>(rows), static_cast<void*>(cols), static_cast<void*>(vals),
                    static_cast<void*>(dx), static_cast<void*>(dy)})
      sycl::free(p, q);
  } else {
    sycl::buffer<I, 1> rows(A.rows.data(), sycl::range<1>(A.rows.size()));
    sycl::buffer<I, 1> cols(A.cols.data(), sycl::range<1>(A.cols.size()));
    sycl::buffer<T, 1> vals(A.values.data(), sycl::range<1>(A.values.size()));
    sycl::buffer<T, 1> bx(x.data(), sycl::range<1>(x.size()));
    {
      sycl::buffer<T, 1> by(y.data(), sycl::range<1>(y.size()));
      if (csr)
        vs::set_csr_data(q, h, nrows, ncols, base, rows, cols, vals);
      else
        vs::set_coo_data(q, h, nrows, ncols, static_cast<I>(A.nnz), base, rows, cols, vals);
      vs::gemv(q, op, alpha, h, bx, beta, by);
      vs::release_matrix_handle(&h);
    }
  }
  y.resize(static_cast<std::size_t>(ny));
  return y;
}

// The arrays of a matrix routine's result, read back to the host.
template <typename T, typename I>
struct matrix_result {
  std::int64_t nrows, ncols;
  bool csr;
  int base;
  std::vector<I> rows, cols;
  std::vector<T> values;
};

// sort_matrix sorts A's arrays in place; omatcopy writes op(A) into a second handle bound to
// arrays of the right sizes, with A's index base.
template <typename T, typename I>
matrix_result<T, I> run_matrix_routine(sycl::queue& q, const options& o, host_matrix<T, I>& A) {
  const auto op = parse_op(o.op);
  const bool csr = o.format == "csr";
  const bool transposed = o.routine == "omatcopy" && op != vrt::transpose::nontrans;
  matrix_result<T, I> out{transposed ? A.ncols : A.nrows, transposed ? A.nrows : A.ncols, csr,
                          o.base, A.rows, A.cols, A.values};
  if (csr) out.rows.assign(static_cast<std::size_t>(out.nrows + 1), 0);
  const auto base = static_cast<vrt::index_base>(o.base);
  vs::matrix_handle* h = nullptr;
  vs::matrix_handle* b = nullptr;
  vs::init_matrix_handle(&h);
  // By reference: a handle keeps the address of the caller's buffer objects.
  auto bind = [&](vs::matrix_handle* handle, std::int64_t nrows, std::int64_t ncols, auto& rows,
                  auto& cols, auto& vals) {
    if (csr) return vs::set_csr_data(q, handle, static_cast<I>(nrows), static_cast<I>(ncols), base,
                                     rows, cols, vals);
    return vs::set_coo_data(q, handle, static_cast<I>(nrows), static_cast<I>(ncols),
                            static_cast<I>(A.nnz), base, rows, cols, vals);
  };
  const bool usm = o.memory == "usm";
  if (usm) {
    I* rows = to_device(q, A.rows);
    I* cols = to_device(q, A.cols);
    T* vals = to_device(q, A.values);
    const bool sorting = o.routine == "sort_matrix";
    // sort_matrix works in place; omatcopy writes arrays of its own.
    I* out_rows = sorting ? rows : to_device(q, out.rows);
    I* out_cols = sorting ? cols : to_device(q, out.cols);
    T* out_vals = sorting ? vals : to_device(q, out.values);
    if (sorting) out.rows = A.rows;
    sycl::event done = bind(h, A.nrows, A.ncols, rows, cols, vals);
    if (sorting) {
      done = vs::sort_matrix(q, h, {done});
    } else {
      vs::init_matrix_handle(&b);
      sycl::event bound = bind(b, out.nrows, out.ncols, out_rows, out_cols, out_vals);
      done = vs::omatcopy(q, op, h, b, {done, bound});
    }
    done.wait();
    q.memcpy(out.rows.data(), out_rows, out.rows.size() * sizeof(I)).wait();
    q.memcpy(out.cols.data(), out_cols, out.cols.size() * sizeof(I)).wait();
    q.memcpy(out.values.data(), out_vals, out.values.size() * sizeof(T)).wait();
    vs::release_matrix_handle(q, &h).wait();
    if (b != nullptr) vs::release_matrix_handle(q, &b).wait();
    for (void* p : {static_cast<void*>(rows), static_cast<void*>(cols), static_cast<void*>(vals)})
      sycl::free(p, q);
    if (!sorting)
      for (void* p : {static_cast<void*>(out_rows), static_cast<void*>(out_cols),
                      static_cast<void*>(out_vals)})
        sycl::free(p, q);
  } else {
    if (o.routine == "sort_matrix") {
      out.rows = A.rows;
      sycl::buffer<I, 1> rows(out.rows.data(), sycl::range<1>(out.rows.size()));
      sycl::buffer<I, 1> cols(out.cols.data(), sycl::range<1>(out.cols.size()));
      sycl::buffer<T, 1> vals(out.values.data(), sycl::range<1>(out.values.size()));
      bind(h, A.nrows, A.ncols, rows, cols, vals);
      vs::sort_matrix(q, h);
      vs::release_matrix_handle(&h);
    } else {
      sycl::buffer<I, 1> rows(A.rows.data(), sycl::range<1>(A.rows.size()));
      sycl::buffer<I, 1> cols(A.cols.data(), sycl::range<1>(A.cols.size()));
      sycl::buffer<T, 1> vals(A.values.data(), sycl::range<1>(A.values.size()));
      sycl::buffer<I, 1> out_rows(out.rows.data(), sycl::range<1>(out.rows.size()));
      sycl::buffer<I, 1> out_cols(out.cols.data(), sycl::range<1>(out.cols.size()));
      sycl::buffer<T, 1> out_vals(out.values.data(), sycl::range<1>(out.values.size()));
      bind(h, A.nrows, A.ncols, rows, cols, vals);
      vs::init_matrix_handle(&b);
      bind(b, out.nrows, out.ncols, out_rows, out_cols, out_vals);
      vs::omatcopy(q, op, h, b);
      vs::release_matrix_handle(&h);
      vs::release_matrix_handle(&b);
    }
  }
  return out;
}

template <typename T, typename I>
mm::coordinate_matrix to_coordinate(const matrix_result<T, I>& r, std::int64_t nnz) {
  mm::coordinate_matrix m;
  m.rows = r.nrows;
  m.cols = r.ncols;
  for (std::int64_t k = 0; k < nnz; ++k) {
    m.col.push_back(r.cols[static_cast<std::size_t>(k)] - r.base);
    m.value.push_back(std::complex<double>(r.values[static_cast<std::size_t>(k)]));
  }
  if (r.csr) {
    for (std::int64_t i = 0; i < r.nrows; ++i)
      for (I k = r.rows[i] - r.base; k < r.rows[i + 1] - r.base; ++k) m.row.push_back(i);
  } else {
    for (std::int64_t k = 0; k < nnz; ++k) m.row.push_back(r.rows[static_cast<std::size_t>(k)] - r.base);
  }
  return m;
}

template <typename T, typename I>
int run(const options& o, const mm::coordinate_matrix& matrix) {
  sycl::queue q = make_queue(o.device);
  auto A = convert<T, I>(matrix, o.format == "csr", o.base);
  if (o.routine != "gemv") {
    const auto result = run_matrix_routine<T, I>(q, o, A);
    const auto m = to_coordinate(result, A.nnz);
    if (o.output.empty()) {
      mm::write_coordinate(std::cout, m, is_complex_value<T>);
    } else {
      std::ofstream file(o.output);
      mm::write_coordinate(file, m, is_complex_value<T>);
      if (!file) throw std::runtime_error("cannot write " + o.output);
    }
    return 0;
  }
  const std::vector<T> y = run_gemv<T, I>(q, o, A);
  std::vector<std::complex<double>> out(y.begin(), y.end());
  if (o.output.empty()) {
    mm::write_array(std::cout, static_cast<std::int64_t>(y.size()), 1, out, is_complex_value<T>);
  } else {
    std::ofstream file(o.output);
    mm::write_array(file, static_cast<std::int64_t>(y.size()), 1, out, is_complex_value<T>);
    if (!file) throw std::runtime_error("cannot write " + o.output);
  }
  return 0;
}

template <typename T>
int run_with_index(const options& o, const mm::coordinate_matrix& m) {
  return o.index == 32 ? run<T, std::int32_t>(o, m) : run<T, std::int64_t>(o, m);
}

}  // namespace

int main(int argc, char** argv) {
  const auto parsed = parse(argc, argv);
  if (!parsed) {
    std::cerr << usage;
    return 2;
  }
  const options& o = *parsed;
  mm::coordinate_matrix matrix;
  try {
    matrix = mm::expand_symmetry(mm::read_file(o.matrix));
  } catch (const std::exception& e) {
    std::cerr << "vrt_sparse_driver: " << e.what() << '\n';
    return 2;
  }
  if (matrix.value_field == mm::field::complex && (o.value == "s" || o.value == "d")) {
    std::cerr << "vrt_sparse_driver: a complex matrix needs --value c or z\n";
    return 2;
  }
  try {
    switch (o.value[0]) {
      case 's': return run_with_index<float>(o, matrix);
      case 'd': return run_with_index<double>(o, matrix);
      case 'c': return run_with_index<std::complex<float>>(o, matrix);
      default: return run_with_index<std::complex<double>>(o, matrix);
    }
  } catch (const vrt::exception& e) {
    std::cerr << "vrt_sparse_driver: " << e.what() << '\n';
    return 1;
  } catch (const std::exception& e) {
    std::cerr << "vrt_sparse_driver: " << e.what() << '\n';
    return 2;
  }
}
