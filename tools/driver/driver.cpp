// vrt_sparse_driver: runs one routine of the library on a Matrix Market matrix and writes the
// result in Matrix Market format. See --help.
#include <complex>
#include <cstdint>
#include <iostream>
#include <new>
#include <optional>
#include <orvane/vrt/sparse.hpp>
#include <stdexcept>
#include <string>
#if defined(HOSTSYCL)
#include <hostsycl/hostsycl.hpp>
#endif

#include "checks.hpp"
#include "inputs.hpp"
#include "options.hpp"
#include "output.hpp"
#include "routines.hpp"

namespace vd = vrt_driver;
namespace mm = orvane::vrt::matrix_market;

namespace {

// The device is checked before the inputs are read: a bad --device is a usage error.
sycl::queue make_queue(const std::string& device) {
  try {
    if (device == "cpu") return sycl::queue(sycl::cpu_selector_v);
    if (device == "gpu") return sycl::queue(sycl::gpu_selector_v);
#if defined(HOSTSYCL)
    return sycl::queue(hostsycl::emulated_gpu(device));
#else
    throw std::invalid_argument("expected cpu or gpu");
#endif
  } catch (const std::exception& e) {
    throw vd::usage_error("--device '" + device + "': " + e.what());
  }
}

template <typename T, typename I>
void run(sycl::queue& q, const vd::options& o, const mm::coordinate_matrix& a,
         const std::optional<mm::coordinate_matrix>& b) {
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
}

template <typename T>
void run_with_index(sycl::queue& q, const vd::options& o, const mm::coordinate_matrix& a,
                    const std::optional<mm::coordinate_matrix>& b) {
  if (o.index == 32)
    run<T, std::int32_t>(q, o, a, b);
  else
    run<T, std::int64_t>(q, o, a, b);
}

// The inputs read, checked against the options and prepared as --dominant asks.
void prepare(const vd::options& o, mm::coordinate_matrix& a,
             std::optional<mm::coordinate_matrix>& b) {
  a = mm::expand_symmetry(mm::read_file(o.matrix));
  if (!o.matrix_b.empty()) b = mm::expand_symmetry(mm::read_file(o.matrix_b));
  const bool real_values = o.value == "s" || o.value == "d";
  for (const auto* m : {&a, b ? &*b : nullptr})
    if (real_values && m != nullptr && m->value_field == mm::field::complex)
      throw vd::input_error((m == &a ? o.matrix : o.matrix_b) +
                            ": a complex matrix needs --value c or z");
  // The index width first: a matrix too wide for it is refused as that, whatever its size.
  vd::check_index_width(o, o.matrix, a);
  if (b) vd::check_index_width(o, o.matrix_b, *b);
  // Before --dominant allocates per row; the entries it may add are counted in.
  vd::check_memory(o, a, b ? &*b : nullptr);
  if (o.dominant) {
    vd::make_dominant(a);
    vd::check_index_width(o, o.matrix, a);
  }
}

int refuse(const std::string& message, int status) {
  std::cerr << "vrt_sparse_driver: " << message << '\n';
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const vd::options o = vd::parse(argc, argv);
    if (o.help) {
      vd::write_text(vd::usage);
      return 0;
    }
    if (o.output.empty()) vd::check_standard_output();
    sycl::queue q = make_queue(o.device);
    mm::coordinate_matrix a;
    std::optional<mm::coordinate_matrix> b;
    prepare(o, a, b);
    switch (o.value[0]) {
      case 's':
        run_with_index<float>(q, o, a, b);
        break;
      case 'd':
        run_with_index<double>(q, o, a, b);
        break;
      case 'c':
        run_with_index<std::complex<float>>(q, o, a, b);
        break;
      default:
        run_with_index<std::complex<double>>(q, o, a, b);
    }
    return 0;
  } catch (const vd::usage_error& e) {
    return refuse(std::string(e.what()) + " (see --help)", 2);
  } catch (const orvane::vrt::exception& e) {
    return refuse(e.what(), 1);
  } catch (const std::bad_alloc&) {
    return refuse("out of memory", 2);
  } catch (const std::exception& e) {
    return refuse(e.what(), 2);
  }
}
