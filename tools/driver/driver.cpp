// vrt_sparse_driver: runs one routine of the library on a Matrix Market matrix and writes the
// result in Matrix Market format. See --help.
#include <complex>
#include <cstdint>
#include <iostream>
#include <optional>
#include <orvane/vrt/sparse.hpp>
#include <stdexcept>
#include <string>
#if defined(HOSTSYCL)
#include <hostsycl/hostsycl.hpp>
#endif

#include "inputs.hpp"
#include "options.hpp"
#include "output.hpp"
#include "routines.hpp"

namespace vd = vrt_driver;
namespace mm = orvane::vrt::matrix_market;

namespace {

sycl::queue make_queue(const std::string& device) {
  if (device == "cpu") return sycl::queue(sycl::cpu_selector_v);
  if (device == "gpu") return sycl::queue(sycl::gpu_selector_v);
#if defined(HOSTSYCL)
  return sycl::queue(hostsycl::emulated_gpu(device));
#else
  throw std::invalid_argument("unknown device " + device);
#endif
}

template <typename T, typename I>
int run(const vd::options& o, const mm::coordinate_matrix& a,
        const std::optional<mm::coordinate_matrix>& b) {
  sycl::queue q = make_queue(o.device);
  const bool csr = o.format == "csr";
  const auto A = vd::convert<T, I>(a, csr, o.base);
  std::optional<vd::host_matrix<T, I>> B;
  if (b) B = vd::convert<T, I>(*b, csr, o.base);
  const std::string& r = o.routine;
  vd::result out;
  if (r == "gemv" || r == "gemvdot" || r == "symv" || r == "trmv" || r == "trsv")
    out = vd::run_vector_routine<T, I>(q, o, A);
  else if (r == "trsm" || r == "gemm")
    out = vd::run_dense_routine<T, I>(q, o, A);
  else
    out = vd::run_matrix_routine<T, I>(q, o, A, B);
  vd::write_result(o.output, out, vd::is_complex_value<T>);
  return 0;
}

template <typename T>
int run_with_index(const vd::options& o, const mm::coordinate_matrix& a,
                   const std::optional<mm::coordinate_matrix>& b) {
  return o.index == 32 ? run<T, std::int32_t>(o, a, b) : run<T, std::int64_t>(o, a, b);
}

}  // namespace

int main(int argc, char** argv) {
  const auto parsed = vd::parse(argc, argv);
  if (!parsed) {
    std::cerr << vd::usage;
    return 2;
  }
  const vd::options& o = *parsed;
  mm::coordinate_matrix a;
  std::optional<mm::coordinate_matrix> b;
  try {
    a = mm::expand_symmetry(mm::read_file(o.matrix));
    if (!o.matrix_b.empty()) b = mm::expand_symmetry(mm::read_file(o.matrix_b));
  } catch (const std::exception& e) {
    std::cerr << "vrt_sparse_driver: " << e.what() << '\n';
    return 2;
  }
  const bool real_values = o.value == "s" || o.value == "d";
  if (real_values &&
      (a.value_field == mm::field::complex || (b && b->value_field == mm::field::complex))) {
    std::cerr << "vrt_sparse_driver: a complex matrix needs --value c or z\n";
    return 2;
  }
  if (o.dominant) vd::make_dominant(a);
  try {
    switch (o.value[0]) {
      case 's':
        return run_with_index<float>(o, a, b);
      case 'd':
        return run_with_index<double>(o, a, b);
      case 'c':
        return run_with_index<std::complex<float>>(o, a, b);
      default:
        return run_with_index<std::complex<double>>(o, a, b);
    }
  } catch (const orvane::vrt::exception& e) {
    std::cerr << "vrt_sparse_driver: " << e.what() << '\n';
    return 1;
  } catch (const std::exception& e) {
    std::cerr << "vrt_sparse_driver: " << e.what() << '\n';
    return 2;
  }
}
